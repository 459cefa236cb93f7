// A stand-alone agent component for the multi-process tests: it uses the
// store the way a real caller does and reports on stdout.
//   store_worker lists N          create N site lists; print "ok"
//                                 or "torn <details>" for a snapshot mixing versions
//   store_worker hold-sorting     take the refresh lock inside a refresh, print
//                                 "holding <pid>", then wait to be killed
// It ends itself after 300 s, so a test that fails before killing it is not held up.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "inetmgr/inetmgr.h"
#include "store/persist_site.h"
#include "support/sitelist_versions.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

void holdForever() {
  std::printf("holding %d\n", static_cast<int>(::getpid()));
  std::fflush(stdout);
  for (;;) ::pause();
}

}  // namespace

int main(int argc, char** argv) {
  ::alarm(300);
  if (argc < 2) return 2;
  const std::string mode = argv[1];
  if (mode == "hold-sorting") {
    im::PersistSite::setTestDelayHook(&holdForever);
    im::ResultCode rc = im::rcSuccess;
    im::PersistSite::getInstance(rc);
    return 3;
  }
  if (mode == "lists" && argc == 3) {
    const int count = std::atoi(argv[2]);
    for (int i = 0; i < count; ++i) {
      std::wstring version;
      const std::wstring problem =
          inetmgr_test::checkSnapshot(*im::createSiteListSmartObject(false), version);
      if (!problem.empty()) {
        std::printf("torn %ls\n", problem.c_str());
        return 1;
      }
    }
    std::printf("ok\n");
    return 0;
  }
  return 2;
}
