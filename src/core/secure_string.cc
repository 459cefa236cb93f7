// SecureString: a secret kept only as the crypto service's ciphertext.
#include "inetmgr/secure_string.h"

#include <cstring>

#include "core/byte_order.h"
#include "platform/assert.h"
#include "platform/crypto.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::inetmgr {
namespace {

using platform::CryptShim;
using platform::IEncryption;

constexpr wchar_t kTag[] = L"secstr";
// Fixed allowance for the cipher's overhead when checking a bound.
constexpr std::size_t kCipherAllowance = 20;
constexpr std::size_t kCodeUnitSize = 4;

const std::string& byteOrderContext() {
  static const std::string context = kLittleEndianMachine ? "" : kBigEndianSecretContext;
  return context;
}

// The plaintext fed to the cipher: each character as a 4-byte code unit in the
// machine's byte order, then a 4-byte zero terminator.
std::vector<unsigned char> plaintextBytes(const std::wstring& text) {
  std::vector<unsigned char> bytes((text.size() + 1) * kCodeUnitSize, 0);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto unit = static_cast<std::uint32_t>(text[i]);
    std::memcpy(bytes.data() + i * kCodeUnitSize, &unit, kCodeUnitSize);
  }
  return bytes;
}

long encryptString(const std::wstring& plaintext, std::vector<unsigned char>& out, std::size_t maxBufSize) {
  platform::ADetailTrace trace(kTag, L"securestring::encryptString()");
  out.clear();
  const std::size_t plainSize = (plaintext.size() + 1) * kCodeUnitSize;
  if (maxBufSize != 0 && plainSize + kCipherAllowance > maxBufSize) {
    const std::wstring text =
        L"encryptString() -> Input buffer will result in encrypted buffer > " + std::to_wstring(maxBufSize);
    throw SecureString::BufferOverflowException(platform::toUtf8(text));
  }
  IEncryption* encryption = CryptShim::instance()->create_encryption_object(platform::kEncryptionTypeAesSiv);
  if (encryption == nullptr) {
    platform::logError(kTag, L"Error occurred while encrypting buffer.");
    return -1;
  }
  std::vector<unsigned char> plain = plaintextBytes(plaintext);
  std::vector<unsigned char> cipher;
  const bool ok = encryption->encrypt(plain, byteOrderContext(), cipher);
  std::fill(plain.begin(), plain.end(), 0);
  if (ok) {
    out.resize(cipher.size());
    std::copy(cipher.begin(), cipher.end(), out.begin());
  } else {
    out.clear();
    platform::logError(kTag, L"Error encrypting buffer.");
  }
  CryptShim::instance()->destroy_encryption_object(encryption);
  return ok ? 0 : -1;
}

long decryptString(const std::vector<unsigned char>& in, std::wstring& out) {
  platform::ADetailTrace trace(kTag, L"securestring::decryptString()");
  out.clear();
  if (in.empty()) return 0;
  IEncryption* encryption = CryptShim::instance()->create_encryption_object(platform::kEncryptionTypeAesSiv);
  if (encryption == nullptr) {
    platform::logError(kTag, L"Error occurred while decrypting buffer.");
    return -1;
  }
  std::vector<unsigned char> plain;
  const bool ok = encryption->decrypt(in, byteOrderContext(), plain);
  if (ok) {
    // A trailing partial code unit is dropped; the text ends at the first zero.
    const std::size_t units = plain.size() / kCodeUnitSize;
    out.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
      std::uint32_t unit = 0;
      std::memcpy(&unit, plain.data() + i * kCodeUnitSize, kCodeUnitSize);
      if (unit == 0) break;
      out.push_back(static_cast<wchar_t>(unit));
    }
    std::fill(plain.begin(), plain.end(), 0);
  } else {
    platform::logError(kTag, L"Error decrypting buffer.");
  }
  CryptShim::instance()->destroy_encryption_object(encryption);
  return ok ? 0 : -1;
}

}  // namespace

SecureString::SecureString() : maxBufSize_(0), lastResult_(0) {}

