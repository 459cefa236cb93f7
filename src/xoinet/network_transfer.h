// The shared part of the transfer objects that move real data: their own copy
// of the options (passwords encrypted), the time limits, the download's
// temporary file and rename, and progress reports at a bounded rate that a
// sink can stop. Each protocol backend derives from NetworkTransfer and is
// registered in transfer_backends.cc.
#ifndef INETMGR_XOINET_NETWORK_TRANSFER_H
#define INETMGR_XOINET_NETWORK_TRANSFER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "inetmgr/secure_string.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

// A proxy record as a network transfer keeps it: the passwords encrypted.
struct ProxyOptions {
  CProxyParams params;  // the record with its four password texts emptied
  inetmgr::SecureString httpPassword;
  inetmgr::SecureString ftpPassword;
};

// Everything a network transfer was told through SetOption.
struct TransferOptions {
  std::wstring hostName;     // the site's server, possibly "name:port"
  std::wstring hostNetBios;  // the server's computer name
  std::wstring hostAddress;  // the server's numeric address, possibly with ":port"
  long port = 0;
  long sslPort = 0;
  std::wstring siteName;
  std::wstring userName;
  inetmgr::SecureString password;
  std::wstring domainName;
  std::wstring uncServer;
  std::wstring shareName;
  std::wstring relativePath;
  bool useLogonUserAccount = false;
  bool useSsl = false;
  std::wstring caBundlePath;
  std::wstring downloadExtra;  // text the site adds to a download request
  std::optional<ProxyOptions> proxy;
};

// Time limits of one transfer object, fixed when it is created.
struct TransferTimeouts {
  std::chrono::seconds connect{30};
  std::chrono::seconds stall{60};
};

// The limits that objects created now get (setNetworkTimeouts and the
// environment).
TransferTimeouts currentTransferTimeouts();

class NetworkTransfer : public TransferItf {
 public:
  explicit NetworkTransfer(xoInetProtocol transferProtocol);

  // Called by TransferItf::SetOption after the shared behaviour; the option
  // numbers are those of xoInetOption. Returns true when the value was kept.
  bool keepOption(xoInetOption option, long value);
  bool keepOption(xoInetOption option, const std::wstring& value);
  bool keepOption(xoInetOption option, bool value);
  bool keepOption(xoInetOption option, const CProxyParams* value);

  // Where the next UploadFile keeps the server's answer (empty: nowhere). The
  // upload operation sets it when its caller asked for the response.
  void setResponseFile(const std::wstring& path) { responseFile_ = path; }

  // rcNoError when the options name something to talk to.
  xoInetError CheckOptions() const override;

  const TransferOptions& options() const { return options_; }
  const TransferTimeouts& timeouts() const { return timeouts_; }

 protected:
  // The response file of the next upload, taken once.
  std::wstring takeResponseFile();
  // The password in plain text, for the moment a backend hands it on.
  std::wstring plainPassword() const;

  TransferOptions options_;
  TransferTimeouts timeouts_;
  std::wstring responseFile_;
};

// Reports the progress of one transfer: the first report at once, then at most
// one every 250 ms, and always the last. A sink that answers false stops the
// transfer: the reporter remembers it and the backend returns rcAborted.
class ProgressReporter {
 public:
  ProgressReporter(CNetSessionSink* sink, const TransferOptions& options, std::wstring fileName);

  // Reports `done` of `total` bytes (total 0 when unknown) if it is time to;
  // `last` forces the report. Returns false once the sink asked to stop.
  // Counts that do not fit the sink's types are reported at their largest.
  bool report(std::uint64_t done, std::uint64_t total, bool last = false);
  bool stopped() const { return stopped_; }

 private:
  CNetSessionSink* sink_;
  std::wstring siteName_;
  std::wstring serverName_;
  std::wstring fileName_;
  std::chrono::steady_clock::time_point lastReport_{};
  bool reported_ = false;
  bool stopped_ = false;
};

// A download's destination and the temporary file beside it that receives the
// data. The temporary file is renamed over the destination by commit(); when
// the object goes away without a commit the temporary file is removed and the
// destination is as it was.
class DownloadTarget {
 public:
  explicit DownloadTarget(const std::wstring& destination);
  ~DownloadTarget();
  DownloadTarget(const DownloadTarget&) = delete;
  DownloadTarget& operator=(const DownloadTarget&) = delete;

  // Creates the destination's directory and the temporary file. When
  // `resumeFrom` is not 0 and the destination holds at least that many bytes,
  // they are copied into the temporary file first and start() answers that
  // offset; otherwise it answers 0. rcLocalFile on failure.
  xoInetError start(std::uint64_t resumeFrom, std::uint64_t& offset);
  // Appends `size` bytes; false on a write error.
  bool write(const void* data, std::size_t size);
  // Drops everything written so far: the download starts again from 0.
  bool restart();
  // Bytes in the temporary file.
  std::uint64_t size() const { return size_; }
  // Modification time of the destination when start() found a partial file to
  // resume, else 0.
  long long partialModified() const { return partialModified_; }
  // Flushes, syncs and renames the temporary file into place. rcLocalFile on
  // failure.
  xoInetError commit();

  const std::string& nativeDestination() const { return destination_; }

 private:
  std::string destination_;
  std::string temporary_;
  int fd_ = -1;
  std::uint64_t size_ = 0;
  long long partialModified_ = 0;
};

// "Transfer code N" text for log lines: the code and what it means.
std::wstring describeTransferCode(xoInetError code);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_NETWORK_TRANSFER_H
