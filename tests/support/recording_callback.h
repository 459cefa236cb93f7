// A progress callback for tests: counts its references, records each status
// and the texts of the latest report, answers Stop to one status and can run
// an action at another.
#ifndef INETMGR_TESTS_RECORDING_CALLBACK_H
#define INETMGR_TESTS_RECORDING_CALLBACK_H

#include <functional>
#include <string>
#include <vector>

#include "inetmgr/progress.h"

namespace inetmgr_test {

class RecordingCallback : public corvane_com::zel::inetmgr::IImProgressCallback {
 public:
  int addRef() override { return ++references; }
  int release() override { return --references; }
  corvane_com::zel::inetmgr::StatusAction onStatus(std::size_t, std::size_t,
                                                   corvane_com::zel::xoInet::INETSTATUS status,
                                                   const wchar_t* site, const wchar_t* server,
                                                   const wchar_t* file) override {
    statuses.push_back(status);
    texts = text(site) + L"|" + text(server) + L"|" + text(file);
    if (status == actAt && action) action();
    return status == stopAt ? corvane_com::zel::inetmgr::Stop : corvane_com::zel::inetmgr::Continue;
  }
  // The statuses as "0 2 15 4".
  std::string statusText() const {
    std::string joined;
    for (int status : statuses) joined += (joined.empty() ? "" : " ") + std::to_string(status);
    return joined;
  }

  int references = 1;
  std::vector<int> statuses;
  std::wstring texts;  // "site|server|file" of the latest report, "(null)" for a missing text
  int stopAt = -1;
  int actAt = -1;
  std::function<void()> action;

 private:
  static std::wstring text(const wchar_t* value) { return value != nullptr ? value : L"(null)"; }
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_RECORDING_CALLBACK_H
