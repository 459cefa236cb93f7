// What the agent knows about its management server without the site list
// store: the server's details from the site list file on disk, and the local
// address the agent reports as its own.
#ifndef INETMGR_FACADE_SERVER_INFO_H
#define INETMGR_FACADE_SERVER_INFO_H

#include <string>

namespace corvane_com::zel::inetmgr::sitehlp {

class CSitesHelper {
 public:
  // The first spipe site of the agent's site list file (getSiteListLocation),
  // read from disk: its address, server name and computer name without port
  // suffixes, and its port (as its operations use it). Any
  // of the three texts may be empty. False, with a log line, when the file
  // cannot be read or has no spipe site with a usable port. Thread-safe.
  static bool GetOrnoServerInfo(std::wstring& address, std::wstring& serverName, std::wstring& computerName,
                                unsigned short& port);
};

}  // namespace corvane_com::zel::inetmgr::sitehlp

namespace corvane_com::zel::inetmgr {

// Records `address` as the local address the agent reports as its own. The
// agent's common library hands it to the other components; this build has no
// other component, so it is only kept. Thread-safe.
void xoimcomn_set_local_ip_addr(const std::wstring& address);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_FACADE_SERVER_INFO_H
