// The two small enumerations every site carries: how it is reached (protocol)
// and its role in the site list (site type), with their text forms.
#ifndef INETMGR_SITE_TYPES_H
#define INETMGR_SITE_TYPES_H

#include <cstdint>
#include <string>

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

struct INETMGR_API ProtocolType {
  // The numbers are stored and compared by the rest of the system.
  enum Types : std::int32_t {
    Ftp = 0,
    Http = 1,
    FtpHttp = 2,
    Spipe = 3,
    SuperAgent = 4,
    Unc = 5,
    Local = 6,
    typeDontCare = 7,  // any protocol, where a filter takes one
    typeCount = 7,
  };

  // The site list element name of `type`; values at or above typeCount give "".
  // Thread-safe.
  static std::wstring toString(Types type);

  // The value whose text form equals `text` exactly (case-sensitive); typeCount
  // when none does. `text` must not be null. Thread-safe.
  static Types toType(const wchar_t* text);
};

struct INETMGR_API SiteType {
  enum Types : std::int32_t {
    Master = 0,
    Repository = 1,
    Fallback = 2,
    Mirror = 3,
    Remediation = 4,
    typeCount = 5,  // any site type, where a filter takes one
  };

  // The site type word of `type` ("fallback" for Fallback); values at or above
  // typeCount give "". Thread-safe.
  static std::wstring toString(Types type);

  // The value whose word equals `text` exactly (case-sensitive); typeCount when
  // none does. `text` must not be null. Thread-safe.
  static Types toType(const wchar_t* text);
};

// True once any site of the spipe protocol has asked for SSL in this process
// (the flag is never cleared). Thread-safe.
INETMGR_API bool getSpipeSslUseFlag();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_TYPES_H
