// The transfer commands' shared parts: options, a run that Ctrl-C stops
// through the library's shutdown path, and the test transfer's record.
#include "transfer_run.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>

#include "site_list_choice.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

// "dir/file", or either part alone when the other is empty.
std::wstring joined(const std::wstring& directory, const std::wstring& file) {
  if (directory.empty()) return file;
  if (file.empty()) return directory;
  return directory + (directory.back() == L'/' ? L"" : L"/") + file;
}

struct CallName {
  xo::test::TransferCallKind kind;
  const char* name;
};

const CallName kCallNames[] = {
    {xo::test::callLogon, "Logon"},
    {xo::test::callLogOut, "LogOut"},
    {xo::test::callPostLogOutOperations, "PostLogOutOperations"},
    {xo::test::callDownloadFile, "DownloadFile"},
    {xo::test::callUploadFile, "UploadFile"},
    {xo::test::callUploadFileResponse, "UploadFileResponse"},
    {xo::test::callDeleteRemoteFile, "DeleteRemoteFile"},
    {xo::test::callDeleteRemoteDirectory, "DeleteRemoteDirectory"},
};

// "UploadFile(/tmp/pkg.xml, /spipe/pkg?...) answered -5"
std::string describe(const xo::test::TransferCall& call) {
  std::string text = "?";
  for (const CallName& name : kCallNames) {
    if (name.kind == call.kind) text = name.name;
  }
  std::wstring arguments;
  for (const std::wstring* argument : {&call.first, &call.second, &call.third}) {
    if (!argument->empty()) arguments += (arguments.empty() ? L"" : L", ") + *argument;
  }
  if (call.kind == xo::test::callDownloadFile && call.flag)
    arguments += L", resume from " + std::to_wstring(call.number);
  return text + "(" + printable(arguments) + ") answered " + std::to_string(call.result);
}

// Bytes done and total of the running transfer, from its progress reports.
// Owned by runTransfer; the library holds references while it is connected.
class ByteCounter final : public im::IImProgressCallback {
 public:
  int addRef() override { return ++references_; }
  int release() override { return --references_; }
  im::StatusAction onStatus(std::size_t done, std::size_t total, xo::INETSTATUS status, const wchar_t*,
                            const wchar_t*, const wchar_t*) override {
    if (status == xo::statusProgress) {
      done_ = done;
      total_ = total;
    }
    return im::Continue;
  }
  // "12.5 MiB of 100.0 MiB", "12.5 MiB", or "" before the first byte.
  std::string text() const {
    const std::size_t done = done_, total = total_;
    if (done == 0 && total == 0) return "";
    std::string line = mebibytes(done);
    if (total != 0) line += " of " + mebibytes(total);
    return line;
  }

 private:
  static std::string mebibytes(std::size_t bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MiB", static_cast<double>(bytes) / (1024.0 * 1024.0));
    return text;
  }
  std::atomic<int> references_{1};
  std::atomic<std::size_t> done_{0};
  std::atomic<std::size_t> total_{0};
};

// Watches for Ctrl-C and keeps the progress line until told the transfer ended.
class StopWatcher {
 public:
  // Sent by the transfer's thread when it is done, so the watcher ends at once.
  static constexpr int kWake = SIGUSR1;

  StopWatcher(const Command& command, std::string what, const ByteCounter& bytes)
      : command_(command), what_(std::move(what)), bytes_(bytes), terminal_(::isatty(STDERR_FILENO) == 1) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, kWake);
    // Blocked before any thread starts, so every thread (the library's too)
    // leaves the signals to the watcher.
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this] { watch(); });
  }
  ~StopWatcher() {
    done_ = true;
    pthread_kill(thread_.native_handle(), kWake);
    thread_.join();
  }
  StopWatcher(const StopWatcher&) = delete;
  StopWatcher& operator=(const StopWatcher&) = delete;

  bool stopped() const { return stopped_; }

 private:
  // The end of the transfer wakes the loop at once; otherwise each turn waits
  // a fifth of a second to redraw the progress line.
  void watch() {
    const auto start = std::chrono::steady_clock::now();
    bool drawn = false;
    while (!done_) {
      const timespec tick{0, 200000000};
      int signal = ::sigtimedwait(&signals_, nullptr, &tick);
      if (signal == kWake) signal = 0;
      if (signal > 0 && stopped_) {
        std::fprintf(stderr, "\ninetmgr %s: stopped at once\n", command_.name.c_str());
        std::_Exit(130);
      }
      if (signal > 0) {
        stopped_ = true;
        std::fprintf(stderr, "%sinetmgr %s: stopping (Ctrl-C again to quit at once)\n",
                     drawn ? "\r\033[K" : "", command_.name.c_str());
        drawn = false;
        triggerShutdownInetMgr();
      }
      if (terminal_ && !done_) {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const std::string moved = bytes_.text();
        std::fprintf(stderr, "\r\033[Kinetmgr %s: %s  %.1f s%s%s", command_.name.c_str(), what_.c_str(), seconds,
                     moved.empty() ? "" : "  ", moved.c_str());
        std::fflush(stderr);
        drawn = true;
      }
    }
    if (drawn) std::fprintf(stderr, "\r\033[K");
  }

  const Command& command_;
  const std::string what_;
  const ByteCounter& bytes_;
  const bool terminal_;
  sigset_t signals_;
  std::atomic<bool> done_{false};
  std::atomic<bool> stopped_{false};
  std::thread thread_;
};

}  // namespace

bool useSiteList(const Command& command, const Arguments& arguments) {
  std::wstring location;
  return chooseSiteList(command, arguments, location, false) == 0;
}

