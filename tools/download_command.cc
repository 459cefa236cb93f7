// `inetmgr download`: one file from a site of the site list, through the
// library's connection object.
#include <iostream>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "tool_text.h"
#include "transfer_run.h"

namespace im = corvane_com::zel::inetmgr;

int runDownload(const Arguments& arguments) {
  const Command& self = findCommand("download");
  std::wstring file, from, to, siteName;
  im::ImFlags flags = 0;
  if (!requiredText(self, arguments, "--file", file) || !requiredText(self, arguments, "--from", from) ||
      !requiredText(self, arguments, "--to", to) || !siteChoice(self, arguments, flags, siteName) ||
      !useSiteList(self, arguments)) {
    return exitCode(im::rcBadArgument);
  }
  if (arguments.has("--resume")) flags |= im::imFlagResume;
  if (!prepareTestTransfer(self)) return exitCode(im::rcBadArgument);
  const TransferOutcome outcome = runTransfer(self, printable(file), [&] {
    im::IImNetConnection* connection = im::createConnectionObject(false);
    if (connection == nullptr) return im::rcOutOfMemory;
    const im::ResultCode code =
        connection->downloadFile(file.c_str(), from.c_str(), to.c_str(),
                                 siteName.empty() ? nullptr : siteName.c_str(), nullptr, flags);
    connection->destroy();
    return code;
  });
  if (outcome.code == im::rcSuccess) {
    std::cout << "downloaded " << printable(file) << " from " << printable(from) << " into " << printable(to)
              << "\n";
  }
  printTestTransferRecord();
  return transferExit(self, outcome);
}
