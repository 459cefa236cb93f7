// The library's logging: four record kinds under a module tag, and a trace scope
// that marks entry and exit of an operation. Records go to the process-wide sink
// that the public setLogSink chooses.
#ifndef INETMGR_PLATFORM_LOG_H
#define INETMGR_PLATFORM_LOG_H

#include <string>

#include "inetmgr/log_sink.h"

namespace corvane_com::zel::platform {

using inetmgr::LogLevel;

// True when a record of `level` would reach the sink; lets callers skip building
// expensive texts.
bool isLogEnabled(LogLevel level);

void logError(const wchar_t* tag, const std::wstring& text);
void logInternalError(const wchar_t* tag, const std::wstring& text);
void logInfo(const wchar_t* tag, const std::wstring& text);
void logDetail(const wchar_t* tag, const std::wstring& text);

// Writes "enter <name>" on construction and "leave <name>" on destruction at
// trace level. `tag` must outlive the scope (module tags are literals).
class ADetailTrace {
 public:
  ADetailTrace(const wchar_t* tag, std::wstring name);
  ~ADetailTrace();
  ADetailTrace(const ADetailTrace&) = delete;
  ADetailTrace& operator=(const ADetailTrace&) = delete;

 private:
  const wchar_t* tag_;
  std::wstring name_;
  bool active_;
};

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_LOG_H
