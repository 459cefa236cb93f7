// Escaping and column widths for the tool's output.
#include "tool_text.h"

#include <cstdint>
#include <cstdio>

#include "inetmgr/utf8.h"

namespace {

bool isControl(std::uint32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

bool isCombining(std::uint32_t c) {
  return (c >= 0x0300 && c <= 0x036F) || (c >= 0x1AB0 && c <= 0x1AFF) || (c >= 0x20D0 && c <= 0x20FF) ||
         (c >= 0xFE20 && c <= 0xFE2F) || c == 0x200B || c == 0x200C || c == 0x200D;
}

bool isWide(std::uint32_t c) {
  return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
         (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE4F) ||
         (c >= 0xFF00 && c <= 0xFF60) || (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F) ||
         (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
}

}  // namespace

std::wstring escapeControls(const std::wstring& text) {
  std::wstring out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    const auto c = static_cast<std::uint32_t>(wc);
    if (c == L'\\') {
      out += L"\\\\";
    } else if (isControl(c)) {
      wchar_t code[8];
      std::swprintf(code, 8, L"\\x%02X", static_cast<unsigned>(c));
      out += code;
    } else {
      out += wc;
    }
  }
  return out;
}

std::string printable(const std::wstring& text) {
  return corvane_com::zel::inetmgr::toUtf8(escapeControls(text));
}

std::size_t displayWidth(const std::wstring& text) {
  std::size_t width = 0;
  for (wchar_t wc : text) {
    const auto c = static_cast<std::uint32_t>(wc);
    width += isCombining(c) ? 0 : isWide(c) ? 2 : 1;
  }
  return width;
}

std::string padded(const std::wstring& text, std::size_t columns) {
  const std::size_t width = displayWidth(text);
  return corvane_com::zel::inetmgr::toUtf8(text) + std::string(width < columns ? columns - width : 0, ' ');
}
