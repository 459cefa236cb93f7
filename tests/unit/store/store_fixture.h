// A site list file in a fresh data directory, and the process-wide store
// pointed at it as if the process had just started.
#ifndef INETMGR_TESTS_STORE_FIXTURE_H
#define INETMGR_TESTS_STORE_FIXTURE_H

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/password.h"
#include "platform/files.h"
#include "site/site_impl.h"
#include "store/persist_site.h"
#include "support/temp_dir.h"

namespace inetmgr_test {

namespace im = corvane_com::zel::inetmgr;

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("INETMGR_TEST_IP_ADDRESS", "10.9.8.7", 1);
    ASSERT_TRUE(corvane_com::zel::platform::makeDirectories(data_.wfile("etc")));
    im::PersistSite::setDefaultSiteList(path_.c_str());
    im::PersistSite::resetInitFlag();
  }
  void TearDown() override { ::unsetenv("INETMGR_TEST_IP_ADDRESS"); }

  // Writes a site list with the given versions and sites (name, order; an
  // order of -1 writes none). `extra` goes inside the first site element.
  void writeSiteList(const std::string& global, const std::string& local,
                     const std::vector<std::pair<std::string, int>>& sites, const std::string& extra = "") {
    std::string xml = "<SiteLists GlobalVersion=\"" + global + "\" LocalVersion=\"" + local + "\"><SiteList>";
    for (const auto& [name, order] : sites) {
      xml += "<HttpSite Type=\"repository\" Name=\"" + name + "\" Server=\"" + name +
             ".corp\" Enabled=\"1\"" + (order >= 0 ? " Order=\"" + std::to_string(order) + "\">" : ">") +
             (&name == &sites.front().first ? extra : "") + "</HttpSite>";
    }
    ASSERT_TRUE(corvane_com::zel::platform::AFile::write(path_, xml + "</SiteList></SiteLists>"));
  }

  static std::string passwordText(const std::wstring& plain) {
    std::wstring text;
    EXPECT_EQ(im::encryptSiteListPassword(plain, text), im::rcSuccess);
    return std::string(text.begin(), text.end());
  }

  static im::PersistSite* store() {
    im::ResultCode rc = im::rcSuccess;
    return im::PersistSite::getInstance(rc);
  }

  // The names of the store's sites in its order, read under its lock.
  static std::vector<std::wstring> siteNames(im::PersistSite* store) {
    std::vector<std::wstring> names;
    const long cookie = store->lock();
    EXPECT_NE(cookie, 0);
    store->reset();
    for (im::IImSite* site = nullptr; store->getNextSite(site) == im::rcSuccess; site->release()) {
      names.push_back(site->getSiteName());
    }
    store->unlock(cookie);
    return names;
  }

  static std::wstring globalVersion(im::PersistSite* store) {
    std::wstring version;
    store->getGlobalSiteListVersion(version);
    return version;
  }

  ScopedDataDir data_;
  std::wstring path_ = data_.wfile("etc/SiteList.xml");
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_STORE_FIXTURE_H
