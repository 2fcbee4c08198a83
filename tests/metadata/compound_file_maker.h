// OLE2 compound files built in memory for tests: streams below 4096 bytes go to the
// small-stream area, the others get sectors of their own; more than 109 allocation-table
// sectors bring extension sectors with them, as in real files of several megabytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "zip/zip_maker.h"

namespace ablagix::test {

struct CompoundNode {
  std::wstring name;
  std::string data;
  bool storage = false;
  int parent = -1;  // index of a storage node, -1 for the root
};

struct CompoundLayout {
  std::string bytes;
  std::uint32_t sectorSize = 0;
  std::uint32_t directoryStart = 0;
  // Where the allocation-table entry of a sector lies in `bytes` (first table sector only).
  std::size_t FatEntry(std::uint32_t sector) const { return sectorSize + sector * 4u; }
  std::size_t DirectoryEntry(std::uint32_t index) const {
    return (directoryStart + 1u) * sectorSize + index * 128u;
  }
};

inline CompoundLayout MakeCompoundFile(const std::vector<CompoundNode>& nodes, unsigned shift = 9) {
  constexpr std::uint32_t kEnd = 0xFFFFFFFE;
  constexpr std::uint32_t kFree = 0xFFFFFFFF;
  const std::uint32_t ss = 1u << shift;
  const std::uint32_t perFat = ss / 4;
  auto sectors = [&](std::size_t bytes) { return static_cast<std::uint32_t>((bytes + ss - 1) / ss); };

  // Small streams into the small-stream area, chained in the small-stream table.
  std::string mini;
  std::vector<std::uint32_t> miniFat;
  std::vector<std::uint32_t> miniStart(nodes.size(), kEnd);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const CompoundNode& n = nodes[i];
    if (n.storage || n.data.empty() || n.data.size() >= 4096) continue;
    const auto first = static_cast<std::uint32_t>(mini.size() / 64);
    const auto count = static_cast<std::uint32_t>((n.data.size() + 63) / 64);
    for (std::uint32_t k = 0; k < count; ++k) miniFat.push_back(k + 1 < count ? first + k + 1 : kEnd);
    miniStart[i] = first;
    mini += n.data + std::string(count * 64 - n.data.size(), '\0');
  }
  std::string miniFatBytes;
  for (std::uint32_t v : miniFat) miniFatBytes += Le32(v);

  // Everything with sectors of its own, in file order.
  std::vector<const std::string*> blobs;
  const std::string directorySizeHolder(((nodes.size() + 1) * 128 + ss - 1) / ss * ss, '\0');
  blobs.push_back(&directorySizeHolder);
  blobs.push_back(&miniFatBytes);
  blobs.push_back(&mini);
  for (const CompoundNode& n : nodes) {
    if (!n.storage && n.data.size() >= 4096) blobs.push_back(&n.data);
  }
  std::uint32_t content = 0;
  for (const std::string* b : blobs) content += sectors(b->size());
  std::uint32_t fat = 1;
  std::uint32_t difat = 0;
  for (;;) {
    const std::uint32_t total = content + fat + difat;
    const std::uint32_t needFat = (total + perFat - 1) / perFat;
    const std::uint32_t needDifat = needFat > 109 ? (needFat - 109 + perFat - 2) / (perFat - 1) : 0;
    if (needFat == fat && needDifat == difat) break;
    fat = needFat;
    difat = needDifat;
  }
  std::vector<std::uint32_t> table(std::size_t{fat} * perFat, kFree);
  for (std::uint32_t i = 0; i < fat; ++i) table[i] = 0xFFFFFFFD;
  for (std::uint32_t i = 0; i < difat; ++i) table[fat + i] = 0xFFFFFFFC;
  std::vector<std::uint32_t> starts;
  std::uint32_t next = fat + difat;
  for (const std::string* b : blobs) {
    const std::uint32_t n = sectors(b->size());
    starts.push_back(n ? next : kEnd);
    for (std::uint32_t k = 0; k < n; ++k) table[next + k] = k + 1 < n ? next + k + 1 : kEnd;
    next += n;
  }

  // The directory: the root, then the nodes; siblings chained to the right.
  auto entry = [&](const std::wstring& name, std::uint8_t type, std::uint32_t right, std::uint32_t child,
                   std::uint32_t start, std::uint64_t size) {
    const std::string typeAndColour{static_cast<char>(type), '\x01'};  // every node black
    std::string e = ToUtf16LeBytes(name, false);
    e.resize(64, '\0');
    e += Le16(name.empty() ? 0 : (name.size() + 1) * 2) + typeAndColour + Le32(kFree) +
         Le32(right) + Le32(child) + std::string(36, '\0') + Le32(start) + Le64(size);
    return e;
  };
  auto firstChild = [&](int parent) {
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      if (nodes[i].parent == parent) return static_cast<std::uint32_t>(i + 1);
    }
    return kFree;
  };
  auto nextSibling = [&](std::size_t i) {
    for (std::size_t k = i + 1; k < nodes.size(); ++k) {
      if (nodes[k].parent == nodes[i].parent) return static_cast<std::uint32_t>(k + 1);
    }
    return kFree;
  };
  std::string directory = entry(L"Root Entry", 5, kFree, firstChild(-1), starts[2], mini.size());
  std::size_t big = 3;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const CompoundNode& n = nodes[i];
    const bool own = !n.storage && n.data.size() >= 4096;
    directory += entry(n.name, n.storage ? 1 : 2, nextSibling(i), n.storage ? firstChild(static_cast<int>(i)) : kFree,
                       n.storage ? 0 : own ? starts[big++] : miniStart[i], n.storage ? 0 : n.data.size());
  }
  while (directory.size() < directorySizeHolder.size()) directory += entry(L"", 0, kFree, kFree, 0, 0);

  std::string header = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1" + std::string(16, '\0') + Le16(0x3E) +
                       Le16(shift == 9 ? 3 : 4) + Le16(0xFFFE) + Le16(shift) + Le16(6) + std::string(6, '\0') +
                       Le32(shift == 9 ? 0 : sectors(directory.size())) + Le32(fat) + Le32(starts[0]) + Le32(0) +
                       Le32(4096) + Le32(starts[1]) + Le32(sectors(miniFatBytes.size())) +
                       Le32(difat ? fat : kEnd) + Le32(difat);
  for (std::uint32_t i = 0; i < 109; ++i) header += Le32(i < fat ? i : kFree);
  header.resize(ss, '\0');

  std::string out = header;
  for (std::uint32_t v : table) out += Le32(v);
  std::uint32_t listed = 109;
  for (std::uint32_t d = 0; d < difat; ++d) {
    for (std::uint32_t k = 0; k + 1 < perFat; ++k, ++listed) out += Le32(listed < fat ? listed : kFree);
    out += Le32(d + 1 < difat ? fat + d + 1 : kEnd);
  }
  std::size_t b = 0;
  for (const std::string* blob : blobs) {
    const std::string& data = b == 0 ? directory : *blob;
    out += data + std::string(sectors(data.size()) * ss - data.size(), '\0');
    ++b;
  }
  return {out, ss, starts[0]};
}

}  // namespace ablagix::test
