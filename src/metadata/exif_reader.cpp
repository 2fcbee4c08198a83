#include "metadata/exif_reader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <unordered_set>

#include "base/byte_order.h"
#include "base/text.h"

namespace ablagix {
namespace {

// Bounds that keep a damaged or hostile file from costing more than a real picture would.
constexpr std::size_t kMaxItems = 4096;
constexpr std::uint16_t kMaxEntriesPerDirectory = 4096;
constexpr std::uint64_t kMaxValueBytes = 1u << 20;
constexpr std::size_t kMaxJpegSegments = 4096;
constexpr std::size_t kMaxPngChunks = 100000;
constexpr std::uint64_t kMaxPngExifBytes = 16u << 20;
constexpr std::size_t kJpegHeadBytes = 16384;

constexpr std::uint16_t kExifDirectoryTag = 34665;
constexpr std::uint16_t kGpsDirectoryTag = 34853;
constexpr std::uint32_t kDateTimeTag = 306;


// Size of one value of a TIFF type, 0 for unknown types.
std::size_t TypeSize(std::uint16_t type) {
  switch (type) {
    case 1: case 2: case 6: case 7: return 1;
    case 3: case 8: return 2;
    case 4: case 9: case 11: return 4;
    case 5: case 10: case 12: return 8;
    default: return 0;
  }
}
// The unit whose bytes are reversed for little-endian order (rationals: each half).
std::size_t SwapUnit(std::uint16_t type) {
  switch (type) {
    case 3: case 8: return 2;
    case 4: case 5: case 9: case 10: case 11: return 4;
    case 12: return 8;
    default: return 1;
  }
}

class ItemList {
 public:
  explicit ItemList(std::vector<PropertyItem>* items) : items_(items) {}
  bool full() const { return items_->size() >= kMaxItems; }
  bool Has(std::uint32_t id) const { return ids_.count(id) != 0; }
  void Add(PropertyItem item) {
    if (full() || !ids_.insert(item.id).second) return;
    items_->push_back(std::move(item));
  }

 private:
  std::vector<PropertyItem>* items_;
  std::unordered_set<std::uint32_t> ids_;
};

// A TIFF structure (a whole TIFF file, or the block inside a JPEG or PNG) at `base` of the
// source, `length` bytes long. Offsets inside it count from its start.
class TiffBlock {
 public:
  TiffBlock(ByteSource& source, std::uint64_t base, std::uint64_t length)
      : source_(source), base_(base), length_(length) {}

  void Collect(ItemList& items) {
    std::string header;
    if (!Bytes(0, 8, &header)) return;
    if (header.compare(0, 2, "II") == 0) {
      little_ = true;
    } else if (header.compare(0, 2, "MM") != 0) {
      return;
    }
    if (U16(header, 2) != 42) return;
    std::uint32_t exif = 0;
    std::uint32_t gps = 0;
    Directory(U32(header, 4), items, &exif, &gps);
    if (exif) Directory(exif, items, nullptr, nullptr);
    if (gps) Directory(gps, items, nullptr, nullptr);
  }

 private:
  bool Bytes(std::uint64_t offset, std::uint64_t count, std::string* out) {
    if (offset > length_ || count > length_ - offset) return false;
    return source_.Read(base_ + offset, static_cast<std::size_t>(count), out) && out->size() == count;
  }
  std::uint16_t U16(const std::string& b, std::size_t at) const { return little_ ? LoadLe16(b, at) : LoadBe16(b, at); }
  std::uint32_t U32(const std::string& b, std::size_t at) const { return little_ ? LoadLe32(b, at) : LoadBe32(b, at); }

