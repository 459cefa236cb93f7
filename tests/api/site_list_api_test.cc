// Site lists through the public API only: creation from the configured file,
// filters, order walks, remediation sites, and the null objects when there is
// no list.
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "support/data_dir.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

class SiteListApi : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("INETMGR_TEST_IP_ADDRESS", "10.2.3.4", 1);
    path_ = data_.dir().file("SiteList.xml");
    im::test::ReplaceSiteListSource(path_.c_str());
    im::test::ResetInitFlag();
  }
  void TearDown() override { ::unsetenv("INETMGR_TEST_IP_ADDRESS"); }

  void write(const std::string& sites, const std::string& versions = R"(GlobalVersion="11" LocalVersion="12")") {
    std::ofstream(path_) << "<SiteLists " << versions << "><SiteList>" << sites << "</SiteList></SiteLists>";
  }

  static std::vector<std::wstring> walk(im::IImSiteList& list) {
    std::vector<std::wstring> names;
    list.reset();
    im::IImSite* site = nullptr;
    while (list.getNextSite(site) == im::rcSuccess) {
      names.push_back(site->getSiteName());
      site->release();
    }
    return names;
  }

  inetmgr_test::ScopedDataDir data_;
  std::string path_;
};

const char kSites[] =
    R"(<HttpSite Type="fallback" Name="fb" Server="fb.corp" Enabled="1"/>)"
    R"(<HttpSite Type="repository" Name="web" Server="web.corp" Enabled="1" Order="2"/>)"
    R"(<FTPSite Type="repository" Name="ftp" Server="ftp.corp" Enabled="0" Order="1"/>)"
    R"(<SpipeSite Type="master" Name="mgmt" Server="mgmt.corp" ServerName="MGMT" ServerIP="10.0.0.1"
                 RelativePath="Software" Enabled="1" Order="3"/>)";

}  // namespace

TEST_F(SiteListApi, AListIsASnapshotInStoreOrderWithTheFallbackLast) {
  write(kSites);
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  ASSERT_NE(list.get(), im::getNullSiteList());
  EXPECT_EQ(walk(*list), (std::vector<std::wstring>{L"ftp", L"web", L"mgmt", L"fb"}));
  std::wstring version;
  EXPECT_EQ(list->getGlobalSiteListVersion(version), im::rcSuccess);
  EXPECT_EQ(version, L"11");
  EXPECT_EQ(list->getPolicyFindNearestMethod(), 2u);

  // A newer file does not change a list already made.
  write(R"(<HttpSite Type="repository" Name="other" Enabled="1"/>)", R"(GlobalVersion="12" LocalVersion="12")");
  EXPECT_EQ(list->getSiteCount(), 4u);
  im::IImSiteList_ptr newer = im::createSiteListSmartObject(false);
  EXPECT_EQ(walk(*newer), (std::vector<std::wstring>{L"other"}));
}

TEST_F(SiteListApi, FiltersSelectByEnabledProtocolTypeAndName) {
  write(kSites);
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  const bool enabled = true;
  ASSERT_EQ(list->setSiteSearchParams(&enabled, im::ProtocolType::typeDontCare, im::SiteType::typeCount, nullptr,
                                      nullptr),
            im::rcSuccess);
  EXPECT_EQ(walk(*list), (std::vector<std::wstring>{L"web", L"mgmt", L"fb"}));
  list->setSiteSearchParams(nullptr, im::ProtocolType::Spipe, im::SiteType::typeCount, nullptr, nullptr);
  EXPECT_EQ(walk(*list), (std::vector<std::wstring>{L"mgmt"}));
  // The order index takes only the filter's protocol, once.
  int index = 0;
  im::IImSite* site = nullptr;
  ASSERT_EQ(list->getNextSiteByIndex(index, site), im::rcSuccess);
  EXPECT_EQ(site->getSiteName(), L"mgmt");
  site->release();
  index = 1;
  EXPECT_EQ(list->getNextSiteByIndex(index, site), im::rcSiteListError);
  list->setSiteSearchParams(nullptr, im::ProtocolType::typeDontCare, im::SiteType::typeCount, L"ftp", nullptr);
  EXPECT_EQ(walk(*list), (std::vector<std::wstring>{L"ftp"}));
  EXPECT_THROW(list->setSiteSearchParams(nullptr, static_cast<im::ProtocolType::Types>(8), im::SiteType::typeCount,
                                         nullptr, nullptr),
               std::range_error);

}

TEST_F(SiteListApi, RemediationSitesGoInFrontOfThisListOnly) {
  write(kSites);
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  EXPECT_EQ(list->addRemediationSites(L"|http://fix.corp/a|http://fix2.corp/b/|"), im::rcSuccess);
  const std::vector<std::wstring> names = walk(*list);
  ASSERT_EQ(names.size(), 6u);
  EXPECT_EQ(names[0], L"http://fix2.corp/b/");
  EXPECT_EQ(names[1], L"http://fix.corp/a");
  EXPECT_EQ(list->addRemediationSites(L"fix.corp/no-scheme"), im::rcPathError);
  EXPECT_EQ(im::createSiteListSmartObject(false)->getSiteCount(), 4u);
}

TEST_F(SiteListApi, WithoutAUsableSiteListCallersGetTheNullObjectsOrTheCause) {
  write(kSites, R"(GlobalVersion="1")");
  im::IImSiteList* list = createSiteListObject(false);
  EXPECT_EQ(list, im::getNullSiteList());
  im::IImSite* site = nullptr;
  EXPECT_EQ(list->getNextSite(site), im::rcNotImplemented);
  EXPECT_EQ(site, im::getNullSite());
  EXPECT_EQ(site->downloadFile(L"f", L"/s", L"/d", false, nullptr), im::rcNotImplemented);
  site->release();
  list->destroy();
  EXPECT_THROW(createSiteListObject(true), std::runtime_error);
}

TEST_F(SiteListApi, AfterShutdownNoListCanBeMade) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  write(kSites);
  EXPECT_EXIT(
      {
        triggerShutdownInetMgr();
        im::IImSiteList* list = createSiteListObject(false);
        bool threw = false;
        try {
          createSiteListObject(true);
        } catch (const std::exception&) {
          threw = true;
        }
        std::exit(list == im::getNullSiteList() && threw ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
