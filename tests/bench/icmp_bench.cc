// The ICMP prober on a namespace network of its own (icmp_netns.sh, eight
// routers in a chain): echo requests per hop-count search beside what Debian's
// traceroute sends for the same answer, and the time ping measures at 1-20 ms
// of delay beside Debian's ping. Needs root; says why and runs nothing without.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "icmp/icmp.h"
#include "inetmgr/log_sink.h"
#include "support/test_network.h"

namespace im = corvane_com::zel::inetmgr;
using inetmgr_test::InNamespace;
using inetmgr_test::testAddress;

namespace {

constexpr int kRouters = 8;
constexpr int kDelays[] = {1, 2, 5, 10, 20};  // echo hosts .2 to .6
inetmgr_test::TestNetwork* network = nullptr;

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

// Echo requests sent from the client namespace while `probe` runs.
template <class Probe>
long requestsSent(bool v6, Probe probe) {
  const auto sent = [v6] {
    long count = -1;
    std::sscanf(network->run("c", v6 ? "nstat -asz Icmp6OutEchos" : "nstat -asz IcmpOutEchos").c_str(),
                "#kernel %*s %ld", &count);
    return count;
  };
  const long before = sent();
  probe();
  return sent() - before;
}

void BM_HopCountSearch(benchmark::State& state) {
  const int hops = static_cast<int>(state.range(0));
  const bool v6 = state.range(1) != 0;
  const std::string target = testAddress(v6, hops, 2);
  const InNamespace inside(network->ns("c"));
  im::ICMP icmp;
  int found = -1;
  const long sent = requestsSent(v6, [&] {
    for (auto _ : state) found = icmp.traceroute(target.c_str(), 30);
  });
  int debianQ3 = -1, debianQ1 = -1;
  state.counters["hops"] = found;
  state.counters["probes"] = static_cast<double>(sent) / static_cast<double>(state.iterations());
  state.counters["debian_probes"] = requestsSent(v6, [&] { debianQ3 = network->debianHops(target, "-q 3"); });
  state.counters["debian_q1_probes"] = requestsSent(v6, [&] { debianQ1 = network->debianHops(target, "-q 1"); });
  if (found != hops || debianQ3 != hops || debianQ1 != hops) state.SkipWithError("a hop count is wrong");
}
BENCHMARK(BM_HopCountSearch)
    ->ArgNames({"hops", "v6"})
    ->ArgsProduct({{1, 2, 3, 4, 5, 6, 7, 8}, {0, 1}})
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

void BM_PingDelay(benchmark::State& state) {
  const int index = static_cast<int>(state.range(0));
  const bool v6 = state.range(1) != 0;
  const std::string target = testAddress(v6, 100, index + 2);
  const InNamespace inside(network->ns("c"));
  im::ICMP icmp;
  long total = 0;
  for (auto _ : state) total += icmp.ping(target.c_str(), true, 2);
  state.counters["delay_ms"] = kDelays[index];
  state.counters["ping_ms"] = static_cast<double>(total) / static_cast<double>(state.iterations());
  state.counters["debian_ms"] = network->debianPingMs(target, 10).second;
}
BENCHMARK(BM_PingDelay)
    ->ArgNames({"delay", "v6"})
    ->ArgsProduct({{0, 1, 2, 3, 4}, {0, 1}})
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  im::setLogSink(&discard, nullptr, im::LogLevel::Error);
  inetmgr_test::TestNetwork built(kRouters);
  if (!built.skipReason().empty() || !built.error().empty()) {
    std::printf("icmp_bench: not run: %s%s\n", built.skipReason().c_str(), built.error().c_str());
    return 0;
  }
  network = &built;
  std::vector<std::unique_ptr<inetmgr_test::DelayedEcho>> echoes;
  for (bool v6 : {false, true})
    for (int i = 0; i < 5; ++i)
      echoes.push_back(
          std::make_unique<inetmgr_test::DelayedEcho>(built.ns("e"), testAddress(v6, 100, i + 2), kDelays[i]));
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
