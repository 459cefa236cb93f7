// The registration table of the network transfer backends.
#include "xoinet/transfer_backends.h"

#include <iterator>
#include <string>

#include "platform/log.h"
#include "xoinet/network_transfer.h"

namespace corvane_com::zel::xoInet {
namespace {

constexpr TransferBackend kBackends[] = {
#ifdef INETMGR_WITH_CURL
    {xoInetProtocolHttp, "libcurl (HTTP, HTTPS)", &createCurlTransfer},
    {xoInetProtocolFtp, "libcurl (FTP, FTPS)", &createCurlTransfer},
#endif
#ifdef INETMGR_WITH_SMB
    {xoInetProtocolUnc, "libsmbclient (SMB2/3)", &createSmbTransfer},
#endif
    {xoInetProtocolLocal, "file system", &createFileTransfer},
};

// Stands in for a backend this build does not have: every operation answers
// rcNotSupported, and the log says which protocol is missing.
class UnavailableTransfer final : public NetworkTransfer {
 public:
  using NetworkTransfer::NetworkTransfer;

  xoInetError CheckOptions() const override { return refuse(); }
  xoInetError DownloadFile(const std::wstring&, const std::wstring&, CNetSessionSink*, long*, bool&,
                           const bool&) override {
    return refuse();
  }
  xoInetError UploadFile(const std::wstring&, const std::wstring&, CNetSessionSink*) override { return refuse(); }
  xoInetError UploadFileResponse(const std::wstring&, const std::wstring&, const std::wstring&,
                                 CNetSessionSink*) override {
    return refuse();
  }
  xoInetError Logon(bool, unsigned int) override { return refuse(); }
  xoInetError LogOut() override { return rcNoError; }
  xoInetError DeleteRemoteFile(const std::wstring&) override { return refuse(); }
  xoInetError DeleteRemoteDirectory(const std::wstring&, const bool&) override { return refuse(); }

 private:
  xoInetError refuse() const {
    platform::logError(L"xoinet", L"This build has no network transfer for protocol " + std::to_wstring(protocol) +
                                      (protocol == xoInetProtocolUnc
                                           ? L" (UNC shares): it was built with INETMGR_WITH_SMB=OFF"
                                           : protocol == xoInetProtocolHttp || protocol == xoInetProtocolFtp
                                                 ? L" (HTTP and FTP): it was built with INETMGR_WITH_CURL=OFF"
                                                 : L""));
    return rcNotSupported;
  }
};

}  // namespace

const TransferBackend* findTransferBackend(xoInetProtocol protocol) {
  for (const TransferBackend& backend : kBackends) {
    if (backend.protocol == protocol) return &backend;
  }
  return nullptr;
}

TransferItf* createNetworkTransfer(xoInetProtocol protocol) {
  const TransferBackend* backend = findTransferBackend(protocol);
  if (backend == nullptr) return new UnavailableTransfer(protocol);
  return backend->create(protocol);
}

void setUploadResponseFile(TransferItf& transfer, const std::wstring& path) {
  if (auto* network = dynamic_cast<NetworkTransfer*>(&transfer)) network->setResponseFile(path);
}

}  // namespace corvane_com::zel::xoInet
