// Ranking repositories by ping time on a network of namespaces of its own:
// how long a refresh takes to rank 5, 20 and 50 repositories that answer
// after 1 to 20 ms, beside the bound the five sorting workers imply
// (ceil(N / 5) sites per worker, three probes each, at the largest round trip).
// Needs root; run by scripts/bench.sh.
#include <sched.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <inetmgr/inetmgr.h>

#include "support/ranking_site_list.h"
#include "support/temp_dir.h"
#include "support/test_network.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

// Milliseconds the store takes to read and rank a list of `hosts` by ping
// time, from inside namespace `ns`, and whether every repository was measured.
double rankMs(const std::string& ns, const std::vector<std::string>& hosts, bool& allMeasured) {
  const inetmgr_test::ScopedDataDir data;
  std::vector<std::array<std::string, 3>> entries;
  for (std::size_t i = 0; i < hosts.size(); ++i)
    entries.push_back({"r" + std::to_string(i), "repository", hosts[i]});
  inetmgr_test::writeRankingSiteList(data.file("SiteList.xml"), 0, entries);
  std::wstring path;
  im::fromUtf8(data.file("SiteList.xml"), path);
  im::setSiteListSource(path.c_str());
  const inetmgr_test::InNamespace inside(ns);
  const auto start = std::chrono::steady_clock::now();
  const im::IImSiteList_ptr sites = im::createSiteListSmartObject(false);
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  allMeasured = sites->getSiteCount() == hosts.size();
  sites->reset();
  for (im::IImSite* site = nullptr; sites->getNextSite(site) == im::rcSuccess; site->release())
    allMeasured = allMeasured && site->getSiteOrder() < 65534;
  return ms;
}

}  // namespace

int main() {
  if (::geteuid() != 0) {
    std::printf("ranking_bench: skipped, building network namespaces needs root\n");
    return 0;
  }
  im::setLogSink(&discard, nullptr, im::LogLevel::Error);
  const sched_param realTime{10};
  ::sched_setscheduler(0, SCHED_FIFO, &realTime);
  const inetmgr_test::TestNetwork network(1);
  if (!network.skipReason().empty() || !network.error().empty()) {
    std::printf("ranking_bench: no test network: %s%s\n", network.skipReason().c_str(), network.error().c_str());
    return 0;
  }
  ::setenv("INETMGR_TEST_IP_ADDRESS", "198.18.1.1", 1);
  std::printf("%12s %10s %12s %12s %s\n", "repositories", "delay ms", "ranked in ms", "bound ms", "all measured");
  for (const int count : {5, 20, 50}) {
    for (const int maxDelay : {1, 5, 20}) {
      std::vector<std::unique_ptr<inetmgr_test::DelayedEcho>> echoes;
      std::vector<std::string> hosts;
      for (int i = 0; i < count; ++i) {
        const std::string address = inetmgr_test::testAddress(false, 100, 10 + i);
        network.run("e", "ip addr add " + address + "/24 dev client");
        echoes.push_back(std::make_unique<inetmgr_test::DelayedEcho>(network.ns("e"), address,
                                                                     1 + (i * (maxDelay - 1)) / (count > 1 ? count - 1 : 1)));
        hosts.push_back(address);
      }
      bool allMeasured = false;
      const double ms = rankMs(network.ns("c"), hosts, allMeasured);
      const double bound = ((count + 4) / 5) * 3.0 * maxDelay;
      std::printf("%12d %10d %12.1f %12.1f %s\n", count, maxDelay, ms, bound, allMeasured ? "yes" : "no");
    }
  }
  return 0;
}
