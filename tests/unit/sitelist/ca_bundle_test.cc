// The CA bundle file written from a site list: PEM line cutting, what happens
// without certificates or without a bundle element, and which sites get its path.
#include "sitelist/ca_bundle.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using corvane_com::zel::inetmgr::LogLevel;
using corvane_com::zel::platform::AdvXMLParser;

AdvXMLParser::Document parse(const std::string& text) {
  AdvXMLParser parser;
  AdvXMLParser::Document document;
  EXPECT_TRUE(parser.ParseXML({text.begin(), text.end()}, document)) << text;
  return document;
}

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `length` characters of the base64 alphabet, starting at `first`.
std::string base64Text(std::size_t length, std::size_t first) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = first; i < first + length; ++i) text += alphabet[i % alphabet.size()];
  return text;
}

std::string pemBlock(const std::vector<std::string>& lines) {
  std::string block = "-----BEGIN CERTIFICATE-----\n";
  for (const std::string& line : lines) block += line + "\n";
  return block + "-----END CERTIFICATE-----\n";
}

TEST(CaBundle, CertificatesAreWrittenInOrderAsPemLinesOf64WithoutWhiteSpaceOrEmptyLines) {
  const std::string first = base64Text(130, 0);
  const std::string second = base64Text(128, 7);
  const std::string spaced =
      first.substr(0, 50) + "\n  " + first.substr(50, 40) + " \t\r\n" + first.substr(90);
  inetmgr_test::TempDir dir;
  const auto document = parse("<SiteLists><CABundle><Certificate>" + spaced + "</Certificate><Note>x</Note>" +
                              "<Certificate>" + second + "</Certificate></CABundle></SiteLists>");
  ASSERT_TRUE(inetmgr::saveCarootCertificateBundle(document.GetRoot(), dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")),
            pemBlock({first.substr(0, 64), first.substr(64, 64), first.substr(128)}) +
                pemBlock({second.substr(0, 64), second.substr(64)}));
}

TEST(CaBundle, WithoutABundleElementAnExistingFileIsLeftAsItIs) {
  inetmgr_test::TempDir dir;
  std::ofstream(dir.file("cabundle.cer")) << "earlier bundle";
  EXPECT_TRUE(inetmgr::saveCarootCertificateBundle(parse("<SiteLists><SiteList/></SiteLists>").GetRoot(),
                                                   dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")), "earlier bundle");
}

TEST(CaBundle, AnEmptyFirstCertificateEndsTheWalkAndLeavesAnEmptyFile) {
  inetmgr_test::LogCapture log;
  inetmgr_test::TempDir dir;
  std::ofstream(dir.file("cabundle.cer")) << "earlier bundle";
  const auto document = parse("<SiteLists><CABundle><Certificate/><Certificate>" + base64Text(10, 0) +
                              "</Certificate></CABundle></SiteLists>");
  EXPECT_TRUE(inetmgr::saveCarootCertificateBundle(document.GetRoot(), dir.wfile("cabundle.cer")));
  EXPECT_EQ(fileText(dir.file("cabundle.cer")), "");
  EXPECT_EQ(log.count(LogLevel::Info, L"ca bundle does not contain any certificates"), 1);
}

TEST(CaBundle, APathThatCannotBeWrittenRejectsTheBundle) {
  inetmgr_test::TempDir dir;
  const auto document = parse("<SiteLists><CABundle><Certificate>QUJD</Certificate></CABundle></SiteLists>");
  EXPECT_FALSE(inetmgr::saveCarootCertificateBundle(document.GetRoot(), dir.wfile("missing/cabundle.cer")));
}

// Only the SSL flag and the bundle path are real.
class FakeSite : public inetmgr::IImSite {
 public:
  explicit FakeSite(bool ssl) : ssl_(ssl) {}
  bool isSslEnabled() const override { return ssl_; }
  void setCaBundlePath(const std::wstring& path) override { caBundlePath_ = path; }
  std::wstring getCaBundlePath() const override { return caBundlePath_; }

  bool operator==(const IImSite&) const override { return false; }
  int release() override { return 0; }
  inetmgr::SiteType::Types getType() const override { return inetmgr::SiteType::Repository; }
  inetmgr::ProtocolType::Types getProtocol() const override { return inetmgr::ProtocolType::Http; }
  bool isLocalSiteList() const override { return false; }
  bool isEnabled() const override { return true; }
  std::wstring getSiteIp() const override { return {}; }
  int getSiteOrder() const override { return 0; }
  std::wstring getSiteName() const override { return {}; }
  std::wstring getServerName() override { return {}; }
  std::wstring getServerNetBios() override { return {}; }
  std::wstring getHostSSLPort() override { return {}; }
  bool setProxy(const corvane_com::zel::xoInet::CProxyParams*) override { return false; }
  bool getProxy(corvane_com::zel::xoInet::CProxyParams&) const override { return false; }
  int getSortOrder() const override { return 0; }
  void setSortOrder(int) override {}
  void setSiteOrder(int) override {}
  void setForceUpload() override {}
  void forceNonSslTransfer() override {}
  corvane_com::zel::xoInet::xoInetError getLastErrorXoInet() const override { return {}; }
  inetmgr::ResultCode downloadFile(const wchar_t*, const wchar_t*, const wchar_t*, bool,
                                   const wchar_t*) override {
    return inetmgr::rcNotImplemented;
  }
  inetmgr::ResultCode uploadFile(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                                 const wchar_t*) override {
    return inetmgr::rcNotImplemented;
  }
  inetmgr::ResultCode getLocalIPAddressFromSocket() override { return inetmgr::rcNotImplemented; }
  inetmgr::ResultCode ping(int) override { return inetmgr::rcNotImplemented; }
  inetmgr::ResultCode calculateSubnetDistance(int) override { return inetmgr::rcNotImplemented; }
  inetmgr::ResultCode connect(inetmgr::IImProgressCallback*) override { return inetmgr::rcNotImplemented; }
  inetmgr::ResultCode disconnect(inetmgr::IImProgressCallback*) override { return inetmgr::rcNotImplemented; }

 private:
  bool ssl_;
  std::wstring caBundlePath_;
};

TEST(AssignSslFunctor, OnlySslSitesReceiveTheBundlePath) {
  inetmgr::IImSite_ptr ssl = std::make_shared<FakeSite>(true);
  inetmgr::IImSite_ptr plain = std::make_shared<FakeSite>(false);
  const inetmgr::AssignSslFunctor assign(L"/var/agent/cabundle.cer");
  assign(ssl);
  assign(plain);
  EXPECT_EQ(ssl->getCaBundlePath(), L"/var/agent/cabundle.cer");
  EXPECT_EQ(plain->getCaBundlePath(), L"");
}

}  // namespace
