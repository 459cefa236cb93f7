// The recording test transfer, its factory and the option setters of the
// transfer interface, as the site code above them relies on them.
#include "xoinet/test_transfer.h"

#include <ctime>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "inetmgr/xoinet.h"

namespace {

using namespace corvane_com::zel::xoInet;

struct Destroy {
  void operator()(TransferItf* itf) const { XoInetItfFactory::DestroyInterface(itf); }
};
using Transfer = std::unique_ptr<TransferItf, Destroy>;

Transfer create(xoInetProtocol protocol = xoInetProtocolHttp) {
  return Transfer(XoInetItfFactory::CreateInterface(protocol));
}

class RecordingSink : public CNetSessionSink {
 public:
  bool OnProgress(const unsigned int& done, const long& total, const INETSTATUS& status, const wchar_t* site,
                  const wchar_t* server, const wchar_t* file, bool* flag) override {
    ++calls;
    report = std::to_wstring(done) + L"|" + std::to_wstring(total) + L"|" + std::to_wstring(status) + L"|" +
             site + L"|" + server + L"|" + file + L"|" + (flag != nullptr && *flag ? L"flag" : L"noflag");
    return false;  // asks to stop; the test transfer must not care
  }
  int calls = 0;
  std::wstring report;
};

TEST(TestTransfer, TransfersBeforeLogonAreRefusedAndLeaveTheRecordAlone) {
  Transfer transfer = create();
  transfer->DeleteRemoteDirectory(L"/marker", true);
  RecordingSink sink;
  long resumePoint = 0;
  bool resume = false;
  EXPECT_EQ(rcNotLoggedOn, transfer->DownloadFile(L"/a/b/c.txt", L"/tmp/x/y.bin", &sink, &resumePoint, resume, false));
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFile(L"/a/b/c.txt", L"/up", &sink));
  EXPECT_EQ(5, g_lastOpData.operation);
  EXPECT_EQ(L"/marker", g_lastOpData.targetDirectory);
  EXPECT_EQ(0, sink.calls);

  transfer->Logon(false, 30);
  transfer->Logon(true, 30);
  transfer->LogOut();
  EXPECT_EQ(rcNotLoggedOn, transfer->DownloadFile(L"/a/b/c.txt", L"/tmp/x/y.bin", nullptr, &resumePoint, resume, false))
      << "a second Logon must not need a second LogOut";
}

TEST(TestTransfer, DownloadRecordsItsFirstPathAsSourceAndReportsOneStepNamingTheSecond) {
  Transfer transfer = create(xoInetProtocolFtp);
  ASSERT_EQ(rcNoError, transfer->Logon(false, 0));
  RecordingSink sink;
  long resumePoint = 17;
  bool resume = true;
  EXPECT_EQ(rcNoError, transfer->DownloadFile(L"/a/b/c.txt", L"/tmp/x/y.bin", &sink, &resumePoint, resume, true));
  EXPECT_EQ(1, g_lastOpData.operation);
  EXPECT_EQ(L"/a/b", g_lastOpData.sourceDirectory);
  EXPECT_EQ(L"c.txt", g_lastOpData.sourceFileName);
  EXPECT_EQ(L"/tmp/x", g_lastOpData.targetDirectory);
  EXPECT_EQ(L"y.bin", g_lastOpData.targetFileName);
  EXPECT_EQ(1, sink.calls);
  EXPECT_EQ(L"0|0|15|someSiteName|someServerName|/tmp/x/y.bin|flag", sink.report);
  EXPECT_TRUE(resumePoint == 17 && resume) << "resume arguments are neither read nor written";

  EXPECT_EQ(rcNoError, transfer->DownloadFile(L"/a/b/c.txt", L"/tmp/x/y.bin", nullptr, &resumePoint, resume, true));
}

