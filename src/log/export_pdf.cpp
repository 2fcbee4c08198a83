#include "log/export_pdf.h"

#include <array>
#include <string>

#include "base/ui_port.h"
#include "fileops/files.h"
#include "log/pdf_writer.h"

namespace ablagix {
namespace {

constexpr PdfPageSize kPage = kA4Landscape;
constexpr double kMargin = 36;  // half an inch
constexpr double kTextSize = 8;
constexpr double kTitleSize = 12;
constexpr double kTitleBlock = 26;  // title line and the gap below it
constexpr double kHeaderHeight = 14;
constexpr double kRowHeight = 11;
constexpr double kCellPadding = 3;
constexpr double kTableBottom = 40;  // leaves room for the page label below the table
constexpr double kLabelBaseline = 22;

constexpr PdfColour kHeaderFill = {0.80, 0.80, 0.80};
constexpr PdfColour kStripeFill = {0.94, 0.94, 0.94};
// The list's red and yellow, pale enough to read black print on.
constexpr PdfColour kErrorFill = {1.0, 0.80, 0.80};
constexpr PdfColour kSkippedFill = {1.0, 1.0, 0.70};
constexpr PdfColour kRuleColour = {0.45, 0.45, 0.45};

struct PdfColumn {
  LogColumn column;
  double width;  // points
  bool alignRight;
};

// The first seven columns of the log. A date ("03.02.2025 09:05:07") needs 74 points at
// 8 points and "Verschoben, simuliert" 77; the names and folders share what is left.
constexpr double kTableWidth = kPage.width - 2 * kMargin;
constexpr double kResultWidth = 83;
constexpr std::array<PdfColumn, 7> kColumns = {{
    {LogColumn::Datei, 160, false},
    {LogColumn::Pfad, 158, false},
    {LogColumn::Groesse, 54, true},
    {LogColumn::GeaendertAm, 80, false},
    {LogColumn::ErstelltAm, 80, false},
    {LogColumn::Zielpfad, kTableWidth - 160 - 158 - 54 - 80 - 80 - kResultWidth, false},
    {LogColumn::Ergebnis, kResultWidth, false},
}};

double TableTop(bool firstPage) { return kPage.height - kMargin - (firstPage ? kTitleBlock : 0); }

std::size_t RowsBelow(double tableTop) {
  return static_cast<std::size_t>((tableTop - kHeaderHeight - kTableBottom) / kRowHeight);
}

class ReportLayout {
 public:
  explicit ReportLayout(PdfDocument& pdf) : pdf_(pdf) {}

  // Starts page n with its label, the title on the first, and the column headers.
  void StartPage(const std::string& titleLine) {
    pdf_.BeginPage();
    ++page_;
    const bool first = page_ == 1;
    if (first) {
      pdf_.Text(kMargin, kPage.height - kMargin - kTitleSize, PdfFont::Bold, kTitleSize, titleLine);
    }
    const std::string label = ToWinAnsi(L"Seite " + std::to_wstring(page_));
    pdf_.Text(kPage.width - kMargin - HelveticaWidth(label, kTextSize), kLabelBaseline,
              PdfFont::Regular, kTextSize, label);

    const double top = TableTop(first);
    pdf_.FillRect(kMargin, top - kHeaderHeight, kTableWidth, kHeaderHeight, kHeaderFill);
    double x = kMargin;
    for (const PdfColumn& c : kColumns) {
      const std::string text = ToWinAnsi(kLogColumns[static_cast<int>(c.column)].text);
      Cell(x, top - 9.6, c, PdfFont::Bold, text);
      x += c.width;
    }
    pdf_.Line(kMargin, top - kHeaderHeight, kMargin + kTableWidth, top - kHeaderHeight, 0.6,
              kRuleColour);
    rowTop_ = top - kHeaderHeight;
    rowsLeft_ = RowsBelow(top);
    stripe_ = false;
  }

