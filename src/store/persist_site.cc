// The store's life: one-time set-up, refresh from the site list file, the swap
// of a complete new list, and the lock-cookie protocol.
#include "store/persist_site.h"

#include <new>
#include <system_error>
#ifdef __GLIBC__
#include <malloc.h>  // malloc_trim
#endif

#include "core/deadline.h"
#include "core/site_list_file_lock.h"
#include "platform/assert.h"
#include "platform/files.h"
#include "platform/interprocess_lock.h"
#include "platform/log.h"
#include "platform/net_interfaces.h"
#include "site/site_impl.h"
#include "sitelist/sitelist_document.h"
#include "sitelist/versions.h"
#include "core/agent_settings.h"
#include "store/site_cache.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"persite";
constexpr long long kLockWaitSeconds = 60;
// The refresh lock is waited for without limit.
constexpr unsigned long kWaitForever = 2147483647UL;
constexpr unsigned long kFileLockWaitMs = 60000;

// A read frees the document, and a refresh the list it replaced: most of it
// in small pieces that the allocator would otherwise keep resident. Returning
// them takes about 0.3 ms after a list of 10,000 sites.
void releaseFreedMemory() {
#ifdef __GLIBC__
  ::malloc_trim(0);
#endif
}

std::wstring directoryOf(const std::wstring& path) {
  const std::size_t slash = path.find_last_of(L'/');
  if (slash == std::wstring::npos) return L".";
  return slash == 0 ? L"/" : path.substr(0, slash);
}

}  // namespace

std::wstring PersistSite::defaultSiteList_;
std::wstring PersistSite::defaultCacheFile_;
std::wstring PersistSite::defaultCabundlePath_;
std::wstring PersistSite::siteList_;
std::wstring PersistSite::cacheFile_;
std::wstring PersistSite::caBundle_;
bool PersistSite::oneTimeStaticDataInitializationCompleted_ = false;
std::timed_mutex PersistSite::initializerMutex_;
std::mutex PersistSite::m_AbortMutex;
std::atomic<bool> PersistSite::m_bAbort{false};
std::atomic<void (*)()> PersistSite::testDelayHook_{nullptr};
std::mutex PersistSite::refreshMutex_;
std::mutex PersistSite::refreshStatusMutex_;
SiteListRefreshStatus PersistSite::refreshStatus_;

void PersistSite::recordRefresh(ResultCode code, const std::wstring& reason,
                                std::vector<std::wstring> skippedEntries) {
  std::lock_guard<std::mutex> guard(refreshStatusMutex_);
  refreshStatus_.code = code;
  refreshStatus_.reason = reason;
  refreshStatus_.skippedEntries = std::move(skippedEntries);
  refreshStatus_.path = siteList_.empty() ? defaultSiteList_ : siteList_;
}

SiteListRefreshStatus PersistSite::lastRefreshStatus() {
  std::lock_guard<std::mutex> guard(refreshStatusMutex_);
  return refreshStatus_;
}

void PersistSite::testDelay() {
  if (void (*hook)() = testDelayHook_.load()) hook();
}

void PersistSite::setTestDelayHook(void (*hook)()) { testDelayHook_ = hook; }

PersistSite::~PersistSite() {
  INETMGR_ASSERT(0 == lockCount_.load(), "0==lockCount_");
  INETMGR_ASSERT(accessLocks_.empty(), "0==accessLocks_.size()");
}

void PersistSite::setDefaultSiteList(const wchar_t* sitelistPath) {
  INETMGR_ASSERT(sitelistPath != nullptr, "0!=sitelistPath");
  platform::logInfo(kTag, std::wstring(L"Setting sitelist file: ") + sitelistPath);
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  defaultSiteList_ = sitelistPath;
}

void PersistSite::setDefaultCacheFile(const wchar_t* cacheFilePath) {
  INETMGR_ASSERT(cacheFilePath != nullptr, "0!=cacheFilePath");
  platform::logInfo(kTag, std::wstring(L"Setting cache file: ") + cacheFilePath);
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  defaultCacheFile_ = cacheFilePath;
}

void PersistSite::setDefaultCabundlePath(const wchar_t* caBundlePath) {
  INETMGR_ASSERT(caBundlePath != nullptr, "0!=caBundlePath");
  platform::logInfo(kTag, std::wstring(L"Setting ca bundle file: ") + caBundlePath);
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  defaultCabundlePath_ = caBundlePath;
}

