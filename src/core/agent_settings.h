// Library-internal side of the agent settings.
#ifndef INETMGR_CORE_AGENT_SETTINGS_H
#define INETMGR_CORE_AGENT_SETTINGS_H

#include <string>

#include "inetmgr/agent.h"

namespace corvane_com::zel::inetmgr {

// <framework data directory>/etc/SiteList.xml, read afresh on every call.
std::wstring getExpectedSitelistLocation();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_AGENT_SETTINGS_H
