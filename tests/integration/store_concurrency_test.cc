// The store under concurrent use: threads and processes take snapshots while
// the site list is rewritten, and a process killed inside a refresh does not
// block the others.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "inetmgr/inetmgr.h"
#include "platform/files.h"
#include "store/persist_site.h"
#include "support/sitelist_versions.h"
#include "unit/store/store_fixture.h"

extern char** environ;

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;
using Clock = std::chrono::steady_clock;

namespace {

// A store_worker process with its stdout on a pipe.
class Worker {
 public:
  explicit Worker(const char* mode, const char* count = nullptr) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    const char* argv[] = {STORE_WORKER, mode, count, nullptr};
    if (::posix_spawn(&pid_, STORE_WORKER, &actions, nullptr, const_cast<char**>(argv), environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    out_ = fds[0];
  }
  ~Worker() {
    if (kill()) ::waitpid(pid_, nullptr, 0);
    if (out_ >= 0) ::close(out_);
  }
  // The next line the worker printed ("" at end of output).
  std::string readLine() {
    std::string line;
    char c = 0;
    while (::read(out_, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }
  // Exit status, or -1 while it is still running.
  int poll() {
    int status = 0;
    if (::waitpid(pid_, &status, WNOHANG) != pid_) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  bool kill() { return pid_ > 0 && ::kill(pid_, SIGKILL) == 0; }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
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

TEST_F(StoreConcurrency, ThreadsAlwaysSeeACompleteListOfOneVersionWhileItIsRewritten) {
  std::atomic<bool> writing{true};
  std::thread writer([&] {
    for (int version = 2; version <= 120; ++version) {
      write(version);
      std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    writing = false;
  });
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
  writer.join();
  for (auto& reader : readers) reader.join();
  for (std::size_t r = 0; r < problems.size(); ++r)
    EXPECT_TRUE(problems[r].empty() && snapshots[r] >= 20) << "reader " << r << ": " << snapshots[r] << " " << problems[r];
}

TEST_F(StoreConcurrency, ProcessesRefreshingTheSameFileAtOnceSeeOnlyCompleteLists) {
  std::vector<std::unique_ptr<Worker>> workers;
  for (int i = 0; i < 4; ++i) workers.push_back(std::make_unique<Worker>("lists", "40"));
  for (int version = 2; version <= 40; ++version) {
    write(version);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  for (auto& worker : workers) EXPECT_EQ(worker->readLine().substr(0, 3), "ok ");
}

TEST_F(StoreConcurrency, AProcessKilledInsideARefreshDoesNotBlockTheOthers) {
  Worker holder("hold-sorting");
  ASSERT_EQ(holder.readLine(), "holding");
  Worker first("lists", "2"), second("lists", "2");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(first.poll(), -1) << "the refresh lock was not held";
  EXPECT_EQ(second.poll(), -1);
  holder.kill();
  const auto killed = Clock::now();
  int status[2] = {-1, -1};
  // A liveness bound, not a speed goal: the lock of a dead holder must not be
  // waited out.
  for (int k = 0; (status[0] < 0 || status[1] < 0) && Clock::now() - killed < std::chrono::seconds(10); k ^= 1) {
    if (status[k] < 0) status[k] = (k == 0 ? first : second).poll();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(status[0] == 0 && status[1] == 0) << status[0] << " " << status[1];
}
