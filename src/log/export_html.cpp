#include "log/export_html.h"

#include <algorithm>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/export_buffer.h"

namespace ablagix {
namespace {

// "dd.mm.yyyy".
std::wstring GermanDate(const LocalDateTime& t) { return FormatGermanDateTime(t).substr(0, 10); }

// Texts of the cells: file names may hold "&", and "<" is legal in Linux names.
void AppendEscaped(Utf16LeBuffer& out, std::wstring_view text) {
  for (wchar_t c : text) {
    switch (c) {
      case L'&': out.Append(L"&amp;"); break;
      case L'<': out.Append(L"&lt;"); break;
      case L'>': out.Append(L"&gt;"); break;
      case L'"': out.Append(L"&quot;"); break;
      default: out.Append(c);
    }
  }
}

bool IsUrlSafe(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~' || c == '/' || c == ':';
}

std::wstring SummaryLine(const HtmlSummaryCounts& counts) {
  if (counts.folders) {
    return NumberText(*counts.folders) + L" Verzeichniss(e) und " + NumberText(counts.files) +
           L" Datei(en) ";
  }
  return NumberText(counts.rows) + L" Verzeichniss(e) / Datei(en) ";
}

}  // namespace

std::wstring FileUrl(std::wstring_view path) {
  std::wstring p(path);
  for (wchar_t& c : p) {
    if (c == L'\\') c = L'/';
  }
  // The long-path forms mean nothing to a browser.
  if (p.starts_with(L"//?/UNC/")) {
    p = L"//" + p.substr(8);
  } else if (p.starts_with(L"//?/")) {
    p = p.substr(4);
  }
  // A POSIX path brings its own leading slash; "file:///" already has it.
  if (p.starts_with(L"/") && !p.starts_with(L"//")) p.erase(0, 1);

  static constexpr char kHex[] = "0123456789ABCDEF";
  std::wstring url = L"file:///";
  for (char byte : ToUtf8(p)) {
    const auto b = static_cast<unsigned char>(byte);
    if (IsUrlSafe(b)) {
      url.push_back(static_cast<wchar_t>(b));
    } else {
      url.push_back(L'%');
      url.push_back(static_cast<wchar_t>(kHex[b >> 4]));
      url.push_back(static_cast<wchar_t>(kHex[b & 0xF]));
    }
  }
  return url;
}

// The document is the program's fixed sequence of fragments, one after the other without line
// breaks, so that a report compares byte for byte with the ones it has always written. Two
// things are added to it: cell texts are escaped and link targets percent-encoded, because
// file names may hold "<", "&" or quotes, and such a name written raw would break the table
// (or, in a name made to look like markup, put that markup into the report).
std::string HtmlExportBytes(const LogList& log, const HtmlExportOptions& options, ExportProgress* progress,
                            UiPort* ui) {
  Utf16LeBuffer out;
  constexpr std::size_t kSampleRows = 1000;  // the rows that the final size is guessed from
  out.Reserve((std::min(log.size(), kSampleRows) + 8) * 260);

  out.Append(L"<HTML> <BODY><h5><font color=\"#0066CC\">");
  AppendEscaped(out, SummaryLine(options.counts));
  out.Append(L"</font></h5>");
  out.Append(L"<h3><font color=\"#0066CC\">");
  out.Append(L"Ablagix: ");
  AppendEscaped(out, options.title);
  out.Append(L" vom ");
  out.Append(GermanDate(options.now));
  out.Append(L"</font></h3>");
  out.Append(L"<h5><font color=\"#0066CC\">");
  out.Append(L"Erstellt am " + FormatGermanDateTime(options.now));
  out.Append(L"</font></h5>");

  // The colour goes out without "#": that is how the reports have always looked, and browsers
  // read the bare hexadecimal the same way in this attribute.
  out.Append(L"<TABLE cellspacing=\"0\" border=\"1\" style=\"background-color:");
  out.Append(options.coloured ? L"99CCFF" : L"FFFFFF");
  out.Append(L";color=#333399\"><tr>");
  constexpr int kColumns = static_cast<int>(LogColumn::Ergebnis) + 1;
  for (int c = 0; c < kColumns; ++c) {
    out.Append(L"<th align=\"left\" style=\"background-color:#FBAA9B\"><font color=\"#333399\">");
    AppendEscaped(out, kLogColumns[c].text);
    out.Append(L"</font></th>");
  }
  out.Append(L"</tr>");

  // Every row, the banners included, has its name and its target as links.
  if (progress) progress->Start(log.size());
  bool stopped = false;
  for (std::size_t row = 0; row < log.size() && !stopped; ++row) {
    const std::wstring datei = log.Text(row, LogColumn::Datei);
    const std::wstring zielpfad = log.Text(row, LogColumn::Zielpfad);

    out.Append(L"<tr><td>");
    out.Append(L"<a href=\"");
    out.Append(FileUrl(JoinPath(log.Text(row, LogColumn::Pfad), datei)));
    out.Append(L"\">");
    AppendEscaped(out, datei);
    out.Append(L"</a>");
    out.Append(L"</td>");

    out.Append(L"<td>");
    AppendEscaped(out, log.Text(row, LogColumn::Pfad));
    out.Append(L"</td>");

    out.Append(L"<td>");
    AppendEscaped(out, log.Text(row, LogColumn::Groesse));
    out.Append(L"</td>");

    const std::wstring changed = log.Text(row, LogColumn::GeaendertAm);
    out.Append(L"<td align=\"center\">");
    AppendEscaped(out, changed.empty() ? std::wstring_view(L"-") : std::wstring_view(changed));
    out.Append(L"</td>");

    out.Append(L"<td>");
    AppendEscaped(out, log.Text(row, LogColumn::ErstelltAm));
    out.Append(L"</td>");

    out.Append(L"<td>");
    out.Append(L"<a href=\"");
    out.Append(FileUrl(zielpfad));
    out.Append(L"\">");
    AppendEscaped(out, zielpfad);
    out.Append(L"</a>");
    out.Append(L"</td>");

    out.Append(L"<td>");
    AppendEscaped(out, log.Text(row, LogColumn::Ergebnis));
    out.Append(L"</td>");
    out.Append(L"</tr>");
    if (row + 1 == kSampleRows) out.ReserveByRate(row + 1, log.size());
    if (progress) progress->Advance(row + 1);
    stopped = ExportStopRequested(ui);
  }
  // A report stopped early says so in a row of its own, and the document still ends whole.
  if (stopped) {
    out.Append(L"<tr><td>");
    out.Append(kExportAborted);
    out.Append(L"</td></tr>");
  }
  if (progress) progress->Reset();
  out.Append(L"</TABLE></BODY></HTML>");
  return out.Take();
}

bool WriteHtmlExport(const LogList& log, const std::wstring& path, const HtmlExportOptions& options,
                     ExportProgress* progress, UiPort* ui) {
  return WriteFileAtomic(path, HtmlExportBytes(log, options, progress, ui));
}

}  // namespace ablagix
