// The site list writer: what it writes and in which order, that the store
// reads back exactly what was authored, atomic replacement under a reading
// process, and the lock and location failures.
#include "inetmgr/site_list_writer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "inetmgr/sitelist_schema.h"
#include "platform/xml.h"
#include "store/store_fixture.h"
#include "support/log_capture.h"

namespace im = corvane_com::zel::inetmgr;
namespace platform = corvane_com::zel::platform;
using namespace corvane_com::zel::xmlschema::sitelist;
using Element = platform::AdvXMLParser::Element;
using Names = std::vector<std::wstring>;

namespace {

// A site kind as the writer writes it and the reader reads it back.
struct Kind {
  im::SiteInfoObjectID id;
  const wchar_t* element;
  im::ProtocolType::Types protocol;
  const wchar_t* typeWord;
  im::SiteType::Types type;
  Names attributes;
  Names elements;
};

Kind kind(im::SiteInfoObjectID id, const wchar_t* element, im::ProtocolType::Types protocol,
          const wchar_t* word, im::SiteType::Types type, Names attributes, Names elements) {
  return {id, element, protocol, word, type, std::move(attributes), std::move(elements)};
}

const std::vector<Kind>& kinds() {
  static const Names kPlain = {XO_XML_SITE_TYPE,  XO_XML_SITE_SERVER, XO_XML_SITE_NAME,   XO_XML_SITE_ID,
                               XO_XML_SITE_LOCAL, XO_XML_SITE_ORDER,  XO_XML_SITE_ENABLED};
  static const std::vector<Kind> all = {
      kind(im::HttpSiteInfo, XO_XML_SITELIST_HTTP_SITE, im::ProtocolType::Http, STR_SITE_TYPE_REPOSITORY,
           im::SiteType::Repository, kPlain,
           {XO_XML_SITE_RELATIVEPATH, XO_XML_HTTPSITE_USE_AUTH, XO_XML_SITE_USER_NAME, XO_XML_SITE_PASSWORD,
            XO_XML_HTTPSITE_REPLICATION_UNC, XO_XML_SITE_REPLICATION_DOMAIN_NAME,
            XO_XML_SITE_REPLICATION_USER_NAME, XO_XML_SITE_REPLICATION_PASSWORD}),
      kind(im::FtpSiteInfo, XO_XML_SITELIST_FTP_SITE, im::ProtocolType::Ftp, L"fallback",
           im::SiteType::Fallback, kPlain,
           {XO_XML_SITE_RELATIVEPATH, XO_XML_SITE_USER_NAME, XO_XML_SITE_PASSWORD,
            XO_XML_SITE_REPLICATION_USER_NAME, XO_XML_SITE_REPLICATION_PASSWORD}),
      kind(im::UncSiteInfo, XO_XML_SITELIST_UNC_SITE, im::ProtocolType::Unc, STR_SITE_TYPE_MIRROR,
           im::SiteType::Mirror, kPlain,
           {XO_XML_UNCSITE_SHARENAME, XO_XML_SITE_RELATIVEPATH, XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT,
            XO_XML_SITE_DOMAIN_NAME, XO_XML_SITE_USER_NAME, XO_XML_SITE_PASSWORD,
            XO_XML_SITE_REPLICATION_DOMAIN_NAME, XO_XML_SITE_REPLICATION_USER_NAME,
            XO_XML_SITE_REPLICATION_PASSWORD}),
      kind(im::LocalSiteInfo, XO_XML_SITELIST_LOCAL_SITE, im::ProtocolType::Local, STR_SITE_TYPE_REMEDIATION,
           im::SiteType::Remediation, kPlain,
           {XO_XML_SITE_RELATIVEPATH, XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, XO_XML_SITE_DOMAIN_NAME,
            XO_XML_SITE_USER_NAME, XO_XML_SITE_PASSWORD}),
      kind(im::SpipeSiteInfo, XO_XML_SITELIST_SPIPE_SITE, im::ProtocolType::Spipe, STR_SITE_TYPE_MASTER,
           im::SiteType::Master,
           {XO_XML_SITE_NAME, XO_XML_SITE_SERVER, XO_XML_SITE_SERVER_IP, XO_XML_SITE_TYPE,
            XO_XML_SERVER_NETBIOS_NAME, XO_XML_SITE_ID, XO_XML_SITE_ORDER, XO_XML_SITE_ENABLED},
           {XO_XML_SITE_RELATIVEPATH}),
      kind(im::SuperAgentSiteInfo, XO_XML_SITELIST_SUPERAGENT_SITE, im::ProtocolType::SuperAgent,
           STR_SITE_TYPE_REPOSITORY, im::SiteType::Repository,
           {XO_XML_SITE_TYPE, XO_XML_SITE_SERVER, XO_XML_SITE_NAME, XO_XML_SITE_ID, XO_XML_SITE_ORDER,
            XO_XML_SITE_ENABLED},
           {XO_XML_SITE_RELATIVEPATH}),
  };
  return all;
}

constexpr std::size_t kSpipe = 4;

// Fields of site i written even when empty.
bool keptWhenEmpty(std::size_t i, const std::wstring& name) {
  return name == XO_XML_SITE_NAME ||
         (i == kSpipe && (name == XO_XML_SITE_SERVER_IP || name == XO_XML_SERVER_NETBIOS_NAME ||
                          name == XO_XML_SITE_RELATIVEPATH));
}

Names attributeNames(const Element& element) {
  Names names;
  for (const auto& attribute : element.GetAttributes()) names.push_back(attribute.GetName());
  return names;
}

Names childNames(const Element& element) {
  Names names;
  for (const Element& child : element.GetChildElements()) names.push_back(child.GetName());
  return names;
}

std::string readText(const std::wstring& path) {
  platform::ByteBuffer bytes;
  EXPECT_TRUE(platform::AFile::read(path, bytes));
  return std::string(bytes.begin(), bytes.end());
}

std::wstring encrypted(const std::wstring& plain) {
  std::wstring text;
  EXPECT_EQ(im::encryptSiteListPassword(plain, text), im::rcSuccess);
  return text;
}

std::wstring plainPassword(std::size_t i, const std::wstring& name) {
  return name + L"-of-site" + std::to_wstring(i);
}

// The text site i holds under `name`: real values for its name, type, flags
// and order, its password in the document form, the empty text for the spipe
// site's computer name and the FTP site's ID, and "site<i>:" + name otherwise.
std::wstring textOf(std::size_t i, const std::wstring& name) {
  const std::map<std::wstring, std::wstring> real = {
      {XO_XML_SITE_NAME, L"site" + std::to_wstring(i)}, {XO_XML_SITE_TYPE, kinds()[i].typeWord},
      {XO_XML_SITE_ENABLED, i % 2 ? L"1" : L"0"},       {XO_XML_SITE_ORDER, std::to_wstring(20 - i)},
      {XO_XML_SITE_LOCAL, i % 3 ? L"0" : L"1"},         {XO_XML_HTTPSITE_USE_AUTH, L"1"},
      {XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT, L"0"}};
  if (real.count(name) != 0) return real.at(name);
  if ((i == kSpipe && name == XO_XML_SERVER_NETBIOS_NAME) || (i == 1 && name == XO_XML_SITE_ID)) return L"";
  if (name == XO_XML_SITE_PASSWORD || name == XO_XML_SITE_REPLICATION_PASSWORD) {
    return encrypted(plainPassword(i, name));
  }
  return L"site" + std::to_wstring(i) + L":" + name;
}

// The property map the reader should build for site i.
std::map<std::wstring, std::wstring> expectedProperties(std::size_t i) {
  std::map<std::wstring, std::wstring> expected;
  for (const Names* names : {&kinds()[i].attributes, &kinds()[i].elements}) {
    for (const std::wstring& name : *names) {
      if (!textOf(i, name).empty() || keptWhenEmpty(i, name)) expected[name] = textOf(i, name);
    }
  }
  expected.erase(XO_XML_SITE_PASSWORD);  // taken out of the map by the reader
  expected.erase(XO_XML_SITE_REPLICATION_PASSWORD);
  return expected;
}

class SiteListWriterTest : public inetmgr_test::StoreTest {
 protected:
  // One site of every kind (texts from textOf), an empty site, a full proxy,
  // and two proxies the writer skips.
  void author() {
    for (std::size_t i = 0; i < kinds().size(); ++i) {
      const auto v = [i](const wchar_t* name) { return textOf(i, name); };
      im::SiteInfo* site = list_.getSiteInfoObject(kinds()[i].id);
      site->setSiteName(v(XO_XML_SITE_NAME));
      site->setSiteServer(v(XO_XML_SITE_SERVER));
      site->setSiteServerIP(v(XO_XML_SITE_SERVER_IP));
      site->setSiteServerName(v(XO_XML_SERVER_NETBIOS_NAME));
      site->setSiteType(v(XO_XML_SITE_TYPE));
      site->setSiteID(v(XO_XML_SITE_ID));
      site->setSiteAvailabilityStatus(v(XO_XML_SITE_ENABLED));
      site->setSiteOrder(v(XO_XML_SITE_ORDER));
      site->setSiteLocal(v(XO_XML_SITE_LOCAL));
      site->setRelativePath(v(XO_XML_SITE_RELATIVEPATH));
      site->setUserAuth(v(XO_XML_HTTPSITE_USE_AUTH));
      site->setUsernamePassword(im::UserLoginInfo(v(XO_XML_SITE_USER_NAME), v(XO_XML_SITE_PASSWORD), L"1"));
      site->setShareName(v(XO_XML_UNCSITE_SHARENAME));
      site->setUserlogonInfo(v(XO_XML_UNCSITE_USE_LOGON_USER_ACCOUNT));
      site->setDomainName(v(XO_XML_SITE_DOMAIN_NAME));
      site->setReplicationUNCName(v(XO_XML_HTTPSITE_REPLICATION_UNC));
      site->setReplicationDomainName(v(XO_XML_SITE_REPLICATION_DOMAIN_NAME));
      site->setReplicationUsernamePassword(
          im::UserLoginInfo(v(XO_XML_SITE_REPLICATION_USER_NAME), v(XO_XML_SITE_REPLICATION_PASSWORD), L"0"));
    }
    list_.getSiteInfoObject(im::HttpSiteInfo);
    list_.setProxyConfigListUseIEOption(L"1");
    proxy_ = list_.getProxyConfigInfoObject();
    proxy_->setProxyName(L"CorpProxy");
    proxy_->setProxyID(L"{proxy}");
    proxy_->setHttpProxyServer(L"http-proxy.corp");
    proxy_->setHttpProxyPort(L"8080");
    proxy_->setFtpProxyServer(L"ftp-proxy.corp");
    proxy_->setFtpProxyPort(L"2121");
    proxy_->setProxyLocal(L"0");
    proxy_->setUseIEConfig(L"1");
    proxy_->addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.255", L"office"));
    proxy_->addLocalAddrRange(im::IPAddressRange(L"192.168.1.1", L"192.168.1.9", L""));
    proxy_->setAllowUserToConfigureProxy(L"1");
    proxy_->setBypassLocalAddr(L"0");
    for (const wchar_t* host : {L"intranet", L"", L"*.corp"}) proxy_->addExclusionHost(host);
    proxy_->setHttpUseAuth(L"1");
    proxy_->setHttpProxyUsernamePassword(im::UserLoginInfo(L"huser", encrypted(L"hpw"), L"h1"));
    proxy_->setFtpUseAuth(L"0");
    proxy_->setFtpProxyUsernamePassword(im::UserLoginInfo(L"fuser", encrypted(L"fpw"), L"f1"));
    proxy_->setAltHttpUseAuth(L"1");
    proxy_->setAltHttpProxyUsernamePassword(im::UserLoginInfo(L"ahuser", encrypted(L"ahpw"), L"ah1"));
    proxy_->setAltFtpUseAuth(L"0");
    proxy_->setAltFtpProxyUsernamePassword(im::UserLoginInfo(L"afuser", encrypted(L"afpw"), L""));
    list_.getProxyConfigInfoObject();
    list_.getProxyConfigInfoObject()->setAltHttpProxyUsernamePassword(
        im::UserLoginInfo(L"only", L"alt", L""));
  }

