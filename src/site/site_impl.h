// ImSiteImpl: the library's one site implementation. A site holds the property
// map of its site list entry, its identity (protocol, type, name, address), its
// secrets as SecureStrings, and builds one transfer object on first use.
#ifndef INETMGR_SITE_SITE_IMPL_H
#define INETMGR_SITE_SITE_IMPL_H

#include <memory>
#include <string>

#include "core/result_exceptions.h"
#include "inetmgr/secure_string.h"
#include "inetmgr/site.h"
#include "platform/xml.h"
#include "site/progress.h"
#include "site/transfer_builder.h"

namespace corvane_com::zel::inetmgr {

class SiteCacheAccess;

class ImSiteImpl final : public IImSite {
 public:
  // The sort order of a site whose entry has none; no ranking produces it.
  static const int s_invalidOrderValue_;
  // Bound of each secret's ciphertext: passwords of up to 250 characters.
  static constexpr std::size_t kMaxSecretCipherSize = 1024;

  // An empty site with one reference.
  ImSiteImpl();
  // A separate site with one reference: same identity, properties, secrets,
  // flags and orders; a fresh progress multiplexer without callbacks and no
  // transfer object. The proxy record is shared with `other`.
  ImSiteImpl(const ImSiteImpl& other);
  ImSiteImpl& operator=(const ImSiteImpl&) = delete;
  ~ImSiteImpl() override;

  // Fills the site from one entry of a site list. rcSuccess for a usable site,
  // rcProxyElement for a proxy block (nothing is read), rcBadSchema (logged) for
  // an entry that cannot be a site. Throws std::runtime_error when the crypto
  // service is unavailable. The caller releases the site unless it kept it.
  ResultCode initFromElement(const platform::AdvXMLParser::Element& element);

  // IImSite
  bool operator==(const IImSite& other) const override;
  int release() override;
  SiteType::Types getType() const override { return siteType_; }
  ProtocolType::Types getProtocol() const override { return protocol_; }
  bool isLocalSiteList() const override { return localSiteList_; }
  bool isEnabled() const override { return enabled_; }
  std::wstring getSiteIp() const override { return siteIp_; }
  int getSiteOrder() const override { return siteOrder_; }
  std::wstring getSiteName() const override { return siteName_; }
  std::wstring getServerName() override;
  std::wstring getServerNetBios() override;
  std::wstring getHostSSLPort() override;
  bool setProxy(const xoInet::CProxyParams* proxy) override;
  bool getProxy(xoInet::CProxyParams& proxy) const override;
  int getSortOrder() const override;
  void setSortOrder(int order) override;
  void setSiteOrder(int order) override { siteOrder_ = order; }
  void setForceUpload() override { forceUpload_ = true; }
  bool isSslEnabled() const override { return sslEnabled_; }
  void forceNonSslTransfer() override { forceNonSsl_ = true; }
  std::wstring getCaBundlePath() const override { return caBundlePath_; }
  void setCaBundlePath(const std::wstring& path) override { caBundlePath_ = path; }
  xoInet::xoInetError getLastErrorXoInet() const override { return lastXoInetError_; }
  ResultCode downloadFile(const wchar_t* file, const wchar_t* sourceDir, const wchar_t* destDir, bool resume,
                          const wchar_t* extra) override;
  ResultCode uploadFile(const wchar_t* remoteFile, const wchar_t* remoteDir, const wchar_t* localFile,
                        const wchar_t* localDir, const wchar_t* responseTarget) override;
  ResultCode getLocalIPAddressFromSocket() override;
  ResultCode ping(int timeoutSeconds) override;
  ResultCode calculateSubnetDistance(int hopLimit) override;
  ResultCode connect(IImProgressCallback* callback) override { return progress_.connect(callback); }
  ResultCode disconnect(IImProgressCallback* callback) override { return progress_.disconnect(callback); }

  // Adds one reference.
  void addRef();
  // False only for an spipe site that lacks one of name, computer name, IP
  // address and relative path.
  bool validateParameters() const;

  // Builds the transfer object on first use, with credentials and (unless
  // forced off) SSL settings. Throws SiteImplExcept (rcOutOfMemory or
  // rcBadSiteProperties) when it cannot; the site then has none.
  void checkBuildTransferObject();
  // Hands the proxy record to FTP- and HTTP-family transfers.
  void setProxyOption();

  const PropertyMap& getProperties() const { return properties_; }
  const TransferItf_ptr& getTransfer() const { return spTransfer_; }
  ImProgress& getProgress() { return progress_; }
  const SecureString& getPassword() const { return password_; }
  const SecureString& getReplicationPassword() const { return replicationPassword_; }
  int getRefCount() const { return refCount_; }

 private:
  friend class SiteCacheAccess;  // the store's cache saves and restores a site whole
  void assignTransferCredentials();
  void assignSslInformation();

  int refCount_;
  SiteType::Types siteType_;
  ProtocolType::Types protocol_;
  bool localSiteList_;
  std::wstring siteName_;
  std::wstring siteIp_;
  ImProgress progress_;
  bool testOnly_;
  PropertyMap properties_;
  SecureString password_;
  SecureString replicationPassword_;
  TransferItf_ptr spTransfer_;
  xoInet::xoInetError lastXoInetError_;
  std::shared_ptr<xoInet::CProxyParams> proxy_;
  bool enabled_;
  bool forceUpload_;
  bool sslEnabled_;
  bool forceNonSsl_;
  std::wstring caBundlePath_;
  int siteOrder_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_SITE_IMPL_H
