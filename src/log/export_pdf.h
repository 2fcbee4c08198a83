// The PDF report of the log list: A4 landscape, the first seven columns in 8-point
// Helvetica, the title line on the first page, the column headers and "Seite n" on every page.
#pragma once

#include <string>
#include <string_view>

#include "base/calendar.h"
#include "log/export_progress.h"
#include "log/log_list.h"

namespace ablagix {

class UiPort;

inline constexpr std::wstring_view kPdfLogTitle = L"Dateiliste";
inline constexpr std::wstring_view kPdfSaveFailed = L"Konnte PDF nicht speichern";

struct PdfReportOptions {
  std::wstring title = std::wstring(kPdfLogTitle);
  LocalDateTime now;  // the date in the title line
};

// Rows that fit on the first page and on each page after it.
struct PdfReportCapacity {
  std::size_t firstPage;
  std::size_t otherPages;
};
PdfReportCapacity PdfRowsPerPage();

// `ui` (may be null) is asked after every row whether to stop; a report stopped early ends
// with a line "Abbruch" below the rows written so far.
std::string PdfReportBytes(const LogList& log, const PdfReportOptions& options,
                           ExportProgress* progress, UiPort* ui = nullptr);

// Builds the report and writes it, replacing the file; Esc through `ui` stops it early. When
// the file cannot be written, shows "Konnte PDF nicht speichern" and returns false.
bool WritePdfReport(const LogList& log, const std::wstring& path, const PdfReportOptions& options,
                    UiPort& ui, ExportProgress* progress);

}  // namespace ablagix
