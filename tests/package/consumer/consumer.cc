// A caller of the installed package: looks up an error text and round-trips a
// secret through SecureString. Exits non-zero when either misbehaves.
#include <cstdio>
#include <string>

#include <inetmgr/inetmgr.h>

namespace im = corvane_com::zel::inetmgr;

int main() {
  const std::wstring text = im::getErrorText(im::rcSuccess, false);
  if (text != L"The call to Internet Manager was successful.") {
    std::puts("unexpected error text");
    return 1;
  }
  im::SecureString secret(L"s3cret \u00e9", 0);
  const std::vector<unsigned char> cipher = secret.encrypted_str();
  if (secret.getLastResult() != 0 || cipher.empty()) {
    std::puts("encryption failed");
    return 1;
  }
  im::SecureString copy(cipher);
  if (copy.str() != L"s3cret \u00e9" || !(copy == secret)) {
    std::puts("round trip failed");
    return 1;
  }
  std::printf("consumer ok (inetmgr %s)\n", im::getLibraryVersion());
  return 0;
}
