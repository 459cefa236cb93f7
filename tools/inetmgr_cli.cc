// inetmgr: a command-line view of the library, for administrators and for
// checking a machine's set-up. The command table below is the one source of
// every command's name, options and help. Results go to stdout, errors to
// stderr; exit codes follow the library's result codes.
#include <iostream>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "inetmgr/inetmgr.h"

namespace im = corvane_com::zel::inetmgr;

namespace {

const char kTransferNotes[] =
    "Ctrl-C stops the transfer at its next progress report (exit status 5, or 242\n"
    "when it came before the transfer began); a second Ctrl-C quits at once. On a\n"
    "terminal a progress line shows the bytes moved while the transfer runs.\n"
    "Files move over the network (HTTP, HTTPS, FTP, FTPS, SMB shares, local paths);\n"
    "with --dry-run the library's recording transfer stands in, moves nothing and\n"
    "what it was asked to do is printed instead, and\n"
    "INETMGR_TEST_TRANSFER_SCRIPT=\"UploadFile=-2,0 Logon=0\" sets the answers its\n"
    "next calls of each kind give. INETMGR_CONNECT_TIMEOUT and INETMGR_STALL_TIMEOUT\n"
    "(seconds, default 30 and 60) bound a connection and a transfer that stalls.\n";

const Option kDryRun = {"--dry-run", "", "move nothing: print what the transfer was asked to do"};

// The connection's commands: one site, no failover.
const std::string kConnectionText = std::string(
    "Chooses one site: by name, or the first enabled site of the type asked for.\n"
    "The chosen site's result is the result: there is no failover.\n") + kTransferNotes;

const std::string kDownloadText = std::string(
    "With a choice of site (--site, --master, --spipe, --fallback) the chosen site's\n"
    "result is the result. Without one, the enabled sites are tried nearest first,\n"
    "in the order the library ranked them for the list's policy, until one serves\n"
    "the file; each site that fails is named with its reason on stderr, and the\n"
    "one that served the file is named on stdout.\n") + kTransferNotes;

}  // namespace

const std::vector<Command>& toolCommands() {
  static const std::vector<Command> commands = {
      {"sites",
       "the site list as the library sees it, or why it was rejected",
       {{"--sitelist", "PATH", "read the site list at PATH instead of the agent's; nothing is\n"
                               "                      written beside PATH: its cache and CA bundle go to\n"
                               "                      $INETMGR_DATA_DIR/var/lists/<hash of PATH>/"},
        {"--json", "", "print one JSON object (shape in the README) instead of the table"}},
       "Every site with its type, protocol, state, orders, server and SSL use, the\n"
       "versions and the policies; entries that could not be sites are listed after\n"
       "the table. When the file is rejected, one line says what to fix and where.\n"
       "A file that is not there is reported without reading or writing anything.\n",
       "inetmgr sites\ninetmgr sites --sitelist /tmp/SiteList.xml --json",
       &runSites},
      {"rank",
       "the enabled sites nearest first, with what was measured and why",
       {{"--sitelist", "PATH", "rank the site list at PATH instead of the agent's"},
        {"--method", "ping|hops", "measure now by ping time or hop count instead of\n"
                                  "                      showing the library's ranking for the list's policy"},
        {"--timeout", "SECONDS", "ping time-out of each site with --method ping (30)"},
        {"--hop-limit", "N", "most hops searched with --method hops (15)"}},
       "Without --method the orders are the library's, measured when the list was\n"
       "read, by the list's own policy (a list kept in configured order is not\n"
       "measured). Each site's order has its reason: the measured delay or hops,\n"
       "0 local server, 65533 management server that could not be measured, 65534\n"
       "fallback or mirror, 65535 unmeasurable. Measuring sends ICMP echo requests\n"
       "to the sites' servers, five sites at a time; on a terminal a progress line\n"
       "shows while it runs.\n",
       "inetmgr rank\ninetmgr rank --sitelist /tmp/SiteList.xml --method hops",
       &runRank},
      {"write",
       "write the site list described by a JSON file",
       {{"--from", "FILE", "the description (see examples/SiteList.json)"}},
       "Writes to the description's \"output\" path, or to the agent's site list\n"
       "location. The description can say everything the reader reads: sites with\n"
       "their ports and secure ports, proxies, policies and the CA bundle. Passwords\n"
       "are given in the form encrypt-password prints. Everything is checked first\n"
       "(names, types, numbers in range, flags, duplicate names and IDs, passwords\n"
       "that must decrypt under this machine's key); every fault is listed, naming\n"
       "the site and field, and nothing is written. The file is replaced atomically;\n"
       "a symbolic link is followed, and the replaced file keeps its owner and mode.\n",
       "inetmgr write --from SiteList.json",
       &runWrite},
      {"encrypt-password",
       "a password from standard input, in the form a site list stores it",
       {},
       "Reads one line from standard input (never from the command line; without\n"
       "echo on a terminal) and prints its text under this machine's key\n"
       "($INETMGR_DATA_DIR/etc/inetmgr.key). More than one line is refused.\n",
       "printf '%s\\n' \"$PASSWORD\" | inetmgr encrypt-password",
       &runEncryptPassword},
      {"key fingerprint",
       "a fingerprint of this machine's key, never the key itself",
       {},
       "Machines that show the same fingerprint share a key, and so can read each\n"
       "other's site list passwords. Reads $INETMGR_DATA_DIR/etc/inetmgr.key and never\n"
       "creates it.\n",
       "inetmgr key fingerprint",
       &runKeyFingerprint},
      {"download",
       "one file from a site of the site list",
       {{"--file", "NAME", "the file to fetch"},
        {"--from", "DIR", "its directory on the site"},
        {"--to", "DIR", "the local directory to put it in"},
        {"--site", "NAME", "the enabled site called NAME"},
        {"--master", "", "the first enabled master site"},
        {"--spipe", "", "the first enabled spipe site"},
        {"--fallback", "", "the enabled fallback site"},
        {"--resume", "", "continue a partial file (its last kilobyte is fetched again)"},
        {"--sitelist", "PATH", "use the site list at PATH instead of the agent's"},
        kDryRun},
       kDownloadText,
       "inetmgr download --file catalog.z --from /Software --to /tmp/dl\n"
       "inetmgr download --file catalog.z --from /Software --to /tmp/dl --site RepoEast --dry-run",
       &runDownload},
      {"upload",
       "one local file to a site of the site list, under its own name",
       {{"--file", "PATH", "the local file"},
        {"--to", "DIR", "the directory on the site"},
        {"--site", "NAME", "the enabled site called NAME"},
        {"--master", "", "the first enabled master site"},
        {"--spipe", "", "the first enabled spipe site"},
        {"--fallback", "", "the enabled fallback site"},
        {"--sitelist", "PATH", "use the site list at PATH instead of the agent's"},
        kDryRun},
       kConnectionText,
       "inetmgr upload --file /tmp/report.xml --to /Incoming --master",
       &runUpload},
      {"upload-response",
       "a package to the management server, keeping its answer",
       {{"--file", "PATH", "the local package file"},
        {"--guid", "GUID", "the agent's GUID, sent with the package"},
        {"--response", "PATH", "where the server's answer is kept"},
        {"--sitelist", "PATH", "use the site list at PATH instead of the agent's"},
        kDryRun},
       std::string("Posts the package to the spipe sites in site order, as the agent does, until\n"
                   "one answers: a site that fails gives way to the next; the server's answers\n"
                   "-95 (a new agent GUID is needed) and -96 (the agent's keys need updating)\n"
                   "stop at once. The transfer code of the last site tried is printed.\n") +
           kTransferNotes,
       "inetmgr upload-response --file pkg.xml --guid {F00D-...} --response /tmp/answer.xml",
       &runUploadResponse},
      {"about", "the library's version, site list location and result codes", {}, "", "inetmgr about", &runAbout},
  };
  return commands;
}

