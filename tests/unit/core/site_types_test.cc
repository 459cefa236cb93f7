// Protocol and site types: text forms and lookups, and the SSL-use record.
#include <string>

#include <gtest/gtest.h>

#include "core/site_types_internal.h"
#include "core/ssl_information.h"

namespace im = corvane_com::zel::inetmgr;
using im::ProtocolType;
using im::SiteType;

TEST(SiteTypes, EveryTypeRoundTripsThroughItsExactTextAndOtherValuesHaveNone) {
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
  EXPECT_EQ(SiteType::toType(L"Fallback"), SiteType::typeCount);
  EXPECT_EQ(ProtocolType::toType(L""), ProtocolType::typeCount);
  EXPECT_EQ(ProtocolType::toType((L" " + ProtocolType::toString(ProtocolType::Http)).c_str()),
            ProtocolType::typeCount);
}

TEST(SslUseInformation, TheSpipeFlagFollowsOnlyTheSpipeProtocolsSetting) {
  // Only this test touches the record in this binary, so the starting state is known.
  EXPECT_FALSE(im::getSpipeSslUseFlag());
  EXPECT_TRUE(im::SslUseInformation::getInstance()->setSslUseInformation(ProtocolType::Unc, true));
  EXPECT_FALSE(im::getSpipeSslUseFlag()) << "kept per protocol";
  im::SslUseInformation::getInstance()->setSslUseInformation(ProtocolType::Spipe, true);
  EXPECT_TRUE(im::getSpipeSslUseFlag());
}
