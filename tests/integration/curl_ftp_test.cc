// FTP and FTPS transfers through libcurl against vsftpd on a loopback port.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "integration/curl_transfer_support.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using namespace inetmgr_test;

namespace {

class CurlFtp : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!certificates_.made) GTEST_SKIP() << "the openssl CLI could not make the test certificates";
    if (!ftp_.skipReason().empty()) GTEST_SKIP() << ftp_.skipReason();
    ASSERT_EQ(ftp_.error(), "");
    writeFile(ftp_.root() / "pub/pkg.bin", content_);
    anonymous_.protocol = xo::xoInetProtocolFtp;
    anonymous_.host = L"localhost:" + std::to_wstring(ftp_.port());
    anonymous_.relativePath = L"pub";
  }

  ScopedDataDir dir_;
  TestCertificates certificates_;
  Vsftpd ftp_{certificates_};
  const std::string content_ = randomBytes(4u << 20, 11);
  TransferOptionsForTest anonymous_;
};

TEST_F(CurlFtp, OneLogonCarriesDownloadsResumesUploadsAndDeletes) {
  const auto ftp = makeTransfer(anonymous_);
  const fs::path out = dir_.path() / "out" / "pkg.bin";
  EXPECT_EQ(download(*ftp, out, L"pkg.bin"), xo::rcNotLoggedOn);
  ASSERT_EQ(ftp->Logon(false, 0), xo::rcNoError);
  ASSERT_EQ(download(*ftp, out, L"pkg.bin"), xo::rcNoError);
  EXPECT_TRUE(readFile(out) == content_);

  // Resumed where the server's file is older than the partial one (its
  // prefix kept), fetched whole where it is newer (a garbage prefix dropped).
  const long point = (2 << 20) - 1024;
  const std::string rest = "\"REST " + std::to_string(point) + "\"";
  for (const bool changed : {false, true}) {
    writeFile(out, changed ? randomBytes(2 << 20, 5) : content_.substr(0, 2 << 20));
    const auto served = fs::last_write_time(ftp_.root() / "pub/pkg.bin");
    fs::last_write_time(out, served + std::chrono::seconds(changed ? -100 : 100));
    const std::size_t rests = occurrences(ftp_.log(), rest);
    EXPECT_EQ(download(*ftp, out, L"pkg.bin", point), xo::rcNoError) << changed;
    EXPECT_TRUE(readFile(out) == content_) << changed;
    EXPECT_TRUE(eventually([&] { return occurrences(ftp_.log(), rest) == rests + !changed; })) << changed;
  }

  // An upload to a directory path keeps the file's name and makes the directories.
  writeFile(dir_.path() / "up.bin", content_.substr(0, 100000));
  EXPECT_EQ(ftp->UploadFile(dir_.wfile("up.bin"), L"new/deeper/", nullptr), xo::rcNoError);
  EXPECT_EQ(ftp->UploadFile(dir_.wfile("up.bin"), L"named.bin", nullptr), xo::rcNoError);
  EXPECT_TRUE(readFile(ftp_.root() / "pub/new/deeper/up.bin") == content_.substr(0, 100000));
  EXPECT_TRUE(readFile(ftp_.root() / "pub/named.bin") == content_.substr(0, 100000));

  LogCapture log;
  EXPECT_EQ(download(*ftp, out, L"missing.bin"), xo::rcNotFound);
  EXPECT_EQ(ftp->DeleteRemoteFile(L"missing.bin"), xo::rcNotFound);
  EXPECT_EQ(transferErrors(log).size(), 2u);
  EXPECT_EQ(ftp->DeleteRemoteFile(L"named.bin"), xo::rcNoError);
  EXPECT_FALSE(fs::exists(ftp_.root() / "pub/named.bin"));
  EXPECT_NE(ftp->DeleteRemoteDirectory(L"new", false), xo::rcNoError);
  EXPECT_TRUE(fs::exists(ftp_.root() / "pub/new/deeper/up.bin"));
  EXPECT_EQ(ftp->DeleteRemoteDirectory(L"new", true), xo::rcNoError);
  EXPECT_FALSE(fs::exists(ftp_.root() / "pub/new"));

  EXPECT_EQ(ftp->LogOut(), xo::rcNoError);
  EXPECT_EQ(occurrences(ftp_.log(), "OK LOGIN"), 1u) << "every operation reused the logon's connection";
  EXPECT_EQ(download(*ftp, out, L"pkg.bin"), xo::rcNotLoggedOn);
}

TEST_F(CurlFtp, LogonChecksCredentialsAndFtpsVerifiesTheServerAgainstTheBundle) {
  TransferOptionsForTest stranger = anonymous_, secure = anonymous_;
  stranger.user = L"nosuchuser";
  stranger.password = L"pw";
  LogCapture log;
  EXPECT_EQ(makeTransfer(stranger)->Logon(false, 0), xo::rcLogonRefused);
  EXPECT_EQ(transferErrors(log).size(), 1u);
  secure.ssl = true;
  secure.caBundle = certificates_.otherCa.wstring();
  EXPECT_EQ(makeTransfer(secure)->Logon(false, 0), xo::rcCertificate);
  secure.caBundle = certificates_.ca.wstring();
  const auto ftps = makeTransfer(secure);
  ASSERT_EQ(ftps->Logon(false, 0), xo::rcNoError);
  EXPECT_EQ(download(*ftps, dir_.path() / "tls.bin", L"pkg.bin"), xo::rcNoError);
  EXPECT_TRUE(readFile(dir_.path() / "tls.bin") == content_);
  EXPECT_EQ(occurrences(ftp_.log(), "\"AUTH TLS\""), 2u);
  EXPECT_EQ(occurrences(ftp_.log(), "\"PROT P\""), 1u);
}

}  // namespace
