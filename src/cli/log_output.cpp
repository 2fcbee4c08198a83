#include "cli/log_output.h"

#include <algorithm>
#include <vector>

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

std::wstring FormatLog(const LogList& log, LogFormat format, std::size_t first) {
  std::wstring out;
  if (format == LogFormat::Tsv) {
    for (std::size_t row = first; row < log.size(); ++row) {
      for (int c = 0; c < kLogColumnCount; ++c) {
        std::wstring cell = log.Text(row, c);
        std::replace(cell.begin(), cell.end(), L'\t', L' ');
        if (c) out += L'\t';
        out += cell;
      }
      out += L'\n';
    }
    return out;
  }
  std::vector<std::vector<std::wstring>> cells;
  std::vector<size_t> widths;
  std::vector<std::wstring> header;
  for (LogColumn c : kTableColumns) header.emplace_back(kLogColumns[static_cast<size_t>(c)].text);
  cells.push_back(header);
  for (std::size_t row = first; row < log.size(); ++row) {
    std::vector<std::wstring> line;
    for (LogColumn c : kTableColumns) line.push_back(Shorten(log.Text(row, c)));
    cells.push_back(std::move(line));
  }
  for (const auto& line : cells) {
    widths.resize(line.size());
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const auto& line : cells) {
    std::wstring text;
    for (size_t i = 0; i < line.size(); ++i) {
      text += line[i];
      if (i + 1 < line.size()) text.append(widths[i] - line[i].size() + 2, L' ');
    }
    while (!text.empty() && text.back() == L' ') text.pop_back();
    out += text + L'\n';
  }
  return out;
}

}  // namespace ablagix::cli