  // Reads one directory; the first one also names the Exif and GPS directories.
  void Directory(std::uint32_t offset, ItemList& items, std::uint32_t* exif, std::uint32_t* gps) {
    if (offset == 0 || !visited_.insert(offset).second) return;
    std::string countBytes;
    if (!Bytes(offset, 2, &countBytes)) return;
    const std::uint16_t count = std::min(U16(countBytes, 0), kMaxEntriesPerDirectory);
    std::string entries;
    if (!Bytes(std::uint64_t{offset} + 2, std::uint64_t{count} * 12, &entries)) return;
    for (std::size_t i = 0; i < count && !items.full(); ++i) {
      const std::size_t at = i * 12;
      const std::uint16_t tag = U16(entries, at);
      const std::uint16_t type = U16(entries, at + 2);
      const std::uint32_t values = U32(entries, at + 4);
      const std::size_t unit = TypeSize(type);
      if (unit == 0) continue;
      const std::uint64_t size = std::uint64_t{values} * unit;
      if (size > kMaxValueBytes) continue;
      PropertyItem item;
      item.id = tag;
      item.type = type;
      if (size <= 4) {
        item.value = entries.substr(at + 8, static_cast<std::size_t>(size));
      } else if (!Bytes(U32(entries, at + 8), size, &item.value)) {
        continue;
      }
      if (exif && tag == kExifDirectoryTag && values >= 1 && unit == 4) *exif = U32(entries, at + 8);
      if (gps && tag == kGpsDirectoryTag && values >= 1 && unit == 4) *gps = U32(entries, at + 8);
      if (!little_) {
        const std::size_t swap = SwapUnit(type);
        for (std::size_t k = 0; swap > 1 && k + swap <= item.value.size(); k += swap) {
          std::reverse(item.value.begin() + static_cast<std::ptrdiff_t>(k),
                       item.value.begin() + static_cast<std::ptrdiff_t>(k + swap));
        }
      }
      items.Add(std::move(item));
    }
  }

