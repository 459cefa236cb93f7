// The administrator's side of site list passwords: the text a site list
// document carries for a password.
#ifndef INETMGR_PASSWORD_H
#define INETMGR_PASSWORD_H

#include <string>

#include "inetmgr/export.h"
#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

// Sets `documentText` to the form in which a site list stores `plainPassword`
// (the base64 text of its ciphertext under this machine's key), which the
// library turns back into the password when it reads the document. The empty
// password gives the empty text. rcSuccess, or rcUnexpected (logged) when the
// machine's key cannot be read or created; `documentText` is then empty.
// Thread-safe.
INETMGR_API ResultCode encryptSiteListPassword(const std::wstring& plainPassword, std::wstring& documentText);

// Whether `documentText`, a password in the form a site list stores it, turns
// back into a password under this machine's key, as the reader needs it to;
// the password itself never leaves this function. The empty text is the empty
// password. rcSuccess; rcBadArgument when it does not decrypt (damaged, not
// encrypted, or encrypted under another key); rcNotFound when this machine has
// no key (none is created: a key made now could decrypt nothing);
// rcUnexpected (logged) when the key cannot be read. Thread-safe.
INETMGR_API ResultCode checkSiteListPassword(const std::wstring& documentText);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_PASSWORD_H
