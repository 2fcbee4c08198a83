#include "metadata/version_resource.h"

#include <algorithm>
#include <cstdint>

#include "base/byte_order.h"
#include "base/text.h"

namespace ablagix {
namespace {

// Bounds that keep a damaged or hostile file from costing more than a real one would. Real
// version resources are a few kilobytes.
constexpr std::uint32_t kMaxSections = 1024;
constexpr std::uint32_t kMaxDirectoryEntries = 4096;
constexpr std::uint32_t kMaxVersionBytes = 1u << 20;
constexpr int kMaxChildren = 4096;

constexpr std::uint32_t kResourceTypeVersion = 16;
constexpr std::uint32_t kVersionResourceId = 1;
constexpr std::uint32_t kLanguageGerman = 0x0407;


bool ReadExactly(ByteSource& source, std::uint64_t offset, std::uint64_t count, std::string* out) {
  if (offset > source.size() || count > source.size() - offset) return false;
  return source.Read(offset, static_cast<std::size_t>(count), out) && out->size() == count;
}

struct Section {
  std::uint32_t address = 0;  // relative virtual address
  std::uint32_t rawSize = 0;
  std::uint32_t rawOffset = 0;
};

// A PE image as far as the resources need it: where its sections lie in the file.
class PeImage {
 public:
  explicit PeImage(ByteSource& source) : source_(source) {}

  bool Open() {
    std::string dos;
    if (!ReadExactly(source_, 0, 64, &dos) || dos.compare(0, 2, "MZ") != 0) return false;
    const std::uint64_t pe = LoadLe32(dos, 0x3C);
    std::string coff;
    if (!ReadExactly(source_, pe, 24, &coff) || coff.compare(0, 4, std::string("PE\0\0", 4)) != 0) return false;
    const std::uint32_t sectionCount = std::min<std::uint32_t>(LoadLe16(coff, 6), kMaxSections);
    const std::uint16_t optionalSize = LoadLe16(coff, 20);
    std::string optional;
    if (!ReadExactly(source_, pe + 24, optionalSize, &optional) || optional.size() < 2) return false;
    // The data directories follow the fields whose width differs between PE32 and PE32+.
    std::size_t directories = 0;
    switch (LoadLe16(optional, 0)) {
      case 0x10B: directories = 96; break;
      case 0x20B: directories = 112; break;
      default: return false;
    }
    const std::size_t resourceEntry = directories + 2 * 8;
    if (resourceEntry + 8 > optional.size() || LoadLe32(optional, directories - 4) <= 2) return false;
    resourceAddress_ = LoadLe32(optional, resourceEntry);
    if (resourceAddress_ == 0) return false;
    std::string table;
    if (!source_.Read(pe + 24 + optionalSize, std::size_t{sectionCount} * 40, &table)) return false;
    for (std::size_t at = 0; at + 40 <= table.size(); at += 40) {
      sections_.push_back({LoadLe32(table, at + 12), LoadLe32(table, at + 16), LoadLe32(table, at + 20)});
    }
    return true;
  }

  std::uint32_t resourceAddress() const { return resourceAddress_; }

  // `count` bytes at a relative virtual address, from the section's bytes in the file. With
  // `allowShort` a read that runs past them gives what is there.
  bool Read(std::uint64_t address, std::uint32_t count, std::string* out, bool allowShort = false) {
    for (const Section& s : sections_) {
      if (address < s.address || address - s.address >= s.rawSize) continue;
      const std::uint64_t inside = address - s.address;
      const std::uint64_t available = s.rawSize - inside;
      if (count > available && !allowShort) return false;
      const std::uint64_t wanted = std::min<std::uint64_t>(count, available);
      return source_.Read(s.rawOffset + inside, static_cast<std::size_t>(wanted), out) &&
             (allowShort || out->size() == wanted);
    }
    return false;
  }

