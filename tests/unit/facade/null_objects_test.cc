// The null site and null site list: one object each, every answer harmless.
#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/site_list.h"
#include "site/site_impl.h"
#include "support/data_dir.h"
#include "support/xml_element.h"

namespace im = corvane_com::zel::inetmgr;

TEST(NullSite, IsOneObjectThatOutlivesReleasesAndEqualsOnlyItself) {
  im::IImSite* site = im::getNullSite();
  ASSERT_EQ(site, im::getNullSite());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(site->release(), 0);
  EXPECT_TRUE(*site == *im::getNullSite());
  inetmgr_test::ScopedDataDir data;
  auto* real = new im::ImSiteImpl();
  ASSERT_EQ(real->initFromElement(inetmgr_test::ParsedXml(R"(<HttpSite Type="master" Name="r"/>)").root()),
            im::rcSuccess);
  EXPECT_FALSE(*site == *real || *real == *site);
  real->release();
  // By address: a blank site, whose fields all look like the null site's, still differs.
  auto* blank = new im::ImSiteImpl();
  EXPECT_FALSE(*site == *blank);
  blank->release();
}

TEST(NullSite, AnswersEveryOperationWithNothingThereAndKeepsNothing) {
  im::IImSite& site = *im::getNullSite();
  corvane_com::zel::xoInet::CProxyParams proxy;
  proxy.proxyServer = L"proxy";
  EXPECT_FALSE(site.setProxy(&proxy) || site.getProxy(proxy));
  EXPECT_EQ(proxy.proxyServer, L"") << "a default record is handed back";
  site.setSortOrder(3);
  site.setSiteOrder(3);
  site.setCaBundlePath(L"/tmp/ca");
  site.setForceUpload();
  site.forceNonSslTransfer();
  EXPECT_EQ(site.getType(), im::SiteType::typeCount);
  EXPECT_EQ(site.getProtocol(), im::ProtocolType::typeDontCare);
  EXPECT_FALSE(site.isLocalSiteList() || site.isEnabled() || site.isSslEnabled());
  EXPECT_EQ(site.getSortOrder(), INT_MAX);
  EXPECT_EQ(site.getSiteOrder(), 0);
  EXPECT_EQ(site.getSiteIp() + site.getSiteName() + site.getServerName() + site.getServerNetBios() +
                site.getHostSSLPort() + site.getCaBundlePath(),
            L"");
  EXPECT_EQ(site.getLastErrorXoInet(), -1);
  for (im::ResultCode code : {site.downloadFile(L"f", L"/s", L"/d", false, nullptr),
                              site.uploadFile(L"f", L"/r", L"f", L"/l", nullptr), site.connect(nullptr),
                              site.disconnect(nullptr), site.getLocalIPAddressFromSocket()}) {
    EXPECT_EQ(code, im::rcNotImplemented);
  }
  EXPECT_EQ(site.ping(5) + site.calculateSubnetDistance(30), 2 * 65535);
}

TEST(NullSiteList, IsOneEmptyListWhoseWalkFailsWithTheNullSiteAndClearsItsOutputs) {
  im::IImSiteList* list = im::getNullSiteList();
  ASSERT_EQ(list, im::getNullSiteList());
  im::IImSite* walked = nullptr;
  im::IImSite* indexed = nullptr;
  int index = 0;
  EXPECT_EQ(list->getNextSite(walked), im::rcNotImplemented);
  EXPECT_EQ(list->getNextSiteByIndex(index, indexed), im::rcNotImplemented);
  EXPECT_TRUE(walked == im::getNullSite() && indexed == im::getNullSite());
  std::wstring a = L"a", b = L"b", c = L"c", global = L"g", local = L"l";
  bool flag = true;
  for (im::ResultCode code :
       {list->getNextNearestSite(L"n", a, b, c, flag), list->getGlobalSiteListVersion(global),
        list->getLocalSiteListVersion(local), list->reset(), list->addRemediationSites(L"http://h/p"),
        list->setSiteSearchParams(nullptr, im::ProtocolType::Http, im::SiteType::Master, L"x", nullptr)}) {
    EXPECT_EQ(code, im::rcNotImplemented);
  }
  EXPECT_EQ(a + b + c + global + local, L"");
  EXPECT_FALSE(flag || list->getPolicyOverwriteClientSites());
  EXPECT_EQ(list->getPolicyFindNearestMethod(), 2u);
  list->destroy();
  list->destroy();
  EXPECT_EQ(im::getNullSiteList()->getSiteCount(), 0u);
}
