// Authoring site lists: the value holders a caller fills with sites and proxy
// settings, and the writer that turns them into the agent's SiteList.xml.
#ifndef INETMGR_SITE_LIST_WRITER_H
#define INETMGR_SITE_LIST_WRITER_H

#include <memory>
#include <shared_mutex>
#include <string>
#include <vector>

#include "inetmgr/export.h"
#include "inetmgr/result_code.h"

namespace corvane_com::zel::inetmgr {

// All classes below are plain values: nothing is validated, texts (flags and
// numbers included) are written out as they stand, and one object is used by
// one thread at a time.

// A user name, its password and a third text that travels with them; the
// writer puts the third text in the password element's "Encrypted" attribute.
class INETMGR_API UserLoginInfo {
 public:
  // All three texts empty.
  UserLoginInfo() = default;
  UserLoginInfo(const std::wstring& userName, const std::wstring& password,
                const std::wstring& encryptedMarker);
  std::wstring getUserName() const { return userName_; }
  std::wstring getPassword() const { return password_; }
  std::wstring getEncryptedMarker() const { return encryptedMarker_; }
  // True when all three texts are empty.
  bool isEmpty() const;

 private:
  std::wstring userName_;
  std::wstring password_;
  std::wstring encryptedMarker_;
};

// One local address range that bypasses a proxy. The writer writes the start
// and end addresses; the label is the caller's own and has no place in the
// document.
class INETMGR_API IPAddressRange {
 public:
  IPAddressRange() = default;
  IPAddressRange(const std::wstring& startAddress, const std::wstring& endAddress, const std::wstring& label);
  std::wstring getStartAddress() const { return startAddress_; }
  std::wstring getEndAddress() const { return endAddress_; }
  std::wstring getLabel() const { return label_; }

 private:
  std::wstring startAddress_;
  std::wstring endAddress_;
  std::wstring label_;
};

// The kind of site element a SiteInfo becomes in the document.
enum SiteInfoObjectID : int {
  HttpSiteInfo = 0,
  FtpSiteInfo = 1,
  UncSiteInfo = 2,
  LocalSiteInfo = 3,
  SpipeSiteInfo = 4,
  SuperAgentSiteInfo = 5,
};

// One site. Setters copy their argument and return rcSuccess; getters return
// copies. Credential getters return rcUnexpected for a null `info` and
// otherwise copy all three texts out and return rcSuccess. The site type is a
// site type word of the schema or "fallback"; flags are "0" or "1"; passwords
// are stored as given (use encryptSiteListPassword for the document form).
class INETMGR_API SiteInfo {
 public:
  explicit SiteInfo(SiteInfoObjectID id);

  ResultCode setSiteName(const std::wstring& value);
  std::wstring getSiteName() const { return siteName_; }
  ResultCode setSiteServer(const std::wstring& value);
  std::wstring getSiteServer() const { return siteServer_; }
  ResultCode setSiteServerIP(const std::wstring& value);
  std::wstring getServerIP() const { return serverIP_; }
  // The server's computer name.
  ResultCode setSiteServerName(const std::wstring& value);
  std::wstring getSiteServerName() const { return serverName_; }
  ResultCode setSiteType(const std::wstring& value);
  std::wstring getSiteType() const { return siteType_; }
  ResultCode setSiteID(const std::wstring& value);
  std::wstring getSiteID() const { return siteID_; }
  // The enabled flag.
  ResultCode setSiteAvailabilityStatus(const std::wstring& value);
  std::wstring getSiteAvailabilityStatus() const { return availabilityStatus_; }
  ResultCode setSiteOrder(const std::wstring& value);
  std::wstring getSiteOrder() const { return siteOrder_; }
  ResultCode setSiteLocal(const std::wstring& value);
  std::wstring getSiteLocal() const { return siteLocal_; }
  ResultCode setRelativePath(const std::wstring& value);
  std::wstring getRelativePath() const { return relativePath_; }
  ResultCode setUserAuth(const std::wstring& value);
  std::wstring getUserAuth() const { return userAuth_; }
  ResultCode setUsernamePassword(const UserLoginInfo& info);
  ResultCode getUsernamePassword(UserLoginInfo* info) const;
  ResultCode setShareName(const std::wstring& value);
  std::wstring getShareName() const { return shareName_; }
  // The use-logged-on-user-account flag of UNC and local sites.
  ResultCode setUserlogonInfo(const std::wstring& value);
  std::wstring getUserlogonInfo() const { return userLogonInfo_; }
  ResultCode setDomainName(const std::wstring& value);
  std::wstring getDomainName() const { return domainName_; }
  ResultCode setReplicationUNCName(const std::wstring& value);
  std::wstring getReplicationUNCName() const { return replicationUNCName_; }
  ResultCode setReplicationDomainName(const std::wstring& value);
  std::wstring getReplicationDomainName() const { return replicationDomainName_; }
  ResultCode setReplicationUsernamePassword(const UserLoginInfo& info);
  ResultCode getReplicationUsernamePassword(UserLoginInfo* info) const;
  SiteInfoObjectID getSiteInfoObjectID() const { return objectID_; }

