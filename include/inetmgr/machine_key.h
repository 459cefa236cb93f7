// The machine's encryption key as an operator checks it. Site list passwords
// are encrypted under one key that every agent of a fleet must share; its
// fingerprint tells whether two machines hold the same key without showing it.
#ifndef INETMGR_MACHINE_KEY_H
#define INETMGR_MACHINE_KEY_H

#include <string>

#include "inetmgr/export.h"
#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

// Sets `keyFile` to the key's path ($INETMGR_DATA_DIR/etc/inetmgr.key) and
// `fingerprint` to a one-way fingerprint of the key: the first 16 bytes of
// SHA-256 over a fixed label and the key, as eight colon-separated groups of
// four hex digits. Equal keys give equal fingerprints; the key cannot be read
// back from one. Never creates a key. rcSuccess; rcNotFound when there is no
// key file; rcPathError (logged) when it cannot be read or does not hold
// exactly 32 bytes; `fingerprint` is then empty. Thread-safe.
INETMGR_API ResultCode getKeyFingerprint(std::wstring& keyFile, std::wstring& fingerprint);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_MACHINE_KEY_H
