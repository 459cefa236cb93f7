// A site built from its site list entry: which entries become sites, what the
// site keeps, and how it compares, copies and releases itself.
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "core/ssl_information.h"
#include "inetmgr/password.h"
#include "support/log_capture.h"
#include "support/parsed_xml.h"
#include "support/temp_dir.h"
#include "support/thrown.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::ImSiteImpl;
using im::LogLevel;
using inetmgr_test::siteFrom;

namespace {

// Identity, flags and orders of a site in one line.
std::wstring describe(ImSiteImpl& s) {
  return im::ProtocolType::toString(s.getProtocol()) + L" " + im::SiteType::toString(s.getType()) + L" " +
         s.getSiteName() + L" ip=" + s.getSiteIp() + L" server=" + s.getServerName() + L" netbios=" +
         s.getServerNetBios() + (s.isEnabled() ? L" enabled" : L"") +
         (s.isLocalSiteList() ? L" local" : L"") + (s.isSslEnabled() ? L" ssl=" + s.getHostSSLPort() : L"") +
         L" sort=" + std::to_wstring(s.getSortOrder()) + L" order=" + std::to_wstring(s.getSiteOrder());
}

// The administrator's side: what the public function puts into a document.
std::string encryptedPassword(const std::wstring& plain) {
  std::wstring text;
  EXPECT_EQ(im::encryptSiteListPassword(plain, text), im::rcSuccess);
  return std::string(text.begin(), text.end());
}

im::ResultCode buildCode(const std::string& xml) {
  im::ResultCode code = im::rcUnexpected;
  siteFrom(xml, &code);
  return code;
}

class SiteFromEntry : public ::testing::Test {
 protected:
  inetmgr_test::ScopedDataDir data_;
  inetmgr_test::LogCapture log_;
};

const std::wstring kNoOrder = std::to_wstring(ImSiteImpl::s_invalidOrderValue_);

}  // namespace

TEST_F(SiteFromEntry, KeepsItsIdentityAndEveryPropertyAndReadsOnlyZeroOrOneAsAFlag) {
  auto site = siteFrom(R"(<HttpSite Type="repository" Name="Repo1" Server="repo1.corp:80" ServerIP="10.0.0.5"
                            Enabled="1" Local="1" Order="7" Custom="kept"><RelativePath>/pkgs</RelativePath>
                            <Name>child loses</Name></HttpSite>)");
  EXPECT_EQ(describe(*site),
            L"HttpSite repository Repo1 ip=10.0.0.5 server=repo1.corp:80 netbios= enabled local "
            L"sort=7 order=7");
  EXPECT_EQ(site->getProperties().at(L"Custom") + site->getProperties().at(L"RelativePath"), L"kept/pkgs");

  for (const char* xml : {R"(<FTPSite Type="master" Name="a"/>)",
                          R"(<FTPSite Type="master" Name="a" Enabled="true" Order="abc"/>)"}) {
    EXPECT_EQ(describe(*siteFrom(xml)),
              L"FTPSite master a ip= server= netbios= sort=" + kNoOrder + L" order=" + kNoOrder)
        << xml;
  }
  EXPECT_EQ(log_.count(LogLevel::Error, L"Site a: Enabled=\"true\" is neither 0 nor 1 and is read as false"),
            1);
}

TEST_F(SiteFromEntry, EntriesThatCannotBeSitesAreRefusedWithTheirReason) {
  im::ResultCode code = im::rcUnexpected;
  EXPECT_TRUE(siteFrom(R"(<ProxyConfigList Name="x"/>)", &code)->getProperties().empty());
  EXPECT_EQ(code, im::rcProxyElement);
  for (const char* xml : {R"(<GopherSite Type="master" Name="a"/>)", R"(<HttpSite Name="a"/>)",
                          R"(<HttpSite Type="Fallback" Name="a"/>)", R"(<HttpSite Type="fallback"/>)"}) {
    EXPECT_EQ(buildCode(xml), im::rcBadSchema) << xml;
  }
  EXPECT_EQ(log_.count(LogLevel::Error, L"Unknown protocol type string value=GopherSite"), 1);
  EXPECT_EQ(log_.count(LogLevel::Error, L"Unknown site type string"), 2);
  EXPECT_EQ(log_.count(LogLevel::Error, L"No sitename found"), 1);
}

