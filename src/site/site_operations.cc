// The site's transfer entry points, which run one operation each and turn
// whatever ends it into a ResultCode, keeping the transfer code as the site's
// last; and the reachability probes, which report "unmeasurable" for now.
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "core/string_conversion.h"
#include "platform/log.h"
#include "site/site_impl.h"
#include "site/xoinet_op.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imsite";

// The value a probe returns for a site it cannot measure.

// "name(a, b, ...)" for the trace scope; a null argument shows as "(null)".
std::wstring describeCall(const wchar_t* name, std::initializer_list<const wchar_t*> arguments) {
  std::wstring text = std::wstring(name) + L"(";
  for (const wchar_t* argument : arguments) {
    if (text.back() != L'(') text += L", ";
    text += argument != nullptr ? argument : L"(null)";
  }
  return text + L")";
}

bool anyNull(std::initializer_list<const wchar_t*> required) {
  for (const wchar_t* argument : required) {
    if (argument == nullptr) {
      platform::logInternalError(kTag, getErrorText(rcBadArgument, false));
      return true;
    }
  }
  return false;
}

// Makes the operation with `make` (which runs the prologue), hands `extra` to
// its transfer, runs it, and turns every way it can end into a code: a site
// error gives its own (keeping its transfer code in `lastError`), a path the
// rules refuse rcPathError, and nothing escapes. A transfer code judged a
// failure without ending the operation (a positive code outside the code
// sets) gives rcXoInetStatus.
template <class Make>
ResultCode runOperation(Make make, const wchar_t* extra, xoInet::xoInetError& lastError) {
  try {
    std::unique_ptr<siteimpl::XoInetOp> op = make();
    if (!op->isReady()) return rcSuccess;
    if (extra != nullptr && *extra != L'\0') op->setDownloadExtra(extra);
    op->doOperation();
    lastError = op->getTransferCode();
    return op->hasTransferFailed() ? rcXoInetStatus : rcSuccess;
  } catch (SiteImplExcept& e) {
    return doSiteExceptCatch(e, lastError);
  } catch (const std::filesystem::filesystem_error& e) {
    platform::logError(
        kTag, std::wstring(getErrorText(rcPathError, false)) + L" " + convertString<wchar_t>(e.what()));
    return rcPathError;
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, getErrorText(rcOutOfMemory, false));
    return rcOutOfMemory;
  } catch (const std::exception& e) {
    platform::logError(
        kTag, std::wstring(getErrorText(rcUnexpected, false)) + L" " + convertString<wchar_t>(e.what()));
    return rcUnexpected;
  }
}

}  // namespace

ResultCode ImSiteImpl::downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                                    bool resume, const wchar_t* extra) {
  platform::ADetailTrace trace(
      kTag,
      describeCall(L"downloadFile", {file, sourceDir, destDir, resume ? L"resume" : L"no resume", extra}));
  lastXoInetError_ = xoInet::rcNoError;
  if (anyNull({file, sourceDir, destDir})) return rcBadArgument;
  return runOperation(
      [&] { return std::make_unique<siteimpl::XoInetOpDownload>(*this, file, sourceDir, destDir, resume); },
      extra, lastXoInetError_);
}

ResultCode ImSiteImpl::uploadFile(const wchar_t* remoteFile, const wchar_t* remoteDir,
                                  const wchar_t* localFile, const wchar_t* localDir,
                                  const wchar_t* responseTarget) {
  platform::ADetailTrace trace(
      kTag, describeCall(L"uploadFile", {remoteFile, remoteDir, localFile, localDir, responseTarget}));
  lastXoInetError_ = xoInet::rcNoError;
  if (anyNull({remoteFile, remoteDir, localFile, localDir})) return rcBadArgument;
  return runOperation(
      [&] {
        return std::make_unique<siteimpl::XoInetOpUpload>(*this, localDir, localFile, remoteDir, remoteFile,
                                                          responseTarget);
      },
      nullptr, lastXoInetError_);
}

}  // namespace corvane_com::zel::inetmgr
