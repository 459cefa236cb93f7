// The recording test transfer, its factory and the option setters of the
// transfer interface, as the site code above them relies on them.
#include "xoinet/test_transfer.h"

#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "inetmgr/xoinet.h"

namespace {

using namespace corvane_com::zel::xoInet;  // NOLINT(google-build-using-namespace)

struct Destroy {
  void operator()(TransferItf* itf) const { XoInetItfFactory::DestroyInterface(itf); }
};
using Transfer = std::unique_ptr<TransferItf, Destroy>;

// The last operation as "operation|source dir|source file|target dir|target file|response".
std::wstring record() {
  const LastOperationData& d = g_lastOpData;
  return std::to_wstring(d.operation) + L"|" + d.sourceDirectory + L"|" + d.sourceFileName + L"|" +
         d.targetDirectory + L"|" + d.targetFileName + L"|" + d.responsePath;
}

// Keeps every progress report as one line; asks to stop, which the test transfer must ignore.
class RecordingSink : public CNetSessionSink {
 public:
  bool OnProgress(const unsigned int& done, const long& total, const INETSTATUS& status, const wchar_t* site,
                  const wchar_t* server, const wchar_t* file, bool* flag) override {
    reports += std::to_wstring(done) + L"|" + std::to_wstring(total) + L"|" + std::to_wstring(status) + L"|" +
               site + L"|" + server + L"|" + file + L"|" +
               (flag != nullptr && *flag ? L"flag\n" : L"noflag\n");
    return false;
  }
  std::wstring reports;
};

TEST(TestTransfer, RecordsEachOperationWhileLoggedOnWithItsPathsSplitAndReportsOneStep) {
  Transfer transfer(XoInetItfFactory::CreateInterface(xoInetProtocolFtp));
  RecordingSink sink;
  long resumePoint = 17;
  bool resume = true;
  transfer->DeleteRemoteDirectory(L"/marker", true);
  EXPECT_EQ(rcNotLoggedOn,
            transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", &sink, &resumePoint, resume, false));
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFile(L"/a/b/c.txt", L"/up", &sink));
  EXPECT_EQ(record() + sink.reports, L"5|||/marker||") << "refused transfers leave the record alone";

  transfer->Logon(false, 30);
  transfer->Logon(true, 30);
  EXPECT_EQ(rcNoError, transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", &sink, &resumePoint, resume, true));
  EXPECT_EQ(record(), L"1|/a/b|c.txt|/x|y.bin|") << "the first path fills the source fields";
  EXPECT_TRUE(resumePoint == 17 && resume) << "resume arguments are neither read nor written";
  EXPECT_EQ(rcNoError,
            transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", nullptr, &resumePoint, resume, true));
  EXPECT_EQ(rcNoError, transfer->UploadFileResponse(L"/out/pkg.xml", L"/spipe/pkg?x=1", L"/in/r.xml", &sink));
  EXPECT_EQ(record(), L"3|/out|pkg.xml|/spipe/pkg?x=1||/in/r.xml");
  EXPECT_EQ(sink.reports,
            L"0|0|15|someSiteName|someServerName|/x/"
            L"y.bin|flag\n0|0|15|someSiteName|someServerName|someFileName|flag\n");
  EXPECT_EQ(rcNoError, transfer->DeleteRemoteFile(L"/repo/cur/"));
  EXPECT_EQ(record(), L"4|||/repo/cur|.|");
  EXPECT_THROW(transfer->DownloadFile(L"/a b/c", L"/x/bad name", &sink, &resumePoint, resume, true),
               std::filesystem::filesystem_error);
  EXPECT_EQ(record(), L"4|||/repo/cur|.|") << "a target that is not portable records nothing";

  transfer->LogOut();  // one LogOut undoes any number of Logons
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFileResponse(L"/o/new.xml", L"/d", L"/r2.xml", nullptr));
  EXPECT_EQ(record(), L"3|||/repo/cur|.|/r2.xml") << "the refused attempt is still recorded";
}

TEST(TestTransferScript, ScriptedAnswersComeInOrderThenTheUsualOnesAndEveryCallIsJournaled) {
  test::ResetTransferScript();
  Transfer transfer(XoInetItfFactory::CreateInterface(xoInetProtocolFtp));
  test::ScriptResults(test::callLogon, {static_cast<xoInetError>(-3)});
  test::ScriptResults(test::callUploadFile, {static_cast<xoInetError>(-60)});
  EXPECT_EQ(-3, transfer->Logon(false, 30));
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFile(L"/a/b", L"/up", nullptr))
      << "a failed logon leaves it logged off";
  EXPECT_EQ(rcNoError, transfer->Logon(true, 5));
  EXPECT_EQ(-60, transfer->UploadFile(L"/a/b", L"/up", nullptr)) << "the refused call used up no answer";
  EXPECT_EQ(record(), L"2|/a|b|/up||") << "a scripted call still records";
  EXPECT_EQ(rcNoError, transfer->UploadFile(L"/a/c", L"/up", nullptr));
  std::wstring journal;
  for (const test::TransferCall& call : test::GetTransferCalls()) {
    journal += std::to_wstring(call.kind) + L":" + std::to_wstring(call.result) + L":" + call.first + L":" +
               std::to_wstring(call.number) + (call.flag ? L"+ " : L" ");
  }
  EXPECT_EQ(journal, L"1:-3::30 5:18:/a/b:0 1:0::5+ 5:-60:/a/b:0 5:0:/a/c:0 ");
  test::ResetTransferScript();
  EXPECT_TRUE(test::GetTransferCalls().empty());
}

TEST(XoInetItfFactoryDeathTest, DestroyingMoreThanWereCreatedStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        for (int live = getTransferInstanceCount(); live >= 0; --live) {
          XoInetItfFactory::DestroyInterface(new TestTransferImpl(xoInetProtocolHttp));
        }
      },
      "g_xoInetTransferCount >= 0");
}

// That each accepted SetOption keeps the latest value of its kind is what the
// transfer builder's tests read back.
TEST(TransferItf, SetOptionRefusesPlainIntegersAndProxies) {
  Transfer transfer(XoInetItfFactory::CreateInterface(xoInetProtocolHttp));
  const CProxyParams proxy;
  EXPECT_EQ(rcNoError, transfer->SetOption(optPort, 21L));
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optPort, 80));
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optProxy, &proxy));
  EXPECT_EQ(21L, g_lastLongOption);
}

TEST(TestSupport, Clp2WrapsAtBothEndsAndRandomPairsAreTheHalvesOfTheNumberDrawn) {
  const std::pair<unsigned, unsigned> powers[] = {
      {5, 8}, {8, 8}, {1, 1}, {0, 0}, {2147483648u, 2147483648u}, {2147483649u, 0}};
  for (const auto& [in, out] : powers) EXPECT_EQ(out, clp2(in)) << in;
  for (int i = 0; i < 100; ++i) {
    unsigned short a = 1, b = 1;
    const long r = getRandomNumberPair(a, b);
    ASSERT_EQ(r, static_cast<long>(a) | (static_cast<long>(b) << 16));
  }
  EXPECT_NEAR(static_cast<double>(std::time(nullptr)), static_cast<double>(CalculateSystemTime()), 2.0);
}

}  // namespace
