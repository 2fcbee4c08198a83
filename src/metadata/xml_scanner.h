// A small forward-only XML scanner for the XML parts of office documents (OOXML and ODF
// metadata, later their text). It reports start tags, end tags and text; element and
// attribute names come with their namespace URI, so a document that binds its own prefixes
// reads the same as one with the usual ones. Entities (the five named ones and numeric
// references) are decoded, CDATA is text, comments, processing instructions and the document
// type are skipped. There is no validation: a malformed document simply ends the scan.
//
//   XmlScanner xml(bytes);
//   XmlEvent event;
//   while (xml.Next(&event)) {
//     if (event.kind == XmlEvent::kStart && event.local == "title") ...
//   }
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

struct XmlEvent {
  enum Kind { kStart, kEnd, kText };
  Kind kind = kText;
  std::string ns;          // namespace URI of the element ("" when it has none)
  std::string_view local;  // name without prefix
  std::string text;        // decoded character data (kText)
};

class XmlScanner {
 public:
  // `xml` is UTF-8 (see XmlAsUtf8) and must outlive the scanner.
  explicit XmlScanner(std::string_view xml) : xml_(xml) {}

  // The next event; false at the end of the document or where it stops being well formed.
  // An empty element (<a/>) gives a start and an end event.
  bool Next(XmlEvent* event);
  // Open elements, the current one included after its start event.
  std::size_t depth() const { return open_.size(); }
  // A decoded attribute of the element whose start event came last; `ns` is "" for an
  // attribute without prefix.
  bool Attribute(std::string_view ns, std::string_view local, std::string* value) const;

 private:
  struct Binding {
    std::string prefix;
    std::string uri;
    std::size_t depth;
  };
  struct RawAttribute {
    std::string_view name;
    std::string_view value;  // undecoded
  };

  bool StartTag(XmlEvent* event);
  bool EndTag(XmlEvent* event);
  std::string Resolve(std::string_view prefix, bool element) const;
  void Skip(std::string_view terminator);

  std::string_view xml_;
  std::size_t at_ = 0;
  std::vector<std::string_view> open_;  // qualified names of the open elements
  std::vector<Binding> bindings_;
  std::vector<RawAttribute> attributes_;
  bool pendingEnd_ = false;
  bool stopped_ = false;
};

// Character data with the entities and character references replaced. An unknown entity
// stays as written; a reference to a character that cannot exist becomes U+FFFD.
std::string DecodeXmlText(std::string_view raw);
// The same, appended to `text`.
void AppendDecodedXmlText(std::string_view raw, std::string* text);

// The bytes of an XML part as UTF-8: a UTF-8 byte-order mark is dropped, UTF-16 (with a
// byte-order mark, or recognised by its first "<") is converted.
std::string XmlAsUtf8(std::string_view bytes);

// Where the declaration that `rest` starts with ("<!DOCTYPE ...>", "<!ENTITY ...>") ends: the
// position of its closing ">", or rest.size() when the text ends first. An internal subset in
// brackets may hold ">" itself.
std::size_t DeclarationEnd(std::string_view rest);

}  // namespace ablagix
