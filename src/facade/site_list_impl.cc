// The site list iterator: the snapshot taken from the store, the filtered walk
// and the walk by site order.
#include "facade/site_list_impl.h"

#include <new>
#include <stdexcept>
#include <system_error>

#include "core/result_exceptions.h"
#include "core/string_conversion.h"
#include "facade/safe_lock.h"
#include "platform/assert.h"
#include "platform/log.h"
#include "site/progress.h"
#include "site/site_impl.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imsitel";
constexpr unsigned int kMethodConfiguredOrder = 2;

// Gives `held` to a caller with a reference of its own. Only the library's
// own sites can take one: anything else is a programming error (rcBadCast).
ResultCode handOut(IImSite* held, IImSite*& site) {
  auto* impl = dynamic_cast<ImSiteImpl*>(held);
  if (impl == nullptr) {
    platform::logInternalError(kTag, getErrorText(rcBadCast, false));
    return rcBadCast;
  }
  impl->addRef();
  site = impl;
  return rcSuccess;
}

}  // namespace

ImSiteListImpl::ImSiteListImpl(IPersistSite* store, ResultCode storeStatus)
    : current_(0),
      last_(kNoSite),
      filter_(std::make_shared<SiteFilter>()),
      policyOverwriteClientSites_(false),
      policyFindNearestMethod_(kMethodConfiguredOrder) {
  const ResultCode code = initFromPersist(store, storeStatus);
  if (code == rcSuccess) {
    INETMGR_ASSERT(isValid(), "isValid()");
    return;
  }
  if (code == rcShutDown) {
    throw InetMgrShutDownException(
        "inetmgr sitelist object cannot be created as shutdown request has arrived");
  }
  throw std::runtime_error("Failed to initialize ImSiteListImpl : " +
                           convertString<char>(getErrorText(code, false)));
}

bool ImSiteListImpl::isValid() const {
  return current_ <= sites_.size() && (last_ == kNoSite || last_ < current_);
}

void ImSiteListImpl::destroy() {
  INETMGR_ASSERT(isValid(), "isValid()");
  delete this;
}

ResultCode ImSiteListImpl::initFromPersist(IPersistSite* store, ResultCode storeStatus) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::initFromPersist()");
  if (store == nullptr) return storeStatus == rcShutDown ? rcShutDown : rcNotInitialized;

  ResultCode result = rcSuccess;
  try {
    SafeLock lock(store);
    try {
      if (lock.getCookie() == 0) throw initException(rcLockFailed);
      ResultCode code = store->getGlobalSiteListVersion(globalVersion_);
      if (code != rcSuccess) throw initException(code);
      code = store->getLocalSiteListVersion(localVersion_);
      if (code != rcSuccess) throw initException(code);
      policyOverwriteClientSites_ = store->getPolicyOverwriteClientSites();
      policyFindNearestMethod_ = store->getPolicyFindNearestMethod();
      code = addSitesFromPersist(store);
      if (code != rcSuccess) throw initException(code);
    } catch (const initException& e) {
      result = e.getCode();
      platform::logError(kTag, getErrorText(result, false));
    }
    // Given back here rather than in the destructor so that a lock error is reported.
    lock.unlock();
  } catch (const std::system_error& e) {
    platform::logError(kTag, L"Error accessing PersistSite's lock " + std::to_wstring(e.code().value()));
    result = rcLockFailed;
  }
  INETMGR_ASSERT(isValid(), "isValid()");
  return result;
}

ResultCode ImSiteListImpl::addSitesFromPersist(IPersistSite* store) {
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::addSitesFromPersist");
  if (store == nullptr) return rcBadArgument;
  try {
    ResultCode code = store->reset();
    if (code != rcSuccess) throw initException(code);

    sites_.clear();
    sites_.reserve(store->getSiteCount());
    IImSite_ptr heldBackFallback;
    IImSite* site = nullptr;
    while ((code = store->getNextSite(site)) == rcSuccess) {
      // A null entry stays an empty handle; walking onto it reports rcSiteListError.
      IImSite_ptr handle = site != nullptr ? wrapSitePtr(site) : IImSite_ptr();
      site = nullptr;
      // Under configured order the fallback goes last and only the last one is
      // kept: deliberate.
      if (policyFindNearestMethod_ == kMethodConfiguredOrder && handle &&
          handle->getType() == SiteType::Fallback) {
        heldBackFallback = handle;
      } else {
        sites_.push_back(handle);
      }
    }
    if (heldBackFallback) sites_.push_back(heldBackFallback);
    if (code != rcEndOfList) throw initException(code);

    reset();
    code = store->reset();
    if (code != rcSuccess) throw initException(code);
  } catch (const initException& e) {
    return e.getCode();
  }
  INETMGR_ASSERT(isValid(), "isValid()");
  return rcSuccess;
}

