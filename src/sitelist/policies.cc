// Reads the policy block of a site list: the four known settings, their
// defaults, and the lenient integer conversion the server's documents rely on.
#include "sitelist/policies.h"

#include <cstdint>
#include <limits>
#include <string>

#include "inetmgr/sitelist_schema.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

using Element = platform::AdvXMLParser::Element;

constexpr wchar_t kTag[] = L"persite";
constexpr int kHighestHopLimit = 30;

bool isAsciiSpace(wchar_t c) {
  return c == L' ' || (c >= L'\t' && c <= L'\r');
}

// Reads a number the way atoi does: leading white space, an optional sign,
// the digits up to the first other character; no digits reads as 0. This
// leniency is deliberate ("abc" is a valid 0). Values beyond 32 bits are
// clamped so that the result does not depend on the word size.
std::int32_t leadingInteger(const std::wstring& text) {
  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::size_t i = 0;
  while (i < text.size() && isAsciiSpace(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) negative = text[i++] == L'-';
  std::int64_t magnitude = 0;
  for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
    magnitude = magnitude * 10 + (text[i] - L'0');
    if (magnitude > kLimit) magnitude = kLimit;
  }
  if (negative) return static_cast<std::int32_t>(-magnitude);
  return static_cast<std::int32_t>(magnitude == kLimit ? kLimit - 1 : magnitude);
}

ResultCode invalid(const std::wstring& text, std::wstring* problem) {
  platform::logError(kTag, text);
  if (problem != nullptr) *problem = text;
  return rcBadSchema;
}

}  // namespace

ResultCode readPolicies(const Element& root, SiteListPolicies& out, std::wstring* problem) {
  SiteListPolicies read;
  for (const Element& setting : root.GetElement(xmlschema::sitelist::XO_XML_POLICIES).GetChildElements()) {
    if (setting.GetName() != L"Setting") continue;
    const platform::AdvXMLParser::Node nameAttribute = setting.GetAttribute(L"name");
    if (nameAttribute.IsNull()) continue;
    const std::wstring name = nameAttribute.GetValue();
    const std::wstring value = setting.GetValue();

    if (name == L"OverwriteClientSites") {
      if (value != L"0" && value != L"1") return invalid(L"invalid OverwriteClientSites=" + value, problem);
      read.overwriteClientSites = value == L"1";
    } else if (name == L"uiFindNearestMethod") {
      const std::int32_t method = leadingInteger(value);
      if (method < sortByPingTime || method > sortByConfiguredOrder) {
        return invalid(L"invalid uiFindNearestMethod=" + std::to_wstring(method), problem);
      }
      read.findNearestMethod = static_cast<SiteListSortMethods>(method);
    } else if (name == L"nMaxHopLimit") {
      const std::int32_t limit = leadingInteger(value);
      if (limit < 0 || limit > kHighestHopLimit)
        return invalid(L"invalid nMaxHopLimit=" + std::to_wstring(limit), problem);
      read.maxHopLimit = limit;
    } else if (name == L"nMaxPingTimeout") {
      const std::int32_t timeout = leadingInteger(value);
      if (timeout < 0) return invalid(L"invalid ping timeout=" + std::to_wstring(timeout), problem);
      read.maxPingTimeout = timeout;
    } else {
      platform::logInfo(kTag, L"unknown policy " + name + L" in site list");
    }
  }
  out = read;
  return rcSuccess;
}

}  // namespace corvane_com::zel::inetmgr