  ByteSource& source_;
  std::uint64_t base_;
  std::uint64_t length_;
  bool little_ = false;
  std::unordered_set<std::uint32_t> visited_;
};

void CollectJpeg(ByteSource& source, ItemList& items) {
  std::uint64_t at = 2;
  std::string head;
  for (std::size_t segments = 0; segments < kMaxJpegSegments; ++segments) {
    if (!source.Read(at, 4, &head) || head.size() < 2) return;
    if (static_cast<unsigned char>(head[0]) != 0xFF) return;
    const auto marker = static_cast<unsigned char>(head[1]);
    if (marker == 0xFF) {  // fill byte before the marker
      ++at;
      continue;
    }
    if (marker == 0xD9 || marker == 0xDA) return;  // end of image, start of the pixel data
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
      at += 2;
      continue;
    }
    if (head.size() < 4) return;
    const std::uint16_t length = LoadBe16(head, 2);
    if (length < 2) return;
    if (marker == 0xE1 && length >= 8) {
      // The whole segment in one read; its TIFF structure is then taken apart in memory. A
      // file cut short inside it gives what the bytes that are there hold.
      std::string segment;
      if (source.Read(at + 4, length - 2u, &segment) && segment.compare(0, 6, std::string("Exif\0\0", 6)) == 0) {
        MemoryByteSource block(std::string_view(segment).substr(6));
        TiffBlock(block, 0, length - 8u).Collect(items);
        return;
      }
    }
    at += 2u + length;
  }
}

void CollectPng(ByteSource& source, ItemList& items) {
  std::uint64_t at = 8;
  std::string head;
  std::string time;
  for (std::size_t chunks = 0; chunks < kMaxPngChunks; ++chunks) {
    if (!source.Read(at, 8, &head) || head.size() < 8) break;
    const std::uint32_t length = LoadBe32(head, 0);
    const std::string type = head.substr(4, 4);
    if (type == "IEND") break;
    if (type == "eXIf" && length <= kMaxPngExifBytes) {
      TiffBlock(source, at + 8, length).Collect(items);
    } else if (type == "tIME" && length == 7 && source.Read(at + 8, 7, &time) && time.size() == 7) {
      // The picture's last change, which the imaging library reports as its DateTime.
      char text[32];
      std::snprintf(text, sizeof text, "%04u:%02u:%02u %02u:%02u:%02u", unsigned{LoadBe16(time, 0)},
                    unsigned{static_cast<unsigned char>(time[2])}, unsigned{static_cast<unsigned char>(time[3])},
                    unsigned{static_cast<unsigned char>(time[4])}, unsigned{static_cast<unsigned char>(time[5])},
                    unsigned{static_cast<unsigned char>(time[6])});
      PropertyItem item;
      item.id = kDateTimeTag;
      item.type = kPropertyAscii;
      item.value = std::string(text) + '\0';
      if (!items.Has(kDateTimeTag)) items.Add(std::move(item));
    }
    at += 12u + length;
  }
}

std::int32_t Signed32(const std::string& b, std::size_t at) { return static_cast<std::int32_t>(LoadLe32(b, at)); }

std::wstring Decimal(std::int64_t value) {
  return value < 0 ? L"-" + NumberText(static_cast<std::uint64_t>(-value)) : NumberText(static_cast<std::uint64_t>(value));
}

std::wstring_view TrimBlanks(std::wstring_view text) {
  while (!text.empty() && text.front() == L' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == L' ') text.remove_suffix(1);
  return text;
}

// The leading whole number of a text, read into a single: optional sign, then digits; what
// follows them is ignored.
bool ParseNumber(std::wstring_view text, float* out) {
  text = TrimBlanks(text);
  bool negative = false;
  if (!text.empty() && (text.front() == L'-' || text.front() == L'+')) {
    negative = text.front() == L'-';
    text.remove_prefix(1);
  }
  if (text.empty()) return false;
  double value = 0;
  std::size_t digits = 0;
  while (digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9') {
    value = value * 10 + (text[digits] - L'0');
    ++digits;
  }
  if (digits == 0) return false;
  *out = static_cast<float>(negative ? -value : value);
  return true;
}

// n/d as a single; false for a malformed text or a zero denominator.
bool Quotient(std::wstring_view rational, float* out) {
  const std::size_t slash = rational.find(L'/');
  if (slash == std::wstring_view::npos) return ParseNumber(rational, out);
  float numerator = 0;
  float denominator = 0;
  // The denominator is read as far as it is a number, so "1 30/1" gives 1.
  if (!ParseNumber(rational.substr(0, slash), &numerator) || !ParseNumber(rational.substr(slash + 1), &denominator)) {
    return false;
  }
  if (denominator == 0) return false;
  *out = numerator / denominator;
  return std::isfinite(*out);
}

// The shortest text of a single: seven significant digits at most, decimal comma.
std::wstring SingleText(float value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.7g", static_cast<double>(value));
  std::wstring out;
  for (const char* c = text; *c; ++c) {
    out.push_back(*c == '.' ? L',' : *c == 'e' ? L'E' : static_cast<wchar_t>(*c));
  }
  return out;
}

// Exactly `decimals` places, halves rounded away from zero.
std::wstring FixedText(float value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  const double rounded = std::round(static_cast<double>(value) * scale);
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, rounded / scale);
  std::wstring out;
  for (const char* c = text; *c; ++c) out.push_back(*c == '.' ? L',' : static_cast<wchar_t>(*c));
  return out == L"-0,0" ? L"0,0" : out;
}

const PropertyItem* Find(const std::vector<PropertyItem>& items, std::uint32_t id) {
  for (const PropertyItem& item : items) {
    if (item.id == id) return &item;
  }
  return nullptr;
}

struct FieldTags {
  std::uint32_t tag;
  std::uint32_t presence;  // the tag whose presence is tested
  std::uint32_t ref;       // GPS: the hemisphere tag, also required; 0 for none
};
constexpr std::array<FieldTags, kExifFieldCount> kFields = {{
    {306, 306, 0},     {36867, 36867, 0}, {36868, 306, 0},   {274, 274, 0},     {271, 271, 0},
    {272, 272, 0},     {40962, 40962, 0}, {40963, 40963, 0}, {37385, 37385, 0}, {34855, 34855, 0},
    {33434, 33434, 0}, {282, 282, 0},     {283, 283, 0},     {33437, 33437, 0}, {37386, 37386, 0},
    {41987, 41987, 0}, {37122, 37122, 0}, {37510, 37510, 0}, {2, 2, 1},         {4, 4, 3},
}};

}  // namespace

