// Reading proxy configuration elements: which server is taken, how the bypass
// lists are joined, and that a failed read leaves the caller's record alone.
// The inputs are in tests/data/sitelist/proxy_reader.xml.
#include "sitelist/proxy_reader.h"

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/parsed_xml.h"
#include "support/transfer_files.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using corvane_com::zel::inetmgr::LogLevel;
using corvane_com::zel::xoInet::CProxyParams;
using inetmgr_test::ParsedXml;
using Element = corvane_com::zel::platform::AdvXMLParser::Element;

class ProxyReader : public ::testing::Test {
 protected:
  Element input(const wchar_t* name) const { return inputs_.root().GetElement(name); }

  inetmgr_test::LogCapture log_;
  ParsedXml inputs_{inetmgr_test::readFile(INETMGR_SOURCE_DIR "/tests/data/sitelist/proxy_reader.xml")};
};

TEST_F(ProxyReader, TheServerTypeAndPortsTakenOrTheRecordLeftAloneWithTheReason) {
  ::setenv("INETMGR_TEST_PROXY_HOST", "macro.proxy", 1);
  ::unsetenv("INETMGR_TEST_PROXY_UNSET");
  const std::map<std::wstring, inetmgr::ResultCode> codes{{L"rcSuccess", inetmgr::rcSuccess},
                                                          {L"rcNotFound", inetmgr::rcNotFound},
                                                          {L"rcBadArgument", inetmgr::rcBadArgument},
                                                          {L"rcBadSchema", inetmgr::rcBadSchema}};
  for (const Element c : input(L"Cases").GetChildElements()) {
    const std::wstring type = c.GetAttribute(L"type").GetValue();
    CProxyParams p;
    p.proxyServer = L"held.proxy";
    EXPECT_EQ(
        inetmgr::ReadProxyConfig(*c.GetChildElements().begin(), p, type.empty() ? nullptr : type.c_str()),
        codes.at(c.GetAttribute(L"code").GetValue()))
        << c.GetAttribute(L"about").GetValue();
    EXPECT_EQ(p.proxyType + L" " + p.proxyServer + L" " + std::to_wstring(p.httpPort) + L" " +
                  std::to_wstring(p.ftpPort),
              c.GetAttribute(L"record").GetValue())
        << c.GetAttribute(L"about").GetValue();
  }
  EXPECT_EQ(log_.count(LogLevel::Error, L"Unexpected element type: HttpSite"), 1);
  ::unsetenv("INETMGR_TEST_PROXY_HOST");
}

TEST_F(ProxyReader, FlagsCredentialsAndBypassListsAreReadEvenWhenSystemSettingsAreUsed) {
  CProxyParams p;
  ASSERT_EQ(inetmgr::ReadProxyConfig(input(L"ProxyConfig"), p, nullptr), inetmgr::rcSuccess);
  EXPECT_TRUE(p.useSystemConfig && p.bypassLocalAddresses);
  EXPECT_FALSE(p.ftpUseAuth);
  EXPECT_EQ(p.httpUserName + L"/" + p.altFtpPassword, L"ann/pw");
  EXPECT_EQ(p.localAddressList, L"10.0.0.1;10.0.0.9;10.1.0.1;10.1.0.9");
  EXPECT_EQ(p.exclusionList, L"intranet;*.corp");
  EXPECT_EQ(p.localAddressCount, 2);
  EXPECT_EQ(p.exclusionCount, 2);
}

TEST_F(ProxyReader, ReadableEntriesOfAListAreAppendedAndUnreadableOnesLoggedAndSkipped) {
  std::vector<CProxyParams> proxies(1);
  bool useSystemConfig = false;
  inetmgr::readProxyConfigList(input(L"ProxyConfigList"), proxies, useSystemConfig);
  EXPECT_TRUE(useSystemConfig);
  ASSERT_EQ(proxies.size(), 3u);
  EXPECT_EQ(proxies[1].proxyServer + L" " + proxies[2].proxyServer, L"first second");
  int errors = 0;
  for (const auto& r : log_.records()) errors += r.level == LogLevel::Error && r.tag == L"persite";
  EXPECT_EQ(errors, 1);
}

}  // namespace
