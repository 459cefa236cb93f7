// The sites' TCP reachability probe: connects to a site's server within a
// bounded wait and reports the local address of that connection.
#include "site/site_probes.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "inetmgr/sitelist_schema.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "site/site_impl.h"
#include "site/site_properties.h"
#include "site/xoinet_op.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"imsite";
using Clock = std::chrono::steady_clock;

int millisecondsLeft(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

std::wstring errnoText(int error) {
  return platform::fromUtf8(std::strerror(error));
}

struct AddrInfoDeleter {
  void operator()(addrinfo* list) const {
    if (list != nullptr) ::freeaddrinfo(list);
  }
};
using AddrInfoList = std::unique_ptr<addrinfo, AddrInfoDeleter>;

// One name lookup shared between the waiting caller and the thread that runs it.
struct Lookup {
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  int result = EAI_AGAIN;
  AddrInfoList addresses;
};

// A numeric address never waits. A name may wait on name servers for longer
// than a probe may take, so its lookup runs on a thread of its own that is
// left to finish alone when the caller's wait is over.
int resolve(const std::string& host, bool numericHost, Clock::time_point deadline, AddrInfoList& addresses) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = numericHost ? AI_NUMERICHOST : 0;
  if (numericHost) {
    addrinfo* list = nullptr;
    const int result = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
    addresses.reset(list);
    return result;
  }
  auto lookup = std::make_shared<Lookup>();
  try {
    std::thread([lookup, host, hints] {
      addrinfo* list = nullptr;
      const int result = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
      std::lock_guard<std::mutex> guard(lookup->mutex);
      lookup->addresses.reset(list);
      lookup->result = result;
      lookup->done = true;
      lookup->finished.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return EAI_SYSTEM;
  }
  std::unique_lock<std::mutex> guard(lookup->mutex);
  if (!lookup->finished.wait_until(guard, deadline, [&] { return lookup->done; })) return EAI_AGAIN;
  addresses = std::move(lookup->addresses);
  return lookup->result;
}

class Socket {
 public:
  explicit Socket(int fd) : fd_(fd) {}
  ~Socket() {
    if (fd_ >= 0) ::close(fd_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// Connects to one address before `deadline`; 0 with the local address, or the
// errno value of the failure (ETIMEDOUT when the wait ran out).
int connectTo(const addrinfo& address, unsigned short port, Clock::time_point deadline, std::wstring& local) {
  sockaddr_storage remote{};
  std::memcpy(&remote, address.ai_addr, address.ai_addrlen);
  if (address.ai_family == AF_INET) reinterpret_cast<sockaddr_in&>(remote).sin_port = htons(port);
  if (address.ai_family == AF_INET6) reinterpret_cast<sockaddr_in6&>(remote).sin6_port = htons(port);

  Socket connection(::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (connection.get() < 0) return errno;
  if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&remote), address.ai_addrlen) != 0) {
    if (errno != EINPROGRESS) return errno;
    pollfd writable{connection.get(), POLLOUT, 0};
    int ready;
    // Every retry waits only for what is left, so the loop ends by the deadline.
    while ((ready = ::poll(&writable, 1, millisecondsLeft(deadline))) < 0 && errno == EINTR) {
    }
    if (ready < 0) return errno;
    if (ready == 0) return ETIMEDOUT;
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(connection.get(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) return errno;
    if (error != 0) return error;
  }
  sockaddr_storage name{};
  socklen_t length = sizeof name;
  if (::getsockname(connection.get(), reinterpret_cast<sockaddr*>(&name), &length) != 0) return errno;
  char text[INET6_ADDRSTRLEN] = {};
  const void* raw = name.ss_family == AF_INET6
                        ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(name).sin6_addr)
                        : static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(name).sin_addr);
  if (::inet_ntop(name.ss_family, raw, text, sizeof text) == nullptr) return errno;
  local = platform::fromUtf8(text);
  return 0;
}

}  // namespace

bool tryConnect(const std::wstring& host, unsigned short port, std::wstring& localAddress, bool numericHost,
                int waitMilliseconds) {
  localAddress.clear();
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(waitMilliseconds);
  AddrInfoList addresses;
  const int lookup = resolve(platform::toUtf8(host), numericHost, deadline, addresses);
  if (lookup != 0) {
    platform::logDetail(kTag, L"Cannot resolve " + host + L": " + platform::fromUtf8(::gai_strerror(lookup)));
    return false;
  }
  int error = ETIMEDOUT;
  for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
    if (address->ai_family != AF_INET && address->ai_family != AF_INET6) continue;
    if (millisecondsLeft(deadline) == 0) break;
    error = connectTo(*address, port, deadline, localAddress);
    if (error == 0) return true;
  }
  localAddress.clear();
  platform::logDetail(kTag, L"Failed to connect to " + host + L" on port " + std::to_wstring(port) + L": " +
                                errnoText(error));
  return false;
}

void splitHostPort(const std::wstring& text, std::wstring& host, std::wstring& port) {
  host = text;
  port.clear();
  if (!text.empty() && text.front() == L'[') {
    const std::size_t close = text.find(L']');
    if (close == std::wstring::npos) return;
    host = text.substr(1, close - 1);
    if (close + 1 < text.size() && text[close + 1] == L':') port = text.substr(close + 2);
    return;
  }
  const std::size_t colon = text.rfind(L':');
  // A bare IPv6 address carries no port.
  if (colon == std::wstring::npos || text.find(L':') != colon) return;
  host = text.substr(0, colon);
  port = text.substr(colon + 1);
}

