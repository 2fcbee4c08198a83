#include "log/pdf_writer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <utility>

#include "base/text.h"

namespace ablagix {
namespace {

// Glyph widths of Helvetica in thousandths of the font size for the WinAnsi codes 32 to
// 255, from Adobe's font metrics of the standard font. Codes that WinAnsi leaves undefined
// (127, 129, 141, 143, 144, 157) are 0: ToWinAnsi never produces them.
// clang-format off
constexpr std::array<std::uint16_t, 224> kHelveticaWidths = {
    // 32: space ! " # $ % & ' ( ) * + , - . /
    278, 278, 355, 556, 556, 889, 667, 191, 333, 333, 389, 584, 278, 333, 278, 278,
    // 48: 0-9 : ; < = > ?
    556, 556, 556, 556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556,
    // 64: @ A-O
    1015, 667, 667, 722, 722, 667, 611, 778, 722, 278, 500, 667, 556, 833, 722, 778,
    // 80: P-Z [ \ ] ^ _
    667, 778, 722, 667, 611, 722, 667, 944, 667, 667, 611, 278, 278, 278, 469, 556,
    // 96: ` a-o
    333, 556, 556, 500, 556, 556, 278, 556, 556, 222, 222, 500, 222, 833, 556, 556,
    // 112: p-z { | } ~ (127)
    556, 556, 333, 500, 278, 556, 500, 722, 500, 500, 500, 334, 260, 334, 584, 0,
    // 128: Euro (129) quotesinglbase florin quotedblbase ellipsis dagger daggerdbl
    //      circumflex perthousand Scaron guilsinglleft OE (141) Zcaron (143)
    556, 0, 222, 556, 333, 1000, 556, 556, 333, 1000, 667, 333, 1000, 0, 611, 0,
    // 144: (144) quoteleft quoteright quotedblleft quotedblright bullet endash emdash
    //      tilde trademark scaron guilsinglright oe (157) zcaron Ydieresis
    0, 222, 222, 333, 333, 350, 556, 1000, 333, 1000, 500, 333, 944, 0, 500, 667,
    // 160: nbsp exclamdown cent sterling currency yen brokenbar section dieresis copyright
    //      ordfeminine guillemotleft logicalnot hyphen registered macron
    278, 333, 556, 556, 556, 556, 260, 556, 333, 737, 370, 556, 584, 333, 737, 333,
    // 176: degree plusminus twosuperior threesuperior acute mu paragraph periodcentered
    //      cedilla onesuperior ordmasculine guillemotright onequarter onehalf threequarters
    //      questiondown
    400, 584, 333, 333, 333, 556, 537, 278, 333, 333, 365, 556, 834, 834, 834, 611,
    // 192: Agrave..Aring AE Ccedilla Egrave..Edieresis Igrave..Idieresis
    667, 667, 667, 667, 667, 667, 1000, 722, 667, 667, 667, 667, 278, 278, 278, 278,
    // 208: Eth Ntilde Ograve..Odieresis multiply Oslash Ugrave..Udieresis Yacute Thorn germandbls
    722, 722, 778, 778, 778, 778, 778, 584, 778, 722, 722, 722, 722, 667, 667, 611,
    // 224: agrave..aring ae ccedilla egrave..edieresis igrave..idieresis
    556, 556, 556, 556, 556, 556, 889, 500, 556, 556, 556, 556, 278, 278, 278, 278,
    // 240: eth ntilde ograve..odieresis divide oslash ugrave..udieresis yacute thorn ydieresis
    556, 556, 556, 556, 556, 556, 556, 584, 611, 556, 556, 556, 556, 500, 556, 500,
};
// clang-format on

int GlyphWidth(unsigned char c) { return c < 32 ? 0 : kHelveticaWidths[c - 32]; }

bool IsShownInWinAnsi(unsigned char c) {
  return c >= 32 && c != 127 && c != 129 && c != 141 && c != 143 && c != 144 && c != 157;
}

// Coordinates with at most two decimals and a point, whatever the process locale.
void AppendNumber(std::string& out, double value) {
  long long hundredths = std::llround(value * 100);
  if (hundredths < 0) {
    out.push_back('-');
    hundredths = -hundredths;
  }
  out += std::to_string(hundredths / 100);
  const long long fraction = hundredths % 100;
  if (fraction != 0) {
    out.push_back('.');
    out.push_back(static_cast<char>('0' + fraction / 10));
    if (fraction % 10 != 0) out.push_back(static_cast<char>('0' + fraction % 10));
  }
}

void AppendNumbers(std::string& out, std::initializer_list<double> values) {
  for (double v : values) {
    AppendNumber(out, v);
    out.push_back(' ');
  }
}

void AppendColour(std::string& out, PdfColour c, const char* op) {
  AppendNumbers(out, {c.r, c.g, c.b});
  out += op;
  out.push_back('\n');
}

// A literal string: parentheses and backslashes are escaped, other bytes stay as they are
// (the file is marked as binary in its second line).
void AppendPdfString(std::string& out, std::string_view bytes) {
  out.push_back('(');
  for (char c : bytes) {
    if (c == '(' || c == ')' || c == '\\') out.push_back('\\');
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else {
      out.push_back(c);
    }
  }
  out.push_back(')');
}

constexpr std::size_t kCatalog = 1;
constexpr std::size_t kPages = 2;
constexpr std::size_t kFontRegular = 3;
constexpr std::size_t kFontBold = 4;
constexpr std::size_t kInfo = 5;
constexpr std::size_t kFirstPageObject = 6;

}  // namespace

std::string ToWinAnsi(std::wstring_view text) {
  std::string bytes = ToWindows1252(text);
  for (char& c : bytes) {
    if (!IsShownInWinAnsi(static_cast<unsigned char>(c))) c = '?';
  }
  return bytes;
}

double HelveticaWidth(std::string_view winAnsi, double size) {
  long units = 0;
  for (char c : winAnsi) units += GlyphWidth(static_cast<unsigned char>(c));
  return static_cast<double>(units) * size / 1000.0;
}

std::string FitHelvetica(std::string_view winAnsi, double width, double size) {
  if (HelveticaWidth(winAnsi, size) <= width) return std::string(winAnsi);
  static constexpr std::string_view kEllipsis = "...";
  const double room = width - HelveticaWidth(kEllipsis, size);
  double used = 0;
  std::size_t keep = 0;
  while (keep < winAnsi.size()) {
    const double w = GlyphWidth(static_cast<unsigned char>(winAnsi[keep])) * size / 1000.0;
    if (used + w > room) break;
    used += w;
    ++keep;
  }
  // A cut right after a blank would leave "Urlaub ...": the blank goes.
  while (keep > 0 && winAnsi[keep - 1] == ' ') --keep;
  return std::string(winAnsi.substr(0, keep)) + std::string(kEllipsis);
}

PdfDocument::PdfDocument(PdfPageSize size) : size_(size) {
  // The comment of four bytes above 127 tells transfer programs that the file is binary.
  out_ = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
  offsets_.assign(kFirstPageObject, 0);
  BeginObject(kFontRegular);
  out_ +=
      "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>\nendobj\n";
  BeginObject(kFontBold);
  out_ +=
      "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold /Encoding /WinAnsiEncoding "
      ">>\nendobj\n";
}

void PdfDocument::BeginObject(std::size_t number) {
  if (offsets_.size() <= number) offsets_.resize(number + 1, 0);
  offsets_[number] = out_.size();
  out_ += std::to_string(number);
  out_ += " 0 obj\n";
}

void PdfDocument::BeginPage() {
  EndPage();
  pageOpen_ = true;
  content_.clear();
  font_ = -1;
  fontSize_ = 0;
}

void PdfDocument::EndText() {
  if (!inText_) return;
  content_ += "ET\n";
  inText_ = false;
}

void PdfDocument::EndPage() {
  if (!pageOpen_) return;
  EndText();
  const std::size_t contentObject = offsets_.size();
  BeginObject(contentObject);
  out_ += "<< /Length ";
  out_ += std::to_string(content_.size());
  out_ += " >>\nstream\n";
  out_ += content_;
  out_ += "\nendstream\nendobj\n";
  const std::size_t pageObject = contentObject + 1;
  BeginObject(pageObject);
  out_ +=
      "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 3 0 R /F2 4 0 R >> >> /Contents ";
  out_ += std::to_string(contentObject);
  out_ += " 0 R >>\nendobj\n";
  pages_.push_back(pageObject);
  content_.clear();
  pageOpen_ = false;
}

void PdfDocument::Text(double x, double y, PdfFont font, double size, std::string_view winAnsi) {
  if (!pageOpen_) BeginPage();
  if (!inText_) {
    content_ += "BT\n";
    inText_ = true;
    lineX_ = 0;
    lineY_ = 0;
  }
  const int fontNumber = font == PdfFont::Bold ? 2 : 1;
  if (fontNumber != font_ || size != fontSize_) {
    content_ += fontNumber == 2 ? "/F2 " : "/F1 ";
    AppendNumber(content_, size);
    content_ += " Tf\n";
    font_ = fontNumber;
    fontSize_ = size;
  }
  // Td moves relative to the last line's start, which keeps the numbers short.
  AppendNumbers(content_, {x - lineX_, y - lineY_});
  content_ += "Td ";
  AppendPdfString(content_, winAnsi);
  content_ += " Tj\n";
  lineX_ = x;
  lineY_ = y;
}

void PdfDocument::FillRect(double x, double y, double width, double height, PdfColour colour) {
  if (!pageOpen_) BeginPage();
  EndText();
  // q .. Q keeps the fill colour from reaching the text drawn afterwards.
  content_ += "q ";
  AppendColour(content_, colour, "rg");
  AppendNumbers(content_, {x, y, width, height});
  content_ += "re f Q\n";
}

void PdfDocument::Line(double x1, double y1, double x2, double y2, double lineWidth,
                       PdfColour colour) {
  if (!pageOpen_) BeginPage();
  EndText();
  content_ += "q ";
  AppendColour(content_, colour, "RG");
  AppendNumber(content_, lineWidth);
  content_ += " w ";
  AppendNumbers(content_, {x1, y1});
  content_ += "m ";
  AppendNumbers(content_, {x2, y2});
  content_ += "l S Q\n";
}

void PdfDocument::SetInfo(std::string_view titleWinAnsi, std::string_view creationDate) {
  title_ = titleWinAnsi;
  creationDate_ = creationDate;
}

std::string PdfDocument::Finish() {
  if (pages_.empty() && !pageOpen_) BeginPage();
  EndPage();

  BeginObject(kPages);
  out_ += "<< /Type /Pages /MediaBox [0 0 ";
  AppendNumbers(out_, {size_.width});
  AppendNumber(out_, size_.height);
  out_ += "] /Count ";
  out_ += std::to_string(pages_.size());
  out_ += " /Kids [";
  for (std::size_t i = 0; i < pages_.size(); ++i) {
    if (i > 0) out_.push_back(' ');
    out_ += std::to_string(pages_[i]);
    out_ += " 0 R";
  }
  out_ += "] >>\nendobj\n";

  BeginObject(kCatalog);
  out_ += "<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";

  // The information strings are PDFDocEncoding, which agrees with WinAnsi on letters.
  BeginObject(kInfo);
  out_ += "<< /Producer (Ablagix)";
  if (!title_.empty()) {
    out_ += " /Title ";
    AppendPdfString(out_, title_);
  }
  if (!creationDate_.empty()) {
    out_ += " /CreationDate ";
    AppendPdfString(out_, creationDate_);
  }
  out_ += " >>\nendobj\n";

  // Every entry of the cross-reference table is exactly 20 bytes.
  const std::size_t xref = out_.size();
  out_ += "xref\n0 ";
  out_ += std::to_string(offsets_.size());
  out_ += "\n0000000000 65535 f\r\n";
  for (std::size_t i = 1; i < offsets_.size(); ++i) {
    std::string offset = std::to_string(offsets_[i]);
    out_.append(10 - std::min<std::size_t>(10, offset.size()), '0');
    out_ += offset;
    out_ += " 00000 n\r\n";
  }
  out_ += "trailer\n<< /Size ";
  out_ += std::to_string(offsets_.size());
  out_ += " /Root 1 0 R /Info 5 0 R >>\nstartxref\n";
  out_ += std::to_string(xref);
  out_ += "\n%%EOF\n";
  return std::move(out_);
}

}  // namespace ablagix
