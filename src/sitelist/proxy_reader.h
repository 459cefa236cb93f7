// Reading the proxy configuration elements of a site list into the proxy
// records that the store keeps and hands to the FTP and HTTP sites.
#ifndef INETMGR_SITELIST_PROXY_READER_H
#define INETMGR_SITELIST_PROXY_READER_H

#include <vector>

#include "inetmgr/result_code.h"
#include "inetmgr/xoinet.h"
#include "platform/xml.h"

namespace corvane_com::zel::inetmgr {

// Reads one XO_XML_PROXY_CONFIG element into `params`. `type` is
// XO_XML_PROXY_HTTP_PROXY_SERVER or XO_XML_PROXY_FTP_PROXY_SERVER to read only
// that kind of proxy, or null/empty to read both. Returns rcSuccess;
// rcBadSchema for an element of another name, rcBadArgument for an unknown
// `type`, rcNotFound when the wanted server or port is missing, empty or not a
// number. `params` changes only on rcSuccess. Thread-safe.
ResultCode ReadProxyConfig(const platform::AdvXMLParser::Element& element, xoInet::CProxyParams& params,
                           const wchar_t* type);

// Appends a record for every readable XO_XML_PROXY_CONFIG child of an
// XO_XML_PROXY_CONFIG_LIST element to `out`, in document order; unreadable ones
// are logged and skipped. `useSystemConfig` becomes the list's
// XO_XML_PROXY_USE_IE_CONFIG attribute ("1" is true, anything else false).
// Thread-safe.
void readProxyConfigList(const platform::AdvXMLParser::Element& proxyConfigListElement,
                         std::vector<xoInet::CProxyParams>& out, bool& useSystemConfig);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITELIST_PROXY_READER_H
