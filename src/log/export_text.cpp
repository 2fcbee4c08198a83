#include "log/export_text.h"

#include <algorithm>
#include <array>

#include "base/abort_flag.h"
#include "base/ui_port.h"
#include "fileops/file_ops.h"
#include "log/export_buffer.h"

namespace ablagix {
namespace {

int ExportedColumnCount(int trailingColumns) {
  return std::clamp(kLogColumnCount - trailingColumns + 1, 0, kLogColumnCount);
}

// Only the columns of varying length are aligned; the others have short texts of about the
// same length and are written as they are.
bool IsPaddedColumn(int column) {
  return column == static_cast<int>(LogColumn::Datei) ||
         column == static_cast<int>(LogColumn::Pfad) ||
         column == static_cast<int>(LogColumn::Zielpfad);
}

}  // namespace

std::vector<int> LogColumnOrderOrDefault(const std::vector<int>& order) {
  std::vector<int> natural(kLogColumnCount);
  for (int c = 0; c < kLogColumnCount; ++c) natural[static_cast<std::size_t>(c)] = c;
  if (order.size() != natural.size()) return natural;
  std::array<bool, kLogColumnCount> seen{};
  for (int c : order) {
    if (c < 0 || c >= kLogColumnCount || seen[static_cast<std::size_t>(c)]) return natural;
    seen[static_cast<std::size_t>(c)] = true;
  }
  return order;
}

namespace {

class LineWriter {
 public:
  LineWriter(Utf16LeBuffer& out, std::wstring_view separator, bool fixedWidth,
             const std::array<std::size_t, kLogColumnCount>& widths)
      : out_(out), separator_(separator), fixedWidth_(fixedWidth), widths_(widths) {}

  // The cell at `place` (0 for the first of the line) from log column `column`.
  void Cell(std::size_t place, int column, std::wstring_view text) {
    if (place > 0) {
      if (fixedWidth_) {
        out_.Append(L' ');
      } else {
        out_.Append(separator_);
      }
    }
    out_.Append(text);
    if (fixedWidth_ && IsPaddedColumn(column)) {
      const std::size_t length = CharacterCount(text);
      if (length < widths_[column]) out_.AppendRepeated(L' ', widths_[column] - length);
    }
  }
  void EndLine() { out_.Append(L"\r\n"); }

 private:
  Utf16LeBuffer& out_;
  std::wstring_view separator_;
  bool fixedWidth_;
  const std::array<std::size_t, kLogColumnCount>& widths_;
};

}  // namespace

std::string TextExportBytes(const LogList& log, const TextExportOptions& options, UiPort* ui,
                            ExportProgress* progress) {
  // The columns shown first are written, in the order shown.
  std::vector<int> order = LogColumnOrderOrDefault(options.columnOrder);
  order.resize(static_cast<std::size_t>(ExportedColumnCount(options.trailingColumns)));
  const bool fixedWidth = options.separator == kSeparatorFixedWidth;
  const std::wstring_view separator = options.separator == kSeparatorTab
                                          ? std::wstring_view(L"\t")
                                          : std::wstring_view(options.separator);

  // The header counts too, so that its words line up with the values below them.
  std::array<std::size_t, kLogColumnCount> widths{};
  if (fixedWidth) {
    for (int c : order) {
      if (!IsPaddedColumn(c)) continue;
      if (options.header) widths[c] = CharacterCount(kLogColumns[c].text);
      for (std::size_t row = 0; row < log.size(); ++row) {
        widths[c] = std::max(widths[c], CharacterCount(log.Text(row, c)));
      }
    }
  }

  Utf16LeBuffer out;
  constexpr std::size_t kSampleRows = 1000;  // the rows that the final size is guessed from
  out.Reserve((std::min(log.size(), kSampleRows) + 1) * 120);
  LineWriter line(out, separator, fixedWidth, widths);
  if (options.header) {
    for (std::size_t i = 0; i < order.size(); ++i) line.Cell(i, order[i], kLogColumns[order[i]].text);
    line.EndLine();
  }

  if (progress) progress->Start(log.size());
  for (std::size_t row = 0; row < log.size(); ++row) {
    for (std::size_t i = 0; i < order.size(); ++i) line.Cell(i, order[i], log.Text(row, order[i]));
    line.EndLine();
    if (row + 1 == kSampleRows) out.ReserveByRate(row + 1, log.size());
    if (progress) progress->Advance(row + 1);
    if (options.allowCancel && ExportStopRequested(ui)) {
      out.Append(L"\r\n");
      out.Append(kExportAborted);
      break;
    }
  }
  if (progress) progress->Reset();
  return out.Take();
}

bool WriteTextExport(const LogList& log, const std::wstring& path, const TextExportOptions& options,
                     UiPort* ui, ExportProgress* progress) {
  // The bytes are already UTF-16LE, so they go to the atomic writer directly instead of
  // through WriteTextFile, which would need the text once more as a wide string.
  return WriteFileAtomic(path, TextExportBytes(log, options, ui, progress));
}

}  // namespace ablagix
