// Readers of a site's property map: the names and conversions that give a
// site list entry its meaning.
#ifndef INETMGR_SITE_SITE_PROPERTIES_H
#define INETMGR_SITE_SITE_PROPERTIES_H

#include <string>

#include "inetmgr/result_code.h"
#include "inetmgr/site_types.h"
#include "platform/xml.h"
#include "site/transfer_builder.h"

namespace corvane_com::zel::inetmgr {

// The entry's child elements (name -> text), then its attributes (name ->
// value); an attribute overwrites a child of the same name, deliberately, so
// that attributes win. `properties` is cleared first.
void fillProperties(const platform::AdvXMLParser::Element& element, PropertyMap& properties);

// rcNotFound when `propName` is absent, otherwise copies the value.
// Asserts "0!=propName".
ResultCode p_getStringValue(const wchar_t* propName, const PropertyMap& properties, std::wstring& value);
// Leaves `value` unchanged when the name is absent or its value is not "0" or
// "1"; always rcSuccess. Asserts "0!=propName".
ResultCode p_getBoolValue(const wchar_t* propName, const PropertyMap& properties, bool& value);
ResultCode p_getHttpUseAuth(const PropertyMap& properties, bool& useAuth);
// `order` becomes the invalid order, then the configured order when it reads as
// an int. rcNotFound when absent.
ResultCode p_getSortOrder(const PropertyMap& properties, int& order);
// `enabled` is true exactly when the SSL port is present; `port` gets its value
// when it converts.
ResultCode p_getSslEnabledFlag(const PropertyMap& properties, bool& enabled, unsigned int& port);
// The protocol of an entry called `elementName`: rcProxyElement for a proxy
// block, rcBadSchema for anything that is not a protocol.
ResultCode p_getProtocolType(const std::wstring& elementName, ProtocolType::Types& protocol);
ResultCode p_getSiteType(const PropertyMap& properties, SiteType::Types& siteType);
// Moves the value of `name` out of the map into `value` (empty when absent), so
// that no password text stays in the map.
void p_extractPasswordField(PropertyMap& properties, const wchar_t* name, std::wstring& value);

// An spipe entry needs its name, computer name, IP address and relative path.
bool validateSpipeSite(const PropertyMap& properties);

}  // namespace corvane_com::zel::inetmgr

#endif  // INETMGR_SITE_SITE_PROPERTIES_H
