// What the transfer commands (download, upload, upload-response) share: the
// site list and site choice, a transfer run that Ctrl-C stops cleanly
// with a progress line on a terminal, and the printout of what this build's
// test transfer was asked to do.
#ifndef INETMGR_TOOLS_TRANSFER_RUN_H
#define INETMGR_TOOLS_TRANSFER_RUN_H

#include <functional>
#include <string>

#include "command_line.h"
#include "inetmgr/inetmgr.h"

// Applies --sitelist; false (after printing why) for a path that is not UTF-8.
bool useSiteList(const Command& command, const Arguments& arguments);
// The connection's flags and site name from --site, --master, --spipe or
// --fallback; false (after printing why) when more than one is given.
bool siteChoice(const Command& command, const Arguments& arguments, corvane_com::zel::inetmgr::ImFlags& flags,
                std::wstring& siteName);
// The value of a required option as wide text; false (after printing why) when
// it is missing or not UTF-8.
bool requiredText(const Command& command, const Arguments& arguments, const std::string& option,
                  std::wstring& text);

// Network transfers, or with --dry-run the recording test transfer: its record
// and journal cleared and, when INETMGR_TEST_TRANSFER_SCRIPT is set
// ("UploadFile=-5,0 Logon=0": the answers the next calls of each kind give),
// its answers queued. False (after printing why) for a script that does not
// parse or is given without --dry-run.
bool chooseTransfer(const Command& command, const Arguments& arguments);

// Runs `transfer` while a second thread turns the first Ctrl-C (SIGINT or
// SIGTERM) into triggerShutdownInetMgr(), so that the transfer stops at its
// next progress report, and a second one into an immediate exit (130). On a
// terminal, stderr shows `what` with the time spent and the bytes that the
// progress callback handed to `transfer` has seen, until the transfer ends.
// The callback is `transfer`'s to connect; it outlives the call.
struct TransferOutcome {
  corvane_com::zel::inetmgr::ResultCode code = corvane_com::zel::inetmgr::rcSuccess;
  bool stopped = false;  // Ctrl-C came before the transfer ended
};
TransferOutcome runTransfer(
    const Command& command, const std::string& what,
    const std::function<corvane_com::zel::inetmgr::ResultCode(corvane_com::zel::inetmgr::IImProgressCallback*)>&
        transfer);

// Prints what the test transfer was asked to do in this run, when it was
// asked anything (a network transfer records nothing): the last operation it
// recorded and, when there was more than one or one failed, every transfer
// call with its answer.
void printTestTransferRecord();

// The exit status of a finished run, with one line to stderr when it failed:
// the code's text, or "stopped by Ctrl-C" with 5 (a transfer stopped at a
// report, rcXoInetStatus) or 242 (rcShutDown: stopped before one began).
int transferExit(const Command& command, const TransferOutcome& outcome);

#endif  // INETMGR_TOOLS_TRANSFER_RUN_H
