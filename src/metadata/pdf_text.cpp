#include "metadata/pdf_text.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/text.h"

namespace ablagix {
namespace {

// Nesting of arrays and dictionaries, and of references followed one after another. Real
// documents stay far below; a forged one must not exhaust the stack.
constexpr int kMaxDepth = 32;
constexpr std::size_t kMaxPrevChain = 64;
constexpr std::size_t kMaxPages = 100000;
constexpr int kMaxFormDepth = 8;
constexpr std::size_t kMaxOperands = 64;
constexpr std::size_t kMaxCMapEntries = 500000;

//--- Objects

struct Obj {
  enum Kind { kNull, kBool, kNumber, kName, kString, kArray, kDict, kRef, kStream, kOperator };
  Kind kind = kNull;
  double number = 0;
  std::string text;  // name, string bytes or operator
  std::vector<std::string> keys;
  std::vector<Obj> items;  // array items, or dictionary values beside `keys`
  int refNumber = 0;
  std::string_view streamData;  // the raw bytes of a stream, inside the file

  bool IsName(std::string_view name) const { return kind == kName && text == name; }
  const Obj* Get(std::string_view key) const {
    if (kind != kDict && kind != kStream) return nullptr;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == key) return &items[i];
    }
    return nullptr;
  }
};

const Obj kNullObj;

bool IsWhite(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }

bool IsDelimiter(char c) {
  return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' || c == '}' || c == '/' ||
         c == '%';
}

bool IsRegular(char c) { return !IsWhite(c) && !IsDelimiter(c); }

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads objects from PDF syntax: the file itself, object streams, content streams and CMaps.
// Every call either moves forward or reports the end, so loops over it always finish.
class Lexer {
 public:
  explicit Lexer(std::string_view data, std::size_t at = 0) : data_(data), pos_(std::min(at, data.size())) {}

  std::size_t pos() const { return pos_; }
  void set_pos(std::size_t at) { pos_ = std::min(at, data_.size()); }
  bool AtEnd() {
    SkipSpace();
    return pos_ >= data_.size();
  }

  void SkipSpace() {
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

  // A non-negative whole number; false (and nothing read) when there is none.
  bool ReadUnsigned(long long* value) {
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

  bool ReadKeyword(std::string_view word) {
    SkipSpace();
    if (data_.substr(pos_, word.size()) != word) return false;
    const std::size_t after = pos_ + word.size();
    if (after < data_.size() && IsRegular(data_[after])) return false;
    pos_ = after;
    return true;
  }

  // The next object; false at the end or on a structure cut off by the end.
  bool Read(Obj* out, int depth = 0) {
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

 private:
  // Words that never occur inside an array or dictionary: an object cut short runs into the
  // next one, and reading stops there rather than swallowing the rest of the file.
  static bool IsStructureKeyword(const Obj& o) {
    return o.kind == Obj::kOperator && (o.text == "obj" || o.text == "endobj" || o.text == "stream" ||
                                        o.text == "endstream" || o.text == "xref" || o.text == "trailer");
  }

  bool ReadNumberOrRef(Obj* out) {
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

  bool ReadName(Obj* out) {
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

  bool ReadLiteral(Obj* out) {
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

  bool ReadHex(Obj* out) {
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

  bool ReadArray(Obj* out, int depth) {
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

  bool ReadDict(Obj* out, int depth) {
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

  std::string_view data_;
  std::size_t pos_;
};

//--- Filters

// Inflates zlib data up to `limit` bytes. A stream damaged partway keeps what came before
// the damage; streams written without the zlib header are accepted too.
bool Inflate(std::string_view in, std::size_t limit, std::string* out) {
  for (int windowBits : {MAX_WBITS, -MAX_WBITS}) {
    out->clear();
    z_stream z{};
    if (inflateInit2(&z, windowBits) != Z_OK) return false;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    z.avail_in = static_cast<uInt>(std::min<std::size_t>(in.size(), 0x7FFFFFFF));
    std::array<char, 65536> chunk;
    int rc = Z_OK;
    while (rc == Z_OK && out->size() < limit) {
      z.next_out = reinterpret_cast<Bytef*>(chunk.data());
      z.avail_out = static_cast<uInt>(chunk.size());
      rc = inflate(&z, Z_NO_FLUSH);
      const std::size_t produced = chunk.size() - z.avail_out;
      out->append(chunk.data(), std::min(produced, limit - out->size()));
      if (produced == 0 && rc == Z_OK) break;  // no progress: input used up
    }
    inflateEnd(&z);
    if (!out->empty() || rc == Z_STREAM_END) return true;
  }
  return false;
}

std::string AsciiHex(std::string_view in) {
  std::string out;
  int high = -1;
  for (char c : in) {
    if (c == '>') break;
    const int digit = HexDigit(c);
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<char>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) out.push_back(static_cast<char>(high * 16));
  return out;
}

std::string Ascii85(std::string_view in) {
  const std::size_t open = in.find_first_not_of(" \t\r\n\f");
  if (open != std::string_view::npos && in.substr(open, 2) == "<~") in.remove_prefix(open + 2);
  std::string out;
  std::uint64_t group = 0;
  int count = 0;
  auto emit = [&](int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((group >> (24 - 8 * i)) & 0xFF));
  };
  for (std::size_t i = 0; i < in.size(); ++i) {
    const char c = in[i];
    if (c == '~') break;
    if (IsWhite(c)) continue;
    if (c == 'z' && count == 0) {
      out.append(4, '\0');
      continue;
    }
    if (c < '!' || c > 'u') continue;
    group = group * 85 + static_cast<std::uint64_t>(c - '!');
    if (++count == 5) {
      group &= 0xFFFFFFFF;
      emit(4);
      group = 0;
      count = 0;
    }
  }
  if (count > 1) {
    for (int i = count; i < 5; ++i) group = group * 85 + 84;
    group &= 0xFFFFFFFF;
    emit(count - 1);
  }
  return out;
}

int NumberOr(const Obj* o, int fallback) {
  if (o == nullptr || o->kind != Obj::kNumber || o->number < 0 || o->number > 1e7) return fallback;
  return static_cast<int>(o->number);
}

// Undoes the PNG and TIFF predictors that cross-reference streams use to compress better.
std::string Unpredict(std::string data, const Obj* parms) {
  const int predictor = parms ? NumberOr(parms->Get("Predictor"), 1) : 1;
  if (predictor < 2) return data;
  const std::size_t colors = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("Colors"), 1), 1, 32));
  const std::size_t bits = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("BitsPerComponent"), 8), 1, 16));
  const std::size_t columns = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("Columns"), 1), 1, 1 << 20));
  const std::size_t bpp = std::max<std::size_t>(1, colors * bits / 8);
  const std::size_t row = (colors * bits * columns + 7) / 8;
  std::string out;
  if (predictor == 2) {
    if (bits != 8) return data;
    for (std::size_t i = 0; i < data.size(); ++i) {
      if (i % row >= bpp) data[i] = static_cast<char>(data[i] + data[i - bpp]);
    }
    return data;
  }
  std::string previous(row, '\0');
  std::string current(row, '\0');
  for (std::size_t at = 0; at + 1 + row <= data.size(); at += row + 1) {
    const int type = static_cast<unsigned char>(data[at]);
    for (std::size_t i = 0; i < row; ++i) {
      const int raw = static_cast<unsigned char>(data[at + 1 + i]);
      const int left = i >= bpp ? static_cast<unsigned char>(current[i - bpp]) : 0;
      const int up = static_cast<unsigned char>(previous[i]);
      const int upLeft = i >= bpp ? static_cast<unsigned char>(previous[i - bpp]) : 0;
      int value = raw;
      if (type == 1) {
        value = raw + left;
      } else if (type == 2) {
        value = raw + up;
      } else if (type == 3) {
        value = raw + (left + up) / 2;
      } else if (type == 4) {
        const int p = left + up - upLeft;
        const int pa = std::abs(p - left);
        const int pb = std::abs(p - up);
        const int pc = std::abs(p - upLeft);
        value = raw + (pa <= pb && pa <= pc ? left : pb <= pc ? up : upLeft);
      }
      current[i] = static_cast<char>(value & 0xFF);
    }
    out += current;
    std::swap(previous, current);
  }
  return out;
}

