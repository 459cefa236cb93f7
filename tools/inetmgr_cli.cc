// inetmgr: a command-line view of the library, for administrators and for
// checking a machine's set-up. Exit codes follow the library's result codes
// (a negative code n exits with 256 + n).
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "inetmgr/inetmgr.h"
#include "site_list_description.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

const char kUsage[] =
    "usage: inetmgr <command> [options]\n"
    "\n"
    "commands:\n"
    "  sites [--sitelist PATH]   the site list as the library sees it: every site with its\n"
    "                            type, protocol, state, order, server and SSL use, the\n"
    "                            versions and the policies, or why the list was rejected.\n"
    "                            PATH defaults to $INETMGR_DATA_DIR/etc/SiteList.xml; the\n"
    "                            cache and CA bundle are written beside it.\n"
    "  write --from FILE         writes the site list described by the JSON file FILE (see\n"
    "                            examples/SiteList.json) to its \"output\" path or to the\n"
    "                            agent's site list location; passwords are given in the\n"
    "                            form encrypt-password prints\n"
    "  encrypt-password          reads a password from standard input (never from the command\n"
    "                            line) and prints the text a site list stores for it, under\n"
    "                            this machine's key ($INETMGR_DATA_DIR/etc/inetmgr.key)\n"
    "  about                     the library's version, data directory and result codes\n"
    "  help, --help              this text\n"
    "\n"
    "environment:\n"
    "  INETMGR_DATA_DIR   the agent's data directory (default /var/lib/inetmgr)\n"
    "  INETMGR_LOG_LEVEL  error, internal, info, detail or trace (default error)\n";

int exitCode(im::ResultCode code) { return static_cast<int>(code) & 0xFF; }

std::string utf8(const std::wstring& text) { return toUtf8(text); }

// Error records of the library, shown as the reason when a list is refused.
void collectErrors(im::LogLevel level, const wchar_t* tag, const wchar_t* text, void* context) {
  if (level == im::LogLevel::Error) {
    static_cast<std::vector<std::string>*>(context)->push_back("[" + utf8(tag) + "] " + utf8(text));
  }
}

const char* methodName(unsigned int method) {
  switch (method) {
    case 0: return "ping time";
    case 1: return "hop count";
    case 2: return "configured order";
    default: return "unknown";
  }
}

std::string orderText(int order) { return order == 2147483647 ? "-" : std::to_string(order); }

int sites(const std::vector<std::string>& args) {
  std::wstring location;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--sitelist" && i + 1 < args.size()) {
      try {
        location = fromUtf8(args[++i]);
      } catch (const std::invalid_argument&) {
        std::cerr << "inetmgr sites: the path is not UTF-8\n";
        return exitCode(im::rcBadArgument);
      }
      im::test::ReplaceSiteListSource(location.c_str());
    } else {
      std::cerr << "inetmgr sites: unexpected argument '" << args[i] << "'\n";
      return exitCode(im::rcBadArgument);
    }
  }
  if (location.empty()) im::getSiteListLocation(location);

  std::vector<std::string> errors;
  im::setLogSink(&collectErrors, &errors, im::LogLevel::Error);
  im::IImSiteList_ptr list = im::createSiteListSmartObject(false);
  im::setLogSink(nullptr, nullptr, im::LogLevel::Error);

  std::cout << "site list: " << utf8(location) << "\n";
  if (list.get() == im::getNullSiteList()) {
    std::cout << "rejected: the library holds no usable site list (code " << im::rcNotInitialized << ": "
              << utf8(im::getErrorText(im::rcNotInitialized, false)) << ")\n";
    for (const std::string& line : errors) std::cout << "  " << line << "\n";
    return exitCode(im::rcNotInitialized);
  }
  std::wstring global;
  std::wstring local;
  list->getGlobalSiteListVersion(global);
  list->getLocalSiteListVersion(local);
  std::cout << "versions: global " << utf8(global) << ", local " << utf8(local) << "\n";
  std::cout << "policies: overwrite client sites " << (list->getPolicyOverwriteClientSites() ? "yes" : "no")
            << ", repositories ranked by " << methodName(list->getPolicyFindNearestMethod()) << "\n";
  std::cout << "sites: " << list->getSiteCount() << "\n\n";
  std::printf("  %-20s %-11s %-15s %-8s %-6s %-6s %-34s %s\n", "name", "type", "protocol", "enabled", "sort",
              "order", "server", "ssl");
  list->reset();
  im::IImSite* site = nullptr;
  while (list->getNextSite(site) == im::rcSuccess) {
    std::printf("  %-20s %-11s %-15s %-8s %-6s %-6s %-34s %s\n", utf8(site->getSiteName()).c_str(),
                utf8(im::SiteType::toString(site->getType())).c_str(),
                utf8(im::ProtocolType::toString(site->getProtocol())).c_str(), site->isEnabled() ? "yes" : "no",
                orderText(site->getSortOrder()).c_str(), orderText(site->getSiteOrder()).c_str(),
                utf8(site->getServerName()).c_str(), site->isSslEnabled() ? "yes" : "no");
    site->release();
  }
  return 0;
}

