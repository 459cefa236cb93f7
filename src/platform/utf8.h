// UTF-8 encoding of wide text, independent of the process locale, for log
// records and file names.
#ifndef INETMGR_PLATFORM_UTF8_H
#define INETMGR_PLATFORM_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace corvane_com::zel::platform {

// Code units that are not Unicode scalar values become U+FFFD.
std::string toUtf8(const std::wstring& text);
// Malformed sequences become U+FFFD.
std::wstring fromUtf8(const std::string& text);

// The length (1 to 4) of the well-formed sequence at the start of `data`, with
// its code point in `c`; 0 for a malformed, overlong or surrogate sequence.
std::size_t decodeUtf8(const unsigned char* data, std::size_t size, std::uint32_t& c);
// Offset of the first byte that does not begin a well-formed sequence, or
// `size` when all are fine.
std::size_t findInvalidUtf8(const unsigned char* data, std::size_t size);

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_UTF8_H
