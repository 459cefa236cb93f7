// The sites' TCP reachability probe: which local address this machine uses to
// reach a server, found by opening a real connection to it within a bounded
// wait.
#ifndef INETMGR_SITE_SITE_PROBES_H
#define INETMGR_SITE_SITE_PROBES_H

#include <string>

#include "site/transfer_builder.h"

namespace corvane_com::zel::inetmgr {

// The longest one tryConnect waits, name lookup included.
inline constexpr int kConnectWaitMilliseconds = 2000;

// Resolves `host` (only as a numeric address when `numericHost`, so a name is
// never looked up then) and opens a TCP connection to `port` on the first of
// its addresses that accepts one, all within `waitMilliseconds`. On success
// closes the connection again, writes its local address as numeric text
// ("192.0.2.7", "2001:db8::7") to `localAddress` and returns true; on any
// failure returns false with `localAddress` empty and one detail log line.
// Thread-safe.
bool tryConnect(const std::wstring& host, unsigned short port, std::wstring& localAddress, bool numericHost,
                int waitMilliseconds = kConnectWaitMilliseconds);

// A site list's host text split into host and port: "host:443", "10.0.0.1:443"
// and "[2001:db8::1]:443" give the port after the last ':'; a text with more
// than one ':' and no brackets is an IPv6 address without a port, and keeps
// every ':'. The port is empty when there is none.
void splitHostPort(const std::wstring& text, std::wstring& host, std::wstring& port);

// The port text as a TCP port; false for anything but 1 to 65535.
bool parsePort(const std::wstring& text, unsigned short& port);

// The port the site's operations use: its secure port when it has one (an SSL
// site), else the port its address names, else the port its server text
// names, else its port property. False when none of them is a usable port.
bool sitePort(const PropertyMap& properties, unsigned short& port);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_SITE_PROBES_H
