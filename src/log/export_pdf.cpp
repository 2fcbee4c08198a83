#include "log/export_pdf.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "base/ui_port.h"
#include "fileops/file_ops.h"
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
  bool alignRight;
  // What cutting one of its texts costs when the page is shared out: a folder shows enough
  // of itself even when cut; a name, a result, and above all a size or a date do not.
  std::size_t cutCost;
};

// The first seven columns of the log.
constexpr double kTableWidth = kPage.width - 2 * kMargin;
constexpr std::array<PdfColumn, 7> kColumns = {{
    {LogColumn::Datei, false, 4},
    {LogColumn::Pfad, false, 1},
    {LogColumn::Groesse, true, 8},
    {LogColumn::GeaendertAm, false, 8},
    {LogColumn::ErstelltAm, false, 8},
    {LogColumn::Zielpfad, false, 1},
    {LogColumn::Ergebnis, false, 4},
}};
// No column is squeezed below this (unless its texts need less): a cut text still shows
// its beginning.
constexpr int kLeastWidth = 60;
using ColumnWidths = std::array<double, kColumns.size()>;

// The blank space a cell keeps: twice the padding on the right keeps a number clear of the
// date that follows it.
double CellPadding(const PdfColumn& c) { return (c.alignRight ? 3 : 2) * kCellPadding; }

// Bold letters are up to a tenth wider than the regular ones the width table knows.
constexpr double kBoldFactor = 1.1;

// Widths from what the columns hold, in whole points. When every column can have the width
// of its widest text, each gets it, so no text that fits is cut. Otherwise the page is shared
// so that cutting costs least (see PdfColumn::cutCost): one very long name costs that one
// name, not the whole names column, and the folders give way before names, results, sizes
// and dates do.
ColumnWidths WidthsFor(const LogList& log, UiPort* ui, bool* stopped) {
  constexpr int kRoom = static_cast<int>(kTableWidth);
  constexpr std::size_t kCount = kColumns.size();
  // widest[i][w]: cells of column i that need w points (kRoom + 1: more than the page).
  std::array<std::vector<std::size_t>, kCount> needing;
  std::array<int, kCount> least{};  // the header always fits
  auto pointsFor = [](double textWidth, const PdfColumn& c) {
    return std::min(kRoom + 1, static_cast<int>(std::ceil(textWidth + CellPadding(c) + 0.5)));
  };
  for (std::size_t i = 0; i < kCount; ++i) {
    needing[i].assign(kRoom + 2, 0);
    const std::string header = ToWinAnsi(kLogColumns[static_cast<int>(kColumns[i].column)].text);
    least[i] = pointsFor(HelveticaWidth(header, kTextSize) * kBoldFactor, kColumns[i]);
  }
  for (std::size_t row = 0; row < log.size(); ++row) {
    for (std::size_t i = 0; i < kCount; ++i) {
      const double w = HelveticaWidth(ToWinAnsi(log.Text(row, kColumns[i].column)), kTextSize);
      ++needing[i][static_cast<std::size_t>(pointsFor(w, kColumns[i]))];
    }
    if (row % 256 == 255 && ExportStopRequested(ui)) {
      *stopped = true;
      break;
    }
  }
  // cut[i][w]: the cost of the cells of column i that a width of w points cuts.
  std::array<std::vector<std::size_t>, kCount> cut;
  for (std::size_t i = 0; i < kCount; ++i) {
    cut[i].assign(kRoom + 1, 0);
    std::size_t wider = needing[i][kRoom + 1];
    int widest = 0;
    for (int w = kRoom; w >= 0; --w) {
      cut[i][static_cast<std::size_t>(w)] = wider * kColumns[i].cutCost;
      wider += needing[i][static_cast<std::size_t>(w)];
      if (widest == 0 && needing[i][static_cast<std::size_t>(w)] > 0) widest = w;
    }
    if (needing[i][kRoom + 1] > 0) widest = kRoom;
    least[i] = std::max(least[i], std::min(widest, kLeastWidth));
  }
  // fewest[i][b]: the least cost of columns i.. within b points.
  constexpr std::size_t kNever = static_cast<std::size_t>(-1) / 2;
  std::vector<std::vector<std::size_t>> fewest(kCount + 1, std::vector<std::size_t>(kRoom + 1, 0));
  for (std::size_t i = kCount; i-- > 0;) {
    for (int b = 0; b <= kRoom; ++b) {
      std::size_t best = kNever;
      for (int w = least[i]; w <= b; ++w) {
        best = std::min(best, cut[i][static_cast<std::size_t>(w)] + fewest[i + 1][static_cast<std::size_t>(b - w)]);
      }
      fewest[i][static_cast<std::size_t>(b)] = best;
    }
  }
  // Each column, left to right, takes the least width that keeps the fewest cuts possible.
  ColumnWidths width{};
  int left = kRoom;
  for (std::size_t i = 0; i < kCount; ++i) {
    int w = std::min(least[i], left);
    while (w < left && cut[i][static_cast<std::size_t>(w)] + fewest[i + 1][static_cast<std::size_t>(left - w)] !=
                           fewest[i][static_cast<std::size_t>(left)]) {
      ++w;
    }
    width[i] = w;
    left -= w;
  }
  // What is left goes to the columns that still cut a text, else to the names and folders,
  // so the table spans the page.
  std::vector<std::size_t> wanting;
  for (std::size_t i = 0; i < kCount; ++i) {
    if (cut[i][static_cast<std::size_t>(width[i])] > 0) wanting.push_back(i);
  }
  if (wanting.empty()) wanting = {0, 1, 5};
  const double spare = kTableWidth - std::accumulate(width.begin(), width.end(), 0.0);
  for (std::size_t i : wanting) width[i] += spare / static_cast<double>(wanting.size());
  return width;
}

