// The spipe site index shared by the agent helpers.
#include "core/site_index.h"

namespace corvane_com::zel::inetmgr {

int iSiteIndex = 0;

void resetSiteIndex() { iSiteIndex = 0; }

}  // namespace corvane_com::zel::inetmgr
