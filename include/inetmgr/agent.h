// Answers about the agent's set-up that other agent components ask for, and
// the helpers of the agent's conversations with its management server over the
// server's spipe sites.
#ifndef INETMGR_AGENT_H
#define INETMGR_AGENT_H

#include <string>

#include "inetmgr/buffer.h"
#include "inetmgr/export.h"
#include "inetmgr/result_code.h"
#include "inetmgr/site.h"

namespace corvane_com::zel::inetmgr {

// The agent's site list: <framework data directory>/etc/SiteList.xml, where the
// data directory is $INETMGR_DATA_DIR (default /var/lib/inetmgr). Always
// rcSuccess. Thread-safe.
INETMGR_API ResultCode getSiteListLocation(std::wstring& path);

// Whether the agent runs in managed mode (its site lists are then validated
// strictly); false on this platform. Thread-safe.
INETMGR_API bool isManagedMode();

// Whether downloads may be served from a proxy's cache; false on this platform.
INETMGR_API bool getUseProxyCacheSetting();

// The helpers below walk the spipe sites of a fresh snapshot of the site list
// in site order, with one process-wide running index that is deliberately not
// locked: call them from one agent thread at a time. An upload leaves the
// index at the site that ended it, so the next upload starts there;
// getLocalIPAddress starts again from the first site.

// Posts the local file `localFile` to the management server at
// "/spipe/pkg?AgentGuid=<agentGuid>&Source=Agent_3.0.0" and keeps the answer in
// `responseFile`, trying the spipe sites in turn (disabled ones too) from the
// running index. A site whose result is an error, or whose transfer code is
// 12, gives way to the next; transfer code -95 (the server wants a new agent
// identity) and -96 (the agent must update its keys) stop at once with
// rcXoInetError; any other result ends the call (rcNotFound for the transfer
// layer's "not found" too). When no site is left the result is
// rcSiteListError with transfer code -9, and the index stays past the last
// site: later uploads fail the same way at once until getLocalIPAddress
// starts the walk again. A site list that cannot be made gives
// rcSiteListError with transfer code -14. `xoInetCode` (may be null) receives
// the transfer layer's code of the last site tried. rcBadArgument (logged)
// for a null `localFile`, `agentGuid` or `responseFile`. Not thread-safe (the
// running index).
INETMGR_API ResultCode uploadFileAndGetResponse(const wchar_t* localFile, const wchar_t* agentGuid,
                                                const wchar_t* responseFile, long* xoInetCode);

// uploadFileAndGetResponse for a request and a response held in memory. The
// two go through temporary files in $TMPDIR (or /tmp), both removed before the
// call returns whatever happened. rcSuccess with the answer in `response`; -1
// (rcUnexpected) when a temporary file cannot be made, written or read back
// (`response` is then left as it was); the upload's own code otherwise.
// rcBadArgument (logged) for a null `agentGuid`. Not thread-safe.
INETMGR_API ResultCode uploadAndGetResponse(const ABuffer& request, const wchar_t* agentGuid,
                                            ABuffer& response);

// The local IP address this machine uses to reach the management server: a TCP
// connection is opened to each spipe site in turn, from the first, until one
// connects (each waits a few seconds at most), and its local address is the
// answer, as numeric text. rcSuccess; the site list's code when it cannot be
// had, rcSiteListError when no site connects (`address` is then empty). Not
// thread-safe.
INETMGR_API ResultCode getLocalIPAddress(std::wstring& address);

// The same without the site list store: the server's address, name and
// computer name are read from the first spipe site of the agent's site list
// file (getSiteListLocation; a list chosen by setSiteListSource does not
// count) and tried in that order; when none connects, the first address of
// the server's family (IPv6 when its address is one, IPv4 otherwise) among the
// machine's interfaces that are up, in interface order. rcSuccess; -1
// (rcUnexpected, `address` untouched) when the file has no usable spipe site
// or no address of that family exists. Thread-safe.
INETMGR_API ResultCode getLocalIPAddressWithoutInit(std::wstring& address);

// The common library's wide string builder, as far as these hooks need one.
using AString = std::wstring;

// Hooks that collect the server addresses for a sibling product; on this
// platform both do nothing and leave `list` as it is. Thread-safe.
INETMGR_API void createServerIPListForVex(AString& list, const IImSite_ptr& site, bool notFirst);
INETMGR_API void AddServerIPForVex(AString& list);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_AGENT_H
