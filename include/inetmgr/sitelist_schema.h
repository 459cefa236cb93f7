// Element and attribute names of the site list document, shared by its reader
// and its writer. Names compare exactly and case-sensitively.
#ifndef INETMGR_SITELIST_SCHEMA_H
#define INETMGR_SITELIST_SCHEMA_H

namespace corvane_com::zel::xmlschema::sitelist {

// Document root and its attributes.
inline constexpr wchar_t XO_XML_SITELISTS[] = L"SiteLists";
inline constexpr wchar_t XO_XML_SITELISTS_GLOBAL_VERSION[] = L"GlobalVersion";
inline constexpr wchar_t XO_XML_SITELISTS_LOCAL_VERSION[] = L"LocalVersion";
inline constexpr wchar_t XO_XML_NAMESPACE[] = L"xmlns";
inline constexpr wchar_t XO_XML_SITELISTS_NAMESPACE[] = L"urn:corvane-com:zel:sitelist";
inline constexpr wchar_t XO_XML_SITELISTS_TYPE[] = L"ListType";
inline constexpr wchar_t XO_XML_SITELIST_DEFAULT[] = L"Default";

// Children of the root.
inline constexpr wchar_t XO_XML_SITELIST[] = L"SiteList";
inline constexpr wchar_t XO_XML_POLICIES[] = L"Policies";
inline constexpr wchar_t XO_XML_CABUNDLE[] = L"CABundle";
inline constexpr wchar_t XO_XML_CACERTIFICATE[] = L"Certificate";

// Site entries: one element name per protocol.
inline constexpr wchar_t XO_XML_SITELIST_FTP_SITE[] = L"FTPSite";
inline constexpr wchar_t XO_XML_SITELIST_HTTP_SITE[] = L"HttpSite";
inline constexpr wchar_t XO_XML_SITELIST_FTPHTTP_SITE[] = L"FtpHttpSite";
inline constexpr wchar_t XO_XML_SITELIST_SPIPE_SITE[] = L"SpipeSite";
inline constexpr wchar_t XO_XML_SITELIST_SUPERAGENT_SITE[] = L"SuperAgentSite";
inline constexpr wchar_t XO_XML_SITELIST_UNC_SITE[] = L"UNCSite";
inline constexpr wchar_t XO_XML_SITELIST_LOCAL_SITE[] = L"LocalSite";

// Site properties (attributes or child elements of a site entry).
inline constexpr wchar_t XO_XML_SITE_TYPE[] = L"Type";
inline constexpr wchar_t XO_XML_SITE_NAME[] = L"Name";
inline constexpr wchar_t XO_XML_SITE_ORDER[] = L"Order";
inline constexpr wchar_t XO_XML_SITE_LOCAL[] = L"Local";
inline constexpr wchar_t XO_XML_SITE_ENABLED[] = L"Enabled";
inline constexpr wchar_t XO_XML_SITE_ID[] = L"ID";
inline constexpr wchar_t XO_XML_SITE_SERVER[] = L"Server";
inline constexpr wchar_t XO_XML_SITE_SERVER_IP[] = L"ServerIP";
inline constexpr wchar_t XO_XML_SERVER_NETBIOS_NAME[] = L"ServerName";
inline constexpr wchar_t XO_XML_SERVER_PORT[] = L"Port";
inline constexpr wchar_t XO_XML_SSL_PORT[] = L"SecurePort";
inline constexpr wchar_t XO_XML_SITE_RELATIVEPATH[] = L"RelativePath";
inline constexpr wchar_t XO_XML_SITE_USER_NAME[] = L"UserName";
inline constexpr wchar_t XO_XML_SITE_DOMAIN_NAME[] = L"DomainName";
inline constexpr wchar_t XO_XML_SITE_PASSWORD[] = L"Password";
inline constexpr wchar_t XO_XML_SITE_REPLICATION_USER_NAME[] = L"ReplicationUserName";
inline constexpr wchar_t XO_XML_SITE_REPLICATION_DOMAIN_NAME[] = L"ReplicationDomainName";
inline constexpr wchar_t XO_XML_SITE_REPLICATION_PASSWORD[] = L"ReplicationPassword";
inline constexpr wchar_t XO_XML_HTTPSITE_USE_AUTH[] = L"UseAuth";
inline constexpr wchar_t XO_XML_HTTPSITE_REPLICATION_UNC[] = L"ReplicationUNC";
inline constexpr wchar_t XO_XML_UNCSITE_SHARENAME[] = L"ShareName";
inline constexpr wchar_t XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT[] = L"UseLoggedonUserAccount";

// Proxy configuration.
inline constexpr wchar_t XO_XML_PROXY_CONFIG_LIST[] = L"ProxyConfigList";
inline constexpr wchar_t XO_XML_PROXY_CONFIG[] = L"ProxyConfig";
inline constexpr wchar_t XO_XML_PROXY_USE_IE_CONFIG[] = L"UseSystemProxySettings";
inline constexpr wchar_t XO_XML_PROXY_HTTP_PROXY_SERVER[] = L"HTTPProxyServer";
inline constexpr wchar_t XO_XML_PROXY_HTTP_PROXY_PORT[] = L"HTTPProxyPort";
inline constexpr wchar_t XO_XML_PROXY_FTP_PROXY_SERVER[] = L"FTPProxyServer";
inline constexpr wchar_t XO_XML_PROXY_FTP_PROXY_PORT[] = L"FTPProxyPort";
inline constexpr wchar_t XO_XML_PROXY_ALLOWUSERTOCONFIGPROXY[] = L"AllowUserToConfigureProxy";
inline constexpr wchar_t XO_XML_PROXY_BYPASSLOCALADDR[] = L"BypassLocalAddresses";
inline constexpr wchar_t XO_XML_PROXY_HTTP_USEAUTH[] = L"HTTPProxyUseAuth";
inline constexpr wchar_t XO_XML_PROXY_FTP_USEAUTH[] = L"FTPProxyUseAuth";
inline constexpr wchar_t XO_XML_HTTP_PROXY_PROXYUSERNAME[] = L"HTTPProxyUserName";
inline constexpr wchar_t XO_XML_HTTP_PROXY_PROXYPASSWORD[] = L"HTTPProxyPassword";
inline constexpr wchar_t XO_XML_FTP_PROXY_PROXYUSERNAME[] = L"FTPProxyUserName";
inline constexpr wchar_t XO_XML_FTP_PROXY_PROXYPASSWORD[] = L"FTPProxyPassword";
inline constexpr wchar_t XO_XML_PROXY_ALT_HTTP_USEAUTH[] = L"AltHTTPProxyUseAuth";
inline constexpr wchar_t XO_XML_PROXY_ALT_FTP_USEAUTH[] = L"AltFTPProxyUseAuth";
inline constexpr wchar_t XO_XML_HTTP_PROXY_ALT_PROXYUSERNAME[] = L"AltHTTPProxyUserName";
inline constexpr wchar_t XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD[] = L"AltHTTPProxyPassword";
inline constexpr wchar_t XO_XML_FTP_PROXY_ALT_PROXYUSERNAME[] = L"AltFTPProxyUserName";
inline constexpr wchar_t XO_XML_FTP_PROXY_ALT_PROXYPASSWORD[] = L"AltFTPProxyPassword";
inline constexpr wchar_t XO_XML_PROXY_EXCLUSIONLIST[] = L"ExclusionList";
inline constexpr wchar_t XO_XML_PROXY_ADDRLIST[] = L"LocalAddressList";
inline constexpr wchar_t XO_XML_PROXY_RANGE[] = L"Range";
inline constexpr wchar_t XO_XML_PROXY_IPSTART[] = L"Start";
inline constexpr wchar_t XO_XML_PROXY_IPEND[] = L"End";

// Site type words (the fallback type is spelled "fallback" by the library itself).
inline constexpr wchar_t STR_SITE_TYPE_MASTER[] = L"master";
inline constexpr wchar_t STR_SITE_TYPE_REPOSITORY[] = L"repository";
inline constexpr wchar_t STR_SITE_TYPE_MIRROR[] = L"mirror";
inline constexpr wchar_t STR_SITE_TYPE_REMEDIATION[] = L"remediation";

// The written document.
inline constexpr wchar_t XO_XML_FILE_NAME[] = L"SiteList.xml";
inline constexpr wchar_t XML_NULL_STRING[] = L"";
inline constexpr wchar_t XML_IDENTATION_CHARACTER[] = L"\t";
inline constexpr wchar_t XO_ROOT_ATTR_NS_XSI[] = L"xmlns:xsi";
inline constexpr wchar_t XO_ROOT_ATTR_NS_XSI_NAME[] = L"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr wchar_t XO_ROOT_ATTR_NS_SCHEMALOCATION[] = L"xsi:schemaLocation";
inline constexpr wchar_t XO_ROOT_ATTR_NS_SCHEMALOCATION_NAME[] = L"/Orno30/Common/XMLSCH~1/SiteList.xsd";

}  // namespace corvane_com::zel::xmlschema::sitelist

#endif  // INETMGR_SITELIST_SCHEMA_H
