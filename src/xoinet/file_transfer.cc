// The local-path backend: a "remote" file is a file under the site's root
// directory (its relative path option), reached through the file system.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "platform/files.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "xoinet/network_transfer.h"
#include "xoinet/transfer_backends.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr wchar_t kTag[] = L"xoinet";
constexpr std::size_t kChunk = 1 << 20;

class FileTransfer final : public NetworkTransfer {
 public:
  using NetworkTransfer::NetworkTransfer;

  xoInetError Logon(bool, unsigned int) override {
    loggedOn_ = true;
    return rcNoError;
  }
  xoInetError LogOut() override {
    loggedOn_ = false;
    return rcNoError;
  }

  xoInetError DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource, CNetSessionSink* sink,
                           long* resumePoint, bool& resume, const bool&) override {
    if (!loggedOn_) return rcNotLoggedOn;
    const std::string source = underRoot(remoteSource);
    const int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return failure(errno, source);
    struct stat info {};
    if (::fstat(in, &info) != 0 || !S_ISREG(info.st_mode)) {
      ::close(in);
      return failure(ENOENT, source);
    }
    const std::uint64_t total = static_cast<std::uint64_t>(info.st_size);
    DownloadTarget target(localTarget);
    std::uint64_t offset = 0;
    const long wanted = resume && resumePoint != nullptr && *resumePoint > 0 ? *resumePoint : 0;
    xoInetError result = target.start(static_cast<std::uint64_t>(wanted), offset);
    // A partial file older than the source, or longer than it, belongs to
    // another version of the file: fetch it whole.
    if (result == rcNoError && offset > 0 && (info.st_mtime > target.partialModified() || offset > total)) {
      platform::logInfo(kTag, L"The source changed since the partial download; fetching it whole: " +
                                  platform::fromUtf8(source));
      if (!target.restart()) result = rcLocalFile;
      offset = 0;
    }
    if (result == rcNoError) result = copy(in, source, offset, total, target, sink, localTarget);
    ::close(in);
    if (result == rcNoError) result = target.commit();
    return result;
  }

  xoInetError UploadFile(const std::wstring& source, const std::wstring& destination, CNetSessionSink* sink) override {
    if (!loggedOn_) return rcNotLoggedOn;
    takeResponseFile();  // a file system has no answer to give
    const std::string from = platform::toUtf8(source);
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) {
      platform::logError(kTag, L"Cannot read the upload " + source + L": " + platform::fromUtf8(std::strerror(errno)));
      return rcLocalFile;
    }
    struct stat info {};
    ::fstat(in, &info);
    std::string to = underRoot(destination);
    // An upload to a directory keeps the file's own name there.
    struct stat targetInfo {};
    if (!to.empty() && (to.back() == '/' || (::stat(to.c_str(), &targetInfo) == 0 && S_ISDIR(targetInfo.st_mode)))) {
      const std::size_t slash = from.rfind('/');
      to += (to.back() == '/' ? "" : "/") + from.substr(slash == std::string::npos ? 0 : slash + 1);
    }
    DownloadTarget target(platform::fromUtf8(to));
    std::uint64_t offset = 0;
    xoInetError result = target.start(0, offset);
    if (result == rcNoError) result = copy(in, from, 0, static_cast<std::uint64_t>(info.st_size), target, sink, source);
    ::close(in);
    if (result == rcNoError) result = target.commit();
    return result;
  }

  xoInetError UploadFileResponse(const std::wstring& source, const std::wstring& destination, const std::wstring&,
                                 CNetSessionSink* sink) override {
    return UploadFile(source, destination, sink);
  }

  xoInetError DeleteRemoteFile(const std::wstring& path) override {
    const std::string target = underRoot(path);
    return ::unlink(target.c_str()) == 0 ? rcNoError : failure(errno, target);
  }

  xoInetError DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) override {
    const std::string target = underRoot(path);
    std::error_code error;
    if (recursive) {
      if (std::filesystem::remove_all(target, error) > 0 && !error) return rcNoError;
    } else if (std::filesystem::remove(target, error) && !error) {
      return rcNoError;
    }
    return failure(error ? error.value() : ENOENT, target);
  }

 private:
  // The remote path joined to the site's root; without a root it is taken as
  // it stands.
  std::string underRoot(const std::wstring& remote) const {
    std::string path = platform::toUtf8(remote);
    for (char& c : path) {
      if (c == '\\') c = '/';
    }
    const std::string root = platform::toUtf8(options_.relativePath);
    if (root.empty()) return path;
    if (!path.empty() && path.front() == '/') path.erase(0, 1);
    return root.back() == '/' ? root + path : root + "/" + path;
  }

  static xoInetError failure(int error, const std::string& path) {
    const xoInetError code = error == ENOENT || error == ENOTDIR ? rcNotFound : rcLocalFile;
    platform::logError(kTag, platform::fromUtf8(path + ": " + std::strerror(error)) + L"; " +
                                 describeTransferCode(code));
    return code;
  }

  // Copies from `in` (the file at `inPath`) at `offset` to the end into
  // `target`, reporting progress under `name`.
  xoInetError copy(int in, const std::string& inPath, std::uint64_t offset, std::uint64_t total, DownloadTarget& target,
                   CNetSessionSink* sink, const std::wstring& name) {
    ProgressReporter progress(sink, options_, name);
    std::vector<char> buffer(kChunk);
    if (!progress.report(offset, total)) return rcAborted;
    for (;;) {
      const ssize_t got = ::pread(in, buffer.data(), buffer.size(), static_cast<off_t>(offset));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return failure(errno, inPath);
      if (got == 0) break;
      if (!target.write(buffer.data(), static_cast<std::size_t>(got))) return failure(errno, target.nativeDestination());
      offset += static_cast<std::uint64_t>(got);
      if (!progress.report(offset, total)) return rcAborted;
    }
    return progress.report(offset, total, true) ? rcNoError : rcAborted;
  }

  bool loggedOn_ = false;
};

}  // namespace

TransferItf* createFileTransfer(xoInetProtocol protocol) { return new FileTransfer(protocol); }

}  // namespace corvane_com::zel::xoInet