void PersistSite::abortOperation() {
  std::lock_guard<std::mutex> guard(m_AbortMutex);
  m_bAbort = true;
}

// Also read by the sorting workers without the mutex: a late read only delays
// their stop to the next site.
bool PersistSite::isAbortRequested() { return m_bAbort.load(); }

void PersistSite::resetInitFlag() {
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  oneTimeStaticDataInitializationCompleted_ = false;
}

PersistSite& PersistSite::self() {
  static PersistSite instance;
  return instance;
}

void PersistSite::testResetSiteList() {
  // Not under a refresh either: it owns the refreshing state.
  std::lock_guard<std::mutex> refreshing(refreshMutex_);
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  PersistSite& store = self();
  // Not under a caller that is reading the list.
  std::unique_lock<std::timed_mutex> access(store.accessMutex_, std::defer_lock);
  if (!access.try_lock_until(getTimePlus(kLockWaitSeconds))) {
    platform::logError(kTag, L"Timed out waiting for the callers of the site list to reset it");
    return;
  }
  store.resetSiteList();
}

std::wstring PersistSite::siteListPath() { return siteList_; }
std::wstring PersistSite::cacheFilePath() { return cacheFile_; }
std::wstring PersistSite::caBundlePath() { return caBundle_; }

PersistSite* PersistSite::getInstance(ResultCode& rc) {
  platform::ADetailTrace trace(kTag, L"PersistSite::getInstance()");
  if (isAbortRequested()) {
    rc = rcShutDown;
    recordRefresh(rcShutDown, L"The agent is shutting down: no site list is read any more");
    return nullptr;
  }
  PersistSite& instance = self();
  PersistSite* store = &instance;
  bool valid = false;
  try {
    // One thread of this process at a time refreshes. A caller that finds a
    // refresh running is served the list held before, whole, rather than
    // waiting out a sort that may take minutes; only a process that holds no
    // list yet waits for its first.
    std::unique_lock<std::mutex> refreshing(refreshMutex_, std::try_to_lock);
    if (!refreshing.owns_lock()) {
      if (instance.valid_) {
        platform::logDetail(kTag, L"A refresh is running: the site list held is served");
        return store;
      }
      refreshing.lock();
    }
    // And one process at a time, on the same terms.
    platform::InterProcessWriteLock sortingLock(L"SiteListSortingLock");
    if (!sortingLock.lock(instance.valid_ ? 0 : kWaitForever)) {
      if (instance.valid_ && sortingLock.lastError() == 0) {
        platform::logDetail(kTag, L"Another process refreshes: the site list held is served");
        return store;
      }
      platform::logError(kTag, L"Failed to lock or to construct PersistSite");
      recordRefresh(rcLockFailed, L"Failed to lock or to construct PersistSite: SiteListSortingLock " +
                                      sortingLock.lastErrorText() + L" (" +
                                      sortingLock.lockFilePath(L"SiteListSortingLock") + L")");
      return nullptr;
    }
    testDelay();
    if (isAbortRequested()) {
      rc = rcShutDown;
      return nullptr;
    }
    // Held only while the store is set up: a refresh reads and sorts without
    // it, so cookies go on being handed out for the list held, and the swap
    // waits for the access mutex, which no cookie holder keeps for long.
    std::unique_lock<std::timed_mutex> initializing(initializerMutex_, std::defer_lock);
    if (!initializing.try_lock_until(getTimePlus(kLockWaitSeconds))) {
      platform::logError(kTag, L"Failed to lock or to construct PersistSite");
      recordRefresh(rcLockFailed, L"Failed to lock or to construct PersistSite: the store stayed busy for " +
                                      std::to_wstring(kLockWaitSeconds) + L" s");
      return nullptr;
    }
    testDelay();
    if (!instance.initializeOnce()) return nullptr;
    initializing.unlock();
    std::wstring ip;
    const bool read = instance.loadDocumentIfInternalListExpired(ip);
    if (read && instance.copyDocumentToInternal(ip)) instance.valid_ = true;
    instance.document_.reset();
    if (read) releaseFreedMemory();
    valid = instance.valid_;
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Memory allocation failed during attempt to construct PersistSite.");
    recordRefresh(rcOutOfMemory, L"Memory allocation failed during attempt to construct PersistSite.");
    return nullptr;
  } catch (const std::system_error& e) {
    const std::wstring text = L"boost exception occured and error code is " + std::to_wstring(e.code().value());
    platform::logError(kTag, text);
    recordRefresh(rcUnexpected, text);
    return nullptr;
  }
  if (!valid) {
    if (isAbortRequested()) rc = rcShutDown;
    if (lastRefreshStatus().code == rcSuccess) {
      recordRefresh(rcNotInitialized, L"No usable site list is held, and " + siteList_ +
                                          L" has not changed since it was last read");
    }
    return nullptr;
  }
  return store;
}

