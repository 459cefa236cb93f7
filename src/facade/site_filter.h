// The filter a site list applies while it is walked: protocol, site type, exact
// name, and optional tests of the enabled and local-site-list flags.
#ifndef INETMGR_FACADE_SITE_FILTER_H
#define INETMGR_FACADE_SITE_FILTER_H

#include <string>
#include <utility>

#include "inetmgr/site_types.h"

namespace corvane_com::zel::inetmgr {

// Defaults let every site through: any protocol, any type, any name, flags untested.
struct SiteFilter {
  explicit SiteFilter(ProtocolType::Types protocolWanted = ProtocolType::typeDontCare,
                      SiteType::Types siteTypeWanted = SiteType::typeCount,
                      std::wstring nameWanted = std::wstring(), bool testLocal = false,
                      bool localWanted = false, bool testEnabled = false, bool enabledWanted = false)
      : protocol(protocolWanted),
        siteType(siteTypeWanted),
        name(std::move(nameWanted)),
        filterLocal(testLocal),
        localSiteList(localWanted),
        filterEnabled(testEnabled),
        enabled(enabledWanted) {}

  ProtocolType::Types protocol;  // typeDontCare: any
  SiteType::Types siteType;      // typeCount: any
  std::wstring name;             // empty: any
  bool filterLocal;
  bool localSiteList;
  bool filterEnabled;
  bool enabled;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_FACADE_SITE_FILTER_H
