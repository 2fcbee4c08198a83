// Fuzz target: any bytes as a picture. Reading the property items and turning them into the
// twenty field texts must neither crash nor hang nor read outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "metadata/exif_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  MemoryByteSource source(std::string_view(reinterpret_cast<const char*>(data), size));
  const auto items = ReadPropertyItems(source);
  if (items.size() > 4096) __builtin_trap();
  for (const auto& item : items) (void)PropertyRawText(item);
  for (int field = 0; field < kExifFieldCount; ++field) (void)ExifFieldText(items, field);
  return 0;
}
