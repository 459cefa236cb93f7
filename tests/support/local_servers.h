// Real servers on loopback ports for the transfer tests: nginx (HTTP and HTTPS
// with certificates of a test CA made by the openssl CLI), vsftpd, tinyproxy,
// smbd, and a small HTTP endpoint of the tests' own that records what it is
// sent and answers as told (or stalls, or hangs up). Each server lives in a
// scratch directory and is stopped when its object goes, also when a test fails.
#ifndef INETMGR_TESTS_LOCAL_SERVERS_H
#define INETMGR_TESTS_LOCAL_SERVERS_H

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/loopback_port.h"
#include "support/temp_dir.h"
#include "support/transfer_files.h"

namespace inetmgr_test {

// Exit status of `command` run by the shell (-1 when it did not exit).
inline int runQuietly(const std::string& command) {
  const int raw = std::system((command + " >/dev/null 2>&1").c_str());
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// A server program run in the foreground, in its own process group, from a
// scratch directory. skipReason() says why it cannot run here; error() why it
// did not start. Stopped with SIGTERM (SIGKILL after 5 s) when the object goes.
class LocalServer {
 public:
  LocalServer(const LocalServer&) = delete;
  LocalServer& operator=(const LocalServer&) = delete;
  ~LocalServer() { stop(); }

  const std::string& skipReason() const { return skip_; }
  const std::string& error() const { return error_; }
  unsigned short port() const { return port_; }
  std::filesystem::path dir() const { return scratch_.path(); }
  // Freezes (true) or thaws every process of the server.
  void freeze(bool frozen) const {
    if (pid_ > 0) ::kill(-pid_, frozen ? SIGSTOP : SIGCONT);
  }
  void stop() {
    if (pid_ <= 0) return;
    ::kill(-pid_, SIGTERM);
    for (int i = 0; i < 100 && ::waitpid(pid_, nullptr, WNOHANG) == 0; ++i) sleepMs(50);
    ::kill(-pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 protected:
  // Sets the skip reason unless `program` is installed (and we are root, when `root`).
  LocalServer(const char* program, const char* package, bool root = false) {
    if (::access(program, X_OK) != 0) skip_ = std::string(program) + " is missing (Debian package " + package + ")";
    if (root && ::geteuid() != 0) skip_ = std::string(program) + " needs root";
  }
  // Takes a free port, lets `configure` write the configuration for it (it
  // answers an error text or ""), starts `argv` and waits (at most 10 s) for
  // the port; three tries, as another process may take the port first.
  void launch(const std::vector<std::string>& argv, const std::function<std::string()>& configure) {
    for (int attempt = 0; attempt < 3 && skip_.empty(); ++attempt) {
      port_ = freeLoopbackPort();
      if ((error_ = configure()).empty() && (error_ = start(argv)).empty()) return;
    }
  }
  static void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
  // Writes tests/data/servers/`name` into the scratch directory with each
  // "@KEY@" replaced by its value; @DIR@ and @PORT@ are always filled.
  void writeConfig(const std::string& name, std::vector<std::pair<std::string, std::string>> values) const {
    std::string text = readFile(INETMGR_SOURCE_DIR "/tests/data/servers/" + name);
    values.insert(values.end(), {{"DIR", dir().string()}, {"PORT", std::to_string(port_)}});
    for (const auto& [key, value] : values) {
      for (std::size_t at = 0; (at = text.find('@' + key + '@', at)) != std::string::npos; at += value.size())
        text.replace(at, key.size() + 2, value);
    }
    writeFile(dir() / name, text);
  }

  TempDir scratch_;
  std::string skip_, error_;
  unsigned short port_ = 0;

 private:
  std::string start(const std::vector<std::string>& argv) {
    const std::string log = (dir() / "server.out").string();
    pid_ = ::fork();
    if (pid_ == 0) {
      ::setpgid(0, 0);
      ::prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (std::freopen(log.c_str(), "a", stdout) != nullptr) ::dup2(::fileno(stdout), 2);
      std::vector<char*> args;
      for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
      args.push_back(nullptr);
      ::execv(args[0], args.data());
      ::_exit(127);
    }
    ::setpgid(pid_, pid_);
    for (int i = 0; i < 200 && ::waitpid(pid_, nullptr, WNOHANG) == 0; ++i) {
      if (acceptsConnections(port_)) return "";
      sleepMs(50);
    }
    stop();
    return argv[0] + " did not listen on port " + std::to_string(port_) + ": " + readFile(log);
  }

  pid_t pid_ = -1;
};

// A test CA and a certificate it signed for localhost, repo.invalid (a name
// that resolves nowhere) and 127.0.0.1, plus a second CA that signed nothing.
struct TestCertificates {
  TestCertificates() : ca(dir.path() / "ca.pem"), otherCa(dir.path() / "other-ca.pem"),
                       cert(dir.path() / "server.pem"), key(dir.path() / "server.key") {
    const std::string d = "cd " + dir.path().string() + " && openssl ";
    const std::string ec = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ";
    writeFile(dir.path() / "san.cnf", "subjectAltName=DNS:localhost,DNS:repo.invalid,IP:127.0.0.1\n");
    made = runQuietly(d + "req -x509" + ec + "ca.key -out ca.pem -days 2 -subj /CN=inetmgr-test-ca") == 0 &&
           runQuietly(d + "req -x509" + ec + "other.key -out other-ca.pem -days 2 -subj /CN=inetmgr-other") == 0 &&
           runQuietly(d + "req" + ec + "server.key -out server.csr -subj /CN=localhost") == 0 &&
           runQuietly(d + "x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 "
                          "-extfile san.cnf -out server.pem") == 0;
    ::chmod(key.c_str(), 0644);
  }
  // The CA certificate's DER bytes in base64, as a site list carries it.
  std::string caBase64() const {
    std::string text = readFile(ca);
    const std::size_t begin = text.find('\n') + 1;
    text = text.substr(begin, text.find("-----END") - begin);
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
  }

  TempDir dir;
  std::filesystem::path ca, otherCa, cert, key;
  bool made = false;
};

// nginx serving `root()` over HTTP and HTTPS. /norange/ ignores Range
// requests, /private/ needs user "agent" password "s3cret", /status/N
// answers status N. The access log has one line per request:
// "METHOD URI range=RANGE status".
class Nginx : public LocalServer {
 public:
  explicit Nginx(const TestCertificates& certificates) : LocalServer("/usr/sbin/nginx", "nginx-light") {
    const std::string d = dir().string();
    std::filesystem::create_directories(root() / "norange");
    runQuietly("{ printf 'agent:%s\\n' \"$(openssl passwd -apr1 s3cret)\" > " + d + "/htpasswd; }");
    launch({"/usr/sbin/nginx", "-p", d, "-e", "stderr", "-c", d + "/nginx.conf"}, [&] {
      httpsPort_ = freeLoopbackPort();
      writeConfig("nginx.conf", {{"USER", ::geteuid() == 0 ? "user root;\n" : ""},
                                 {"HTTPS_PORT", std::to_string(httpsPort_)},
                                 {"CERT", certificates.cert.string()},
                                 {"KEY", certificates.key.string()}});
      return "";
    });
  }

  std::filesystem::path root() const { return dir() / "www"; }
  unsigned short httpPort() const { return port_; }
  unsigned short httpsPort() const { return httpsPort_; }
  // The access log so far; nginx writes each line when its request ends.
  std::string accessLog() const { return readFile(dir() / "access.log"); }

 private:
  unsigned short httpsPort_ = 0;
};

// vsftpd with anonymous logon rooted at `root()`; `root()/pub` takes uploads,
// new directories and deletes. FTPS (explicit AUTH TLS) with the test
// certificate is offered, not required. Its log records every command.
class Vsftpd : public LocalServer {
 public:
  explicit Vsftpd(const TestCertificates& certificates) : LocalServer("/usr/sbin/vsftpd", "vsftpd", true) {
    std::filesystem::create_directories(root() / "pub");
    ::chmod(root().c_str(), 0755);
    ::chmod((root() / "pub").c_str(), 0777);
    launch({"/usr/sbin/vsftpd", (dir() / "vsftpd.conf").string()}, [&] {
      std::filesystem::create_directories("/var/run/vsftpd/empty");
      writeConfig("vsftpd.conf", {{"CERT", certificates.cert.string()}, {"KEY", certificates.key.string()}});
      return "";
    });
  }

  std::filesystem::path root() const { return dir() / "ftp"; }
  std::string log() const { return readFile(dir() / "vsftpd.log"); }
};

// tinyproxy on 127.0.0.1; with `user` set it asks for basic authentication.
// Its log names every request it forwards.
class Tinyproxy : public LocalServer {
 public:
  explicit Tinyproxy(const std::string& user = "", const std::string& password = "")
      : LocalServer("/usr/bin/tinyproxy", "tinyproxy") {
    launch({"/usr/bin/tinyproxy", "-d", "-c", (dir() / "tinyproxy.conf").string()}, [&] {
      writeConfig("tinyproxy.conf", {{"AUTH", user.empty() ? "" : "BasicAuth " + user + " " + password}});
      return "";
    });
  }

  std::string log() const { return readFile(dir() / "tinyproxy.log"); }
};

// smbd with a private configuration and state, one share "share" and one user
// ("root", the only account a test may rely on) with the password kPassword.
class SmbServer : public LocalServer {
 public:
  static constexpr const char* kPassword = "Sm6-pa\xc3\x9f";

  SmbServer() : LocalServer("/usr/sbin/smbd", "samba", true) {
    const std::string conf = (dir() / "smb.conf").string();
    for (const char* sub : {"private", "ncalrpc", "lock", "state", "cache", "pid", "share"})
      std::filesystem::create_directories(dir() / sub);
    launch({"/usr/sbin/smbd", "--foreground", "--no-process-group", "-s", conf}, [&] {
      writeConfig("smb.conf", {});
      const bool added = runQuietly("printf '%s\\n%s\\n' '" + std::string(kPassword) + "' '" + kPassword +
                                    "' | smbpasswd -c " + conf + " -a -s root") == 0;
      return added ? "" : "smbpasswd could not add the test user";
    });
  }

  // "127.0.0.1:PORT", as a site list names the server.
  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  std::filesystem::path share() const { return dir() / "share"; }
};

// A one-connection-at-a-time HTTP server on a thread: it records each
// request's line ("POST /path?query HTTP/1.1") and body and answers with the
// status and body it was told (answer), or misbehaves as told: a 200 with a
// long body of which only the start comes (stall), that start and then the
// connection closes (hangUpMidBody), or it closes once the request is read,
// answering nothing (hangUpAtRequest).
class TestHttpEndpoint {
 public:
  enum class Mode { answer, stall, hangUpMidBody, hangUpAtRequest };
  struct Received {
    std::string line, body;
  };

  TestHttpEndpoint() : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(fd_, 8);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] {
      while (!stop_) {
        const int client = waitReadable(fd_) ? ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC) : -1;
        if (client < 0) continue;
        handle(client);
        ::close(client);
      }
    });
  }
  ~TestHttpEndpoint() {
    stop_ = true;
    thread_.join();
    ::close(fd_);
  }
  TestHttpEndpoint(const TestHttpEndpoint&) = delete;
  TestHttpEndpoint& operator=(const TestHttpEndpoint&) = delete;