bool PersistSite::initializeOnce() {
  if (oneTimeStaticDataInitializationCompleted_) return true;
  siteList_ = defaultSiteList_.empty() ? getExpectedSitelistLocation() : defaultSiteList_;
  const std::wstring directory = directoryOf(siteList_);
  cacheFile_ = defaultCacheFile_.empty() ? directory + L"/sitecache.bin" : defaultCacheFile_;
  platform::logDetail(kTag, L"Cache file location = " + cacheFile_);
  caBundle_ = defaultCabundlePath_.empty() ? directory + L"/cabundle.cer" : defaultCabundlePath_;
  platform::logDetail(kTag, L"Cabundle file location = " + caBundle_);
  // A set-up after the first must not change a list that a caller is reading.
  std::unique_lock<std::timed_mutex> access(accessMutex_, std::defer_lock);
  if (!access.try_lock_until(getTimePlus(kLockWaitSeconds))) {
    platform::logError(kTag, L"Timed out waiting for the callers of the site list to set the store up");
    return false;
  }
  oneTimeStaticDataInitializationCompleted_ = true;
  // The held list stays: a cache that cannot be read leaves it, invalid,
  // until a document is read.
  fileStat_.reset();
  valid_ = loadCacheToInternal();
  return true;
}

void PersistSite::resetSiteList() {
  sites_.clear();
  cursor_ = 0;
  proxies_ = std::make_shared<std::vector<xoInet::CProxyParams>>();
  useSystemProxy_ = false;
  globalVersion_.clear();
  localVersion_.clear();
  policies_ = SiteListPolicies();
  fileStat_.reset();
  ipAddress_.clear();
  valid_ = false;
}

bool PersistSite::loadDocumentIfInternalListExpired(std::wstring& ip) {
  // A store whose list is being read by a caller is never refreshed under it.
  if (isLocked()) return false;
  ip = platform::getIpAddress();
  if (ip != ipAddress_) {
    if (!ipAddress_.empty()) platform::logInfo(kTag, L"IP address changed from " + ipAddress_ + L" to " + ip);
    // A new address re-reads the list whatever its versions say.
    return readDocument();
  }
  FileStat current = fileStat_;
  try {
    current.setFile(siteList_);
    current.refresh();
  } catch (const std::exception& e) {
    platform::logInternalError(kTag, L"tryRefreshFileStat() -> FileStat::refresh() failed: " +
                                         std::wstring(e.what(), e.what() + std::char_traits<char>::length(e.what())));
  }
  if (current == fileStat_ && fileStat_.getLastModified() != 0) {
    platform::logDetail(kTag, L"No change to site list timestamp");
    return false;
  }
  return readDocument() && isDocumentVersionNewer();
}

bool PersistSite::readDocument() {
  if (siteList_.empty()) {
    platform::logError(kTag, L"No sitelist file specified.");
    recordRefresh(rcNotInitialized, L"No sitelist file specified.");
    return false;
  }
  // Shared with this process's writers of the file, as the inter-process
  // lock below is with other processes.
  SiteListReadLock writerLock;
  if (acquireSiteListReadLock(writerLock, kLockWaitSeconds) != rcSuccess) {
    platform::logError(kTag, L"Failed to lock the site list file " + siteList_);
    recordRefresh(rcLockFailed, L"Failed to lock the site list file " + siteList_ + L": a writer held it too long");
    return false;
  }
  platform::InterProcessReadLock fileLock(kSiteListFileLockName);
  if (!fileLock.lock(kFileLockWaitMs)) {
    platform::logError(kTag, L"Failed to lock the site list file " + siteList_);
    recordRefresh(rcLockFailed, L"Failed to lock the site list file " + siteList_ + L": " + kSiteListFileLockName +
                                    L" " + fileLock.lastErrorText() + L" (" +
                                    fileLock.lockFilePath(kSiteListFileLockName) + L")");
    return false;
  }
  // The stat is taken before the read, so a change during the read is seen
  // by the next refresh.
  FileStat stat;
  try {
    stat.setFile(siteList_);
    stat.refresh();
  } catch (const std::exception&) {
    stat.reset();
  }
  auto document = std::make_shared<platform::AdvXMLParser::Document>();
  const SiteListRejection result = readSiteListFile(siteList_, *document);
  // Recorded even for a document that does not parse: it is not read again
  // until the file changes.
  fileStat_ = stat;
  if (result.code != rcSuccess) {
    recordRefresh(result.code, result.reason);
    return false;
  }
  document_ = document;
  return true;
}

