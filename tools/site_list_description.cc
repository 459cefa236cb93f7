// `inetmgr write --from FILE`: a site list described in JSON, written through
// the library's authoring model and writer. Passwords are given in their
// document form (from `inetmgr encrypt-password`), so a description file never
// holds a plain password. Unknown keys are errors: a misspelt key would
// otherwise silently drop a setting.
#include "site_list_description.h"

#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "inetmgr/inetmgr.h"
#include "tool_text.h"

namespace im = corvane_com::zel::inetmgr;
using nlohmann::json;

namespace {

struct DescriptionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::wstring wide(const std::string& utf8) {
  try {
    return fromUtf8(utf8);
  } catch (const std::invalid_argument& e) {
    throw DescriptionError(e.what());
  }
}

// A value as the document's text: strings as they are, numbers in decimal,
// booleans as "1" and "0".
std::wstring text(const json& value, const std::string& key) {
  if (value.is_string()) return wide(value.get<std::string>());
  if (value.is_boolean()) return value.get<bool>() ? L"1" : L"0";
  if (value.is_number_integer()) return wide(std::to_string(value.get<long long>()));
  throw DescriptionError("\"" + key + "\" must be a string, a whole number or a boolean");
}

void checkKeys(const json& object, const std::set<std::string>& known, const std::string& what) {
  if (!object.is_object()) throw DescriptionError(what + " must be an object");
  for (const auto& item : object.items()) {
    if (known.count(item.key()) == 0) throw DescriptionError("unknown key \"" + item.key() + "\" in " + what);
  }
}

using TextSetter = std::function<im::ResultCode(const std::wstring&)>;

void setTexts(const json& object, const std::map<std::string, TextSetter>& setters) {
  for (const auto& [key, setter] : setters) {
    if (object.contains(key)) setter(text(object.at(key), key));
  }
}

// Credentials: a user name and a password in document form; the "Encrypted"
// marker says the password is already encrypted.
im::UserLoginInfo credentials(const json& object, const std::string& userKey, const std::string& passwordKey) {
  const std::wstring user = object.contains(userKey) ? text(object.at(userKey), userKey) : L"";
  const std::wstring password = object.contains(passwordKey) ? text(object.at(passwordKey), passwordKey) : L"";
  return im::UserLoginInfo(user, password, password.empty() ? L"" : L"1");
}

const std::map<std::string, im::SiteInfoObjectID> kKinds = {
    {"http", im::HttpSiteInfo},   {"ftp", im::FtpSiteInfo},     {"unc", im::UncSiteInfo},
    {"local", im::LocalSiteInfo}, {"spipe", im::SpipeSiteInfo}, {"superagent", im::SuperAgentSiteInfo}};

void addSite(im::SiteList& list, const json& site) {
  checkKeys(site,
            {"kind", "name", "server", "serverIP", "serverName", "type", "id", "enabled", "order", "local",
             "relativePath", "useAuth", "userName", "encryptedPassword", "shareName", "useLogonAccount", "domainName",
             "replicationUNC", "replicationDomainName", "replicationUserName", "replicationEncryptedPassword"},
            "a site");
  const std::string kind = site.value("kind", "");
  const auto found = kKinds.find(kind);
  if (found == kKinds.end()) throw DescriptionError("a site's \"kind\" must be http, ftp, unc, local, spipe or superagent");
  im::SiteInfo* info = list.getSiteInfoObject(found->second);
  if (info == nullptr) throw std::bad_alloc();
  setTexts(site, {{"name", [info](const std::wstring& v) { return info->setSiteName(v); }},
                  {"server", [info](const std::wstring& v) { return info->setSiteServer(v); }},
                  {"serverIP", [info](const std::wstring& v) { return info->setSiteServerIP(v); }},
                  {"serverName", [info](const std::wstring& v) { return info->setSiteServerName(v); }},
                  {"type", [info](const std::wstring& v) { return info->setSiteType(v); }},
                  {"id", [info](const std::wstring& v) { return info->setSiteID(v); }},
                  {"enabled", [info](const std::wstring& v) { return info->setSiteAvailabilityStatus(v); }},
                  {"order", [info](const std::wstring& v) { return info->setSiteOrder(v); }},
                  {"local", [info](const std::wstring& v) { return info->setSiteLocal(v); }},
                  {"relativePath", [info](const std::wstring& v) { return info->setRelativePath(v); }},
                  {"useAuth", [info](const std::wstring& v) { return info->setUserAuth(v); }},
                  {"shareName", [info](const std::wstring& v) { return info->setShareName(v); }},
                  {"useLogonAccount", [info](const std::wstring& v) { return info->setUserlogonInfo(v); }},
                  {"domainName", [info](const std::wstring& v) { return info->setDomainName(v); }},
                  {"replicationUNC", [info](const std::wstring& v) { return info->setReplicationUNCName(v); }},
                  {"replicationDomainName",
                   [info](const std::wstring& v) { return info->setReplicationDomainName(v); }}});
  info->setUsernamePassword(credentials(site, "userName", "encryptedPassword"));
  info->setReplicationUsernamePassword(credentials(site, "replicationUserName", "replicationEncryptedPassword"));
}

void addProxy(im::SiteList& list, const json& proxy) {
  checkKeys(proxy,
            {"name", "id", "httpServer", "httpPort", "ftpServer", "ftpPort", "local", "useSystemConfig",
             "allowUserToConfigure", "bypassLocalAddresses", "exclusions", "localAddressRanges", "httpUseAuth",
             "httpUserName", "httpEncryptedPassword", "ftpUseAuth", "ftpUserName", "ftpEncryptedPassword",
             "altHttpUseAuth", "altHttpUserName", "altHttpEncryptedPassword", "altFtpUseAuth", "altFtpUserName",
             "altFtpEncryptedPassword"},
            "a proxy");
  im::ProxyConfigInfo* info = list.getProxyConfigInfoObject();
  if (info == nullptr) throw std::bad_alloc();
  setTexts(proxy, {{"name", [info](const std::wstring& v) { return info->setProxyName(v); }},
                   {"id", [info](const std::wstring& v) { return info->setProxyID(v); }},
                   {"httpServer", [info](const std::wstring& v) { return info->setHttpProxyServer(v); }},
                   {"httpPort", [info](const std::wstring& v) { return info->setHttpProxyPort(v); }},
                   {"ftpServer", [info](const std::wstring& v) { return info->setFtpProxyServer(v); }},
                   {"ftpPort", [info](const std::wstring& v) { return info->setFtpProxyPort(v); }},
                   {"local", [info](const std::wstring& v) { return info->setProxyLocal(v); }},
                   {"useSystemConfig", [info](const std::wstring& v) { return info->setUseIEConfig(v); }},
                   {"allowUserToConfigure",
                    [info](const std::wstring& v) { return info->setAllowUserToConfigureProxy(v); }},
                   {"bypassLocalAddresses", [info](const std::wstring& v) { return info->setBypassLocalAddr(v); }},
                   {"httpUseAuth", [info](const std::wstring& v) { return info->setHttpUseAuth(v); }},
                   {"ftpUseAuth", [info](const std::wstring& v) { return info->setFtpUseAuth(v); }},
                   {"altHttpUseAuth", [info](const std::wstring& v) { return info->setAltHttpUseAuth(v); }},
                   {"altFtpUseAuth", [info](const std::wstring& v) { return info->setAltFtpUseAuth(v); }}});
  info->setHttpProxyUsernamePassword(credentials(proxy, "httpUserName", "httpEncryptedPassword"));
  info->setFtpProxyUsernamePassword(credentials(proxy, "ftpUserName", "ftpEncryptedPassword"));
  info->setAltHttpProxyUsernamePassword(credentials(proxy, "altHttpUserName", "altHttpEncryptedPassword"));
  info->setAltFtpProxyUsernamePassword(credentials(proxy, "altFtpUserName", "altFtpEncryptedPassword"));
  for (const json& host : proxy.value("exclusions", json::array())) info->addExclusionHost(text(host, "exclusions"));
  for (const json& range : proxy.value("localAddressRanges", json::array())) {
    checkKeys(range, {"start", "end"}, "an address range");
    info->addLocalAddrRange(im::IPAddressRange(text(range.at("start"), "start"), text(range.at("end"), "end"), L""));
  }
}

}  // namespace

