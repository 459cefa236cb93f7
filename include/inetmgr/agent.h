// Answers about the agent's set-up that other agent components ask for.
#ifndef INETMGR_AGENT_H
#define INETMGR_AGENT_H

#include <string>

#include "inetmgr/export.h"
#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

// The agent's site list: <framework data directory>/etc/SiteList.xml, where the
// data directory is $INETMGR_DATA_DIR (default /var/lib/inetmgr). Always
// rcSuccess. Thread-safe.
INETMGR_API ResultCode getSiteListLocation(std::wstring& path);

// Whether the agent runs in managed mode (its site lists are then validated
// strictly); false on this platform. Thread-safe.
INETMGR_API bool isManagedMode();

// Whether downloads may be served from a proxy's cache; false on this platform.
INETMGR_API bool getUseProxyCacheSetting();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_AGENT_H
