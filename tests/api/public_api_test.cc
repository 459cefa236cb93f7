// The library as a caller sees it: only the installed headers and
// libinetmgr.so, no internals. A symbol that is declared but not exported
// fails this binary's link.
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

TEST(PublicApi, ResultCodesTypesAndTransferObjectsWorkThroughTheSharedLibrary) {
  EXPECT_STREQ(im::getErrorText(im::rcEndOfList, false),
               L"Reached the end of a list maintained by Internet Manager.");
  EXPECT_TRUE(im::isCodeError(im::rcShutDown) && !im::getSpipeSslUseFlag());
  EXPECT_EQ(im::ProtocolType::toType(im::ProtocolType::toString(im::ProtocolType::Unc).c_str()),
            im::ProtocolType::Unc);
  EXPECT_EQ(im::SiteType::toString(im::SiteType::Fallback), L"fallback");
  EXPECT_STRNE(im::getLibraryVersion(), "");
  const int before = xo::getTransferInstanceCount();
  xo::TransferItf* transfer = xo::XoInetItfFactory::CreateInterface(xo::xoInetProtocolFtp);
  ASSERT_NE(transfer, nullptr);
  EXPECT_EQ(xo::getTransferInstanceCount(), before + 1);
  EXPECT_EQ(xo::XoInetItfFactory::DestroyInterface(transfer), xo::rcNoError);
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
}

TEST(PublicApi, SecretsAndSiteListPasswordsRoundTripUnderTheMachineKeyAndFailWithoutOne) {
  {
    inetmgr_test::ScopedDataDir data;
    im::SecureString secret(L"s3cret", 0);
    EXPECT_EQ(im::SecureString(secret.encrypted_str()).str(), L"s3cret");
    EXPECT_THROW(im::SecureString(std::wstring(100, L'x'), 64), im::SecureString::BufferOverflowException);
    // A password long enough never to turn up in the encoded text by chance.
    std::wstring first, second;
    ASSERT_EQ(im::encryptSiteListPassword(L"plain-password", first), im::rcSuccess);
    ASSERT_EQ(im::encryptSiteListPassword(L"plain-password", second), im::rcSuccess);
    EXPECT_TRUE(first == second && first.find(L"plain-password") == std::wstring::npos) << "deterministic";
  }
  inetmgr_test::ScopedDataDir data;
  std::ofstream(data.file("etc")) << "not a directory";
  inetmgr_test::LogCapture log(im::LogLevel::Error);
  std::wstring text;
  EXPECT_EQ(im::encryptSiteListPassword(L"pw", text), im::rcUnexpected);
  EXPECT_TRUE(text.empty());
  ASSERT_FALSE(log.records().empty());
  EXPECT_EQ(log.records().back().tag, L"imutils");
}
