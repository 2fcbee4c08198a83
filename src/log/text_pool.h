// A store of distinct UTF-16 texts, each kept once and named by a 4-byte id.
//
// The log repeats the same folder, target folder, result word and profile values on
// thousands of rows. Rows keep ids instead of strings, so a million rows stay small; the
// characters live in shared chunks, without a heap block or string header per text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/char_chunks.h"

namespace ablagix {

class TextPool {
 public:
  using Id = std::uint32_t;
  // "" has this id in every pool, so an empty cell never needs a look-up.
  static constexpr Id kEmpty = 0;

  TextPool();

  // The id of `text`, adding it when it is new. Equal texts always get the same id.
  Id Intern(std::u16string_view text);
  Id Intern(std::wstring_view text);

  // The text of `id`. The view stays valid until Clear (interning never moves texts).
  std::u16string_view View(Id id) const;

  // Number of distinct texts, "" included.
  std::size_t size() const { return entries_.size(); }

  // Forgets every text; only "" remains.
  void Clear();

  // Bytes held by the pool's buffers (capacity, not only what is used).
  std::size_t MemoryBytes() const;

 private:
  struct Entry {
    std::uint32_t position;  // in chars_
    std::uint32_t length;
    std::uint32_t hash;
  };

  void Grow();
  std::size_t SlotFor(std::uint32_t hash, std::u16string_view text) const;

  CharChunks chars_;
  std::vector<Entry> entries_;
  // Open addressing: each slot holds id + 1, or 0 when free. At most half full.
  std::vector<Id> slots_;
};

}  // namespace ablagix
