// The site list writer: the document it writes, line for line; that the store
// reads back exactly what was authored; atomic replacement under a reading
// process; and the lock and location failures.
#include "inetmgr/site_list_writer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/xml.h"
#include "store/store_fixture.h"
#include "support/authoring_fields.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace platform = corvane_com::zel::platform;
using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)
using WNames = std::vector<std::wstring>;

namespace {

// A site kind, at the index of its SiteInfoObjectID: its element, its type
// word, and its attributes and elements in written order.
struct Kind {
  const char* element;
  const char* typeWord;
  const char* attributes;
  const char* elements;
};
constexpr char kCommon[] = "Type Server Name ID Local Order Enabled";
constexpr Kind kKinds[] = {
    {"HttpSite", "repository", kCommon,
     "RelativePath UseAuth UserName Password ReplicationUNC ReplicationDomainName ReplicationUserName "
     "ReplicationPassword"},
    {"FTPSite", "fallback", kCommon,
     "RelativePath UserName Password ReplicationUserName ReplicationPassword"},
    {"UNCSite", "mirror", kCommon,
     "ShareName RelativePath UseLoggedonUserAccount DomainName UserName Password ReplicationDomainName "
     "ReplicationUserName ReplicationPassword"},
    {"LocalSite", "remediation", kCommon, "RelativePath UseLoggedonUserAccount DomainName UserName Password"},
    {"SpipeSite", "master", "Name Server ServerIP Type ServerName ID Order Enabled", "RelativePath"},
    {"SuperAgentSite", "repository", "Type Server Name ID Order Enabled", "RelativePath"}};
constexpr std::size_t kSpipe = 4;

// The full proxy's texts and credentials, in the order of kProxyTexts and
// kProxyLogins.
constexpr const char* kProxyValues[] = {"CorpProxy", "{proxy}", "http-proxy.corp", "8080", "ftp-proxy.corp",
                                        "2121", "0", "1", "1", "0", "1", "0", "1", "0"};
constexpr const wchar_t* kProxyCredentials[][3] = {{L"huser", L"hpw", L"h1"}, {L"fuser", L"fpw", L"f1"},
                                                   {L"ahuser", L"ahpw", L"ah1"}, {L"afuser", L"afpw", L""}};

std::vector<std::string> words(const char* text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

std::string readText(const std::wstring& path) {
  platform::ByteBuffer bytes;
  EXPECT_TRUE(platform::AFile::read(path, bytes));
  return std::string(bytes.begin(), bytes.end());
}

// A written line at `depth` tabs: the tag alone, or the tag, its text and the
// closing tag.
std::string open(int depth, const std::string& tag) { return std::string(depth, '\t') + "<" + tag + ">\n"; }
std::string leaf(int depth, const std::string& tag, const std::string& text) {
  return std::string(depth, '\t') + "<" + tag + ">" + text + "</" + tag.substr(0, tag.find(' ')) + ">\n";
}

class SiteListWriterTest : public StoreTest {
 protected:
  // What site i holds under a document name: "site<i>", its type word, the
  // order 20 - i, nothing for the spipe site's computer name (written all the
  // same), passwords "<name><i>" in the document's encrypted form, and
  // "<name><i>" otherwise.
  std::string value(std::size_t i, const std::string& name) {
    const std::string n = std::to_string(i);
    if (name == "Name") return "site" + n;
    if (name == "Type") return kKinds[i].typeWord;
    if (name == "Order") return std::to_string(20 - i);
    if (i == kSpipe && name == "ServerName") return "";
    if (name.find("Password") == std::string::npos) return name + n;
    std::string& cipher = ciphers_[name + n];
    if (cipher.empty()) cipher = passwordText(widen(name + n));
    return cipher;
  }
  // The "Encrypted" marker of site i's password or replication password.
  static std::string marker(std::size_t i, const std::string& name) {
    return name.substr(0, 1) + std::to_string(i);
  }

  // One site of every kind, an empty site, a full proxy, an empty and an
  // alternate-only proxy; then a second list, which the reader ignores.
  void writeAuthored(const std::wstring& global, const std::wstring& local) {
    im::SiteList list(L"Main", L"site0");
    for (std::size_t i = 0; i < std::size(kKinds); ++i) {
      const auto v = [&](const char* name) { return widen(value(i, name)); };
      im::SiteInfo* site = list.getSiteInfoObject(static_cast<im::SiteInfoObjectID>(i));
      for (const auto& field : kSiteTexts) (site->*field.set)(v(field.name));
      for (const auto& login : kSiteLogins) {
        const std::wstring mark = widen(marker(i, login.password));
        (site->*login.set)(im::UserLoginInfo(v(login.name), v(login.password), mark));
      }
    }
    list.getSiteInfoObject(im::HttpSiteInfo);
    list.setProxyConfigListUseIEOption(L"1");
    im::ProxyConfigInfo* proxy = list.getProxyConfigInfoObject();
    const char* const* text = kProxyValues;
    for (const auto& field : kProxyTexts) (proxy->*field.set)(widen(*text++));
    const auto* credentials = kProxyCredentials;
    for (const auto& login : kProxyLogins) {
      const auto& c = *credentials++;
      (proxy->*login.set)(im::UserLoginInfo(c[0], c[1], c[2]));
    }
    for (const wchar_t* host : {L"intranet", L"", L"*.corp"}) proxy->addExclusionHost(host);
    proxy->addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.255", L"office"));
    proxy->addLocalAddrRange(im::IPAddressRange(L"192.168.1.1", L"192.168.1.9", L""));
    list.getProxyConfigInfoObject();
    list.getProxyConfigInfoObject()->setAltHttpProxyUsernamePassword(im::UserLoginInfo(L"u", L"p", L"1"));
    im::SiteList second(L"Second", L"");
    second.getSiteInfoObject(im::HttpSiteInfo)->setSiteName(L"ignored");
    im::SiteListWriter writer(global, local, L"Server");
    ASSERT_EQ(writer.addSiteList(list), im::rcSuccess);
    ASSERT_EQ(writer.addSiteList(second), im::rcSuccess);
    ASSERT_EQ(writer.writeSiteList(5), im::rcSuccess);
  }

  std::map<std::string, std::string> ciphers_;
};

}  // namespace

// Each site is written with its attributes in its kind's order on its line and
// one line per element, a password's marker in its "Encrypted" attribute. In
// the proxy, the alternate HTTP flag goes out first, under the alternate FTP
// name; the alternate markers ("ah1", and an empty one) replace the main ones
// on the main passwords, and the alternate passwords carry none. The empty
// site and host, the empty and alternate-only proxies, the range label and
// empty fields are left out.
TEST_F(SiteListWriterTest, WritesEveryFieldInItsFixedOrderAndTheStoreReadsItAllBack) {
  writeAuthored(L"20260101", L"7");
  std::string sites;
  std::vector<std::map<std::wstring, std::wstring>> properties(std::size(kKinds));  // passwords aside
  std::vector<WNames> passwords(std::size(kKinds), WNames(2));  // login, replication; decrypted
  for (std::size_t i = 0; i < std::size(kKinds); ++i) {
    std::string tag = kKinds[i].element;
    for (const std::string& name : words(kKinds[i].attributes)) {
      tag += " " + name + "=\"" + value(i, name) + "\"";
      properties[i][widen(name)] = widen(value(i, name));
    }
    sites += open(2, tag);
    for (const std::string& name : words(kKinds[i].elements)) {
      const bool password = name.find("Password") != std::string::npos;
      sites += leaf(3, password ? name + " Encrypted=\"" + marker(i, name) + "\"" : name, value(i, name));
      if (password) passwords[i][name[0] == 'R'] = widen(name) + std::to_wstring(i);
      if (!password) properties[i][widen(name)] = widen(value(i, name));
    }
    sites += open(2, "/" + std::string(kKinds[i].element));
  }
  EXPECT_EQ(readText(path_),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
                open(0, "SiteLists xmlns=\"urn:corvane-com:zel:sitelist\" GlobalVersion=\"20260101\" "
                        "LocalVersion=\"7\" ListType=\"Server\" "
                        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                        "xsi:schemaLocation=\"/Orno30/Common/XMLSCH~1/SiteList.xsd\"") +
                open(1, "SiteList Default=\"site0\" Name=\"Main\"") + sites +
                open(2, "ProxyConfigList UseSystemProxySettings=\"1\"") +
                open(3, "ProxyConfig Name=\"CorpProxy\" UseSystemProxySettings=\"1\" "
                        "HTTPProxyServer=\"http-proxy.corp\" HTTPProxyPort=\"8080\" "
                        "FTPProxyServer=\"ftp-proxy.corp\" FTPProxyPort=\"2121\" Local=\"0\" "
                        "ID=\"{proxy}\"") +
                leaf(4, "AllowUserToConfigureProxy", "1") + leaf(4, "BypassLocalAddresses", "0") +
                leaf(4, "HTTPProxyUseAuth", "1") + leaf(4, "HTTPProxyUserName", "huser") +
                leaf(4, "HTTPProxyPassword Encrypted=\"ah1\"", "hpw") + leaf(4, "FTPProxyUseAuth", "0") +
                leaf(4, "FTPProxyUserName", "fuser") + leaf(4, "FTPProxyPassword Encrypted=\"\"", "fpw") +
                leaf(4, "AltFTPProxyUseAuth", "1") + leaf(4, "AltHTTPProxyUserName", "ahuser") +
                leaf(4, "AltHTTPProxyPassword", "ahpw") + leaf(4, "AltFTPProxyUseAuth", "0") +
                leaf(4, "AltFTPProxyUserName", "afuser") + leaf(4, "AltFTPProxyPassword", "afpw") +
                open(4, "ExclusionList") + leaf(5, "Host", "intranet") + leaf(5, "Host", "*.corp") +
                open(4, "/ExclusionList") + open(4, "LocalAddressList") + open(5, "Range") +
                leaf(6, "Start", "10.0.0.1") + leaf(6, "End", "10.0.0.255") + open(5, "/Range") +
                open(5, "Range") + leaf(6, "Start", "192.168.1.1") + leaf(6, "End", "192.168.1.9") +
                open(5, "/Range") + open(4, "/LocalAddressList") + open(3, "/ProxyConfig") +
                open(2, "/ProxyConfigList") + open(1, "/SiteList") + open(1, "SiteList Name=\"Second\"") +
                open(2, "HttpSite Name=\"ignored\" /") + open(2, "ProxyConfigList /") + open(1, "/SiteList") +
                open(0, "/SiteLists"));

  im::PersistSite* store = this->store();
  ASSERT_NE(store, nullptr);
  std::wstring local;
  store->getLocalSiteListVersion(local);
  EXPECT_EQ(globalVersion(store) + L"/" + local, L"20260101/7");
  const im::SiteListPolicies& policies = store->getPolicies();
  EXPECT_EQ(std::make_tuple(policies.overwriteClientSites, policies.findNearestMethod, policies.maxHopLimit,
                            policies.maxPingTimeout),
            std::make_tuple(false, im::sortByConfiguredOrder, 15, 30))
      << "the defaults: no policies are written";
  EXPECT_EQ(siteNames(store), (WNames{L"site5", L"site4", L"site3", L"site2", L"site1", L"site0"}))
      << "the empty site and the second list are not read";
  const long cookie = store->lock();
  store->reset();
  im::IImSite* found = nullptr;
  while (store->getNextSite(found) == im::rcSuccess) {
    const im::IImSite_ptr held = im::wrapSitePtr(found);
    const auto& site = dynamic_cast<const im::ImSiteImpl&>(*found);
    const std::size_t i = std::stoul(site.getSiteName().substr(4));
    ASSERT_LT(i, std::size(kKinds));
    EXPECT_EQ(site.getProperties(), properties[i]) << kKinds[i].element;
    EXPECT_EQ((WNames{im::SecureString(site.getPassword()).str(),
                      im::SecureString(site.getReplicationPassword()).str()}),
              passwords[i])
        << kKinds[i].element;
  }
  store->unlock(cookie);

  std::vector<corvane_com::zel::xoInet::CProxyParams> proxies;
  store->getProxyList(proxies);
  ASSERT_EQ(proxies.size(), 1u);
  const auto& p = proxies[0];
  EXPECT_TRUE(store->useSystemProxy());
  EXPECT_EQ(p.proxyType + L" " + p.proxyServer + L" " + std::to_wstring(p.httpPort) + L"/" +
                std::to_wstring(p.ftpPort) + L" " + std::to_wstring(p.localAddressCount) + L":" +
                p.localAddressList + L" " + std::to_wstring(p.exclusionCount) + L":" + p.exclusionList,
            L"FtpHttpSite ftp-proxy.corp 8080/2121 2:10.0.0.1;10.0.0.255;192.168.1.1;192.168.1.9 "
            L"2:intranet;*.corp")
      << "the reader keeps the FTP address of the two";
  EXPECT_EQ((std::vector<bool>{p.allowUserToConfigProxy, p.bypassLocalAddresses, p.useSystemConfig,
                               p.httpUseAuth, p.ftpUseAuth, p.altFtpUseAuth, p.altHttpUseAuth}),
            (std::vector<bool>{true, false, true, true, false, true, false}))
      << "the alternate FTP flag read is the alternate HTTP one, written first under its name";
  WNames credentials;  // passwords are read back as the stored text
  for (const auto* c : kProxyCredentials) credentials.insert(credentials.end(), {c[0], c[1]});
  EXPECT_EQ((WNames{p.httpUserName, p.httpPassword, p.ftpUserName, p.ftpPassword, p.altHttpUserName,
                    p.altHttpPassword, p.altFtpUserName, p.altFtpPassword}),
            credentials);
}

TEST_F(SiteListWriterTest, AReadingProcessSeesTheOldOrTheNewDocumentNeverATornOne) {
  // Version v has v % 7 + 1 sites, of growing size; the reader checks the count.
  const auto writeVersion = [&](int v) {
    im::SiteList list(L"Main", L"");
    for (int i = 0; i <= v % 7; ++i) {
      const auto size = static_cast<std::size_t>(1 + 200 * v % 3000);
      list.getSiteInfoObject(im::HttpSiteInfo)->setSiteName(std::wstring(size, L'x'));
    }
    im::SiteListWriter writer(std::to_wstring(v), L"1", L"");
    writer.addSiteList(list);
    return writer.writeSiteList(5);
  };
  ASSERT_EQ(writeVersion(0), im::rcSuccess);
  const std::wstring stop = data_.dir().wfile("stop");
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    platform::ByteBuffer bytes;
    do {
      platform::AdvXMLParser parser;
      platform::AdvXMLParser::Document document;
      if (!platform::AFile::read(path_, bytes) || !parser.ParseXML(bytes, document)) ::_exit(1);
      const int v = std::stoi(document.GetRoot().GetAttribute(L"GlobalVersion").GetValue());
      const auto entries = document.GetRoot().GetElement(L"SiteList").GetChildElements();
      if (std::distance(entries.begin(), entries.end()) != v % 7 + 2) ::_exit(2);  // + the proxy list
    } while (!platform::AFile::readExisting(stop, bytes));
    ::_exit(0);
  }
  for (int v = 1; v <= 300; ++v) EXPECT_EQ(writeVersion(v), im::rcSuccess);
  ASSERT_TRUE(platform::AFile::write(stop, std::string("done")));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: unreadable or unparseable, 2: sites of another version";
}

