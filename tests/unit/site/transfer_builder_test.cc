// Transfer objects built from a site's properties: the option table, failed
// conversions, credentials, SSL and the balance of created objects.
#include <stdexcept>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "platform/crypto.h"
#include "site/transfer_builder.h"
#include "support/data_dir.h"
#include "support/log_capture.h"
#include "support/site_from_xml.h"
#include "support/thrown.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;
using im::ProtocolType;

namespace {

// The properties whose options were set, in the order they were set.
std::wstring optionsSet(const inetmgr_test::LogCapture& log) {
  const std::wstring prefix = L"Setting xoInet transfer option ";
  std::wstring names;
  for (const auto& record : log.records()) {
    if (record.text.rfind(prefix, 0) == 0) {
      names += (names.empty() ? L"" : L" ") +
               record.text.substr(prefix.size(), record.text.find(L" = ") - prefix.size());
    }
  }
  return names;
}

}  // namespace

TEST(TransferBuilder, EachProtocolSetsOnlyItsColumnOfTheTableAndEveryObjectGoesBack) {
  const im::PropertyMap every = {{L"Server", L"host"},       {L"ServerName", L"HOST"},
                                 {L"ServerIP", L"10.0.0.1"}, {L"Name", L"site"},
                                 {L"Port", L"21"},           {L"DomainName", L"CORP"},
                                 {L"ShareName", L"share"},   {L"RelativePath", L"/p"},
                                 {L"SecurePort", L"443"},    {L"UseLoggedonUserAccount", L"1"}};
  const std::tuple<ProtocolType::Types, xo::xoInetProtocol, std::wstring> columns[] = {
      {ProtocolType::Ftp, xo::xoInetProtocolFtp,
       L"Server ServerName ServerIP Name Port Port Port RelativePath"},
      {ProtocolType::Unc, xo::xoInetProtocolUnc,
       L"Name DomainName Server ShareName RelativePath UseLoggedonUserAccount"},
      {ProtocolType::Local, xo::xoInetProtocolLocal, L"Name DomainName RelativePath"},
      {ProtocolType::Spipe, xo::xoInetProtocolHttp,
       L"Server ServerName ServerIP Name Port Port Port RelativePath SecurePort"}};
  const int before = xo::getTransferInstanceCount();
  xo::g_lastBoolOption = false;
  for (const auto& [protocol, transferProtocol, options] : columns) {
    inetmgr_test::LogCapture log(LogLevel::Detail);
    EXPECT_EQ(im::CreateTransferItfFromProperties(protocol, every)->GetProtocol(), transferProtocol);
    EXPECT_EQ(optionsSet(log), options) << protocol;
  }
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
  EXPECT_EQ(xo::g_lastLongOption, 443);
  EXPECT_TRUE(xo::g_lastBoolOption) << "from the UNC column's flag";
}

TEST(TransferBuilder, AValueThatDoesNotConvertIsLoggedAndSkippedAndAProtocolWithoutTransferIsALogicError) {
  inetmgr_test::LogCapture log(LogLevel::Detail);
  xo::g_lastLongOption = 5;
  ASSERT_NE(im::CreateTransferItfFromProperties(ProtocolType::Http, {{L"Port", L"80a"}, {L"Name", L"n"}}),
            nullptr);
  EXPECT_EQ(xo::g_lastLongOption, 5);
  EXPECT_EQ(xo::g_lastStrOption, L"n");
  EXPECT_EQ(log.count(LogLevel::Detail, L"Failed >> Setting xoInet transfer option Port = 80a"), 3);
  int errors = 0;
  for (const auto& record : log.records()) errors += record.level == LogLevel::Error;
  EXPECT_EQ(errors, 3);

  const int before = xo::getTransferInstanceCount();
  EXPECT_EQ(inetmgr_test::thrownText<std::logic_error>(
                [] { im::CreateTransferItfFromProperties(ProtocolType::typeCount, {}); }),
            "Encountered bad protocol id 7");
  EXPECT_EQ(log.count(LogLevel::Error, L"Encountered bad protocol id 7"), 1);
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
}

class SiteTransfer : public ::testing::Test {
 protected:
  // A site built from `xml` with its transfer object; the last text and boolean
  // option show what the object was given.
  inetmgr_test::SitePtr withTransfer(const std::string& xml) {
    auto site = inetmgr_test::siteFrom(xml);
    xo::g_lastStrOption = L"none";
    xo::g_lastBoolOption = false;
    site->checkBuildTransferObject();
    return site;
  }
  std::string password(const std::wstring& plain) {
    auto* encryption = corvane_com::zel::platform::CryptShim::instance()->create_encryption_object(3);
    std::wstring text;
    encryption->encryptText(plain, text);
    corvane_com::zel::platform::CryptShim::instance()->destroy_encryption_object(encryption);
    return std::string(text.begin(), text.end());
  }
  inetmgr_test::ScopedDataDir data_;
  inetmgr_test::LogCapture log_{LogLevel::Detail};
};

TEST_F(SiteTransfer, HttpSitesUseCredentialsOnlyWhenAskedAndOthersOnlyWithAUserName) {
  withTransfer("<HttpSite Type=\"repository\" Name=\"h\" UserName=\"u\" Password=\"" + password(L"pw") +
               "\"/>");
  EXPECT_EQ(log_.count(L" Using credentials, if available"), 0);
  EXPECT_EQ(xo::g_lastStrOption, L"h");
  withTransfer("<HttpSite Type=\"repository\" Name=\"h\" UseAuth=\"1\" UserName=\"u\" Password=\"" +
               password(L"pw") + "\"/>");
  EXPECT_EQ(log_.count(L" Assigning credentials to xoInet Transfer interface"), 1);
  EXPECT_EQ(xo::g_lastStrOption, L"pw") << "the password is the last text option";
  withTransfer(R"(<FTPSite Type="repository" Name="f" UserName=""/>)");
  EXPECT_EQ(log_.count(L" Using credentials, if available"), 2);
  EXPECT_EQ(log_.count(L" Assigning credentials to xoInet Transfer interface"), 1)
      << "FTP without a user name";
  EXPECT_EQ(xo::g_lastStrOption, L"f");
}

TEST_F(SiteTransfer, SslSitesGetTheCaBundleUnlessSslIsForcedOff) {
  auto site = inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="s" SecurePort="443"/>)");
  site->setCaBundlePath(L"/data/etc/cabundle.cer");
  site->checkBuildTransferObject();
  EXPECT_EQ(xo::g_lastStrOption, L"/data/etc/cabundle.cer");
  EXPECT_TRUE(xo::g_lastBoolOption);
  site->forceNonSslTransfer();
  xo::g_lastBoolOption = false;
  site->checkBuildTransferObject();
  EXPECT_FALSE(xo::g_lastBoolOption) << "the object already exists: nothing is set again";

  inetmgr_test::SitePtr other(new im::ImSiteImpl(*site));
  other->forceNonSslTransfer();
  xo::g_lastStrOption = L"none";
  other->checkBuildTransferObject();
  EXPECT_EQ(xo::g_lastStrOption, L"s");
  EXPECT_FALSE(xo::g_lastBoolOption);
}
