// What the libcurl transfer tests share: transfer objects set up as a site
// would, the error lines they log, and waiting for a server's log.
#ifndef INETMGR_TESTS_INTEGRATION_CURL_TRANSFER_SUPPORT_H
#define INETMGR_TESTS_INTEGRATION_CURL_TRANSFER_SUPPORT_H

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "inetmgr/xoinet.h"
#include "support/local_servers.h"
#include "support/log_capture.h"
#include "support/transfer_files.h"
#include "xoinet/network_transfer.h"
#include "xoinet/transfer_backends.h"

namespace inetmgr_test {

struct TransferOptionsForTest {
  xo::xoInetProtocol protocol = xo::xoInetProtocolHttp;
  std::wstring host;  // "name:port"
  std::wstring address;
  std::wstring relativePath;
  std::wstring user, password;
  bool ssl = false;
  long sslPort = 0;
  std::wstring caBundle;
  const xo::CProxyParams* proxy = nullptr;
};

// A network transfer with `o` set through SetOption, as a site sets it.
inline std::unique_ptr<xo::TransferItf> makeTransfer(const TransferOptionsForTest& o) {
  std::unique_ptr<xo::TransferItf> transfer(xo::createNetworkTransfer(o.protocol));
  if (!o.host.empty()) transfer->SetOption(xo::optHostName, o.host);
  if (!o.address.empty()) transfer->SetOption(xo::optHostAddress, o.address);
  if (!o.relativePath.empty()) transfer->SetOption(xo::optRelativePath, o.relativePath);
  if (!o.user.empty()) {
    transfer->SetOption(xo::optUserName, o.user);
    transfer->SetOption(xo::optPassword, o.password);
  }
  if (o.ssl) {
    transfer->SetOption(xo::optSslPort, o.sslPort);
    transfer->SetOption(xo::optCaBundlePath, o.caBundle);
    transfer->SetOption(xo::optUseSsl, true);
  }
  if (o.proxy != nullptr) transfer->SetOption(xo::optProxy, o.proxy);
  return transfer;
}

// The error lines logged under "xoinet".
inline std::vector<std::wstring> transferErrors(const LogCapture& log) {
  std::vector<std::wstring> lines;
  for (const LogRecord& record : log.records()) {
    if (record.tag == L"xoinet" && record.level == LogLevel::Error) lines.push_back(record.text);
  }
  return lines;
}

// Whether `predicate` holds within 3 s (servers write their logs after the answer).
template <class Predicate>
bool eventually(Predicate predicate) {
  for (int i = 0; i < 60 && !predicate(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  return predicate();
}

inline std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_INTEGRATION_CURL_TRANSFER_SUPPORT_H