std::vector<PropertyItem> ReadPropertyItems(ByteSource& source) {
  std::vector<PropertyItem> items;
  ItemList list(&items);
  // One read serves the type test and, in a JPEG, the walk over the segments before the
  // Exif block (usually the first one).
  ReadAheadByteSource head(source, kJpegHeadBytes);
  std::string magic;
  if (!head.Read(0, 8, &magic) || magic.size() < 4) return items;
  if (static_cast<unsigned char>(magic[0]) == 0xFF && static_cast<unsigned char>(magic[1]) == 0xD8) {
    CollectJpeg(head, list);
  } else if (magic.size() == 8 && magic == "\x89PNG\r\n\x1a\n") {
    CollectPng(source, list);
  } else if (magic.compare(0, 4, "II*\0", 4) == 0 || magic.compare(0, 4, "MM\0*", 4) == 0) {
    TiffBlock(source, 0, source.size()).Collect(list);
  }
  return items;
}

std::vector<PropertyItem> ReadPictureProperties(const std::wstring& path) {
  FileByteSource source;
  if (!source.Open(path)) return {};
  return ReadPropertyItems(source);
}

std::wstring PropertyRawText(const PropertyItem& item) {
  const std::string& v = item.value;
  switch (item.type) {
    case kPropertyAscii: {
      const std::string text = v.substr(0, v.find('\0'));
      return std::wstring(TrimBlanks(FromWindows1252(text)));
    }
    case kPropertyByte:
      return v.empty() ? L"" : NumberText(static_cast<unsigned char>(v[0]));
    case kPropertyShort:
      if (v.size() < 2) return L"";
      return Decimal(static_cast<std::int16_t>(LoadLe16(v, 0)));
    case kPropertyLong:
    case kPropertySignedLong:
      return v.size() < 4 ? L"" : Decimal(Signed32(v, 0));
    case kPropertyRational:
    case kPropertySignedRational: {
      std::wstring out;
      for (std::size_t at = 0; at + 8 <= v.size(); at += 8) {
        if (!out.empty()) out += L' ';
        out += Decimal(Signed32(v, at)) + L"/" + Decimal(Signed32(v, at + 4));
      }
      return out;
    }
    case kPropertyUndefined: {
      static constexpr wchar_t kHex[] = L"0123456789ABCDEF";
      std::wstring out;
      for (unsigned char c : v) {
        if (!out.empty()) out += L' ';
        out += kHex[c >> 4];
        out += kHex[c & 15];
      }
      return out;
    }
    default:
      return L"";
  }
}

std::wstring OrientationText(std::wstring_view raw) {
  static constexpr std::array<std::wstring_view, 8> kTexts = {
      L"Normal",         L"Flip Horizontal",
      L"180 Grad rechts", L"Flip Vertical",
      L"Vertical flip + 90 rotate right", L"90 Grad rechts",
      L"Horizontal flip + 90 rotate right", L"90 Grad links"};
  raw = TrimBlanks(raw);
  if (raw.size() != 1 || raw[0] < L'1' || raw[0] > L'8') return L"";
  return std::wstring(kTexts[static_cast<std::size_t>(raw[0] - L'1')]);
}

