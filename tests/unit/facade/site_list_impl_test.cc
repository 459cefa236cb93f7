// The site list iterator over a fake store: the snapshot and its lock, the
// filtered walk, the walk by site order, references, and failed construction.
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "facade/fake_store.h"
#include "support/temp_dir.h"
#include "support/thrown.h"

using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)
using im::ProtocolType;
using im::SiteType;
using Names = std::vector<std::wstring>;

namespace {

class SiteList : public ::testing::Test {
 protected:
  ScopedDataDir data_;
  FakeStore store_;
};

template <typename E = std::exception>
std::string failureOf(FakeStore* store, ResultCode storeStatus = im::rcSuccess) {
  return thrownText<E>([&] { ListPtr list(new im::ImSiteListImpl(store, storeStatus)); });
}

// Name of the site `index` steps into the order, or the code.
std::wstring byIndex(im::IImSiteList& list, int index) {
  im::IImSite* site = nullptr;
  const int asked = index;
  const ResultCode code = list.getNextSiteByIndex(index, site);
  EXPECT_EQ(index, asked) << "the caller advances the index";
  if (code != im::rcSuccess) return std::to_wstring(code);
  const std::wstring name = site->getSiteName();
  site->release();
  return name;
}

// What a construction that fails with `code` throws.
std::string failureText(ResultCode code) {
  const std::wstring text = im::getErrorText(code, false);
  return code == im::rcShutDown
             ? "inetmgr sitelist object cannot be created as shutdown request has arrived"
             : "Failed to initialize ImSiteListImpl : " + std::string(text.begin(), text.end());
}

}  // namespace

TEST_F(SiteList, AnEmptyStoreGivesAnEmptyListWithTheStoresVersionsAndPoliciesAndItsLockBack) {
  ListPtr list = makeList(store_);
  EXPECT_TRUE(store_.unlocks == 1 && store_.unlockedCookie == store_.cookie);
  im::IImSite* site = im::getNullSite();
  EXPECT_TRUE(list->getNextSite(site) == im::rcEndOfList && site == im::getNullSite()) << "kept";
  EXPECT_EQ(byIndex(*list, 0), L"-5");
  std::wstring global, local;
  EXPECT_TRUE(list->getGlobalSiteListVersion(global) + list->getLocalSiteListVersion(local) == im::rcSuccess);
  EXPECT_EQ(global + L"/" + local, L"global-3/local-9");
  EXPECT_TRUE(list->getPolicyOverwriteClientSites());
}

TEST_F(SiteList, UnderConfiguredOrderOnlyTheLastFallbackIsKeptAndItGoesLast) {
  for (const std::string name : {"fb1", "A", "fb2", "B"}) {
    store_.add(name[0] == 'f' ? "<HttpSite Type=\"fallback\" Name=\"" + name + "\"/>" : http(name));
  }
  EXPECT_EQ(walk(*makeList(store_)), (Names{L"A", L"B", L"fb2"}));
  store_.method = 0;
  EXPECT_EQ(walk(*makeList(store_)), (Names{L"fb1", L"A", L"fb2", L"B"}));
}

TEST_F(SiteList, TheFilterTestsOnlyWhatWasAskedFromTheCurrentPositionAndRefusesOutOfRangeArguments) {
  store_.add(http("A", "Enabled=\"1\""));
  store_.add(http("B", "Enabled=\"1\" Local=\"1\""));
  store_.add(R"(<FTPSite Type="master" Name="A" Local="1"/>)");
  store_.add(http("a"));
  ListPtr list = makeList(store_);
  list->setSiteSearchParams(nullptr, ProtocolType::typeDontCare, SiteType::typeCount, L"A", nullptr);
  EXPECT_EQ(walk(*list), (Names{L"A", L"A"})) << "exact, case-sensitive names";
  const bool yes = true, no = false;
  list->setSiteSearchParams(&yes, ProtocolType::Http, SiteType::typeCount, nullptr, &no);
  list->reset();
  EXPECT_EQ(walk(*list), Names{L"A"}) << "the first argument tests enabled, the last local";
  list->setSiteSearchParams(nullptr, ProtocolType::typeDontCare, SiteType::Master, nullptr, &yes);
  EXPECT_TRUE(walk(*list).empty()) << "a new filter does not restart the walk";
  list->reset();
  EXPECT_EQ(walk(*list), Names{L"A"});

  auto search = [&](int protocol, int type) {
    return thrownText<std::range_error>([&] {
      list->setSiteSearchParams(nullptr, static_cast<ProtocolType::Types>(protocol),
                                static_cast<SiteType::Types>(type), nullptr, nullptr);
    });
  };
  EXPECT_EQ(search(8, 0) + search(-1, 0) + search(0, 6) + search(0, -1) + search(7, 5),
            "Arg 'protocol' out of range.Arg 'protocol' out of range.Arg 'siteType' out of range."
            "Arg 'siteType' out of range.nothing thrown");
}