//--- Character codes to Unicode

// The standard glyph names of the WinAnsi codes 32 to 255; empty where WinAnsi has no glyph
// or the name is the character itself (letters).
// clang-format off
constexpr std::array<std::string_view, 224> kWinAnsiNames = {
    "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand", "quotesingle",
    "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    "zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon", "semicolon",
    "less", "equal", "greater", "question",
    "at", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "", "", "", "", "", "bracketleft", "backslash", "bracketright", "asciicircum", "underscore",
    "grave", "", "", "", "", "", "", "", "", "", "", "", "", "", "", "",
    "", "", "", "", "", "", "", "", "", "", "", "braceleft", "bar", "braceright", "asciitilde", "",
    "Euro", "", "quotesinglbase", "florin", "quotedblbase", "ellipsis", "dagger", "daggerdbl",
    "circumflex", "perthousand", "Scaron", "guilsinglleft", "OE", "", "Zcaron", "",
    "", "quoteleft", "quoteright", "quotedblleft", "quotedblright", "bullet", "endash", "emdash",
    "tilde", "trademark", "scaron", "guilsinglright", "oe", "", "zcaron", "Ydieresis",
    "nbspace", "exclamdown", "cent", "sterling", "currency", "yen", "brokenbar", "section",
    "dieresis", "copyright", "ordfeminine", "guillemotleft", "logicalnot", "sfthyphen", "registered", "macron",
    "degree", "plusminus", "twosuperior", "threesuperior", "acute", "mu", "paragraph", "periodcentered",
    "cedilla", "onesuperior", "ordmasculine", "guillemotright", "onequarter", "onehalf", "threequarters", "questiondown",
    "Agrave", "Aacute", "Acircumflex", "Atilde", "Adieresis", "Aring", "AE", "Ccedilla",
    "Egrave", "Eacute", "Ecircumflex", "Edieresis", "Igrave", "Iacute", "Icircumflex", "Idieresis",
    "Eth", "Ntilde", "Ograve", "Oacute", "Ocircumflex", "Otilde", "Odieresis", "multiply",
    "Oslash", "Ugrave", "Uacute", "Ucircumflex", "Udieresis", "Yacute", "Thorn", "germandbls",
    "agrave", "aacute", "acircumflex", "atilde", "adieresis", "aring", "ae", "ccedilla",
    "egrave", "eacute", "ecircumflex", "edieresis", "igrave", "iacute", "icircumflex", "idieresis",
    "eth", "ntilde", "ograve", "oacute", "ocircumflex", "otilde", "odieresis", "divide",
    "oslash", "ugrave", "uacute", "ucircumflex", "udieresis", "yacute", "thorn", "ydieresis",
};

// Mac OS Roman, codes 128 to 255.
constexpr std::array<char16_t, 128> kMacRoman = {
    0xC4, 0xC5, 0xC7, 0xC9, 0xD1, 0xD6, 0xDC, 0xE1, 0xE0, 0xE2, 0xE4, 0xE3, 0xE5, 0xE7, 0xE9, 0xE8,
    0xEA, 0xEB, 0xED, 0xEC, 0xEE, 0xEF, 0xF1, 0xF3, 0xF2, 0xF4, 0xF6, 0xF5, 0xFA, 0xF9, 0xFB, 0xFC,
    0x2020, 0xB0, 0xA2, 0xA3, 0xA7, 0x2022, 0xB6, 0xDF, 0xAE, 0xA9, 0x2122, 0xB4, 0xA8, 0x2260, 0xC6, 0xD8,
    0x221E, 0xB1, 0x2264, 0x2265, 0xA5, 0xB5, 0x2202, 0x2211, 0x220F, 0x3C0, 0x222B, 0xAA, 0xBA, 0x3A9, 0xE6, 0xF8,
    0xBF, 0xA1, 0xAC, 0x221A, 0x192, 0x2248, 0x2206, 0xAB, 0xBB, 0x2026, 0xA0, 0xC0, 0xC3, 0xD5, 0x152, 0x153,
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0xF7, 0x25CA, 0xFF, 0x178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0xB7, 0x201A, 0x201E, 0x2030, 0xC2, 0xCA, 0xC1, 0xCB, 0xC8, 0xCD, 0xCE, 0xCF, 0xCC, 0xD3, 0xD4,
    0xF8FF, 0xD2, 0xDA, 0xDB, 0xD9, 0x131, 0x2C6, 0x2DC, 0xAF, 0x2D8, 0x2D9, 0x2DA, 0xB8, 0x2DD, 0x2DB, 0x2C7,
};
// clang-format on

