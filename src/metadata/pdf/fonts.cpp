#include "metadata/pdf/pdf_internal.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"

namespace ablagix::pdf {

namespace {

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

}  // namespace

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

}  // namespace ablagix::pdf