  // Writes the authored list, and a second list the reader ignores, to the
  // agent's site list location.
  void writeAuthored(const std::wstring& global, const std::wstring& local) {
    author();
    im::SiteList ignored(L"Second", L"");
    ignored.getSiteInfoObject(im::HttpSiteInfo)->setSiteName(L"ignored");
    im::SiteListWriter writer(global, local, L"Server");
    ASSERT_EQ(writer.addSiteList(list_), im::rcSuccess);
    ASSERT_EQ(writer.addSiteList(ignored), im::rcSuccess);
    ASSERT_EQ(writer.writeSiteList(5), im::rcSuccess);
  }

  im::SiteList list_{L"Main", L"site0"};  // owns what proxy_ points to
  im::ProxyConfigInfo* proxy_ = nullptr;
};

}  // namespace

TEST_F(SiteListWriterTest, WritesEveryAttributeAndElementInItsFixedOrderWithTheEncryptedMarkers) {
  writeAuthored(L"11", L"3");
  const std::string text = readText(path_);
  EXPECT_NE(text.find("\n\t<SiteList Default=\"site0\" Name=\"Main\">\n\t\t<HttpSite "), std::string::npos);
  EXPECT_NE(text.find("\n\t\t\t<RelativePath>site0:RelativePath</RelativePath>\n"), std::string::npos);
  platform::AdvXMLParser parser;
  platform::AdvXMLParser::Document document;
  ASSERT_TRUE(parser.ParseXML(platform::ByteBuffer(text.begin(), text.end()), document));
  const Element root = document.GetRoot();
  EXPECT_EQ(attributeNames(root),
            (Names{XO_XML_NAMESPACE, XO_XML_SITELISTS_GLOBAL_VERSION, XO_XML_SITELISTS_LOCAL_VERSION,
                   XO_XML_SITELISTS_TYPE, L"xmlns:xsi", L"xsi:schemaLocation"}));
  EXPECT_EQ(root.GetAttribute(L"xmlns:xsi").GetValue(), L"http://www.w3.org/2001/XMLSchema-instance");
  EXPECT_EQ(root.GetAttribute(L"xsi:schemaLocation").GetValue(), L"/Orno30/Common/XMLSCH~1/SiteList.xsd");
  EXPECT_EQ(childNames(root), (Names{XO_XML_SITELIST, XO_XML_SITELIST}));

  const Element list = root.GetElement(XO_XML_SITELIST);
  Names expectedEntries;
  for (const Kind& kind : kinds()) expectedEntries.push_back(kind.element);
  expectedEntries.push_back(XO_XML_PROXY_CONFIG_LIST);
  EXPECT_EQ(childNames(list), expectedEntries) << "the empty site is skipped";
  for (std::size_t i = 0; i < kinds().size(); ++i) {
    SCOPED_TRACE(kinds()[i].element);
    const Element site = list.GetElement(kinds()[i].element);
    Names attributes = kinds()[i].attributes;
    if (i == 1) attributes.erase(attributes.begin() + 3);  // the FTP site's empty ID
    EXPECT_EQ(attributeNames(site), attributes);
    EXPECT_EQ(childNames(site), kinds()[i].elements);
    const auto marker = [&](const wchar_t* name) { return site.GetElement(name).GetAttribute(L"Encrypted"); };
    EXPECT_EQ(marker(XO_XML_SITE_PASSWORD).GetValue(), i < 4 ? L"1" : L"");
    EXPECT_EQ(marker(XO_XML_SITE_REPLICATION_PASSWORD).GetValue(), i < 3 ? L"0" : L"");
  }

  const Element proxyList = list.GetElement(XO_XML_PROXY_CONFIG_LIST);
  EXPECT_EQ(proxyList.GetAttribute(XO_XML_PROXY_USE_IE_CONFIG).GetValue(), L"1");
  EXPECT_EQ(childNames(proxyList), Names{XO_XML_PROXY_CONFIG})
      << "empty and alternate-only proxies are skipped";
  const Element proxy = proxyList.GetElement(XO_XML_PROXY_CONFIG);
  EXPECT_EQ(attributeNames(proxy),
            (Names{XO_XML_SITE_NAME, XO_XML_PROXY_USE_IE_CONFIG, XO_XML_PROXY_HTTP_PROXY_SERVER,
                   XO_XML_PROXY_HTTP_PROXY_PORT, XO_XML_PROXY_FTP_PROXY_SERVER, XO_XML_PROXY_FTP_PROXY_PORT,
                   XO_XML_SITE_LOCAL, XO_XML_SITE_ID}));
  EXPECT_EQ(
      childNames(proxy),
      (Names{XO_XML_PROXY_ALLOWUSERTOCONFIGPROXY, XO_XML_PROXY_BYPASSLOCALADDR, XO_XML_PROXY_HTTP_USEAUTH,
             XO_XML_HTTP_PROXY_PROXYUSERNAME, XO_XML_HTTP_PROXY_PROXYPASSWORD, XO_XML_PROXY_FTP_USEAUTH,
             XO_XML_FTP_PROXY_PROXYUSERNAME, XO_XML_FTP_PROXY_PROXYPASSWORD, XO_XML_PROXY_ALT_FTP_USEAUTH,
             XO_XML_HTTP_PROXY_ALT_PROXYUSERNAME, XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD,
             XO_XML_PROXY_ALT_FTP_USEAUTH, XO_XML_FTP_PROXY_ALT_PROXYUSERNAME,
             XO_XML_FTP_PROXY_ALT_PROXYPASSWORD, XO_XML_PROXY_EXCLUSIONLIST, XO_XML_PROXY_ADDRLIST}));
  EXPECT_EQ(proxy.GetElement(XO_XML_PROXY_ALT_FTP_USEAUTH, 0).GetValue(), proxy_->getAltHttpUseAuth());
  EXPECT_EQ(proxy.GetElement(XO_XML_PROXY_ALT_FTP_USEAUTH, 1).GetValue(), proxy_->getAltFtpUseAuth());
  const auto marker = [&](const wchar_t* name) { return proxy.GetElement(name).GetAttribute(L"Encrypted"); };
  EXPECT_EQ(marker(XO_XML_HTTP_PROXY_PROXYPASSWORD).GetValue(), L"ah1");
  EXPECT_FALSE(marker(XO_XML_FTP_PROXY_PROXYPASSWORD).IsNull()) << "an empty alternate marker replaces too";
  EXPECT_EQ(marker(XO_XML_FTP_PROXY_PROXYPASSWORD).GetValue(), L"");
  EXPECT_TRUE(marker(XO_XML_HTTP_PROXY_ALT_PROXYPASSWORD).IsNull());
  EXPECT_TRUE(marker(XO_XML_FTP_PROXY_ALT_PROXYPASSWORD).IsNull());
  EXPECT_EQ(childNames(proxy.GetElement(XO_XML_PROXY_ADDRLIST).GetElement(XO_XML_PROXY_RANGE, 1)),
            (Names{XO_XML_PROXY_IPSTART, XO_XML_PROXY_IPEND}));
}

