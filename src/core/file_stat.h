// A file's modification time and size, remembered so that a cached copy of a
// document can be recognised as stale.
#ifndef INETMGR_CORE_FILE_STAT_H
#define INETMGR_CORE_FILE_STAT_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace corvane_com::zel::inetmgr {

class FileStat {
 public:
  FileStat() = default;
  FileStat(const FileStat&) = default;
  FileStat& operator=(const FileStat&) = default;

  // Equal when time and size are; the path is deliberately not compared, so a
  // fresh stat of a file can be compared with the one taken when it was read.
  bool operator==(const FileStat& other) const;
  bool operator!=(const FileStat& other) const { return !(*this == other); }

  // Remembers the file to observe; time and size are left as they are.
  void setFile(const std::filesystem::path& file);
  // As above after turning back-slashes into slashes. Throws
  // std::filesystem::filesystem_error when an element is not a valid native name.
  void setFile(const std::wstring& file);

  // Reads time and size of the file; does nothing while no file is set. Throws
  // std::filesystem::filesystem_error, carrying the errno value, when the file
  // cannot be examined.
  void refresh();
  // Back to the state after construction.
  void reset();

  std::int32_t getLastModified() const { return lastModified; }
  std::uint64_t getFileSize() const { return fileSize; }
  // Takes time and size saved earlier (the store's cache), keeping the path.
  void restore(std::int32_t savedLastModified, std::uint64_t savedFileSize) {
    lastModified = savedLastModified;
    fileSize = savedFileSize;
  }
  // The observed path in native form.
  std::wstring getFilename() const;

 private:
  std::int32_t lastModified = 0;  // seconds since the epoch
  std::uint64_t fileSize = 0;
  std::filesystem::path path;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_FILE_STAT_H
