// How a libcurl transfer's outcome becomes a transfer code: curl's result,
// the server's last answer (HTTP status or FTP reply) and how far it got.
#ifndef INETMGR_XOINET_CURL_CODES_H
#define INETMGR_XOINET_CURL_CODES_H

#include <curl/curl.h>

#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

// An upload whose body went out whole but whose answer never came.
constexpr xoInetError rcAnswerLost = static_cast<xoInetError>(-60);

struct CurlOutcome {
  CURLcode code = CURLE_OK;
  long response = 0;       // HTTP status or the last FTP reply, 0 when none came
  bool ftp = false;
  bool connected = false;  // a connection stood when it failed
  bool bodySent = false;   // an upload's whole body went out
};

xoInetError transferCodeOf(const CurlOutcome& outcome);

// The code of an HTTP status of 300 or above.
xoInetError httpStatusCode(long status);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_CURL_CODES_H
