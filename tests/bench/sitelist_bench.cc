// How fast a site list document becomes sites: generated documents of 100,
// 1,000 and 10,000 sites (every fourth with a password) go through the whole
// document path: read the file, parse, build every site, proxies, versions and
// policies. Reports sites per second and the process's peak resident memory.
#include <sys/resource.h>

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "bench_documents.h"
#include "inetmgr/log_sink.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "sitelist/sitelist_document.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

std::string scratchDirectory() {
  static std::string dir = [] {
    // Under the test root, which this process removes at exit.
    std::string pattern = (inetmgr_test::testRoot() / "bench-XXXXXX").string();
    std::string made = ::mkdtemp(pattern.data());
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
  if (!pf::AFile::write(path, inetmgr_bench::generateSiteList(sites))) {
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