  // The server's port ("Port") and the SSL port ("SecurePort"; the reader
  // takes a site that has one as SSL-enabled). Written after the site's other
  // attributes, each only when it is not empty.
  ResultCode setSitePort(const std::wstring& value);
  std::wstring getSitePort() const { return sitePort_; }
  ResultCode setSiteSecurePort(const std::wstring& value);
  std::wstring getSiteSecurePort() const { return siteSecurePort_; }

  // True when every field above but the two ports is empty; the kind does not
  // count either. The writer skips empty sites, so a site that holds nothing
  // but ports is not written.
  bool isEmptyObject() const;

 private:
  std::wstring siteName_;
  std::wstring siteServer_;
  std::wstring serverIP_;
  std::wstring serverName_;
  std::wstring siteType_;
  std::wstring siteID_;
  std::wstring availabilityStatus_;
  std::wstring siteOrder_;
  std::wstring siteLocal_;
  std::wstring relativePath_;
  std::wstring userAuth_;
  UserLoginInfo credentials_;
  std::wstring shareName_;
  std::wstring userLogonInfo_;
  std::wstring domainName_;
  std::wstring replicationUNCName_;
  std::wstring replicationDomainName_;
  UserLoginInfo replicationCredentials_;
  SiteInfoObjectID objectID_;
  std::wstring sitePort_;
  std::wstring siteSecurePort_;
};

// One proxy configuration; the same value rules as SiteInfo. Proxy passwords
// are written as given and read back as that same text.
class INETMGR_API ProxyConfigInfo {
 public:
  ResultCode setProxyName(const std::wstring& value);
  std::wstring getProxyName() const { return proxyName_; }
  ResultCode setProxyID(const std::wstring& value);
  std::wstring getProxyID() const { return proxyID_; }
  ResultCode setHttpProxyServer(const std::wstring& value);
  std::wstring getHttpProxyServer() const { return httpProxyServer_; }
  ResultCode setHttpProxyPort(const std::wstring& value);
  std::wstring getHttpProxyPort() const { return httpProxyPort_; }
  ResultCode setFtpProxyServer(const std::wstring& value);
  std::wstring getFtpProxyServer() const { return ftpProxyServer_; }
  ResultCode setFtpProxyPort(const std::wstring& value);
  std::wstring getFtpProxyPort() const { return ftpProxyPort_; }
  ResultCode setProxyLocal(const std::wstring& value);
  std::wstring getProxyLocal() const { return proxyLocal_; }
  // The use-system-proxy-settings flag of this proxy.
  ResultCode setUseIEConfig(const std::wstring& value);
  std::wstring getUseIEConfig() const { return useIEConfig_; }
  // Appends a copy of `range`; rcOutOfMemory (logged) when none can be made.
  ResultCode addLocalAddrRange(const IPAddressRange& range);
  // Replaces `*ranges` with the ranges in the order added; rcUnexpected for null.
  ResultCode getLocalAddrRanges(std::vector<std::shared_ptr<IPAddressRange>>* ranges) const;
  ResultCode setAllowUserToConfigureProxy(const std::wstring& value);
  std::wstring getAllowUserToConfigureProxy() const { return allowUserToConfigureProxy_; }
  ResultCode setBypassLocalAddr(const std::wstring& value);
  std::wstring getBypassLocalAddr() const { return bypassLocalAddr_; }
  // Appends a host name that bypasses the proxy; rcOutOfMemory when it cannot.
  ResultCode addExclusionHost(const std::wstring& host);
  // Replaces `*hosts` with the hosts in the order added; rcUnexpected for null.
  ResultCode getExlusionHosts(std::vector<std::wstring>* hosts) const;
  ResultCode setHttpUseAuth(const std::wstring& value);
  std::wstring getHttpUseAuth() const { return httpUseAuth_; }
  ResultCode setHttpProxyUsernamePassword(const UserLoginInfo& info);
  ResultCode getHttpProxyUsernamePassword(UserLoginInfo* info) const;
  ResultCode setFtpUseAuth(const std::wstring& value);
  std::wstring getFtpUseAuth() const { return ftpUseAuth_; }
  ResultCode setFtpProxyUsernamePassword(const UserLoginInfo& info);
  ResultCode getFtpProxyUsernamePassword(UserLoginInfo* info) const;
  ResultCode setAltHttpUseAuth(const std::wstring& value);
  std::wstring getAltHttpUseAuth() const { return altHttpUseAuth_; }
  ResultCode setAltHttpProxyUsernamePassword(const UserLoginInfo& info);
  ResultCode getAltHttpProxyUsernamePassword(UserLoginInfo* info) const;
  ResultCode setAltFtpUseAuth(const std::wstring& value);
  std::wstring getAltFtpUseAuth() const { return altFtpUseAuth_; }
  ResultCode setAltFtpProxyUsernamePassword(const UserLoginInfo& info);
  ResultCode getAltFtpProxyUsernamePassword(UserLoginInfo* info) const;

