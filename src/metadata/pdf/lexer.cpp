#include "metadata/pdf/pdf_internal.h"

#include <algorithm>

namespace ablagix::pdf {

const Obj kNullObj;

bool Lexer::AtEnd() {
  SkipSpace();
  return pos_ >= data_.size();
}

void Lexer::SkipSpace() {
  while (pos_ < data_.size()) {
    if (IsWhite(data_[pos_])) {
      ++pos_;
    } else if (data_[pos_] == '%') {
      while (pos_ < data_.size() && data_[pos_] != '\n' && data_[pos_] != '\r') ++pos_;
    } else {
      break;
    }
  }
}

bool Lexer::ReadUnsigned(long long* value) {
  SkipSpace();
  std::size_t at = pos_;
  long long v = 0;
  while (at < data_.size() && IsDigit(data_[at])) {
    if (v < 1000000000000LL) v = v * 10 + (data_[at] - '0');
    ++at;
  }
  if (at == pos_ || (at < data_.size() && IsRegular(data_[at]))) return false;
  pos_ = at;
  *value = v;
  return true;
}

bool Lexer::ReadKeyword(std::string_view word) {
  SkipSpace();
  if (data_.substr(pos_, word.size()) != word) return false;
  const std::size_t after = pos_ + word.size();
  if (after < data_.size() && IsRegular(data_[after])) return false;
  pos_ = after;
  return true;
}

bool Lexer::Read(Obj* out, int depth) {
  *out = Obj();
  SkipSpace();
  if (pos_ >= data_.size()) return false;
  const char c = data_[pos_];
  if (IsDigit(c) || c == '+' || c == '-' || c == '.') return ReadNumberOrRef(out);
  if (c == '/') return ReadName(out);
  if (c == '(') return ReadLiteral(out);
  if (c == '<') {
    if (pos_ + 1 < data_.size() && data_[pos_ + 1] == '<') return ReadDict(out, depth);
    return ReadHex(out);
  }
  if (c == '[') return ReadArray(out, depth);
  if (IsDelimiter(c)) {  // a stray ')', '>', ']', '{' or '}'
    out->kind = Obj::kOperator;
    out->text = std::string(1, c);
    ++pos_;
    return true;
  }
  std::size_t end = pos_;
  while (end < data_.size() && IsRegular(data_[end])) ++end;
  out->text = std::string(data_.substr(pos_, end - pos_));
  pos_ = end;
  if (out->text == "true" || out->text == "false") {
    out->kind = Obj::kBool;
    out->number = out->text == "true" ? 1 : 0;
  } else if (out->text == "null") {
    out->kind = Obj::kNull;
  } else {
    out->kind = Obj::kOperator;
  }
  return true;
}

bool Lexer::IsStructureKeyword(const Obj& o) {
  return o.kind == Obj::kOperator && (o.text == "obj" || o.text == "endobj" || o.text == "stream" ||
                                      o.text == "endstream" || o.text == "xref" || o.text == "trailer");
}

bool Lexer::ReadNumberOrRef(Obj* out) {
  std::size_t at = pos_;
  bool negative = false;
  while (at < data_.size() && (data_[at] == '+' || data_[at] == '-')) {
    negative = data_[at] == '-' ? !negative : negative;
    ++at;
  }
  double value = 0;
  bool fraction = false;
  double scale = 1;
  while (at < data_.size() && (IsDigit(data_[at]) || data_[at] == '.')) {
    if (data_[at] == '.') {
      fraction = true;
    } else if (fraction) {
      scale /= 10;
      value += (data_[at] - '0') * scale;
    } else if (value < 1e15) {
      value = value * 10 + (data_[at] - '0');
    }
    ++at;
  }
  // Anything else glued to the number ("1.2.3", "12abc") is skipped with it.
  while (at < data_.size() && IsRegular(data_[at])) ++at;
  pos_ = at;
  out->kind = Obj::kNumber;
  out->number = negative ? -value : value;
  if (fraction || negative || value > 1e9) return true;
  // "12 0 R" is a reference.
  const std::size_t saved = pos_;
  long long generation = 0;
  if (ReadUnsigned(&generation) && ReadKeyword("R")) {
    out->kind = Obj::kRef;
    out->refNumber = static_cast<int>(value);
    return true;
  }
  pos_ = saved;
  return true;
}

bool Lexer::ReadName(Obj* out) {
  ++pos_;
  out->kind = Obj::kName;
  while (pos_ < data_.size() && IsRegular(data_[pos_])) {
    if (data_[pos_] == '#' && pos_ + 2 < data_.size() && HexDigit(data_[pos_ + 1]) >= 0 &&
        HexDigit(data_[pos_ + 2]) >= 0) {
      out->text.push_back(static_cast<char>(HexDigit(data_[pos_ + 1]) * 16 + HexDigit(data_[pos_ + 2])));
      pos_ += 3;
      continue;
    }
    out->text.push_back(data_[pos_++]);
  }
  return true;
}

bool Lexer::ReadLiteral(Obj* out) {
  ++pos_;
  out->kind = Obj::kString;
  int open = 1;
  while (pos_ < data_.size()) {
    // Ordinary characters a run at a time.
    std::size_t end = pos_;
    while (end < data_.size() && data_[end] != '(' && data_[end] != ')' && data_[end] != '\\') ++end;
    out->text.append(data_.substr(pos_, end - pos_));
    pos_ = end;
    if (pos_ >= data_.size()) break;
    const char c = data_[pos_++];
    if (c == '(') {
      ++open;
    } else if (c == ')') {
      if (--open == 0) return true;
    } else if (c == '\\') {
      if (pos_ >= data_.size()) break;
      const char e = data_[pos_++];
      switch (e) {
        case 'n': out->text.push_back('\n'); break;
        case 'r': out->text.push_back('\r'); break;
        case 't': out->text.push_back('\t'); break;
        case 'b': out->text.push_back('\b'); break;
        case 'f': out->text.push_back('\f'); break;
        case '\r':  // a line continued on the next
          if (pos_ < data_.size() && data_[pos_] == '\n') ++pos_;
          break;
        case '\n': break;
        default:
          if (e >= '0' && e <= '7') {
            int value = e - '0';
            for (int i = 0; i < 2 && pos_ < data_.size() && data_[pos_] >= '0' && data_[pos_] <= '7'; ++i) {
              value = value * 8 + (data_[pos_++] - '0');
            }
            out->text.push_back(static_cast<char>(value & 0xFF));
          } else {
            out->text.push_back(e);  // \( \) \\ and unknown escapes stand for themselves
          }
      }
    }
  }
  return true;  // a string cut off by the end keeps what it has
}

bool Lexer::ReadHex(Obj* out) {
  ++pos_;
  out->kind = Obj::kString;
  int high = -1;
  while (pos_ < data_.size() && data_[pos_] != '>') {
    const int digit = HexDigit(data_[pos_++]);
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
    } else {
      out->text.push_back(static_cast<char>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) out->text.push_back(static_cast<char>(high * 16));
  if (pos_ < data_.size()) ++pos_;
  return true;
}

bool Lexer::ReadArray(Obj* out, int depth) {
  ++pos_;
  out->kind = Obj::kArray;
  if (depth >= kMaxDepth) return false;
  Obj item;
  for (;;) {
    SkipSpace();
    if (pos_ >= data_.size()) return false;
    if (data_[pos_] == ']') {
      ++pos_;
      return true;
    }
    if (!Read(&item, depth + 1) || IsStructureKeyword(item)) return false;
    out->items.push_back(std::move(item));
  }
}

bool Lexer::ReadDict(Obj* out, int depth) {
  pos_ += 2;
  out->kind = Obj::kDict;
  if (depth >= kMaxDepth) return false;
  Obj key;
  Obj value;
  for (;;) {
    SkipSpace();
    if (pos_ >= data_.size()) return false;
    if (data_[pos_] == '>') {
      pos_ += pos_ + 1 < data_.size() && data_[pos_ + 1] == '>' ? 2 : 1;
      return true;
    }
    if (!Read(&key, depth + 1) || IsStructureKeyword(key)) return false;
    if (key.kind != Obj::kName) continue;  // junk between the entries
    SkipSpace();
    if (pos_ < data_.size() && data_[pos_] == '>') {
      value = Obj();
    } else if (!Read(&value, depth + 1) || IsStructureKeyword(value)) {
      return false;
    }
    out->keys.push_back(std::move(key.text));
    out->items.push_back(std::move(value));
  }
}

}  // namespace ablagix::pdf
