// The authoring model: which fields make a site or proxy count as non-empty,
// credential copies, and objects created per request. That each getter
// returns its own setter's field, and lists their entries in order, is checked
// through the writer's tests.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/site_list_writer.h"

namespace im = corvane_com::zel::inetmgr;
using P = im::ProxyConfigInfo;
using S = im::SiteInfo;

namespace {

template <typename T>
using Setter = im::ResultCode (T::*)(const std::wstring&);
template <typename T>
using LoginSetter = im::ResultCode (T::*)(const im::UserLoginInfo&);
template <typename T>
using LoginGetter = im::ResultCode (T::*)(im::UserLoginInfo*) const;

// For each setter, whether a fresh object with only that field set is empty.
template <typename T, typename Make>
std::vector<bool> emptyAfterEach(Make make, std::vector<Setter<T>> setters,
                                 std::vector<LoginSetter<T>> logins) {
  std::vector<bool> empty;
  for (Setter<T> set : setters) {
    T object = make();
    EXPECT_EQ((object.*set)(L"x"), im::rcSuccess);
    empty.push_back(object.isEmptyObject());
  }
  for (LoginSetter<T> set : logins) {
    T object = make();
    EXPECT_EQ((object.*set)(im::UserLoginInfo(L"", L"", L"1")), im::rcSuccess);
    empty.push_back(object.isEmptyObject());
  }
  return empty;
}

}  // namespace

TEST(SiteInfo, AFreshSiteOfAnyKindIsEmptyAndEveryFieldAloneMakesItNonEmpty) {
  EXPECT_TRUE(S(im::SpipeSiteInfo).isEmptyObject()) << "the kind does not count";
  const auto make = [] { return S(im::UncSiteInfo); };
  const std::vector<bool> empty = emptyAfterEach<S>(
      make,
      {&S::setSiteName, &S::setSiteServer, &S::setSiteServerIP, &S::setSiteServerName, &S::setSiteType,
       &S::setSiteID, &S::setSiteAvailabilityStatus, &S::setSiteOrder, &S::setSiteLocal, &S::setRelativePath,
       &S::setUserAuth, &S::setShareName, &S::setUserlogonInfo, &S::setDomainName, &S::setReplicationUNCName,
       &S::setReplicationDomainName},
      {&S::setUsernamePassword, &S::setReplicationUsernamePassword});
  EXPECT_EQ(empty, std::vector<bool>(18, false));
}

TEST(ProxyConfigInfo, MainFieldsAndListsMakeAProxyNonEmptyButAlternateFieldsDoNot) {
  const auto make = [] { return P(); };
  EXPECT_TRUE(make().isEmptyObject());
  EXPECT_EQ(emptyAfterEach<P>(make,
                              {&P::setProxyName, &P::setProxyID, &P::setHttpProxyServer, &P::setHttpProxyPort,
                               &P::setFtpProxyServer, &P::setFtpProxyPort, &P::setProxyLocal,
                               &P::setUseIEConfig, &P::setAllowUserToConfigureProxy, &P::setBypassLocalAddr,
                               &P::setHttpUseAuth, &P::setFtpUseAuth},
                              {&P::setHttpProxyUsernamePassword, &P::setFtpProxyUsernamePassword}),
            std::vector<bool>(14, false));
  EXPECT_EQ(emptyAfterEach<P>(make, {&P::setAltHttpUseAuth, &P::setAltFtpUseAuth},
                              {&P::setAltHttpProxyUsernamePassword, &P::setAltFtpProxyUsernamePassword}),
            std::vector<bool>(4, true));
  P altFtpUserOnly;
  altFtpUserOnly.setAltFtpProxyUsernamePassword(im::UserLoginInfo(L"alt", L"", L""));
  EXPECT_TRUE(altFtpUserOnly.isEmptyObject());

  P withHost;
  P withRange;
  EXPECT_EQ(withHost.addExclusionHost(L"intranet"), im::rcSuccess);
  EXPECT_EQ(withRange.addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.9", L"lab")), im::rcSuccess);
  EXPECT_FALSE(withHost.isEmptyObject());
  EXPECT_FALSE(withRange.isEmptyObject());
}

TEST(UserLoginInfo, CredentialAndListGettersCopyEverythingOutAndRefuseANullTarget) {
  S site(im::HttpSiteInfo);
  P proxy;
  std::vector<LoginGetter<S>> siteGetters = {&S::getUsernamePassword, &S::getReplicationUsernamePassword};
  std::vector<LoginGetter<P>> proxyGetters = {
      &P::getHttpProxyUsernamePassword, &P::getFtpProxyUsernamePassword, &P::getAltHttpProxyUsernamePassword,
      &P::getAltFtpProxyUsernamePassword};
  for (LoginGetter<S> get : siteGetters) EXPECT_EQ((site.*get)(nullptr), im::rcUnexpected);
  for (LoginGetter<P> get : proxyGetters) EXPECT_EQ((proxy.*get)(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getLocalAddrRanges(nullptr), im::rcUnexpected);
  EXPECT_EQ(proxy.getExlusionHosts(nullptr), im::rcUnexpected);

  site.setReplicationUsernamePassword(im::UserLoginInfo(L"user", L"secret", L"1"));
  im::UserLoginInfo out(L"stale", L"stale", L"stale");
  ASSERT_EQ(site.getReplicationUsernamePassword(&out), im::rcSuccess);
  EXPECT_EQ(out.getUserName() + L"|" + out.getPassword() + L"|" + out.getEncryptedMarker(), L"user|secret|1");
}

TEST(SiteList, EveryRequestCreatesANewObjectKeptInCreationOrder) {
  im::SiteList list(L"Main", L"Default site");
  EXPECT_EQ(list.getSiteListName() + L"|" + list.getSiteListDefault(), L"Main|Default site");
  EXPECT_EQ(list.setProxyConfigListUseIEOption(L"1"), im::rcSuccess);
  EXPECT_EQ(list.getProxyConfigListUseIEConfig(), L"1");

  const std::vector<S*> made = {list.getSiteInfoObject(im::FtpSiteInfo),
                                list.getSiteInfoObject(im::FtpSiteInfo)};
  const std::vector<P*> proxiesMade = {list.getProxyConfigInfoObject(), list.getProxyConfigInfoObject()};
  EXPECT_NE(made[0], made[1]);
  EXPECT_NE(proxiesMade[0], proxiesMade[1]);
  std::vector<std::shared_ptr<S>> sites;
  std::vector<std::shared_ptr<P>> proxies;
  list.getSiteInfoObjects(sites);
  list.getProxyConfigObjects(proxies);
  ASSERT_EQ(sites.size() + proxies.size(), 4u);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(sites[i].get(), made[i]);
    EXPECT_EQ(proxies[i].get(), proxiesMade[i]);
  }
}
