// HTTP(S) and FTP(S) transfers through libcurl: one easy handle per object, so
// an FTP logon's connection carries the object's later transfers; TLS always
// verified against the site list's CA bundle; resumed downloads checked
// against the server's answer before a byte of it is kept.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>

#include "platform/log.h"
#include "platform/utf8.h"
#include "xoinet/curl_codes.h"
#include "xoinet/curl_proxy.h"
#include "xoinet/curl_request.h"
#include "xoinet/curl_url.h"
#include "xoinet/network_transfer.h"
#include "xoinet/transfer_backends.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr wchar_t kTag[] = L"xoinet";
// Large reads keep the per-byte overhead of the callbacks low on fast links.
constexpr long kBufferSize = 512 * 1024;
constexpr long kMaxRedirects = 5;
constexpr int kDeleteDepth = 16;
constexpr std::size_t kDeleteEntries = 10000;

void initialiseCurl() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

template <class Text>
void wipe(Text& text) {
  volatile auto* bytes = text.data();
  for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = 0;
  text.clear();
}

struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Slist = std::unique_ptr<curl_slist, SlistDeleter>;

void append(Slist& list, const std::string& item) {
  curl_slist* grown = curl_slist_append(list.get(), item.c_str());
  if (grown != nullptr) {
    list.release();
    list.reset(grown);
  }
}

