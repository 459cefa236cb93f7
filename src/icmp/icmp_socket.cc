// The prober's sockets: resolving the host, opening a raw ICMP socket or, for
// a process without the privilege, an ICMP datagram socket, sending, and
// waiting for the reply that belongs to this prober within a time-out.
#include "icmp/icmp.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netdb.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "icmp/icmp_internal.h"
#include "platform/log.h"
#include "platform/net_interfaces.h"
#include "platform/tick_count.h"

namespace corvane_com::zel::inetmgr {

namespace icmp_detail {

std::wstring addressText(const sockaddr* address) {
  char text[INET6_ADDRSTRLEN] = {};
  const void* raw = nullptr;
  if (address != nullptr && address->sa_family == AF_INET)
    raw = &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
  else if (address != nullptr && address->sa_family == AF_INET6)
    raw = &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
  if (raw == nullptr || ::inet_ntop(address->sa_family, raw, text, sizeof text) == nullptr) return L"unknown";
  return hostText(text);
}

std::wstring hostText(const char* host) {
  std::wstring text;
  for (const char* p = host; p != nullptr && *p != '\0'; ++p)
    text += static_cast<unsigned char>(*p) < 0x80 ? static_cast<wchar_t>(*p) : L'?';
  return text;
}

}  // namespace icmp_detail

using icmp_detail::addressText;
using icmp_detail::datagramHeadroom;
using icmp_detail::frameDatagramReply;
using icmp_detail::hostText;
using icmp_detail::kTag;

namespace {

// A link-local IPv6 address means nothing without its interface: one given
// without a scope gets the first interface that has a link-local address.
std::string withLinkLocalScope(const char* host) {
  in6_addr address;
  if (std::strchr(host, '%') != nullptr || ::inet_pton(AF_INET6, host, &address) != 1 ||
      !IN6_IS_ADDR_LINKLOCAL(&address))
    return host;
  platform::NetInterfaceList interfaces;
  platform::getNetInterfacesList(interfaces);
  for (const platform::NetInterface& candidate : interfaces) {
    const std::wstring& text = candidate.getIPAddress();
    if (candidate.getFamily() != platform::AddressFamily::IPv6 || text.compare(0, 5, L"fe80:") != 0) continue;
    std::string scoped = std::string(host) + '%';
    for (wchar_t c : candidate.getName()) scoped += static_cast<char>(c);
    return scoped;
  }
  return host;
}

bool isPrivilegeError(int error) { return error == EPERM || error == EACCES; }

// Receives one packet from a raw socket: -1 on error, -2 when nothing was there.
int receiveRaw(int socket, sockaddr_storage* from, char* buffer, int size) {
  socklen_t length = sizeof *from;
  const ssize_t n = ::recvfrom(socket, buffer, static_cast<std::size_t>(size), MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(from), &length);
  if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? -2 : -1;
  return static_cast<int>(n);
}

// Receives one entry from a datagram socket, an ICMP error from its error
// queue first, and frames it as a raw socket would have delivered it.
int receiveDatagram(int socket, int family, sockaddr_storage* from, char* buffer, int size) {
  const int errorRoom = datagramHeadroom(family, true);
  alignas(cmsghdr) char control[512];
  iovec io{buffer + errorRoom, static_cast<std::size_t>(size - errorRoom)};
  msghdr message{};
  message.msg_iov = &io;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  const ssize_t n = ::recvmsg(socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT);
  if (n >= 0) {
    for (cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr; c = CMSG_NXTHDR(&message, c)) {
      const bool v4 = c->cmsg_level == SOL_IP && c->cmsg_type == IP_RECVERR;
      const bool v6 = c->cmsg_level == SOL_IPV6 && c->cmsg_type == IPV6_RECVERR;
      if ((!v4 && !v6) || c->cmsg_len < CMSG_LEN(sizeof(sock_extended_err))) continue;
      sock_extended_err error;
      std::memcpy(&error, CMSG_DATA(c), sizeof error);
      if (error.ee_origin != SO_EE_ORIGIN_ICMP && error.ee_origin != SO_EE_ORIGIN_ICMP6) continue;
      // The offender's address follows the record inside the control message.
      const std::size_t room = c->cmsg_len - CMSG_LEN(sizeof error);
      std::memset(from, 0, sizeof *from);
      std::memcpy(from, CMSG_DATA(c) + sizeof error, std::min(room, sizeof *from));
      return frameDatagramReply(family, error.ee_type, error.ee_code, reinterpret_cast<sockaddr*>(from), buffer,
                                static_cast<int>(n));
    }
    return -2;  // a local error, not an answer from the network
  }
  const int room = datagramHeadroom(family, false);
  const int received = receiveRaw(socket, from, buffer + room, size - room);
  if (received < 0) return received;
  return frameDatagramReply(family, -1, 0, reinterpret_cast<sockaddr*>(from), buffer, received);
}

}  // namespace

int ICMP::CreateICMPSocket(const char* host, addrinfo** result, bool numericHost) {
  *result = nullptr;
  if (host == nullptr || *host == '\0') {
    platform::logError(kTag, L"ICMP::Ping - No host given to probe");
    return -1;
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = numericHost ? AI_NUMERICHOST : 0;
  addrinfo* list = nullptr;
  if (::getaddrinfo(withLinkLocalScope(host).c_str(), nullptr, &hints, &list) != 0 || list == nullptr ||
      (list->ai_family != AF_INET && list->ai_family != AF_INET6)) {
    if (list != nullptr) ::freeaddrinfo(list);
    platform::logDetail(kTag, L"ICMP::Ping - Failed to get the addrinfo for " + hostText(host));
    return -1;
  }
  const int family = list->ai_family;
  const int protocol = family == AF_INET6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP);
  int s = ::socket(family, SOCK_RAW | SOCK_CLOEXEC, protocol);
  if (s >= 0) {
    if (family == AF_INET6) {
      icmp6_filter filter;
      ICMP6_FILTER_SETBLOCKALL(&filter);
      ICMP6_FILTER_SETPASS(ICMP6_DST_UNREACH, &filter);
      ICMP6_FILTER_SETPASS(ICMP6_TIME_EXCEEDED, &filter);
      ICMP6_FILTER_SETPASS(ICMP6_ECHO_REPLY, &filter);
      if (::setsockopt(s, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter) != 0)
        platform::logDetail(kTag, L"ICMP::Ping - Failed to set the ICMPv6 filter: " + std::to_wstring(errno));
    }
    platform::logDetail(kTag, L"ICMP::Ping - Using a raw ICMP socket");
    *result = list;
    return s;
  }
  const int rawError = errno;
  if (isPrivilegeError(rawError)) s = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, protocol);
  if (s < 0) {
    const int datagramError = isPrivilegeError(rawError) ? errno : 0;
    ::freeaddrinfo(list);
    platform::logDetail(kTag, L"ICMP::Ping - Failed to create raw socket: " + std::to_wstring(rawError) +
                                  (datagramError == 0 ? std::wstring()
                                                      : L"; nor an ICMP datagram socket: " +
                                                            std::to_wstring(datagramError) +
                                                            L" (give the process CAP_NET_RAW, or its group in "
                                                            L"net.ipv4.ping_group_range)"));
    return -1;
  }
  // Errors about our requests ("time exceeded", "unreachable") reach a datagram
  // socket only through its error queue.
  const int on = 1;
  if (family == AF_INET6 ? ::setsockopt(s, SOL_IPV6, IPV6_RECVERR, &on, sizeof on)
                         : ::setsockopt(s, SOL_IP, IP_RECVERR, &on, sizeof on))
    platform::logDetail(kTag, L"ICMP::Ping - Failed to ask for ICMP errors: " + std::to_wstring(errno));
  platform::logDetail(kTag, L"ICMP::Ping - No privilege for a raw socket (" + std::to_wstring(rawError) +
                                L"), using an ICMP datagram socket");
  *result = list;
  return s;
}

