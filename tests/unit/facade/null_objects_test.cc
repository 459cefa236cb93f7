// The null site and null site list: one object each, whose answers let a
// caller's loop end and its comparisons fail without a null test.
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/site_list.h"
#include "support/parsed_xml.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;

TEST(NullObjects, SurviveBeingGivenBackEndAWalkAtOnceWithTheNullSiteWhichEqualsOnlyItself) {
  im::IImSite* site = im::getNullSite();
  im::IImSiteList* list = im::getNullSiteList();
  EXPECT_EQ(site->release() + site->release(), 0);
  list->destroy();
  list->destroy();
  im::IImSite *walked = nullptr, *indexed = nullptr;
  int index = 0;
  EXPECT_TRUE(list->getNextSite(walked) == im::rcNotImplemented && walked == site);
  EXPECT_TRUE(list->getNextSiteByIndex(index, indexed) == im::rcNotImplemented && indexed == site);
  std::wstring version = L"old";
  list->getGlobalSiteListVersion(version);
  EXPECT_TRUE(version.empty() && list->getSiteCount() == 0) << "an empty list";

  inetmgr_test::ScopedDataDir data;
  const auto real = inetmgr_test::siteFrom(R"(<HttpSite Type="master" Name="r"/>)");
  const inetmgr_test::SitePtr blank(new im::ImSiteImpl());  // every field as empty as the null site's
  EXPECT_TRUE(*site == *im::getNullSite());
  EXPECT_FALSE(*site == *real || *real == *site || *site == *blank);
}
