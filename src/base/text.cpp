#include "base/text.h"

#include <algorithm>

#include <array>

namespace ablagix {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Windows-1252 code points for bytes 0x80..0x9F; 0 marks the five unassigned bytes.
constexpr std::array<char16_t, 32> kCp1252High = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

bool IsSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

template <typename Emit>
void EmitNameByte(wchar_t c, Emit emit) {
  for (wchar_t shown : NameByteText(c)) emit(static_cast<char32_t>(shown));
}

// Calls `emit(code_point)` for every code point of a wide string, joining UTF-16 surrogate
// pairs on platforms with a 16-bit wchar_t.
template <typename Emit>
void ForEachCodePoint(std::wstring_view text, Emit emit) {
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t c = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
        char32_t low = static_cast<char32_t>(text[i + 1]);
        if (low >= 0xDC00 && low <= 0xDFFF) {
          emit(0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00));
          ++i;
          continue;
        }
      }
    }
    if (IsNameByte(text[i])) {
      EmitNameByte(text[i], emit);
      continue;
    }
    if (IsSurrogate(c) || c > 0x10FFFF) c = kReplacement;
    emit(c);
  }
}

// The leading ASCII of `text` into `out` (room made for all of it), straight; returns how many
// characters that was. Paths and names are mostly ASCII, and this is the cheap way for them.
std::size_t CopyAscii(std::wstring_view text, std::string* out) {
  out->resize(text.size());
  char* to = out->data();
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    const auto c = static_cast<std::uint32_t>(text[i]);
    if (c >= 0x80) break;
    to[i] = static_cast<char>(c);
  }
  out->resize(i);
  return i;
}

// Writes `c` as UTF-8 at `to` and returns the position after it.
char* PutUtf8(char* to, char32_t c) {
  if (c < 0x80) {
    *to++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *to++ = static_cast<char>(0xC0 | (c >> 6));
    *to++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *to++ = static_cast<char>(0xE0 | (c >> 12));
    *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *to++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *to++ = static_cast<char>(0xF0 | (c >> 18));
    *to++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *to++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return to;
}

// UTF-16 to wide text: pairs joined where wchar_t is 32 bits wide; a lone surrogate is kept
// as it is (`keepLone`, for the program's own texts) or becomes U+FFFD.
std::wstring WideFromUtf16(std::u16string_view units, bool keepLone) {
  if constexpr (sizeof(wchar_t) == 2) {
    return std::wstring(units.begin(), units.end());
  } else {
    std::wstring out;
    out.reserve(units.size());
    for (size_t i = 0; i < units.size(); ++i) {
      char32_t c = units[i];
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (units[i + 1] - 0xDC00);
        ++i;
      } else if (!keepLone && IsSurrogate(c)) {
        c = kReplacement;
      }
      out.push_back(static_cast<wchar_t>(c));
    }
    return out;
  }
}

void AppendWide(std::wstring& out, char32_t c) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
      return;
    }
  }
  out.push_back(static_cast<wchar_t>(c));
}

