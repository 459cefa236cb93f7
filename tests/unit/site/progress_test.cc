// The progress multiplexer: connection order, references, a callback's stop,
// and the process-wide shutdown switch.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "site/progress.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

namespace {

class CountingCallback : public im::IImProgressCallback {
 public:
  CountingCallback(std::vector<std::wstring>& calls, std::wstring name, im::StatusAction answer)
      : calls_(calls), name_(std::move(name)), answer_(answer) {}
  int addRef() override { return ++references; }
  int release() override { return --references; }
  im::StatusAction onStatus(std::size_t, std::size_t, xo::INETSTATUS status, const wchar_t* site, const wchar_t*,
                            const wchar_t*) override {
    calls_.push_back(name_ + L":" + std::to_wstring(status) + L":" + (site != nullptr ? site : L"(null)"));
    return answer_;
  }
  int references = 0;

 private:
  std::vector<std::wstring>& calls_;
  std::wstring name_;
  im::StatusAction answer_;
};

}  // namespace

TEST(ImProgress, ReportsReachCallbacksInOrderUntilOneSaysStop) {
  inetmgr_test::LogCapture log(im::LogLevel::Info);
  std::vector<std::wstring> calls;
  CountingCallback first(calls, L"first", im::Continue);
  CountingCallback stopper(calls, L"stopper", im::Stop);
  CountingCallback last(calls, L"last", im::Continue);
  {
    im::ImProgress progress;
    EXPECT_EQ(progress(0, 0, xo::statusProgress, L"s", nullptr, nullptr), im::Continue) << "nobody connected";
    EXPECT_EQ(progress.connect(nullptr), im::rcBadArgument);
    ASSERT_EQ(progress.connect(&first), im::rcSuccess);
    ASSERT_EQ(progress.connect(&stopper), im::rcSuccess);
    ASSERT_EQ(progress.connect(&last), im::rcSuccess);
    EXPECT_EQ(progress(1, 2, xo::statusDownloadBegin, L"site", nullptr, nullptr), im::Stop);
    EXPECT_EQ(calls, (std::vector<std::wstring>{L"first:2:site", L"stopper:2:site"}));
    EXPECT_EQ(log.count(im::LogLevel::Info, L"Callback signalled operation to stop."), 1);
    EXPECT_EQ(progress.disconnect(&stopper), im::rcSuccess);
    EXPECT_EQ(stopper.references, 0) << "disconnecting gives the reference back";
    EXPECT_EQ(progress(0, 0, xo::statusProgress, nullptr, nullptr, nullptr), im::Continue);
    EXPECT_EQ(calls.back(), L"last:15:(null)");
  }
  EXPECT_EQ(first.references, 0) << "the multiplexer releases what is still connected";
  EXPECT_EQ(last.references, 0);
}

TEST(ImProgress, ACallbackConnectedTwiceIsHeldTwiceAndDisconnectedOnceAtATime) {
  std::vector<std::wstring> calls;
  CountingCallback callback(calls, L"cb", im::Continue);
  CountingCallback stranger(calls, L"stranger", im::Continue);
  im::ImProgress progress;
  progress.connect(&callback);
  progress.connect(&callback);
  EXPECT_EQ(callback.references, 2);
  EXPECT_EQ(progress.disconnect(&stranger), im::rcNotFound);
  EXPECT_EQ(progress.disconnect(&callback), im::rcSuccess);
  EXPECT_EQ(progress.callbackCount(), 1u);
  progress(0, 0, xo::statusProgress, nullptr, nullptr, nullptr);
  EXPECT_EQ(calls.size(), 1u);
  EXPECT_EQ(progress.disconnect(&callback), im::rcSuccess);
  EXPECT_EQ(progress.disconnect(&callback), im::rcNotFound);
  EXPECT_EQ(callback.references, 0);
}

TEST(ImProgressDeathTest, AfterAShutdownRequestEveryReportStopsWithoutCallingAnyone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // Run in a child process: the switch is never turned off again.
  EXPECT_EXIT(
      {
        std::vector<std::wstring> calls;
        CountingCallback callback(calls, L"cb", im::Continue);
        im::ImProgress progress;
        progress.connect(&callback);
        im::ImProgress::abortOperation();
        im::ImProgress other;
        const bool stopped = progress(0, 0, xo::statusProgress, nullptr, nullptr, nullptr) == im::Stop &&
                             other(0, 0, xo::statusProgress, nullptr, nullptr, nullptr) == im::Stop;
        std::exit(stopped && calls.empty() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
