// ImSiteListImpl: a caller's snapshot of the store's sites, copied under the
// store's lock and then walked without locks, by filter or by site order.
#ifndef INETMGR_FACADE_SITE_LIST_IMPL_H
#define INETMGR_FACADE_SITE_LIST_IMPL_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "facade/site_filter.h"
#include "inetmgr/site_list.h"
#include "store/persist_site_itf.h"

namespace corvane_com::zel::inetmgr {

class ImSiteListImpl final : public IImSiteList {
 public:
  // Takes the snapshot from `store`. A null store stands for one that could not
  // be had, and `storeStatus` says why (rcShutDown or anything else). Throws
  // InetMgrShutDownException after a shutdown request, std::runtime_error
  // "Failed to initialize ImSiteListImpl : <text>" for any other failure, and
  // std::bad_alloc.
  explicit ImSiteListImpl(IPersistSite* store, ResultCode storeStatus = rcSuccess);
  ImSiteListImpl(const ImSiteListImpl&) = delete;
  ImSiteListImpl& operator=(const ImSiteListImpl&) = delete;

  // IImSiteList
  void destroy() override;
  ResultCode getGlobalSiteListVersion(std::wstring& version) const override;
  ResultCode getLocalSiteListVersion(std::wstring& version) const override;
  ResultCode getNextNearestSite(const std::wstring& name, std::wstring& a, std::wstring& b, std::wstring& c,
                                bool& flag) const override;
  ResultCode setSiteSearchParams(const bool* enabled, ProtocolType::Types protocol, SiteType::Types siteType,
                                 const wchar_t* name, const bool* localSiteList) override;
  ResultCode getNextSite(IImSite*& site) override;
  ResultCode getNextSiteByIndex(int& index, IImSite*& site) override;
  ResultCode reset() override;
  std::size_t getSiteCount() const override;
  bool getPolicyOverwriteClientSites() const override;
  unsigned int getPolicyFindNearestMethod() const override;
  ResultCode addRemediationSites(const std::wstring& sites) override;

  // Appends `site`, taking over the caller's reference, and resets the iterator.
  ResultCode addSite(IImSite* site);

  // Adds one remediation URL in front of the list; rewrites `site` (trimmed,
  // back-slashes turned into slashes). rcPathError for a malformed URL.
  ResultCode addRemediationSiteHelper(std::wstring& site);
  static void trimWhiteSpace(std::wstring& text);
  // Erases the character at `position` only when it is `character`.
  static void removeCharacterFromPosition(std::wstring& text, const unsigned int& position,
                                          const wchar_t& character);

 private:
  ~ImSiteListImpl() override = default;

  bool isValid() const;
  ResultCode initFromPersist(IPersistSite* store, ResultCode storeStatus);
  ResultCode addSitesFromPersist(IPersistSite* store);
  bool doesSiteMatchFilter() const;

  // Positions are indices into sites_ so that inserting a site cannot leave
  // them dangling. current_ == sites_.size() is the end; last_ is kNoSite
  // while no site has been examined.
  static constexpr std::size_t kNoSite = static_cast<std::size_t>(-1);
  std::vector<IImSite_ptr> sites_;
  std::size_t current_;
  std::size_t last_;
  std::wstring globalVersion_;
  std::shared_ptr<SiteFilter> filter_;
  std::wstring localVersion_;
  bool policyOverwriteClientSites_;
  unsigned int policyFindNearestMethod_;
  // Pointers borrowed from sites_, which only grows, so they stay valid.
  std::multimap<int, IImSite*> sitesByOrder_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_FACADE_SITE_LIST_IMPL_H
