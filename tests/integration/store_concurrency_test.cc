// The store under concurrent use: threads and processes take snapshots while
// the site list is rewritten, and a process killed inside a refresh does not
// block the others.
#include <poll.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/inetmgr.h"
#include "platform/files.h"
#include "store/persist_site.h"
#include "support/sitelist_versions.h"
#include "unit/store/store_fixture.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

// A store_worker process (it ends itself after 300 s); its stdout comes through a pipe.
class Worker {
 public:
  explicit Worker(const std::string& args) : out_(::popen(("'" STORE_WORKER "' " + args).c_str(), "r")) {}
  ~Worker() {
    if (out_ != nullptr) ::pclose(out_);
  }
  // The next line it prints within `ms` milliseconds (-1: until it ends), or "".
  std::string readLine(int ms = -1) {
    char line[256] = "";
    pollfd ready{out_ == nullptr ? -1 : ::fileno(out_), POLLIN, 0};
    return ::poll(&ready, 1, ms) == 1 && std::fgets(line, sizeof line, out_) != nullptr ? line : "";
  }

 private:
  FILE* out_;
};

// The store's fixture, with version 1 of the generated lists in place.
class StoreConcurrency : public inetmgr_test::StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    write(1);
  }
  void write(int version) { ASSERT_TRUE(pf::AFile::write(path_, inetmgr_test::siteListOfVersion(version))); }
};

}  // namespace

TEST_F(StoreConcurrency, ThreadsAndProcessesSeeOnlyCompleteListsOfOneVersionWhileItIsRewritten) {
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < 4; ++i) workers.push_back(std::make_unique<Worker>("lists 40"));
  std::atomic<bool> writing{true};
  std::vector<std::thread> readers;
  std::vector<std::wstring> problems(4);  // written by reader r only
  std::vector<int> snapshots(4, 0);
  for (std::size_t r = 0; r < problems.size(); ++r) {
    readers.emplace_back([&, r] {
      while (problems[r].empty() && (writing || snapshots[r] < 20)) {
        std::wstring version;
        problems[r] = inetmgr_test::checkSnapshot(*im::createSiteListSmartObject(false), version);
        ++snapshots[r];
      }
    });
  }
  for (int version = 2; version <= 120; ++version) {
    write(version);
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  }
  writing = false;
  for (auto& reader : readers) reader.join();
  for (std::size_t r = 0; r < problems.size(); ++r)
    EXPECT_TRUE(problems[r].empty() && snapshots[r] >= 20) << "reader " << r << ": " << snapshots[r] << " " << problems[r];
  for (auto& worker : workers) EXPECT_EQ(worker->readLine(), "ok\n");
}

TEST_F(StoreConcurrency, AProcessKilledInsideARefreshDoesNotBlockTheOthers) {
  Worker holder("hold-sorting");
  const std::string holding = holder.readLine();
  ASSERT_EQ(holding.substr(0, 8), "holding ");
  Worker first("lists 2"), second("lists 2");
  EXPECT_EQ(first.readLine(300) + second.readLine(0), "") << "the refresh lock was not held";
  ::kill(std::stoi(holding.substr(8)), SIGKILL);
  // A liveness bound, not a speed goal: the lock of a dead holder must not be
  // waited out.
  EXPECT_EQ(first.readLine(10000) + second.readLine(10000), "ok\nok\n");
}
