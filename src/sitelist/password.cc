// Passwords in the form a site list document stores them.
#include "inetmgr/password.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "platform/crypto.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::inetmgr {

ResultCode encryptSiteListPassword(const std::wstring& plainPassword, std::wstring& documentText) {
  documentText.clear();
  platform::CryptShim* shim = platform::CryptShim::instance();
  platform::IEncryption* encryption = shim->create_encryption_object(platform::kEncryptionTypeAesSiv);
  if (encryption == nullptr) {
    platform::logError(L"imutils", L"Cannot encrypt the password: no encryption key");
    return rcUnexpected;
  }
  const bool ok = encryption->encryptText(plainPassword, documentText);
  shim->destroy_encryption_object(encryption);
  if (!ok) {
    documentText.clear();
    platform::logError(L"imutils", L"Error encrypting buffer.");
    return rcUnexpected;
  }
  return rcSuccess;
}

ResultCode checkSiteListPassword(const std::wstring& documentText) {
  if (documentText.empty()) return rcSuccess;
  // Asking for an encryption object would make a key where there is none.
  struct stat info {};
  if (::stat(platform::toUtf8(platform::CryptShim::keyFilePath()).c_str(), &info) != 0 && errno == ENOENT) {
    return rcNotFound;
  }
  platform::CryptShim* shim = platform::CryptShim::instance();
  platform::IEncryption* encryption = shim->create_encryption_object(platform::kEncryptionTypeAesSiv);
  if (encryption == nullptr) return rcUnexpected;
  std::wstring plain;
  const bool ok = encryption->decryptText(documentText, plain);
  std::fill(plain.begin(), plain.end(), L'\0');
  shim->destroy_encryption_object(encryption);
  if (!ok) platform::logInfo(L"imutils", L"A stored password does not decrypt under this machine's key");
  return ok ? rcSuccess : rcBadArgument;
}

}  // namespace corvane_com::zel::inetmgr
