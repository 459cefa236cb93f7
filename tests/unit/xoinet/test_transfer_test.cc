// The recording test transfer, its factory and the option setters of the
// transfer interface, as the site code above them relies on them.
#include "xoinet/test_transfer.h"

#include <ctime>
#include <memory>
#include <string>
#include <utility>

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

// The last operation as "operation|source dir|source file|target dir|target file|response".
std::wstring record() {
  const LastOperationData& d = g_lastOpData;
  return std::to_wstring(d.operation) + L"|" + d.sourceDirectory + L"|" + d.sourceFileName + L"|" +
         d.targetDirectory + L"|" + d.targetFileName + L"|" + d.responsePath;
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

TEST(TestTransfer, RecordsEachOperationWhileLoggedOnWithItsPathsSplitAndReportsOneStep) {
  Transfer transfer = create(xoInetProtocolFtp);
  RecordingSink sink;
  long resumePoint = 17;
  bool resume = true;
  transfer->DeleteRemoteDirectory(L"/marker", true);
  EXPECT_EQ(rcNotLoggedOn,
            transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", &sink, &resumePoint, resume, false));
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFile(L"/a/b/c.txt", L"/up", &sink));
  EXPECT_EQ(record(), L"5|||/marker||") << "refused transfers leave the record alone";
  EXPECT_EQ(sink.calls, 0);

  transfer->Logon(false, 30);
  transfer->Logon(true, 30);
  EXPECT_EQ(rcNoError, transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", &sink, &resumePoint, resume, true));
  EXPECT_EQ(record(), L"1|/a/b|c.txt|/x|y.bin|") << "the first path fills the source fields";
  EXPECT_EQ(sink.report, L"0|0|15|someSiteName|someServerName|/x/y.bin|flag");
  EXPECT_TRUE(resumePoint == 17 && resume) << "resume arguments are neither read nor written";
  EXPECT_EQ(rcNoError,
            transfer->DownloadFile(L"/a/b/c.txt", L"/x/y.bin", nullptr, &resumePoint, resume, true));
  EXPECT_EQ(rcNoError, transfer->UploadFileResponse(L"/out/pkg.xml", L"/spipe/pkg?x=1", L"/in/r.xml", &sink));
  EXPECT_EQ(record(), L"3|/out|pkg.xml|/spipe/pkg?x=1||/in/r.xml");
  EXPECT_EQ(sink.report, L"0|0|15|someSiteName|someServerName|someFileName|flag");
  EXPECT_EQ(sink.calls, 2);
  EXPECT_EQ(rcNoError, transfer->DeleteRemoteFile(L"/repo/cur/Catalog.z"));
  EXPECT_EQ(record(), L"4|||/repo/cur|Catalog.z|");

  transfer->LogOut();  // one LogOut undoes any number of Logons
  EXPECT_EQ(rcNotLoggedOn, transfer->UploadFileResponse(L"/o/new.xml", L"/d", L"/r2.xml", nullptr));
  EXPECT_EQ(record(), L"3|||/repo/cur|Catalog.z|/r2.xml") << "the refused attempt is still recorded";
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

TEST(TransferItf, SetOptionKeepsTheLatestLongTextAndBooleanAndRefusesIntegersAndProxies) {
  Transfer transfer = create();
  const CProxyParams proxy;
  for (const xoInetError code : {transfer->SetOption(optPort, 21L), transfer->SetOption(optSslPort, 443L),
                                 transfer->SetOption(optHostName, std::wstring(L"repo.example")),
                                 transfer->SetOption(optUseSsl, true), transfer->PostLogOutOperations()}) {
    EXPECT_EQ(rcNoError, code);
  }
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optPort, 80));
  EXPECT_EQ(rcNotSupported, transfer->SetOption(optProxy, &proxy));
  EXPECT_EQ(443L, g_lastLongOption) << "the identifier is ignored, the latest value wins";
  EXPECT_TRUE(g_lastStrOption == L"repo.example" && g_lastBoolOption);
  EXPECT_EQ(rcNoError, transfer->SetOption(optUseLogonUserAccount, false));
  EXPECT_FALSE(g_lastBoolOption);
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
