// Transfer objects built from a site's properties: the protocol's column of
// the option table, failed conversions, credentials, SSL and the balance of
// created objects. The test transfer keeps the latest option of each kind.
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/password.h"
#include "site/transfer_builder.h"
#include "support/log_capture.h"
#include "support/parsed_xml.h"
#include "support/recording_callback.h"
#include "support/temp_dir.h"
#include "support/thrown.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;
using im::ProtocolType;

namespace {

// Forgets the latest option of each kind the test transfer was given.
void clearOptions() {
  xo::g_lastLongOption = 0;
  xo::g_lastBoolOption = false;
  xo::g_lastStrOption = L"none";
}

}  // namespace

TEST(TransferBuilder, EachProtocolSetsItsColumnOfTheOptionsSkipsWhatDoesNotConvertAndGivesObjectsBack) {
  // Only FTP and HTTP set a port, the SSL port last for HTTP; only UNC sets a flag.
  const im::PropertyMap every = {{L"Name", L"site"},       {L"Port", L"21"},
                                 {L"SecurePort", L"443"},  {L"ShareName", L"share"},
                                 {L"RelativePath", L"/p"}, {L"UseLoggedonUserAccount", L"1"}};
  const std::tuple<ProtocolType::Types, xo::xoInetProtocol, long, bool> columns[] = {
      {ProtocolType::Ftp, xo::xoInetProtocolFtp, 21, false},
      {ProtocolType::Unc, xo::xoInetProtocolUnc, 0, true},
      {ProtocolType::Local, xo::xoInetProtocolLocal, 0, false},
      {ProtocolType::Spipe, xo::xoInetProtocolHttp, 443, false}};
  const int before = xo::getTransferInstanceCount();
  for (const auto& [protocol, transferProtocol, port, flag] : columns) {
    clearOptions();
    EXPECT_EQ(im::CreateTransferItfFromProperties(protocol, every)->GetProtocol(), transferProtocol);
    EXPECT_TRUE(xo::g_lastLongOption == port && xo::g_lastBoolOption == flag && xo::g_lastStrOption == L"/p")
        << protocol;
  }
  xo::g_lastLongOption = 5;
  ASSERT_NE(im::CreateTransferItfFromProperties(ProtocolType::Http, {{L"Port", L"80a"}, {L"Name", L"n"}}),
            nullptr);
  EXPECT_TRUE(xo::g_lastLongOption == 5 && xo::g_lastStrOption == L"n");
  EXPECT_EQ(inetmgr_test::thrownText<std::logic_error>(
                [] { im::CreateTransferItfFromProperties(ProtocolType::typeCount, {}); }),
            "Encountered bad protocol id 7");
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
}

class SiteTransfer : public ::testing::Test {
 protected:
  // The last text option set for the site built from `xml`, which holds the
  // password "pw" wherever `{pw}` stands.
  std::wstring lastText(std::string xml) {
    std::wstring password;
    EXPECT_EQ(im::encryptSiteListPassword(L"pw", password), im::rcSuccess);
    if (xml.find("{pw}") != std::string::npos)
      xml.replace(xml.find("{pw}"), 4, std::string(password.begin(), password.end()));
    return built(*inetmgr_test::siteFrom(xml));
  }
  // The last text option set when `site` builds its transfer object.
  static std::wstring built(im::ImSiteImpl& site) {
    clearOptions();
    site.checkBuildTransferObject();
    return xo::g_lastStrOption;
  }
  inetmgr_test::ScopedDataDir data_;
  inetmgr_test::LogCapture log_;
};

TEST_F(SiteTransfer, HttpSitesUseCredentialsOnlyWhenAskedAndOthersOnlyWithAUserName) {
  EXPECT_EQ(lastText(R"(<HttpSite Type="repository" Name="h" UserName="u" Password="{pw}"/>)"), L"h");
  EXPECT_EQ(lastText(R"(<HttpSite Type="repository" Name="h" UseAuth="1" UserName="u" Password="{pw}"/>)"),
            L"pw");
  EXPECT_EQ(lastText(R"(<FTPSite Type="repository" Name="f" UserName="u" Password="{pw}"/>)"), L"pw");
  EXPECT_EQ(lastText(R"(<FTPSite Type="repository" Name="f" UserName="" Password="{pw}"/>)"), L"f");
}

TEST_F(SiteTransfer, SslSitesGetTheCaBundleUnlessSslIsForcedOff) {
  auto site = inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="s" SecurePort="443"/>)");
  site->setCaBundlePath(L"/data/etc/cabundle.cer");
  EXPECT_TRUE(built(*site) == L"/data/etc/cabundle.cer" && xo::g_lastBoolOption);
  site->forceNonSslTransfer();
  EXPECT_EQ(built(*site), L"none") << "the object already exists: nothing is set again";
  inetmgr_test::SitePtr other(new im::ImSiteImpl(*site));
  other->forceNonSslTransfer();
  EXPECT_TRUE(built(*other) == L"s" && !xo::g_lastBoolOption);
}

TEST_F(SiteTransfer, ThePrologueRefusesADisabledSiteUnlessForcedOnceAndTestOnlyModeEndsItAtOnce) {
  auto site = inetmgr_test::siteFrom(R"(<FTPSite Type="repository" Name="f"/>)");
  EXPECT_EQ(site->downloadFile(L"f", L"/s", L"/d", false, nullptr), im::rcSiteDisabled);
  site->setForceUpload();
  EXPECT_EQ(site->downloadFile(nullptr, L"/s", L"/d", false, nullptr), im::rcBadArgument);
  EXPECT_EQ(site->uploadFile(L"f", L"/r", L"f", L"/l", nullptr), im::rcSuccess) << "past the prologue";
  EXPECT_NE(site->getTransfer(), nullptr);
  EXPECT_EQ(site->uploadFile(L"f", L"/r", L"f", L"/l", nullptr), im::rcSiteDisabled) << "the flag is spent";

  inetmgr_test::RecordingCallback callback;
  callback.stopAt = xo::statusProgress;  // a stop changes nothing here
  auto testOnly = inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="t" Enabled="1"/>)");
  testOnly->setTestOnly(true);
  testOnly->connect(&callback);
  EXPECT_EQ(testOnly->downloadFile(L"f", L"/s", L"/d", false, nullptr), im::rcSuccess);
  EXPECT_TRUE(callback.statuses == std::vector<int>{xo::statusProgress} &&
              callback.texts == L"(null)|(null)|(null)" && testOnly->getTransfer() == nullptr);
  EXPECT_EQ(log_.count(LogLevel::Info, L"Called in test-only mode."), 1);
}

TEST_F(SiteTransfer, AnyExceptionWhileBuildingBecomesACodeAndLeavesNoTransfer) {
  const std::pair<im::ImSiteImpl::TransferFactory, im::ResultCode> failures[] = {
      {[](ProtocolType::Types, const im::PropertyMap&) -> im::TransferItf_ptr { throw std::bad_alloc(); },
       im::rcOutOfMemory},
      {[](ProtocolType::Types, const im::PropertyMap&) -> im::TransferItf_ptr { throw 7; },
       im::rcUnexpected}};
  auto site = inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="h" Enabled="1"/>)");
  for (const auto& [create, code] : failures) {
    im::ResultCode thrown = im::rcSuccess;
    try {
      site->checkBuildTransferObject(create);
    } catch (im::SiteImplExcept& e) {
      thrown = e.getCode();
    }
    EXPECT_TRUE(thrown == code && site->getTransfer() == nullptr) << code;
  }
}
