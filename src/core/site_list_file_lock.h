// The lock of the site list file. In this process the store's reader and the
// site list writer share one reader/writer mutex (readers together, a writer
// alone); between processes they take the named lock kSiteListFileLockName.
#ifndef INETMGR_CORE_SITE_LIST_FILE_LOCK_H
#define INETMGR_CORE_SITE_LIST_FILE_LOCK_H

#include <memory>
#include <shared_mutex>

#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

inline constexpr wchar_t kSiteListFileLockName[] = L"SiteListLock";

using SiteListReadLock = std::shared_ptr<std::shared_lock<std::shared_timed_mutex>>;

// The process-wide mutex of the site list file.
std::shared_timed_mutex& siteListFileMutex();

// Takes the mutex for reading, waiting at most `timeoutSeconds`; on rcSuccess
// `lock` holds it until its last copy is dropped. rcUnexpected on time-out,
// rcLockFailed when the mutex reports an error, rcOutOfMemory; each logged.
// `lock` changes only on rcSuccess. Thread-safe.
ResultCode acquireSiteListReadLock(SiteListReadLock& lock, unsigned int timeoutSeconds);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_SITE_LIST_FILE_LOCK_H
