// The two measurements: ping (three echo probes, their average, a penalty for
// each one that times out) and traceroute (a binary search over the hop limit).
#include "icmp/icmp.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "icmp/icmp_internal.h"
#include "inetmgr/xoinet.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {

using icmp_detail::addressText;
using icmp_detail::hostText;
using icmp_detail::kTag;

namespace {

constexpr int kProbes = 3;
constexpr int kReplyBytes = 1024;
constexpr int kTraceReplyBytes = 1044;
constexpr int kMaxHopLimit = 255;

// A probe's socket and address list, released on every way out.
struct ProbeSocket {
  int fd = -1;
  addrinfo* list = nullptr;
  ProbeSocket() = default;
  ProbeSocket(const ProbeSocket&) = delete;
  ProbeSocket& operator=(const ProbeSocket&) = delete;
  ~ProbeSocket() {
    if (fd >= 0) ::close(fd);
    if (list != nullptr) ::freeaddrinfo(list);
  }
};

bool timeoutInRange(int seconds) { return seconds >= 0 && seconds <= ICMP::kMaxTimeoutSeconds; }

}  // namespace

ICMP::ICMP() : initialised(1), identifier(0), sequence(0) { drawIdentity(); }

ICMP::ICMP(std::uint16_t fixedIdentifier, std::uint16_t fixedSequence)
    : initialised(1), identifier(fixedIdentifier), sequence(fixedSequence) {}

void ICMP::drawIdentity() { xoInet::getRandomNumberPair(identifier, sequence); }

int ICMP::ping(const char* host, bool numericHost, int timeoutSeconds) {
  platform::ADetailTrace trace(kTag, L"ICMP::ping");
  if (initialised != 1) return -1;
  if (!timeoutInRange(timeoutSeconds)) {
    platform::logError(kTag, L"ICMP::Ping - The time-out must be 0 to " + std::to_wstring(kMaxTimeoutSeconds) +
                                 L" seconds, not " + std::to_wstring(timeoutSeconds));
    return -1;
  }
  platform::logInfo(kTag, L"ICMP::Ping - Pinging " + hostText(host) + L" with a timeout of " +
                              std::to_wstring(timeoutSeconds) + L" seconds");
  ProbeSocket probe;
  probe.fd = CreateICMPSocket(host, &probe.list, numericHost);
  if (probe.fd < 0) return -1;
  const int family = probe.list->ai_family;
  long long total = 0;
  bool failed = false;
  for (int i = 0; i < kProbes && !failed; ++i) {
    drawIdentity();
    char packet[kReplyBytes] = {};
    InitICMPData(packet, kPacketBytes, probe.list);
    if (SendTo(probe.fd, probe.list, packet, kPacketBytes) < 0) {
      if (errno != ETIMEDOUT) {
        platform::logDetail(kTag, L"ICMP::Ping - Failed to receive packet. Error is " +
                                      hostText(std::strerror(errno)));
        failed = true;
      } else {
        total += kPenaltyMs;
      }
      continue;
    }
    char reply[kReplyBytes];
    sockaddr_storage from{};
    const int received = ReceiveFrom(probe.fd, &from, reply, sizeof reply, timeoutSeconds, probe.list);
    if (received < 0) {
      platform::logDetail(kTag, L"ICMP::Ping - Failed to get response: " + std::to_wstring(errno));
      failed = true;
    } else if (received == 0) {
      platform::logDetail(kTag, L"ICMP::Ping - Request timed out");
      total += kPenaltyMs;
    } else {
      const int milliseconds = DecodePingResponse(family, reply, received, reinterpret_cast<sockaddr*>(&from));
      if (milliseconds < 0) failed = true;
      else total += milliseconds;
    }
  }
  const long long average = total / kProbes;
  // All three timed out; a mix of replies and time-outs is deliberately
  // reported as the large average it is.
  if (failed || average == kPenaltyMs) return -1;
  platform::logInfo(kTag, L"ICMP::Ping - Avg ping time is " + std::to_wstring(average));
  return static_cast<int>(average);
}

