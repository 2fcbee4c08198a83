// Fuzz target: any bytes as an MP3 file. Reading the tags and the stream and turning them
// into the fifteen field texts must neither crash nor hang nor read outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "metadata/audio_properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  MemoryByteSource source(std::string_view(reinterpret_cast<const char*>(data), size));
  const AudioProperties properties = ReadAudioProperties(source);
  for (int field = 0; field < kAudioFieldCount; ++field) (void)AudioFieldText(properties, field);
  // Without the stream the tags must read the same.
  MemoryByteSource again(std::string_view(reinterpret_cast<const char*>(data), size));
  if (ReadAudioProperties(again, false).title != properties.title) __builtin_trap();
  return 0;
}
