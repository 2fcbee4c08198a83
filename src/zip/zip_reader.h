// Reads zip archives: the central directory with its entries, and the data of one entry,
// stored or deflated, checked against its CRC. ZIP64 archives (more than 65535 entries, sizes
// or offsets beyond 4 GiB) are read as well. Archives with bytes in front of them (a
// self-extractor's stub) are found through the end record, whether or not their offsets count
// those bytes.
//
// The reader never trusts the archive: every count, size and offset is checked against the
// bytes that are really there and against the caller's limits, so a damaged or hostile archive
// gives an error value, never a crash, a hang or an unbounded allocation.
//
//   MemoryByteSource bytes(docx);
//   ZipReader zip(bytes);
//   std::string xml;
//   if (zip.Open() == ZipError::kNone &&
//       zip.ReadEntry("docProps/core.xml", 1 << 20, &xml) == ZipError::kNone) { ... }
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix {

enum class ZipError {
  kNone,
  kReadFailed,         // the source could not be read
  kNotZip,             // no end record
  kDamaged,            // a structure is inconsistent or lies outside the archive
  kTooManyEntries,     // more entries than the limits allow
  kTooLarge,           // the entry is bigger than the caller allows, or compressed beyond belief
  kUnsupportedMethod,  // neither stored nor deflated
  kEncrypted,
  kBadCrc,
  kNotFound,           // no entry of that name
  kStopped,            // the caller's sink asked to stop
};

// What an archive may cost before the reader refuses it.
struct ZipLimits {
  std::uint64_t maxEntries = 200000;
  std::uint64_t maxCentralDirectoryBytes = 64u << 20;
  std::size_t maxNameLength = 4096;
  // An entry that claims to grow more than this many times on inflation is refused before a
  // byte is inflated. Deflate cannot exceed about 1032:1, so only lies are caught. 0 = off.
  std::uint64_t maxRatio = 1100;
};

struct ZipEntry {
  std::string name;     // UTF-8; names without the UTF-8 flag are read as code page 437
  std::string rawName;  // the bytes as stored in the central directory
  std::string comment;  // as stored
  std::string extra;    // the central header's extra fields as stored
  std::uint16_t versionMadeBy = 0;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;  // 0 stored, 8 deflated
  std::uint16_t dosTime = 0;
  std::uint16_t dosDate = 0;
  std::uint32_t crc32 = 0;
  std::uint64_t compressedSize = 0;
  std::uint64_t uncompressedSize = 0;
  std::uint64_t localHeaderOffset = 0;  // from the start of the source
  std::uint32_t externalAttributes = 0;
  bool zip64 = false;  // the entry carried a ZIP64 extra field

  bool encrypted() const { return (flags & 1) != 0; }
  bool isDirectory() const { return !name.empty() && name.back() == '/'; }
};

// The Unix permission bits an entry of a regular file carries (made on a Unix system), 0 when
// it carries none.
inline std::uint32_t UnixModeOf(const ZipEntry& entry) {
  if ((entry.versionMadeBy >> 8) != 3) return 0;
  const std::uint32_t mode = entry.externalAttributes >> 16;
  const std::uint32_t type = mode & 0170000;
  return type == 0100000 || type == 0 ? mode & 07777 : 0;
}

// Whether the entry stands for a link rather than for a file or folder: a Unix symbolic link
// (its data is the path it points to), or a Windows reparse point. Extracted as a link it could
// lead later entries out of the folder they go to; extracted as a file it would be a file of
// a path's text. Extractors leave it out.
inline bool IsLinkEntry(const ZipEntry& entry) {
  const unsigned host = entry.versionMadeBy >> 8;
  if (host == 3 && ((entry.externalAttributes >> 16) & 0170000) == 0120000) return true;
  // The low byte carries the DOS attributes; 0x400 is the reparse point bit.
  return (host == 0 || host == 10 || host == 11 || host == 14) && (entry.externalAttributes & 0x400) != 0;
}

// The last-write time in Unix seconds from the entry's extended-timestamp field, when it
// carries one (the DOS time of the header is local time and 2-second steps).
bool EntryUnixTime(const ZipEntry& entry, std::int64_t* seconds);

class ZipReader {
 public:
  explicit ZipReader(ByteSource& source) : source_(source) {}

  // Reads the end record and the central directory. Everything else needs a successful Open.
  [[nodiscard]] ZipError Open(const ZipLimits& limits = {});

  const std::vector<ZipEntry>& entries() const { return entries_; }
  const std::string& comment() const { return comment_; }
  bool isZip64() const { return zip64_; }
  // The first entry with exactly this UTF-8 name (case-sensitive), or null.
  const ZipEntry* Find(std::string_view name) const;

  // The data of an entry in pieces of at most 64 KiB, in order; `sink` returns false to stop.
  // Refuses an entry whose size is above `maxSize` before reading any of it. The CRC is
  // checked after the last piece, so a caller that must not act on damaged data waits for
  // kNone.
  [[nodiscard]] ZipError ReadEntry(const ZipEntry& entry, std::uint64_t maxSize,
                                   const std::function<bool(std::string_view)>& sink);
  // The whole data into `out` (emptied first; left empty on failure).
  [[nodiscard]] ZipError ReadEntry(const ZipEntry& entry, std::uint64_t maxSize, std::string* out);
  [[nodiscard]] ZipError ReadEntry(std::string_view name, std::uint64_t maxSize, std::string* out);

 private:
  ZipError FindEnd(std::uint64_t* cdOffset, std::uint64_t* cdSize, std::uint64_t* count,
                   std::uint64_t* cdEnd);
  ZipError ReadCentralDirectory(const std::string& cd, std::uint64_t count, std::uint64_t bias);
  ZipError DataStart(const ZipEntry& entry, std::uint64_t* start);

  ByteSource& source_;
  ZipLimits limits_;
  std::vector<ZipEntry> entries_;
  std::string comment_;
  std::uint64_t cdStart_ = 0;  // where the central directory really begins
  bool zip64_ = false;
  bool open_ = false;
};

// A short German text of an error, for log rows.
std::wstring_view ZipErrorText(ZipError error);

// Code page 437, the zip format's old name encoding, to UTF-8.
std::string Cp437ToUtf8(std::string_view bytes);

}  // namespace ablagix
