// Ranking through the public API on the ICMP tests' network (icmp_netns.sh):
// a list whose policy ranks by ping time or by hop count, refreshed by the
// store from inside the client namespace (its sorting workers start there
// too) and walked by index: nearest first, then the reserved orders.
#include <sched.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "support/ranking_site_list.h"
#include "support/temp_dir.h"
#include "support/test_network.h"

namespace im = corvane_com::zel::inetmgr;
using inetmgr_test::testAddress;
using Walk = std::vector<std::pair<std::string, int>>;

constexpr int kDelays[] = {3, 7, 12};  // echo hosts 198.18.100.2 to .4

Walk rankIn(const std::string& ns, int method, const std::vector<std::array<std::string, 3>>& entries) {
  const inetmgr_test::ScopedDataDir data;
  inetmgr_test::writeRankingSiteList(data.file("SiteList.xml"), method, entries);
  ::setenv("INETMGR_TEST_IP_ADDRESS", "198.18.1.1", 1);
  im::test::ReplaceSiteListSource(data.file("SiteList.xml").c_str());
  im::test::ResetInitFlag();
  testResetSiteList();
  const inetmgr_test::InNamespace inside(ns);
  EXPECT_TRUE(inside.entered());
  const im::IImSiteList_ptr sites = im::createSiteListSmartObject(false);
  Walk walk;
  im::IImSite* site = nullptr;
  for (int index = 0; index < 20 && sites->getNextSiteByIndex(index, site) == im::rcSuccess; ++index) {
    walk.emplace_back(im::toUtf8(site->getSiteName()), site->getSiteOrder());
    site->release();
  }
  return walk;
}

TEST(RankingNetns, ByPingTimeAndByHopCountNearestFirstThenTheReservedOrders) {
  const sched_param realTime{10};  // delays to the millisecond on a shared machine
  ::sched_setscheduler(0, SCHED_FIFO, &realTime);
  const inetmgr_test::TestNetwork network(3);
  if (!network.skipReason().empty()) GTEST_SKIP() << network.skipReason();
  ASSERT_EQ("", network.error());
  std::vector<std::unique_ptr<inetmgr_test::DelayedEcho>> echoes;
  for (int k = 0; k < 3; ++k) {
    echoes.push_back(std::make_unique<inetmgr_test::DelayedEcho>(network.ns("e"), testAddress(false, 100, k + 2), kDelays[k]));
    ASSERT_TRUE(echoes.back()->ok());
  }
  const auto at = [](int subnet, int host) { return testAddress(false, subnet, host); };
  const std::string unreachable = at(99, 1);  // r1 answers "destination unreachable"

  Walk walk = rankIn(network.ns("c"), 0, {{"Slow", "repository", at(100, 4)}, {"Server", "master", unreachable},
                                          {"Silent", "repository", at(100, 9)}, {"Vendor", "fallback", at(100, 3)},
                                          {"Fast", "repository", at(100, 2)}, {"Here", "repository", ""},
                                          {"Mid", "repository", at(100, 3)}});
  ASSERT_EQ(7u, walk.size());
  for (int k = 0; k < 3; ++k) {  // a measured delay is at least the responder's
    EXPECT_GE(walk[k + 1].second, kDelays[k]) << walk[k + 1].first;
    walk[k + 1].second = kDelays[k];
  }
  EXPECT_EQ((Walk{{"Here", 0}, {"Fast", 3}, {"Mid", 7}, {"Slow", 12}, {"Server", 65533}, {"Vendor", 65534}, {"Silent", 65535}}),
            walk);

  walk = rankIn(network.ns("c"), 1, {{"Three", "repository", at(3, 2)}, {"Server", "master", unreachable},
                                     {"One", "repository", at(1, 2)}, {"Vendor", "fallback", at(1, 2)},
                                     {"Nowhere", "repository", at(99, 2)}, {"Two", "repository", at(2, 2)}});
  EXPECT_EQ((Walk{{"One", 1}, {"Two", 2}, {"Three", 3}, {"Server", 65533}, {"Vendor", 65534}, {"Nowhere", 65535}}), walk);
}
