// What the prober's units share and nobody else needs: the log tag, address
// and host texts for log lines, and byte access in machine order.
#ifndef INETMGR_ICMP_ICMP_INTERNAL_H
#define INETMGR_ICMP_ICMP_INTERNAL_H

#include <cstdint>
#include <cstring>
#include <string>

struct sockaddr;

namespace corvane_com::zel::inetmgr::icmp_detail {

inline constexpr wchar_t kTag[] = L"ping";

// Numeric text of an IPv4 or IPv6 address; "unknown" for anything else.
std::wstring addressText(const sockaddr* address);
// A host name as given, for log lines (bytes above 0x7f shown as '?').
std::wstring hostText(const char* host);

// Bytes to leave in front of what a datagram ICMP socket of `family` delivers
// (an error queue entry when `error`), so that frameDatagramReply can put what
// a raw socket would have delivered with it in front.
int datagramHeadroom(int family, bool error);
// Frames the `payload` bytes received at buffer + datagramHeadroom() as a raw
// socket would deliver them: for IPv4 an IPv4 header from `from` in front; for
// an error queue entry (`errorType` >= 0) the ICMP error header and the inner
// IP header around the request it returned. Returns the framed byte count.
int frameDatagramReply(int family, int errorType, int errorCode, const sockaddr* from, char* buffer, int payload);

inline std::uint16_t read16(const char* p) {
  std::uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
inline std::uint32_t read32(const char* p) {
  std::uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

}  // namespace corvane_com::zel::inetmgr::icmp_detail

#endif  // INETMGR_ICMP_ICMP_INTERNAL_H