int writeSiteListFromDescription(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    std::cerr << "inetmgr write: cannot read " << path << "\n";
    return static_cast<int>(im::rcPathError) & 0xFF;
  }
  try {
    const json description = json::parse(file);
    checkKeys(description, {"output", "globalVersion", "localVersion", "listType", "siteLists"}, "the description");
    im::SiteListWriter writer(text(description.at("globalVersion"), "globalVersion"),
                              text(description.at("localVersion"), "localVersion"),
                              text(description.value("listType", json("Server")), "listType"));
    if (description.contains("output")) {
      writer.resetSiteListLocation(text(description.at("output"), "output").c_str());
    }
    for (const json& entry : description.at("siteLists")) {
      checkKeys(entry, {"name", "default", "useSystemProxy", "sites", "proxies"}, "a site list");
      im::SiteList list(text(entry.value("name", json("")), "name"), text(entry.value("default", json("")), "default"));
      if (entry.contains("useSystemProxy")) {
        list.setProxyConfigListUseIEOption(text(entry.at("useSystemProxy"), "useSystemProxy"));
      }
      for (const json& site : entry.value("sites", json::array())) addSite(list, site);
      for (const json& proxy : entry.value("proxies", json::array())) addProxy(list, proxy);
      const im::ResultCode added = writer.addSiteList(list);
      if (added != im::rcSuccess) {
        std::cerr << "inetmgr write: the site list could not be added (code " << added << ")\n";
        return static_cast<int>(added) & 0xFF;
      }
    }
    const im::ResultCode written = writer.writeSiteList(30);
    if (written != im::rcSuccess) {
      std::cerr << "inetmgr write: writing failed (code " << written << ")\n";
      return static_cast<int>(written) & 0xFF;
    }
    return 0;
  } catch (const json::exception& e) {
    std::cerr << "inetmgr write: " << path << ": " << e.what() << "\n";
  } catch (const DescriptionError& e) {
    std::cerr << "inetmgr write: " << path << ": " << e.what() << "\n";
  }
  return static_cast<int>(im::rcBadArgument) & 0xFF;
}
