// Generated site lists whose every version has its own, recognisable sites,
// so that a snapshot mixing two versions can be told from a complete one.
#ifndef INETMGR_TESTS_SITELIST_VERSIONS_H
#define INETMGR_TESTS_SITELIST_VERSIONS_H

#include <cwchar>
#include <string>

#include "inetmgr/site_list.h"

namespace inetmgr_test {

// Version v has 3 + v % 5 sites named "v<v>-s<i>".
inline int siteCountOf(int version) { return 3 + version % 5; }

inline std::string siteListOfVersion(int version) {
  const std::string v = std::to_string(version);
  std::string xml = "<SiteLists GlobalVersion=\"" + v + "\" LocalVersion=\"" + v + "\"><SiteList>";
  for (int i = 0; i < siteCountOf(version); ++i) {
    xml += "<HttpSite Type=\"repository\" Name=\"v" + v + "-s" + std::to_string(i) +
           "\" Server=\"repo.corp\" Enabled=\"1\" Order=\"" + std::to_string(i) + "\"/>";
  }
  return xml + "</SiteList></SiteLists>";
}

// Empty when `list` is the complete site list of the version it names (given
// back in `version`), else what is wrong; the null list names no version.
inline std::wstring checkSnapshot(corvane_com::zel::inetmgr::IImSiteList& list, std::wstring& version) {
  namespace im = corvane_com::zel::inetmgr;
  list.getGlobalSiteListVersion(version);
  const int number = std::wcstol(version.c_str(), nullptr, 10);
  if (version.empty() || list.getSiteCount() != static_cast<std::size_t>(siteCountOf(number))) {
    return L"version '" + version + L"' with " + std::to_wstring(list.getSiteCount()) + L" sites";
  }
  list.reset();
  int index = 0;
  std::wstring problem;
  for (im::IImSite* site = nullptr; list.getNextSite(site) == im::rcSuccess; site->release()) {
    const std::wstring expected = L"v" + version + L"-s" + std::to_wstring(index++);
    if (problem.empty() && site->getSiteName() != expected)
      problem = site->getSiteName() + L" in version " + version;
  }
  return problem;
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_SITELIST_VERSIONS_H
