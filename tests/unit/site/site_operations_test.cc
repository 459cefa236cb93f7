// A site's downloads and uploads as its callbacks and the test transfer see
// them: the report and call sequence, which answers and transfer codes end an
// operation with which code, resume points from real files, and path errors.
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "icmp/icmp.h"
#include "inetmgr/site_list.h"
#include "site/xoinet_op.h"
#include "support/parsed_xml.h"
#include "support/recording_callback.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
namespace xt = corvane_com::zel::xoInet::test;

namespace {

// The test transfer's journal as "Logon Download LogOut PostLogOut".
std::string calls() {
  static const char* const names[] = {"",       "Logon",          "LogOut",     "PostLogOut", "Download",
                                      "Upload", "UploadResponse", "DeleteFile", "DeleteDir"};
  std::string text;
  for (const xt::TransferCall& call : xt::GetTransferCalls())
    text += (text.empty() ? "" : " ") + std::string(names[call.kind]);
  return text;
}

class SiteOperations : public ::testing::Test {
 protected:
  void SetUp() override {
    xt::ResetTransferScript();
    site_->connect(&recorder_);
  }
  void TearDown() override { xt::ResetTransferScript(); }

  im::ResultCode download(bool resume = false) {
    return site_->downloadFile(L"pkg.zip", L"Software\\Current", dest_.c_str(), resume, nullptr);
  }
  // A fresh run: forgets the journal and the reports, then queues `script`.
  void rerun(const std::vector<std::pair<xt::TransferCallKind, int>>& script, int stopAt = -1) {
    xt::ResetTransferScript();
    recorder_ = inetmgr_test::RecordingCallback();
    recorder_.stopAt = stopAt;
    for (const auto& [kind, code] : script) xt::ScriptResults(kind, {static_cast<xo::xoInetError>(code)});
  }

  inetmgr_test::TempDir dir_;
  const std::wstring dest_ = dir_.path().wstring();
  inetmgr_test::RecordingCallback recorder_;  // outlives the site, which releases it
  inetmgr_test::SitePtr site_ =
      inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="web" Server="web.corp" Enabled="1"/>)");
};

}  // namespace

TEST_F(SiteOperations, TransfersReportLogOnAndCloseInOrderAndHandTheirArgumentsOnAsDocumented) {
  EXPECT_EQ(site_->downloadFile(L"pkg.zip", L"Software\\Current", dest_.c_str(), false, L"x-extra"),
            im::rcSuccess);
  EXPECT_EQ(recorder_.texts, L"web|web.corp|Software/Current/pkg.zip") << "reports name the source";
  EXPECT_EQ(xo::g_lastStrOption, L"x-extra");

  rerun({});
  EXPECT_EQ(site_->uploadFile(L"remote.xml", L"/incoming", L"local.xml", dest_.c_str(), L"/r.xml"),
            im::rcSuccess);
  EXPECT_EQ(recorder_.statusText(), "0 5 15 7");
  EXPECT_EQ(calls(), "Logon Upload LogOut PostLogOut");
  const std::wstring query = L"/spipe/pkg?AgentGuid=G&Source=Agent_3.0.0";
  EXPECT_EQ(site_->uploadFile(L"", query.c_str(), L"local.xml", dest_.c_str(), L"/r.xml"), im::rcSuccess);
  EXPECT_EQ(xo::g_lastOpData.targetDirectory, query) << "an empty remote name leaves the target as given";
}