bool PersistSite::isDocumentVersionNewer() const {
  if (!document_) return false;
  if (inetmgr::isDocumentVersionNewer(document_->GetRoot(), globalVersion_, localVersion_)) return true;
  recordRefresh(rcSuccess, siteList_ + L" changed but carries the versions of the list held (global " +
                               globalVersion_ + L", local " + localVersion_ + L"): the held list is kept");
  return false;
}

bool PersistSite::copyDocumentToInternal(const std::wstring& ip) {
  if (!document_) return false;
  // The store's own files may live in a directory of their own (a list read
  // from elsewhere keeps them under the data directory), made when first written.
  platform::makeDirectories(directoryOf(caBundle_));
  platform::makeDirectories(directoryOf(cacheFile_));
  SiteListContents contents;
  const SiteListRejection built = buildSiteListContents(*document_, caBundle_, isManagedMode(), contents);
  document_.reset();  // the sites hold all they need of it
  if (built.code != rcSuccess) {
    recordRefresh(built.code, built.reason);
    return false;
  }
  sortFailed_ = false;
  testDelay();  // where a refresh spends its time: building and sorting
  if (contents.policies.findNearestMethod != sortByConfiguredOrder) {
    setOrdersUsingPingTimeOrHopCount(contents.sites, contents.policies.findNearestMethod,
                                     contents.policies.maxPingTimeout, contents.policies.maxHopLimit);
    if (sortFailed_) {
      if (isAbortRequested()) {
        platform::logInfo(kTag, L"Sorting of repositories stopped due to service shutdown request");
        recordRefresh(rcShutDown, L"Sorting of repositories stopped due to service shutdown request");
      } else {
        platform::logError(kTag, L"Sorting of repositories failed");
        recordRefresh(rcUnexpected, L"Sorting of repositories failed: the new list is not taken");
      }
      return false;
    }
    platform::logInfo(kTag, L"Sorting of repositories finished successfully. Total number of repositories sorted:" +
                                std::to_wstring(contents.sites.size()));
  }
  {
    std::unique_lock<std::timed_mutex> access(accessMutex_, std::defer_lock);
    if (!access.try_lock_until(getTimePlus(kLockWaitSeconds))) {
      platform::logError(kTag, L"Timed out waiting to take the new site list");
      recordRefresh(rcLockFailed, L"Timed out waiting to take the new site list: callers held the old one for " +
                                      std::to_wstring(kLockWaitSeconds) + L" s");
      return false;
    }
    // The bundle goes in place with the list it belongs to, never before it:
    // a document rejected on the way leaves the held list's bundle on disk.
    if (!contents.caBundle.commit()) {
      recordRefresh(rcPathError,
                    L"Failed to put the ca bundle file " + caBundle_ + L" in place: the new list is not taken");
      return false;
    }
    proxies_ = std::make_shared<std::vector<xoInet::CProxyParams>>(std::move(contents.proxies));
    useSystemProxy_ = contents.useSystemProxy;
    sites_ = std::move(contents.sites);
    cursor_ = 0;
    globalVersion_ = contents.globalVersion;
    localVersion_ = contents.localVersion;
    policies_ = contents.policies;
    ipAddress_ = ip;
    sortSitelist();
    shareSiteProperties();
  }
  recordRefresh(rcSuccess, std::wstring(), std::move(contents.skippedEntries));
  writeCache();
  return true;
}

void PersistSite::shareSiteProperties() {
  for (const IImSite_ptr& site : sites_) {
    if (auto* impl = dynamic_cast<ImSiteImpl*>(site.get())) impl->shareProperties();
  }
}

