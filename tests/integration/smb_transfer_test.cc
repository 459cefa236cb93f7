// The SMB backend against a real smbd on a loopback port: byte-exact
// downloads, resume and its validation, stops, the failure codes, uploads and
// deletes, and one download through a UNC site of the agent's site list.
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"
#include "inetmgr/password.h"
#include "inetmgr/xoinet.h"
#include "support/log_capture.h"
#include "support/local_servers.h"
#include "support/temp_dir.h"
#include "support/transfer_files.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
namespace fs = std::filesystem;

// libsmbclient forgets the name of its log file each time it makes a context
// (a hundred bytes of Samba's own, through talloc, which only Samba uses here;
// the stack is too shallow to name the function): not reported under
// AddressSanitizer.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions() {
  return "leak:libtalloc.so\n";
}

namespace {

using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)

const std::wstring kPassword = L"Sm6-pa\u00df";  // SmbServer::kPassword

struct DestroyTransfer {
  void operator()(xo::TransferItf* transfer) const { xo::XoInetItfFactory::DestroyInterface(transfer); }
};
using Transfer = std::unique_ptr<xo::TransferItf, DestroyTransfer>;

class SmbTransfer : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    xo::useNetworkTransfers();
    server_ = new SmbServer();
  }
  static void TearDownTestSuite() { delete server_; }
  void SetUp() override {
    if (!server_->skipReason().empty()) GTEST_SKIP() << server_->skipReason();
    ASSERT_EQ(server_->error(), "");
    fs::remove_all(remote(""));
    fs::create_directories(remote(""));
  }

  // A transfer to the share's "root" directory with `password`, logged on
  // when `logon` (and then checked to have succeeded).
  static Transfer transfer(const std::wstring& password = kPassword, bool logon = true) {
    Transfer made(xo::XoInetItfFactory::CreateInterface(xo::xoInetProtocolUnc));
    const std::string server = server_->address();
    made->SetOption(xo::optUncServer, std::wstring(server.begin(), server.end()));
    made->SetOption(xo::optShareName, std::wstring(L"share"));
    made->SetOption(xo::optRelativePath, std::wstring(L"\\root\\"));
    made->SetOption(xo::optUserName, std::wstring(L"root"));
    made->SetOption(xo::optPassword, password);
    EXPECT_EQ(logon ? made->Logon(false, 10) : xo::rcNoError, xo::rcNoError);
    return made;
  }
  static fs::path remote(const std::string& name) { return server_->share() / "root" / name; }

  static SmbServer* server_;
  TempDir local_;
};

SmbServer* SmbTransfer::server_ = nullptr;

}  // namespace

TEST_F(SmbTransfer, DownloadsByteExactAndResumesOnlyFromAPartialThatIsStillValid) {
  const std::string content = randomBytes(3 * 1024 * 1024 + 123, 1);
  const time_t past = ::time(nullptr) - 3600;
  writeFile(remote("dir/big.bin"), content, past);
  Transfer smb = transfer();
  const fs::path target = local_.path() / "new/dir/big.bin";
  RecordingSink sink;
  ASSERT_EQ(download(*smb, target, L"/dir/big.bin", 0, &sink), xo::rcNoError);
  EXPECT_TRUE(readFile(target) == content) << "whole download differs";
  EXPECT_EQ(sink.last(), std::to_string(content.size()) + "/" + std::to_string(content.size()));

  // A partial newer than the remote file is kept: its (marked) first MiB
  // stays. One older than the remote file, or longer than it, is fetched whole.
  const std::string marked(1024 * 1024, 'X');
  const long offset = static_cast<long>(marked.size());
  writeFile(target, marked);
  ASSERT_EQ(download(*smb, target, L"dir\\big.bin", offset), xo::rcNoError);
  EXPECT_TRUE(readFile(target) == marked + content.substr(marked.size())) << "resume did not continue at the offset";
  writeFile(target, marked, past - 60);
  ASSERT_EQ(download(*smb, target, L"dir/big.bin", offset), xo::rcNoError);
  EXPECT_TRUE(readFile(target) == content) << "changed remote file was resumed";
  writeFile(target, content + marked);
  ASSERT_EQ(download(*smb, target, L"dir/big.bin", static_cast<long>(content.size() + 10)), xo::rcNoError);
  EXPECT_TRUE(readFile(target) == content) << "shorter remote file was resumed";
}

