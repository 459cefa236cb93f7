// What a caller pays for a site list: creating a snapshot of the store (taken
// under its lock) and walking every site of it, for stores of 100, 1,000 and
// 10,000 sites, from one thread and from two at once.
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "inetmgr/inetmgr.h"
#include "platform/files.h"
#include "platform/utf8.h"
#include "support/temp_dir.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

std::string dataDirectory() {
  static std::string dir = [] {
    // Under the test root, which this process removes at exit.
    std::string pattern = (inetmgr_test::testRoot() / "bench-XXXXXX").string();
    std::string made = ::mkdtemp(pattern.data());
    ::setenv("INETMGR_DATA_DIR", made.c_str(), 1);
    ::setenv("INETMGR_TEST_IP_ADDRESS", "10.0.0.1", 1);
    im::setLogSink(&discard, nullptr, im::LogLevel::Error);
    return made;
  }();
  return dir;
}

bool pointStoreAt(int sites) {
  std::string xml = "<SiteLists GlobalVersion=\"" + std::to_string(sites) + "\" LocalVersion=\"1\"><SiteList>";
  for (int i = 0; i < sites; ++i) {
    const std::string n = std::to_string(i);
    xml += "<HttpSite Type=\"repository\" Name=\"Repo" + n + "\" Server=\"repo" + n +
           ".corp.example:80\" Enabled=\"1\" Order=\"" + n + "\"><RelativePath>/repo/" + n +
           "</RelativePath></HttpSite>";
  }
  xml += "</SiteList></SiteLists>";
  const std::wstring path = pf::fromUtf8(dataDirectory()) + L"/SiteList" + std::to_wstring(sites) + L".xml";
  if (!pf::AFile::write(path, xml)) return false;
  im::test::ReplaceSiteListSource(path.c_str());
  im::test::ResetInitFlag();
  im::IImSiteList_ptr first = im::createSiteListSmartObject(false);
  return first->getSiteCount() == static_cast<std::size_t>(sites);
}

void BM_SnapshotAndWalk(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  if (state.thread_index() == 0 && !pointStoreAt(sites)) {
    state.SkipWithError("the store did not load");
    return;
  }
  for (auto _ : state) {
    im::IImSiteList* list = createSiteListObject(false);
    im::IImSite* site = nullptr;
    int walked = 0;
    while (list->getNextSite(site) == im::rcSuccess) {
      benchmark::DoNotOptimize(site->getSiteName());
      site->release();
      ++walked;
    }
    list->destroy();
    if (walked != sites) state.SkipWithError("incomplete snapshot");
  }
  state.SetItemsProcessed(state.iterations() * sites);
}

}  // namespace

BENCHMARK(BM_SnapshotAndWalk)->Arg(100)->Arg(1000)->Arg(10000)->Threads(1)->Threads(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
