// Reading proxy configuration elements: which server is taken, how the bypass
// lists are joined, and that a failed read leaves the caller's record alone.
#include "sitelist/proxy_reader.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/sitelist_schema.h"
#include "support/log_capture.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
namespace schema = corvane_com::zel::xmlschema::sitelist;
using corvane_com::zel::inetmgr::LogLevel;
using corvane_com::zel::platform::AdvXMLParser;
using corvane_com::zel::xoInet::CProxyParams;

AdvXMLParser::Document parse(const std::string& text) {
  AdvXMLParser parser;
  AdvXMLParser::Document document;
  EXPECT_TRUE(parser.ParseXML({text.begin(), text.end()}, document)) << text;
  return document;
}

// Reads into a record that already holds a server, so an untouched one shows.
inetmgr::ResultCode read(const std::string& xml, CProxyParams& params, const wchar_t* type = nullptr) {
  params.proxyServer = L"held.proxy";
  return inetmgr::ReadProxyConfig(parse(xml).GetRoot(), params, type);
}

const char kBoth[] = R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="8080" FTPProxyServer="ftp" )"
                     R"(FTPProxyPort="2121"/>)";

TEST(ReadProxyConfig, BothServersGiveTheCombinedTypeTheFtpAddressAndBothPorts) {
  CProxyParams p;
  ASSERT_EQ(read(kBoth, p), inetmgr::rcSuccess);
  EXPECT_EQ(p.proxyType, schema::XO_XML_SITELIST_FTPHTTP_SITE);
  EXPECT_EQ(p.proxyServer, L"ftp");
  EXPECT_EQ(p.httpPort, 8080);
  EXPECT_EQ(p.ftpPort, 2121);

  CProxyParams http;
  ASSERT_EQ(read(kBoth, http, schema::XO_XML_PROXY_HTTP_PROXY_SERVER), inetmgr::rcSuccess);
  EXPECT_EQ(http.proxyType, schema::XO_XML_SITELIST_HTTP_SITE);
  EXPECT_EQ(http.proxyServer, L"web");
}

TEST(ReadProxyConfig, AProxyWithABadPortIsLeftOutAndWithoutAnyProxyTheRecordIsUntouched) {
  const char badFtpPort[] =
      R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="80" FTPProxyServer="ftp" FTPProxyPort="21a"/>)";
  CProxyParams p;
  ASSERT_EQ(read(badFtpPort, p), inetmgr::rcSuccess);
  EXPECT_EQ(p.proxyType, schema::XO_XML_SITELIST_HTTP_SITE);
  EXPECT_EQ(p.proxyServer, L"web");

  for (const char* xml : {R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="80a"/>)",
                          R"(<ProxyConfig HTTPProxyServer="" HTTPProxyPort="80"/>)"}) {
    EXPECT_EQ(read(xml, p), inetmgr::rcNotFound) << xml;
    EXPECT_EQ(p.proxyServer, L"held.proxy") << xml;
  }
  EXPECT_EQ(read(kBoth, p, L"Gopher"), inetmgr::rcBadArgument);
  EXPECT_EQ(p.proxyServer, L"held.proxy");
}

TEST(ReadProxyConfig, AnotherElementIsRefusedWithItsLogLineAndTheRecordUntouched) {
  inetmgr_test::LogCapture log;
  CProxyParams p;
  EXPECT_EQ(read(R"(<HttpSite HTTPProxyServer="web" HTTPProxyPort="80"/>)", p), inetmgr::rcBadSchema);
  EXPECT_EQ(log.count(LogLevel::Error, L"Unexpected element type: HttpSite"), 1);
  EXPECT_EQ(p.proxyServer, L"held.proxy");
  EXPECT_EQ(p.httpPort, 0);
}

TEST(ReadProxyConfig, AServerNamedByAnEnvironmentMacroIsExpandedAndAnEmptyExpansionFails) {
  ::setenv("INETMGR_TEST_PROXY_HOST", "macro.proxy", 1);
  ::unsetenv("INETMGR_TEST_PROXY_UNSET");
  CProxyParams p;
  EXPECT_EQ(read(R"(<ProxyConfig HTTPProxyServer="&lt;INETMGR_TEST_PROXY_HOST&gt;" HTTPProxyPort="80"/>)", p),
            inetmgr::rcSuccess);
  EXPECT_EQ(p.proxyServer, L"macro.proxy");
  EXPECT_EQ(
      read(R"(<ProxyConfig HTTPProxyServer="&lt;INETMGR_TEST_PROXY_UNSET&gt;" HTTPProxyPort="80"/>)", p),
      inetmgr::rcNotFound);
  ::unsetenv("INETMGR_TEST_PROXY_HOST");
}

TEST(ReadProxyConfig, FlagsCredentialsAndBypassListsAreReadEvenWhenSystemSettingsAreUsed) {
  CProxyParams p;
  ASSERT_EQ(read(R"(<ProxyConfig UseSystemProxySettings="1" HTTPProxyServer="web" HTTPProxyPort="80">
      <BypassLocalAddresses>1</BypassLocalAddresses><FTPProxyUseAuth>yes</FTPProxyUseAuth>
      <HTTPProxyUserName>ann</HTTPProxyUserName><AltFTPProxyPassword>pw</AltFTPProxyPassword>
      <LocalAddressList><Range><Start>10.0.0.1</Start><End>10.0.0.9</End></Range>
        <Range><Start>172.16.0.1</Start><End/></Range><Range><Start>10.1.0.1</Start><End>10.1.0.9</End></Range>
      </LocalAddressList>
      <ExclusionList><Host>intranet</Host><Host/><Host>*.corp</Host></ExclusionList></ProxyConfig>)",
                 p),
            inetmgr::rcSuccess);
  EXPECT_TRUE(p.useSystemConfig && p.bypassLocalAddresses);
  EXPECT_FALSE(p.ftpUseAuth);
  EXPECT_EQ(p.httpUserName + L"/" + p.altFtpPassword, L"ann/pw");
  EXPECT_EQ(p.localAddressList, L"10.0.0.1;10.0.0.9;10.1.0.1;10.1.0.9");
  EXPECT_EQ(p.exclusionList, L"intranet;*.corp");
  EXPECT_EQ(p.localAddressCount, 2);
  EXPECT_EQ(p.exclusionCount, 2);
}

TEST(ReadProxyConfigList, ReadableEntriesAreAppendedAndUnreadableOnesLoggedAndSkipped) {
  inetmgr_test::LogCapture log;
  const auto document = parse(R"(<ProxyConfigList UseSystemProxySettings="1">
      <ProxyConfig HTTPProxyServer="first" HTTPProxyPort="80"/><ProxyConfig Name="no server"/>
      <Note HTTPProxyServer="note" HTTPProxyPort="80"/><ProxyConfig FTPProxyServer="second" FTPProxyPort="21"/>
    </ProxyConfigList>)");
  std::vector<CProxyParams> proxies(1);
  bool useSystemConfig = false;
  inetmgr::readProxyConfigList(document.GetRoot(), proxies, useSystemConfig);
  EXPECT_TRUE(useSystemConfig);
  ASSERT_EQ(proxies.size(), 3u);
  EXPECT_EQ(proxies[1].proxyServer + L" " + proxies[2].proxyServer, L"first second");
  EXPECT_EQ(log.count(LogLevel::Detail, L"Found proxy config server = second"), 1);
  const auto records = log.records();
  EXPECT_EQ(std::count_if(records.begin(), records.end(),
                          [](const auto& r) { return r.level == LogLevel::Error && r.tag == L"persite"; }),
            1);
}

}  // namespace
