// Environment macro expansion, the data directory setting and the tick count.
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "platform/config.h"
#include "platform/expand_macro.h"
#include "platform/tick_count.h"
#include "support/temp_dir.h"

namespace pf = corvane_com::zel::platform;

// An unset name expands to nothing: shown by the proxy reader's tests.
TEST(Environment, MacroNamesBetweenAngleBracketsAndTheDataDirectoryComeFromItWithADefault) {
  ::setenv("INETMGR_TEST_PROXY", "proxy.example", 1);
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"http://<INETMGR_TEST_PROXY>:8080/<INETMGR_TEST_PROXY>"),
            L"http://proxy.example:8080/proxy.example");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"a<b") + pf::cmnlib_ExpandMacro(L"<>x"), L"a<b<>x");
  inetmgr_test::ScopedDataDir data;  // puts the variable back afterwards
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), data.path().wstring());
  ::setenv("INETMGR_DATA_DIR", "", 1);
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), L"/var/lib/inetmgr");
  ::unsetenv("INETMGR_DATA_DIR");
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), L"/var/lib/inetmgr");
}

TEST(TickCount, AdvancesInMilliseconds) {
  const std::uint32_t start = pf::xoiGetTickCount();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const std::uint32_t elapsed = pf::xoiGetTickCount() - start;
  EXPECT_TRUE(elapsed >= 30u && elapsed < 10000u) << elapsed;
}
