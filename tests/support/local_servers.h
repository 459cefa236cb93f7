// Real servers on loopback ports for the transfer tests: nginx (HTTP and HTTPS
// with certificates of a test CA made by the openssl CLI), vsftpd, tinyproxy,
// and a small HTTP endpoint of the tests' own that records what it is sent and
// answers as told (or stalls, or hangs up). Each server lives in a scratch
// directory and is stopped when its object goes, also when a test fails.
#ifndef INETMGR_TESTS_LOCAL_SERVERS_H
#define INETMGR_TESTS_LOCAL_SERVERS_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback_port.h"

namespace inetmgr_test {

inline std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeText(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// Exit status of `command` run by the shell (-1 when it did not exit).
inline int runQuietly(const std::string& command) {
  const int raw = std::system((command + " >/dev/null 2>&1").c_str());
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// A server program run in the foreground as a child; stopped with SIGTERM
// (SIGKILL after 5 s) when the object goes.
class ServerProcess {
 public:
  ServerProcess() = default;
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess() { stop(); }

  // Starts `argv` with its output in `log` and waits (at most 10 s) until
  // `port` takes connections; false, with the process stopped, otherwise.
  bool start(const std::vector<std::string>& argv, const std::filesystem::path& log, unsigned short port) {
    pid_ = ::fork();
    if (pid_ == 0) {
      ::setpgid(0, 0);
      std::FILE* out = std::freopen(log.c_str(), "a", stdout);
      if (out != nullptr) ::dup2(::fileno(stdout), 2);
      std::vector<char*> args;
      for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
      args.push_back(nullptr);
      ::execv(args[0], args.data());
      ::_exit(127);
    }
    for (int i = 0; i < 200; ++i) {
      if (acceptsConnections(port)) return true;
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    stop();
    return false;
  }

  void stop() {
    if (pid_ <= 0) return;
    ::kill(-pid_, SIGTERM);
    ::kill(pid_, SIGTERM);
    int status = 0;
    for (int i = 0; i < 100 && ::waitpid(pid_, &status, WNOHANG) == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (::waitpid(pid_, &status, WNOHANG) == 0) {
      ::kill(-pid_, SIGKILL);
      ::waitpid(pid_, &status, 0);
    }
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

// A test CA and a certificate it signed for localhost, repo.invalid (a name
// that resolves nowhere) and 127.0.0.1, plus a
// second CA that signed nothing the servers use.
struct TestCertificates {
  explicit TestCertificates(const std::filesystem::path& dir)
      : ca(dir / "ca.pem"), otherCa(dir / "other-ca.pem"), cert(dir / "server.pem"), key(dir / "server.key") {
    const std::string d = dir.string();
    const std::string ec = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
    writeText(dir / "san.cnf", "subjectAltName=DNS:localhost,DNS:repo.invalid,IP:127.0.0.1\n");
    made = runQuietly("openssl req -x509" + ec + " -keyout " + d + "/ca.key -out " + d +
                      "/ca.pem -days 2 -subj /CN=inetmgr-test-ca") == 0 &&
           runQuietly("openssl req -x509" + ec + " -keyout " + d + "/other.key -out " + d +
                      "/other-ca.pem -days 2 -subj /CN=inetmgr-other-ca") == 0 &&
           runQuietly("openssl req" + ec + " -keyout " + d + "/server.key -out " + d +
                      "/server.csr -subj /CN=localhost") == 0 &&
           runQuietly("openssl x509 -req -in " + d + "/server.csr -CA " + d + "/ca.pem -CAkey " + d +
                      "/ca.key -CAcreateserial -days 2 -extfile " + d + "/san.cnf -out " + d + "/server.pem") == 0;
    ::chmod(key.c_str(), 0644);
  }
  // The CA certificate's DER bytes in base64, as a site list carries it.
  std::string caBase64() const {
    std::string text = readText(ca);
    const std::size_t begin = text.find('\n') + 1;
    text = text.substr(begin, text.find("-----END") - begin);
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
  }

  std::filesystem::path ca, otherCa, cert, key;
  bool made = false;
};

// nginx serving `root()` over HTTP and HTTPS. /norange/ ignores Range
// requests, /private/ needs user "agent" password "s3cret", /status/N
// answers status N. The access log has one line per request:
// "METHOD URI range=RANGE status".
class Nginx {
 public:
  Nginx(const std::filesystem::path& dir, const TestCertificates& certificates) : dir_(dir) {
    if (::access("/usr/sbin/nginx", X_OK) != 0) {
      skip_ = "nginx is not installed (Debian package nginx-light)";
      return;
    }
    httpPort_ = freeLoopbackPort();
    httpsPort_ = freeLoopbackPort();
    std::filesystem::create_directories(root() / "norange");
    std::filesystem::create_directories(root() / "private");
    runQuietly("{ printf 'agent:%s\\n' \"$(openssl passwd -apr1 s3cret)\" > " + (dir / "htpasswd").string() + "; }");
    const std::string d = dir.string();
    std::string statuses;
    for (const int status : {410, 426, 500, 503, 506}) {
      statuses += "location = /status/" + std::to_string(status) + " { return " + std::to_string(status) + "; }\n";
    }
    writeText(dir / "nginx.conf",
              std::string(::geteuid() == 0 ? "user root;\n" : "") + "daemon off;\nworker_processes 1;\npid " + d +
                  "/nginx.pid;\nerror_log " + d + "/error.log;\nevents { worker_connections 64; }\nhttp {\n"
                  "log_format t '$request_method $request_uri range=$http_range $status';\naccess_log " + d +
                  "/access.log t;\ndefault_type application/octet-stream;\nsendfile on;\n"
                  "client_body_temp_path " + d + "/body;\nproxy_temp_path " + d + "/proxy;\n"
                  "server {\nlisten 127.0.0.1:" + std::to_string(httpPort_) + ";\nlisten 127.0.0.1:" +
                  std::to_string(httpsPort_) + " ssl;\nserver_name localhost;\nssl_certificate " +
                  certificates.cert.string() + ";\nssl_certificate_key " + certificates.key.string() +
                  ";\nroot " + root().string() + ";\nlocation /norange/ { max_ranges 0; }\n"
                  "location /private/ { auth_basic t; auth_basic_user_file " + d + "/htpasswd; }\n" + statuses +
                  "}\n}\n");
    if (!process_.start({"/usr/sbin/nginx", "-p", d, "-e", d + "/error.log", "-c", d + "/nginx.conf"},
                        dir / "nginx.out", httpPort_)) {
      skip_ = "nginx did not start: " + readText(dir / "error.log") + readText(dir / "nginx.out");
    }
  }

  const std::string& skipReason() const { return skip_; }
  std::filesystem::path root() const { return dir_ / "www"; }
  unsigned short httpPort() const { return httpPort_; }
  unsigned short httpsPort() const { return httpsPort_; }
  // The access log so far; nginx writes each line when its request ends.
  std::string accessLog() const { return readText(dir_ / "access.log"); }

 private:
  std::filesystem::path dir_;
  std::string skip_;
  unsigned short httpPort_ = 0, httpsPort_ = 0;
  ServerProcess process_;
};

// vsftpd with anonymous logon rooted at `root()`; `root()/pub` takes uploads,
// new directories and deletes. FTPS (explicit AUTH TLS) with the test
// certificate is offered, not required. Its log records every command.
class Vsftpd {
 public:
  Vsftpd(const std::filesystem::path& dir, const TestCertificates& certificates) : dir_(dir) {
    if (::access("/usr/sbin/vsftpd", X_OK) != 0) {
      skip_ = "vsftpd is not installed (Debian package vsftpd)";
      return;
    }
    if (::geteuid() != 0) {
      skip_ = "vsftpd needs root to change to its anonymous user";
      return;
    }
    port_ = freeLoopbackPort();
    std::filesystem::create_directories(root() / "pub");
    ::chmod(root().c_str(), 0755);
    ::chmod((root() / "pub").c_str(), 0777);
    std::filesystem::create_directories("/var/run/vsftpd/empty");
    writeText(dir / "vsftpd.conf",
              "listen=YES\nlisten_ipv6=NO\nlisten_address=127.0.0.1\nlisten_port=" + std::to_string(port_) +
                  "\nbackground=NO\nanonymous_enable=YES\nlocal_enable=YES\nwrite_enable=YES\n"
                  "anon_root=" + root().string() + "\nanon_upload_enable=YES\nanon_mkdir_write_enable=YES\n"
                  "anon_other_write_enable=YES\nanon_world_readable_only=NO\nanon_umask=022\nno_anon_password=YES\n"
                  "connect_from_port_20=NO\nseccomp_sandbox=NO\nxferlog_enable=YES\nlog_ftp_protocol=YES\n"
                  "vsftpd_log_file=" + (dir / "vsftpd.log").string() + "\ndual_log_enable=NO\n"
                  "ssl_enable=YES\nallow_anon_ssl=YES\nforce_anon_logins_ssl=NO\nforce_anon_data_ssl=NO\n"
                  "force_local_logins_ssl=NO\nforce_local_data_ssl=NO\nrequire_ssl_reuse=NO\n"
                  "rsa_cert_file=" + certificates.cert.string() + "\nrsa_private_key_file=" +
                  certificates.key.string() + "\npam_service_name=vsftpd\n");
    if (!process_.start({"/usr/sbin/vsftpd", (dir / "vsftpd.conf").string()}, dir / "vsftpd.out", port_)) {
      skip_ = "vsftpd did not start: " + readText(dir / "vsftpd.out");
    }
  }

  const std::string& skipReason() const { return skip_; }
  std::filesystem::path root() const { return dir_ / "ftp"; }
  unsigned short port() const { return port_; }
  std::string log() const { return readText(dir_ / "vsftpd.log"); }

 private:
  std::filesystem::path dir_;
  std::string skip_;
  unsigned short port_ = 0;
  ServerProcess process_;
};

// tinyproxy on 127.0.0.1; with `user` set it asks for basic authentication.
// Its log names every request it forwards.
class Tinyproxy {
 public:
  explicit Tinyproxy(const std::filesystem::path& dir, const std::string& user = "", const std::string& password = "")
      : dir_(dir) {
    if (::access("/usr/bin/tinyproxy", X_OK) != 0) {
      skip_ = "tinyproxy is not installed (Debian package tinyproxy)";
      return;
    }
    port_ = freeLoopbackPort();
    std::filesystem::create_directories(dir);
    writeText(dir / "tinyproxy.conf", "Port " + std::to_string(port_) + "\nListen 127.0.0.1\nTimeout 30\nLogFile \"" +
                                          (dir / "tinyproxy.log").string() + "\"\nLogLevel Info\nMaxClients 8\n"
                                          "Allow 127.0.0.1\nDisableViaHeader Yes\n" +
                                          (user.empty() ? "" : "BasicAuth " + user + " " + password + "\n"));
    if (!process_.start({"/usr/bin/tinyproxy", "-d", "-c", (dir / "tinyproxy.conf").string()},
                        dir / "tinyproxy.out", port_)) {
      skip_ = "tinyproxy did not start: " + readText(dir / "tinyproxy.out");
    }
  }

  const std::string& skipReason() const { return skip_; }
  unsigned short port() const { return port_; }
  std::string log() const { return readText(dir_ / "tinyproxy.log"); }

 private:
  std::filesystem::path dir_;
  std::string skip_;
  unsigned short port_ = 0;
  ServerProcess process_;
};

// A one-connection-at-a-time HTTP server on a thread: it records each
// request's line and body and answers with the status and body it was told,
// or misbehaves as told.
class TestHttpEndpoint {
 public:
  enum class Mode {
    answer,          // the status and body
    stall,           // a 200 with a long body of which only the start comes
    hangUpMidBody,   // that start, then the connection closes
    hangUpAtRequest  // closes once the request is read, answering nothing
  };
  struct Received {
    std::string line;  // "POST /path?query HTTP/1.1"
    std::string body;
  };

  TestHttpEndpoint() {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(fd_, 8);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
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
    status_ = status;
    body_ = body;
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

  void serve() {
    while (!stop_) {
      if (!waitReadable(fd_)) continue;
      const int client = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) continue;
      handle(client);
      ::close(client);
    }
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
    Mode mode;
    std::string answer;
    {
      std::lock_guard<std::mutex> guard(mutex_);
      received_.push_back({data.substr(0, data.find("\r\n")), data.substr(headerEnd + 4)});
      mode = mode_;
      answer = "HTTP/1.1 " + std::to_string(status_) + " Status\r\nContent-Length: " + std::to_string(body_.size()) +
               "\r\nConnection: close\r\n\r\n" + body_;
    }
    if (mode == Mode::hangUpAtRequest) return;
    if (mode != Mode::answer) {
      answer = "HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\nConnection: close\r\n\r\n" + std::string(4096, 'x');
    }
    ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    // A stall lasts until the client gives up (or 20 s pass).
    for (int i = 0; mode == Mode::stall && i < 4 && !stop_; ++i) {
      if (waitReadable(client) && ::recv(client, chunk, sizeof chunk, 0) <= 0) {
        ++stallsEndedByClient_;
        break;
      }
    }
  }

  int fd_ = -1;
  unsigned short port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> stallsEndedByClient_{0};
  std::thread thread_;
  mutable std::mutex mutex_;
  Mode mode_ = Mode::answer;
  int status_ = 200;
  std::string body_;
  std::vector<Received> received_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_LOCAL_SERVERS_H
