// Saving and loading the store's cache. After the archive's own header every
// value is a token of ours: a number, or a string as its byte count, one blank
// and the bytes themselves. Every count and length is checked against what is
// left of the file before anything is allocated, and every value is
// range-checked, so a damaged cache is refused, never trusted.
#include "store/site_cache.h"

#include <charconv>
#include <cstdint>
#include <istream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string_view>
#include <vector>

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>

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
constexpr char kTrailer[] = "end";
constexpr unsigned kFormatVersion = 2;
constexpr std::size_t kMaxCacheFileSize = 64u * 1024u * 1024u;
// Room for the proxy passwords' ciphertexts in the cache.
constexpr std::size_t kMaxProxySecretSize = 1048576;

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

// A whole cache of another build or kind of machine: said as such, so that a
// cache copied between machines is not taken for a damaged one.
struct CacheForeign : std::runtime_error {
  explicit CacheForeign(std::string_view theirs)
      : std::runtime_error("written by another build (" + printable(theirs) + "), this is " +
                           buildIdentity() + "; the site list is read instead") {}
  static std::string printable(std::string_view text) {
    std::string shown;
    for (const char c : text.substr(0, 80)) shown += c >= ' ' && c <= '~' ? c : '?';
    return shown;
  }
};

bool isAscii(const std::wstring& text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) >= 0x80) return false;
  }
  return true;
}

// Appends straight to the file's bytes: one buffer, grown as it fills.
class CacheWriter {
 public:
  explicit CacheWriter(std::string& out) : out_(out) {}
  void number(long long value) {
    char token[24] = {' '};
    const auto result = std::to_chars(token + 1, token + sizeof(token), value);
    out_.append(token, static_cast<std::size_t>(result.ptr - token));
  }
  void flag(bool value) { number(value ? 1 : 0); }
  void bytes(std::string_view text) {
    number(static_cast<long long>(text.size()));
    out_.push_back(' ');
    out_.append(text.data(), text.size());
  }
  void text(const std::wstring& value) {
    if (isAscii(value)) {
      number(static_cast<long long>(value.size()));
      out_.push_back(' ');
      out_.append(value.begin(), value.end());
    } else {
      bytes(platform::toUtf8(value));
    }
  }
  void cipher(const std::vector<unsigned char>& ciphertext) {
    bytes(std::string_view(reinterpret_cast<const char*>(ciphertext.data()), ciphertext.size()));
  }
  // A plaintext secret, saved only as the ciphertext of a SecureString.
  void secret(const std::wstring& plaintext) {
    flag(!plaintext.empty());
    if (plaintext.empty()) return;
    const SecureString encrypted(plaintext, kMaxProxySecretSize);
    if (encrypted.getLastResult() != 0) throw CacheCorrupt();
    cipher(encrypted.encrypted_str());
  }

 private:
  std::string& out_;
};

// Reads the tokens in place from the file's bytes.
class CacheReader {
 public:
  CacheReader(const char* first, const char* last) : next_(first), last_(last) {}
  long long number(long long low, long long high) {
    skipBlanks();
    long long value = 0;
    const auto result = std::from_chars(next_, last_, value);
    if (result.ec != std::errc() || value < low || value > high) throw CacheCorrupt();
    next_ = result.ptr;
    return value;
  }
  bool flag() { return number(0, 1) == 1; }
  std::string_view bytes() {
    const auto length = static_cast<std::size_t>(number(0, static_cast<long long>(left())));
    if (left() < length + 1 || *next_ != ' ') throw CacheCorrupt();
    const std::string_view text(next_ + 1, length);
    next_ += length + 1;
    return text;
  }
  std::wstring text() {
    const std::string_view raw = bytes();
    std::wstring value(raw.size(), L'\0');
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const auto c = static_cast<unsigned char>(raw[i]);
      if (c >= 0x80) return platform::fromUtf8(std::string(raw));
      value[i] = static_cast<wchar_t>(c);
    }
    return value;
  }
  // Every item of a counted list takes at least two bytes of the file.
  std::size_t count() { return static_cast<std::size_t>(number(0, static_cast<long long>(left() / 2))); }
  std::vector<unsigned char> cipher() {
    const std::string_view raw = bytes();
    if (raw.empty()) throw CacheCorrupt();
    return std::vector<unsigned char>(raw.begin(), raw.end());
  }
  std::wstring secret() {
    if (!flag()) return std::wstring();
    const std::vector<unsigned char> ciphertext = cipher();
    if (ciphertext.size() > kMaxProxySecretSize) throw CacheCorrupt();
    SecureString encrypted(ciphertext);
    std::wstring plaintext = encrypted.str();
    if (encrypted.getLastResult() != 0) throw CacheCorrupt();
    return plaintext;
  }
  bool atEnd() {
    skipBlanks();
    return next_ == last_;
  }

 private:
  void skipBlanks() {
    while (next_ != last_ && (*next_ == ' ' || *next_ == '\n')) ++next_;
  }
  std::size_t left() const { return static_cast<std::size_t>(last_ - next_); }

  const char* next_;
  const char* last_;
};

// The archive's header, as the serialization library writes and checks it.
std::string archiveHeader() {
  std::ostringstream stream;
  { boost::archive::text_oarchive archive(stream); }
  return stream.str();
}

