// The management server's details read straight from the site list file, and
// the agent's recorded local address.
#include "facade/server_info.h"

#include <mutex>

#include "core/agent_settings.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/log.h"
#include "platform/xml.h"
#include "site/site_probes.h"
#include "site/site_properties.h"
#include "sitelist/sitelist_document.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
constexpr wchar_t kTag[] = L"imutils";

std::mutex g_localAddressMutex;
std::wstring g_localAddress;

std::wstring hostOf(const PropertyMap& properties, const wchar_t* name) {
  std::wstring text, host, port;
  p_getStringValue(name, properties, text);
  splitHostPort(text, host, port);
  return host;
}

}  // namespace

namespace sitehlp {

bool CSitesHelper::GetOrnoServerInfo(std::wstring& address, std::wstring& serverName,
                                     std::wstring& computerName, unsigned short& port) {
  const std::wstring path = getExpectedSitelistLocation();
  platform::AdvXMLParser::Document document;
  if (readSiteListFile(path, document).code != rcSuccess) return false;
  for (const platform::AdvXMLParser::Element& list : document.GetRoot().GetChildElements()) {
    if (list.GetName() != schema::XO_XML_SITELIST) continue;
    const platform::AdvXMLParser::Element site = list.GetElement(schema::XO_XML_SITELIST_SPIPE_SITE);
    if (site.IsNull()) continue;
    PropertyMap properties;
    fillProperties(site, properties);
    if (!sitePort(properties, port)) {
      platform::logError(kTag, L"The first spipe site of " + path + L" names no usable port");
      return false;
    }
    address = hostOf(properties, schema::XO_XML_SITE_SERVER_IP);
    serverName = hostOf(properties, schema::XO_XML_SITE_SERVER);
    computerName = hostOf(properties, schema::XO_XML_SERVER_NETBIOS_NAME);
    return true;
  }
  platform::logError(kTag, L"No spipe site in " + path + L": the management server is not known");
  return false;
}

}  // namespace sitehlp

void xoimcomn_set_local_ip_addr(const std::wstring& address) {
  std::lock_guard<std::mutex> guard(g_localAddressMutex);
  g_localAddress = address;
}

}  // namespace corvane_com::zel::inetmgr
