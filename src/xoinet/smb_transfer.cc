// The UNC share backend: a "remote" file lives on an SMB2/3 share, reached
// through libsmbclient with one context per transfer object (its global
// compatibility calls share state between threads and are never used).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <libsmbclient.h>

#include "platform/log.h"
#include "platform/utf8.h"
#include "xoinet/network_transfer.h"
#include "xoinet/transfer_backends.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr wchar_t kTag[] = L"xoinet";
constexpr std::size_t kChunk = 1 << 20;
// A recursive delete walks at most this many entries and this deep, so a
// share that loops through links cannot hold the caller forever.
constexpr std::size_t kMaxWalkEntries = 100000;
constexpr std::size_t kMaxWalkDepth = 64;
constexpr unsigned int kMaxTimeoutSeconds = 86400;

// Making, initialising and freeing a context touch libsmbclient's process-wide
// configuration and counters; everything else stays within one context.
std::mutex g_contextLifecycle;

void wipe(std::string& text) {
  explicit_bzero(text.data(), text.size());
  text.clear();
}

void wipe(std::wstring& text) {
  explicit_bzero(text.data(), text.size() * sizeof(wchar_t));
  text.clear();
}

void copyInto(char* buffer, int length, const std::string& text) {
  if (buffer == nullptr || length <= 0) return;
  const std::size_t count = std::min(text.size(), static_cast<std::size_t>(length) - 1);
  std::memcpy(buffer, text.data(), count);
  buffer[count] = '\0';
}

// libsmbclient decodes every part of a URL, so anything beyond the plain
// characters is sent encoded ("%", "?", "@" and ";" mean something there).
std::string encodeUrlPath(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  for (const unsigned char c : text) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
        c == '_' || c == '~' || c == '/') {
      encoded += static_cast<char>(c);
    } else {
      encoded += '%';
      encoded += kHex[c >> 4];
      encoded += kHex[c & 15];
    }
  }
  return encoded;
}

// `path` with forward slashes, no empty elements and no leading or trailing slash.
std::string cleanPath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  std::string clean;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) clean += (clean.empty() ? "" : "/") + path.substr(start, end - start);
    start = end + 1;
  }
  return clean;
}

std::string joinPath(const std::string& a, const std::string& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return a + "/" + b;
}

int timeoutMs(std::chrono::seconds limit) {
  const auto seconds = std::min<std::chrono::seconds::rep>(limit.count(), kMaxTimeoutSeconds);
  return static_cast<int>(seconds * 1000);
}

class SmbTransfer final : public NetworkTransfer {
 public:
  using NetworkTransfer::NetworkTransfer;
  ~SmbTransfer() override { closeContext(); }

  xoInetError Logon(bool anonymousLogon, unsigned int timeout) override {
    closeContext();
    if (NetworkTransfer::CheckOptions() != rcNoError) {
      platform::logError(kTag, L"A UNC site needs its server and share name; " + describeTransferCode(rcProtocol));
      return rcProtocol;
    }
    if (!parseServer()) {
      platform::logError(kTag, L"The UNC server \"" + options_.uncServer +
                                   L"\" is not NAME, NAME:PORT or [ADDRESS]:PORT with a port from 1 to 65535; " +
                                   describeTransferCode(rcProtocol));
      return rcProtocol;
    }
    const Location root = locate(L"");
    const bool ownAccount = options_.userName.empty() && options_.useLogonUserAccount && !anonymousLogon;
    guest_ = options_.userName.empty() && !ownAccount;
    if (const xoInetError made = makeContext(ownAccount, timeout, root); made != rcNoError) return made;
    platform::logInfo(kTag, L"Logging on to " + root.shown + L" " + accountText(ownAccount));
    struct stat info {};
    if (smbc_getFunctionStat(context_)(context_, root.url.c_str(), &info) != 0) {
      const xoInetError code = failure(errno, root, true);
      closeContext();
      return code;
    }
    // libsmbclient fixes a connection's request timeout when it connects: the
    // transfers get a connection of their own whose every request is bounded
    // by the stall limit.
    smbc_setTimeout(context_, timeoutMs(timeouts_.stall));
    smbc_getFunctionPurgeCachedServers(context_)(context_);
    return rcNoError;
  }

  xoInetError LogOut() override {
    closeContext();
    return rcNoError;
  }

