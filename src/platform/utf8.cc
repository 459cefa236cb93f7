// UTF-8 <-> UTF-32 without the C library's locale.
#include "platform/utf8.h"

#include <cstdint>
#include <cstring>

namespace corvane_com::zel::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isScalarValue(std::uint32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

}  // namespace

std::string toUtf8(const std::wstring& text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    auto c = static_cast<std::uint32_t>(wc);
    if (!isScalarValue(c)) c = kReplacement;
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

std::size_t decodeUtf8(const unsigned char* data, std::size_t size, std::uint32_t& c) {
  if (size == 0) return 0;
  const unsigned char lead = data[0];
  std::size_t length = 0;
  if (lead < 0x80) {
    c = lead;
    return 1;
  }
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    c = lead & 0x1Fu;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    c = lead & 0x0Fu;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    c = lead & 0x07u;
  } else {
    return 0;
  }
  if (size < length) return 0;
  for (std::size_t k = 1; k < length; ++k) {
    if ((data[k] & 0xC0) != 0x80) return 0;
    c = (c << 6) | (data[k] & 0x3Fu);
  }
  // Overlong forms are refused so that each text has one encoding.
  static const std::uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
  return c < kMinimum[length] || !isScalarValue(c) ? 0 : length;
}

std::size_t findInvalidUtf8(const unsigned char* data, std::size_t size) {
  std::size_t i = 0;
  std::uint32_t c = 0;
  while (i < size) {
    // Eight bytes at a time while they are ASCII.
    constexpr std::uint64_t kHigh = 0x8080808080808080ULL;
    std::uint64_t word = 0;
    if (size - i >= sizeof(word)) {
      std::memcpy(&word, data + i, sizeof(word));
      if ((word & kHigh) == 0) {
        i += sizeof(word);
        continue;
      }
    }
    const std::size_t length = decodeUtf8(data + i, size - i, c);
    if (length == 0) return i;
    i += length;
  }
  return size;
}

std::wstring fromUtf8(const std::string& text) {
  std::wstring out;
  out.reserve(text.size());
  const auto* data = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t i = 0;
  std::uint32_t c = 0;
  while (i < text.size()) {
    const std::size_t length = decodeUtf8(data + i, text.size() - i, c);
    out.push_back(static_cast<wchar_t>(length == 0 ? kReplacement : c));
    i += length == 0 ? 1 : length;
  }
  return out;
}

}  // namespace corvane_com::zel::platform