bool siteChoice(const Command& command, const Arguments& arguments, im::ImFlags& flags,
                std::wstring& siteName) {
  flags = 0;
  int given = 0;
  if (arguments.has("--site")) {
    ++given;
    flags |= im::imFlagSiteByName;
    if (!requiredText(command, arguments, "--site", siteName)) return false;
  }
  const std::pair<const char*, im::ImFlags> types[] = {{"--master", im::imFlagMasterSite},
                                                       {"--spipe", im::imFlagSpipeSite},
                                                       {"--fallback", im::imFlagFallbackSite}};
  for (const auto& [option, flag] : types) {
    if (!arguments.has(option)) continue;
    ++given;
    flags |= flag;
  }
  if (given > 1) {
    fail(command, "give at most one of --site, --master, --spipe and --fallback", im::rcBadArgument);
    return false;
  }
  return true;
}

bool requiredText(const Command& command, const Arguments& arguments, const std::string& option,
                  std::wstring& text) {
  if (!arguments.has(option) || !im::fromUtf8(arguments.value(option), text) || text.empty()) {
    fail(command, option + " is required (a UTF-8 text)", im::rcBadArgument);
    return false;
  }
  return true;
}

bool chooseTransfer(const Command& command, const Arguments& arguments) {
  const char* script = std::getenv("INETMGR_TEST_TRANSFER_SCRIPT");
  if (!arguments.has("--dry-run")) {
    if (script != nullptr && *script != '\0') {
      fail(command, "INETMGR_TEST_TRANSFER_SCRIPT scripts the recording transfer: give --dry-run too",
           im::rcBadArgument);
      return false;
    }
    xo::useNetworkTransfers();
    return true;
  }
  // A dry run stays dry whatever the environment asks of the library.
  ::unsetenv("INETMGR_TRANSFER");
  xo::g_lastOpData.resetFields();
  xo::test::ResetTransferScript();
  std::istringstream entries(script != nullptr ? script : "");
  for (std::string entry; entries >> entry;) {
    const std::size_t equals = entry.find('=');
    const CallName* call = nullptr;
    for (const CallName& candidate : kCallNames) {
      if (entry.compare(0, equals, candidate.name) == 0) call = &candidate;
    }
    std::vector<xo::xoInetError> answers;
    bool numeric = equals != std::string::npos;
    std::istringstream numbers(numeric ? entry.substr(equals + 1) : "");
    for (std::string number; numeric && std::getline(numbers, number, ',');) {
      char* end = nullptr;
      const long value = std::strtol(number.c_str(), &end, 10);
      numeric = !number.empty() && *end == '\0';
      answers.push_back(static_cast<xo::xoInetError>(value));
    }
    if (call == nullptr || !numeric || answers.empty()) {
      fail(command,
           "INETMGR_TEST_TRANSFER_SCRIPT: '" + entry + "' is not CALL=CODE[,CODE...] (CALL as in " +
               "Logon, DownloadFile, UploadFile)",
           im::rcBadArgument);
      return false;
    }
    xo::test::ScriptResults(call->kind, answers);
  }
  return true;
}

TransferOutcome runTransfer(const Command& command, const std::string& what,
                            const std::function<im::ResultCode(im::IImProgressCallback*)>& transfer) {
  TransferOutcome outcome;
  ByteCounter bytes;
  StopWatcher watcher(command, what, bytes);
  outcome.code = transfer(&bytes);
  outcome.stopped = watcher.stopped();
  return outcome;
}

void printTestTransferRecord() {
  const xo::LastOperationData& record = xo::g_lastOpData;
  const std::vector<xo::test::TransferCall> calls = xo::test::GetTransferCalls();
  int transfers = 0;
  bool failed = false;
  for (const xo::test::TransferCall& call : calls) {
    transfers += call.kind >= xo::test::callDownloadFile;
    failed = failed || call.result != xo::rcNoError;
  }
  if (transfers > 1 || failed) {
    std::cout << "test transfer calls and their answers:\n";
    for (const xo::test::TransferCall& call : calls) std::cout << "  " << describe(call) << "\n";
  }
  if (record.operation == 0) return;
  std::cout << "dry run: the recording transfer moved nothing; it was last asked to:\n";
  switch (record.operation) {
    case 1:
      // The record keeps the download's local target in its source fields and
      // the remote source in its target fields.
      std::cout << "  download  " << printable(joined(record.targetDirectory, record.targetFileName)) << "\n"
                << "  into      " << printable(joined(record.sourceDirectory, record.sourceFileName)) << "\n";
      break;
    case 2:
    case 3:
      std::cout << "  upload    " << printable(joined(record.sourceDirectory, record.sourceFileName)) << "\n"
                << "  to        " << printable(record.targetDirectory) << "\n";
      if (record.operation == 3) std::cout << "  response  " << printable(record.responsePath) << "\n";
      break;
    default:
      std::cout << "  operation " << record.operation << " on " << printable(record.targetDirectory) << "\n";
      break;
  }
}

int transferExit(const Command& command, const TransferOutcome& outcome) {
  if (outcome.code == im::rcSuccess) return 0;
  if (outcome.stopped) {
    const im::ResultCode code = outcome.code == im::rcXoInetStatus ? im::rcXoInetStatus : im::rcShutDown;
    return fail(command, "stopped by Ctrl-C", code);
  }
  const wchar_t* text = im::getErrorText(outcome.code, true);
  return fail(command,
              (text != nullptr ? im::toUtf8(text) : std::string("failed")) + " (code " +
                  std::to_string(outcome.code) + ")",
              outcome.code);
}
