// AES-256-SIV from OpenSSL libcrypto under a per-machine key file.
#include "platform/crypto.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>

#include "inetmgr/machine_key.h"
#include "platform/config.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::platform {
namespace {

constexpr wchar_t kTag[] = L"crypto";
constexpr std::size_t kMasterKeySize = 32;
// AES-256-SIV takes two AES-256 keys (one for S2V, one for CTR).
constexpr std::size_t kSivKeySize = 64;
constexpr std::size_t kTagSize = 16;

using Key = std::vector<unsigned char>;

std::wstring errnoText(int error) { return fromUtf8(std::strerror(error)); }

// Keeps key material out of freed memory.
struct KeyWiper {
  Key& key;
  ~KeyWiper() {
    if (!key.empty()) OPENSSL_cleanse(key.data(), key.size());
  }
};

bool readKeyFile(const std::string& path, Key& key, int& error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0) {
    error = errno;
    return false;
  }
  key.assign(kMasterKeySize + 1, 0);
  std::size_t total = 0;
  while (total < key.size()) {
    const ssize_t n = ::read(fd, key.data() + total, key.size() - total);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    total += static_cast<std::size_t>(n);
  }
  ::close(fd);
  if (total != kMasterKeySize) {
    OPENSSL_cleanse(key.data(), key.size());
    key.clear();
    error = EINVAL;
    return false;
  }
  key.resize(kMasterKeySize);
  return true;
}

bool fillRandom(unsigned char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::getrandom(data, size, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

// Writes a fresh key to a private temporary file and links it into place, so
// that of several processes starting together exactly one key wins and nobody
// ever reads a half-written one.
bool createKeyFile(const std::string& path, int& error) {
  std::wstring directory;
  std::wstring name;
  splitPath(fromUtf8(path), directory, name);
  if (!directory.empty() && !makeDirectories(directory, 0755)) {
    error = errno;
    return false;
  }
  Key key(kMasterKeySize);
  KeyWiper wiper{key};
  if (!fillRandom(key.data(), key.size())) {
    error = errno;
    return false;
  }
  std::string temporary = path + ".newXXXXXX";
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);  // mode 0600
  if (fd < 0) {
    error = errno;
    return false;
  }
  const bool written = ::write(fd, key.data(), key.size()) == static_cast<ssize_t>(key.size()) && ::fsync(fd) == 0;
  error = errno;
  ::close(fd);
  const bool linked = written && (::link(temporary.c_str(), path.c_str()) == 0 || errno == EEXIST);
  if (written && !linked) error = errno;
  ::unlink(temporary.c_str());
  return linked;
}

bool deriveSivKey(const Key& master, Key& sivKey) {
  static const unsigned char kInfo[] = "inetmgr AES-256-SIV v1";
  std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_HKDF, nullptr),
                                                                  &EVP_PKEY_CTX_free);
  sivKey.assign(kSivKeySize, 0);
  std::size_t length = sivKey.size();
  return ctx && EVP_PKEY_derive_init(ctx.get()) > 0 && EVP_PKEY_CTX_set_hkdf_md(ctx.get(), EVP_sha256()) > 0 &&
         EVP_PKEY_CTX_set1_hkdf_key(ctx.get(), master.data(), static_cast<int>(master.size())) > 0 &&
         EVP_PKEY_CTX_add1_hkdf_info(ctx.get(), kInfo, static_cast<int>(sizeof kInfo - 1)) > 0 &&
         EVP_PKEY_derive(ctx.get(), sivKey.data(), &length) > 0 && length == kSivKeySize;
}

// The derived key of each key file, kept for the life of the process so that a
// password does not cost a file read.
std::mutex g_keyCacheMutex;
std::map<std::string, Key>& keyCache() {
  static auto* cache = new std::map<std::string, Key>();
  return *cache;
}

