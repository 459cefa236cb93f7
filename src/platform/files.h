// Whole-file reads, atomic whole-file writes, temporary files and path splitting.
// Wide paths are encoded as UTF-8 for the file system.
#ifndef INETMGR_PLATFORM_FILES_H
#define INETMGR_PLATFORM_FILES_H

#include <string>
#include <vector>

namespace corvane_com::zel::platform {

using ByteBuffer = std::vector<unsigned char>;

class AFile {
 public:
  // Reads the whole file into `contents`. False, with an error log line, when it
  // cannot be opened or read; `contents` is then empty.
  static bool read(const std::wstring& path, ByteBuffer& contents);
  // As read(), for files that may legitimately be absent: a missing file gives
  // false without a log line.
  static bool readExisting(const std::wstring& path, ByteBuffer& contents);
  // Replaces the file with `contents` atomically: a temporary file in the same
  // directory is written, synced and renamed over the target, so a reader sees
  // the old file or the new one, never a torn one. A symbolic link at `path`
  // is followed and its target replaced; a replaced file keeps its owner and
  // mode, and `mode` applies only to a file that did not exist (but a private
  // `mode`, without group or other bits, always takes those bits away). Anything but
  // a regular file (a directory, a device, a FIFO) is refused. False, with an
  // error log line, on any failure; the old file is intact.
  static bool write(const std::wstring& path, const ByteBuffer& contents, unsigned mode = 0644);
  static bool write(const std::wstring& path, const std::string& contents, unsigned mode = 0644);
};

class AFiler {
 public:
  // Creates a new, empty, uniquely named file in $TMPDIR (or /tmp) and returns
  // its path in `path`. False when none can be created.
  static bool getTempFilePath(std::wstring& path);
  // Removes the file; false when it did not exist or could not be removed.
  static bool deleteFile(const std::wstring& path);
};

// Splits at the last '/' or '\': "/a/b/c.txt" gives "/a/b" and "c.txt", "c.txt"
// gives "" and "c.txt", "/c.txt" gives "/" and "c.txt".
void splitPath(const std::wstring& path, std::wstring& directory, std::wstring& fileName);

// Modification time (seconds since the epoch) and size of a file.
struct FileInfo {
  long long lastModified = 0;
  unsigned long long size = 0;
};

// Reads the file's information; false with the errno value in `error` when the
// file cannot be examined. `nativePath` is the file system's own byte form.
bool statFile(const std::string& nativePath, FileInfo& info, int& error);

// Creates `path` and its missing parents with `mode`; true when it exists as a
// directory afterwards.
bool makeDirectories(const std::wstring& path, unsigned mode = 0755);

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_FILES_H
