// Library-internal side of the agent settings.
#ifndef INETMGR_STORE_AGENT_SETTINGS_H
#define INETMGR_STORE_AGENT_SETTINGS_H

#include <string>

#include "inetmgr/agent.h"

namespace corvane_com::zel::inetmgr {

// <framework data directory>/etc/SiteList.xml, read afresh on every call.
std::wstring getExpectedSitelistLocation();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_STORE_AGENT_SETTINGS_H
