#include "metadata/pdf/pdf_internal.h"

#include <algorithm>
#include <cmath>

namespace ablagix::pdf {

// Where text goes on the page, as far as it matters for telling lines and words apart.
struct TextState {
  double lineX = 0, lineY = 0;
  double x = 0;
  double scaleX = 1, scaleY = 1;
  double fontSize = 10;
  double leading = 0;
  const Font* font = nullptr;
};

namespace {

double Number(const std::vector<Obj>& operands, std::size_t fromEnd) {
  if (fromEnd == 0 || fromEnd > operands.size()) return 0;
  const Obj& o = operands[operands.size() - fromEnd];
  return o.kind == Obj::kNumber && std::isfinite(o.number) ? o.number : 0;
}

bool KnowsWidths(const Font* font) { return font != nullptr && !font->widths.empty(); }

// How far a code moves the pen: its width from the font where the font has one, half an em
// otherwise.
double CodeAdvance(const Font* font, std::uint32_t code, double em) {
  const long long place = static_cast<long long>(code) - (font ? font->firstChar : 0);
  if (KnowsWidths(font) && place >= 0 && static_cast<std::size_t>(place) < font->widths.size()) {
    return font->widths[static_cast<std::size_t>(place)] * em;
  }
  return 0.5 * em;
}

// The length of the code at `at`: by the font's code space where it has one, two bytes in a
// composite font, one otherwise.
std::size_t CodeLength(const Font* font, std::string_view bytes, std::size_t at) {
  std::size_t length = font && font->composite ? 2 : 1;
  if (font && !font->codespace.empty()) {
    for (const CodeRange& range : font->codespace) {
      if (at + range.bytes > bytes.size()) continue;
      const std::uint32_t code = CodeOf(bytes.substr(at, range.bytes));
      if (code >= range.low && code <= range.high) {
        length = range.bytes;
        break;
      }
    }
  }
  return std::min(length, bytes.size() - at);
}

// The characters of a shown string into `text`; returns how far the string moves the pen.
double DecodeShown(const Font* font, std::string_view bytes, double em, std::u16string* text) {
  text->clear();
  double advance = 0;
  if (!font || (!font->composite && font->codespace.empty() && !font->hasToUnicode)) {
    // Single-byte codes without a map, the usual case: each byte is one character.
    text->resize(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const auto code = static_cast<unsigned char>(bytes[i]);
      (*text)[i] = font ? font->simple[code] : WinAnsiChar(code);
      advance += CodeAdvance(font, code, em);
    }
    return advance;
  }
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t length = CodeLength(font, bytes, i);
    const std::uint32_t code = CodeOf(bytes.substr(i, length));
    i += length;
    bool mapped = false;
    if (font->hasToUnicode) {
      if (auto it = font->toUnicode.find(code); it != font->toUnicode.end()) {
        *text += it->second;
        mapped = true;
      }
    }
    if (!mapped && !font->composite && code < 256) text->push_back(font->simple[code]);
    advance += CodeAdvance(font, code, em);
  }
  return advance;
}

// Tabs and no-break spaces as spaces; other control characters dropped.
void CleanShown(std::u16string_view text, std::u16string* clean) {
  clean->resize(text.size());
  std::size_t kept = 0;
  for (char16_t c : text) {
    if (c == u'\t' || c == 0xA0) (*clean)[kept++] = u' ';
    else if (c >= 0x20) (*clean)[kept++] = c;
  }
  clean->resize(kept);
}

void NewLine(TextState& state) {
  state.lineY -= state.leading * state.scaleY;
  state.x = state.lineX;
}

// The operators that set the text position, the font and the line spacing; false for any
// other operator.
bool ApplyTextStateOperator(const std::string& op, const std::vector<Obj>& operands, TextState& state) {
  if (op == "BT") {
    state.lineX = state.lineY = state.x = 0;
    state.scaleX = state.scaleY = 1;
  } else if (op == "Td" || op == "TD") {
    const double tx = Number(operands, 2);
    const double ty = Number(operands, 1);
    state.lineX += tx * state.scaleX;
    state.lineY += ty * state.scaleY;
    state.x = state.lineX;
    if (op == "TD") state.leading = -ty;
  } else if (op == "Tm") {
    const double a = Number(operands, 6), b = Number(operands, 5), c = Number(operands, 4), d = Number(operands, 3);
    state.scaleX = std::hypot(a, b);
    state.scaleY = std::hypot(c, d);
    if (state.scaleX == 0) state.scaleX = 1;
    if (state.scaleY == 0) state.scaleY = 1;
    state.lineX = state.x = Number(operands, 2);
    state.lineY = Number(operands, 1);
  } else if (op == "TL") {
    state.leading = Number(operands, 1);
  } else if (op == "T*") {
    NewLine(state);
  } else {
    return false;
  }
  return true;
}

// An inline picture: its dictionary, "ID", the raw bytes, and "EI" after white space. Leaves
// the lexer after the "EI".
void SkipInlineImage(Lexer& lexer, std::string_view content) {
  Obj skipped;
  while (lexer.Read(&skipped) && !(skipped.kind == Obj::kOperator && skipped.text == "ID")) {
  }
  std::size_t at = lexer.pos() + 1;
  for (;;) {
    at = content.find("EI", at);
    if (at == std::string_view::npos) {
      at = content.size();
      break;
    }
    if (IsWhite(content[at - 1]) && (at + 2 >= content.size() || IsWhite(content[at + 2]))) {
      at += 2;
      break;
    }
    at += 2;
  }
  lexer.set_pos(at);
}

}  // namespace