TEST_F(SiteFromEntry, PasswordsLeaveThePropertyMapAndOneThatDoesNotDecryptAbortsConstruction) {
  auto site = siteFrom("<UNCSite Type=\"repository\" Name=\"share\" UserName=\"svc\" Password=\"" +
                       encryptedPassword(L"pa\u00dfword") + "\"><ReplicationPassword>" +
                       encryptedPassword(L"second") + "</ReplicationPassword></UNCSite>");
  EXPECT_EQ(site->getProperties().count(L"Password") + site->getProperties().count(L"ReplicationPassword"),
            0u);
  EXPECT_EQ(im::SecureString(site->getPassword()).str(), L"pa\u00dfword");
  EXPECT_EQ(im::SecureString(site->getReplicationPassword()).str(), L"second");

  EXPECT_EQ(buildCode("<UNCSite Type=\"repository\" Name=\"s\" Password=\"" +
                      encryptedPassword(std::wstring(300, L'p')) + "\"/>"),
            im::rcBadSchema);
  EXPECT_EQ(inetmgr_test::thrownText<std::runtime_error>([] {
              siteFrom(R"(<UNCSite Type="master" Name="s" ReplicationPassword="bm90IGEgY2lwaGVydGV4dA=="/>)");
            }),
            "ReplicationPassword of site s does not decrypt: the site list was most likely encrypted under "
            "another machine's key");
}

TEST_F(SiteFromEntry, AnSslPortMakesTheProtocolSslForTheRestOfTheProcess) {
  EXPECT_EQ(
      describe(*siteFrom(R"(<SuperAgentSite Type="repository" Name="s" SecurePort="443"/>)")),
      L"SuperAgentSite repository s ip= server= netbios= ssl=443 sort=" + kNoOrder + L" order=" + kNoOrder);
  EXPECT_FALSE(siteFrom(R"(<SuperAgentSite Type="repository" Name="p"/>)")->isSslEnabled());
  EXPECT_TRUE(im::SslUseInformation::getInstance()->getSslUseInformation(im::ProtocolType::SuperAgent));
}

TEST_F(SiteFromEntry, OnlyAnSpipeSiteWithoutItsRequiredPropertiesIsInvalid) {
  const std::string spipe = R"(<SpipeSite Type="master" Name="e" ServerName="E" ServerIP="10.1.1.1")";
  EXPECT_TRUE(siteFrom(spipe + R"( RelativePath="/spipe"/>)")->validateParameters());
  EXPECT_FALSE(siteFrom(spipe + "/>")->validateParameters());
  EXPECT_TRUE(siteFrom(R"(<HttpSite Type="master" Name="web"/>)")->validateParameters());
}

TEST_F(SiteFromEntry, EqualityLooksOnlyAtIdentityFields) {
  auto a = siteFrom(R"(<HttpSite Type="repository" Name="r" Server="h1:80" ServerIP="1.2.3.4" Order="1"/>)");
  auto b =
      siteFrom(R"(<HttpSite Type="repository" Name="r" Server="h2:8080" ServerIP="1.2.3.4" Order="9"/>)");
  auto c = siteFrom(R"(<HttpSite Type="repository" Name="r" ServerIP="1.2.3.4" SecurePort="443"/>)");
  EXPECT_TRUE(*a == *b) << "ports, servers and orders do not count";
  EXPECT_FALSE(*a == *c) << "the SSL flag does";
  b->setCaBundlePath(L"/etc/ca.pem");
  EXPECT_FALSE(*a == *b);
}

TEST_F(SiteFromEntry, ACopyIsASeparateSiteSharingOnlyTheProxyRecordAndItsPropertiesUntilOneChangesThem) {
  for (const char* xml :
       {R"(<FTPSite Type="repository" Name="f" Server="h:21" Order="7"/>)",
        "<FTPSite Type=\"repository\" Name=\"f\" Server=\"h\xE2\x82\xAC:21\" Order=\"7\"/>"}) {
    auto original = siteFrom(xml);
    const im::PropertyMap before = original->getProperties();
    xo::CProxyParams proxy, seen;
    proxy.proxyServer = L"proxy.corp";
    ASSERT_TRUE(original->setProxy(&proxy));
    original->setSiteOrder(12);
    original->checkBuildTransferObject();
    ASSERT_NE(original->getTransfer(), nullptr);
    const int liveTransfers = xo::getTransferInstanceCount();
    auto* copy = new ImSiteImpl(*original);
    EXPECT_TRUE(copy->getRefCount() == 1 && *copy == *original && copy->getTransfer() == nullptr) << xml;
    EXPECT_TRUE(copy->getProxy(seen) && seen.proxyServer == L"proxy.corp") << xml;
    EXPECT_TRUE(copy->getProperties() == before && copy->getServerName() == before.at(L"Server")) << xml;
    copy->setSortOrder(9);
    EXPECT_EQ(describe(*copy),
              L"FTPSite repository f ip= server=" + before.at(L"Server") + L" netbios= sort=9 order=12");
    EXPECT_TRUE(original->getSortOrder() == 7 && original->getProperties() == before) << xml;
    copy->addRef();
    EXPECT_EQ(copy->release() + copy->release(), 1);
    EXPECT_EQ(xo::getTransferInstanceCount(), liveTransfers);
    ASSERT_TRUE(original->setProxy(nullptr));
    EXPECT_FALSE(original->getProxy(seen));
  }
}
