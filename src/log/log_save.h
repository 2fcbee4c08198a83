// Saving the log list as a report ("Log speichern..." and the automatic save after a run):
// the format chosen in the settings, the name "AXLog" + yyyymmddhhnnss + extension, the save
// dialog opened where the user last saved, and the offer to open the file afterwards.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/calendar.h"
#include "log/export_progress.h"
#include "log/log_list.h"
#include "profiles/settings.h"

namespace ablagix {

class UiPort;

inline constexpr std::wstring_view kLastSavePathKey = L"LastSavePath";
inline constexpr std::wstring_view kLastSavePathDefault = L"C:\\";
inline constexpr std::wstring_view kOpenReportQuestion =
    L"Wollen sie die AXLog-Datei gleich \u00f6ffnen?";

// ".txt", ".csv", ".html", ".pdf".
std::wstring_view ReportExtension(ReportFormat format);
// The format named by a file's extension (case ignored); nullopt for any other extension.
std::optional<ReportFormat> ReportFormatForPath(std::wstring_view path);
// "AXLog20250203090507.txt" for 3 February 2025, 09:05:07.
std::wstring ReportFileName(ReportFormat format, const LocalDateTime& now);

// What the window's save dialog is opened with.
struct SaveDialogRequest {
  std::wstring filter;            // "Text-Dateien (*.txt)|*.txt"
  std::wstring defaultExtension;  // "txt"
  std::wstring proposedName;      // "AXLog20250203090507.txt"
  std::wstring folder;            // where the dialog opens
};
SaveDialogRequest SaveDialogFor(ReportFormat format, const LocalDateTime& now, std::wstring folder);

// The settings that shape a report.
struct ReportOptions {
  bool padText = true;            // CheckBox16: text with blanks instead of tabs
  std::wstring delimiter = L";";  // Delimeter: the CSV separator
  bool header = true;             // Check17: text and CSV start with the headers
  bool coloured = true;           // Check1: the HTML table is light blue
  // Text and CSV columns in the order the log list shows them; empty for its own order.
  std::vector<int> columnOrder;
};
ReportOptions ReportOptionsFrom(const AppSettings& settings);

// Writes the log as `format` to `path`. Text and CSV may be stopped with Esc through `ui`.
// False when the file could not be written; only the PDF report tells the user so itself.
bool WriteLogReport(const LogList& log, const std::wstring& path, ReportFormat format,
                    const ReportOptions& options, const LocalDateTime& now, UiPort& ui,
                    ExportProgress* progress);

// What the save procedure needs from the window.
class LogSaveHost {
 public:
  virtual ~LogSaveHost() = default;
  virtual UiPort& ui() = 0;
  virtual LocalDateTime Now() = 0;
  // The save dialog; nullopt when the user cancels.
  virtual std::optional<std::wstring> AskSavePath(const SaveDialogRequest& request) = 0;
  // Opens the file with the program the system associates with it.
  virtual void OpenWithProgram(const std::wstring& path) = 0;
  virtual ExportProgress* Progress() { return nullptr; }
};

enum class LogSaveOutcome { Saved, Cancelled, Failed };

struct LogSaveResult {
  LogSaveOutcome outcome = LogSaveOutcome::Cancelled;
  std::wstring path;  // the file written (or that could not be written)
};

// The whole procedure. `automatic` saves into settings.LogPath (created with its parents when
// missing) without a dialog and without the question; otherwise the dialog opens in
// LastSavePath of `settingsFile`, the chosen folder is stored back there, and after saving
// the user is asked whether to open the file.
LogSaveResult SaveLog(const LogList& log, const AppSettings& settings,
                      const std::wstring& settingsFile, bool automatic, LogSaveHost& host);

}  // namespace ablagix
