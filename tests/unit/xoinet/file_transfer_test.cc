// The local-path backend (files below the site's root directory) and the
// options a network transfer keeps through the interface's setters.
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/secure_string.h"
#include "inetmgr/xoinet.h"
#include "support/temp_dir.h"
#include "support/transfer_files.h"
#include "xoinet/network_transfer.h"
#include "xoinet/transfer_backends.h"

namespace {

using namespace corvane_com::zel::xoInet;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;
using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)

// Backend objects are made directly here; the factory's go back to it.
struct Destroy {
  void operator()(TransferItf* itf) const { delete itf; }
};
struct GiveBack {
  void operator()(TransferItf* itf) const { XoInetItfFactory::DestroyInterface(itf); }
};

}  // namespace

// The local path is the cheapest backend, so the parts every backend shares
// (the download's temporary file and the paced progress reports) are checked here.
TEST(FileTransfer, MovesFilesBelowItsRootResumesOnlyValidPartialsAndReportsPacedProgress) {
  inetmgr_test::TempDir dir;
  const fs::path root = dir.path() / "root", target = dir.path() / "out/new/file.bin";
  const std::string content = randomBytes(3 * 1024 * 1024 + 11, 7);
  const time_t past = ::time(nullptr) - 3600;
  writeFile(root / "pkg/file.bin", content, past);
  std::unique_ptr<TransferItf, Destroy> local(createFileTransfer(xoInetProtocolLocal));
  local->SetOption(optRelativePath, root.wstring());
  EXPECT_EQ(download(*local, target, L"\\pkg\\file.bin"), rcNotLoggedOn);
  ASSERT_EQ(local->Logon(false, 0), rcNoError);
  // The first report comes at once, then at most one each 250 ms, and the last always.
  RecordingSink paced;
  paced.slowReports = 1;
  ASSERT_EQ(download(*local, target, L"\\pkg\\file.bin", 0, &paced), rcNoError);
  EXPECT_TRUE(readFile(target) == content);
  std::string reports;
  for (const auto& report : paced.reports) reports += std::to_string(report.done) + " ";
  EXPECT_EQ(reports, "0 " + std::to_string(1 << 20) + " " + std::to_string(content.size()) + " ");
  EXPECT_EQ(paced.last(), std::to_string(content.size()) + "/" + std::to_string(content.size()));

  // A partial newer than the source keeps its (marked) prefix; one older than
  // the source, or longer than it, is fetched whole.
  const std::string marked(1024 * 1024, 'X');
  writeFile(target, marked);
  ASSERT_EQ(download(*local, target, L"pkg/file.bin", static_cast<long>(marked.size())), rcNoError);
  EXPECT_TRUE(readFile(target) == marked + content.substr(marked.size())) << "not resumed at the offset";
  writeFile(target, marked, past - 60);
  ASSERT_EQ(download(*local, target, L"pkg/file.bin", static_cast<long>(marked.size())), rcNoError);
  EXPECT_TRUE(readFile(target) == content) << "a partial older than the source was resumed";
  writeFile(target, content + marked);
  ASSERT_EQ(download(*local, target, L"pkg/file.bin", static_cast<long>(content.size() + 1)), rcNoError);
  EXPECT_TRUE(readFile(target) == content) << "a partial longer than the source was resumed";

  // A stop or a failure leaves the destination as it was.
  writeFile(target, "previous");
  RecordingSink stop(0);
  EXPECT_EQ(download(*local, target, L"pkg/file.bin", 0, &stop), rcAborted);
  EXPECT_EQ(download(*local, target, L"pkg/none.bin"), rcNotFound);
  EXPECT_EQ(readFile(target), "previous");

  // An upload to a directory keeps the file's name there.
  fs::create_directories(root / "up");
  ASSERT_EQ(local->UploadFile(target.wstring(), L"up", nullptr), rcNoError);
  ASSERT_EQ(local->UploadFile(target.wstring(), L"/new/dir/", nullptr), rcNoError);
  EXPECT_EQ(readFile(root / "up/file.bin") + readFile(root / "new/dir/file.bin"), "previousprevious");
  EXPECT_EQ(partsLeft(dir.path()), "");
}

TEST(FileTransfer, SetOptionReachesTheNetworkObjectsOwnCopyButNotTheTestTransfers) {
  std::unique_ptr<TransferItf, Destroy> network(createFileTransfer(xoInetProtocolUnc));
  std::unique_ptr<TransferItf, GiveBack> recording(XoInetItfFactory::CreateInterface(xoInetProtocolUnc));
  ASSERT_FALSE(usingNetworkTransfers()) << "this binary tests the test transfer too";
  CProxyParams proxy;
  proxy.proxyServer = L"proxy.corp";
  proxy.httpPassword = L"proxy-secret";
  for (TransferItf* transfer : {network.get(), recording.get()}) {
    const xoInetError expected = transfer == network.get() ? rcNoError : rcNotSupported;
    EXPECT_EQ(transfer->SetOption(optPort, 4455), expected);
    EXPECT_EQ(transfer->SetOption(optProxy, &proxy), expected);
    EXPECT_EQ(transfer->SetOption(optUncServer, std::wstring(L"files:4455")), rcNoError);
    EXPECT_EQ(transfer->SetOption(optPassword, std::wstring(L"pa\u00df")), rcNoError);
    EXPECT_EQ(transfer->SetOption(optUseLogonUserAccount, true), rcNoError);
    EXPECT_EQ(transfer->SetOption(optSslPort, 8443L), rcNoError);
  }
  EXPECT_EQ(g_lastStrOption, L"pa\u00df");
  EXPECT_EQ(g_lastLongOption, 8443);
  const TransferOptions& kept = static_cast<NetworkTransfer*>(network.get())->options();
  EXPECT_EQ(kept.port, 4455);
  EXPECT_EQ(kept.sslPort, 8443);
  EXPECT_EQ(kept.uncServer, L"files:4455");
  EXPECT_TRUE(kept.useLogonUserAccount);
  EXPECT_EQ(corvane_com::zel::inetmgr::SecureString(kept.password).str(), L"pa\u00df");
  ASSERT_TRUE(kept.proxy.has_value());
  EXPECT_EQ(kept.proxy->params.proxyServer, L"proxy.corp");
  EXPECT_EQ(kept.proxy->params.httpPassword, L"") << "a proxy password is kept only encrypted";
  EXPECT_EQ(corvane_com::zel::inetmgr::SecureString(kept.proxy->httpPassword).str(), L"proxy-secret");
  EXPECT_EQ(network->SetOption(optHostName, 1), rcNotSupported) << "a text option given as a number";
}
