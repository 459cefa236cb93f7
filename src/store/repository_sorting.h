// Ordering of the store's sites: by configured sort order, and the reserved
// site orders of repository ranking.
#ifndef INETMGR_STORE_REPOSITORY_SORTING_H
#define INETMGR_STORE_REPOSITORY_SORTING_H

#include <string>

#include "inetmgr/site.h"

namespace corvane_com::zel::inetmgr {

// Reserved site orders.
inline constexpr int kOrderLocalServer = 0;
inline constexpr int kOrderUnmeasurableSpipe = 65533;
inline constexpr int kOrderFallbackOrMirror = 65534;
inline constexpr int kOrderUnmeasurable = 65535;

// Sites with a configured order first, ascending; sites without one last.
bool siteCompareFunction(IImSite_ptr a, IImSite_ptr b);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_STORE_REPOSITORY_SORTING_H
