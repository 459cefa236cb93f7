// A secret text (a site or proxy password) held only as ciphertext. The
// plaintext exists only in the string that str() returns to its caller.
#ifndef INETMGR_SECURE_STRING_H
#define INETMGR_SECURE_STRING_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "inetmgr/export.h"

namespace corvane_com::zel::inetmgr {

// Encryption is deterministic: equal texts give equal ciphertext, so two
// SecureStrings compare equal exactly when their secrets are equal. Each
// ciphertext is at most 20 bytes longer than its plaintext of (length + 1) * 4
// bytes. A SecureString is a plain value: one thread at a time, no locking.
//
// Programming errors stop the process (the invariant "isValid()": a non-zero
// bound is never exceeded); a secret that does not fit the bound raises
// BufferOverflowException; a failing crypto service leaves getLastResult() at -1.
class INETMGR_API SecureString {
 public:
  class INETMGR_API BufferOverflowException : public std::runtime_error {
   public:
    explicit BufferOverflowException(const std::string& text) : std::runtime_error(text) {}
  };

  // Empty: str() gives "" and counts as success.
  SecureString();
  // Encrypts `plaintext`; `maxBufSize` bounds the ciphertext (0: unbounded).
  // Throws BufferOverflowException when (length + 1) * 4 + 20 exceeds the bound.
  SecureString(const std::wstring& plaintext, std::size_t maxBufSize);
  // As above; `plaintext` must not be null.
  SecureString(const wchar_t* plaintext, std::size_t maxBufSize);
  // Adopts `encrypted` as ciphertext without checking it; no bound.
  explicit SecureString(const std::vector<unsigned char>& encrypted);
  // Copying a string whose ciphertext exactly fills its bound is a fault.
  SecureString(const SecureString& other);
  ~SecureString();

  bool isValid() const;

  // Compares ciphertext, never plaintext; bound and last result are ignored.
  bool operator==(const SecureString& other) const;
  bool operator!=(const SecureString& other) const;

  // Decrypts on every call and records the result in getLastResult(); a failed
  // decryption gives "". Text after an embedded zero character is dropped.
  std::wstring str();
  // A copy of the ciphertext.
  std::vector<unsigned char> encrypted_str() const;

  // Encrypts `plaintext` in place of the old secret. May throw
  // BufferOverflowException, after which the string is empty.
  SecureString& operator=(const std::wstring& plaintext);
  SecureString& operator=(const wchar_t* plaintext);
  // Takes raw ciphertext and drops the bound (it becomes 0) on purpose.
  SecureString& operator=(const std::vector<unsigned char>& encrypted);
  SecureString& operator=(SecureString other);

  // Sets the bound; false (and no change) when `maxBufSize` is non-zero and below
  // the current ciphertext size.
  bool setMaxBufferSize(std::size_t maxBufSize);
  // Empties the ciphertext; bound and last result stay.
  void clear();
  // 0 when the last encryption or decryption worked, -1 when it failed.
  long getLastResult() const;

  // Saves and loads ciphertext and bound (not the last result); defined for
  // Boost archives inside the library.
  template <class Archive>
  void serialize(Archive& archive, unsigned int version);

 private:
  std::vector<unsigned char> buffer_;
  std::uint32_t maxBufSize_;
  long lastResult_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SECURE_STRING_H
