// The transfer object of this build: it touches no network and no file, records
// what it was asked to do in g_lastOpData and reports one progress step. Paths
// are split into parent and last element as the path library does; a target or
// deleted file with a non-portable name throws std::filesystem::filesystem_error
// and leaves the record as it was. Tests may script each call's answer and read
// the calls back (the test hooks of inetmgr/xoinet.h).
#ifndef INETMGR_XOINET_TEST_TRANSFER_H
#define INETMGR_XOINET_TEST_TRANSFER_H

#include <string>

#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

class TestTransferImpl : public TransferItf {
 public:
  explicit TestTransferImpl(xoInetProtocol transferProtocol);

  xoInetError CheckOptions() const override;
  xoInetError DownloadFile(const std::wstring& localTarget, const std::wstring& remoteSource,
                           CNetSessionSink* sink, long* resumePoint, bool& resume,
                           const bool& proxyCache) override;
  xoInetError UploadFile(const std::wstring& source, const std::wstring& destination,
                         CNetSessionSink* sink) override;
  xoInetError UploadFileResponse(const std::wstring& source, const std::wstring& destination,
                                 const std::wstring& responseFile, CNetSessionSink* sink) override;
  xoInetError Logon(bool anonymousLogon, unsigned int timeout) override;
  xoInetError LogOut() override;
  xoInetError PostLogOutOperations() override;
  xoInetError DeleteRemoteFile(const std::wstring& path) override;
  xoInetError DeleteRemoteDirectory(const std::wstring& path, const bool& recursive) override;

 private:
  bool loggedOn = false;
};

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_TEST_TRANSFER_H
