// Path helpers shared by the site operations and the store: slash rewriting,
// the file-name rules a remote path must follow for each protocol, and how a
// path is rendered for the remote side.
#ifndef INETMGR_CORE_PATH_UTILS_H
#define INETMGR_CORE_PATH_UTILS_H

#include <filesystem>
#include <string>

#include "inetmgr/site_types.h"

namespace corvane_com::zel::inetmgr {

// A file-name rule for one element of a path: true when `name` is acceptable.
using NameChecker = bool (*)(const std::string& name);

// Names every system the agent talks to accepts: the POSIX portable characters
// (letters, digits, '.', '_', '-'), no leading '-', and a valid Windows name.
bool portableName(const std::string& name);
// Names a Windows share accepts: no control characters or <>:"/\|?*, no leading
// space, no trailing space or dot ("." and ".." excepted).
bool windowsName(const std::string& name);
// Names this system's own file system accepts: non-empty, no '/' or NUL.
bool nativeName(const std::string& name);

// The rule a remote path of `protocol` must follow: Windows names for Unc,
// native names for Local, portable names for Ftp to SuperAgent, and null (no
// check) for any other value.
NameChecker findNameChecker(ProtocolType::Types protocol);

// True when every element of `path` below its root passes `checker`; a null
// checker accepts everything. The empty element of a trailing separator is not
// checked: it names the directory itself.
bool checkPathNames(const std::filesystem::path& path, NameChecker checker);

// `path` split as the agent's path library splits it: `branch` is its parent
// and `leaf` its last element. A trailing separator makes the last element "."
// ("/d/" gives "/d" and "."); a root alone is its own leaf with no parent.
// Throws std::filesystem::filesystem_error (invalid_argument) when an element
// below the root fails `checker`; a null checker accepts everything.
void splitBranchAndLeaf(const std::string& path, NameChecker checker, std::string& branch, std::string& leaf);

// A copy of `path` with every '\' replaced by '/'.
std::wstring changeBackToForwardSlashW(const std::wstring& path);
// As changeBackToForwardSlashW, converted to the locale's narrow encoding.
std::string changeBackToForwardSlash(const std::wstring& path);
// As above; asserts "0!=pathStr".
std::string changeBackToForwardSlash(const wchar_t* pathStr);

// `path` as the remote side of `protocol` expects it, as a wide string: the
// native form for Unc and Local, the generic (forward-slash) form otherwise.
std::wstring toRemoteNativePathString(const std::filesystem::path& path, ProtocolType::Types protocol);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_PATH_UTILS_H
