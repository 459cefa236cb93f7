// The process-wide store: first load, refresh rules, the lock cookies and
// shutdown.
#include "store/persist_site.h"

#include <sys/stat.h>

#include <thread>

#include "store/store_fixture.h"
#include "support/log_capture.h"

using inetmgr_test::StoreTest;
namespace im = corvane_com::zel::inetmgr;
using im::LogLevel;

TEST_F(StoreTest, FirstUseLoadsTheListInConfiguredOrderAndCachesIt) {
  writeSiteList("7", "1", {{"three", 3}, {"none", -1}, {"one", 1}},
                "<UserName>u</UserName><Password>" + passwordText(L"hunter2") + "</Password><UseAuth>1</UseAuth>");
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(siteNames(s), (std::vector<std::wstring>{L"one", L"three", L"none"}));
  EXPECT_EQ(globalVersion(s), L"7");
  EXPECT_EQ(s->getSiteCount(), 3u);

  struct stat info {};
  ASSERT_EQ(::stat(data_.dir().file("etc/sitecache.bin").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  corvane_com::zel::platform::ByteBuffer cache;
  ASSERT_TRUE(corvane_com::zel::platform::AFile::read(data_.dir().wfile("etc/sitecache.bin"), cache));
  EXPECT_EQ(std::string(cache.begin(), cache.end()).find("hunter2"), std::string::npos);
}

TEST_F(StoreTest, AFirstDocumentThatIsRejectedLeavesNoStore) {
  writeSiteList("", "1", {{"a", 1}});
  im::ResultCode rc = im::rcBadArgument;
  EXPECT_EQ(im::PersistSite::getInstance(rc), nullptr);
  EXPECT_EQ(rc, im::rcBadArgument) << "the caller's code is left alone";
}

TEST_F(StoreTest, LockCookiesCountFromOneAndUnknownCookiesAreRefused) {
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
        std::exit(firstOk && refused && secondOk ? 0 : 1);
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
  EXPECT_EQ(siteNames(store()), (std::vector<std::wstring>{L"brand-new", L"second"}));
}

TEST_F(StoreTest, AnUnchangedFileIsNotReadAndEqualVersionsAreNotTaken) {
  writeSiteList("5", "1", {{"a", 1}});
  ASSERT_NE(store(), nullptr);
  inetmgr_test::LogCapture log(LogLevel::Detail);
  ASSERT_NE(store(), nullptr);
  EXPECT_EQ(log.count(L"No change to site list timestamp"), 1);
  writeSiteList("5", "1", {{"a-different-site", 1}});
  im::PersistSite* s = store();
  EXPECT_EQ(log.count(L"site list file version <= internal version"), 1);
  EXPECT_EQ(siteNames(s), (std::vector<std::wstring>{L"a"}));
  // Versions only have to differ: an older one replaces the list too.
  writeSiteList("4", "1", {{"older", 1}});
  EXPECT_EQ(siteNames(store()), (std::vector<std::wstring>{L"older"}));
}

TEST_F(StoreTest, ANewIpAddressRereadsTheListButKeepsItWhenTheNewOneIsBad) {
  writeSiteList("1", "1", {{"a", 1}});
  ASSERT_NE(store(), nullptr);
  inetmgr_test::LogCapture log(LogLevel::Info);
  ::setenv("INETMGR_TEST_IP_ADDRESS", "10.9.8.8", 1);
  ASSERT_NE(store(), nullptr);
  EXPECT_EQ(log.count(LogLevel::Info, L"IP address changed from 10.9.8.7 to 10.9.8.8"), 1);
  ASSERT_TRUE(corvane_com::zel::platform::AFile::write(path_, std::string("<SiteLists><broken")));
  ::setenv("INETMGR_TEST_IP_ADDRESS", "10.9.8.9", 1);
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr) << "the held list is still good";
  EXPECT_EQ(siteNames(s), (std::vector<std::wstring>{L"a"}));
  EXPECT_EQ(log.count(LogLevel::Error, L"XML parse error"), 1);
}

TEST_F(StoreTest, AfterAShutdownRequestTheStoreAnswersMinus14) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  writeSiteList("1", "1", {{"a", 1}});
  ASSERT_NE(store(), nullptr);
  EXPECT_EXIT(
      {
        im::PersistSite::abortOperation();
        im::ResultCode rc = im::rcSuccess;
        const bool refused = im::PersistSite::getInstance(rc) == nullptr && rc == im::rcShutDown;
        std::exit(refused ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
