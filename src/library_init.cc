// The shared library's own translation unit: everything it exports is pulled in
// whole from the internal archive; this file adds the build's version text.
#include "inetmgr/inetmgr.h"

namespace corvane_com::zel::inetmgr {

const char* getLibraryVersion() { return INETMGR_VERSION_TEXT; }

}  // namespace corvane_com::zel::inetmgr
