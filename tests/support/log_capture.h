// A log sink for tests: records every line while it is installed.
#ifndef INETMGR_TESTS_LOG_CAPTURE_H
#define INETMGR_TESTS_LOG_CAPTURE_H

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "inetmgr/log_sink.h"

namespace inetmgr_test {

struct LogRecord {
  corvane_com::zel::inetmgr::LogLevel level;
  std::wstring tag;
  std::wstring text;
};

class LogCapture {
 public:
  explicit LogCapture(corvane_com::zel::inetmgr::LogLevel threshold = corvane_com::zel::inetmgr::LogLevel::Detail) {
    corvane_com::zel::inetmgr::setLogSink(&LogCapture::sink, this, threshold);
  }
  ~LogCapture() { corvane_com::zel::inetmgr::setLogSink(nullptr, nullptr, corvane_com::zel::inetmgr::LogLevel::Error); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogRecord> records() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return records_;
  }
  // Number of records whose text is exactly `text` (and whose level is `level`).
  int count(const std::wstring& text) const {
    std::lock_guard<std::mutex> guard(mutex_);
    return static_cast<int>(std::count_if(records_.begin(), records_.end(),
                                          [&](const LogRecord& r) { return r.text == text; }));
  }
  int count(corvane_com::zel::inetmgr::LogLevel level, const std::wstring& text) const {
    std::lock_guard<std::mutex> guard(mutex_);
    return static_cast<int>(std::count_if(records_.begin(), records_.end(), [&](const LogRecord& r) {
      return r.level == level && r.text == text;
    }));
  }
  void clear() {
    std::lock_guard<std::mutex> guard(mutex_);
    records_.clear();
  }

 private:
  static void sink(corvane_com::zel::inetmgr::LogLevel level, const wchar_t* tag, const wchar_t* text,
                   void* context) {
    auto* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> guard(self->mutex_);
    self->records_.push_back({level, tag, text});
  }

  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_LOG_CAPTURE_H
