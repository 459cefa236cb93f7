// The JSON description from which `inetmgr write` builds a site list document.
#ifndef INETMGR_TOOLS_SITE_LIST_DESCRIPTION_H
#define INETMGR_TOOLS_SITE_LIST_DESCRIPTION_H

#include <string>

// Reads the description at `path` and writes the site list it describes (to
// its "output" path, or to the agent's site list location). Returns the
// process exit code; reasons go to stderr.
int writeSiteListFromDescription(const std::string& path);

#endif  // INETMGR_TOOLS_SITE_LIST_DESCRIPTION_H