bool sivKeyFor(const std::string& path, Key& sivKey) {
  std::lock_guard<std::mutex> guard(g_keyCacheMutex);
  const auto cached = keyCache().find(path);
  if (cached != keyCache().end()) {
    sivKey = cached->second;
    return true;
  }
  Key master;
  KeyWiper wiper{master};
  int error = 0;
  if (!readKeyFile(path, master, error)) {
    if (error != ENOENT) {
      logError(kTag, L"Cannot read encryption key " + fromUtf8(path) + L": " + errnoText(error));
      return false;
    }
    if (!createKeyFile(path, error) || !readKeyFile(path, master, error)) {
      logError(kTag, L"Cannot create encryption key " + fromUtf8(path) + L": " + errnoText(error));
      return false;
    }
  }
  if (!deriveSivKey(master, sivKey)) {
    logError(kTag, L"Key derivation failed");
    return false;
  }
  keyCache()[path] = sivKey;
  return true;
}

// Hex groups of four digits: easy to read out and compare between machines.
std::wstring groupedHex(const std::string& hex) {
  std::wstring text;
  for (std::size_t i = 0; i < hex.size(); ++i) {
    if (i != 0 && i % 4 == 0) text += L':';
    text += static_cast<wchar_t>(hex[i]);
  }
  return text;
}

const EVP_CIPHER* sivCipher() {
  static EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, "AES-256-SIV", nullptr);
  return cipher;
}

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

// Setting an AES-SIV key up costs more than a short message's encryption,
// and a site list sets up the same key for every password. Each thread keeps
// a context keyed for the last key it used, one to encrypt and one to
// decrypt, and every operation starts from a copy of it: the same state a
// fresh set-up gives.
class KeyedContexts {
 public:
  ~KeyedContexts() { OPENSSL_cleanse(key_.data(), key_.size()); }
  // A context ready for one operation under `key`; null when OpenSSL fails.
  CipherContext fresh(const Key& key, bool encrypting) {
    if (!ready_ || key != key_) {
      ready_ = false;
      encrypt_.reset(EVP_CIPHER_CTX_new());
      decrypt_.reset(EVP_CIPHER_CTX_new());
      if (!encrypt_ || !decrypt_ || sivCipher() == nullptr ||
          EVP_EncryptInit_ex2(encrypt_.get(), sivCipher(), key.data(), nullptr, nullptr) != 1 ||
          EVP_DecryptInit_ex2(decrypt_.get(), sivCipher(), key.data(), nullptr, nullptr) != 1) {
        return CipherContext(nullptr, &EVP_CIPHER_CTX_free);
      }
      OPENSSL_cleanse(key_.data(), key_.size());
      key_ = key;
      ready_ = true;
    }
    CipherContext ctx(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!ctx || EVP_CIPHER_CTX_copy(ctx.get(), encrypting ? encrypt_.get() : decrypt_.get()) != 1) {
      return CipherContext(nullptr, &EVP_CIPHER_CTX_free);
    }
    return ctx;
  }

 private:
  Key key_{};
  bool ready_ = false;
  CipherContext encrypt_{nullptr, &EVP_CIPHER_CTX_free};
  CipherContext decrypt_{nullptr, &EVP_CIPHER_CTX_free};
};

CipherContext keyedContext(const Key& key, bool encrypting) {
  thread_local KeyedContexts contexts;
  return contexts.fresh(key, encrypting);
}

class AesSivEncryption final : public IEncryption {
 public:
  explicit AesSivEncryption(Key key) : key_(std::move(key)) {}
  ~AesSivEncryption() override { OPENSSL_cleanse(key_.data(), key_.size()); }

  bool encrypt(const CryptBuffer& in, CryptBuffer& out) override { return encrypt(in, std::string(), out); }
  bool decrypt(const CryptBuffer& in, CryptBuffer& out) override { return decrypt(in, std::string(), out); }

