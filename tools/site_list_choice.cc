// The --sitelist option every command that reads a site list shares.
#include "site_list_choice.h"

#include <sys/stat.h>

#include "inetmgr/inetmgr.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;

int chooseSiteList(const Command& command, const Arguments& arguments, std::wstring& location, bool mustExist) {
  if (arguments.has("--sitelist")) {
    if (!im::fromUtf8(arguments.value("--sitelist"), location) || location.empty()) {
      return fail(command, "--sitelist needs a UTF-8 path", im::rcBadArgument);
    }
    im::setSiteListSource(location.c_str());
  } else {
    im::getSiteListLocation(location);
  }
  struct stat info {};
  if (mustExist && (::stat(im::toUtf8(location).c_str(), &info) != 0 || !S_ISREG(info.st_mode))) {
    return fail(command,
                "no site list file at " + printable(location) + " (give --sitelist PATH or set INETMGR_DATA_DIR)",
                im::rcPathError);
  }
  return 0;
}