// Lets the archive read its header in place; says how much it took.
class MemoryBuffer : public std::streambuf {
 public:
  MemoryBuffer(const unsigned char* data, std::size_t size) {
    char* first = reinterpret_cast<char*>(const_cast<unsigned char*>(data));
    setg(first, first, first + size);
  }
  std::size_t consumed() const { return static_cast<std::size_t>(gptr() - eback()); }
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
  // `proxies` numbers the sites' proxy records, which sites share: each is
  // saved once, before the sites, and a site names its record by number.
  static void saveSite(CacheWriter& out, const ImSiteImpl& site,
                       const std::map<const xoInet::CProxyParams*, long long>& proxies) {
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
    const PackedProperties* packed = site.properties_.packed();
    if (packed != nullptr && packed->isAscii()) {
      // Stored as ASCII, which is already the file's UTF-8.
      std::string_view name;
      std::string_view value;
      for (std::size_t position = 0; packed->next(position, name, value);) {
        out.bytes(name);
        out.bytes(value);
      }
    } else {
      site.properties_.forEach([&out](const std::wstring& name, const std::wstring& value) {
        out.text(name);
        out.text(value);
      });
    }
    // The ciphertexts as the site holds them: encryption is deterministic, so
    // they are what encrypting the passwords again would give.
    for (const SecureString* secret : {&site.password_, &site.replicationPassword_}) {
      const std::vector<unsigned char> ciphertext = secret->encrypted_str();
      out.flag(!ciphertext.empty());
      if (!ciphertext.empty()) out.cipher(ciphertext);
    }
    out.number(site.proxy_ ? proxies.at(site.proxy_.get()) : 0);
  }

  static IImSite_ptr loadSite(CacheReader& in, PackedProperties::Builder& properties,
                              const std::vector<std::shared_ptr<const xoInet::CProxyParams>>& proxies) {
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
      const std::wstring name = in.text();
      // Names in the map's order, each once: anything else is not ours.
      if (!properties.add(name, in.text())) throw CacheCorrupt();
    }
    site.properties_.adopt(properties.finish());
    for (SecureString* secret : {&site.password_, &site.replicationPassword_}) {
      if (!in.flag()) continue;
      const std::vector<unsigned char> ciphertext = in.cipher();
      // Below the bound, as encrypting a password into the site leaves it,
      // and it must decrypt: the cipher is authenticated.
      if (ciphertext.size() >= ImSiteImpl::kMaxSecretCipherSize) throw CacheCorrupt();
      SecureString probe(ciphertext);
      probe.str();
      if (probe.getLastResult() != 0) throw CacheCorrupt();
      *secret = ciphertext;
      secret->setMaxBufferSize(ImSiteImpl::kMaxSecretCipherSize);
    }
    const auto proxy = static_cast<std::size_t>(in.number(0, static_cast<long long>(proxies.size())));
    if (proxy != 0) site.proxy_ = proxies[proxy - 1];
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
    std::map<const xoInet::CProxyParams*, long long> siteProxies;
    std::vector<const xoInet::CProxyParams*> inOrder;
    for (const auto& site : store.sites_) {
      const xoInet::CProxyParams* proxy = static_cast<const ImSiteImpl&>(*site).proxy_.get();
      if (proxy != nullptr && siteProxies.emplace(proxy, static_cast<long long>(inOrder.size() + 1)).second) {
        inOrder.push_back(proxy);
      }
    }
    out.number(static_cast<long long>(inOrder.size()));
    for (const xoInet::CProxyParams* proxy : inOrder) saveProxy(out, *proxy);
    out.number(static_cast<long long>(store.sites_.size()));
    for (const auto& site : store.sites_) saveSite(out, static_cast<const ImSiteImpl&>(*site), siteProxies);
    out.bytes(kTrailer);
  }

  // Builds everything aside and swaps it in only at the end.
  static void loadStore(CacheReader& in, PersistSite& store) {
    if (in.bytes() != kMagic || in.number(0, kInt32Max) != kFormatVersion) throw CacheCorrupt();
    const std::string_view identity = in.bytes();
    if (identity != buildIdentity()) throw CacheForeign(identity);
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
    std::vector<std::shared_ptr<const xoInet::CProxyParams>> siteProxies;
    for (std::size_t n = in.count(); n > 0; --n) {
      siteProxies.push_back(std::make_shared<const xoInet::CProxyParams>(loadProxy(in)));
    }
    const std::size_t siteCount = in.count();
    std::vector<IImSite_ptr> sites;
    sites.reserve(siteCount);
    PackedProperties::Builder properties;
    for (std::size_t n = siteCount; n > 0; --n) sites.push_back(loadSite(in, properties, siteProxies));
    if (in.bytes() != kTrailer || !in.atEnd()) throw CacheCorrupt();
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
    std::string contents = archiveHeader();
    // About what a site of a large list takes, so the buffer grows seldom.
    contents.reserve(contents.size() + 256 + store.getSiteCount() * 320);
    CacheWriter writer(contents);
    SiteCacheAccess::saveStore(writer, store);
    contents.push_back('\n');
    return platform::AFile::write(path, contents, 0600);
  } catch (const boost::archive::archive_exception& e) {
    platform::logError(kTag, L"writeCache() exception: " + platform::fromUtf8(e.what()));
  } catch (const std::exception& e) {
    platform::logError(kTag,
                       L"writeCache() std::exception" + platform::fromUtf8(std::string(": ") + e.what()));
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
    MemoryBuffer buffer(contents.data(), contents.size());
    std::istream stream(&buffer);
    if (!stream) {
      platform::logError(kTag, L"Failed to obtain serialization source stream.");
      return false;
    }
    { boost::archive::text_iarchive header(stream); }
    const char* first = reinterpret_cast<const char*>(contents.data());
    CacheReader reader(first + buffer.consumed(), first + contents.size());
    SiteCacheAccess::loadStore(reader, store);
    return true;
  } catch (const std::exception& e) {
    platform::logError(kTag, L"Cannot use cache file " + path + L": " + platform::fromUtf8(e.what()));
  }
  return false;
}

}  // namespace corvane_com::zel::inetmgr
