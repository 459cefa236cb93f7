// A network of namespaces of the test's own (tests/integration/icmp_netns.sh
// draws it) and what the ICMP tests and benchmarks do in it: enter one of its
// namespaces, answer echo requests after a delay, ask Debian's ping and traceroute.
#ifndef INETMGR_TESTS_TEST_NETWORK_H
#define INETMGR_TESTS_TEST_NETWORK_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include "icmp/icmp.h"

namespace inetmgr_test {

// Host `host` of subnet `subnet` as icmp_netns.sh numbers them.
inline std::string testAddress(bool v6, int subnet, int host) {
  return v6 ? "2001:2:0:" + std::to_string(subnet) + "::" + std::to_string(host)
            : "198.18." + std::to_string(subnet) + "." + std::to_string(host);
}

// What `command` writes, and its exit status in `*status`.
inline std::string shell(const std::string& command, int* status = nullptr) {
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  char chunk[512];
  for (std::size_t n; pipe != nullptr && (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) out.append(chunk, n);
  const int raw = pipe != nullptr ? ::pclose(pipe) : -1;
  if (status != nullptr) *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return out;
}

class TestNetwork {
 public:
  explicit TestNetwork(int routers) {
    if (::geteuid() != 0) {
      skip_ = "building network namespaces needs root (CAP_NET_ADMIN and CAP_NET_RAW)";
      return;
    }
    int status = -1;
    const std::string out = shell(script_ + " up " + prefix_ + " " + std::to_string(routers) + " 2>&1", &status);
    if (status == 77) skip_ = "network namespaces cannot be made here (ip netns add failed)";
    else if (status != 0) error_ = "icmp_netns.sh up failed (" + std::to_string(status) + "): " + out;
  }
  ~TestNetwork() { shell(script_ + " down " + prefix_); }
  TestNetwork(const TestNetwork&) = delete;
  TestNetwork& operator=(const TestNetwork&) = delete;

  const std::string& skipReason() const { return skip_; }
  const std::string& error() const { return error_; }
  std::string ns(const char* node) const { return prefix_ + "-" + node; }
  std::string run(const char* node, const std::string& command) const {
    return shell("ip netns exec " + ns(node) + " " + command + " 2>/dev/null");
  }
  // Debian's ping, its {minimum, average} round trip in milliseconds; and the
  // hop at which its traceroute shows `target` (-1: nowhere).
  std::pair<double, double> debianPingMs(const std::string& target, int count = 5) const {
    const std::string out = run("c", "ping -n -q -i 0.2 -W 2 -c " + std::to_string(count) + " " + target);
    std::pair<double, double> ms{-1, -1};
    if (out.find("= ") != std::string::npos) std::sscanf(out.c_str() + out.find("= "), "= %lf/%lf", &ms.first, &ms.second);
    return ms;
  }
  int debianHops(const std::string& target, const char* options = "-q 1") const {
    std::istringstream out(run("c", std::string("traceroute -n -I -w 2 ") + options + " " + target));
    int hop = -1, last = -1;
    for (std::string line; std::getline(out, line);)
      if (std::sscanf(line.c_str(), "%d", &hop) == 1 && line.find(" " + target + " ") != std::string::npos) last = hop;
    return last;
  }

 private:
  const std::string script_ = ICMP_NETNS_SCRIPT;
  const std::string prefix_ = "imt" + std::to_string(::getpid()) + "-n";  // the script sweeps dead pids' networks
  std::string skip_, error_;
};

// The calling thread inside network namespace `name` for the object's life.
class InNamespace {
 public:
  explicit InNamespace(const std::string& name) : home_(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
    const int target = ::open(("/run/netns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
    entered_ = target >= 0 && ::setns(target, CLONE_NEWNET) == 0;
    if (target >= 0) ::close(target);
  }
  ~InNamespace() {
    if (entered_) ::setns(home_, CLONE_NEWNET);
    ::close(home_);
  }
  InNamespace(const InNamespace&) = delete;
  InNamespace& operator=(const InNamespace&) = delete;
  bool entered() const { return entered_; }

 private:
  int home_;
  bool entered_ = false;
};

// Answers echo requests to `address` in namespace `ns` after `delayMs` over a
// raw socket of its own, leaving out every `dropEvery`-th request (0: none).
class DelayedEcho {
 public:
  DelayedEcho(const std::string& ns, const std::string& address, int delayMs, int dropEvery = 0)
      : v6_(address.find(':') != std::string::npos), delay_(delayMs), dropEvery_(dropEvery) {
    const InNamespace inside(ns);
    sockaddr_in6 local{};  // an IPv4 address fits in its front
    auto* local4 = reinterpret_cast<sockaddr_in*>(&local);
    local.sin6_family = v6_ ? AF_INET6 : AF_INET;
    ::inet_pton(local.sin6_family, address.c_str(), v6_ ? static_cast<void*>(&local.sin6_addr) : &local4->sin_addr);
    fd_ = ::socket(local.sin6_family, SOCK_RAW | SOCK_CLOEXEC, v6_ ? int{IPPROTO_ICMPV6} : int{IPPROTO_ICMP});
    if (inside.entered() && fd_ >= 0 && ::pipe(stop_) == 0 &&
        ::bind(fd_, reinterpret_cast<sockaddr*>(&local), v6_ ? sizeof local : sizeof *local4) == 0)
      thread_ = std::thread([this] { serve(); });
  }
  ~DelayedEcho() {
    if (thread_.joinable() && ::write(stop_[1], "x", 1) == 1) thread_.join();
    for (int fd : {fd_, stop_[0], stop_[1]})
      if (fd >= 0) ::close(fd);
  }
  DelayedEcho(const DelayedEcho&) = delete;
  DelayedEcho& operator=(const DelayedEcho&) = delete;
  bool ok() const { return thread_.joinable(); }

 private:
  void serve() {
    for (int requests = 0;;) {
      pollfd wait[2] = {{fd_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
      if (::poll(wait, 2, -1) < 0 || wait[1].revents != 0) return;
      char packet[1500];
      sockaddr_storage from{};
      socklen_t length = sizeof from;
      const int n = static_cast<int>(::recvfrom(fd_, packet, sizeof packet, 0, reinterpret_cast<sockaddr*>(&from), &length));
      const int at = v6_ ? 0 : (packet[0] & 15) * 4;  // an IPv4 raw socket delivers the IP header
      if (n < at + 8 || static_cast<unsigned char>(packet[at]) != (v6_ ? 128 : 8)) continue;
      if (dropEvery_ > 0 && ++requests % dropEvery_ == 0) continue;
      std::this_thread::sleep_for(std::chrono::milliseconds(delay_));
      char* reply = packet + at;
      reply[0] = static_cast<char>(v6_ ? 129 : 0);
      reply[2] = reply[3] = 0;
      const std::uint16_t sum = corvane_com::zel::inetmgr::ICMP::CalcCheckSum(reply, n - at);
      if (!v6_) std::memcpy(reply + 2, &sum, sizeof sum);  // the kernel fills in an ICMPv6 checksum
      ::sendto(fd_, reply, static_cast<std::size_t>(n - at), 0, reinterpret_cast<sockaddr*>(&from), length);
    }
  }

  bool v6_;
  int delay_, dropEvery_, fd_ = -1;
  int stop_[2] = {-1, -1};
  std::thread thread_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_TEST_NETWORK_H
