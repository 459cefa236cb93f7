// What a caller pays for a site list: creating a snapshot of the store (taken
// under its lock) and walking every site of it, for stores of 100, 1,000 and
// 10,000 sites, from one thread and from two at once.
#include <string>

#include <benchmark/benchmark.h>

#include "bench_documents.h"
#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

// The version is the size, so that every size replaces the list held before.
bool pointStoreAt(int sites) {
  std::string xml = "<SiteLists GlobalVersion=\"" + std::to_string(sites) + "\" LocalVersion=\"1\"><SiteList>";
  for (int i = 0; i < sites; ++i) {
    const std::string n = std::to_string(i);
    xml += "<HttpSite Type=\"repository\" Name=\"Repo" + n + "\" Server=\"repo" + n +
           ".corp.example:80\" Enabled=\"1\" Order=\"" + n + "\"><RelativePath>/repo/" + n +
           "</RelativePath></HttpSite>";
  }
  const std::wstring path = pf::fromUtf8(inetmgr_bench::dataDirectory()) + L"/Snapshot" + std::to_wstring(sites) + L".xml";
  if (!pf::AFile::write(path, xml + "</SiteList></SiteLists>")) return false;
  im::test::ReplaceSiteListSource(path.c_str());
  im::test::ResetInitFlag();
  return im::createSiteListSmartObject(false)->getSiteCount() == static_cast<std::size_t>(sites);
}

void BM_SnapshotAndWalk(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  if (state.thread_index() == 0 && !pointStoreAt(sites)) return state.SkipWithError("the store did not load");
  for (auto _ : state) {
    im::IImSiteList* list = createSiteListObject(false);
    int walked = 0;
    for (im::IImSite* site = nullptr; list->getNextSite(site) == im::rcSuccess; site->release(), ++walked)
      benchmark::DoNotOptimize(site->getSiteName());
    list->destroy();
    if (walked != sites) state.SkipWithError("incomplete snapshot");
  }
  state.SetItemsProcessed(state.iterations() * sites);
}

}  // namespace

BENCHMARK(BM_SnapshotAndWalk)->Arg(100)->Arg(1000)->Arg(10000)->Threads(1)->Threads(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
