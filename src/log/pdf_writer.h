// A small writer for PDF documents made of text, lines and filled rectangles in the standard
// fonts Helvetica and Helvetica-Bold. Every PDF reader has these two fonts built in, so
// nothing is embedded; text is encoded as WinAnsi (Windows-1252), which covers German.
//
//   PdfDocument pdf(kA4Landscape);
//   pdf.BeginPage();
//   pdf.Text(36, 550, PdfFont::Bold, 12, ToWinAnsi(L"Grüße"));
//   std::string bytes = pdf.Finish();
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

struct PdfPageSize {
  double width;  // points, 1/72 inch
  double height;
};
inline constexpr PdfPageSize kA4Landscape = {841.89, 595.28};

enum class PdfFont { Regular, Bold };

struct PdfColour {
  double r = 0, g = 0, b = 0;  // 0..1
};

class PdfDocument {
 public:
  explicit PdfDocument(PdfPageSize size);

  // Starts a new page; the page before it is complete.
  void BeginPage();
  std::size_t pageCount() const { return pages_.size(); }
  // Bytes of the finished pages so far, and room for the whole file: a large report is
  // best not regrown, and copied, at the end when it is largest.
  std::size_t size() const { return out_.size(); }
  void Reserve(std::size_t bytes) { out_.reserve(bytes); }

  // `winAnsi` is text in the font's encoding (see ToWinAnsi); (x, y) is the start of its
  // baseline, measured from the page's lower left corner.
  void Text(double x, double y, PdfFont font, double size, std::string_view winAnsi);
  void FillRect(double x, double y, double width, double height, PdfColour colour);
  void Line(double x1, double y1, double x2, double y2, double lineWidth, PdfColour colour);

  // Title and creation date for the document information; optional.
  void SetInfo(std::string_view titleWinAnsi, std::string_view creationDate /* D:yyyymmddhhnnss */);

  // The whole file. The document cannot be used afterwards.
  std::string Finish();

 private:
  void EndPage();
  void EndText();
  void BeginObject(std::size_t number);

  PdfPageSize size_;
  std::string out_;
  std::vector<std::size_t> offsets_;  // by object number; 0 is the free entry
  std::vector<std::size_t> pages_;    // object numbers of the page objects
  std::string content_;               // the open page's content stream
  bool pageOpen_ = false;
  bool inText_ = false;
  double lineX_ = 0, lineY_ = 0;  // start of the last text line inside BT .. ET
  int font_ = -1;                 // font set on the open page, -1 for none yet
  double fontSize_ = 0;
  std::string title_;
  std::string creationDate_;
};

// Text as WinAnsi bytes for the standard fonts. Characters that Windows-1252 cannot show, and
// control characters, become "?".
std::string ToWinAnsi(std::wstring_view text);

// Width in points of WinAnsi text set in Helvetica (regular) at `size`.
double HelveticaWidth(std::string_view winAnsi, double size);

// `winAnsi` when it fits into `width` points at `size`; otherwise as much of it as fits
// together with "..." after it.
std::string FitHelvetica(std::string_view winAnsi, double width, double size);

}  // namespace ablagix
