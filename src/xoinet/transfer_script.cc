// Scripted answers per kind of call and a bounded journal of the calls, shared
// by every test transfer of the process.
#include "xoinet/transfer_script.h"

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace corvane_com::zel::xoInet {
namespace {

// Enough for any test's sequence; older calls are dropped so a long-running
// process that uses the test transfer does not grow without end.
constexpr std::size_t kJournalLimit = 256;

struct Script {
  std::mutex mutex;
  std::map<test::TransferCallKind, std::deque<xoInetError>> answers;
  std::deque<test::TransferCall> journal;
};

Script& script() {
  static Script instance;
  return instance;
}

void journal(Script& s, test::TransferCall call) {
  s.journal.push_back(std::move(call));
  if (s.journal.size() > kJournalLimit) s.journal.pop_front();
}

}  // namespace

xoInetError finishCall(test::TransferCall call) {
  Script& s = script();
  std::lock_guard<std::mutex> guard(s.mutex);
  const auto queued = s.answers.find(call.kind);
  if (queued != s.answers.end() && !queued->second.empty()) {
    call.result = queued->second.front();
    queued->second.pop_front();
  }
  const xoInetError result = call.result;
  journal(s, std::move(call));
  return result;
}

xoInetError journalRefusedCall(test::TransferCall call) {
  Script& s = script();
  std::lock_guard<std::mutex> guard(s.mutex);
  const xoInetError result = call.result;
  journal(s, std::move(call));
  return result;
}

namespace test {

void ScriptResults(TransferCallKind kind, const std::vector<xoInetError>& results) {
  Script& s = script();
  std::lock_guard<std::mutex> guard(s.mutex);
  std::deque<xoInetError>& queue = s.answers[kind];
  queue.insert(queue.end(), results.begin(), results.end());
}

void ResetTransferScript() {
  Script& s = script();
  std::lock_guard<std::mutex> guard(s.mutex);
  s.answers.clear();
  s.journal.clear();
}

std::vector<TransferCall> GetTransferCalls() {
  Script& s = script();
  std::lock_guard<std::mutex> guard(s.mutex);
  return std::vector<TransferCall>(s.journal.begin(), s.journal.end());
}

}  // namespace test
}  // namespace corvane_com::zel::xoInet
