// Whole documents, read from real files: which are taken, which are rejected
// and why, and what an accepted one contributes.
#include "sitelist/sitelist_document.h"

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "support/data_dir.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;

namespace {

constexpr char kExample[] = INETMGR_SOURCE_DIR "/examples/SiteList.xml";

std::string document(const std::string& entries, const std::string& rootAttributes = R"(GlobalVersion="3" LocalVersion="4")",
                     const std::string& tail = "") {
  return "<SiteLists " + rootAttributes + "><SiteList>" + entries + "</SiteList>" + tail + "</SiteLists>";
}

class SiteListDocument : public ::testing::Test {
 protected:
  // Writes `text` as the site list file and runs the whole document path.
  im::SiteListRejection read(const std::string& text, bool managedMode = false) {
    EXPECT_TRUE(pf::AFile::write(path_, text));
    return readFile(path_, managedMode);
  }
  im::SiteListRejection readFile(const std::wstring& path, bool managedMode = false) {
    pf::AdvXMLParser::Document parsed;
    const im::SiteListRejection result = im::readSiteListFile(path, parsed);
    if (result.code != im::rcSuccess) return result;
    return im::buildSiteListContents(parsed, bundle_, managedMode, contents_);
  }

  inetmgr_test::ScopedDataDir data_;
  inetmgr_test::LogCapture log_;
  std::wstring path_ = data_.dir().wfile("SiteList.xml");
  std::wstring bundle_ = data_.dir().wfile("cabundle.cer");
  im::SiteListContents contents_;
};

}  // namespace

TEST_F(SiteListDocument, TheExampleSiteListIsTakenWhole) {
  const int transfersBefore = xo::getTransferInstanceCount();
  ASSERT_EQ(readFile(pf::fromUtf8(kExample)).code, im::rcSuccess);
  ASSERT_EQ(contents_.sites.size(), 7u);
  const wchar_t* names[] = {L"ePO_SERVER01", L"RepoEast",        L"RepoWest",      L"FtpArchive",
                            L"BranchShare",  L"BranchSuperAgent", L"VendorFallback"};
  for (std::size_t i = 0; i < contents_.sites.size(); ++i) {
    EXPECT_EQ(contents_.sites[i]->getSiteName(), names[i]) << "document order";
    xo::CProxyParams proxy;
    EXPECT_TRUE(contents_.sites[i]->getProxy(proxy));
    EXPECT_EQ(proxy.proxyServer, L"proxy.corp.example");
    EXPECT_EQ(contents_.sites[i]->getCaBundlePath(), contents_.sites[i]->isSslEnabled() ? bundle_ : L"");
  }
  EXPECT_TRUE(contents_.sites[0]->isSslEnabled());
  EXPECT_EQ(contents_.proxies.size(), 1u);
  EXPECT_EQ(contents_.globalVersion, L"20261122081500");
  EXPECT_EQ(contents_.localVersion, L"20261122093000");
  EXPECT_EQ(contents_.policies.findNearestMethod, im::sortByConfiguredOrder);
  std::ifstream bundle(data_.dir().file("cabundle.cer"));
  const std::string pem((std::istreambuf_iterator<char>(bundle)), std::istreambuf_iterator<char>());
  EXPECT_EQ(pem.rfind("-----BEGIN CERTIFICATE-----\nMIIBszCCAVmg", 0), 0u) << pem;
  contents_ = im::SiteListContents();
  EXPECT_EQ(xo::getTransferInstanceCount(), transfersBefore);
}

TEST_F(SiteListDocument, UnusableEntriesAreSkippedButAListWithoutSitesIsRejected) {
  ASSERT_EQ(read(document(R"(<GopherSite Type="repository" Name="g"/><HttpSite Name="noType"/>
                             <HttpSite Type="repository" Name="good"/><ProxyConfigList/>)")).code,
            im::rcSuccess);
  ASSERT_EQ(contents_.sites.size(), 1u);
  EXPECT_EQ(contents_.sites[0]->getSiteName(), L"good");

  const im::SiteListRejection empty = read(document(R"(<ProxyConfigList/><FooSite Type="master" Name="x"/>)"));
  EXPECT_EQ(empty.code, im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"Reject empty site list"), 1);
  EXPECT_EQ(contents_.sites.size(), 1u) << "a rejected document leaves what was held";
}

