// The site object at run time: references, equality, copying, properties,
// proxy and orders, and the lazily built transfer object.
#include "site/site_impl.h"

#include <climits>
#include <new>
#include <stdexcept>

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

std::wstring propertyOrEmpty(const PropertyMap& properties, const wchar_t* name) {
  std::wstring value;
  p_getStringValue(name, properties, value);
  return value;
}

}  // namespace

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
         enabled_ == other.isEnabled() && siteIp_ == other.getSiteIp() && sslEnabled_ == other.isSslEnabled() &&
         caBundlePath_ == other.getCaBundlePath();
}

std::wstring ImSiteImpl::getServerName() { return propertyOrEmpty(properties_, schema::XO_XML_SITE_SERVER); }

std::wstring ImSiteImpl::getServerNetBios() {
  return propertyOrEmpty(properties_, schema::XO_XML_SERVER_NETBIOS_NAME);
}

std::wstring ImSiteImpl::getHostSSLPort() { return propertyOrEmpty(properties_, schema::XO_XML_SSL_PORT); }

bool ImSiteImpl::setProxy(const xoInet::CProxyParams* proxy) {
  platform::logInfo(kTag, L"ImSiteImpl::setProxy()");
  if (proxy == nullptr) {
    platform::logInfo(kTag, L" Clearing proxy server");
    proxy_.reset();
    return true;
  }
  platform::logInfo(kTag, L" Setting proxy server");
  platform::logInfo(kTag, L"  Remote site: " + siteName_);
  platform::logInfo(kTag, L"  Proxy server: " + proxy->proxyServer);
  platform::logInfo(kTag, L"  Bypass list: " + proxy->localAddressList);
  platform::logInfo(kTag, L"  Exclusion list: " + proxy->exclusionList);
  try {
    proxy_ = std::make_shared<xoInet::CProxyParams>(*proxy);
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
  p_getSortOrder(properties_, order);
  return order;
}

void ImSiteImpl::setSortOrder(int order) { properties_[schema::XO_XML_SITE_ORDER] = std::to_wstring(order); }

bool ImSiteImpl::validateParameters() const {
  return protocol_ != ProtocolType::Spipe || validateSpipeSite(properties_);
}

void ImSiteImpl::checkBuildTransferObject() {
  platform::ADetailTrace trace(kTag, L"checkBuildTransferObject");
  if (spTransfer_) return;
  ResultCode failure = rcSuccess;
  try {
    platform::logDetail(kTag, L"Attempting creation of xoInet::TransferItf instance");
    spTransfer_ = CreateTransferItfFromProperties(protocol_, properties_);
    platform::logDetail(kTag, L"Successfully instantiated xoInet::TransferItf");
    assignTransferCredentials();
    if (!forceNonSsl_) assignSslInformation();
  } catch (const std::bad_alloc&) {
    failure = rcOutOfMemory;
  } catch (const std::logic_error&) {
    failure = rcBadSiteProperties;
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
  const ResultCode code = p_getHttpUseAuth(properties_, useAuth);
  INETMGR_ASSERT(rcSuccess == code, "rcSuccess==code");
  // FTP, UNC and local sites always log on with their credentials; HTTP-carried
  // sites only when their entry asks for it.
  if (!useAuth && imProtocolToXoInet(protocol_) == xoInet::xoInetProtocolHttp) return;
  platform::logDetail(kTag, L" Using credentials, if available");
  std::wstring userName;
  if (p_getStringValue(schema::XO_XML_SITE_USER_NAME, properties_, userName) != rcSuccess || userName.empty()) {
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
