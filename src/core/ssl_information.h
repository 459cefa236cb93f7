// The process-wide record of which protocols are reached over SSL.
#ifndef INETMGR_CORE_SSL_INFORMATION_H
#define INETMGR_CORE_SSL_INFORMATION_H

#include <map>
#include <mutex>

#include "inetmgr/site_types.h"

namespace corvane_com::zel::inetmgr {

// Filled while sites are built: a site that asks for SSL sets its protocol's
// flag. Nothing ever clears a flag, on purpose: once one site of a protocol used
// SSL, the protocol keeps it for the life of the process, across reloads.
class SslUseInformation {
 public:
  // Created on first call, never destroyed.
  static SslUseInformation* getInstance();

  // The stored flag; false for a protocol never set. Thread-safe.
  bool getSslUseInformation(const ProtocolType::Types& protocol) const;
  // Inserts or overwrites the flag; always true. Thread-safe.
  bool setSslUseInformation(const ProtocolType::Types& protocol, const bool& useSsl);

 private:
  SslUseInformation() = default;

  mutable std::mutex mutex_;
  std::map<ProtocolType::Types, bool> useSsl_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_SSL_INFORMATION_H