  bool encrypt(const CryptBuffer& in, const std::string& context, CryptBuffer& out) override {
    out.clear();
    if (in.empty()) return false;
    CipherContext ctx = keyedContext(key_, true);
    if (!ctx) return false;
    CryptBuffer result(kTagSize + in.size());
    int length = 0;
    int finalLength = 0;
    if (!context.empty() && EVP_EncryptUpdate(ctx.get(), nullptr, &length,
                                              reinterpret_cast<const unsigned char*>(context.data()),
                                              static_cast<int>(context.size())) != 1) {
      return false;
    }
    // SIV takes the whole message in one update.
    if (EVP_EncryptUpdate(ctx.get(), result.data() + kTagSize, &length, in.data(), static_cast<int>(in.size())) !=
            1 ||
        EVP_EncryptFinal_ex(ctx.get(), result.data() + kTagSize + length, &finalLength) != 1 ||
        EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(kTagSize), result.data()) != 1 ||
        static_cast<std::size_t>(length + finalLength) != in.size()) {
      return false;
    }
    out.swap(result);
    return true;
  }

  bool decrypt(const CryptBuffer& in, const std::string& context, CryptBuffer& out) override {
    out.clear();
    if (in.size() <= kTagSize) return false;
    CipherContext ctx = keyedContext(key_, false);
    CryptBuffer tag(in.begin(), in.begin() + kTagSize);
    if (!ctx || EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(kTagSize), tag.data()) != 1) {
      return false;
    }
    CryptBuffer result(in.size() - kTagSize + 1);
    int length = 0;
    int finalLength = 0;
    if (!context.empty() && EVP_DecryptUpdate(ctx.get(), nullptr, &length,
                                              reinterpret_cast<const unsigned char*>(context.data()),
                                              static_cast<int>(context.size())) != 1) {
      return false;
    }
    const bool ok = EVP_DecryptUpdate(ctx.get(), result.data(), &length, in.data() + kTagSize,
                                      static_cast<int>(in.size() - kTagSize)) == 1 &&
                    EVP_DecryptFinal_ex(ctx.get(), result.data() + length, &finalLength) == 1;
    if (!ok) {
      OPENSSL_cleanse(result.data(), result.size());
      return false;
    }
    result.resize(static_cast<std::size_t>(length + finalLength));
    out.swap(result);
    return true;
  }

  bool encryptText(const std::wstring& plain, std::wstring& documentText) override {
    documentText.clear();
    if (plain.empty()) return true;
    std::string utf8 = toUtf8(plain);
    CryptBuffer bytes(utf8.size());
    std::memcpy(bytes.data(), utf8.data(), utf8.size());
    OPENSSL_cleanse(utf8.data(), utf8.size());
    CryptBuffer cipher;
    const bool encrypted = encrypt(bytes, cipher);
    OPENSSL_cleanse(bytes.data(), bytes.size());
    if (!encrypted) return false;
    std::string encoded(4 * ((cipher.size() + 2) / 3) + 1, '\0');
    const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), cipher.data(),
                                  static_cast<int>(cipher.size()));
    encoded.resize(static_cast<std::size_t>(n));
    documentText = fromUtf8(encoded);
    return true;
  }

  bool decryptText(const std::wstring& documentText, std::wstring& plain) override {
    plain.clear();
    std::string encoded;
    for (wchar_t c : documentText) {
      if (c == L' ' || c == L'\t' || c == L'\r' || c == L'\n') continue;
      if (c > 0x7F) return false;
      encoded.push_back(static_cast<char>(c));
    }
    if (encoded.empty()) return true;
    if (encoded.size() % 4 != 0) return false;
    CryptBuffer cipher(encoded.size() / 4 * 3);
    const int n = EVP_DecodeBlock(cipher.data(), reinterpret_cast<const unsigned char*>(encoded.data()),
                                  static_cast<int>(encoded.size()));
    if (n < 0) return false;
    // EVP_DecodeBlock keeps the zero bytes that stand for '=' padding.
    std::size_t size = static_cast<std::size_t>(n);
    for (std::size_t i = encoded.size(); i > 0 && encoded[i - 1] == '=' && size > 0; --i) --size;
    cipher.resize(size);
    CryptBuffer bytes;
    if (!decrypt(cipher, bytes)) return false;
    plain = fromUtf8(std::string(bytes.begin(), bytes.end()));
    OPENSSL_cleanse(bytes.data(), bytes.size());
    return true;
  }

 private:
  Key key_;
};

}  // namespace

