// The option table and the code that applies it to a new transfer object.
#include "site/transfer_builder.h"

#include <new>
#include <stdexcept>

#include <boost/lexical_cast.hpp>

#include "core/site_types_internal.h"
#include "core/string_conversion.h"
#include "inetmgr/sitelist_schema.h"
#include "platform/assert.h"
#include "platform/log.h"

namespace corvane_com::zel::inetmgr {
namespace {

namespace schema = xmlschema::sitelist;
using xoInet::TransferItf;
using xoInet::xoInetError;
using xoInet::xoInetOption;

constexpr wchar_t kTag[] = L"bldtrob";

enum eValueType : std::int32_t { valueEnd = 0, valueInteger = 1, valueString = 2, valueBoolean = 3 };

struct OptionToProperty {
  eValueType valueType;
  xoInetOption option;
  const wchar_t* names[4];  // FTP, HTTP, UNC, local; null: not set for that protocol
};

// Three rules are deliberate: the one port property feeds options 3, 4 and 5
// alike; the server feeds option 0 for FTP and HTTP but option 12 for UNC; and
// options 9 and 16 are never set from properties (the site sets credentials and
// proxy itself).
const OptionToProperty optionMap[] = {
    {valueString, xoInetOption(0), {schema::XO_XML_SITE_SERVER, schema::XO_XML_SITE_SERVER, nullptr, nullptr}},
    {valueString,
     xoInetOption(1),
     {schema::XO_XML_SERVER_NETBIOS_NAME, schema::XO_XML_SERVER_NETBIOS_NAME, nullptr, nullptr}},
    {valueString, xoInetOption(2), {schema::XO_XML_SITE_SERVER_IP, schema::XO_XML_SITE_SERVER_IP, nullptr, nullptr}},
    {valueString,
     xoInetOption(6),
     {schema::XO_XML_SITE_NAME, schema::XO_XML_SITE_NAME, schema::XO_XML_SITE_NAME, schema::XO_XML_SITE_NAME}},
    {valueInteger, xoInetOption(3), {schema::XO_XML_SERVER_PORT, schema::XO_XML_SERVER_PORT, nullptr, nullptr}},
    {valueInteger, xoInetOption(4), {schema::XO_XML_SERVER_PORT, schema::XO_XML_SERVER_PORT, nullptr, nullptr}},
    {valueInteger, xoInetOption(5), {schema::XO_XML_SERVER_PORT, schema::XO_XML_SERVER_PORT, nullptr, nullptr}},
    {valueString, xoInetOption(9), {nullptr, nullptr, nullptr, nullptr}},
    {valueString,
     xoInetOption(11),
     {nullptr, nullptr, schema::XO_XML_SITE_DOMAIN_NAME, schema::XO_XML_SITE_DOMAIN_NAME}},
    {valueString, xoInetOption(12), {nullptr, nullptr, schema::XO_XML_SITE_SERVER, nullptr}},
    {valueString, xoInetOption(13), {nullptr, nullptr, schema::XO_XML_UNCSITE_SHARENAME, nullptr}},
    {valueString,
     xoInetOption(14),
     {schema::XO_XML_SITE_RELATIVEPATH, schema::XO_XML_SITE_RELATIVEPATH, schema::XO_XML_SITE_RELATIVEPATH,
      schema::XO_XML_SITE_RELATIVEPATH}},
    {valueBoolean, xoInetOption(15), {nullptr, nullptr, schema::XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, nullptr}},
    {valueInteger, xoInetOption(17), {nullptr, schema::XO_XML_SSL_PORT, nullptr, nullptr}},
    {valueString, xoInetOption(16), {nullptr, nullptr, nullptr, nullptr}},
    {valueEnd, xoInetOption(0), {nullptr, nullptr, nullptr, nullptr}},
};

bool findPropGetValue(const PropertyMap& properties, const wchar_t* name, std::wstring& value) {
  value.clear();
  const auto it = properties.find(name);
  if (it == properties.end()) return false;
  value = it->second;
  return true;
}

xoInetError setOptionHelper(TransferItf* transfer, xoInetOption option, eValueType valueType,
                            const std::wstring& value) {
  INETMGR_ASSERT(transfer != nullptr, "0!=transfer");
  xoInetError result = xoInet::rcNotSupported;
  try {
    switch (valueType) {
      case valueInteger: {
        const long number = boost::lexical_cast<long>(convertString<char>(value));
        result = transfer->SetOption(option, number);
        break;
      }
      case valueBoolean: {
        const bool flag = boost::lexical_cast<bool>(convertString<char>(value));
        result = transfer->SetOption(option, flag);
        break;
      }
      default:
        result = transfer->SetOption(option, value);
        break;
    }
  } catch (const boost::bad_lexical_cast& e) {
    platform::logError(kTag, convertString<wchar_t>(e.what()));
    return xoInet::rcNotSupported;
  }
  return result;
}

bool processOption(const wchar_t* name, eValueType valueType, xoInetOption option, TransferItf* transfer,
                   const PropertyMap& properties) {
  std::wstring value;
  if (name == nullptr || !findPropGetValue(properties, name, value)) return true;
  const std::wstring setting = L"Setting xoInet transfer option " + std::wstring(name) + L" = " + value;
  platform::logDetail(kTag, setting);
  if (setOptionHelper(transfer, option, valueType, value) != xoInet::rcNoError) {
    platform::logDetail(kTag, L"Failed >> " + setting);
    return false;
  }
  return true;
}

bool setTransferProperties(TransferItf* transfer, const PropertyMap& properties) {
  INETMGR_ASSERT(transfer != nullptr, "0!=transfer");
  const int column = protocolPropertyIndex(transfer->GetProtocol());
  if (column < 0) return false;
  bool result = true;
  for (const OptionToProperty* row = optionMap; row->valueType != valueEnd; ++row) {
    result = processOption(row->names[column], row->valueType, row->option, transfer, properties) && result;
  }
  return result;
}

}  // namespace

void ReleaseTransfer::operator()(xoInet::TransferItf* transfer) const {
  INETMGR_ASSERT(transfer != nullptr, "0!=transfer");
  const xoInetError result = xoInet::XoInetItfFactory::DestroyInterface(transfer);
  INETMGR_ASSERT(xoInet::rcNoError == result, "xoInet::rcNoError==result");
}

TransferItf_ptr wrapTransferItf(xoInet::TransferItf* transfer) {
  INETMGR_ASSERT(transfer != nullptr, "0!=transfer");
  return TransferItf_ptr(transfer, ReleaseTransfer());
}

int protocolPropertyIndex(xoInet::xoInetProtocol protocol) {
  switch (protocol) {
    case xoInet::xoInetProtocolFtp: return 0;
    case xoInet::xoInetProtocolHttp: return 1;
    case xoInet::xoInetProtocolUnc: return 2;
    case xoInet::xoInetProtocolLocal: return 3;
    default: return -1;
  }
}

TransferItf_ptr CreateTransferItfFromProperties(ProtocolType::Types protocol, const PropertyMap& properties) {
  platform::ADetailTrace trace(kTag, L"inetmgr::CreateTransferItfFromProperties()");
  const xoInet::xoInetProtocol transferProtocol = imProtocolToXoInet(protocol);
  if (transferProtocol == xoInet::xoInetProtocolInvalid) {
    const std::string message = "Encountered bad protocol id " + std::to_string(static_cast<int>(protocol));
    platform::logError(kTag, convertString<wchar_t>(message));
    throw std::logic_error(message);
  }
  xoInet::TransferItf* transfer = xoInet::XoInetItfFactory::CreateInterface(transferProtocol);
  if (transfer == nullptr) {
    platform::logError(kTag, L"xoInet::XoInetItfFactory::CreateInterface() failed to return valid object");
    throw std::bad_alloc();
  }
  // Wrapped first, so that the object goes back to the factory if a step throws.
  TransferItf_ptr wrapped = wrapTransferItf(transfer);
  // An option that could not be set is logged; the object is used as it stands.
  setTransferProperties(transfer, properties);
  return wrapped;
}

}  // namespace corvane_com::zel::inetmgr