ResultCode ImSiteListImpl::getGlobalSiteListVersion(std::wstring& version) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  version = globalVersion_;
  return rcSuccess;
}

ResultCode ImSiteListImpl::getLocalSiteListVersion(std::wstring& version) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  version = localVersion_;
  return rcSuccess;
}

ResultCode ImSiteListImpl::getNextNearestSite(const std::wstring&, std::wstring&, std::wstring&,
                                              std::wstring&, bool&) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return rcNotImplemented;
}

ResultCode ImSiteListImpl::setSiteSearchParams(const bool* enabled, ProtocolType::Types protocol,
                                               SiteType::Types siteType, const wchar_t* name,
                                               const bool* localSiteList) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::setSiteSearchParams()");
  // Range errors reach the caller as they are: part of the interface's contract.
  if (protocol < ProtocolType::Ftp || protocol > ProtocolType::typeDontCare) {
    throw std::range_error("Arg 'protocol' out of range.");
  }
  if (siteType < SiteType::Master || siteType > SiteType::typeCount) {
    throw std::range_error("Arg 'siteType' out of range.");
  }
  filter_.reset();
  try {
    filter_ = std::make_shared<SiteFilter>(
        protocol, siteType, name != nullptr ? std::wstring(name) : std::wstring(), localSiteList != nullptr,
        localSiteList != nullptr && *localSiteList, enabled != nullptr, enabled != nullptr && *enabled);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Failed new SiteFilter");
    return rcOutOfMemory;
  }
  INETMGR_ASSERT(nullptr != filter_.get(), "0!=filter_.get()");
  return rcSuccess;
}

bool ImSiteListImpl::doesSiteMatchFilter() const {
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::doesSiteMatchFilter()");
  const IImSite* site = sites_[current_].get();
  INETMGR_ASSERT(nullptr != site, "0!=site");
  if (!filter_) return true;
  const SiteFilter& filter = *filter_;
  if (filter.protocol != ProtocolType::typeDontCare && filter.protocol != site->getProtocol()) return false;
  if (filter.siteType != SiteType::typeCount && filter.siteType != site->getType()) return false;
  if (filter.filterLocal && filter.localSiteList != site->isLocalSiteList()) return false;
  if (filter.filterEnabled && filter.enabled != site->isEnabled()) return false;
  if (!filter.name.empty() && filter.name != site->getSiteName()) return false;
  return true;
}

ResultCode ImSiteListImpl::getNextSite(IImSite*& site) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::getNextSite()");
  while (current_ != sites_.size()) {
    if (!sites_[current_]) return rcSiteListError;
    const bool matches = doesSiteMatchFilter();
    last_ = current_;
    ++current_;
    if (!matches) continue;
    return handOut(sites_[last_].get(), site);
  }
  return rcEndOfList;
}

ResultCode ImSiteListImpl::getNextSiteByIndex(int& index, IImSite*& site) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::getNextSiteByIndex()");
  // Only the protocol part of the filter applies, and an index once built is
  // kept through later filter changes: both deliberate.
  if (sitesByOrder_.empty()) {
    const ProtocolType::Types protocol = filter_ ? filter_->protocol : ProtocolType::typeDontCare;
    for (const IImSite_ptr& handle : sites_) {
      if (!handle) continue;
      if (protocol == ProtocolType::typeDontCare || protocol == handle->getProtocol()) {
        sitesByOrder_.emplace(handle->getSiteOrder(), handle.get());
      }
    }
  }
  auto it = sitesByOrder_.begin();
  // A negative index never reaches zero steps and so walks to the end.
  for (int steps = index; steps != 0 && it != sitesByOrder_.end(); --steps) ++it;
  // The end is a list error rather than rcEndOfList: deliberate.
  if (it == sitesByOrder_.end()) return rcSiteListError;
  return handOut(it->second, site);
}

ResultCode ImSiteListImpl::reset() {
  INETMGR_ASSERT(isValid(), "isValid()");
  current_ = 0;
  last_ = kNoSite;
  INETMGR_ASSERT(isValid(), "isValid()");
  return rcSuccess;
}

std::size_t ImSiteListImpl::getSiteCount() const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return sites_.size();
}

bool ImSiteListImpl::getPolicyOverwriteClientSites() const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return policyOverwriteClientSites_;
}

unsigned int ImSiteListImpl::getPolicyFindNearestMethod() const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return policyFindNearestMethod_;
}

ResultCode ImSiteListImpl::addSite(IImSite* iSite) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::addSite()");
  INETMGR_ASSERT(nullptr != iSite, "0!=iSite");
  IImSite_ptr sitePtr = wrapSitePtr(iSite);
  INETMGR_ASSERT(sitePtr.get() == iSite, "sitePtr.get()==iSite");
  sites_.push_back(sitePtr);
  return reset();
}

}  // namespace corvane_com::zel::inetmgr
