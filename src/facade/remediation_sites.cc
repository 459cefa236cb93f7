// Remediation sites: HTTP sites that a caller hands a site list as URLs
// separated by '|', built like entries of the site list and put in front of it.
#include <algorithm>
#include <cwctype>
#include <new>
#include <stdexcept>
#include <string>

#include "core/string_conversion.h"
#include "facade/site_list_impl.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/log.h"
#include "site/site_impl.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
constexpr wchar_t kTag[] = L"imsitel";
constexpr wchar_t kSeparator = L'|';

ResultCode improperList() {
  platform::logInfo(
      kTag,
      L"Remediation site list is improperly formatted.  Some sites might not be added to the site list.");
  return rcPathError;
}

}  // namespace

ResultCode ImSiteListImpl::addRemediationSites(const std::wstring& sites) {
  INETMGR_ASSERT(isValid(), "isValid()");
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::addRemediationSites()");
  if (sites.empty()) {
    platform::logDetail(kTag, L"Remediation site list is empty.  Nothing added to the site list.");
    return rcSuccess;
  }
  std::wstring text(sites);
  trimWhiteSpace(text);
  // One leading and one trailing separator are tolerated.
  removeCharacterFromPosition(text, 0, kSeparator);
  if (!text.empty()) {
    removeCharacterFromPosition(text, static_cast<unsigned int>(text.size() - 1), kSeparator);
  }

  ResultCode result = rcSuccess;
  std::size_t start = 0;
  for (std::size_t bar = text.find(kSeparator); bar != std::wstring::npos && result == rcSuccess;
       bar = text.find(kSeparator, start)) {
    std::wstring piece = text.substr(start, bar - start);
    start = bar + 1;
    if (piece.empty()) {
      result = improperList();
    } else {
      platform::logDetail(kTag, L"Adding " + piece + L" to the site list.");
      result = addRemediationSiteHelper(piece);
    }
  }
  // The last piece is added without an "Adding" line: deliberate.
  if (result == rcSuccess) {
    std::wstring piece = text.substr(start);
    result = piece.empty() ? improperList() : addRemediationSiteHelper(piece);
  }
  return result;
}

ResultCode ImSiteListImpl::addRemediationSiteHelper(std::wstring& site) {
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::addRemediationSiteHelper()");
  trimWhiteSpace(site);
  if (site.find(L'\\') != std::wstring::npos) {
    platform::logDetail(kTag, L"Converting '\\' to '/' in " + site);
    std::replace(site.begin(), site.end(), L'\\', L'/');
  }
  if (site.empty()) {
    platform::logInfo(kTag, L"Remediation site is improperly formatted.  Site not added to the site list.");
    return rcPathError;
  }

  bool bad = false;
  std::wstring rest = site;
  // For an IPv6 literal the opening bracket is dropped and the closing one stays
  // in the server part: deliberate. Any scheme is accepted.
  std::size_t marker = site.find(L"://[");
  if (marker != std::wstring::npos) {
    rest = site.substr(marker + 4);
  } else if ((marker = site.find(L"://")) != std::wstring::npos) {
    rest = site.substr(marker + 3);
  } else {
    platform::logDetail(kTag, site + L" does not begin with http://");
    bad = true;
  }
  std::wstring server;
  std::wstring relativePath;
  const std::size_t slash = rest.find(L'/');
  if (slash != std::wstring::npos) {
    server = rest.substr(0, slash);
    relativePath = rest.substr(slash);
    removeCharacterFromPosition(relativePath, static_cast<unsigned int>(relativePath.size() - 1), L'/');
  } else {
    platform::logDetail(kTag, site + L" does not contain a relative path");
    bad = true;
  }
  if (bad) {
    platform::logInfo(
        kTag, L"Remediation site is improperly formatted.  " + site + L" not added to the site list.");
    return rcPathError;
  }

  try {
    PropertyMap properties{
        {schema::XO_XML_SITE_TYPE, schema::STR_SITE_TYPE_REMEDIATION},
        {schema::XO_XML_SITE_NAME, site},
        {schema::XO_XML_SITE_SERVER, server},
        {schema::XO_XML_SITE_ENABLED, L"1"},
        {schema::XO_XML_SITE_ORDER, L"65535"},
        {schema::XO_XML_SITE_RELATIVEPATH, relativePath},
        {schema::XO_XML_HTTPSITE_USE_AUTH, L"0"},
    };
    // The handle releases the site on every path that does not keep it.
    auto* impl = new ImSiteImpl();
    IImSite_ptr handle = wrapSitePtr(impl);
    ResultCode code = rcUnexpected;
    try {
      code = impl->initFromProperties(ProtocolType::Http, std::move(properties));
    } catch (const std::runtime_error& e) {
      platform::logError(kTag, convertString<wchar_t>(e.what()));
    }
    if (code != rcSuccess) {
      platform::logError(kTag, L"Failed to add " + site + L" to the site list.");
      return code;
    }
    // Each site goes to the front, so "A|B" lists B before A: deliberate.
    sites_.insert(sites_.begin(), handle);
  } catch (const std::bad_alloc&) {
    platform::logError(kTag, L"Failed to allocate memory for a remediation site");
    return rcOutOfMemory;
  }
  return reset();
}

void ImSiteListImpl::trimWhiteSpace(std::wstring& text) {
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::trimWhiteSpace()");
  platform::logDetail(kTag, L"Removing white space from " + text);
  std::size_t first = 0;
  while (first < text.size() && std::iswspace(static_cast<std::wint_t>(text[first])) != 0) ++first;
  text.erase(0, first);
  // The backward walk stops short of index 0, which the forward walk has
  // already shown is not white space (or the text is empty).
  std::size_t end = text.size();
  while (end > 1 && std::iswspace(static_cast<std::wint_t>(text[end - 1])) != 0) --end;
  text.erase(end);
}

void ImSiteListImpl::removeCharacterFromPosition(std::wstring& text, const unsigned int& position,
                                                 const wchar_t& character) {
  platform::ADetailTrace trace(kTag, L"ImSiteListImpl::removeCharacterFromPosition()");
  platform::logDetail(kTag, L"Removing '" + std::wstring(1, character) + L"' from " + text);
  if (position < text.size() && text[position] == character) text.erase(position, 1);
}

}  // namespace corvane_com::zel::inetmgr
