// What the transfer tests of the public API share: the agent's site list
// written into a fresh data directory, and TCP endpoints on the loopback
// addresses (one that listens, one that refuses).
#ifndef INETMGR_TESTS_API_API_FIXTURE_H
#define INETMGR_TESTS_API_API_FIXTURE_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <inetmgr/inetmgr.h>

#include "support/temp_dir.h"

namespace inetmgr_test {

namespace im = corvane_com::zel::inetmgr;

// The agent's own site list at <data directory>/etc/SiteList.xml, read afresh
// by the next site list or connection.
class AgentSiteList : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("INETMGR_TEST_IP_ADDRESS", "10.2.3.4", 1);
    std::filesystem::create_directories(data_.path() / "etc");
    path_ = data_.file("etc/SiteList.xml");
    im::test::ReplaceSiteListSource(path_.c_str());
    im::test::ResetInitFlag();
    testResetSiteList();
  }
  void TearDown() override { ::unsetenv("INETMGR_TEST_IP_ADDRESS"); }

  // Unless `versions` gives the attributes, every document gets versions of
  // its own, so the store always takes it.
  void writeSites(const std::string& sites, std::string versions = "") {
    static int version = 0;
    const std::string v = std::to_string(++version);
    if (versions.empty()) versions = "GlobalVersion=\"" + v + "\" LocalVersion=\"" + v + "\"";
    std::ofstream(path_) << "<SiteLists " << versions << "><SiteList>" << sites << "</SiteList></SiteLists>";
  }

  ScopedDataDir data_;
  std::string path_;
};

// A TCP socket bound to `port` (0: a free one) of `address` ("127.0.0.1" or
// "::1"); it listens unless `listening` is false, in which case connections
// to it are refused.
class Endpoint {
 public:
  explicit Endpoint(const std::string& address, bool listening = true, unsigned short port = 0) {
    const bool v6 = address.find(':') != std::string::npos;
    sockaddr_in6 in6{};
    sockaddr_in in4{};
    in6.sin6_family = AF_INET6;
    in4.sin_family = AF_INET;
    in6.sin6_port = in4.sin_port = htons(port);
    auto* generic = v6 ? reinterpret_cast<sockaddr*>(&in6) : reinterpret_cast<sockaddr*>(&in4);
    socklen_t length = v6 ? sizeof in6 : sizeof in4;
    fd_ = ::socket(generic->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0 ||
        ::inet_pton(generic->sa_family, address.c_str(),
                    v6 ? static_cast<void*>(&in6.sin6_addr) : &in4.sin_addr) != 1 ||
        ::bind(fd_, generic, length) != 0 || (listening && ::listen(fd_, 8) != 0) ||
        ::getsockname(fd_, generic, &length) != 0) {
      ADD_FAILURE() << "cannot open a TCP socket on " << address << ": " << std::strerror(errno);
      return;
    }
    port_ = ntohs(v6 ? in6.sin6_port : in4.sin_port);
    text_ = (v6 ? "[" + address + "]" : address) + ":" + std::to_string(port_);
  }
  ~Endpoint() {
    if (fd_ >= 0) ::close(fd_);
  }
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  // "127.0.0.1:PORT" or "[::1]:PORT", as a site list writes an address.
  const std::string& text() const { return text_; }
  unsigned short port() const { return port_; }
  // Whether a connection has come in since the last call (it is taken and closed).
  bool wasConnected() {
    pollfd incoming{fd_, POLLIN, 0};
    if (::poll(&incoming, 1, 0) != 1) return false;
    const int accepted = ::accept(fd_, nullptr, nullptr);
    if (accepted >= 0) ::close(accepted);
    return accepted >= 0;
  }

 private:
  int fd_ = -1;
  unsigned short port_ = 0;
  std::string text_;
};

// An spipe site whose server address is `address`, with `attributes` (an
// order, enabled or not). It has no server or computer name unless
// `attributes` gives one: a name would be looked up, and these tests reach
// nothing but the loopback addresses.
inline std::string spipeSite(const std::string& name, const std::string& address,
                             const std::string& attributes = "Enabled=\"1\"") {
  return "<SpipeSite Type=\"master\" Name=\"" + name + "\" ServerIP=\"" + address + "\" " + attributes +
         "><RelativePath>Software</RelativePath></SpipeSite>";
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_API_API_FIXTURE_H
