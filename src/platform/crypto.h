// The crypto service: deterministic authenticated encryption (AES-256-SIV) under
// the machine's key, for passwords and for site list documents stored encrypted.
#ifndef INETMGR_PLATFORM_CRYPTO_H
#define INETMGR_PLATFORM_CRYPTO_H

#include <cstddef>
#include <string>
#include <vector>

namespace corvane_com::zel::platform {

using CryptBuffer = std::vector<unsigned char>;

// The encryption type that selects AES-256-SIV.
inline constexpr int kEncryptionTypeAesSiv = 3;

// Ciphertext is the 16-byte synthetic IV followed by the encrypted bytes, so it
// is exactly 16 bytes longer than the plaintext. Equal plaintexts give equal
// ciphertexts (no random nonce), which lets secrets be compared encrypted.
inline constexpr std::size_t kCipherOverhead = 16;

class IEncryption {
 public:
  virtual ~IEncryption() = default;
  // False on failure, `out` then empty. `in` must not be empty: the cipher
  // needs at least one byte of message.
  virtual bool encrypt(const CryptBuffer& in, CryptBuffer& out) = 0;
  // False when `in` was not produced under this key or was altered or cut:
  // tampered ciphertext never decrypts to garbage.
  virtual bool decrypt(const CryptBuffer& in, CryptBuffer& out) = 0;
  // As above, with `context` bound to the ciphertext as associated data (not
  // encrypted, not stored): a ciphertext decrypts only with the context it was
  // made with. An empty context is the same as none.
  virtual bool encrypt(const CryptBuffer& in, const std::string& context, CryptBuffer& out) = 0;
  virtual bool decrypt(const CryptBuffer& in, const std::string& context, CryptBuffer& out) = 0;
  // The document form of a password: base64 of the ciphertext of its UTF-8
  // bytes. The empty password and the empty text stand for each other.
  virtual bool encryptText(const std::wstring& plain, std::wstring& documentText) = 0;
  virtual bool decryptText(const std::wstring& documentText, std::wstring& plain) = 0;
};

class CryptShim {
 public:
  static CryptShim* instance();

  // A new encryption object, or null when `type` is unknown or the key cannot
  // be read or created (the reason is logged once per call). The caller returns
  // it with destroy_encryption_object.
  IEncryption* create_encryption_object(int type);
  void destroy_encryption_object(IEncryption* object);

  // Path of the key file: <data directory>/etc/inetmgr.key. Created on first use
  // from the system's random source, mode 0600.
  static std::wstring keyFilePath();
};

// The first `size` bytes (at most 32) of SHA-256 over `label`, a zero byte and
// `data`, as lower-case hex; distinct labels keep digests made for different
// purposes apart. Empty when the digest cannot be computed.
std::string labelledDigestHex(const std::string& label, const CryptBuffer& data, std::size_t size);

// Whole-document encryption: a document stored encrypted starts with
// kEncryptedDocumentHeader followed by the ciphertext of its bytes.
inline constexpr char kEncryptedDocumentHeader[] = "INETMGR-ENCRYPTED-1\n";

class ACryptWrap {
 public:
  // Decrypts a document stored encrypted; a document without the header is
  // copied through unchanged. False when an encrypted one does not decrypt.
  static bool decrypt_data(const CryptBuffer& in, CryptBuffer& out);
  // Produces the stored-encrypted form of a document.
  static bool encrypt_data(const CryptBuffer& in, CryptBuffer& out);
};

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_CRYPTO_H
