// The inetmgr tool's commands as one table, and what is derived from it: the
// parsing of each command's options and every help text.
#ifndef INETMGR_TOOLS_COMMAND_LINE_H
#define INETMGR_TOOLS_COMMAND_LINE_H

#include <map>
#include <string>
#include <vector>

#include "inetmgr/result_code.h"

struct Option {
  std::string name;       // "--sitelist"
  std::string valueName;  // "PATH"; empty for a flag
  std::string help;
};

// The options given to one command.
struct Arguments {
  std::map<std::string, std::string> values;  // option -> value ("" for a flag)
  bool has(const std::string& option) const { return values.count(option) != 0; }
  std::string value(const std::string& option) const;
};

struct Command {
  std::string name;  // one or more words: "sites", "key fingerprint"
  std::string summary;
  std::vector<Option> options;
  std::string description;  // paragraphs of the command's help
  std::string examples;     // one example command line per line
  int (*run)(const Arguments& arguments);
};

// Every command of the tool, in the order the help lists them.
const std::vector<Command>& toolCommands();

// Fills `arguments` from `args` (what follows the command's name). Accepts
// "--opt VALUE" and "--opt=VALUE"; false, with `error` naming the option, for
// an unknown option, a missing value, a value given to a flag, or a stray
// argument.
bool parseArguments(const Command& command, const std::vector<std::string>& args, Arguments& arguments,
                    std::string& error);

std::string commandHelp(const Command& command);
std::string toolHelp();

// The exit status of a result code: 0 for success, 256 + n for an error n.
int exitCode(corvane_com::zel::inetmgr::ResultCode code);
// Prints "inetmgr COMMAND: text" to stderr and returns exitCode(code).
int fail(const Command& command, const std::string& text, corvane_com::zel::inetmgr::ResultCode code);

#endif  // INETMGR_TOOLS_COMMAND_LINE_H
