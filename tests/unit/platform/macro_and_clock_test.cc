// Environment macro expansion, the data directory setting and the tick count.
#include <chrono>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "platform/config.h"
#include "platform/expand_macro.h"
#include "platform/tick_count.h"

namespace pf = corvane_com::zel::platform;

TEST(ExpandMacro, NamesBetweenAngleBracketsComeFromTheEnvironment) {
  ::setenv("INETMGR_TEST_PROXY", "proxy.example", 1);
  ::unsetenv("INETMGR_TEST_UNSET");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"<INETMGR_TEST_PROXY>"), L"proxy.example");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"http://<INETMGR_TEST_PROXY>:8080/<INETMGR_TEST_PROXY>"),
            L"http://proxy.example:8080/proxy.example");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"<INETMGR_TEST_UNSET>"), L"");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"a<b"), L"a<b");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"<>x"), L"<>x");
  EXPECT_EQ(pf::cmnlib_ExpandMacro(L"plain"), L"plain");
}

TEST(Configuration, DataDirectoryFollowsTheEnvironmentWithADefault) {
  const char* old = std::getenv("INETMGR_DATA_DIR");
  const std::string saved = old != nullptr ? old : "";
  ::setenv("INETMGR_DATA_DIR", "/srv/agent", 1);
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), L"/srv/agent");
  ::setenv("INETMGR_DATA_DIR", "", 1);
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), L"/var/lib/inetmgr");
  ::unsetenv("INETMGR_DATA_DIR");
  EXPECT_EQ(pf::IConfiguration::GetConfiguration()->GetFrameworkDataDirectory(), L"/var/lib/inetmgr");
  if (old != nullptr) ::setenv("INETMGR_DATA_DIR", saved.c_str(), 1);
}

TEST(TickCount, AdvancesInMilliseconds) {
  const std::uint32_t start = pf::xoiGetTickCount();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const std::uint32_t elapsed = pf::xoiGetTickCount() - start;
  EXPECT_GE(elapsed, 30u);
  EXPECT_LT(elapsed, 10000u);
}