  void reply(Mode mode, int status = 200, const std::string& body = "") {
    std::lock_guard<std::mutex> guard(mutex_);
    mode_ = mode;
    answer_ = "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: " + std::to_string(body.size()) +
              "\r\nConnection: close\r\n\r\n" + body;
  }
  std::vector<Received> received() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return received_;
  }
  unsigned short port() const { return port_; }
  // How many stalls the client ended by hanging up.
  int stallsEndedByClient() const { return stallsEndedByClient_; }

 private:
  bool waitReadable(int fd) {
    for (int i = 0; i < 100 && !stop_; ++i) {
      pollfd ready{fd, POLLIN, 0};
      if (::poll(&ready, 1, 50) == 1) return true;
    }
    return false;
  }

  void handle(int client) {
    std::string data;
    char chunk[65536];
    std::size_t headerEnd = std::string::npos;
    std::size_t wanted = 0;
    while (waitReadable(client)) {
      const ssize_t got = ::recv(client, chunk, sizeof chunk, 0);
      if (got <= 0) return;
      data.append(chunk, static_cast<std::size_t>(got));
      if (headerEnd == std::string::npos && (headerEnd = data.find("\r\n\r\n")) != std::string::npos) {
        const std::size_t at = data.find("Content-Length:");
        if (at != std::string::npos && at < headerEnd) wanted = std::stoul(data.substr(at + 15));
      }
      if (headerEnd != std::string::npos && data.size() >= headerEnd + 4 + wanted) break;
    }
    if (headerEnd == std::string::npos) return;
    std::unique_lock<std::mutex> guard(mutex_);
    received_.push_back({data.substr(0, data.find("\r\n")), data.substr(headerEnd + 4)});
    const Mode mode = mode_;
    std::string answer = mode == Mode::answer ? answer_
        : "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\nConnection: close\r\n\r\n" + std::string(4096, 'x');
    guard.unlock();
    if (mode == Mode::hangUpAtRequest) return;
    ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    // A stall lasts until the client gives up (or 20 s pass).
    for (int i = 0; mode == Mode::stall && i < 4 && !stop_; ++i) {
      if (waitReadable(client) && ::recv(client, chunk, sizeof chunk, 0) <= 0) {
        ++stallsEndedByClient_;
        break;
      }
    }
  }

  const int fd_;
  unsigned short port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> stallsEndedByClient_{0};
  std::thread thread_;
  mutable std::mutex mutex_;
  Mode mode_ = Mode::answer;
  std::string answer_ = "HTTP/1.1 200 Status\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  std::vector<Received> received_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_LOCAL_SERVERS_H
