// The authoring model's setters, each under the name its field has in the
// site list document, so that tests can fill or probe every field from a table.
#ifndef INETMGR_TESTS_AUTHORING_FIELDS_H
#define INETMGR_TESTS_AUTHORING_FIELDS_H

#include <string>

#include "inetmgr/site_list_writer.h"

namespace inetmgr_test {

template <typename T>
struct TextField {
  const char* name;
  corvane_com::zel::inetmgr::ResultCode (T::*set)(const std::wstring&);
};

// A credential pair, named by its user name field; `password` names the other.
template <typename T>
struct LoginField {
  const char* name;
  const char* password;
  corvane_com::zel::inetmgr::ResultCode (T::*set)(const corvane_com::zel::inetmgr::UserLoginInfo&);
  corvane_com::zel::inetmgr::ResultCode (T::*get)(corvane_com::zel::inetmgr::UserLoginInfo*) const;
};

using Site = corvane_com::zel::inetmgr::SiteInfo;
using Proxy = corvane_com::zel::inetmgr::ProxyConfigInfo;

inline constexpr TextField<Site> kSiteTexts[] = {
    {"Name", &Site::setSiteName}, {"Server", &Site::setSiteServer}, {"ServerIP", &Site::setSiteServerIP},
    {"ServerName", &Site::setSiteServerName}, {"Type", &Site::setSiteType}, {"ID", &Site::setSiteID},
    {"Enabled", &Site::setSiteAvailabilityStatus}, {"Order", &Site::setSiteOrder},
    {"Local", &Site::setSiteLocal}, {"RelativePath", &Site::setRelativePath}, {"UseAuth", &Site::setUserAuth},
    {"ShareName", &Site::setShareName}, {"UseLoggedonUserAccount", &Site::setUserlogonInfo},
    {"DomainName", &Site::setDomainName}, {"ReplicationUNC", &Site::setReplicationUNCName},
    {"ReplicationDomainName", &Site::setReplicationDomainName}};

inline constexpr LoginField<Site> kSiteLogins[] = {
    {"UserName", "Password", &Site::setUsernamePassword, &Site::getUsernamePassword},
    {"ReplicationUserName", "ReplicationPassword", &Site::setReplicationUsernamePassword,
     &Site::getReplicationUsernamePassword}};

inline constexpr TextField<Proxy> kProxyTexts[] = {
    {"Name", &Proxy::setProxyName}, {"ID", &Proxy::setProxyID},
    {"HTTPProxyServer", &Proxy::setHttpProxyServer}, {"HTTPProxyPort", &Proxy::setHttpProxyPort},
    {"FTPProxyServer", &Proxy::setFtpProxyServer}, {"FTPProxyPort", &Proxy::setFtpProxyPort},
    {"Local", &Proxy::setProxyLocal},
    {"UseSystemProxySettings", &Proxy::setUseIEConfig},
    {"AllowUserToConfigureProxy", &Proxy::setAllowUserToConfigureProxy},
    {"BypassLocalAddresses", &Proxy::setBypassLocalAddr}, {"HTTPProxyUseAuth", &Proxy::setHttpUseAuth},
    {"FTPProxyUseAuth", &Proxy::setFtpUseAuth}, {"AltHTTPProxyUseAuth", &Proxy::setAltHttpUseAuth},
    {"AltFTPProxyUseAuth", &Proxy::setAltFtpUseAuth}};

inline constexpr LoginField<Proxy> kProxyLogins[] = {
    {"HTTPProxyUserName", "HTTPProxyPassword", &Proxy::setHttpProxyUsernamePassword,
     &Proxy::getHttpProxyUsernamePassword},
    {"FTPProxyUserName", "FTPProxyPassword", &Proxy::setFtpProxyUsernamePassword,
     &Proxy::getFtpProxyUsernamePassword},
    {"AltHTTPProxyUserName", "AltHTTPProxyPassword", &Proxy::setAltHttpProxyUsernamePassword,
     &Proxy::getAltHttpProxyUsernamePassword},
    {"AltFTPProxyUserName", "AltFTPProxyPassword", &Proxy::setAltFtpProxyUsernamePassword,
     &Proxy::getAltFtpProxyUsernamePassword}};

inline std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_AUTHORING_FIELDS_H