TEST_F(SiteListDocument, BothVersionsMustBePresentAndNonEmpty) {
  const std::string sites = R"(<HttpSite Type="repository" Name="a"/>)";
  EXPECT_EQ(read(document(sites, R"(GlobalVersion="3" LocalVersion="")")).code, im::rcBadSchema);
  EXPECT_EQ(read(document(sites, R"(LocalVersion="4")")).code, im::rcBadSchema);
  EXPECT_TRUE(contents_.sites.empty());
  EXPECT_EQ(read(document(sites)).code, im::rcSuccess);
}

TEST_F(SiteListDocument, AnInvalidPolicyRejectsTheDocument) {
  const std::string sites = R"(<HttpSite Type="repository" Name="a"/>)";
  EXPECT_EQ(read(document(sites, R"(GlobalVersion="3" LocalVersion="4")",
                          R"(<Policies><Setting name="nMaxHopLimit">31</Setting></Policies>)"))
                .code,
            im::rcBadSchema);
  ASSERT_EQ(read(document(sites, R"(GlobalVersion="3" LocalVersion="4")",
                          R"(<Policies><Setting name="uiFindNearestMethod">1</Setting></Policies>)"))
                .code,
            im::rcSuccess);
  EXPECT_EQ(contents_.policies.findNearestMethod, im::sortByHopCount);
}

TEST_F(SiteListDocument, IncompleteSpipeSitesAreRejectedOnlyInManagedMode) {
  const std::string text = document(R"(<SpipeSite Type="master" Name="epo" ServerName="EPO" ServerIP="10.0.0.1"/>)");
  EXPECT_EQ(read(text, true).code, im::rcBadSchema);
  EXPECT_EQ(read(text, false).code, im::rcSuccess);
}

TEST_F(SiteListDocument, ABundleThatCannotBeWrittenRejectsOnlyDocumentsThatCarryOne) {
  bundle_ = data_.dir().wfile("missing-dir/cabundle.cer");
  const std::string sites = R"(<HttpSite Type="repository" Name="a"/>)";
  EXPECT_EQ(read(document(sites, R"(GlobalVersion="3" LocalVersion="4")",
                          "<CABundle><Certificate>QUJD</Certificate></CABundle>"))
                .code,
            im::rcPathError);
  EXPECT_EQ(read(document(sites)).code, im::rcSuccess);
}

TEST_F(SiteListDocument, UnreadableMalformedAndHostileFilesAreRejectedWithTheirReason) {
  EXPECT_EQ(readFile(data_.dir().wfile("absent.xml")).code, im::rcPathError);
  const im::SiteListRejection malformed = read("<SiteLists><SiteList></SiteLists>");
  EXPECT_EQ(malformed.code, im::rcBadSchema);
  EXPECT_EQ(log_.count(LogLevel::Error, L"XML parse error"), 1);
  EXPECT_NE(malformed.reason.find(L"offset"), std::wstring::npos) << malformed.reason;
  EXPECT_EQ(read("<!DOCTYPE x [<!ENTITY e \"v\">]><SiteLists GlobalVersion=\"&e;\" LocalVersion=\"1\"/>").code,
            im::rcBadSchema);
  EXPECT_TRUE(contents_.sites.empty());
}

TEST_F(SiteListDocument, ADocumentStoredEncryptedIsReadUnderThisMachinesKeyOnly) {
  const std::string text = document(R"(<HttpSite Type="repository" Name="secret"/>)");
  pf::ByteBuffer stored;
  ASSERT_TRUE(pf::ACryptWrap::encrypt_data(pf::ByteBuffer(text.begin(), text.end()), stored));
  ASSERT_TRUE(pf::AFile::write(path_, stored));
  ASSERT_EQ(readFile(path_).code, im::rcSuccess);
  EXPECT_EQ(contents_.sites.at(0)->getSiteName(), L"secret");

  contents_ = im::SiteListContents();
  inetmgr_test::ScopedDataDir otherMachine;
  EXPECT_NE(readFile(path_).code, im::rcSuccess);
  EXPECT_TRUE(contents_.sites.empty());
}
