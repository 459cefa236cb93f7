// The agent helpers through the public API: the local address found over real
// TCP connections (listeners on 127.0.0.1 and ::1, a refused port, and an
// address that never answers inside a network namespace of the test's own),
// and requests held in memory.
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "api/api_fixture.h"
#include "support/log_capture.h"
#include "support/recording_callback.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using inetmgr_test::Endpoint;
using inetmgr_test::spipeSite;

namespace {

class AgentHelpers : public inetmgr_test::AgentSiteList {};

std::string ordered(int order, bool enabled = true) {
  return "Order=\"" + std::to_string(order) + "\" Enabled=\"" + (enabled ? "1" : "0") + "\"";
}

int uploadCalls() {
  int calls = 0;
  for (const xo::test::TransferCall& call : xo::test::GetTransferCalls())
    calls += call.kind == xo::test::callUploadFile;
  return calls;
}

}  // namespace

TEST_F(AgentHelpers, TheLocalAddressIsThatOfTheFirstSpipeSiteThatAcceptsAConnection) {
  Endpoint refused("127.0.0.1", false), v6("::1"), v4("127.0.0.1");
  writeSites(R"(<HttpSite Type="repository" Name="web" ServerIP=")" + v4.text() + R"(" Enabled="1"/>)" +
             spipeSite("a", refused.text(), ordered(1)) + spipeSite("b", v6.text(), ordered(2)) +
             spipeSite("c", v4.text(), ordered(3)));
  std::wstring address = L"stale";
  EXPECT_TRUE(im::getLocalIPAddress(address) == im::rcSuccess && address == L"::1" && v6.wasConnected());
  EXPECT_FALSE(v4.wasConnected()) << "the walk ends at the first site that accepts";

  // A disabled site is probed all the same.
  writeSites(spipeSite("c", v4.text(), ordered(1, false)) + spipeSite("b", v6.text(), ordered(2)));
  EXPECT_TRUE(im::getLocalIPAddress(address) == im::rcSuccess && address == L"127.0.0.1");

  writeSites(spipeSite("a", refused.text()));
  EXPECT_TRUE(im::getLocalIPAddress(address) == im::rcSiteListError && address.empty());
}

TEST_F(AgentHelpers, TheAddressProbeReportsLikeAnOperationAndStopsWhenACallbackSaysSo) {
  Endpoint v4("127.0.0.1");
  writeSites(spipeSite("a", v4.text()));
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  im::IImSite* site = nullptr;
  ASSERT_EQ(list->getNextSite(site), im::rcSuccess);
  inetmgr_test::RecordingCallback watcher;
  site->connect(&watcher);
  EXPECT_EQ(site->getLocalIPAddressFromSocket(), im::rcSuccess);
  EXPECT_TRUE(watcher.statusText() == "0 16 17" && v4.wasConnected()) << watcher.statusText();
  watcher.stopAt = 16;
  EXPECT_TRUE(site->getLocalIPAddressFromSocket() == im::rcXoInetStatus && site->getLastErrorXoInet() == 7);
  EXPECT_FALSE(v4.wasConnected()) << "stopped before it connected";
  site->disconnect(&watcher);
  site->release();
}

TEST_F(AgentHelpers, UploadsFailOverToTheNextSpipeSiteUntilOneAnswersAndTheNextCallStartsThere) {
  // Both sites accept connections, so getLocalIPAddress puts the running index
  // back on the first one.
  Endpoint server("127.0.0.1");
  writeSites(spipeSite("one", server.text(), ordered(1)) +
             spipeSite("two", server.text(), ordered(2, false)));
  const struct {
    const char* what;
    bool fromFirst;
    std::vector<xo::xoInetError> script;
    im::ResultCode result;
    long code;
    int uploads;
  } cases[] = {
      {"failover", true, {xo::xoInetError(-2)}, im::rcSuccess, 0, 2},
      {"starts at the second", false, {xo::xoInetError(-2)}, im::rcSiteListError, -9, 1},
      {"every site fails", true, {xo::xoInetError(-2), xo::xoInetError(-3)}, im::rcSiteListError, -9, 2},
      {"code 12 tries the next", true, {xo::xoInetError(12)}, im::rcSuccess, 0, 2},
      {"new GUID", true, {xo::xoInetError(-95)}, im::rcXoInetError, -95, 1},
      {"new keys", true, {xo::xoInetError(-96)}, im::rcXoInetError, -96, 1},
  };
  for (const auto& c : cases) {
    std::wstring address;
    if (c.fromFirst) {
      ASSERT_EQ(im::getLocalIPAddress(address), im::rcSuccess);
    }
    xo::test::ResetTransferScript();
    xo::test::ScriptResults(xo::test::callUploadFile, c.script);
    inetmgr_test::LogCapture log;
    long code = 1;
    EXPECT_EQ(im::uploadFileAndGetResponse(L"/var/out/pkg.xml", L"G-1", L"/tmp/answer", &code), c.result)
        << c.what;
    EXPECT_TRUE(code == c.code && uploadCalls() == c.uploads) << c.what;
    EXPECT_EQ(log.count(L"Orno returns error code 506. Regenerating GUID"), c.code == -95) << c.what;
    EXPECT_EQ(log.count(L"Need to update keys"), c.code == -96) << c.what;
  }
  const xo::LastOperationData& record = xo::g_lastOpData;
  EXPECT_EQ(record.sourceDirectory + L" " + record.sourceFileName + L" " + record.targetDirectory,
            L"/var/out pkg.xml /spipe/pkg?AgentGuid=G-1&Source=Agent_3.0.0");
}

