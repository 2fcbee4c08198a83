#include "metadata/xml_scanner.h"

#include <cstdint>
#include <utility>

#include "base/text.h"

namespace ablagix {
namespace {

constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
// Bounds that keep a hostile document linear: real documents nest a few dozen levels and
// declare a few dozen prefixes.
constexpr std::size_t kMaxDepth = 4096;
constexpr std::size_t kMaxBindings = 1024;

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

void AppendUtf8(std::string* out, char32_t c) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (c >> 6)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (c >> 12)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (c >> 18)));
    out->push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

// "&#...;" without the "&" and ";": the character, or U+FFFD for one that cannot exist.
bool CharacterReference(std::string_view body, char32_t* c) {
  if (body.size() < 2 || body[0] != '#') return false;
  const bool hex = body[1] == 'x' || body[1] == 'X';
  const std::string_view digits = body.substr(hex ? 2 : 1);
  if (digits.empty()) return false;
  std::uint32_t value = 0;
  for (char d : digits) {
    std::uint32_t digit = 0;
    if (d >= '0' && d <= '9') {
      digit = static_cast<std::uint32_t>(d - '0');
    } else if (hex && d >= 'a' && d <= 'f') {
      digit = static_cast<std::uint32_t>(d - 'a' + 10);
    } else if (hex && d >= 'A' && d <= 'F') {
      digit = static_cast<std::uint32_t>(d - 'A' + 10);
    } else {
      return false;
    }
    value = value * (hex ? 16u : 10u) + digit;
    if (value > 0x10FFFF) value = 0x110000;  // stays out of range without overflowing
  }
  const bool valid = value != 0 && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
  *c = valid ? static_cast<char32_t>(value) : U'\uFFFD';
  return true;
}

std::pair<std::string_view, std::string_view> SplitName(std::string_view qualified) {
  const std::size_t colon = qualified.find(':');
  if (colon == std::string_view::npos) return {{}, qualified};
  return {qualified.substr(0, colon), qualified.substr(colon + 1)};
}

}  // namespace

std::string DecodeXmlText(std::string_view raw) {
  std::string out;
  out.reserve(raw.size());
  AppendDecodedXmlText(raw, &out);
  return out;
}

void AppendDecodedXmlText(std::string_view raw, std::string* text) {
  std::string& out = *text;
  std::size_t at = 0;
  while (at < raw.size()) {
    const std::size_t amp = raw.find('&', at);
    if (amp == std::string_view::npos) {
      out.append(raw.substr(at));
      break;
    }
    out.append(raw.substr(at, amp - at));
    at = amp + 1;
    // The longest reference is "&#x10FFFF;" or a few leading zeros more.
    const std::size_t semicolon = raw.substr(at, 16).find(';');
    if (semicolon == std::string_view::npos) {
      out.push_back('&');
      continue;
    }
    const std::string_view body = raw.substr(at, semicolon);
    char32_t c = 0;
    if (body == "amp") {
      out.push_back('&');
    } else if (body == "lt") {
      out.push_back('<');
    } else if (body == "gt") {
      out.push_back('>');
    } else if (body == "quot") {
      out.push_back('"');
    } else if (body == "apos") {
      out.push_back('\'');
    } else if (CharacterReference(body, &c)) {
      AppendUtf8(&out, c);
    } else {
      out.push_back('&');
      continue;
    }
    at += semicolon + 1;
  }
}

std::size_t DeclarationEnd(std::string_view rest) {
  int brackets = 0;
  std::size_t p = 2;
  while (p < rest.size() && (rest[p] != '>' || brackets > 0)) {
    if (rest[p] == '[') ++brackets;
    if (rest[p] == ']' && brackets > 0) --brackets;
    ++p;
  }
  return p;
}

std::string XmlAsUtf8(std::string_view bytes) {
  auto starts = [&](std::string_view prefix) { return bytes.substr(0, prefix.size()) == prefix; };
  if (starts("\xEF\xBB\xBF")) return std::string(bytes.substr(3));
  bool little = true;
  std::size_t skip = 0;
  if (starts("\xFF\xFE")) {
    skip = 2;
  } else if (starts(std::string_view("\xFE\xFF", 2))) {
    little = false;
    skip = 2;
  } else if (starts(std::string_view("<\0", 2))) {
  } else if (starts(std::string_view("\0<", 2))) {
    little = false;
  } else {
    return std::string(bytes);
  }
  std::string units(bytes.substr(skip));
  if (!little) {
    for (std::size_t i = 0; i + 1 < units.size(); i += 2) std::swap(units[i], units[i + 1]);
  }
  return ToUtf8(FromUtf16LeBytes(units));
}

void XmlScanner::Skip(std::string_view terminator) {
  const std::size_t end = xml_.find(terminator, at_);
  if (end == std::string_view::npos) {
    stopped_ = true;
    at_ = xml_.size();
  } else {
    at_ = end + terminator.size();
  }
}

std::string XmlScanner::Resolve(std::string_view prefix, bool element) const {
  if (prefix == "xml") return std::string(kXmlNamespace);
  if (prefix.empty() && !element) return {};
  for (auto b = bindings_.rbegin(); b != bindings_.rend(); ++b) {
    if (b->prefix == prefix) return b->uri;
  }
  return {};
}