// Decodes one UTF-8 sequence at `pos`; returns the code point, or kReplacement and advances
// by one byte when the sequence is malformed.
char32_t DecodeUtf8(std::string_view s, size_t& pos, bool* ok) {
  auto byte = [&](size_t i) { return static_cast<unsigned char>(s[i]); };
  unsigned char b0 = byte(pos);
  *ok = true;
  if (b0 < 0x80) {
    ++pos;
    return b0;
  }
  int length = 0;
  char32_t c = 0;
  char32_t minimum = 0;
  if ((b0 & 0xE0) == 0xC0) {
    length = 2, c = b0 & 0x1F, minimum = 0x80;
  } else if ((b0 & 0xF0) == 0xE0) {
    length = 3, c = b0 & 0x0F, minimum = 0x800;
  } else if ((b0 & 0xF8) == 0xF0) {
    length = 4, c = b0 & 0x07, minimum = 0x10000;
  }
  if (length == 0 || pos + length > s.size()) {
    *ok = false;
    ++pos;
    return kReplacement;
  }
  for (int i = 1; i < length; ++i) {
    unsigned char b = byte(pos + i);
    if ((b & 0xC0) != 0x80) {
      *ok = false;
      ++pos;
      return kReplacement;
    }
    c = (c << 6) | (b & 0x3F);
  }
  if (c < minimum || c > 0x10FFFF || IsSurrogate(c)) {
    *ok = false;
    ++pos;
    return kReplacement;
  }
  pos += length;
  return c;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string out;
  const std::size_t ascii = CopyAscii(text, &out);
  if (ascii == text.size()) return out;
  // Room for the most a character can take (four bytes, or "\xE4" for a name's byte).
  out.resize(ascii + 4 * (text.size() - ascii));
  char* to = out.data() + ascii;
  ForEachCodePoint(text.substr(ascii), [&](char32_t c) { to = PutUtf8(to, c); });
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

std::wstring NameByteText(wchar_t c) {
  const unsigned char byte = NameByteOf(c);
  if (byte == '\\') return L"\\";
  constexpr wchar_t kHex[] = L"0123456789ABCDEF";
  return {L'\\', L'x', kHex[byte >> 4], kHex[byte & 0xF]};
}

bool IsNameByte(wchar_t c) {
  if constexpr (sizeof(wchar_t) == 2) {
    return false;  // Windows names are UTF-16: a lone surrogate there is the name's own
  } else {
    const auto u = static_cast<std::uint32_t>(c);
    return u == 0xDC5C || (u >= 0xDC80 && u <= 0xDCFF);
  }
}

std::wstring FileNameFromBytes(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size());
  size_t pos = 0;
  bool ok = true;
  while (pos < bytes.size()) {
    const unsigned char b = static_cast<unsigned char>(bytes[pos]);
    if (b == '\\') {
      out.push_back(static_cast<wchar_t>(0xDC5C));
      ++pos;
      continue;
    }
    if (b < 0x80) {
      out.push_back(static_cast<wchar_t>(b));
      ++pos;
      continue;
    }
    const size_t start = pos;
    const char32_t c = DecodeUtf8(bytes, pos, &ok);
    if (ok) {
      AppendWide(out, c);
    } else {
      out.push_back(static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(bytes[start])));
    }
  }
  return out;
}

std::string FileNameToBytes(std::wstring_view name) {
  if constexpr (sizeof(wchar_t) == 2) {
    return ToUtf8(name);
  } else {
    std::string out;
    const std::size_t ascii = CopyAscii(name, &out);
    if (ascii == name.size()) return out;
    out.resize(ascii + 4 * (name.size() - ascii));
    char* to = out.data() + ascii;
    for (std::size_t i = ascii; i < name.size(); ++i) {
      const auto c = static_cast<char32_t>(name[i]);
      if (IsNameByte(name[i])) {
        *to++ = static_cast<char>(NameByteOf(name[i]));
      } else {
        to = PutUtf8(to, IsSurrogate(c) || c > 0x10FFFF ? kReplacement : c);
      }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return out;
  }
}

std::u16string ToUtf16Exact(std::wstring_view text) {
  std::u16string out;
  ToUtf16Exact(text, &out);
  return out;
}

void ToUtf16Exact(std::wstring_view text, std::u16string* out) {
  if constexpr (sizeof(wchar_t) == 2) {
    out->assign(text.begin(), text.end());
  } else {
    // Names and paths are nearly always in the basic plane: one unit per character, written
    // straight into place; the rare character beyond it takes the slower way from there on.
    out->resize(text.size());
    char16_t* units = out->data();
    std::size_t i = 0;
    for (; i < text.size(); ++i) {
      const auto c = static_cast<char32_t>(text[i]);
      if (c >= 0x10000) break;
      units[i] = static_cast<char16_t>(c);  // a lone surrogate stays what it was
    }
    if (i == text.size()) return;
    out->resize(i);
    for (; i < text.size(); ++i) {
      auto c = static_cast<char32_t>(text[i]);
      if (c >= 0x10000 && c <= 0x10FFFF) {
        c -= 0x10000;
        out->push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
        out->push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
      } else {
        out->push_back(static_cast<char16_t>(c > 0x10FFFF ? kReplacement : c));
      }
    }
  }
}

std::wstring FromUtf16Exact(std::u16string_view units) { return WideFromUtf16(units, true); }

std::string ToUtf8Exact(std::wstring_view text) {
  std::string out;
  std::size_t i = CopyAscii(text, &out);
  if (i == text.size()) return out;
  const std::size_t ascii = i;
  out.resize(ascii + 4 * (text.size() - ascii));
  char* to = out.data() + ascii;
  for (; i < text.size(); ++i) {
    auto c = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<char32_t>(text[i + 1]) - 0xDC00);
        ++i;
      }
    }
    if (c > 0x10FFFF) c = kReplacement;
    to = PutUtf8(to, c);
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
  return out;
}

