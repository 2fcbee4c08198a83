#include "zip/zip_reader.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "base/byte_order.h"
#include "base/text.h"
#include "zip/zip_format.h"

namespace ablagix {
namespace {

using namespace zip_format;

constexpr std::size_t kEndSize = 22;
constexpr std::size_t kZip64EndSize = 56;
constexpr std::size_t kLocatorSize = 20;
constexpr std::size_t kCentralHeaderSize = 46;
constexpr std::size_t kLocalHeaderSize = 30;
constexpr std::size_t kMaxCommentSize = 0xFFFF;
constexpr std::size_t kChunk = 64 * 1024;
constexpr std::uint16_t kUnicodePathExtraId = 0x7075;
constexpr std::uint16_t kTimestampExtraId = 0x5455;


// Exactly `count` bytes or nothing.
ZipError ReadExact(ByteSource& source, std::uint64_t offset, std::size_t count, std::string* out) {
  if (offset > source.size() || count > source.size() - offset) return ZipError::kDamaged;
  if (!source.Read(offset, count, out)) return ZipError::kReadFailed;
  return out->size() == count ? ZipError::kNone : ZipError::kReadFailed;
}

std::uint32_t Crc(std::uint32_t crc, std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// The ZIP64 extra field replaces exactly those header values that are set to all ones, in
// this order.
bool ApplyZip64Extra(std::string_view field, ZipEntry* entry, bool wideUncompressed, bool wideCompressed,
                     bool wideOffset) {
  std::size_t at = 0;
  auto take = [&](std::uint64_t* value) {
    if (at + 8 > field.size()) return false;
    *value = LoadLe64(field, at);
    at += 8;
    return true;
  };
  if (wideUncompressed && !take(&entry->uncompressedSize)) return false;
  if (wideCompressed && !take(&entry->compressedSize)) return false;
  if (wideOffset && !take(&entry->localHeaderOffset)) return false;
  entry->zip64 = true;
  return true;
}

struct InflateStream {
  z_stream z{};
  bool ready = false;
  InflateStream() { ready = inflateInit2(&z, -MAX_WBITS) == Z_OK; }
  ~InflateStream() {
    if (ready) inflateEnd(&z);
  }
  InflateStream(const InflateStream&) = delete;
  InflateStream& operator=(const InflateStream&) = delete;
};

}  // namespace

std::string Cp437ToUtf8(std::string_view bytes) {
  static constexpr std::array<char16_t, 128> kHigh = {
      0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
      0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
      0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
      0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
      0x2524, 0x2561, 0x2562, 0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514,
      0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
      0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, 0x256A, 0x2518, 0x250C,
      0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
      0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320,
      0x2321, 0x00F7, 0x2248, 0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
  };
  std::wstring wide;
  wide.reserve(bytes.size());
  for (char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    wide.push_back(b < 0x80 ? static_cast<wchar_t>(b) : static_cast<wchar_t>(kHigh[b - 0x80]));
  }
  return ToUtf8(wide);
}

bool EntryUnixTime(const ZipEntry& entry, std::int64_t* seconds) {
  std::string_view extra = entry.extra;
  while (extra.size() >= 4) {
    const std::size_t length = LoadLe16(extra, 2);
    if (length > extra.size() - 4) break;
    if (LoadLe16(extra, 0) == kTimestampExtraId && length >= 5 && (extra[4] & 1)) {
      *seconds = static_cast<std::int32_t>(LoadLe32(extra, 5));
      return true;
    }
    extra.remove_prefix(4 + length);
  }
  return false;
}

std::wstring_view ZipErrorText(ZipError error) {
  switch (error) {
    case ZipError::kNone: return L"OK";
    case ZipError::kReadFailed: return L"Lesefehler";
    case ZipError::kNotZip: return L"kein Zip-Archiv";
    case ZipError::kDamaged: return L"Archiv besch\u00e4digt";
    case ZipError::kTooManyEntries: return L"zu viele Eintr\u00e4ge";
    case ZipError::kTooLarge: return L"Eintrag zu gro\u00df";
    case ZipError::kUnsupportedMethod: return L"Kompressionsverfahren nicht unterst\u00fctzt";
    case ZipError::kEncrypted: return L"verschl\u00fcsselt";
    case ZipError::kBadCrc: return L"Pr\u00fcfsumme falsch";
    case ZipError::kNotFound: return L"Eintrag nicht gefunden";
    case ZipError::kStopped: return L"abgebrochen";
  }
  return L"";
}

ZipError ZipReader::Open(const ZipLimits& limits) {
  limits_ = limits;
  entries_.clear();
  comment_.clear();
  zip64_ = false;
  open_ = false;
  std::uint64_t cdOffset = 0;
  std::uint64_t cdSize = 0;
  std::uint64_t count = 0;
  std::uint64_t cdEnd = 0;
  if (ZipError e = FindEnd(&cdOffset, &cdSize, &count, &cdEnd); e != ZipError::kNone) return e;
  if (count > limits_.maxEntries) return ZipError::kTooManyEntries;
  if (cdSize > limits_.maxCentralDirectoryBytes) return ZipError::kTooLarge;
  // The directory ends where the end records begin; when it was declared further on, the
  // archive was appended to other bytes (a self-extractor) and every offset is shifted.
  if (cdSize > cdEnd || cdOffset > cdEnd - cdSize) return ZipError::kDamaged;
  cdStart_ = cdEnd - cdSize;
  const std::uint64_t bias = cdStart_ - cdOffset;
  std::string cd;
  if (ZipError e = ReadExact(source_, cdStart_, static_cast<std::size_t>(cdSize), &cd); e != ZipError::kNone) return e;
  if (ZipError e = ReadCentralDirectory(cd, count, bias); e != ZipError::kNone) {
    entries_.clear();
    return e;
  }
  open_ = true;
  return ZipError::kNone;
}

ZipError ZipReader::FindEnd(std::uint64_t* cdOffset, std::uint64_t* cdSize, std::uint64_t* count,
                            std::uint64_t* cdEnd) {
  const std::uint64_t size = source_.size();
  if (size < kEndSize) return ZipError::kNotZip;
  const std::size_t tailSize = static_cast<std::size_t>(std::min<std::uint64_t>(size, kEndSize + kMaxCommentSize));
  const std::uint64_t tailAt = size - tailSize;
  std::string tail;
  if (ZipError e = ReadExact(source_, tailAt, tailSize, &tail); e != ZipError::kNone) return e;

  // The last end record whose comment reaches exactly to the end of the file; failing that,
  // the last one whose comment fits (bytes appended after an archive).
  std::size_t found = std::string::npos;
  for (std::size_t at = tailSize - kEndSize + 1; at-- > 0;) {
    if (LoadLe32(tail, at) != kEndSignature) continue;
    const std::size_t end = at + kEndSize + LoadLe16(tail, at + 20);
    if (end == tailSize) {
      found = at;
      break;
    }
    if (end < tailSize && found == std::string::npos) found = at;
  }
  if (found == std::string::npos) return ZipError::kNotZip;
  const std::string_view end(tail.data() + found, kEndSize);
  const std::uint64_t endAt = tailAt + found;
  comment_ = tail.substr(found + kEndSize, LoadLe16(end, 20));
  const std::uint16_t disk = LoadLe16(end, 4);
  const std::uint16_t cdDisk = LoadLe16(end, 6);
  *count = LoadLe16(end, 10);
  *cdSize = LoadLe32(end, 12);
  *cdOffset = LoadLe32(end, 16);
  *cdEnd = endAt;

  // A ZIP64 end record, announced by the locator right before the end record.
  std::string locator;
  if (endAt >= kLocatorSize && ReadExact(source_, endAt - kLocatorSize, kLocatorSize, &locator) == ZipError::kNone &&
      LoadLe32(locator, 0) == kZip64LocatorSignature) {
    const std::uint64_t locatorAt = endAt - kLocatorSize;
    std::uint64_t recordAt = LoadLe64(locator, 8);
    std::string record;
    auto readRecord = [&](std::uint64_t at) {
      return at <= locatorAt && locatorAt - at >= kZip64EndSize &&
             ReadExact(source_, at, kZip64EndSize, &record) == ZipError::kNone && LoadLe32(record, 0) == kZip64EndSignature;
    };
    // In an archive behind other bytes the declared position is off; the record usually
    // sits right before the locator.
    if (!readRecord(recordAt)) {
      recordAt = locatorAt >= kZip64EndSize ? locatorAt - kZip64EndSize : 0;
      if (!readRecord(recordAt)) return ZipError::kDamaged;
    }
    if (LoadLe32(record, 16) != 0 || LoadLe32(record, 20) != 0) return ZipError::kDamaged;  // spanned
    *count = LoadLe64(record, 32);
    *cdSize = LoadLe64(record, 40);
    *cdOffset = LoadLe64(record, 48);
    *cdEnd = recordAt;
    zip64_ = true;
  } else if (disk != 0 || cdDisk != 0) {
    return ZipError::kDamaged;  // archives spanning several disks are not read
  }
  return ZipError::kNone;
}

ZipError ZipReader::ReadCentralDirectory(const std::string& cd, std::uint64_t count, std::uint64_t bias) {
  const std::string_view all(cd);
  std::size_t at = 0;
  while (at + kCentralHeaderSize <= all.size() && LoadLe32(all, at) == kCentralSignature) {
    if (entries_.size() >= limits_.maxEntries) return ZipError::kTooManyEntries;
    const std::string_view h = all.substr(at, kCentralHeaderSize);
    const std::size_t nameLength = LoadLe16(h, 28);
    const std::size_t extraLength = LoadLe16(h, 30);
    const std::size_t commentLength = LoadLe16(h, 32);
    const std::size_t total = kCentralHeaderSize + nameLength + extraLength + commentLength;
    if (total > all.size() - at) return ZipError::kDamaged;
    if (nameLength > limits_.maxNameLength) return ZipError::kDamaged;

    ZipEntry entry;
    entry.versionMadeBy = LoadLe16(h, 4);
    entry.flags = LoadLe16(h, 8);
    entry.method = LoadLe16(h, 10);
    entry.dosTime = LoadLe16(h, 12);
    entry.dosDate = LoadLe16(h, 14);
    entry.crc32 = LoadLe32(h, 16);
    entry.compressedSize = LoadLe32(h, 20);
    entry.uncompressedSize = LoadLe32(h, 24);
    entry.externalAttributes = LoadLe32(h, 38);
    entry.localHeaderOffset = LoadLe32(h, 42);
    entry.rawName.assign(all.substr(at + kCentralHeaderSize, nameLength));
    entry.comment.assign(all.substr(at + kCentralHeaderSize + nameLength + extraLength, commentLength));
    const bool wideUncompressed = entry.uncompressedSize == 0xFFFFFFFF;
    const bool wideCompressed = entry.compressedSize == 0xFFFFFFFF;
    const bool wideOffset = entry.localHeaderOffset == 0xFFFFFFFF;

    std::string unicodeName;
    std::string_view extra = all.substr(at + kCentralHeaderSize + nameLength, extraLength);
    entry.extra.assign(extra);
    while (extra.size() >= 4) {
      const std::uint16_t id = LoadLe16(extra, 0);
      const std::size_t length = LoadLe16(extra, 2);
      if (length > extra.size() - 4) break;  // a cut field at the end is ignored, as others do
      const std::string_view field = extra.substr(4, length);
      if (id == kZip64ExtraId) {
        if (!ApplyZip64Extra(field, &entry, wideUncompressed, wideCompressed, wideOffset)) return ZipError::kDamaged;
      } else if (id == kUnicodePathExtraId && field.size() >= 5 && field[0] == 1 &&
                 LoadLe32(field, 1) == Crc(0, entry.rawName) && IsValidUtf8(field.substr(5))) {
        // Info-ZIP's UTF-8 name, valid only while it belongs to the stored name.
        unicodeName.assign(field.substr(5));
      }
      extra.remove_prefix(4 + length);
    }
    if (!unicodeName.empty()) {
      entry.name = std::move(unicodeName);
    } else if (entry.flags & kUtf8Flag) {
      entry.name = IsValidUtf8(entry.rawName) ? entry.rawName : ToUtf8(FromUtf8(entry.rawName));
    } else {
      entry.name = Cp437ToUtf8(entry.rawName);
    }

    // The local header and the data lie before the directory.
    if (entry.localHeaderOffset > cdStart_ - bias) return ZipError::kDamaged;
    entry.localHeaderOffset += bias;
    const std::uint64_t room = cdStart_ - entry.localHeaderOffset;
    if (room < kLocalHeaderSize + nameLength || entry.compressedSize > room - kLocalHeaderSize - nameLength) {
      return ZipError::kDamaged;
    }
    entries_.push_back(std::move(entry));
    at += total;
  }
  // Old writers let the 16-bit count wrap around beyond 65535 entries.
  const std::uint64_t parsed = entries_.size();
  if (zip64_ ? parsed != count : (parsed & 0xFFFF) != count) return ZipError::kDamaged;

  // Entries that share bytes are the trick of zip bombs that expand one stream many times.
  std::vector<const ZipEntry*> byOffset;
  byOffset.reserve(entries_.size());
  for (const ZipEntry& e : entries_) byOffset.push_back(&e);
  std::sort(byOffset.begin(), byOffset.end(),
            [](const ZipEntry* a, const ZipEntry* b) { return a->localHeaderOffset < b->localHeaderOffset; });
  for (std::size_t i = 1; i < byOffset.size(); ++i) {
    const ZipEntry& before = *byOffset[i - 1];
    const std::uint64_t end = before.localHeaderOffset + kLocalHeaderSize + before.rawName.size() + before.compressedSize;
    if (end > byOffset[i]->localHeaderOffset) return ZipError::kDamaged;
  }
  return ZipError::kNone;
}

const ZipEntry* ZipReader::Find(std::string_view name) const {
  for (const ZipEntry& e : entries_) {
    if (e.name == name) return &e;
  }
  return nullptr;
}

ZipError ZipReader::DataStart(const ZipEntry& entry, std::uint64_t* start) {
  std::string header;
  if (ZipError e = ReadExact(source_, entry.localHeaderOffset, kLocalHeaderSize, &header); e != ZipError::kNone) {
    return e;
  }
  if (LoadLe32(header, 0) != kLocalSignature || LoadLe16(header, 8) != entry.method) return ZipError::kDamaged;
  const std::size_t nameLength = LoadLe16(header, 26);
  const std::size_t extraLength = LoadLe16(header, 28);
  if (nameLength != entry.rawName.size()) return ZipError::kDamaged;
  std::string name;
  if (ZipError e = ReadExact(source_, entry.localHeaderOffset + kLocalHeaderSize, nameLength, &name);
      e != ZipError::kNone) {
    return e;
  }
  if (name != entry.rawName) return ZipError::kDamaged;
  *start = entry.localHeaderOffset + kLocalHeaderSize + nameLength + extraLength;
  if (*start > cdStart_ || entry.compressedSize > cdStart_ - *start) return ZipError::kDamaged;
  return ZipError::kNone;
}

ZipError ZipReader::ReadEntry(const ZipEntry& entry, std::uint64_t maxSize,
                              const std::function<bool(std::string_view)>& sink) {
  if (!open_) return ZipError::kNotZip;
  if (entry.encrypted()) return ZipError::kEncrypted;
  if (entry.method != 0 && entry.method != 8) return ZipError::kUnsupportedMethod;
  if (entry.uncompressedSize > maxSize) return ZipError::kTooLarge;
  if (entry.method == 8 && limits_.maxRatio != 0 && entry.compressedSize < entry.uncompressedSize / limits_.maxRatio) {
    return ZipError::kTooLarge;
  }
  if (entry.method == 0 && entry.compressedSize != entry.uncompressedSize) return ZipError::kDamaged;
  std::uint64_t at = 0;
  if (ZipError e = DataStart(entry, &at); e != ZipError::kNone) return e;

  std::uint32_t crc = Crc(0, {});
  std::uint64_t left = entry.compressedSize;
  std::string in;
  if (entry.method == 0) {
    while (left > 0) {
      const std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(left, kChunk));
      if (ZipError e = ReadExact(source_, at, piece, &in); e != ZipError::kNone) return e;
      crc = Crc(crc, in);
      if (!sink(in)) return ZipError::kStopped;
      at += piece;
      left -= piece;
    }
  } else {
    InflateStream inflater;
    if (!inflater.ready) return ZipError::kReadFailed;
    z_stream& z = inflater.z;
    std::string out(kChunk, '\0');
    std::uint64_t produced = 0;
    for (;;) {
      if (z.avail_in == 0 && left > 0) {
        const std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(left, kChunk));
        if (ZipError e = ReadExact(source_, at, piece, &in); e != ZipError::kNone) return e;
        at += piece;
        left -= piece;
        z.next_in = reinterpret_cast<Bytef*>(in.data());
        z.avail_in = static_cast<uInt>(piece);
      }
      const uInt inBefore = z.avail_in;
      z.next_out = reinterpret_cast<Bytef*>(out.data());
      z.avail_out = static_cast<uInt>(out.size());
      const int rc = inflate(&z, Z_NO_FLUSH);
      const std::size_t got = out.size() - z.avail_out;
      if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR) return ZipError::kDamaged;
      if (got > 0) {
        produced += got;
        // More than the directory promised: the caller's limit was checked against that promise.
        if (produced > entry.uncompressedSize) return ZipError::kDamaged;
        const std::string_view piece(out.data(), got);
        crc = Crc(crc, piece);
        if (!sink(piece)) return ZipError::kStopped;
      }
      if (rc == Z_STREAM_END) break;
      // No progress with all input given: the stream is cut short.
      if (got == 0 && z.avail_in == inBefore && (left == 0 || z.avail_in != 0)) return ZipError::kDamaged;
    }
    if (produced != entry.uncompressedSize) return ZipError::kDamaged;
  }
  return crc == entry.crc32 ? ZipError::kNone : ZipError::kBadCrc;
}

ZipError ZipReader::ReadEntry(const ZipEntry& entry, std::uint64_t maxSize, std::string* out) {
  out->clear();
  if (entry.uncompressedSize <= maxSize) {
    // The declared size is only a claim; beyond 1 MiB the string grows as the data arrives.
    out->reserve(static_cast<std::size_t>(std::min<std::uint64_t>(entry.uncompressedSize, 1u << 20)));
  }
  const ZipError e = ReadEntry(entry, maxSize, [out](std::string_view piece) {
    out->append(piece);
    return true;
  });
  if (e != ZipError::kNone) out->clear();
  return e;
}

ZipError ZipReader::ReadEntry(std::string_view name, std::uint64_t maxSize, std::string* out) {
  out->clear();
  const ZipEntry* entry = Find(name);
  if (!entry) return open_ ? ZipError::kNotFound : ZipError::kNotZip;
  return ReadEntry(*entry, maxSize, out);
}

}  // namespace ablagix