int ICMP::SendTo(int socket, const addrinfo* target, const char* data, int size) {
  if (target == nullptr || data == nullptr || size < 0) {
    errno = EINVAL;
    return -1;
  }
  const ssize_t n = ::sendto(socket, data, static_cast<std::size_t>(size), 0, target->ai_addr, target->ai_addrlen);
  return n < 0 ? -1 : static_cast<int>(n);
}

int ICMP::ReceiveFrom(int socket, sockaddr_storage* from, char* buffer, int size, int timeoutSeconds,
                      const addrinfo* target) {
  if (socket == -1 || from == nullptr || buffer == nullptr || target == nullptr ||
      size <= datagramHeadroom(target->ai_family, true))
    return -1;
  int type = 0;
  socklen_t typeLength = sizeof type;
  if (::getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &typeLength) != 0) return -1;
  const int family = target->ai_family;
  // The whole wait, foreign packets included, stays within the time-out.
  const std::int64_t budget = static_cast<std::int64_t>(std::clamp(timeoutSeconds, 0, kMaxTimeoutSeconds)) * 1000;
  const std::uint32_t start = platform::xoiGetTickCount();
  for (;;) {
    const std::int64_t left = budget - static_cast<std::uint32_t>(platform::xoiGetTickCount() - start);
    if (left <= 0) {
      errno = ETIMEDOUT;
      return 0;
    }
    pollfd wait{socket, POLLIN, 0};
    const int ready = ::poll(&wait, 1, static_cast<int>(std::min<std::int64_t>(left, INT_MAX)));
    if (ready == 0) {
      errno = ETIMEDOUT;
      return 0;
    }
    if (ready < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    const int n = type == SOCK_DGRAM ? receiveDatagram(socket, family, from, buffer, size)
                                     : receiveRaw(socket, from, buffer, size);
    if (n == -1) return -1;
    if (n >= 0 && isThisPacketBelongsToUs(from->ss_family, buffer, n, family)) return n;
  }
}

}  // namespace corvane_com::zel::inetmgr
