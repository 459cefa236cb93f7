// The prober's packets: checksums against known vectors, and how it judges
// received bytes, short and lying ones included; refused arguments and sockets.
#include "icmp/icmp.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/tick_count.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr std::uint16_t kId = 0x1234, kSeq = 0x5678, kOther = 0x9abc;

Bytes onWire(std::uint16_t checksum) {
  Bytes out(2);
  std::memcpy(out.data(), &checksum, 2);
  return out;
}

TEST(IcmpChecksum, IsTheInternetChecksumInWireOrderOnAnyMachine) {
  const struct {
    Bytes data, expected;
  } vectors[] = {
      {{0x00, 0x01, 0xf2, 0x03, 0xf4, 0xf5, 0xf6, 0xf7}, {0x22, 0x0d}},  // RFC 1071's example
      {{0x45, 0, 0, 0x73, 0, 0, 0x40, 0, 0x40, 0x11, 0, 0, 0xc0, 0xa8, 0, 0x01, 0xc0, 0xa8, 0, 0xc7}, {0xb8, 0x61}},
      {{0xff, 0xff, 0xff, 0xff}, {0x00, 0x00}},  // the carry folds back in
      {{0x01}, {0xfe, 0xff}},                    // an odd byte is padded after, not before
  };
  for (const auto& v : vectors) EXPECT_EQ(v.expected, onWire(im::ICMP::CalcCheckSum(v.data.data(), int(v.data.size()))));

  // ICMPv6 covers a pseudo-header: an echo request from ::1 to ::1, and ours.
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST;
  addrinfo* loopback = nullptr;
  ASSERT_EQ(0, ::getaddrinfo("::1", nullptr, &hints, &loopback));
  char message[im::ICMP::kPseudoHeaderBytes + im::ICMP::kPacketBytes] = {};
  im::ICMP::prependPseudoHeaderForV6(loopback, im::ICMP::kPacketBytes, message);
  char* request = message + im::ICMP::kPseudoHeaderBytes;
  const unsigned char known[] = {0x80, 0, 0, 0, 0x12, 0x34, 0x00, 0x01, 0, 0, 0, 0};
  std::memcpy(request, known, sizeof known);
  std::memset(request + sizeof known, 'E', im::ICMP::kPayloadBytes);
  EXPECT_EQ(Bytes({0x19, 0x0e}), onWire(im::ICMP::CalcCheckSum(message, int(sizeof message))));
  ASSERT_TRUE(im::ICMP(kId, kSeq).InitICMPData(request, im::ICMP::kPacketBytes, loopback));
  EXPECT_EQ(0, im::ICMP::CalcCheckSum(message, int(sizeof message)));  // a right checksum sums to zero
  ::freeaddrinfo(loopback);
}

// What a raw socket delivers: an echo message of `type`, or an error of `type`
// around our echo request, cut to `keep` bytes; IPv4 with its header first.
Bytes reply(bool v6, int type, std::uint16_t id, std::uint16_t seq, std::size_t keep = 0, int ihl = 5) {
  Bytes out;
  if (!v6) out = {static_cast<unsigned char>(0x40 | ihl), 0, 0, 0, 0, 0, 0, 0, 64, 1, 0, 0, 10, 0, 0, 1, 10, 0, 0, 2};
  out.insert(out.end(), {static_cast<unsigned char>(type), 0, 0, 0, 0, 0, 0, 0});
  if (v6 ? type == 1 || type == 3 : type == 3 || type == 11) {
    Bytes inner = v6 ? Bytes{0x60, 0, 0, 0, 0, 0, 58} : Bytes{0x45, 0, 0, 0, 0, 0, 0, 0, 64, 1};
    inner.resize(v6 ? 40 : 20);
    inner.insert(inner.end(), {static_cast<unsigned char>(v6 ? 128 : 8), 0, 0, 0, 0, 0, 0, 0});
    out.insert(out.end(), inner.begin(), inner.end());
  }
  const std::size_t echo = out.size() - 8;
  const std::uint32_t now = corvane_com::zel::platform::xoiGetTickCount();
  out.resize(out.size() + 4 + im::ICMP::kPayloadBytes, 'E');
  std::memcpy(&out[echo + 4], &id, 2);
  std::memcpy(&out[echo + 6], &seq, 2);
  std::memcpy(&out[echo + 8], &now, 4);
  if (keep != 0) out.resize(keep);
  return out;
}

