#include "metadata/xml_text_stream.h"

#include <algorithm>
#include <array>

#include "metadata/xml_scanner.h"

namespace ablagix {
namespace {

// As in XmlScanner: deeper documents stop being read.
constexpr std::size_t kMaxDepth = 4096;
// The longest opening that tells the kinds of construct apart ("<![CDATA[").
constexpr std::size_t kLongestOpening = 9;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Characters that end a name in a tag, looked up rather than compared one by one.
enum : unsigned char { kEndsElementName = 1, kEndsAttributeName = 2 };
constexpr std::array<unsigned char, 256> kNameEnds = [] {
  std::array<unsigned char, 256> table{};
  for (unsigned char c : {' ', '\t', '\r', '\n', '/', '>'}) table[c] |= kEndsElementName | kEndsAttributeName;
  table['='] |= kEndsAttributeName;
  return table;
}();
bool Ends(char c, unsigned char kind) { return (kNameEnds[static_cast<unsigned char>(c)] & kind) != 0; }

}  // namespace

bool XmlTextStream::Separating(std::string_view qualifiedName) const {
  const std::size_t colon = qualifiedName.find(':');
  const std::string_view local = colon == std::string_view::npos ? qualifiedName : qualifiedName.substr(colon + 1);
  if (local.size() > longestSeparating_) return false;
  for (std::string_view name : separating_) {
    if (local.size() == name.size() && local[0] == name[0] && local == name) return true;
  }
  return false;
}

void XmlTextStream::Feed(std::string_view bytes, std::string* text) {
  if (stopped_) return;
  if (pending_.empty()) {
    // Nothing waits: the new bytes are read where they are, and only an unfinished construct
    // at their end is kept.
    const std::size_t used = Parse(bytes, false, text);
    if (!stopped_) pending_.assign(bytes.substr(used));
  } else {
    pending_.append(bytes);
    // A construct that did not fit is read again only when the bytes have doubled since, so
    // a long one (a huge comment) costs linear time, not a new pass per piece.
    if (pending_.size() < retryAt_) return;
    const std::size_t used = Parse(pending_, false, text);
    if (!stopped_) pending_.erase(0, used);
  }
  if (stopped_) pending_.clear();
  retryAt_ = 2 * pending_.size();
}

void XmlTextStream::Finish(std::string* text) {
  if (!stopped_) Parse(pending_, true, text);
  pending_.clear();
  stopped_ = true;
}

std::size_t XmlTextStream::Parse(std::string_view xml, bool final, std::string* text) {
  const std::size_t size = xml.size();
  std::size_t at = 0;
  // Ends the document where XmlScanner would stop reading it.
  auto stop = [&] {
    stopped_ = true;
    at = size;
  };
  while (!stopped_ && at < size) {
    if (xml[at] != '<') {
      std::size_t end = xml.find('<', at);
      if (end == std::string_view::npos) {
        if (!final) break;
        end = size;
      }
      AppendDecodedXmlText(xml.substr(at, end - at), text);
      at = end;
      continue;
    }
    const std::string_view rest = xml.substr(at);
    const char second = rest.size() > 1 ? rest[1] : '\0';
    // Tags, the most common constructs, are told apart by their second character alone.
    if (!final && (second == '!' ? rest.size() < kLongestOpening : rest.size() < 2)) break;
    if (second != '!' && second != '?' && second != '/') {
      // A start tag: its attributes are only checked for being well formed.
      std::size_t p = at + 1;
      while (p < size && !Ends(xml[p], kEndsElementName)) ++p;
      if (p >= size && !final) break;
      const std::string_view name = xml.substr(at + 1, p - at - 1);
      if (name.empty() || depth_ >= kMaxDepth) {
        stop();
        break;
      }
      bool empty = false;
      bool complete = false;  // false: the tag goes on beyond the bytes there are
      bool broken = false;
      for (;;) {
        while (p < size && IsSpace(xml[p])) ++p;
        if (p >= size) break;
        if (xml[p] == '>') {
          ++p;
          complete = true;
          break;
        }
        if (xml[p] == '/') {
          if (p + 1 >= size) break;
          if (xml[p + 1] != '>') {
            broken = true;
            break;
          }
          p += 2;
          empty = true;
          complete = true;
          break;
        }
        const std::size_t attrStart = p;
        while (p < size && !Ends(xml[p], kEndsAttributeName)) ++p;
        const bool unnamed = p == attrStart;
        while (p < size && IsSpace(xml[p])) ++p;
        if (unnamed) {
          broken = true;
          break;
        }
        if (p >= size) break;
        if (xml[p] != '=') {
          broken = true;
          break;
        }
        ++p;
        while (p < size && IsSpace(xml[p])) ++p;
        if (p >= size) break;
        if (xml[p] != '"' && xml[p] != '\'') {
          broken = true;
          break;
        }
        const std::size_t close = xml.find(xml[p], p + 1);
        if (close == std::string_view::npos) break;
        p = close + 1;
      }
      if (!complete && !broken && !final) break;
      if (!complete) {
        stop();
        break;
      }
      at = p;
      if (empty) {
        if (Separating(name)) text->push_back(' ');
      } else {
        ++depth_;
      }
    } else if (second == '/') {
      std::size_t p = at + 2;
      while (p < size && !IsSpace(xml[p]) && xml[p] != '>') ++p;
      const std::string_view name = xml.substr(at + 2, p - at - 2);
      const std::size_t close = xml.find('>', p);
      if (close == std::string_view::npos) {
        if (!final) break;
        stop();
        break;
      }
      at = close + 1;
      if (Separating(name)) text->push_back(' ');
      if (depth_ > 0) --depth_;
    } else if (rest.substr(0, 4) == "<!--" || second == '?') {
      const std::string_view terminator = rest[1] == '!' ? "-->" : "?>";
      const std::size_t end = xml.find(terminator, at);
      if (end == std::string_view::npos) {
        if (!final) break;
        stop();
      } else {
        at = end + terminator.size();
      }
    } else if (rest.substr(0, 9) == "<![CDATA[") {
      const std::size_t end = rest.find("]]>");
      if (end == std::string_view::npos) {
        if (!final) break;
        text->append(rest.substr(9));
        at = size;
      } else {
        text->append(rest.substr(9, end - 9));
        at += end + 3;
      }
    } else if (rest.substr(0, 2) == "<!") {
      const std::size_t p = DeclarationEnd(rest);
      if (p >= rest.size()) {
        if (!final) break;
        stop();
      } else {
        at += p + 1;
      }
    }
  }
  return std::min(at, size);
}

}  // namespace ablagix
