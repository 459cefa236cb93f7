// UTF-8 encoding of wide text, independent of the process locale, for log
// records and file names.
#ifndef INETMGR_PLATFORM_UTF8_H
#define INETMGR_PLATFORM_UTF8_H

#include <string>

namespace corvane_com::zel::platform {

// Code units that are not Unicode scalar values become U+FFFD.
std::string toUtf8(const std::wstring& text);
// Malformed sequences become U+FFFD.
std::wstring fromUtf8(const std::string& text);

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_UTF8_H
