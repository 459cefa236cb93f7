// The progress multiplexer and the callback handle.
#include "site/progress.h"

#include <algorithm>

#include "platform/assert.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"improgr";

struct ReleaseCallback {
  void operator()(IImProgressCallback* callback) const {
    if (callback != nullptr) callback->release();
  }
};

struct FindCallback {
  const IImProgressCallback* wanted;
  bool operator()(const IImProgressCallback_ptr& entry) const { return entry.get() == wanted; }
};

}  // namespace

std::atomic<bool> ImProgress::m_bAbortOperation{false};

IImProgressCallback_ptr wrapProgressCallbackPtr(IImProgressCallback* callback) {
  return IImProgressCallback_ptr(callback, ReleaseCallback());
}

ResultCode ImProgress::connect(IImProgressCallback* callback) {
  platform::ADetailTrace trace(kTag, L"ImProgress::connect()");
  if (callback == nullptr) return rcBadArgument;
  IImProgressCallback_ptr smCallback = wrapProgressCallbackPtr(callback);
  INETMGR_ASSERT(smCallback.get() == callback, "smCallback.get()==callback");
  const int refCount = callback->addRef();
  INETMGR_ASSERT(refCount > 0, "refCount > 0");
  callbacks_.push_back(smCallback);
  return rcSuccess;
}

ResultCode ImProgress::disconnect(IImProgressCallback* callback) {
  const auto it = std::find_if(callbacks_.begin(), callbacks_.end(), FindCallback{callback});
  if (it == callbacks_.end()) return rcNotFound;
  callbacks_.erase(it);
  return rcSuccess;
}

StatusAction ImProgress::operator()(std::size_t done, std::size_t total, xoInet::INETSTATUS status,
                                    const wchar_t* a, const wchar_t* b, const wchar_t* c) const {
  if (m_bAbortOperation.load(std::memory_order_relaxed)) return Stop;
  for (auto it = callbacks_.begin(); it != callbacks_.end(); ++it) {
    INETMGR_ASSERT((*it).get() != nullptr, "(*it).get()!= 0");
    if ((*it)->onStatus(done, total, status, a, b, c) == Stop) {
      platform::logInfo(kTag, L"Callback signalled operation to stop.");
      return Stop;
    }
  }
  return Continue;
}

void ImProgress::abortOperation() { m_bAbortOperation.store(true, std::memory_order_relaxed); }

bool ImProgress::isAbortRequested() { return m_bAbortOperation.load(std::memory_order_relaxed); }

bool XoInetCallback::OnProgress(const unsigned int& done, const long& total, const xoInet::INETSTATUS& status,
                                const wchar_t* siteName, const wchar_t* serverName, const wchar_t* fileName,
                                bool* flag) {
  // A negative total means "unknown" to the transfer and 0 to the callbacks.
  const std::size_t totalBytes = total > 0 ? static_cast<std::size_t>(total) : 0;
  if (progress_(done, totalBytes, status, siteName, serverName, fileName) != Stop) return true;
  if (flag != nullptr) *flag = false;
  return false;
}

}  // namespace corvane_com::zel::inetmgr
