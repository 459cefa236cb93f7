// Reads proxy configuration elements: the HTTP and FTP proxy servers and ports
// (attributes), the flags and credentials (child elements), and the lists of
// local address ranges and excluded names that bypass the proxy.
#include "sitelist/proxy_reader.h"

#include <cstdint>
#include <string>
#include <utility>

#include <boost/lexical_cast.hpp>

#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/expand_macro.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
using platform::ADetailTrace;
using Element = platform::AdvXMLParser::Element;
using xoInet::CProxyParams;

constexpr wchar_t kTag[] = L"extprox";
constexpr wchar_t kStoreTag[] = L"persite";

constexpr wchar_t c_paramDelimiter[] = L";";
constexpr wchar_t c_envMacroStartDelimiter = L'<';
constexpr wchar_t c_envMacroEndDelimiter = L'>';

// A server or port that cannot be filled; never leaves this file.
class ProxyFillException {};

enum eFillType : int { fillHttp = 0, fillFtp = 1 };

struct FillRow {
  const wchar_t* serverAttribute;
  const wchar_t* portAttribute;
  const wchar_t* typeWord;
};

const FillRow tagData[] = {
    {schema::XO_XML_PROXY_HTTP_PROXY_SERVER, schema::XO_XML_PROXY_HTTP_PROXY_PORT,
     schema::XO_XML_SITELIST_HTTP_SITE},
    {schema::XO_XML_PROXY_FTP_PROXY_SERVER, schema::XO_XML_PROXY_FTP_PROXY_PORT,
     schema::XO_XML_SITELIST_FTP_SITE},
};

// Text to an integer or a flag; the whole text must convert ("80a" does not,
// and a flag is "0" or "1").
template <typename T>
T string2other(const std::wstring& text) {
  try {
    return boost::lexical_cast<T>(convertString<char>(text));
  } catch (const boost::bad_lexical_cast&) {
    throw ProxyFillException();
  }
}

// The text of the first child called `name`; false when there is none.
bool getElementValue(const Element& parent, const wchar_t* name, std::wstring& value) {
  const Element child = parent.GetElement(name);
  if (child.IsNull()) return false;
  value = child.GetValue();
  return true;
}

// An empty flag counts as absent; a flag that is neither "0" nor "1" is logged
// and leaves the default, since the proxy itself is still usable.
bool setFlag(const wchar_t* name, const std::wstring& text, bool& value) {
  if (text.empty()) return false;
  try {
    value = string2other<bool>(text);
    return true;
  } catch (const ProxyFillException&) {
    platform::logError(kTag, L"Invalid proxy flag " + std::wstring(name) + L"=" + text);
    return false;
  }
}

bool getElementValue(const Element& parent, const wchar_t* name, bool& value) {
  std::wstring text;
  return getElementValue(parent, name, text) && setFlag(name, text, value);
}

void fillProxyServerAddress(CProxyParams& record, eFillType fillType, const Element& element) {
  const platform::AdvXMLParser::Node attribute = element.GetAttribute(tagData[fillType].serverAttribute);
  if (attribute.IsNull()) throw ProxyFillException();
  std::wstring server = attribute.GetValue();
  const std::size_t start = server.find(c_envMacroStartDelimiter);
  if (start != std::wstring::npos && server.find(c_envMacroEndDelimiter, start) != std::wstring::npos) {
    server = platform::cmnlib_ExpandMacro(server);
  }
  if (server.empty()) throw ProxyFillException();
  // HTTP and FTP share this one member, so with both present the FTP address,
  // filled second, is the one kept. Deliberate.
  record.proxyServer = server;
}

void fillProxyServerPort(CProxyParams& record, eFillType fillType, const Element& element) {
  const platform::AdvXMLParser::Node attribute = element.GetAttribute(tagData[fillType].portAttribute);
  if (attribute.IsNull()) throw ProxyFillException();
  const std::int32_t port = string2other<std::int32_t>(attribute.GetValue());
  (fillType == fillHttp ? record.httpPort : record.ftpPort) = port;
}

bool fillProxyServerData(CProxyParams& record, eFillType fillType, const Element& element) {
  INETMGR_ASSERT(fillType >= fillHttp && fillType <= fillFtp, "fillType >= fillHttp && fillType <= fillFtp");
  // Filled in place on purpose: an FTP address whose port is bad has already
  // replaced the HTTP address when the port fails, and the record keeps it.
  try {
    fillProxyServerAddress(record, fillType, element);
    fillProxyServerPort(record, fillType, element);
  } catch (const ProxyFillException&) {
    return false;
  }
  record.proxyType = tagData[fillType].typeWord;
  return true;
}

ResultCode getProxyServerDataByType(const Element& element, CProxyParams& record, const wchar_t* type) {
  ADetailTrace trace(kTag, L"extractproxy::getProxyServerDataByType()");
  if (type != nullptr && *type != L'\0') {
    const std::wstring wanted(type);
    eFillType fillType = fillHttp;
    if (wanted == schema::XO_XML_PROXY_HTTP_PROXY_SERVER) {
      fillType = fillHttp;
    } else if (wanted == schema::XO_XML_PROXY_FTP_PROXY_SERVER) {
      fillType = fillFtp;
    } else {
      platform::logError(kTag, L"Unknown proxy type: " + wanted);
      return rcBadArgument;
    }
    return fillProxyServerData(record, fillType, element) ? rcSuccess : rcNotFound;
  }
  const bool http = fillProxyServerData(record, fillHttp, element);
  const bool ftp = fillProxyServerData(record, fillFtp, element);
  if (http && ftp) record.proxyType = schema::XO_XML_SITELIST_FTPHTTP_SITE;
  // Servers often configure only one of the two proxies; that one alone is a
  // usable record, with its own type word.
  return http || ftp ? rcSuccess : rcNotFound;
}

