// Text forms of the protocol and site type enumerations, and the mapping of a
// site protocol to the transfer layer's protocol.
#include "core/site_types_internal.h"

#include <map>

#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;

constexpr wchar_t kTag[] = L"imstcfg";

// The last entry of each table is the text of typeCount.
const wchar_t* const kProtocolTexts[] = {
    schema::XO_XML_SITELIST_FTP_SITE,        schema::XO_XML_SITELIST_HTTP_SITE,
    schema::XO_XML_SITELIST_FTPHTTP_SITE,    schema::XO_XML_SITELIST_SPIPE_SITE,
    schema::XO_XML_SITELIST_SUPERAGENT_SITE, schema::XO_XML_SITELIST_UNC_SITE,
    schema::XO_XML_SITELIST_LOCAL_SITE,      L""};

// The schema has no word for the fallback type: the library spells it itself.
const wchar_t* const kSiteTypeTexts[] = {schema::STR_SITE_TYPE_MASTER, schema::STR_SITE_TYPE_REPOSITORY,
                                         L"fallback",                  schema::STR_SITE_TYPE_MIRROR,
                                         schema::STR_SITE_TYPE_REMEDIATION, L""};

const std::map<ProtocolType::Types, xoInet::xoInetProtocol> kProtocolMap = {
    {ProtocolType::Ftp, xoInet::xoInetProtocolFtp},          {ProtocolType::Http, xoInet::xoInetProtocolHttp},
    {ProtocolType::FtpHttp, xoInet::xoInetProtocolHttp},     {ProtocolType::Spipe, xoInet::xoInetProtocolHttp},
    {ProtocolType::SuperAgent, xoInet::xoInetProtocolHttp},  {ProtocolType::Unc, xoInet::xoInetProtocolUnc},
    {ProtocolType::Local, xoInet::xoInetProtocolLocal},
};

// Values are compared as unsigned so that a stray negative number clamps too.
template <std::size_t N>
const wchar_t* textOf(const wchar_t* const (&table)[N], long long value) {
  const std::size_t last = N - 1;
  const std::size_t index =
      (value < 0 || static_cast<unsigned long long>(value) > last) ? last : static_cast<std::size_t>(value);
  INETMGR_ASSERT(index <= last, "index >= 0 && index <= static_cast<size_t>(typeCount)");
  return table[index];
}

template <class Enum, std::size_t N>
Enum typeOf(const wchar_t* const (&table)[N], const wchar_t* text, Enum notFound) {
  INETMGR_ASSERT(text != nullptr, "0!=value");
  const std::wstring wanted(text);
  for (std::size_t i = 0; i + 1 < N; ++i) {
    if (wanted == table[i]) return static_cast<Enum>(i);
  }
  platform::logDetail(kTag, L"Type not found value=" + wanted);
  return notFound;
}

}  // namespace

std::wstring ProtocolType::toString(Types type) {
  platform::ADetailTrace trace(kTag, L"ProtocolType::toString()");
  return textOf(kProtocolTexts, static_cast<long long>(type));
}

ProtocolType::Types ProtocolType::toType(const wchar_t* text) {
  platform::ADetailTrace trace(kTag, L"ProtocolType::toType()");
  return typeOf(kProtocolTexts, text, ProtocolType::typeCount);
}

std::wstring SiteType::toString(Types type) {
  platform::ADetailTrace trace(kTag, L"SiteType::toString()");
  return textOf(kSiteTypeTexts, static_cast<long long>(type));
}

SiteType::Types SiteType::toType(const wchar_t* text) {
  platform::ADetailTrace trace(kTag, L"SiteType::toType()");
  return typeOf(kSiteTypeTexts, text, SiteType::typeCount);
}

xoInet::xoInetProtocol imProtocolToXoInet(ProtocolType::Types protocol) {
  const auto it = kProtocolMap.find(protocol);
  return it == kProtocolMap.end() ? xoInet::xoInetProtocolInvalid : it->second;
}

}  // namespace corvane_com::zel::inetmgr
