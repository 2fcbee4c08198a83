#include "fileops/byte_source.h"

namespace ablagix {

bool MemoryByteSource::Read(std::uint64_t offset, std::size_t count, std::string* out) {
  out->clear();
  if (offset >= bytes_.size()) return true;
  out->assign(bytes_.substr(static_cast<std::size_t>(offset), count));
  return true;
}

}  // namespace ablagix
