// `inetmgr write --from FILE`: a site list described in JSON, checked, then
// written through the library's authoring model and writer. The model takes
// any text; this command refuses what the agent's reader would drop, misread
// or refuse, and lists every fault at once, so that one round of fixes is
// enough. Passwords are given in their document form (from `inetmgr
// encrypt-password`), so a description file never holds a plain password.
// Unknown keys are errors: a misspelt key would otherwise silently drop a
// setting.
#include "command_line.h"
#include "commands.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "inetmgr/inetmgr.h"
#include "inetmgr/sitelist_schema.h"

namespace im = corvane_com::zel::inetmgr;
namespace schema = corvane_com::zel::xmlschema::sitelist;
// Ordered, so that policy settings are written in the order given.
using json = nlohmann::ordered_json;

namespace {

constexpr long long kLargestOrder = 2147483647;

// Every fault of a description, one line each, saying where it is.
class Faults {
 public:
  void add(const std::string& where, const std::string& what) {
    const std::string line = where.empty() ? what : where + ": " + what;
    if (std::find(lines_.begin(), lines_.end(), line) == lines_.end()) lines_.push_back(line);
  }
  std::size_t count() const { return lines_.size(); }
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
};

// How a value of the description becomes the text of a document field.
struct Rule {
  enum Kind { Text, Flag, Number, SiteType, Password } kind;
  long long low = 0;
  long long high = 0;
};
constexpr Rule kText{Rule::Text};
constexpr Rule kFlag{Rule::Flag};
constexpr Rule kOrder{Rule::Number, 0, kLargestOrder};
constexpr Rule kPort{Rule::Number, 1, 65535};
constexpr Rule kSiteType{Rule::SiteType};
constexpr Rule kPassword{Rule::Password};

// A value as it is shown in a fault: its JSON form (so control characters are
// escaped), cut short when long.
std::string shown(const json& value) {
  const std::string text = value.dump();
  return text.size() <= 60 ? text : text.substr(0, 57) + "...";
}

std::string quoted(const std::string& text) {
  return json(text).dump();
}

bool wholeNumber(const json& value, long long& number) {
  if (value.is_number_unsigned()) {
    number = static_cast<long long>(
        std::min<unsigned long long>(value.get<unsigned long long>(), kLargestOrder + 1ULL));
    return true;
  }
  if (value.is_number_integer()) {
    number = value.get<long long>();
    return true;
  }
  if (!value.is_string()) return false;
  const std::string text = value.get<std::string>();
  if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  number = std::stoll(text);
  return true;
}

std::wstring wide(const std::string& utf8) {
  std::wstring text;
  im::fromUtf8(utf8, text);  // the JSON parser has already refused text that is not UTF-8
  return text;
}

// The document text of `value` under `rule`; nothing, with a fault naming
// `where` and `key`, when the value breaks the rule.
std::optional<std::wstring> convert(const json& value, const Rule& rule, const std::string& where,
                                    const std::string& key, Faults& faults) {
  const std::string field = quoted(key);
  switch (rule.kind) {
    case Rule::Text:
      if (value.is_string()) return wide(value.get<std::string>());
      if (value.is_boolean()) return value.get<bool>() ? L"1" : L"0";
      if (value.is_number_integer()) return wide(value.dump());
      faults.add(where, field + " must be a string, a whole number or a boolean, not " + shown(value));
      return std::nullopt;
    case Rule::Flag:
      if (value == true || value == 1 || value == "1" || value == "true") return L"1";
      if (value == false || value == 0 || value == "0" || value == "false") return L"0";
      faults.add(where, field + " must be 0, 1, true or false, not " + shown(value));
      return std::nullopt;
    case Rule::Number: {
      long long number = 0;
      if (wholeNumber(value, number) && number >= rule.low && number <= rule.high) {
        return std::to_wstring(number);
      }
      faults.add(where, field + " must be a whole number from " + std::to_string(rule.low) + " to " +
                            std::to_string(rule.high) + ", not " + shown(value));
      return std::nullopt;
    }
    case Rule::SiteType:
      for (const wchar_t* word : {schema::STR_SITE_TYPE_MASTER, schema::STR_SITE_TYPE_REPOSITORY, L"fallback",
                                  schema::STR_SITE_TYPE_MIRROR, schema::STR_SITE_TYPE_REMEDIATION}) {
        if (value.is_string() && wide(value.get<std::string>()) == word) return std::wstring(word);
      }
      faults.add(where,
                 field + " must be master, repository, fallback, mirror or remediation, not " + shown(value));
      return std::nullopt;
    case Rule::Password:
      break;
  }
  if (!value.is_string()) {
    faults.add(where, field + " must be a string as encrypt-password prints it, not " + shown(value));
    return std::nullopt;
  }
  const std::wstring stored = wide(value.get<std::string>());
  switch (im::checkSiteListPassword(stored)) {
    case im::rcSuccess:
      return stored;
    case im::rcNotFound:
      faults.add("",
                 "this machine has no key to check passwords with; put the fleet's key in place first "
                 "(see `inetmgr key fingerprint`)");
      break;
    case im::rcBadArgument:
      faults.add(where, field +
                            " does not decrypt under this machine's key: give what encrypt-password "
                            "prints on a machine that holds the fleet's key");
      break;
    default:
      faults.add(where, field + " cannot be checked: this machine's key cannot be read");
      break;
  }
  return std::nullopt;
}

// False, with a fault, when `object` is not an object; a fault for each key
// it has that is not in `known`.
bool checkKeys(const json& object, const std::set<std::string>& known, const std::string& where,
               Faults& faults) {
  if (!object.is_object()) {
    faults.add(where, "must be an object, not " + shown(object));
    return false;
  }
  for (const auto& item : object.items()) {
    if (known.count(item.key()) == 0) faults.add(where, "unknown key " + quoted(item.key()));
  }
  return true;
}

// The items of the array under `key`: none when it is absent, and none with a
// fault when it is not an array.
json arrayAt(const json& object, const std::string& key, const std::string& where, Faults& faults) {
  const auto found = object.find(key);
  if (found == object.end()) return json::array();
  if (found->is_array()) return *found;
  faults.add(where, quoted(key) + " must be a list, not " + shown(*found));
  return json::array();
}

// `site "RepoEast"` or, without a usable name, `site #3`.
std::string describe(const char* what, const json& object, std::size_t index) {
  if (object.is_object() && object.contains("name") && object["name"].is_string() && object["name"] != "") {
    return std::string(what) + " " + object["name"].dump();
  }
  return std::string(what) + " #" + std::to_string(index + 1);
}

// One field of a site or proxy: its key in the description, its rule and its
// setter in the authoring model.
template <typename T>
struct Field {
  const char* key;
  Rule rule;
  im::ResultCode (T::*set)(const std::wstring&);
};

// A user name with its password in document form.
template <typename T>
struct Login {
  const char* userKey;
  const char* passwordKey;
  im::ResultCode (T::*set)(const im::UserLoginInfo&);
};

using Site = im::SiteInfo;
using Proxy = im::ProxyConfigInfo;

const Field<Site> kSiteFields[] = {{"name", kText, &Site::setSiteName},
                                   {"server", kText, &Site::setSiteServer},
                                   {"serverIP", kText, &Site::setSiteServerIP},
                                   {"serverName", kText, &Site::setSiteServerName},
                                   {"type", kSiteType, &Site::setSiteType},
                                   {"id", kText, &Site::setSiteID},
                                   {"enabled", kFlag, &Site::setSiteAvailabilityStatus},
                                   {"order", kOrder, &Site::setSiteOrder},
                                   {"local", kFlag, &Site::setSiteLocal},
                                   {"relativePath", kText, &Site::setRelativePath},
                                   {"useAuth", kFlag, &Site::setUserAuth},
                                   {"shareName", kText, &Site::setShareName},
                                   {"useLogonAccount", kFlag, &Site::setUserlogonInfo},
                                   {"domainName", kText, &Site::setDomainName},
                                   {"replicationUNC", kText, &Site::setReplicationUNCName},
                                   {"replicationDomainName", kText, &Site::setReplicationDomainName},
                                   {"port", kPort, &Site::setSitePort},
                                   {"securePort", kPort, &Site::setSiteSecurePort}};

const Login<Site> kSiteLogins[] = {
    {"userName", "encryptedPassword", &Site::setUsernamePassword},
    {"replicationUserName", "replicationEncryptedPassword", &Site::setReplicationUsernamePassword}};

const Field<Proxy> kProxyFields[] = {{"name", kText, &Proxy::setProxyName},
                                     {"id", kText, &Proxy::setProxyID},
                                     {"httpServer", kText, &Proxy::setHttpProxyServer},
                                     {"httpPort", kPort, &Proxy::setHttpProxyPort},
                                     {"ftpServer", kText, &Proxy::setFtpProxyServer},
                                     {"ftpPort", kPort, &Proxy::setFtpProxyPort},
                                     {"local", kFlag, &Proxy::setProxyLocal},
                                     {"useSystemConfig", kFlag, &Proxy::setUseIEConfig},
                                     {"allowUserToConfigure", kFlag, &Proxy::setAllowUserToConfigureProxy},
                                     {"bypassLocalAddresses", kFlag, &Proxy::setBypassLocalAddr},
                                     {"httpUseAuth", kFlag, &Proxy::setHttpUseAuth},
                                     {"ftpUseAuth", kFlag, &Proxy::setFtpUseAuth},
                                     {"altHttpUseAuth", kFlag, &Proxy::setAltHttpUseAuth},
                                     {"altFtpUseAuth", kFlag, &Proxy::setAltFtpUseAuth}};

const Login<Proxy> kProxyLogins[] = {
    {"httpUserName", "httpEncryptedPassword", &Proxy::setHttpProxyUsernamePassword},
    {"ftpUserName", "ftpEncryptedPassword", &Proxy::setFtpProxyUsernamePassword},
    {"altHttpUserName", "altHttpEncryptedPassword", &Proxy::setAltHttpProxyUsernamePassword},
    {"altFtpUserName", "altFtpEncryptedPassword", &Proxy::setAltFtpProxyUsernamePassword}};

const std::map<std::string, Rule> kPolicies = {{"OverwriteClientSites", kFlag},
                                               {"uiFindNearestMethod", {Rule::Number, 0, 2}},
                                               {"nMaxHopLimit", {Rule::Number, 0, 30}},
                                               {"nMaxPingTimeout", {Rule::Number, 0, kLargestOrder}}};

const std::map<std::string, im::SiteInfoObjectID> kKinds = {
    {"http", im::HttpSiteInfo},   {"ftp", im::FtpSiteInfo},     {"unc", im::UncSiteInfo},
    {"local", im::LocalSiteInfo}, {"spipe", im::SpipeSiteInfo}, {"superagent", im::SuperAgentSiteInfo}};

// Checks the keys of `object` and sets every field it gives on `target`.
template <typename T, std::size_t F, std::size_t L>
void fill(const json& object, T& target, const Field<T> (&fields)[F], const Login<T> (&logins)[L],
          std::set<std::string> known, const std::string& where, Faults& faults) {
  for (const Field<T>& field : fields) known.insert(field.key);
  for (const Login<T>& login : logins) known.insert({login.userKey, login.passwordKey});
  if (!checkKeys(object, known, where, faults)) return;
  for (const Field<T>& field : fields) {
    if (!object.contains(field.key)) continue;
    if (const auto text = convert(object[field.key], field.rule, where, field.key, faults)) {
      (target.*field.set)(*text);
    }
  }
  for (const Login<T>& login : logins) {
    std::wstring user;
    std::wstring password;
    if (object.contains(login.userKey)) {
      user = convert(object[login.userKey], kText, where, login.userKey, faults).value_or(L"");
    }
    if (object.contains(login.passwordKey)) {
      password =
          convert(object[login.passwordKey], kPassword, where, login.passwordKey, faults).value_or(L"");
    }
    // The "Encrypted" marker says the password is already in document form.
    (target.*login.set)(im::UserLoginInfo(user, password, password.empty() ? L"" : L"1"));
  }
}

// The sites, proxies and IDs seen so far in one site list, for duplicates.
struct Seen {
  std::set<std::wstring> siteNames;
  std::map<std::wstring, std::string> ids;  // ID -> who has it

