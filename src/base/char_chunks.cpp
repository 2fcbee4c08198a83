#include "base/char_chunks.h"

#include <algorithm>
#include <stdexcept>

namespace ablagix {

std::uint32_t CharChunks::Append(std::u16string_view text) {
  if (text.empty()) return 0;
  if (chunks_.empty() || lastCapacity_ - lastUsed_ < text.size()) {
    if (chunks_.size() >= (std::size_t{1} << (32 - kChunkBits))) {
      throw std::length_error("CharChunks: full");
    }
    lastCapacity_ = std::max(kChunkSize, text.size());
    chunks_.push_back(std::make_unique_for_overwrite<char16_t[]>(lastCapacity_));
    bytes_ += lastCapacity_ * sizeof(char16_t);
    lastUsed_ = 0;
  }
  std::copy(text.begin(), text.end(), chunks_.back().get() + lastUsed_);
  auto position = static_cast<std::uint32_t>(((chunks_.size() - 1) << kChunkBits) | lastUsed_);
  lastUsed_ += text.size();
  return position;
}

std::u16string_view CharChunks::View(std::uint32_t position, std::uint32_t length) const {
  if (length == 0) return std::u16string_view();
  const char16_t* chunk = chunks_[position >> kChunkBits].get();
  return std::u16string_view(chunk + (position & (kChunkSize - 1)), length);
}

void CharChunks::Clear() {
  chunks_.clear();
  chunks_.shrink_to_fit();
  lastCapacity_ = lastUsed_ = bytes_ = 0;
}

std::size_t CharChunks::MemoryBytes() const {
  return bytes_ + chunks_.capacity() * sizeof(chunks_[0]);
}

}  // namespace ablagix
