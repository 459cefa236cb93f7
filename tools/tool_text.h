// Text at the tool's edges: the library speaks wide text; terminals, files and
// JSON speak UTF-8. Text from a site list is never written raw to a terminal.
#ifndef INETMGR_TOOLS_TOOL_TEXT_H
#define INETMGR_TOOLS_TOOL_TEXT_H

#include <cstddef>
#include <string>

// `text` with every control character (C0, DEL, C1) written as \xNN, and a
// backslash as \\, so that a hostile site list cannot drive the terminal.
std::wstring escapeControls(const std::wstring& text);
// escapeControls, as UTF-8.
std::string printable(const std::wstring& text);
// The columns `text` (already escaped) takes on a terminal: two for East
// Asian wide characters, none for combining marks, one otherwise.
std::size_t displayWidth(const std::wstring& text);
// `text` (already escaped) as UTF-8, padded with blanks to `columns`.
std::string padded(const std::wstring& text, std::size_t columns);

#endif  // INETMGR_TOOLS_TOOL_TEXT_H
