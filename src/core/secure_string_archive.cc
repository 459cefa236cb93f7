// Passwords through Boost text archives as SecureStrings.
#include "core/secure_string_archive.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imutils";

}  // namespace

namespace secure_string_detail {

void throwOversizedSecret() {
  platform::logError(kTag, L"Unexpected error: Incoming encrypted buffer size > 1MB");
  throw boost::archive::archive_exception(boost::archive::archive_exception::other_exception);
}

}  // namespace secure_string_detail

long encryptStrBuffer(boost::archive::text_oarchive& archive, const std::wstring& plaintext) {
  SecureString secret;
  try {
    secret = SecureString(plaintext, kMaxArchivedSecretSize);
  } catch (const SecureString::BufferOverflowException&) {
    platform::logError(kTag, L"Unexpected error: Encrypted buffer size > 1MB.");
    throw std::runtime_error("Buffer to encrypt > 1MB");
  }
  const long result = secret.getLastResult();
  archive << secret;
  if (result != 0) platform::logError(kTag, L"Error encrypting buffer.");
  return result;
}

long decryptStrBuffer(boost::archive::text_iarchive& archive, std::wstring& plaintext) {
  SecureString secret;
  archive >> secret;
  const std::size_t size = secret.encrypted_str().size();
  if (size > kMaxArchivedSecretSize) secure_string_detail::throwOversizedSecret();
  if (size == 0) {
    plaintext.clear();
    platform::logInternalError(kTag, L"Expected encrypted buffer, but found no encrypted data.");
    throw std::runtime_error("Stream contains 0-byte encrypted buffer.");
  }
  plaintext = secret.str();
  const long result = secret.getLastResult();
  if (result != 0) platform::logError(kTag, L"Error decrypting buffer.");
  return result;
}

long encryptStrBuffer(boost::archive::text_iarchive& /*archive*/, const std::wstring& /*plaintext*/) {
  throw boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error);
}

long decryptStrBuffer(boost::archive::text_oarchive& /*archive*/, std::wstring& /*plaintext*/) {
  throw boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error);
}

}  // namespace corvane_com::zel::inetmgr
