// Progress reports: the callback interface callers implement to watch and stop
// transfers.
#ifndef INETMGR_PROGRESS_H
#define INETMGR_PROGRESS_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "inetmgr/export.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// The answer to every progress report.
enum StatusAction : std::int32_t {
  Continue = 0,
  Stop = 1,
};

// Implemented by callers and attached to a site (IImSite::connect). The library
// takes one reference per connection (addRef) and gives it back with release()
// when the callback is disconnected or the site goes away.
class IImProgressCallback {
 public:
  virtual ~IImProgressCallback() = default;
  // Returns the new reference count, which must be positive.
  virtual int addRef() = 0;
  // Returns the remaining reference count; the callback may delete itself at 0.
  virtual int release() = 0;
  // Kept for binary compatibility with older callers; the library never calls them.
  virtual void reservedSlot1() {}
  virtual void reservedSlot2() {}
  // One status report: bytes done and total (0 when unknown), the status, and
  // the site name, server name and file name, any of which may be null (valid
  // only during the call). Returning Stop ends the running operation. Called on
  // the thread that runs the operation.
  virtual StatusAction onStatus(std::size_t done, std::size_t total, xoInet::INETSTATUS status,
                                const wchar_t* siteName, const wchar_t* serverName, const wchar_t* fileName) = 0;
};

// A shared handle that calls release() when the last copy goes.
using IImProgressCallback_ptr = std::shared_ptr<IImProgressCallback>;

// Wraps `callback` (may be null) without taking a reference: the handle owns the
// reference the caller already holds. Thread-safe.
INETMGR_API IImProgressCallback_ptr wrapProgressCallbackPtr(IImProgressCallback* callback);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_PROGRESS_H
