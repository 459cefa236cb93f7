// Download throughput through the connection object beside the curl tool:
// one sparse file served by nginx on loopback, fetched by each, with the
// throughput, its ratio, the CPU time of each and this process's peak RSS.
// Each size runs in a child process of its own, so its peak RSS is its own;
// the best of three alternating rounds is shown.
// Arguments: --size-mib=N (repeatable; default 256 and 1024); --dir=PATH puts
// both downloads under PATH (e.g. /dev/shm, to take the disk out of the
// comparison; default: the scratch directory). Run by scripts/bench.sh, which
// also passes benchmark options; those are ignored.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <inetmgr/inetmgr.h>

#include "support/local_servers.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

constexpr int kRounds = 3;

struct Timing {
  double seconds;
  double cpu;
  double syncedSeconds;
};

void discard(im::LogLevel, const wchar_t*, const wchar_t*, void*) {}

double seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; }

double cpuSeconds(int who) {
  rusage usage{};
  ::getrusage(who, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Measures one size; returns the process's exit status.
int measure(std::uint64_t mib, const fs::path& into) {
  im::setLogSink(&discard, nullptr, im::LogLevel::Error);
  const inetmgr_test::ScopedDataDir data;
  const inetmgr_test::TestCertificates certificates;
  const inetmgr_test::Nginx nginx(certificates);
  if (!(nginx.skipReason() + nginx.error()).empty()) {
    std::printf("download_bench: skipped: %s\n", (nginx.skipReason() + nginx.error()).c_str());
    return 0;
  }
  const std::uint64_t size = mib << 20;
  inetmgr_test::writeFile(nginx.root() / "small.bin", "warm");
  inetmgr_test::writeFile(nginx.root() / "big.bin", "");
  fs::resize_file(nginx.root() / "big.bin", size);  // sparse: the server reads zeros from the page cache
  const std::string list = data.file("SiteList.xml");
  std::ofstream(list) << "<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\"><SiteList><HttpSite Type=\"repository\" "
                         "Name=\"web\" Enabled=\"1\" Server=\"127.0.0.1:"
                      << nginx.httpPort() << "\"/></SiteList></SiteLists>";
  im::setSiteListSource(std::wstring(list.begin(), list.end()).c_str());
  xo::useNetworkTransfers();

  const fs::path base = into.empty() ? data.path() : into / ("inetmgr-bench-" + std::to_string(::getpid()));
  const fs::path ours = base / "ours", theirs = base / "curl.bin";
  const std::string url = "http://127.0.0.1:" + std::to_string(nginx.httpPort()) + "/big.bin";
  im::IImNetConnection* connection = im::createConnectionObject(false);
  auto fetch = [&](const wchar_t* name) {
    return connection->downloadFile(name, L"/", ours.wstring().c_str(), L"web", nullptr, im::imFlagSiteByName);
  };
  fetch(L"small.bin");  // the site list is read at the first operation
  // Alternating rounds, the best of each kept: the disk's write-back makes a
  // single run depend on what was written just before it.
  Timing best{}, bestTool{};
  for (int round = 0; round < kRounds; ++round) {
    double cpu = cpuSeconds(RUSAGE_SELF);
    auto start = std::chrono::steady_clock::now();
    const im::ResultCode result = fetch(L"big.bin");
    const Timing timing{since(start), cpuSeconds(RUSAGE_SELF) - cpu, 0};
    if (result != im::rcSuccess || fs::file_size(ours / "big.bin") != size) {
      std::printf("download_bench: the download failed (%d)\n", static_cast<int>(result));
      return 1;
    }
    fs::remove(ours / "big.bin");
    if (round == 0 || timing.seconds < best.seconds) best = timing;

    cpu = cpuSeconds(RUSAGE_CHILDREN);
    start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
      ::execlp("curl", "curl", "-s", "-f", "-o", theirs.c_str(), url.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    Timing tool{since(start), cpuSeconds(RUSAGE_CHILDREN) - cpu, 0};
    // The library syncs a download before renaming it into place; the tool
    // does not, so its time with the same sync is kept too.
    const int written = ::open(theirs.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(written);
    ::close(written);
    tool.syncedSeconds = since(start);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || fs::file_size(theirs) != size) {
      std::printf("download_bench: the curl tool failed (status %d)\n", status);
      return 1;
    }
    fs::remove(theirs);
    if (round == 0 || tool.syncedSeconds < bestTool.syncedSeconds) bestTool = tool;
  }
  connection->destroy();
  if (!into.empty()) fs::remove_all(base);

  rusage self{};
  ::getrusage(RUSAGE_SELF, &self);
  const double megabytes = static_cast<double>(size) / 1e6;
  std::printf("%6llu MiB | inetmgr %7.1f MB/s cpu %5.2f s | curl tool %7.1f MB/s cpu %5.2f s, synced %7.1f MB/s | "
              "ratio %5.3f, synced %5.3f | peak RSS %5.1f MiB\n",
              static_cast<unsigned long long>(mib), megabytes / best.seconds, best.cpu, megabytes / bestTool.seconds,
              bestTool.cpu, megabytes / bestTool.syncedSeconds, bestTool.seconds / best.seconds,
              bestTool.syncedSeconds / best.seconds, static_cast<double>(self.ru_maxrss) / 1024.0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::uint64_t> sizes;
  fs::path into;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--size-mib=", 11) == 0) sizes.push_back(std::strtoull(argv[i] + 11, nullptr, 10));
    if (std::strncmp(argv[i], "--dir=", 6) == 0) into = argv[i] + 6;
  }
  if (sizes.empty()) sizes = {256, 1024};
  std::printf("download_bench: HTTP from nginx on loopback to %s; ratio = curl tool time / inetmgr time "
              "(synced: the tool's time including an fsync of its file, as the library does)\n",
              into.empty() ? "disk" : into.c_str());
  int failures = 0;
  for (const std::uint64_t mib : sizes) {
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
      std::exit(measure(mib, into));  // exit() so the test root is removed
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    failures += !WIFEXITED(status) || WEXITSTATUS(status) != 0;
  }
  return failures == 0 ? 0 : 1;
}