TEST_F(SiteOperations, AnswersAndTransferCodesEndTheOperationAndNoLaterStepMasksAFailure) {
  using K = xt::TransferCallKind;
  const K logon = xt::callLogon, fetch = xt::callDownloadFile, out = xt::callLogOut,
          post = xt::callPostLogOutOperations;
  const char *const all = "Logon Download LogOut PostLogOut", *const closed = "Logon LogOut PostLogOut";
  const struct {
    std::vector<std::pair<K, int>> script;
    int stopAt;
    im::ResultCode result;
    int lastCode;
    const char* reports;
    const char* calls;
  } cases[] = {
      {{}, 0, im::rcXoInetStatus, 7, "0", ""},
      {{}, 2, im::rcXoInetStatus, 7, "0 2", closed},
      {{}, 15, im::rcSuccess, 0, "0 2 15 4", all},  // the test transfer ignores its sink's stop
      {{}, 4, im::rcXoInetStatus, 7, "0 2 15 4", all},
      {{{fetch, -1}}, 4, im::rcXoInetError, -1, "0 2 15 4", all},
      {{{fetch, 7}}, -1, im::rcXoInetStatus, 7, "0 2 15 4", all},
      {{{fetch, 12}}, -1, im::rcXoInetStatus, 12, "0 2 15 4", all},
      {{{fetch, -5}}, -1, im::rcNotFound, -5, "0 2 15 4", all},
      {{{logon, -3}}, -1, im::rcXoInetError, -3, "0 1", closed},
      {{{logon, 12}}, -1, im::rcXoInetStatus, 12, "0 1", closed},
      {{{logon, 3}}, -1, im::rcSuccess, 0, "0 1 2 15 4", all},
      {{{out, -18}}, -1, im::rcSuccess, 0, "0 2 15 4", all},
      {{{out, -3}}, -1, im::rcXoInetError, -3, "0 2 15 4", all},
      {{{post, -4}}, -1, im::rcXoInetError, -4, "0 2 15 4", all},
      {{{fetch, -1}, {out, -3}, {post, -4}}, -1, im::rcXoInetError, -1, "0 2 15 4", all},
      {{{logon, -3}, {out, -4}}, -1, im::rcXoInetError, -3, "0 1", closed},
  };
  for (const auto& c : cases) {
    rerun(c.script, c.stopAt);
    const std::string row = "row " + std::to_string(&c - cases);
    EXPECT_EQ(download(), c.result) << row;
    EXPECT_EQ(site_->getLastErrorXoInet(), c.lastCode) << row;
    EXPECT_EQ(recorder_.statusText(), c.reports) << row;
    EXPECT_EQ(calls(), c.calls) << row;
  }
}

TEST_F(SiteOperations, AResumedDownloadRefetchesTheLastKilobyteAndOnNotFoundRetriesWholeExactlyOnce) {
  for (const auto& [size, point] : {std::pair<int, long>{0, 0}, {4096, 0}, {4097, 3073}, {10000, 8976}}) {
    std::ofstream(dir_.file("f")) << std::string(size, 'x');
    EXPECT_EQ(im::siteimpl::getResumePoint(true, dir_.file("f")), point) << size;
  }
  EXPECT_EQ(im::siteimpl::getResumePoint(false, dir_.file("f")), 0);
  EXPECT_EQ(im::siteimpl::getResumePoint(true, dir_.file("missing")), 0);
  EXPECT_EQ(im::siteimpl::getResumePoint(true, dir_.path()), 0) << "a directory";
  std::ofstream(dir_.file("pkg.zip")) << std::string(10000, 'x');
  xt::ScriptResults(xt::callDownloadFile, {static_cast<xo::xoInetError>(-5)});
  EXPECT_EQ(download(true), im::rcSuccess);
  const std::vector<xt::TransferCall> journal = xt::GetTransferCalls();
  ASSERT_EQ(calls(), "Logon Download Download LogOut PostLogOut");
  EXPECT_TRUE(journal[1].number == 8976 && journal[1].flag);
  EXPECT_TRUE(journal[2].number == 0 && !journal[2].flag) << "the retry fetches the whole file";
  rerun({{xt::callDownloadFile, -5}, {xt::callDownloadFile, -5}});
  EXPECT_EQ(download(true), im::rcNotFound);
  EXPECT_EQ(calls(), "Logon Download Download LogOut PostLogOut");
}

