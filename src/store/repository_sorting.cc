// Ranking repositories by measured distance, in worker threads, and ordering
// the store's list by configured order.
#include "store/repository_sorting.h"

#include <algorithm>
#include <array>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/log.h"
#include "site/site_impl.h"
#include "store/persist_site.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"persite";
constexpr std::size_t kWorkers = 5;

void setSiteOrder(IImSite_ptr& site, int order, const std::wstring& reason) {
  site->setSiteOrder(order);
  platform::logDetail(kTag, L"site " + site->getSiteName() + L" order=" + std::to_wstring(order) + L" (" + reason);
}

bool isLocalServer(const std::wstring& server) { return server == L"127.0.0.1" || server == L"localhost"; }

bool orderComesFirst(int a, int b) {
  if (a == ImSiteImpl::s_invalidOrderValue_) return false;
  if (b == ImSiteImpl::s_invalidOrderValue_) return true;
  return a < b;
}

}  // namespace

bool siteCompareFunction(IImSite_ptr a, IImSite_ptr b) {
  return orderComesFirst(a->getSortOrder(), b->getSortOrder());
}

void PersistSite::sortSitelist() {
  // Each site's order is read once rather than at every comparison; the sort
  // compares the same orders, so it moves the sites just as sorting them
  // directly would.
  std::vector<std::pair<int, IImSite_ptr>> keyed;
  keyed.reserve(sites_.size());
  for (IImSite_ptr& site : sites_) keyed.emplace_back(site->getSortOrder(), std::move(site));
  // Deliberately not stable: sites without a configured order have no order
  // among themselves. Measured site orders travel with each site instead.
  std::sort(keyed.begin(), keyed.end(),
            [](const auto& a, const auto& b) { return orderComesFirst(a.first, b.first); });
  for (std::size_t i = 0; i < keyed.size(); ++i) sites_[i] = std::move(keyed[i].second);
}

void PersistSite::pingTimeCalculatorThread(std::vector<IImSite_ptr>& sites, unsigned int pingTimeout) {
  platform::logDetail(kTag, L"Starting ping time thread()");
  try {
    for (IImSite_ptr& site : sites) {
      if (isAbortRequested()) {
        sortFailed_ = true;
        return;
      }
      if (!site->isEnabled()) continue;
      const SiteType::Types type = site->getType();
      const std::wstring server = site->getServerName();
      if (server.empty()) {
        setSiteOrder(site, kOrderUnmeasurable, L"unavailable, server name empty");
      } else if (type == SiteType::Fallback || type == SiteType::Mirror) {
        setSiteOrder(site, kOrderFallbackOrMirror, L"fallback or mirror");
      } else if (site->getProtocol() != ProtocolType::Local && isLocalServer(server)) {
        setSiteOrder(site, kOrderLocalServer, L"local server");
      } else {
        const int delay = site->ping(static_cast<int>(pingTimeout));
        if (delay == kOrderUnmeasurable && site->getProtocol() == ProtocolType::Spipe) {
          setSiteOrder(site, kOrderUnmeasurableSpipe, L"couldn't ping, but is Orno server");
        } else {
          setSiteOrder(site, delay, L"by ping delay test");
        }
      }
    }
  } catch (...) {
    platform::logError(kTag, L"Unknown error occurred in ping time calculation thread");
    sortFailed_ = true;
  }
}

void PersistSite::hopCountCalculatorThread(std::vector<IImSite_ptr>& sites, unsigned int hopLimit) {
  platform::logDetail(kTag, L"Starting hop count thread()");
  try {
    for (IImSite_ptr& site : sites) {
      if (isAbortRequested()) {
        sortFailed_ = true;
        return;
      }
      const int hops = site->calculateSubnetDistance(static_cast<int>(hopLimit));
      if (hops == kOrderUnmeasurable && site->getProtocol() == ProtocolType::Spipe) {
        setSiteOrder(site, kOrderUnmeasurableSpipe, L"couldn't calculate hop count for Orno server");
      } else {
        setSiteOrder(site, hops, L"by hop count");
      }
    }
  } catch (...) {
    platform::logError(kTag, L"Unknown error occurred in hop count calculation thread");
    sortFailed_ = true;
  }
}

void PersistSite::setOrdersUsingPingTimeOrHopCount(std::vector<IImSite_ptr>& sites, SiteListSortMethods method,
                                                   int pingTimeout, int hopLimit) {
  platform::logInfo(kTag, std::wstring(L"Starting sorting of repositories using ") +
                              (method == sortByHopCount ? L"hop count" : L"ping time"));
  // Each worker owns its share; the sites themselves are not shared.
  std::array<std::vector<IImSite_ptr>, kWorkers> shares;
  std::size_t dealt = 0;
  for (IImSite_ptr& site : sites) {
    if (isAbortRequested()) {
      sortFailed_ = true;
      return;
    }
    if (!site->isEnabled()) continue;
    if (site->getType() == SiteType::Fallback) {
      setSiteOrder(site, kOrderFallbackOrMirror, L"fallback");
    } else if (site->getType() == SiteType::Mirror) {
      setSiteOrder(site, kOrderFallbackOrMirror, L"mirror");
    } else {
      shares[dealt++ % kWorkers].push_back(site);
    }
  }
  std::vector<std::thread> workers;
  for (auto& share : shares) {
    if (share.empty()) continue;
    try {
      if (method == sortByHopCount) {
        workers.emplace_back([this, &share, hopLimit] { hopCountCalculatorThread(share, static_cast<unsigned>(hopLimit)); });
      } else {
        workers.emplace_back(
            [this, &share, pingTimeout] { pingTimeCalculatorThread(share, static_cast<unsigned>(pingTimeout)); });
      }
    } catch (const std::bad_alloc&) {
      platform::logError(kTag, L"Memory allocation failed during thread creation");
      sortFailed_ = true;
    } catch (const std::system_error& e) {
      platform::logError(kTag, L"boost exception occured and error code is " + std::to_wstring(e.code().value()));
      sortFailed_ = true;
    } catch (...) {
      platform::logError(kTag, L"Unknown error occurred during thread creation");
      sortFailed_ = true;
    }
  }
  for (std::thread& worker : workers) worker.join();
}

}  // namespace corvane_com::zel::inetmgr
