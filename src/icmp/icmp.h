// The ICMP prober: how far a host is, as the average round trip of three echo
// probes or as the hop count found by a binary search over the time-to-live,
// over ICMP (IPv4) and ICMPv6. The repository ranking measures with it.
#ifndef INETMGR_ICMP_ICMP_H
#define INETMGR_ICMP_ICMP_H

#include <cstdint>

struct addrinfo;
struct sockaddr;
struct sockaddr_storage;

namespace corvane_com::zel::inetmgr {

// One prober for one thread. Every probe opens its own socket: a raw socket
// when the process may open one, else an unprivileged ICMP datagram socket
// where net.ipv4.ping_group_range admits the process's group (the log says
// which). Packets are written and read in machine order: the peer echoes the
// bytes back, so identifier, sequence and send time compare as written.
class ICMP {
 public:
  static constexpr int kHeaderBytes = 12;   // type, code, checksum, identifier, sequence, send time
  static constexpr int kPayloadBytes = 32;  // "E" bytes
  static constexpr int kPacketBytes = kHeaderBytes + kPayloadBytes;
  static constexpr int kPseudoHeaderBytes = 40;
  static constexpr int kPenaltyMs = 65534;        // what a timed-out probe adds to the total
  static constexpr int kTraceTimeoutSeconds = 15;  // wait for each hop probe
  static constexpr int kMaxTimeoutSeconds = 3600;

  // Draws the identifier and sequence from getRandomNumberPair.
  ICMP();
  // Fixed identifier and sequence, for tests and the fuzzer.
  ICMP(std::uint16_t identifier, std::uint16_t sequence);

  // Average round trip in milliseconds over three echo probes, each waiting at
  // most `timeoutSeconds` (0 to kMaxTimeoutSeconds) for its reply; a timed-out
  // probe counts kPenaltyMs. -1 when the host cannot be resolved or probed,
  // when a reply is not an echo reply (a router's "unreachable"), or when all
  // three time out. `numericHost` forbids name lookup.
  int ping(const char* host, bool numericHost, int timeoutSeconds);

  // Hops to `host` (1 to maxHops, maxHops in 1..255), found by a binary search
  // over the hop limit after one probe at maxHops has reached the host; each
  // probe waits at most `probeTimeoutSeconds`. -1 when the host is not reached
  // within maxHops, a router answers "unreachable", or anything fails.
  // `numericHost` forbids name lookup, as for ping.
  int traceroute(const char* host, int maxHops, int probeTimeoutSeconds = kTraceTimeoutSeconds,
                 bool numericHost = false);

  // Resolves `host` into `*result` (freed by the caller with freeaddrinfo) and
  // opens an ICMP socket of the first address's family. -1, with nothing to
  // free, when either fails.
  int CreateICMPSocket(const char* host, addrinfo** result, bool numericHost);

  // Writes an echo request of `size` bytes (kHeaderBytes to 1024) for the first
  // address of `target`, with this prober's identifier and sequence, the tick
  // count and its checksum. False, writing nothing, for a size out of range.
  bool InitICMPData(char* out, int size, const addrinfo* target);

  // Writes the kPseudoHeaderBytes IPv6 pseudo-header for an ICMPv6 message of
  // `size` bytes to the first address of `target` into `scratch`; the source
  // is the address the kernel would send from (all zero when none).
  static void prependPseudoHeaderForV6(const addrinfo* target, int size, char* scratch);

  // The Internet checksum of `bytes` bytes, summed and returned in machine
  // order, so that it is right on the wire when stored as it is.
  static std::uint16_t CalcCheckSum(const void* data, int bytes);

  // sendto the first address of `target`: bytes sent, or -1 with errno.
  static int SendTo(int socket, const addrinfo* target, const char* data, int size);

  // Waits at most `timeoutSeconds` in all for a packet that isThisPacketBelongsToUs
  // and returns its byte count with its sender in `*from`; 0 on time-out (errno
  // ETIMEDOUT), -1 on error. What a datagram socket delivers is framed as a raw
  // socket of the family would deliver it (IPv4 header first; an error queue
  // entry becomes the ICMP error that caused it), so decoding is the same.
  int ReceiveFrom(int socket, sockaddr_storage* from, char* buffer, int size, int timeoutSeconds,
                  const addrinfo* target);

  // True when `data` (`size` bytes as a raw socket of `socketFamily` delivers
  // them) is an echo reply to this prober, or an ICMP error that carries one
  // of its requests. Deliberately true for a sender of another family.
  bool isThisPacketBelongsToUs(int senderFamily, const char* data, int size, int socketFamily) const;

  // Milliseconds since the request of the echo reply in `data`, or -1 (logged)
  // for anything else or a packet too short to hold one.
  int DecodePingResponse(int family, const char* data, int size, const sockaddr* from);

  // 1 for an echo reply, 0 for "time exceeded" and other messages, -1 for
  // "destination unreachable" and packets too short to say.
  int DecodeTraceResponse(int family, const char* data, int size, const sockaddr* from);

  // One echo request with hop limit `hops`: 1 reached, 0 stopped on the way or
  // timed out, -1 unreachable or failed.
  int send_and_receive_icmp_packet_with_specified_hopcount(int socket, int hops, addrinfo* target, int size,
                                                           int timeoutSeconds);

 private:
  void drawIdentity();

  std::uint8_t initialised;
  std::uint16_t identifier;
  std::uint16_t sequence;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_ICMP_ICMP_H