char16_t WinAnsiChar(unsigned char code) {
  const std::wstring c = FromWindows1252(std::string(1, static_cast<char>(code)));
  return c.empty() ? u'\0' : static_cast<char16_t>(c[0]);
}

// The character a glyph name stands for; 0 when the name is unknown.
char16_t GlyphChar(std::string_view name) {
  if (const std::size_t dot = name.find('.'); dot != std::string_view::npos && dot > 0) name = name.substr(0, dot);
  if (name.size() == 1 && ((name[0] >= 'A' && name[0] <= 'Z') || (name[0] >= 'a' && name[0] <= 'z'))) {
    return static_cast<char16_t>(name[0]);
  }
  for (std::size_t i = 0; i < kWinAnsiNames.size(); ++i) {
    if (!kWinAnsiNames[i].empty() && kWinAnsiNames[i] == name) return WinAnsiChar(static_cast<unsigned char>(i + 32));
  }
  static constexpr std::array<std::pair<std::string_view, char16_t>, 7> kOthers = {{
      {"fi", 0xFB01}, {"fl", 0xFB02}, {"minus", 0x2212}, {"dotlessi", 0x131}, {"space.alt", 0x20},
      {"nonbreakingspace", 0xA0}, {"Euro.alt", 0x20AC}}};
  for (const auto& [known, c] : kOthers) {
    if (known == name) return c;
  }
  // "uni00E4" and "u00E4" name the character by its code.
  std::string_view hex;
  if (name.starts_with("uni") && name.size() >= 7) hex = name.substr(3, 4);
  else if (name.size() >= 5 && name.size() <= 7 && name[0] == 'u') hex = name.substr(1);
  if (hex.empty()) return 0;
  unsigned value = 0;
  for (char c : hex) {
    const int digit = HexDigit(c);
    if (digit < 0) return 0;
    value = value * 16 + static_cast<unsigned>(digit);
  }
  return value <= 0xFFFF ? static_cast<char16_t>(value) : char16_t{0};
}

struct CodeRange {
  std::size_t bytes;
  std::uint32_t low, high;
};

struct Font {
  bool composite = false;  // Type0: multi-byte codes
  bool hasToUnicode = false;
  std::vector<CodeRange> codespace;
  std::unordered_map<std::uint32_t, std::u16string> toUnicode;
  std::array<char16_t, 256> simple{};
  std::vector<double> widths;  // in units of the size (the font's thousandths divided once), from firstChar on
  int firstChar = 0;
};

std::uint32_t CodeOf(std::string_view bytes) {
  std::uint32_t code = 0;
  for (std::size_t i = 0; i < bytes.size() && i < 4; ++i) code = (code << 8) | static_cast<unsigned char>(bytes[i]);
  return code;
}

std::u16string Utf16Be(std::string_view bytes) {
  std::u16string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    out.push_back(static_cast<char16_t>((static_cast<unsigned char>(bytes[i]) << 8) |
                                        static_cast<unsigned char>(bytes[i + 1])));
  }
  return out;
}

// The bfchar and bfrange entries of a ToUnicode CMap and its code space.
// `budget` counts the entries of all maps of a document, so many large maps cannot add up.
void ReadToUnicode(std::string_view cmap, Font* font, std::size_t* budget) {
  Lexer lexer(cmap);
  std::vector<Obj> operands;
  Obj o;
  enum { kNone, kSpace, kChar, kRange } section = kNone;
  std::size_t& entries = *budget;
  while (lexer.Read(&o) && entries < kMaxCMapEntries) {
    if (o.kind == Obj::kOperator) {
      if (o.text == "begincodespacerange") section = kSpace;
      else if (o.text == "beginbfchar") section = kChar;
      else if (o.text == "beginbfrange") section = kRange;
      else if (o.text.starts_with("end")) section = kNone;
      operands.clear();
      continue;
    }
    if (section == kNone) continue;
    operands.push_back(std::move(o));
    if (section == kSpace && operands.size() == 2) {
      if (operands[0].kind == Obj::kString && operands[1].kind == Obj::kString && !operands[0].text.empty() &&
          operands[0].text.size() <= 4 && font->codespace.size() < 64) {
        font->codespace.push_back({operands[0].text.size(), CodeOf(operands[0].text), CodeOf(operands[1].text)});
      }
      operands.clear();
    } else if (section == kChar && operands.size() == 2) {
      if (operands[0].kind == Obj::kString && operands[1].kind == Obj::kString && operands[0].text.size() <= 4) {
        font->toUnicode[CodeOf(operands[0].text)] = Utf16Be(operands[1].text);
        ++entries;
      }
      operands.clear();
    } else if (section == kRange && operands.size() == 3) {
      const Obj& low = operands[0];
      const Obj& high = operands[1];
      const Obj& target = operands[2];
      if (low.kind == Obj::kString && high.kind == Obj::kString && low.text.size() <= 4) {
        const std::uint32_t first = CodeOf(low.text);
        const std::uint32_t last = std::min(CodeOf(high.text), first + 0xFFFF);
        for (std::uint32_t code = first; code <= last && entries < kMaxCMapEntries; ++code, ++entries) {
          const std::uint32_t offset = code - first;
          if (target.kind == Obj::kString) {
            std::u16string text = Utf16Be(target.text);
            if (text.empty()) break;
            text.back() = static_cast<char16_t>(text.back() + offset);
            font->toUnicode[code] = std::move(text);
          } else if (target.kind == Obj::kArray) {
            if (offset >= target.items.size()) break;
            if (target.items[offset].kind == Obj::kString) font->toUnicode[code] = Utf16Be(target.items[offset].text);
          }
          if (code == 0xFFFFFFFF) break;
        }
      }
      operands.clear();
    }
  }
}

//--- The document

struct XrefEntry {
  bool compressed = false;
  std::uint64_t offset = 0;  // in the file, or the object stream's number
  std::uint32_t index = 0;   // place in the object stream
};