void getProxySingularValues(const Element& element, CProxyParams& record) {
  ADetailTrace trace(kTag, L"extractproxy::getProxySingularValues()");
  // Written as an attribute of the element; a child element is accepted too.
  const platform::AdvXMLParser::Node useSystem = element.GetAttribute(schema::XO_XML_PROXY_USE_IE_CONFIG);
  if (useSystem.IsNull()) {
    getElementValue(element, schema::XO_XML_PROXY_USE_IE_CONFIG, record.useSystemConfig);
  } else {
    setFlag(schema::XO_XML_PROXY_USE_IE_CONFIG, useSystem.GetValue(), record.useSystemConfig);
  }
  // Read in full even when the system settings are to be used, so that the
  // record is complete for whoever decides which settings apply.
  getElementValue(element, schema::XO_XML_PROXY_ALLOWUSERTOCONFIGPROXY, record.allowUserToConfigProxy);
  getElementValue(element, schema::XO_XML_PROXY_BYPASSLOCALADDR, record.bypassLocalAddresses);
  getElementValue(element, schema::XO_XML_PROXY_FTP_USEAUTH, record.ftpUseAuth);
  getElementValue(element, schema::XO_XML_PROXY_HTTP_USEAUTH, record.httpUseAuth);
  getElementValue(element, schema::XO_XML_HTTP_PROXY_PROXYUSERNAME, record.httpUserName);
  getElementValue(element, schema::XO_XML_HTTP_PROXY_PROXYPASSWORD, record.httpPassword);
  getElementValue(element, schema::XO_XML_FTP_PROXY_PROXYUSERNAME, record.ftpUserName);
  getElementValue(element, schema::XO_XML_FTP_PROXY_PROXYPASSWORD, record.ftpPassword);
  getElementValue(element, schema::XO_XML_PROXY_ALT_FTP_USEAUTH, record.altFtpUseAuth);
  getElementValue(element, schema::XO_XML_PROXY_ALT_HTTP_USEAUTH, record.altHttpUseAuth);
  getElementValue(element, schema::XO_XML_HTTP_PROXY_ALT_PROXYUSERNAME, record.altHttpUserName);
  getElementValue(element, schema::XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD, record.altHttpPassword);
  getElementValue(element, schema::XO_XML_FTP_PROXY_ALT_PROXYUSERNAME, record.altFtpUserName);
  getElementValue(element, schema::XO_XML_FTP_PROXY_ALT_PROXYPASSWORD, record.altFtpPassword);
}

// A range missing either end cannot be applied, so it is dropped whole.
void appendAddress(CProxyParams& record, const std::wstring& start, const std::wstring& end) {
  if (start.empty() || end.empty()) return;
  if (record.localAddressCount != 0) record.localAddressList += c_paramDelimiter;
  record.localAddressList += start + c_paramDelimiter + end;
  ++record.localAddressCount;
}

void appendExclusion(CProxyParams& record, const std::wstring& name) {
  if (name.empty()) return;
  if (record.exclusionCount != 0) record.exclusionList += c_paramDelimiter;
  record.exclusionList += name;
  ++record.exclusionCount;
}

void getProxyLocalAddressList(const Element& element, CProxyParams& record) {
  ADetailTrace trace(kTag, L"extractproxy::getProxyLocalAddressList()");
  for (const Element& range : element.GetElement(schema::XO_XML_PROXY_ADDRLIST).GetChildElements()) {
    std::wstring start;
    std::wstring end;
    getElementValue(range, schema::XO_XML_PROXY_IPSTART, start);
    getElementValue(range, schema::XO_XML_PROXY_IPEND, end);
    appendAddress(record, start, end);
  }
}

void getProxyExclusionList(const Element& element, CProxyParams& record) {
  ADetailTrace trace(kTag, L"extractproxy::getProxyExclusionList()");
  for (const Element& excluded : element.GetElement(schema::XO_XML_PROXY_EXCLUSIONLIST).GetChildElements()) {
    appendExclusion(record, excluded.GetValue());
  }
}

}  // namespace

ResultCode ReadProxyConfig(const Element& element, CProxyParams& params, const wchar_t* type) {
  ADetailTrace trace(kTag, L"inetmgr::ReadProxyConfig()");
  if (element.GetName() != schema::XO_XML_PROXY_CONFIG) {
    platform::logError(kTag, L"Unexpected element type: " + element.GetName());
    return rcBadSchema;
  }
  // The caller's record changes only when everything was read.
  CProxyParams record;
  const ResultCode code = getProxyServerDataByType(element, record, type);
  if (code != rcSuccess) return code;
  getProxySingularValues(element, record);
  getProxyLocalAddressList(element, record);
  getProxyExclusionList(element, record);
  params = std::move(record);
  return rcSuccess;
}

void readProxyConfigList(const Element& proxyConfigListElement, std::vector<CProxyParams>& out,
                         bool& useSystemConfig) {
  useSystemConfig =
      proxyConfigListElement.GetAttribute(schema::XO_XML_PROXY_USE_IE_CONFIG).GetValue() == L"1";
  for (const Element& child : proxyConfigListElement.GetChildElements()) {
    if (child.GetName() != schema::XO_XML_PROXY_CONFIG) continue;
    CProxyParams params;
    const ResultCode code = ReadProxyConfig(child, params, nullptr);
    if (code != rcSuccess) {
      platform::logError(kStoreTag, L"Skipped a proxy configuration that could not be read, result " +
                                        std::to_wstring(static_cast<int>(code)));
      continue;
    }
    platform::logDetail(kStoreTag, L"Found proxy config server = " + params.proxyServer);
    out.push_back(std::move(params));
  }
}

}  // namespace corvane_com::zel::inetmgr
