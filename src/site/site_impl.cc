// The site object at run time: references, equality, copying, properties,
// proxy and orders, and the lazily built transfer object.
#include "site/site_impl.h"

#include <climits>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <boost/lexical_cast.hpp>

#include "core/site_types_internal.h"
#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/log.h"
#include "site/site_properties.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
constexpr wchar_t kTag[] = L"imsite";

std::wstring propertyOrEmpty(const SiteProperties& properties, const wchar_t* name) {
  std::wstring value;
  properties.find(name, value);
  return value;
}

bool isAsciiText(std::wstring_view text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) >= 0x80) return false;
  }
  return true;
}

std::size_t lengthSize(std::size_t length) {
  std::size_t size = 1;
  for (; length >= 0x80; length >>= 7) ++size;
  return size;
}

char* writeLength(char* out, std::size_t length) {
  for (; length >= 0x80; length >>= 7) *out++ = static_cast<char>((length & 0x7F) | 0x80);
  *out++ = static_cast<char>(length);
  return out;
}

char* writeText(char* out, std::wstring_view text, bool ascii) {
  if (!ascii) {
    std::memcpy(out, text.data(), text.size() * sizeof(wchar_t));
    return out + text.size() * sizeof(wchar_t);
  }
  for (const wchar_t c : text) *out++ = static_cast<char>(c);
  return out;
}

// The stored form of `properties` (name and value pairs in name order), and
// whether it is one byte per character.
template <class Pairs>
std::pair<bool, std::string> encodeProperties(const Pairs& properties) {
  bool ascii = true;
  std::size_t lengths = 0;
  std::size_t characters = 0;
  for (const auto& [name, value] : properties) {
    ascii = ascii && isAsciiText(name) && isAsciiText(value);
    lengths += lengthSize(name.size()) + lengthSize(value.size());
    characters += name.size() + value.size();
  }
  std::string bytes(lengths + characters * (ascii ? 1 : sizeof(wchar_t)), '\0');
  char* out = bytes.empty() ? nullptr : &bytes[0];
  for (const auto& [name, value] : properties) {
    out = writeLength(out, name.size());
    out = writeLength(out, value.size());
    out = writeText(out, name, ascii);
    out = writeText(out, value, ascii);
  }
  return {ascii, std::move(bytes)};
}

std::size_t readLength(const std::string& bytes, std::size_t& position) {
  std::size_t length = 0;
  for (unsigned shift = 0;; shift += 7) {
    const auto byte = static_cast<unsigned char>(bytes[position++]);
    length |= static_cast<std::size_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return length;
  }
}

void readText(std::string_view stored, bool ascii, std::wstring& text) {
  if (ascii) {
    text.assign(stored.begin(), stored.end());
    return;
  }
  text.resize(stored.size() / sizeof(wchar_t));
  if (!text.empty()) std::memcpy(&text[0], stored.data(), stored.size());
}

bool textEquals(std::string_view stored, bool ascii, std::wstring_view text) {
  if (!ascii) return std::memcmp(stored.data(), text.data(), stored.size()) == 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (static_cast<wchar_t>(static_cast<unsigned char>(stored[i])) != text[i]) return false;
  }
  return true;
}

const PropertyMap& emptyPropertyMap() {
  static const PropertyMap empty;
  return empty;
}

// Every field of a proxy record. A field added to CProxyParams must be added
// here too, or records that differ only in it would share one copy; the
// layout check below fails to build when the record grows.
auto proxyFields(const xoInet::CProxyParams& p) {
  return std::tie(p.proxyType, p.proxyServer, p.httpPort, p.ftpPort, p.allowUserToConfigProxy,
                  p.bypassLocalAddresses, p.useSystemConfig, p.localAddressCount, p.localAddressList,
                  p.exclusionCount, p.exclusionList, p.ftpUseAuth, p.httpUseAuth, p.httpUserName,
                  p.httpPassword, p.ftpUserName, p.ftpPassword, p.altFtpUseAuth, p.altHttpUseAuth,
                  p.altHttpUserName, p.altHttpPassword, p.altFtpUserName, p.altFtpPassword);
}