 private:
  ByteSource& source_;
  std::uint32_t resourceAddress_ = 0;
  std::vector<Section> sections_;
};

struct DirectoryEntry {
  std::uint32_t id = 0;
  bool named = false;
  bool directory = false;
  std::uint32_t offset = 0;  // from the start of the resources
};

std::vector<DirectoryEntry> ResourceDirectory(PeImage& image, std::uint32_t offset) {
  std::vector<DirectoryEntry> entries;
  const std::uint64_t at = std::uint64_t{image.resourceAddress()} + offset;
  std::string header;
  if (!image.Read(at, 16, &header)) return entries;
  const std::uint32_t count =
      std::min<std::uint32_t>(std::uint32_t{LoadLe16(header, 12)} + LoadLe16(header, 14), kMaxDirectoryEntries);
  std::string raw;
  if (!image.Read(at + 16, count * 8, &raw, true)) return entries;
  for (std::size_t i = 0; i + 8 <= raw.size(); i += 8) {
    const std::uint32_t name = LoadLe32(raw, i);
    const std::uint32_t target = LoadLe32(raw, i + 4);
    entries.push_back({name & 0x7FFFFFFFu, (name & 0x80000000u) != 0, (target & 0x80000000u) != 0,
                       target & 0x7FFFFFFFu});
  }
  return entries;
}

// The entry with this number, else (when `orFirst`) the first one.
bool Pick(const std::vector<DirectoryEntry>& entries, std::uint32_t id, bool orFirst, DirectoryEntry* out) {
  for (const DirectoryEntry& e : entries) {
    if (!e.named && e.id == id) {
      *out = e;
      return true;
    }
  }
  if (!orFirst || entries.empty()) return false;
  *out = entries.front();
  return true;
}

// The bytes of the version resource: type 16, the resource numbered 1 as the system asks
// for it (else the first), in German when there is such a language (else the first).
bool VersionResourceBytes(PeImage& image, std::string* out) {
  DirectoryEntry type;
  DirectoryEntry name;
  DirectoryEntry language;
  if (!Pick(ResourceDirectory(image, 0), kResourceTypeVersion, false, &type) || !type.directory ||
      !Pick(ResourceDirectory(image, type.offset), kVersionResourceId, true, &name) || !name.directory ||
      !Pick(ResourceDirectory(image, name.offset), kLanguageGerman, true, &language) || language.directory) {
    return false;
  }
  std::string data;
  if (!image.Read(std::uint64_t{image.resourceAddress()} + language.offset, 16, &data)) return false;
  const std::uint32_t size = std::min(LoadLe32(data, 4), kMaxVersionBytes);
  return image.Read(LoadLe32(data, 0), size, out, true) && !out->empty();
}

// --- The version block tree: each block is its length, its value's length and type, a key,
// the value and the child blocks, each part starting on a four-byte boundary.

std::size_t Align4(std::size_t at) { return (at + 3) & ~std::size_t{3}; }

struct Block {
  std::wstring key;
  std::size_t valueAt = 0;
  std::size_t valueEnd = 0;
  std::size_t childrenAt = 0;
  std::size_t end = 0;
};

bool ParseBlock(std::string_view data, std::size_t at, std::size_t limit, Block* block) {
  if (at > limit || limit - at < 6) return false;
  const std::uint16_t length = LoadLe16(data, at);
  if (length < 6) return false;
  // A block that claims more than its parent holds is cut to the parent.
  block->end = std::min(limit, at + length);
  const std::uint16_t valueLength = LoadLe16(data, at + 2);
  const bool text = LoadLe16(data, at + 4) == 1;
  std::u16string key;
  std::size_t p = at + 6;
  for (; p + 1 < block->end && LoadLe16(data, p) != 0; p += 2) key.push_back(static_cast<char16_t>(LoadLe16(data, p)));
  if (p + 1 >= block->end) return false;  // no end to the key
  block->key = FromUtf16(key);
  block->valueAt = std::min(Align4(p + 2), block->end);
  // Text lengths count characters; some writers count bytes anyway, so the value is also
  // cut at its first zero later.
  const std::size_t valueBytes = text ? std::size_t{valueLength} * 2 : valueLength;
  block->valueEnd = std::min(block->valueAt + valueBytes, block->end);
  block->childrenAt = std::min(Align4(block->valueEnd), block->end);
  return true;
}

std::vector<Block> Children(std::string_view data, const Block& parent) {
  std::vector<Block> children;
  std::size_t at = parent.childrenAt;
  Block child;
  for (int n = 0; n < kMaxChildren && ParseBlock(data, at, parent.end, &child); ++n) {
    children.push_back(child);
    at = Align4(child.end);
  }
  return children;
}

std::wstring BlockText(std::string_view data, const Block& block) {
  std::u16string units;
  for (std::size_t p = block.valueAt; p + 2 <= block.valueEnd; p += 2) {
    const auto unit = static_cast<char16_t>(LoadLe16(data, p));
    if (unit == 0) break;
    units.push_back(unit);
  }
  return FromUtf16(units);
}

// German tables first, as the interface is German and Explorer on a German system shows
// them; "04B0" is the Unicode code page that current tools write. Then English, the usual
// language of programs with one foreign table, then whatever comes first.
int TableRank(std::wstring_view key) {
  if (EqualsNoCase(key, L"040704B0")) return 0;
  if (StartsWithNoCase(key, L"0407")) return 1;
  if (StartsWithNoCase(key, L"0409")) return 2;
  return 3;
}

void ReadStrings(std::string_view data, VersionInfo* info) {
  Block root;
  if (!ParseBlock(data, 0, data.size(), &root)) return;
  const Block* best = nullptr;
  std::vector<Block> tables;
  for (const Block& child : Children(data, root)) {
    if (!EqualsNoCase(child.key, L"StringFileInfo")) continue;
    for (Block& table : Children(data, child)) tables.push_back(std::move(table));
  }
  for (const Block& table : tables) {
    if (!best || TableRank(table.key) < TableRank(best->key)) best = &table;
  }
  if (!best) return;
  info->table = best->key;
  for (const Block& entry : Children(data, *best)) {
    info->strings.emplace_back(entry.key, BlockText(data, entry));
  }
}

bool HasProgramExtension(const std::wstring& path) {
  // The last four characters are looked up in one text, so a name ending in "e.dl" counts
  // as well; such a name is read and gives "Unbekannt" unless it is a program after all.
  const std::wstring_view last = std::wstring_view(path).substr(path.size() - std::min<std::size_t>(path.size(), 4));
  return !path.empty() && std::wstring_view(L".exe.dll.ocx.drv").find(ToLowerText(last)) != std::wstring_view::npos;
}

}  // namespace

VersionInfo ReadVersionInfo(ByteSource& source) {
  VersionInfo info;
  PeImage image(source);
  std::string data;
  if (!image.Open() || !VersionResourceBytes(image, &data)) return info;
  info.found = true;
  ReadStrings(data, &info);
  return info;
}

std::wstring VersionFieldText(const VersionInfo& info, int field) {
  if (!info.found) return L"Unbekannt";
  if (field < 0 || field >= kVersionFieldCount) return L"";
  const std::wstring_view key = kVersionKeys[field];
  for (const auto& [name, value] : info.strings) {
    if (EqualsNoCase(name, key) && !value.empty()) return value;
  }
  // A program that has version information but not this entry (or leaves it empty) says so,
  // rather than looking like a file without any.
  return L" ---";
}

std::wstring VersionFieldValue(const std::wstring& path, int field) {
  if (!HasProgramExtension(path)) return L"Unbekannt";
  FileByteSource file;
  if (!file.Open(path)) return L"Unbekannt";
  return VersionFieldText(ReadVersionInfo(file), field);
}

}  // namespace ablagix
