// Option parsing and help texts, all derived from the command table.
#include "command_line.h"

#include <iostream>
#include <sstream>

namespace im = corvane_com::zel::inetmgr;

namespace {

const char kExitCodes[] =
    "exit status:\n"
    "  0    success\n"
    "  N    256 + a library result code for errors, e.g. 253 (-3) a wrong argument,\n"
    "       248 (-8) a site list that breaks the format, 244 (-12) a path that cannot\n"
    "       be used; `inetmgr about` lists every code\n";

const char kEnvironment[] =
    "environment:\n"
    "  INETMGR_DATA_DIR   the agent's data directory (default /var/lib/inetmgr)\n"
    "  INETMGR_LOG_LEVEL  error, internal, info, detail or trace (default error);\n"
    "                     log records go to stderr\n";

std::string optionText(const Option& option) {
  return option.valueName.empty() ? option.name : option.name + " " + option.valueName;
}

std::string synopsis(const Command& command) {
  std::string text = "inetmgr " + command.name;
  for (const Option& option : command.options) text += " [" + optionText(option) + "]";
  return text;
}

}  // namespace

std::string Arguments::value(const std::string& option) const {
  const auto it = values.find(option);
  return it == values.end() ? std::string() : it->second;
}

bool parseArguments(const Command& command, const std::vector<std::string>& args, Arguments& arguments,
                    std::string& error) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const std::size_t equals = arg.find('=');
    const std::string name = arg.substr(0, equals);
    const Option* option = nullptr;
    for (const Option& candidate : command.options) {
      if (candidate.name == name) option = &candidate;
    }
    if (option == nullptr) {
      error = arg.rfind("-", 0) == 0 ? "unknown option " + name : "unexpected argument '" + arg + "'";
      return false;
    }
    if (option->valueName.empty()) {
      if (equals != std::string::npos) {
        error = name + " takes no value";
        return false;
      }
      arguments.values[name] = "";
    } else if (equals != std::string::npos) {
      arguments.values[name] = arg.substr(equals + 1);
    } else if (i + 1 < args.size()) {
      arguments.values[name] = args[++i];
    } else {
      error = name + " needs a value (" + option->valueName + ")";
      return false;
    }
  }
  return true;
}

std::string commandHelp(const Command& command) {
  std::ostringstream text;
  text << "usage: " << synopsis(command) << "\n\n" << command.summary << "\n";
  if (!command.description.empty()) text << "\n" << command.description;
  if (!command.options.empty()) {
    text << "\noptions:\n";
    for (const Option& option : command.options) {
      std::string left = "  " + optionText(option);
      left.resize(left.size() < 22 ? 22 : left.size() + 1, ' ');
      text << left << option.help << "\n";
    }
  }
  if (!command.examples.empty()) {
    text << "\nexamples:\n";
    std::istringstream lines(command.examples);
    for (std::string line; std::getline(lines, line);) text << "  " << line << "\n";
  }
  text << "\n" << kExitCodes;
  return text.str();
}

std::string toolHelp() {
  std::ostringstream text;
  text << "usage: inetmgr COMMAND [options]\n"
          "       inetmgr COMMAND --help\n"
          "       inetmgr --version\n\n"
          "The agent's Internet Manager seen from the command line: the site list as the\n"
          "library reads it, site lists written from a description, passwords in the form\n"
          "a site list stores them.\n\ncommands:\n";
  for (const Command& command : toolCommands()) {
    std::string left = "  " + command.name;
    left.resize(left.size() < 22 ? 22 : left.size() + 1, ' ');
    text << left << command.summary << "\n";
  }
  text << "\n" << kEnvironment << "\n" << kExitCodes;
  return text.str();
}

int exitCode(im::ResultCode code) { return static_cast<int>(code) & 0xFF; }

int fail(const Command& command, const std::string& text, im::ResultCode code) {
  std::cerr << "inetmgr " << command.name << ": " << text << "\n";
  return exitCode(code);
}