  void id(const std::wstring& value, const std::string& where, Faults& faults) {
    if (value.empty()) return;
    const auto [it, added] = ids.emplace(value, where);
    if (!added) {
      faults.add(where, "\"id\" " + quoted(im::toUtf8(value)) + " is already the ID of " + it->second);
    }
  }
};

void addSite(im::SiteList& list, const json& object, const std::string& where, Seen& seen, Faults& faults) {
  const json kind = object.is_object() ? object.value("kind", json()) : json();
  const auto found = kind.is_string() ? kKinds.find(kind.get<std::string>()) : kKinds.end();
  if (object.is_object() && found == kKinds.end()) {
    faults.add(where, "\"kind\" must be http, ftp, unc, local, spipe or superagent, not " + shown(kind));
  }
  // A site of no known kind is still checked, in a model of its own.
  Site unlisted(im::HttpSiteInfo);
  Site* site = found == kKinds.end() ? &unlisted : list.getSiteInfoObject(found->second);
  if (site == nullptr) throw std::bad_alloc();
  fill(object, *site, kSiteFields, kSiteLogins, {"kind"}, where, faults);
  if (!object.is_object()) return;
  if (site->getSiteName().empty()) faults.add(where, "\"name\" is required");
  if (!object.contains("type")) faults.add(where, "\"type\" is required");
  if (!site->getSiteName().empty() && !seen.siteNames.insert(site->getSiteName()).second) {
    faults.add(where, "another site of this site list has that name");
  }
  seen.id(site->getSiteID(), where, faults);
}

void addProxy(im::SiteList& list, const json& object, const std::string& where, Seen& seen, Faults& faults) {
  Proxy* proxy = list.getProxyConfigInfoObject();
  if (proxy == nullptr) throw std::bad_alloc();
  const std::size_t before = faults.count();
  fill(object, *proxy, kProxyFields, kProxyLogins, {"exclusions", "localAddressRanges"}, where, faults);
  if (!object.is_object()) return;
  for (const json& host : arrayAt(object, "exclusions", where, faults)) {
    if (const auto text = convert(host, kText, where, "exclusions", faults)) proxy->addExclusionHost(*text);
  }
  for (const json& range : arrayAt(object, "localAddressRanges", where, faults)) {
    if (!checkKeys(range, {"start", "end"}, where + ", address range", faults)) continue;
    if (!range.contains("start") || !range.contains("end")) {
      faults.add(where, "an address range needs \"start\" and \"end\"");
      continue;
    }
    const auto start = convert(range["start"], kText, where, "start", faults);
    const auto end = convert(range["end"], kText, where, "end", faults);
    if (start && end) proxy->addLocalAddrRange(im::IPAddressRange(*start, *end, L""));
  }
  // The reader skips a proxy without one whole server address.
  const bool http = !proxy->getHttpProxyServer().empty() && !proxy->getHttpProxyPort().empty();
  const bool ftp = !proxy->getFtpProxyServer().empty() && !proxy->getFtpProxyPort().empty();
  if (faults.count() == before && !http && !ftp) {
    faults.add(where, "needs \"httpServer\" with \"httpPort\", or \"ftpServer\" with \"ftpPort\"");
  }
  seen.id(proxy->getProxyID(), where, faults);
}

void addSiteList(im::SiteListWriter& writer, const json& object, const std::string& where, Faults& faults) {
  if (!checkKeys(object, {"name", "default", "useSystemProxy", "sites", "proxies"}, where, faults)) return;
  const auto text = [&](const char* key) {
    return object.contains(key) ? convert(object[key], kText, where, key, faults).value_or(L"")
                                : std::wstring();
  };
  im::SiteList list(text("name"), text("default"));
  if (object.contains("useSystemProxy")) {
    if (const auto flag = convert(object["useSystemProxy"], kFlag, where, "useSystemProxy", faults)) {
      list.setProxyConfigListUseIEOption(*flag);
    }
  }
  Seen seen;
  const json sites = arrayAt(object, "sites", where, faults);
  if (sites.empty()) faults.add(where, "holds no site; the agent refuses a site list without one");
  for (std::size_t i = 0; i < sites.size(); ++i)
    addSite(list, sites[i], describe("site", sites[i], i), seen, faults);
  const json proxies = arrayAt(object, "proxies", where, faults);
  for (std::size_t i = 0; i < proxies.size(); ++i) {
    addProxy(list, proxies[i], describe("proxy", proxies[i], i), seen, faults);
  }
  const im::ResultCode added = writer.addSiteList(list);
  if (added != im::rcSuccess) faults.add(where, "could not be added (code " + std::to_string(added) + ")");
}

void addPolicies(im::SiteListWriter& writer, const json& description, Faults& faults) {
  const auto found = description.find("policies");
  if (found == description.end()) return;
  if (!found->is_object()) {
    faults.add("", "\"policies\" must be an object, not " + shown(*found));
    return;
  }
  for (const auto& item : found->items()) {
    const auto rule = kPolicies.find(item.key());
    if (rule == kPolicies.end()) {
      faults.add("policies",
                 "unknown policy " + quoted(item.key()) +
                     " (known: OverwriteClientSites, uiFindNearestMethod, nMaxHopLimit, nMaxPingTimeout)");
    } else if (const auto value = convert(item.value(), rule->second, "policies", item.key(), faults)) {
      writer.addPolicySetting(wide(item.key()), *value);
    }
  }
}

void addCertificates(im::SiteListWriter& writer, const json& description, Faults& faults) {
  const json certificates = arrayAt(description, "caBundle", "", faults);
  for (std::size_t i = 0; i < certificates.size(); ++i) {
    const json& certificate = certificates[i];
    // An empty certificate would end the bundle for the reader.
    const std::string body = certificate.is_string() ? certificate.get<std::string>() : std::string();
    const bool base64 =
        body.find_first_not_of(" \t\r\nABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") ==
            std::string::npos &&
        body.find_first_not_of(" \t\r\n") != std::string::npos;
    if (!base64) {
      faults.add("caBundle", "certificate #" + std::to_string(i + 1) +
                                 " must be base64 text without its BEGIN and END lines, not " +
                                 shown(certificate));
      continue;
    }
    writer.addCACertificate(wide(body));
  }
}

}  // namespace