struct ObjectStream {
  std::string data;
  std::vector<std::pair<int, std::size_t>> objects;  // number and offset in `data`
};

class Document {
 public:
  Document(std::string_view file, std::size_t limit) : file_(file), budget_(limit), limit_(limit) {}

  // False for no PDF, or an encrypted one.
  bool Open();
  // `onPage` (optional) gets what each page adds to the text and returns false to stop.
  std::u16string Text(const std::function<bool(std::u16string_view)>* onPage = nullptr);
  // The string bytes of one entry of the document information; empty when there is none.
  std::string InfoString(std::string_view key) {
    const Obj* value = Resolve(Resolve(trailer_.Get("Info"))->Get(key));
    return value->kind == Obj::kString ? value->text : std::string();
  }

 private:
  // Loading objects.
  bool ReadXrefAt(std::size_t offset, std::set<std::size_t>* seen, int depth);
  bool ReadXrefTable(Lexer& lexer, Obj* trailer);
  bool ReadXrefStream(const Obj& stream);
  void MergeTrailer(const Obj& dict);
  void ScanObjects();
  const Obj* Load(int number, int depth);
  bool ParseAt(std::size_t offset, int number, int depth, Obj* out);
  const Obj* FromObjectStream(int streamNumber, std::uint32_t index, int number, int depth);
  const Obj* Resolve(const Obj* o, int depth = 0);
  std::optional<std::string> StreamBytes(const Obj& stream);

  // Pages and their content.
  void CollectPages(const Obj* node, const Obj* resources, std::set<int>* visited, int depth);
  const Font* FontFor(const Obj* resources, std::string_view name);
  void RunContent(std::string_view content, const Obj* resources, int formDepth);

  std::string_view file_;
  std::size_t budget_;  // bytes that decoding may still produce
  std::size_t limit_;
  std::unordered_map<int, XrefEntry> xref_;
  std::unordered_map<int, std::size_t> scanned_;
  std::vector<std::size_t> objectStarts_;  // every "n g obj" found by the scan, in file order
  bool scannedDone_ = false;
  Obj trailer_;
  std::unordered_map<int, Obj> cache_;
  std::set<int> loading_;
  std::unordered_map<int, ObjectStream> objectStreams_;
  std::map<const Obj*, Font> fonts_;
  std::size_t cmapEntries_ = 0;
  std::vector<std::pair<const Obj*, const Obj*>> pages_;  // page dictionary and its resources

  // Text state while content runs.
  std::u16string out_;
  bool havePrevious_ = false;
  double previousY_ = 0, previousEndX_ = 0;
};

void Document::MergeTrailer(const Obj& dict) {
  if (trailer_.kind != Obj::kDict) {
    trailer_ = Obj();
    trailer_.kind = Obj::kDict;
  }
  for (std::size_t i = 0; i < dict.keys.size(); ++i) {
    if (trailer_.Get(dict.keys[i]) == nullptr) {
      trailer_.keys.push_back(dict.keys[i]);
      trailer_.items.push_back(dict.items[i]);
    }
  }
}

bool Document::ReadXrefTable(Lexer& lexer, Obj* trailer) {
  for (;;) {
    long long first = 0;
    long long count = 0;
    if (!lexer.ReadUnsigned(&first)) break;
    if (!lexer.ReadUnsigned(&count)) return false;
    for (long long i = 0; i < count; ++i) {
      long long offset = 0;
      long long generation = 0;
      if (!lexer.ReadUnsigned(&offset) || !lexer.ReadUnsigned(&generation)) return false;
      const bool inUse = lexer.ReadKeyword("n");
      if (!inUse && !lexer.ReadKeyword("f")) return false;
      const long long number = first + i;
      if (inUse && number < (1 << 24) && offset > 0) xref_.try_emplace(static_cast<int>(number), XrefEntry{false, static_cast<std::uint64_t>(offset), 0});
    }
  }
  return lexer.ReadKeyword("trailer") && lexer.Read(trailer) && trailer->kind == Obj::kDict;
}

bool Document::ReadXrefStream(const Obj& stream) {
  const Obj* w = stream.Get("W");
  if (w == nullptr || w->kind != Obj::kArray || w->items.size() < 3) return false;
  std::array<std::size_t, 3> widths{};
  for (std::size_t i = 0; i < 3; ++i) widths[i] = static_cast<std::size_t>(std::clamp(NumberOr(&w->items[i], 0), 0, 8));
  const std::size_t entrySize = widths[0] + widths[1] + widths[2];
  const std::optional<std::string> data = StreamBytes(stream);
  if (!data || entrySize == 0) return false;
  std::vector<std::pair<long long, long long>> sections;
  const Obj* index = stream.Get("Index");
  if (index != nullptr && index->kind == Obj::kArray) {
    for (std::size_t i = 0; i + 1 < index->items.size(); i += 2) {
      sections.emplace_back(NumberOr(&index->items[i], 0), NumberOr(&index->items[i + 1], 0));
    }
  } else {
    sections.emplace_back(0, NumberOr(stream.Get("Size"), 0));
  }
  std::size_t at = 0;
  auto field = [&](std::size_t width, std::uint64_t fallback) {
    if (width == 0) return fallback;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = (value << 8) | static_cast<unsigned char>((*data)[at++]);
    return value;
  };
  for (const auto& [first, count] : sections) {
    for (long long i = 0; i < count && at + entrySize <= data->size(); ++i) {
      const std::uint64_t type = field(widths[0], 1);
      const std::uint64_t second = field(widths[1], 0);
      const std::uint64_t third = field(widths[2], 0);
      const long long number = first + i;
      if (number >= (1 << 24)) break;
      if (type == 1 && second > 0) {
        xref_.try_emplace(static_cast<int>(number), XrefEntry{false, second, 0});
      } else if (type == 2 && second < (1u << 24)) {
        xref_.try_emplace(static_cast<int>(number), XrefEntry{true, second, static_cast<std::uint32_t>(third)});
      }
    }
  }
  MergeTrailer(stream);
  return true;
}

