// The library as a caller sees it: only the installed headers and
// libinetmgr.so, no internals. A symbol that is declared but not exported
// fails this binary's link.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "support/data_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

struct Captured {
  std::vector<std::wstring> lines;
};

void capture(im::LogLevel, const wchar_t* tag, const wchar_t* text, void* context) {
  static_cast<Captured*>(context)->lines.push_back(std::wstring(tag) + L": " + text);
}

}  // namespace

TEST(PublicApi, ResultCodesAndTypesWorkThroughTheSharedLibrary) {
  EXPECT_STREQ(im::getErrorText(im::rcEndOfList, false), L"Reached the end of a list maintained by Internet Manager.");
  EXPECT_TRUE(im::isCodeError(im::rcShutDown));
  EXPECT_EQ(im::ProtocolType::toType(im::ProtocolType::toString(im::ProtocolType::Unc).c_str()),
            im::ProtocolType::Unc);
  EXPECT_EQ(im::SiteType::toString(im::SiteType::Fallback), L"fallback");
  EXPECT_FALSE(im::getSpipeSslUseFlag());
  EXPECT_STRNE(im::getLibraryVersion(), "");
}

TEST(PublicApi, SecretsAndSiteListPasswordsRoundTripUnderTheMachineKey) {
  inetmgr_test::ScopedDataDir data;
  im::SecureString secret(L"s3cret", 0);
  ASSERT_EQ(secret.getLastResult(), 0);
  im::SecureString restored(secret.encrypted_str());
  EXPECT_EQ(restored.str(), L"s3cret");
  EXPECT_THROW(im::SecureString(std::wstring(100, L'x'), 64), im::SecureString::BufferOverflowException);

  std::wstring first;
  std::wstring second;
  ASSERT_EQ(im::encryptSiteListPassword(L"pw", first), im::rcSuccess);
  ASSERT_EQ(im::encryptSiteListPassword(L"pw", second), im::rcSuccess);
  EXPECT_EQ(first, second) << "equal passwords give equal document texts";
  EXPECT_EQ(first.find(L"pw"), std::wstring::npos);
}

TEST(PublicApi, AHostCanTakeTheLogRecords) {
  Captured captured;
  im::setLogSink(&capture, &captured, im::LogLevel::Error);
  {
    // No key can be made under a file: the failure is logged through the sink.
    inetmgr_test::ScopedDataDir data;
    std::ofstream(data.dir().file("etc")) << "not a directory";
    std::wstring text;
    EXPECT_EQ(im::encryptSiteListPassword(L"pw", text), im::rcUnexpected);
    EXPECT_TRUE(text.empty());
  }
  im::setLogSink(nullptr, nullptr, im::LogLevel::Error);
  ASSERT_FALSE(captured.lines.empty());
  EXPECT_NE(captured.lines.back().find(L"imutils: "), std::wstring::npos);
}

TEST(PublicApi, TheTestTransferRecordsWhatItWasAsked) {
  const int before = xo::getTransferInstanceCount();
  xo::TransferItf* transfer = xo::XoInetItfFactory::CreateInterface(xo::xoInetProtocolFtp);
  ASSERT_NE(transfer, nullptr);
  EXPECT_EQ(xo::getTransferInstanceCount(), before + 1);
  ASSERT_EQ(transfer->Logon(false, 10), xo::rcNoError);
  ASSERT_EQ(transfer->UploadFile(L"/local/dir/file.bin", L"/remote/dir", nullptr), xo::rcNoError);
  EXPECT_EQ(xo::g_lastOpData.operation, 2);
  EXPECT_EQ(xo::g_lastOpData.sourceFileName, L"file.bin");
  EXPECT_EQ(xo::g_lastOpData.targetDirectory, L"/remote/dir");
  EXPECT_EQ(xo::XoInetItfFactory::DestroyInterface(transfer), xo::rcNoError);
  EXPECT_EQ(xo::getTransferInstanceCount(), before);
}