int runWrite(const Arguments& arguments) {
  const Command& self = findCommand("write");
  if (!arguments.has("--from")) return fail(self, "--from FILE is required", im::rcBadArgument);
  const std::string path = arguments.value("--from");
  std::ifstream file(path);
  if (!file) return fail(self, "cannot read " + path, im::rcPathError);
  json description;
  try {
    description = json::parse(file);
  } catch (const json::exception& e) {
    return fail(self, path + ": " + e.what(), im::rcBadArgument);
  }

  Faults faults;
  std::wstring versions[2];
  if (checkKeys(description,
                {"output", "globalVersion", "localVersion", "listType", "siteLists", "policies", "caBundle"},
                "the description", faults)) {
    // The agent refuses a site list without both versions.
    const char* keys[2] = {"globalVersion", "localVersion"};
    for (int i = 0; i < 2; ++i) {
      const auto found = description.find(keys[i]);
      if (found == description.end()) {
        faults.add("", quoted(keys[i]) + " is required");
        continue;
      }
      versions[i] = convert(*found, kText, "", keys[i], faults).value_or(L"");
      if (found->is_string() && versions[i].empty()) faults.add("", quoted(keys[i]) + " must not be empty");
    }
  } else {
    description = json::object();
  }
  const std::wstring listType =
      convert(description.value("listType", json("Server")), kText, "", "listType", faults).value_or(L"");
  im::SiteListWriter writer(versions[0], versions[1], listType);
  if (description.contains("output")) {
    if (const auto output = convert(description["output"], kText, "", "output", faults)) {
      writer.resetSiteListLocation(output->c_str());
    }
  }
  const json siteLists = arrayAt(description, "siteLists", "", faults);
  if (siteLists.empty()) faults.add("", "\"siteLists\" must hold a site list");
  for (std::size_t i = 0; i < siteLists.size(); ++i) {
    addSiteList(writer, siteLists[i], describe("site list", siteLists[i], i), faults);
  }
  addPolicies(writer, description, faults);
  addCertificates(writer, description, faults);

  if (faults.count() != 0) {
    for (const std::string& line : faults.lines()) fail(self, line, im::rcBadArgument);
    return exitCode(im::rcBadArgument);
  }
  const im::ResultCode written = writer.writeSiteList(30);
  if (written != im::rcSuccess) {
    return fail(self, "writing failed (code " + std::to_string(written) + "); the log line above says why",
                written);
  }
  return 0;
}
