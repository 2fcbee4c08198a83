#include "log/log_save.h"

#include <array>

#include "base/abort_flag.h"
#include "base/text.h"
#include "base/ui_port.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/export_html.h"
#include "log/export_pdf.h"
#include "log/export_text.h"

namespace ablagix {
namespace {

struct FormatInfo {
  std::wstring_view extension;
  std::wstring_view filter;
};

// By the value of ReportFormat.
constexpr std::array<FormatInfo, 4> kFormats = {{
    {L"txt", L"Text-Dateien (*.txt)|*.txt"},
    {L"csv", L"CSV-Datei (*.csv)|*.csv"},
    {L"html", L"HTML-Datei (*.html)|*.html"},
    {L"pdf", L"PDF-Datei (*.pdf)|*.pdf"},
}};

const FormatInfo& InfoOf(ReportFormat format) { return kFormats[static_cast<std::size_t>(format)]; }

std::wstring TwoDigits(int n) {
  std::wstring s = std::to_wstring(n);
  return s.size() < 2 ? L"0" + s : s;
}

}  // namespace

std::wstring_view ReportExtension(ReportFormat format) {
  // The dot belongs to the file name; the table keeps the dialog's form without it.
  static constexpr std::array<std::wstring_view, 4> kDotted = {L".txt", L".csv", L".html", L".pdf"};
  return kDotted[static_cast<std::size_t>(format)];
}

std::optional<ReportFormat> ReportFormatForPath(std::wstring_view path) {
  const std::wstring name = NamePart(path);
  const std::size_t dot = name.rfind(L'.');
  if (dot == std::wstring::npos) return std::nullopt;
  const std::wstring_view extension = std::wstring_view(name).substr(dot + 1);
  for (std::size_t i = 0; i < kFormats.size(); ++i) {
    if (EqualsNoCase(extension, kFormats[i].extension)) return static_cast<ReportFormat>(i);
  }
  return std::nullopt;
}

std::wstring ReportFileName(ReportFormat format, const LocalDateTime& now) {
  std::wstring year = std::to_wstring(now.year);
  if (year.size() < 4) year.insert(0, 4 - year.size(), L'0');
  return L"AXLog" + year + TwoDigits(now.month) + TwoDigits(now.day) + TwoDigits(now.hour) +
         TwoDigits(now.minute) + TwoDigits(now.second) + std::wstring(ReportExtension(format));
}

SaveDialogRequest SaveDialogFor(ReportFormat format, const LocalDateTime& now,
                                std::wstring folder) {
  const FormatInfo& info = InfoOf(format);
  return {std::wstring(info.filter), std::wstring(info.extension), ReportFileName(format, now),
          std::move(folder)};
}

ReportOptions ReportOptionsFrom(const AppSettings& settings) {
  ReportOptions o;
  o.padText = settings.padTextReports;
  o.delimiter = settings.Delimeter;
  o.header = settings.reportHeaderLine;
  o.coloured = settings.colouredReports;
  o.columnOrder = settings.LogHeaderPosition;
  return o;
}

bool WriteLogReport(const LogList& log, const std::wstring& path, ReportFormat format,
                    const ReportOptions& options, const LocalDateTime& now, UiPort& ui,
                    ExportProgress* progress) {
  switch (format) {
    case ReportFormat::Text:
    case ReportFormat::Csv: {
      TextExportOptions text;
      if (format == ReportFormat::Text) {
        text.separator = options.padText ? kSeparatorFixedWidth : kSeparatorTab;
      } else {
        text.separator = options.delimiter;
      }
      text.header = options.header;
      text.columnOrder = options.columnOrder;
      return WriteTextExport(log, path, text, &ui, progress);
    }
    case ReportFormat::Html: {
      HtmlExportOptions html;
      html.coloured = options.coloured;
      html.counts.rows = log.size();
      html.now = now;
      return WriteHtmlExport(log, path, html, progress, &ui);
    }
    case ReportFormat::Pdf: {
      PdfReportOptions pdf;
      pdf.now = now;
      return WritePdfReport(log, path, pdf, ui, progress);
    }
  }
  return false;
}

LogSaveResult SaveLog(const LogList& log, const AppSettings& settings,
                      const std::wstring& settingsFile, bool automatic, LogSaveHost& host) {
  const ReportFormat format = settings.reportFormat;
  const LocalDateTime now = host.Now();
  LogSaveResult result;

  if (automatic) {
    // Without a folder there is nowhere to save to; the run itself is not affected.
    if (settings.LogPath.empty()) {
      result.outcome = LogSaveOutcome::Failed;
      return result;
    }
    result.path = JoinPath(settings.LogPath, ReportFileName(format, now));
    if (!CreateFolders(settings.LogPath)) {
      result.outcome = LogSaveOutcome::Failed;
      return result;
    }
  } else {
    std::wstring folder = ReadAppSetting(settingsFile, kLastSavePathKey);
    if (folder.empty()) folder = kLastSavePathDefault;
    const std::optional<std::wstring> chosen =
        host.AskSavePath(SaveDialogFor(format, now, std::move(folder)));
    if (!chosen || chosen->empty()) return result;  // cancelled: nothing written or stored
    result.path = *chosen;
    WriteAppSetting(settingsFile, kLastSavePathKey, FolderPart(result.path));
  }

  // An Esc that ended the run must not also cut short the report of it.
  ClearAbort();
  const bool written = WriteLogReport(log, result.path, format, ReportOptionsFrom(settings), now,
                                      host.ui(), host.Progress());
  result.outcome = written ? LogSaveOutcome::Saved : LogSaveOutcome::Failed;
  if (written && !automatic &&
      host.ui().ShowMessage(std::wstring(kOpenReportQuestion), MessageIcon::Question,
                            MessageButtons::YesNo) == MessageAnswer::Yes) {
    host.OpenWithProgram(result.path);
  }
  return result;
}

}  // namespace ablagix
