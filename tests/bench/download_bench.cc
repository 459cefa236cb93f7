// Download throughput from nginx on loopback: the library's network transfer,
// driven through the connection object in a process of its own, beside the
// curl command-line tool fetching the same file in the same run. Prints the
// throughput of each, their ratio, the CPU time of each process, and each
// process's peak resident memory, for files of 256 MiB and 1 GiB (so a memory
// that grows with the file shows). Files land in /dev/shm, so neither side
// waits for a disk. Needs nginx and curl; says why and runs nothing without.
//   download_bench [ROUNDS]          (default 3; the medians are printed)
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "inetmgr/inetmgr.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

struct Run {
  double seconds = 0;
  double cpuSeconds = 0;
  long peakKiB = 0;
  bool ok = false;
};

bool found(const char* program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

int freePort() {
  for (int port = 20000 + static_cast<int>(::getpid() % 20000); port < 65000; port += 7) {
    const std::string probe = "! (exec 3<>/dev/tcp/127.0.0.1/" + std::to_string(port) + ") 2>/dev/null";
    if (std::system(("bash -c '" + probe + "'").c_str()) == 0) return port;
  }
  return -1;
}

// Runs argv in a child and measures it: wall time, user + system CPU, peak RSS.
Run measure(const std::vector<std::string>& argv, const std::vector<std::string>& environment = {}) {
  Run run;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    for (const std::string& setting : environment) ::putenv(const_cast<char*>(setting.c_str()));
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    ::execvp(args[0], args.data());
    std::_Exit(127);
  }
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                   static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  run.peakKiB = usage.ru_maxrss;
  run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return run;
}

Run median(std::vector<Run> runs) {
  std::sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) { return a.seconds < b.seconds; });
  return runs[runs.size() / 2];
}

// The child side: one download through the connection object, exit 0 when
// the file arrived.
int downloadChild(const char* file, const char* destination) {
  xo::useNetworkTransfers();
  im::IImNetConnection* connection = im::createConnectionObject(false);
  const std::wstring name(file, file + std::char_traits<char>::length(file));
  const std::wstring target(destination, destination + std::char_traits<char>::length(destination));
  const im::ResultCode code = connection->downloadFile(name.c_str(), L"/", target.c_str(), L"Bench", nullptr,
                                                       im::imFlagSiteByName);
  connection->destroy();
  if (code != im::rcSuccess) std::fprintf(stderr, "download failed: code %d\n", code);
  return code == im::rcSuccess ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--child") return downloadChild(argv[2], argv[3]);
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
  if (!found("nginx") || !found("curl") || !fs::is_directory("/dev/shm")) {
    std::printf("download_bench: skipped: needs nginx, curl and /dev/shm\n");
    return 0;
  }
  const fs::path scratch = inetmgr_test::testRoot() / "download_bench";
  const fs::path shm = fs::path("/dev/shm") / ("inetmgr-bench-" + std::to_string(::getpid()));
  fs::create_directories(scratch / "www");
  fs::create_directories(shm);
  fs::permissions(scratch, fs::perms::all);
  fs::permissions(scratch / "www", fs::perms::all);
  const int port = freePort();

  std::ofstream(scratch / "nginx.conf")
      << (::geteuid() == 0 ? "user root;\n" : "")  // the workers read the private scratch tree
      << "worker_processes 1;\nerror_log " << (scratch / "error.log").string() << ";\npid "
      << (scratch / "nginx.pid").string() << ";\nevents {}\nhttp {\n  access_log off;\n  sendfile on;\n"
      << "  client_body_temp_path " << scratch.string() << ";\n  proxy_temp_path " << scratch.string()
      << ";\n  fastcgi_temp_path " << scratch.string() << ";\n  uwsgi_temp_path " << scratch.string()
      << ";\n  scgi_temp_path " << scratch.string() << ";\n  server {\n    listen 127.0.0.1:" << port
      << ";\n    root " << (scratch / "www").string() << ";\n  }\n}\n";
  const fs::path data = scratch / "data";
  fs::create_directories(data / "etc");
  std::ofstream(data / "etc" / "SiteList.xml")
      << "<SiteLists GlobalVersion=\"1\" LocalVersion=\"1\"><SiteList><HttpSite Type=\"repository\" Name=\"Bench\" "
         "Server=\"127.0.0.1:"
      << port << "\" Enabled=\"1\"/></SiteList></SiteLists>";

  const pid_t nginx = ::fork();
  if (nginx == 0) {
    ::execlp("nginx", "nginx", "-p", scratch.c_str(), "-c", (scratch / "nginx.conf").c_str(), "-g", "daemon off;",
             static_cast<char*>(nullptr));
    std::_Exit(127);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(500));

  std::printf("%-9s %-8s %12s %10s %10s %12s\n", "file", "client", "throughput", "ratio", "CPU", "peak RSS");
  for (const std::uint64_t mebibytes : {256u, 1024u}) {
    const std::string name = std::to_string(mebibytes) + "MiB.bin";
    const fs::path source = scratch / "www" / name;
    { std::ofstream(source).close(); }
    fs::resize_file(source, mebibytes << 20);  // sparse: the server reads zeros from the page cache
    fs::permissions(source, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read |
                                fs::perms::owner_write);
    std::vector<Run> ours, theirs;
    for (int round = 0; round < rounds; ++round) {
      fs::remove(shm / name);
      ours.push_back(measure({argv[0], "--child", name, shm.string()},
                             {"INETMGR_DATA_DIR=" + data.string(), "INETMGR_LOG_LEVEL=error"}));
      if (!ours.back().ok || fs::file_size(shm / name) != (mebibytes << 20)) ours.back().ok = false;
      fs::remove(shm / name);
      theirs.push_back(measure({"curl", "-s", "-f", "-o", (shm / name).string(),
                                "http://127.0.0.1:" + std::to_string(port) + "/" + name}));
      fs::remove(shm / name);
    }
    const Run a = median(ours), b = median(theirs);
    const double size = static_cast<double>(mebibytes);
    std::printf("%-9s %-8s %8.0f MiB/s %10s %8.2f s %9ld KiB%s\n", name.c_str(), "inetmgr", size / a.seconds,
                "", a.cpuSeconds, a.peakKiB, a.ok ? "" : "  (FAILED)");
    std::printf("%-9s %-8s %8.0f MiB/s %10.3f %8.2f s %9ld KiB%s\n", name.c_str(), "curl", size / b.seconds,
                (size / a.seconds) / (size / b.seconds), b.cpuSeconds, b.peakKiB, b.ok ? "" : "  (FAILED)");
    fs::remove(source);
  }
  ::kill(nginx, SIGQUIT);
  ::waitpid(nginx, nullptr, 0);
  fs::remove_all(shm);
  return 0;
}
