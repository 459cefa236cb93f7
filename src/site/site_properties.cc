// Property readers and the construction of a site from its site list entry.
#include "site/site_properties.h"

#include <stdexcept>

#include <boost/lexical_cast.hpp>

#include "core/result_exceptions.h"
#include "core/ssl_information.h"
#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/crypto.h"
#include "platform/log.h"
#include "platform/utf8.h"
#include "site/site_impl.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
constexpr wchar_t kTag[] = L"imsite";

template <class T>
bool convertProperty(const std::wstring& text, T& out) {
  try {
    out = boost::lexical_cast<T>(convertString<char>(text));
    return true;
  } catch (const boost::bad_lexical_cast&) {
    return false;
  }
}

// The readers that must find their property: absence is a schema fault.
ResultCode requiredString(const wchar_t* name, const PropertyMap& properties, std::wstring& value) {
  return p_getStringValue(name, properties, value) == rcSuccess ? rcSuccess : rcBadSchema;
}

// Turns the document form of a password into its plain text. A password that
// does not decrypt is not a fault of this one entry: the whole document was
// almost certainly written for another machine, so this leaves the site as a
// runtime error and the reader refuses the document.
std::wstring decryptDocumentPassword(platform::IEncryption& encryption, const std::wstring& stored,
                                     const wchar_t* field, const std::wstring& siteName) {
  std::wstring plain;
  if (!encryption.decryptText(stored, plain)) {
    // UTF-8, so that the site's name survives whatever the process locale is.
    throw std::runtime_error(platform::toUtf8(
        std::wstring(field) + L" of site " + siteName +
        L" does not decrypt: the site list was most likely encrypted under another machine's key"));
  }
  return plain;
}

// A flag that defaults to false. Any value but "0" or "1" keeps the default, and
// the log says so: whoever wrote Enabled="true" meant the opposite.
bool readFlag(const wchar_t* name, const PropertyMap& properties, const std::wstring& siteName) {
  bool value = false;
  const auto it = properties.find(name);
  if (it != properties.end() && !convertProperty(it->second, value)) {
    platform::logError(kTag, L"Site " + siteName + L": " + name + L"=\"" + it->second +
                                 L"\" is neither 0 nor 1 and is read as false");
  }
  return value;
}

struct EncryptionObject {
  platform::IEncryption* object;
  ~EncryptionObject() { platform::CryptShim::instance()->destroy_encryption_object(object); }
};

}  // namespace

void fillProperties(const platform::AdvXMLParser::Element& element, PropertyMap& properties) {
  properties.clear();
  for (const auto& child : element.GetChildElements()) properties[child.GetName()] = child.GetValue();
  for (const auto& attribute : element.GetAttributes()) properties[attribute.GetName()] = attribute.GetValue();
}

ResultCode p_getStringValue(const wchar_t* propName, const PropertyMap& properties, std::wstring& value) {
  INETMGR_ASSERT(propName != nullptr, "0!=propName");
  const auto it = properties.find(propName);
  if (it == properties.end()) return rcNotFound;
  value = it->second;
  return rcSuccess;
}

ResultCode p_getBoolValue(const wchar_t* propName, const PropertyMap& properties, bool& value) {
  INETMGR_ASSERT(propName != nullptr, "0!=propName");
  const auto it = properties.find(propName);
  if (it != properties.end()) convertProperty(it->second, value);
  return rcSuccess;
}

ResultCode p_getHttpUseAuth(const PropertyMap& properties, bool& useAuth) {
  useAuth = false;
  return p_getBoolValue(schema::XO_XML_HTTPSITE_USE_AUTH, properties, useAuth);
}

ResultCode p_getSortOrder(const PropertyMap& properties, int& order) {
  order = ImSiteImpl::s_invalidOrderValue_;
  const auto it = properties.find(schema::XO_XML_SITE_ORDER);
  if (it == properties.end()) return rcNotFound;
  int configured = 0;
  if (convertProperty(it->second, configured)) order = configured;
  return rcSuccess;
}

ResultCode p_getSslEnabledFlag(const PropertyMap& properties, bool& enabled, unsigned int& port) {
  const auto it = properties.find(schema::XO_XML_SSL_PORT);
  enabled = it != properties.end();
  if (enabled) convertProperty(it->second, port);
  return rcSuccess;
}

ResultCode p_getProtocolType(const std::wstring& elementName, ProtocolType::Types& protocol) {
  if (elementName.empty()) return rcBadSchema;
  protocol = ProtocolType::toType(elementName.c_str());
  if (protocol != ProtocolType::typeCount) return rcSuccess;
  return elementName == schema::XO_XML_PROXY_CONFIG_LIST ? rcProxyElement : rcBadSchema;
}

