// The proxy choice of the libcurl transfers.
#include "xoinet/curl_proxy.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdint>
#include <vector>

#include "platform/utf8.h"

namespace corvane_com::zel::xoInet {
namespace {

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::string();
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string> splitList(const std::wstring& list) {
  std::vector<std::string> items;
  const std::string text = platform::toUtf8(list);
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find(';', start);
    if (end == std::string::npos) end = text.size();
    std::string item = trimmed(text.substr(start, end - start));
    if (!item.empty()) items.push_back(std::move(item));
    start = end + 1;
  }
  return items;
}

// `pattern` with "*" standing for any run of characters; both already lower case.
bool wildcardMatch(const std::string& pattern, const std::string& text) {
  std::size_t p = 0, t = 0, star = std::string::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

std::optional<std::uint32_t> ipv4(const std::string& text) {
  in_addr address{};
  if (::inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

bool insideLocalRanges(const std::wstring& ranges, std::uint32_t address) {
  const std::vector<std::string> bounds = splitList(ranges);
  for (std::size_t i = 0; i + 1 < bounds.size(); i += 2) {
    const std::optional<std::uint32_t> start = ipv4(bounds[i]);
    const std::optional<std::uint32_t> end = ipv4(bounds[i + 1]);
    if (start && end && *start <= address && address <= *end) return true;
  }
  return false;
}

}  // namespace

bool bypassesProxy(const CProxyParams& params, const std::string& host) {
  const std::string name = lower(host);
  for (const std::string& entry : splitList(params.exclusionList)) {
    if (wildcardMatch(lower(entry), name)) return true;
  }
  if (!params.bypassLocalAddresses) return false;
  if (const std::optional<std::uint32_t> address = ipv4(host)) {
    return insideLocalRanges(params.localAddressList, *address);
  }
  in6_addr v6{};
  const bool numeric6 = ::inet_pton(AF_INET6, host.c_str(), &v6) == 1;
  return !numeric6 && name.find('.') == std::string::npos;
}

ProxyRoute chooseProxyRoute(const std::optional<ProxyOptions>& proxy, bool ftp, const std::string& host) {
  ProxyRoute route;
  if (!proxy) return route;
  const CProxyParams& params = proxy->params;
  if (params.useSystemConfig) {
    route.kind = ProxyRoute::Kind::environment;
    return route;
  }
  const std::int32_t port = ftp ? params.ftpPort : params.httpPort;
  if (params.proxyServer.empty() || port <= 0 || port > 65535 || bypassesProxy(params, host)) return route;
  std::string server = platform::toUtf8(params.proxyServer);
  if (server.find(':') != std::string::npos && server.front() != '[') server = "[" + server + "]";
  route.kind = ProxyRoute::Kind::server;
  route.server = server + ":" + std::to_string(port);
  route.authenticate = ftp ? params.ftpUseAuth : params.httpUseAuth;
  if (route.authenticate) route.userName = platform::toUtf8(ftp ? params.ftpUserName : params.httpUserName);
  return route;
}

}  // namespace corvane_com::zel::xoInet
