// The log sink: levels, thresholds, tags, and the default sink's line format.
#include <string>

#include <gtest/gtest.h>

#include "platform/log.h"
#include "platform/utf8.h"
#include "support/log_capture.h"

namespace pf = corvane_com::zel::platform;
using corvane_com::zel::inetmgr::LogLevel;

TEST(Log, RecordsReachTheInstalledSinkUpToItsThreshold) {
  inetmgr_test::LogCapture log(LogLevel::Info);
  pf::logError(L"persite", L"an error");
  pf::logInternalError(L"imnetco", L"internal");
  pf::logInfo(L"imsite", L"info");
  pf::logDetail(L"imsite", L"detail is above the threshold");
  { pf::ADetailTrace trace(L"imsitel", L"op()"); }
  const auto records = log.records();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].tag + L" " + records[0].text, L"persite an error");
  EXPECT_TRUE(records[0].level == LogLevel::Error && records[1].level == LogLevel::InternalError &&
              records[2].level == LogLevel::Info);
  EXPECT_FALSE(pf::isLogEnabled(LogLevel::Detail));
}

TEST(Log, DefaultSinkWritesUtf8LinesToStderrAtTheEnvironmentsLevel) {
  ::setenv("INETMGR_LOG_LEVEL", "info", 1);
  corvane_com::zel::inetmgr::setLogSink(nullptr, nullptr, LogLevel::Error);
  ::testing::internal::CaptureStderr();
  pf::logInfo(L"persite", L"caf\u00e9");
  pf::logDetail(L"persite", L"hidden");
  const std::string out = ::testing::internal::GetCapturedStderr();
  ::unsetenv("INETMGR_LOG_LEVEL");
  corvane_com::zel::inetmgr::setLogSink(nullptr, nullptr, LogLevel::Error);
  EXPECT_NE(out.find(" INFO [persite] caf\xC3\xA9\n"), std::string::npos) << out;
  EXPECT_EQ(out.find('\n'), out.size() - 1) << "one record, one line, and not the hidden one: " << out;
}

TEST(Utf8, InvalidInputBecomesTheReplacementCharacterBothWays) {
  EXPECT_EQ(pf::toUtf8(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
  EXPECT_EQ(pf::fromUtf8("a\xC0\xAF" "b"), L"a\uFFFD\uFFFDb") << "overlong form";
  EXPECT_EQ(pf::fromUtf8("\xE2\x82"), L"\uFFFD\uFFFD") << "truncated sequence";
  const std::wstring text = L"\u00e9\u20ac\U0001F511x";
  EXPECT_EQ(pf::fromUtf8(pf::toUtf8(text)), text);
}
