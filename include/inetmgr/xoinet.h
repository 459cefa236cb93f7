// The transfer layer: the transfer interface and its factory, the values that
// cross the interface, and the proxy record shared by the site store and the sites.
#ifndef INETMGR_XOINET_H
#define INETMGR_XOINET_H

#include <cstdint>
#include <string>
#include <vector>

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
// plain numbers. The network transfers (useNetworkTransfers) answer with the
// named codes below; what each means to the site operations above them:
//   rcAborted (7)          a progress sink asked to stop: the operation ends
//                          with the abort status;
//   rcTransient (12)       the server failed for now (HTTP 5xx other than 506,
//                          a stalled transfer, a connection lost midway): the
//                          upload helper tries the next management server;
//   rcNotFound (-5)        no such remote file (HTTP 404/410, FTP 550, no such
//                          file on a share or path): a resumed download is
//                          retried whole once, then the site reports not found;
//   rcServerRefused (-95)  the management server answered HTTP 506: the agent
//                          must make a new identity;
//   rcKeysOutdated (-96)   the management server answered HTTP 426: the agent
//                          must update its keys;
//   rcCannotConnect (-2)   no connection: name lookup, refused, timed out;
//   rcLogonRefused (-3)    the server refused the credentials (HTTP 401/403,
//                          FTP 530, SMB logon failure);
//   rcCertificate (-4)     TLS verification failed: the server's certificate is
//                          not signed by the site list's CA bundle;
//   rcLocalFile (-6)       a local file could not be read, written or renamed;
//   rcProtocol (-7)        any other failure the server or the protocol gave.
enum xoInetError : std::int32_t {
  rcKeysOutdated = -96,
  rcServerRefused = -95,
  rcProtocol = -7,
  rcLocalFile = -6,
  rcNotFound = -5,
  rcCertificate = -4,
  rcLogonRefused = -3,
  rcCannotConnect = -2,
  rcNotSupported = -1,
  rcNoError = 0,
  rcAborted = 7,
  rcTransient = 12,
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

// Receives the progress reports of one transfer. Implemented by the caller of
// a transfer; the transfer object only borrows it for the call it was given to.
class INETMGR_API CNetSessionSink {
 public:
  virtual ~CNetSessionSink() = default;

  // One report: `done` of `total` bytes in `status`; the three texts name the
  // site, the server and the file and may be null. Returns true to let the
  // transfer go on, false to ask it to stop; a sink that asks to stop also
  // writes false through `flag` when `flag` is not null. Called on the thread
  // that runs the transfer.
  virtual bool OnProgress(const unsigned int& done, const long& total, const INETSTATUS& status,
                          const wchar_t* siteName, const wchar_t* serverName, const wchar_t* fileName,
                          bool* flag) = 0;
};

// The transfer object through which a site moves files. Created only by
// XoInetItfFactory::CreateInterface and handed back only to
// XoInetItfFactory::DestroyInterface. Calls come in the order SetOption...,
// Logon, transfers, LogOut, PostLogOutOperations. One object serves one site
// operation at a time; it is not thread-safe.
class INETMGR_API TransferItf {
 public:
  // Every member starts empty or zero; only `protocol` is given.
  explicit TransferItf(xoInetProtocol protocol);
  TransferItf(const TransferItf&) = delete;
  TransferItf& operator=(const TransferItf&) = delete;

