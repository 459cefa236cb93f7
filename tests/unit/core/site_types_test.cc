// Protocol and site types: text forms, lookups, the transfer protocol mapping,
// the SSL-use record and the schema names they rest on.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "core/site_types_internal.h"
#include "core/ssl_information.h"
#include "inetmgr/sitelist_schema.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::ProtocolType;
using im::SiteType;

TEST(ProtocolType, EveryProtocolRoundTripsThroughItsText) {
  for (int value = 0; value < ProtocolType::typeCount; ++value) {
    const auto type = static_cast<ProtocolType::Types>(value);
    const std::wstring text = ProtocolType::toString(type);
    EXPECT_FALSE(text.empty()) << value;
    EXPECT_EQ(ProtocolType::toType(text.c_str()), type) << value;
  }
}

TEST(ProtocolType, OutOfRangeValuesClampToTheEmptyText) {
  EXPECT_EQ(ProtocolType::toString(ProtocolType::typeCount), L"");
  EXPECT_EQ(ProtocolType::toString(static_cast<ProtocolType::Types>(99)), L"");
  EXPECT_EQ(ProtocolType::toString(static_cast<ProtocolType::Types>(-1)), L"");
  EXPECT_EQ(SiteType::toString(SiteType::typeCount), L"");
}

TEST(ProtocolType, UnknownTextsGiveTypeCountAndAreLoggedVerbatim) {
  inetmgr_test::LogCapture log;
  EXPECT_EQ(ProtocolType::toType(L""), ProtocolType::typeCount);
  EXPECT_EQ(log.count(im::LogLevel::Detail, L"Type not found value="), 1);
  const std::wstring shouted = L" " + ProtocolType::toString(ProtocolType::Http);
  EXPECT_EQ(ProtocolType::toType(shouted.c_str()), ProtocolType::typeCount);
  EXPECT_EQ(log.count(L"Type not found value=" + shouted), 1);
}

TEST(SiteType, FallbackIsSpelledByTheLibraryAndMatchedExactly) {
  EXPECT_EQ(SiteType::toType(L"fallback"), SiteType::Fallback);
  EXPECT_EQ(SiteType::toString(SiteType::Fallback), L"fallback");
  EXPECT_EQ(SiteType::toType(L"Fallback"), SiteType::typeCount);
  for (int value = 0; value < SiteType::typeCount; ++value) {
    const auto type = static_cast<SiteType::Types>(value);
    EXPECT_EQ(SiteType::toType(SiteType::toString(type).c_str()), type) << value;
  }
}

TEST(ProtocolMapping, HttpCarriesEveryHttpBasedProtocolAndOthersHaveNoTransfer) {
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::Ftp), xo::xoInetProtocolFtp);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::Http), xo::xoInetProtocolHttp);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::FtpHttp), xo::xoInetProtocolHttp);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::Spipe), xo::xoInetProtocolHttp);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::SuperAgent), xo::xoInetProtocolHttp);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::Unc), xo::xoInetProtocolUnc);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::Local), xo::xoInetProtocolLocal);
  EXPECT_EQ(im::imProtocolToXoInet(ProtocolType::typeCount), xo::xoInetProtocolInvalid);
  EXPECT_EQ(im::imProtocolToXoInet(static_cast<ProtocolType::Types>(-3)), xo::xoInetProtocolInvalid);
}

TEST(SslUseInformation, FlagsAreUnsetUntilSetAndKeptPerProtocol) {
  // Only this test touches the record in this binary, and only for Unc and
  // Spipe, so the starting state is known.
  auto* info = im::SslUseInformation::getInstance();
  EXPECT_FALSE(im::getSpipeSslUseFlag());
  EXPECT_FALSE(info->getSslUseInformation(ProtocolType::Unc));
  EXPECT_TRUE(info->setSslUseInformation(ProtocolType::Spipe, true));
  EXPECT_TRUE(im::getSpipeSslUseFlag());
  EXPECT_FALSE(info->getSslUseInformation(ProtocolType::Unc));
  EXPECT_EQ(info, im::SslUseInformation::getInstance());
}

