// `inetmgr about`: the library's version, where it looks for the site list,
// and what every result code means.
#include <cstdio>
#include <iostream>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;

int runAbout(const Arguments&) {
  std::cout << "inetmgr " << im::getLibraryVersion() << "\n";
  std::wstring location;
  im::getSiteListLocation(location);
  std::cout << "site list: " << im::toUtf8(location) << "\n\nresult codes (exit status):\n";
  for (int code = -14; code <= 5; ++code) {
    const auto rc = static_cast<im::ResultCode>(code);
    std::printf("  %3d (%3d)  %-5s %s\n", code, exitCode(rc), im::isCodeError(rc) ? "error" : "",
                im::toUtf8(im::getErrorText(rc, false)).c_str());
  }
  return 0;
}
