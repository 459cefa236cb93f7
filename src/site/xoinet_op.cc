// The operation frame and the download and upload operations. Transfer codes
// are judged against small fixed code sets; a failure leaves as SiteImplExcept
// carrying the transfer code, and the closing steps (logout, post-logout) never
// mask an earlier failure.
#include "site/xoinet_op.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <exception>
#include <limits>
#include <system_error>
#include <utility>

#include "core/path_utils.h"
#include "core/result_exceptions.h"
#include "core/string_conversion.h"
#include "inetmgr/agent.h"
#include "platform/assert.h"
#include "platform/log.h"
#include "site/site_impl.h"
#include "xoinet/transfer_backends.h"

namespace corvane_com::zel::inetmgr::siteimpl {
namespace {

using xoInet::xoInetError;

constexpr wchar_t kTag[] = L"imsite";

constexpr xoInetError code(std::int32_t value) {
  return static_cast<xoInetError>(value);
}

// The transfer's "not found": a resumed download that gets it is tried again whole.
constexpr xoInetError kNotFound = code(-5);
constexpr xoInetError kLogoutAlreadyClosed = code(-18);

// A partial file this small is fetched again whole.
constexpr std::uintmax_t kSmallestResumable = 4096;
constexpr std::uintmax_t kRefetchedTail = 1024;

bool contains(const XoInetCodeSet& list, xoInetError value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// Logon codes that end the operation as rcXoInetStatus rather than letting it go on.
const XoInetCodeSet& logonStatuses() {
  static const XoInetCodeSet statuses{code(1), code(2), code(12), code(15), code(16), code(18), code(19)};
  return statuses;
}

[[noreturn]] void throwPathError(const std::string& path, const char* what) {
  throw std::filesystem::filesystem_error(what, std::filesystem::path(path),
                                          std::make_error_code(std::errc::invalid_argument));
}

// `text` as a path whose elements pass `checker`.
std::filesystem::path checkedPath(const std::wstring& text, NameChecker checker) {
  const std::string narrow = changeBackToForwardSlash(text);
  if (narrow.empty() && !text.empty()) throwPathError(narrow, "path not representable in the locale");
  std::filesystem::path path(narrow);
  if (!checkPathNames(path, checker)) throwPathError(narrow, "invalid name in path");
  return path;
}

// The port after the last ':' of `text`; 0 when there is none or it is not a number.
int portOf(const std::wstring& text) {
  const std::size_t colon = text.rfind(L':');
  const std::wstring digits = colon == std::wstring::npos ? text : text.substr(colon + 1);
  if (digits.empty() || digits.find_first_not_of(L"0123456789") != std::wstring::npos) return 0;
  const long port = std::wcstol(digits.c_str(), nullptr, 10);
  return port <= 65535 ? static_cast<int>(port) : 0;
}

}  // namespace

XoInetCodeSet makeEmpty() {
  return XoInetCodeSet();
}

XoInetCodeSet makeDefault() {
  XoInetCodeSet list = makeEmpty();
  addCodeToList(list, xoInet::rcNoError);
  return list;
}

XoInetCodeSet makeAbortList() {
  XoInetCodeSet list = makeEmpty();
  addCodeToList(list, kAbortCode);
  return list;
}

XoInetCodeSet makeLogoutSuccessList() {
  XoInetCodeSet list = makeDefault();
  addCodeToList(list, kLogoutAlreadyClosed);
  return list;
}

void addCodeToList(XoInetCodeSet& list, xoInetError value) {
  list.push_back(value);
}

const XoInetCodeSet emptyList = makeEmpty();
const XoInetCodeSet defaultList = makeDefault();
const XoInetCodeSet includeAbort = makeAbortList();
const XoInetCodeSet logoutSuccess = makeLogoutSuccessList();

int isXoInetError(xoInetError value, bool throwOnError, const XoInetCodeSet& successList,
                  const XoInetCodeSet& statusList, bool logIt) {
  if (contains(successList, value)) return 0;
  const std::wstring message = L"XoInet library returned code == " + std::to_wstring(value);
  if (value < 0) {
    if (logIt) platform::logError(kTag, message);
    if (throwOnError) throw SiteImplExcept(rcXoInetError, message, value);
  } else if (contains(statusList, value)) {
    platform::logInfo(kTag, message);
    if (throwOnError) throw SiteImplExcept(rcXoInetStatus, message, value);
  }
  return 1;
}

void checkForAbort(StatusAction action) {
  if (action == Stop) isXoInetError(kAbortCode, true, defaultList, includeAbort, true);
}

long getResumePoint(bool resume, const std::filesystem::path& path) {
  if (!resume) return 0;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size <= kSmallestResumable) return 0;
  // The whole size, not its low 32 bits: a point past 4 GiB would otherwise be
  // wrong, and one a long cannot hold is fetched again whole.
  if (size - kRefetchedTail > static_cast<std::uintmax_t>(std::numeric_limits<long>::max())) {
    platform::logInfo(kTag, L"Partial file too large to resume here, downloading it whole");
    return 0;
  }
  // The last kilobyte is fetched again, deliberately, to repair a torn tail.
  const long resumePoint = static_cast<long>(size - kRefetchedTail);
  INETMGR_ASSERT(resumePoint >= 0, "resumePoint >= 0");
  platform::logDetail(kTag, L"Resuming download from byte " + std::to_wstring(resumePoint));
  return resumePoint;
}

std::wstring buildFullPath(ProtocolType::Types protocol, const wchar_t* dir, const wchar_t* file,
                           std::filesystem::path* outPath) {
  INETMGR_ASSERT(nullptr != dir, "0!=dir");
  INETMGR_ASSERT(nullptr != file, "0!=file");
  const NameChecker checker = findNameChecker(protocol);
  std::filesystem::path joined = checkedPath(dir, checker);
  std::filesystem::path name = checkedPath(file, checker);
  // Appended, never substituted: a file name given as "/name" stays inside `dir`.
  if (!name.empty()) joined /= name.relative_path();
  if (outPath != nullptr) *outPath = joined;
  return toRemoteNativePathString(joined, protocol);
}

LogonSession::LogonSession(TransferItf_ptr transfer)
    : transfer_(std::move(transfer)), logonCode_(transfer_->Logon(false, 0)) {}

LogonSession::~LogonSession() {
  // Reached only when the operation ended by an exception: it has failed, so
  // the logout is only logged.
  isError = true;
  try {
    logOut();
  } catch (...) {
  }
}

void LogonSession::logOut() {
  if (loggedOut_) return;
  loggedOut_ = true;
  isXoInetError(transfer_->LogOut(), !isError, logoutSuccess, emptyList, true);
}

XoInetOp::XoInetOp(ImSiteImpl& site)
    : siteName_(site.getSiteName()),
      serverName_(site.getServerName()),
      protocol_(site.getProtocol()),
      progress_(&site.getProgress()) {
  ready_ = site.commonOpPrologue();
  spTransfer_ = site.getTransfer();
  port_ = portOf(site.isSslEnabled() ? site.getHostSSLPort() : site.getSiteIp());
}

XoInetOp::~XoInetOp() = default;

StatusAction XoInetOp::callProgressCallback(xoInet::INETSTATUS status) {
  return (*progress_)(0, 0, status, siteName_.c_str(), serverName_.c_str(), thirdText_.c_str());
}

int XoInetOp::doOperation() {
  INETMGR_ASSERT(spTransfer_.get() != nullptr, "0!=spTransfer_.get()");
  checkForAbort(callProgressCallback(xoInet::statusStarting));
  LogonSession session(spTransfer_);
  std::exception_ptr failure;
  try {
    if (isXoInetError(session.logonCode(), false, defaultList, emptyList, true) != 0) {
      callProgressCallback(xoInet::statusLogonFailed);
      // Other positive codes let the operation go on.
      isXoInetError(session.logonCode(), true, defaultList, logonStatuses(), false);
    }
    checkForAbort(callProgressCallback(getBeginCode()));
    XoInetCallback callback(*progress_);
    opFailed_ = opDetails(callback, transferCode_);
    session.isError = opFailed_;
    const StatusAction atEnd = callProgressCallback(getEndCode());
    // A stop that arrives with a failed transfer does not replace the failure.
    if (opFailed_) {
      isXoInetError(transferCode_, true, defaultList, includeAbort, false);
    } else {
      checkForAbort(atEnd);
    }
  } catch (...) {
    session.isError = true;
    failure = std::current_exception();
  }
  try {
    session.logOut();
  } catch (...) {
    session.isError = true;
    failure = std::current_exception();
  }
  const int closing =
      isXoInetError(spTransfer_->PostLogOutOperations(), !session.isError, logoutSuccess, emptyList, true);
  if (failure) std::rethrow_exception(failure);
  return opFailed_ ? 1 : closing;
}

XoInetOpDownload::XoInetOpDownload(ImSiteImpl& site, const wchar_t* file, const wchar_t* sourceDir,
                                   const wchar_t* destDir, bool resume)
    : XoInetOp(site), resume_(resume) {
  if (!isReady()) return;
  buildDestinationPath(destDir, file);
  computeResumePoint();
  buildSourcePath(sourceDir, file);
}

void XoInetOpDownload::buildDestinationPath(const wchar_t* destDir, const wchar_t* file) {
  INETMGR_ASSERT(nullptr != destDir && nullptr != file, "0!=destDir && 0!=file");
  destText_ = buildFullPath(ProtocolType::Local, destDir, file, &destPath_);
  platform::logInfo(kTag, L" Download to: " + destText_);
}

void XoInetOpDownload::computeResumePoint() {
  INETMGR_ASSERT(!destPath_.empty(), "! destPath_.empty()");
  resumePoint_ = siteimpl::getResumePoint(resume_, destPath_);
}

void XoInetOpDownload::buildSourcePath(const wchar_t* sourceDir, const wchar_t* file) {
  INETMGR_ASSERT(nullptr != sourceDir && nullptr != file, "0!=sourceDir && 0!=file");
  INETMGR_ASSERT(ProtocolType::typeDontCare != protocol_, "inetmgr::ProtocolType::typeDontCare != protocol_");
  thirdText_ = buildFullPath(protocol_, sourceDir, file);
  platform::logInfo(kTag, L" Download from: (" + siteName_ + L") " + thirdText_);
}

bool XoInetOpDownload::opDetails(XoInetCallback& callback, xoInetError& result) {
  // The destination comes first on purpose: the transfer creates the
  // destination's directory from its first argument.
  result = spTransfer_->DownloadFile(destText_, thirdText_, &callback, &resumePoint_, resume_,
                                     getUseProxyCacheSetting());
  if (result == kNotFound && resume_) {
    platform::logInfo(kTag, L"Resumable download failed, trying full download");
    resumePoint_ = 0;
    resume_ = false;
    result = spTransfer_->DownloadFile(destText_, thirdText_, &callback, &resumePoint_, resume_,
                                       getUseProxyCacheSetting());
  }
  return isXoInetError(result, false, defaultList, includeAbort, true) != 0;
}

XoInetOpUpload::XoInetOpUpload(ImSiteImpl& site, const wchar_t* localDir, const wchar_t* file,
                               const wchar_t* remoteDir, const wchar_t* remoteFile,
                               const wchar_t* responseTarget)
    : XoInetOp(site) {
  if (!isReady()) return;
  buildLocalPath(localDir, file);
  buildRemotePath(remoteDir, remoteFile);
  buildResponsePath(responseTarget);
}

void XoInetOpUpload::buildLocalPath(const wchar_t* localDir, const wchar_t* file) {
  localPath_ = buildFullPath(ProtocolType::Local, localDir, file);
  platform::logInfo(kTag, L" Upload from: " + localPath_);
}

void XoInetOpUpload::buildRemotePath(const wchar_t* remoteDir, const wchar_t* remoteFile) {
  INETMGR_ASSERT(nullptr != remoteDir && nullptr != remoteFile, "0!=remoteDir && 0!=remoteFile");
  // Only the file name is held to the protocol's name rules: the directory is
  // taken whole, since an spipe target carries its request as a query
  // ("/spipe/pkg?AgentGuid=...") and comes with an empty file name.
  const std::wstring directory = changeBackToForwardSlashW(remoteDir);
  std::wstring name = changeBackToForwardSlashW(remoteFile);
  name.erase(0, name.find_first_not_of(L'/'));
  if (!name.empty()) checkedPath(name, findNameChecker(protocol_));
  if (name.empty() || directory.empty()) {
    remotePath_ = directory + name;
  } else {
    remotePath_ = directory + (directory.back() == L'/' ? L"" : L"/") + name;
  }
  platform::logInfo(kTag, L" Upload to: " + remotePath_);
}

void XoInetOpUpload::buildResponsePath(const wchar_t* responseTarget) {
  responsePath_ = responseTarget != nullptr ? responseTarget : L"";
  if (!responsePath_.empty()) platform::logInfo(kTag, L" Upload response target: " + responsePath_);
}

// -9, -60 and -61 are what a transfer reports when the file went out whole and
// only the closing exchange failed: the connection was dropped after the last
// byte, or the server's acknowledgement was missing or unreadable. A plain
// upload has then done its job, so these count as delivered (the site still
// keeps the code as its last transfer code), and sending again would deliver
// the file twice. An upload that waits for the server's response has not: the
// response is what its caller asked for, so they stay failures there, and the
// caller may try another server.
XoInetCodeSet XoInetOpUpload::successListFor(xoInetError value, bool expectsResponse) {
  XoInetCodeSet list = makeDefault();
  const bool closingOnly = value == code(-9) || value == code(-60) || value == code(-61);
  if (closingOnly && !expectsResponse) addCodeToList(list, value);
  return list;
}

bool XoInetOpUpload::opDetails(XoInetCallback& callback, xoInetError& result) {
  // Deliberately UploadFile, also when a response target is given: a network
  // transfer is told the target beforehand, the test transfer records a plain
  // upload.
  if (!responsePath_.empty()) xoInet::setUploadResponseFile(*spTransfer_, responsePath_);
  result = spTransfer_->UploadFile(localPath_, remotePath_, &callback);
  const bool failed =
      isXoInetError(result, false, successListFor(result, !responsePath_.empty()), includeAbort, true) != 0;
  if (!failed && result != xoInet::rcNoError) {
    platform::logInfo(
        kTag, L"Upload delivered; only its closing exchange failed with code " + std::to_wstring(result));
  }
  return failed;
}

}  // namespace corvane_com::zel::inetmgr::siteimpl
