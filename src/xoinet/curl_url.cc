// The URL building of the libcurl transfers.
#include "xoinet/curl_url.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstring>

#include "platform/utf8.h"

namespace corvane_com::zel::xoInet {

HostPort splitHostPort(const std::wstring& text) {
  HostPort result;
  const std::string narrow = platform::toUtf8(text);
  std::string portText;
  if (!narrow.empty() && narrow.front() == '[') {
    const std::size_t close = narrow.find(']');
    result.host = narrow.substr(1, close == std::string::npos ? std::string::npos : close - 1);
    if (close != std::string::npos && close + 1 < narrow.size() && narrow[close + 1] == ':') {
      portText = narrow.substr(close + 2);
    }
  } else {
    const std::size_t colon = narrow.find(':');
    const bool onePort = colon != std::string::npos && narrow.find(':', colon + 1) == std::string::npos;
    result.host = onePort ? narrow.substr(0, colon) : narrow;
    if (onePort) portText = narrow.substr(colon + 1);
  }
  if (!portText.empty() && portText.size() <= 5 && portText.find_first_not_of("0123456789") == std::string::npos) {
    const long port = std::stol(portText);
    if (port > 0 && port <= 65535) result.port = port;
  }
  return result;
}

bool isNumericAddress(const std::string& host) {
  unsigned char buffer[sizeof(in6_addr)];
  return ::inet_pton(AF_INET, host.c_str(), buffer) == 1 || ::inet_pton(AF_INET6, host.c_str(), buffer) == 1;
}

std::string bracketed(const std::string& host) {
  return host.find(':') != std::string::npos ? "[" + host + "]" : host;
}

std::string encodeUrlPath(const std::string& path, bool keepQuery) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  bool inQuery = false;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (keepQuery && c == '?') inQuery = true;
    const bool plain = std::isalnum(byte) != 0 || std::strchr("/-._~!$&'()*+,;=:@", c) != nullptr ||
                       (inQuery && byte > 0x20 && byte < 0x7f && c != '#');
    if (plain) {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
  return out;
}

std::string underRoot(const std::wstring& root, const std::wstring& path) {
  std::string joined = platform::toUtf8(root);
  std::string tail = platform::toUtf8(path);
  for (std::string* part : {&joined, &tail}) {
    for (char& c : *part) {
      if (c == '\\') c = '/';
    }
    part->erase(0, part->find_first_not_of('/'));
  }
  while (!joined.empty() && joined.back() == '/') joined.pop_back();
  if (joined.empty()) return tail;
  return tail.empty() ? joined + "/" : joined + "/" + tail;
}

std::string baseName(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace corvane_com::zel::xoInet
