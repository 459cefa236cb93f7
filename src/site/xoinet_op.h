// The frame every site transfer runs in (report, log on, begin, transfer, end,
// log out, post-logout), the sets of transfer codes it judges results against,
// and the download and upload operations built on it.
#ifndef INETMGR_SITE_XOINET_OP_H
#define INETMGR_SITE_XOINET_OP_H

#include <filesystem>
#include <string>
#include <vector>

#include "inetmgr/progress.h"
#include "inetmgr/site_types.h"
#include "inetmgr/xoinet.h"
#include "site/progress.h"
#include "site/transfer_builder.h"

namespace corvane_com::zel::inetmgr {

class ImSiteImpl;

namespace siteimpl {

// An ordered list of transfer codes.
using XoInetCodeSet = std::vector<xoInet::xoInetError>;

XoInetCodeSet makeEmpty();
// {0}
XoInetCodeSet makeDefault();
// {7}: the abort code, as a status.
XoInetCodeSet makeAbortList();
// {0, -18}: -18 after a logout counts as success, deliberately.
XoInetCodeSet makeLogoutSuccessList();
void addCodeToList(XoInetCodeSet& list, xoInet::xoInetError code);

// Built once at load; used only after main() starts.
extern const XoInetCodeSet emptyList;
extern const XoInetCodeSet defaultList;
extern const XoInetCodeSet includeAbort;
extern const XoInetCodeSet logoutSuccess;

// The transfer code of an operation stopped by a callback or a shutdown.
constexpr xoInet::xoInetError kAbortCode = static_cast<xoInet::xoInetError>(7);

// 0 when `code` is in `successList`, else 1. A negative code is logged as an
// error (when `logIt`) and, with `throwOnError`, raised as SiteImplExcept
// rcXoInetError; a non-negative code in `statusList` is logged as information
// and, with `throwOnError`, raised as rcXoInetStatus. The raised error carries
// "XoInet library returned code == <code>" and the code.
int isXoInetError(xoInet::xoInetError code, bool throwOnError, const XoInetCodeSet& successList,
                  const XoInetCodeSet& statusList, bool logIt);

// Stop becomes the raised status rcXoInetStatus with transfer code 7;
// Continue does nothing.
void checkForAbort(StatusAction action);

// Where a download into `path` resumes: 0 without `resume`, for a missing
// file and for one of 4096 bytes or less (fetched again whole); otherwise the
// size less 1024, so that a torn last kilobyte is fetched again.
long getResumePoint(bool resume, const std::filesystem::path& path);

// `dir` joined with `file` (back-slashes made forward first), every element
// checked by the file-name rules of `protocol`, in the form the protocol's
// side expects. `outPath`, when given, receives the joined path. Throws
// std::filesystem::filesystem_error for a name the rules refuse or that the
// locale cannot represent. Asserts both texts are not null.
std::wstring buildFullPath(ProtocolType::Types protocol, const wchar_t* dir, const wchar_t* file,
                           std::filesystem::path* outPath = nullptr);

// One logged-on stretch of a transfer object: logs on when made, logs out when
// logOut() is called or, failing that, when destroyed (then only logging).
class LogonSession {
 public:
  explicit LogonSession(TransferItf_ptr transfer);
  ~LogonSession();
  LogonSession(const LogonSession&) = delete;
  LogonSession& operator=(const LogonSession&) = delete;

  xoInet::xoInetError logonCode() const { return logonCode_; }
  // Logs out once and judges the code against logoutSuccess: raised only
  // while the operation has not failed, else only logged.
  void logOut();

  // Set once the operation has failed, so later steps do not mask it.
  bool isError = false;

 private:
  TransferItf_ptr transfer_;
  xoInet::xoInetError logonCode_;
  bool loggedOut_ = false;
};

// The frame of one transfer operation on a site. Constructing it runs the
// site's prologue (which may throw SiteImplExcept) and takes its transfer
// object; doOperation() then runs the fixed sequence once.
class XoInetOp {
 public:
  explicit XoInetOp(ImSiteImpl& site);
  virtual ~XoInetOp();
  XoInetOp(const XoInetOp&) = delete;
  XoInetOp& operator=(const XoInetOp&) = delete;

