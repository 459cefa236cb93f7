// The progress multiplexer: connection order, references and a callback's stop.
// The shutdown switch is shown by the site operations' shutdown test.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "site/progress.h"
#include "support/recording_callback.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;

using inetmgr_test::RecordingCallback;

TEST(ImProgress, ReportsReachCallbacksInOrderUntilOneSaysStopAndEachConnectionHoldsOneReference) {
  RecordingCallback first, stopper, last, stranger;
  stopper.stopAt = xo::statusDownloadBegin;
  {
    im::ImProgress progress;
    EXPECT_EQ(progress(0, 0, xo::statusProgress, L"s", nullptr, nullptr), im::Continue) << "nobody connected";
    EXPECT_EQ(progress.connect(nullptr), im::rcBadArgument);
    for (RecordingCallback* callback : {&first, &stopper, &last, &last})
      ASSERT_EQ(progress.connect(callback), im::rcSuccess);
    EXPECT_EQ(progress(1, 2, xo::statusDownloadBegin, L"site", nullptr, nullptr), im::Stop);
    EXPECT_TRUE(first.statuses == std::vector<int>{2} && first.texts == L"site|(null)|(null)" &&
                stopper.statuses == first.statuses && last.statuses.empty())
        << "in the order connected, none after the stop";
    EXPECT_EQ(progress.disconnect(&stopper), im::rcSuccess);
    EXPECT_EQ(progress.disconnect(&stranger), im::rcNotFound);
    EXPECT_EQ(stopper.references + last.references, 4) << "disconnecting gives the reference back";
    EXPECT_EQ(progress.disconnect(&last), im::rcSuccess);
    EXPECT_EQ(progress(0, 0, xo::statusProgress, nullptr, nullptr, nullptr), im::Continue);
    EXPECT_TRUE(last.statusText() == "15" && last.texts == L"(null)|(null)|(null)")
        << "connected twice, disconnected once";
    EXPECT_EQ(progress.callbackCount(), 2u);
  }
  EXPECT_EQ(first.references + last.references, 2) << "the multiplexer releases what is still connected";
}

TEST(XoInetCallback, PassesTheTransfersReportOnAndOnStopAsksItToStopThroughTheFlagWhenGiven) {
  RecordingCallback going, stopping;
  stopping.stopAt = xo::statusProgress;
  im::ImProgress progress;
  im::XoInetCallback sink(progress);
  progress.connect(&going);
  bool flag = true;
  const unsigned int done = 1;
  const long total = -1;
  EXPECT_TRUE(sink.OnProgress(done, total, xo::statusProgress, L"site", nullptr, nullptr, &flag) && flag);
  progress.connect(&stopping);
  EXPECT_FALSE(sink.OnProgress(done, total, xo::statusProgress, L"site", nullptr, nullptr, &flag) || flag);
  EXPECT_FALSE(sink.OnProgress(done, total, xo::statusProgress, L"site", nullptr, nullptr, nullptr));
  EXPECT_EQ(going.statuses.size() + stopping.statuses.size(), 5u);
}