bool XmlScanner::Next(XmlEvent* event) {
  event->ns.clear();
  event->local = {};
  event->text.clear();
  if (pendingEnd_) {
    pendingEnd_ = false;
    const auto [prefix, local] = SplitName(open_.back());
    event->kind = XmlEvent::kEnd;
    event->ns = Resolve(prefix, true);
    event->local = local;
    while (!bindings_.empty() && bindings_.back().depth == open_.size()) bindings_.pop_back();
    open_.pop_back();
    return true;
  }
  while (!stopped_ && at_ < xml_.size()) {
    if (xml_[at_] != '<') {
      std::size_t end = xml_.find('<', at_);
      if (end == std::string_view::npos) end = xml_.size();
      event->kind = XmlEvent::kText;
      event->text = DecodeXmlText(xml_.substr(at_, end - at_));
      at_ = end;
      return true;
    }
    const std::string_view rest = xml_.substr(at_);
    if (rest.substr(0, 4) == "<!--") {
      Skip("-->");
    } else if (rest.substr(0, 9) == "<![CDATA[") {
      const std::size_t end = rest.find("]]>");
      event->kind = XmlEvent::kText;
      event->text = std::string(rest.substr(9, end == std::string_view::npos ? std::string_view::npos : end - 9));
      at_ = end == std::string_view::npos ? xml_.size() : at_ + end + 3;
      return true;
    } else if (rest.substr(0, 2) == "<?") {
      Skip("?>");
    } else if (rest.substr(0, 2) == "<!") {
      const std::size_t p = DeclarationEnd(rest);
      at_ += p + 1;
      if (p >= rest.size()) stopped_ = true;
    } else if (rest.substr(0, 2) == "</") {
      return EndTag(event);
    } else {
      return StartTag(event);
    }
  }
  stopped_ = true;
  return false;
}

bool XmlScanner::StartTag(XmlEvent* event) {
  std::size_t p = at_ + 1;
  const std::size_t nameStart = p;
  while (p < xml_.size() && !IsSpace(xml_[p]) && xml_[p] != '/' && xml_[p] != '>') ++p;
  const std::string_view name = xml_.substr(nameStart, p - nameStart);
  if (name.empty() || open_.size() >= kMaxDepth) {
    stopped_ = true;
    return false;
  }
  attributes_.clear();
  bool empty = false;
  for (;;) {
    while (p < xml_.size() && IsSpace(xml_[p])) ++p;
    if (p >= xml_.size()) {
      stopped_ = true;
      return false;
    }
    if (xml_[p] == '>') {
      ++p;
      break;
    }
    if (xml_[p] == '/') {
      if (p + 1 >= xml_.size() || xml_[p + 1] != '>') {
        stopped_ = true;
        return false;
      }
      p += 2;
      empty = true;
      break;
    }
    const std::size_t attrStart = p;
    while (p < xml_.size() && !IsSpace(xml_[p]) && xml_[p] != '=' && xml_[p] != '>' && xml_[p] != '/') ++p;
    const std::string_view attrName = xml_.substr(attrStart, p - attrStart);
    while (p < xml_.size() && IsSpace(xml_[p])) ++p;
    if (attrName.empty() || p >= xml_.size() || xml_[p] != '=') {
      stopped_ = true;
      return false;
    }
    ++p;
    while (p < xml_.size() && IsSpace(xml_[p])) ++p;
    if (p >= xml_.size() || (xml_[p] != '"' && xml_[p] != '\'')) {
      stopped_ = true;
      return false;
    }
    const std::size_t close = xml_.find(xml_[p], p + 1);
    if (close == std::string_view::npos) {
      stopped_ = true;
      return false;
    }
    attributes_.push_back({attrName, xml_.substr(p + 1, close - p - 1)});
    p = close + 1;
  }
  at_ = p;
  open_.push_back(name);
  for (const RawAttribute& a : attributes_) {
    if (bindings_.size() >= kMaxBindings) break;
    if (a.name == "xmlns") {
      bindings_.push_back({std::string(), DecodeXmlText(a.value), open_.size()});
    } else if (a.name.substr(0, 6) == "xmlns:") {
      bindings_.push_back({std::string(a.name.substr(6)), DecodeXmlText(a.value), open_.size()});
    }
  }
  const auto [prefix, local] = SplitName(name);
  event->kind = XmlEvent::kStart;
  event->ns = Resolve(prefix, true);
  event->local = local;
  pendingEnd_ = empty;
  return true;
}

bool XmlScanner::EndTag(XmlEvent* event) {
  std::size_t p = at_ + 2;
  const std::size_t nameStart = p;
  while (p < xml_.size() && !IsSpace(xml_[p]) && xml_[p] != '>') ++p;
  const std::string_view name = xml_.substr(nameStart, p - nameStart);
  const std::size_t close = xml_.find('>', p);
  if (close == std::string_view::npos) {
    stopped_ = true;
    return false;
  }
  at_ = close + 1;
  const auto [prefix, local] = SplitName(name);
  event->kind = XmlEvent::kEnd;
  event->ns = Resolve(prefix, true);
  event->local = local;
  // A stray end tag closes nothing; a mismatched one closes the innermost element, which
  // keeps the depth right for documents that are only slightly broken.
  if (!open_.empty()) {
    while (!bindings_.empty() && bindings_.back().depth == open_.size()) bindings_.pop_back();
    open_.pop_back();
  }
  return true;
}

bool XmlScanner::Attribute(std::string_view ns, std::string_view local, std::string* value) const {
  for (const RawAttribute& a : attributes_) {
    const auto [prefix, name] = SplitName(a.name);
    if (name != local || prefix == "xmlns" || a.name == "xmlns") continue;
    if (Resolve(prefix, false) != ns) continue;
    *value = DecodeXmlText(a.value);
    return true;
  }
  return false;
}

}  // namespace ablagix
