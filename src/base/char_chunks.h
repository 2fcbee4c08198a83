// UTF-16 texts stored back to back in fixed-size chunks, each named by a 32-bit position.
//
// One growing string would double its capacity and, on each growth, briefly hold the old and
// the new copy: with a million file names that is tens of megabytes of slack. Chunks never
// move what they hold, and only the last one is partly empty.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace ablagix {

class CharChunks {
 public:
  // Stores `text` and returns its position. A text never straddles two chunks; one longer
  // than a chunk gets a chunk of its own size.
  std::uint32_t Append(std::u16string_view text);
  std::u16string_view View(std::uint32_t position, std::uint32_t length) const;

  void Clear();
  std::size_t MemoryBytes() const;

 private:
  // A position is the chunk's index above kChunkBits and the offset in the chunk below.
  static constexpr int kChunkBits = 15;
  static constexpr std::size_t kChunkSize = std::size_t{1} << kChunkBits;  // 64 KB of text

  std::vector<std::unique_ptr<char16_t[]>> chunks_;
  std::size_t lastCapacity_ = 0;  // of the last chunk
  std::size_t lastUsed_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace ablagix