TEST_F(SmbTransfer, EachFailureHasItsCodeAndOneLogLineNamingThePath) {
  writeFile(remote("big.bin"), randomBytes(4 * 1024 * 1024, 2));
  const fs::path target = local_.path() / "big.bin";
  writeFile(target, "previous");
  const std::string address = server_->address();
  const std::wstring root = L"smb://" + std::wstring(address.begin(), address.end()) + L"/share/root";
  EXPECT_EQ(download(*transfer(kPassword, false), target, L"big.bin"), xo::rcNotLoggedOn);
  EXPECT_EQ(transfer(kPassword, false)->UploadFile(target.wstring(), L"x", nullptr), xo::rcNotLoggedOn);
  // Logs on after `change` set its options.
  auto logon = [](const std::function<void(xo::TransferItf&)>& change) {
    Transfer smb = transfer(kPassword, false);
    change(*smb);
    return smb->Logon(false, 5);
  };
  Endpoint closed("127.0.0.1", false);
  struct Case {
    xo::xoInetError code;
    std::wstring logged;  // the one error line; empty: none
    std::function<xo::xoInetError()> run;
  } cases[] = {
      {xo::rcAborted, L"", [&] { RecordingSink stop(1); return download(*transfer(), target, L"big.bin", 0, &stop); }},
      {xo::rcNotFound, root + L"/none/such.bin: No such file or directory; transfer code -5",
       [&] { return download(*transfer(), target, L"none/such.bin"); }},
      {xo::rcLogonRefused, root + L": Permission denied; transfer code -3",
       [&] { return transfer(L"wrong-password", false)->Logon(false, 10); }},
      {xo::rcLogonRefused, root + L": Permission denied; transfer code -3",  // own account, no ticket, no guest
       [&] { return logon([](auto& smb) {
           smb.SetOption(xo::optUserName, std::wstring());
           smb.SetOption(xo::optUseLogonUserAccount, true);
         }); }},
      {xo::rcNotFound, L"/nosuch: No such file or directory; transfer code -5",
       [&] { return logon([](auto& smb) {
           smb.SetOption(xo::optShareName, std::wstring(L"nosuch"));
           smb.SetOption(xo::optRelativePath, std::wstring());
         }); }},
      {xo::rcCannotConnect, L": Connection refused; transfer code -2",
       [&] { return logon([&](auto& smb) {
           smb.SetOption(xo::optUncServer, std::wstring(closed.text().begin(), closed.text().end()));
         }); }},
  };
  for (const Case& c : cases) {
    LogCapture log(im::LogLevel::Error);
    EXPECT_EQ(c.run(), c.code) << c.code;
    std::wstring lines;
    for (const auto& record : log.records()) lines += record.tag + L" " + record.text + L"\n";
    const std::string shown(lines.begin(), lines.end());
    EXPECT_EQ(log.records().size(), c.logged.empty() ? 0u : 1u) << shown;
    EXPECT_NE(lines.find(c.logged), std::wstring::npos) << shown;
    EXPECT_EQ(lines.find(L"wrong-password"), std::wstring::npos) << shown;
  }
  EXPECT_EQ(readFile(target), "previous") << "a stopped download replaced the destination";
}

TEST_F(SmbTransfer, AFrozenServerIsNoConnectionAtLogonAndAFailureForNowMidway) {
  writeFile(remote("big.bin"), randomBytes(4 * 1024 * 1024, 5));
  xo::setNetworkTimeouts(30, 2);
  Transfer smb = transfer();
  server_->freeze(true);
  EXPECT_EQ(transfer(kPassword, false)->Logon(false, 1), xo::rcCannotConnect);
  server_->freeze(false);
  RecordingSink freeze;
  freeze.atFirst = [] { server_->freeze(true); };
  EXPECT_EQ(download(*smb, local_.path() / "big.bin", L"big.bin", 0, &freeze), xo::rcTransient);
  server_->freeze(false);
  xo::setNetworkTimeouts(30, 60);
  EXPECT_FALSE(fs::exists(local_.path() / "big.bin"));
}

