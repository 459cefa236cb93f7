// The store's life: one-time set-up, refresh from the site list file, the swap
// of a complete new list, and the lock-cookie protocol.
#include "store/persist_site.h"

#include <new>
#include <system_error>

#include "core/deadline.h"
#include "inetmgr/site_list_writer.h"
#include "platform/assert.h"
#include "platform/interprocess_lock.h"
#include "platform/log.h"
#include "platform/net_interfaces.h"
#include "site/site_impl.h"
#include "sitelist/sitelist_document.h"
#include "sitelist/versions.h"
#include "store/agent_settings.h"
#include "store/site_cache.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"persite";
constexpr long long kLockWaitSeconds = 60;
// The refresh lock is waited for without limit.
constexpr unsigned long kWaitForever = 2147483647UL;
constexpr unsigned long kFileLockWaitMs = 60000;

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
  std::lock_guard<std::timed_mutex> guard(initializerMutex_);
  self().resetSiteList();
}

std::wstring PersistSite::siteListPath() { return siteList_; }
std::wstring PersistSite::cacheFilePath() { return cacheFile_; }
std::wstring PersistSite::caBundlePath() { return caBundle_; }

PersistSite* PersistSite::getInstance(ResultCode& rc) {
  platform::ADetailTrace trace(kTag, L"PersistSite::getInstance()");
  if (isAbortRequested()) {
    rc = rcShutDown;
    return nullptr;
  }
  PersistSite* store = nullptr;
  bool valid = false;
  try {
    // One process, and one thread, at a time refreshes and sorts.
    platform::InterProcessWriteLock sortingLock(L"SiteListSortingLock");
    if (!sortingLock.lock(kWaitForever)) {
      platform::logError(kTag, L"Failed to lock or to construct PersistSite");
      return nullptr;
    }
    testDelay();
    if (isAbortRequested()) {
      rc = rcShutDown;
      return nullptr;
    }
    PersistSite& instance = self();
    store = &instance;
    // Held for the whole refresh: no new cookie can be handed out between the
    // "not locked" test and the swap.
    std::unique_lock<std::timed_mutex> initializing(initializerMutex_, std::defer_lock);
    if (!initializing.try_lock_until(getTimePlus(kLockWaitSeconds))) {
      platform::logError(kTag, L"Failed to lock or to construct PersistSite");
      return nullptr;
    }
    testDelay();
    instance.initializeOnce();
    std::wstring ip;
    if (instance.loadDocumentIfInternalListExpired(ip) && instance.copyDocumentToInternal(ip)) {
      instance.valid_ = true;
    }
    instance.document_.reset();
    valid = instance.valid_;
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Memory allocation failed during attempt to construct PersistSite.");
    return nullptr;
  } catch (const std::system_error& e) {
    platform::logError(kTag, L"boost exception occured and error code is " + std::to_wstring(e.code().value()));
    return nullptr;
  }
  if (!valid) {
    if (isAbortRequested()) rc = rcShutDown;
    return nullptr;
  }
  return store;
}

void PersistSite::initializeOnce() {
  if (oneTimeStaticDataInitializationCompleted_) return;
  oneTimeStaticDataInitializationCompleted_ = true;
  resetSiteList();
  fileStat_.reset();
  siteList_ = defaultSiteList_.empty() ? getExpectedSitelistLocation() : defaultSiteList_;
  const std::wstring directory = directoryOf(siteList_);
  cacheFile_ = defaultCacheFile_.empty() ? directory + L"/sitecache.bin" : defaultCacheFile_;
  platform::logDetail(kTag, L"Cache file location = " + cacheFile_);
  caBundle_ = defaultCabundlePath_.empty() ? directory + L"/cabundle.cer" : defaultCabundlePath_;
  platform::logDetail(kTag, L"Cabundle file location = " + caBundle_);
  valid_ = loadCacheToInternal();
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
    return false;
  }
  // Shared with this process's writers of the file, as the inter-process
  // lock below is with other processes.
  std::shared_ptr<std::shared_lock<std::shared_timed_mutex>> writerLock;
  if (SiteListWriter::acquireReadLock(writerLock, kLockWaitSeconds) != rcSuccess) {
    platform::logError(kTag, L"Failed to lock the site list file " + siteList_);
    return false;
  }
  platform::InterProcessReadLock fileLock(L"SiteListLock");
  if (!fileLock.lock(kFileLockWaitMs)) {
    platform::logError(kTag, L"Failed to lock the site list file " + siteList_);
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
  if (result.code != rcSuccess) return false;
  document_ = document;
  return true;
}

bool PersistSite::isDocumentVersionNewer() const {
  return document_ && inetmgr::isDocumentVersionNewer(document_->GetRoot(), globalVersion_, localVersion_);
}

bool PersistSite::copyDocumentToInternal(const std::wstring& ip) {
  if (!document_) return false;
  SiteListContents contents;
  if (buildSiteListContents(*document_, caBundle_, isManagedMode(), contents).code != rcSuccess) return false;
  sortFailed_ = false;
  if (contents.policies.findNearestMethod != sortByConfiguredOrder) {
    setOrdersUsingPingTimeOrHopCount(contents.sites, contents.policies.findNearestMethod,
                                     contents.policies.maxPingTimeout, contents.policies.maxHopLimit);
    if (sortFailed_) {
      if (isAbortRequested()) {
        platform::logInfo(kTag, L"Sorting of repositories stopped due to service shutdown request");
      } else {
        platform::logError(kTag, L"Sorting of repositories failed");
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
  }
  writeCache();
  return true;
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
  std::lock_guard<std::mutex> map(lockMapMutex_);
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
  std::lock_guard<std::mutex> map(lockMapMutex_);
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

bool PersistSite::setNewXmlDocument(platform::AdvXMLParser::Document* newDocument) {
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
