// The authoring model: value holders for one site list's sites and proxy
// settings, filled by a caller and read by the site list writer.
#include "inetmgr/site_list_writer.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"sitelis";

ResultCode copyOut(const UserLoginInfo& stored, UserLoginInfo* info) {
  if (info == nullptr) return rcUnexpected;
  *info = stored;
  return rcSuccess;
}

template <typename T>
ResultCode copyOut(const std::vector<T>& stored, std::vector<T>* out) {
  if (out == nullptr) return rcUnexpected;
  *out = stored;
  return rcSuccess;
}

// Appends a new default object; null when memory runs out.
template <typename T, typename... Args>
T* appendNew(std::vector<std::shared_ptr<T>>& list, const wchar_t* failure, Args... args) {
  try {
    list.push_back(std::make_shared<T>(args...));
    return list.back().get();
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, failure);
    return nullptr;
  }
}

}  // namespace

UserLoginInfo::UserLoginInfo(const std::wstring& userName, const std::wstring& password,
                             const std::wstring& encryptedMarker)
    : userName_(userName), password_(password), encryptedMarker_(encryptedMarker) {}

bool UserLoginInfo::isEmpty() const {
  return userName_.empty() && password_.empty() && encryptedMarker_.empty();
}

IPAddressRange::IPAddressRange(const std::wstring& startAddress, const std::wstring& endAddress,
                               const std::wstring& label)
    : startAddress_(startAddress), endAddress_(endAddress), label_(label) {}

SiteInfo::SiteInfo(SiteInfoObjectID id) : objectID_(id) {}

// Every plain setter and credential pair has one of these two shapes.
#define INETMGR_SETTER(Class, name, member)           \
  ResultCode Class::name(const std::wstring& value) { \
    (member) = value;                                 \
    return rcSuccess;                                 \
  }
#define INETMGR_CREDENTIALS(Class, setter, getter, member) \
  ResultCode Class::setter(const UserLoginInfo& info) {    \
    (member) = info;                                       \
    return rcSuccess;                                      \
  }                                                        \
  ResultCode Class::getter(UserLoginInfo* info) const {    \
    return copyOut(member, info);                          \
  }

INETMGR_SETTER(SiteInfo, setSiteName, siteName_)
INETMGR_SETTER(SiteInfo, setSiteServer, siteServer_)
INETMGR_SETTER(SiteInfo, setSiteServerIP, serverIP_)
INETMGR_SETTER(SiteInfo, setSiteServerName, serverName_)
INETMGR_SETTER(SiteInfo, setSiteType, siteType_)
INETMGR_SETTER(SiteInfo, setSiteID, siteID_)
INETMGR_SETTER(SiteInfo, setSiteAvailabilityStatus, availabilityStatus_)
INETMGR_SETTER(SiteInfo, setSiteOrder, siteOrder_)
INETMGR_SETTER(SiteInfo, setSiteLocal, siteLocal_)
INETMGR_SETTER(SiteInfo, setRelativePath, relativePath_)
INETMGR_SETTER(SiteInfo, setUserAuth, userAuth_)
INETMGR_CREDENTIALS(SiteInfo, setUsernamePassword, getUsernamePassword, credentials_)
INETMGR_SETTER(SiteInfo, setShareName, shareName_)
INETMGR_SETTER(SiteInfo, setUserlogonInfo, userLogonInfo_)
INETMGR_SETTER(SiteInfo, setDomainName, domainName_)
INETMGR_SETTER(SiteInfo, setReplicationUNCName, replicationUNCName_)
INETMGR_SETTER(SiteInfo, setReplicationDomainName, replicationDomainName_)
INETMGR_CREDENTIALS(SiteInfo, setReplicationUsernamePassword, getReplicationUsernamePassword,
                    replicationCredentials_)
INETMGR_SETTER(SiteInfo, setSitePort, sitePort_)
INETMGR_SETTER(SiteInfo, setSiteSecurePort, siteSecurePort_)

bool SiteInfo::isEmptyObject() const {
  // The ports are left out on purpose: a site that is empty by its classic
  // fields stays empty, whatever ports it was given.
  for (const std::wstring* text :
       {&siteName_, &siteServer_, &serverIP_, &serverName_, &siteType_, &siteID_, &availabilityStatus_,
        &siteOrder_, &siteLocal_, &relativePath_, &userAuth_, &shareName_, &userLogonInfo_, &domainName_,
        &replicationUNCName_, &replicationDomainName_}) {
    if (!text->empty()) return false;
  }
  return credentials_.isEmpty() && replicationCredentials_.isEmpty();
}