TEST_F(SiteListWriterTest, AFailedWriteGivesItsCodeAndLeavesTheFileAlone) {
  LogCapture log;
  ASSERT_TRUE(platform::AFile::write(path_, std::string("old")));
  im::SiteListWriter writer(L"1", L"1", L"");
  std::shared_ptr<std::shared_lock<std::shared_timed_mutex>> readers[2];
  for (auto& reader : readers) ASSERT_EQ(im::SiteListWriter::acquireReadLock(reader, 1), im::rcSuccess);
  ASSERT_TRUE(readers[0]->owns_lock() && readers[1]->owns_lock()) << "readers share the lock";
  im::ResultCode result = im::rcSuccess;
  std::thread([&] { result = writer.writeSiteList(1); }).join();
  EXPECT_EQ(result, im::rcUnexpected);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Timeout in acquiring write lock for SiteList.xml"), 1);
  for (auto& reader : readers) reader.reset();
  EXPECT_TRUE(writer.resetSiteListLocation(L""));
  EXPECT_EQ(writer.writeSiteList(1), im::rcNotInitialized);
  writer.resetSiteListLocation(data_.dir().wfile("missing/SiteList.xml").c_str());
  EXPECT_EQ(writer.writeSiteList(1), im::rcUnexpected);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"SiteList.xml write failed"), 1);
  EXPECT_EQ(readText(path_), "old");

  im::SiteListWriter moved(std::move(writer));  // leaves `writer` without a document
  im::SiteList list(L"Main", L"");
  EXPECT_EQ(writer.addSiteList(list), im::rcOutOfMemory);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(writer.writeSiteList(1), im::rcOutOfMemory);
  moved.resetSiteListLocation(path_.c_str());
  EXPECT_EQ(moved.writeSiteList(1), im::rcSuccess);
  EXPECT_NE(readText(path_).find("<SiteLists "), std::string::npos);
}
