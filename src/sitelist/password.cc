// Passwords in the form a site list document stores them.
#include "inetmgr/password.h"

#include "platform/crypto.h"
#include "platform/log.h"

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

}  // namespace corvane_com::zel::inetmgr
