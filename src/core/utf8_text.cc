// The public face of the library's UTF-8 codec.
#include "inetmgr/utf8.h"

#include "platform/utf8.h"

namespace corvane_com::zel::inetmgr {

std::string toUtf8(const std::wstring& text) { return platform::toUtf8(text); }

bool fromUtf8(const std::string& bytes, std::wstring& text) {
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  if (platform::findInvalidUtf8(data, bytes.size()) != bytes.size()) return false;
  text = platform::fromUtf8(bytes);
  return true;
}

}  // namespace corvane_com::zel::inetmgr