// -9, -60 and -61 after the last byte deliver a plain upload but not one whose
// caller waits for the server's response.
TEST_F(SiteOperations, AnUploadCountsTheClosingExchangeCodesAsDeliveredOnlyWithoutAResponseTarget) {
  const struct {
    int code;
    const wchar_t* response;
    im::ResultCode result;
  } cases[] = {{-9, nullptr, im::rcSuccess},        {-60, L"", im::rcSuccess},
               {-61, nullptr, im::rcSuccess},       {-9, L"/r.xml", im::rcXoInetError},
               {-60, L"/r.xml", im::rcXoInetError}, {-61, L"/r.xml", im::rcXoInetError},
               {-1, nullptr, im::rcXoInetError},    {12, L"/r.xml", im::rcXoInetStatus}};
  for (const auto& c : cases) {
    rerun({{xt::callUploadFile, c.code}});
    EXPECT_EQ(site_->uploadFile(L"f.xml", L"/in", L"f.xml", dest_.c_str(), c.response), c.result) << c.code;
    EXPECT_EQ(site_->getLastErrorXoInet(), c.code) << "the code is kept either way";
  }
}

TEST_F(SiteOperations, ANameThePathRulesRefuseEndsWithAPathErrorWhereverItIsFound) {
  EXPECT_EQ(site_->downloadFile(L"bad name.zip", L"/s", dest_.c_str(), false, nullptr), im::rcPathError);
  EXPECT_EQ(site_->uploadFile(L"a|b", L"/in", L"f", dest_.c_str(), nullptr), im::rcPathError);
  EXPECT_EQ(calls(), "") << "refused before logging on";

  // Local names may hold a blank; the test transfer's portable target may not.
  auto local = inetmgr_test::siteFrom(R"(<LocalSite Type="repository" Name="l" Enabled="1"/>)");
  EXPECT_EQ(local->downloadFile(L"a b", L"/s", dest_.c_str(), false, nullptr), im::rcPathError);
  EXPECT_EQ(calls(), "Logon LogOut PostLogOut") << "the session is still closed";
}

TEST_F(SiteOperations, AShutdownStopsTheRunningOperationAtItsNextReportAndEveryLaterOneAtItsFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a child process: the shutdown cannot be undone.
  EXPECT_EXIT(
      {
        recorder_.actAt = xo::statusDownloadBegin;
        recorder_.action = [] { triggerShutdownInetMgr(); };
        const bool running = download() == im::rcXoInetStatus && recorder_.statusText() == "0 2" &&
                             calls() == "Logon Download LogOut PostLogOut";
        xt::ResetTransferScript();
        const bool later = download() == im::rcXoInetStatus && site_->getLastErrorXoInet() == 7 &&
                           recorder_.statusText() == "0 2" && calls().empty();
        std::exit(running && later ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// The distance probes measure the site's numeric address, else its server,
// else its computer name (a port after the host is not part of it), over the
// loopback interface here; the prober's own tests build real networks.
TEST(SiteDistance, ProbesMeasureTheFirstHostTheSiteNamesAndAnswer65535WithoutOne) {
  if (im::ICMP().ping("127.0.0.1", true, 2) < 0)
    GTEST_SKIP() << "this process may not send ICMP echo requests";
  const char* reachable[] = {
      R"(<HttpSite Type="repository" Name="a" ServerIP="127.0.0.1:443" Server="no-such-host.invalid"/>)",
      R"(<HttpSite Type="repository" Name="b" Server="127.0.0.1:80"/>)",
      R"(<SpipeSite Type="master" Name="c" ServerName="[::1]:443"/>)"};
  for (const char* xml : reachable) {
    auto site = inetmgr_test::siteFrom(xml);
    EXPECT_LT(site->ping(2), 65535) << xml;
    EXPECT_EQ(site->calculateSubnetDistance(30), 1) << xml;
  }
  auto nowhere = inetmgr_test::siteFrom(R"(<HttpSite Type="repository" Name="d"/>)");
  EXPECT_EQ(nowhere->ping(2), 65535);
  EXPECT_EQ(nowhere->calculateSubnetDistance(30), 65535);
}
