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
#include "support/data_dir.h"
#include "support/log_capture.h"

namespace pf = corvane_com::zel::platform;
using pf::InterProcessReadLock;
using pf::InterProcessWriteLock;

namespace {

constexpr unsigned long kLiveness = 10000;

// A forked process that holds the write lock "Shared" until it is killed.
class WritingChild {
 public:
  WritingChild() {
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives a crashed test
      InterProcessWriteLock writer(L"Shared");
      const char held = writer.lock(0) ? '1' : '0';
      if (::write(ready[1], &held, 1) == 1) ::pause();
      ::_exit(0);
    }
    ::close(ready[1]);
    char held = '0';
    holds_ = ::read(ready[0], &held, 1) == 1 && held == '1';
    ::close(ready[0]);
  }
  ~WritingChild() {
    kill();
    if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
  }
  bool holds() const { return holds_; }
  // Guarded: kill(-1) would signal every process we may signal.
  void kill() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
  }

 private:
  pid_t pid_ = -1;
  bool holds_ = false;
};

}  // namespace

TEST(InterProcessLock, ReadersShareAndAWriterInAnotherThreadExcludesEveryone) {
  inetmgr_test::ScopedDataDir data;
  InterProcessReadLock first(L"Shared"), second(L"Shared");
  InterProcessWriteLock writer(L"Shared");
  ASSERT_TRUE(first.lock(0));
  EXPECT_TRUE(second.lock(0));
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
  EXPECT_FALSE(first.lock(0));
  EXPECT_FALSE(writer.lock(0));
  EXPECT_TRUE(InterProcessWriteLock(L"Other").lock(0)) << "names are independent";
  auto waiter = std::async(std::launch::async, [&] { return first.lock(pf::kInterProcessLockWaitForever); });
  done.set_value();
  holder.join();
  ASSERT_EQ(waiter.wait_for(std::chrono::milliseconds(kLiveness)), std::future_status::ready);
  EXPECT_TRUE(waiter.get());
}

TEST(InterProcessLock, AWriterInAChildProcessBlocksTheParentUntilKilledEvenBeforeItIsReaped) {
  inetmgr_test::ScopedDataDir data;
  WritingChild child;
  ASSERT_TRUE(child.holds());
  InterProcessReadLock reader(L"Shared");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(reader.lock(200));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_FALSE(reader.isLocked());
  EXPECT_FALSE(InterProcessWriteLock(L"Shared").lock(0));
  child.kill();
  EXPECT_TRUE(reader.lock(kLiveness));
}

TEST(InterProcessLock, AnExecutedChildDoesNotInheritAHeldLock) {
  inetmgr_test::ScopedDataDir data;
  if (::access("/bin/sleep", X_OK) != 0) GTEST_SKIP() << "/bin/sleep is needed as the child program";
  InterProcessWriteLock parent(L"Shared");
  ASSERT_TRUE(parent.lock(0));
  int execed[2];
  ASSERT_EQ(::pipe2(execed, O_CLOEXEC), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  ::close(execed[1]);
  char ignored;
  EXPECT_EQ(::read(execed[0], &ignored, 1), 0) << "end of file once the child has executed";
  ::close(execed[0]);
  parent.unlock();
  EXPECT_TRUE(InterProcessWriteLock(L"Shared").lock(2000));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}

TEST(InterProcessLock, LivesInAFileUnderTheDataDirectoryAndIsReleasedWithItsObject) {
  inetmgr_test::ScopedDataDir data;
  const mode_t oldMask = ::umask(022);
  {
    InterProcessWriteLock writer(L"SiteListLock");
    ASSERT_TRUE(writer.lock(0));
    EXPECT_TRUE(writer.lock(0)) << "locking a held lock is a no-op";
  }
  ::umask(oldMask);
  const std::string path = data.dir().file("etc/locks/SiteListLock.lock");
  EXPECT_EQ(pf::toUtf8(InterProcessWriteLock::lockFilePath(L"SiteListLock")), path);
  struct stat file {};
  struct stat directory {};
  ASSERT_EQ(::stat(path.c_str(), &file), 0);
  ASSERT_EQ(::stat(data.dir().file("etc/locks").c_str(), &directory), 0);
  EXPECT_EQ(file.st_mode & 07777, 0644u);
  EXPECT_EQ(directory.st_mode & 07777, 0755u);
  InterProcessWriteLock again(L"SiteListLock");
  EXPECT_TRUE(again.lock(0)) << "the destructor released the first holder";
  again.unlock();
  EXPECT_FALSE(again.isLocked());
}

TEST(InterProcessLock, AnUnopenableLockFileOrABadNameFailsWithAnErrorLine) {
  inetmgr_test::ScopedDataDir data;
  const std::string plainFile = data.dir().file("plain");
  ::close(::open(plainFile.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
  ::setenv("INETMGR_DATA_DIR", plainFile.c_str(), 1);
  inetmgr_test::LogCapture log;
  EXPECT_FALSE(InterProcessReadLock(L"SiteListLock").lock(pf::kInterProcessLockWaitForever));
  ::setenv("INETMGR_DATA_DIR", data.dir().path().c_str(), 1);
  EXPECT_FALSE(InterProcessWriteLock(L"../escape").lock(0));
  const auto records = log.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].level, corvane_com::zel::inetmgr::LogLevel::Error);
  EXPECT_EQ(records[0].tag, L"persite");
  EXPECT_NE(records[0].text.find(pf::fromUtf8(std::strerror(ENOTDIR))), std::wstring::npos);
  EXPECT_FALSE(std::filesystem::exists(data.dir().path().parent_path() / "escape.lock"));
}
