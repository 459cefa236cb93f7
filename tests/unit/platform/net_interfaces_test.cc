// Network interface enumeration and the choice of the local address.
#include <arpa/inet.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/net_interfaces.h"
#include "platform/utf8.h"
#include "support/log_capture.h"

namespace pf = corvane_com::zel::platform;
using pf::AddressFamily;

TEST(NetInterfaces, ListsUpNonLoopbackAddressesInIndexOrderThatParseBack) {
  pf::NetInterfaceList interfaces;
  ASSERT_TRUE(pf::getNetInterfacesList(interfaces));
  if (interfaces.empty()) GTEST_SKIP() << "this machine has no network interface that is up besides loopback";
  unsigned previous = 0;
  for (const pf::NetInterface& entry : interfaces) {
    const std::string name = pf::toUtf8(entry.getName());
    EXPECT_EQ(entry.getIndex(), ::if_nametoindex(name.c_str())) << name;
    EXPECT_GE(entry.getIndex(), previous);
    previous = entry.getIndex();
    EXPECT_NE(name, "lo");
    unsigned char bytes[16];
    const int family = entry.getFamily() == AddressFamily::IPv4 ? AF_INET : AF_INET6;
    EXPECT_EQ(::inet_pton(family, pf::toUtf8(entry.getIPAddress()).c_str(), bytes), 1) << name;
  }
  ::unsetenv(pf::kTestIpAddressVariable);
  const std::wstring picked = pf::pickLocalIpAddress(interfaces);
  EXPECT_EQ(pf::getIpAddress(), picked.empty() ? L"0.0.0.0" : picked);
}

TEST(NetInterfaces, PrefersIPv4ThenRoutableIPv6SkippingLoopbackAndLinkLocalUnlessTheTestVariableNamesOne) {
  const auto v4 = AddressFamily::IPv4, v6 = AddressFamily::IPv6;
  EXPECT_EQ(pf::pickLocalIpAddress(
                {{L"a", 2, v6, L"fd00::2"}, {L"b", 3, v4, L"127.0.0.2"}, {L"b", 3, v4, L"10.0.0.7"}}),
            L"10.0.0.7");
  EXPECT_EQ(pf::pickLocalIpAddress(
                {{L"a", 2, v6, L"fe80::1"}, {L"a", 2, v6, L"::1"}, {L"b", 3, v6, L"2001:db8::5"}}),
            L"2001:db8::5");
  EXPECT_EQ(pf::pickLocalIpAddress({{L"a", 2, v6, L"fe80::1"}, {L"b", 3, v4, L"127.0.0.1"}}), L"");
  EXPECT_EQ(pf::pickLocalIpAddress({}), L"");
  ::setenv(pf::kTestIpAddressVariable, "198.51.100.9", 1);
  EXPECT_EQ(pf::getIpAddress(), L"198.51.100.9");
  ::setenv(pf::kTestIpAddressVariable, "", 1);
  EXPECT_NE(pf::getIpAddress(), L"198.51.100.9") << "an empty value is no override";
  ::unsetenv(pf::kTestIpAddressVariable);
}

TEST(NetInterfaces, AMachineWithOnlyLoopbackReportsNoAddress) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // A fresh network namespace holds only "lo"; bring it up so that only the
    // loopback rule keeps it out.
    if (::unshare(CLONE_NEWNET) != 0) ::_exit(77);
    const int sock = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    if (sock < 0 || ::ioctl(sock, SIOCGIFFLAGS, &request) != 0) ::_exit(3);
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    if (::ioctl(sock, SIOCSIFFLAGS, &request) != 0) ::_exit(3);
    inetmgr_test::LogCapture log;
    pf::NetInterfaceList interfaces;
    if (!pf::getNetInterfacesList(interfaces) || !interfaces.empty()) ::_exit(4);
    if (pf::getIpAddress() != L"0.0.0.0" || log.count(L"get IP address failed") != 1) ::_exit(5);
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "creating a network namespace needs CAP_SYS_ADMIN";
  EXPECT_EQ(WEXITSTATUS(status), 0) << "3: lo not brought up, 4: list not empty, 5: no fallback";
}