  // True when every field except the four alternate-proxy ones is empty and
  // both lists are empty. Deliberately blind to the alternate fields: a proxy
  // holding only those counts as empty, and the writer skips empty proxies.
  bool isEmptyObject() const;

 private:
  std::wstring proxyName_;
  std::wstring proxyID_;
  std::wstring httpProxyServer_;
  std::wstring httpProxyPort_;
  std::wstring ftpProxyServer_;
  std::wstring ftpProxyPort_;
  std::wstring proxyLocal_;
  std::wstring useIEConfig_;
  std::vector<std::shared_ptr<IPAddressRange>> localAddrRanges_;
  std::wstring allowUserToConfigureProxy_;
  std::wstring bypassLocalAddr_;
  std::vector<std::wstring> exclusionHosts_;
  std::wstring httpUseAuth_;
  UserLoginInfo httpProxyCredentials_;
  std::wstring ftpUseAuth_;
  UserLoginInfo ftpProxyCredentials_;
  std::wstring altHttpUseAuth_;
  UserLoginInfo altHttpProxyCredentials_;
  std::wstring altFtpUseAuth_;
  UserLoginInfo altFtpProxyCredentials_;
};

// One site list: its name, its default site, the list-wide use-system-proxy
// flag, and the sites and proxies it owns. A copy shares the sites and proxies
// of the original.
class INETMGR_API SiteList {
 public:
  SiteList(const std::wstring& name, const std::wstring& defaultSite);

  std::wstring getSiteListName() const { return siteListName_; }
  std::wstring getSiteListDefault() const { return siteListDefault_; }
  std::wstring getProxyConfigListUseIEConfig() const { return proxyConfigListUseIEConfig_; }
  // Returns rcSuccess.
  ResultCode setProxyConfigListUseIEOption(const std::wstring& value);

  // Creates a new empty site of kind `id`, appends it and returns it for
  // filling; every call makes a new site. The list owns it: the pointer stays
  // valid while the list (or a copy) lives. Null (logged) when memory runs out.
  SiteInfo* getSiteInfoObject(SiteInfoObjectID id);
  // The same for a new empty proxy configuration.
  ProxyConfigInfo* getProxyConfigInfoObject();
  // Replace `objects` with the sites or proxies in creation order, shared with
  // this list. Return rcSuccess.
  ResultCode getSiteInfoObjects(std::vector<std::shared_ptr<SiteInfo>>& objects) const;
  ResultCode getProxyConfigObjects(std::vector<std::shared_ptr<ProxyConfigInfo>>& objects) const;

