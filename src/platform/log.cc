// The process-wide log sink: the default writes UTF-8 lines to stderr, a host
// application may install its own through setLogSink.
#include "platform/log.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include <sys/time.h>

#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

const char* levelName(LogLevel level) {
  switch (level) {
    case LogLevel::Error: return "ERROR";
    case LogLevel::InternalError: return "INTERNAL";
    case LogLevel::Info: return "INFO";
    case LogLevel::Detail: return "DETAIL";
    case LogLevel::Trace: return "TRACE";
  }
  return "?";
}

LogLevel levelFromEnvironment() {
  const char* text = std::getenv("INETMGR_LOG_LEVEL");
  if (text == nullptr) return LogLevel::Error;
  struct Named {
    const char* name;
    LogLevel level;
  };
  static const Named kNames[] = {{"error", LogLevel::Error},   {"internal", LogLevel::InternalError},
                                 {"info", LogLevel::Info},     {"detail", LogLevel::Detail},
                                 {"trace", LogLevel::Trace}};
  for (const Named& named : kNames) {
    if (std::strcmp(text, named.name) == 0) return named.level;
  }
  const int number = std::atoi(text);
  if (number >= 1 && number <= 5) return static_cast<LogLevel>(number);
  return LogLevel::Error;
}

std::mutex g_stderrMutex;

void stderrSink(LogLevel level, const wchar_t* tag, const wchar_t* text, void*) {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm utc{};
  const time_t seconds = now.tv_sec;
  gmtime_r(&seconds, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
  const std::string line = std::string(stamp) + "." + std::to_string(now.tv_usec / 1000 + 1000).substr(1) +
                           "Z " + levelName(level) + " [" + toUtf8(tag) + "] " + toUtf8(text) + "\n";
  std::lock_guard<std::mutex> guard(g_stderrMutex);
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

struct SinkState {
  inetmgr::LogSinkFunction sink;
  void* context;
  LogLevel threshold;
};

std::mutex g_sinkMutex;

SinkState& sinkState() {
  static SinkState state{stderrSink, nullptr, levelFromEnvironment()};
  return state;
}

// The threshold is read on every record without the mutex.
std::atomic<int>& thresholdValue() {
  static std::atomic<int> value{static_cast<int>(sinkState().threshold)};
  return value;
}

void emit(LogLevel level, const wchar_t* tag, const std::wstring& text) {
  if (!isLogEnabled(level)) return;
  SinkState copy{};
  {
    std::lock_guard<std::mutex> guard(g_sinkMutex);
    copy = sinkState();
  }
  if (static_cast<int>(level) > static_cast<int>(copy.threshold)) return;
  copy.sink(level, tag != nullptr ? tag : L"", text.c_str(), copy.context);
}

}  // namespace

bool isLogEnabled(LogLevel level) {
  return static_cast<int>(level) <= thresholdValue().load(std::memory_order_relaxed);
}

void logError(const wchar_t* tag, const std::wstring& text) { emit(LogLevel::Error, tag, text); }
void logInternalError(const wchar_t* tag, const std::wstring& text) {
  emit(LogLevel::InternalError, tag, text);
}
void logInfo(const wchar_t* tag, const std::wstring& text) { emit(LogLevel::Info, tag, text); }
void logDetail(const wchar_t* tag, const std::wstring& text) { emit(LogLevel::Detail, tag, text); }

ADetailTrace::ADetailTrace(const wchar_t* tag, std::wstring name)
    : tag_(tag), name_(std::move(name)), active_(isLogEnabled(LogLevel::Trace)) {
  if (active_) emit(LogLevel::Trace, tag_, L"enter " + name_);
}

ADetailTrace::~ADetailTrace() {
  if (active_) emit(LogLevel::Trace, tag_, L"leave " + name_);
}

}  // namespace corvane_com::zel::platform

namespace corvane_com::zel::inetmgr {

void setLogSink(LogSinkFunction sink, void* context, LogLevel threshold) {
  using namespace platform;
  std::lock_guard<std::mutex> guard(g_sinkMutex);
  SinkState& state = sinkState();
  if (sink == nullptr) {
    state = SinkState{stderrSink, nullptr, levelFromEnvironment()};
  } else {
    state = SinkState{sink, context, threshold};
  }
  thresholdValue().store(static_cast<int>(state.threshold), std::memory_order_relaxed);
}

}  // namespace corvane_com::zel::inetmgr