  bool PageFull() const { return rowsLeft_ == 0; }

  void Row(const LogList& log, std::size_t row) {
    const LogRowKind kind = log.Kind(row);
    if (kind == LogRowKind::Error) {
      pdf_.FillRect(kMargin, rowTop_ - kRowHeight, kTableWidth, kRowHeight, kErrorFill);
    } else if (kind == LogRowKind::Skipped) {
      pdf_.FillRect(kMargin, rowTop_ - kRowHeight, kTableWidth, kRowHeight, kSkippedFill);
    } else if (stripe_) {
      pdf_.FillRect(kMargin, rowTop_ - kRowHeight, kTableWidth, kRowHeight, kStripeFill);
    }
    stripe_ = !stripe_;
    double x = kMargin;
    for (const PdfColumn& c : kColumns) {
      const double room = c.width - (c.alignRight ? 3 : 2) * kCellPadding;
      const std::string text = FitHelvetica(ToWinAnsi(log.Text(row, c.column)), room, kTextSize);
      if (!text.empty()) Cell(x, rowTop_ - 7.8, c, PdfFont::Regular, text);
      x += c.width;
    }
    rowTop_ -= kRowHeight;
    --rowsLeft_;
  }

 private:
  void Cell(double x, double baseline, const PdfColumn& c, PdfFont font, const std::string& text) {
    double at = x + kCellPadding;
    // Twice the padding on the right keeps a number clear of the date that follows it.
    if (c.alignRight) at = x + c.width - 2 * kCellPadding - HelveticaWidth(text, kTextSize);
    pdf_.Text(at, baseline, font, kTextSize, text);
  }

  PdfDocument& pdf_;
  int page_ = 0;
  double rowTop_ = 0;
  std::size_t rowsLeft_ = 0;
  bool stripe_ = false;
};

std::string Digits(int value, int width) {
  std::string s = std::to_string(value);
  return s.size() < static_cast<std::size_t>(width) ? std::string(width - s.size(), '0') + s : s;
}

}  // namespace

PdfReportCapacity PdfRowsPerPage() {
  return {RowsBelow(TableTop(true)), RowsBelow(TableTop(false))};
}

std::string PdfReportBytes(const LogList& log, const PdfReportOptions& options,
                           ExportProgress* progress) {
  const std::wstring date = FormatGermanDateTime(options.now).substr(0, 10);
  const std::string titleLine = ToWinAnsi(L"Ablagix: " + options.title + L" vom " + date);
  const LocalDateTime& t = options.now;
  PdfDocument pdf(kPage);
  pdf.SetInfo(titleLine, "D:" + Digits(t.year, 4) + Digits(t.month, 2) + Digits(t.day, 2) +
                             Digits(t.hour, 2) + Digits(t.minute, 2) + Digits(t.second, 2));

  ReportLayout layout(pdf);
  layout.StartPage(titleLine);
  if (progress) progress->Start(log.size());
  constexpr std::size_t kSampleRows = 1000;  // the rows that the final size is guessed from
  for (std::size_t row = 0; row < log.size(); ++row) {
    if (row == kSampleRows) {
      const std::size_t expected = pdf.size() / row * log.size();
      pdf.Reserve(expected + expected / 16);
    }
    if (layout.PageFull()) layout.StartPage(titleLine);
    layout.Row(log, row);
    if (progress) progress->Advance(row + 1);
  }
  if (progress) progress->Reset();
  return pdf.Finish();
}

bool WritePdfReport(const LogList& log, const std::wstring& path, const PdfReportOptions& options,
                    UiPort& ui, ExportProgress* progress) {
  if (WriteFileAtomic(path, PdfReportBytes(log, options, progress))) return true;
  ui.ShowMessage(std::wstring(kPdfSaveFailed), MessageIcon::Exclamation, MessageButtons::Ok);
  return false;
}

}  // namespace ablagix