TEST_F(SiteListWriterTest, TheStoreReadsBackExactlyWhatWasAuthored) {
  writeAuthored(L"20260101", L"7");
  im::PersistSite* store = this->store();
  ASSERT_NE(store, nullptr);
  std::wstring local;
  store->getLocalSiteListVersion(local);
  EXPECT_EQ(globalVersion(store) + L"/" + local, L"20260101/7");
  const im::SiteListPolicies& policies = store->getPolicies();
  EXPECT_EQ(policies.overwriteClientSites, false);
  EXPECT_EQ(policies.findNearestMethod, im::sortByConfiguredOrder);
  EXPECT_EQ(policies.maxHopLimit, 15);
  EXPECT_EQ(policies.maxPingTimeout, 30);
  EXPECT_EQ(siteNames(store), (Names{L"site5", L"site4", L"site3", L"site2", L"site1", L"site0"}))
      << "the empty site and the second list are not read";

  const long cookie = store->lock();
  store->reset();
  im::IImSite* found = nullptr;
  while (store->getNextSite(found) == im::rcSuccess) {
    const im::IImSite_ptr held = im::wrapSitePtr(found);
    const auto& site = dynamic_cast<const im::ImSiteImpl&>(*found);
    const std::size_t i = std::stoul(site.getSiteName().substr(4));
    ASSERT_LT(i, kinds().size());
    SCOPED_TRACE(kinds()[i].element);
    const std::map<std::wstring, std::wstring> expected = expectedProperties(i);
    EXPECT_EQ(site.getProperties(), expected);
    EXPECT_EQ(site.getProtocol(), kinds()[i].protocol);
    EXPECT_EQ(site.getType(), kinds()[i].type);
    EXPECT_EQ(site.isEnabled(), textOf(i, XO_XML_SITE_ENABLED) == L"1");
    EXPECT_EQ(site.isLocalSiteList(),
              expected.count(XO_XML_SITE_LOCAL) && textOf(i, XO_XML_SITE_LOCAL) == L"1");
    EXPECT_EQ(site.getSortOrder(), std::stoi(textOf(i, XO_XML_SITE_ORDER)));
    EXPECT_EQ(site.getSiteIp(), i == kSpipe ? textOf(i, XO_XML_SITE_SERVER_IP) : L"");
    EXPECT_EQ(im::SecureString(site.getPassword()).str(),
              expected.count(XO_XML_SITE_USER_NAME) ? plainPassword(i, XO_XML_SITE_PASSWORD) : L"");
    EXPECT_EQ(im::SecureString(site.getReplicationPassword()).str(),
              expected.count(XO_XML_SITE_REPLICATION_USER_NAME)
                  ? plainPassword(i, XO_XML_SITE_REPLICATION_PASSWORD)
                  : L"");
  }
  store->unlock(cookie);

  std::vector<corvane_com::zel::xoInet::CProxyParams> proxies;
  store->getProxyList(proxies);
  ASSERT_EQ(proxies.size(), 1u);
  const auto& p = proxies[0];
  EXPECT_TRUE(store->useSystemProxy());
  EXPECT_EQ(p.proxyType, XO_XML_SITELIST_FTPHTTP_SITE);
  EXPECT_EQ(p.proxyServer, proxy_->getFtpProxyServer()) << "the reader keeps the FTP address of the two";
  EXPECT_EQ(std::to_wstring(p.httpPort) + L"/" + std::to_wstring(p.ftpPort),
            proxy_->getHttpProxyPort() + L"/" + proxy_->getFtpProxyPort());
  EXPECT_EQ((std::vector<bool>{p.allowUserToConfigProxy, p.bypassLocalAddresses, p.useSystemConfig,
                               p.httpUseAuth, p.ftpUseAuth}),
            (std::vector<bool>{true, false, true, true, false}));
  EXPECT_EQ(std::to_wstring(p.localAddressCount) + L":" + p.localAddressList,
            L"2:10.0.0.1;10.0.0.255;192.168.1.1;192.168.1.9");
  EXPECT_EQ(std::to_wstring(p.exclusionCount) + L":" + p.exclusionList, L"2:intranet;*.corp");
  EXPECT_EQ((Names{p.httpUserName, p.httpPassword, p.ftpUserName, p.ftpPassword, p.altHttpUserName,
                   p.altHttpPassword, p.altFtpUserName, p.altFtpPassword}),
            (Names{L"huser", encrypted(L"hpw"), L"fuser", encrypted(L"fpw"), L"ahuser", encrypted(L"ahpw"),
                   L"afuser", encrypted(L"afpw")}))
      << "proxy passwords are read back as the stored text";
  EXPECT_TRUE(p.altFtpUseAuth) << "the alternate HTTP flag, written first under the alternate FTP name";
  EXPECT_FALSE(p.altHttpUseAuth) << "never written";
}

