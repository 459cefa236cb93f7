// The in-process half of the site list file's lock.
#include "core/site_list_file_lock.h"

#include <new>
#include <system_error>

#include "core/deadline.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {
constexpr wchar_t kTag[] = L"sitelis";
}  // namespace

std::shared_timed_mutex& siteListFileMutex() {
  static std::shared_timed_mutex mutex;
  return mutex;
}

ResultCode acquireSiteListReadLock(SiteListReadLock& lock, unsigned int timeoutSeconds) {
  platform::ADetailTrace trace(kTag, L"SiteListWriter::acquireReadLock");
  SiteListReadLock held;
  try {
    held = std::make_shared<std::shared_lock<std::shared_timed_mutex>>(siteListFileMutex(), std::defer_lock);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Failed to instantiate boost::shared_ptr");
    return rcOutOfMemory;
  }
  try {
    if (!held->try_lock_until(getTimePlus(timeoutSeconds))) {
      // The same code as a write lock time-out.
      platform::logError(kTag, L"Timeout in acquiring read lock for SiteList.xml");
      return rcUnexpected;
    }
  } catch (const std::system_error&) {
    platform::logError(kTag, L"Lock error in acquiring read lock for SiteList.xml");
    return rcLockFailed;
  }
  lock = std::move(held);
  return rcSuccess;
}

}  // namespace corvane_com::zel::inetmgr
