// Narrow/wide conversion through a per-thread scratch buffer, with a shared
// static buffer for the case where no memory is left for any other.
#include "core/string_conversion.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace corvane_com::zel::inetmgr {
namespace {

constexpr std::size_t kStartBufferSize = 5000;

}  // namespace

namespace global_Variables {

thread_local std::unique_ptr<std::vector<char>> buffer;
alignas(wchar_t) char staticBuffer[kStartBufferSize];
std::mutex staticBufferMutex;

}  // namespace global_Variables

namespace {

// Bytes that hold the conversion of `source` with its terminator: four per
// wide character, the most a valid character takes in UTF-8.
std::size_t bytesNeeded(const wchar_t* source) { return getBufSize(source) * 2; }
// A multibyte character gives at most one wide character.
std::size_t bytesNeeded(const char* source) { return getBufSize(source) * sizeof(wchar_t); }

// The calling thread's buffer, created with kStartBufferSize bytes on first use;
// null when there is no memory for it.
std::vector<char>* threadBuffer() {
  try {
    if (!global_Variables::buffer) {
      global_Variables::buffer = std::make_unique<std::vector<char>>(kStartBufferSize);
    }
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  std::vector<char>* bufferPtr = global_Variables::buffer.get();
  INETMGR_ASSERT(nullptr != bufferPtr, "0!=bufferPtr");
  return bufferPtr;
}

template <class D, class S>
std::basic_string<D> convertInto(void* storage, std::size_t bytes, const S* source) {
  D* converted = static_cast<D*>(storage);
  const std::size_t count = bytes / sizeof(D);
  const std::size_t result = convertFunc(converted, source, count);
  // A full buffer means the terminator did not fit and the text is cut short;
  // a cut text is as useless to callers as an unconvertible one.
  if (result == static_cast<std::size_t>(-1) || result >= count) return std::basic_string<D>();
  return std::basic_string<D>(converted, result);
}

}  // namespace

std::size_t getBufSize(const char* str) {
  INETMGR_ASSERT(nullptr != str, "0!=str");
  return std::strlen(str) + 1;
}

std::size_t getBufSize(const wchar_t* str) {
  INETMGR_ASSERT(nullptr != str, "0!=str");
  return (std::wcslen(str) + 1) * 2;
}

std::size_t convertFunc(char* converted, const wchar_t* source, std::size_t count) {
  INETMGR_ASSERT(nullptr != converted, "0!=converted");
  INETMGR_ASSERT(0 != count, "0!=count");
  INETMGR_ASSERT(nullptr != source, "0!=source");
  return std::wcstombs(converted, source, count);
}

std::size_t convertFunc(wchar_t* converted, const char* source, std::size_t count) {
  INETMGR_ASSERT(nullptr != converted, "0!=converted");
  INETMGR_ASSERT(0 != count, "0!=count");
  INETMGR_ASSERT(nullptr != source, "0!=source");
  return std::mbstowcs(converted, source, count);
}

std::size_t convertFunc(char* converted, const char* source, std::size_t count) {
  INETMGR_ASSERT(count > 0, "count > 0");
  INETMGR_ASSERT(nullptr != converted, "0!=converted");
  INETMGR_ASSERT(nullptr != source, "0!=source");
  converted[count - 1] = '\0';
  std::strncpy(converted, source, count - 1);
  return std::strlen(converted);
}

std::size_t convertFunc(wchar_t* converted, const wchar_t* source, std::size_t count) {
  INETMGR_ASSERT(count > 0, "count > 0");
  INETMGR_ASSERT(nullptr != converted, "0!=converted");
  INETMGR_ASSERT(nullptr != source, "0!=source");
  converted[count - 1] = L'\0';
  std::wcsncpy(converted, source, count - 1);
  return std::wcslen(converted);
}

template <class D, class S>
std::basic_string<D> convertInternal(const S* source) {
  INETMGR_ASSERT(nullptr != source, "0!=source");
  const std::size_t needed = bytesNeeded(source);

  std::vector<char>* bufferPtr = threadBuffer();
  if (bufferPtr != nullptr && bufferPtr->size() < needed) {
    try {
      bufferPtr->resize(needed);
    } catch (const std::bad_alloc&) {
      bufferPtr = nullptr;
    }
  }
  if (bufferPtr != nullptr) return convertInto<D>(bufferPtr->data(), needed, source);

  const std::unique_ptr<char[]> callBuffer(new (std::nothrow) char[needed]);
  if (callBuffer) return convertInto<D>(callBuffer.get(), needed, source);

  // Out of memory: the shared last-resort buffer, so longer texts come out empty.
  const std::lock_guard<std::mutex> guard(global_Variables::staticBufferMutex);
  return convertInto<D>(global_Variables::staticBuffer, std::min(needed, kStartBufferSize), source);
}

template std::string convertInternal<char, wchar_t>(const wchar_t* source);
template std::wstring convertInternal<wchar_t, char>(const char* source);

std::size_t conversionBufferSize() {
  return global_Variables::buffer ? global_Variables::buffer->size() : 0;
}

}  // namespace corvane_com::zel::inetmgr
