// A site's progress multiplexer: fans each status report out to the callbacks
// attached to the site and turns a "stop" (or a shutdown request) into a stop of
// the operation.
#ifndef INETMGR_SITE_PROGRESS_H
#define INETMGR_SITE_PROGRESS_H

#include <atomic>
#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "inetmgr/progress.h"
#include "inetmgr/result_code.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// Not locked: connect, disconnect and reports on one site must not overlap.
class ImProgress {
 public:
  ImProgress() = default;
  virtual ~ImProgress() = default;
  // A copy of a site starts without callbacks.
  ImProgress(const ImProgress&) = delete;
  ImProgress& operator=(const ImProgress&) = delete;

  // Appends `callback` with a reference of its own; rcBadArgument for null.
  ResultCode connect(IImProgressCallback* callback);
  // Removes the first connection of `callback`; rcNotFound when there is none.
  ResultCode disconnect(IImProgressCallback* callback);
  // Reports to every callback in connection order until one answers Stop.
  // Answers Stop at once, calling nobody, after a shutdown request.
  StatusAction operator()(std::size_t done, std::size_t total, xoInet::INETSTATUS status, const wchar_t* a,
                          const wchar_t* b, const wchar_t* c) const;

  std::size_t callbackCount() const { return callbacks_.size(); }

  // Makes every later report in the process answer Stop; never undone.
  static void abortOperation();
  static bool isAbortRequested();

 private:
  std::vector<IImProgressCallback_ptr> callbacks_;
  // Read without ordering on purpose: a late read only delays the stop to the
  // next report. Atomic so that the unsynchronised read is well defined.
  static std::atomic<bool> m_bAbortOperation;
};

// The sink through which a transfer reports to one site's multiplexer: it
// passes each report on and tells the transfer to stop when the multiplexer
// answers Stop. Lives for one transfer call; the multiplexer must outlive it.
class XoInetCallback : public xoInet::CNetSessionSink {
 public:
  explicit XoInetCallback(const ImProgress& progress) : progress_(progress) {}

  // True to go on; on Stop, false, also written through `flag` when it is not null.
  bool OnProgress(const unsigned int& done, const long& total, const xoInet::INETSTATUS& status,
                  const wchar_t* siteName, const wchar_t* serverName, const wchar_t* fileName,
                  bool* flag) override;

 private:
  const ImProgress& progress_;
};

// Thrown by site list construction once a shutdown has been requested.
class InetMgrShutDownException : public std::exception {
 public:
  explicit InetMgrShutDownException(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_PROGRESS_H
