// Fuzz target: any bytes as a zip archive. Reading the directory and every entry must neither
// crash nor hang nor read outside the bytes, and never hand out more than the caller allowed.
// An entry an extractor accepts never yields a folder step that leaves its folder.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zip/zip_extract.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  constexpr std::uint64_t kLimit = 1u << 20;
  MemoryByteSource source(std::string_view(reinterpret_cast<const char*>(data), size));
  ZipReader zip(source);
  if (zip.Open() != ZipError::kNone) return 0;
  std::size_t read = 0;
  for (const ZipEntry& entry : zip.entries()) {
    if (++read > 64) break;
    std::uint64_t total = 0;
    const ZipError e = zip.ReadEntry(entry, kLimit, [&](std::string_view piece) {
      total += piece.size();
      if (total > kLimit) __builtin_trap();
      return true;
    });
    if (e == ZipError::kNone && total != entry.uncompressedSize) __builtin_trap();
    (void)zip.Find(entry.name);
    (void)EntryLastWrite(entry);
    std::vector<std::wstring> parts;
    if (ExtractPartsOf(entry, &parts) == EntryRefusal::kNone) {
      if (parts.empty() || IsLinkEntry(entry)) __builtin_trap();
      for (const std::wstring& part : parts) {
        if (part.empty() || part == L"." || part == L".." || part.find_first_of(L"/\\:") != std::wstring::npos) {
          __builtin_trap();
        }
      }
    }
  }
  return 0;
}
