// The run functions of the tool's commands; the table that names them and
// their options is in inetmgr_cli.cc.
#ifndef INETMGR_TOOLS_COMMANDS_H
#define INETMGR_TOOLS_COMMANDS_H

#include <string>

#include "command_line.h"

int runSites(const Arguments& arguments);
int runRank(const Arguments& arguments);
int runWrite(const Arguments& arguments);
int runEncryptPassword(const Arguments& arguments);
int runKeyFingerprint(const Arguments& arguments);
int runDownload(const Arguments& arguments);
int runUpload(const Arguments& arguments);
int runUploadResponse(const Arguments& arguments);
int runAbout(const Arguments& arguments);

// The table entry called `name`; it must exist.
const Command& findCommand(const std::string& name);

#endif  // INETMGR_TOOLS_COMMANDS_H
