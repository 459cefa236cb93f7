// Holds the store's access lock for one scope, so that a site list gives the
// lock cookie back on every path out of its initialisation.
#ifndef INETMGR_FACADE_SAFE_LOCK_H
#define INETMGR_FACADE_SAFE_LOCK_H

#include <string>
#include <system_error>

#include "platform/assert.h"
#include "platform/log.h"
#include "store/persist_site_itf.h"

namespace corvane_com::zel::inetmgr {

class SafeLock {
 public:
  // Takes the lock at once; getCookie() is 0 when it could not be had. Lock
  // errors of the store pass through.
  explicit SafeLock(IPersistSite* object, long cookie = 0) : object_(object), cookie_(cookie) {
    INETMGR_ASSERT(nullptr != object_, "0!=object_");
    lock();
  }
  // Unlock explicitly where a lock error must be reported; here it can only be logged.
  ~SafeLock() {
    try {
      unlock();
    } catch (const std::system_error& e) {
      platform::logError(L"imsitel",
                         L"Error accessing PersistSite's lock " + std::to_wstring(e.code().value()));
    }
  }
  SafeLock(const SafeLock&) = delete;
  SafeLock& operator=(const SafeLock&) = delete;

  void lock() { cookie_ = object_->lock(); }
  // Gives the cookie back once; later calls do nothing.
  void unlock() {
    IPersistSite* object = object_;
    object_ = nullptr;
    if (object != nullptr) object->unlock(cookie_);
  }
  long getCookie() const { return cookie_; }

 private:
  IPersistSite* object_;
  long cookie_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_FACADE_SAFE_LOCK_H
