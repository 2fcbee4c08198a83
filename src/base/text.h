// Text helpers shared by every part of the program: UTF conversions, locale-independent
// case folding, trimming, splitting and the small number parsers the profile values need.
//
// The core keeps text as std::wstring. On Windows that is UTF-16; on Linux wchar_t is 32 bits
// wide, so the same type holds UTF-32. The converters below hide that difference.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

// --- UTF conversions. Invalid input never fails: bad sequences become U+FFFD. On Linux the
// stand-ins of file names (below) are shown as what they are: U+DC5C as a backslash, a byte
// that was not UTF-8 as its value ("\xE4").
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);
// True when `bytes` is well-formed UTF-8 (overlong forms and surrogates rejected).
bool IsValidUtf8(std::string_view bytes);

std::u16string ToUtf16(std::wstring_view text);
std::wstring FromUtf16(std::u16string_view units);

// --- File names that are not text. A Linux file name is any bytes but "/" and NUL, invalid
// UTF-8 and "\" (which profile paths take as a folder separator) included. Such a name is
// carried in a wstring without loss: a "\" of the name as U+DC5C, each byte of invalid UTF-8
// as U+DC00 + byte. Both are lone surrogates, which no valid UTF-8 yields, so the bytes come
// back exactly; text that is valid UTF-8 is decoded as usual. Windows names are UTF-16 and
// never need this.
std::wstring FileNameFromBytes(std::string_view bytes);
std::string FileNameToBytes(std::wstring_view name);
// True for the stand-ins above: a "\" inside a name, or a byte that was not UTF-8.
bool IsNameByte(wchar_t c);
// The byte a stand-in stands for.
inline unsigned char NameByteOf(wchar_t c) { return static_cast<unsigned char>(static_cast<std::uint32_t>(c) & 0xFF); }
// How a stand-in is shown to people: a backslash, or the byte's value ("\xE4").
std::wstring NameByteText(wchar_t c);

// Conversions that keep every code unit, lone surrogates (and so the stand-ins) included: for
// texts the program stores and reads back itself (its journal, its log), never for display.
std::u16string ToUtf16Exact(std::wstring_view text);
// The same into `out`, whose memory is reused: for code that converts a text per file.
void ToUtf16Exact(std::wstring_view text, std::u16string* out);
std::wstring FromUtf16Exact(std::u16string_view units);
// UTF-8 in which a lone surrogate is written like any other code point (three bytes).
std::string ToUtf8Exact(std::wstring_view text);
std::wstring FromUtf8Exact(std::string_view bytes);

// UTF-16 little-endian bytes, the form of text files on Windows; `bom` puts FF FE in front.
std::string ToUtf16LeBytes(std::wstring_view text, bool bom);
// Reads UTF-16LE bytes (no byte-order mark expected; an odd last byte is ignored).
std::wstring FromUtf16LeBytes(std::string_view bytes);

// Windows-1252 ("ANSI" on German Windows). Characters without a code become "?"; `lossy`
// (optional) reports whether that happened.
std::wstring FromWindows1252(std::string_view bytes);
void AppendFromWindows1252(std::string_view bytes, std::wstring* text);
std::string ToWindows1252(std::wstring_view text, bool* lossy = nullptr);

// --- Case. Folding covers ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic, independent
// of the process locale, so "Ä" and "ä" compare equal on every machine.
wchar_t FoldCase(wchar_t c);
std::wstring ToLowerText(std::wstring_view text);
bool EqualsNoCase(std::wstring_view a, std::wstring_view b);
bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix);
// Position of `needle` in `text` ignoring case, or npos.
size_t FindNoCase(std::wstring_view text, std::wstring_view needle);

// --- Pieces.
// Removes blanks and tabs at both ends (the profile-string functions trim the same way).
std::wstring_view Trim(std::wstring_view text);
// Splits at every `separator`; empty pieces are kept ("a,,b" gives three pieces).
std::vector<std::wstring> Split(std::wstring_view text, wchar_t separator);
std::wstring Join(const std::vector<std::wstring>& pieces, std::wstring_view separator);

// --- Numbers.
// A whole number written as decimal digits, blanks around it allowed, no sign.
// Fails on empty text, other characters or overflow.
[[nodiscard]] bool ParseWholeNumber(std::wstring_view text, std::uint64_t* out);
// Digits with at most one decimal comma or point between digits ("12", "1,5", "0.25"); blanks
// around it are allowed.
bool IsDecimalNumber(std::wstring_view text);
// Decimal text of a number, no grouping.
std::wstring NumberText(std::uint64_t value);

}  // namespace ablagix
