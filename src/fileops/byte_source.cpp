#include "fileops/byte_source.h"

namespace ablagix {

bool MemoryByteSource::Read(std::uint64_t offset, std::size_t count, std::string* out) {
  out->clear();
  if (offset >= bytes_.size()) return true;
  out->assign(bytes_.substr(static_cast<std::size_t>(offset), count));
  return true;
}


bool ReadAheadByteSource::Read(std::uint64_t offset, std::size_t count, std::string* out) {
  if (count > blockSize_) return inner_.Read(offset, count, out);
  const bool inBlock = filled_ && offset >= blockAt_ && offset - blockAt_ <= block_.size();
  // A read that reaches past the block is answered from it only when the block ends at the
  // end of the data; otherwise the block is read again from `offset`.
  if (!inBlock || (offset - blockAt_ + count > block_.size() && blockAt_ + block_.size() < inner_.size())) {
    filled_ = false;
    if (!inner_.Read(offset, blockSize_, &block_)) return false;
    blockAt_ = offset;
    filled_ = true;
  }
  const auto start = static_cast<std::size_t>(offset - blockAt_);
  out->assign(block_, start, count);
  return true;
}

}  // namespace ablagix