  // The virtual operations keep this order: it is the object's binary layout.
  // rcNoError when the options set so far allow a logon.
  virtual xoInetError CheckOptions() const = 0;
  virtual ~TransferItf();
  // Fetches `remoteSource` into `localTarget`, from `*resumePoint` when `resume`
  // is set; reports progress to `sink` when it is not null (the sink is
  // borrowed). rcNotLoggedOn before Logon.
  virtual xoInetError DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource,
                                   CNetSessionSink* sink, long* resumePoint, bool& resume,
                                   const bool& useProxyCache) = 0;
  // Sends the local file `source` to `destination`. rcNotLoggedOn before Logon.
  virtual xoInetError UploadFile(const std::wstring& source, const std::wstring& destination,
                                 CNetSessionSink* sink) = 0;
  // As UploadFile, keeping the server's answer in `responseFile`.
  virtual xoInetError UploadFileResponse(const std::wstring& source, const std::wstring& destination,
                                         const std::wstring& responseFile, CNetSessionSink* sink) = 0;
  // Opens the session; `timeout` in seconds.
  virtual xoInetError Logon(bool anonymous, unsigned int timeout) = 0;
  virtual xoInetError LogOut() = 0;
  // Work left after LogOut; the base has none and returns rcNoError.
  virtual xoInetError PostLogOutOperations();
  virtual xoInetError DeleteRemoteFile(const std::wstring& path) = 0;
  virtual xoInetError DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) = 0;

  // The option identifier is ignored by every overload. Integer and proxy
  // options are not supported: rcNotSupported, nothing stored. The long, text
  // and boolean overloads store the value in g_lastLongOption, g_lastStrOption
  // or g_lastBoolOption (the latest call of each kind wins) and return
  // rcNoError. Not thread-safe: the globals are written without a lock.
  // A network transfer (useNetworkTransfers) also keeps every value by its
  // identifier for its own use, and answers rcNoError to the integer and
  // proxy overloads, whose values it keeps too (the proxy record is copied).
  xoInetError SetOption(const xoInetOption& option, const int& value);
  xoInetError SetOption(const xoInetOption& option, const long& value);
  xoInetError SetOption(const xoInetOption& option, const std::wstring& value);
  xoInetError SetOption(const xoInetOption& option, const bool& value);
  xoInetError SetOption(const xoInetOption& option, const CProxyParams* value);
  // A wide literal would otherwise silently become the boolean option.
  xoInetError SetOption(const xoInetOption& option, const wchar_t* value) = delete;

  // The protocol given at construction.
  xoInetProtocol GetProtocol() const;
  // Copies of the host address and NetBIOS name fields; empty unless an
  // implementation filled them.
  std::wstring GetHostIP() const;
  std::wstring GetHostNetBios() const;

 protected:
  xoInetProtocol protocol;
  std::int32_t port = 0;
  std::int32_t portAlternate = 0;
  std::int32_t portFallback = 0;
  std::int32_t sslPort = 0;
  std::int32_t logonTimeout = 0;
  std::wstring hostName;
  std::wstring hostIP;
  std::wstring hostNetBios;
  std::wstring siteName;
  std::wstring userName;
  std::wstring domainName;
  std::wstring uncServer;
  std::wstring shareName;
  std::wstring relativePath;
  std::int32_t lastStatus = 0;
  std::int32_t retryCount = 0;
  std::int32_t optionFlags = 0;
  bool anonymous = false;
  bool useSsl = false;
  bool useLogonUserAccount = false;
  bool useProxy = false;
  bool useProxyCache = false;
  bool resumeDownload = false;
  bool abortRequested = false;
  std::wstring caBundlePath;
  std::wstring downloadExtra;
  std::wstring proxyServer;
  std::string nativeHostName;
  std::string nativeUserName;
  std::string nativeRelativePath;
};

// Hands out and takes back transfer objects. It has no state: both operations
// are static.
class INETMGR_API XoInetItfFactory {
 public:
  // A new transfer object for `protocol` (every value is accepted). The caller
  // owns it and must give it back through DestroyInterface, never delete it.
  // Unless useNetworkTransfers() was called, it hands out the recording test
  // transfer. Not thread-safe: the instance count is a plain integer.
  static TransferItf* CreateInterface(xoInetProtocol protocol);
  // Destroys `pItf`, which must come from CreateInterface; returns rcNoError.
  // A null pointer, or more destroys than creates, stops the process.
  static xoInetError DestroyInterface(TransferItf* pItf);
};

// What a transfer code means, in a few words ("no connection", "no such
// remote file"); "failed" for codes without a meaning of their own. The text
// is static. Thread-safe.
INETMGR_API const wchar_t* getTransferCodeText(xoInetError code);

// From this call on, for the rest of the process, XoInetItfFactory hands out
// transfer objects that move real data: HTTP and HTTPS (also for spipe and
// super-agent sites) and FTP and FTPS through libcurl, UNC shares through
// libsmbclient (when the library was built with it), local paths through the
// file system. Objects handed out before keep their kind. The environment
// variable INETMGR_TRANSFER=network has the same effect for hosts that cannot
// call this. Thread-safe.
//
// A network transfer keeps its own copy of every option it is given (the
// SetOption answers and the last-option globals stay as described above, but
// for the integer and proxy overloads, which it accepts: rcNoError), keeps the
// password encrypted, verifies TLS peers against the CA bundle path it was
// given (never against nothing), writes a download to a temporary file beside
// the destination and renames it into place only when complete, and reports
// progress (status statusProgress) at most every 250 ms and at the end. Over
// HTTP a download's extra text (optDownloadExtra, a site's downloadFile
// `extra`) becomes that one request's query.
INETMGR_API void useNetworkTransfers();
// Whether useNetworkTransfers() (or INETMGR_TRANSFER=network) is in effect.
// Thread-safe.
INETMGR_API bool usingNetworkTransfers();

