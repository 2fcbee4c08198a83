// The character data of an XML part read as the part arrives in pieces, so that a document
// can be searched while it is inflated. The text is the one XmlScanner's events give for the
// whole part (the same rules for entities, CDATA, comments, processing instructions, document
// types and malformed input), with a space after the end of every element whose local name
// is listed as separating. Nothing but a nesting count is kept of the elements.
//
//   XmlTextStream xml({"p", "br"});
//   std::string text;
//   for (each piece) xml.Feed(piece, &text);   // text grows as constructs complete
//   xml.Finish(&text);
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

class XmlTextStream {
 public:
  explicit XmlTextStream(std::initializer_list<std::string_view> separating) : separating_(separating) {
    for (std::string_view name : separating_) longestSeparating_ = std::max(longestSeparating_, name.size());
  }

  // The next bytes of the part (UTF-8, see XmlAsUtf8); the text of the constructs they
  // complete is appended to `text`.
  void Feed(std::string_view bytes, std::string* text);
  // The part has ended: what is left is read as the end of the document.
  void Finish(std::string* text);

 private:
  // Reads complete constructs from the front of `xml` and says how many bytes they took; with
  // `final` the end of `xml` is the end of the document, otherwise an unfinished construct
  // waits for more bytes.
  std::size_t Parse(std::string_view xml, bool final, std::string* text);
  bool Separating(std::string_view qualifiedName) const;

  std::vector<std::string_view> separating_;
  std::size_t longestSeparating_ = 0;
  std::string pending_;
  std::size_t depth_ = 0;
  std::size_t retryAt_ = 0;  // an unfinished construct is read again once pending_ is this long
  bool stopped_ = false;
};

}  // namespace ablagix
