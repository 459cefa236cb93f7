// The SSL-use record and the exported spipe query.
#include "core/ssl_information.h"

namespace corvane_com::zel::inetmgr {

SslUseInformation* SslUseInformation::getInstance() {
  // Deliberately leaked: sites may still read it while the process exits.
  static SslUseInformation* instance = new SslUseInformation();
  return instance;
}

bool SslUseInformation::getSslUseInformation(const ProtocolType::Types& protocol) const {
  std::lock_guard<std::mutex> guard(mutex_);
  const auto it = useSsl_.find(protocol);
  return it != useSsl_.end() && it->second;
}

bool SslUseInformation::setSslUseInformation(const ProtocolType::Types& protocol, const bool& useSsl) {
  std::lock_guard<std::mutex> guard(mutex_);
  useSsl_[protocol] = useSsl;
  return true;
}

bool getSpipeSslUseFlag() { return SslUseInformation::getInstance()->getSslUseInformation(ProtocolType::Spipe); }

}  // namespace corvane_com::zel::inetmgr
