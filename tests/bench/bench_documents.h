// The generated site lists the benchmarks read: `sites` HTTP repositories,
// every fourth with credentials (unless `credentials` is false), and one proxy
// block, so a document of 10,000 sites is about the size of a large real one;
// and the data directory the benchmarks share.
#ifndef INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H
#define INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "inetmgr/log_sink.h"
#include "inetmgr/password.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "support/temp_dir.h"

namespace inetmgr_bench {

namespace im = corvane_com::zel::inetmgr;

inline void discardLog(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

// The process's data directory, made under the test root (which this process
// removes at exit) unless inherited from a parent; the log is silenced and the
// machine's address fixed, so that a measurement is of the work alone.
inline std::string dataDirectory() {
  static const std::string dir = [] {
    ::setenv("INETMGR_TEST_IP_ADDRESS", "10.0.0.1", 1);
    im::setLogSink(&discardLog, nullptr, im::LogLevel::Error);
    if (const char* inherited = std::getenv("INETMGR_DATA_DIR")) return std::string(inherited);
    std::string pattern = (inetmgr_test::testRoot() / "bench-XXXXXX").string();
    std::string made = ::mkdtemp(pattern.data());
    ::setenv("INETMGR_DATA_DIR", made.c_str(), 1);
    return made;
  }();
  return dir;
}

inline std::string generateSiteList(int sites, bool credentials = true) {
  std::wstring wide;
  im::encryptSiteListPassword(L"bench-password", wide);
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

// The document of `sites` sites in the data directory, written once per
// process tree; empty when it cannot be written.
inline std::string siteListFile(int sites, bool credentials = true) {
  const std::string path =
      dataDirectory() + "/SiteList" + std::to_string(sites) + (credentials ? "" : "-nocredentials") + ".xml";
  namespace pf = corvane_com::zel::platform;
  if (::access(path.c_str(), R_OK) != 0 && !pf::AFile::write(pf::fromUtf8(path), generateSiteList(sites, credentials)))
    return std::string();
  return path;
}

}  // namespace inetmgr_bench

#endif  // INETMGR_TESTS_BENCH_BENCH_DOCUMENTS_H
