// ImSiteImpl: the library's one site implementation. A site holds the property
// map of its site list entry, its identity (protocol, type, name, address), its
// secrets as SecureStrings, and builds one transfer object on first use.
#ifndef INETMGR_SITE_SITE_IMPL_H
#define INETMGR_SITE_SITE_IMPL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/result_exceptions.h"
#include "inetmgr/secure_string.h"
#include "inetmgr/site.h"
#include "platform/xml.h"
#include "site/progress.h"
#include "site/transfer_builder.h"

namespace corvane_com::zel::inetmgr {

class SiteCacheAccess;

// A property map packed into one immutable block: names and values in name
// order, one byte per character when all of them are ASCII (as site lists
// are), a wchar_t each otherwise. Never changed once made, so copies of a
// site on different threads share one safely.
class PackedProperties {
 public:
  // Collects properties in strictly increasing name order (the map's own
  // order) and packs them. Reusable: finish() starts it over.
  class Builder {
   public:
    // False, and nothing added, when `name` does not sort after the name
    // added before it.
    bool add(std::wstring_view name, std::wstring_view value);
    std::shared_ptr<const PackedProperties> finish();

   private:
    std::wstring text_;
    std::vector<std::size_t> lengths_;  // name, value, name, value...
  };

  // Packs `properties`, whose names are in order and unique already.
  static std::shared_ptr<const PackedProperties> pack(const PropertyMap& properties);

  std::size_t size() const { return count_; }
  // True when every character is stored as one byte: then the stored bytes
  // are the text's ASCII (and UTF-8) form.
  bool isAscii() const { return ascii_; }
  // The value of `name`; false when there is none.
  bool find(std::wstring_view name, std::wstring& value) const;
  // Reads the property at `position` (0 for the first) and moves `position`
  // to the next; false after the last. The first form gives the stored bytes:
  // ASCII when isAscii(), otherwise the wchar_t values in memory order.
  bool next(std::size_t& position, std::string_view& name, std::string_view& value) const;
  bool next(std::size_t& position, std::wstring& name, std::wstring& value) const;

 private:
  struct Key {};

 public:
  PackedProperties(Key, bool ascii, std::size_t count, std::string bytes)
      : ascii_(ascii), count_(static_cast<std::uint32_t>(count)), bytes_(std::move(bytes)) {}

 private:
  bool ascii_;
  std::uint32_t count_;
  // Per property: the name's and the value's length in characters (7 bits a
  // byte, high bit "more"), then the name's and the value's characters.
  std::string bytes_;
};

// A site's property map, shared between the copies of the site. A site being
// filled in holds a plain map; pack() turns it into a PackedProperties block
// that copies share instead of copying (the store packs every site it holds).
// Readers that need the map itself get it expanded once; a writer gets a map
// of its own and lets go of the shared block, so a change made through one
// copy is never seen by another. One thread at a time, like the site.
class SiteProperties {
 public:
  SiteProperties() = default;
  // Shares `other`'s packed block, or copies its plain map.
  SiteProperties(const SiteProperties& other);
  SiteProperties& operator=(const SiteProperties&) = delete;
  SiteProperties& operator=(PropertyMap&& properties);

  // The whole map; a packed one is expanded on first use and kept.
  const PropertyMap& map() const;
  // A map of this site's own to change.
  PropertyMap& mutableMap();
  // The map, without keeping an expanded one.
  PropertyMap copyOfMap() const;
  // So that the property readers, which take a map, take a site's properties
  // as they are. Overload resolution prefers the second for a site that is not
  // const, which then owns its map: correct, only less frugal.
  operator const PropertyMap&() const { return map(); }
  operator PropertyMap&() { return mutableMap(); }

  // The value of `name`, without expanding a packed block; false when absent.
  bool find(const wchar_t* name, std::wstring& value) const;
  std::size_t size() const;
  // Calls visit(name, value) for every property, in name order.
  template <class Visit>
  void forEach(Visit visit) const;

  // From now on copies share the properties (a no-op when already packed).
  void pack();
  // Takes a block packed elsewhere, in place of whatever was held.
  void adopt(std::shared_ptr<const PackedProperties> packed);
  bool isPacked() const { return packed_ != nullptr; }
  // The shared block; null while the properties are a plain map.
  const PackedProperties* packed() const { return packed_.get(); }

