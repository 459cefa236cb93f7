// `inetmgr upload`: one local file to a site of the site list, through the
// library's connection object. The file keeps its name on the site.
#include <filesystem>
#include <iostream>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"
#include "tool_text.h"
#include "transfer_run.h"

namespace im = corvane_com::zel::inetmgr;

int runUpload(const Arguments& arguments) {
  const Command& self = findCommand("upload");
  std::wstring path, to, siteName;
  im::ImFlags flags = 0;
  if (!requiredText(self, arguments, "--file", path) || !requiredText(self, arguments, "--to", to) ||
      !siteChoice(self, arguments, flags, siteName) || !useSiteList(self, arguments)) {
    return exitCode(im::rcBadArgument);
  }
  std::error_code error;
  if (!std::filesystem::is_regular_file(arguments.value("--file"), error)) {
    return fail(self, "no file at " + printable(path), im::rcPathError);
  }
  const std::filesystem::path local(arguments.value("--file"));
  std::wstring name, directory;
  im::fromUtf8(local.filename().string(), name);
  im::fromUtf8(local.parent_path().string(), directory);
  if (!chooseTransfer(self, arguments)) return exitCode(im::rcBadArgument);
  const TransferOutcome outcome = runTransfer(self, printable(name), [&](im::IImProgressCallback* progress) {
    im::IImNetConnection* connection = im::createConnectionObject(false);
    if (connection == nullptr) return im::rcOutOfMemory;
    connection->connect(progress);
    const im::ResultCode code = connection->uploadFile(name.c_str(), to.c_str(), directory.c_str(),
                                                       siteName.empty() ? nullptr : siteName.c_str(), flags);
    connection->disconnect(progress);
    connection->destroy();
    return code;
  });
  if (outcome.code == im::rcSuccess)
    std::cout << "uploaded " << printable(path) << " to " << printable(to) << "\n";
  printTestTransferRecord();
  return transferExit(self, outcome);
}