ResultCode p_getSiteType(const PropertyMap& properties, SiteType::Types& siteType) {
  const auto it = properties.find(schema::XO_XML_SITE_TYPE);
  if (it == properties.end()) return rcBadSchema;
  siteType = SiteType::toType(it->second.c_str());
  return siteType == SiteType::typeCount ? rcBadSchema : rcSuccess;
}

void p_extractPasswordField(PropertyMap& properties, const wchar_t* name, std::wstring& value) {
  value.clear();
  const auto it = properties.find(name);
  if (it == properties.end()) return;
  value.swap(it->second);
  properties.erase(it);
}

bool validateSpipeSite(const PropertyMap& properties) {
  for (const wchar_t* name : {schema::XO_XML_SITE_NAME, schema::XO_XML_SERVER_NETBIOS_NAME,
                              schema::XO_XML_SITE_SERVER_IP, schema::XO_XML_SITE_RELATIVEPATH}) {
    if (properties.find(name) == properties.end()) return false;
  }
  return true;
}

ResultCode ImSiteImpl::initFromElement(const platform::AdvXMLParser::Element& element, std::wstring* failure) {
  platform::ADetailTrace trace(kTag, L"initFromElement");
  ProtocolType::Types protocol = ProtocolType::typeCount;
  PropertyMap properties;
  try {
    if (element.IsNull()) throw SiteImplExcept::withMessage(rcBadSchema, L"Argument is empty.");
    const std::wstring elementName = element.GetName();
    const ResultCode code = p_getProtocolType(elementName, protocol);
    if (code == rcProxyElement) return rcProxyElement;
    if (code != rcSuccess) {
      throw SiteImplExcept::withMessage(code, L"Unknown protocol type string value=" + elementName);
    }
    fillProperties(element, properties);
  } catch (SiteImplExcept& e) {
    if (failure != nullptr) *failure = e.getText();
    return doSiteExceptCatch(e);
  }
  return initFromProperties(protocol, std::move(properties), failure);
}

ResultCode ImSiteImpl::initFromProperties(ProtocolType::Types protocol, PropertyMap properties,
                                          std::wstring* failure) {
  try {
    protocol_ = protocol;
    properties_ = std::move(properties);
    ResultCode code = p_getSiteType(properties_, siteType_);
    if (code != rcSuccess) throw SiteImplExcept::withMessage(code, L"Unknown site type string");
    p_getSortOrder(properties_, siteOrder_);
    code = requiredString(schema::XO_XML_SITE_NAME, properties_, siteName_);
    if (code != rcSuccess) throw SiteImplExcept::withMessage(code, L"No sitename found");
    platform::logInfo(kTag, L"Found site name=" + siteName_);
    localSiteList_ = readFlag(schema::XO_XML_SITE_LOCAL, properties_, siteName_);
    enabled_ = readFlag(schema::XO_XML_SITE_ENABLED, properties_, siteName_);
    // Read here only to report a bad value once; the transfer reads it when built.
    readFlag(schema::XO_XML_HTTPSITE_USE_AUTH, properties_, siteName_);
    unsigned int sslPort = 0;
    p_getSslEnabledFlag(properties_, sslEnabled_, sslPort);
    // One-way on purpose: a site without SSL never clears its protocol's flag.
    if (sslEnabled_) SslUseInformation::getInstance()->setSslUseInformation(protocol_, true);
    p_getStringValue(schema::XO_XML_SITE_SERVER_IP, properties_, siteIp_);

    EncryptionObject encryption{
        platform::CryptShim::instance()->create_encryption_object(platform::kEncryptionTypeAesSiv)};
    if (encryption.object == nullptr) throw std::runtime_error("Failed to create encryption obejct instance");
    std::wstring stored;
    try {
      p_extractPasswordField(properties_, schema::XO_XML_SITE_PASSWORD, stored);
      if (!stored.empty()) {
        password_ =
            decryptDocumentPassword(*encryption.object, stored, schema::XO_XML_SITE_PASSWORD, siteName_);
      }
      p_extractPasswordField(properties_, schema::XO_XML_SITE_REPLICATION_PASSWORD, stored);
      if (!stored.empty()) {
        replicationPassword_ = decryptDocumentPassword(*encryption.object, stored,
                                                       schema::XO_XML_SITE_REPLICATION_PASSWORD, siteName_);
      }
    } catch (const SecureString::BufferOverflowException&) {
      throw SiteImplExcept::withMessage(rcBadSchema, L"Encountered password exceeding max size");
    }
    properties_.pack();
    return rcSuccess;
  } catch (SiteImplExcept& e) {
    if (failure != nullptr) *failure = e.getText();
    return doSiteExceptCatch(e);
  }
}

}  // namespace corvane_com::zel::inetmgr
