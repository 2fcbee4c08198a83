// Fuzz target: any bytes as an XML part, fed to the streaming text reader in pieces whose
// sizes the first bytes choose. Its text must be the one XmlScanner gives for the whole part,
// and neither may crash or hang.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "metadata/xml_scanner.h"
#include "metadata/xml_text_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  if (size < 2) return 0;
  const std::size_t step = 1 + data[0] % 64;
  const std::string_view xml(reinterpret_cast<const char*>(data) + 1, size - 1);
  XmlScanner scanner(xml);
  XmlEvent event;
  std::string expected;
  while (scanner.Next(&event)) {
    if (event.kind == XmlEvent::kText) expected += event.text;
    if (event.kind == XmlEvent::kEnd && (event.local == "p" || event.local == "br")) expected += ' ';
  }
  XmlTextStream stream({"p", "br"});
  std::string text;
  for (std::size_t at = 0; at < xml.size(); at += step) stream.Feed(xml.substr(at, step), &text);
  stream.Finish(&text);
  if (text != expected) __builtin_trap();
  return 0;
}
