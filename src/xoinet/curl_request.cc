// The callbacks of a libcurl request.
#include "xoinet/curl_request.h"

#include <strings.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/log.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr wchar_t kTag[] = L"xoinet";

bool startsWithNoCase(const std::string& text, const char* prefix) {
  const std::size_t length = std::strlen(prefix);
  return text.size() >= length && ::strncasecmp(text.c_str(), prefix, length) == 0;
}

}  // namespace

bool Request::decide() {
  if (decided) return !restartWhole;
  decided = true;
  if (!checkResume) return true;
  if (status == 200) {
    // The server ignored the range: its body is the whole file.
    platform::logInfo(kTag, L"The server sent the whole file instead of the requested range; starting over");
    if (!target->restart()) {
      localFailed = true;
      return false;
    }
    base = 0;
    return true;
  }
  if (status == 206 && haveRange && rangeStart == offset && (lastModified == 0 || lastModified <= partialModified)) {
    return true;
  }
  restartWhole = true;
  return false;
}

size_t onHeader(char* data, size_t size, size_t count, void* context) {
  auto* request = static_cast<Request*>(context);
  const size_t bytes = size * count;
  std::string line(data, bytes);
  while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
  if (line.size() > 3 && std::isdigit(static_cast<unsigned char>(line[0])) != 0 && line[3] == ' ') {
    request->lastReply = std::strtol(line.c_str(), nullptr, 10);  // an FTP reply's last line
  } else if (startsWithNoCase(line, "HTTP/")) {
    const std::size_t space = line.find(' ');
    request->status = space == std::string::npos ? 0 : std::strtol(line.c_str() + space + 1, nullptr, 10);
    request->haveRange = false;
    request->lastModified = 0;
  } else if (startsWithNoCase(line, "Content-Range:")) {
    unsigned long long start = 0;
    request->haveRange = std::sscanf(line.c_str() + 14, " bytes %llu-", &start) == 1;
    request->rangeStart = start;
  } else if (startsWithNoCase(line, "Last-Modified:")) {
    const time_t when = curl_getdate(line.c_str() + 14, nullptr);
    request->lastModified = when > 0 ? static_cast<long long>(when) : 0;
  }
  return bytes;
}

size_t onBody(char* data, size_t size, size_t count, void* context) {
  auto* request = static_cast<Request*>(context);
  const size_t bytes = size * count;
  if (request->listing != nullptr) {
    if (request->listing->size() > kListingLimit) return 0;
    request->listing->append(data, bytes);
    return bytes;
  }
  if (!request->decide()) return 0;
  if (request->target == nullptr) return bytes;
  if (!request->target->write(data, bytes)) {
    request->localFailed = true;
    return 0;
  }
  return bytes;
}

size_t onRead(char* buffer, size_t size, size_t count, void* context) {
  auto* request = static_cast<Request*>(context);
  for (;;) {
    const ssize_t got = ::read(request->source, buffer, size * count);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      request->localFailed = true;
      return CURL_READFUNC_ABORT;
    }
    request->sourceSent += static_cast<std::uint64_t>(got);
    return static_cast<size_t>(got);
  }
}

int onProgress(void* context, curl_off_t downTotal, curl_off_t downNow, curl_off_t upTotal, curl_off_t upNow) {
  auto* request = static_cast<Request*>(context);
  if (request->progress == nullptr) return 0;
  std::uint64_t done = 0;
  std::uint64_t total = 0;
  if (request->countingDownload) {
    // Only the body's bytes count: before it is judged, nothing of it is kept.
    const std::uint64_t now = request->decided ? static_cast<std::uint64_t>(downNow) : 0;
    done = request->base + now;
    total = downTotal > 0 && request->decided ? request->base + static_cast<std::uint64_t>(downTotal) : 0;
  } else {
    done = static_cast<std::uint64_t>(upNow);
    total = upTotal > 0 ? static_cast<std::uint64_t>(upTotal) : request->sourceSize;
  }
  return request->progress->report(done, total) ? 0 : 1;
}

}  // namespace corvane_com::zel::xoInet
