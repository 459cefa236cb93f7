// The XML DOM facade: walking a parsed site list, refusing hostile or broken
// input with a reason, building and printing documents, reading files.
#include "platform/xml.h"

#include <iterator>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/temp_dir.h"

namespace {

using corvane_com::zel::platform::AdvXMLParser;
using corvane_com::zel::platform::ByteBuffer;
using Element = AdvXMLParser::Element;
using Names = std::vector<std::wstring>;

ByteBuffer bytes(const std::string& text) { return ByteBuffer(text.begin(), text.end()); }

template <typename Range>
Names names(const Range& nodes) {
  Names result;
  for (const AdvXMLParser::Node& node : nodes) result.push_back(node.GetName());
  return result;
}

// Parses `text` and returns the parser's message; empty when it was accepted.
std::wstring parseError(const std::string& text) {
  AdvXMLParser parser;
  AdvXMLParser::Document document = AdvXMLParser::Document::CreateWithRoot(L"Kept");
  const bool parsed = parser.ParseXML(bytes(text), document);
  EXPECT_EQ(parsed, document.GetRoot().GetName() != L"Kept") << "a failed parse keeps the document: " << text;
  EXPECT_EQ(parsed, parser.GetLastXmlErrorMessage().empty()) << text;
  return parser.GetLastXmlErrorMessage();
}

TEST(AdvXMLParser, WalksASiteListByNameIndexAttributesAndTextKeepingNonAsciiText) {
  AdvXMLParser parser;
  ByteBuffer buffer;
  const std::string path = std::string(INETMGR_XML_TEST_DATA) + "/site_list.xml";
  ASSERT_TRUE(parser.ReadBufferFromFileNoExp(std::wstring(path.begin(), path.end()), buffer, nullptr));
  AdvXMLParser::Document document;
  ASSERT_TRUE(parser.ParseXML(buffer, document)) << parser.GetLastXmlErrorMessage();

  const Element root = document.GetRoot();
  EXPECT_EQ(root.GetName() + L" " + root.GetAttribute(L"LocalVersion").GetValue(), L"SiteLists 7");
  EXPECT_TRUE(root.GetAttribute(L"localversion").IsNull() && root.GetElement(L"sitelist").IsNull());
  const Element list = root.GetElement(L"SiteList");
  EXPECT_EQ(list.GetElement(L"HttpSite", 1).GetAttribute(L"Name").GetValue(), L"Fallback & more");
  EXPECT_TRUE(list.GetElement(L"HttpSite", 2).IsNull());
  EXPECT_EQ(names(list.GetChildElements()), (Names{L"HttpSite", L"ProxyConfigList", L"HttpSite"}));
  const Element first = list.GetElement(L"HttpSite");
  EXPECT_EQ(names(first.GetAttributes()), (Names{L"Type", L"Name", L"Order", L"Enabled"}));
  EXPECT_EQ(std::next(first.GetAttributes().begin())->GetValue(), L"Zürich Master");
  EXPECT_EQ(first.GetElement(L"RelativePath").GetValue(), L"/repo/東京");
  EXPECT_EQ(root.GetElement(L"CABundle").GetElement(L"Certificate").GetValue(), L"MIIBab<c>😀Ω");

  const Element absent = root.GetElement(L"Policies");
  EXPECT_TRUE(absent.GetChildElements().empty() && absent.GetAttributes().empty());
  EXPECT_EQ(absent.GetName() + absent.GetValue() + absent.GetAttribute(L"x").GetValue(), L"");
}

TEST(AdvXMLParser, InputThatIsNotOneWellFormedUtf8DocumentWithoutDoctypeIsRefusedWithAReason) {
  const std::string bom = "\xEF\xBB\xBF";
  const std::string unclosed = "<SiteLists>\n\t<SiteList>\n</SiteLists>";
  const std::wstring mismatch = parseError(unclosed);
  const std::size_t at = mismatch.find(L"byte offset ");
  EXPECT_TRUE(mismatch.find(L"mismatch") != mismatch.npos && at != mismatch.npos &&
              std::stoul(mismatch.substr(at + 12)) >= unclosed.rfind("</"))
      << "the fault and where it is: " << mismatch;
  EXPECT_NE(parseError("").find(L"empty"), std::wstring::npos);
  for (const std::string& text :
       {std::string(" \n\t"), bom, std::string("<SiteLists><SiteList Name=\"trunc"),
        std::string("<a><!DOCTYPE a></a>"), std::string("\x7F\x45LF\x02\x01\x01\0\0\0", 10)}) {
    EXPECT_NE(parseError(text), L"") << text;
  }
  EXPECT_NE(parseError("<a/><b/>").find(L"more than one root"), std::wstring::npos);
  EXPECT_NE(parseError(std::string("<a/>\0", 5)).find(L"NUL byte at line 1, column 5 (byte offset 4)"), std::wstring::npos);
  // Entities are never expanded, wherever the declaration stands.
  for (const char* text : {"<!DOCTYPE SiteLists [<!ENTITY secret SYSTEM \"file:///etc/passwd\">]>"
                           "<SiteLists GlobalVersion=\"&secret;\"/>",
                           "<a/><!DOCTYPE a>"}) {
    EXPECT_NE(parseError(text).find(L"DOCTYPE"), std::wstring::npos) << text;
  }
  // Latin-1, overlong forms of '/' and of U+0800, a UTF-16 surrogate, a
  // code point above U+10FFFF, and a cut sequence.
  for (const char* text : {"<a>\xFCrich</a>", "<a>\xC0\xAF</a>", "<a>\xE0\x9F\xBF</a>", "<a>\xED\xA0\x80</a>",
                           "<a>\xF4\x90\x80\x80</a>", "<a>\xE6\x9D"}) {
    EXPECT_NE(parseError(text).find(L"not valid UTF-8 at line 1, column 4 (byte offset 3)"), std::wstring::npos)
        << text;
  }
  // A value too long to be a site list's is refused before the document is used.
  EXPECT_NE(parseError("<a>\n<b n=\"" + std::string(70000, 'x') + "\"/></a>").find(L"attribute n of <b>"),
            std::wstring::npos);
  EXPECT_EQ(parseError(bom + "<a>\xF0\x9F\x98\x80</a>"), L"");
}

TEST(AdvXMLParser, DeeplyNestedDocumentsParseWalkAndPrintWithoutExhaustingTheStack) {
  const std::size_t depth = 200000;
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<e>";
  for (std::size_t i = 0; i < depth; ++i) text += "</e>";
  AdvXMLParser parser;
  AdvXMLParser::Document document;
  ASSERT_TRUE(parser.ParseXML(bytes(text), document)) << parser.GetLastXmlErrorMessage();
  std::size_t levels = 0;
  for (Element e = document.GetRoot(); !e.IsNull(); e = e.GetElement(L"e")) ++levels;
  EXPECT_EQ(levels, depth);
  EXPECT_NE(document.ToText(L"").find("<e />"), std::string::npos);
}

TEST(AdvXMLParserDocument, ABuiltDocumentPrintsAsUtf8AndReparsesToTheSameValues) {
  AdvXMLParser::Document document = AdvXMLParser::Document::CreateWithRoot(L"SiteLists");
  Element root = document.GetRoot();
  root.CreateAttribute(L"GlobalVersion", L"1");
  root.CreateAttribute(L"xmlns:xsi", L"http://www.w3.org/2001/XMLSchema-instance");
  root.CreateAttribute(L"GlobalVersion", L"2 <\"&'>\t");
  Element site = root.AddElement(L"SiteList").AddElement(L"HttpSite");
  site.AddElementInto(L"RelativePath", L"/Zürich/東京 & <😀>");
  site.AddElementInto(L"Password", L"").CreateAttribute(L"Encrypted", L"1");
  // The declaration and indentation are pinned by the site list writer's expected documents.
  const std::string text = AdvXMLParser::Document(std::move(document)).ToText(L"\t");
  EXPECT_NE(text.find("<RelativePath>/Z\xC3\xBC"), std::string::npos) << text;

  AdvXMLParser parser;
  AdvXMLParser::Document reread;
  ASSERT_TRUE(parser.ParseXML(bytes(text), reread)) << parser.GetLastXmlErrorMessage();
  EXPECT_EQ(names(reread.GetRoot().GetAttributes()), (Names{L"GlobalVersion", L"xmlns:xsi"}));
  EXPECT_EQ(reread.GetRoot().GetAttribute(L"GlobalVersion").GetValue(), L"2 <\"&'>\t");
  const Element reSite = reread.GetRoot().GetElement(L"SiteList").GetElement(L"HttpSite");
  EXPECT_EQ(reSite.GetElement(L"RelativePath").GetValue(), L"/Zürich/東京 & <😀>");
  EXPECT_EQ(reSite.GetElement(L"Password").GetAttribute(L"Encrypted").GetValue(), L"1");
}

TEST(AdvXMLParser, ReadBufferFromFileNoExpReportsUnreadableFilesAndFailingHooksWithoutAPartialResult) {
  inetmgr_test::TempDir directory;
  AdvXMLParser parser;
  const std::wstring stored = directory.wfile("stored.xml"), missing = directory.wfile("missing.xml");
  ASSERT_TRUE(corvane_com::zel::platform::AFile::write(stored, std::string("<a/>")));
  const AdvXMLParser::DecryptHook refuse = [](const ByteBuffer&, ByteBuffer& out) {
    out = {'x'};  // a half-written result must not leak out
    return false;
  };
  const AdvXMLParser::DecryptHook throwing = [](const ByteBuffer&, ByteBuffer&) -> bool {
    throw std::runtime_error("bad key");
  };
  ByteBuffer buffer;
  for (const auto& [path, hook, reason] :
       {std::make_tuple(missing, AdvXMLParser::DecryptHook(nullptr), L": No such file"),
        std::make_tuple(stored, refuse, L""), std::make_tuple(stored, throwing, L": bad key")}) {
    buffer = {'o', 'l', 'd'};
    EXPECT_FALSE(parser.ReadBufferFromFileNoExp(path, buffer, hook));
    EXPECT_TRUE(buffer.empty());
    EXPECT_NE(parser.GetLastXmlErrorMessage().find(path + reason), std::wstring::npos)
        << parser.GetLastXmlErrorMessage();
  }
  // A hook that succeeds is the encrypted site list's, read by the document tests.
  ASSERT_TRUE(parser.ReadBufferFromFileNoExp(stored, buffer, nullptr));
  EXPECT_EQ(parser.GetLastXmlErrorMessage(), L"") << "a success clears the last failure";
}

}  // namespace