int ICMP::send_and_receive_icmp_packet_with_specified_hopcount(int socket, int hops, addrinfo* target, int size,
                                                               int timeoutSeconds) {
  char packet[kTraceReplyBytes] = {};
  if (target == nullptr || !InitICMPData(packet, size, target)) return -1;
  const bool v6 = target->ai_family == AF_INET6;
  const int limit = hops;
  if (::setsockopt(socket, v6 ? IPPROTO_IPV6 : IPPROTO_IP, v6 ? IPV6_UNICAST_HOPS : IP_TTL, &limit, sizeof limit) !=
      0) {
    platform::logError(kTag, L"Failed to set TTL value, error code = " + std::to_wstring(errno));
    return -1;
  }
  if (SendTo(socket, target, packet, size) < 0) {
    platform::logDetail(kTag, L"ICMP::TraceRoute - Failed to send: " + std::to_wstring(errno));
    return -1;
  }
  char reply[kTraceReplyBytes];
  sockaddr_storage from{};
  const int received = ReceiveFrom(socket, &from, reply, sizeof reply, timeoutSeconds, target);
  if (received > 0) {
    const int verdict = DecodeTraceResponse(target->ai_family, reply, received, reinterpret_cast<sockaddr*>(&from));
    return verdict == 1 || verdict == -1 ? verdict : 0;
  }
  if (received == 0) {
    platform::logDetail(kTag, L"Timeout while getting response from repository: " + addressText(target->ai_addr));
    return 0;
  }
  platform::logDetail(kTag, L"Did not get response from repository: " + addressText(target->ai_addr));
  return -1;
}

int ICMP::traceroute(const char* host, int maxHops, int probeTimeoutSeconds, bool numericHost) {
  platform::ADetailTrace trace(kTag, L"ICMP::traceroute");
  if (initialised != 1) return -1;
  if (maxHops < 1 || maxHops > kMaxHopLimit || !timeoutInRange(probeTimeoutSeconds)) {
    platform::logError(kTag, L"ICMP::TraceRoute - The hop limit must be 1 to " + std::to_wstring(kMaxHopLimit) +
                                 L" and the time-out 0 to " + std::to_wstring(kMaxTimeoutSeconds) +
                                 L" seconds, not " + std::to_wstring(maxHops) + L" and " +
                                 std::to_wstring(probeTimeoutSeconds));
    return -1;
  }
  platform::logDetail(kTag, L"ICMP::TraceRoute - Tracing route to " + hostText(host) + L" over a maximum of " +
                                std::to_wstring(maxHops) + L" hops");
  ProbeSocket probe;
  probe.fd = CreateICMPSocket(host, &probe.list, numericHost);
  if (probe.fd < 0) return -1;
  unsigned hi = xoInet::clp2(static_cast<unsigned>(maxHops));
  unsigned lo = 0;
  unsigned mid = static_cast<unsigned>(maxHops);
  int probes = 0;
  bool found = false;
  drawIdentity();
  if (send_and_receive_icmp_packet_with_specified_hopcount(probe.fd, maxHops, probe.list, kPacketBytes,
                                                           probeTimeoutSeconds) == 1) {
    // The interval halves on every pass, so the search ends within eight.
    for (;;) {
      if (hi - lo <= 1) {
        // Deliberate: an even upper end means the last probe fell short by one.
        if (hi % 2 == 0) ++mid;
        found = true;
        break;
      }
      drawIdentity();
      mid = (lo + hi) / 2;
      ++probes;
      const int reached = send_and_receive_icmp_packet_with_specified_hopcount(
          probe.fd, static_cast<int>(mid), probe.list, kPacketBytes, probeTimeoutSeconds);
      if (reached == 1) hi = mid;
      else if (reached == 0) lo = mid;
      else break;
    }
  }
  const std::wstring used = L" [using " + std::to_wstring(probes) + L" icmp packets]";
  if (!found) {
    platform::logDetail(kTag, L"ICMP::TraceRoute -  Could not reach " + hostText(host) +
                                  L" with maximum hop count of " + std::to_wstring(maxHops) + used);
    return -1;
  }
  platform::logDetail(kTag, L"ICMP::TraceRoute - Number of hops to reach " + hostText(host) + L" is " +
                                std::to_wstring(mid) + used);
  return static_cast<int>(mid);
}

}  // namespace corvane_com::zel::inetmgr
