// The network connection through the public API: which site it chooses, what
// that site's transfer object is asked to do, and the callback it holds.
#include <string>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"
#include "support/log_capture.h"
#include "support/recording_callback.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

class ConnectionApi : public inetmgr_test::AgentSiteList {
 protected:
  void SetUp() override {
    AgentSiteList::SetUp();
    writeSites(R"(<HttpSite Type="repository" Name="web" Server="web.corp:80" Enabled="1" Order="1"/>)"
               R"(<HttpSite Type="repository" Name="off" Server="off.corp:80" Enabled="0" Order="2"/>)"
               R"(<FTPSite Type="master" Name="ftpmaster" Server="ftp.corp:21" Enabled="1" Order="3"/>)" +
               inetmgr_test::spipeSite("mgmt", "10.0.0.1:443", R"(Enabled="1" Order="4")"));
    connection_ = im::createConnectionObject(false);
    ASSERT_NE(connection_, nullptr);
  }
  void TearDown() override {
    if (connection_ != nullptr) connection_->destroy();
    AgentSiteList::TearDown();
  }

  im::IImNetConnection* connection_ = nullptr;
};

}  // namespace

TEST_F(ConnectionApi, AChoiceThatFindsNoSiteOrLacksAnArgumentHasItsOwnCodeAndIsLoggedTwice) {
  using Conn = im::IImNetConnection;
  const struct {
    const char* what;
    im::ResultCode expected;
    int logRecords;  // a failed choice is logged where it fails and again on return
    im::ResultCode (*call)(Conn&);
  } cases[] = {
      {"unknown name", im::rcEndOfList, 2,
       [](Conn& c) { return c.downloadFile(L"f", L"/s", L"/d", L"nosuch", nullptr, im::imFlagSiteByName); }},
      {"disabled site by name", im::rcEndOfList, 2,
       [](Conn& c) { return c.uploadFile(L"f", L"/r", L"/l", L"off", im::imFlagSiteByName); }},
      {"no fallback site", im::rcNotFound, 2,
       [](Conn& c) { return c.uploadFile(L"f", L"/r", L"/l", nullptr, im::imFlagFallbackSite); }},
      {"by name without a name", im::rcBadArgument, 1,
       [](Conn& c) { return c.downloadFile(L"f", L"/s", L"/d", nullptr, nullptr, im::imFlagSiteByName); }},
      {"no destination", im::rcBadArgument, 1,
       [](Conn& c) { return c.downloadFile(L"f", L"/s", nullptr, L"web", nullptr, im::imFlagSiteByName); }},
      {"no response file", im::rcBadArgument, 1,
       [](Conn& c) { return c.uploadFileAndGetResponse(L"/tmp/f", L"/r", nullptr); }},
      {"a local path without a file", im::rcPathError, 1,
       [](Conn& c) { return c.uploadFileAndGetResponse(L"/tmp/dir/", L"/r", L"/tmp/resp"); }},
  };
  for (const auto& c : cases) {
    inetmgr_test::LogCapture log(im::LogLevel::InternalError);
    EXPECT_EQ(c.call(*connection_), c.expected) << c.what;
    int records = 0;
    for (const inetmgr_test::LogRecord& record : log.records()) records += record.tag == L"imnetco";
    EXPECT_EQ(records, c.logRecords) << c.what;
  }
}

TEST_F(ConnectionApi, HoldsOneCallbackWithAReferenceUntilDisconnectedOrDestroyed) {
  inetmgr_test::RecordingCallback held, other;
  EXPECT_EQ(connection_->connect(nullptr), im::rcBadArgument);
  EXPECT_EQ(connection_->disconnect(&held), im::rcNotFound);
  ASSERT_EQ(connection_->connect(&held), im::rcSuccess);
  EXPECT_EQ(held.references, 2);
  EXPECT_EQ(connection_->connect(&other), im::rcUnexpected);
  EXPECT_EQ(connection_->disconnect(&other), im::rcUnexpected);
  EXPECT_TRUE(other.references == 1 && held.references == 2) << "a refused callback is not kept";
  EXPECT_EQ(connection_->disconnect(&held), im::rcSuccess);
  EXPECT_EQ(held.references, 1);

  ASSERT_EQ(connection_->connect(&other), im::rcSuccess);
  connection_->destroy();
  connection_ = nullptr;
  EXPECT_EQ(other.references, 1) << "destroy gives it back";
}

TEST_F(ConnectionApi, TheChosenSiteGetsTheArgumentsInItsOperationsOrder) {
  const xo::LastOperationData& record = xo::g_lastOpData;
  xo::test::ResetTransferScript();
  ASSERT_EQ(connection_->downloadFile(L"f.bin", L"/Software", L"/tmp/dl", L"web", nullptr,
                                      im::imFlagSiteByName | im::imFlagResume),
            im::rcSuccess);
  // The record keeps the local destination in its source fields.
  EXPECT_EQ(record.operation, 1);
  EXPECT_EQ(record.sourceDirectory + L" " + record.sourceFileName, L"/tmp/dl f.bin");
  EXPECT_EQ(record.targetDirectory + L" " + record.targetFileName, L"/Software f.bin");
  EXPECT_TRUE(xo::test::GetTransferCalls().at(1).flag) << "the resume flag reaches the transfer";

  ASSERT_EQ(connection_->uploadFile(L"r.xml", L"/Incoming", L"/var/out", nullptr, im::imFlagMasterSite),
            im::rcSuccess);
  EXPECT_EQ(record.operation, 2);
  EXPECT_EQ(record.sourceDirectory + L" " + record.sourceFileName + L" " + record.targetDirectory,
            L"/var/out r.xml /Incoming/r.xml")
      << "one name on both sides";

  ASSERT_EQ(connection_->uploadFileAndGetResponse(L"/var/out/pkg.xml", L"/spipe/pkg", L"/tmp/answer"),
            im::rcSuccess);
  EXPECT_EQ(record.sourceDirectory + L" " + record.sourceFileName + L" " + record.targetDirectory,
            L"/var/out pkg.xml /spipe/pkg/pkg.xml");
}

TEST_F(ConnectionApi, ByTypeOnlyTheFirstFlagCountsAndADisabledSpipeSiteGivesNoUploadWithResponse) {
  writeSites(R"(<FTPSite Type="master" Name="ftpmaster" Server="ftp.corp:21" Enabled="1"/>)"
             R"(<HttpSite Type="fallback" Name="fb" Server="fb.corp:80" Enabled="1"/>)" +
             inetmgr_test::spipeSite("mgmt", "10.0.0.1:443", R"(Enabled="0")"));
  im::IImNetConnection* noSpipe = im::createConnectionObject(false);
  EXPECT_EQ(noSpipe->uploadFile(L"f", L"/r", L"/l", nullptr, im::imFlagMasterSite | im::imFlagSpipeSite),
            im::rcSuccess);
  EXPECT_EQ(noSpipe->uploadFile(L"f", L"/r", L"/l", nullptr, im::imFlagSpipeSite | im::imFlagFallbackSite),
            im::rcNotFound);
  EXPECT_EQ(noSpipe->uploadFileAndGetResponse(L"/tmp/request.xml", L"/spipe/pkg", L"/tmp/response.xml"),
            im::rcNotFound);
  noSpipe->destroy();
}
