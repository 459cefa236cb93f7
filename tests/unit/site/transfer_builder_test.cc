// Transfer objects built from a site's properties: the option table, failed
// conversions, credentials, SSL and the balance of created objects.
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/sitelist_schema.h"
#include "platform/crypto.h"
#include "site/site_impl.h"
#include "site/transfer_builder.h"
#include "support/data_dir.h"
#include "support/log_capture.h"
#include "support/xml_element.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;
using im::ProtocolType;

namespace {

int settings(const inetmgr_test::LogCapture& log, const std::wstring& name) {
  int n = 0;
  for (const auto& record : log.records()) {
    if (record.text.rfind(L"Setting xoInet transfer option " + name + L" = ", 0) == 0) ++n;
  }
  return n;
}

const im::PropertyMap kEveryTableProperty = {
    {L"Server", L"host"},         {L"ServerName", L"HOST"}, {L"ServerIP", L"10.0.0.1"},
    {L"Name", L"site"},           {L"Port", L"21"},         {L"DomainName", L"CORP"},
    {L"ShareName", L"share"},     {L"RelativePath", L"/p"}, {L"UseLoggedonUserAccount", L"1"},
    {L"SecurePort", L"443"},
};

}  // namespace

TEST(TransferBuilder, EachProtocolSetsOnlyItsColumnOfTheTable) {
  inetmgr_test::LogCapture log(LogLevel::Detail);
  const int before = xo::getTransferInstanceCount();
  {
    im::TransferItf_ptr ftp = im::CreateTransferItfFromProperties(ProtocolType::Ftp, kEveryTableProperty);
    EXPECT_EQ(ftp->GetProtocol(), xo::xoInetProtocolFtp);
    EXPECT_EQ(settings(log, L"Port"), 3) << "one port feeds options 3, 4 and 5";
    EXPECT_EQ(xo::g_lastLongOption, 21);
    EXPECT_EQ(settings(log, L"Server"), 1);
    EXPECT_EQ(settings(log, L"SecurePort"), 0);
    EXPECT_EQ(settings(log, L"ShareName"), 0);
    log.clear();
    im::TransferItf_ptr unc = im::CreateTransferItfFromProperties(ProtocolType::Unc, kEveryTableProperty);
    EXPECT_EQ(settings(log, L"Port"), 0);
    EXPECT_EQ(settings(log, L"Server"), 1) << "as the UNC server, option 12";
    EXPECT_EQ(settings(log, L"ShareName"), 1);
    EXPECT_EQ(settings(log, L"UseLoggedonUserAccount"), 1);
    EXPECT_TRUE(xo::g_lastBoolOption);
    log.clear();
    im::TransferItf_ptr local = im::CreateTransferItfFromProperties(ProtocolType::Local, kEveryTableProperty);
    EXPECT_EQ(settings(log, L"Name") + settings(log, L"DomainName") + settings(log, L"RelativePath"), 3);
    EXPECT_EQ(log.records().size(), 3u) << "only name, domain and relative path";
    log.clear();
    im::TransferItf_ptr spipe = im::CreateTransferItfFromProperties(ProtocolType::Spipe, kEveryTableProperty);
    EXPECT_EQ(spipe->GetProtocol(), xo::xoInetProtocolHttp);
    EXPECT_EQ(settings(log, L"SecurePort"), 1);
    EXPECT_EQ(xo::getTransferInstanceCount(), before + 4);
  }
  EXPECT_EQ(xo::getTransferInstanceCount(), before) << "every object went back to the factory";
}

TEST(TransferBuilder, AValueThatDoesNotConvertIsLoggedAndSkipped) {
  inetmgr_test::LogCapture log(LogLevel::Detail);
  xo::g_lastLongOption = 5;
  im::TransferItf_ptr transfer =
      im::CreateTransferItfFromProperties(ProtocolType::Http, {{L"Port", L"80a"}, {L"Name", L"n"}});
  ASSERT_NE(transfer, nullptr);
  EXPECT_EQ(xo::g_lastLongOption, 5);
  EXPECT_EQ(log.count(LogLevel::Detail, L"Failed >> Setting xoInet transfer option Port = 80a"), 3);
  int errors = 0;
  for (const auto& record : log.records()) errors += record.level == LogLevel::Error;
  EXPECT_EQ(errors, 3);
  EXPECT_EQ(xo::g_lastStrOption, L"n");
}

