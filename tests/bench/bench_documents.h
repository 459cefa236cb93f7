// The generated site lists the benchmarks read: `sites` HTTP repositories,
// every fourth with credentials (unless `credentials` is false), and one proxy
// block, so a document of 10,000 sites is about the size of a large real one.
#ifndef INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H
#define INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H

#include <string>

#include "inetmgr/password.h"

namespace inetmgr_bench {

inline std::string generateSiteList(int sites, bool credentials = true) {
  std::wstring wide;
  corvane_com::zel::inetmgr::encryptSiteListPassword(L"bench-password", wide);
  const std::string password(wide.begin(), wide.end());  // base64, so plain ASCII
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\">\n"
      "\t<SiteList Default=\"1\" Name=\"bench\">\n";
  for (int i = 0; i < sites; ++i) {
    const std::string n = std::to_string(i);
    xml += "\t\t<HttpSite Type=\"repository\" Name=\"Repo" + n + "\" Server=\"repo" + n +
           ".corp.example:80\" Order=\"" + n + "\" Enabled=\"1\" Port=\"80\">\n\t\t\t<RelativePath>/repo/" +
           n + "</RelativePath>\n";
    if (credentials && i % 4 == 0) {
      xml += "\t\t\t<UseAuth>1</UseAuth>\n\t\t\t<UserName>user" + n + "</UserName>\n\t\t\t<Password>" +
             password + "</Password>\n";
    }
    xml += "\t\t</HttpSite>\n";
  }
  xml +=
      "\t\t<ProxyConfigList><ProxyConfig HTTPProxyServer=\"proxy\" "
      "HTTPProxyPort=\"3128\"/></ProxyConfigList>\n"
      "\t</SiteList>\n</SiteLists>\n";
  return xml;
}

}  // namespace inetmgr_bench

#endif  // INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H
