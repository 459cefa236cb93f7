// Saving and loading the store's cache. Every count and length in the file is
// checked against what is left of the file before anything is allocated, and
// every value is range-checked, so a damaged cache is refused, never trusted.
#include "store/site_cache.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>

#include "core/secure_string_archive.h"
#include "core/ssl_information.h"
#include "inetmgr/inetmgr.h"
#include "platform/files.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "site/site_impl.h"
#include "store/persist_site.h"

namespace corvane_com::zel::inetmgr {
namespace {

constexpr wchar_t kTag[] = L"persite";
constexpr char kMagic[] = "inetmgr-sitecache";
constexpr unsigned kFormatVersion = 1;
constexpr std::size_t kMaxCacheFileSize = 64u * 1024u * 1024u;

// A cache is read only by a process of the same build on the same kind of
// machine: the build text names what its layout depends on.
std::string buildIdentity() {
  const std::uint32_t probe = 1;
  const bool littleEndian = *reinterpret_cast<const unsigned char*>(&probe) == 1;
  return std::string("inetmgr ") + getLibraryVersion() + " wchar" + std::to_string(sizeof(wchar_t) * 8) +
         " long" + std::to_string(sizeof(long) * 8) + (littleEndian ? " le" : " be");
}

struct CacheCorrupt : std::runtime_error {
  CacheCorrupt() : std::runtime_error("cache file is damaged") {}
};

class CacheWriter {
 public:
  explicit CacheWriter(boost::archive::text_oarchive& archive) : archive_(archive) {}
  void number(long long value) { archive_ << value; }
  void flag(bool value) { number(value ? 1 : 0); }
  void bytes(const std::string& text) {
    number(static_cast<long long>(text.size()));
    for (unsigned char c : text) number(c);
  }
  void text(const std::wstring& value) { bytes(platform::toUtf8(value)); }
  void secret(const std::wstring& plaintext) {
    flag(!plaintext.empty());
    if (!plaintext.empty() && encryptStrBuffer(archive_, plaintext) != 0) throw CacheCorrupt();
  }

 private:
  boost::archive::text_oarchive& archive_;
};

class CacheReader {
 public:
  CacheReader(boost::archive::text_iarchive& archive, std::size_t tokenBudget)
      : archive_(archive), budget_(tokenBudget) {}
  long long number(long long low, long long high) {
    spend(1);
    long long value = 0;
    archive_ >> value;
    if (value < low || value > high) throw CacheCorrupt();
    return value;
  }
  bool flag() { return number(0, 1) == 1; }
  std::string bytes() {
    const auto length = static_cast<std::size_t>(number(0, static_cast<long long>(budget_)));
    std::string text(length, '\0');
    for (char& c : text) c = static_cast<char>(number(0, 255));
    return text;
  }
  std::wstring text() { return platform::fromUtf8(bytes()); }
  std::size_t count() { return static_cast<std::size_t>(number(0, static_cast<long long>(budget_))); }
  std::wstring secret() {
    if (!flag()) return std::wstring();
    std::wstring plaintext;
    if (decryptStrBuffer(archive_, plaintext) != 0) throw CacheCorrupt();
    return plaintext;
  }

