// The authoring model: which fields make a site or proxy count as non-empty,
// null targets of getters, and objects created per request. That getters
// return their own setter's field, and lists their entries in creation order,
// is checked through the writer's tests.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/authoring_fields.h"

namespace im = corvane_com::zel::inetmgr;
using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)
using Names = std::vector<std::string>;

namespace {

// The fields that, set alone on a copy of `fresh`, leave it empty.
template <typename T, typename Fields, typename Value>
Names ignoredFields(const T& fresh, const Fields& fields, const Value& value) {
  Names ignored;
  for (const auto& field : fields) {
    T object = fresh;
    EXPECT_EQ((object.*field.set)(value), im::rcSuccess);
    if (object.isEmptyObject()) ignored.emplace_back(field.name);
  }
  return ignored;
}

}  // namespace

TEST(AuthoringModel, AnyFieldCountsForASiteButAProxyIsBlindToItsAlternateFields) {
  const im::UserLoginInfo markerOnly(L"", L"", L"1");  // any one of the three texts counts
  EXPECT_TRUE(Site(im::SpipeSiteInfo).isEmptyObject()) << "the kind does not count";
  EXPECT_EQ(ignoredFields(Site(im::UncSiteInfo), kSiteTexts, L"x"), Names{});
  EXPECT_EQ(ignoredFields(Site(im::UncSiteInfo), kSiteLogins, markerOnly), Names{});
  EXPECT_TRUE(Proxy().isEmptyObject());
  EXPECT_EQ(ignoredFields(Proxy(), kProxyTexts, L"x"), (Names{"AltHTTPProxyUseAuth", "AltFTPProxyUseAuth"}));
  EXPECT_EQ(ignoredFields(Proxy(), kProxyLogins, im::UserLoginInfo(L"user", L"", L"")),
            (Names{"AltHTTPProxyUserName", "AltFTPProxyUserName"}));
  Proxy withHost;
  Proxy withRange;
  withHost.addExclusionHost(L"intranet");
  withRange.addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.9", L"lab"));
  EXPECT_FALSE(withHost.isEmptyObject());
  EXPECT_FALSE(withRange.isEmptyObject());
}

TEST(AuthoringModel, GettersRefuseANullTargetAndEveryRequestCreatesANewObject) {
  Site site(im::HttpSiteInfo);
  Proxy proxy;
  for (const auto& login : kSiteLogins) EXPECT_EQ((site.*login.get)(nullptr), im::rcUnexpected);
  for (const auto& login : kProxyLogins) EXPECT_EQ((proxy.*login.get)(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getLocalAddrRanges(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getExlusionHosts(nullptr), im::rcUnexpected);

  im::SiteList list(L"Main", L"");
  EXPECT_NE(list.getSiteInfoObject(im::FtpSiteInfo), list.getSiteInfoObject(im::FtpSiteInfo));
  EXPECT_NE(list.getProxyConfigInfoObject(), list.getProxyConfigInfoObject());
}