// One cross-reference section and, through /Prev, the older ones; the newest entry of an
// object wins because older sections only fill what is still missing.
bool Document::ReadXrefAt(std::size_t offset, std::set<std::size_t>* seen, int depth) {
  if (offset >= file_.size() || seen->size() >= kMaxPrevChain || !seen->insert(offset).second) return false;
  Lexer lexer(file_, offset);
  const Obj* previous = nullptr;
  Obj section;
  if (lexer.ReadKeyword("xref")) {
    if (!ReadXrefTable(lexer, &section)) return false;
    // A hybrid file lists its compressed objects in an extra stream.
    if (const Obj* stm = section.Get("XRefStm"); stm && stm->kind == Obj::kNumber && stm->number >= 0 &&
                                                stm->number < static_cast<double>(file_.size())) {
      ReadXrefAt(static_cast<std::size_t>(stm->number), seen, depth + 1);
    }
    MergeTrailer(section);
    previous = section.Get("Prev");
  } else {
    Obj stream;
    long long number = 0;
    long long generation = 0;
    if (!lexer.ReadUnsigned(&number) || !lexer.ReadUnsigned(&generation)) return false;
    if (!ParseAt(offset, static_cast<int>(number), depth, &stream) || stream.kind != Obj::kStream ||
        !stream.Get("Type") || !stream.Get("Type")->IsName("XRef")) {
      return false;
    }
    section = stream;
    if (!ReadXrefStream(section)) return false;
    previous = section.Get("Prev");
  }
  if (previous && previous->kind == Obj::kNumber && previous->number >= 0 &&
      previous->number < static_cast<double>(file_.size()) && depth < kMaxDepth) {
    ReadXrefAt(static_cast<std::size_t>(previous->number), seen, depth + 1);
  }
  return true;
}

// Finds "n g obj" everywhere in the file, for files whose cross-reference data is missing or
// points to the wrong places. A later definition of the same number is the newer one.
void Document::ScanObjects() {
  if (scannedDone_) return;
  scannedDone_ = true;
  for (std::size_t at = file_.find("obj"); at != std::string_view::npos; at = file_.find("obj", at + 3)) {
    if (at + 3 < file_.size() && IsRegular(file_[at + 3])) continue;
    std::size_t p = at;
    auto skipBackWhite = [&] {
      const std::size_t start = p;
      while (p > 0 && IsWhite(file_[p - 1])) --p;
      return p < start;
    };
    auto skipBackDigits = [&] {
      const std::size_t start = p;
      while (p > 0 && IsDigit(file_[p - 1])) --p;
      return p < start;
    };
    if (!skipBackWhite() || !skipBackDigits() || !skipBackWhite() || !skipBackDigits()) continue;
    if (p > 0 && IsRegular(file_[p - 1])) continue;
    long long number = 0;
    Lexer lexer(file_, p);
    if (lexer.ReadUnsigned(&number) && number < (1 << 24)) {
      scanned_[static_cast<int>(number)] = p;
      objectStarts_.push_back(p);
    }
  }
  // Trailers that survived give the catalogue; otherwise it is found by its type.
  int tries = 0;
  for (std::size_t at = file_.rfind("trailer"); at != std::string_view::npos && trailer_.Get("Root") == nullptr &&
                                                 ++tries <= 16;
       at = at == 0 ? std::string_view::npos : file_.rfind("trailer", at - 1)) {
    Lexer lexer(file_, at + 7);
    Obj dict;
    if (lexer.Read(&dict) && dict.kind == Obj::kDict) MergeTrailer(dict);
  }
  auto setRoot = [&](int number) {
    Obj dict;
    dict.kind = Obj::kDict;
    dict.keys.push_back("Root");
    dict.items.emplace_back();
    dict.items.back().kind = Obj::kRef;
    dict.items.back().refNumber = number;
    MergeTrailer(dict);
  };
  std::vector<std::pair<int, std::size_t>> found(scanned_.begin(), scanned_.end());
  std::sort(found.begin(), found.end());
  std::vector<int> packed;
  for (const auto& [number, offset] : found) {
    Obj o;
    if (!ParseAt(offset, number, 0, &o)) continue;
    const Obj* type = o.Get("Type");
    if (type == nullptr) continue;
    if (type->IsName("Catalog") && trailer_.Get("Root") == nullptr) {
      setRoot(number);
    } else if (type->IsName("XRef")) {
      MergeTrailer(o);  // a cross-reference stream's dictionary is a trailer
    } else if (type->IsName("ObjStm")) {
      // The objects inside an object stream have no "obj" of their own.
      FromObjectStream(number, 0, -1, 0);
      if (auto it = objectStreams_.find(number); it != objectStreams_.end()) {
        for (std::size_t i = 0; i < it->second.objects.size(); ++i) {
          const int inner = it->second.objects[i].first;
          if (xref_.try_emplace(inner, XrefEntry{true, static_cast<std::uint64_t>(number), static_cast<std::uint32_t>(i)})
                  .second) {
            packed.push_back(inner);
          }
        }
      }
    }
  }
  for (std::size_t i = 0; i < packed.size() && trailer_.Get("Root") == nullptr; ++i) {
    const Obj* o = Load(packed[i], 0);
    if (o != nullptr && Resolve(o->Get("Type"))->IsName("Catalog")) setRoot(packed[i]);
  }
}

// Parses "n g obj ... endobj" at `offset`; a stream's bytes are found by /Length or, when that
// is wrong, by the next "endstream".
bool Document::ParseAt(std::size_t offset, int number, int depth, Obj* out) {
  // Once the file has been scanned, an object ends where the next one starts at the latest;
  // damaged objects then cannot make every read run through the rest of the file.
  std::size_t bound = file_.size();
  if (auto next = std::upper_bound(objectStarts_.begin(), objectStarts_.end(), offset); next != objectStarts_.end()) {
    bound = *next;
  }
  const std::string_view file = file_.substr(0, bound);
  Lexer lexer(file, offset);
  long long n = 0;
  long long generation = 0;
  if (!lexer.ReadUnsigned(&n) || (number >= 0 && n != number) || !lexer.ReadUnsigned(&generation) ||
      !lexer.ReadKeyword("obj")) {
    return false;
  }
  if (!lexer.Read(out) || out->kind == Obj::kOperator) return false;
  if (out->kind != Obj::kDict || !lexer.ReadKeyword("stream")) return true;
  std::size_t start = lexer.pos();
  if (start < file_.size() && file_[start] == '\r') ++start;
  if (start < file_.size() && file_[start] == '\n') ++start;
  std::size_t end = std::string_view::npos;
  const Obj* length = out->Get("Length");
  if (length && length->kind == Obj::kRef && loading_.count(length->refNumber) == 0) length = Resolve(length, depth + 1);
  if (length && length->kind == Obj::kNumber && length->number >= 0 && length->number <= static_cast<double>(file_.size() - start)) {
    const std::size_t candidate = start + static_cast<std::size_t>(length->number);
    Lexer after(file_, candidate);
    if (after.ReadKeyword("endstream")) end = candidate;
  }
  if (end == std::string_view::npos) {
    end = file.find("endstream", start);
    if (end == std::string_view::npos) end = std::max(start, file.size());
    if (end > start && file_[end - 1] == '\n') --end;
    if (end > start && file_[end - 1] == '\r') --end;
  }
  out->kind = Obj::kStream;
  out->streamData = file_.substr(start, end - start);
  return true;
}

