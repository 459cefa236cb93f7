// flock() on a descriptor opened for each acquisition. flock locks belong to
// the open file description, so two acquisitions in one process conflict like
// two processes do, and the kernel drops them when the last descriptor closes,
// which includes the death of the holder.
#include "platform/interprocess_lock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/config.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

constexpr wchar_t kTag[] = L"persite";

// flock has no timeout, so a timed wait polls; the back-off keeps a long wait
// cheap without making a short one sluggish.
constexpr std::chrono::milliseconds kFirstBackoff{1};
constexpr std::chrono::milliseconds kLongestBackoff{20};

std::wstring errnoText(int error) { return fromUtf8(std::strerror(error)); }

bool isPlainFileName(const std::wstring& name) {
  return !name.empty() && name != L"." && name != L".." && name.find_first_of(L"/\\", 0) == std::wstring::npos &&
         name.find(L'\0') == std::wstring::npos;
}

std::wstring locksDirectory() {
  return IConfiguration::GetConfiguration()->GetFrameworkDataDirectory() + L"/etc/locks";
}

int openLockFile(const std::wstring& path) {
  const std::string native = toUtf8(path);
  // Read-only is enough for flock and lets components running as other users
  // share a file that one of them created.
  const int flags = O_RDONLY | O_CREAT | O_CLOEXEC | O_NOCTTY;
  int fd = ::open(native.c_str(), flags, 0644);
  if (fd < 0 && errno == ENOENT) {
    std::wstring directory;
    std::wstring fileName;
    splitPath(path, directory, fileName);
    if (!makeDirectories(directory, 0755)) return -1;
    fd = ::open(native.c_str(), flags, 0644);
  }
  return fd;
}

// 0 when locked, EWOULDBLOCK

// The descriptor, or -1 with errno saying why: the reason of the first thing
// that failed (a directory that may not be made gives EACCES, not the ENOENT
// of the open that follows). when held elsewhere (non-blocking only), or the
// errno of a real failure.
int tryFlock(int fd, bool exclusive, bool block) {
  const int operation = (exclusive ? LOCK_EX : LOCK_SH) | (block ? 0 : LOCK_NB);
  for (;;) {
    if (::flock(fd, operation) == 0) return 0;
    if (errno != EINTR) return errno;
  }
}

}  // namespace

InterProcessLock::InterProcessLock(std::wstring name, bool exclusive)
    : name_(std::move(name)), path_(lockFilePath(name_)), exclusive_(exclusive) {}

InterProcessLock::~InterProcessLock() { unlock(); }

std::wstring InterProcessLock::lockFilePath(const std::wstring& name) { return locksDirectory() + L"/" + name + L".lock"; }

bool InterProcessLock::lock(unsigned long timeoutMs) {
  lastError_ = 0;
  if (isLocked()) return true;
  if (!isPlainFileName(name_)) {
    logError(kTag, L"Invalid inter-process lock name \"" + name_ + L"\"");
    lastError_ = EINVAL;
    return false;
  }
  const int fd = openLockFile(path_);
  if (fd < 0) {
    lastError_ = errno;
    logError(kTag, L"Failed to open lock file " + path_ + L": " + errnoText(lastError_));
    return false;
  }

  const bool forever = timeoutMs >= kInterProcessLockWaitForever;
  int result = tryFlock(fd, exclusive_, forever);
  if (!forever) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    auto backoff = kFirstBackoff;
    while (result == EWOULDBLOCK) {
      const auto now = std::chrono::steady_clock::now();
      if (now >= deadline) break;
      std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(backoff, deadline - now));
      backoff = std::min(backoff * 2, kLongestBackoff);
      result = tryFlock(fd, exclusive_, false);
    }
  }
  if (result != 0) {
    if (result != EWOULDBLOCK) {
      lastError_ = result;
      logError(kTag, L"Failed to lock " + path_ + L": " + errnoText(result));
    }
    ::close(fd);
    return false;
  }
  fd_ = fd;
  return true;
}

std::wstring InterProcessLock::lastErrorText() const {
  return lastError_ == 0 ? std::wstring(L"timed out") : errnoText(lastError_);
}

void InterProcessLock::unlock() {
  if (fd_ < 0) return;
  // Closing the only descriptor of this open file description releases the lock.
  ::close(fd_);
  fd_ = -1;
}

}  // namespace corvane_com::zel::platform
