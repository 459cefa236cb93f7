// The network transfer backends, one per protocol, in one table: the factory
// looks a protocol up here instead of choosing among the backends itself.
#ifndef INETMGR_XOINET_TRANSFER_BACKENDS_H
#define INETMGR_XOINET_TRANSFER_BACKENDS_H

#include <string>

#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

struct TransferBackend {
  xoInetProtocol protocol;
  const char* name;  // for log lines and `inetmgr about`
  TransferItf* (*create)(xoInetProtocol protocol);
};

// The backend registered for `protocol`, or null when this build has none
// (the SMB backend is optional).
const TransferBackend* findTransferBackend(xoInetProtocol protocol);

// A network transfer for `protocol`: the registered backend's object, or one
// that answers every operation with rcNotSupported and says why in the log.
TransferItf* createNetworkTransfer(xoInetProtocol protocol);

// Tells a network transfer where its next UploadFile keeps the server's
// answer; the test transfer has no use for it and is left alone.
void setUploadResponseFile(TransferItf& transfer, const std::wstring& path);

// Each backend's constructor function, defined in its own file.
TransferItf* createCurlTransfer(xoInetProtocol protocol);
TransferItf* createSmbTransfer(xoInetProtocol protocol);
TransferItf* createFileTransfer(xoInetProtocol protocol);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_TRANSFER_BACKENDS_H