 private:
  void spend(std::size_t tokens) {
    if (tokens > budget_) throw CacheCorrupt();
    budget_ -= tokens;
  }
  boost::archive::text_iarchive& archive_;
  std::size_t budget_;
};

constexpr long long kInt32Max = 2147483647LL;
constexpr long long kInt32Min = -2147483647LL - 1;

void saveProxy(CacheWriter& out, const xoInet::CProxyParams& p) {
  out.text(p.proxyType);
  out.text(p.proxyServer);
  out.number(p.httpPort);
  out.number(p.ftpPort);
  out.flag(p.allowUserToConfigProxy);
  out.flag(p.bypassLocalAddresses);
  out.flag(p.useSystemConfig);
  out.number(p.localAddressCount);
  out.text(p.localAddressList);
  out.number(p.exclusionCount);
  out.text(p.exclusionList);
  out.flag(p.ftpUseAuth);
  out.flag(p.httpUseAuth);
  out.text(p.httpUserName);
  out.secret(p.httpPassword);
  out.text(p.ftpUserName);
  out.secret(p.ftpPassword);
  out.flag(p.altFtpUseAuth);
  out.flag(p.altHttpUseAuth);
  out.text(p.altHttpUserName);
  out.secret(p.altHttpPassword);
  out.text(p.altFtpUserName);
  out.secret(p.altFtpPassword);
}

xoInet::CProxyParams loadProxy(CacheReader& in) {
  xoInet::CProxyParams p;
  p.proxyType = in.text();
  p.proxyServer = in.text();
  p.httpPort = static_cast<std::int32_t>(in.number(kInt32Min, kInt32Max));
  p.ftpPort = static_cast<std::int32_t>(in.number(kInt32Min, kInt32Max));
  p.allowUserToConfigProxy = in.flag();
  p.bypassLocalAddresses = in.flag();
  p.useSystemConfig = in.flag();
  p.localAddressCount = static_cast<std::int32_t>(in.number(0, kInt32Max));
  p.localAddressList = in.text();
  p.exclusionCount = static_cast<std::int32_t>(in.number(0, kInt32Max));
  p.exclusionList = in.text();
  p.ftpUseAuth = in.flag();
  p.httpUseAuth = in.flag();
  p.httpUserName = in.text();
  p.httpPassword = in.secret();
  p.ftpUserName = in.text();
  p.ftpPassword = in.secret();
  p.altFtpUseAuth = in.flag();
  p.altHttpUseAuth = in.flag();
  p.altHttpUserName = in.text();
  p.altHttpPassword = in.secret();
  p.altFtpUserName = in.text();
  p.altFtpPassword = in.secret();
  return p;
}

}  // namespace

// Friend of ImSiteImpl and PersistSite: reads and writes their held state.
class SiteCacheAccess {
 public:
  static void saveSite(CacheWriter& out, const ImSiteImpl& site) {
    out.number(site.protocol_);
    out.number(site.siteType_);
    out.flag(site.localSiteList_);
    out.text(site.siteName_);
    out.text(site.siteIp_);
    out.flag(site.enabled_);
    out.flag(site.sslEnabled_);
    out.flag(site.forceNonSsl_);
    out.text(site.caBundlePath_);
    out.number(site.siteOrder_);
    out.number(static_cast<long long>(site.properties_.size()));
    for (const auto& [name, value] : site.properties_) {
      out.text(name);
      out.text(value);
    }
    out.secret(SecureString(site.password_).str());
    out.secret(SecureString(site.replicationPassword_).str());
    out.flag(site.proxy_ != nullptr);
    if (site.proxy_) saveProxy(out, *site.proxy_);
  }

  static IImSite_ptr loadSite(CacheReader& in) {
    IImSite_ptr handle = wrapSitePtr(new ImSiteImpl());
    auto& site = static_cast<ImSiteImpl&>(*handle);
    site.protocol_ = static_cast<ProtocolType::Types>(in.number(0, ProtocolType::typeCount - 1));
    site.siteType_ = static_cast<SiteType::Types>(in.number(0, SiteType::typeCount - 1));
    site.localSiteList_ = in.flag();
    site.siteName_ = in.text();
    site.siteIp_ = in.text();
    site.enabled_ = in.flag();
    site.sslEnabled_ = in.flag();
    site.forceNonSsl_ = in.flag();
    site.caBundlePath_ = in.text();
    site.siteOrder_ = static_cast<int>(in.number(kInt32Min, kInt32Max));
    for (std::size_t n = in.count(); n > 0; --n) {
      std::wstring name = in.text();
      site.properties_[name] = in.text();
    }
    const std::wstring password = in.secret();
    const std::wstring replication = in.secret();
    try {
      if (!password.empty()) site.password_ = password;
      if (!replication.empty()) site.replicationPassword_ = replication;
    } catch (const SecureString::BufferOverflowException&) {
      throw CacheCorrupt();
    }
    if (in.flag()) site.proxy_ = std::make_shared<xoInet::CProxyParams>(loadProxy(in));
    if (site.siteName_.empty()) throw CacheCorrupt();
    // As when the site was read from the document: SSL stays on for its protocol.
    if (site.sslEnabled_) SslUseInformation::getInstance()->setSslUseInformation(site.protocol_, true);
    return handle;
  }

