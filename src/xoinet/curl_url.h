// The URLs of the libcurl transfers: a site's server text split into host and
// port, remote paths joined to the site's root and percent-encoded.
#ifndef INETMGR_XOINET_CURL_URL_H
#define INETMGR_XOINET_CURL_URL_H

#include <string>

namespace corvane_com::zel::xoInet {

struct HostPort {
  std::string host;  // without brackets
  long port = 0;     // 0: none given
};

// "name", "name:port", "a.b.c.d:port", "[v6]:port" or a bare IPv6 address.
HostPort splitHostPort(const std::wstring& text);

bool isNumericAddress(const std::string& host);

// `host` as a URL carries it: an IPv6 address in brackets.
std::string bracketed(const std::string& host);

// Percent-encodes what a URL path may not carry as it is; `keepQuery` leaves
// the text after the first '?' alone but for spaces and control bytes.
std::string encodeUrlPath(const std::string& path, bool keepQuery);

// `path` below `root`, with forward slashes and no leading slash: FTP paths
// are taken from the logon directory, HTTP paths from the server's root.
std::string underRoot(const std::wstring& root, const std::wstring& path);

// The last element of a path.
std::string baseName(const std::string& path);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_CURL_URL_H