TEST_F(SmbTransfer, UploadsThroughATemporaryNameAndDeletes) {
  const std::string content = randomBytes(2 * 1024 * 1024 + 7, 3);
  const fs::path source = local_.path() / "up.bin";
  writeFile(source, content);
  writeFile(remote("in/up.bin"), "old");
  writeFile(remote("in/stopped.bin"), "old");
  Transfer smb = transfer();
  // A destination ending in "/" or naming a directory keeps the source's name;
  // missing directories are made; a file already there is replaced only when
  // the new one is complete.
  ASSERT_EQ(smb->UploadFile(source.wstring(), L"in/new/", nullptr), xo::rcNoError);
  ASSERT_EQ(smb->UploadFileResponse(source.wstring(), L"in", L"/unused", nullptr), xo::rcNoError);
  ASSERT_EQ(smb->UploadFile(source.wstring(), L"in/new/renamed.bin", nullptr), xo::rcNoError);
  EXPECT_TRUE(readFile(remote("in/new/up.bin")) == content);
  EXPECT_TRUE(readFile(remote("in/up.bin")) == content);
  EXPECT_TRUE(readFile(remote("in/new/renamed.bin")) == content);
  RecordingSink stop(1);
  EXPECT_EQ(smb->UploadFile(source.wstring(), L"in/stopped.bin", &stop), xo::rcAborted);
  EXPECT_EQ(readFile(remote("in/stopped.bin")), "old");
  EXPECT_EQ(partsLeft(server_->share()), "");
  EXPECT_EQ(smb->UploadFile((local_.path() / "none").wstring(), L"in/x", nullptr), xo::rcLocalFile);

  EXPECT_EQ(smb->DeleteRemoteFile(L"in/new/renamed.bin"), xo::rcNoError);
  EXPECT_FALSE(fs::exists(remote("in/new/renamed.bin")));
  EXPECT_EQ(smb->DeleteRemoteFile(L"in/new/renamed.bin"), xo::rcNotFound);
  EXPECT_NE(smb->DeleteRemoteDirectory(L"in", false), xo::rcNoError) << "a directory with files was removed";
  writeFile(remote("in/new/deeper/last.txt"), "x");
  EXPECT_EQ(smb->DeleteRemoteDirectory(L"in", true), xo::rcNoError);
  EXPECT_FALSE(fs::exists(remote("in")));
  EXPECT_TRUE(fs::exists(remote("")));
  EXPECT_EQ(smb->LogOut(), xo::rcNoError);
  EXPECT_EQ(smb->DeleteRemoteFile(L"anything"), xo::rcNotLoggedOn);
}

// A UNC site of the agent's site list, its password encrypted in the document.
class SmbSite : public inetmgr_test::AgentSiteList {
 protected:
  void SetUp() override {
    server_ = std::make_unique<SmbServer>();
    if (!server_->skipReason().empty()) GTEST_SKIP() << server_->skipReason();
    ASSERT_EQ(server_->error(), "");
    AgentSiteList::SetUp();
    xo::useNetworkTransfers();
  }
  std::unique_ptr<SmbServer> server_;
};

TEST_F(SmbSite, DownloadsThroughTheConnectionObject) {
  const std::string content = randomBytes(1024 * 1024 + 5, 4);
  writeFile(server_->share() / "repo/sub/pkg.bin", content);
  std::wstring password;
  ASSERT_EQ(im::encryptSiteListPassword(kPassword, password), im::rcSuccess);
  writeSites("<UNCSite Type=\"repository\" Name=\"smb\" Server=\"" + server_->address() +
             "\" UserName=\"root\" Password=\"" + std::string(password.begin(), password.end()) +
             "\" Enabled=\"1\" Order=\"1\"><ShareName>share</ShareName><RelativePath>repo</RelativePath>"
             "<UseLoggedonUserAccount>0</UseLoggedonUserAccount></UNCSite>");
  im::IImNetConnection* connection = im::createConnectionObject(false);
  ASSERT_NE(connection, nullptr);
  const std::wstring destination = (data_.path() / "downloads").wstring();
  EXPECT_EQ(connection->downloadFile(L"pkg.bin", L"/sub", destination.c_str(), L"smb", nullptr,
                                     im::imFlagSiteByName),
            im::rcSuccess);
  EXPECT_TRUE(readFile(data_.path() / "downloads/pkg.bin") == content);
  EXPECT_NE(connection->downloadFile(L"none.bin", L"/sub", destination.c_str(), L"smb", nullptr,
                                     im::imFlagSiteByName),
            im::rcSuccess);
  connection->destroy();
}
