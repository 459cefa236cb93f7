// A site built from its site list entry: which entries become sites, what the
// site keeps, and how it compares, copies and releases itself.
#include <string>

#include <gtest/gtest.h>

#include "core/ssl_information.h"
#include "inetmgr/password.h"
#include "inetmgr/sitelist_schema.h"
#include "site/site_impl.h"
#include "support/data_dir.h"
#include "support/log_capture.h"
#include "support/xml_element.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::ImSiteImpl;
using im::LogLevel;
using inetmgr_test::ParsedXml;

namespace {

// Sites are reference counted: tests hold them like the store does.
struct SiteHandle {
  ImSiteImpl* site = new ImSiteImpl();
  ~SiteHandle() {
    if (site != nullptr) site->release();
  }
  ImSiteImpl* operator->() const { return site; }
};

// The administrator's side: what the public function puts into a document.
std::string encryptedPassword(const std::wstring& plain) {
  std::wstring text;
  EXPECT_EQ(im::encryptSiteListPassword(plain, text), im::rcSuccess);
  return std::string(text.begin(), text.end());
}

class SiteFromEntry : public ::testing::Test {
 protected:
  im::ResultCode build(SiteHandle& site, const std::string& xml) {
    ParsedXml parsed(xml);
    return site->initFromElement(parsed.root());
  }
  inetmgr_test::ScopedDataDir data_;
  inetmgr_test::LogCapture log_;
};

}  // namespace

TEST_F(SiteFromEntry, AnHttpRepositoryKeepsItsIdentityAndEveryProperty) {
  SiteHandle site;
  ASSERT_EQ(build(site, R"(<HttpSite Type="repository" Name="Repo1" Server="repo1.corp:80" ServerIP="10.0.0.5"
                            Enabled="1" Local="1" Order="7" Custom="kept"><RelativePath>/pkgs</RelativePath>
                            <Name>child loses</Name></HttpSite>)"),
            im::rcSuccess);
  EXPECT_EQ(site->getProtocol(), im::ProtocolType::Http);
  EXPECT_EQ(site->getType(), im::SiteType::Repository);
  EXPECT_EQ(site->getSiteName(), L"Repo1") << "the attribute wins over the child element";
  EXPECT_EQ(site->getSiteIp(), L"10.0.0.5");
  EXPECT_EQ(site->getServerName(), L"repo1.corp:80");
  EXPECT_EQ(site->getServerNetBios(), L"");
  EXPECT_TRUE(site->isEnabled());
  EXPECT_TRUE(site->isLocalSiteList());
  EXPECT_FALSE(site->isSslEnabled());
  EXPECT_EQ(site->getSortOrder(), 7);
  EXPECT_EQ(site->getSiteOrder(), 7);
  EXPECT_EQ(site->getProperties().at(L"Custom"), L"kept");
  EXPECT_EQ(site->getProperties().at(L"RelativePath"), L"/pkgs");
  EXPECT_EQ(log_.count(LogLevel::Info, L"Found site name=Repo1"), 1);
}

TEST_F(SiteFromEntry, FlagsDefaultToFalseAndOnlyZeroOrOneCount) {
  SiteHandle absent;
  ASSERT_EQ(build(absent, R"(<FTPSite Type="master" Name="a"/>)"), im::rcSuccess);
  EXPECT_FALSE(absent->isEnabled());
  EXPECT_EQ(absent->getSortOrder(), ImSiteImpl::s_invalidOrderValue_);
  SiteHandle wordy;
  ASSERT_EQ(build(wordy, R"(<FTPSite Type="master" Name="a" Enabled="yes" Order="abc"/>)"), im::rcSuccess);
  EXPECT_FALSE(wordy->isEnabled());
  EXPECT_EQ(wordy->getSortOrder(), ImSiteImpl::s_invalidOrderValue_);
  wordy->setSortOrder(3);
  EXPECT_EQ(wordy->getSortOrder(), 3);
  EXPECT_EQ(wordy->getSiteOrder(), ImSiteImpl::s_invalidOrderValue_) << "the two orders are kept apart";
}

TEST_F(SiteFromEntry, EntriesThatCannotBeSitesAreRefusedWithTheirReason) {
  SiteHandle proxy;
  EXPECT_EQ(build(proxy, R"(<ProxyConfigList Name="x"/>)"), im::rcProxyElement);
  EXPECT_TRUE(proxy->getProperties().empty());
  SiteHandle unknown;
  EXPECT_EQ(build(unknown, R"(<GopherSite Type="master" Name="a"/>)"), im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"Unknown protocol type string value=GopherSite"), 1);
  SiteHandle noType;
  EXPECT_EQ(build(noType, R"(<HttpSite Name="a"/>)"), im::rcBadSchema);
  SiteHandle badType;
  EXPECT_EQ(build(badType, R"(<HttpSite Type="Fallback" Name="a"/>)"), im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"Unknown site type string"), 2);
  SiteHandle noName;
  EXPECT_EQ(build(noName, R"(<HttpSite Type="fallback"/>)"), im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"No sitename found"), 1);
}

