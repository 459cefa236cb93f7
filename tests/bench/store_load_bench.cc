// What the first load of a site list costs a process: the time from
// createSiteListObject to a complete snapshot (read, parse, build, store,
// cache, snapshot) with no cache and no list held, next to a floor measured in
// the same run: the same file parsed with pugixml and turned into one
// std::map<std::wstring, std::wstring> per site. Also the resident memory a
// held list costs, measured in fresh child processes, as a multiple of the
// bytes of the sites' strings (names and values as wide text).
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "bench_documents.h"
#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;
namespace pf = corvane_com::zel::platform;

namespace {

using Clock = std::chrono::steady_clock;
using PropertyMap = std::map<std::wstring, std::wstring>;
using inetmgr_bench::siteListFile;

// The floor: one property map per site entry (child element texts, then
// attributes, as the library reads them), the DOM freed on return.
std::vector<PropertyMap> pugixmlPropertyMaps(const std::string& path) {
  std::vector<PropertyMap> sites;
  pugi::xml_document dom;
  if (!dom.load_file(path.c_str())) return sites;
  for (const pugi::xml_node entry : dom.document_element().child("SiteList").children()) {
    if (entry.type() != pugi::node_element || std::strcmp(entry.name(), "ProxyConfigList") == 0) continue;
    PropertyMap& properties = sites.emplace_back();
    for (const pugi::xml_node child : entry.children()) {
      if (child.type() == pugi::node_element)
        properties[pf::fromUtf8(child.name())] = pf::fromUtf8(child.child_value());
    }
    for (const pugi::xml_attribute attribute : entry.attributes()) {
      properties[pf::fromUtf8(attribute.name())] = pf::fromUtf8(attribute.value());
    }
  }
  return sites;
}

std::size_t stringBytes(const std::vector<PropertyMap>& sites) {
  std::size_t bytes = 0;
  for (const PropertyMap& properties : sites) {
    for (const auto& [name, value] : properties) bytes += (name.size() + value.size()) * sizeof(wchar_t);
  }
  return bytes;
}

// Puts the process back where it was before its first site list: no list
// held, no cache on disk, the store to be set up again from `path`.
void forgetEverything(const std::string& path) {
  std::remove((path.substr(0, path.find_last_of('/')) + "/sitecache.bin").c_str());
  im::test::ReplaceSiteListSource(path.c_str());
  im::test::ResetInitFlag();
  testResetSiteList();
}

// The first load; null unless the snapshot holds all `sites` sites.
im::IImSiteList* firstLoad(int sites) {
  im::IImSiteList* list = createSiteListObject(false);
  if (list->getSiteCount() == static_cast<std::size_t>(sites)) return list;
  list->destroy();
  return nullptr;
}

// The wall-clock and this thread's processor milliseconds `run` takes; the
// second is disturbed much less by other processes on a busy machine.
template <class Run>
std::pair<double, double> timed(Run run) {
  const auto cpuMs = [] {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
  };
  const Clock::time_point start = Clock::now();
  const double startCpu = cpuMs();
  run();
  const double cpu = cpuMs() - startCpu;
  return {std::chrono::duration<double, std::milli>(Clock::now() - start).count(), cpu};
}

// Each iteration times one first load and, untimed for the benchmark but
// clocked alongside, one run of the floor, each starting from a process that
// holds no list; the ratio of the best times of each is the load's cost in
// multiples of the floor, by the wall clock and by this thread's processor
// time (steadier, but it leaves out the load's wait for its cache file to reach
// the disk). The second argument says whether every fourth site has
// credentials (whose passwords are decrypted and encrypted again).
void BM_FirstLoad(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  const std::string path = siteListFile(sites, state.range(1) != 0);
  constexpr double kNone = std::numeric_limits<double>::max();
  std::pair<double, double> bestLoad{kNone, kNone}, bestFloor{kNone, kNone};  // {wall, processor}
  const auto keepBest = [](std::pair<double, double>& best, std::pair<double, double> time) {
    best = {std::min(best.first, time.first), std::min(best.second, time.second)};
  };
  for (auto _ : state) {
    forgetEverything(path);
    im::IImSiteList* list = nullptr;
    const auto load = timed([&] { list = firstLoad(sites); });
    if (list == nullptr) return state.SkipWithError("the site list did not load whole");
    list->destroy();
    state.SetIterationTime(load.first / 1e3);

    forgetEverything(path);
    std::vector<PropertyMap> maps;
    const auto floor = timed([&] { maps = pugixmlPropertyMaps(path); });
    if (maps.size() != static_cast<std::size_t>(sites)) return state.SkipWithError("pugixml did not read every site");
    keepBest(bestLoad, load);
    keepBest(bestFloor, floor);
  }
  state.counters["best_ms"] = bestLoad.first;
  state.counters["pugixml_best_ms"] = bestFloor.first;
  state.counters["x_pugixml"] = bestLoad.first / bestFloor.first;
  state.counters["x_pugixml_cpu"] = bestLoad.second / bestFloor.second;
  state.SetItemsProcessed(state.iterations() * sites);
}

void BM_PugixmlFloor(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  const std::string path = siteListFile(sites);
  for (auto _ : state) {
    std::vector<PropertyMap> maps = pugixmlPropertyMaps(path);
    if (maps.size() != static_cast<std::size_t>(sites)) return state.SkipWithError("pugixml did not read every site");
    state.PauseTiming();  // the library's timing leaves its sites alive too
    maps.clear();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * sites);
}

long residentBytes() {
  long pages = 0;
  long resident = 0;
  if (std::FILE* statm = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(statm);
  }
  return resident * ::sysconf(_SC_PAGESIZE);
}

// Child process: prints the resident growth of holding one loaded list of
// `sites` sites (the library's store and one snapshot, or the floor's maps)
// and the bytes of the sites' strings. Whatever a first use sets up once
// (crypto, logging, the machine key) is set up by a one-site list first.
int residentChild(const std::string& what, int sites) {
  const std::string warmUp = siteListFile(1);
  const std::string path = siteListFile(sites);
  long growth = 0;
  if (what == "library") {
    forgetEverything(warmUp);
    im::IImSiteList* first = firstLoad(1);
    if (first == nullptr) return 1;
    first->destroy();
    forgetEverything(path);
    const long before = residentBytes();
    im::IImSiteList* list = firstLoad(sites);
    if (list == nullptr) return 1;
    growth = residentBytes() - before;
    list->destroy();
  } else {
    const long before = residentBytes();
    const std::vector<PropertyMap> maps = pugixmlPropertyMaps(path);
    growth = residentBytes() - before;
    if (maps.size() != static_cast<std::size_t>(sites)) return 1;
  }
  // Counted last: the maps counted would otherwise leave freed memory behind
  // for the measured load to reuse.
  const std::size_t strings = stringBytes(pugixmlPropertyMaps(path));
  std::printf("%ld %zu\n", growth, strings);
  return 0;
}

std::string selfPath;

// Runs a fresh copy of this program for one measurement; false when it fails.
bool measureInChild(const std::string& what, int sites, double& growth, double& strings) {
  const std::string command = selfPath + " --resident-child " + what + " " + std::to_string(sites);
  std::FILE* child = ::popen(command.c_str(), "r");
  if (child == nullptr) return false;
  long grown = 0;
  std::size_t bytes = 0;
  const bool read = std::fscanf(child, "%ld %zu", &grown, &bytes) == 2;
  const bool exited = ::pclose(child) == 0;
  growth = static_cast<double>(grown);
  strings = static_cast<double>(bytes);
  return read && exited && bytes > 0;
}

void BM_ResidentGrowth(benchmark::State& state) {
  const int sites = static_cast<int>(state.range(0));
  if (siteListFile(1).empty() || siteListFile(sites).empty()) return state.SkipWithError("cannot write the site lists");
  double library = 0;
  double floor = 0;
  double strings = 0;
  for (auto _ : state) {
    if (!measureInChild("library", sites, library, strings) || !measureInChild("pugixml", sites, floor, strings))
      return state.SkipWithError("a measuring child failed");
  }
  constexpr double kMiB = 1024.0 * 1024.0;
  state.counters["strings_MiB"] = strings / kMiB;
  state.counters["library_MiB"] = library / kMiB;
  state.counters["pugixml_MiB"] = floor / kMiB;
  state.counters["x_strings"] = library / strings;
  state.counters["pugixml_x_strings"] = floor / strings;
}

}  // namespace

BENCHMARK(BM_FirstLoad)
    ->ArgsProduct({{1000, 10000}, {1, 0}})
    ->ArgNames({"sites", "credentials"})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK(BM_PugixmlFloor)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ResidentGrowth)->Arg(1000)->Arg(10000)->Iterations(1)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--resident-child") == 0)
    return residentChild(argv[2], std::atoi(argv[3]));
  char self[4096] = {};
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof(self) - 1);
  selfPath = length > 0 ? std::string(self, static_cast<std::size_t>(length)) : std::string(argv[0]);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
