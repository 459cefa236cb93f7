// Which site list a command reads: the agent's, or the one --sitelist names.
#ifndef INETMGR_TOOLS_SITE_LIST_CHOICE_H
#define INETMGR_TOOLS_SITE_LIST_CHOICE_H

#include <string>

#include "command_line.h"

// Points the library at --sitelist when it is given and sets `location` to
// the file read. When `mustExist`, a file that is not there is reported
// without reading, locking or writing anything. 0, or the exit status after
// printing why.
int chooseSiteList(const Command& command, const Arguments& arguments, std::wstring& location, bool mustExist);

#endif  // INETMGR_TOOLS_SITE_LIST_CHOICE_H
