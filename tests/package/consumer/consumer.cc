// A caller of the installed package: looks up an error text, round-trips a
// secret through SecureString and, given a directory, copies DIR/in to
// DIR/out/in through whatever transfer the factory hands out for a local
// path (INETMGR_TRANSFER=network: a real one). Exits non-zero when any of it
// misbehaves.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <inetmgr/inetmgr.h>

namespace im = corvane_com::zel::inetmgr;

namespace xo = corvane_com::zel::xoInet;

std::string contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

int main(int argc, char** argv) {
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
  if (argc > 1) {
    const std::string dir = argv[1];
    xo::TransferItf* transfer = xo::XoInetItfFactory::CreateInterface(xo::xoInetProtocolLocal);
    transfer->SetOption(xo::optRelativePath, std::wstring(dir.begin(), dir.end()));
    long resumePoint = 0;
    bool resume = false;
    const std::wstring out = std::wstring(dir.begin(), dir.end()) + L"/out/in";
    const bool moved = transfer->Logon(false, 0) == xo::rcNoError &&
                       transfer->DownloadFile(out, L"in", nullptr, &resumePoint, resume, false) == xo::rcNoError &&
                       contents(dir + "/out/in") == contents(dir + "/in");
    xo::XoInetItfFactory::DestroyInterface(transfer);
    if (!moved || !xo::usingNetworkTransfers()) {
      std::puts("the network transfer did not copy the file");
      return 1;
    }
  }
  std::printf("consumer ok (inetmgr %s)\n", im::getLibraryVersion());
  return 0;
}