TEST_F(SiteList, ByIndexFollowsSiteOrderWithOnlyTheFiltersProtocolAndAnIndexBuiltOnce) {
  store_.add(http("five", "Order=\"5\""));
  store_.add(http("one", "Order=\"1\""));
  store_.add(R"(<FTPSite Type="master" Name="ftp" Order="0"/>)");
  store_.add(http("three", "Order=\"3\""));
  ListPtr list = makeList(store_);
  list->setSiteSearchParams(nullptr, ProtocolType::Http, SiteType::Master, L"nobody", nullptr);
  EXPECT_EQ(byIndex(*list, 0) + byIndex(*list, 1) + byIndex(*list, 2), L"onethreefive");
  EXPECT_EQ(byIndex(*list, 3) + byIndex(*list, -1), L"-5-5");
  list->setSiteSearchParams(nullptr, ProtocolType::Ftp, SiteType::typeCount, nullptr, nullptr);
  EXPECT_EQ(byIndex(*list, 0), L"one") << "the index is not rebuilt for a new filter";
  EXPECT_EQ(walk(*list), Names{L"ftp"}) << "the walk by index leaves the iterator alone";
}

TEST_F(SiteList, EachSiteHandedOutCarriesOneReferenceAndAddSiteTakesOneOver) {
  store_.add(http("A", "Order=\"1\""));
  ListPtr list = makeList(store_);
  EXPECT_EQ(walk(*list), Names{L"A"});
  EXPECT_EQ(list->addSite(siteFrom(http("B")).release()), im::rcSuccess);
  EXPECT_EQ(walk(*list), (Names{L"A", L"B"})) << "adding restarts the walk";
  im::IImSite *walked = nullptr, *indexed = nullptr;
  int index = 0;
  list->reset();
  ASSERT_EQ(list->getNextSite(walked), im::rcSuccess);
  ASSERT_TRUE(list->getNextSiteByIndex(index, indexed) == im::rcSuccess && walked == indexed);
  auto* impl = dynamic_cast<im::ImSiteImpl*>(walked);
  EXPECT_EQ(impl->getRefCount(), 3);
  list.reset();
  EXPECT_EQ(impl->getRefCount(), 2) << "the list gives its own reference back once";
  EXPECT_EQ(walked->release() + indexed->release(), 1);
}

TEST_F(SiteList, ForeignAndMissingSitesAreReportedNotHandedOut) {
  store_.addRaw(im::getNullSite());
  store_.addRaw(nullptr);
  store_.add(http("A"));
  ListPtr list = makeList(store_);
  im::IImSite* site = nullptr;
  EXPECT_EQ(list->getNextSite(site), im::rcBadCast);
  EXPECT_EQ(list->getNextSite(site), im::rcSiteListError);
  EXPECT_TRUE(list->getNextSite(site) == im::rcSiteListError && site == nullptr) << "an empty entry ends it";
  EXPECT_EQ(byIndex(*list, 1), L"A") << "the index skips the empty entry";
  EXPECT_EQ(byIndex(*list, 0), L"-13");
}

TEST(SiteListConstruction, EveryFailureNamesItsCauseAndGivesTheLockBack) {
  const std::pair<std::function<void(FakeStore&)>, ResultCode> faults[] = {
      {[](FakeStore& s) { s.cookie = 0; }, im::rcLockFailed},
      {[](FakeStore& s) { s.lockThrows = true; }, im::rcLockFailed},
      {[](FakeStore& s) { s.versionCode = im::rcBadSchema; }, im::rcBadSchema},
      {[](FakeStore& s) { s.resetCode = im::rcNotLocked; }, im::rcNotLocked},
      {[](FakeStore& s) { s.failAt = 1, s.failCode = im::rcShutDown; }, im::rcShutDown}};
  ScopedDataDir data;
  for (const auto& [fault, code] : faults) {
    FakeStore store;
    store.add(http("A"));
    store.add(http("B"));
    EXPECT_EQ(failureOf(&store, im::rcNotInitialized), "nothing thrown") << "a store given is a store to use";
    fault(store);
    EXPECT_EQ(failureOf(&store), failureText(code));
    EXPECT_EQ(store.locks, store.unlocks) << code;
  }
  EXPECT_EQ(failureOf<im::InetMgrShutDownException>(nullptr, im::rcShutDown), failureText(im::rcShutDown));
  EXPECT_EQ(failureOf(nullptr, im::rcLockFailed), failureText(im::rcNotInitialized));
}