ResultCode PersistSite::getGlobalSiteListVersion(std::wstring& version) const {
  version = globalVersion_;
  return rcSuccess;
}

ResultCode PersistSite::getLocalSiteListVersion(std::wstring& version) const {
  version = localVersion_;
  return rcSuccess;
}

ResultCode PersistSite::reset() {
  cursor_ = 0;
  return rcSuccess;
}

ResultCode PersistSite::getNextSite(IImSite*& site) {
  if (cursor_ >= sites_.size()) return rcEndOfList;
  const IImSite_ptr& entry = sites_[cursor_++];
  auto* held = dynamic_cast<ImSiteImpl*>(entry.get());
  if (held == nullptr) {
    platform::logError(kTag, L"Site map list contains invalid null pointer.");
    return rcSiteListError;
  }
  try {
    site = new ImSiteImpl(*held);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Failed to create copy of site object.");
    return rcOutOfMemory;
  }
  return rcSuccess;
}

ResultCode PersistSite::getNextSiteByIndex(int& index, IImSite*& site) {
  if (index < 0 || static_cast<std::size_t>(index) >= sites_.size()) return rcSiteListError;
  auto* held = dynamic_cast<ImSiteImpl*>(sites_[static_cast<std::size_t>(index)].get());
  if (held == nullptr) return rcSiteListError;
  site = new ImSiteImpl(*held);
  return rcSuccess;
}

long PersistSite::lock() {
  std::unique_lock<std::timed_mutex> initializing(initializerMutex_, std::defer_lock);
  if (!initializing.try_lock_until(getTimePlus(kLockWaitSeconds))) return 0;
  auto held = std::make_shared<std::unique_lock<std::timed_mutex>>(accessMutex_, std::defer_lock);
  // Without the access mutex no cookie is handed out.
  if (!held->try_lock_until(getTimePlus(kLockWaitSeconds))) return 0;
  std::unique_lock<std::timed_mutex> map(lockMapMutex_, std::defer_lock);
  if (!map.try_lock_until(getTimePlus(kLockWaitSeconds))) {
    platform::logError(kTag, L"Timed out waiting for the lock map");
    return 0;
  }
  long cookie = 0;
  if (accessLocks_.find(lockCookie_) == accessLocks_.end()) {
    if (lockCookie_ == 0) lockCookie_ = 1;
    accessLocks_[lockCookie_] = held;
    cookie = lockCookie_++;
  } else {
    held.reset();
    platform::logInternalError(kTag, L"lockCookie_ already exists in lock map");
  }
  lockCount_ = accessLocks_.size();
  return cookie;
}

bool PersistSite::unlock(long cookie) {
  std::unique_lock<std::timed_mutex> map(lockMapMutex_, std::defer_lock);
  if (!map.try_lock_until(getTimePlus(kLockWaitSeconds))) {
    platform::logError(kTag, L"Timed out waiting for the lock map; cookie " + std::to_wstring(cookie) +
                                 L" is still held");
    return false;
  }
  const auto it = accessLocks_.find(cookie);
  if (it == accessLocks_.end()) {
    platform::logInternalError(kTag, L"Attempt made to unlock using invalid lockCookie value=" + std::to_wstring(cookie));
    lockCount_ = accessLocks_.size();
    return false;
  }
  INETMGR_ASSERT(it->second->owns_lock(), "false!=it->second->owns_lock()");
  accessLocks_.erase(it);
  lockCount_ = accessLocks_.size();
  return true;
}

bool PersistSite::setNewXmlDocument(platform::XmlDocument* newDocument) {
  INETMGR_ASSERT(newDocument != nullptr, "0!=newDocument");
  document_ = std::make_shared<platform::AdvXMLParser::Document>(std::move(*newDocument));
  return true;
}

void PersistSite::getProxyList(std::vector<xoInet::CProxyParams>& proxies) const { proxies = *proxies_; }

bool PersistSite::loadCacheToInternal() {
  platform::logDetail(kTag, L"load cache file");
  return SiteCacheCodec::load(*this, cacheFile_);
}

void PersistSite::writeCache() const {
  platform::logDetail(kTag, L"write cache file");
  SiteCacheCodec::save(*this, cacheFile_);
}

}  // namespace corvane_com::zel::inetmgr