struct ProxyFieldsAsListed {
  std::wstring proxyType, proxyServer;
  std::int32_t httpPort, ftpPort;
  bool allowUserToConfigProxy, bypassLocalAddresses, useSystemConfig;
  std::int32_t localAddressCount;
  std::wstring localAddressList;
  std::int32_t exclusionCount;
  std::wstring exclusionList;
  bool ftpUseAuth, httpUseAuth;
  std::wstring httpUserName, httpPassword, ftpUserName, ftpPassword;
  bool altFtpUseAuth, altHttpUseAuth;
  std::wstring altHttpUserName, altHttpPassword, altFtpUserName, altFtpPassword;
};
static_assert(sizeof(ProxyFieldsAsListed) == sizeof(xoInet::CProxyParams),
              "proxyFields() must list every field");

// The sites of one list all get the same proxy record: an equal record shares
// the copy made last instead of making another. The records are never
// changed once made, only replaced.
std::shared_ptr<const xoInet::CProxyParams> proxyCopy(const xoInet::CProxyParams& proxy) {
  static std::mutex mutex;
  static std::weak_ptr<const xoInet::CProxyParams> last;
  std::lock_guard<std::mutex> guard(mutex);
  std::shared_ptr<const xoInet::CProxyParams> copy = last.lock();
  if (copy && proxyFields(*copy) == proxyFields(proxy)) return copy;
  copy = std::make_shared<const xoInet::CProxyParams>(proxy);
  last = copy;
  return copy;
}

}  // namespace

bool PackedProperties::Builder::add(std::wstring_view name, std::wstring_view value) {
  if (!lengths_.empty()) {
    const std::size_t previousValue = lengths_[lengths_.size() - 1];
    const std::size_t previousName = lengths_[lengths_.size() - 2];
    const std::wstring_view previous(text_.data() + text_.size() - previousValue - previousName,
                                     previousName);
    if (!(previous < name)) return false;
  }
  for (const std::wstring_view part : {name, value}) {
    text_.append(part.data(), part.size());
    lengths_.push_back(part.size());
  }
  return true;
}

std::shared_ptr<const PackedProperties> PackedProperties::Builder::finish() {
  std::vector<std::pair<std::wstring_view, std::wstring_view>> properties;
  properties.reserve(lengths_.size() / 2);
  std::size_t offset = 0;
  for (std::size_t i = 0; i < lengths_.size(); i += 2) {
    const std::wstring_view text(text_);
    properties.emplace_back(text.substr(offset, lengths_[i]),
                            text.substr(offset + lengths_[i], lengths_[i + 1]));
    offset += lengths_[i] + lengths_[i + 1];
  }
  auto [ascii, bytes] = encodeProperties(properties);
  text_.clear();
  lengths_.clear();
  return std::make_shared<const PackedProperties>(Key{}, ascii, properties.size(), std::move(bytes));
}

std::shared_ptr<const PackedProperties> PackedProperties::pack(const PropertyMap& properties) {
  auto [ascii, bytes] = encodeProperties(properties);
  return std::make_shared<const PackedProperties>(Key{}, ascii, properties.size(), std::move(bytes));
}

bool PackedProperties::next(std::size_t& position, std::string_view& name, std::string_view& value) const {
  if (position >= bytes_.size()) return false;
  const std::size_t unit = ascii_ ? 1 : sizeof(wchar_t);
  const std::size_t nameLength = readLength(bytes_, position) * unit;
  const std::size_t valueLength = readLength(bytes_, position) * unit;
  const std::string_view stored(bytes_);
  name = stored.substr(position, nameLength);
  value = stored.substr(position + nameLength, valueLength);
  position += nameLength + valueLength;
  return true;
}

