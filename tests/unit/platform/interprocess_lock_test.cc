// Named inter-process locks between threads and between real processes.
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "platform/interprocess_lock.h"
#include "platform/utf8.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace pf = corvane_com::zel::platform;
using pf::InterProcessReadLock;
using pf::InterProcessWriteLock;

namespace {

constexpr unsigned long kLiveness = 10000;

// A child process that runs `child` and then waits to be killed; the pipe's
// far end closes when the child has executed another program or ends.
template <typename F>
pid_t forkChild(int (&pipe)[2], F&& child) {
  if (::pipe2(pipe, O_CLOEXEC) != 0) return -1;
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives a crashed test
    child();
    ::_exit(127);
  }
  ::close(pipe[1]);
  return pid;
}

}  // namespace

TEST(InterProcessLock, ReadersShareAndAWriterInAnotherThreadExcludesEveryone) {
  inetmgr_test::ScopedDataDir data;
  InterProcessReadLock first(L"Shared"), second(L"Shared");
  InterProcessWriteLock writer(L"Shared");
  ASSERT_TRUE(first.lock(0) && second.lock(0));
  EXPECT_FALSE(writer.lock(0)) << "a second object in the same thread is another holder";
  first.unlock();
  second.unlock();

  std::promise<void> taken, done;
  std::thread holder([&] {
    InterProcessWriteLock mine(L"Shared");
    EXPECT_TRUE(mine.lock(kLiveness));
    taken.set_value();
    done.get_future().wait();
  });
  taken.get_future().wait();
  EXPECT_FALSE(first.lock(0) || writer.lock(0));
  EXPECT_TRUE(InterProcessWriteLock(L"Other").lock(0)) << "names are independent";
  auto waiter = std::async(std::launch::async, [&] { return first.lock(pf::kInterProcessLockWaitForever); });
  done.set_value();
  holder.join();
  ASSERT_EQ(waiter.wait_for(std::chrono::milliseconds(kLiveness)), std::future_status::ready);
  EXPECT_TRUE(waiter.get());
}

TEST(InterProcessLock, AWriterInAChildProcessBlocksTheParentUntilKilledEvenBeforeItIsReaped) {
  inetmgr_test::ScopedDataDir data;
  int ready[2];
  const pid_t child = forkChild(ready, [&] {
    InterProcessWriteLock writer(L"Shared");
    if (writer.lock(0) && ::write(ready[1], "1", 1) == 1) ::pause();
  });
  ASSERT_GT(child, 0);
  char held = '0';
  EXPECT_EQ(::read(ready[0], &held, 1), 1);
  ::close(ready[0]);
  InterProcessReadLock reader(L"Shared");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(reader.lock(200));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_FALSE(reader.isLocked() || InterProcessWriteLock(L"Shared").lock(0));
  ::kill(child, SIGKILL);
  EXPECT_TRUE(reader.lock(kLiveness));
  ::waitpid(child, nullptr, 0);
}

TEST(InterProcessLock, AnExecutedChildDoesNotInheritAHeldLock) {
  inetmgr_test::ScopedDataDir data;
  if (::access("/bin/sleep", X_OK) != 0) GTEST_SKIP() << "/bin/sleep is needed as the child program";
  InterProcessWriteLock parent(L"Shared");
  ASSERT_TRUE(parent.lock(0));
  int execed[2];
  const pid_t child =
      forkChild(execed, [] { ::execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr)); });
  ASSERT_GT(child, 0);
  char ignored;
  EXPECT_EQ(::read(execed[0], &ignored, 1), 0) << "end of file once the child has executed";
  ::close(execed[0]);
  parent.unlock();
  EXPECT_TRUE(InterProcessWriteLock(L"Shared").lock(2000));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

TEST(InterProcessLock, LivesInAReadableFileUnderTheDataDirectoryAndFailsWithAnErrorLineWhereItCannot) {
  inetmgr_test::ScopedDataDir data;
  const mode_t oldMask = ::umask(022);
  {
    InterProcessWriteLock writer(L"SiteListLock");
    ASSERT_TRUE(writer.lock(0));
    EXPECT_TRUE(writer.lock(0)) << "locking a held lock is a no-op";
  }
  ::umask(oldMask);
  const std::string path = data.file("etc/locks/SiteListLock.lock");
  struct stat file {}, directory {};
  ASSERT_EQ(::stat(path.c_str(), &file) + ::stat(data.file("etc/locks").c_str(), &directory), 0);
  EXPECT_EQ(file.st_mode & 07777, 0644u) << "other agent components open it to read";
  EXPECT_EQ(directory.st_mode & 07777, 0755u);
  EXPECT_TRUE(InterProcessWriteLock(L"SiteListLock").lock(0)) << "the destructor released the first holder";

  ::setenv("INETMGR_DATA_DIR", path.c_str(), 1);  // a plain file where a directory should be
  inetmgr_test::LogCapture log;
  InterProcessReadLock misplaced(L"SiteListLock");
  EXPECT_FALSE(misplaced.lock(pf::kInterProcessLockWaitForever));
  EXPECT_EQ(misplaced.lastError(), ENOTDIR) << "a failure is told from a time-out";
  ::setenv("INETMGR_DATA_DIR", data.path().c_str(), 1);
  InterProcessWriteLock holder(L"SiteListLock"), waiter(L"SiteListLock");
  ASSERT_TRUE(holder.lock(0));
  EXPECT_TRUE(!waiter.lock(0) && waiter.lastError() == 0) << "a time-out";
  EXPECT_FALSE(InterProcessWriteLock(L"../escape").lock(0));
  const auto records = log.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[0].level == inetmgr_test::LogLevel::Error && records[0].tag == L"persite");
  EXPECT_NE(records[0].text.find(pf::fromUtf8(std::strerror(ENOTDIR))), std::wstring::npos);
  EXPECT_FALSE(std::filesystem::exists(data.path().parent_path() / "escape.lock"));
}