std::wstring FromUtf8Exact(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size());
  size_t pos = 0;
  bool ok = true;
  while (pos < bytes.size()) {
    // A three-byte form of a surrogate is what ToUtf8Exact writes for a lone one.
    const auto b0 = static_cast<unsigned char>(bytes[pos]);
    if (b0 == 0xED && pos + 2 < bytes.size()) {
      const auto b1 = static_cast<unsigned char>(bytes[pos + 1]);
      const auto b2 = static_cast<unsigned char>(bytes[pos + 2]);
      if (b1 >= 0xA0 && b1 <= 0xBF && (b2 & 0xC0) == 0x80) {
        out.push_back(static_cast<wchar_t>(0xD000 | ((b1 & 0x3F) << 6) | (b2 & 0x3F)));
        pos += 3;
        continue;
      }
    }
    AppendWide(out, DecodeUtf8(bytes, pos, &ok));
  }
  return out;
}

std::wstring FromUtf8(std::string_view bytes) {
  std::wstring out;
  out.reserve(bytes.size());
  size_t pos = 0;
  bool ok = true;
  while (pos < bytes.size()) AppendWide(out, DecodeUtf8(bytes, pos, &ok));
  return out;
}

bool IsValidUtf8(std::string_view bytes) {
  size_t pos = 0;
  bool ok = true;
  while (pos < bytes.size()) {
    DecodeUtf8(bytes, pos, &ok);
    if (!ok) return false;
  }
  return true;
}

std::u16string ToUtf16(std::wstring_view text) {
  if constexpr (sizeof(wchar_t) == 2) {
    return std::u16string(text.begin(), text.end());
  } else {
    std::u16string out;
    out.reserve(text.size());
    ForEachCodePoint(text, [&](char32_t c) {
      if (c >= 0x10000) {
        c -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
      } else {
        out.push_back(static_cast<char16_t>(c));
      }
    });
    return out;
  }
}

std::wstring FromUtf16(std::u16string_view units) { return WideFromUtf16(units, false); }

std::string ToUtf16LeBytes(std::wstring_view text, bool bom) {
  const std::u16string units = ToUtf16(text);
  std::string bytes;
  bytes.reserve(units.size() * 2 + 2);
  if (bom) bytes.append("\xFF\xFE", 2);
  for (char16_t u : units) {
    bytes.push_back(static_cast<char>(u & 0xFF));
    bytes.push_back(static_cast<char>(u >> 8));
  }
  return bytes;
}

std::wstring FromUtf16LeBytes(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          (static_cast<unsigned char>(bytes[i + 1]) << 8)));
  }
  return FromUtf16(units);
}

std::wstring FromWindows1252(std::string_view bytes) {
  std::wstring out;
  AppendFromWindows1252(bytes, &out);
  return out;
}

void AppendFromWindows1252(std::string_view bytes, std::wstring* text) {
  std::wstring& out = *text;
  out.reserve(out.size() + bytes.size());
  for (char ch : bytes) {
    unsigned char b = static_cast<unsigned char>(ch);
    if (b >= 0x80 && b <= 0x9F) {
      char16_t mapped = kCp1252High[b - 0x80];
      // Unassigned bytes map to the C1 control of the same value, as Windows does.
      out.push_back(static_cast<wchar_t>(mapped ? mapped : b));
    } else {
      out.push_back(static_cast<wchar_t>(b));
    }
  }
}

std::string ToWindows1252(std::wstring_view text, bool* lossy) {
  std::string out;
  out.reserve(text.size());
  bool lost = false;
  ForEachCodePoint(text, [&](char32_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
      out.push_back(static_cast<char>(c));
      return;
    }
    for (size_t i = 0; i < kCp1252High.size(); ++i) {
      if ((kCp1252High[i] != 0 && kCp1252High[i] == c) || (kCp1252High[i] == 0 && c == 0x80 + i)) {
        out.push_back(static_cast<char>(0x80 + i));
        return;
      }
    }
    out.push_back('?');
    lost = true;
  });
  if (lossy) *lossy = lost;
  return out;
}