TEST_F(AgentHelpers, WithoutTheStoreTheServerIsTheFirstSpipeSiteOfTheFileTriedByAddressThenByName) {
  Endpoint v4("127.0.0.1"), v6("::1");
  writeSites(R"(<HttpSite Type="repository" Name="web" Enabled="1"/>)" + spipeSite("first", v6.text()) +
             spipeSite("second", v4.text()));
  std::wstring address;
  EXPECT_TRUE(im::getLocalIPAddressWithoutInit(address) == im::rcSuccess && address == L"::1" &&
              v6.wasConnected());

  // The address refuses; the server name (on the same port) is tried next.
  Endpoint refusedV6("::1", false, v4.port());
  writeSites(spipeSite("first", refusedV6.text(), R"(Enabled="1" Server="127.0.0.1")"));
  EXPECT_TRUE(im::getLocalIPAddressWithoutInit(address) == im::rcSuccess && address == L"127.0.0.1" &&
              v4.wasConnected());

  address = L"kept";
  writeSites(R"(<HttpSite Type="repository" Name="web" Enabled="1"/>)");
  EXPECT_EQ(im::getLocalIPAddressWithoutInit(address), im::rcUnexpected);
  std::filesystem::remove(path_);
  EXPECT_TRUE(im::getLocalIPAddressWithoutInit(address) == im::rcUnexpected && address == L"kept");
}

// In a network namespace of its own, a veth link holds the local addresses
// 198.18.0.1 and 2001:db8::1 and a neighbour entry for .2 / ::2 whose hardware
// address belongs to nobody: a connection to it is never answered.
TEST_F(AgentHelpers, AServerThatNeverAnswersCostsABoundedWaitAndTheInterfacesAnswerInstead) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::alarm(60);
    if (::unshare(CLONE_NEWNET) != 0) ::_exit(77);
    if (std::system(
            "ip link set lo up && ip link add inetmgr0 type veth peer name inetmgr1 &&"
            " ip addr add 198.18.0.1/24 dev inetmgr0 && ip -6 addr add 2001:db8::1/64 dev inetmgr0 nodad &&"
            " ip link set inetmgr0 up && ip link set inetmgr1 up &&"
            " ip neigh add 198.18.0.2 lladdr 02:00:00:00:00:02 nud permanent dev inetmgr0 &&"
            " ip -6 neigh add 2001:db8::2 lladdr 02:00:00:00:00:02 nud permanent dev inetmgr0") != 0) {
      ::_exit(78);
    }
    int failed = 0;
    for (const bool v6 : {false, true}) {
      const std::string silent = v6 ? "2001:db8::2" : "198.18.0.2";
      writeSites(spipeSite("never", (v6 ? "[" + silent + "]" : silent) + ":443"));
      inetmgr_test::LogCapture log;
      std::wstring address, probed;
      const auto start = std::chrono::steady_clock::now();
      const bool found = im::getLocalIPAddressWithoutInit(address) == im::rcSuccess;
      failed |= !found || address != (v6 ? L"2001:db8::1" : L"198.18.0.1") ? 1 : 0;
      failed |= im::getLocalIPAddress(probed) != im::rcSiteListError || !probed.empty() ? 2 : 0;
      const std::wstring timedOut(L"Failed to connect to " + std::wstring(silent.begin(), silent.end()) +
                                  L" on port 443: Connection timed out");
      failed |= log.count(timedOut) != 2 ? 4 : 0;
      // Two connections of at most a few seconds each.
      failed |= std::chrono::steady_clock::now() - start > std::chrono::seconds(8) ? 8 : 0;
    }
    ::_exit(failed);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "the probe did not end (signal " << WTERMSIG(status) << ")";
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "creating a network namespace needs root (CAP_SYS_ADMIN)";
  if (WEXITSTATUS(status) == 78) GTEST_SKIP() << "no veth link could be set up with ip(8) in the namespace";
  EXPECT_EQ(WEXITSTATUS(status), 0)
      << "1: not the interface's address, 2: the site probe found one, "
         "4: the connection did not time out, 8: the waits took longer than 8 s";
}

TEST_F(AgentHelpers, InMemoryRequestsLeaveNoTemporaryFileBehind) {
  inetmgr_test::ScopedEnvDir temporary("TMPDIR");
  writeSites(R"(<HttpSite Type="repository" Name="web" Enabled="1"/>)");
  const im::ABuffer request("<request/>", 10);
  im::ABuffer response("kept", 4);
  EXPECT_EQ(im::uploadAndGetResponse(request, L"{guid}", response), im::rcSiteListError);
  EXPECT_EQ(im::uploadAndGetResponse(request, nullptr, response), im::rcBadArgument);
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
  writeSites(spipeSite("mgmt", "10.0.0.1:443"));
  xo::test::ResetTransferScript();
  xo::test::ScriptResults(xo::test::callUploadFile, {xo::xoInetError(-95)});
  EXPECT_EQ(im::uploadAndGetResponse(request, L"{guid}", response), im::rcXoInetError);
  EXPECT_EQ(xo::g_lastOpData.sourceDirectory, temporary.path().wstring())
      << "the request went through $TMPDIR";
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
  EXPECT_EQ(im::uploadAndGetResponse(request, L"{guid}", response), im::rcSuccess);
  EXPECT_TRUE(response.empty()) << "the test transfer writes no answer";
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
  ::setenv("TMPDIR", (temporary.path() / "missing").c_str(), 1);
  response = im::ABuffer("kept", 4);
  EXPECT_EQ(im::uploadAndGetResponse(request, L"{guid}", response), im::rcUnexpected);
  EXPECT_EQ(response, im::ABuffer("kept", 4));
}
