// Narrow/wide conversion: long texts, texts the locale cannot carry, the
// same-width copies and the assertions on null arguments.
#include "core/string_conversion.h"

#include <clocale>
#include <cstddef>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace corvane_com::zel::inetmgr;  // NOLINT(google-build-using-namespace)

// Switches the process locale for one test and puts the previous one back.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) { EXPECT_NE(std::setlocale(LC_ALL, name), nullptr) << name; }
  ~ScopedLocale() { std::setlocale(LC_ALL, previous_.c_str()); }

 private:
  std::string previous_ = std::setlocale(LC_ALL, nullptr);
};

TEST(StringConversion, TextsPastTheStartBufferGrowTheThreadBufferAndConvertWhole) {
  ScopedLocale locale("C.UTF-8");
  // Four UTF-8 bytes per character: the tightest fit the buffer estimate allows.
  const std::wstring wide(5001, L'\U0001F600');
  std::size_t grownTo = 0;
  std::string narrow, shortAfter;
  std::wstring wideAgain;
  // A fresh thread, so its buffer starts at its first size.
  std::thread([&] {
    narrow = convertString<char>(wide);
    grownTo = conversionBufferSize();
    wideAgain = convertString<wchar_t>(narrow);
    shortAfter = convertString<char>(L"ab");
  }).join();
  EXPECT_GE(grownTo, 4u * 5002u) << "a buffer too small would have been written past";
  EXPECT_EQ(4u * 5001u, narrow.size());
  EXPECT_TRUE(wide == wideAgain) << "compared as a boolean: a mismatch would print 5001 characters";
  EXPECT_EQ("ab", shortAfter);
}

TEST(StringConversion, TextTheLocaleCannotCarryConvertsToNothingRatherThanToAPart) {
  {
    ScopedLocale locale("C.UTF-8");
    const wchar_t loneSurrogate[] = {L'a', L'b', static_cast<wchar_t>(0xD800), L'c', 0};
    EXPECT_TRUE(convertString<char>(loneSurrogate).empty() && convertString<wchar_t>("ab\377c").empty());
    EXPECT_EQ("caf\xc3\xa9", convertString<char>(L"caf\u00e9"));
  }
  ScopedLocale locale("C");
  EXPECT_TRUE(convertString<char>(std::wstring(L"caf\u00e9")).empty() &&
              convertString<wchar_t>(std::string("caf\xc3\xa9")).empty());
  EXPECT_EQ("cafe", convertString<char>(L"cafe"));
}

TEST(StringConversion, SameWidthCopiesAreCutToTheCountAndAlwaysTerminated) {
  char narrow[8] = "zzzzzzz";
  EXPECT_TRUE(convertFunc(narrow, "abc", 1) == 0u && narrow[0] == '\0');
  EXPECT_TRUE(convertFunc(narrow, "abc", 3) == 2u && std::string(narrow) == "ab");
  wchar_t wide[8] = L"zzzzzzz";
  EXPECT_TRUE(convertFunc(wide, L"abc", 2) == 1u && std::wstring(wide) == L"a");
}

TEST(StringConversionDeathTest, ANullArgumentStopsTheProcessNamingTheExpression) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(getBufSize(static_cast<const char*>(nullptr)), "0!=str");
}

}  // namespace