TEST_F(SiteListWriterTest, AReadingProcessSeesTheOldOrTheNewDocumentNeverATornOne) {
  // Version v has v % 7 + 1 sites of growing size; the reader checks the count.
  const auto writeVersion = [&](int v) {
    im::SiteList list(L"Main", L"");
    for (int i = 0; i <= v % 7; ++i) {
      im::SiteInfo* site = list.getSiteInfoObject(im::HttpSiteInfo);
      site->setSiteName(L"v" + std::to_wstring(v) + L"-" + std::to_wstring(i));
      site->setRelativePath(std::wstring(static_cast<std::size_t>(200 * v % 3000), L'x'));
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
    for (int reads = 0; reads == 0 || !platform::AFile::readExisting(stop, bytes); ++reads) {
      platform::AdvXMLParser parser;
      platform::AdvXMLParser::Document document;
      if (!platform::AFile::read(path_, bytes) || !parser.ParseXML(bytes, document)) ::_exit(1);
      const Element root = document.GetRoot();
      const int v = std::stoi(root.GetAttribute(XO_XML_SITELISTS_GLOBAL_VERSION).GetValue());
      // The sites and the proxy list.
      if (static_cast<int>(childNames(root.GetElement(XO_XML_SITELIST)).size()) != v % 7 + 2) ::_exit(2);
    }
    ::_exit(0);
  }
  for (int v = 1; v <= 300; ++v) EXPECT_EQ(writeVersion(v), im::rcSuccess);
  ASSERT_TRUE(platform::AFile::write(stop, std::string("done")));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: unreadable or unparseable, 2: sites of another version";
}

TEST_F(SiteListWriterTest, AReadLockHeldPastTheTimeoutFailsTheWriteAndLeavesTheFileAlone) {
  inetmgr_test::LogCapture log;
  ASSERT_TRUE(platform::AFile::write(path_, std::string("old")));
  im::SiteListWriter writer(L"1", L"1", L"");
  std::shared_ptr<std::shared_lock<std::shared_timed_mutex>> reader;
  std::shared_ptr<std::shared_lock<std::shared_timed_mutex>> secondReader;
  ASSERT_EQ(im::SiteListWriter::acquireReadLock(reader, 1), im::rcSuccess);
  ASSERT_TRUE(reader && reader->owns_lock());
  EXPECT_EQ(im::SiteListWriter::acquireReadLock(secondReader, 1), im::rcSuccess) << "readers share the lock";

  im::ResultCode result = im::rcSuccess;
  std::thread([&] { result = writer.writeSiteList(1); }).join();
  EXPECT_EQ(result, im::rcUnexpected);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Timeout in acquiring write lock for SiteList.xml"), 1);
  EXPECT_EQ(readText(path_), "old");

  reader.reset();
  secondReader.reset();
  std::thread([&] { result = writer.writeSiteList(1); }).join();
  EXPECT_EQ(result, im::rcSuccess);
  EXPECT_NE(readText(path_).find("<SiteLists"), std::string::npos);
}

TEST_F(SiteListWriterTest, AWriteWithoutALocationADirectoryOrADocumentFailsWithItsCode) {
  inetmgr_test::LogCapture log;
  im::SiteListWriter writer(L"1", L"1", L"");
  EXPECT_TRUE(writer.resetSiteListLocation(L""));
  EXPECT_EQ(writer.writeSiteList(1), im::rcNotInitialized);
  writer.resetSiteListLocation(data_.dir().wfile("missing/SiteList.xml").c_str());
  EXPECT_EQ(writer.writeSiteList(1), im::rcUnexpected);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"SiteList.xml write failed"), 1);

  // A moved-from writer has no document, by contract.
  im::SiteListWriter moved(std::move(writer));
  im::SiteList list(L"Main", L"");
  EXPECT_EQ(writer.addSiteList(list), im::rcOutOfMemory);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(writer.writeSiteList(1), im::rcOutOfMemory);
  moved.resetSiteListLocation(path_.c_str());
  EXPECT_EQ(moved.writeSiteList(1), im::rcSuccess);
}
