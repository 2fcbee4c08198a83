#include "cli/log_output.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <vector>

#include "cli/console.h"

namespace ablagix::cli {
namespace {

// The columns a person reads; the hidden ones stay in the tab-separated form.
constexpr LogColumn kTableColumns[] = {LogColumn::Datei,       LogColumn::Pfad,     LogColumn::Groesse,
                                       LogColumn::GeaendertAm, LogColumn::Zielpfad, LogColumn::Ergebnis,
                                       LogColumn::Aktion};
// Long cells would push the table off any screen; they are shortened in the middle.
constexpr size_t kMaxCell = 48;

std::wstring Shorten(std::wstring text) {
  if (text.size() <= kMaxCell) return text;
  const size_t keep = (kMaxCell - 1) / 2;
  return text.substr(0, keep) + L"\u2026" + text.substr(text.size() - (kMaxCell - 1 - keep));
}

}  // namespace

void PrintLog(const LogList& log, LogFormat format, std::size_t first) {
  std::wstring out;
  auto flushEvery = [&](std::size_t row) {
    if (row % 256 == 255) {
      WriteOut(out);
      out.clear();
    }
  };
  if (format == LogFormat::Tsv) {
    // UTF-8 straight from the list's texts into one buffer, written in large pieces: a log
    // of a million rows prints as fast as find prints its lines.
    std::string bytes;
    bytes.reserve(1 << 20);
    TsvCellCache cache;
    for (std::size_t row = first; row < log.size(); ++row) {
      for (int c = 0; c < kLogColumnCount; ++c) {
        if (c) bytes.push_back('\t');
        log.AppendTsvCell(row, c, bytes, &cache);
      }
      bytes.push_back('\n');
      if (bytes.size() >= (1 << 20) - 4096) {
        WriteOutUtf8(bytes);
        bytes.clear();
      }
    }
    WriteOutUtf8(bytes);
    return;
  }
  // Two passes over the list: widths first, then the lines, so no copy of the texts is kept.
  constexpr size_t kColumns = std::size(kTableColumns);
  std::array<size_t, kColumns> widths{};
  auto cell = [&](std::size_t row, size_t i) {
    return row == SIZE_MAX ? std::wstring(kLogColumns[static_cast<size_t>(kTableColumns[i])].text)
                           : Shorten(log.Text(row, kTableColumns[i]));
  };
  for (size_t i = 0; i < kColumns; ++i) widths[i] = cell(SIZE_MAX, i).size();
  for (std::size_t row = first; row < log.size(); ++row) {
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], cell(row, i).size());
  }
  auto line = [&](std::size_t row) {
    std::wstring text;
    for (size_t i = 0; i < kColumns; ++i) {
      const std::wstring value = cell(row, i);
      text += value;
      if (i + 1 < kColumns) text.append(widths[i] - value.size() + 2, L' ');
    }
    while (!text.empty() && text.back() == L' ') text.pop_back();
    out += text + L'\n';
  };
  line(SIZE_MAX);
  for (std::size_t row = first; row < log.size(); ++row) {
    line(row);
    flushEvery(row);
  }
  WriteOut(out);
}

}  // namespace ablagix::cli
