// Protocol and site types: text forms, lookups, the transfer protocol mapping
// and the SSL-use record.
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "core/site_types_internal.h"
#include "core/ssl_information.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::ProtocolType;
using im::SiteType;

TEST(SiteTypes, EveryTypeRoundTripsThroughItsTextAndOutOfRangeValuesHaveNone) {
  for (int value = 0; value < ProtocolType::typeCount; ++value) {
    const auto type = static_cast<ProtocolType::Types>(value);
    EXPECT_NE(ProtocolType::toString(type), L"") << value;
    EXPECT_EQ(ProtocolType::toType(ProtocolType::toString(type).c_str()), type) << value;
  }
  for (int value = 0; value < SiteType::typeCount; ++value) {
    const auto type = static_cast<SiteType::Types>(value);
    EXPECT_EQ(SiteType::toType(SiteType::toString(type).c_str()), type) << value;
  }
  for (int value : {static_cast<int>(ProtocolType::typeCount), 99, -1}) {
    EXPECT_EQ(ProtocolType::toString(static_cast<ProtocolType::Types>(value)), L"") << value;
  }
  EXPECT_EQ(SiteType::toString(SiteType::typeCount), L"");
}

TEST(SiteTypes, TextsMatchExactlyAndUnknownOnesAreLoggedVerbatim) {
  inetmgr_test::LogCapture log;
  EXPECT_EQ(SiteType::toType(L"fallback"), SiteType::Fallback);
  EXPECT_EQ(SiteType::toString(SiteType::Fallback), L"fallback");
  EXPECT_EQ(SiteType::toType(L"Fallback"), SiteType::typeCount);
  EXPECT_EQ(ProtocolType::toType(L""), ProtocolType::typeCount);
  EXPECT_EQ(log.count(im::LogLevel::Detail, L"Type not found value="), 1);
  const std::wstring spaced = L" " + ProtocolType::toString(ProtocolType::Http);
  EXPECT_EQ(ProtocolType::toType(spaced.c_str()), ProtocolType::typeCount);
  EXPECT_EQ(log.count(L"Type not found value=" + spaced), 1);
}

TEST(ProtocolMapping, HttpCarriesEveryHttpBasedProtocolAndOthersHaveNoTransfer) {
  const std::pair<int, xo::xoInetProtocol> mapping[] = {{ProtocolType::Ftp, xo::xoInetProtocolFtp},
                                                        {ProtocolType::Http, xo::xoInetProtocolHttp},
                                                        {ProtocolType::FtpHttp, xo::xoInetProtocolHttp},
                                                        {ProtocolType::Spipe, xo::xoInetProtocolHttp},
                                                        {ProtocolType::SuperAgent, xo::xoInetProtocolHttp},
                                                        {ProtocolType::Unc, xo::xoInetProtocolUnc},
                                                        {ProtocolType::Local, xo::xoInetProtocolLocal},
                                                        {ProtocolType::typeCount, xo::xoInetProtocolInvalid},
                                                        {-3, xo::xoInetProtocolInvalid}};
  for (const auto& [protocol, transfer] : mapping) {
    EXPECT_EQ(im::imProtocolToXoInet(static_cast<ProtocolType::Types>(protocol)), transfer) << protocol;
  }
}

TEST(SslUseInformation, FlagsAreUnsetUntilSetAndKeptPerProtocol) {
  // Only this test touches the record in this binary, and only for Unc and
  // Spipe, so the starting state is known.
  auto* info = im::SslUseInformation::getInstance();
  EXPECT_FALSE(im::getSpipeSslUseFlag() || info->getSslUseInformation(ProtocolType::Unc));
  EXPECT_TRUE(info->setSslUseInformation(ProtocolType::Spipe, true));
  EXPECT_TRUE(im::getSpipeSslUseFlag());
  EXPECT_FALSE(info->getSslUseInformation(ProtocolType::Unc));
  EXPECT_EQ(info, im::SslUseInformation::getInstance());
}