  xoInetError DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource, CNetSessionSink* sink,
                           long* resumePoint, bool& resume, const bool&) override {
    if (context_ == nullptr) return rcNotLoggedOn;
    const Location from = locate(remoteSource);
    RemoteFile file(context_, smbc_getFunctionOpen(context_)(context_, from.url.c_str(), O_RDONLY, 0));
    if (!file) return failure(errno, from);
    struct stat info {};
    if (smbc_getFunctionFstat(context_)(context_, file.get(), &info) != 0) return failure(errno, from);
    if (S_ISDIR(info.st_mode)) return failure(ENOENT, from);
    const std::uint64_t total = static_cast<std::uint64_t>(info.st_size);
    DownloadTarget target(localTarget);
    std::uint64_t offset = 0;
    const long wanted = resume && resumePoint != nullptr && *resumePoint > 0 ? *resumePoint : 0;
    xoInetError result = target.start(static_cast<std::uint64_t>(wanted), offset);
    if (result != rcNoError) return result;
    // A partial file older than the remote one, or longer than it, belongs to
    // another version of the file: fetch it whole.
    if (offset > 0 && (info.st_mtime > target.partialModified() || total < offset)) {
      platform::logInfo(kTag, L"The file changed since the partial download; fetching it whole: " + from.shown);
      if (!target.restart()) return failure(errno, localTarget);
      offset = 0;
    }
    if (offset > 0 && smbc_getFunctionLseek(context_)(context_, file.get(), static_cast<off_t>(offset), SEEK_SET) !=
                          static_cast<off_t>(offset)) {
      return failure(errno, from);
    }
    ProgressReporter progress(sink, options_, remoteSource);
    std::vector<char> buffer(kChunk);
    const smbc_read_fn read = smbc_getFunctionRead(context_);
    if (!progress.report(offset, total)) return stopped(from);
    for (;;) {
      const ssize_t got = read(context_, file.get(), buffer.data(), buffer.size());
      if (got < 0) return failure(errno, from);
      if (got == 0) break;
      if (!target.write(buffer.data(), static_cast<std::size_t>(got))) return failure(errno, localTarget);
      offset += static_cast<std::uint64_t>(got);
      if (!progress.report(offset, total)) return stopped(from);
    }
    if (!progress.report(offset, total, true)) return stopped(from);
    if (!file.close()) return failure(errno, from);
    return target.commit();
  }

  xoInetError UploadFile(const std::wstring& source, const std::wstring& destination, CNetSessionSink* sink) override {
    if (context_ == nullptr) return rcNotLoggedOn;
    takeResponseFile();  // a share has no answer to give
    const std::string from = platform::toUtf8(source);
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat local {};
    if (in < 0 || ::fstat(in, &local) != 0) {
      const int error = errno;
      if (in >= 0) ::close(in);
      return failure(error, source);
    }
    const xoInetError result = upload(in, static_cast<std::uint64_t>(local.st_size), from, destination, sink);
    ::close(in);
    return result;
  }

  xoInetError UploadFileResponse(const std::wstring& source, const std::wstring& destination, const std::wstring&,
                                 CNetSessionSink* sink) override {
    return UploadFile(source, destination, sink);
  }

  xoInetError DeleteRemoteFile(const std::wstring& path) override {
    if (context_ == nullptr) return rcNotLoggedOn;
    const Location target = locate(path);
    return smbc_getFunctionUnlink(context_)(context_, target.url.c_str()) == 0 ? rcNoError : failure(errno, target);
  }

  xoInetError DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) override {
    if (context_ == nullptr) return rcNotLoggedOn;
    const std::string relative = cleanPath(platform::toUtf8(path));
    if (!recursive) {
      const Location target = locateRelative(relative);
      return smbc_getFunctionRmdir(context_)(context_, target.url.c_str()) == 0 ? rcNoError : failure(errno, target);
    }
    return removeTree(relative);
  }

 private:
  // A remote name as libsmbclient takes it and as a log line shows it.
  struct Location {
    std::string url;
    std::wstring shown;
  };

  // An open remote file, closed when it goes away.
  class RemoteFile {
   public:
    RemoteFile(SMBCCTX* context, SMBCFILE* file) : context_(context), file_(file) {}
    ~RemoteFile() { close(); }
    RemoteFile(const RemoteFile&) = delete;
    RemoteFile& operator=(const RemoteFile&) = delete;
    explicit operator bool() const { return file_ != nullptr; }
    SMBCFILE* get() const { return file_; }
    bool close() {
      if (file_ == nullptr) return true;
      const int closed = smbc_getFunctionClose(context_)(context_, file_);
      file_ = nullptr;
      return closed == 0;
    }

   private:
    SMBCCTX* context_;
    SMBCFILE* file_;
  };

  static void supplyCredentials(SMBCCTX* context, const char*, const char*, char* workgroup, int workgroupLength,
                                char* user, int userLength, char* password, int passwordLength) {
    auto* self = static_cast<SmbTransfer*>(smbc_getOptionUserData(context));
    if (self == nullptr) return;
    const TransferOptions& options = self->options_;
    if (!options.domainName.empty()) copyInto(workgroup, workgroupLength, platform::toUtf8(options.domainName));
    if (self->guest_) {
      copyInto(user, userLength, "");
      copyInto(password, passwordLength, "");
      return;
    }
    if (options.userName.empty()) return;  // the process's own account, as libsmbclient finds it
    copyInto(user, userLength, platform::toUtf8(options.userName));
    std::wstring plain = self->plainPassword();
    std::string narrow = platform::toUtf8(plain);
    copyInto(password, passwordLength, narrow);
    wipe(narrow);
    wipe(plain);
  }

  std::wstring accountText(bool ownAccount) const {
    if (ownAccount) {
      return L"as the process's own account (its Kerberos ticket when it has one, else as libsmbclient's default "
             L"user or guest)";
    }
    if (guest_) return L"as guest";
    return L"as " + (options_.domainName.empty() ? L"" : options_.domainName + L"\\") + options_.userName;
  }

  // Splits the server option ("name", "name:port", "[v6]:port", with any
  // leading backslashes of a UNC name) into host and port.
  bool parseServer() {
    std::string server = platform::toUtf8(options_.uncServer);
    server.erase(0, server.find_first_not_of("\\/"));
    port_ = 0;
    std::string portText;
    if (!server.empty() && server.front() == '[') {
      const std::size_t close = server.find(']');
      if (close == std::string::npos) return false;
      if (close + 1 < server.size()) {
        if (server[close + 1] != ':') return false;
        portText = server.substr(close + 2);
      }
      server = server.substr(1, close - 1);
    } else if (server.find(':') != std::string::npos && server.find(':') == server.rfind(':')) {
      portText = server.substr(server.find(':') + 1);
      server.erase(server.find(':'));
    }
    if (!portText.empty()) {
      if (portText.size() > 5 || portText.find_first_not_of("0123456789") != std::string::npos) return false;
      const unsigned long value = std::stoul(portText);
      if (value == 0 || value > 65535) return false;
      port_ = static_cast<std::uint16_t>(value);
    }
    host_ = server;
    return !host_.empty();
  }

  Location locate(const std::wstring& remote) const {
    return locateRelative(cleanPath(platform::toUtf8(remote)));
  }

  // `relative` below the site's root directory on the share.
  Location locateRelative(const std::string& relative) const {
    const std::string share = cleanPath(platform::toUtf8(options_.shareName));
    const std::string path = joinPath(cleanPath(platform::toUtf8(options_.relativePath)), relative);
    Location location;
    location.url = "smb://" + encodeUrlPath(host_) + "/" + encodeUrlPath(share) + (path.empty() ? "" : "/") +
                   encodeUrlPath(path);
    std::string shown = "smb://" + host_ + (port_ != 0 ? ":" + std::to_string(port_) : "") + "/" + share +
                        (path.empty() ? "" : "/") + path;
    location.shown = platform::fromUtf8(shown);
    return location;
  }

  // The code for `error`; during logon a lost or missing connection is "no
  // connection", later it is a failure for now.
  static xoInetError codeFor(int error, bool connecting) {
    switch (error) {
      case ENOENT:
      case ENOTDIR:
        return rcNotFound;
      case EACCES:
      case EPERM:
        return rcLogonRefused;
      case ECONNREFUSED:
      case EHOSTUNREACH:
      case ENETUNREACH:
      case EHOSTDOWN:
      case ENETDOWN:
      case ETIMEDOUT:
      case ECONNRESET:
      case ECONNABORTED:
      case EPIPE:
      case ENOTCONN:
        return connecting ? rcCannotConnect : rcTransient;
      case EINVAL:
        // What libsmbclient answers for a server name that resolves to nothing.
        return connecting ? rcCannotConnect : rcProtocol;
      default:
        return rcProtocol;
    }
  }

  xoInetError failure(int error, const Location& where, bool connecting = false) const {
    const xoInetError code = codeFor(error, connecting);
    platform::logError(kTag, where.shown + L": " + platform::fromUtf8(std::strerror(error)) + L"; " +
                                 describeTransferCode(code));
    return code;
  }

  // A local file that could not be read or written.
  static xoInetError failure(int error, const std::wstring& localPath) {
    platform::logError(kTag, localPath + L": " + platform::fromUtf8(std::strerror(error)) + L"; " +
                                 describeTransferCode(rcLocalFile));
    return rcLocalFile;
  }

  static xoInetError stopped(const Location& where) {
    platform::logInfo(kTag, where.shown + L": " + describeTransferCode(rcAborted));
    return rcAborted;
  }

  bool isDirectory(const std::string& relative) const {
    struct stat info {};
    return smbc_getFunctionStat(context_)(context_, locateRelative(relative).url.c_str(), &info) == 0 &&
           S_ISDIR(info.st_mode);
  }

  // Creates the directories of `relative` below the root that do not exist.
  xoInetError makeParents(const std::string& relative) const {
    const smbc_mkdir_fn mkdir = smbc_getFunctionMkdir(context_);
    for (std::size_t slash = relative.find('/'); slash != std::string::npos; slash = relative.find('/', slash + 1)) {
      const Location directory = locateRelative(relative.substr(0, slash));
      if (mkdir(context_, directory.url.c_str(), 0755) != 0 && errno != EEXIST) return failure(errno, directory);
    }
    return rcNoError;
  }

  // Sends `size` bytes of the open local file `in` to `destination`, through a
  // temporary name beside it that is renamed into place only when complete.
  xoInetError upload(int in, std::uint64_t size, const std::string& source, const std::wstring& destination,
                     CNetSessionSink* sink) {
    std::string relative = cleanPath(platform::toUtf8(destination));
    const std::string wanted = platform::toUtf8(destination);
    const bool namesDirectory = wanted.empty() || wanted.back() == '/' || wanted.back() == '\\';
    // An upload to a directory keeps the file's own name there.
    if (namesDirectory || isDirectory(relative)) {
      const std::size_t slash = source.rfind('/');
      relative = joinPath(relative, source.substr(slash == std::string::npos ? 0 : slash + 1));
    }
    const Location to = locateRelative(relative);
    if (const xoInetError made = makeParents(relative); made != rcNoError) return made;
    const std::size_t slash = relative.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : relative.substr(0, slash);
    const std::string name = relative.substr(slash == std::string::npos ? 0 : slash + 1);
    const Location temporary = locateRelative(joinPath(directory, "." + name + ".part-" + randomSuffix()));

    xoInetError result = rcNoError;
    {
      RemoteFile file(context_, smbc_getFunctionOpen(context_)(context_, temporary.url.c_str(),
                                                               O_WRONLY | O_CREAT | O_EXCL, 0644));
      if (!file) return failure(errno, temporary);
      result = sendFile(in, size, file, temporary, sink, platform::fromUtf8(source));
      if (!file.close() && result == rcNoError) result = failure(errno, temporary);
    }
    if (result == rcNoError &&
        smbc_getFunctionRename(context_)(context_, temporary.url.c_str(), context_, to.url.c_str()) != 0) {
      result = failure(errno, to);
    }
    if (result != rcNoError) smbc_getFunctionUnlink(context_)(context_, temporary.url.c_str());
    return result;
  }

  xoInetError sendFile(int in, std::uint64_t size, RemoteFile& file, const Location& where, CNetSessionSink* sink,
                       const std::wstring& name) {
    ProgressReporter progress(sink, options_, name);
    std::vector<char> buffer(kChunk);
    const smbc_write_fn write = smbc_getFunctionWrite(context_);
    std::uint64_t sent = 0;
    if (!progress.report(0, size)) return stopped(where);
    for (;;) {
      const ssize_t got = ::pread(in, buffer.data(), buffer.size(), static_cast<off_t>(sent));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return failure(errno, name);
      if (got == 0) break;
      for (ssize_t done = 0; done < got;) {
        const ssize_t written =
            write(context_, file.get(), buffer.data() + done, static_cast<std::size_t>(got - done));
        if (written <= 0) return failure(written < 0 ? errno : EIO, where);
        done += written;
      }
      sent += static_cast<std::uint64_t>(got);
      if (!progress.report(sent, size)) return stopped(where);
    }
    return progress.report(sent, size, true) ? rcNoError : stopped(where);
  }

  static std::string randomSuffix() {
    std::random_device device;
    static const char kHex[] = "0123456789abcdef";
    std::string suffix;
    for (int i = 0; i < 2; ++i) {
      std::uint32_t value = device();
      for (int j = 0; j < 8; ++j, value >>= 4) suffix += kHex[value & 15];
    }
    return suffix;
  }

  // Deletes the directory `relative` and everything below it: children
  // before their parents, entries and depth bounded.
  xoInetError removeTree(const std::string& relative) {
    struct Pending {
      std::string path;
      std::size_t depth;
      bool listed;
    };
    std::vector<Pending> stack{{relative, 0, false}};
    std::size_t visited = 0;
    while (!stack.empty()) {
      if (stack.back().listed) {
        const Location directory = locateRelative(stack.back().path);
        if (smbc_getFunctionRmdir(context_)(context_, directory.url.c_str()) != 0) return failure(errno, directory);
        stack.pop_back();
        continue;
      }
      stack.back().listed = true;
      const Pending current = stack.back();
      const Location directory = locateRelative(current.path);
      std::vector<std::string> subdirectories;
      if (const xoInetError listed = removeFiles(current.path, directory, visited, subdirectories);
          listed != rcNoError) {
        return listed;
      }
      if (!subdirectories.empty() && current.depth + 1 > kMaxWalkDepth) {
        platform::logError(kTag, directory.shown + L": nested deeper than " + std::to_wstring(kMaxWalkDepth) +
                                     L" directories, not deleted; " + describeTransferCode(rcProtocol));
        return rcProtocol;
      }
      for (std::string& child : subdirectories) stack.push_back({std::move(child), current.depth + 1, false});
    }
    return rcNoError;
  }

  // Deletes the files of one directory and lists its subdirectories.
  xoInetError removeFiles(const std::string& relative, const Location& directory, std::size_t& visited,
                          std::vector<std::string>& subdirectories) {
    SMBCFILE* listing = smbc_getFunctionOpendir(context_)(context_, directory.url.c_str());
    if (listing == nullptr) return failure(errno, directory);
    std::vector<std::string> files;
    const smbc_readdir_fn readEntry = smbc_getFunctionReaddir(context_);
    for (struct smbc_dirent* entry; (entry = readEntry(context_, listing)) != nullptr;) {
      const std::string name(entry->name);
      if (name == "." || name == "..") continue;
      if (++visited > kMaxWalkEntries) {
        smbc_getFunctionClosedir(context_)(context_, listing);
        platform::logError(kTag, directory.shown + L": more than " + std::to_wstring(kMaxWalkEntries) +
                                     L" entries, not deleted; " + describeTransferCode(rcProtocol));
        return rcProtocol;
      }
      (entry->smbc_type == SMBC_DIR ? subdirectories : files).push_back(joinPath(relative, name));
    }
    smbc_getFunctionClosedir(context_)(context_, listing);
    for (const std::string& file : files) {
      const Location target = locateRelative(file);
      if (smbc_getFunctionUnlink(context_)(context_, target.url.c_str()) != 0) return failure(errno, target);
    }
    return rcNoError;
  }

  // A new context for this object's options; the connection is made later.
  xoInetError makeContext(bool ownAccount, unsigned int timeout, const Location& root) {
    std::lock_guard<std::mutex> lock(g_contextLifecycle);
    context_ = smbc_new_context();
    if (context_ == nullptr) return failure(errno, root, true);
    smbc_setDebug(context_, 0);
    smbc_setOptionDebugToStderr(context_, 1);  // the tool's standard output is its answer
    smbc_setOptionUserData(context_, this);
    smbc_setFunctionAuthDataWithContext(context_, &SmbTransfer::supplyCredentials);
    smbc_setOptionUseKerberos(context_, ownAccount);
    smbc_setOptionFallbackAfterKerberos(context_, ownAccount);
    smbc_setOptionUseCCache(context_, ownAccount);
    // Refused credentials must not quietly turn into a guest session.
    smbc_setOptionNoAutoAnonymousLogin(context_, !guest_ && !ownAccount);
    smbc_setPort(context_, port_);
    const std::chrono::seconds connectLimit =
        timeout != 0 ? std::chrono::seconds(std::min(timeout, kMaxTimeoutSeconds)) : timeouts_.connect;
    smbc_setTimeout(context_, timeoutMs(connectLimit));
    if (smbc_init_context(context_) == nullptr) {
      const int error = errno;
      smbc_free_context(context_, 1);
      context_ = nullptr;
      return failure(error, root, true);
    }
    smbc_setOptionProtocols(context_, "SMB2_02", "SMB3");
    return rcNoError;
  }

  void closeContext() {
    if (context_ == nullptr) return;
    // The network part of the goodbye happens outside the lock.
    smbc_getFunctionPurgeCachedServers(context_)(context_);
    std::lock_guard<std::mutex> lock(g_contextLifecycle);
    smbc_free_context(context_, 1);
    context_ = nullptr;
  }

  SMBCCTX* context_ = nullptr;
  std::string host_;
  std::uint16_t port_ = 0;
  bool guest_ = false;
};

}  // namespace

TransferItf* createSmbTransfer(xoInetProtocol protocol) { return new SmbTransfer(protocol); }

}  // namespace corvane_com::zel::xoInet
