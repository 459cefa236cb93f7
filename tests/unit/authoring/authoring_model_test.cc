// The authoring model: which fields make a site or proxy count as non-empty,
// and null targets of getters. That getters return their own setter's field,
// lists their entries in creation order, and that every request makes a new
// object, is checked through the writer's tests.
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
  EXPECT_TRUE(Site(im::SpipeSiteInfo).isEmptyObject()) << "the kind does not count";
  EXPECT_EQ(ignoredFields(Site(im::UncSiteInfo), kSiteTexts, L"x"), Names{});
  // Any one of the three texts of a credential counts.
  EXPECT_EQ(ignoredFields(Site(im::UncSiteInfo), kSiteLogins, im::UserLoginInfo(L"", L"", L"1")), Names{});
  EXPECT_EQ(ignoredFields(Proxy(), kProxyTexts, L"x"), (Names{"AltHTTPProxyUseAuth", "AltFTPProxyUseAuth"}));
  EXPECT_EQ(ignoredFields(Proxy(), kProxyLogins, im::UserLoginInfo(L"user", L"", L"")),
            (Names{"AltHTTPProxyUserName", "AltFTPProxyUserName"}));
  Proxy withHost, withRange;
  withHost.addExclusionHost(L"intranet");
  withRange.addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.9", L"lab"));
  EXPECT_FALSE(withHost.isEmptyObject() || withRange.isEmptyObject());
}

TEST(AuthoringModel, GettersRefuseANullTarget) {
  Site site(im::HttpSiteInfo);
  Proxy proxy;
  for (const auto& login : kSiteLogins) EXPECT_EQ((site.*login.get)(nullptr), im::rcUnexpected);
  for (const auto& login : kProxyLogins) EXPECT_EQ((proxy.*login.get)(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getLocalAddrRanges(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getExlusionHosts(nullptr), im::rcUnexpected);
}
