// Result codes: the error rule, the text table and its one-time fill, and the
// carriers that take codes to the public boundary.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/result_exceptions.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace xo = corvane_com::zel::xoInet;
using im::LogLevel;
using im::ResultCode;

TEST(ResultCode, OnlyNegativeCodesAreErrorsAndEachKnownCodeHasItsOwnStableText) {
  for (int code = -15; code <= 6; ++code)
    EXPECT_EQ(im::isCodeError(static_cast<ResultCode>(code)), code < 0) << code;
  std::vector<std::wstring> seen;
  for (int code = -13; code <= 5; ++code) {
    const wchar_t* text = im::getErrorText(static_cast<ResultCode>(code), true);
    ASSERT_TRUE(text != nullptr && *text != L'\0') << code;
    EXPECT_EQ(text, im::getErrorText(static_cast<ResultCode>(code), false)) << "same pointer for " << code;
    for (const auto& other : seen) EXPECT_NE(other, text) << code;
    seen.push_back(text);
  }
  for (int code : {-14, -15, 6}) {
    EXPECT_STREQ(im::getErrorText(static_cast<ResultCode>(code), false), L"") << code;
    EXPECT_EQ(im::getErrorText(static_cast<ResultCode>(code), true), nullptr) << code;
  }
}

TEST(ResultCode, ConcurrentFirstLookupsAllSeeTheFilledTable) {
  // Each thread's first lookup may be the one that fills the table.
  std::vector<const wchar_t*> results(16, nullptr);
  std::vector<std::thread> threads;
  for (auto& result : results)
    threads.emplace_back([&result] { result = im::getErrorText(im::rcNotFound, true); });
  for (auto& t : threads) t.join();
  for (const wchar_t* text : results)
    EXPECT_STREQ(text, L"A requested item was not found in Internet Manager.");
}

TEST(ResultCarriers, TextsAppendAParentErrorAndCatchesLogErrorsAsErrorsAndOtherCodesBelow) {
  inetmgr_test::LogCapture log;
  const std::wstring pathError = im::getErrorText(im::rcPathError, false);
  EXPECT_EQ(im::SiteImplExcept(im::rcPathError, L"x", xo::rcNoError).getText(),
            pathError + L" [Parent error: x]");
  EXPECT_EQ(im::SiteImplExcept(im::rcPathError).getText(), pathError);

  // A transfer's "not found" becomes rcNotFound, which is no error.
  im::SiteImplExcept notFound(im::rcXoInetError, L"", static_cast<xo::xoInetError>(-5));
  xo::xoInetError carried = xo::rcNoError;
  EXPECT_TRUE(im::doSiteExceptCatch(notFound, carried) == im::rcNotFound && carried == -5);
  EXPECT_EQ(log.count(LogLevel::Detail, notFound.getText()), 1);
  im::SiteImplExcept failure(im::rcXoInetError, L"", static_cast<xo::xoInetError>(-7));
  EXPECT_EQ(im::doSiteExceptCatch(failure), im::rcXoInetError);
  EXPECT_EQ(log.count(LogLevel::Error, failure.getText()), 1);

  EXPECT_NO_THROW(im::checkCode(im::rcSuccess));
  for (const ResultCode code : {im::rcEndOfList, im::rcBadArgument}) {
    try {
      im::checkCode(code);
      ADD_FAILURE() << code << " must throw";
    } catch (im::NetConnException& e) {
      EXPECT_EQ(im::doNetConnExceptCatch(e), code);
    }
  }
  EXPECT_EQ(log.count(LogLevel::InternalError, im::getErrorText(im::rcEndOfList, false)), 1);
  EXPECT_EQ(log.count(LogLevel::Error, im::getErrorText(im::rcBadArgument, false)), 1);
}