bool sitePort(const PropertyMap& properties, unsigned short& port) {
  namespace schema = xmlschema::sitelist;
  std::wstring text;
  if (p_getStringValue(schema::XO_XML_SSL_PORT, properties, text) == rcSuccess) return parsePort(text, port);
  std::wstring host;
  for (const wchar_t* name : {schema::XO_XML_SITE_SERVER_IP, schema::XO_XML_SITE_SERVER}) {
    std::wstring value;
    p_getStringValue(name, properties, value);
    splitHostPort(value, host, text);
    if (!text.empty()) return parsePort(text, port);
  }
  return p_getStringValue(schema::XO_XML_SERVER_PORT, properties, text) == rcSuccess && parsePort(text, port);
}

bool parsePort(const std::wstring& text, unsigned short& port) {
  if (text.empty() || text.size() > 5) return false;
  unsigned long value = 0;
  for (wchar_t c : text) {
    if (c < L'0' || c > L'9') return false;
    value = value * 10 + static_cast<unsigned long>(c - L'0');
  }
  if (value == 0 || value > 65535) return false;
  port = static_cast<unsigned short>(value);
  return true;
}

namespace siteimpl {

// The address probe in the operation frame: it reports status 0, its begin
// and its end like every operation, so callbacks see it and a stop or a
// shutdown ends it, but in place of a transfer session it opens a TCP
// connection of its own: to the transfer object's host address (or the site's
// address when the transfer object has none), then the server name, then the
// computer name, until one connects.
class XoInetOpGetIPAddress : public XoInetOp {
 public:
  explicit XoInetOpGetIPAddress(ImSiteImpl& site) : XoInetOp(site) {
    unsigned short port = 0;
    validPort_ = sitePort(site.getProperties(), port);
    port_ = port;
    std::wstring unused;
    std::wstring host;
    const std::wstring transferHost = spTransfer_ ? spTransfer_->GetHostIP() : std::wstring();
    splitHostPort(transferHost.empty() ? site.getSiteIp() : transferHost, host, unused);
    hosts_.push_back({host, true});
    splitHostPort(site.getServerName(), host, unused);
    hosts_.push_back({host, false});
    splitHostPort(site.getServerNetBios(), host, unused);
    hosts_.push_back({host, false});
  }

  int doOperation() override {
    checkForAbort(callProgressCallback(xoInet::statusStarting));
    checkForAbort(callProgressCallback(getBeginCode()));
    XoInetCallback callback(*progress_);
    xoInet::xoInetError code = xoInet::rcNoError;
    const bool connected = !opDetails(callback, code);
    const StatusAction atEnd = callProgressCallback(getEndCode());
    // As in every operation, a stop does not replace a failure.
    if (connected) checkForAbort(atEnd);
    return connected ? 0 : 1;
  }

  const std::wstring& localAddress() const { return localAddress_; }

 protected:
  bool opDetails(XoInetCallback&, xoInet::xoInetError& code) override {
    code = xoInet::rcNoError;
    return !doConnect();
  }

 private:
  bool doConnect() {
    if (!validPort_) {
      platform::logDetail(kTag, L"Site " + siteName_ + L" names no usable port");
      return false;
    }
    for (std::size_t i = 0; i < hosts_.size(); ++i) {
      const auto& [host, numeric] = hosts_[i];
      // A host named twice would only cost a second wait.
      if (host.empty() || isNamedBefore(i)) continue;
      platform::logDetail(kTag, L"Connecting to site: " + host + L" on port: " + std::to_wstring(port_));
      if (tryConnect(host, static_cast<unsigned short>(port_), localAddress_, numeric)) return true;
      platform::logDetail(kTag, L"Did not connect to Real site: " + host);
    }
    return false;
  }

  bool isNamedBefore(std::size_t index) const {
    for (std::size_t i = 0; i < index; ++i) {
      if (hosts_[i].first == hosts_[index].first) return true;
    }
    return false;
  }

  bool validPort_ = false;
  std::vector<std::pair<std::wstring, bool>> hosts_;  // host text, numeric
  std::wstring localAddress_;
};

}  // namespace siteimpl

ResultCode ImSiteImpl::getLocalIPAddressFromSocket() {
  std::wstring address;
  return probeLocalAddress(address);
}

ResultCode ImSiteImpl::probeLocalAddress(std::wstring& address) {
  platform::ADetailTrace trace(kTag, L"ImSiteImpl::getLocalIPAddressFromSocket() " + siteName_);
  address.clear();
  lastXoInetError_ = xoInet::rcNoError;
  try {
    siteimpl::XoInetOpGetIPAddress probe(*this);
    if (!probe.isReady()) return rcSuccess;
    if (probe.doOperation() != 0) return rcNotFound;
    address = probe.localAddress();
    return rcSuccess;
  } catch (SiteImplExcept& e) {
    return doSiteExceptCatch(e, lastXoInetError_);
  } catch (const std::exception& e) {
    platform::logError(kTag,
                       std::wstring(getErrorText(rcUnexpected, false)) + L" " + platform::fromUtf8(e.what()));
    return rcUnexpected;
  }
}

}  // namespace corvane_com::zel::inetmgr