bool PackedProperties::next(std::size_t& position, std::wstring& name, std::wstring& value) const {
  std::string_view storedName;
  std::string_view storedValue;
  if (!next(position, storedName, storedValue)) return false;
  readText(storedName, ascii_, name);
  readText(storedValue, ascii_, value);
  return true;
}

bool PackedProperties::find(std::wstring_view name, std::wstring& value) const {
  const std::size_t unit = ascii_ ? 1 : sizeof(wchar_t);
  std::string_view storedName;
  std::string_view storedValue;
  for (std::size_t position = 0; next(position, storedName, storedValue);) {
    if (storedName.size() == name.size() * unit && textEquals(storedName, ascii_, name)) {
      readText(storedValue, ascii_, value);
      return true;
    }
  }
  return false;
}

SiteProperties::SiteProperties(const SiteProperties& other) : packed_(other.packed_) {
  if (!packed_ && other.map_) map_ = std::make_unique<PropertyMap>(*other.map_);
}

SiteProperties& SiteProperties::operator=(PropertyMap&& properties) {
  packed_.reset();
  map_ = std::make_unique<PropertyMap>(std::move(properties));
  return *this;
}

const PropertyMap& SiteProperties::map() const {
  if (map_) return *map_;
  if (!packed_) return emptyPropertyMap();
  map_ = std::make_unique<PropertyMap>(copyOfMap());
  return *map_;
}

PropertyMap& SiteProperties::mutableMap() {
  if (packed_) {
    map();  // expanded into map_, which is then this site's own
    packed_.reset();
  }
  if (!map_) map_ = std::make_unique<PropertyMap>();
  return *map_;
}

PropertyMap SiteProperties::copyOfMap() const {
  if (map_ || !packed_) return map();
  PropertyMap copy;
  forEach([&copy](const std::wstring& name, const std::wstring& value) {
    copy.emplace_hint(copy.end(), name, value);
  });
  return copy;
}

bool SiteProperties::find(const wchar_t* name, std::wstring& value) const {
  if (packed_) return packed_->find(name, value);
  return map_ && p_getStringValue(name, *map_, value) == rcSuccess;
}

std::size_t SiteProperties::size() const {
  if (packed_) return packed_->size();
  return map_ ? map_->size() : 0;
}

void SiteProperties::pack() {
  if (packed_) return;
  packed_ = PackedProperties::pack(map_ ? *map_ : emptyPropertyMap());
  map_.reset();
}

void SiteProperties::adopt(std::shared_ptr<const PackedProperties> packed) {
  packed_ = std::move(packed);
  map_.reset();
}

const int ImSiteImpl::s_invalidOrderValue_ = INT_MAX;

ImSiteImpl::ImSiteImpl()
    : refCount_(1),
      siteType_(SiteType::typeCount),
      protocol_(ProtocolType::typeDontCare),
      localSiteList_(false),
      testOnly_(false),
      password_(std::vector<unsigned char>()),
      replicationPassword_(std::vector<unsigned char>()),
      lastXoInetError_(xoInet::rcNoError),
      enabled_(false),
      forceUpload_(false),
      sslEnabled_(false),
      forceNonSsl_(false),
      siteOrder_(s_invalidOrderValue_) {
  password_.setMaxBufferSize(kMaxSecretCipherSize);
  replicationPassword_.setMaxBufferSize(kMaxSecretCipherSize);
}

ImSiteImpl::ImSiteImpl(const ImSiteImpl& other)
    : IImSite(),
      refCount_(1),
      siteType_(other.siteType_),
      protocol_(other.protocol_),
      localSiteList_(other.localSiteList_),
      siteName_(other.siteName_),
      siteIp_(other.siteIp_),
      testOnly_(false),
      properties_(other.properties_),
      password_(other.password_),
      replicationPassword_(other.replicationPassword_),
      lastXoInetError_(other.lastXoInetError_),
      proxy_(other.proxy_),
      enabled_(other.enabled_),
      forceUpload_(other.forceUpload_),
      sslEnabled_(other.sslEnabled_),
      forceNonSsl_(other.forceNonSsl_),
      caBundlePath_(other.caBundlePath_),
      siteOrder_(other.siteOrder_) {}

