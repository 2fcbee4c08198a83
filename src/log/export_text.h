// The text and CSV export of the log list: one line per row, CR LF, UTF-16LE without
// byte-order mark. Values are written as they are, never quoted: a separator inside a value
// passes into the file unchanged, as the program has always written it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "log/export_progress.h"
#include "log/log_list.h"

namespace ablagix {

class UiPort;

// Separator words with a meaning of their own; any other text is the separator itself.
inline constexpr std::wstring_view kSeparatorFixedWidth = L"999";
inline constexpr std::wstring_view kSeparatorTab = L"vbtab";

struct TextExportOptions {
  std::wstring separator = std::wstring(kSeparatorTab);
  // The columns in the order the list shows them (the user can drag its headers): column
  // numbers, each once. Empty, or not naming every column once, means the list's own order.
  std::vector<int> columnOrder;
  // Columns are written from the first shown up to the column count minus this plus one, so
  // the usual 2 leaves out only the last one shown ("Ziel2" unless it was moved).
  int trailingColumns = 2;
  bool header = true;
  // Whether Esc (or the abort flag) may stop the export.
  bool allowCancel = true;
};

// `order` when it names every log column once, otherwise the list's own order 0, 1, 2, ...
std::vector<int> LogColumnOrderOrDefault(const std::vector<int>& order);

// The export's bytes. `ui` is polled after every row when cancelling is allowed; it and
// `progress` may be null.
std::string TextExportBytes(const LogList& log, const TextExportOptions& options, UiPort* ui,
                            ExportProgress* progress);

// Builds the export and writes it in one piece, replacing the file. False when the file could
// not be written; there is no message.
bool WriteTextExport(const LogList& log, const std::wstring& path, const TextExportOptions& options,
                     UiPort* ui, ExportProgress* progress);

}  // namespace ablagix
