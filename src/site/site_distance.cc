// The distance probes of a site, which rank repositories: the round trip of an
// ICMP echo and the hop count, measured with the ICMP prober. Neither throws;
// 65535 means the site cannot be measured.
#include <exception>
#include <string>

#include "icmp/icmp.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "site/site_impl.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imsite";
constexpr int kUnmeasurable = 65535;
constexpr int kMaxHops = 255;

// The host part of "host", "host:port", "[v6]:port" or a bare IPv6 literal.
std::string hostOf(const std::wstring& text) {
  std::wstring host = text;
  if (!host.empty() && host.front() == L'[') {
    const std::size_t close = host.find(L']');
    host = host.substr(1, close == std::wstring::npos ? std::wstring::npos : close - 1);
  } else if (host.find(L':') == host.rfind(L':')) {
    host = host.substr(0, host.find(L':'));  // one colon at most: a port follows it
  }
  return platform::toUtf8(host);
}

}  // namespace

// The numeric address of the site when it has one (no name lookup), else its
// server's name, else its computer name.
bool ImSiteImpl::distanceTarget(std::string& host, bool& numeric) {
  const std::pair<std::wstring, bool> candidates[] = {
      {siteIp_, true}, {getServerName(), false}, {getServerNetBios(), false}};
  for (const auto& [text, isNumeric] : candidates) {
    host = hostOf(text);
    numeric = isNumeric;
    if (!host.empty()) return true;
  }
  return false;
}

ResultCode ImSiteImpl::ping(int timeoutSeconds) {
  try {
    std::string host;
    bool numeric = false;
    if (!distanceTarget(host, numeric)) return static_cast<ResultCode>(kUnmeasurable);
    const int timeout = timeoutSeconds < 0 ? 0 : timeoutSeconds > ICMP::kMaxTimeoutSeconds ? ICMP::kMaxTimeoutSeconds
                                                                                          : timeoutSeconds;
    const int milliseconds = ICMP().ping(host.c_str(), numeric, timeout);
    return static_cast<ResultCode>(milliseconds < 0 || milliseconds > kUnmeasurable ? kUnmeasurable : milliseconds);
  } catch (const std::exception& e) {
    platform::logError(kTag, L"Ping of site " + siteName_ + L" failed: " + platform::fromUtf8(e.what()));
  } catch (...) {
    platform::logError(kTag, L"Ping of site " + siteName_ + L" failed");
  }
  return static_cast<ResultCode>(kUnmeasurable);
}

ResultCode ImSiteImpl::calculateSubnetDistance(int hopLimit) {
  try {
    std::string host;
    bool numeric = false;
    if (!distanceTarget(host, numeric) || hopLimit < 1) return static_cast<ResultCode>(kUnmeasurable);
    const int hops = ICMP().traceroute(host.c_str(), hopLimit > kMaxHops ? kMaxHops : hopLimit,
                                       ICMP::kTraceTimeoutSeconds, numeric);
    return static_cast<ResultCode>(hops < 1 ? kUnmeasurable : hops);
  } catch (const std::exception& e) {
    platform::logError(kTag, L"Hop count of site " + siteName_ + L" failed: " + platform::fromUtf8(e.what()));
  } catch (...) {
    platform::logError(kTag, L"Hop count of site " + siteName_ + L" failed");
  }
  return static_cast<ResultCode>(kUnmeasurable);
}

}  // namespace corvane_com::zel::inetmgr
