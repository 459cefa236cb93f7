// The proxy choice of the libcurl transfers: which port and credentials per
// protocol, and which hosts go direct.
#include "xoinet/curl_proxy.h"

#include <gtest/gtest.h>

namespace xo = corvane_com::zel::xoInet;

namespace {

xo::ProxyOptions proxyOptions() {
  xo::ProxyOptions proxy;
  proxy.params.proxyServer = L"proxy.corp";
  proxy.params.httpPort = 3128;
  proxy.params.ftpPort = 2121;
  proxy.params.ftpUseAuth = true;
  proxy.params.ftpUserName = L"ftpuser";
  proxy.params.httpUserName = L"unused";
  proxy.params.exclusionList = L" *.Corp.example ;fileserver;10.1.*";
  proxy.params.localAddressList = L"192.168.0.0;192.168.255.255;10.0.0.0;10.0.255.255";
  return proxy;
}

TEST(CurlProxyRoute, EachProtocolHasItsPortAndCredentialsAndListedHostsGoDirect) {
  std::optional<xo::ProxyOptions> proxy = proxyOptions();
  const xo::ProxyRoute http = xo::chooseProxyRoute(proxy, false, "repo.example");
  EXPECT_EQ(http.kind, xo::ProxyRoute::Kind::server);
  EXPECT_EQ(http.server, "proxy.corp:3128");
  EXPECT_FALSE(http.authenticate);
  EXPECT_EQ(http.userName, "");
  const xo::ProxyRoute ftp = xo::chooseProxyRoute(proxy, true, "repo.example");
  EXPECT_EQ(ftp.server, "proxy.corp:2121");
  EXPECT_TRUE(ftp.authenticate);
  EXPECT_EQ(ftp.userName, "ftpuser");

  struct Case {
    const char* host;
    bool bypassLocal;
    bool direct;
  } cases[] = {
      {"repo.corp.example", false, true},   {"REPO.CORP.EXAMPLE", false, true}, {"corp.example", false, false},
      {"fileserver", false, true},          {"fileserver2", false, false},      {"10.1.2.3", false, true},
      {"intranet", false, false},           {"intranet", true, true},           {"192.168.4.5", true, true},
      {"192.168.4.5", false, false},        {"10.0.255.255", true, true},       {"10.2.0.0", true, false},
      {"172.16.0.1", true, false},          {"::1", true, false},               {"repo.example", true, false},
  };
  for (const Case& c : cases) {
    proxy->params.bypassLocalAddresses = c.bypassLocal;
    EXPECT_EQ(xo::chooseProxyRoute(proxy, false, c.host).kind == xo::ProxyRoute::Kind::direct, c.direct)
        << c.host << " bypassLocal=" << c.bypassLocal;
  }

  proxy->params.ftpPort = 0;
  EXPECT_EQ(xo::chooseProxyRoute(proxy, true, "repo.example").kind, xo::ProxyRoute::Kind::direct);
  proxy->params.useSystemConfig = true;
  EXPECT_EQ(xo::chooseProxyRoute(proxy, false, "repo.example").kind, xo::ProxyRoute::Kind::environment);
  EXPECT_EQ(xo::chooseProxyRoute(std::nullopt, false, "repo.example").kind, xo::ProxyRoute::Kind::direct);
}

}  // namespace