ImSiteImpl::~ImSiteImpl() {
  if (refCount_ != 0) platform::logInternalError(kTag, L"ImSiteImpl::~ImSiteImpl() refCount != 0");
}

void ImSiteImpl::addRef() {
  INETMGR_ASSERT(refCount_ > 0, "refCount_ > 0");
  ++refCount_;
}

int ImSiteImpl::release() {
  INETMGR_ASSERT(refCount_ > 0, "refCount_ > 0");
  if (--refCount_ == 0) {
    delete this;
    return 0;
  }
  return refCount_;
}

// Server names, ports, orders, proxies and credentials take no part, by design:
// two entries for one site name and address with different ports are one site.
bool ImSiteImpl::operator==(const IImSite& other) const {
  return protocol_ == other.getProtocol() && siteType_ == other.getType() &&
         localSiteList_ == other.isLocalSiteList() && siteName_ == other.getSiteName() &&
         enabled_ == other.isEnabled() && siteIp_ == other.getSiteIp() &&
         sslEnabled_ == other.isSslEnabled() && caBundlePath_ == other.getCaBundlePath();
}

std::wstring ImSiteImpl::getServerName() {
  return propertyOrEmpty(properties_, schema::XO_XML_SITE_SERVER);
}

std::wstring ImSiteImpl::getServerNetBios() {
  return propertyOrEmpty(properties_, schema::XO_XML_SERVER_NETBIOS_NAME);
}

std::wstring ImSiteImpl::getHostSSLPort() {
  return propertyOrEmpty(properties_, schema::XO_XML_SSL_PORT);
}

