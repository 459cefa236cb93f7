// The XML DOM that the site list reader and writer walk: a parser that turns a
// UTF-8 buffer into a Document, and light Element/Node handles into it. Text at
// this interface is wide; the document itself is UTF-8. The parser library
// behind it stays inside xml.cc.
#ifndef INETMGR_PLATFORM_XML_H
#define INETMGR_PLATFORM_XML_H

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

#include "platform/files.h"

namespace corvane_com::zel::platform {

// Not thread-safe: a parser keeps the reason of its last failure, so each
// thread uses its own. Documents are independent of the parser that made them.
class XmlDocument;

// Limits on what is parsed, so that a hostile or broken file is refused
// before it costs memory: a document of 64 MiB holds about 140,000 sites of
// the example site list's size; no name, server or certificate comes near a
// value of 64 KiB.
inline constexpr unsigned long long kMaxXmlDocumentBytes = 64ULL * 1024 * 1024;
inline constexpr std::size_t kMaxXmlValueBytes = 64 * 1024;

class AdvXMLParser {
 private:
  // Converts between handles and the parser library's objects; defined in
  // xml.cc so that nothing here depends on that library.
  struct Access;
  friend class XmlDocument;

 public:
  class Element;

  // A handle to an element or an attribute. Handles do not own anything: they
  // stay valid while their Document lives (moving the Document keeps them
  // valid). A default-constructed handle is null; every read on a null handle
  // gives an empty text.
  class Node {
   public:
    Node() = default;
    bool IsNull() const { return object_ == nullptr; }
    std::wstring GetName() const;
    // An element's text is the concatenation of its own text and CDATA
    // children, as written (not trimmed); nested elements do not contribute.
    // An attribute's text is its value.
    std::wstring GetValue() const;
    // Handles are equal when they refer to the same node (or both are null).
    bool operator==(const Node& other) const { return object_ == other.object_; }
    bool operator!=(const Node& other) const { return object_ != other.object_; }

   protected:
    enum class Kind : unsigned char { Element, Attribute };
    Node(Kind kind, void* object) : kind_(kind), object_(object) {}

   private:
    Kind kind_ = Kind::Element;
    void* object_ = nullptr;
    friend struct Access;
  };

  class Element : public Node {
   public:
    class ChildIterator;
    class AttributeIterator;

    template <typename Iterator>
    class Range {
     public:
      Range(Iterator first, Iterator last) : first_(first), last_(last) {}
      Iterator begin() const { return first_; }
      Iterator end() const { return last_; }
      bool empty() const { return first_ == last_; }

     private:
      Iterator first_;
      Iterator last_;
    };

    Element() = default;

    // The index-th child element called `name` (exact, case-sensitive match);
    // a null element when there are fewer.
    Element GetElement(const std::wstring& name, std::size_t index = 0) const;
    // Child elements in document order. Text, comments and other node kinds
    // are skipped: this walk only ever yields elements. Empty for a null
    // element.
    Range<ChildIterator> GetChildElements() const;
    // Attributes in document order, each a Node with a name and a value.
    // Empty for a null element.
    Range<AttributeIterator> GetAttributes() const;
    // The attribute called `name`, or a null node when there is none, so that
    // an absent attribute and an empty one can be told apart.
    Node GetAttribute(const std::wstring& name) const;

    // Appends a child element, with `text` as its content unless `text` is
    // empty, and returns it. Names must be non-empty XML names and the element
    // must not be null: both are programming errors that stop the process.
    // Text is cut at its first NUL character, which XML cannot carry. Throws
    // std::bad_alloc when memory runs out.
    Element AddElementInto(const std::wstring& name, const std::wstring& text);
    Element AddElement(const std::wstring& name);
    // Sets the attribute, replacing the value of an existing one of that name
    // in place so the attribute order stays stable. Same rules as AddElement.
    void CreateAttribute(const std::wstring& name, const std::wstring& value);

   private:
    explicit Element(void* object) : Node(Node::Kind::Element, object) {}
    friend struct Access;
  };