TEST(IcmpReply, IsOursDecodedOrRefusedWithoutReadingPastWhatArrived) {
  const struct {
    const char* name;
    bool v6;
    Bytes bytes;
    bool ours;
    int ping, trace;  // ping 0: a time of zero or more
  } rows[] = {
      {"echo reply", false, reply(false, 0, kId, kSeq), true, 0, 1},
      {"echo reply matched by sequence", false, reply(false, 0, kOther, kSeq), true, 0, 1},
      {"another prober's echo reply", false, reply(false, 0, kOther, kOther), false, 0, 1},
      {"our own request seen on loopback", false, reply(false, 8, kId, kSeq), false, -1, 0},
      {"time exceeded", false, reply(false, 11, kId, kSeq), true, -1, 0},
      {"unreachable", false, reply(false, 3, kId, kSeq), true, -1, -1},
      {"error cut inside the echo header", false, reply(false, 11, kId, kSeq, 54), false, -1, 0},
      {"header length beyond the packet", false, reply(false, 0, kId, kSeq, 40, 15), false, -1, -1},
      {"header length below the minimum", false, reply(false, 0, kId, kSeq, 0, 4), false, -1, -1},
      {"nothing after the IP header", false, reply(false, 0, kId, kSeq, 20), false, -1, -1},
      {"v6 echo reply", true, reply(true, 129, kId, kSeq), true, 0, 1},
      {"v6 time exceeded", true, reply(true, 3, kId, kSeq), true, -1, 0},
      {"v6 unreachable", true, reply(true, 1, kId, kSeq), true, -1, -1},
      {"v6 error cut inside the echo header", true, reply(true, 3, kId, kSeq, 54), false, -1, 0},
      {"v6 echo reply of one byte", true, reply(true, 129, kId, kSeq, 1), false, -1, 1},
  };
  im::ICMP icmp(kId, kSeq);
  for (const auto& row : rows) {
    const int family = row.v6 ? AF_INET6 : AF_INET;
    // Exactly the bytes received, so that a read past them is a sanitizer report.
    const std::vector<char> data(row.bytes.begin(), row.bytes.end());
    const int size = int(data.size());
    EXPECT_EQ(row.ours, icmp.isThisPacketBelongsToUs(family, data.data(), size, family)) << row.name;
    const int ms = icmp.DecodePingResponse(family, data.data(), size, nullptr);
    EXPECT_TRUE(row.ping < 0 ? ms == -1 : ms >= 0 && ms < 1000) << row.name << ": " << ms;
    EXPECT_EQ(row.trace, icmp.DecodeTraceResponse(family, data.data(), size, nullptr)) << row.name;
  }
  // Deliberately lenient: a sender of another family is taken unexamined.
  EXPECT_TRUE(icmp.isThisPacketBelongsToUs(AF_INET6, "", 0, AF_INET));
  EXPECT_FALSE(icmp.isThisPacketBelongsToUs(AF_INET, "", 0, AF_UNIX));
}

TEST(IcmpProbe, RefusesBadArgumentsAndMissingPrivilegeWithOneLineSayingWhy) {
  const inetmgr_test::LogCapture errors(inetmgr_test::LogLevel::Error);
  im::ICMP icmp;
  for (int hops : {0, 256}) EXPECT_EQ(-1, icmp.traceroute("127.0.0.1", hops));
  EXPECT_EQ(-1, icmp.traceroute("127.0.0.1", 30, -1));
  EXPECT_EQ(-1, icmp.ping("127.0.0.1", true, -1));
  for (const char* host : {static_cast<const char*>(nullptr), ""}) EXPECT_EQ(-1, icmp.ping(host, true, 1));
  EXPECT_EQ(6u, errors.records().size());

  if (::geteuid() != 0) GTEST_SKIP() << "needs root to make a network namespace and give up the privilege";
  const pid_t child = ::fork();
  if (child == 0) {
    // A fresh namespace admits no group to datagram sockets; "nobody" may not open raw ones.
    const inetmgr_test::LogCapture log;
    const bool dropped = ::unshare(CLONE_NEWNET) == 0 && ::setgid(65534) == 0 && ::setuid(65534) == 0;
    const bool refused = icmp.ping("127.0.0.1", true, 1) == -1;
    int saying = 0;
    for (const auto& record : log.records()) saying += record.text.find(L"ping_group_range") != std::wstring::npos;
    ::_exit(dropped && refused && saying == 1 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(child, ::waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
