// What every transfer test shares: random contents, whole-file reads and
// writes with a chosen modification time, the unfinished transfers left
// behind, a download call and a progress sink that records and can stop.
#ifndef INETMGR_TESTS_TRANSFER_FILES_H
#define INETMGR_TESTS_TRANSFER_FILES_H

#include <utime.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "inetmgr/xoinet.h"

namespace inetmgr_test {

namespace xo = corvane_com::zel::xoInet;

inline std::string randomBytes(std::size_t size, unsigned seed = 7) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(generator());
  return bytes;
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Writes `bytes` to `path`, making its directories; `modified` (when not 0)
// becomes its modification time.
inline void writeFile(const std::filesystem::path& path, const std::string& bytes, std::time_t modified = 0) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  const utimbuf times{modified, modified};
  if (modified != 0) ::utime(path.c_str(), &times);
}

// The files below `dir` named like a transfer's temporary file.
inline std::string partsLeft(const std::filesystem::path& dir) {
  std::string names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
    if (entry.path().filename().string().find(".part-") != std::string::npos) names += entry.path().string() + " ";
  }
  return names;
}

inline xo::xoInetError download(xo::TransferItf& transfer, const std::filesystem::path& target,
                                const std::wstring& remote, long resumePoint = 0, xo::CNetSessionSink* sink = nullptr) {
  bool resume = resumePoint > 0;
  const bool proxyCache = false;
  return transfer.DownloadFile(target.wstring(), remote, sink, &resumePoint, resume, proxyCache);
}

// Records each report with its time; answers false from report `stopAt` on,
// takes 260 ms over each of the first `slowReports` and runs `atFirst` at the first.
class RecordingSink : public xo::CNetSessionSink {
 public:
  struct Report {
    unsigned int done;
    long total;
    std::chrono::steady_clock::time_point at;
  };
  explicit RecordingSink(int stop = -1) : stopAt(stop) {}

  bool OnProgress(const unsigned int& done, const long& total, const xo::INETSTATUS&, const wchar_t*, const wchar_t*,
                  const wchar_t*, bool*) override {
    reports.push_back({done, total, std::chrono::steady_clock::now()});
    if (atFirst) std::exchange(atFirst, nullptr)();
    if (static_cast<int>(reports.size()) <= slowReports) std::this_thread::sleep_for(std::chrono::milliseconds(260));
    return stopAt < 0 || static_cast<int>(reports.size()) <= stopAt;
  }
  // "done/total" of the last report.
  std::string last() const {
    return reports.empty() ? "" : std::to_string(reports.back().done) + "/" + std::to_string(reports.back().total);
  }

  std::vector<Report> reports;
  int stopAt = -1;
  int slowReports = 0;
  std::function<void()> atFirst;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_TRANSFER_FILES_H
