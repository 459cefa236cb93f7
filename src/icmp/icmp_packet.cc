// Echo requests as the prober writes them and replies as it reads them: the
// checksum, the IPv6 pseudo-header, matching a reply to its request and
// decoding it. Every read is checked against the bytes received first, since a
// reply is whatever the network chose to send.
#include "icmp/icmp.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "icmp/icmp_internal.h"
#include "platform/log.h"
#include "platform/tick_count.h"

namespace corvane_com::zel::inetmgr {

using icmp_detail::addressText;
using icmp_detail::kTag;
using icmp_detail::read16;
using icmp_detail::read32;

namespace {

constexpr int kIpv4MinHeader = 20;
constexpr int kIpv6Header = 40;
constexpr int kErrorHeader = 8;  // type, code, checksum, 4 unused or MTU bytes
constexpr int kEchoFields = 8;   // type, code, checksum, identifier, sequence
constexpr int kMaxPacket = 1024;

constexpr unsigned char kV4EchoReply = 0, kV4Unreachable = 3, kV4EchoRequest = 8, kV4TimeExceeded = 11;
constexpr unsigned char kV6Unreachable = 1, kV6TimeExceeded = 3, kV6EchoRequest = 128, kV6EchoReply = 129;

unsigned char byteAt(const char* data, int offset) { return static_cast<unsigned char>(data[offset]); }

// The IPv4 header length that the first byte of `data` claims, or -1 when it
// is below the minimum or beyond the bytes received.
int ipv4HeaderLength(const char* data, int size) {
  if (size < kIpv4MinHeader) return -1;
  const int length = (byteAt(data, 0) & 15) * 4;
  return length < kIpv4MinHeader || length > size ? -1 : length;
}

// Where a received message starts and where the echo header it speaks for
// starts: the message itself for an echo reply, the embedded request for an
// error. Offsets are -1 when absent or not wholly received.
struct Located {
  int message = -1;
  int type = -1;
  int echo = -1;
};

Located locate(int family, const char* data, int size) {
  Located at;
  if (family == AF_INET6) {
    if (size < 1) return at;
    at.message = 0;
    at.type = byteAt(data, 0);
    if (at.type == kV6EchoReply) {
      if (size >= kEchoFields) at.echo = 0;
    } else if (at.type == kV6Unreachable || at.type == kV6TimeExceeded) {
      // The offending packet follows the error header; its echo header follows
      // its IPv6 header when no extension header sits between them.
      const int inner = kErrorHeader;
      const int echo = inner + kIpv6Header;
      if (size >= echo + kEchoFields && byteAt(data, inner + 6) == IPPROTO_ICMPV6) at.echo = echo;
    }
    return at;
  }
  const int header = ipv4HeaderLength(data, size);
  if (header < 0 || size <= header) return at;
  at.message = header;
  at.type = byteAt(data, header);
  if (at.type == kV4EchoReply) {
    if (size >= header + kEchoFields) at.echo = header;
  } else if (at.type == kV4Unreachable || at.type == kV4TimeExceeded) {
    const int inner = header + kErrorHeader;
    const int innerLength = ipv4HeaderLength(data + inner, size > inner ? size - inner : 0);
    if (innerLength >= 0 && byteAt(data, inner + 9) == IPPROTO_ICMP && size >= inner + innerLength + kEchoFields)
      at.echo = inner + innerLength;
  }
  return at;
}

// Milliseconds between the send time in the echo header at `echo` and now;
// false when the send time was not received. Tick arithmetic is modulo 2^32.
bool elapsedSince(const char* data, int size, int echo, int& milliseconds) {
  if (echo < 0 || size < echo + ICMP::kHeaderBytes) return false;
  const std::uint32_t sent = read32(data + echo + kEchoFields);
  milliseconds = static_cast<std::int32_t>(platform::xoiGetTickCount() - sent);
  return true;
}

void put16be(char* p, unsigned value) {
  p[0] = static_cast<char>((value >> 8) & 0xFF);
  p[1] = static_cast<char>(value & 0xFF);
}

}  // namespace

std::uint16_t ICMP::CalcCheckSum(const void* data, int bytes) {
  const auto* p = static_cast<const unsigned char*>(data);
  std::uint32_t sum = 0;
  int i = 0;
  for (; i + 1 < bytes; i += 2) {
    std::uint16_t word;
    std::memcpy(&word, p + i, sizeof word);
    sum += word;
  }
  if (i < bytes) {
    // An odd last byte counts as a word padded with a zero byte after it; on a
    // little-endian machine that is the byte's plain value.
    unsigned char pad[2] = {p[i], 0};
    std::uint16_t word;
    std::memcpy(&word, pad, sizeof word);
    sum += word;
  }
  sum = (sum >> 16) + (sum & 0xFFFF);
  sum += sum >> 16;
  return static_cast<std::uint16_t>(~sum & 0xFFFF);
}

void ICMP::prependPseudoHeaderForV6(const addrinfo* target, int size, char* scratch) {
  std::memset(scratch, 0, kPseudoHeaderBytes);
  if (target == nullptr || target->ai_family != AF_INET6) return;
  for (const addrinfo* candidate = target; candidate != nullptr; candidate = candidate->ai_next) {
    if (candidate->ai_family != AF_INET6 || candidate->ai_addrlen < sizeof(sockaddr_in6)) continue;
    const int probe = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (probe < 0) continue;
    // Connecting a UDP socket sends nothing; it only makes the kernel choose the
    // route, and with it the source address.
    sockaddr_in6 peer;
    std::memcpy(&peer, candidate->ai_addr, sizeof peer);
    peer.sin6_port = htons(9);
    sockaddr_in6 local{};
    socklen_t length = sizeof local;
    const bool found = ::connect(probe, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0 &&
                       ::getsockname(probe, reinterpret_cast<sockaddr*>(&local), &length) == 0 &&
                       local.sin6_family == AF_INET6;
    ::close(probe);
    if (found) {
      std::memcpy(scratch, &local.sin6_addr, 16);
      break;
    }
  }
  if (target->ai_addrlen >= sizeof(sockaddr_in6))
    std::memcpy(scratch + 16, &reinterpret_cast<const sockaddr_in6*>(target->ai_addr)->sin6_addr, 16);
  // Upper-layer length as a 32-bit big-endian number, then three zero bytes
  // and the next-header value.
  put16be(scratch + 32, static_cast<unsigned>(size) >> 16);
  put16be(scratch + 34, static_cast<unsigned>(size) & 0xFFFF);
  scratch[39] = static_cast<char>(IPPROTO_ICMPV6);
}

bool ICMP::InitICMPData(char* out, int size, const addrinfo* target) {
  if (out == nullptr || target == nullptr || size < kHeaderBytes || size > kMaxPacket) return false;
  const bool v6 = target->ai_family == AF_INET6;
  std::memset(out, 0, kHeaderBytes);
  out[0] = static_cast<char>(v6 ? kV6EchoRequest : kV4EchoRequest);
  std::memcpy(out + 4, &identifier, sizeof identifier);
  std::memcpy(out + 6, &sequence, sizeof sequence);
  const std::uint32_t now = platform::xoiGetTickCount();
  std::memcpy(out + 8, &now, sizeof now);
  std::memset(out + kHeaderBytes, 'E', static_cast<std::size_t>(size - kHeaderBytes));
  std::uint16_t checksum;
  if (v6) {
    char scratch[kPseudoHeaderBytes + kMaxPacket];
    prependPseudoHeaderForV6(target, size, scratch);
    std::memcpy(scratch + kPseudoHeaderBytes, out, static_cast<std::size_t>(size));
    checksum = CalcCheckSum(scratch, kPseudoHeaderBytes + size);
  } else {
    checksum = CalcCheckSum(out, size);
  }
  std::memcpy(out + 2, &checksum, sizeof checksum);
  return true;
}

bool ICMP::isThisPacketBelongsToUs(int senderFamily, const char* data, int size, int socketFamily) const {
  if (socketFamily != AF_INET && socketFamily != AF_INET6) return false;
  // Deliberately lenient: a sender of another family is not examined.
  if (senderFamily != socketFamily) return true;
  if (data == nullptr) return false;
  const Located at = locate(socketFamily, data, size);
  if (at.echo < 0) return false;
  return read16(data + at.echo + 4) == identifier || read16(data + at.echo + 6) == sequence;
}

int ICMP::DecodePingResponse(int family, const char* data, int size, const sockaddr* from) {
  const Located at = data == nullptr ? Located{} : locate(family, data, size);
  if (at.message < 0 || size < at.message + kHeaderBytes) {
    platform::logDetail(kTag, L"ICMP::Ping - Too few bytes from " + addressText(from));
    return -1;
  }
  if (at.type != (family == AF_INET6 ? kV6EchoReply : kV4EchoReply)) {
    platform::logDetail(kTag, L"ICMP::Ping - non-echo type " + std::to_wstring(at.type) + L" received");
    return -1;
  }
  int milliseconds = 0;
  elapsedSince(data, size, at.echo, milliseconds);
  // A send time from the future can only be forged; it is not a negative delay.
  if (milliseconds < 0) milliseconds = 0;
  platform::logDetail(kTag, L"ICMP::Ping - " + std::to_wstring(size) + L" bytes from " + addressText(from) +
                                L" icmp_seq: " + std::to_wstring(read16(data + at.echo + 6)) + L" time: " +
                                std::to_wstring(milliseconds) + L" ms.");
  return milliseconds;
}

int ICMP::DecodeTraceResponse(int family, const char* data, int size, const sockaddr* from) {
  const Located at = data == nullptr ? Located{} : locate(family, data, size);
  if (at.type < 0) {
    platform::logDetail(kTag, L"ICMP::TraceRoute - Too few bytes from " + addressText(from));
    return -1;
  }
  const bool v6 = family == AF_INET6;
  if (at.type == (v6 ? kV6Unreachable : kV4Unreachable)) return -1;
  const int verdict = at.type == (v6 ? kV6EchoReply : kV4EchoReply) ? 1 : 0;
  platform::logDetail(kTag, L"ICMP::TraceRoute - Source IP: " + addressText(from));
  int milliseconds = 0;
  if (elapsedSince(data, size, at.echo, milliseconds)) {
    // Deliberately "<10 ms." only for a negative difference.
    platform::logDetail(kTag, milliseconds < 0 ? std::wstring(L"ICMP::TraceRoute - Time: <10 ms.")
                                               : L"ICMP::TraceRoute - Time: " + std::to_wstring(milliseconds) +
                                                     L" ms.");
  }
  return verdict;
}

namespace icmp_detail {

int datagramHeadroom(int family, bool error) {
  if (family == AF_INET6) return error ? kErrorHeader + kIpv6Header : 0;
  return error ? 2 * kIpv4MinHeader + kErrorHeader : kIpv4MinHeader;
}

int frameDatagramReply(int family, int errorType, int errorCode, const sockaddr* from, char* buffer, int payload) {
  const bool error = errorType >= 0;
  const int headroom = datagramHeadroom(family, error);
  std::memset(buffer, 0, static_cast<std::size_t>(headroom));
  const int total = headroom + payload;
  char* message = buffer;
  if (family != AF_INET6) {
    buffer[0] = 0x45;
    put16be(buffer + 2, static_cast<unsigned>(total) & 0xFFFF);
    buffer[8] = 64;
    buffer[9] = static_cast<char>(IPPROTO_ICMP);
    if (from != nullptr && from->sa_family == AF_INET)
      std::memcpy(buffer + 12, &reinterpret_cast<const sockaddr_in*>(from)->sin_addr, 4);
    message = buffer + kIpv4MinHeader;
  }
  if (error) {
    message[0] = static_cast<char>(errorType);
    message[1] = static_cast<char>(errorCode);
    char* inner = message + kErrorHeader;
    if (family == AF_INET6) {
      inner[0] = 0x60;
      put16be(inner + 4, static_cast<unsigned>(payload) & 0xFFFF);
      inner[6] = static_cast<char>(IPPROTO_ICMPV6);
    } else {
      inner[0] = 0x45;
      put16be(inner + 2, static_cast<unsigned>(kIpv4MinHeader + payload) & 0xFFFF);
      inner[9] = static_cast<char>(IPPROTO_ICMP);
    }
  }
  return total;
}

}  // namespace icmp_detail

}  // namespace corvane_com::zel::inetmgr
