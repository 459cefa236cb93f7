// <NAME> expansion from the process environment.
#include "platform/expand_macro.h"

#include <cstdlib>

#include "platform/utf8.h"

namespace corvane_com::zel::platform {

std::wstring cmnlib_ExpandMacro(const std::wstring& text) {
  std::wstring out;
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t open = text.find(L'<', pos);
    if (open == std::wstring::npos) break;
    const std::size_t close = text.find(L'>', open + 1);
    if (close == std::wstring::npos) break;
    out.append(text, pos, open - pos);
    const std::wstring name = text.substr(open + 1, close - open - 1);
    if (name.empty()) {
      out.append(L"<>");
    } else if (const char* value = std::getenv(toUtf8(name).c_str())) {
      out.append(fromUtf8(value));
    }
    pos = close + 1;
  }
  out.append(text, pos, std::wstring::npos);
  return out;
}

}  // namespace corvane_com::zel::platform
