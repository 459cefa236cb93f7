// Reading one site list document into its contents.
#include "sitelist/sitelist_document.h"

#include <algorithm>
#include <stdexcept>

#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/crypto.h"
#include "platform/log.h"
#include "site/site_impl.h"
#include "sitelist/ca_bundle.h"
#include "sitelist/proxy_reader.h"
#include "sitelist/versions.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
using platform::AdvXMLParser;
constexpr wchar_t kTag[] = L"persite";

SiteListRejection reject(ResultCode code, const std::wstring& reason) {
  platform::logError(kTag, reason);
  return SiteListRejection{code, reason};
}

// Sites and proxy blocks of the first XO_XML_SITELIST element, in document order.
SiteListRejection fillSiteList(const AdvXMLParser::Element& root, SiteListContents& contents) {
  const AdvXMLParser::Element siteList = root.GetElement(schema::XO_XML_SITELIST);
  for (const auto& entry : siteList.GetChildElements()) {
    if (entry.GetName() == schema::XO_XML_PROXY_CONFIG_LIST) {
      bool useSystemProxy = false;
      readProxyConfigList(entry, contents.proxies, useSystemProxy);
      contents.useSystemProxy = contents.useSystemProxy || useSystemProxy;
      continue;
    }
    auto* site = new ImSiteImpl();
    IImSite_ptr handle = wrapSitePtr(site);
    ResultCode code = rcSuccess;
    try {
      code = site->initFromElement(entry);
    } catch (const std::runtime_error& e) {
      return reject(rcUnexpected, convertString<wchar_t>(e.what()));
    }
    // A proxy block is read above; any other refusal was logged by the site.
    if (code == rcSuccess) contents.sites.push_back(handle);
  }
  return SiteListRejection{};
}

// Every site gets the first proxy record; the sites themselves decide whether
// their protocol goes through it.
SiteListRejection assignProxies(SiteListContents& contents) {
  if (contents.proxies.empty()) return SiteListRejection{};
  for (IImSite_ptr& site : contents.sites) {
    if (!site->setProxy(&contents.proxies.front())) {
      return reject(rcOutOfMemory, L"Failed in setting proxy server " + site->getSiteName());
    }
  }
  return SiteListRejection{};
}

SiteListRejection validateSites(const SiteListContents& contents) {
  if (contents.sites.empty()) return reject(rcBadSchema, L"Reject empty site list");
  for (const IImSite_ptr& site : contents.sites) {
    // Every site of the list was built here, so the downcast is safe.
    if (!static_cast<const ImSiteImpl*>(site.get())->validateParameters()) {
      return reject(rcBadSchema, L"Invalid site " + site->getSiteName());
    }
  }
  return SiteListRejection{};
}

SiteListRejection parseBytes(const platform::ByteBuffer& bytes, AdvXMLParser::Document& document) {
  AdvXMLParser parser;
  if (!parser.ParseXML(bytes, document)) {
    platform::logError(kTag, L"XML parse error");
    platform::logDetail(kTag, parser.GetLastXmlErrorMessage());
    return SiteListRejection{rcBadSchema, L"XML parse error: " + parser.GetLastXmlErrorMessage()};
  }
  return SiteListRejection{};
}

bool decryptHook(const platform::ByteBuffer& in, platform::ByteBuffer& out) {
  return platform::ACryptWrap::decrypt_data(in, out);
}

}  // namespace

SiteListRejection readSiteListFile(const std::wstring& path, AdvXMLParser::Document& document) {
  AdvXMLParser parser;
  platform::ByteBuffer bytes;
  if (!parser.ReadBufferFromFileNoExp(path, bytes, &decryptHook)) {
    return reject(rcPathError, parser.GetLastXmlErrorMessage());
  }
  return parseBytes(bytes, document);
}

SiteListRejection parseSiteListBuffer(const platform::ByteBuffer& bytes, AdvXMLParser::Document& document) {
  platform::ByteBuffer plain;
  if (!decryptHook(bytes, plain)) return reject(rcBadSchema, L"Encrypted site list does not decrypt");
  return parseBytes(plain, document);
}

SiteListRejection buildSiteListContents(const AdvXMLParser::Document& document, const std::wstring& caBundlePath,
                                        bool managedMode, SiteListContents& contents) {
  const AdvXMLParser::Element root = document.GetRoot();
  if (root.IsNull()) return reject(rcBadSchema, L"XML parse error");
  if (!saveCarootCertificateBundle(root, caBundlePath)) {
    return reject(rcPathError, L"Failed to write ca bundle file " + caBundlePath);
  }
  SiteListContents building;
  SiteListRejection result = fillSiteList(root, building);
  if (result.code != rcSuccess) return result;
  std::for_each(building.sites.begin(), building.sites.end(), AssignSslFunctor(caBundlePath));
  if (building.sites.empty()) return reject(rcBadSchema, L"Reject empty site list");
  if ((result = assignProxies(building)).code != rcSuccess) return result;
  if (managedMode && (result = validateSites(building)).code != rcSuccess) return result;
  if (!readDocumentVersions(root, building.globalVersion, building.localVersion)) {
    return reject(rcBadSchema, L"Site list version is missing");
  }
  const ResultCode policies = readPolicies(root, building.policies);
  if (policies != rcSuccess) return SiteListRejection{policies, L"Invalid site list policy"};
  contents = std::move(building);
  return SiteListRejection{};
}

}  // namespace corvane_com::zel::inetmgr
