// File-name rules by protocol and the path renderings built on them.
#include "core/path_utils.h"

#include <algorithm>
#include <system_error>

#include "core/string_conversion.h"
#include "platform/assert.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr char kPortableCharacters[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";

bool isWindowsReserved(char c) {
  const unsigned char code = static_cast<unsigned char>(c);
  return code < 32 || std::string("<>:\"/\\|?*").find(c) != std::string::npos;
}

}  // namespace

bool windowsName(const std::string& name) {
  if (name.empty()) return false;
  if (name == "." || name == "..") return true;
  if (std::any_of(name.begin(), name.end(), isWindowsReserved)) return false;
  // Windows silently strips these, so the name would not be the one asked for.
  return name.front() != ' ' && name.back() != ' ' && name.back() != '.';
}

bool portableName(const std::string& name) {
  if (name == "." || name == "..") return true;
  return windowsName(name) && name.find_first_not_of(kPortableCharacters) == std::string::npos &&
         name.front() != '-';
}

bool nativeName(const std::string& name) {
  return !name.empty() && name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

NameChecker findNameChecker(ProtocolType::Types protocol) {
  switch (protocol) {
    case ProtocolType::Ftp:
    case ProtocolType::Http:
    case ProtocolType::FtpHttp:
    case ProtocolType::Spipe:
    case ProtocolType::SuperAgent:
      return &portableName;
    case ProtocolType::Unc:
      return &windowsName;
    case ProtocolType::Local:
      return &nativeName;
    default:
      return nullptr;
  }
}

bool checkPathNames(const std::filesystem::path& path, NameChecker checker) {
  if (checker == nullptr) return true;
  for (const std::filesystem::path& element : path.relative_path()) {
    const std::string name = element.string();
    if (!name.empty() && !checker(name)) return false;
  }
  return true;
}

void splitBranchAndLeaf(const std::string& path, NameChecker checker, std::string& branch,
                        std::string& leaf) {
  const std::filesystem::path parsed(path);
  if (!checkPathNames(parsed, checker)) {
    throw std::filesystem::filesystem_error("invalid name in path", parsed,
                                            std::make_error_code(std::errc::invalid_argument));
  }
  if (!parsed.has_relative_path()) {
    branch.clear();
    leaf = parsed.root_path().string();
    return;
  }
  branch = parsed.parent_path().string();
  leaf = parsed.has_filename() ? parsed.filename().string() : std::string(".");
}

std::wstring changeBackToForwardSlashW(const std::wstring& path) {
  std::wstring result(path);
  std::replace(result.begin(), result.end(), L'\\', L'/');
  return result;
}

std::string changeBackToForwardSlash(const std::wstring& path) {
  return convertString<char>(changeBackToForwardSlashW(path));
}

std::string changeBackToForwardSlash(const wchar_t* pathStr) {
  INETMGR_ASSERT(nullptr != pathStr, "0!=pathStr");
  return changeBackToForwardSlash(std::wstring(pathStr));
}

std::wstring toRemoteNativePathString(const std::filesystem::path& path, ProtocolType::Types protocol) {
  const bool native = protocol == ProtocolType::Unc || protocol == ProtocolType::Local;
  return convertString<wchar_t>(native ? path.string() : path.generic_string());
}

}  // namespace corvane_com::zel::inetmgr