SecureString::SecureString(const std::wstring& plaintext, std::size_t maxBufSize)
    : maxBufSize_(static_cast<std::uint32_t>(maxBufSize)), lastResult_(0) {
  lastResult_ = encryptString(plaintext, buffer_, maxBufSize_);
  INETMGR_ASSERT(isValid(), "isValid()");
}

SecureString::SecureString(const wchar_t* plaintext, std::size_t maxBufSize)
    : maxBufSize_(static_cast<std::uint32_t>(maxBufSize)), lastResult_(0) {
  INETMGR_ASSERT(plaintext != nullptr, "0!=plaintext");
  lastResult_ = encryptString(plaintext, buffer_, maxBufSize_);
  INETMGR_ASSERT(isValid(), "isValid()");
}

SecureString::SecureString(const std::vector<unsigned char>& encrypted)
    : buffer_(encrypted), maxBufSize_(0), lastResult_(0) {}

SecureString::SecureString(const SecureString& other)
    : buffer_(other.buffer_), maxBufSize_(other.maxBufSize_), lastResult_(other.lastResult_) {
  // Deliberately stricter than isValid(): a string that exactly fills its bound
  // may not be copied.
  INETMGR_ASSERT((0 == maxBufSize_) || (buffer_.size() < maxBufSize_),
                 "(0==maxBufSize_) || (buffer_.size() < maxBufSize_)");
}

// The ciphertext is released without being overwritten first; it is not secret
// without the key.
SecureString::~SecureString() { INETMGR_ASSERT(isValid(), "isValid()"); }

bool SecureString::isValid() const { return maxBufSize_ == 0 || buffer_.size() <= maxBufSize_; }

bool SecureString::operator==(const SecureString& other) const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return buffer_.size() == other.buffer_.size() && std::equal(buffer_.begin(), buffer_.end(), other.buffer_.begin());
}

bool SecureString::operator!=(const SecureString& other) const { return !(*this == other); }

std::wstring SecureString::str() {
  INETMGR_ASSERT(isValid(), "isValid()");
  std::wstring result;
  lastResult_ = decryptString(buffer_, result);
  INETMGR_ASSERT(isValid(), "isValid()");
  return result;
}

std::vector<unsigned char> SecureString::encrypted_str() const {
  INETMGR_ASSERT(isValid(), "isValid()");
  return buffer_;
}

SecureString& SecureString::operator=(const std::wstring& plaintext) {
  INETMGR_ASSERT(isValid(), "isValid()");
  lastResult_ = encryptString(plaintext, buffer_, maxBufSize_);
  INETMGR_ASSERT(isValid(), "isValid()");
  return *this;
}

SecureString& SecureString::operator=(const wchar_t* plaintext) {
  INETMGR_ASSERT(plaintext != nullptr, "0!=plaintext");
  return *this = std::wstring(plaintext);
}

SecureString& SecureString::operator=(const std::vector<unsigned char>& encrypted) {
  INETMGR_ASSERT(isValid(), "isValid()");
  buffer_ = encrypted;
  maxBufSize_ = 0;  // raw ciphertext carries no bound, on purpose
  INETMGR_ASSERT(isValid(), "isValid()");
  return *this;
}

SecureString& SecureString::operator=(SecureString other) {
  INETMGR_ASSERT(isValid(), "isValid()");
  buffer_.swap(other.buffer_);
  std::swap(maxBufSize_, other.maxBufSize_);
  std::swap(lastResult_, other.lastResult_);
  INETMGR_ASSERT((0 == maxBufSize_) || (buffer_.size() < maxBufSize_),
                 "(0==maxBufSize_) || (buffer_.size() < maxBufSize_)");
  return *this;
}

bool SecureString::setMaxBufferSize(std::size_t maxBufSize) {
  INETMGR_ASSERT(isValid(), "isValid()");
  if (maxBufSize != 0 && buffer_.size() > maxBufSize) return false;
  maxBufSize_ = static_cast<std::uint32_t>(maxBufSize);
  return true;
}

void SecureString::clear() {
  INETMGR_ASSERT(isValid(), "isValid()");
  buffer_.clear();
}

long SecureString::getLastResult() const { return lastResult_; }

}  // namespace corvane_com::zel::inetmgr
