// POSIX implementation of the file services.
#include "platform/files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

constexpr wchar_t kTag[] = L"files";

std::wstring errnoText(int error) { return fromUtf8(std::strerror(error)); }

bool readAll(const std::wstring& path, ByteBuffer& contents, bool quietIfMissing) {
  contents.clear();
  const std::string native = toUtf8(path);
  const int fd = ::open(native.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    const int error = errno;
    if (!(quietIfMissing && error == ENOENT)) {
      logError(kTag, L"Failed to open " + path + L": " + errnoText(error));
    }
    return false;
  }
  unsigned char chunk[65536];
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      ::close(fd);
      contents.clear();
      logError(kTag, L"Failed to read " + path + L": " + errnoText(error));
      return false;
    }
    contents.insert(contents.end(), chunk, chunk + n);
  }
  ::close(fd);
  return true;
}

bool writeAll(int fd, const unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

const wchar_t* fileKind(mode_t mode) {
  if (S_ISDIR(mode)) return L"a directory";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return L"a device";
  if (S_ISFIFO(mode)) return L"a FIFO";
  if (S_ISSOCK(mode)) return L"a socket";
  return L"not a regular file";
}

// The file a write to `path` must replace: a symbolic link is followed to
// its target (which need not exist yet), so the link itself stays.
bool resolveTarget(const std::wstring& path, std::string& target, std::wstring& problem) {
  constexpr int kMaxLinks = 40;
  target = toUtf8(path);
  for (int hops = 0; hops < kMaxLinks; ++hops) {
    struct stat info {};
    if (::lstat(target.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return true;
    std::string link(static_cast<std::size_t>(info.st_size > 0 ? info.st_size : 255) + 1, '\0');
    const ssize_t n = ::readlink(target.c_str(), link.data(), link.size());
    if (n < 0) {
      problem = L"cannot read the link: " + errnoText(errno);
      return false;
    }
    link.resize(static_cast<std::size_t>(n));
    if (!link.empty() && link.front() != '/') {
      const std::size_t slash = target.find_last_of('/');
      if (slash != std::string::npos) link = target.substr(0, slash + 1) + link;
    }
    target = link;
  }
  problem = L"too many levels of symbolic links";
  return false;
}

bool writeAtomically(const std::wstring& path, const unsigned char* data, std::size_t size, unsigned mode) {
  std::string target;
  std::wstring problem;
  if (!resolveTarget(path, target, problem)) {
    logError(kTag, L"Failed to write " + path + L": " + problem);
    return false;
  }
  std::wstring directory;
  std::wstring fileName;
  splitPath(fromUtf8(target), directory, fileName);
  if (fileName.empty()) {
    logError(kTag, L"Failed to write " + path + L": no file name");
    return false;
  }
  // A file that is replaced keeps its owner and mode; anything but a regular
  // file (a device, a FIFO, a directory) is never replaced.
  struct stat existing {};
  const bool replacing = ::stat(target.c_str(), &existing) == 0;
  if (replacing && !S_ISREG(existing.st_mode)) {
    logError(kTag, L"Failed to write " + path + L": it is " + fileKind(existing.st_mode) +
                       L", and only a regular file is replaced");
    return false;
  }
  std::string temporary = target + ".tmpXXXXXX";
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) {
    logError(kTag, L"Failed to create temporary file for " + path + L": " + errnoText(errno));
    return false;
  }
  mode_t newMode = replacing ? (existing.st_mode & 07777) : static_cast<mode_t>(mode);
  // A file asked to be private stays private whatever it was before.
  if ((mode & 077) == 0) newMode &= static_cast<mode_t>(~077);
  bool ok = ::fchmod(fd, newMode) == 0;
  int error = errno;
  if (ok && replacing && (existing.st_uid != ::geteuid() || existing.st_gid != ::getegid()) &&
      ::fchown(fd, existing.st_uid, existing.st_gid) != 0) {
    ok = false;
    error = errno;
    problem = L"cannot keep the file's owner (" + std::to_wstring(existing.st_uid) + L":" +
              std::to_wstring(existing.st_gid) + L"): " + errnoText(error);
  }
  // fchmod before fchown could have dropped set-id bits; set them again.
  if (ok && replacing && ::fchmod(fd, newMode) != 0) {
    ok = false;
    error = errno;
  }
  if (ok && !(writeAll(fd, data, size) && ::fsync(fd) == 0)) {
    ok = false;
    error = errno;
  }
  if (::close(fd) != 0 && ok) {
    ok = false;
    error = errno;
  }
  if (ok && ::rename(temporary.c_str(), target.c_str()) != 0) {
    ok = false;
    error = errno;
  }
  if (!ok) {
    ::unlink(temporary.c_str());
    logError(kTag, L"Failed to write " + path + L": " + (problem.empty() ? errnoText(error) : problem));
    return false;
  }
  // Make the rename itself durable.
  const std::string dir = directory.empty() ? std::string(".") : toUtf8(directory);
  const int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
  return true;
}

}  // namespace

bool AFile::read(const std::wstring& path, ByteBuffer& contents) { return readAll(path, contents, false); }

bool AFile::readExisting(const std::wstring& path, ByteBuffer& contents) {
  return readAll(path, contents, true);
}

bool AFile::write(const std::wstring& path, const ByteBuffer& contents, unsigned mode) {
  return writeAtomically(path, contents.data(), contents.size(), mode);
}

bool AFile::write(const std::wstring& path, const std::string& contents, unsigned mode) {
  return writeAtomically(path, reinterpret_cast<const unsigned char*>(contents.data()), contents.size(), mode);
}

bool AFiler::getTempFilePath(std::wstring& path) {
  const char* tmpdir = std::getenv("TMPDIR");
  std::string pattern = std::string(tmpdir != nullptr && *tmpdir != '\0' ? tmpdir : "/tmp") + "/inetmgr-XXXXXX";
  const int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (fd < 0) {
    logError(kTag, L"Failed to create temporary file: " + errnoText(errno));
    return false;
  }
  ::close(fd);
  path = fromUtf8(pattern);
  return true;
}

bool AFiler::deleteFile(const std::wstring& path) { return ::unlink(toUtf8(path).c_str()) == 0; }

void splitPath(const std::wstring& path, std::wstring& directory, std::wstring& fileName) {
  const std::size_t slash = path.find_last_of(L"/\\");
  if (slash == std::wstring::npos) {
    directory.clear();
    fileName = path;
    return;
  }
  fileName = path.substr(slash + 1);
  directory = slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

bool statFile(const std::string& nativePath, FileInfo& info, int& error) {
  struct stat st {};
  if (::stat(nativePath.c_str(), &st) != 0) {
    error = errno;
    return false;
  }
  info.lastModified = static_cast<long long>(st.st_mtime);
  info.size = static_cast<unsigned long long>(st.st_size);
  error = 0;
  return true;
}

bool makeDirectories(const std::wstring& path, unsigned mode) {
  const std::string native = toUtf8(path);
  for (std::size_t pos = 1; pos <= native.size(); ++pos) {
    if (pos != native.size() && native[pos] != '/') continue;
    const std::string prefix = native.substr(0, pos);
    if (::mkdir(prefix.c_str(), static_cast<mode_t>(mode)) != 0 && errno != EEXIST) return false;
  }
  struct stat info {};
  return ::stat(native.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace corvane_com::zel::platform
