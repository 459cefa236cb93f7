// `inetmgr key fingerprint`: whether two machines share the fleet's key,
// without showing the key.
#include <iostream>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;

int runKeyFingerprint(const Arguments&) {
  const Command& self = findCommand("key fingerprint");
  std::wstring keyFile;
  std::wstring fingerprint;
  const im::ResultCode rc = im::getKeyFingerprint(keyFile, fingerprint);
  if (rc == im::rcNotFound) {
    return fail(self,
                "there is no key at " + printable(keyFile) +
                    "; copy the fleet's key there (32 bytes, mode 0600) before first use",
                rc);
  }
  if (rc != im::rcSuccess) {
    return fail(self, printable(keyFile) + " is not a usable key (" + im::toUtf8(im::getErrorText(rc, false)) + ")",
                rc);
  }
  std::cout << "key: " << printable(keyFile) << "\nfingerprint: " << im::toUtf8(fingerprint) << "\n";
  return 0;
}
