// The state one libcurl request shares with its callbacks, and the callbacks:
// the answer's headers, its body into the download target, the upload's
// bytes from its file, and progress reports that can stop the request.
#ifndef INETMGR_XOINET_CURL_REQUEST_H
#define INETMGR_XOINET_CURL_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <curl/curl.h>

#include "xoinet/network_transfer.h"

namespace corvane_com::zel::xoInet {

// A listing longer than this is cut short (bounds a recursive delete).
constexpr std::size_t kListingLimit = 10000 * 256;

// What the callbacks of one request share.
struct Request {
  ProgressReporter* progress = nullptr;
  DownloadTarget* target = nullptr;  // receives the body; null: the body is dropped
  bool countingDownload = true;      // progress counts received bytes, else sent ones
  bool checkResume = false;          // an HTTP download from `offset` whose answer is checked first
  std::uint64_t offset = 0;          // where this request asked to start
  std::uint64_t base = 0;            // bytes already in the target when the body started
  long long partialModified = 0;
  // The HTTP answer whose body is arriving.
  long status = 0;
  bool haveRange = false;
  std::uint64_t rangeStart = 0;
  long long lastModified = 0;
  bool decided = false;
  bool restartWhole = false;
  bool localFailed = false;
  // An upload's source.
  int source = -1;
  std::uint64_t sourceSize = 0;
  std::uint64_t sourceSent = 0;
  // A listing's text.
  std::string* listing = nullptr;
  long lastReply = 0;  // FTP

  // Judges the answer to a resumed HTTP download once, before its body is
  // kept: false when it must be fetched again whole.
  bool decide();
};

// CURLOPT_HEADERFUNCTION: the HTTP status, Content-Range and Last-Modified of
// the answer under way, and the code of each FTP reply.
size_t onHeader(char* data, size_t size, size_t count, void* context);
// CURLOPT_WRITEFUNCTION: the body, once the answer is judged (see decide()).
size_t onBody(char* data, size_t size, size_t count, void* context);
// CURLOPT_READFUNCTION: the upload's next bytes.
size_t onRead(char* buffer, size_t size, size_t count, void* context);
// CURLOPT_XFERINFOFUNCTION: non-zero once the progress sink asked to stop.
int onProgress(void* context, curl_off_t downTotal, curl_off_t downNow, curl_off_t upTotal, curl_off_t upNow);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_CURL_REQUEST_H
