// Byte-level helpers that the document text readers (document_text.cpp, mail_text.cpp,
// rtf_text.cpp) share: ASCII-only case folding and searching, as markup and headers use it.
#pragma once

#include <cstddef>
#include <string_view>

namespace ablagix::document_bytes {

inline bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'; }

inline char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

inline bool StartsNoCase(std::string_view text, std::size_t at, std::string_view prefix) {
  if (at + prefix.size() > text.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (Lower(text[at + i]) != prefix[i]) return false;
  }
  return true;
}

inline std::size_t FindNoCaseBytes(std::string_view text, std::string_view lowerNeedle, std::size_t from) {
  for (std::size_t at = from; at + lowerNeedle.size() <= text.size(); ++at) {
    if (StartsNoCase(text, at, lowerNeedle)) return at;
  }
  return std::string_view::npos;
}

inline int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace ablagix::document_bytes
