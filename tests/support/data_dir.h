// Points the library's data directory (and so its key file) at a fresh
// temporary directory for the life of one test.
#ifndef INETMGR_TESTS_DATA_DIR_H
#define INETMGR_TESTS_DATA_DIR_H

#include <cstdlib>
#include <string>

#include "support/temp_dir.h"

namespace inetmgr_test {

class ScopedDataDir {
 public:
  ScopedDataDir() {
    const char* old = std::getenv("INETMGR_DATA_DIR");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    ::setenv("INETMGR_DATA_DIR", dir_.path().c_str(), 1);
  }
  ~ScopedDataDir() {
    if (hadOld_) {
      ::setenv("INETMGR_DATA_DIR", old_.c_str(), 1);
    } else {
      ::unsetenv("INETMGR_DATA_DIR");
    }
  }
  ScopedDataDir(const ScopedDataDir&) = delete;
  ScopedDataDir& operator=(const ScopedDataDir&) = delete;

  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
  bool hadOld_ = false;
  std::string old_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_DATA_DIR_H