  // Owns one DOM (see XmlDocument below).
  using Document = XmlDocument;

  // Turns the stored form of a document into its plain bytes (e.g. decrypts
  // it); false when it cannot.
  using DecryptHook = bool (*)(const ByteBuffer& in, ByteBuffer& out);

  // Parses a UTF-8 document (a leading byte order mark is allowed) into
  // `document`. False, with the reason in GetLastXmlErrorMessage(), for empty
  // input, bytes that are not UTF-8 or hold a NUL, malformed XML (the message
  // gives the line, column and byte offset), a document without exactly one
  // root element, an attribute value or a text longer than kMaxXmlValueBytes, or any
  // document type declaration: DOCTYPEs and the entities they could declare
  // are refused outright, never expanded. `document` is untouched on failure;
  // on success its previous contents, and handles into them, are gone.
  // Never throws.
  bool ParseXML(const ByteBuffer& buffer, Document& document);

  // Reads the whole file (at most kMaxXmlDocumentBytes) into `buffer` and, when `decryptHook` is given,
  // replaces the bytes with what the hook makes of them. False, with the
  // reason in GetLastXmlErrorMessage() and `buffer` empty, when the file
  // cannot be read or the hook fails or throws. Never throws.
  bool ReadBufferFromFileNoExp(const std::wstring& path, ByteBuffer& buffer, DecryptHook decryptHook);

  // Why the last ParseXML or ReadBufferFromFileNoExp call failed; empty after
  // one that succeeded.
  std::wstring GetLastXmlErrorMessage() const { return lastError_; }

 private:
  std::wstring lastError_;
};

// Owns one DOM; also known as AdvXMLParser::Document. A class of its own so
// that interfaces can name it with a forward declaration. Movable, not copyable; share it through std::shared_ptr.
// Concurrent reads are safe; any change needs the only reference.
class XmlDocument {
 public:
  // An empty document: no root element.
  XmlDocument();
  ~XmlDocument();
  XmlDocument(XmlDocument&& other) noexcept;
  XmlDocument& operator=(XmlDocument&& other) noexcept;
  XmlDocument(const XmlDocument&) = delete;
  XmlDocument& operator=(const XmlDocument&) = delete;

  // A new document holding only a root element called `rootName`.
  static XmlDocument CreateWithRoot(const std::wstring& rootName);

  // The root element, or a null element for an empty document.
  AdvXMLParser::Element GetRoot() const;
  // The document as UTF-8 text with an XML declaration. Each nesting level
  // is indented by one copy of `indentation`; an element whose content is
  // only text stays on one line. Output never recurses, so depth is only
  // bounded by memory.
  std::string ToText(const std::wstring& indentation = L"\t") const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  friend class AdvXMLParser;
};

class AdvXMLParser::Element::ChildIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using pointer = const Element*;
  using reference = const Element&;

  ChildIterator() = default;
  const Element& operator*() const { return current_; }
  const Element* operator->() const { return &current_; }
  ChildIterator& operator++();
  ChildIterator operator++(int) {
    ChildIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const ChildIterator& other) const { return current_ == other.current_; }
  bool operator!=(const ChildIterator& other) const { return current_ != other.current_; }

 private:
  explicit ChildIterator(Element current) : current_(current) {}
  Element current_;
  friend struct AdvXMLParser::Access;
};

class AdvXMLParser::Element::AttributeIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Node;
  using difference_type = std::ptrdiff_t;
  using pointer = const Node*;
  using reference = const Node&;

  AttributeIterator() = default;
  const Node& operator*() const { return current_; }
  const Node* operator->() const { return &current_; }
  AttributeIterator& operator++();
  AttributeIterator operator++(int) {
    AttributeIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const AttributeIterator& other) const { return current_ == other.current_; }
  bool operator!=(const AttributeIterator& other) const { return current_ != other.current_; }

 private:
  explicit AttributeIterator(Node current) : current_(current) {}
  Node current_;
  friend struct AdvXMLParser::Access;
};

}  // namespace corvane_com::zel::platform

#endif  // INETMGR_PLATFORM_XML_H
