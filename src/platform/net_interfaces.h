// The machine's network interfaces and their addresses, and the one local
// address the site store files its list under.
#ifndef INETMGR_PLATFORM_NET_INTERFACES_H
#define INETMGR_PLATFORM_NET_INTERFACES_H

#include <string>
#include <utility>
#include <vector>

namespace corvane_com::zel::platform {

enum class AddressFamily : unsigned char { IPv4, IPv6 };

// One address of one interface; an interface with several addresses gives
// several entries.
class NetInterface {
 public:
  NetInterface(std::wstring name, unsigned index, AddressFamily family, std::wstring address)
      : name_(std::move(name)), index_(index), family_(family), address_(std::move(address)) {}

  const std::wstring& getName() const { return name_; }
  // The kernel's interface index, as if_nametoindex gives it.
  unsigned getIndex() const { return index_; }
  AddressFamily getFamily() const { return family_; }
  // Numeric text ("192.0.2.2", "fe80::1"), without a scope suffix.
  const std::wstring& getIPAddress() const { return address_; }

 private:
  std::wstring name_;
  unsigned index_;
  AddressFamily family_;
  std::wstring address_;
};

using NetInterfaceList = std::vector<NetInterface>;

// Fills `interfaces` with the IPv4 and IPv6 addresses of the interfaces that
// are up and are not loopback interfaces, ordered by interface index and, within
// one interface, as the kernel lists them. False, with an error log line and an
// empty list, when the interfaces cannot be read. Thread-safe.
bool getNetInterfacesList(NetInterfaceList& interfaces);

// The address to call this machine's own from `interfaces`: the first IPv4
// address outside 127.0.0.0/8, else the first IPv6 one that is neither loopback
// nor link-local; empty when there is none.
std::wstring pickLocalIpAddress(const NetInterfaceList& interfaces);

// Test hook: when this environment variable is set and not empty,
// getIpAddress() returns its value instead of looking at the interfaces, so
// that tests can make the machine's address change.
inline constexpr char kTestIpAddressVariable[] = "INETMGR_TEST_IP_ADDRESS";

// The local IP address as pickLocalIpAddress() chooses it from the current
// interfaces, or "0.0.0.0" with the detail log line "get IP address failed"
// when there is none. Thread-safe.
std::wstring getIpAddress();

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_NET_INTERFACES_H
