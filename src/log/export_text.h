// The text and CSV export of the log list: one line per row, CR LF, UTF-16LE without
// byte-order mark. Values are written as they are, never quoted: a separator inside a value
// passes into the file unchanged, as the program has always written it.
#pragma once

#include <string>
#include <string_view>

#include "log/export_progress.h"
#include "log/log_list.h"

namespace ablagix {

class UiPort;

// Separator words with a meaning of their own; any other text is the separator itself.
inline constexpr std::wstring_view kSeparatorFixedWidth = L"999";
inline constexpr std::wstring_view kSeparatorTab = L"vbtab";

struct TextExportOptions {
  std::wstring separator = std::wstring(kSeparatorTab);
  // Columns are written from the first up to the column count minus this plus one, so the
  // usual 2 leaves out only the last column ("Ziel2").
  int trailingColumns = 2;
  bool header = true;
  // Whether Esc (or the abort flag) may stop the export.
  bool allowCancel = true;
};

// The export's bytes. `ui` is polled after every row when cancelling is allowed; it and
// `progress` may be null.
std::string TextExportBytes(const LogList& log, const TextExportOptions& options, UiPort* ui,
                            ExportProgress* progress);

// Builds the export and writes it in one piece, replacing the file. False when the file could
// not be written; there is no message.
bool WriteTextExport(const LogList& log, const std::wstring& path, const TextExportOptions& options,
                     UiPort* ui, ExportProgress* progress);

}  // namespace ablagix