TEST(TransferBuilder, AProtocolWithoutTransferIsALogicError) {
  inetmgr_test::LogCapture log;
  const int before = xo::getTransferInstanceCount();
  try {
    im::CreateTransferItfFromProperties(ProtocolType::typeCount, {});
    FAIL() << "expected logic_error";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "Encountered bad protocol id 7");
  }
  EXPECT_EQ(log.count(LogLevel::Error, L"Encountered bad protocol id 7"), 1);
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
}

class SiteTransfer : public ::testing::Test {
 protected:
  // Builds a site from `xml` and its transfer object; returns the last text and
  // boolean option the transfer object was given.
  void buildTransfer(const std::string& xml) {
    inetmgr_test::ParsedXml parsed(xml);
    ASSERT_EQ(site_->initFromElement(parsed.root()), im::rcSuccess);
    xo::g_lastStrOption = L"none";
    xo::g_lastBoolOption = false;
    site_->checkBuildTransferObject();
  }
  std::string password(const std::wstring& plain) {
    auto* encryption = corvane_com::zel::platform::CryptShim::instance()->create_encryption_object(3);
    std::wstring text;
    encryption->encryptText(plain, text);
    corvane_com::zel::platform::CryptShim::instance()->destroy_encryption_object(encryption);
    return std::string(text.begin(), text.end());
  }
  void TearDown() override { site_->release(); }

  inetmgr_test::ScopedDataDir data_;
  im::ImSiteImpl* site_ = new im::ImSiteImpl();
};

TEST_F(SiteTransfer, HttpSitesUseCredentialsOnlyWhenAskedAndOthersAlways) {
  inetmgr_test::LogCapture log(LogLevel::Detail);
  buildTransfer("<HttpSite Type=\"repository\" Name=\"h\" UserName=\"u\" Password=\"" + password(L"pw") + "\"/>");
  EXPECT_EQ(log.count(L" Using credentials, if available"), 0);
  EXPECT_EQ(xo::g_lastStrOption, L"h");
  site_->release();
  site_ = new im::ImSiteImpl();
  buildTransfer("<HttpSite Type=\"repository\" Name=\"h\" UseAuth=\"1\" UserName=\"u\" Password=\"" +
                password(L"pw") + "\"/>");
  EXPECT_EQ(log.count(L" Assigning credentials to xoInet Transfer interface"), 1);
  EXPECT_EQ(xo::g_lastStrOption, L"pw") << "the password is the last text option";
}

TEST_F(SiteTransfer, AnFtpSiteWithoutAUserNameSetsNoCredentials) {
  inetmgr_test::LogCapture log(LogLevel::Detail);
  buildTransfer(R"(<FTPSite Type="repository" Name="f" UserName=""/>)");
  EXPECT_EQ(log.count(L" Using credentials, if available"), 1);
  EXPECT_EQ(log.count(L" Assigning credentials to xoInet Transfer interface"), 0);
  EXPECT_EQ(xo::g_lastStrOption, L"f");
}

TEST_F(SiteTransfer, SslSitesGetTheCaBundleUnlessSslIsForcedOff) {
  site_->setCaBundlePath(L"/data/etc/cabundle.cer");
  buildTransfer(R"(<HttpSite Type="repository" Name="s" SecurePort="443"/>)");
  EXPECT_EQ(xo::g_lastStrOption, L"/data/etc/cabundle.cer");
  EXPECT_TRUE(xo::g_lastBoolOption);
  site_->forceNonSslTransfer();
  xo::g_lastBoolOption = false;
  site_->checkBuildTransferObject();
  EXPECT_FALSE(xo::g_lastBoolOption) << "the object already exists: nothing is set again";

  auto* other = new im::ImSiteImpl(*site_);
  other->forceNonSslTransfer();
  xo::g_lastStrOption = L"none";
  other->checkBuildTransferObject();
  EXPECT_EQ(xo::g_lastStrOption, L"s");
  EXPECT_FALSE(xo::g_lastBoolOption);
  other->release();
}
