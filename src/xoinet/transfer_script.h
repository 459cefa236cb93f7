// The test transfer's scripted answers and call journal (the test hooks of
// inetmgr/xoinet.h), as the test transfer itself uses them.
#ifndef INETMGR_XOINET_TRANSFER_SCRIPT_H
#define INETMGR_XOINET_TRANSFER_SCRIPT_H

#include "inetmgr/xoinet.h"

namespace corvane_com::zel::xoInet {

// Ends one call: `call.result` holds the usual answer, which the next scripted
// answer for its kind replaces; the call is journaled with the answer given.
// Returns that answer.
xoInetError finishCall(test::TransferCall call);
// Journals a call that was refused before it did anything: no scripted answer
// is used up.
xoInetError journalRefusedCall(test::TransferCall call);

}  // namespace corvane_com::zel::xoInet

#endif  // INETMGR_XOINET_TRANSFER_SCRIPT_H
