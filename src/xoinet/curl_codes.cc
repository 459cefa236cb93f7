// The outcome mapping of the libcurl transfers.
#include "xoinet/curl_codes.h"

namespace corvane_com::zel::xoInet {
namespace {

xoInetError ftpReplyCode(long reply) {
  if (reply == 550) return rcNotFound;
  if (reply == 530) return rcLogonRefused;
  // 4xx replies are the server's "try again later".
  if (reply >= 400 && reply < 500) return rcTransient;
  return rcProtocol;
}

}  // namespace

xoInetError httpStatusCode(long status) {
  switch (status) {
    case 404:
    case 410: return rcNotFound;
    case 401:
    case 403:
    case 407: return rcLogonRefused;
    case 426: return rcKeysOutdated;
    case 506: return rcServerRefused;
    default: return status >= 500 && status < 600 ? rcTransient : rcProtocol;
  }
}

xoInetError transferCodeOf(const CurlOutcome& outcome) {
  if (!outcome.ftp && (outcome.code == CURLE_OK || outcome.code == CURLE_HTTP_RETURNED_ERROR) &&
      outcome.response >= 300) {
    return httpStatusCode(outcome.response);
  }
  switch (outcome.code) {
    case CURLE_OK: return rcNoError;
    case CURLE_ABORTED_BY_CALLBACK: return rcAborted;
    case CURLE_WRITE_ERROR:
    case CURLE_READ_ERROR:
    case CURLE_FILE_COULDNT_READ_FILE: return rcLocalFile;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT: return rcCannotConnect;
    case CURLE_OPERATION_TIMEDOUT:
      if (!outcome.connected) return rcCannotConnect;
      return outcome.bodySent ? rcAnswerLost : rcTransient;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH: return rcCertificate;
    case CURLE_LOGIN_DENIED: return rcLogonRefused;
    case CURLE_REMOTE_FILE_NOT_FOUND: return rcNotFound;
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_FTP_COULDNT_RETR_FILE:
    case CURLE_QUOTE_ERROR:
    case CURLE_UPLOAD_FAILED:
    case CURLE_FTP_COULDNT_SET_TYPE:
    case CURLE_FTP_COULDNT_USE_REST: return outcome.ftp ? ftpReplyCode(outcome.response) : rcProtocol;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING: return outcome.bodySent ? rcAnswerLost : rcTransient;
    default: return rcProtocol;
  }
}

}  // namespace corvane_com::zel::xoInet
