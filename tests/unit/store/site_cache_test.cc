// The store's cache file: a restart taken from it, and damaged or hostile
// caches that must be refused without harm.
#include "store/site_cache.h"

#include <fstream>
#include <string>

#include "store/store_fixture.h"
#include "support/log_capture.h"

using inetmgr_test::StoreTest;
namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

class SiteCacheTest : public StoreTest {
 protected:
  // Loads a list with a password and a proxy, and returns its cache's bytes.
  std::string loadAndReadCache() {
    writeSiteList("9", "2", {{"first", 1}, {"second", 2}},
                  "<UseAuth>1</UseAuth><UserName>u</UserName><Password>" + passwordText(L"s3cret") + "</Password>");
    store_ = store();
    EXPECT_NE(store_, nullptr);
    pf::ByteBuffer bytes;
    EXPECT_TRUE(pf::AFile::read(cachePath_, bytes));
    return std::string(bytes.begin(), bytes.end());
  }
  // Written without the atomic replace: thousands of variants, no need to sync.
  bool loadCache(const std::string& contents) {
    std::ofstream(data_.dir().file("etc/sitecache.bin"), std::ios::binary | std::ios::trunc) << contents;
    return im::SiteCacheCodec::load(*store_, cachePath_);
  }

  im::PersistSite* store_ = nullptr;
  std::wstring cachePath_ = data_.dir().wfile("etc/sitecache.bin");
};

}  // namespace

TEST_F(SiteCacheTest, ARestartTakesTheListFromTheCacheWithoutTheDocument) {
  loadAndReadCache();
  ASSERT_TRUE(pf::AFiler::deleteFile(path_));
  // As a new process would: the one-time set-up runs again and finds the cache.
  im::PersistSite::resetInitFlag();
  inetmgr_test::LogCapture log(im::LogLevel::Detail);
  im::PersistSite* s = store();
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(log.count(L"load cache file"), 1);
  EXPECT_EQ(siteNames(s), (std::vector<std::wstring>{L"first", L"second"}));
  EXPECT_EQ(globalVersion(s), L"9");
  const long cookie = s->lock();
  s->reset();
  im::IImSite* site = nullptr;
  ASSERT_EQ(s->getNextSite(site), im::rcSuccess);
  EXPECT_EQ(im::SecureString(static_cast<im::ImSiteImpl*>(site)->getPassword()).str(), L"s3cret");
  EXPECT_EQ(site->getServerName(), L"first.corp");
  site->release();
  s->unlock(cookie);
}

TEST_F(SiteCacheTest, EveryTruncationOfTheCacheIsRefusedAndTheListIsKept) {
  const std::string cache = loadAndReadCache();
  const std::size_t meaningful = cache.find_last_not_of(" \n") + 1;
  inetmgr_test::LogCapture quiet(im::LogLevel::Error);
  for (std::size_t length = 0; length < meaningful; ++length) {
    ASSERT_FALSE(loadCache(cache.substr(0, length))) << "truncated to " << length << " bytes";
  }
  EXPECT_EQ(siteNames(store_), (std::vector<std::wstring>{L"first", L"second"}));
  EXPECT_TRUE(loadCache(cache));
}

TEST_F(SiteCacheTest, FlippedBytesNeverBreakTheStore) {
  const std::string cache = loadAndReadCache();
  inetmgr_test::LogCapture quiet(im::LogLevel::Error);
  for (std::size_t i = 0; i < cache.size(); ++i) {
    for (unsigned char mask : {0x01, 0x10, 0x80}) {
      std::string flipped = cache;
      flipped[i] = static_cast<char>(flipped[i] ^ mask);
      if (loadCache(flipped)) {
        // A flip that still reads (a changed letter of a name, say) must
        // still give a complete list.
        EXPECT_EQ(store_->getSiteCount(), 2u) << "byte " << i;
      }
    }
  }
  ASSERT_TRUE(loadCache(cache));
  EXPECT_EQ(siteNames(store_), (std::vector<std::wstring>{L"first", L"second"}));
}

TEST_F(SiteCacheTest, HostileCountsAreRefusedWithoutHugeAllocations) {
  const std::string cache = loadAndReadCache();
  // The first value after the archive header is the magic's length.
  const std::size_t header = cache.find("17 ");
  ASSERT_NE(header, std::string::npos);
  inetmgr_test::LogCapture quiet(im::LogLevel::Error);
  for (const char* count : {"4294967295", "18446744073709551615", "-1", "99999999999999999999999"}) {
    std::string forged = cache;
    forged.replace(header, 2, count);
    EXPECT_FALSE(loadCache(forged)) << count;
  }
  EXPECT_FALSE(loadCache("22 serialization::archive 18 0"));
  EXPECT_FALSE(loadCache(std::string(1000, '9')));
}
