// Remediation URLs added to a site list: accepted and refused shapes, the
// separators, and the order of the added sites.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "facade/fake_store.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

using namespace inetmgr_test;  // NOLINT(google-build-using-namespace)
using Names = std::vector<std::wstring>;

namespace {

class RemediationSites : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.add(http("store"));
    list_ = makeList(store_);
  }
  ScopedDataDir data_;
  LogCapture log_;
  FakeStore store_;
  ListPtr list_;
};

}  // namespace

TEST_F(RemediationSites, EachUrlBecomesAnEnabledUnrankedHttpRemediationSiteInFront) {
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L" |http://host/path| ", L"http://host/path host /path"},
      {L"http://host/path/", L"http://host/path/ host /path"},
      {L"ftp://host/a/b", L"ftp://host/a/b host /a/b"},
      {L"http://[fe80::1]:8080/repo", L"http://[fe80::1]:8080/repo fe80::1]:8080 /repo"},
      {L"http:\\\\winhost\\share\\dir", L"http://winhost/share/dir winhost /share/dir"},
  };
  for (const auto& [url, expected] : cases) {
    ASSERT_EQ(list_->addRemediationSites(url), im::rcSuccess) << url;
    im::IImSite* site = nullptr;
    ASSERT_EQ(list_->getNextSite(site), im::rcSuccess);
    auto* s = dynamic_cast<im::ImSiteImpl*>(site);
    EXPECT_EQ(s->getSiteName() + L" " + s->getServerName() + L" " + s->getProperties().at(L"RelativePath"),
              expected);
    EXPECT_TRUE(s->getProtocol() == im::ProtocolType::Http && s->getType() == im::SiteType::Remediation &&
                s->isEnabled() && s->getSiteOrder() == 65535 && s->getProperties().at(L"UseAuth") == L"0");
    site->release();
  }
  EXPECT_EQ(list_->getSiteCount(), std::size(cases) + 1);
}

TEST_F(RemediationSites, AMalformedPieceIsAPathErrorKeepingOnlyThePiecesBeforeIt) {
  EXPECT_EQ(list_->addRemediationSites(L"http://a/x||http://b/y"), im::rcPathError);
  EXPECT_EQ(log_.count(im::LogLevel::Info,
                       L"Remediation site list is improperly formatted.  Some sites might not "
                       L"be added to the site list."),
            1);
  for (const wchar_t* text : {L"http://host", L"host/path", L" \t\n ", L"|", L"||", L"| |"}) {
    EXPECT_EQ(list_->addRemediationSites(text), im::rcPathError) << text;
  }
  EXPECT_EQ(list_->addRemediationSites(L""), im::rcSuccess);
  EXPECT_EQ(list_->addRemediationSites(L"http://c/x|http://d/y"), im::rcSuccess);
  EXPECT_EQ(walk(*list_), (Names{L"http://d/y", L"http://c/x", L"http://a/x", L"store"}));
}
