// Site lists through the public API only: creation from the configured file,
// and the null objects or the cause when there is no list. What a list does
// with its sites is shown by the iterator's own tests.
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

class SiteListApi : public inetmgr_test::AgentSiteList {
 protected:
  static std::vector<std::wstring> walk(im::IImSiteList& list) {
    std::vector<std::wstring> names;
    for (im::IImSite* site = nullptr; list.getNextSite(site) == im::rcSuccess; site->release()) {
      names.push_back(site->getSiteName());
    }
    return names;
  }
};

const char kVersions[] = R"(GlobalVersion="11" LocalVersion="12")";
const char kSites[] =
    R"(<HttpSite Type="fallback" Name="fb" Server="fb.corp" Enabled="1"/>)"
    R"(<HttpSite Type="repository" Name="web" Server="web.corp" Enabled="1" Order="2"/>)"
    R"(<FTPSite Type="repository" Name="ftp" Server="ftp.corp" Enabled="0" Order="1"/>)"
    R"(<SpipeSite Type="master" Name="mgmt" Server="mgmt.corp" ServerName="MGMT" ServerIP="10.0.0.1"
                 RelativePath="Software" Enabled="1" Order="3"/>)";

}  // namespace

TEST_F(SiteListApi, AListIsASnapshotInStoreOrderWithTheFallbackLast) {
  writeSites(kSites, kVersions);
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  ASSERT_NE(list.get(), im::getNullSiteList());
  EXPECT_EQ(walk(*list), (std::vector<std::wstring>{L"ftp", L"web", L"mgmt", L"fb"}));
  std::wstring version;
  EXPECT_TRUE(list->getGlobalSiteListVersion(version) == im::rcSuccess && version == L"11");

  // A newer file does not change a list already made.
  writeSites(R"(<HttpSite Type="repository" Name="other" Enabled="1"/>)");
  EXPECT_EQ(list->getSiteCount(), 4u);
  im::IImSiteList_ptr newer = im::createSiteListSmartObject(false);
  EXPECT_EQ(walk(*newer), (std::vector<std::wstring>{L"other"}));
}

TEST_F(SiteListApi, WithoutAUsableSiteListCallersGetTheNullObjectsOrTheCause) {
  writeSites(kSites, R"(GlobalVersion="1")");
  EXPECT_EQ(createSiteListObject(false), im::getNullSiteList());
  EXPECT_EQ(im::createSiteListSmartObject(false).get(), im::getNullSiteList());
  EXPECT_THROW(createSiteListObject(true), std::runtime_error);
}

TEST_F(SiteListApi, AfterShutdownNoListCanBeMade) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  writeSites(kSites, kVersions);
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