class CurlTransfer final : public NetworkTransfer {
 public:
  explicit CurlTransfer(xoInetProtocol transferProtocol) : NetworkTransfer(transferProtocol) { initialiseCurl(); }
  ~CurlTransfer() override { closeHandle(); }
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  xoInetError Logon(bool, unsigned int timeout) override {
    closeHandle();
    easy_ = curl_easy_init();
    if (easy_ == nullptr) {
      platform::logError(kTag, L"libcurl could not make a transfer handle");
      return rcProtocol;
    }
    if (!isFtp()) {
      loggedOn_ = true;
      return rcNoError;
    }
    // A request without a body: libcurl connects and logs on, and the
    // connection stays with the handle for the transfers that follow.
    Request request;
    Slist headers;
    xoInetError result = prepare(baseUrl() + "/", request, headers);
    if (result == rcNoError) {
      curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
      if (timeout != 0) curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT, static_cast<long>(timeout));
      result = perform("Logon to", request);
    }
    if (result != rcNoError) {
      closeHandle();
      return result;
    }
    char* entry = nullptr;
    if (curl_easy_getinfo(easy_, CURLINFO_FTP_ENTRY_PATH, &entry) == CURLE_OK && entry != nullptr) entryPath_ = entry;
    loggedOn_ = true;
    return rcNoError;
  }

  xoInetError LogOut() override {
    closeHandle();
    return rcNoError;
  }

  xoInetError DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource, CNetSessionSink* sink,
                           long* resumePoint, bool& resume, const bool&) override {
    if (!loggedOn_) return rcNotLoggedOn;
    std::string url = baseUrl() + "/" + encodeUrlPath(underRoot(options_.relativePath, remoteSource), false);
    // The extra text belongs to this download alone; over HTTP it is the
    // request's query.
    std::wstring extra = std::exchange(options_.downloadExtra, std::wstring());
    extra.erase(0, extra.find_first_not_of(L"?&"));
    if (!extra.empty() && !isFtp()) url += encodeUrlPath("?" + platform::toUtf8(extra), true);
    DownloadTarget target(localTarget);
    std::uint64_t offset = 0;
    const long wanted = resume && resumePoint != nullptr && *resumePoint > 0 ? *resumePoint : 0;
    xoInetError result = target.start(static_cast<std::uint64_t>(wanted), offset);
    if (result != rcNoError) return result;
    ProgressReporter progress(sink, options_, remoteSource);
    if (offset > 0 && isFtp()) {
      result = checkFtpResume(url, target, offset);
      if (result != rcNoError) return result;
    }
    // Two rounds at most: a resume the server's answer refutes is fetched whole.
    for (int round = 0; round < 2; ++round) {
      Request request;
      request.progress = &progress;
      request.target = &target;
      request.offset = request.base = offset;
      request.partialModified = target.partialModified();
      request.checkResume = offset > 0 && !isFtp();
      Slist headers;
      result = prepare(url, request, headers);
      if (result != rcNoError) return result;
      curl_easy_setopt(easy_, CURLOPT_FAILONERROR, 1L);
      if (offset > 0 && isFtp()) {
        curl_easy_setopt(easy_, CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(offset));
      } else if (offset > 0) {
        // A Range of our own rather than libcurl's resume, which refuses a
        // server that answers with the whole file.
        curl_easy_setopt(easy_, CURLOPT_RANGE, (std::to_string(offset) + "-").c_str());
      }
      const bool refutable = request.checkResume;
      result = perform("Download of", request, refutable);
      if (result == rcNoError && refutable) request.decide();  // an answer without a body is judged too
      if (refutable && (request.restartWhole || (result != rcNoError && request.status == 416))) {
        platform::logInfo(kTag, L"The remote file changed since the partial download; fetching it whole: " +
                                    platform::fromUtf8(url));
        if (!target.restart()) return localFailure(target);
        offset = 0;
        continue;
      }
      // A failed write has been logged with the transfer's failure.
      if (request.localFailed && result == rcNoError) return localFailure(target);
      break;
    }
    if (result != rcNoError) return result;
    if (!progress.report(target.size(), target.size(), true)) return aborted(url);
    return target.commit();
  }

  xoInetError UploadFile(const std::wstring& source, const std::wstring& destination, CNetSessionSink* sink) override {
    return upload(source, destination, takeResponseFile(), sink);
  }

  xoInetError UploadFileResponse(const std::wstring& source, const std::wstring& destination,
                                 const std::wstring& responseFile, CNetSessionSink* sink) override {
    takeResponseFile();
    return upload(source, destination, responseFile, sink);
  }

  xoInetError DeleteRemoteFile(const std::wstring& path) override {
    if (!loggedOn_) return rcNotLoggedOn;
    if (!isFtp()) return notOverHttp(L"deleting a remote file");
    return ftpCommand("DELE", absoluteFtpPath(underRoot(options_.relativePath, path)));
  }

  xoInetError DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) override {
    if (!loggedOn_) return rcNotLoggedOn;
    if (!isFtp()) return notOverHttp(L"deleting a remote directory");
    std::string directory = underRoot(options_.relativePath, path);
    while (!directory.empty() && directory.back() == '/') directory.pop_back();
    std::size_t budget = kDeleteEntries;
    if (recursive) emptyFtpDirectory(directory, 0, budget);
    return ftpCommand("RMD", absoluteFtpPath(directory));
  }

 private:
  bool isFtp() const { return protocol == xoInetProtocolFtp; }

  void closeHandle() {
    if (easy_ != nullptr) curl_easy_cleanup(easy_);  // sends QUIT on an FTP connection
    easy_ = nullptr;
    loggedOn_ = false;
    entryPath_.clear();
  }

  // The port the URL names: the secure port of an SSL site, else the one
  // given with the server, else the site's port, else the scheme's own.
  long urlPort(const HostPort& server) const {
    if (options_.useSsl && options_.sslPort > 0) return options_.sslPort;
    if (server.port > 0) return server.port;
    return options_.port > 0 ? options_.port : 0;
  }

  HostPort server() const {
    return splitHostPort(options_.hostName.empty() ? options_.hostAddress : options_.hostName);
  }

  // "scheme://host[:port]", without a trailing slash.
  std::string baseUrl() const {
    const HostPort named = server();
    const long urlPortNumber = urlPort(named);
    const char* scheme = isFtp() ? "ftp://" : (options_.useSsl ? "https://" : "http://");
    return scheme + bracketed(named.host) + (urlPortNumber > 0 ? ":" + std::to_string(urlPortNumber) : std::string());
  }

  std::string absoluteFtpPath(const std::string& relative) const {
    std::string entry = entryPath_.empty() ? "/" : entryPath_;
    if (entry.back() != '/') entry += '/';
    return entry + relative;
  }

  // Everything a request of this object sets, for `url`.
  xoInetError prepare(const std::string& url, Request& request, Slist& lists) {
    curl_easy_reset(easy_);
    errorText_[0] = '\0';
    url_ = url;
    curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_);
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    const char* protocols = isFtp() ? "ftp" : (options_.useSsl ? "https" : "http");
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, protocols);
    curl_easy_setopt(easy_, CURLOPT_REDIR_PROTOCOLS_STR, protocols);
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT, static_cast<long>(timeouts_.connect.count()));
    curl_easy_setopt(easy_, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy_, CURLOPT_LOW_SPEED_TIME, static_cast<long>(timeouts_.stall.count()));
    curl_easy_setopt(easy_, CURLOPT_BUFFERSIZE, kBufferSize);
    curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(easy_, CURLOPT_HEADERDATA, &request);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &request);
    curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &onProgress);
    curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, &request);
    if (!isFtp()) {
      curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L);
      curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, kMaxRedirects);
    }

    const xoInetError tls = setTls();
    if (tls != rcNoError) return tls;
    setCredentials();
    setProxy();
    // A numeric server address says where the name connects; the name stays
    // what TLS checks.
    const HostPort named = server();
    const HostPort address = splitHostPort(options_.hostAddress);
    if (!options_.hostName.empty() && isNumericAddress(address.host) && address.host != named.host) {
      long namedPort = urlPort(named);
      if (namedPort == 0) namedPort = isFtp() ? 21 : (options_.useSsl ? 443 : 80);
      const long connectPort =
          options_.useSsl && options_.sslPort > 0 ? namedPort : (address.port > 0 ? address.port : namedPort);
      append(lists, bracketed(named.host) + ":" + std::to_string(namedPort) + ":" + bracketed(address.host) + ":" +
                        std::to_string(connectPort));
      curl_easy_setopt(easy_, CURLOPT_CONNECT_TO, lists.get());
    }
    return rcNoError;
  }

  xoInetError setTls() {
    if (!options_.useSsl) return rcNoError;
    const std::string bundle = platform::toUtf8(options_.caBundlePath);
    struct stat info {};
    if (bundle.empty() || ::stat(bundle.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size == 0) {
      platform::logError(kTag, L"Refusing TLS to " + platform::fromUtf8(url_) +
                                   L": the site list has no CA bundle to verify the server with (" +
                                   (bundle.empty() ? std::wstring(L"no path given") : options_.caBundlePath + L" is missing or empty") +
                                   L"); " + describeTransferCode(rcCertificate));
      return rcCertificate;
    }
    curl_easy_setopt(easy_, CURLOPT_CAINFO, bundle.c_str());
    curl_easy_setopt(easy_, CURLOPT_CAPATH, static_cast<char*>(nullptr));
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy_, CURLOPT_SSL_VERIFYHOST, 2L);
    if (isFtp()) {
      curl_easy_setopt(easy_, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
      curl_easy_setopt(easy_, CURLOPT_FTPSSLAUTH, static_cast<long>(CURLFTPAUTH_TLS));
    }
    return rcNoError;
  }

  void setCredentials() {
    if (options_.userName.empty()) return;  // FTP logs on anonymously
    std::string user = platform::toUtf8(options_.userName);
    std::wstring plain = plainPassword();
    std::string password = platform::toUtf8(plain);
    wipe(plain);
    curl_easy_setopt(easy_, CURLOPT_USERNAME, user.c_str());
    curl_easy_setopt(easy_, CURLOPT_PASSWORD, password.c_str());  // libcurl keeps its own copy
    wipe(password);
    if (!isFtp()) curl_easy_setopt(easy_, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
  }

  void setProxy() {
    const ProxyRoute route = chooseProxyRoute(options_.proxy, isFtp(), server().host);
    if (route.kind == ProxyRoute::Kind::environment) return;  // libcurl reads the environment itself
    if (route.kind == ProxyRoute::Kind::direct) {
      // Explicitly none, so no http_proxy of the environment steps in.
      curl_easy_setopt(easy_, CURLOPT_PROXY, "");
      return;
    }
    curl_easy_setopt(easy_, CURLOPT_PROXY, ("http://" + route.server).c_str());
    curl_easy_setopt(easy_, CURLOPT_NOPROXY, "");
    // FTP goes through an HTTP proxy as a tunnel, keeping its own commands.
    if (isFtp()) curl_easy_setopt(easy_, CURLOPT_HTTPPROXYTUNNEL, 1L);
    if (!route.authenticate) return;
    inetmgr::SecureString kept(isFtp() ? options_.proxy->ftpPassword : options_.proxy->httpPassword);
    std::wstring plain = kept.str();
    std::string password = platform::toUtf8(plain);
    wipe(plain);
    curl_easy_setopt(easy_, CURLOPT_PROXYUSERNAME, route.userName.c_str());
    curl_easy_setopt(easy_, CURLOPT_PROXYPASSWORD, password.c_str());
    wipe(password);
    curl_easy_setopt(easy_, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_BASIC));
  }

  // Runs the prepared request; on failure logs one line and answers its code.
  // `quietRange` leaves a 416 unlogged: the caller fetches the file whole.
  xoInetError perform(const char* what, Request& request, bool quietRange = false) {
    CurlOutcome outcome;
    outcome.ftp = isFtp();
    outcome.code = curl_easy_perform(easy_);
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &outcome.response);
    if (!isFtp() && request.status == 0) request.status = outcome.response;
    curl_off_t connectTime = 0;
    curl_easy_getinfo(easy_, CURLINFO_CONNECT_TIME_T, &connectTime);
    outcome.connected = connectTime > 0 || outcome.response > 0;
    if (request.source >= 0) {
      curl_off_t sent = 0;
      curl_easy_getinfo(easy_, CURLINFO_SIZE_UPLOAD_T, &sent);
      outcome.bodySent = static_cast<std::uint64_t>(sent) == request.sourceSize;
    }
    xoInetError result = transferCodeOf(outcome);
    if (request.localFailed && result != rcNoError) result = rcLocalFile;
    if (result == rcNoError || request.restartWhole || (quietRange && outcome.response == 416)) return result;
    const std::string reason = outcome.code == CURLE_OK ? std::string()
                               : errorText_[0] != '\0' ? std::string(errorText_)
                                                       : std::string(curl_easy_strerror(outcome.code));
    logFailure(std::string(what) + " " + url_, reason, outcome.response, result);
    return result;
  }

  // The one log line of a failed operation.
  static void logFailure(const std::string& operation, const std::string& reason, long response,
                         xoInetError result) {
    std::wstring line = platform::fromUtf8(operation + " failed");
    if (!reason.empty()) line += L": " + platform::fromUtf8(reason);
    if (response > 0) line += L" (server answered " + std::to_wstring(response) + L")";
    line += L"; " + describeTransferCode(result);
    if (result == rcAborted) {
      platform::logInfo(kTag, line);
    } else {
      platform::logError(kTag, line);
    }
  }

  // Before an FTP download resumes: the remote file must be at least as long
  // as the partial one and not newer, else it is fetched whole.
  xoInetError checkFtpResume(const std::string& url, DownloadTarget& target, std::uint64_t& offset) {
    Request request;
    Slist lists;
    xoInetError result = prepare(url, request, lists);
    if (result != rcNoError) return result;
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(easy_, CURLOPT_FILETIME, 1L);
    result = perform("Size and date of", request);
    if (result != rcNoError) return result;
    curl_off_t size = -1;
    curl_off_t modified = -1;
    curl_easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
    curl_easy_getinfo(easy_, CURLINFO_FILETIME_T, &modified);
    const bool shorter = size >= 0 && static_cast<std::uint64_t>(size) < offset;
    const bool newer = modified > 0 && static_cast<long long>(modified) > target.partialModified();
    if (!shorter && !newer) return rcNoError;
    platform::logInfo(kTag, L"The remote file changed since the partial download; fetching it whole: " +
                                platform::fromUtf8(url));
    if (!target.restart()) return localFailure(target);
    offset = 0;
    return rcNoError;
  }

  xoInetError upload(const std::wstring& source, const std::wstring& destination, const std::wstring& responseFile,
                     CNetSessionSink* sink) {
    if (!loggedOn_) return rcNotLoggedOn;
    const std::string from = platform::toUtf8(source);
    Request request;
    request.countingDownload = false;
    request.source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (request.source < 0 || ::fstat(request.source, &info) != 0 || !S_ISREG(info.st_mode)) {
      const int error = request.source < 0 ? errno : EISDIR;
      if (request.source >= 0) ::close(request.source);
      platform::logError(kTag, L"Cannot read the upload " + source + L": " + platform::fromUtf8(std::strerror(error)) +
                                   L"; " + describeTransferCode(rcLocalFile));
      return rcLocalFile;
    }
    std::unique_ptr<int, void (*)(int*)> closer(&request.source, [](int* fd) { ::close(*fd); });
    request.sourceSize = static_cast<std::uint64_t>(info.st_size);

    std::string url;
    if (isFtp()) {
      std::string path = underRoot(options_.relativePath, destination);
      if (path.empty() || path.back() == '/') path += baseName(from);
      url = baseUrl() + "/" + encodeUrlPath(path, false);
    } else {
      std::string path = platform::toUtf8(destination);
      if (path.empty() || path.front() != '/') path.insert(0, "/");
      url = baseUrl() + encodeUrlPath(path, true);
    }
    std::optional<DownloadTarget> response;
    if (!responseFile.empty() && !isFtp()) {
      response.emplace(responseFile);
      std::uint64_t ignored = 0;
      const xoInetError started = response->start(0, ignored);
      if (started != rcNoError) return started;
      request.target = &*response;
    }
    ProgressReporter progress(sink, options_, source);
    request.progress = &progress;
    Slist headers;
    xoInetError result = prepare(url, request, headers);
    if (result != rcNoError) return result;
    curl_easy_setopt(easy_, CURLOPT_READFUNCTION, &onRead);
    curl_easy_setopt(easy_, CURLOPT_READDATA, &request);
    curl_easy_setopt(easy_, CURLOPT_UPLOAD_BUFFERSIZE, kBufferSize);
    if (isFtp()) {
      curl_easy_setopt(easy_, CURLOPT_UPLOAD, 1L);
      curl_easy_setopt(easy_, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.sourceSize));
      curl_easy_setopt(easy_, CURLOPT_FTP_CREATE_MISSING_DIRS, static_cast<long>(CURLFTP_CREATE_DIR_RETRY));
    } else {
      curl_easy_setopt(easy_, CURLOPT_POST, 1L);
      curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.sourceSize));
      curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 0L);
      append(headers, "Content-Type: application/octet-stream");
      append(headers, "Expect:");  // no round trip before the body
      curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers.get());
    }
    result = perform("Upload to", request);
    if (result != rcNoError) return result;
    if (!progress.report(request.sourceSent, request.sourceSize, true)) return aborted(url);
    return response ? response->commit() : rcNoError;
  }

  xoInetError ftpCommand(const char* command, const std::string& path) {
    if (path.find_first_of("\r\n") != std::string::npos) {
      platform::logError(kTag, L"A remote path with a line break cannot be sent to an FTP server: " +
                                   platform::fromUtf8(path) + L"; " + describeTransferCode(rcProtocol));
      return rcProtocol;
    }
    Request request;
    Slist commands;
    xoInetError result = prepare(baseUrl() + "/", request, commands);
    if (result != rcNoError) return result;
    // Sent last, after libcurl has moved to the logon directory, and marked
    // "*": a refused command does not end the request, so libcurl keeps the
    // connection; its reply, the last one, is judged here.
    append(commands, "*" + std::string(command) + " " + path);
    curl_easy_setopt(easy_, CURLOPT_POSTQUOTE, commands.get());
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
    result = perform(command, request);
    const long reply = request.lastReply;
    if (result != rcNoError || reply < 400) return result;
    CurlOutcome refused;
    refused.code = CURLE_QUOTE_ERROR;
    refused.response = reply;
    refused.ftp = refused.connected = true;
    result = transferCodeOf(refused);
    logFailure(std::string(command) + " " + path + " on " + url_, std::string(), reply, result);
    return result;
  }

  // Best effort: deletes what a listing of `directory` names, its
  // subdirectories first, within `budget` entries and kDeleteDepth levels.
  void emptyFtpDirectory(const std::string& directory, int depth, std::size_t& budget) {
    if (depth >= kDeleteDepth || budget == 0) return;
    std::string listing;
    Request request;
    request.listing = &listing;
    Slist lists;
    if (prepare(baseUrl() + "/" + encodeUrlPath(directory, false) + "/", request, lists) != rcNoError) return;
    curl_easy_setopt(easy_, CURLOPT_DIRLISTONLY, 1L);
    if (perform("Listing of", request) != rcNoError) return;
    std::size_t start = 0;
    while (start < listing.size() && budget > 0) {
      std::size_t end = listing.find('\n', start);
      if (end == std::string::npos) end = listing.size();
      std::string name = baseName(listing.substr(start, end - start));
      start = end + 1;
      while (!name.empty() && name.back() == '\r') name.pop_back();
      if (name.empty() || name == "." || name == "..") continue;
      --budget;
      const std::string child = directory + "/" + name;
      if (ftpCommand("DELE", absoluteFtpPath(child)) == rcNoError) continue;
      emptyFtpDirectory(child, depth + 1, budget);
      ftpCommand("RMD", absoluteFtpPath(child));
    }
  }

  xoInetError notOverHttp(const wchar_t* what) const {
    platform::logError(kTag, std::wstring(L"An HTTP site does not support ") + what + L"; " +
                                 describeTransferCode(rcNotSupported));
    return rcNotSupported;
  }

  xoInetError localFailure(const DownloadTarget& target) const {
    platform::logError(kTag, L"Cannot write the download of " + platform::fromUtf8(url_) + L" into " +
                                 platform::fromUtf8(target.nativeDestination()) + L"; " +
                                 describeTransferCode(rcLocalFile));
    return rcLocalFile;
  }

  xoInetError aborted(const std::string& url) const {
    platform::logInfo(kTag, platform::fromUtf8(url) + L": " + describeTransferCode(rcAborted));
    return rcAborted;
  }

  CURL* easy_ = nullptr;
  bool loggedOn_ = false;
  std::string entryPath_;  // the FTP logon directory
  std::string url_;        // of the request under way, for log lines
  char errorText_[CURL_ERROR_SIZE] = {};
};

}  // namespace

TransferItf* createCurlTransfer(xoInetProtocol protocol) { return new CurlTransfer(protocol); }

}  // namespace corvane_com::zel::xoInet
