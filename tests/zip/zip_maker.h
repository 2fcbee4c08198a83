// Zip archives built byte by byte for tests, so that every header field can be set (and
// damaged) on purpose.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix::test {

inline std::string Le16(std::uint64_t v) { return {static_cast<char>(v), static_cast<char>(v >> 8)}; }
inline std::string Le32(std::uint64_t v) { return Le16(v) + Le16(v >> 16); }
inline std::string Le64(std::uint64_t v) { return Le32(v) + Le32(v >> 32); }

inline std::uint32_t Crc32(std::string_view data) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size())));
}

// Raw deflate, as zip entries hold it.
inline std::string Deflate(std::string_view data) {
  z_stream z{};
  deflateInit2(&z, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&z, static_cast<uLong>(data.size())), '\0');
  z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  z.avail_in = static_cast<uInt>(data.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

class ZipMaker {
 public:
  struct Entry {
    std::string name;
    std::string data;  // uncompressed
    std::uint16_t method = 0;
    std::uint16_t flags = 0x0800;  // UTF-8 names
    bool zip64 = false;            // sizes and offset in a ZIP64 extra field
    std::string extra;             // further central extra fields
    std::uint16_t versionMadeBy = 0x031E;  // Unix, 3.0
    std::uint32_t externalAttributes = 0;
    // Overrides for damaged archives.
    std::int64_t crc = -1;
    std::int64_t declaredSize = -1;
  };

  // Bytes before the archive, as a self-extractor's stub; `countPrefix` says whether the
  // offsets include them (writers differ).
  std::string prefix;
  bool countPrefix = true;
  // Where the made bytes will lie in a larger (sparse) source; offsets count from there.
  std::uint64_t placedAt = 0;
  bool zip64End = false;
  std::string comment;

  void Add(Entry e) { entries_.push_back(std::move(e)); }
  void Add(std::string name, std::string data, bool deflate = false) {
    Entry e;
    e.name = std::move(name);
    e.data = std::move(data);
    e.method = deflate ? 8 : 0;
    Add(std::move(e));
  }

  std::string Make() const {
    std::string out = prefix;
    // The offset that the next byte written to `out` will have in the archive.
    auto here = [&] { return placedAt + out.size() - (countPrefix ? 0 : prefix.size()); };
    std::string central;
    bool wide = zip64End;
    for (const Entry& e : entries_) {
      const std::string stored = e.method == 8 ? Deflate(e.data) : e.data;
      const std::uint64_t crc = e.crc >= 0 ? static_cast<std::uint64_t>(e.crc) : Crc32(e.data);
      const std::uint64_t size = e.declaredSize >= 0 ? static_cast<std::uint64_t>(e.declaredSize) : e.data.size();
      const std::uint64_t offset = here();
      const std::string local64 = e.zip64 ? Le16(1) + Le16(16) + Le64(size) + Le64(stored.size()) : "";
      out += Le32(0x04034b50) + Le16(e.zip64 ? 45 : 20) + Le16(e.flags) + Le16(e.method) + Le32(0) + Le32(crc) +
             Le32(e.zip64 ? 0xFFFFFFFF : stored.size()) + Le32(e.zip64 ? 0xFFFFFFFF : size) + Le16(e.name.size()) +
             Le16(local64.size()) + e.name + local64 + stored;
      const std::string extra =
          (e.zip64 ? Le16(1) + Le16(24) + Le64(size) + Le64(stored.size()) + Le64(offset) : "") + e.extra;
      central += Le32(0x02014b50) + Le16(e.versionMadeBy) + Le16(e.zip64 ? 45 : 20) + Le16(e.flags) + Le16(e.method) +
                 Le32(0) + Le32(crc) + Le32(e.zip64 ? 0xFFFFFFFF : stored.size()) +
                 Le32(e.zip64 ? 0xFFFFFFFF : size) + Le16(e.name.size()) + Le16(extra.size()) + Le16(0) + Le16(0) +
                 Le16(0) + Le32(e.externalAttributes) + Le32(e.zip64 ? 0xFFFFFFFF : offset) + e.name + extra;
      wide = wide || e.zip64;
    }
    const std::uint64_t cdOffset = here();
    out += central;
    if (wide) {
      const std::uint64_t recordAt = here();
      out += Le32(0x06064b50) + Le64(44) + Le16(45) + Le16(45) + Le32(0) + Le32(0) + Le64(entries_.size()) +
             Le64(entries_.size()) + Le64(central.size()) + Le64(cdOffset);
      out += Le32(0x07064b50) + Le32(0) + Le64(recordAt) + Le32(1);
    }
    out += Le32(0x06054b50) + Le16(0) + Le16(0) + Le16(wide ? 0xFFFF : entries_.size()) +
           Le16(wide ? 0xFFFF : entries_.size()) + Le32(wide ? 0xFFFFFFFF : central.size()) +
           Le32(wide ? 0xFFFFFFFF : cdOffset) + Le16(comment.size()) + comment;
    return out;
  }

 private:
  std::vector<Entry> entries_;
};

}  // namespace ablagix::test
