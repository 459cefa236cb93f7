// Change detection by modification time and size.
#include "core/file_stat.h"

#include <system_error>

#include "core/path_utils.h"
#include "core/string_conversion.h"
#include "platform/files.h"

namespace corvane_com::zel::inetmgr {

bool FileStat::operator==(const FileStat& other) const {
  return lastModified == other.lastModified && fileSize == other.fileSize;
}

void FileStat::setFile(const std::filesystem::path& file) { path = file; }

void FileStat::setFile(const std::wstring& file) {
  std::filesystem::path parsed(changeBackToForwardSlash(file));
  if (!checkPathNames(parsed, findNameChecker(ProtocolType::Local))) {
    throw std::filesystem::filesystem_error("FileStat::setFile: invalid name", parsed,
                                            std::make_error_code(std::errc::invalid_argument));
  }
  path = std::move(parsed);
}

void FileStat::refresh() {
  if (path.empty()) return;
  platform::FileInfo info;
  int error = 0;
  if (!platform::statFile(path.string(), info, error)) {
    throw std::filesystem::filesystem_error("FileStat::refresh", path, std::error_code(error, std::generic_category()));
  }
  // Kept as 32-bit seconds on every platform, whatever the width of time_t.
  lastModified = static_cast<std::int32_t>(info.lastModified);
  fileSize = info.size;
}

void FileStat::reset() {
  lastModified = 0;
  fileSize = 0;
  path.clear();
}

std::wstring FileStat::getFilename() const { return convertString<wchar_t>(path.string()); }

}  // namespace corvane_com::zel::inetmgr
