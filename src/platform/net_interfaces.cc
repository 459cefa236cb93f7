// Interface enumeration over getifaddrs.
#include "platform/net_interfaces.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

constexpr wchar_t kTag[] = L"persite";

bool addressText(const sockaddr* address, AddressFamily& family, std::wstring& text) {
  char buffer[INET6_ADDRSTRLEN] = {};
  const void* bytes = nullptr;
  if (address->sa_family == AF_INET) {
    family = AddressFamily::IPv4;
    bytes = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
  } else if (address->sa_family == AF_INET6) {
    family = AddressFamily::IPv6;
    bytes = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
  } else {
    return false;
  }
  if (::inet_ntop(address->sa_family, bytes, buffer, sizeof buffer) == nullptr) return false;
  text = fromUtf8(buffer);
  return true;
}

bool isUsableIPv4(const std::wstring& text) {
  in_addr address{};
  if (::inet_pton(AF_INET, toUtf8(text).c_str(), &address) != 1) return false;
  // s_addr is in network order; its first byte is the first octet on any host.
  const auto* octets = reinterpret_cast<const unsigned char*>(&address.s_addr);
  return octets[0] != 127;
}

bool isUsableIPv6(const std::wstring& text) {
  in6_addr address{};
  if (::inet_pton(AF_INET6, toUtf8(text).c_str(), &address) != 1) return false;
  return !IN6_IS_ADDR_LOOPBACK(&address) && !IN6_IS_ADDR_LINKLOCAL(&address);
}

}  // namespace

bool getNetInterfacesList(NetInterfaceList& interfaces) {
  interfaces.clear();
  ifaddrs* all = nullptr;
  if (::getifaddrs(&all) != 0) {
    logError(kTag, L"Failed to read the network interfaces: " + fromUtf8(std::strerror(errno)));
    return false;
  }
  for (const ifaddrs* entry = all; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_name == nullptr) continue;
    if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
    AddressFamily family = AddressFamily::IPv4;
    std::wstring text;
    if (!addressText(entry->ifa_addr, family, text)) continue;
    // An interface that vanished since getifaddrs gives 0 and is dropped.
    const unsigned index = ::if_nametoindex(entry->ifa_name);
    if (index == 0) continue;
    interfaces.emplace_back(fromUtf8(entry->ifa_name), index, family, std::move(text));
  }
  ::freeifaddrs(all);
  std::stable_sort(interfaces.begin(), interfaces.end(),
                   [](const NetInterface& a, const NetInterface& b) { return a.getIndex() < b.getIndex(); });
  return true;
}

std::wstring pickLocalIpAddress(const NetInterfaceList& interfaces) {
  for (const NetInterface& candidate : interfaces) {
    if (candidate.getFamily() == AddressFamily::IPv4 && isUsableIPv4(candidate.getIPAddress())) {
      return candidate.getIPAddress();
    }
  }
  for (const NetInterface& candidate : interfaces) {
    if (candidate.getFamily() == AddressFamily::IPv6 && isUsableIPv6(candidate.getIPAddress())) {
      return candidate.getIPAddress();
    }
  }
  return std::wstring();
}

std::wstring getIpAddress() {
  const char* injected = std::getenv(kTestIpAddressVariable);
  if (injected != nullptr && *injected != '\0') return fromUtf8(injected);

  NetInterfaceList interfaces;
  std::wstring address;
  if (getNetInterfacesList(interfaces)) address = pickLocalIpAddress(interfaces);
  if (address.empty()) {
    logDetail(kTag, L"get IP address failed");
    return L"0.0.0.0";
  }
  return address;
}

}  // namespace corvane_com::zel::platform
