// Whole documents, read from real files: which are taken, which are rejected
// and why, and what an accepted one contributes.
#include "sitelist/sitelist_document.h"

#include <filesystem>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;

namespace {

constexpr char kExample[] = INETMGR_SOURCE_DIR "/examples/SiteList.xml";

std::string document(const std::string& entries,
                     const std::string& rootAttributes = R"(GlobalVersion="3" LocalVersion="4")",
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
  std::wstring path_ = data_.wfile("SiteList.xml");
  std::wstring bundle_ = data_.wfile("cabundle.cer");
  im::SiteListContents contents_;
};

}  // namespace

// Its names, versions and CA bundle are checked by the command-line tool's test,
// the bundle's form by the bundle's own tests.
TEST_F(SiteListDocument, TheExampleSiteListIsTakenWholeWithItsProxyOnEverySiteAndTheBundleOnSslSites) {
  const int transfersBefore = xo::getTransferInstanceCount();
  ASSERT_EQ(readFile(pf::fromUtf8(kExample)).code, im::rcSuccess);
  ASSERT_EQ(contents_.sites.size(), 8u);
  EXPECT_EQ(contents_.sites[7]->getSiteName(), L"VendorFallback") << "document order";
  EXPECT_TRUE(contents_.sites[0]->isSslEnabled());
  for (const auto& site : contents_.sites) {
    xo::CProxyParams proxy;
    EXPECT_TRUE(site->getProxy(proxy) && proxy.proxyServer == L"proxy.corp.example") << site->getSiteName();
    EXPECT_EQ(site->getCaBundlePath(), site->isSslEnabled() ? bundle_ : L"") << site->getSiteName();
  }
  EXPECT_EQ(contents_.proxies.size(), 1u);
  ASSERT_TRUE(contents_.caBundle.commit()) << "the bundle goes in place when the list is taken";
  EXPECT_TRUE(std::filesystem::file_size(data_.file("cabundle.cer")) > 0);
  contents_ = im::SiteListContents();
  EXPECT_EQ(xo::getTransferInstanceCount(), transfersBefore);
}

TEST_F(SiteListDocument, UnusableEntriesAreSkippedAndEachFaultRejectsTheDocumentLeavingWhatWasHeld) {
  bundle_ = data_.wfile("missing-dir/cabundle.cer");  // only a document with a bundle writes it
  const std::string site = R"(<HttpSite Type="repository" Name="a"/>)";
  const std::string spipe = R"(<SpipeSite Type="master" Name="mgmt" ServerName="MGMT" ServerIP="10.0.0.1"/>)";
  const std::string versions = R"(GlobalVersion="3" LocalVersion="4")";
  const std::string malformed = "<SiteLists><SiteList></SiteLists>";
  const std::tuple<std::string, bool, im::ResultCode> cases[] = {
      {document(site, R"(GlobalVersion="3" LocalVersion="")"), false, im::rcBadSchema},
      {document(site, R"(LocalVersion="4")"), false, im::rcBadSchema},
      {document(site, versions, R"(<Policies><Setting name="nMaxHopLimit">31</Setting></Policies>)"), false,
       im::rcBadSchema},
      {document(spipe), true, im::rcBadSchema},
      {document(site, versions, "<CABundle><Certificate>QUJD</Certificate></CABundle>"), false,
       im::rcPathError},
      {document(R"(<ProxyConfigList/><FooSite Type="master" Name="x"/>)"), false, im::rcBadSchema},
      {malformed, false, im::rcBadSchema},
      {document(site + R"(<HttpSite Type="master" Name="b" Password="bm90IGEgY2lwaGVydGV4dA=="/>)"), false,
       im::rcUnexpected},
  };
  ASSERT_EQ(read(document(R"(<GopherSite Type="repository" Name="g"/><HttpSite Name="noType"/>
                             <HttpSite Type="repository" Name="good"/><ProxyConfigList/>)"))
                .code,
            im::rcSuccess);
  for (const auto& [text, managed, code] : cases) EXPECT_EQ(read(text, managed).code, code) << text;
  ASSERT_EQ(contents_.sites.size(), 1u);
  EXPECT_EQ(contents_.sites[0]->getSiteName(), L"good");
  EXPECT_EQ(log_.count(LogLevel::Error, L"Reject empty site list"), 1);
  EXPECT_EQ(log_.count(LogLevel::Error, L"XML parse error"), 1);
  EXPECT_NE(read(malformed).reason.find(L"offset"), std::wstring::npos) << "the parser's reason is passed on";
  EXPECT_EQ(readFile(data_.wfile("absent.xml")).code, im::rcPathError);
  EXPECT_EQ(read(document(spipe)).code, im::rcSuccess) << "only managed mode needs a complete spipe site";

  const auto policy = R"(<Policies><Setting name="uiFindNearestMethod">1</Setting></Policies>)";
  EXPECT_TRUE(read(document(site, versions, policy)).code == im::rcSuccess &&
              contents_.policies.findNearestMethod == im::sortByHopCount);
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