TEST(TestTransfer, UploadsRecordTheSourceSplitTheWholeDestinationAndTheResponse) {
  Transfer transfer = create();
  transfer->Logon(false, 0);
  RecordingSink sink;
  EXPECT_EQ(rcNoError, transfer->UploadFileResponse(L"/var/out/pkg.xml", L"/spipe/pkg?x=1", L"/var/in/r.xml", &sink));
  EXPECT_EQ(3, g_lastOpData.operation);
  EXPECT_EQ(L"/var/out", g_lastOpData.sourceDirectory);
  EXPECT_EQ(L"pkg.xml", g_lastOpData.sourceFileName);
  EXPECT_EQ(L"/spipe/pkg?x=1", g_lastOpData.targetDirectory);
  EXPECT_EQ(L"/var/in/r.xml", g_lastOpData.responsePath);
  EXPECT_EQ(L"0|0|15|someSiteName|someServerName|someFileName|flag", sink.report);

  transfer->LogOut();
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFileResponse(L"/o/new.xml", L"/d", L"/r2.xml", nullptr));
  EXPECT_EQ(3, g_lastOpData.operation);
  EXPECT_EQ(L"/r2.xml", g_lastOpData.responsePath) << "the refused attempt is still recorded";
  EXPECT_EQ(L"pkg.xml", g_lastOpData.sourceFileName);

  EXPECT_EQ(rcNoError, transfer->DeleteRemoteFile(L"/repo/cur/Catalog.z"));
  EXPECT_TRUE(g_lastOpData.operation == 4 && g_lastOpData.targetDirectory == L"/repo/cur" &&
              g_lastOpData.targetFileName == L"Catalog.z" && g_lastOpData.responsePath.empty());
}

TEST(XoInetItfFactory, CreateAndDestroyBalanceTheInstanceCountExactly) {
  const int before = getTransferInstanceCount();
  {
    Transfer unc = create(xoInetProtocolUnc);
    Transfer invalid = create(xoInetProtocolInvalid);
    EXPECT_EQ(before + 2, getTransferInstanceCount());
    EXPECT_EQ(xoInetProtocolUnc, unc->GetProtocol());
    EXPECT_EQ(xoInetProtocolInvalid, invalid->GetProtocol());
  }
  EXPECT_EQ(before, getTransferInstanceCount());
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
  EXPECT_DEATH(XoInetItfFactory::DestroyInterface(nullptr), "0!=pItf");
}

TEST(TransferItf, SetOptionKeepsTheLatestLongTextAndBooleanAndRefusesIntegersAndProxies) {
  Transfer transfer = create();
  EXPECT_EQ(rcNoError, transfer->SetOption(optPort, 21L));
  EXPECT_EQ(rcNoError, transfer->SetOption(optSslPort, 443L));
  EXPECT_EQ(rcNoError, transfer->SetOption(optHostName, std::wstring(L"repo.example")));
  EXPECT_EQ(rcNoError, transfer->SetOption(optUseSsl, true));
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optPort, 80));
  const CProxyParams proxy;
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optProxy, &proxy));
  EXPECT_EQ(443L, g_lastLongOption) << "the identifier is ignored, the latest value wins";
  EXPECT_EQ(L"repo.example", g_lastStrOption);
  EXPECT_TRUE(g_lastBoolOption);
  EXPECT_EQ(rcNoError, transfer->SetOption(optUseLogonUserAccount, false));
  EXPECT_FALSE(g_lastBoolOption);
  EXPECT_EQ(rcNoError, transfer->PostLogOutOperations());
}

TEST(TestSupport, Clp2RoundsUpToAPowerOfTwoAndWrapsAtBothEnds) {
  EXPECT_EQ(8u, clp2(5));
  EXPECT_EQ(8u, clp2(8));
  EXPECT_EQ(1u, clp2(1));
  EXPECT_EQ(0u, clp2(0));
  EXPECT_EQ(2147483648u, clp2(2147483648u));
  EXPECT_EQ(0u, clp2(2147483649u));
}

TEST(TestSupport, RandomPairsAreTheHalvesOfTheNumberDrawn) {
  for (int i = 0; i < 100; ++i) {
    unsigned short a = 1, b = 1;
    const long r = getRandomNumberPair(a, b);
    ASSERT_EQ(r, static_cast<long>(a) | (static_cast<long>(b) << 16));
  }
  EXPECT_NEAR(static_cast<double>(std::time(nullptr)), static_cast<double>(CalculateSystemTime()), 2.0);
}

}  // namespace
