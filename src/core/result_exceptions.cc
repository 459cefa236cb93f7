// The exception carriers' texts and the two catch points that turn them into
// result codes.
#include "core/result_exceptions.h"

#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

// The transfer layer's "not found" code.
constexpr xoInet::xoInetError kXoInetNotFound = static_cast<xoInet::xoInetError>(-5);

}  // namespace

const std::wstring& SiteImplExcept::getText() {
  text_ = message_.empty() ? std::wstring(getErrorText(code_, false)) : message_;
  if (!parentText_.empty()) text_ += L" [Parent error: " + parentText_ + L"]";
  return text_;
}

void checkCode(ResultCode code) {
  if (code != rcSuccess) throw NetConnException(code);
}

ResultCode doNetConnExceptCatch(NetConnException& e) {
  if (e.isError()) {
    platform::logError(L"imnetco", e.what());
  } else {
    platform::logInternalError(L"imnetco", e.what());
  }
  return e.getCode();
}

ResultCode doSiteExceptCatch(SiteImplExcept& e) {
  const ResultCode code = e.getXoInetError() == kXoInetNotFound ? rcNotFound : e.getCode();
  if (isCodeError(code)) {
    platform::logError(L"imsite", e.getText());
  } else {
    platform::logDetail(L"imsite", e.getText());
  }
  return code;
}

ResultCode doSiteExceptCatch(SiteImplExcept& e, xoInet::xoInetError& xoInetError) {
  xoInetError = e.getXoInetError();
  return doSiteExceptCatch(e);
}

}  // namespace corvane_com::zel::inetmgr
