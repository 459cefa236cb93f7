// inetmgr: the agent's Internet Manager. This umbrella header is the whole public
// API; include it rather than the parts.
#ifndef INETMGR_INETMGR_H
#define INETMGR_INETMGR_H

#include "inetmgr/agent.h"
#include "inetmgr/buffer.h"
#include "inetmgr/connection.h"
#include "inetmgr/export.h"
#include "inetmgr/log_sink.h"
#include "inetmgr/machine_key.h"
#include "inetmgr/password.h"
#include "inetmgr/progress.h"
#include "inetmgr/result_code.h"
#include "inetmgr/secure_string.h"
#include "inetmgr/site.h"
#include "inetmgr/site_list.h"
#include "inetmgr/site_list_writer.h"
#include "inetmgr/site_types.h"
#include "inetmgr/sitelist_schema.h"
#include "inetmgr/utf8.h"
#include "inetmgr/xoinet.h"

namespace corvane_com::zel::inetmgr {

// The library's version text, e.g. "1.0.0". Never null; thread-safe.
INETMGR_API const char* getLibraryVersion();

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_INETMGR_H