double TableTop(bool firstPage) { return kPage.height - kMargin - (firstPage ? kTitleBlock : 0); }

std::size_t RowsBelow(double tableTop) {
  return static_cast<std::size_t>((tableTop - kHeaderHeight - kTableBottom) / kRowHeight);
}

class ReportLayout {
 public:
  ReportLayout(PdfDocument& pdf, const ColumnWidths& widths) : pdf_(pdf), widths_(widths) {}

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
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      const std::string text = ToWinAnsi(kLogColumns[static_cast<int>(kColumns[i].column)].text);
      Cell(x, top - 9.6, i, PdfFont::Bold, text);
      x += widths_[i];
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
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      const double room = widths_[i] - CellPadding(kColumns[i]);
      const std::string text = FitHelvetica(ToWinAnsi(log.Text(row, kColumns[i].column)), room, kTextSize);
      if (!text.empty()) Cell(x, rowTop_ - 7.8, i, PdfFont::Regular, text);
      x += widths_[i];
    }
    NextRow();
  }

  // A line of its own below the rows, for the word that ends a report cut short.
  void Note(std::string_view winAnsi) {
    pdf_.Text(kMargin + kCellPadding, rowTop_ - 7.8, PdfFont::Bold, kTextSize, winAnsi);
    NextRow();
  }

 private:
  void NextRow() {
    rowTop_ -= kRowHeight;
    --rowsLeft_;
  }

  void Cell(double x, double baseline, std::size_t column, PdfFont font, const std::string& text) {
    double at = x + kCellPadding;
    if (kColumns[column].alignRight) at = x + widths_[column] - 2 * kCellPadding - HelveticaWidth(text, kTextSize);
    pdf_.Text(at, baseline, font, kTextSize, text);
  }

  PdfDocument& pdf_;
  const ColumnWidths& widths_;
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
                           ExportProgress* progress, UiPort* ui) {
  const std::wstring date = FormatGermanDateTime(options.now).substr(0, 10);
  const std::string titleLine = ToWinAnsi(L"Ablagix: " + options.title + L" vom " + date);
  const LocalDateTime& t = options.now;
  PdfDocument pdf(kPage);
  pdf.SetInfo(titleLine, "D:" + Digits(t.year, 4) + Digits(t.month, 2) + Digits(t.day, 2) +
                             Digits(t.hour, 2) + Digits(t.minute, 2) + Digits(t.second, 2));

  if (progress) progress->Start(log.size());
  bool stopped = false;
  const ColumnWidths widths = WidthsFor(log, ui, &stopped);
  ReportLayout layout(pdf, widths);
  layout.StartPage(titleLine);
  constexpr std::size_t kSampleRows = 1000;  // the rows that the final size is guessed from
  for (std::size_t row = 0; row < log.size() && !stopped; ++row) {
    if (row == kSampleRows) {
      const std::size_t expected = pdf.size() / row * log.size();
      pdf.Reserve(expected + expected / 16);
    }
    if (layout.PageFull()) layout.StartPage(titleLine);
    layout.Row(log, row);
    if (progress) progress->Advance(row + 1);
    stopped = ExportStopRequested(ui);
  }
  if (stopped) {
    if (layout.PageFull()) layout.StartPage(titleLine);
    layout.Note(ToWinAnsi(kExportAborted));
  }
  if (progress) progress->Reset();
  return pdf.Finish();
}

bool WritePdfReport(const LogList& log, const std::wstring& path, const PdfReportOptions& options,
                    UiPort& ui, ExportProgress* progress) {
  if (WriteFileAtomic(path, PdfReportBytes(log, options, progress, &ui))) return true;
  ui.ShowMessage(std::wstring(kPdfSaveFailed), MessageIcon::Exclamation, MessageButtons::Ok);
  return false;
}

}  // namespace ablagix
