// Measures what the log list costs per row: fills a LogList with a million rows shaped like a
// real photo-sorting run and counts the heap bytes it holds, then times the column sorts.
//
// Every allocation of the program goes through the counting allocator, so the
// figure includes the row store, the name buffer and the text pool with all their slack.
#include <chrono>
#include <cstdio>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "counting_allocator.h"
#include "log/log_list.h"

namespace {

using ablagix::LogFileFields;
using ablagix::LogList;

constexpr std::size_t kRows = 1000000;
constexpr ablagix::FileTime kYear2023 = 133170048000000000;  // 1 January 2023, UTC
constexpr ablagix::FileTime kSecond = 10000000;

struct Measure {
  std::size_t bytes;
  std::size_t blocks;
};

// `unique`: the metadata value and both trailing columns differ on every row, the worst case
// for the text pool.
Measure Fill(LogList& list, bool unique) {
  static const wchar_t* kCameras[] = {L"Canon EOS 80D", L"NIKON D7500", L"iPhone 13 Pro",
                                      L"SM-G991B", L""};
  static const wchar_t* kResults[] = {L"Verschoben", L"Verschoben", L"Verschoben",
                                      L"\u00dcbersprungen", L"Fehler!"};
  std::size_t before = bench::LiveHeapBytes();
  std::size_t blocksBefore = bench::LiveHeapBlocks();
  std::wstring name, folder, target, metadata, source2, target2;
  for (std::size_t i = 0; i < kRows; ++i) {
    std::size_t folderNo = i / 500;  // 2000 folders of 500 pictures
    name = L"IMG_20230714_" + std::to_wstring(100000 + i) + L".jpg";
    folder = L"D:\\Bilder\\Kamera\\2023\\Urlaub Italien Teil " + std::to_wstring(folderNo);
    target = L"E:\\Fotos\\2023\\" + std::to_wstring(1 + folderNo % 12);
    LogFileFields f;
    f.datei = name;
    f.pfad = folder;
    f.size = 2500000 + i * 37 % 4000000;
    f.lastWrite = kYear2023 + static_cast<ablagix::FileTime>(i) * 31 * kSecond;
    f.creation = f.lastWrite;
    f.zielpfad = target;
    f.ergebnis = kResults[i % 5];
    f.aktion = L"Verschieben";
    f.zipp = L"0";
    f.kollision = L"1";
    if (unique) {
      metadata = std::to_wstring(i % 100000) + L",5 km";
      source2 = folder + L"\\" + name;
      target2 = target + L"\\" + name;
      f.metadaten = metadata;
      f.quell2 = source2;
      f.ziel2 = target2;
    } else {
      f.metadaten = kCameras[i % 5];
      f.quell2 = L"D:\\Bilder\\Kamera\\";
      f.ziel2 = L"E:\\Fotos\\%DateGAYYYY%\\%DateGAMM%";
    }
    list.AppendFile(f);
  }
  return {bench::LiveHeapBytes() - before, bench::LiveHeapBlocks() - blocksBefore};
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

int main() {
  std::printf("sizeof(LogRow) = %zu bytes\n", sizeof(ablagix::LogRow));
  for (bool unique : {false, true}) {
    LogList list;
    Measure m = Fill(list, unique);
    std::printf("%s: %zu rows, %.1f MB in %zu heap blocks, %.1f bytes per row\n",
                unique ? "unique metadata, Quell2, Ziel2" : "shared folder and profile values",
                list.size(), static_cast<double>(m.bytes) / 1e6, m.blocks,
                static_cast<double>(m.bytes) / static_cast<double>(kRows));
    if (!unique) {
      for (int column : {0, 1, 3, 4, 2}) {
        auto start = std::chrono::steady_clock::now();
        list.SortByColumn(column);
        std::printf("  sort by column %d: %.2f s\n", column, Seconds(start));
      }
      auto start = std::chrono::steady_clock::now();
      std::size_t chars = 0;
      for (std::size_t i = 0; i < list.size(); ++i) {
        for (int c = 0; c < ablagix::kLogColumnCount; ++c) chars += list.Text(i, c).size();
      }
      std::printf("  every text of every row: %.2f s (%zu characters)\n", Seconds(start), chars);
    }
  }
  return 0;
}
