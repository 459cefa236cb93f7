// How fast a site list document becomes sites: generated documents of 100,
// 1,000 and 10,000 sites (every fourth with a password) go through the whole
// document path: read the file, parse, build every site, proxies, versions and
// policies. Reports sites per second and the process's peak resident memory.
#include <sys/resource.h>

#include <string>

#include <benchmark/benchmark.h>

#include "bench_documents.h"
#include "sitelist/sitelist_document.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

void BM_ReadSiteList(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  const std::string file = inetmgr_bench::siteListFile(sites);
  if (file.empty()) return state.SkipWithError("cannot write the site list");
  const std::wstring path = pf::fromUtf8(file);
  const std::wstring bundle = pf::fromUtf8(inetmgr_bench::dataDirectory()) + L"/cabundle.cer";
  for (auto _ : state) {
    pf::AdvXMLParser::Document document;
    im::SiteListContents contents;
    if (im::readSiteListFile(path, document).code != im::rcSuccess ||
        im::buildSiteListContents(document, bundle, false, contents).code != im::rcSuccess ||
        contents.sites.size() != static_cast<std::size_t>(sites))
      return state.SkipWithError("the site list was rejected");
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