std::wstring FlashText(std::wstring_view raw) {
  struct Row {
    unsigned mask;
    std::wstring_view text;
  };
  // A cascade of mask tests, later rows overriding earlier ones: 17 (bits 16 and 1) ends as
  // "compulsory flash mode" without firing, as the program has always shown it.
  static constexpr std::array<Row, 21> kRows = {{
      {1, L"Flash fired"},
      {5, L"Strobe return light not detected"},
      {7, L"Strobe return light detected"},
      {9, L"Flash fired, compulsory flash mode"},
      {13, L"Flash fired, compulsory flash mode, return light not detected"},
      {15, L"Flash fired, compulsory flash mode, return light detected"},
      {16, L"Flash did not fire, compulsory flash mode"},
      {24, L"Flash did not fire, auto mode"},
      {25, L"Flash fired, auto mode"},
      {29, L"Flash fired, auto mode, return light not detected"},
      {31, L"Flash fired, auto mode, return light detected"},
      {32, L"No flash function"},
      {65, L"Flash fired, red-eye reduction mode"},
      {69, L"Flash fired, red-eye reduction mode, return light not detected"},
      {71, L"Flash fired, red-eye reduction mode, return light detected"},
      {73, L"Flash fired, compulsory flash mode, red-eye reduction mode"},
      {77, L"Flash fired, compulsory flash mode, red-eye reduction mode, return light not detected"},
      {79, L"Flash fired, compulsory flash mode, red-eye reduction mode, return light detected"},
      {89, L"Flash fired, auto mode, red-eye reduction mode"},
      {93, L"Flash fired, auto mode, return light not detected, red-eye reduction mode"},
      {95, L"Flash fired, auto mode, return light detected, red-eye reduction mode"},
  }};
  float number = 0;
  const auto value = ParseNumber(raw, &number) ? static_cast<std::int64_t>(number) : 0;
  std::wstring_view text = L"Flash did not fire";
  for (const Row& row : kRows) {
    if ((value & row.mask) == row.mask) text = row.text;
  }
  return std::wstring(text);
}

std::wstring RationalNumberText(std::wstring_view raw, int decimals) {
  if (raw.find(L'/') == std::wstring_view::npos) return std::wstring(raw);
  float value = 0;
  if (!Quotient(raw, &value)) return L"";
  return decimals < 0 ? SingleText(value) : FixedText(value, decimals);
}

std::wstring GpsPositionText(std::wstring_view ref, std::wstring_view raw) {
  const std::wstring hemisphere(ref);
  if (raw.find(L'/') == std::wstring_view::npos) return hemisphere + std::wstring(raw);
  const std::vector<std::wstring> parts = Split(TrimBlanks(raw), L' ');
  std::array<float, 3> values{0, 0, 0};
  for (std::size_t i = 0; i < parts.size() && i < 3; ++i) {
    if (!Quotient(parts[i], &values[i])) return L"";
  }
  const float minutes = values[1] * 60.0f / 3600.0f;
  const float seconds = values[2] / 3600.0f;
  const float degrees = values[0] + minutes + seconds;
  return hemisphere + SingleText(degrees);
}

std::wstring ExifFieldText(const std::vector<PropertyItem>& items, int field) {
  if (field < 0 || field >= kExifFieldCount) return L"";
  const FieldTags& tags = kFields[static_cast<std::size_t>(field)];
  if (!Find(items, tags.presence)) return L"";
  const PropertyItem* ref = tags.ref ? Find(items, tags.ref) : nullptr;
  if (tags.ref && !ref) return L"";
  const PropertyItem* item = Find(items, tags.tag);
  if (!item) return L"";
  const std::wstring raw = PropertyRawText(*item);
  switch (field) {
    case kExifOrientation:
      return OrientationText(raw);
    case kExifFlash:
      return FlashText(raw);
    case kExifXResolution:
    case kExifYResolution:
      return RationalNumberText(raw, -1);
    case kExifFNumber:
    case kExifCompressedBitsPerPixel:
      return RationalNumberText(raw, 1);
    case kExifFocalLength: {
      const std::wstring number = RationalNumberText(raw, 1);
      return number.empty() ? L"" : number + L"mm";
    }
    case kExifWhiteBalance:
      return raw == L"0" ? L"Auto" : raw == L"1" ? L"Manuell" : L"Unbekannt";
    case kExifUserComment:
      return raw.find(L"00 00 00 00 00") != std::wstring::npos ? L"" : raw;
    case kExifGpsLatitude:
    case kExifGpsLongitude:
      return GpsPositionText(PropertyRawText(*ref), raw);
    default:
      return raw;
  }
}

std::wstring GetExifValue(const std::wstring& path, int field) {
  if (field < 0 || field >= kExifFieldCount) return L"";
  return ExifFieldText(ReadPictureProperties(path), field);
}

}  // namespace ablagix
