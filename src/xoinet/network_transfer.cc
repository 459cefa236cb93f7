// The shared part of the network transfers.
#include "xoinet/network_transfer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/files.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr wchar_t kTag[] = L"xoinet";
constexpr auto kReportInterval = std::chrono::milliseconds(250);

// 0 means "not set": the environment's value, else the default, applies.
std::atomic<unsigned int> g_connectSeconds{0};
std::atomic<unsigned int> g_stallSeconds{0};

unsigned int secondsFromEnvironment(const char* name, unsigned int fallback) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (*end != '\0' || value == 0 || value > 86400) {
    static std::atomic<bool> warned{false};
    if (!warned.exchange(true)) {
      platform::logError(kTag, platform::fromUtf8(std::string(name) + "=" + text +
                                                  " is not a number of seconds from 1 to 86400; " +
                                                  std::to_string(fallback) + " is used"));
    }
    return fallback;
  }
  return static_cast<unsigned int>(value);
}

std::wstring errnoText(int error) { return platform::fromUtf8(std::strerror(error)); }

bool writeAll(int fd, const void* data, std::size_t size) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = ::write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

// Copies the first `count` bytes of `from` into `to` (both at offset 0), in
// the kernel where it can.
bool copyPrefix(int from, int to, std::uint64_t count) {
  loff_t in = 0;
  loff_t out = 0;
  while (count > 0) {
    const std::size_t chunk = count > (1u << 30) ? (1u << 30) : static_cast<std::size_t>(count);
    const ssize_t copied = ::copy_file_range(from, &in, to, &out, chunk, 0);
    if (copied < 0 && errno == EINTR) continue;
    if (copied < 0 && (errno == ENOSYS || errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP)) {
      // Fall back to reading and writing at the same offsets.
      char buffer[1 << 16];
      while (count > 0) {
        const std::size_t want = count < sizeof buffer ? static_cast<std::size_t>(count) : sizeof buffer;
        const ssize_t got = ::pread(from, buffer, want, in);
        if (got <= 0) return false;
        if (!writeAll(to, buffer, static_cast<std::size_t>(got))) return false;
        in += got;
        count -= static_cast<std::uint64_t>(got);
      }
      return true;
    }
    if (copied <= 0) return false;
    count -= static_cast<std::uint64_t>(copied);
  }
  return true;
}

}  // namespace

TransferTimeouts currentTransferTimeouts() {
  TransferTimeouts timeouts;
  unsigned int connect = g_connectSeconds.load();
  unsigned int stall = g_stallSeconds.load();
  if (connect == 0) connect = secondsFromEnvironment("INETMGR_CONNECT_TIMEOUT", 30);
  if (stall == 0) stall = secondsFromEnvironment("INETMGR_STALL_TIMEOUT", 60);
  timeouts.connect = std::chrono::seconds(connect);
  timeouts.stall = std::chrono::seconds(stall);
  return timeouts;
}

void setNetworkTimeouts(unsigned int connectSeconds, unsigned int stallSeconds) {
  if (connectSeconds != 0) g_connectSeconds = connectSeconds;
  if (stallSeconds != 0) g_stallSeconds = stallSeconds;
}

NetworkTransfer::NetworkTransfer(xoInetProtocol transferProtocol)
    : TransferItf(transferProtocol), timeouts_(currentTransferTimeouts()) {}

bool NetworkTransfer::keepOption(xoInetOption option, long value) {
  switch (option) {
    case optPort:
      options_.port = value;
      port = static_cast<std::int32_t>(value);
      return true;
    case optPortAlternate:
    case optPortFallback:
      // The one port property feeds all three; the first is the one used.
      return true;
    case optSslPort:
      options_.sslPort = value;
      sslPort = static_cast<std::int32_t>(value);
      return true;
    default:
      return false;
  }
}

