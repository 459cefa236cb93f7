// The policy block of a site list (ranges, the lenient number reading, rejected
// values) and the version rule that decides whether a document is taken. That
// an empty version attribute counts as absent is shown by the document tests.
#include "sitelist/policies.h"
#include "sitelist/versions.h"

#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/parsed_xml.h"

namespace {

namespace inetmgr = corvane_com::zel::inetmgr;
using corvane_com::zel::inetmgr::LogLevel;
using inetmgr_test::ParsedXml;

// Starts from values that differ from every default, so an untouched result shows.
const inetmgr::SiteListPolicies kHeld{true, inetmgr::sortByHopCount, 3, 4};

inetmgr::ResultCode readOne(const std::string& name, const std::string& value,
                            inetmgr::SiteListPolicies& out) {
  out = kHeld;
  const ParsedXml xml("<L><Policies><Setting name=\"" + name + "\">" + value + "</Setting></Policies></L>");
  return inetmgr::readPolicies(xml.root(), out);
}

TEST(SiteListPolicies, ABlockIsReadOverTheDefaultsIgnoringUnnamedAndUnknownSettings) {
  const ParsedXml xml(R"(<L><Policies><Setting name="nMaxHopLimit">30</Setting><Setting>9</Setting>
      <Option name="nMaxPingTimeout">9</Option><Setting name="Colour">blue</Setting></Policies></L>)");
  inetmgr::SiteListPolicies p = kHeld;
  ASSERT_EQ(inetmgr::readPolicies(xml.root(), p), inetmgr::rcSuccess);
  EXPECT_TRUE(!p.overwriteClientSites && p.findNearestMethod == inetmgr::sortByConfiguredOrder &&
              p.maxHopLimit == 30 && p.maxPingTimeout == 30);
}

TEST(SiteListPolicies, AnInvalidValueRejectsTheBlockWithItsLineAndChangesNothing) {
  inetmgr_test::LogCapture log;
  inetmgr::SiteListPolicies p;
  for (const auto& [name, value, line] :
       {std::make_tuple("nMaxHopLimit", "31", L"invalid nMaxHopLimit=31"),
        std::make_tuple("nMaxPingTimeout", "-1", L"invalid ping timeout=-1"),
        std::make_tuple("uiFindNearestMethod", "3", L"invalid uiFindNearestMethod=3"),
        std::make_tuple("OverwriteClientSites", "true", L"invalid OverwriteClientSites=true")}) {
    EXPECT_EQ(readOne(name, value, p), inetmgr::rcBadSchema) << name;
    EXPECT_EQ(log.count(LogLevel::Error, line), 1) << name;
    EXPECT_TRUE(p.overwriteClientSites && p.findNearestMethod == kHeld.findNearestMethod &&
                p.maxHopLimit == 3 && p.maxPingTimeout == 4)
        << name;
  }
}

TEST(SiteListPolicies, NumbersAreReadLikeAtoiSoTextWithoutDigitsIsZeroAndOneSetsTheOverwriteFlag) {
  inetmgr::SiteListPolicies p;
  EXPECT_TRUE(readOne("nMaxHopLimit", "abc", p) == inetmgr::rcSuccess && p.maxHopLimit == 0);
  EXPECT_TRUE(readOne("nMaxPingTimeout", "0", p) == inetmgr::rcSuccess && p.maxPingTimeout == 0);
  EXPECT_TRUE(readOne("nMaxPingTimeout", "99999999999", p) == inetmgr::rcSuccess &&
              p.maxPingTimeout == 2147483647);
  EXPECT_TRUE(readOne("OverwriteClientSites", "1", p) == inetmgr::rcSuccess && p.overwriteClientSites);
}

TEST(SiteListVersions, AnyCarriedVersionThatDiffersIsNewerAndEmptyHeldVersionsTakeAnyDocument) {
  const std::string both = R"(GlobalVersion="4" LocalVersion="1")";
  for (const auto& [attributes, global, local, newer] :
       {std::make_tuple(both, L"5", L"1", true), std::make_tuple(both, L"4", L"1", false),
        std::make_tuple(std::string(R"(LocalVersion="2")"), L"4", L"1", true),
        std::make_tuple(std::string(R"(LocalVersion="2")"), L"4", L"2", false),
        std::make_tuple(std::string(R"(GlobalVersion="4")"), L"4", L"1", false),
        std::make_tuple(std::string(), L"", L"", true), std::make_tuple(std::string(), L"5", L"1", false)}) {
    EXPECT_EQ(inetmgr::isDocumentVersionNewer(ParsedXml("<L " + attributes + "/>").root(), global, local),
              newer)
        << attributes << " held " << global << "/" << local;
  }
}

}  // namespace
