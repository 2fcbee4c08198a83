#include "metadata/compound_file.h"

#include <algorithm>
#include <unordered_set>

#include "base/byte_order.h"
#include "base/text.h"

namespace ablagix {
namespace {

constexpr char kSignature[] = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kHeaderFatEntries = 109;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kLastRegularSector = 0xFFFFFFFA;
constexpr std::uint32_t kNoStream = 0xFFFFFFFF;
constexpr std::size_t kEntrySize = 128;
constexpr std::uint32_t kMiniSectorSize = 64;
// Real directories hold a few thousand entries at most; this is far above that.
constexpr std::uint64_t kMaxDirectoryBytes = 16u << 20;


}  // namespace

bool IsCompoundFile(ByteSource& source) {
  std::string head;
  return source.Read(0, 8, &head) && head == std::string_view(kSignature, 8);
}

bool CompoundFile::Open() {
  open_ = false;
  fatSectors_.clear();
  fatCache_.clear();
  miniFatChain_.clear();
  miniStreamChain_.clear();
  directory_.clear();
  std::string header;
  if (source_.size() < kHeaderSize || !source_.Read(0, kHeaderSize, &header) || header.size() != kHeaderSize) {
    return false;
  }
  if (header.compare(0, 8, kSignature, 8) != 0 || LoadLe16(header, 28) != 0xFFFE) return false;
  sectorShift_ = LoadLe16(header, 30);
  if ((sectorShift_ != 9 && sectorShift_ != 12) || LoadLe16(header, 32) != 6) return false;
  sectorSize_ = 1u << sectorShift_;
  // The last sector may be cut short by writers that do not pad; it reads as zeros.
  const std::uint64_t fileSize = source_.size();
  sectorCount_ = fileSize > sectorSize_ ? (fileSize - sectorSize_ + sectorSize_ - 1) / sectorSize_ : 0;
  sectorCount_ = std::min<std::uint64_t>(sectorCount_, kLastRegularSector);
  const std::uint32_t fatCount = LoadLe32(header, 44);
  const std::uint32_t firstDirectory = LoadLe32(header, 48);
  // Fixed by the format; a larger value would only make small-stream chains longer.
  miniCutoff_ = std::min<std::uint32_t>(LoadLe32(header, 56), 4096);
  firstMiniFatSector_ = LoadLe32(header, 60);
  std::uint32_t difatSector = LoadLe32(header, 68);
  if (fatCount == 0 || fatCount > sectorCount_) return false;

  for (std::size_t i = 0; i < kHeaderFatEntries && fatSectors_.size() < fatCount; ++i) {
    fatSectors_.push_back(LoadLe32(header, 76 + i * 4));
  }
  // The rest of the list lives in a chain of its own sectors, each ending with the next one.
  const std::size_t perDifat = sectorSize_ / 4 - 1;
  std::unordered_set<std::uint32_t> seen;
  std::string sector;
  while (fatSectors_.size() < fatCount && difatSector < sectorCount_ && seen.insert(difatSector).second) {
    if (!ReadSector(difatSector, &sector)) return false;
    for (std::size_t i = 0; i < perDifat && fatSectors_.size() < fatCount; ++i) {
      fatSectors_.push_back(LoadLe32(sector, i * 4));
    }
    difatSector = LoadLe32(sector, perDifat * 4);
  }

  std::string entries;
  std::vector<std::uint32_t> chain;
  if (!SectorChain(firstDirectory, kMaxDirectoryBytes / sectorSize_, &chain) || chain.empty()) return false;
  for (std::uint32_t s : chain) {
    if (!ReadSector(s, &sector)) return false;
    entries += sector;
  }
  for (std::size_t at = 0; at + kEntrySize <= entries.size(); at += kEntrySize) {
    const std::string_view e(entries.data() + at, kEntrySize);
    DirectoryEntry entry;
    const std::uint16_t nameBytes = LoadLe16(e, 64);
    if (nameBytes >= 2 && nameBytes <= 64) entry.name = FromUtf16LeBytes(e.substr(0, nameBytes - 2u));
    entry.type = static_cast<std::uint8_t>(e[66]);
    entry.left = LoadLe32(e, 68);
    entry.right = LoadLe32(e, 72);
    entry.child = LoadLe32(e, 76);
    entry.start = LoadLe32(e, 116);
    // Version 3 files may leave garbage in the upper half of the size.
    entry.size = LoadLe32(e, 120);
    if (sectorShift_ == 12) entry.size |= std::uint64_t{LoadLe32(e, 124)} << 32;
    directory_.push_back(std::move(entry));
  }
  if (directory_.empty() || directory_[0].type != 5) return false;
  miniStreamSize_ = directory_[0].size;
  open_ = true;
  return true;
}

bool CompoundFile::ReadSector(std::uint32_t sector, std::string* out) {
  if (sector >= sectorCount_) return false;
  const std::uint64_t offset = (std::uint64_t{sector} + 1) << sectorShift_;
  if (!source_.Read(offset, sectorSize_, out)) return false;
  out->resize(sectorSize_, '\0');
  return true;
}

bool CompoundFile::Next(std::uint32_t sector, std::uint32_t* next) {
  const std::uint32_t perSector = sectorSize_ / 4;
  const std::size_t index = sector / perSector;
  if (index >= fatSectors_.size()) return false;
  auto cached = fatCache_.find(fatSectors_[index]);
  if (cached == fatCache_.end()) {
    std::string bytes;
    if (!ReadSector(fatSectors_[index], &bytes)) return false;
    cached = fatCache_.emplace(fatSectors_[index], std::move(bytes)).first;
  }
  *next = LoadLe32(cached->second, (sector % perSector) * 4);
  return true;
}

// Follows a chain up to its end or `maxSectors` sectors, whichever comes first. False when
// it leaves the file or runs in a circle.
bool CompoundFile::SectorChain(std::uint32_t start, std::uint64_t maxSectors, std::vector<std::uint32_t>* chain) {
  chain->clear();
  std::unordered_set<std::uint32_t> seen;
  std::uint32_t s = start;
  while (s != kEndOfChain && chain->size() < maxSectors) {
    if (s >= sectorCount_ || !seen.insert(s).second) return false;
    chain->push_back(s);
    if (!Next(s, &s)) return false;
  }
  return true;
}

bool CompoundFile::ReadChain(std::uint32_t start, std::uint64_t size, std::string* out) {
  const std::uint64_t needed = (size + sectorSize_ - 1) / sectorSize_;
  if (needed > sectorCount_) return false;
  std::vector<std::uint32_t> chain;
  if (!SectorChain(start, needed, &chain) || chain.size() != needed) return false;
  out->clear();
  out->reserve(static_cast<std::size_t>(size));
  std::string piece;
  // Neighbouring sectors, the usual case, are read in one piece.
  for (std::size_t i = 0; i < chain.size();) {
    std::size_t run = 1;
    while (i + run < chain.size() && chain[i + run] == chain[i] + run) ++run;
    const std::uint64_t offset = (std::uint64_t{chain[i]} + 1) << sectorShift_;
    if (!source_.Read(offset, run * sectorSize_, &piece)) return false;
    piece.resize(run * sectorSize_, '\0');
    out->append(piece);
    i += run;
  }
  out->resize(static_cast<std::size_t>(size));
  return true;
}

bool CompoundFile::MiniNext(std::uint32_t sector, std::uint32_t* next) {
  const std::uint32_t perSector = sectorSize_ / 4;
  const std::size_t index = sector / perSector;
  if (index >= miniFatChain_.size()) return false;
  std::string bytes;
  if (!ReadSector(miniFatChain_[index], &bytes)) return false;
  *next = LoadLe32(bytes, (sector % perSector) * 4);
  return true;
}

bool CompoundFile::ReadMiniChain(std::uint32_t start, std::uint64_t size, std::string* out) {
  if (miniStreamChain_.empty()) {
    const std::uint64_t sectors = (miniStreamSize_ + sectorSize_ - 1) / sectorSize_;
    if (sectors == 0 || sectors > sectorCount_) return false;
    if (!SectorChain(directory_[0].start, sectors, &miniStreamChain_) || miniStreamChain_.size() != sectors ||
        !SectorChain(firstMiniFatSector_, sectorCount_, &miniFatChain_)) {
      miniStreamChain_.clear();
      miniFatChain_.clear();
      return false;
    }
  }
  const std::uint64_t needed = (size + kMiniSectorSize - 1) / kMiniSectorSize;
  const std::uint64_t miniSectors = std::min<std::uint64_t>(miniStreamSize_, std::uint64_t{miniStreamChain_.size()} * sectorSize_) / kMiniSectorSize;
  if (needed > miniSectors) return false;
  out->clear();
  std::unordered_set<std::uint32_t> seen;
  std::string sector;
  std::uint32_t m = start;
  for (std::uint64_t i = 0; i < needed; ++i) {
    if (m >= miniSectors || !seen.insert(m).second) return false;
    const std::uint64_t at = std::uint64_t{m} * kMiniSectorSize;
    if (!ReadSector(miniStreamChain_[static_cast<std::size_t>(at / sectorSize_)], &sector)) return false;
    out->append(sector, static_cast<std::size_t>(at % sectorSize_), kMiniSectorSize);
    if (i + 1 < needed && !MiniNext(m, &m)) return false;
  }
  out->resize(static_cast<std::size_t>(size));
  return true;
}

std::vector<std::uint32_t> CompoundFile::Children(std::uint32_t storage) {
  std::vector<std::uint32_t> found;
  std::vector<bool> seen(directory_.size(), false);
  std::vector<std::uint32_t> pending{directory_[storage].child};
  while (!pending.empty()) {
    const std::uint32_t i = pending.back();
    pending.pop_back();
    if (i == kNoStream || i >= directory_.size() || seen[i]) continue;
    seen[i] = true;
    const DirectoryEntry& e = directory_[i];
    if (e.type == 1 || e.type == 2) found.push_back(i);
    pending.push_back(e.right);
    pending.push_back(e.left);
  }
  std::sort(found.begin(), found.end());
  return found;
}

bool CompoundFile::Resolve(std::wstring_view path, std::uint32_t* index) {
  std::uint32_t current = 0;
  while (!path.empty()) {
    const std::size_t slash = path.find(L'/');
    const std::wstring_view name = path.substr(0, slash);
    path = slash == std::wstring_view::npos ? std::wstring_view() : path.substr(slash + 1);
    if (directory_[current].type != 1 && directory_[current].type != 5) return false;
    bool matched = false;
    for (std::uint32_t child : Children(current)) {
      if (EqualsNoCase(directory_[child].name, name)) {
        current = child;
        matched = true;
        break;
      }
    }
    if (!matched) return false;
  }
  *index = current;
  return true;
}

bool CompoundFile::ReadStream(std::wstring_view path, std::size_t maxBytes, std::string* out) {
  out->clear();
  std::uint32_t index = 0;
  if (!open_ || path.empty() || !Resolve(path, &index)) return false;
  const DirectoryEntry& e = directory_[index];
  if (e.type != 2 || e.size > maxBytes) return false;
  if (e.size == 0) return true;
  const bool ok = e.size < miniCutoff_ ? ReadMiniChain(e.start, e.size, out) : ReadChain(e.start, e.size, out);
  if (!ok) out->clear();
  return ok;
}

std::vector<std::wstring> CompoundFile::List(std::wstring_view storagePath) {
  std::vector<std::wstring> names;
  std::uint32_t index = 0;
  if (!open_ || !Resolve(storagePath, &index)) return names;
  for (std::uint32_t child : Children(index)) names.push_back(directory_[child].name);
  return names;
}

}  // namespace ablagix