 private:
  std::shared_ptr<const PackedProperties> packed_;
  // The map itself when nothing is packed; otherwise the packed block
  // expanded, or null while nobody asked for it.
  mutable std::unique_ptr<PropertyMap> map_;
};

template <class Visit>
void SiteProperties::forEach(Visit visit) const {
  if (!packed_) {
    if (map_) {
      for (const auto& [name, value] : *map_) visit(name, value);
    }
    return;
  }
  std::wstring name;
  std::wstring value;
  for (std::size_t position = 0; packed_->next(position, name, value);) visit(name, value);
}

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
  // transfer object. The proxy record is shared with `other`, and so are
  // packed properties (a copy that changes them gets its own).
  ImSiteImpl(const ImSiteImpl& other);
  ImSiteImpl& operator=(const ImSiteImpl&) = delete;
  ~ImSiteImpl() override;

  // Fills the site from one entry of a site list. rcSuccess for a usable site,
  // rcProxyElement for a proxy block (nothing is read), rcBadSchema (logged) for
  // an entry that cannot be a site, with the reason in `failure` when given.
  // Throws std::runtime_error (UTF-8 text) when the crypto service is
  // unavailable or a password does not decrypt under this machine's key: the
  // whole document is then unusable here. The caller releases the site unless
  // it kept it.
  ResultCode initFromElement(const platform::AdvXMLParser::Element& element, std::wstring* failure = nullptr);
  // The same from an entry already turned into its protocol and property map
  // (element text and attributes by name); what initFromElement does after
  // reading the element.
  ResultCode initFromProperties(ProtocolType::Types protocol, PropertyMap properties,
                                std::wstring* failure = nullptr);

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

  // The address probe with its answer: `address` gets the local address of a
  // connection to the site's server, or stays empty (rcNotFound).
  ResultCode probeLocalAddress(std::wstring& address);

  // Adds one reference.
  void addRef();
  // False only for an spipe site that lacks one of name, computer name, IP
  // address and relative path.
  bool validateParameters() const;

  // What every transfer operation runs first. A disabled site refuses with
  // rcSiteDisabled unless setForceUpload() came just before. In test-only mode
  // the site reports status 15 and returns false: the operation ends there
  // with rcSuccess. Otherwise the transfer object is built on first use and
  // given the proxy, the force-upload flag is spent, and it returns true.
  // Throws SiteImplExcept for a refusal or a transfer object that cannot be built.
  bool commonOpPrologue();
  // Test-only mode: operations succeed without building or using a transfer.
  void setTestOnly(bool testOnly) { testOnly_ = testOnly; }

  using TransferFactory = TransferItf_ptr (*)(ProtocolType::Types, const PropertyMap&);
  // Builds the transfer object on first use through `create`, with credentials
  // and (unless forced off) SSL settings. Any exception becomes SiteImplExcept:
  // rcOutOfMemory for std::bad_alloc, rcBadSiteProperties for std::logic_error,
  // rcUnexpected for anything else; the site then has none.
  void checkBuildTransferObject(TransferFactory create = &CreateTransferItfFromProperties);
  // Hands the proxy record to FTP- and HTTP-family transfers.
  void setProxyOption();

  // Expands packed properties on first use; prefer the accessors above.
  const PropertyMap& getProperties() const { return properties_.map(); }
  // Packs the properties so that every copy made from now on shares them.
  void shareProperties() { properties_.pack(); }
  const TransferItf_ptr& getTransfer() const { return spTransfer_; }
  ImProgress& getProgress() { return progress_; }
  const SecureString& getPassword() const { return password_; }
  const SecureString& getReplicationPassword() const { return replicationPassword_; }
  int getRefCount() const { return refCount_; }

 private:
  friend class SiteCacheAccess;  // the store's cache saves and restores a site whole
  // What the distance probes measure: false when the site names no host.
  bool distanceTarget(std::string& host, bool& numeric);
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
  SiteProperties properties_;
  SecureString password_;
  SecureString replicationPassword_;
  TransferItf_ptr spTransfer_;
  xoInet::xoInetError lastXoInetError_;
  std::shared_ptr<const xoInet::CProxyParams> proxy_;
  bool enabled_;
  bool forceUpload_;
  bool sslEnabled_;
  bool forceNonSsl_;
  std::wstring caBundlePath_;
  int siteOrder_;
};

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_SITE_IMPL_H
