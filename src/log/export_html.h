// The HTML export of the log list: a heading with the counts and the date, then a table of
// the first seven columns in which file names and target folders are links that open them.
// Written as UTF-16LE without byte-order mark, like every log export.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "log/export_progress.h"
#include "log/log_list.h"

namespace ablagix {

// The log's title word in the heading; the trailing blank is part of it.
inline constexpr std::wstring_view kHtmlLogTitle = L"DateiListe ";

struct HtmlSummaryCounts {
  // Set when folders and files were counted apart: "n Verzeichniss(e) und m Datei(en) ".
  std::optional<std::size_t> folders;
  std::size_t files = 0;
  // Otherwise: "n Verzeichniss(e) / Datei(en) ".
  std::size_t rows = 0;
};

struct HtmlExportOptions {
  std::wstring title = std::wstring(kHtmlLogTitle);
  bool coloured = true;  // light blue table instead of white
  HtmlSummaryCounts counts;
  LocalDateTime now;  // the date in the heading
};

// `progress` and `ui` may be null; `ui` is asked after every row whether to stop, and a
// report stopped early ends with a row "Abbruch".
std::string HtmlExportBytes(const LogList& log, const HtmlExportOptions& options,
                            ExportProgress* progress = nullptr, UiPort* ui = nullptr);
// False when the file could not be written; there is no message.
bool WriteHtmlExport(const LogList& log, const std::wstring& path, const HtmlExportOptions& options,
                     ExportProgress* progress = nullptr, UiPort* ui = nullptr);

// A link that a browser follows to `path`: "C:\Fotos\Urlaub 1.jpg" gives
// "file:///C:/Fotos/Urlaub%201.jpg", "\\server\share\a" gives "file://///server/share/a".
// Characters outside plain ASCII are written as percent-encoded UTF-8.
std::wstring FileUrl(std::wstring_view path);

}  // namespace ablagix
