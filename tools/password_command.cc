// `inetmgr encrypt-password`: a password from standard input, printed in the
// form a site list stores it. Never from the command line, where other users
// could read it.
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <string>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

// All of standard input, without echo when it is a terminal (which gives one
// line).
std::string readSecret() {
  const bool terminal = ::isatty(0) == 1;
  termios saved{};
  if (terminal && ::tcgetattr(0, &saved) == 0) {
    termios quiet = saved;
    quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
    ::tcsetattr(0, TCSAFLUSH, &quiet);
    std::cerr << "password: " << std::flush;
  }
  std::string text;
  if (terminal) {
    std::getline(std::cin, text);
    text += '\n';
    ::tcsetattr(0, TCSAFLUSH, &saved);
    std::cerr << "\n";
  } else {
    text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  return text;
}

}  // namespace

int runEncryptPassword(const Arguments&) {
  const Command& self = findCommand("encrypt-password");
  std::string text = readSecret();
  // One line, with or without its line end (LF or CRLF).
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (!text.empty() && text.back() == '\r') text.pop_back();
  const bool oneLine = text.find_first_of("\r\n") == std::string::npos;
  std::wstring password;
  const bool utf8 = im::fromUtf8(text, password);
  std::fill(text.begin(), text.end(), '\0');
  if (!oneLine) return fail(self, "standard input holds more than one line; give the password alone", im::rcBadArgument);
  if (!utf8) return fail(self, "the password is not UTF-8", im::rcBadArgument);
  if (password.empty()) return fail(self, "no password on standard input", im::rcBadArgument);
  std::wstring stored;
  const im::ResultCode rc = im::encryptSiteListPassword(password, stored);
  std::fill(password.begin(), password.end(), L'\0');
  if (rc != im::rcSuccess) return fail(self, im::toUtf8(im::getErrorText(rc, false)), rc);
  std::cout << im::toUtf8(stored) << "\n";
  return 0;
}
