// The in-memory text of a text, CSV or HTML export, kept directly as the file's bytes
// (UTF-16LE, no byte-order mark). A log of a hundred thousand rows makes tens of megabytes
// of text; holding it once as bytes, rather than as a wide string and then again as bytes,
// halves the peak (on Linux a wchar_t is four bytes, so it saves two thirds).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace ablagix {

class Utf16LeBuffer {
 public:
  void Reserve(std::size_t units) { bytes_.reserve(units * 2); }

  void Append(wchar_t c) {
    auto u = static_cast<std::uint32_t>(c);
    if (IsNameByte(c)) {
      // A Linux name's byte that is no text: a report shows it as "\xE4", never as a broken unit.
      for (wchar_t shown : NameByteText(c)) Unit(static_cast<std::uint32_t>(shown));
    } else if (u >= 0x10000 && u <= 0x10FFFF) {  // only where wchar_t is 32 bits wide
      u -= 0x10000;
      Unit(0xD800 + (u >> 10));
      Unit(0xDC00 + (u & 0x3FF));
    } else if (u > 0x10FFFF) {
      Unit(0xFFFD);
    } else {
      Unit(u);
    }
  }
  void Append(std::wstring_view text) {
    // One resize and plain stores: this runs for every cell of every row.
    const std::size_t at = bytes_.size();
    bytes_.resize(at + 2 * text.size());
    char* out = bytes_.data() + at;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto u = static_cast<std::uint32_t>(text[i]);
      if (u > 0xFFFF || IsNameByte(text[i])) {  // outside the BMP or a name's byte: Linux only
        bytes_.resize(at + 2 * i);
        for (wchar_t c : text.substr(i)) Append(c);
        return;
      }
      out[2 * i] = static_cast<char>(u & 0xFF);
      out[2 * i + 1] = static_cast<char>(u >> 8);
    }
  }
  void AppendRepeated(wchar_t c, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) Append(c);
  }

  std::size_t size() const { return bytes_.size(); }
  // After `done` of `total` similar pieces (rows), makes room for the rest at the same rate, so
  // that the buffer is not regrown, and copied, at the end when it is largest.
  void ReserveByRate(std::size_t done, std::size_t total) {
    if (done == 0 || total <= done) return;
    const std::size_t expected = bytes_.size() / done * total;
    bytes_.reserve(expected + expected / 16);
  }
  const std::string& bytes() const { return bytes_; }
  std::string Take() { return std::move(bytes_); }

 private:
  void Unit(std::uint32_t u) {
    bytes_.push_back(static_cast<char>(u & 0xFF));
    bytes_.push_back(static_cast<char>((u >> 8) & 0xFF));
  }

  std::string bytes_;
};

// Characters as a reader counts them: a surrogate pair is one.
inline std::size_t CharacterCount(std::wstring_view text) {
  std::size_t n = 0;
  for (wchar_t c : text) {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0xDC00 || u > 0xDFFF) ++n;
  }
  return n;
}

}  // namespace ablagix