  static void saveStore(CacheWriter& out, const PersistSite& store) {
    out.bytes(kMagic);
    out.number(kFormatVersion);
    out.bytes(buildIdentity());
    out.number(store.fileStat_.getLastModified());
    out.number(static_cast<long long>(store.fileStat_.getFileSize() & 0x7FFFFFFFFFFFFFFFULL));
    out.text(store.globalVersion_);
    out.text(store.localVersion_);
    out.text(store.ipAddress_);
    out.flag(store.policies_.overwriteClientSites);
    out.number(store.policies_.findNearestMethod);
    out.number(store.policies_.maxPingTimeout);
    out.number(store.policies_.maxHopLimit);
    out.flag(store.useSystemProxy_);
    out.number(static_cast<long long>(store.proxies_->size()));
    for (const auto& proxy : *store.proxies_) saveProxy(out, proxy);
    out.number(static_cast<long long>(store.sites_.size()));
    for (const auto& site : store.sites_) saveSite(out, static_cast<const ImSiteImpl&>(*site));
  }

  // Builds everything aside and swaps it in only at the end.
  static void loadStore(CacheReader& in, PersistSite& store) {
    if (in.bytes() != kMagic || in.number(0, kInt32Max) != kFormatVersion || in.bytes() != buildIdentity()) {
      throw CacheCorrupt();
    }
    const auto lastModified = static_cast<std::int32_t>(in.number(kInt32Min, kInt32Max));
    const auto fileSize = static_cast<std::uint64_t>(in.number(0, 0x7FFFFFFFFFFFFFFFLL));
    std::wstring globalVersion = in.text();
    std::wstring localVersion = in.text();
    std::wstring ipAddress = in.text();
    SiteListPolicies policies;
    policies.overwriteClientSites = in.flag();
    policies.findNearestMethod = static_cast<SiteListSortMethods>(in.number(0, 2));
    policies.maxPingTimeout = static_cast<int>(in.number(0, kInt32Max));
    policies.maxHopLimit = static_cast<int>(in.number(0, 30));
    const bool useSystemProxy = in.flag();
    auto proxies = std::make_shared<std::vector<xoInet::CProxyParams>>();
    for (std::size_t n = in.count(); n > 0; --n) proxies->push_back(loadProxy(in));
    std::vector<IImSite_ptr> sites;
    for (std::size_t n = in.count(); n > 0; --n) sites.push_back(loadSite(in));
    if (sites.empty() || globalVersion.empty() || localVersion.empty()) throw CacheCorrupt();

    store.fileStat_.reset();
    store.fileStat_.restore(lastModified, fileSize);
    store.globalVersion_ = std::move(globalVersion);
    store.localVersion_ = std::move(localVersion);
    store.ipAddress_ = std::move(ipAddress);
    store.policies_ = policies;
    store.useSystemProxy_ = useSystemProxy;
    store.proxies_ = proxies;
    store.sites_ = std::move(sites);
    store.cursor_ = 0;
  }
};

bool SiteCacheCodec::save(const PersistSite& store, const std::wstring& path) {
  try {
    std::ostringstream stream;
    {
      boost::archive::text_oarchive archive(stream);
      CacheWriter writer(archive);
      SiteCacheAccess::saveStore(writer, store);
    }
    if (!stream) {
      platform::logError(kTag, L"Failed to obtain serialization target stream.");
      return false;
    }
    return platform::AFile::write(path, stream.str(), 0600);
  } catch (const boost::archive::archive_exception& e) {
    platform::logError(kTag, L"writeCache() exception: " + platform::fromUtf8(e.what()));
  } catch (const std::exception& e) {
    platform::logError(kTag, L"writeCache() std::exception" + platform::fromUtf8(std::string(": ") + e.what()));
  }
  return false;
}

bool SiteCacheCodec::load(PersistSite& store, const std::wstring& path) {
  platform::ByteBuffer contents;
  if (!platform::AFile::readExisting(path, contents)) return false;
  if (contents.size() > kMaxCacheFileSize) {
    platform::logError(kTag, L"Cache file is too large: " + path);
    return false;
  }
  try {
    std::istringstream stream(std::string(contents.begin(), contents.end()));
    if (!stream) {
      platform::logError(kTag, L"Failed to obtain serialization source stream.");
      return false;
    }
    boost::archive::text_iarchive archive(stream);
    // Every value takes at least two characters of the file ("0 ").
    CacheReader reader(archive, contents.size() / 2);
    SiteCacheAccess::loadStore(reader, store);
    return true;
  } catch (const std::exception& e) {
    platform::logError(kTag, L"Cannot use cache file " + path + L": " + platform::fromUtf8(e.what()));
  }
  return false;
}

}  // namespace corvane_com::zel::inetmgr
