// inetmgr: a command-line view of the library, for administrators and for
// checking a machine's set-up. Exit codes follow the library's result codes.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

const char kUsage[] =
    "usage: inetmgr <command> [options]\n"
    "\n"
    "commands:\n"
    "  about     the library's version, data directory and result codes\n"
    "  help      this text\n"
    "\n"
    "environment:\n"
    "  INETMGR_DATA_DIR   the agent's data directory (default /var/lib/inetmgr)\n"
    "  INETMGR_LOG_LEVEL  error, internal, info, detail or trace (default error)\n";

std::string narrow(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
  return out;
}

int about() {
  std::cout << "inetmgr " << im::getLibraryVersion() << "\n";
  const char* dataDir = std::getenv("INETMGR_DATA_DIR");
  std::cout << "data directory: " << (dataDir != nullptr && *dataDir ? dataDir : "/var/lib/inetmgr") << "\n\n";
  std::cout << "result codes:\n";
  for (int code = -14; code <= 5; ++code) {
    const auto rc = static_cast<im::ResultCode>(code);
    std::printf("  %3d  %-5s %s\n", code, im::isCodeError(rc) ? "error" : "", narrow(im::getErrorText(rc, false)).c_str());
  }
  im::SecureString secret(L"an example password", 0);
  std::cout << "\nSecureString: " << secret.encrypted_str().size() << " bytes of ciphertext for 19 characters; "
            << (secret.getLastResult() == 0 && secret.str() == L"an example password" ? "round trip ok"
                                                                                      : "crypto service unavailable")
            << "\n";
  return secret.getLastResult() == 0 ? 0 : static_cast<int>(im::rcUnexpected) & 0xFF;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "about";
  if (command == "about") return about();
  if (command == "help" || command == "--help" || command == "-h") {
    std::cout << kUsage;
    return 0;
  }
  std::cerr << "inetmgr: unknown command '" << command << "'\n" << kUsage;
  return static_cast<int>(im::rcBadArgument) & 0xFF;
}
