// SecureString in Boost text archives: its saved form, and the two functions
// that carry a plaintext through an archive as a SecureString (the site cache
// saves every password this way).
#ifndef INETMGR_CORE_SECURE_STRING_ARCHIVE_H
#define INETMGR_CORE_SECURE_STRING_ARCHIVE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/serialization/item_version_type.hpp>
#include <boost/serialization/vector.hpp>

#include "inetmgr/secure_string.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {

// Ciphertexts above this size are refused when loaded, before any allocation.
inline constexpr std::size_t kMaxArchivedSecretSize = 1048576;

namespace secure_string_detail {
// Logged and thrown as the archive's "other exception" for an oversized secret.
[[noreturn]] void throwOversizedSecret();
}  // namespace secure_string_detail

// Saved as the byte vector (count, item version, bytes), then the bound. The
// loader reads the same layout itself so that a hostile count is refused
// before anything is allocated.
template <class Archive>
void SecureString::serialize(Archive& archive, unsigned int /*version*/) {
  if constexpr (Archive::is_saving::value) {
    archive << buffer_;
    archive << maxBufSize_;
  } else {
    // Read as 64 bits whatever the width of size_t (the text is the same), so
    // that a 32-bit machine refuses a huge count as oversized too, not as a
    // number its size_t cannot hold.
    unsigned long long count = 0;
    archive >> count;
    if (boost::archive::library_version_type(3) < archive.get_library_version()) {
      boost::serialization::item_version_type itemVersion(0);
      archive >> itemVersion;
    }
    if (count > kMaxArchivedSecretSize) secure_string_detail::throwOversizedSecret();
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count));
    for (unsigned char& byte : bytes) archive >> byte;
    std::uint32_t bound = 0;
    archive >> bound;
    buffer_.swap(bytes);
    maxBufSize_ = bound;
    // A bound the ciphertext exceeds would break the invariant: drop it.
    if (!isValid()) maxBufSize_ = 0;
  }
}

// Encrypts `plaintext` (at most 1 MB of ciphertext) and writes it as a
// SecureString. Returns 0, or -1 when encryption failed (an empty secret is then
// written). Throws std::runtime_error "Buffer to encrypt > 1MB" when too long.
long encryptStrBuffer(boost::archive::text_oarchive& archive, const std::wstring& plaintext);
// Reads a SecureString and decrypts it into `plaintext`. Returns 0, or -1 when
// decryption failed. Throws the archive exception (other_exception) for a
// ciphertext over 1 MB and std::runtime_error "Stream contains 0-byte encrypted
// buffer." for an empty one: an empty secret is never a legal entry.
long decryptStrBuffer(boost::archive::text_iarchive& archive, std::wstring& plaintext);

// The wrong directions exist only to fail at once with the archive's stream error (input_stream_error).
[[noreturn]] long encryptStrBuffer(boost::archive::text_iarchive& archive, const std::wstring& plaintext);
[[noreturn]] long decryptStrBuffer(boost::archive::text_oarchive& archive, std::wstring& plaintext);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_SECURE_STRING_ARCHIVE_H
