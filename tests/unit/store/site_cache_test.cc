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
namespace xo = corvane_com::zel::xoInet;

namespace {

class SiteCacheTest : public StoreTest {
 protected:
  // Loads a list with a password, and returns its cache's bytes.
  std::string loadAndReadCache() {
    writeSiteList(
        "9", "2", {{"first", 1}, {"second", 2}},
        "<UseAuth>1</UseAuth><UserName>u</UserName><Password>" + passwordText(L"s3cret") + "</Password>");
    store_ = store();
    EXPECT_NE(store_, nullptr);
    pf::ByteBuffer bytes;
    EXPECT_TRUE(pf::AFile::read(cachePath_, bytes));
    return std::string(bytes.begin(), bytes.end());
  }
  // Written without the atomic replace: thousands of variants, no need to sync.
  bool loadCache(const std::string& contents) {
    std::ofstream(data_.file("etc/sitecache.bin"), std::ios::binary | std::ios::trunc) << contents;
    return im::SiteCacheCodec::load(*store_, cachePath_);
  }

  im::PersistSite* store_ = nullptr;
  std::wstring cachePath_ = data_.wfile("etc/sitecache.bin");
};

}  // namespace

TEST_F(SiteCacheTest, ARestartTakesEverySiteWithSecretsAndProxyFromTheCacheAndACallerChangesOnlyItsCopy) {
  ASSERT_TRUE(pf::AFile::write(
      path_,
      "<SiteLists GlobalVersion=\"9\" LocalVersion=\"1\"><SiteList><HttpSite Type=\"repository\" "
      "Name=\"a\" Server=\"a.corp\" Order=\"1\" UseAuth=\"1\" UserName=\"u\" Password=\"" +
          passwordText(L"s3cret") +
          "\"/><HttpSite Type=\"repository\" Name=\"b\xC3\xA9\"/><ProxyConfigList><ProxyConfig "
          "HTTPProxyServer=\"proxy.corp\" "
          "HTTPProxyPort=\"3128\"/></ProxyConfigList></SiteList></SiteLists>"));
  for (const bool restarted : {false, true}) {
    if (restarted) {  // as a new process would, without the document
      ASSERT_TRUE(pf::AFiler::deleteFile(path_));
      im::PersistSite::resetInitFlag();
    }
    im::PersistSite* s = store();
    ASSERT_NE(s, nullptr);
    const long cookie = s->lock();
    for (int pass = 0; pass < 2; ++pass) {
      s->reset();
      for (im::IImSite* site = nullptr; s->getNextSite(site) == im::rcSuccess; site->release()) {
        xo::CProxyParams proxy;
        EXPECT_TRUE(site->getProxy(proxy) && proxy.proxyServer == L"proxy.corp") << restarted << pass;
        const bool a = site->getSiteName() == L"a";
        EXPECT_EQ(site->getSortOrder(), a ? 1 : im::ImSiteImpl::s_invalidOrderValue_);
        EXPECT_EQ(site->getServerName(), a ? L"a.corp" : L"");
        EXPECT_EQ(im::SecureString(static_cast<im::ImSiteImpl*>(site)->getPassword()).str(),
                  a ? L"s3cret" : L"");
        site->setSortOrder(42);
        site->setProxy(nullptr);
      }
    }
    s->unlock(cookie);
    EXPECT_EQ(siteNames(s), (std::vector<std::wstring>{L"a", L"b\u00E9"}));
    EXPECT_EQ(globalVersion(s), L"9");
  }
}

// Every truncation is refused; a flipped byte that still reads (a changed
// letter of a name, say) gives a complete list; hostile counts are refused
// without huge allocations. The held list survives them all.
TEST_F(SiteCacheTest, DamagedOrHostileCachesAreRefusedOrGiveACompleteList) {
  const std::string cache = loadAndReadCache();
  inetmgr_test::LogCapture quiet(im::LogLevel::Error);
  for (std::size_t length = 0; length <= cache.find_last_not_of(" \n"); ++length)
    ASSERT_FALSE(loadCache(cache.substr(0, length))) << "truncated to " << length << " bytes";
  EXPECT_EQ(siteNames(store_), (std::vector<std::wstring>{L"first", L"second"}));
  for (std::size_t i = 0; i < cache.size(); ++i) {
    for (unsigned char mask : {0x01, 0x10, 0x80}) {
      std::string flipped = cache;
      flipped[i] = static_cast<char>(flipped[i] ^ mask);
      EXPECT_TRUE(!loadCache(flipped) || store_->getSiteCount() == 2u) << "byte " << i;
    }
  }
  const std::size_t header = cache.find("17 ");  // the magic's length, first after the archive header
  ASSERT_NE(header, std::string::npos);
  for (const char* count : {"4294967295", "18446744073709551615", "-1", "99999999999999999999999"})
    EXPECT_FALSE(loadCache(std::string(cache).replace(header, 2, count))) << count;
  EXPECT_FALSE(loadCache("22 serialization::archive 18 0"));
  EXPECT_FALSE(loadCache(std::string(1000, '9')));
  ASSERT_TRUE(loadCache(cache));
  EXPECT_EQ(siteNames(store_), (std::vector<std::wstring>{L"first", L"second"}));
}
