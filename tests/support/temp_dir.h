// A fresh directory for one test, removed with everything in it afterwards.
#ifndef INETMGR_TESTS_TEMP_DIR_H
#define INETMGR_TESTS_TEMP_DIR_H

#include <cstdlib>
#include <filesystem>
#include <string>

namespace inetmgr_test {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "inetmgr-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::wstring wfile(const std::string& name) const { return (path_ / name).wstring(); }

 private:
  std::filesystem::path path_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_TEMP_DIR_H
