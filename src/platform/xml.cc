// The XML DOM on top of pugixml, built in its narrow (UTF-8) mode: names and
// texts are converted at this boundary, and input is checked here for what
// pugixml lets through (invalid UTF-8, NUL bytes, document type declarations).
#include "platform/xml.h"

#include <cstdint>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include <pugixml.hpp>

#include "platform/assert.h"
#include "platform/log.h"
#include "platform/utf8.h"

namespace corvane_com::zel::platform {

struct XmlDocument::Impl {
  pugi::xml_document dom;
};

struct AdvXMLParser::Access {
  static pugi::xml_node node(const Node& handle) {
    if (handle.kind_ != Node::Kind::Element) return pugi::xml_node();
    return pugi::xml_node(static_cast<pugi::xml_node_struct*>(handle.object_));
  }
  static pugi::xml_attribute attribute(const Node& handle) {
    if (handle.kind_ != Node::Kind::Attribute) return pugi::xml_attribute();
    return pugi::xml_attribute(static_cast<pugi::xml_attribute_struct*>(handle.object_));
  }
  static Element element(pugi::xml_node node) { return Element(node.internal_object()); }
  static Node attributeNode(pugi::xml_attribute attribute) {
    return attribute ? Node(Node::Kind::Attribute, attribute.internal_object()) : Node();
  }
  static Element::ChildIterator childIterator(pugi::xml_node node) {
    return Element::ChildIterator(element(node));
  }
  static Element::AttributeIterator attributeIterator(pugi::xml_attribute attribute) {
    return Element::AttributeIterator(attributeNode(attribute));
  }
};

namespace {

constexpr wchar_t kTag[] = L"advxml";

// Null when there is none.
pugi::xml_node firstElementFrom(pugi::xml_node node) {
  while (node && node.type() != pugi::node_element) node = node.next_sibling();
  return node;
}

// A guard for the writer, not a full XML name check: it refuses what would
// make the output unreadable (empty names, blanks, markup characters, a
// leading digit, '-' or '.').
bool isUsableName(const std::wstring& name) {
  if (name.empty()) return false;
  const wchar_t first = name.front();
  if ((first >= L'0' && first <= L'9') || first == L'-' || first == L'.') return false;
  for (const wchar_t c : name) {
    if (static_cast<std::uint32_t>(c) <= 0x20) return false;
    if (std::wstring(L"<>&\"'/=?!").find(c) != std::wstring::npos) return false;
  }
  return true;
}

// Names and values are nearly always ASCII: those are widened as they are.
std::wstring wide(const char* text) {
  const char* end = text;
  bool ascii = true;
  for (; *end != '\0'; ++end) ascii = ascii && static_cast<unsigned char>(*end) < 0x80;
  return ascii ? std::wstring(text, end) : fromUtf8(std::string(text, end));
}

// "line L, column C (byte offset O)" of a byte of the document; lines and
// columns count from 1, columns in characters.
std::wstring placeOf(const ByteBuffer& buffer, std::size_t offset) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < offset && i < buffer.size(); ++i) {
    if (buffer[i] == '\n') {
      ++line;
      column = 1;
    } else if ((buffer[i] & 0xC0) != 0x80) {
      ++column;
    }
  }
  return L"line " + std::to_wstring(line) + L", column " + std::to_wstring(column) + L" (byte offset " +
         std::to_wstring(offset) + L")";
}

// Empty when the bytes may go to the parser, otherwise the reason they may not.
std::wstring checkBytes(const ByteBuffer& buffer) {
  if (buffer.empty()) return L"XML document is empty";
  const std::size_t invalid = findInvalidUtf8(buffer.data(), buffer.size());
  if (invalid != buffer.size()) return L"XML document is not valid UTF-8 at " + placeOf(buffer, invalid);
  // pugixml keeps strings NUL-terminated, so a NUL would silently cut a value.
  const void* nul = std::memchr(buffer.data(), 0, buffer.size());
  if (nul != nullptr) {
    return L"XML document contains a NUL byte at " +
           placeOf(buffer, static_cast<std::size_t>(static_cast<const unsigned char*>(nul) - buffer.data()));
  }
  return std::wstring();
}

// Empty when the parsed document has exactly one root element and nothing
// else that was kept at the top level, otherwise the reason it is refused.
std::wstring checkTopLevel(const pugi::xml_document& dom) {
  int elements = 0;
  for (const pugi::xml_node node : dom.children()) {
    if (node.type() == pugi::node_doctype) {
      return L"XML document has a document type declaration; DOCTYPE and entity declarations are not "
             L"accepted";
    }
    if (node.type() == pugi::node_element) ++elements;
  }
  // pugixml itself accepts a second top-level element; readers would silently
  // see only the first.
  if (elements > 1) return L"XML document has more than one root element";
  return std::wstring();
}

