// A real Samba server for the tests: Debian's smbd on a free loopback port,
// with a private configuration, state and one share under the test's scratch
// directory, and one user ("root", the only account a test may rely on)
// with a password of the test's choosing. Needs root and the samba package;
// otherwise it says why the test is skipped.
#ifndef INETMGR_TESTS_SMB_SERVER_H
#define INETMGR_TESTS_SMB_SERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/loopback_port.h"
#include "support/temp_dir.h"

namespace inetmgr_test {

class SmbServer {
 public:
  static constexpr const char* kUser = "root";
  static constexpr const char* kPassword = "Sm6-pa\xc3\x9f";

  SmbServer() {
    if (::geteuid() != 0) {
      skip_ = "smbd must run as root to serve a share";
      return;
    }
    smbd_ = program("smbd");
    smbpasswd_ = program("smbpasswd");
    if (smbd_.empty() || smbpasswd_.empty()) {
      skip_ = "smbd or smbpasswd is not installed (Debian package samba)";
      return;
    }
    for (int attempt = 0; attempt < 3 && pid_ <= 0; ++attempt) start();
  }
  ~SmbServer() { stop(); }
  SmbServer(const SmbServer&) = delete;
  SmbServer& operator=(const SmbServer&) = delete;

  const std::string& skipReason() const { return skip_; }
  const std::string& error() const { return error_; }
  unsigned short port() const { return port_; }
  // "127.0.0.1:PORT", as a site list names the server.
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  // The directory the share "share" serves.
  std::filesystem::path share() const { return dir_.path() / "share"; }

  // Stops the server and every process it started.
  void stop() {
    if (pid_ <= 0) return;
    ::kill(-pid_, SIGTERM);
    ::kill(pid_, SIGTERM);
    for (int i = 0; i < 50 && ::waitpid(pid_, nullptr, WNOHANG) == 0; ++i) sleepMs(100);
    ::kill(-pid_, SIGKILL);
    ::waitpid(pid_, nullptr, WNOHANG);
    pid_ = -1;
  }
  // Freezes (true) or thaws the server's processes.
  void freeze(bool frozen) const {
    if (pid_ > 0) ::kill(-pid_, frozen ? SIGSTOP : SIGCONT);
  }

 private:
  static std::string program(const char* name) {
    for (const char* dir : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
      const std::string path = std::string(dir) + name;
      if (::access(path.c_str(), X_OK) == 0) return path;
    }
    return "";
  }
  static void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

  void start() {
    port_ = freeLoopbackPort();
    const std::filesystem::path root = dir_.path();
    for (const char* sub : {"private", "lock", "state", "cache", "pid", "ncalrpc", "share"}) {
      std::filesystem::create_directories(root / sub);
    }
    const std::string conf = (root / "smb.conf").string();
    std::ofstream(conf) << "[global]\n"
                        << "smb ports = " << port_ << "\n"
                        << "interfaces = 127.0.0.1\nbind interfaces only = yes\n"
                        << "private dir = " << (root / "private").string() << "\n"
                        << "lock directory = " << (root / "lock").string() << "\n"
                        << "state directory = " << (root / "state").string() << "\n"
                        << "cache directory = " << (root / "cache").string() << "\n"
                        << "pid directory = " << (root / "pid").string() << "\n"
                        << "ncalrpc dir = " << (root / "ncalrpc").string() << "\n"
                        << "log file = " << (root / "smbd.log").string() << "\n"
                        << "passdb backend = tdbsam:" << (root / "private/passdb.tdb").string() << "\n"
                        << "server role = standalone server\ndisable netbios = yes\nmap to guest = never\n"
                        << "load printers = no\nprintcap name = /dev/null\ndisable spoolss = yes\n"
                        << "server min protocol = SMB2_02\n"
                        << "[share]\npath = " << share().string() << "\nread only = no\n";
    const std::string add = "printf '%s\\n%s\\n' '" + std::string(kPassword) + "' '" + kPassword + "' | " +
                            smbpasswd_ + " -c " + conf + " -a -s " + kUser + " >/dev/null 2>&1";
    if (std::system(add.c_str()) != 0) {
      error_ = "smbpasswd could not add the test user";
      return;
    }
    const std::string log = (root / "smbd.out").string();
    pid_ = ::fork();
    if (pid_ == 0) {
      ::setpgid(0, 0);  // its own group, so stop() reaches every process it forks
      ::prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (std::freopen(log.c_str(), "w", stdout) == nullptr || std::freopen(log.c_str(), "a", stderr) == nullptr) {
        ::_exit(126);
      }
      ::execl(smbd_.c_str(), "smbd", "--foreground", "--no-process-group", "-s", conf.c_str(),
              static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::setpgid(pid_, pid_);
    for (int i = 0; i < 100; ++i) {  // up to 10 s
      if (::waitpid(pid_, nullptr, WNOHANG) != 0) break;
      if (acceptsConnections(port_)) {
        error_.clear();
        return;
      }
      sleepMs(100);
    }
    error_ = "smbd did not listen on port " + std::to_string(port_) + " (see " + log + ")";
    stop();
  }

  TempDir dir_;
  std::string smbd_, smbpasswd_, skip_, error_;
  pid_t pid_ = -1;
  unsigned short port_ = 0;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_SMB_SERVER_H