TEST(SiteListSchema, NamesAreDistinctNonEmptyAndNoneIsTheFallbackWord) {
  namespace s = corvane_com::zel::xmlschema::sitelist;
  const std::wstring names[] = {
      s::XO_XML_SITELISTS, s::XO_XML_SITELISTS_GLOBAL_VERSION, s::XO_XML_SITELISTS_LOCAL_VERSION,
      s::XO_XML_NAMESPACE, s::XO_XML_SITELISTS_NAMESPACE, s::XO_XML_SITELISTS_TYPE, s::XO_XML_SITELIST_DEFAULT,
      s::XO_XML_SITELIST, s::XO_XML_POLICIES, s::XO_XML_CABUNDLE, s::XO_XML_CACERTIFICATE,
      s::XO_XML_SITELIST_FTP_SITE, s::XO_XML_SITELIST_HTTP_SITE, s::XO_XML_SITELIST_FTPHTTP_SITE,
      s::XO_XML_SITELIST_SPIPE_SITE, s::XO_XML_SITELIST_SUPERAGENT_SITE, s::XO_XML_SITELIST_UNC_SITE,
      s::XO_XML_SITELIST_LOCAL_SITE, s::XO_XML_SITE_TYPE, s::XO_XML_SITE_NAME, s::XO_XML_SITE_ORDER,
      s::XO_XML_SITE_LOCAL, s::XO_XML_SITE_ENABLED, s::XO_XML_SITE_ID, s::XO_XML_SITE_SERVER,
      s::XO_XML_SITE_SERVER_IP, s::XO_XML_SERVER_NETBIOS_NAME, s::XO_XML_SERVER_PORT, s::XO_XML_SSL_PORT,
      s::XO_XML_SITE_RELATIVEPATH, s::XO_XML_SITE_USER_NAME, s::XO_XML_SITE_DOMAIN_NAME, s::XO_XML_SITE_PASSWORD,
      s::XO_XML_SITE_REPLICATION_USER_NAME, s::XO_XML_SITE_REPLICATION_DOMAIN_NAME,
      s::XO_XML_SITE_REPLICATION_PASSWORD, s::XO_XML_HTTPSITE_USE_AUTH, s::XO_XML_HTTPSITE_REPLICATION_UNC,
      s::XO_XML_UNCSITE_SHARENAME, s::XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, s::XO_XML_PROXY_CONFIG_LIST,
      s::XO_XML_PROXY_CONFIG, s::XO_XML_PROXY_USE_IE_CONFIG, s::XO_XML_PROXY_HTTP_PROXY_SERVER,
      s::XO_XML_PROXY_HTTP_PROXY_PORT, s::XO_XML_PROXY_FTP_PROXY_SERVER, s::XO_XML_PROXY_FTP_PROXY_PORT,
      s::XO_XML_PROXY_ALLOWUSERTOCONFIGPROXY, s::XO_XML_PROXY_BYPASSLOCALADDR, s::XO_XML_PROXY_HTTP_USEAUTH,
      s::XO_XML_PROXY_FTP_USEAUTH, s::XO_XML_HTTP_PROXY_PROXYUSERNAME, s::XO_XML_HTTP_PROXY_PROXYPASSWORD,
      s::XO_XML_FTP_PROXY_PROXYUSERNAME, s::XO_XML_FTP_PROXY_PROXYPASSWORD, s::XO_XML_PROXY_ALT_HTTP_USEAUTH,
      s::XO_XML_PROXY_ALT_FTP_USEAUTH, s::XO_XML_HTTP_PROXY_ALT_PROXYUSERNAME,
      s::XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD, s::XO_XML_FTP_PROXY_ALT_PROXYUSERNAME,
      s::XO_XML_FTP_PROXY_ALT_PROXYPASSWORD, s::XO_XML_PROXY_EXCLUSIONLIST, s::XO_XML_PROXY_ADDRLIST,
      s::XO_XML_PROXY_RANGE, s::XO_XML_PROXY_IPSTART, s::XO_XML_PROXY_IPEND, s::STR_SITE_TYPE_MASTER,
      s::STR_SITE_TYPE_REPOSITORY, s::STR_SITE_TYPE_MIRROR, s::STR_SITE_TYPE_REMEDIATION};
  std::set<std::wstring> unique;
  for (const auto& name : names) {
    EXPECT_FALSE(name.empty());
    EXPECT_NE(name, L"fallback");
    EXPECT_TRUE(unique.insert(name).second) << "duplicate name";
  }
}
