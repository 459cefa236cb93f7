// One site of the site list: a repository, the fallback site, the management
// server's spipe site. Sites are handed out by site lists and belong to the
// caller until released.
#ifndef INETMGR_SITE_H
#define INETMGR_SITE_H

#include <memory>
#include <string>

#include "inetmgr/export.h"
#include "inetmgr/progress.h"
#include "inetmgr/result_code.h"
#include "inetmgr/site_types.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// Reference counted with a plain integer: a site is used by one thread at a
// time. Callers never delete a site; they call release() once for every
// reference they were given.
class IImSite {
 public:
  virtual ~IImSite() = default;

  // Same protocol, type, local-list flag, name, enabled flag, IP address, SSL
  // flag and CA bundle path. Ports, server names, orders, proxies and
  // credentials take no part.
  virtual bool operator==(const IImSite& other) const = 0;
  // Drops one reference and destroys the site at 0; returns the remaining count.
  virtual int release() = 0;

  virtual SiteType::Types getType() const = 0;
  virtual ProtocolType::Types getProtocol() const = 0;
  // True when the site came from the agent's own list rather than the server's.
  virtual bool isLocalSiteList() const = 0;
  virtual bool isEnabled() const = 0;
  virtual std::wstring getSiteIp() const = 0;
  // The order given by repository ranking (0 is nearest).
  virtual int getSiteOrder() const = 0;
  virtual std::wstring getSiteName() const = 0;
  // Looked up in the site's properties on every call; empty when absent.
  virtual std::wstring getServerName() = 0;
  virtual std::wstring getServerNetBios() = 0;
  virtual std::wstring getHostSSLPort() = 0;

  // Keeps a copy of `proxy` (null clears it); false when no copy could be made.
  virtual bool setProxy(const xoInet::CProxyParams* proxy) = 0;
  // Copies the site's proxy into `proxy`; false when it has none.
  virtual bool getProxy(xoInet::CProxyParams& proxy) const = 0;

  // The configured sort order from the site list; 2147483647 when there is none.
  virtual int getSortOrder() const = 0;
  virtual void setSortOrder(int order) = 0;
  virtual void setSiteOrder(int order) = 0;
  // Lets the next operation run even though the site is disabled (once).
  virtual void setForceUpload() = 0;
  virtual bool isSslEnabled() const = 0;
  // Keeps SSL options off the transfer; effective only before the first operation.
  virtual void forceNonSslTransfer() = 0;
  virtual std::wstring getCaBundlePath() const = 0;
  virtual void setCaBundlePath(const std::wstring& path) = 0;
  // The transfer layer's code of the last download or upload: 0 after a plain
  // success and after a failure that is not the transfer's (bad argument,
  // disabled site, path error); otherwise the code the transfer answered,
  // also when the operation still counts as a success (see uploadFile).
  virtual xoInet::xoInetError getLastErrorXoInet() const = 0;

  // Transfers run as one sequence, reported to the connected callbacks: status
  // 0, log on (a failed logon reports 1), begin, the transfer's own reports,
  // end, log out. A callback's Stop to any report the site makes, or a
  // shutdown (triggerShutdownInetMgr), ends the operation as rcXoInetStatus
  // with transfer code 7; a stop or a failing logout never hides an earlier
  // failure, and a logout code of -18 counts as success. Results:
  //   rcSuccess; rcBadArgument for a null required argument; rcSiteDisabled;
  //   rcPathError for a name the protocol's file-name rules refuse (logged);
  //   rcXoInetError for a negative transfer code; rcNotFound when that code is
  //   -5 (not found); rcXoInetStatus for an abort (7), for the logon statuses
  //   1, 2, 12, 15, 16, 18, 19 and for any other positive code from the
  //   transfer itself; rcOutOfMemory or rcBadSiteProperties when the transfer
  //   object cannot be built. Callers that need to know whether the file moved
  //   compare with rcSuccess. Not thread-safe: one operation on a site at a time.

  // Downloads `file` from `sourceDir` on the site into `destDir` on this
  // machine; `extra` (may be null) is handed to the transfer. With `resume`, a
  // partial file of more than 4096 bytes in `destDir` is continued from 1024
  // bytes before its end (a smaller one is fetched again whole), and a resumed
  // download the site answers with -5 is tried once more from the start.
  virtual ResultCode downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                                  bool resume, const wchar_t* extra) = 0;
  // Uploads `localFile` from `localDir` to `remoteDir` on the site under the
  // name `remoteFile` (an empty name sends to `remoteDir` as given, e.g. a
  // query). `responseTarget` (may be null) names the file for the server's
  // response. The transfer codes -9, -60 and -61, which report a failed
  // closing exchange after the whole file went out, count as success when no
  // response target is given (the code stays readable through
  // getLastErrorXoInet) and as rcXoInetError when one is.
  virtual ResultCode uploadFile(const wchar_t* remoteFile, const wchar_t* remoteDir, const wchar_t* localFile,
                                const wchar_t* localDir, const wchar_t* responseTarget) = 0;
  virtual ResultCode getLocalIPAddressFromSocket() = 0;
  // Round trip in milliseconds; 65535 when the site cannot be measured.
  virtual ResultCode ping(int timeoutSeconds) = 0;
  // Hops to the site (at most `hopLimit`); 65535 when it cannot be found.
  virtual ResultCode calculateSubnetDistance(int hopLimit) = 0;

  // Attaches a progress callback (the site takes a reference); rcBadArgument
  // for null. A callback connected twice is called twice.
  virtual ResultCode connect(IImProgressCallback* callback) = 0;
  // Detaches one connection of `callback`; rcNotFound when it is not attached.
  virtual ResultCode disconnect(IImProgressCallback* callback) = 0;
};

// A shared handle that calls release() when the last copy goes.
using IImSite_ptr = std::shared_ptr<IImSite>;

// Wraps `site` (must not be null) without taking a reference: the handle owns
// the reference the caller holds. Thread-safe.
INETMGR_API IImSite_ptr wrapSitePtr(IImSite* site);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_H
