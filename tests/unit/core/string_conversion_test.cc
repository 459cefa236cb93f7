// Narrow/wide conversion: long texts, texts the locale cannot carry, the
// same-width copies and the assertions on null arguments.
#include "core/string_conversion.h"

#include <clocale>
#include <cstddef>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace corvane_com::zel::inetmgr;

// Switches the process locale for one test and puts the previous one back.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) : previous_(std::setlocale(LC_ALL, nullptr)) {
    active_ = std::setlocale(LC_ALL, name) != nullptr;
  }
  ~ScopedLocale() { std::setlocale(LC_ALL, previous_.c_str()); }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;
  bool active() const { return active_; }

 private:
  std::string previous_;
  bool active_ = false;
};

TEST(StringConversion, TextsPastTheStartBufferGrowTheThreadBufferAndConvertWhole) {
  ScopedLocale locale("C.UTF-8");
  ASSERT_TRUE(locale.active());
  // Four UTF-8 bytes per character: the tightest fit the buffer estimate allows.
  const std::wstring wide(5001, L'\U0001F600');

  std::size_t sizeBefore = 1, sizeAfterShort = 0, sizeAfterLong = 0, sizeAtEnd = 0;
  std::string narrow;
  std::wstring wideAgain;
  // A fresh thread, so its buffer starts from nothing.
  std::thread([&] {
    sizeBefore = conversionBufferSize();
    EXPECT_EQ("ab", convertString<char>(L"ab"));
    sizeAfterShort = conversionBufferSize();
    narrow = convertString<char>(wide);
    sizeAfterLong = conversionBufferSize();
    wideAgain = convertString<wchar_t>(narrow);
    EXPECT_EQ("ab", convertString<char>(L"ab"));
    sizeAtEnd = conversionBufferSize();
  }).join();

  EXPECT_EQ(0u, sizeBefore);
  EXPECT_EQ(5000u, sizeAfterShort);
  EXPECT_GE(sizeAfterLong, 4u * 5002u);
  EXPECT_EQ(4u * 5001u, narrow.size());
  EXPECT_TRUE(wide == wideAgain) << "compared as a boolean: a mismatch would print 5001 characters";
  EXPECT_GE(sizeAtEnd, sizeAfterLong) << "the buffer must never shrink";
}

TEST(StringConversion, TextTheLocaleCannotCarryConvertsToNothingRatherThanToAPart) {
  {
    ScopedLocale locale("C.UTF-8");
    ASSERT_TRUE(locale.active());
    const wchar_t loneSurrogate[] = {L'a', L'b', static_cast<wchar_t>(0xD800), L'c', 0};
    EXPECT_EQ("", convertString<char>(loneSurrogate));
    EXPECT_EQ(L"", convertString<wchar_t>("ab\377c"));
    EXPECT_EQ("caf\xc3\xa9", convertString<char>(L"caf\u00e9"));
  }
  ScopedLocale locale("C");
  ASSERT_TRUE(locale.active());
  EXPECT_EQ("", convertString<char>(std::wstring(L"caf\u00e9")));
  EXPECT_EQ(L"", convertString<wchar_t>(std::string("caf\xc3\xa9")));
  EXPECT_EQ("cafe", convertString<char>(L"cafe"));
}

TEST(StringConversion, SameWidthCopiesAreCutToTheCountAndAlwaysTerminated) {
  char narrow[8] = "zzzzzzz";
  EXPECT_EQ(0u, convertFunc(narrow, "abc", 1));
  EXPECT_STREQ("", narrow);
  EXPECT_EQ(2u, convertFunc(narrow, "abc", 3));
  EXPECT_STREQ("ab", narrow);
  wchar_t wide[8] = L"zzzzzzz";
  EXPECT_EQ(1u, convertFunc(wide, L"abc", 2));
  EXPECT_STREQ(L"a", wide);
  EXPECT_EQ(8u, getBufSize(L"abc")) << "two bytes per wide character, doubled by the caller";
}

TEST(StringConversionDeathTest, ANullArgumentStopsTheProcessNamingTheExpression) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(getBufSize(static_cast<const char*>(nullptr)), "0!=str");
}

}  // namespace
