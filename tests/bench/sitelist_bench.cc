// How fast a site list document becomes sites: generated documents of 100,
// 1,000 and 10,000 sites (every fourth with a password) go through the whole
// document path: read the file, parse, build every site, proxies, versions and
// policies. Reports sites per second and the process's peak resident memory.
#include <sys/resource.h>

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "inetmgr/log_sink.h"
#include "inetmgr/password.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "sitelist/sitelist_document.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

std::string narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

std::string generateSiteList(int sites) {
  std::wstring password;
  im::encryptSiteListPassword(L"bench-password", password);
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\">\n"
                    "\t<SiteList Default=\"1\" Name=\"bench\">\n";
  for (int i = 0; i < sites; ++i) {
    const std::string n = std::to_string(i);
    xml += "\t\t<HttpSite Type=\"repository\" Name=\"Repo" + n + "\" Server=\"repo" + n + ".corp.example:80\" Order=\"" +
           n + "\" Enabled=\"1\" Port=\"80\">\n\t\t\t<RelativePath>/repo/" + n + "</RelativePath>\n";
    if (i % 4 == 0) {
      xml += "\t\t\t<UseAuth>1</UseAuth>\n\t\t\t<UserName>user" + n + "</UserName>\n\t\t\t<Password>" +
             narrow(password) + "</Password>\n";
    }
    xml += "\t\t</HttpSite>\n";
  }
  xml += "\t\t<ProxyConfigList><ProxyConfig HTTPProxyServer=\"proxy\" HTTPProxyPort=\"3128\"/></ProxyConfigList>\n"
         "\t</SiteList>\n</SiteLists>\n";
  return xml;
}

std::string scratchDirectory() {
  static std::string dir = [] {
    char pattern[] = "/tmp/inetmgr-bench-XXXXXX";
    std::string made = ::mkdtemp(pattern);
    ::setenv("INETMGR_DATA_DIR", made.c_str(), 1);
    im::setLogSink(&discard, nullptr, im::LogLevel::Error);
    return made;
  }();
  return dir;
}

void BM_ReadSiteList(benchmark::State& state) {
  const std::string dir = scratchDirectory();
  const int sites = static_cast<int>(state.range(0));
  const std::wstring path = pf::fromUtf8(dir) + L"/SiteList" + std::to_wstring(sites) + L".xml";
  if (!pf::AFile::write(path, generateSiteList(sites))) {
    state.SkipWithError("cannot write the site list");
    return;
  }
  const std::wstring bundle = pf::fromUtf8(dir) + L"/cabundle.cer";
  for (auto _ : state) {
    pf::AdvXMLParser::Document document;
    im::SiteListContents contents;
    if (im::readSiteListFile(path, document).code != im::rcSuccess ||
        im::buildSiteListContents(document, bundle, false, contents).code != im::rcSuccess ||
        contents.sites.size() != static_cast<std::size_t>(sites)) {
      state.SkipWithError("the site list was rejected");
      return;
    }
    benchmark::DoNotOptimize(contents);
  }
  state.SetItemsProcessed(state.iterations() * sites);
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_rss_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

}  // namespace

BENCHMARK(BM_ReadSiteList)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
