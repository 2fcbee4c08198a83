// Fuzz target: any bytes as a PDF document.
// The reader must neither crash nor hang nor read outside the bytes, however the cross-reference
// data, objects, streams, fonts and content are damaged.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "metadata/pdf_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  MemoryByteSource source(std::string_view(reinterpret_cast<const char*>(data), size));
  // A small limit keeps each run short; the caps are the same code at any size.
  (void)PdfText(source, 1 << 20);
  return 0;
}