bool NetworkTransfer::keepOption(xoInetOption option, const std::wstring& value) {
  std::wstring* field = nullptr;
  switch (option) {
    case optHostName: field = &options_.hostName; hostName = value; break;
    case optHostNetBios: field = &options_.hostNetBios; hostNetBios = value; break;
    case optHostAddress: field = &options_.hostAddress; hostIP = value; break;
    case optSiteName: field = &options_.siteName; siteName = value; break;
    case optUserName: field = &options_.userName; userName = value; break;
    case optDomainName: field = &options_.domainName; domainName = value; break;
    case optUncServer: field = &options_.uncServer; uncServer = value; break;
    case optShareName: field = &options_.shareName; shareName = value; break;
    case optRelativePath: field = &options_.relativePath; relativePath = value; break;
    case optCaBundlePath: field = &options_.caBundlePath; caBundlePath = value; break;
    case optDownloadExtra: field = &options_.downloadExtra; downloadExtra = value; break;
    case optPassword:
      options_.password = inetmgr::SecureString(value, 0);
      return true;
    default:
      return false;
  }
  *field = value;
  return true;
}

bool NetworkTransfer::keepOption(xoInetOption option, bool value) {
  switch (option) {
    case optUseSsl: options_.useSsl = useSsl = value; return true;
    case optUseLogonUserAccount: options_.useLogonUserAccount = useLogonUserAccount = value; return true;
    default: return false;
  }
}

bool NetworkTransfer::keepOption(xoInetOption option, const CProxyParams* value) {
  if (option != optProxy) return false;
  if (value == nullptr) {
    options_.proxy.reset();
    useProxy = false;
    return true;
  }
  ProxyOptions kept;
  kept.params = *value;
  kept.httpPassword = inetmgr::SecureString(value->httpPassword, 0);
  kept.ftpPassword = inetmgr::SecureString(value->ftpPassword, 0);
  kept.params.httpPassword.clear();
  kept.params.ftpPassword.clear();
  kept.params.altHttpPassword.clear();
  kept.params.altFtpPassword.clear();
  options_.proxy = std::move(kept);
  useProxy = true;
  proxyServer = value->proxyServer;
  return true;
}

xoInetError NetworkTransfer::CheckOptions() const {
  switch (protocol) {
    case xoInetProtocolHttp:
    case xoInetProtocolFtp:
      return options_.hostName.empty() && options_.hostAddress.empty() ? rcProtocol : rcNoError;
    case xoInetProtocolUnc:
      return options_.uncServer.empty() || options_.shareName.empty() ? rcProtocol : rcNoError;
    case xoInetProtocolLocal:
      return rcNoError;
    default:
      return rcNotSupported;
  }
}

std::wstring NetworkTransfer::takeResponseFile() { return std::exchange(responseFile_, std::wstring()); }

std::wstring NetworkTransfer::plainPassword() const {
  inetmgr::SecureString copy(options_.password);
  return copy.str();
}

ProgressReporter::ProgressReporter(CNetSessionSink* sink, const TransferOptions& options, std::wstring fileName)
    : sink_(sink),
      siteName_(options.siteName),
      serverName_(options.hostName.empty() ? options.uncServer : options.hostName),
      fileName_(std::move(fileName)) {}

bool ProgressReporter::report(std::uint64_t done, std::uint64_t total, bool last) {
  if (stopped_) return false;
  if (sink_ == nullptr) return true;
  const auto now = std::chrono::steady_clock::now();
  if (reported_ && !last && now - lastReport_ < kReportInterval) return true;
  reported_ = true;
  lastReport_ = now;
  const unsigned int sinkDone =
      done > std::numeric_limits<unsigned int>::max() ? std::numeric_limits<unsigned int>::max()
                                                      : static_cast<unsigned int>(done);
  const long sinkTotal = total > static_cast<std::uint64_t>(std::numeric_limits<long>::max())
                             ? std::numeric_limits<long>::max()
                             : static_cast<long>(total);
  const INETSTATUS status = statusProgress;
  bool flag = true;
  if (!sink_->OnProgress(sinkDone, sinkTotal, status, siteName_.c_str(), serverName_.c_str(), fileName_.c_str(),
                         &flag) ||
      !flag) {
    stopped_ = true;
  }
  return !stopped_;
}

