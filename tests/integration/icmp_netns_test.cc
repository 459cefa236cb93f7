// The ICMP prober on a network of the test's own (icmp_netns.sh): routers 1-3
// hops away, echo hosts that answer after a chosen delay, one that drops every
// third request, one that never answers, a router that answers "unreachable"
// and a name with no resolver to ask, over IPv4 and IPv6, as root over raw
// sockets and as "nobody" over datagram sockets. Debian's ping and traceroute
// in the same namespace are the reference.
#include <grp.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "icmp/icmp.h"
#include "support/log_capture.h"
#include "support/test_network.h"

namespace im = corvane_com::zel::inetmgr;
using inetmgr_test::InNamespace;
using inetmgr_test::testAddress;

namespace {

constexpr int kDelays[] = {12, 3, 7};  // echo hosts .2 to .4
constexpr int kLossyDelay = 5;          // .5; .9 never answers

// One run: hops to routers 1-3, round trips to the delayed hosts, the lossy
// host's average, five probes that must fail, then what the log showed.
enum { kHops = 0, kPing = 3, kLossy = 6, kFailed = 7, kTimeouts = 12, kHopTimeouts, kNonEcho, kRaw, kDatagram, kMostSearchProbes, kFigures };
using Figures = std::array<int, kFigures>;

Figures measure(bool v6) {
  const inetmgr_test::LogCapture log;
  const auto at = [v6](int subnet, int host) { return testAddress(v6, subnet, host); };
  im::ICMP icmp;
  Figures f{};
  for (int k = 0; k < 3; ++k) f[kHops + k] = icmp.traceroute(at(k + 1, 2).c_str(), 30);
  // The best of three, as a load spike on a busy machine only ever adds time.
  for (int k = 0; k < 9; ++k) {
    const int ms = icmp.ping(at(100, k / 3 + 2).c_str(), true, 2);
    f[kPing + k / 3] = k % 3 == 0 || ms == -1 ? ms : std::min(f[kPing + k / 3], ms);
  }
  f[kLossy] = icmp.ping(at(100, 5).c_str(), true, 1);
  f[kFailed] = icmp.ping(at(100, 9).c_str(), true, 1);
  f[kFailed + 1] = icmp.traceroute(at(100, 9).c_str(), 30, 1);
  f[kFailed + 2] = icmp.ping(at(99, 1).c_str(), true, 2);
  f[kFailed + 3] = icmp.traceroute(at(99, 1).c_str(), 30, 2);
  f[kFailed + 4] = icmp.ping("unresolvable.invalid", false, 1);
  for (const auto& record : log.records()) {
    const std::wstring& t = record.text;
    f[kTimeouts] += t == L"ICMP::Ping - Request timed out";
    f[kHopTimeouts] += t.rfind(L"Timeout while getting response", 0) == 0;
    f[kNonEcho] += t == (v6 ? L"ICMP::Ping - non-echo type 1 received" : L"ICMP::Ping - non-echo type 3 received");
    f[kRaw] += t == L"ICMP::Ping - Using a raw ICMP socket";
    f[kDatagram] += t.find(L"using an ICMP datagram socket") != std::wstring::npos;
    int probes = 0;
    if (t.find(L"Number of hops") != std::wstring::npos &&
        std::swscanf(t.c_str() + t.find(L"[using "), L"[using %d", &probes) == 1)
      f[kMostSearchProbes] = std::max(f[kMostSearchProbes], probes);
  }
  return f;
}

// measure() in a child that has entered `ns` and given up root for "nobody".
Figures measureAsNobody(const std::string& ns, bool v6) {
  int channel[2];
  Figures f{};
  if (::pipe(channel) != 0) return f;
  const pid_t child = ::fork();
  if (child == 0) {
    const InNamespace inside(ns);
    if (inside.entered() && ::setgroups(0, nullptr) == 0 && ::setgid(65534) == 0 && ::setuid(65534) == 0)
      f = measure(v6);
    ::_exit(::write(channel[1], &f, sizeof f) == static_cast<ssize_t>(sizeof f) ? 0 : 1);
  }
  ::close(channel[1]);
  if (child < 0 || ::read(channel[0], &f, sizeof f) != static_cast<ssize_t>(sizeof f)) f = Figures{};
  ::close(channel[0]);
  if (child > 0) ::waitpid(child, nullptr, 0);
  return f;
}

class IcmpNetns : public ::testing::TestWithParam<std::tuple<bool, bool>> {
 protected:
  static void SetUpTestSuite() {
    // Delays are measured to the millisecond on a shared machine: this thread,
    // the responders it starts and the Debian tools it runs are woken first.
    // All of them block between packets, so they cannot starve the machine.
    const sched_param realTime{10};
    ::sched_setscheduler(0, SCHED_FIFO, &realTime);
    network_ = std::make_unique<inetmgr_test::TestNetwork>(3);
    if (!network_->skipReason().empty() || !network_->error().empty()) return;
    for (int k = 0; k < 8; ++k)  // four hosts of each family, the last the lossy one
      echoes_.push_back(std::make_unique<inetmgr_test::DelayedEcho>(network_->ns("e"), testAddress(k >= 4, 100, k % 4 + 2),
                                                                    k % 4 < 3 ? kDelays[k % 4] : kLossyDelay, k % 4 < 3 ? 0 : 3));
  }
  static void TearDownTestSuite() {
    echoes_.clear();
    network_.reset();
  }
  void SetUp() override {
    if (!network_->skipReason().empty()) GTEST_SKIP() << network_->skipReason();
    ASSERT_EQ("", network_->error());
    for (const auto& echo : echoes_) ASSERT_TRUE(echo->ok());
  }
  static inline std::unique_ptr<inetmgr_test::TestNetwork> network_;
  static inline std::vector<std::unique_ptr<inetmgr_test::DelayedEcho>> echoes_;
};

TEST_P(IcmpNetns, MeasuresAsDebianToolsDoAndGivesUpWithinItsTimeOuts) {
  const auto [v6, asNobody] = GetParam();
  Figures f{};
  if (asNobody) {
    network_->run("c", "sysctl -qw net.ipv4.ping_group_range='0 2147483647'");
    f = measureAsNobody(network_->ns("c"), v6);
  } else {
    const InNamespace inside(network_->ns("c"));
    ASSERT_TRUE(inside.entered());
    f = measure(v6);
  }
  EXPECT_TRUE(f[kRaw] == (asNobody ? 0 : 17) && f[kDatagram] == (asNobody ? 17 : 0)) << f[kRaw] << " " << f[kDatagram];
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(k + 1, f[kHops + k]);
    EXPECT_EQ(k + 1, network_->debianHops(testAddress(v6, k + 1, 2)));
    EXPECT_NEAR(network_->debianPingMs(testAddress(v6, 100, k + 2)).first, f[kPing + k], 3.0) << kDelays[k] << " ms";
  }
  EXPECT_LE(f[kMostSearchProbes], 5);  // after the first probe, a binary search over 0..32
  EXPECT_LT(f[kPing + 1], f[kPing + 2]);
  EXPECT_LT(f[kPing + 2], f[kPing]);
  // Two replies and the penalty for the third, which is dropped.
  EXPECT_GE(f[kLossy], (2 * kLossyDelay + im::ICMP::kPenaltyMs) / 3);
  EXPECT_LE(f[kLossy], (2 * (kLossyDelay + 10) + im::ICMP::kPenaltyMs) / 3);
  for (int i = kFailed; i < kFailed + 5; ++i) EXPECT_EQ(-1, f[i]) << "failing probe " << i - kFailed;
  // Only the silent host made a probe wait: every hop probe was answered.
  EXPECT_EQ((std::array<int, 3>{4, 1, 1}), (std::array<int, 3>{f[kTimeouts], f[kHopTimeouts], f[kNonEcho]}));
}

INSTANTIATE_TEST_SUITE_P(FamiliesAndSockets, IcmpNetns, ::testing::Combine(::testing::Bool(), ::testing::Bool()),
                         [](const auto& p) {
                           return std::string(std::get<0>(p.param) ? "IPv6" : "IPv4") + (std::get<1>(p.param) ? "DatagramAsNobody" : "RawAsRoot");
                         });

}  // namespace
