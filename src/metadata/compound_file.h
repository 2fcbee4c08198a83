// Reads streams out of an OLE2 compound file, the container of legacy Office documents
// (.doc, .xls, .ppt), Outlook messages and installer packages: header, allocation table with
// its extension sectors, the small-stream table and small-stream area, and the directory.
// Sector sizes of 512 and 4096 bytes are read.
//
// The file is read in pieces, never as a whole; chains that loop or leave the file, directory
// trees with cycles and sizes beyond the caller's limit end the read with "no", not a hang.
//
//   CompoundFile file(source);
//   std::string stream;
//   if (file.Open() && file.ReadStream(L"\x05SummaryInformation", 1 << 20, &stream)) { ... }
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix {

// True when the bytes start with the compound file signature.
bool IsCompoundFile(ByteSource& source);

class CompoundFile {
 public:
  explicit CompoundFile(ByteSource& source) : source_(source) {}

  // Reads the header, the list of allocation-table sectors and the directory.
  [[nodiscard]] bool Open();
  // The stream at `path` (storage names separated by "/", compared without regard to the case
  // of ASCII letters, as the format does) into `out`; false when there is no such stream, it
  // is bigger than `maxBytes`, or its sectors cannot be followed.
  [[nodiscard]] bool ReadStream(std::wstring_view path, std::size_t maxBytes, std::string* out);
  // Names of the streams and storages directly below a storage ("" for the root).
  std::vector<std::wstring> List(std::wstring_view storagePath);

 private:
  struct DirectoryEntry {
    std::wstring name;
    std::uint8_t type = 0;  // 1 storage, 2 stream, 5 root
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    std::uint32_t child = 0;
    std::uint32_t start = 0;
    std::uint64_t size = 0;
  };

  bool Next(std::uint32_t sector, std::uint32_t* next);
  bool MiniNext(std::uint32_t sector, std::uint32_t* next);
  bool ReadChain(std::uint32_t start, std::uint64_t size, std::string* out);
  bool ReadMiniChain(std::uint32_t start, std::uint64_t size, std::string* out);
  bool ReadSector(std::uint32_t sector, std::string* out);
  bool SectorChain(std::uint32_t start, std::uint64_t maxSectors, std::vector<std::uint32_t>* chain);
  std::vector<std::uint32_t> Children(std::uint32_t storage);
  bool Resolve(std::wstring_view path, std::uint32_t* index);

  ByteSource& source_;
  std::uint32_t sectorShift_ = 9;
  std::uint32_t sectorSize_ = 512;
  std::uint64_t sectorCount_ = 0;  // sectors that lie within the file
  std::uint32_t miniCutoff_ = 4096;
  std::uint32_t firstMiniFatSector_ = 0;
  std::vector<std::uint32_t> fatSectors_;
  std::unordered_map<std::uint32_t, std::string> fatCache_;
  std::vector<std::uint32_t> miniFatChain_;
  std::vector<std::uint32_t> miniStreamChain_;
  std::uint64_t miniStreamSize_ = 0;
  std::vector<DirectoryEntry> directory_;
  bool open_ = false;
};

}  // namespace ablagix
