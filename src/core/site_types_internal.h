// Library-internal additions to the protocol and site types.
#ifndef INETMGR_CORE_SITE_TYPES_INTERNAL_H
#define INETMGR_CORE_SITE_TYPES_INTERNAL_H

#include "inetmgr/site_types.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// The transfer protocol that carries sites of `protocol`: HTTP for every
// HTTP-carried kind (spipe and super-agent included); xoInetProtocolInvalid for
// typeCount and any stray value.
xoInet::xoInetProtocol imProtocolToXoInet(ProtocolType::Types protocol);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_CORE_SITE_TYPES_INTERNAL_H