const Obj* Document::FromObjectStream(int streamNumber, std::uint32_t index, int number, int depth) {
  auto it = objectStreams_.find(streamNumber);
  if (it == objectStreams_.end()) {
    ObjectStream parsed;
    const Obj* stream = Load(streamNumber, depth + 1);
    if (stream && stream->kind == Obj::kStream) {
      if (std::optional<std::string> data = StreamBytes(*stream)) {
        parsed.data = std::move(*data);
        const int count = std::min(NumberOr(stream->Get("N"), 0), 1000000);
        const std::size_t first = static_cast<std::size_t>(NumberOr(stream->Get("First"), 0));
        Lexer header(parsed.data);
        for (int i = 0; i < count; ++i) {
          long long n = 0;
          long long offset = 0;
          if (!header.ReadUnsigned(&n) || !header.ReadUnsigned(&offset) || n >= (1 << 24)) break;
          parsed.objects.emplace_back(static_cast<int>(n), first + static_cast<std::size_t>(offset));
        }
      }
    }
    it = objectStreams_.emplace(streamNumber, std::move(parsed)).first;
  }
  if (number < 0) return nullptr;
  const ObjectStream& stream = it->second;
  std::size_t place = index;
  if (place >= stream.objects.size() || stream.objects[place].first != number) {
    place = stream.objects.size();
    for (std::size_t i = 0; i < stream.objects.size(); ++i) {
      if (stream.objects[i].first == number) place = i;
    }
    if (place == stream.objects.size()) return nullptr;
  }
  Lexer lexer(stream.data, stream.objects[place].second);
  Obj o;
  if (!lexer.Read(&o) || o.kind == Obj::kOperator) return nullptr;
  return &cache_.emplace(number, std::move(o)).first->second;
}

const Obj* Document::Load(int number, int depth) {
  if (auto it = cache_.find(number); it != cache_.end()) return &it->second;
  if (depth > kMaxDepth || !loading_.insert(number).second) return nullptr;
  const Obj* result = nullptr;
  if (auto entry = xref_.find(number); entry != xref_.end()) {
    const XrefEntry e = entry->second;
    if (e.compressed) {
      if (e.offset != static_cast<std::uint64_t>(number)) {
        result = FromObjectStream(static_cast<int>(e.offset), e.index, number, depth);
      }
    } else if (e.offset < file_.size()) {
      Obj o;
      if (ParseAt(static_cast<std::size_t>(e.offset), number, depth, &o)) {
        result = &cache_.emplace(number, std::move(o)).first->second;
      }
    }
  }
  if (result == nullptr) {
    ScanObjects();
    if (auto it = cache_.find(number); it != cache_.end()) {
      result = &it->second;
    } else if (auto found = scanned_.find(number); found != scanned_.end()) {
      Obj o;
      if (ParseAt(found->second, number, depth, &o)) result = &cache_.emplace(number, std::move(o)).first->second;
    }
  }
  loading_.erase(number);
  return result;
}

const Obj* Document::Resolve(const Obj* o, int depth) {
  for (int hops = 0; o != nullptr && o->kind == Obj::kRef && hops < 8; ++hops) o = Load(o->refNumber, depth + 1);
  return o == nullptr || o->kind == Obj::kRef ? &kNullObj : o;
}

std::optional<std::string> Document::StreamBytes(const Obj& stream) {
  std::string data(stream.streamData.substr(0, budget_));
  const Obj* filter = Resolve(stream.Get("Filter"));
  const Obj* parms = Resolve(stream.Get("DecodeParms"));
  std::vector<std::pair<const Obj*, const Obj*>> steps;
  if (filter->kind == Obj::kName) {
    steps.emplace_back(filter, parms);
  } else if (filter->kind == Obj::kArray) {
    for (std::size_t i = 0; i < filter->items.size(); ++i) {
      const Obj* p = parms->kind == Obj::kArray && i < parms->items.size() ? Resolve(&parms->items[i]) : nullptr;
      steps.emplace_back(Resolve(&filter->items[i]), p);
    }
  }
  for (const auto& [step, stepParms] : steps) {
    const std::string& name = step->text;
    if (name == "FlateDecode" || name == "Fl") {
      std::string inflated;
      if (!Inflate(data, budget_, &inflated)) return std::nullopt;
      data = Unpredict(std::move(inflated), stepParms && stepParms->kind == Obj::kDict ? stepParms : nullptr);
    } else if (name == "ASCIIHexDecode" || name == "AHx") {
      data = AsciiHex(data);
    } else if (name == "ASCII85Decode" || name == "A85") {
      data = Ascii85(data);
    } else {
      return std::nullopt;  // pictures (DCT, JBIG2, CCITT) and rare compressions hold no text
    }
    if (data.size() > budget_) data.resize(budget_);
  }
  budget_ -= data.size();
  return data;
}

bool Document::Open() {
  const std::size_t header = file_.substr(0, 1024).find("%PDF-");
  if (header == std::string_view::npos) return false;
  const std::size_t startxref = file_.rfind("startxref");
  bool haveXref = false;
  if (startxref != std::string_view::npos) {
    Lexer lexer(file_, startxref + 9);
    long long offset = 0;
    std::set<std::size_t> seen;
    if (lexer.ReadUnsigned(&offset)) {
      haveXref = ReadXrefAt(static_cast<std::size_t>(offset), &seen, 0);
      // Junk before the header shifts every offset.
      if (!haveXref && header > 0) haveXref = ReadXrefAt(static_cast<std::size_t>(offset) + header, &seen, 0);
    }
  }
  if (!haveXref || trailer_.Get("Root") == nullptr) ScanObjects();
  return trailer_.Get("Encrypt") == nullptr;
}

