// The site list the ranking test and benchmark hand the store: sites at given
// addresses under a policy that ranks by ping time (0) or hop count (1), with
// a one-second ping timeout so silent hosts do not stretch a run.
#ifndef INETMGR_TESTS_RANKING_SITE_LIST_H
#define INETMGR_TESTS_RANKING_SITE_LIST_H

#include <array>
#include <fstream>
#include <string>
#include <vector>

namespace inetmgr_test {

// Sites as {name, type, address}: a master site is an spipe site, the others
// HTTP sites; every server is "<name>.invalid", but "Here"'s is localhost.
inline void writeRankingSiteList(const std::string& path, int method,
                                 const std::vector<std::array<std::string, 3>>& sites) {
  std::ofstream list(path);
  list << "<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\"><SiteList>";
  for (const auto& [name, type, ip] : sites)
    list << (type == "master" ? "<SpipeSite" : "<HttpSite") << " Name=\"" << name << "\" Type=\"" << type
         << "\" Server=\"" << (name == "Here" ? "localhost" : name + ".invalid") << "\" ServerIP=\"" << ip
         << "\" Enabled=\"1\"/>";
  list << "</SiteList><Policies><Setting name=\"uiFindNearestMethod\">" << method
       << "</Setting><Setting name=\"nMaxPingTimeout\">1</Setting></Policies></SiteLists>";
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_RANKING_SITE_LIST_H