// Time limits of the network transfers created from now on, in seconds:
// establishing a connection (name lookup included), and a transfer that
// receives or sends no byte (it then fails with rcTransient). 0 keeps a
// limit as it is. The defaults are 30 and 60; INETMGR_CONNECT_TIMEOUT and
// INETMGR_STALL_TIMEOUT set them for the process. Thread-safe.
INETMGR_API void setNetworkTimeouts(unsigned int connectSeconds, unsigned int stallSeconds);

// What the test transfer was last asked to do, for tests of the code above it.
struct INETMGR_API LastOperationData {
  // 0 none, 1 download, 2 upload, 3 upload with response, 4 delete remote
  // file, 5 delete remote directory.
  std::int32_t operation = 0;
  std::wstring targetFileName;
  std::wstring sourceFileName;
  std::wstring sourceDirectory;
  std::wstring targetDirectory;
  std::wstring responsePath;
  bool recursive = false;

  // Back to no operation, empty texts and false.
  void resetFields();
};

// The record of the test transfer's last operation, one per process, kept
// until the next operation or a resetFields(). Unlocked: tests drive one
// transfer at a time.
extern INETMGR_API LastOperationData g_lastOpData;
// The values of the latest SetOption call of each kind; 0, empty and false
// until one is made. Unlocked, as above.
extern INETMGR_API long g_lastLongOption;
extern INETMGR_API std::wstring g_lastStrOption;
extern INETMGR_API bool g_lastBoolOption;

// Number of transfer objects created and not yet destroyed. Unlocked.
INETMGR_API int getTransferInstanceCount();

// Draws one random() value r: `a` gets its low 16 bits, `b` bits 16 to 31;
// returns r. The first call of the process seeds from the wall clock, so the
// numbers are not repeatable across runs. Not thread-safe (random() is shared).
INETMGR_API long getRandomNumberPair(unsigned short& a, unsigned short& b);

// The current time in seconds since the epoch, widened to 64 bits. Thread-safe.
INETMGR_API std::int64_t CalculateSystemTime();

// The smallest power of two not below `x`; 0 for 0 and for values above 2^31,
// where the arithmetic wraps. Thread-safe.
INETMGR_API unsigned int clp2(unsigned int x);

// Test hooks: answers scripted per call and a journal of the calls received,
// so that tests can make the test transfer fail on demand and see exactly what
// it was asked. Without a script every call behaves as described above.
// Thread-safe (one lock of their own); for tests only.
namespace test {

// The calls of a test transfer that can be scripted and are journaled.
enum TransferCallKind : std::int32_t {
  callLogon = 1,
  callLogOut = 2,
  callPostLogOutOperations = 3,
  callDownloadFile = 4,
  callUploadFile = 5,
  callUploadFileResponse = 6,
  callDeleteRemoteFile = 7,
  callDeleteRemoteDirectory = 8,
};

// One call as a test transfer received it, with the arguments as given.
struct TransferCall {
  TransferCallKind kind = callLogon;
  xoInetError result = rcNoError;  // what the call answered
  std::wstring first;              // download: local target; upload: source; deletes: the path
  std::wstring second;             // download: remote source; upload: destination
  std::wstring third;              // upload with response: the response file
  long number = 0;                 // download: the resume point passed in; logon: the timeout
  bool flag = false;               // download: the resume flag; logon: anonymous; directory delete: recursive
};

// Queues `results` behind any answers still queued for `kind`: the following
// calls of that kind, on any test transfer, answer them in order, then answer
// as usual again. A scripted call does everything else it would do (it records
// and reports progress); only its answer changes. A Logon scripted to answer a
// negative code leaves the object logged off. A download or upload refused
// because the object is not logged on uses up no answer.
INETMGR_API void ScriptResults(TransferCallKind kind, const std::vector<xoInetError>& results);
// Forgets every queued answer and the journal.
INETMGR_API void ResetTransferScript();
// The calls received since the last reset, oldest first (at most the latest 256).
INETMGR_API std::vector<TransferCall> GetTransferCalls();

}  // namespace test

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_H
