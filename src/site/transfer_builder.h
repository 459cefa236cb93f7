// Turns a site's protocol and property map into a configured transfer object,
// driven by one table that says which property feeds which transfer option.
#ifndef INETMGR_SITE_TRANSFER_BUILDER_H
#define INETMGR_SITE_TRANSFER_BUILDER_H

#include <map>
#include <memory>
#include <string>

#include "inetmgr/site_types.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

using PropertyMap = std::map<std::wstring, std::wstring>;

// A transfer object that goes back to the factory when the last owner lets go.
using TransferItf_ptr = std::shared_ptr<xoInet::TransferItf>;

// The deleter of TransferItf_ptr: hands the object back to the factory.
struct ReleaseTransfer {
  void operator()(xoInet::TransferItf* transfer) const;
};

// Wraps a non-null transfer object (asserts "0!=transfer").
TransferItf_ptr wrapTransferItf(xoInet::TransferItf* transfer);

// A transfer object for `protocol` with every option the table allows set from
// `properties`. An option whose value does not convert is logged and skipped:
// the object is used as it stands. Throws std::logic_error ("Encountered bad
// protocol id <n>") for a protocol without transfer, std::bad_alloc when the
// factory gives nothing.
TransferItf_ptr CreateTransferItfFromProperties(ProtocolType::Types protocol, const PropertyMap& properties);

// The table column of `protocol`: FTP 0, HTTP 1, UNC 2, local 3; -1 otherwise.
int protocolPropertyIndex(xoInet::xoInetProtocol protocol);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_TRANSFER_BUILDER_H
