// Fuzz target: any bytes as a document. The bytes are read as they are (a compound file or a
// package when they look like one), and also as the metadata parts of an OOXML and an ODF
// package, so that the XML readers see the fuzzer's bytes without a deflate layer between.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "metadata/compound_file.h"
#include "metadata/document_properties.h"

namespace {

std::string Le16(std::uint32_t v) { return {static_cast<char>(v), static_cast<char>(v >> 8)}; }
std::string Le32(std::uint32_t v) { return Le16(v) + Le16(v >> 16); }

// A zip archive of stored entries.
std::string Package(std::initializer_list<std::pair<std::string, std::string_view>> parts) {
  std::string out;
  std::string central;
  for (const auto& [name, data] : parts) {
    const auto crc = static_cast<std::uint32_t>(
        crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
    const auto size = static_cast<std::uint32_t>(data.size());
    const auto offset = static_cast<std::uint32_t>(out.size());
    const auto nameSize = static_cast<std::uint32_t>(name.size());
    out += Le32(0x04034b50) + Le16(20) + Le16(0) + Le16(0) + Le32(0) + Le32(crc) + Le32(size) + Le32(size) +
           Le16(nameSize) + Le16(0) + name + std::string(data);
    central += Le32(0x02014b50) + Le16(20) + Le16(20) + Le16(0) + Le16(0) + Le32(0) + Le32(crc) + Le32(size) +
               Le32(size) + Le16(nameSize) + Le16(0) + Le16(0) + Le16(0) + Le16(0) + Le32(0) + Le32(offset) + name;
  }
  const auto count = static_cast<std::uint32_t>(parts.size());
  const auto cdOffset = static_cast<std::uint32_t>(out.size());
  out += central + Le32(0x06054b50) + Le16(0) + Le16(0) + Le16(count) + Le16(count) +
         Le32(static_cast<std::uint32_t>(central.size())) + Le32(cdOffset) + Le16(0);
  return out;
}

void Read(std::string_view bytes) {
  ablagix::MemoryByteSource source(bytes);
  const ablagix::DocumentProperties props = ablagix::ReadDocumentProperties(source);
  for (const std::wstring& value : props.byId) {
    if (value.size() > (8u << 20)) __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Read(bytes);

  MemoryByteSource source(bytes);
  if (IsCompoundFile(source)) {
    CompoundFile file(source);
    if (file.Open()) {
      std::string stream;
      for (const std::wstring& name : file.List(L"")) (void)file.ReadStream(name, 1u << 20, &stream);
    }
    return 0;
  }
  if (bytes.substr(0, 2) == "PK") return 0;
  Read(Package({{"docProps/core.xml", bytes}, {"docProps/app.xml", bytes}}));
  Read(Package({{"mimetype", "application/vnd.oasis.opendocument.text"}, {"meta.xml", bytes}}));
  return 0;
}
