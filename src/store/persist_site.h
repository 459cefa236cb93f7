// PersistSite: the process-wide store of the current site list. Built on first
// use, refreshed from the site list file when the file (or the machine's IP
// address) changes, swapped only when a new list is complete, kept in a cache
// file, and handed to site lists under a lock with a cookie.
#ifndef INETMGR_STORE_PERSIST_SITE_H
#define INETMGR_STORE_PERSIST_SITE_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/file_stat.h"
#include "inetmgr/site_list.h"
#include "sitelist/policies.h"
#include "store/persist_site_itf.h"

namespace corvane_com::zel::inetmgr {

class SiteCacheAccess;

class PersistSite final : public IPersistSite {
 public:
  // The store, refreshed when needed; null with `rc` set when it holds no usable
  // list (rcShutDown after a shutdown request, otherwise `rc` is left as the
  // caller set it). Thread-safe; one process at a time refreshes.
  static PersistSite* getInstance(ResultCode& rc);

  // Paths to use instead of the defaults; set them before first use.
  static void setDefaultSiteList(const wchar_t* sitelistPath);
  static void setDefaultCacheFile(const wchar_t* cacheFilePath);
  static void setDefaultCabundlePath(const wchar_t* caBundlePath);

  // The outcome of the last refresh (or of the failure to start one).
  static SiteListRefreshStatus lastRefreshStatus();

  // From now on getInstance fails with rcShutDown and running sorts stop.
  static void abortOperation();
  static bool isAbortRequested();

  // Test hooks: forget the one-time set-up (the paths, the cache and the
  // file's stat are looked at again on the next use; the held list stays),
  // and drop the held list.
  static void resetInitFlag();
  static void testResetSiteList();
  // Called between the lock steps of a refresh; does nothing unless a test
  // installed a hook (to hold the locks longer, say).
  static void testDelay();
  static void setTestDelayHook(void (*hook)());
  void resetSiteList();

  // IPersistSite
  void destroy() override {}
  ResultCode getGlobalSiteListVersion(std::wstring& version) const override;
  ResultCode getLocalSiteListVersion(std::wstring& version) const override;
  ResultCode getNextNearestSite(const std::wstring&, std::wstring&, std::wstring&, std::wstring&,
                                bool&) const override {
    return rcNotImplemented;
  }
  ResultCode setSiteSearchParams(const bool*, ProtocolType::Types, SiteType::Types, const wchar_t*,
                                 const bool*) override {
    return rcNotImplemented;
  }
  ResultCode getNextSite(IImSite*& site) override;
  ResultCode getNextSiteByIndex(int& index, IImSite*& site) override;
  ResultCode reset() override;
  std::size_t getSiteCount() const override { return sites_.size(); }
  bool getPolicyOverwriteClientSites() const override { return policies_.overwriteClientSites; }
  unsigned int getPolicyFindNearestMethod() const override {
    return static_cast<unsigned int>(policies_.findNearestMethod);
  }
  ResultCode addRemediationSites(const std::wstring&) override { return rcNotImplemented; }
  long lock() override;
  bool unlock(long cookie) override;
  bool isLocked() const override { return lockCount_.load() != 0; }
  bool setNewXmlDocument(platform::XmlDocument* newDocument) override;
  void getProxyList(std::vector<xoInet::CProxyParams>& proxies) const override;

  // Where this store reads and writes; fixed at first use.
  static std::wstring siteListPath();
  static std::wstring cacheFilePath();
  static std::wstring caBundlePath();

  bool isValid() const { return valid_; }
  bool useSystemProxy() const { return useSystemProxy_; }
  const SiteListPolicies& getPolicies() const { return policies_; }

 private:
  friend class SiteCacheAccess;
  PersistSite() = default;
  ~PersistSite() override;
  // The one instance, destroyed at process exit.
  static PersistSite& self();

  // The paths and the cache, once (again after resetInitFlag); false when
  // the callers holding the list did not let go in time.
  bool initializeOnce();
  bool loadDocumentIfInternalListExpired(std::wstring& ip);
  bool readDocument();
  bool isDocumentVersionNewer() const;
  bool copyDocumentToInternal(const std::wstring& ip);
  // Keeps what the last refresh came to, for lastRefreshStatus; logs the
  // reason of a failure.
  static void recordRefresh(ResultCode code, const std::wstring& reason,
                            std::vector<std::wstring> skippedEntries = {});
  void sortSitelist();
  // Packs every held site's properties, so that the copies handed out share
  // them instead of copying them.
  void shareSiteProperties();
  // Ranks the enabled repositories by ping time or hop count in up to five
  // worker threads; sets sortFailed_ on failure or shutdown.
  void setOrdersUsingPingTimeOrHopCount(std::vector<IImSite_ptr>& sites, SiteListSortMethods method,
                                        int pingTimeout, int hopLimit);
  void pingTimeCalculatorThread(std::vector<IImSite_ptr>& sites, unsigned int pingTimeout);
  void hopCountCalculatorThread(std::vector<IImSite_ptr>& sites, unsigned int hopLimit);
  bool loadCacheToInternal();
  void writeCache() const;

  std::timed_mutex accessMutex_;
  std::timed_mutex lockMapMutex_;
  std::map<long, std::shared_ptr<std::unique_lock<std::timed_mutex>>> accessLocks_;
  long lockCookie_ = 0;
  std::atomic<std::size_t> lockCount_{0};

  std::shared_ptr<platform::XmlDocument> document_;
  std::vector<IImSite_ptr> sites_;
  std::size_t cursor_ = 0;
  std::shared_ptr<std::vector<xoInet::CProxyParams>> proxies_ = std::make_shared<std::vector<xoInet::CProxyParams>>();
  bool useSystemProxy_ = false;
  std::wstring globalVersion_;
  std::wstring localVersion_;
  SiteListPolicies policies_;
  FileStat fileStat_;
  std::wstring ipAddress_;
  // Read without a lock by callers that find a refresh running.
  std::atomic<bool> valid_{false};
  std::atomic<bool> sortFailed_{false};

  static std::wstring defaultSiteList_;
  static std::wstring defaultCacheFile_;
  static std::wstring defaultCabundlePath_;
  // The paths in effect, fixed by the one-time set-up.
  static std::wstring siteList_;
  static std::wstring cacheFile_;
  static std::wstring caBundle_;
  static bool oneTimeStaticDataInitializationCompleted_;
  static std::timed_mutex initializerMutex_;
  // One refreshing thread per process.
  static std::mutex refreshMutex_;
  static std::mutex m_AbortMutex;
  static std::atomic<bool> m_bAbort;
  static std::atomic<void (*)()> testDelayHook_;
  static std::mutex refreshStatusMutex_;
  static SiteListRefreshStatus refreshStatus_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_STORE_PERSIST_SITE_H
