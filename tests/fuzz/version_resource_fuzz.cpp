// Fuzz target: any bytes as a program file. Reading the PE headers, the resource directory
// and the version blocks must neither crash nor hang nor read outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "metadata/version_resource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  MemoryByteSource source(std::string_view(reinterpret_cast<const char*>(data), size));
  const VersionInfo info = ReadVersionInfo(source);
  if (!info.found && !info.strings.empty()) __builtin_trap();
  for (int field = 0; field < kVersionFieldCount; ++field) (void)VersionFieldText(info, field);
  return 0;
}