DownloadTarget::DownloadTarget(const std::wstring& destination) : destination_(platform::toUtf8(destination)) {}

DownloadTarget::~DownloadTarget() {
  if (fd_ >= 0) ::close(fd_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

xoInetError DownloadTarget::start(std::uint64_t resumeFrom, std::uint64_t& offset) {
  offset = 0;
  const std::size_t slash = destination_.rfind('/');
  if (slash != std::string::npos && slash > 0 &&
      !platform::makeDirectories(platform::fromUtf8(destination_.substr(0, slash)))) {
    platform::logError(kTag, L"Cannot create the directory of " + platform::fromUtf8(destination_));
    return rcLocalFile;
  }
  std::string pattern = destination_ + ".part-XXXXXX";
  fd_ = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (fd_ < 0) {
    platform::logError(kTag, L"Cannot create a temporary file beside " + platform::fromUtf8(destination_) + L": " +
                                 errnoText(errno));
    return rcLocalFile;
  }
  temporary_ = pattern;
  // A download is readable as the destination would be by default.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd_, 0666 & ~mask);
  if (resumeFrom == 0) return rcNoError;
  const int partial = ::open(destination_.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info {};
  if (partial < 0 || ::fstat(partial, &info) != 0 || !S_ISREG(info.st_mode) ||
      static_cast<std::uint64_t>(info.st_size) < resumeFrom) {
    if (partial >= 0) ::close(partial);
    return rcNoError;  // nothing to resume from: the whole file is fetched
  }
  const bool copied = copyPrefix(partial, fd_, resumeFrom);
  ::close(partial);
  if (!copied || ::lseek(fd_, 0, SEEK_END) < 0) {
    platform::logError(kTag, L"Cannot copy the partial file " + platform::fromUtf8(destination_) + L": " +
                                 errnoText(errno));
    return rcLocalFile;
  }
  size_ = offset = resumeFrom;
  partialModified_ = info.st_mtime;
  return rcNoError;
}

bool DownloadTarget::write(const void* data, std::size_t size) {
  if (!writeAll(fd_, data, size)) return false;
  size_ += size;
  return true;
}

bool DownloadTarget::restart() {
  if (::ftruncate(fd_, 0) != 0 || ::lseek(fd_, 0, SEEK_SET) != 0) return false;
  size_ = 0;
  partialModified_ = 0;
  return true;
}

xoInetError DownloadTarget::commit() {
  if (::fsync(fd_) != 0 || ::close(fd_) != 0) {
    fd_ = -1;
    platform::logError(kTag, L"Cannot write " + platform::fromUtf8(temporary_) + L": " + errnoText(errno));
    return rcLocalFile;
  }
  fd_ = -1;
  if (::rename(temporary_.c_str(), destination_.c_str()) != 0) {
    platform::logError(kTag, L"Cannot rename the download into " + platform::fromUtf8(destination_) + L": " +
                                 errnoText(errno));
    return rcLocalFile;
  }
  temporary_.clear();
  return rcNoError;
}

const wchar_t* getTransferCodeText(xoInetError code) {
  switch (code) {
    case rcNoError: return L"done";
    case rcAborted: return L"stopped by the progress callback";
    case rcTransient: return L"the server failed for now or the transfer stalled";
    case rcNotFound: return L"no such remote file";
    case rcServerRefused: return L"the server answered 506: a new agent identity is needed";
    case rcKeysOutdated: return L"the server asks for new keys";
    case rcCannotConnect: return L"no connection";
    case rcLogonRefused: return L"the credentials were refused";
    case rcCertificate: return L"the server's certificate is not trusted by the site list's CA bundle";
    case rcLocalFile: return L"a local file could not be read or written";
    case rcProtocol: return L"the protocol failed";
    case rcNotLoggedOn: return L"not logged on";
    case rcNotSupported: return L"not supported";
    default: return L"failed";
  }
}

std::wstring describeTransferCode(xoInetError code) {
  return L"transfer code " + std::to_wstring(code) + L" (" + getTransferCodeText(code) + L")";
}

}  // namespace corvane_com::zel::xoInet