INETMGR_SETTER(ProxyConfigInfo, setProxyName, proxyName_)
INETMGR_SETTER(ProxyConfigInfo, setProxyID, proxyID_)
INETMGR_SETTER(ProxyConfigInfo, setHttpProxyServer, httpProxyServer_)
INETMGR_SETTER(ProxyConfigInfo, setHttpProxyPort, httpProxyPort_)
INETMGR_SETTER(ProxyConfigInfo, setFtpProxyServer, ftpProxyServer_)
INETMGR_SETTER(ProxyConfigInfo, setFtpProxyPort, ftpProxyPort_)
INETMGR_SETTER(ProxyConfigInfo, setProxyLocal, proxyLocal_)
INETMGR_SETTER(ProxyConfigInfo, setUseIEConfig, useIEConfig_)
INETMGR_SETTER(ProxyConfigInfo, setAllowUserToConfigureProxy, allowUserToConfigureProxy_)
INETMGR_SETTER(ProxyConfigInfo, setBypassLocalAddr, bypassLocalAddr_)
INETMGR_SETTER(ProxyConfigInfo, setHttpUseAuth, httpUseAuth_)
INETMGR_CREDENTIALS(ProxyConfigInfo, setHttpProxyUsernamePassword, getHttpProxyUsernamePassword,
                    httpProxyCredentials_)
INETMGR_SETTER(ProxyConfigInfo, setFtpUseAuth, ftpUseAuth_)
INETMGR_CREDENTIALS(ProxyConfigInfo, setFtpProxyUsernamePassword, getFtpProxyUsernamePassword,
                    ftpProxyCredentials_)
INETMGR_SETTER(ProxyConfigInfo, setAltHttpUseAuth, altHttpUseAuth_)
INETMGR_CREDENTIALS(ProxyConfigInfo, setAltHttpProxyUsernamePassword, getAltHttpProxyUsernamePassword,
                    altHttpProxyCredentials_)
INETMGR_SETTER(ProxyConfigInfo, setAltFtpUseAuth, altFtpUseAuth_)
INETMGR_CREDENTIALS(ProxyConfigInfo, setAltFtpProxyUsernamePassword, getAltFtpProxyUsernamePassword,
                    altFtpProxyCredentials_)

#undef INETMGR_SETTER
#undef INETMGR_CREDENTIALS

ResultCode ProxyConfigInfo::addLocalAddrRange(const IPAddressRange& range) {
  return appendNew(localAddrRanges_, L"Failed to instantiate IPAddressRange object", range) ? rcSuccess
                                                                                            : rcOutOfMemory;
}

ResultCode ProxyConfigInfo::getLocalAddrRanges(std::vector<std::shared_ptr<IPAddressRange>>* ranges) const {
  return copyOut(localAddrRanges_, ranges);
}

ResultCode ProxyConfigInfo::addExclusionHost(const std::wstring& host) {
  try {
    exclusionHosts_.push_back(host);
    return rcSuccess;
  } catch (const std::bad_alloc&) {
    return rcOutOfMemory;
  }
}

ResultCode ProxyConfigInfo::getExlusionHosts(std::vector<std::wstring>* hosts) const {
  return copyOut(exclusionHosts_, hosts);
}

bool ProxyConfigInfo::isEmptyObject() const {
  // The alternate proxy fields are deliberately left out of this test.
  for (const std::wstring* text :
       {&proxyName_, &proxyID_, &httpProxyServer_, &httpProxyPort_, &ftpProxyServer_, &ftpProxyPort_,
        &proxyLocal_, &useIEConfig_, &allowUserToConfigureProxy_, &bypassLocalAddr_, &httpUseAuth_,
        &ftpUseAuth_}) {
    if (!text->empty()) return false;
  }
  return httpProxyCredentials_.isEmpty() && ftpProxyCredentials_.isEmpty() && localAddrRanges_.empty() &&
         exclusionHosts_.empty();
}

SiteList::SiteList(const std::wstring& name, const std::wstring& defaultSite)
    : siteListName_(name), siteListDefault_(defaultSite) {}

ResultCode SiteList::setProxyConfigListUseIEOption(const std::wstring& value) {
  proxyConfigListUseIEConfig_ = value;
  return rcSuccess;
}

SiteInfo* SiteList::getSiteInfoObject(SiteInfoObjectID id) {
  platform::ADetailTrace trace(kTag, L"SiteList::getSiteInfoObject");
  return appendNew(siteInfoObjects_, L"Failed to instantiate SiteInfo object", id);
}

ProxyConfigInfo* SiteList::getProxyConfigInfoObject() {
  platform::ADetailTrace trace(kTag, L"SiteList::getProxyConfigInfoObject");
  return appendNew(proxyConfigObjects_, L"Failed to instantiate ProxyConfigInfo object");
}

ResultCode SiteList::getSiteInfoObjects(std::vector<std::shared_ptr<SiteInfo>>& objects) const {
  objects = siteInfoObjects_;
  return rcSuccess;
}

ResultCode SiteList::getProxyConfigObjects(std::vector<std::shared_ptr<ProxyConfigInfo>>& objects) const {
  objects = proxyConfigObjects_;
  return rcSuccess;
}

}  // namespace corvane_com::zel::inetmgr
