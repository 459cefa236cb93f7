// The transfer layer: the values that cross the transfer interface and the
// proxy record shared by the site store and the sites.
#ifndef INETMGR_XOINET_H
#define INETMGR_XOINET_H

#include <cstdint>
#include <string>

#include "inetmgr/export.h"

namespace corvane_com::zel::xoInet {

// Transfer protocol of a transfer object.
enum xoInetProtocol : std::int32_t {
  xoInetProtocolHttp = 0,  // also the combined FTP/HTTP, spipe and super-agent sites
  xoInetProtocolFtp = 1,
  xoInetProtocolUnc = 2,
  xoInetProtocolLocal = 3,
  xoInetProtocolInvalid = 4,  // no mapping; never given a transfer object
};

// Result of every transfer operation. Codes without a name here are carried as
// plain numbers.
enum xoInetError : std::int32_t {
  rcNotSupported = -1,
  rcNoError = 0,
  rcNotLoggedOn = 18,
};

// Option identifier of SetOption; the numbers are what the site code uses.
enum xoInetOption : std::int32_t {
  optHostName = 0,
  optHostNetBios = 1,
  optHostAddress = 2,
  optPort = 3,
  optPortAlternate = 4,
  optPortFallback = 5,
  optSiteName = 6,
  optUserName = 7,
  optPassword = 8,
  optReserved9 = 9,
  optProxy = 10,
  optDomainName = 11,
  optUncServer = 12,
  optShareName = 13,
  optRelativePath = 14,
  optUseLogonUserAccount = 15,
  optReserved16 = 16,
  optSslPort = 17,
  optUseSsl = 18,
  optCaBundlePath = 19,
  optDownloadExtra = 20,
};

// Status code reported with each progress call.
enum INETSTATUS : std::int32_t {
  statusStarting = 0,
  statusLogonFailed = 1,
  statusDownloadBegin = 2,
  statusDownloadEnd = 4,
  statusUploadBegin = 5,
  statusUploadEnd = 7,
  statusProgress = 15,
  statusOperationBegin = 16,
  statusOperationEnd = 17,
};

// One proxy configuration as read from a site list. Proxy passwords are plain
// text here on purpose: the record is handed to the transfer layer as it stands.
struct CProxyParams {
  std::wstring proxyType;  // the site list word of what was found: HTTP, FTP or both
  std::wstring proxyServer;
  std::int32_t httpPort = 0;
  std::int32_t ftpPort = 0;
  bool allowUserToConfigProxy = false;
  bool bypassLocalAddresses = false;
  bool useSystemConfig = false;
  std::int32_t localAddressCount = 0;
  std::wstring localAddressList;  // start;end;start;end...
  std::int32_t exclusionCount = 0;
  std::wstring exclusionList;  // name;name...
  bool ftpUseAuth = false;
  bool httpUseAuth = false;
  std::wstring httpUserName;
  std::wstring httpPassword;
  std::wstring ftpUserName;
  std::wstring ftpPassword;
  bool altFtpUseAuth = false;
  bool altHttpUseAuth = false;
  std::wstring altHttpUserName;
  std::wstring altHttpPassword;
  std::wstring altFtpUserName;
  std::wstring altFtpPassword;
};

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_H
