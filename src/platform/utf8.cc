// UTF-8 <-> UTF-32 without the C library's locale.
#include "platform/utf8.h"

#include <cstdint>

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

std::wstring fromUtf8(const std::string& text) {
  std::wstring out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    std::uint32_t c = 0;
    if (lead < 0x80) {
      length = 1;
      c = lead;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2;
      c = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
      c = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4;
      c = lead & 0x07;
    }
    bool valid = length != 0 && i + length <= text.size();
    for (std::size_t k = 1; valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      valid = (next & 0xC0) == 0x80;
      c = (c << 6) | (next & 0x3F);
    }
    // Overlong forms are rejected so that each text has one encoding.
    static const std::uint32_t kMinimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (valid && (c < kMinimum[length] || !isScalarValue(c))) valid = false;
    if (!valid) {
      out.push_back(static_cast<wchar_t>(kReplacement));
      ++i;
      continue;
    }
    out.push_back(static_cast<wchar_t>(c));
    i += length;
  }
  return out;
}

}  // namespace corvane_com::zel::platform
