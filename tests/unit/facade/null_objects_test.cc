// The null site and null site list: one object each, whose answers let a
// caller's loop end and its comparisons fail without a null test.
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/site_list.h"
#include "support/data_dir.h"
#include "support/site_from_xml.h"

namespace im = corvane_com::zel::inetmgr;

TEST(NullObjects, AreSingleObjectsWhoseWalkEndsAtOnceWithTheNullSiteAndWhoseSiteEqualsOnlyItself) {
  im::IImSite* site = im::getNullSite();
  im::IImSiteList* list = im::getNullSiteList();
  ASSERT_TRUE(site == im::getNullSite() && list == im::getNullSiteList());
  EXPECT_EQ(site->release() + site->release(), 0);
  list->destroy();
  list->destroy();
  im::IImSite* walked = nullptr;
  im::IImSite* indexed = nullptr;
  int index = 0;
  std::wstring version = L"old";
  for (const im::ResultCode code :
       {list->getNextSite(walked), list->getNextSiteByIndex(index, indexed), list->reset(),
        list->getGlobalSiteListVersion(version), site->downloadFile(L"f", L"/s", L"/d", false, nullptr),
        site->uploadFile(L"f", L"/r", L"f", L"/l", nullptr), site->connect(nullptr)}) {
    EXPECT_EQ(code, im::rcNotImplemented);
  }
  EXPECT_TRUE(walked == site && indexed == site);
  EXPECT_EQ(version + site->getSiteName(), L"");
  EXPECT_EQ(list->getSiteCount(), 0u);
  EXPECT_EQ(site->getSortOrder(), INT_MAX) << "sorts after every real site";
  EXPECT_EQ(site->ping(5), 65535) << "unmeasurable";

  inetmgr_test::ScopedDataDir data;
  const auto real = inetmgr_test::siteFrom(R"(<HttpSite Type="master" Name="r"/>)");
  const inetmgr_test::SitePtr blank(new im::ImSiteImpl());  // every field as empty as the null site's
  EXPECT_TRUE(*site == *im::getNullSite());
  EXPECT_FALSE(*site == *real || *real == *site || *site == *blank);
}