void Document::ShowString(TextState& state, std::string_view bytes) {
  const double em = std::abs(state.fontSize * state.scaleX);
  const double advance = DecodeShown(state.font, bytes, em, &shown_);
  CleanShown(shown_, &clean_);
  if (!clean_.empty()) PlaceText(state, em);
  state.x += advance;
  if (!clean_.empty()) {
    havePrevious_ = true;
    previousY_ = state.lineY;
    previousEndX_ = state.x;
  }
}

// A new line when the text went down (or up) by more than a fraction of a line, a space when
// it left a gap wider than a space would be; then the text itself while there is room.
void Document::PlaceText(const TextState& state, double em) {
  if (havePrevious_ && !out_.empty()) {
    const double lineHeight = std::max(1.0, 0.3 * std::abs(state.fontSize * state.scaleY));
    const double gap = state.x - previousEndX_;
    const double wordGap = (KnowsWidths(state.font) ? 0.2 : 0.8) * std::max(em, 1.0);
    const char16_t last = out_.back();
    if (std::abs(state.lineY - previousY_) > lineHeight) {
      if (last != u'\n') out_.push_back(u'\n');
    } else if ((gap > wordGap || gap < -em * 4) && last != u' ' && last != u'\n' && clean_.front() != u' ') {
      out_.push_back(u' ');
    }
  }
  if (out_.size() < limit_) out_ += clean_;
}

void Document::ShowArray(TextState& state, const Obj& array) {
  for (const Obj& item : array.items) {
    if (item.kind == Obj::kString) {
      ShowString(state, item.text);
    } else if (item.kind == Obj::kNumber && std::isfinite(item.number)) {
      state.x -= item.number / 1000 * state.fontSize * state.scaleX;
      // Words set as one array are kept apart by a wide move instead of a space.
      if (item.number < -200 && !out_.empty() && out_.back() != u' ' && out_.back() != u'\n') out_.push_back(u' ');
    }
  }
}

// Forms placed on the page carry text of their own.
void Document::RunForm(const Obj* resources, const std::string& name, int formDepth) {
  const Obj* xobjects = Resolve(resources ? resources->Get("XObject") : nullptr);
  const Obj* form = Resolve(xobjects->Get(name));
  if (form->kind != Obj::kStream || !Resolve(form->Get("Subtype"))->IsName("Form")) return;
  if (std::optional<std::string> data = StreamBytes(*form)) {
    const Obj* own = Resolve(form->Get("Resources"));
    RunContent(*data, own->kind == Obj::kDict ? own : resources, formDepth + 1);
  }
}

void Document::RunContent(std::string_view content, const Obj* resources, int formDepth) {
  Lexer lexer(content);
  std::vector<Obj> operands;
  TextState state;
  Obj o;
  while (lexer.Read(&o)) {
    if (o.kind != Obj::kOperator) {
      if (operands.size() < kMaxOperands) operands.push_back(std::move(o));
      continue;
    }
    const std::string& op = o.text;
    if (ApplyTextStateOperator(op, operands, state)) {
      // where the next text goes: nothing to show yet
    } else if (op == "Tf" && operands.size() >= 2) {
      const Obj& name = operands[operands.size() - 2];
      if (name.kind == Obj::kName) state.font = FontFor(resources, name.text);
      state.fontSize = Number(operands, 1);
    } else if (op == "Tj" || op == "'" || op == "\"") {
      if (op != "Tj") NewLine(state);
      if (!operands.empty() && operands.back().kind == Obj::kString) ShowString(state, operands.back().text);
    } else if (op == "TJ" && !operands.empty() && operands.back().kind == Obj::kArray) {
      ShowArray(state, operands.back());
    } else if (op == "BI") {
      SkipInlineImage(lexer, content);
    } else if (op == "Do" && formDepth < kMaxFormDepth && !operands.empty() && operands.back().kind == Obj::kName) {
      RunForm(resources, operands.back().text, formDepth);
    }
    operands.clear();
  }
}

std::u16string Document::Text(const std::function<bool(std::u16string_view)>* onPage) {
  const Obj* root = Resolve(trailer_.Get("Root"));
  const Obj* pages = Resolve(root->Get("Pages"));
  if (pages->kind != Obj::kDict) return {};
  std::set<int> visited;
  if (const Obj* ref = root->Get("Pages"); ref && ref->kind == Obj::kRef) visited.insert(ref->refNumber);
  CollectPages(pages, nullptr, &visited, 0);
  for (std::size_t i = 0; i < pages_.size() && out_.size() < limit_; ++i) {
    const std::size_t pageStart = out_.size();
    if (i > 0) out_.push_back(u'\n');
    havePrevious_ = false;
    const auto& [page, resources] = pages_[i];
    const Obj* contents = Resolve(page->Get("Contents"));
    std::string content;
    auto append = [&](const Obj* stream) {
      if (stream->kind != Obj::kStream) return;
      if (std::optional<std::string> data = StreamBytes(*stream)) {
        content += *data;
        content += '\n';
      }
    };
    if (contents->kind == Obj::kArray) {
      for (const Obj& part : contents->items) append(Resolve(&part));
    } else {
      append(contents);
    }
    RunContent(content, resources, 0);
    if (onPage && !(*onPage)(std::u16string_view(out_).substr(pageStart))) break;
  }
  return out_;
}

}  // namespace ablagix::pdf
