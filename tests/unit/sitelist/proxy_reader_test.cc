// Reading proxy configuration elements: which server is taken, how the bypass
// lists are joined, and that a failed read leaves the caller's record alone.
#include "sitelist/proxy_reader.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/xml_element.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using corvane_com::zel::inetmgr::LogLevel;
using corvane_com::zel::xoInet::CProxyParams;
using inetmgr_test::ParsedXml;

TEST(ReadProxyConfig, TheServerTypeAndPortsTakenOrTheRecordLeftAloneWithTheReason) {
  ::setenv("INETMGR_TEST_PROXY_HOST", "macro.proxy", 1);
  ::unsetenv("INETMGR_TEST_PROXY_UNSET");
  inetmgr_test::LogCapture log;
  const std::string both = R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="8080" FTPProxyServer="ftp" )"
                           R"(FTPProxyPort="2121"/>)";
  const std::wstring held = L" held.proxy 0 0";
  struct Case {
    std::string xml;
    const wchar_t* type;
    inetmgr::ResultCode code;
    std::wstring record;  // type, server, HTTP and FTP port
  } const cases[] = {
      {both, nullptr, inetmgr::rcSuccess, L"FtpHttpSite ftp 8080 2121"},
      {both, L"HTTPProxyServer", inetmgr::rcSuccess, L"HttpSite web 8080 0"},
      {both, L"FTPProxyServer", inetmgr::rcSuccess, L"FTPSite ftp 0 2121"},
      {both, L"Gopher", inetmgr::rcBadArgument, held},
      {R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="80" FTPProxyServer="ftp" FTPProxyPort="21a"/>)",
       nullptr, inetmgr::rcSuccess, L"HttpSite web 80 0"},
      {R"(<ProxyConfig HTTPProxyServer="web" HTTPProxyPort="80a"/>)", nullptr, inetmgr::rcNotFound, held},
      {R"(<ProxyConfig HTTPProxyServer="" HTTPProxyPort="80"/>)", nullptr, inetmgr::rcNotFound, held},
      {R"(<ProxyConfig HTTPProxyServer="&lt;INETMGR_TEST_PROXY_HOST&gt;" HTTPProxyPort="80"/>)", nullptr,
       inetmgr::rcSuccess, L"HttpSite macro.proxy 80 0"},
      {R"(<ProxyConfig HTTPProxyServer="&lt;INETMGR_TEST_PROXY_UNSET&gt;" HTTPProxyPort="80"/>)", nullptr,
       inetmgr::rcNotFound, held},
      {R"(<HttpSite HTTPProxyServer="web" HTTPProxyPort="80"/>)", nullptr, inetmgr::rcBadSchema, held},
  };
  for (const Case& c : cases) {
    CProxyParams p;
    p.proxyServer = L"held.proxy";
    EXPECT_EQ(inetmgr::ReadProxyConfig(ParsedXml(c.xml).root(), p, c.type), c.code) << c.xml;
    EXPECT_EQ(p.proxyType + L" " + p.proxyServer + L" " + std::to_wstring(p.httpPort) + L" " +
                  std::to_wstring(p.ftpPort),
              c.record)
        << c.xml;
  }
  EXPECT_EQ(log.count(LogLevel::Error, L"Unexpected element type: HttpSite"), 1);
  ::unsetenv("INETMGR_TEST_PROXY_HOST");
}

TEST(ReadProxyConfig, FlagsCredentialsAndBypassListsAreReadEvenWhenSystemSettingsAreUsed) {
  CProxyParams p;
  ASSERT_EQ(inetmgr::ReadProxyConfig(ParsedXml(R"(
      <ProxyConfig UseSystemProxySettings="1" HTTPProxyServer="web" HTTPProxyPort="80">
      <BypassLocalAddresses>1</BypassLocalAddresses><FTPProxyUseAuth>yes</FTPProxyUseAuth>
      <HTTPProxyUserName>ann</HTTPProxyUserName><AltFTPProxyPassword>pw</AltFTPProxyPassword>
      <LocalAddressList><Range><Start>10.0.0.1</Start><End>10.0.0.9</End></Range>
        <Range><Start>172.16.0.1</Start><End/></Range><Range><Start>10.1.0.1</Start><End>10.1.0.9</End></Range>
      </LocalAddressList>
      <ExclusionList><Host>intranet</Host><Host/><Host>*.corp</Host></ExclusionList></ProxyConfig>)")
                                         .root(),
                                     p, nullptr),
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
  const ParsedXml list(R"(<ProxyConfigList UseSystemProxySettings="1">
      <ProxyConfig HTTPProxyServer="first" HTTPProxyPort="80"/><ProxyConfig Name="no server"/>
      <Note HTTPProxyServer="note" HTTPProxyPort="80"/><ProxyConfig FTPProxyServer="second" FTPProxyPort="21"/>
    </ProxyConfigList>)");
  std::vector<CProxyParams> proxies(1);
  bool useSystemConfig = false;
  inetmgr::readProxyConfigList(list.root(), proxies, useSystemConfig);
  EXPECT_TRUE(useSystemConfig);
  ASSERT_EQ(proxies.size(), 3u);
  EXPECT_EQ(proxies[1].proxyServer + L" " + proxies[2].proxyServer, L"first second");
  EXPECT_EQ(log.count(LogLevel::Detail, L"Found proxy config server = second"), 1);
  int errors = 0;
  for (const auto& r : log.records()) errors += r.level == LogLevel::Error && r.tag == L"persite";
  EXPECT_EQ(errors, 1);
}

}  // namespace
