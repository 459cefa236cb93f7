// The process-wide store: first load, refresh rules, the lock cookies and
// shutdown.
#include "store/persist_site.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <thread>

#include "store/store_fixture.h"

using inetmgr_test::StoreTest;
namespace im = corvane_com::zel::inetmgr;
namespace fs = std::filesystem;
using Names = std::vector<std::wstring>;

TEST_F(StoreTest, FirstUseLoadsTheListInConfiguredOrderAndCachesIt) {
  writeSiteList(
      "7", "1", {{"three", 3}, {"none", -1}, {"one", 1}},
      "<UserName>u</UserName><Password>" + passwordText(L"hunter2") + "</Password><UseAuth>1</UseAuth>");
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(siteNames(s), (Names{L"one", L"three", L"none"}));

  struct stat info {};
  ASSERT_EQ(::stat(data_.file("etc/sitecache.bin").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  corvane_com::zel::platform::ByteBuffer cache;
  ASSERT_TRUE(corvane_com::zel::platform::AFile::read(data_.wfile("etc/sitecache.bin"), cache));
  EXPECT_EQ(std::string(cache.begin(), cache.end()).find("hunter2"), std::string::npos);
}

TEST_F(StoreTest, AFirstDocumentThatIsRejectedLeavesNoStore) {
  writeSiteList("", "1", {{"a", 1}});
  im::ResultCode rc = im::rcBadArgument;
  EXPECT_EQ(im::PersistSite::getInstance(rc), nullptr);
  EXPECT_EQ(rc, im::rcBadArgument) << "the caller's code is left alone";
}

TEST_F(StoreTest, LockCookiesCountFromOneUnknownCookiesAreRefusedAndAfterShutdownTheStoreAnswersMinus14) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  writeSiteList("1", "1", {{"a", 1}});
  // A fresh process, so that this is the store's first cookie.
  EXPECT_EXIT(
      {
        im::PersistSite* s = store();
        const long first = s->lock();
        const bool firstOk = first == 1 && s->isLocked() && s->unlock(first) && !s->isLocked();
        const long second = s->lock();
        const bool refused = !s->unlock(99) && s->isLocked();
        const bool secondOk = second == 2 && s->unlock(second) && !s->unlock(second);
        im::PersistSite::abortOperation();
        im::ResultCode rc = im::rcSuccess;
        const bool shut = im::PersistSite::getInstance(rc) == nullptr && rc == im::rcShutDown;
        std::exit(firstOk && refused && secondOk && shut ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(StoreTest, AHeldCookieKeepsTheListFromBeingReplaced) {
  writeSiteList("1", "1", {{"old", 1}});
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr);
  const long cookie = s->lock();
  ASSERT_NE(cookie, 0);
  writeSiteList("2", "1", {{"brand-new", 1}, {"second", 2}});
  std::thread other([] { EXPECT_NE(store(), nullptr); });
  other.join();
  EXPECT_EQ(globalVersion(s), L"1") << "refreshed under a holder";
  ASSERT_TRUE(s->unlock(cookie));
  EXPECT_EQ(siteNames(store()), (Names{L"brand-new", L"second"}));
}

namespace {
// Holds the refresh at its build-and-sort step (the third pause of a refresh)
// until released.
std::promise<void> g_atSort;
std::shared_future<void> g_release;
int g_pauses = 0;
void pauseAtSort() {
  if (++g_pauses == 3) {
    g_atSort.set_value();
    g_release.wait();
  }
}
}  // namespace

TEST_F(StoreTest, CallersArrivingDuringALongRefreshAreServedTheWholeListHeldBefore) {
  writeSiteList("1", "1", {{"old", 1}});
  ASSERT_NE(store(), nullptr);
  writeSiteList("2", "1", {{"new-a", 1}, {"new-b", 2}});
  std::promise<void> release;
  g_release = release.get_future().share();
  g_pauses = 0;
  im::PersistSite::setTestDelayHook(&pauseAtSort);
  std::thread refresher([] { EXPECT_NE(store(), nullptr); });
  g_atSort.get_future().wait();
  // However long the sort, a caller gets the old list at once: whole, never a
  // failure. (Were it to wait for the refresh, this would never return.)
  auto caller = std::async(std::launch::async, [] { return siteNames(store()); });
  const bool served = caller.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  release.set_value();
  refresher.join();
  im::PersistSite::setTestDelayHook(nullptr);
  ASSERT_TRUE(served) << "a caller waited for a running refresh";
  EXPECT_EQ(caller.get(), Names{L"old"});
  EXPECT_EQ(siteNames(store()), (Names{L"new-a", L"new-b"}));
}

TEST_F(StoreTest, AnUnchangedFileIsReadOnlyForANewIpAddressAndOnlyADifferentVersionIsTaken) {
  writeSiteList("5", "1", {{"a", 1}});
  ASSERT_NE(store(), nullptr);
  const auto stamp = fs::last_write_time(path_);
  writeSiteList("6", "1", {{"b", 1}});  // the same size
  fs::last_write_time(path_, stamp);
  EXPECT_EQ(siteNames(store()), Names{L"a"}) << "the same time and size: not read";
  writeSiteList("5", "1", {{"c", 1}});
  fs::last_write_time(path_, stamp);
  ::setenv("INETMGR_TEST_IP_ADDRESS", "10.9.8.8", 1);
  EXPECT_EQ(siteNames(store()), Names{L"c"})
      << "a new address: read and taken whatever its time and versions";
  writeSiteList("5", "1", {{"a-different-site", 1}});
  EXPECT_EQ(siteNames(store()), Names{L"c"}) << "the same versions: not taken";
  // Versions only have to differ: an older one replaces the list too.
  writeSiteList("4", "1", {{"older", 1}});
  EXPECT_EQ(siteNames(store()), Names{L"older"});
  ASSERT_TRUE(corvane_com::zel::platform::AFile::write(path_, std::string("<SiteLists><broken")));
  ::setenv("INETMGR_TEST_IP_ADDRESS", "10.9.8.9", 1);
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr) << "the held list is still good";
  EXPECT_EQ(siteNames(s), Names{L"older"});
}
