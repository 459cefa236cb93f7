// The site list writer: the document it writes, element for element; that the
// store takes every site written; atomic replacement under a reading process;
// and the lock and location failures.
#include "inetmgr/site_list_writer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <future>
#include <iterator>
#include <string>
#include <vector>

#include "platform/interprocess_lock.h"
#include "platform/xml.h"
#include "store/store_fixture.h"
#include "support/authoring_fields.h"
#include "support/log_capture.h"
#include "support/transfer_files.h"

namespace im = corvane_com::zel::inetmgr;
namespace platform = corvane_com::zel::platform;
using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)

namespace {

using SiteListWriterTest = StoreTest;

}  // namespace

// Site i of kind i holds "<field><i>" in every field, whether its kind writes
// it or not, but for its name, type and order, and an empty spipe computer
// name, which is written all the same. Each password's marker goes into its
// "Encrypted" attribute. The full proxy holds each field's name in the field.
// The alternate HTTP flag goes out first, under the alternate FTP name; the
// alternate markers (one of them empty) replace the main ones on the main
// passwords, and the alternate passwords carry none. The empty site and host,
// the empty and alternate-only proxies, the range label and empty fields are
// left out.
TEST_F(SiteListWriterTest, WritesEveryFieldInItsFixedOrderAndTheStoreTakesEverySite) {
  // A fixed key makes the passwords' ciphertexts, and so the whole document, known.
  ASSERT_TRUE(platform::AFile::write(data_.wfile("etc/inetmgr.key"), std::string(32, 'k')));
  const char* const types[] = {"repository", "fallback", "mirror", "remediation", "master", "repository"};
  im::SiteList list(L"Main", L"site0");
  for (int i = 0; i < 6; ++i) {
    const std::string n = std::to_string(i);
    im::SiteInfo* site = list.getSiteInfoObject(static_cast<im::SiteInfoObjectID>(i));
    for (const auto& field : kSiteTexts) (site->*field.set)(widen(field.name + n));
    for (const auto& login : kSiteLogins) {
      (site->*login.set)(im::UserLoginInfo(widen(login.name + n),
                                           widen(passwordText(widen(login.password + n))),
                                           widen(login.password[0] + n)));
    }
    site->setSiteName(widen("site" + n));
    site->setSiteType(widen(types[i]));
    site->setSiteOrder(std::to_wstring(20 - i));
    if (i == im::SpipeSiteInfo) site->setSiteServerName(L"");
  }
  list.getSiteInfoObject(im::HttpSiteInfo);
  list.setProxyConfigListUseIEOption(L"1");
  im::ProxyConfigInfo* proxy = list.getProxyConfigInfoObject();
  for (const auto& field : kProxyTexts) (proxy->*field.set)(widen(field.name));
  for (const auto& login : kProxyLogins) {
    const bool altFtp = &login == &kProxyLogins[3];  // an empty marker replaces all the same
    (proxy->*login.set)(im::UserLoginInfo(widen(login.name), widen(login.password),
                                          altFtp ? L"" : widen(login.password) + L"Marker"));
  }
  for (const wchar_t* host : {L"intranet", L"", L"*.corp"}) proxy->addExclusionHost(host);
  proxy->addLocalAddrRange(im::IPAddressRange(L"10.0.0.1", L"10.0.0.255", L"office"));
  proxy->addLocalAddrRange(im::IPAddressRange(L"192.168.1.1", L"192.168.1.9", L""));
  list.getProxyConfigInfoObject();
  list.getProxyConfigInfoObject()->setAltHttpProxyUsernamePassword(im::UserLoginInfo(L"u", L"p", L"1"));
  im::SiteList second(L"Second", L"");
  second.getSiteInfoObject(im::HttpSiteInfo)->setSiteName(L"ignored");
  im::SiteListWriter writer(L"20260101", L"7", L"Server");
  ASSERT_EQ(writer.addSiteList(list), im::rcSuccess);
  ASSERT_EQ(writer.addSiteList(second), im::rcSuccess);
  ASSERT_EQ(writer.writeSiteList(5), im::rcSuccess);
  EXPECT_EQ(readFile(path_), readFile(INETMGR_AUTHORING_TEST_DATA "/every_field.xml"));
  EXPECT_EQ(siteNames(store()),
            (std::vector<std::wstring>{L"site5", L"site4", L"site3", L"site2", L"site1", L"site0"}))
      << "every site is taken (their passwords decrypt), the empty site and the second list are not";
}

