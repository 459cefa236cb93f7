// Turns authored site lists into a SiteList.xml document in the fixed order of
// attributes and elements the agent's tools expect, and replaces the file
// under the process-wide reader/writer lock that the store's reads share.
#include "inetmgr/site_list_writer.h"

#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "core/deadline.h"
#include "core/site_list_file_lock.h"
#include "inetmgr/agent.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/files.h"
#include "platform/interprocess_lock.h"
#include "platform/log.h"
#include "platform/xml.h"

namespace corvane_com::zel::inetmgr {

class SiteListWriterDocument {
 public:
  platform::AdvXMLParser::Document dom;
  // Policy settings (name, value) and CA certificates not yet in the DOM, and
  // the elements that hold those already placed (null until the first is).
  std::vector<std::pair<std::wstring, std::wstring>> pendingPolicies;
  std::vector<std::wstring> pendingCertificates;
  platform::AdvXMLParser::Element policies;
  platform::AdvXMLParser::Element caBundle;
};

namespace {

namespace schema = xmlschema::sitelist;
using Element = platform::AdvXMLParser::Element;
// Attribute and element lists: name, value, name, value, ...
using StringList = std::vector<std::wstring>;

constexpr wchar_t kTag[] = L"sitelis";
constexpr wchar_t kEncrypted[] = L"Encrypted";
// The schema names no element for one excluded host; this is the name the
// server's documents use.
constexpr wchar_t kExclusionHost[] = L"Host";
// The policy block's names are the library's own, not the schema's.
constexpr wchar_t kPolicySetting[] = L"Setting";
constexpr wchar_t kPolicySettingName[] = L"name";

// Empty texts are left out: the reader takes them as absent anyway.
void put(StringList& list, const wchar_t* name, const std::wstring& value) {
  if (value.empty()) return;
  list.emplace_back(name);
  list.push_back(value);
}

// For the few fields whose mere presence the reader looks at.
void putAlways(StringList& list, const wchar_t* name, const std::wstring& value) {
  list.emplace_back(name);
  list.push_back(value);
}

void addAttribute(Element element, const StringList& list) {
  for (std::size_t i = 0; i + 1 < list.size(); i += 2) element.CreateAttribute(list[i], list[i + 1]);
}

void addElement(Element parent, const StringList& list) {
  for (std::size_t i = 0; i + 1 < list.size(); i += 2) parent.AddElementInto(list[i], list[i + 1]);
}

// A list element holding one child per entry; written even when empty.
void addComplexElement(Element parent, const wchar_t* name, const std::vector<StringList>& children,
                       const wchar_t* childName) {
  Element list = parent.AddElement(name);
  for (const StringList& child : children) {
    if (childName == nullptr) {
      addElement(list, child);
    } else {
      addElement(list.AddElement(childName), child);
    }
  }
}

void markEncrypted(Element parent, const wchar_t* passwordName, const UserLoginInfo& credentials) {
  Element password = parent.GetElement(passwordName);
  if (!password.IsNull()) password.CreateAttribute(kEncrypted, credentials.getEncryptedMarker());
}

template <typename T>
UserLoginInfo credentialsOf(ResultCode (T::*getter)(UserLoginInfo*) const, const T& object) {
  UserLoginInfo info;
  (object.*getter)(&info);
  return info;
}

const wchar_t* siteElementName(SiteInfoObjectID id) {
  switch (id) {
    case HttpSiteInfo:
      return schema::XO_XML_SITELIST_HTTP_SITE;
    case FtpSiteInfo:
      return schema::XO_XML_SITELIST_FTP_SITE;
    case UncSiteInfo:
      return schema::XO_XML_SITELIST_UNC_SITE;
    case LocalSiteInfo:
      return schema::XO_XML_SITELIST_LOCAL_SITE;
    case SpipeSiteInfo:
      return schema::XO_XML_SITELIST_SPIPE_SITE;
    case SuperAgentSiteInfo:
      return schema::XO_XML_SITELIST_SUPERAGENT_SITE;
  }
  return nullptr;
}

StringList generateRootAttributes(const std::wstring& globalVersion, const std::wstring& localVersion,
                                  const std::wstring& listType) {
  StringList list;
  put(list, schema::XO_XML_NAMESPACE, schema::XO_XML_SITELISTS_NAMESPACE);
  put(list, schema::XO_XML_SITELISTS_GLOBAL_VERSION, globalVersion);
  put(list, schema::XO_XML_SITELISTS_LOCAL_VERSION, localVersion);
  put(list, schema::XO_XML_SITELISTS_TYPE, listType);
  put(list, schema::XO_ROOT_ATTR_NS_XSI, schema::XO_ROOT_ATTR_NS_XSI_NAME);
  put(list, schema::XO_ROOT_ATTR_NS_SCHEMALOCATION, schema::XO_ROOT_ATTR_NS_SCHEMALOCATION_NAME);
  return list;
}

StringList generateSiteListAttributes(const SiteList& siteList) {
  StringList list;
  put(list, schema::XO_XML_SITELIST_DEFAULT, siteList.getSiteListDefault());
  put(list, schema::XO_XML_SITE_NAME, siteList.getSiteListName());
  return list;
}

// A site without a name is dropped by the reader, and a present empty name is
// not, so the name is always written.
StringList generateSiteAttributes(const SiteInfo& site) {
  StringList list;
  switch (site.getSiteInfoObjectID()) {
    case SpipeSiteInfo:
      // The reader judges an spipe site by the presence of these fields.
      putAlways(list, schema::XO_XML_SITE_NAME, site.getSiteName());
      put(list, schema::XO_XML_SITE_SERVER, site.getSiteServer());
      putAlways(list, schema::XO_XML_SITE_SERVER_IP, site.getServerIP());
      put(list, schema::XO_XML_SITE_TYPE, site.getSiteType());
      putAlways(list, schema::XO_XML_SERVER_NETBIOS_NAME, site.getSiteServerName());
      put(list, schema::XO_XML_SITE_ID, site.getSiteID());
      break;
    case SuperAgentSiteInfo:
      put(list, schema::XO_XML_SITE_TYPE, site.getSiteType());
      put(list, schema::XO_XML_SITE_SERVER, site.getSiteServer());
      putAlways(list, schema::XO_XML_SITE_NAME, site.getSiteName());
      put(list, schema::XO_XML_SITE_ID, site.getSiteID());
      break;
    default:
      put(list, schema::XO_XML_SITE_TYPE, site.getSiteType());
      put(list, schema::XO_XML_SITE_SERVER, site.getSiteServer());
      putAlways(list, schema::XO_XML_SITE_NAME, site.getSiteName());
      put(list, schema::XO_XML_SITE_ID, site.getSiteID());
      put(list, schema::XO_XML_SITE_LOCAL, site.getSiteLocal());
      break;
  }
  put(list, schema::XO_XML_SITE_ORDER, site.getSiteOrder());
  put(list, schema::XO_XML_SITE_ENABLED, site.getSiteAvailabilityStatus());
  put(list, schema::XO_XML_SSL_PORT, site.getSiteSecurePort());
  put(list, schema::XO_XML_SERVER_PORT, site.getSitePort());
  return list;
}

StringList generateSiteElements(const SiteInfo& site) {
  const UserLoginInfo login = credentialsOf(&SiteInfo::getUsernamePassword, site);
  const UserLoginInfo replication = credentialsOf(&SiteInfo::getReplicationUsernamePassword, site);
  StringList list;
  switch (site.getSiteInfoObjectID()) {
    case HttpSiteInfo:
      put(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      put(list, schema::XO_XML_HTTPSITE_USE_AUTH, site.getUserAuth());
      put(list, schema::XO_XML_SITE_USER_NAME, login.getUserName());
      put(list, schema::XO_XML_SITE_PASSWORD, login.getPassword());
      put(list, schema::XO_XML_HTTPSITE_REPLICATION_UNC, site.getReplicationUNCName());
      put(list, schema::XO_XML_SITE_REPLICATION_DOMAIN_NAME, site.getReplicationDomainName());
      put(list, schema::XO_XML_SITE_REPLICATION_USER_NAME, replication.getUserName());
      put(list, schema::XO_XML_SITE_REPLICATION_PASSWORD, replication.getPassword());
      break;
    case FtpSiteInfo:
      put(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      put(list, schema::XO_XML_SITE_USER_NAME, login.getUserName());
      put(list, schema::XO_XML_SITE_PASSWORD, login.getPassword());
      put(list, schema::XO_XML_SITE_REPLICATION_USER_NAME, replication.getUserName());
      put(list, schema::XO_XML_SITE_REPLICATION_PASSWORD, replication.getPassword());
      break;
    case UncSiteInfo:
      put(list, schema::XO_XML_UNCSITE_SHARENAME, site.getShareName());
      put(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      put(list, schema::XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, site.getUserlogonInfo());
      put(list, schema::XO_XML_SITE_DOMAIN_NAME, site.getDomainName());
      put(list, schema::XO_XML_SITE_USER_NAME, login.getUserName());
      put(list, schema::XO_XML_SITE_PASSWORD, login.getPassword());
      put(list, schema::XO_XML_SITE_REPLICATION_DOMAIN_NAME, site.getReplicationDomainName());
      put(list, schema::XO_XML_SITE_REPLICATION_USER_NAME, replication.getUserName());
      put(list, schema::XO_XML_SITE_REPLICATION_PASSWORD, replication.getPassword());
      break;
    case LocalSiteInfo:
      put(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      put(list, schema::XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, site.getUserlogonInfo());
      put(list, schema::XO_XML_SITE_DOMAIN_NAME, site.getDomainName());
      put(list, schema::XO_XML_SITE_USER_NAME, login.getUserName());
      put(list, schema::XO_XML_SITE_PASSWORD, login.getPassword());
      break;
    case SpipeSiteInfo:
      // Part of what makes an spipe site valid to the reader.
      putAlways(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      break;
    case SuperAgentSiteInfo:
      put(list, schema::XO_XML_SITE_RELATIVEPATH, site.getRelativePath());
      break;
  }
  return list;
}

StringList generateProxyConfigAttributes(const ProxyConfigInfo& proxy) {
  StringList list;
  put(list, schema::XO_XML_SITE_NAME, proxy.getProxyName());
  put(list, schema::XO_XML_PROXY_USE_IE_CONFIG, proxy.getUseIEConfig());
  put(list, schema::XO_XML_PROXY_HTTP_PROXY_SERVER, proxy.getHttpProxyServer());
  put(list, schema::XO_XML_PROXY_HTTP_PROXY_PORT, proxy.getHttpProxyPort());
  put(list, schema::XO_XML_PROXY_FTP_PROXY_SERVER, proxy.getFtpProxyServer());
  put(list, schema::XO_XML_PROXY_FTP_PROXY_PORT, proxy.getFtpProxyPort());
  put(list, schema::XO_XML_SITE_LOCAL, proxy.getProxyLocal());
  put(list, schema::XO_XML_SITE_ID, proxy.getProxyID());
  return list;
}

StringList generateProxyConfigSimpleElements(const ProxyConfigInfo& proxy) {
  const UserLoginInfo http = credentialsOf(&ProxyConfigInfo::getHttpProxyUsernamePassword, proxy);
  const UserLoginInfo ftp = credentialsOf(&ProxyConfigInfo::getFtpProxyUsernamePassword, proxy);
  const UserLoginInfo altHttp = credentialsOf(&ProxyConfigInfo::getAltHttpProxyUsernamePassword, proxy);
  const UserLoginInfo altFtp = credentialsOf(&ProxyConfigInfo::getAltFtpProxyUsernamePassword, proxy);
  StringList list;
  put(list, schema::XO_XML_PROXY_ALLOWUSERTOCONFIGPROXY, proxy.getAllowUserToConfigureProxy());
  put(list, schema::XO_XML_PROXY_BYPASSLOCALADDR, proxy.getBypassLocalAddr());
  put(list, schema::XO_XML_PROXY_HTTP_USEAUTH, proxy.getHttpUseAuth());
  put(list, schema::XO_XML_HTTP_PROXY_PROXYUSERNAME, http.getUserName());
  put(list, schema::XO_XML_HTTP_PROXY_PROXYPASSWORD, http.getPassword());
  put(list, schema::XO_XML_PROXY_FTP_USEAUTH, proxy.getFtpUseAuth());
  put(list, schema::XO_XML_FTP_PROXY_PROXYUSERNAME, ftp.getUserName());
  put(list, schema::XO_XML_FTP_PROXY_PROXYPASSWORD, ftp.getPassword());
  // Deliberate: the alternate HTTP flag goes out under the alternate FTP name,
  // and no alternate HTTP use-auth element is ever written.
  put(list, schema::XO_XML_PROXY_ALT_FTP_USEAUTH, proxy.getAltHttpUseAuth());
  put(list, schema::XO_XML_HTTP_PROXY_ALT_PROXYUSERNAME, altHttp.getUserName());
  put(list, schema::XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD, altHttp.getPassword());
  put(list, schema::XO_XML_PROXY_ALT_FTP_USEAUTH, proxy.getAltFtpUseAuth());
  put(list, schema::XO_XML_FTP_PROXY_ALT_PROXYUSERNAME, altFtp.getUserName());
  put(list, schema::XO_XML_FTP_PROXY_ALT_PROXYPASSWORD, altFtp.getPassword());
  return list;
}

std::vector<StringList> getProxyConfigExclusionHosts(const ProxyConfigInfo& proxy) {
  std::vector<std::wstring> hosts;
  proxy.getExlusionHosts(&hosts);
  std::vector<StringList> children;
  for (const std::wstring& host : hosts) {
    StringList child;
    put(child, kExclusionHost, host);
    if (!child.empty()) children.push_back(std::move(child));
  }
  return children;
}

std::vector<StringList> getProxyConfigLocalAddressRange(const ProxyConfigInfo& proxy) {
  std::vector<std::shared_ptr<IPAddressRange>> ranges;
  proxy.getLocalAddrRanges(&ranges);
  std::vector<StringList> children;
  for (const std::shared_ptr<IPAddressRange>& range : ranges) {
    StringList child;
    put(child, schema::XO_XML_PROXY_IPSTART, range->getStartAddress());
    put(child, schema::XO_XML_PROXY_IPEND, range->getEndAddress());
    children.push_back(std::move(child));
  }
  return children;
}

void generateProxyConfigComplexElements(const ProxyConfigInfo& proxy, Element proxyElement) {
  addComplexElement(proxyElement, schema::XO_XML_PROXY_EXCLUSIONLIST, getProxyConfigExclusionHosts(proxy),
                    nullptr);
  addComplexElement(proxyElement, schema::XO_XML_PROXY_ADDRLIST, getProxyConfigLocalAddressRange(proxy),
                    schema::XO_XML_PROXY_RANGE);
}

void addSite(Element siteListElement, const SiteInfo& site) {
  const wchar_t* name = siteElementName(site.getSiteInfoObjectID());
  if (name == nullptr) {
    platform::logError(kTag, L"Skipped a site of unknown kind " +
                                 std::to_wstring(static_cast<int>(site.getSiteInfoObjectID())));
    return;
  }
  Element siteElement = siteListElement.AddElement(name);
  addAttribute(siteElement, generateSiteAttributes(site));
  addElement(siteElement, generateSiteElements(site));
  markEncrypted(siteElement, schema::XO_XML_SITE_PASSWORD,
                credentialsOf(&SiteInfo::getUsernamePassword, site));
  markEncrypted(siteElement, schema::XO_XML_SITE_REPLICATION_PASSWORD,
                credentialsOf(&SiteInfo::getReplicationUsernamePassword, site));
}

void addProxy(Element proxyListElement, const ProxyConfigInfo& proxy) {
  Element proxyElement = proxyListElement.AddElement(schema::XO_XML_PROXY_CONFIG);
  addAttribute(proxyElement, generateProxyConfigAttributes(proxy));
  addElement(proxyElement, generateProxyConfigSimpleElements(proxy));
  markEncrypted(proxyElement, schema::XO_XML_HTTP_PROXY_PROXYPASSWORD,
                credentialsOf(&ProxyConfigInfo::getHttpProxyUsernamePassword, proxy));
  markEncrypted(proxyElement, schema::XO_XML_FTP_PROXY_PROXYPASSWORD,
                credentialsOf(&ProxyConfigInfo::getFtpProxyUsernamePassword, proxy));
  // Deliberate: the alternate markers land on the main password elements,
  // replacing the markers just set, and the alternate passwords get none.
  markEncrypted(proxyElement, schema::XO_XML_HTTP_PROXY_PROXYPASSWORD,
                credentialsOf(&ProxyConfigInfo::getAltHttpProxyUsernamePassword, proxy));
  markEncrypted(proxyElement, schema::XO_XML_FTP_PROXY_PROXYPASSWORD,
                credentialsOf(&ProxyConfigInfo::getAltFtpProxyUsernamePassword, proxy));
  generateProxyConfigComplexElements(proxy, proxyElement);
}

// Moves the pending policy settings and certificates into the document, each
// kind into its one element, made after everything already there. An entry
// leaves the pending list only once it is in place: running out of memory half
// way loses none.
void placePending(SiteListWriterDocument& document) {
  Element root = document.dom.GetRoot();
  auto& policies = document.pendingPolicies;
  if (!policies.empty() && document.policies.IsNull()) {
    document.policies = root.AddElement(schema::XO_XML_POLICIES);
  }
  while (!policies.empty()) {
    document.policies.AddElementInto(kPolicySetting, policies.front().second)
        .CreateAttribute(kPolicySettingName, policies.front().first);
    policies.erase(policies.begin());
  }
  auto& certificates = document.pendingCertificates;
  if (!certificates.empty() && document.caBundle.IsNull()) {
    document.caBundle = root.AddElement(schema::XO_XML_CABUNDLE);
  }
  while (!certificates.empty()) {
    document.caBundle.AddElementInto(schema::XO_XML_CACERTIFICATE, certificates.front());
    certificates.erase(certificates.begin());
  }
}

}  // namespace

SiteListWriter::SiteListWriter(std::wstring global, std::wstring local, std::wstring type)
    : globalVersion(std::move(global)), localVersion(std::move(local)), listType(std::move(type)) {
  platform::ADetailTrace trace(kTag, L"SiteListWriter::SiteListWriter");
  getSiteListLocation(siteListLocation);
  try {
    auto created = std::make_shared<SiteListWriterDocument>();
    created->dom = platform::AdvXMLParser::Document::CreateWithRoot(schema::XO_XML_SITELISTS);
    addAttribute(created->dom.GetRoot(), generateRootAttributes(globalVersion, localVersion, listType));
    document = std::move(created);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Failed to instantiate the site list document");
  }
}

SiteListWriter::~SiteListWriter() = default;
SiteListWriter::SiteListWriter(SiteListWriter&& other) noexcept = default;
SiteListWriter& SiteListWriter::operator=(SiteListWriter&& other) noexcept = default;

bool SiteListWriter::resetSiteListLocation(const wchar_t* newLocation) {
  INETMGR_ASSERT(newLocation != nullptr, "0!=newLocation");
  siteListLocation = newLocation;
  return true;
}

ResultCode SiteListWriter::addSiteList(SiteList& siteList) {
  platform::ADetailTrace trace(kTag, L"SiteListWriter::addSiteList");
  if (!document) return rcOutOfMemory;
  try {
    Element siteListElement = document->dom.GetRoot().AddElement(schema::XO_XML_SITELIST);
    addAttribute(siteListElement, generateSiteListAttributes(siteList));
    std::vector<std::shared_ptr<SiteInfo>> sites;
    siteList.getSiteInfoObjects(sites);
    for (const std::shared_ptr<SiteInfo>& site : sites) {
      if (!site->isEmptyObject()) addSite(siteListElement, *site);
    }
    // Inside the site list element: the reader finds proxies among the sites.
    Element proxyListElement = siteListElement.AddElement(schema::XO_XML_PROXY_CONFIG_LIST);
    StringList useSystem;
    put(useSystem, schema::XO_XML_PROXY_USE_IE_CONFIG, siteList.getProxyConfigListUseIEConfig());
    addAttribute(proxyListElement, useSystem);
    std::vector<std::shared_ptr<ProxyConfigInfo>> proxies;
    siteList.getProxyConfigObjects(proxies);
    for (const std::shared_ptr<ProxyConfigInfo>& proxy : proxies) {
      if (!proxy->isEmptyObject()) addProxy(proxyListElement, *proxy);
    }
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Out of memory while adding a site list to the document");
    return rcOutOfMemory;
  }
  return rcSuccess;
}

ResultCode SiteListWriter::addPolicySetting(const std::wstring& name, const std::wstring& value) {
  if (!document) return rcOutOfMemory;
  try {
    document->pendingPolicies.emplace_back(name, value);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Out of memory while adding a policy setting");
    return rcOutOfMemory;
  }
  return rcSuccess;
}

ResultCode SiteListWriter::addCACertificate(const std::wstring& base64Body) {
  if (!document) return rcOutOfMemory;
  try {
    document->pendingCertificates.push_back(base64Body);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Out of memory while adding a CA certificate");
    return rcOutOfMemory;
  }
  return rcSuccess;
}

ResultCode SiteListWriter::writeSiteList(unsigned int timeoutSeconds) {
  platform::ADetailTrace trace(kTag, L"SiteListWriter::writeSiteList");
  if (!document) return rcOutOfMemory;
  std::unique_lock<std::shared_timed_mutex> lock(siteListFileMutex(), std::defer_lock);
  try {
    if (!lock.try_lock_until(getTimePlus(timeoutSeconds))) {
      platform::logError(kTag, L"Timeout in acquiring write lock for SiteList.xml");
      return rcUnexpected;
    }
  } catch (const std::system_error&) {
    platform::logError(kTag, L"Lock error in acquiring write lock for SiteList.xml");
    return rcLockFailed;
  }
  try {
    placePending(*document);
    const std::string text = document->dom.ToText(schema::XML_IDENTATION_CHARACTER);
    if (siteListLocation.empty()) {
      platform::logError(kTag, L"No location to write SiteList.xml to");
      return rcNotInitialized;
    }
    // Other processes' readers and writers of the file take the same named lock.
    platform::InterProcessWriteLock fileLock(kSiteListFileLockName);
    if (!fileLock.lock(static_cast<unsigned long>(timeoutSeconds) * 1000UL)) {
      if (fileLock.lastError() != 0) {
        platform::logError(kTag, L"Lock error in acquiring write lock for SiteList.xml: " +
                                     fileLock.lastErrorText() + L" (" + fileLock.lockFilePath(fileLock.name()) + L")");
        return rcLockFailed;
      }
      platform::logError(kTag, L"Timeout in acquiring write lock for SiteList.xml");
      return rcUnexpected;
    }
    if (!platform::AFile::write(siteListLocation, text)) {
      platform::logError(kTag, L"SiteList.xml write failed");
      return rcUnexpected;
    }
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"SiteList.xml write failed");
    return rcOutOfMemory;
  }
  return rcSuccess;
}

ResultCode SiteListWriter::acquireReadLock(std::shared_ptr<std::shared_lock<std::shared_timed_mutex>>& lock,
                                           unsigned int timeoutSeconds) {
  return acquireSiteListReadLock(lock, timeoutSeconds);
}

}  // namespace corvane_com::zel::inetmgr
