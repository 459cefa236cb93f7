// UTF-8 at the tool's edges: the library speaks wide text, terminals and
// files speak UTF-8.
#ifndef INETMGR_TOOLS_TOOL_TEXT_H
#define INETMGR_TOOLS_TOOL_TEXT_H

#include <string>

std::string toUtf8(const std::wstring& text);
// Throws std::invalid_argument for text that is not UTF-8.
std::wstring fromUtf8(const std::string& text);

#endif  // INETMGR_TOOLS_TOOL_TEXT_H