// Ports follow a site's other attributes, secure port first, and only when
// set; a site with nothing but ports is empty. The policy block and then the
// CA bundle follow the site lists, whichever was added first, and a policy
// added after a write joins the block at the next write.
TEST_F(SiteListWriterTest, PortsPoliciesAndCertificatesComeLastAndOnlyWhenSet) {
  im::SiteList list(L"Main", L"");
  im::SiteInfo* site = list.getSiteInfoObject(im::HttpSiteInfo);
  site->setSiteName(L"web");
  site->setSiteType(L"repository");
  site->setSiteSecurePort(L"8443");
  site->setSitePort(L"8080");
  list.getSiteInfoObject(im::FtpSiteInfo)->setSitePort(L"21");
  im::SiteListWriter writer(L"1", L"1", L"Server");
  writer.resetSiteListLocation(path_.c_str());
  ASSERT_EQ(writer.addPolicySetting(L"nMaxHopLimit", L"12"), im::rcSuccess);
  ASSERT_EQ(writer.addSiteList(list), im::rcSuccess);
  ASSERT_EQ(writer.addCACertificate(L"QUJD"), im::rcSuccess);
  ASSERT_EQ(writer.writeSiteList(5), im::rcSuccess);
  ASSERT_EQ(writer.addPolicySetting(L"nMaxPingTimeout", L"9"), im::rcSuccess);
  ASSERT_EQ(writer.writeSiteList(5), im::rcSuccess);
  EXPECT_EQ(readFile(path_), readFile(INETMGR_AUTHORING_TEST_DATA "/ports_policies_certificates.xml"));
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
  const std::wstring stop = data_.wfile("stop");
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
  // From another thread: this one may not wait for a lock it holds.
  EXPECT_EQ(std::async(std::launch::async, [&] { return writer.writeSiteList(1); }).get(), im::rcUnexpected);
  for (auto& reader : readers) reader.reset();
  {
    platform::InterProcessReadLock otherProcess(L"SiteListLock");  // another object is another holder
    ASSERT_TRUE(otherProcess.lock(0));
    EXPECT_EQ(writer.writeSiteList(1), im::rcUnexpected);
  }
  EXPECT_EQ(log.count(im::LogLevel::Error, L"Timeout in acquiring write lock for SiteList.xml"), 2);
  EXPECT_TRUE(writer.resetSiteListLocation(L""));
  EXPECT_EQ(writer.writeSiteList(1), im::rcNotInitialized);
  writer.resetSiteListLocation(data_.wfile("missing/SiteList.xml").c_str());
  EXPECT_EQ(writer.writeSiteList(1), im::rcUnexpected);
  EXPECT_EQ(log.count(im::LogLevel::Error, L"SiteList.xml write failed"), 1);
  EXPECT_EQ(readFile(path_), "old");

  im::SiteListWriter moved(std::move(writer));  // leaves `writer` without a document
  im::SiteList list(L"Main", L"");
  EXPECT_EQ(writer.addSiteList(list), im::rcOutOfMemory);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(writer.writeSiteList(1), im::rcOutOfMemory);
  moved.resetSiteListLocation(path_.c_str());
  EXPECT_EQ(moved.writeSiteList(1), im::rcSuccess);
  EXPECT_NE(readFile(path_).find("<SiteLists "), std::string::npos);
}