TEST_F(SiteFromEntry, PasswordsLeaveThePropertyMapAndAreHeldEncrypted) {
  SiteHandle site;
  const std::string xml = "<UNCSite Type=\"repository\" Name=\"share\" UserName=\"svc\" Password=\"" +
                          encryptedPassword(L"pa\u00dfword") + "\"><ReplicationPassword>" +
                          encryptedPassword(L"second") + "</ReplicationPassword></UNCSite>";
  ASSERT_EQ(build(site, xml), im::rcSuccess);
  EXPECT_EQ(site->getProperties().count(L"Password"), 0u);
  EXPECT_EQ(site->getProperties().count(L"ReplicationPassword"), 0u);
  EXPECT_EQ(im::SecureString(site->getPassword()).str(), L"pa\u00dfword");
  EXPECT_EQ(im::SecureString(site->getReplicationPassword()).str(), L"second");

  SiteHandle tooLong;
  const std::string longXml = "<UNCSite Type=\"repository\" Name=\"s\" Password=\"" +
                              encryptedPassword(std::wstring(300, L'p')) + "\"/>";
  EXPECT_EQ(build(tooLong, longXml), im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"Encountered password exceeding max size"), 1);
  SiteHandle garbage;
  EXPECT_EQ(build(garbage, R"(<UNCSite Type="repository" Name="s" Password="bm90IGEgY2lwaGVydGV4dA=="/>)"),
            im::rcBadSchema);
}

TEST_F(SiteFromEntry, AnSslPortMakesTheProtocolSslForTheRestOfTheProcess) {
  SiteHandle secure;
  ASSERT_EQ(build(secure, R"(<SuperAgentSite Type="repository" Name="s" SecurePort="443"/>)"), im::rcSuccess);
  EXPECT_TRUE(secure->isSslEnabled());
  EXPECT_EQ(secure->getHostSSLPort(), L"443");
  SiteHandle plain;
  ASSERT_EQ(build(plain, R"(<SuperAgentSite Type="repository" Name="p"/>)"), im::rcSuccess);
  EXPECT_FALSE(plain->isSslEnabled());
  EXPECT_TRUE(im::SslUseInformation::getInstance()->getSslUseInformation(im::ProtocolType::SuperAgent));
}

TEST_F(SiteFromEntry, AnSpipeSiteWithoutItsRequiredPropertiesIsBuiltButInvalid) {
  SiteHandle complete;
  ASSERT_EQ(build(complete, R"(<SpipeSite Type="master" Name="epo" ServerName="EPO1" ServerIP="10.1.1.1"
                                RelativePath="/spipe"/>)"),
            im::rcSuccess);
  EXPECT_TRUE(complete->validateParameters());
  SiteHandle partial;
  ASSERT_EQ(build(partial, R"(<SpipeSite Type="master" Name="epo" ServerName="EPO1" ServerIP="10.1.1.1"/>)"),
            im::rcSuccess);
  EXPECT_FALSE(partial->validateParameters());
  SiteHandle other;
  ASSERT_EQ(build(other, R"(<HttpSite Type="master" Name="web"/>)"), im::rcSuccess);
  EXPECT_TRUE(other->validateParameters());
}

TEST_F(SiteFromEntry, EqualityLooksOnlyAtIdentityFields) {
  SiteHandle a;
  SiteHandle b;
  SiteHandle c;
  ASSERT_EQ(build(a, R"(<HttpSite Type="repository" Name="r" Server="h1:80" ServerIP="1.2.3.4" Order="1"/>)"),
            im::rcSuccess);
  ASSERT_EQ(build(b, R"(<HttpSite Type="repository" Name="r" Server="h2:8080" ServerIP="1.2.3.4" Order="9"/>)"),
            im::rcSuccess);
  ASSERT_EQ(build(c, R"(<HttpSite Type="repository" Name="r" ServerIP="1.2.3.4" SecurePort="443"/>)"),
            im::rcSuccess);
  EXPECT_TRUE(*a.site == *b.site) << "ports, servers and orders do not count";
  EXPECT_FALSE(*a.site == *c.site) << "the SSL flag does";
  b->setCaBundlePath(L"/etc/ca.pem");
  EXPECT_FALSE(*a.site == *b.site);
}

TEST_F(SiteFromEntry, ACopyIsASeparateSiteSharingOnlyTheProxyRecord) {
  SiteHandle original;
  ASSERT_EQ(build(original, R"(<FTPSite Type="repository" Name="f" Server="ftp.corp" Enabled="1"/>)"),
            im::rcSuccess);
  xo::CProxyParams proxy;
  proxy.proxyServer = L"proxy.corp";
  ASSERT_TRUE(original->setProxy(&proxy));
  EXPECT_EQ(log_.count(LogLevel::Info, L"  Proxy server: proxy.corp"), 1);
  original->setSiteOrder(12);
  original->checkBuildTransferObject();
  ASSERT_NE(original->getTransfer(), nullptr);

  const int liveTransfers = xo::getTransferInstanceCount();
  auto* copy = new ImSiteImpl(*original.site);
  EXPECT_EQ(copy->getRefCount(), 1);
  EXPECT_TRUE(*copy == *original.site);
  EXPECT_EQ(copy->getSiteOrder(), 12);
  EXPECT_EQ(copy->getTransfer(), nullptr) << "the copy builds its own transfer object";
  EXPECT_EQ(copy->getProgress().callbackCount(), 0u);
  xo::CProxyParams seen;
  ASSERT_TRUE(copy->getProxy(seen));
  EXPECT_EQ(seen.proxyServer, L"proxy.corp");
  copy->addRef();
  EXPECT_EQ(copy->release(), 1);
  EXPECT_EQ(copy->release(), 0);
  EXPECT_EQ(xo::getTransferInstanceCount(), liveTransfers);

  ASSERT_TRUE(original->setProxy(nullptr));
  EXPECT_FALSE(original->getProxy(seen));
}
