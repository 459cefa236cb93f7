// Result codes of every public operation and their English texts.
#ifndef INETMGR_RESULT_CODE_H
#define INETMGR_RESULT_CODE_H

#include <cstdint>

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

// Zero is success, negative values are errors, positive values are outcomes that
// are not errors (end of list, not found, ...). The numbers are a stable contract.
enum ResultCode : std::int32_t {
  rcShutDown = -14,
  rcBadCast = -13,
  rcPathError = -12,
  rcXoInetError = -11,
  rcBadSiteProperties = -10,
  rcLockFailed = -9,
  rcBadSchema = -8,
  rcNotInitialized = -7,
  rcNotLocked = -6,
  rcSiteListError = -5,
  rcOutOfMemory = -4,
  rcBadArgument = -3,
  rcNotImplemented = -2,
  rcUnexpected = -1,
  rcSuccess = 0,
  rcEndOfList = 1,
  rcNotFound = 2,
  rcProxyElement = 3,
  rcSiteDisabled = 4,
  rcXoInetStatus = 5,
};

// True exactly when `code` is negative. Note that rcSiteDisabled and
// rcXoInetStatus are not errors by this rule although no transfer took place;
// compare with rcSuccess to learn whether an operation worked.
// Thread-safe.
INETMGR_API bool isCodeError(ResultCode code);

// Returns the text for `code`, valid for the life of the process; two calls for
// one code return the same pointer. Codes without a text (rcShutDown, unknown
// values) give an empty text, or a null pointer when `nullIfUnknown` is true.
// Thread-safe; the first call fills the table once.
INETMGR_API const wchar_t* getErrorText(ResultCode code, bool nullIfUnknown);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_RESULT_CODE_H
