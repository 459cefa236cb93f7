// `inetmgr upload-response`: a package for the management server, posted to
// its spipe sites in turn until one answers, as the agent does, with the
// server's answer kept in a file.
#include <filesystem>
#include <iostream>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "tool_text.h"
#include "transfer_run.h"

namespace im = corvane_com::zel::inetmgr;

int runUploadResponse(const Arguments& arguments) {
  const Command& self = findCommand("upload-response");
  std::wstring path, guid, response;
  if (!requiredText(self, arguments, "--file", path) || !requiredText(self, arguments, "--guid", guid) ||
      !requiredText(self, arguments, "--response", response) || !useSiteList(self, arguments)) {
    return exitCode(im::rcBadArgument);
  }
  std::error_code error;
  if (!std::filesystem::is_regular_file(arguments.value("--file"), error)) {
    return fail(self, "no file at " + printable(path), im::rcPathError);
  }
  long transferCode = 0;
  if (!chooseTransfer(self, arguments)) return exitCode(im::rcBadArgument);
  const TransferOutcome outcome = runTransfer(self, "to the management server", [&](im::IImProgressCallback*) {
    return im::uploadFileAndGetResponse(path.c_str(), guid.c_str(), response.c_str(), &transferCode);
  });
  std::cout << (outcome.code == im::rcSuccess ? "uploaded " : "not uploaded: ") << printable(path)
            << " (transfer code " << transferCode << ")\n";
  if (outcome.code == im::rcSuccess) std::cout << "response: " << printable(response) << "\n";
  if (transferCode == -95) std::cout << "the server asks for a new agent GUID\n";
  if (transferCode == -96) std::cout << "the server asks the agent to update its keys\n";
  printTestTransferRecord();
  return transferExit(self, outcome);
}
