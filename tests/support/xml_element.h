// Parses a snippet of XML for tests that need a real document element.
#ifndef INETMGR_TESTS_XML_ELEMENT_H
#define INETMGR_TESTS_XML_ELEMENT_H

#include <string>

#include <gtest/gtest.h>

#include "platform/xml.h"

namespace inetmgr_test {

// Holds the document so that its root element stays valid.
class ParsedXml {
 public:
  explicit ParsedXml(const std::string& text) {
    corvane_com::zel::platform::AdvXMLParser parser;
    const corvane_com::zel::platform::ByteBuffer bytes(text.begin(), text.end());
    const bool parsed = parser.ParseXML(bytes, document_);
    EXPECT_TRUE(parsed) << "test XML does not parse: " << text;
  }
  corvane_com::zel::platform::AdvXMLParser::Element root() const { return document_.GetRoot(); }

 private:
  corvane_com::zel::platform::AdvXMLParser::Document document_;
};

}  // namespace inetmgr_test

#endif  // INETMGR_TESTS_XML_ELEMENT_H
