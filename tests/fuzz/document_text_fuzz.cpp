// Fuzz target: any bytes as a web page, a mail, an RTF document, an old binary document and an
// office package.
// The text readers must neither crash nor hang nor read outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "metadata/document_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  (void)HtmlText(bytes);
  (void)MimeText(bytes);
  (void)RtfText(bytes);
  (void)StringRuns(bytes);
  MemoryByteSource package(bytes);
  (void)PackagedText(package);
  return 0;
}