const Command& findCommand(const std::string& name) {
  for (const Command& command : toolCommands()) {
    if (command.name == name) return command;
  }
  std::cerr << "inetmgr: no command " << name << "\n";
  std::abort();
}

namespace {

// The command whose (possibly several) words begin `args`; null for none.
const Command* matchCommand(const std::vector<std::string>& args, std::size_t& words) {
  const Command* best = nullptr;
  for (const Command& command : toolCommands()) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t space; (space = command.name.find(' ', start)) != std::string::npos; start = space + 1) {
      parts.push_back(command.name.substr(start, space - start));
    }
    parts.push_back(command.name.substr(start));
    if (parts.size() > args.size() || (best != nullptr && parts.size() <= words)) continue;
    if (std::equal(parts.begin(), parts.end(), args.begin())) {
      best = &command;
      words = parts.size();
    }
  }
  return best;
}

bool wantsHelp(const std::vector<std::string>& args) {
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h") {
    std::size_t words = 0;
    const Command* topic = args.size() > 1 ? matchCommand({args.begin() + 1, args.end()}, words) : nullptr;
    std::cout << (topic != nullptr ? commandHelp(*topic) : toolHelp());
    return 0;
  }
  if (args[0] == "--version" || args[0] == "-V") {
    std::cout << "inetmgr " << im::getLibraryVersion() << "\n";
    return 0;
  }
  std::size_t words = 0;
  const Command* command = matchCommand(args, words);
  for (const Command& candidate : toolCommands()) {
    if (command == nullptr && candidate.name.rfind(args[0] + " ", 0) == 0) {
      std::cerr << "inetmgr " << args[0] << ": did you mean `inetmgr " << candidate.name << "`?\n";
      return exitCode(im::rcBadArgument);
    }
  }
  if (command == nullptr) {
    std::cerr << "inetmgr: unknown command '" << args[0] << "'; `inetmgr --help` lists the commands\n";
    return exitCode(im::rcBadArgument);
  }
  const std::vector<std::string> rest(args.begin() + static_cast<long>(words), args.end());
  if (wantsHelp(rest)) {
    std::cout << commandHelp(*command);
    return 0;
  }
  Arguments arguments;
  std::string error;
  if (!parseArguments(*command, rest, arguments, error)) {
    return fail(*command, error + "; `inetmgr " + command->name + " --help` shows the usage", im::rcBadArgument);
  }
  return command->run(arguments);
}
