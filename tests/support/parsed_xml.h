// Snippets of XML parsed into a real document, and sites built from one site
// list entry, released when the test lets go of them.
#ifndef INETMGR_TESTS_PARSED_XML_H
#define INETMGR_TESTS_PARSED_XML_H

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/xml.h"
#include "site/site_impl.h"

namespace inetmgr_test {

// Holds the document so that its root element stays valid.
class ParsedXml {
 public:
  explicit ParsedXml(const std::string& text) {
    corvane_com::zel::platform::AdvXMLParser parser;
    EXPECT_TRUE(parser.ParseXML({text.begin(), text.end()}, document_))
        << "test XML does not parse: " << text;
  }
  corvane_com::zel::platform::AdvXMLParser::Element root() const { return document_.GetRoot(); }

 private:
  corvane_com::zel::platform::AdvXMLParser::Document document_;
};

struct ReleaseSite {
  void operator()(corvane_com::zel::inetmgr::ImSiteImpl* site) const { site->release(); }
};
using SitePtr = std::unique_ptr<corvane_com::zel::inetmgr::ImSiteImpl, ReleaseSite>;

// The site built from `xml`, which must succeed unless `code` is given to
// receive the result.
inline SitePtr siteFrom(const std::string& xml, corvane_com::zel::inetmgr::ResultCode* code = nullptr) {
  SitePtr site(new corvane_com::zel::inetmgr::ImSiteImpl());
  const auto result = site->initFromElement(ParsedXml(xml).root());
  EXPECT_TRUE(code != nullptr || result == corvane_com::zel::inetmgr::rcSuccess) << result << " for " << xml;
  if (code != nullptr) *code = result;
  return site;
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_PARSED_XML_H
