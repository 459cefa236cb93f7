// Real transfers through the public API: a site list on loopback servers
// whose credentials, CA bundle and proxy must reach the transfer, and the
// spipe upload's failover from a dead server to a live one.
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"
#include "integration/curl_transfer_support.h"

namespace fs = std::filesystem;
namespace im = corvane_com::zel::inetmgr;
using namespace inetmgr_test;

namespace {

class CurlSites : public AgentSiteList {
 protected:
  void SetUp() override {
    xo::useNetworkTransfers();
    AgentSiteList::SetUp();
  }
  void writeDocument(const std::string& siteList, const std::string& tail = "") {
    static int version = 0;
    const std::string v = std::to_string(++version);
    std::ofstream(path_) << "<SiteLists GlobalVersion=\"" << v << "\" LocalVersion=\"" << v << "\"><SiteList>"
                         << siteList << "</SiteList>" << tail << "</SiteLists>";
  }
};

std::string encrypted(const std::wstring& plain) {
  std::wstring text;
  EXPECT_EQ(im::encryptSiteListPassword(plain, text), im::rcSuccess);
  return std::string(text.begin(), text.end());
}

TEST_F(CurlSites, ADownloadUsesTheSiteCredentialsCaBundleAndProxy) {
  TestCertificates certificates;
  if (!certificates.made) GTEST_SKIP() << "the openssl CLI could not make the test certificates";
  Nginx nginx(certificates);
  Tinyproxy proxy;
  for (const LocalServer* server : {static_cast<const LocalServer*>(&nginx), static_cast<const LocalServer*>(&proxy)}) {
    if (!server->skipReason().empty()) GTEST_SKIP() << server->skipReason();
    ASSERT_EQ(server->error(), "");
  }
  const std::string content = randomBytes(1 << 20);
  writeFile(nginx.root() / "private/repo/pkg.bin", content);
  writeDocument("<HttpSite Type=\"repository\" Name=\"web\" Server=\"localhost:" + std::to_string(nginx.httpPort()) +
                    "\" SecurePort=\"" + std::to_string(nginx.httpsPort()) + "\" Enabled=\"1\" UserName=\"agent\" Password=\"" +
                    encrypted(L"s3cret") + "\"><RelativePath>private</RelativePath><UseAuth>1</UseAuth></HttpSite>"
                    "<ProxyConfigList UseSystemProxySettings=\"0\"><ProxyConfig Name=\"p\" HTTPProxyServer=\"127.0.0.1\" "
                    "HTTPProxyPort=\"" + std::to_string(proxy.port()) + "\"/></ProxyConfigList>",
                "<CABundle><Certificate>" + certificates.caBase64() + "</Certificate></CABundle>");
  im::IImNetConnection* connection = im::createConnectionObject(false);
  ASSERT_NE(connection, nullptr);
  const fs::path destination = data_.path() / "downloads";
  LogCapture log;
  EXPECT_EQ(connection->downloadFile(L"pkg.bin", L"repo", destination.wstring().c_str(), L"web", nullptr,
                                     im::imFlagSiteByName),
            im::rcSuccess);
  connection->destroy();
  // The download's extra text is that request's query.
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  im::IImSite* site = nullptr;
  int index = 0;
  ASSERT_EQ(list->getNextSiteByIndex(index, site), im::rcSuccess);
  EXPECT_EQ(site->downloadFile(L"pkg.bin", L"repo", destination.wstring().c_str(), false, L"?tenant=a b"),
            im::rcSuccess);
  site->release();
  EXPECT_TRUE(readFile(destination / "pkg.bin") == content);
  EXPECT_TRUE(transferErrors(log).empty());
  EXPECT_TRUE(eventually([&] {
    const std::string requests = nginx.accessLog();
    return requests.find("GET /private/repo/pkg.bin range=- 200") != std::string::npos &&
           requests.find("GET /private/repo/pkg.bin?tenant=a%20b range=- 200") != std::string::npos;
  }));
  EXPECT_NE(proxy.log().find("CONNECT localhost:" + std::to_string(nginx.httpsPort())), std::string::npos)
      << proxy.log();
}

TEST_F(CurlSites, TheSpipeUploadMovesFromADeadServerToALiveOneAndKeepsItsAnswer) {
  TestHttpEndpoint live;
  live.reply(TestHttpEndpoint::Mode::answer, 200, "<Response>ok</Response>");
  const unsigned short dead = freeLoopbackPort();
  writeSites(spipeSite("dead", "127.0.0.1:" + std::to_string(dead), "Enabled=\"1\" Order=\"1\"") +
             spipeSite("live", "127.0.0.1:" + std::to_string(live.port()), "Enabled=\"1\" Order=\"2\""));
  TempDir work;
  const std::string request = randomBytes(200000, 4);
  writeFile(work.path() / "req.bin", request);
  long code = 1;
  EXPECT_EQ(im::uploadFileAndGetResponse(work.wfile("req.bin").c_str(), L"G-7", work.wfile("answer.xml").c_str(), &code),
            im::rcSuccess);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(readFile(work.path() / "answer.xml"), "<Response>ok</Response>");
  ASSERT_EQ(live.received().size(), 1u);
  EXPECT_EQ(live.received()[0].line, "POST /spipe/pkg?AgentGuid=G-7&Source=Agent_3.0.0 HTTP/1.1");
  EXPECT_TRUE(live.received()[0].body == request);
}

}  // namespace