class StringWriter : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& text) : text_(text) {}
  void write(const void* data, size_t size) override { text_.append(static_cast<const char*>(data), size); }

 private:
  std::string& text_;
};

}  // namespace

std::wstring AdvXMLParser::Node::GetName() const {
  if (const pugi::xml_node node = Access::node(*this)) return wide(node.name());
  if (const pugi::xml_attribute attribute = Access::attribute(*this)) return wide(attribute.name());
  return std::wstring();
}

std::wstring AdvXMLParser::Node::GetValue() const {
  if (const pugi::xml_attribute attribute = Access::attribute(*this)) return wide(attribute.value());
  const pugi::xml_node first = Access::node(*this).first_child();
  const auto isText = [](const pugi::xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
  };
  // The usual element holds one piece of text.
  if (!first) return std::wstring();
  if (isText(first) && !first.next_sibling()) return wide(first.value());
  std::string text;
  for (pugi::xml_node child = first; child; child = child.next_sibling()) {
    if (isText(child)) text += child.value();
  }
  return fromUtf8(text);
}

AdvXMLParser::Element::ChildIterator& AdvXMLParser::Element::ChildIterator::operator++() {
  current_ = Access::element(firstElementFrom(Access::node(current_).next_sibling()));
  return *this;
}

AdvXMLParser::Element::AttributeIterator& AdvXMLParser::Element::AttributeIterator::operator++() {
  current_ = Access::attributeNode(Access::attribute(current_).next_attribute());
  return *this;
}

AdvXMLParser::Element AdvXMLParser::Element::GetElement(const std::wstring& name, std::size_t index) const {
  const std::string wanted = toUtf8(name);
  pugi::xml_node child = Access::node(*this).child(wanted.c_str());
  for (; child && index > 0; --index) child = child.next_sibling(wanted.c_str());
  return Access::element(child);
}

AdvXMLParser::Element::Range<AdvXMLParser::Element::ChildIterator> AdvXMLParser::Element::GetChildElements()
    const {
  return Range<ChildIterator>(Access::childIterator(firstElementFrom(Access::node(*this).first_child())),
                              ChildIterator());
}

AdvXMLParser::Element::Range<AdvXMLParser::Element::AttributeIterator> AdvXMLParser::Element::GetAttributes()
    const {
  return Range<AttributeIterator>(Access::attributeIterator(Access::node(*this).first_attribute()),
                                  AttributeIterator());
}

AdvXMLParser::Node AdvXMLParser::Element::GetAttribute(const std::wstring& name) const {
  return Access::attributeNode(Access::node(*this).attribute(toUtf8(name).c_str()));
}

AdvXMLParser::Element AdvXMLParser::Element::AddElementInto(const std::wstring& name,
                                                            const std::wstring& text) {
  Element child = AddElement(name);
  if (!text.empty()) {
    const std::string value = toUtf8(text);
    Access::node(child).append_child(pugi::node_pcdata).set_value(value.c_str());
  }
  return child;
}

AdvXMLParser::Element AdvXMLParser::Element::AddElement(const std::wstring& name) {
  INETMGR_ASSERT(!IsNull(), "!IsNull()");
  INETMGR_ASSERT(isUsableName(name), "isUsableName(name)");
  const pugi::xml_node child = Access::node(*this).append_child(toUtf8(name).c_str());
  if (!child) throw std::bad_alloc();
  return Access::element(child);
}

void AdvXMLParser::Element::CreateAttribute(const std::wstring& name, const std::wstring& value) {
  INETMGR_ASSERT(!IsNull(), "!IsNull()");
  INETMGR_ASSERT(isUsableName(name), "isUsableName(name)");
  pugi::xml_node node = Access::node(*this);
  const std::string narrowName = toUtf8(name);
  pugi::xml_attribute attribute = node.attribute(narrowName.c_str());
  if (!attribute) attribute = node.append_attribute(narrowName.c_str());
  if (!attribute || !attribute.set_value(toUtf8(value).c_str())) throw std::bad_alloc();
}

XmlDocument::XmlDocument() : impl_(std::make_unique<Impl>()) {}
XmlDocument::~XmlDocument() = default;
XmlDocument::XmlDocument(XmlDocument&& other) noexcept = default;
XmlDocument& XmlDocument::operator=(XmlDocument&& other) noexcept = default;

XmlDocument XmlDocument::CreateWithRoot(const std::wstring& rootName) {
  INETMGR_ASSERT(isUsableName(rootName), "isUsableName(rootName)");
  XmlDocument document;
  if (!document.impl_->dom.append_child(toUtf8(rootName).c_str())) throw std::bad_alloc();
  return document;
}

