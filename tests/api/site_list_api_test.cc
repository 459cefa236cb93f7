// Site lists through the public API only: creation from the configured file,
// and the null objects or the cause when there is no list. What a list does
// with its sites is shown by the iterator's own tests.
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"
#include "support/thrown.h"

namespace im = corvane_com::zel::inetmgr;
using Names = std::vector<std::wstring>;
using SiteListApi = inetmgr_test::AgentSiteList;

namespace {

Names walk(im::IImSiteList& list) {
  Names names;
  for (im::IImSite* site = nullptr; list.getNextSite(site) == im::rcSuccess; site->release())
    names.push_back(site->getSiteName());
  return names;
}

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
  EXPECT_EQ(walk(*list), (Names{L"ftp", L"web", L"mgmt", L"fb"}));
  std::wstring version;
  EXPECT_TRUE(list->getGlobalSiteListVersion(version) == im::rcSuccess && version == L"11");
  writeSites(R"(<HttpSite Type="repository" Name="other" Enabled="1"/>)");
  EXPECT_EQ(list->getSiteCount(), 4u) << "a newer file does not change a list already made";
  EXPECT_EQ(walk(*im::createSiteListSmartObject(false)), Names{L"other"});
}

TEST_F(SiteListApi, WithoutAUsableSiteListOrAfterShutdownCallersGetTheNullObjectsOrTheCause) {
  writeSites(kSites, R"(GlobalVersion="1")");
  EXPECT_EQ(createSiteListObject(false), im::getNullSiteList());
  EXPECT_EQ(im::createSiteListSmartObject(false).get(), im::getNullSiteList());
  EXPECT_THROW(createSiteListObject(true), std::runtime_error);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  writeSites(kSites, kVersions);
  // In a child process: the shutdown cannot be undone.
  EXPECT_EXIT(
      {
        triggerShutdownInetMgr();
        const bool refused =
            createSiteListObject(false) == im::getNullSiteList() &&
            inetmgr_test::thrownText<std::exception>([] { createSiteListObject(true); }) != "nothing thrown";
        std::exit(refused ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
