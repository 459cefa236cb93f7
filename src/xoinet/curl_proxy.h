// Which proxy a libcurl transfer goes through: the site list's proxy record,
// its exclusion list and local-address bypass, or the environment's settings
// when the record says to use the system's.
#ifndef INETMGR_XOINET_CURL_PROXY_H
#define INETMGR_XOINET_CURL_PROXY_H

#include <optional>
#include <string>

#include "xoinet/network_transfer.h"

namespace corvane_com::zel::xoInet {

struct ProxyRoute {
  enum class Kind { direct, environment, server };
  Kind kind = Kind::direct;
  std::string server;  // "host:port" when kind is server
  bool authenticate = false;
  std::string userName;
};

// The route of a transfer to `host` (a name or a numeric address, without
// port or brackets) over FTP when `ftp`, else HTTP.
ProxyRoute chooseProxyRoute(const std::optional<ProxyOptions>& proxy, bool ftp, const std::string& host);

// Whether `host` goes direct past the proxy `params`: it matches an entry of
// the exclusion list, or local addresses are bypassed and it is a name
// without a dot or an IPv4 address inside one of the local address ranges.
bool bypassesProxy(const CProxyParams& params, const std::string& host);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_CURL_PROXY_H