// One line from standard input, without echo when it is a terminal.
bool readSecretLine(std::string& line) {
  const bool terminal = ::isatty(0) == 1;
  termios saved{};
  if (terminal && ::tcgetattr(0, &saved) == 0) {
    termios quiet = saved;
    quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
    ::tcsetattr(0, TCSAFLUSH, &quiet);
    std::cerr << "password: " << std::flush;
  }
  const bool ok = static_cast<bool>(std::getline(std::cin, line));
  if (terminal) {
    ::tcsetattr(0, TCSAFLUSH, &saved);
    std::cerr << "\n";
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return ok;
}

int encryptPassword(const std::vector<std::string>& args) {
  if (!args.empty()) {
    std::cerr << "inetmgr encrypt-password: the password is read from standard input, not from arguments\n";
    return exitCode(im::rcBadArgument);
  }
  std::string line;
  if (!readSecretLine(line)) {
    std::cerr << "inetmgr encrypt-password: no password on standard input\n";
    return exitCode(im::rcBadArgument);
  }
  std::wstring password;
  try {
    password = fromUtf8(line);
  } catch (const std::invalid_argument&) {
    std::cerr << "inetmgr encrypt-password: the password is not UTF-8\n";
    return exitCode(im::rcBadArgument);
  }
  std::fill(line.begin(), line.end(), '\0');
  std::wstring text;
  const im::ResultCode rc = im::encryptSiteListPassword(password, text);
  if (rc != im::rcSuccess) {
    std::cerr << "inetmgr encrypt-password: " << utf8(im::getErrorText(rc, false)) << "\n";
    return exitCode(rc);
  }
  std::cout << utf8(text) << "\n";
  return 0;
}

int about() {
  std::cout << "inetmgr " << im::getLibraryVersion() << "\n";
  std::wstring location;
  im::getSiteListLocation(location);
  std::cout << "site list: " << utf8(location) << "\n\nresult codes:\n";
  for (int code = -14; code <= 5; ++code) {
    const auto rc = static_cast<im::ResultCode>(code);
    std::printf("  %3d  %-5s %s\n", code, im::isCodeError(rc) ? "error" : "", utf8(im::getErrorText(rc, false)).c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "sites";
  const std::vector<std::string> args(argv + (argc > 1 ? 2 : 1), argv + argc);
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") {
      std::cout << kUsage;
      return 0;
    }
  }
  if (command == "sites") return sites(args);
  if (command == "encrypt-password") return encryptPassword(args);
  if (command == "write") {
    if (args.size() != 2 || args[0] != "--from") {
      std::cerr << "usage: inetmgr write --from FILE\n";
      return exitCode(im::rcBadArgument);
    }
    return writeSiteListFromDescription(args[1]);
  }
  if (command == "about") return about();
  if (command == "help" || command == "--help" || command == "-h") {
    std::cout << kUsage;
    return 0;
  }
  std::cerr << "inetmgr: unknown command '" << command << "'\n" << kUsage;
  return exitCode(im::rcBadArgument);
}