bool ImSiteImpl::setProxy(const xoInet::CProxyParams* proxy) {
  platform::logInfo(kTag, L"ImSiteImpl::setProxy()");
  if (proxy == nullptr) {
    platform::logInfo(kTag, L" Clearing proxy server");
    proxy_.reset();
    return true;
  }
  // Every site of a list gets its proxy: no texts built for records nobody keeps.
  if (platform::isLogEnabled(LogLevel::Info)) {
    platform::logInfo(kTag, L" Setting proxy server");
    platform::logInfo(kTag, L"  Remote site: " + siteName_);
    platform::logInfo(kTag, L"  Proxy server: " + proxy->proxyServer);
    platform::logInfo(kTag, L"  Bypass list: " + proxy->localAddressList);
    platform::logInfo(kTag, L"  Exclusion list: " + proxy->exclusionList);
  }
  try {
    proxy_ = proxyCopy(*proxy);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool ImSiteImpl::getProxy(xoInet::CProxyParams& proxy) const {
  if (!proxy_) return false;
  proxy = *proxy_;
  return true;
}

int ImSiteImpl::getSortOrder() const {
  int order = s_invalidOrderValue_;
  std::wstring text;
  if (!properties_.find(schema::XO_XML_SITE_ORDER, text)) return order;
  // The usual form, up to nine decimal digits, is read here; anything else
  // goes to the property reader with just this property, so that packed
  // properties stay packed.
  const bool negative = !text.empty() && text[0] == L'-';
  const std::size_t digits = text.size() - (negative ? 1 : 0);
  if (digits == 0 || digits > 9 ||
      text.find_first_not_of(L"0123456789", negative ? 1 : 0) != std::wstring::npos) {
    p_getSortOrder(PropertyMap{{schema::XO_XML_SITE_ORDER, std::move(text)}}, order);
    return order;
  }
  order = 0;
  for (std::size_t i = negative ? 1 : 0; i < text.size(); ++i)
    order = order * 10 + static_cast<int>(text[i] - L'0');
  return negative ? -order : order;
}

void ImSiteImpl::setSortOrder(int order) {
  properties_.mutableMap()[schema::XO_XML_SITE_ORDER] = std::to_wstring(order);
}

bool ImSiteImpl::validateParameters() const {
  if (protocol_ != ProtocolType::Spipe) return true;
  // A map of the moment for packed properties: the store's sites stay packed.
  return properties_.isPacked() ? validateSpipeSite(properties_.copyOfMap())
                                : validateSpipeSite(properties_.map());
}

bool ImSiteImpl::commonOpPrologue() {
  if (!forceUpload_ && !enabled_) throw SiteImplExcept(rcSiteDisabled);
  if (testOnly_) {
    platform::logInfo(kTag, L"Called in test-only mode.");
    progress_(0, 0, xoInet::statusProgress, nullptr, nullptr, nullptr);
    return false;
  }
  checkBuildTransferObject();
  setProxyOption();
  // One-shot: it lets exactly one operation run on a disabled site.
  forceUpload_ = false;
  return true;
}

void ImSiteImpl::checkBuildTransferObject(TransferFactory create) {
  platform::ADetailTrace trace(kTag, L"checkBuildTransferObject");
  if (spTransfer_) return;
  ResultCode failure = rcSuccess;
  try {
    platform::logDetail(kTag, L"Attempting creation of xoInet::TransferItf instance");
    spTransfer_ = create(protocol_, properties_.map());
    platform::logDetail(kTag, L"Successfully instantiated xoInet::TransferItf");
    assignTransferCredentials();
    if (!forceNonSsl_) assignSslInformation();
  } catch (const std::bad_alloc&) {
    failure = rcOutOfMemory;
  } catch (const std::logic_error&) {
    failure = rcBadSiteProperties;
  } catch (...) {
    failure = rcUnexpected;
  }
  if (failure != rcSuccess) {
    // The next operation tries again from scratch.
    spTransfer_.reset();
    platform::logInternalError(kTag, getErrorText(failure, false));
    throw SiteImplExcept(failure);
  }
}

void ImSiteImpl::assignTransferCredentials() {
  platform::ADetailTrace trace(kTag, L"assignTransferCredentials");
  INETMGR_ASSERT(spTransfer_.get() != nullptr, "0!=spTransfer_.get()");
  bool useAuth = false;
  const ResultCode code = p_getHttpUseAuth(properties_.map(), useAuth);
  INETMGR_ASSERT(rcSuccess == code, "rcSuccess==code");
  // FTP, UNC and local sites always log on with their credentials; HTTP-carried
  // sites only when their entry asks for it.
  if (!useAuth && imProtocolToXoInet(protocol_) == xoInet::xoInetProtocolHttp) return;
  platform::logDetail(kTag, L" Using credentials, if available");
  std::wstring userName;
  if (!properties_.find(schema::XO_XML_SITE_USER_NAME, userName) || userName.empty()) {
    return;
  }
  platform::logDetail(kTag, L" Assigning credentials to xoInet Transfer interface");
  if (spTransfer_->SetOption(xoInet::optUserName, userName) != xoInet::rcNoError) return;
  spTransfer_->SetOption(xoInet::optPassword, password_.str());
}

void ImSiteImpl::assignSslInformation() {
  if (!sslEnabled_) return;
  spTransfer_->SetOption(xoInet::optCaBundlePath, caBundlePath_);
  spTransfer_->SetOption(xoInet::optUseSsl, true);
}

void ImSiteImpl::setProxyOption() {
  switch (protocol_) {
    case ProtocolType::Spipe:
    case ProtocolType::SuperAgent:
    case ProtocolType::Unc:
    case ProtocolType::Local:
      return;  // these never go through a proxy
    default:
      break;
  }
  if (proxy_ && spTransfer_) spTransfer_->SetOption(xoInet::optProxy, proxy_.get());
}

}  // namespace corvane_com::zel::inetmgr
