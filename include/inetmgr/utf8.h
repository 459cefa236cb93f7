// UTF-8 for callers that print the library's wide text or hand it text they
// read, with the same codec the library uses for its files and logs.
#ifndef INETMGR_UTF8_H
#define INETMGR_UTF8_H

#include <string>

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

// `text` as UTF-8; code units that are not Unicode scalar values become
// U+FFFD. Thread-safe.
INETMGR_API std::string toUtf8(const std::wstring& text);

// Decodes `bytes` into `text`. False, with `text` untouched, for bytes that
// are not well-formed UTF-8 (overlong forms and surrogates included).
// Thread-safe.
INETMGR_API bool fromUtf8(const std::string& bytes, std::wstring& text);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_UTF8_H
