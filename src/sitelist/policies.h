// The policy block of a site list: how repositories are ranked and whether the
// server's list replaces the client's own sites.
#ifndef INETMGR_SITELIST_POLICIES_H
#define INETMGR_SITELIST_POLICIES_H

#include <cstdint>

#include "inetmgr/result_code.h"
#include "platform/xml.h"

namespace corvane_com::zel::inetmgr {

// How repositories are ranked when a new list is taken.
enum SiteListSortMethods : std::int32_t {
  sortByPingTime = 0,
  sortByHopCount = 1,
  sortByConfiguredOrder = 2,  // no measurement
};

// The defaults are what a list without a policy block means.
struct SiteListPolicies {
  bool overwriteClientSites = false;
  SiteListSortMethods findNearestMethod = sortByConfiguredOrder;
  int maxHopLimit = 15;
  int maxPingTimeout = 30;  // seconds
};

// Reads the XO_XML_POLICIES child of `root` over the defaults into `out`.
// Returns rcSuccess, or rcBadSchema with an error log line at the first
// invalid value, `out` then unchanged. Thread-safe.
ResultCode readPolicies(const platform::AdvXMLParser::Element& root, SiteListPolicies& out,
                        std::wstring* problem = nullptr);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITELIST_POLICIES_H
