// The library's version text, set by the build.
#include "inetmgr/inetmgr.h"

namespace corvane_com::zel::inetmgr {

const char* getLibraryVersion() { return INETMGR_VERSION_TEXT; }

}  // namespace corvane_com::zel::inetmgr
