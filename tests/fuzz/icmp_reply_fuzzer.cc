// Fuzz target for the prober's reply matching and decoding: arbitrary bytes as
// a raw socket of either family delivers them. Every input must be judged
// without a read past what was received, a crash or a sanitizer report.
// First byte: bit 0 an IPv6 socket, bit 1 a sender of the other family.
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "icmp/icmp.h"
#include "inetmgr/log_sink.h"

namespace im = corvane_com::zel::inetmgr;

namespace {
void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  im::setLogSink(&discard, nullptr, im::LogLevel::Trace);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 2048) return 0;
  const int family = (data[0] & 1) != 0 ? AF_INET6 : AF_INET;
  const int sender = (data[0] & 2) == 0 ? family : family == AF_INET ? AF_INET6 : AF_INET;
  // A copy of exactly the bytes, so that a read past them is a sanitizer report.
  const std::vector<char> packet(data + 1, data + size);
  const int bytes = static_cast<int>(packet.size());
  im::ICMP icmp(0x1234, 0x5678);
  icmp.isThisPacketBelongsToUs(sender, packet.data(), bytes, family);
  icmp.DecodePingResponse(family, packet.data(), bytes, nullptr);
  icmp.DecodeTraceResponse(family, packet.data(), bytes, nullptr);
  return 0;
}