CryptShim* CryptShim::instance() {
  static CryptShim shim;
  return &shim;
}

std::wstring CryptShim::keyFilePath() {
  return IConfiguration::GetConfiguration()->GetFrameworkDataDirectory() + L"/etc/inetmgr.key";
}

IEncryption* CryptShim::create_encryption_object(int type) {
  if (type != kEncryptionTypeAesSiv) {
    logError(kTag, L"Unknown encryption type " + std::to_wstring(type));
    return nullptr;
  }
  Key key;
  if (!sivKeyFor(toUtf8(keyFilePath()), key)) return nullptr;
  return new AesSivEncryption(std::move(key));
}

void CryptShim::destroy_encryption_object(IEncryption* object) { delete object; }

std::string labelledDigestHex(const std::string& label, const CryptBuffer& data, std::size_t size) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  const unsigned char separator = 0;
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1 ||
      EVP_DigestUpdate(ctx.get(), label.data(), label.size()) != 1 ||
      EVP_DigestUpdate(ctx.get(), &separator, 1) != 1 ||
      EVP_DigestUpdate(ctx.get(), data.data(), data.size()) != 1 ||
      EVP_DigestFinal_ex(ctx.get(), digest, &length) != 1) {
    return std::string();
  }
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (std::size_t i = 0; i < size && i < length; ++i) {
    hex += kDigits[digest[i] >> 4];
    hex += kDigits[digest[i] & 0x0F];
  }
  OPENSSL_cleanse(digest, sizeof digest);
  return hex;
}

bool ACryptWrap::decrypt_data(const CryptBuffer& in, CryptBuffer& out) {
  const std::size_t headerSize = sizeof kEncryptedDocumentHeader - 1;
  if (in.size() < headerSize || std::memcmp(in.data(), kEncryptedDocumentHeader, headerSize) != 0) {
    out = in;
    return true;
  }
  out.clear();
  IEncryption* encryption = CryptShim::instance()->create_encryption_object(kEncryptionTypeAesSiv);
  if (encryption == nullptr) return false;
  const bool ok = encryption->decrypt(CryptBuffer(in.begin() + static_cast<long>(headerSize), in.end()), out);
  CryptShim::instance()->destroy_encryption_object(encryption);
  if (!ok) logError(kTag, L"Encrypted document does not decrypt under this machine's key");
  return ok;
}

bool ACryptWrap::encrypt_data(const CryptBuffer& in, CryptBuffer& out) {
  out.clear();
  IEncryption* encryption = CryptShim::instance()->create_encryption_object(kEncryptionTypeAesSiv);
  if (encryption == nullptr) return false;
  CryptBuffer cipher;
  const bool ok = encryption->encrypt(in, cipher);
  CryptShim::instance()->destroy_encryption_object(encryption);
  if (!ok) return false;
  out.assign(kEncryptedDocumentHeader, kEncryptedDocumentHeader + sizeof kEncryptedDocumentHeader - 1);
  out.insert(out.end(), cipher.begin(), cipher.end());
  return true;
}

}  // namespace corvane_com::zel::platform

namespace corvane_com::zel::inetmgr {

ResultCode getKeyFingerprint(std::wstring& keyFile, std::wstring& fingerprint) {
  using namespace platform;
  keyFile = CryptShim::keyFilePath();
  fingerprint.clear();
  Key key;
  KeyWiper wiper{key};
  int error = 0;
  // Read only: a fingerprint of a key made up here would be of no use.
  if (!readKeyFile(toUtf8(keyFile), key, error)) {
    if (error == ENOENT) return rcNotFound;
    logError(kTag, L"Cannot read encryption key " + keyFile + L": " +
                       (error == EINVAL ? std::wstring(L"it must hold exactly 32 bytes") : errnoText(error)));
    return rcPathError;
  }
  const std::string hex = labelledDigestHex("inetmgr key fingerprint v1", key, 16);
  if (hex.empty()) return rcUnexpected;
  fingerprint = groupedHex(hex);
  return rcSuccess;
}

}  // namespace corvane_com::zel::inetmgr