  // Runs the operation; 0 when it and the closing steps succeeded, 1 when it
  // failed with a code that is not raised (a positive transfer code outside the
  // code sets). Failures that end the operation are raised as SiteImplExcept
  // (rcXoInetError, or rcXoInetStatus for an abort or a listed logon status);
  // other exceptions of the transfer object pass through after the session is
  // closed.
  virtual int doOperation();

  // False when the prologue ended the operation (test-only mode): there is
  // nothing to run and the operation counts as done.
  bool isReady() const { return ready_; }
  // The code of the operation's own transfer call, kept by the site.
  xoInet::xoInetError getTransferCode() const { return transferCode_; }
  // True when that code was judged a failure (raised or not).
  bool hasTransferFailed() const { return opFailed_; }
  int getPort() const { return port_; }
  // Option 20 of the transfer: the download's extra text.
  void setDownloadExtra(const wchar_t* extra) {
    spTransfer_->SetOption(xoInet::optDownloadExtra, std::wstring(extra));
  }

 protected:
  // The operation's own transfer call; true when it failed. `code` receives
  // the transfer code it judged.
  virtual bool opDetails(XoInetCallback& callback, xoInet::xoInetError& code) = 0;
  virtual xoInet::INETSTATUS getBeginCode() const { return xoInet::statusOperationBegin; }
  virtual xoInet::INETSTATUS getEndCode() const { return xoInet::statusOperationEnd; }

  // Reports (0, 0, status, site name, server name, third text) to the site.
  StatusAction callProgressCallback(xoInet::INETSTATUS status);

  std::wstring siteName_;
  std::wstring serverName_;
  int port_ = 0;
  TransferItf_ptr spTransfer_;
  // Named in every report; a download puts its source path here.
  std::wstring thirdText_;
  ProtocolType::Types protocol_;
  ImProgress* progress_;

 private:
  bool ready_ = false;
  xoInet::xoInetError transferCode_ = xoInet::rcNoError;
  bool opFailed_ = false;
};

// Fetches `file` from `sourceDir` on the site into `destDir` on this machine.
class XoInetOpDownload : public XoInetOp {
 public:
  XoInetOpDownload(ImSiteImpl& site, const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir,
                   bool resume);

  const std::filesystem::path& getDestPath() const { return destPath_; }
  const std::wstring& getSourcePath() const { return thirdText_; }
  long getResumePoint() const { return resumePoint_; }
  bool getResumeFlag() const { return resume_; }

 protected:
  bool opDetails(XoInetCallback& callback, xoInet::xoInetError& code) override;
  xoInet::INETSTATUS getBeginCode() const override { return xoInet::statusDownloadBegin; }
  xoInet::INETSTATUS getEndCode() const override { return xoInet::statusDownloadEnd; }

 private:
  void buildDestinationPath(const wchar_t* destDir, const wchar_t* file);
  void computeResumePoint();
  void buildSourcePath(const wchar_t* sourceDir, const wchar_t* file);

  std::filesystem::path destPath_;
  std::wstring destText_;
  long resumePoint_ = 0;
  bool resume_;
};

// Sends `file` from `localDir` to `remoteFile` in `remoteDir` on the site.
class XoInetOpUpload : public XoInetOp {
 public:
  XoInetOpUpload(ImSiteImpl& site, const wchar_t* localDir, const wchar_t* file, const wchar_t* remoteDir,
                 const wchar_t* remoteFile, const wchar_t* responseTarget);

  const std::wstring& getLocalPath() const { return localPath_; }
  const std::wstring& getRemotePath() const { return remotePath_; }
  const std::wstring& getResponsePath() const { return responsePath_; }

  // The codes that count as a delivered upload besides 0 (see the .cc).
  static XoInetCodeSet successListFor(xoInet::xoInetError code, bool expectsResponse);

 protected:
  bool opDetails(XoInetCallback& callback, xoInet::xoInetError& code) override;
  xoInet::INETSTATUS getBeginCode() const override { return xoInet::statusUploadBegin; }
  xoInet::INETSTATUS getEndCode() const override { return xoInet::statusUploadEnd; }

 private:
  void buildLocalPath(const wchar_t* localDir, const wchar_t* file);
  void buildRemotePath(const wchar_t* remoteDir, const wchar_t* remoteFile);
  void buildResponsePath(const wchar_t* responseTarget);

  std::wstring localPath_;
  std::wstring remotePath_;
  std::wstring responsePath_;
};

}  // namespace siteimpl
}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_XOINET_OP_H
