// UTF-8 encoding and decoding for the tool.
#include "tool_text.h"

#include <stdexcept>

std::string toUtf8(const std::wstring& text) {
  std::string out;
  for (wchar_t wc : text) {
    auto c = static_cast<unsigned long>(wc);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::wstring fromUtf8(const std::string& text) {
  std::wstring out;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + static_cast<std::size_t>(length) > text.size()) {
      throw std::invalid_argument("text is not UTF-8");
    }
    unsigned long c = length == 1 ? lead : lead & (0x7Fu >> length);
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
      if ((next & 0xC0) != 0x80) throw std::invalid_argument("text is not UTF-8");
      c = (c << 6) | (next & 0x3Fu);
    }
    out += static_cast<wchar_t>(c);
    i += static_cast<std::size_t>(length);
  }
  return out;
}
