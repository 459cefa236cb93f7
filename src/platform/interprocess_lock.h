// Named shared/exclusive locks that every agent component loading this library
// honours, so that one process at a time refreshes the site list and nobody
// reads the file while another process writes it.
#ifndef INETMGR_PLATFORM_INTERPROCESS_LOCK_H
#define INETMGR_PLATFORM_INTERPROCESS_LOCK_H

#include <string>
#include <utility>

namespace corvane_com::zel::platform {

// A timeout of this many milliseconds or more waits without limit.
inline constexpr unsigned long kInterProcessLockWaitForever = 2147483647UL;

// A lock named `name` is the file <data directory>/etc/locks/<name>.lock, the
// data directory being the configuration's when the lock object is made. The
// directories (0755) and the file (0644), both subject to the umask, are
// created on first use and never removed: removing a lock file would let two
// holders lock two different files of the same name.
//
// Holders are lock objects, not processes or threads: two objects for one name
// exclude each other even in the same thread, and a process that dies, however
// it dies, releases everything it held at once. A program started with exec
// does not inherit a held lock; a forked child that does not exec shares it,
// as flock locks follow the open file description, so the lock stays held
// until parent and child have both let go.
//
// One object is used by one thread at a time; distinct objects may be used on
// any threads. Locks do not count: lock() on a held object returns true and a
// single unlock() releases it.
class InterProcessLock {
 public:
  ~InterProcessLock();
  InterProcessLock(const InterProcessLock&) = delete;
  InterProcessLock& operator=(const InterProcessLock&) = delete;

  // Waits up to `timeoutMs` milliseconds (0 tries once; see
  // kInterProcessLockWaitForever) and returns true once the lock is held.
  // False on timeout, and, with an error log line, when the name is not a
  // plain file name or the lock file cannot be opened.
  bool lock(unsigned long timeoutMs);
  // After a lock() that failed: 0 when it timed out, else the errno of the
  // failure (EACCES for a lock file or directory that may not be made).
  int lastError() const { return lastError_; }
  // "timed out", or the system's text for lastError().
  std::wstring lastErrorText() const;
  // Releases the lock; does nothing when it is not held.
  void unlock();
  bool isLocked() const { return fd_ >= 0; }

  const std::wstring& name() const { return name_; }
  // Path of the file behind a lock of this name, under the data directory of
  // the moment.
  static std::wstring lockFilePath(const std::wstring& name);

 protected:
  InterProcessLock(std::wstring name, bool exclusive);

 private:
  std::wstring name_;
  std::wstring path_;
  bool exclusive_;
  int fd_ = -1;
  int lastError_ = 0;
};

// Shared: any number of read locks of one name are held together, never with
// a write lock of that name.
class InterProcessReadLock final : public InterProcessLock {
 public:
  explicit InterProcessReadLock(std::wstring name) : InterProcessLock(std::move(name), false) {}
};

// Exclusive: held by one object at a time, with no read lock of that name.
class InterProcessWriteLock final : public InterProcessLock {
 public:
  explicit InterProcessWriteLock(std::wstring name) : InterProcessLock(std::move(name), true) {}
};

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_INTERPROCESS_LOCK_H
