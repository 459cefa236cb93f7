// Small exception carriers that take a ResultCode from deep inside a unit to the
// public operation that logs it and returns it. None derives from a standard
// exception: they never leave the library.
#ifndef INETMGR_CORE_RESULT_EXCEPTIONS_H
#define INETMGR_CORE_RESULT_EXCEPTIONS_H

#include <string>

#include "inetmgr/result_code.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// Carries a code through the network connection's operations.
class NetConnException {
 public:
  explicit NetConnException(ResultCode code) : code_(code) {}
  ResultCode getCode() const { return code_; }
  const wchar_t* what() const { return getErrorText(code_, false); }
  bool isError() const { return isCodeError(code_); }

 private:
  ResultCode code_;
};

// Carries a failed step of a site list's initialisation to its end.
class initException {
 public:
  explicit initException(ResultCode code) : code_(code) {}
  ResultCode getCode() const { return code_; }

 private:
  ResultCode code_;
};

// A site's failure: the code, an optional parent text (the cause as the layer
// below reported it) and the transfer layer's own code.
class SiteImplExcept {
 public:
  SiteImplExcept(ResultCode code, std::wstring parentText, xoInet::xoInetError xoInetError)
      : code_(code), parentText_(std::move(parentText)), xoInetError_(xoInetError) {}
  explicit SiteImplExcept(ResultCode code) : SiteImplExcept(code, std::wstring(), xoInet::rcNoError) {}
  // A failure that names its own reason in place of the code's text.
  static SiteImplExcept withMessage(ResultCode code, std::wstring message) {
    SiteImplExcept e(code);
    e.message_ = std::move(message);
    return e;
  }

  ResultCode getCode() const { return code_; }
  xoInet::xoInetError getXoInetError() const { return xoInetError_; }
  const std::wstring& getParentText() const { return parentText_; }
  // The message (or, without one, the code's text), followed by
  // " [Parent error: <parent>]" when there is a parent text.
  const std::wstring& getText();

 private:
  ResultCode code_;
  std::wstring parentText_;
  xoInet::xoInetError xoInetError_;
  std::wstring message_;
  std::wstring text_;
};

// Throws a NetConnException for every code but rcSuccess, errors or not.
void checkCode(ResultCode code);

// Logs the carried code under "imnetco" (errors as errors, other codes as
// internal errors) and returns it.
ResultCode doNetConnExceptCatch(NetConnException& e);

// The code a site operation returns for `e`: rcNotFound when the transfer layer
// said -5 (not found), the carried code otherwise. Logs the text under "imsite",
// as an error when the returned code is one and as detail otherwise.
ResultCode doSiteExceptCatch(SiteImplExcept& e);
// As above, and stores the carried transfer code in `xoInetError`.
ResultCode doSiteExceptCatch(SiteImplExcept& e, xoInet::xoInetError& xoInetError);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_RESULT_EXCEPTIONS_H
