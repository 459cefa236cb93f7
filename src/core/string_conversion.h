// Conversion between the locale's multibyte strings and the library's wide
// strings. Each thread converts through its own scratch buffer, so conversions
// need no lock and a long string costs one allocation per thread, not per call.
#ifndef INETMGR_CORE_STRING_CONVERSION_H
#define INETMGR_CORE_STRING_CONVERSION_H

#include <cstddef>
#include <string>
#include <type_traits>

#include "platform/assert.h"

namespace corvane_com::zel::inetmgr {

// strlen(str) + 1. Asserts "0!=str".
std::size_t getBufSize(const char* str);
// (wcslen(str) + 1) * 2. The factor is deliberately 2 although a wide character
// has four bytes: convertInternal doubles the result again. Asserts "0!=str".
std::size_t getBufSize(const wchar_t* str);

// wcstombs / mbstowcs in the current locale into `count` units of `converted`:
// the number of units written before the terminator, or static_cast<size_t>(-1)
// when `source` holds something the conversion cannot represent. As with the C
// functions, a result of `count` means the terminator did not fit.
// Asserts "0!=converted", "0!=count", "0!=source".
std::size_t convertFunc(char* converted, const wchar_t* source, std::size_t count);
std::size_t convertFunc(wchar_t* converted, const char* source, std::size_t count);

// Same-width copies: at most count - 1 characters, always terminated; returns
// the length of the copy. Asserts "count > 0", "0!=converted", "0!=source".
std::size_t convertFunc(char* converted, const char* source, std::size_t count);
std::size_t convertFunc(wchar_t* converted, const wchar_t* source, std::size_t count);

// `source` converted to the other width through the calling thread's buffer.
// Anything the locale cannot represent gives an empty string, never a partial
// one. Defined for <char, wchar_t> and <wchar_t, char>. Asserts "0!=source".
template <class D, class S>
std::basic_string<D> convertInternal(const S* source);

// Size in bytes of the calling thread's conversion buffer; 0 until the thread's
// first conversion. The buffer grows and never shrinks.
std::size_t conversionBufferSize();

// Converts to a string of D: a copy when the widths match, convertInternal
// otherwise. `nullString` only names D for callers that cannot spell the
// template argument and must be null. Asserts "0==nullString", "0!=sourceString".
template <class D, class S>
std::basic_string<D> convertString(const S* sourceString, D* nullString = nullptr) {
  INETMGR_ASSERT(nullptr == nullString, "0==nullString");
  INETMGR_ASSERT(nullptr != sourceString, "0!=sourceString");
  if constexpr (std::is_same_v<D, S>) {
    return std::basic_string<D>(sourceString);
  } else {
    return convertInternal<D>(sourceString);
  }
}

// As above for a string object; conversion stops at an embedded terminator.
template <class D, class S>
std::basic_string<D> convertString(const std::basic_string<S>& source, D* nullString = nullptr) {
  INETMGR_ASSERT(nullptr == nullString, "0==nullString");
  if constexpr (std::is_same_v<D, S>) {
    return source;
  } else {
    return convertInternal<D>(source.c_str());
  }
}

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_STRING_CONVERSION_H
