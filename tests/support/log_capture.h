// A log sink for tests: records every line while it is installed.
#ifndef INETMGR_TESTS_LOG_CAPTURE_H
#define INETMGR_TESTS_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include "inetmgr/log_sink.h"

namespace inetmgr_test {

using corvane_com::zel::inetmgr::LogLevel;

struct LogRecord {
  LogLevel level;
  std::wstring tag;
  std::wstring text;
};

class LogCapture {
 public:
  explicit LogCapture(LogLevel threshold = LogLevel::Detail) {
    corvane_com::zel::inetmgr::setLogSink(&LogCapture::sink, this, threshold);
  }
  ~LogCapture() { corvane_com::zel::inetmgr::setLogSink(nullptr, nullptr, LogLevel::Error); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogRecord> records() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return records_;
  }
  // Number of records whose text is exactly `text` (and whose level is `*level` when given).
  int count(const std::wstring& text, const LogLevel* level = nullptr) const {
    int n = 0;
    for (const LogRecord& r : records()) n += r.text == text && (level == nullptr || r.level == *level);
    return n;
  }
  int count(LogLevel level, const std::wstring& text) const { return count(text, &level); }

 private:
  static void sink(LogLevel level, const wchar_t* tag, const wchar_t* text, void* context) {
    auto* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> guard(self->mutex_);
    self->records_.push_back({level, tag, text});
  }

  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_LOG_CAPTURE_H
