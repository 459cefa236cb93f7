// A fresh directory for one test, removed with everything in it afterwards;
// as a ScopedDataDir it is also the library's data directory (and so holds its
// key file) for the life of the test.
#ifndef INETMGR_TESTS_TEMP_DIR_H
#define INETMGR_TESTS_TEMP_DIR_H

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace inetmgr_test {

// Every test directory of a process tree lives under one root that the process
// which made it removes at exit, so the child of a death test, which dies
// before its fixture is torn down, leaves nothing behind.
inline const std::filesystem::path& testRoot() {
  static std::filesystem::path root;
  static pid_t owner = 0;
  if (root.empty()) {
    if (const char* inherited = std::getenv("INETMGR_TEST_ROOT")) {
      root = inherited;
    } else {
      std::string pattern = (std::filesystem::temp_directory_path() / "inetmgr-test-XXXXXX").string();
      root = ::mkdtemp(pattern.data());
      owner = ::getpid();
      ::setenv("INETMGR_TEST_ROOT", root.c_str(), 1);
      std::atexit([] {
        std::error_code ignored;
        if (::getpid() == owner) std::filesystem::remove_all(root, ignored);
      });
    }
  }
  return root;
}

class TempDir {
 public:
  TempDir() {
    std::string pattern = (testRoot() / "XXXXXX").string();
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

// A TempDir that is the value of the environment variable `name` for its life.
class ScopedEnvDir : public TempDir {
 public:
  explicit ScopedEnvDir(const char* name) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    ::setenv(name, path().c_str(), 1);
  }
  ~ScopedEnvDir() {
    if (old_) ::setenv(name_, old_->c_str(), 1);
    if (!old_) ::unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

class ScopedDataDir : public ScopedEnvDir {
 public:
  ScopedDataDir() : ScopedEnvDir("INETMGR_DATA_DIR") {}
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_TEMP_DIR_H