void Document::CollectPages(const Obj* node, const Obj* resources, std::set<int>* visited, int depth) {
  if (depth > kMaxDepth || pages_.size() >= kMaxPages) return;
  if (const Obj* own = node->Get("Resources")) resources = Resolve(own);
  const Obj* kids = Resolve(node->Get("Kids"));
  if (kids->kind != Obj::kArray) {
    if (node->kind == Obj::kDict) pages_.emplace_back(node, resources);
    return;
  }
  for (const Obj& kid : kids->items) {
    if (kid.kind == Obj::kRef && !visited->insert(kid.refNumber).second) continue;  // a loop
    const Obj* page = Resolve(&kid);
    if (page->kind == Obj::kDict) CollectPages(page, resources, visited, depth + 1);
  }
}

const Font* Document::FontFor(const Obj* resources, std::string_view name) {
  const Obj* fonts = Resolve(resources ? resources->Get("Font") : nullptr);
  const Obj* dict = Resolve(fonts->Get(name));
  if (dict->kind != Obj::kDict) return nullptr;
  auto [it, added] = fonts_.try_emplace(dict);
  Font& font = it->second;
  if (!added) return &font;
  const Obj* subtype = Resolve(dict->Get("Subtype"));
  font.composite = subtype->IsName("Type0");
  const Obj* encoding = Resolve(dict->Get("Encoding"));
  const Obj* base = encoding->kind == Obj::kDict ? Resolve(encoding->Get("BaseEncoding")) : encoding;
  for (unsigned code = 0; code < 256; ++code) {
    font.simple[code] = base->IsName("MacRomanEncoding") && code >= 128 ? kMacRoman[code - 128]
                                                                         : WinAnsiChar(static_cast<unsigned char>(code));
  }
  if (encoding->kind == Obj::kDict) {
    const Obj* differences = Resolve(encoding->Get("Differences"));
    if (differences->kind == Obj::kArray) {
      int code = 0;
      for (const Obj& item : differences->items) {
        if (item.kind == Obj::kNumber) {
          // A code outside 0..255 names no character; the names after it are skipped.
          code = item.number >= 0 && item.number < 256 ? static_cast<int>(item.number) : 256;
        } else if (item.kind == Obj::kName) {
          if (code >= 0 && code < 256) font.simple[static_cast<std::size_t>(code)] = GlyphChar(item.text);
          ++code;
        }
      }
    }
  }
  const Obj* toUnicode = Resolve(dict->Get("ToUnicode"));
  if (toUnicode->kind == Obj::kStream) {
    if (std::optional<std::string> cmap = StreamBytes(*toUnicode)) {
      ReadToUnicode(*cmap, &font, &cmapEntries_);
      font.hasToUnicode = !font.toUnicode.empty();
    }
  }
  const Obj* widths = Resolve(dict->Get("Widths"));
  if (widths->kind == Obj::kArray && widths->items.size() <= 256) {
    font.firstChar = NumberOr(dict->Get("FirstChar"), 0);
    for (const Obj& w : widths->items) {
      font.widths.push_back((Resolve(&w)->kind == Obj::kNumber ? Resolve(&w)->number : 0) / 1000);
    }
  }
  return &font;
}

// Where text goes on the page, as far as it matters for telling lines and words apart.
struct TextState {
  double lineX = 0, lineY = 0;
  double x = 0;
  double scaleX = 1, scaleY = 1;
  double fontSize = 10;
  double leading = 0;
  const Font* font = nullptr;
};

double Number(const std::vector<Obj>& operands, std::size_t fromEnd) {
  if (fromEnd == 0 || fromEnd > operands.size()) return 0;
  const Obj& o = operands[operands.size() - fromEnd];
  return o.kind == Obj::kNumber && std::isfinite(o.number) ? o.number : 0;
}