AdvXMLParser::Element XmlDocument::GetRoot() const {
  if (!impl_) return AdvXMLParser::Element();
  return AdvXMLParser::Access::element(impl_->dom.document_element());
}

std::string XmlDocument::ToText(const std::wstring& indentation) const {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  if (!impl_) return text;
  StringWriter writer(text);
  impl_->dom.save(writer, toUtf8(indentation).c_str(), pugi::format_indent | pugi::format_no_declaration,
                  pugi::encoding_utf8);
  return text;
}

// Empty when no attribute value or text is longer than kMaxXmlValueBytes,
// otherwise where the first such value is.
std::wstring checkValueLengths(const pugi::xml_document& dom, const ByteBuffer& buffer) {
  struct Walker : pugi::xml_tree_walker {
    std::wstring problem;
    const ByteBuffer* buffer = nullptr;
    bool tooLong(const pugi::char_t* text) const { return std::strlen(text) > kMaxXmlValueBytes; }
    bool for_each(pugi::xml_node& node) override {
      const std::wstring limit = L" is longer than " + std::to_wstring(kMaxXmlValueBytes) + L" bytes";
      if ((node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) && tooLong(node.value())) {
        problem = L"XML document has a text in <" + fromUtf8(node.parent().name()) + L">" + limit;
      }
      for (const pugi::xml_attribute attribute : node.attributes()) {
        if (problem.empty() && tooLong(attribute.value())) {
          problem = L"XML document has an attribute " + fromUtf8(attribute.name()) + L" of <" +
                    fromUtf8(node.name()) + L">" + limit;
        }
      }
      if (problem.empty()) return true;
      problem += L", at " + placeOf(*buffer, static_cast<std::size_t>(node.offset_debug()));
      return false;
    }
  } walker;
  walker.buffer = &buffer;
  const_cast<pugi::xml_document&>(dom).traverse(walker);
  return walker.problem;
}

bool AdvXMLParser::ParseXML(const ByteBuffer& buffer, Document& document) {
  lastError_.clear();
  try {
    lastError_ = checkBytes(buffer);
    if (lastError_.empty()) {
      auto impl = std::make_unique<Document::Impl>();
      // Document type declarations are kept as nodes only so they can be
      // seen and refused below.
      const pugi::xml_parse_result result = impl->dom.load_buffer(
          buffer.data(), buffer.size(), pugi::parse_default | pugi::parse_doctype, pugi::encoding_utf8);
      if (!result) {
        lastError_ = L"XML parse error at " + placeOf(buffer, static_cast<std::size_t>(result.offset)) + L": " +
                     fromUtf8(result.description());
      } else {
        lastError_ = checkTopLevel(impl->dom);
        if (lastError_.empty()) lastError_ = checkValueLengths(impl->dom, buffer);
      }
      if (lastError_.empty()) {
        document.impl_ = std::move(impl);
        return true;
      }
    }
  } catch (const std::bad_alloc&) {
    lastError_ = L"Out of memory while parsing the XML document";
  }
  logDetail(kTag, lastError_);
  return false;
}

bool AdvXMLParser::ReadBufferFromFileNoExp(const std::wstring& path, ByteBuffer& buffer,
                                           DecryptHook decryptHook) {
  lastError_.clear();
  buffer.clear();
  try {
    ByteBuffer stored;
    FileInfo info;
    int statError = 0;
    if (statFile(toUtf8(path), info, statError) && info.size > kMaxXmlDocumentBytes) {
      lastError_ = L"Failed to read " + path + L": it holds " + std::to_wstring(info.size) +
                   L" bytes, more than the " + std::to_wstring(kMaxXmlDocumentBytes) + L" a document may have";
    } else if (!AFile::read(path, stored)) {
      FileInfo ignored;
      int error = 0;
      lastError_ = L"Failed to read " + path;
      if (!statFile(toUtf8(path), ignored, error)) lastError_ += L": " + fromUtf8(std::strerror(error));
    } else if (decryptHook == nullptr) {
      buffer.swap(stored);
      return true;
    } else {
      ByteBuffer plain;
      if (decryptHook(stored, plain)) {
        buffer.swap(plain);
        return true;
      }
      lastError_ = L"Failed to decode the contents of " + path;
    }
  } catch (const std::exception& e) {
    buffer.clear();
    lastError_ = L"Failed to load " + path + L": " + fromUtf8(e.what());
  } catch (...) {
    buffer.clear();
    lastError_ = L"Failed to load " + path + L": unknown exception";
  }
  logDetail(kTag, lastError_);
  return false;
}

}  // namespace corvane_com::zel::platform
