// Sites built from one site list entry, released when the test lets go of them.
#ifndef INETMGR_TESTS_SITE_FROM_XML_H
#define INETMGR_TESTS_SITE_FROM_XML_H

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "site/site_impl.h"
#include "support/xml_element.h"

namespace inetmgr_test {

struct ReleaseSite {
  void operator()(corvane_com::zel::inetmgr::ImSiteImpl* site) const { site->release(); }
};
using SitePtr = std::unique_ptr<corvane_com::zel::inetmgr::ImSiteImpl, ReleaseSite>;

// The site built from `xml`, which must succeed unless `code` is given to
// receive the result.
inline SitePtr siteFrom(const std::string& xml, corvane_com::zel::inetmgr::ResultCode* code = nullptr) {
  SitePtr site(new corvane_com::zel::inetmgr::ImSiteImpl());
  const auto result = site->initFromElement(ParsedXml(xml).root());
  if (code != nullptr) {
    *code = result;
  } else {
    EXPECT_EQ(result, corvane_com::zel::inetmgr::rcSuccess) << xml;
  }
  return site;
}

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_SITE_FROM_XML_H
