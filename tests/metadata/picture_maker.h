// Pictures made by hand for tests: TIFF structures in either byte order, and a JPEG around
// one.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ablagix::test {

// A TIFF structure made by hand, in either byte order.
class TiffMaker {
 public:
  explicit TiffMaker(bool little) : little_(little) {}

  struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::string data;  // already in the maker's byte order
  };

  std::string U16(std::uint16_t v) const {
    return little_ ? std::string{static_cast<char>(v), static_cast<char>(v >> 8)}
                   : std::string{static_cast<char>(v >> 8), static_cast<char>(v)};
  }
  std::string U32(std::uint32_t v) const {
    return little_ ? U16(static_cast<std::uint16_t>(v)) + U16(static_cast<std::uint16_t>(v >> 16))
                   : U16(static_cast<std::uint16_t>(v >> 16)) + U16(static_cast<std::uint16_t>(v));
  }
  Entry Ascii(std::uint16_t tag, const std::string& text) const {
    return {tag, 2, static_cast<std::uint32_t>(text.size() + 1), text + '\0'};
  }
  Entry Short(std::uint16_t tag, std::uint16_t v) const { return {tag, 3, 1, U16(v)}; }
  Entry Rationals(std::uint16_t tag, std::vector<std::pair<std::int32_t, std::int32_t>> values,
                  std::uint16_t type = 5) const {
    std::string data;
    for (auto [n, d] : values) data += U32(static_cast<std::uint32_t>(n)) + U32(static_cast<std::uint32_t>(d));
    return {tag, type, static_cast<std::uint32_t>(values.size()), data};
  }
  Entry Undefined(std::uint16_t tag, const std::string& bytes) const {
    return {tag, 7, static_cast<std::uint32_t>(bytes.size()), bytes};
  }

  // The block: header, the first directory (with pointers to the other two when they have
  // entries), then the Exif and GPS directories, each followed by its long values.
  std::string Make(std::vector<Entry> main, const std::vector<Entry>& exif, const std::vector<Entry>& gps) const {
    std::string out = little_ ? "II" : "MM";
    out += U16(42) + U32(8);
    const std::size_t mainSize = DirectorySize(main) + (exif.empty() ? 0 : 12) + (gps.empty() ? 0 : 12);
    const std::uint32_t exifAt = static_cast<std::uint32_t>(8 + mainSize);
    const std::uint32_t gpsAt = static_cast<std::uint32_t>(exifAt + (exif.empty() ? 0 : DirectorySize(exif)));
    if (!exif.empty()) main.push_back({34665, 4, 1, U32(exifAt)});
    if (!gps.empty()) main.push_back({34853, 4, 1, U32(gpsAt)});
    out += Directory(main, 8);
    if (!exif.empty()) out += Directory(exif, exifAt);
    if (!gps.empty()) out += Directory(gps, gpsAt);
    return out;
  }

 private:
  static std::size_t DirectorySize(const std::vector<Entry>& entries) {
    std::size_t size = 2 + entries.size() * 12 + 4;
    for (const Entry& e : entries) size += e.data.size() > 4 ? e.data.size() : 0;
    return size;
  }
  std::string Directory(const std::vector<Entry>& entries, std::uint32_t at) const {
    std::string head = U16(static_cast<std::uint16_t>(entries.size()));
    std::string values;
    std::uint32_t valueAt = static_cast<std::uint32_t>(at + 2 + entries.size() * 12 + 4);
    for (const Entry& e : entries) {
      head += U16(e.tag) + U16(e.type) + U32(e.count);
      if (e.data.size() <= 4) {
        head += e.data + std::string(4 - e.data.size(), '\0');
      } else {
        head += U32(valueAt + static_cast<std::uint32_t>(values.size()));
        values += e.data;
      }
    }
    return head + U32(0) + values;
  }
  bool little_;
};


inline std::string Jpeg(const std::string& tiff) {
  const std::string payload = std::string("Exif\0\0", 6) + tiff;
  const auto length = static_cast<std::uint16_t>(payload.size() + 2);
  // A JFIF segment first, as cameras and editors write them, and the start of the pixels last.
  return std::string("\xFF\xD8\xFF\xE0\x00\x06JFIF", 10) + std::string("\xFF\xE1", 2) +
         std::string{static_cast<char>(length >> 8), static_cast<char>(length)} + payload +
         std::string("\xFF\xDA\x00\x02\x00\x00\xFF\xD9", 8);
}

}  // namespace ablagix::test
