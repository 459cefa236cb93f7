// Files as the transfer tests handle them: random contents, whole-file reads
// and writes with a chosen modification time, and unfinished transfers left behind.
#ifndef INETMGR_TESTS_TRANSFER_FILES_H
#define INETMGR_TESTS_TRANSFER_FILES_H

#include <utime.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace inetmgr_test {

inline std::string randomBytes(std::size_t size, unsigned seed) {
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

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_TRANSFER_FILES_H