 private:
  std::wstring siteListName_;
  std::wstring siteListDefault_;
  std::wstring proxyConfigListUseIEConfig_;
  std::vector<std::shared_ptr<SiteInfo>> siteInfoObjects_;
  std::vector<std::shared_ptr<ProxyConfigInfo>> proxyConfigObjects_;
};

// The DOM a writer builds; defined inside the library.
class SiteListWriterDocument;

// Builds one SiteList.xml document from site lists and writes it to the
// agent's site list location. One writer is used by one thread at a time;
// writers and readers of the file in this process serialise on one class-wide
// reader/writer lock.
//
// What is written: every site and proxy that is not empty, each field under
// its schema name, passwords and "Encrypted" markers exactly as the caller
// stored them (nothing is encrypted here); then the policy settings and CA
// certificates added to the writer, if any. A field whose text is empty is
// left out, since the reader takes an absent field and an empty one alike (an
// empty secure port too: it stands for no SSL), with these exceptions, for
// which the reader tells absent from empty: the name of every site, and the
// computer name, server IP and relative path of a spipe site (without them
// the site would be dropped or judged invalid). Empty exclusion hosts are left
// out; the list elements themselves are always written. A password element
// that is written always carries its "Encrypted" attribute, even an empty one;
// a marker whose password is empty is not written. The reader reads only the
// first site list of a document.
//
// Deliberate quirks of the format, kept for the agent's other readers: a
// proxy's alternate HTTP use-auth flag is written under the alternate FTP
// name, ahead of the alternate FTP flag, and no alternate HTTP use-auth
// element is written (so a reader takes the alternate HTTP flag as the
// alternate FTP one); the alternate credentials' markers replace the main
// ones on the main HTTP and FTP password elements, and the alternate password
// elements carry none.
class INETMGR_API SiteListWriter {
 public:
  // Starts a document with the root element and its attributes; the location
  // is the agent's site list (getSiteListLocation).
  SiteListWriter(std::wstring globalVersion, std::wstring localVersion, std::wstring listType);
  ~SiteListWriter();
  // Moving leaves the source without a document: its later calls give
  // rcOutOfMemory.
  SiteListWriter(SiteListWriter&& other) noexcept;
  SiteListWriter& operator=(SiteListWriter&& other) noexcept;
  SiteListWriter(const SiteListWriter&) = delete;
  SiteListWriter& operator=(const SiteListWriter&) = delete;

  // Writes to `newLocation` (a file path; must not be null) instead. Returns
  // true. An empty location makes writeSiteList fail with rcNotInitialized.
  bool resetSiteListLocation(const wchar_t* newLocation);

  // Appends `siteList` to the document as one site list element with its
  // sites and proxy configurations. rcSuccess; rcOutOfMemory when the writer
  // has no document (moved from, or its creation ran out of memory) or,
  // logged, when memory runs out.
  ResultCode addSiteList(SiteList& siteList);

  // Adds a policy setting: a "Setting" element called `name` with `value` as
  // its text, in a policy block that is written only when it holds one. A name
  // added twice is written twice (the reader keeps the last). rcSuccess;
  // rcOutOfMemory as for addSiteList.
  ResultCode addPolicySetting(const std::wstring& name, const std::wstring& value);
  // Adds a CA certificate: `base64Body` is its base64 text without the marker
  // lines (white space in it is ignored by the reader). The CA bundle element
  // is written only when it holds one. rcSuccess; rcOutOfMemory as above.
  ResultCode addCACertificate(const std::wstring& base64Body);
  // Both go into the document at the next writeSiteList, after the site lists
  // added until then: the policy block, then the CA bundle, as the agent's
  // server writes them. Either may be added before or after the site lists.

  // Replaces the file at the location with the document, tab indented, UTF-8,
  // atomically (readers see the old file or the new one), holding the
  // class-wide lock exclusively. Waits at most `timeoutSeconds` for the lock.
  // rcSuccess; rcOutOfMemory without a document; rcUnexpected with "Timeout in
  // acquiring write lock for SiteList.xml" when the wait times out;
  // rcLockFailed with "Lock error in acquiring write lock for SiteList.xml";
  // rcNotInitialized for an empty location; rcUnexpected with "SiteList.xml
  // write failed" when the file cannot be written (the old file is intact).
  // The calling thread must not hold a read lock from acquireReadLock.
  ResultCode writeSiteList(unsigned int timeoutSeconds);

  // Takes the class-wide lock for reading on behalf of a reader of the file,
  // waiting at most `timeoutSeconds`; on rcSuccess `lock` holds it until the
  // caller drops its last copy. rcUnexpected with "Timeout in acquiring read
  // lock for SiteList.xml" on time-out; rcLockFailed with "Lock error in
  // acquiring read lock for SiteList.xml"; rcOutOfMemory with "Failed to
  // instantiate boost::shared_ptr". `lock` changes only on rcSuccess.
  // Thread-safe.
  static ResultCode acquireReadLock(std::shared_ptr<std::shared_lock<std::shared_timed_mutex>>& lock,
                                    unsigned int timeoutSeconds);

 private:
  std::wstring globalVersion;
  std::wstring localVersion;
  std::wstring listType;
  std::wstring siteListLocation;
  std::shared_ptr<SiteListWriterDocument> document;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_LIST_WRITER_H