wchar_t FoldCase(wchar_t c) {
  const auto u = static_cast<std::uint32_t>(c);
  auto lower = [](std::uint32_t v) { return static_cast<wchar_t>(v); };
  if (u < 0x80) return (u >= 'A' && u <= 'Z') ? lower(u + 32) : c;
  if (u >= 0xC0 && u <= 0xDE && u != 0xD7) return lower(u + 32);
  if (u < 0x100) return c;
  if (u <= 0x17F) {
    if ((u >= 0x100 && u <= 0x137) || (u >= 0x14A && u <= 0x177)) return (u % 2 == 0) ? lower(u + 1) : c;
    if ((u >= 0x139 && u <= 0x148) || (u >= 0x179 && u <= 0x17E)) return (u % 2 == 1) ? lower(u + 1) : c;
    if (u == 0x178) return lower(0xFF);
    return c;
  }
  if (u >= 0x391 && u <= 0x3A9 && u != 0x3A2) return lower(u + 32);
  if (u == 0x386) return lower(0x3AC);
  if (u >= 0x388 && u <= 0x38A) return lower(u + 37);
  if (u == 0x38C) return lower(0x3CC);
  if (u == 0x38E || u == 0x38F) return lower(u + 63);
  if (u >= 0x410 && u <= 0x42F) return lower(u + 32);
  if (u >= 0x400 && u <= 0x40F) return lower(u + 80);
  if (u == 0x1E9E) return lower(0xDF);  // capital sharp s
  return c;
}

std::wstring ToLowerText(std::wstring_view text) {
  std::wstring out(text);
  for (auto& c : out) c = FoldCase(c);
  return out;
}

bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

size_t FindNoCase(std::wstring_view text, std::wstring_view needle) {
  if (needle.empty()) return 0;
  if (needle.size() > text.size()) return std::wstring_view::npos;
  for (size_t i = 0; i + needle.size() <= text.size(); ++i) {
    if (EqualsNoCase(text.substr(i, needle.size()), needle)) return i;
  }
  return std::wstring_view::npos;
}

std::wstring_view Trim(std::wstring_view text) {
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && (text[begin] == L' ' || text[begin] == L'\t')) ++begin;
  while (end > begin && (text[end - 1] == L' ' || text[end - 1] == L'\t')) --end;
  return text.substr(begin, end - begin);
}

std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator) {
  std::vector<std::wstring> pieces;
  size_t start = 0;
  for (;;) {
    size_t pos = text.find(separator, start);
    if (pos == std::wstring_view::npos) {
      pieces.emplace_back(text.substr(start));
      return pieces;
    }
    pieces.emplace_back(text.substr(start, pos - start));
    start = pos + 1;
  }
}

std::wstring Join(const std::vector<std::wstring>& pieces, std::wstring_view separator) {
  std::wstring out;
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i) out += separator;
    out += pieces[i];
  }
  return out;
}

bool ParseWholeNumber(std::wstring_view text, std::uint64_t* out) {
  text = Trim(text);
  if (text.empty()) return false;
  std::uint64_t value = 0;
  for (wchar_t c : text) {
    if (c < L'0' || c > L'9') return false;
    std::uint64_t digit = static_cast<std::uint64_t>(c - L'0');
    if (value > (UINT64_MAX - digit) / 10) return false;
    value = value * 10 + digit;
  }
  *out = value;
  return true;
}

bool IsDecimalNumber(std::wstring_view text) {
  text = Trim(text);
  const size_t separator = text.find_first_of(L",.");
  auto digits = [](std::wstring_view part) {
    return !part.empty() && std::all_of(part.begin(), part.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
  };
  if (separator == std::wstring_view::npos) return digits(text);
  return digits(text.substr(0, separator)) && digits(text.substr(separator + 1));
}

std::wstring NumberText(std::uint64_t value) {
  // Digit by digit from the end: the library's formatting goes through a wide printf, which
  // costs more than the rest of a journal line.
  wchar_t digits[20];
  std::size_t at = sizeof digits / sizeof digits[0];
  do {
    digits[--at] = static_cast<wchar_t>(L'0' + value % 10);
    value /= 10;
  } while (value != 0);
  return std::wstring(digits + at, digits + sizeof digits / sizeof digits[0]);
}

}  // namespace ablagix
