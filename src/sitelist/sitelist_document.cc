// Reading one site list document into its contents.
#include "sitelist/sitelist_document.h"

#include <algorithm>
#include <stdexcept>

#include "inetmgr/sitelist_schema.h"
#include "platform/crypto.h"
#include "platform/log.h"
#include "platform/utf8.h"
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

// How a person finds an entry in the file: its element and, when it has
// one, its name.
std::wstring describeEntry(const AdvXMLParser::Element& entry) {
  std::wstring text = L"<" + entry.GetName();
  const std::wstring name = entry.GetAttribute(schema::XO_XML_SITE_NAME).GetValue();
  if (!name.empty()) text += L" " + std::wstring(schema::XO_XML_SITE_NAME) + L"=\"" + name + L"\"";
  return text + L">";
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
    std::wstring failure;
    try {
      code = site->initFromElement(entry, &failure);
    } catch (const std::runtime_error& e) {
      // A site that cannot be built at all (no crypto service, a password that
      // does not decrypt on this machine) rejects the document. Its text is UTF-8.
      return reject(rcUnexpected, describeEntry(entry) + L": " + platform::fromUtf8(e.what()));
    }
    // A proxy block is read above; any other refusal was logged by the site.
    if (code == rcSuccess) {
      contents.sites.push_back(handle);
    } else {
      contents.skippedEntries.push_back(describeEntry(entry) + L": " + failure);
    }
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
      platform::logError(kTag, L"Invalid site " + site->getSiteName());
      return SiteListRejection{rcBadSchema, L"Invalid site " + site->getSiteName() + L": an " +
                                                ProtocolType::toString(site->getProtocol()) +
                                                L" site needs Name, ServerName, ServerIP and RelativePath"};
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
  SiteListContents building;
  std::wstring failure;
  if (!stageCaBundle(root, caBundlePath, building.caBundle, &failure)) {
    return SiteListRejection{rcPathError, failure};
  }
  SiteListRejection result = fillSiteList(root, building);
  if (result.code != rcSuccess) return result;
  std::for_each(building.sites.begin(), building.sites.end(), AssignSslFunctor(caBundlePath));
  if (building.sites.empty()) {
    platform::logError(kTag, L"Reject empty site list");
    std::wstring reason = L"Reject empty site list: no usable site in <" + std::wstring(schema::XO_XML_SITELIST) + L">";
    if (!building.skippedEntries.empty()) {
      reason += L" (" + std::to_wstring(building.skippedEntries.size()) + L" skipped; first: " +
                building.skippedEntries.front() + L")";
    } else if (root.GetName() != schema::XO_XML_SITELISTS) {
      // The root's name is not a rule of the format, but a wrong one is the
      // likely cause of finding nothing.
      reason += L" (the root element is <" + root.GetName() + L">; a site list's is <" +
                schema::XO_XML_SITELISTS + L">)";
    } else if (root.GetElement(schema::XO_XML_SITELIST).IsNull()) {
      reason += L" (there is no <" + std::wstring(schema::XO_XML_SITELIST) + L"> under the root)";
    }
    return SiteListRejection{rcBadSchema, reason};
  }
  if ((result = assignProxies(building)).code != rcSuccess) return result;
  if (managedMode && (result = validateSites(building)).code != rcSuccess) return result;
  if (!readDocumentVersions(root, building.globalVersion, building.localVersion)) {
    return reject(rcBadSchema, L"Site list version is missing: the root element needs " +
                                   std::wstring(schema::XO_XML_SITELISTS_GLOBAL_VERSION) + L" and " +
                                   schema::XO_XML_SITELISTS_LOCAL_VERSION);
  }
  std::wstring problem;
  const ResultCode policies = readPolicies(root, building.policies, &problem);
  if (policies != rcSuccess) return SiteListRejection{policies, L"Invalid site list policy: " + problem};
  contents = std::move(building);
  return SiteListRejection{};
}

}  // namespace corvane_com::zel::inetmgr