void Document::RunContent(std::string_view content, const Obj* resources, int formDepth) {
  Lexer lexer(content);
  std::vector<Obj> operands;
  TextState state;
  Obj o;
  auto newLine = [&] {
    state.lineY -= state.leading * state.scaleY;
    state.x = state.lineX;
  };
  // Kept between the strings shown, so that their room is allocated once.
  std::u16string text;
  std::u16string clean;
  auto show = [&](std::string_view bytes) {
    const double em = std::abs(state.fontSize * state.scaleX);
    const Font* font = state.font;
    text.clear();
    double advance = 0;
    bool knownWidths = font != nullptr && !font->widths.empty();
    std::size_t from = 0;  // where the general reading of codes begins
    if (!font || (!font->composite && font->codespace.empty() && !font->hasToUnicode)) {
      // Single-byte codes without a map, the usual case: each byte is one character.
      from = bytes.size();
      text.resize(bytes.size());
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto code = static_cast<unsigned char>(bytes[i]);
        text[i] = font ? font->simple[code] : WinAnsiChar(code);
        const long long place = static_cast<long long>(code) - (font ? font->firstChar : 0);
        if (knownWidths && place >= 0 && static_cast<std::size_t>(place) < font->widths.size()) {
          advance += font->widths[static_cast<std::size_t>(place)] * em;
        } else {
          advance += 0.5 * em;
        }
      }
    }
    for (std::size_t i = from; i < bytes.size();) {
      std::size_t length = 1;
      if (font && font->composite) length = 2;
      if (font && !font->codespace.empty()) {
        for (const CodeRange& range : font->codespace) {
          if (i + range.bytes > bytes.size()) continue;
          const std::uint32_t code = CodeOf(bytes.substr(i, range.bytes));
          if (code >= range.low && code <= range.high) {
            length = range.bytes;
            break;
          }
        }
      }
      length = std::min(length, bytes.size() - i);
      const std::uint32_t code = CodeOf(bytes.substr(i, length));
      i += length;
      bool mapped = false;
      if (font && font->hasToUnicode) {
        if (auto it = font->toUnicode.find(code); it != font->toUnicode.end()) {
          text += it->second;
          mapped = true;
        }
      }
      if (!mapped && !(font && font->composite) && code < 256) {
        text.push_back(font ? font->simple[code] : WinAnsiChar(static_cast<unsigned char>(code)));
      }
      const long long place = static_cast<long long>(code) - (font ? font->firstChar : 0);
      if (knownWidths && place >= 0 && static_cast<std::size_t>(place) < font->widths.size()) {
        advance += font->widths[static_cast<std::size_t>(place)] * em;
      } else {
        advance += 0.5 * em;
      }
    }
    clean.resize(text.size());
    std::size_t kept = 0;
    for (char16_t c : text) {
      if (c == u'\t' || c == 0xA0) clean[kept++] = u' ';
      else if (c >= 0x20) clean[kept++] = c;
    }
    clean.resize(kept);
    if (clean.empty()) {
      state.x += advance;
      return;
    }
    if (havePrevious_ && !out_.empty()) {
      const double lineHeight = std::max(1.0, 0.3 * std::abs(state.fontSize * state.scaleY));
      const double gap = state.x - previousEndX_;
      const double wordGap = (knownWidths ? 0.2 : 0.8) * std::max(em, 1.0);
      const char16_t last = out_.back();
      if (std::abs(state.lineY - previousY_) > lineHeight) {
        if (last != u'\n') out_.push_back(u'\n');
      } else if ((gap > wordGap || gap < -em * 4) && last != u' ' && last != u'\n' && clean.front() != u' ') {
        out_.push_back(u' ');
      }
    }
    if (out_.size() < limit_) out_ += clean;
    state.x += advance;
    havePrevious_ = true;
    previousY_ = state.lineY;
    previousEndX_ = state.x;
  };
  while (lexer.Read(&o)) {
    if (o.kind != Obj::kOperator) {
      if (operands.size() < kMaxOperands) operands.push_back(std::move(o));
      continue;
    }
    const std::string& op = o.text;
    if (op == "BT") {
      state.lineX = state.lineY = state.x = 0;
      state.scaleX = state.scaleY = 1;
    } else if (op == "Tf" && operands.size() >= 2) {
      const Obj& name = operands[operands.size() - 2];
      if (name.kind == Obj::kName) state.font = FontFor(resources, name.text);
      state.fontSize = Number(operands, 1);
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
      newLine();
    } else if (op == "Tj" || op == "'" || op == "\"") {
      if (op != "Tj") newLine();
      if (!operands.empty() && operands.back().kind == Obj::kString) show(operands.back().text);
    } else if (op == "TJ" && !operands.empty() && operands.back().kind == Obj::kArray) {
      for (const Obj& item : operands.back().items) {
        if (item.kind == Obj::kString) {
          show(item.text);
        } else if (item.kind == Obj::kNumber && std::isfinite(item.number)) {
          state.x -= item.number / 1000 * state.fontSize * state.scaleX;
          // Words set as one array are kept apart by a wide move instead of a space.
          if (item.number < -200 && !out_.empty() && out_.back() != u' ' && out_.back() != u'\n') out_.push_back(u' ');
        }
      }
    } else if (op == "BI") {
      // An inline picture: its dictionary, "ID", the raw bytes, and "EI" after white space.
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
    } else if (op == "Do" && formDepth < kMaxFormDepth && !operands.empty() && operands.back().kind == Obj::kName) {
      // Forms placed on the page carry text of their own.
      const Obj* xobjects = Resolve(resources ? resources->Get("XObject") : nullptr);
      const Obj* form = Resolve(xobjects->Get(operands.back().text));
      if (form->kind == Obj::kStream && Resolve(form->Get("Subtype"))->IsName("Form")) {
        if (std::optional<std::string> data = StreamBytes(*form)) {
          const Obj* own = Resolve(form->Get("Resources"));
          RunContent(*data, own->kind == Obj::kDict ? own : resources, formDepth + 1);
        }
      }
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

// A text string of the document information: UTF-16 big-endian after FE FF, UTF-8 after
// EF BB BF, otherwise PDFDocEncoding (Latin-1 with typographic characters in 18..1F and
// 80..A0).
std::wstring TextString(std::string_view bytes) {
  if (bytes.starts_with("\xFE\xFF")) return FromUtf16(Utf16Be(bytes.substr(2)));
  if (bytes.starts_with("\xEF\xBB\xBF")) return FromUtf8(bytes.substr(3));
  static constexpr char16_t kLow[8] = {0x02D8, 0x02C7, 0x02C6, 0x02D9, 0x02DD, 0x02DB, 0x02DA, 0x02DC};
  static constexpr char16_t kHigh[33] = {
      0x2022, 0x2020, 0x2021, 0x2026, 0x2014, 0x2013, 0x0192, 0x2044, 0x2039, 0x203A, 0x2212,
      0x2030, 0x201E, 0x201C, 0x201D, 0x2018, 0x2019, 0x201A, 0x2122, 0xFB01, 0xFB02, 0x0141,
      0x0152, 0x0160, 0x0178, 0x017D, 0x0131, 0x0142, 0x0153, 0x0161, 0x017E, 0xFFFD, 0x20AC};
  std::u16string text;
  for (char byte : bytes) {
    const auto b = static_cast<unsigned char>(byte);
    if (b >= 0x18 && b <= 0x1F) {
      text.push_back(kLow[b - 0x18]);
    } else if (b >= 0x80 && b <= 0xA0) {
      text.push_back(kHigh[b - 0x80]);
    } else {
      text.push_back(static_cast<char16_t>(b));
    }
  }
  return FromUtf16(text);
}

}  // namespace

std::optional<PdfInfo> ReadPdfInfo(ByteSource& source, std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return std::nullopt;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return std::nullopt;
  Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return std::nullopt;
  auto text = [&](std::string_view key) {
    std::wstring value = TextString(document.InfoString(key));
    return value.substr(0, value.find(L'\0'));
  };
  return PdfInfo{text("Title"), text("Author"), text("Subject"), text("Keywords")};
}

std::optional<std::wstring> PdfText(ByteSource& source, std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return std::nullopt;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return std::nullopt;
  Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return std::nullopt;
  return FromUtf16(document.Text());
}

bool ReadPdfText(ByteSource& source, const std::function<bool(std::u16string_view)>& onPage,
                 std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return false;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return false;
  Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return false;
  document.Text(&onPage);
  return true;
}

}  // namespace ablagix
