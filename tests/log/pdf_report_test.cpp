#include "log/export_pdf.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/ui_port.h"
#include "log/pdf_writer.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::AbortAfter;

std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// Checks what a reader relies on to find its way: startxref points at the table, every entry
// points at its object's header, and every stream's /Length is its real length.
void ExpectConsistentFile(const std::string& pdf) {
  const std::size_t tail = pdf.rfind("startxref\n");
  ASSERT_NE(tail, std::string::npos);
  const std::size_t xref = std::strtoull(pdf.c_str() + tail + 10, nullptr, 10);
  ASSERT_EQ(pdf.compare(xref, 5, "xref\n"), 0);
  const std::size_t header = pdf.find('\n', xref + 5);
  const std::size_t objects = std::strtoull(pdf.c_str() + xref + 7, nullptr, 10);
  ASSERT_GT(objects, 5u);
  for (std::size_t i = 0; i < objects; ++i) {
    const std::string entry = pdf.substr(header + 1 + 20 * i, 20);
    ASSERT_EQ(entry.size(), 20u);
    if (i == 0) {
      EXPECT_EQ(entry, "0000000000 65535 f\r\n");
      continue;
    }
    EXPECT_EQ(entry.substr(10), " 00000 n\r\n");
    const std::size_t offset = std::strtoull(entry.c_str(), nullptr, 10);
    EXPECT_EQ(pdf.compare(offset, std::to_string(i).size() + 7, std::to_string(i) + " 0 obj\n"), 0)
        << "object " << i;
  }
  EXPECT_NE(pdf.find("trailer\n<< /Size " + std::to_string(objects) + " /Root 1 0 R"),
            std::string::npos);
  for (std::size_t at = pdf.find("/Length "); at != std::string::npos;
       at = pdf.find("/Length ", at + 1)) {
    const std::size_t length = std::strtoull(pdf.c_str() + at + 8, nullptr, 10);
    const std::size_t data = pdf.find("stream\n", at) + 7;
    EXPECT_EQ(pdf.compare(data + length, 10, "\nendstream"), 0);
  }
}

TEST(PdfWriter, FileStructureAndStrings) {
  PdfDocument pdf(kA4Landscape);
  pdf.BeginPage();
  pdf.Text(10, 20.5, PdfFont::Regular, 8, ToWinAnsi(L"a(b)\\c"));
  pdf.FillRect(0, 0, 5, 5, {1, 0.5, 0});
  pdf.Text(10, 9.25, PdfFont::Bold, 8, "x");
  pdf.BeginPage();
  const std::string bytes = pdf.Finish();
  ExpectConsistentFile(bytes);
  EXPECT_TRUE(bytes.starts_with("%PDF-1.4\n"));
  EXPECT_TRUE(bytes.ends_with("%%EOF\n"));
  EXPECT_NE(bytes.find("(a\\(b\\)\\\\c) Tj"), std::string::npos);
  EXPECT_NE(bytes.find("/Count 2"), std::string::npos);
  EXPECT_NE(bytes.find("/MediaBox [0 0 841.89 595.28]"), std::string::npos);
  // The rectangle's colour is kept inside q .. Q, and the text after it opens a new BT with
  // a position relative to nothing but the new text object.
  EXPECT_NE(bytes.find("q 1 0.5 0 rg\n0 0 5 5 re f Q\nBT\n/F2 8 Tf\n10 9.25 Td (x) Tj\nET"),
            std::string::npos);
}

TEST(PdfText, WinAnsiWidthsAndCutting) {
  EXPECT_EQ(ToWinAnsi(L"\u00c4\u00d6\u00dc\u00e4\u00f6\u00fc\u00df \u20ac"),
            "\xC4\xD6\xDC\xE4\xF6\xFC\xDF \x80");
  // Outside Windows-1252, and control characters, print as "?".
  EXPECT_EQ(ToWinAnsi(L"\u03a9\t\U0001F4F7x"), "???x");

  // Adobe's widths: H 722, e 556, l 222, o 556; "Größe" uses the Latin-1 half of the table.
  EXPECT_DOUBLE_EQ(HelveticaWidth("Hello", 1000), 2278);
  EXPECT_DOUBLE_EQ(HelveticaWidth(ToWinAnsi(L"Gr\u00f6\u00dfe"), 1000),
                   778 + 333 + 556 + 611 + 556);

  EXPECT_EQ(FitHelvetica("kurz", 50, 8), "kurz");
  // "i" is 1.776 points wide: ten fit into 20 points, but into 15 only four beside "..."
  // (6.672 points).
  EXPECT_EQ(FitHelvetica("iiiiiiiiii", 20, 8), "iiiiiiiiii");
  EXPECT_EQ(FitHelvetica("iiiiiiiiii", 15, 8), "iiii...");
  EXPECT_LE(HelveticaWidth(FitHelvetica("WWWWWWWWWWWWWWWWWWW", 40, 8), 8), 40);
  EXPECT_EQ(FitHelvetica("ab cdefghijklmnop", HelveticaWidth("ab c...", 8) - 0.1, 8), "ab...");
}

LogFileFields Row(const std::wstring& name) {
  LogFileFields f;
  f.datei = name;
  f.pfad = L"D:\\Eingang";
  f.size = 1536;
  f.zielpfad = L"E:\\Ablage";
  f.ergebnis = L"Kopiert";
  return f;
}

TEST(PdfReport, EveryPageHasHeadersAndItsNumber) {
  const PdfReportOptions options{L"Dateiliste", {2025, 2, 3, 9, 5, 7}};
  const std::string empty = PdfReportBytes(LogList(), options, nullptr);
  ExpectConsistentFile(empty);
  EXPECT_NE(empty.find("/Count 1 "), std::string::npos);
  EXPECT_NE(empty.find("(Ablagix: Dateiliste vom 03.02.2025) Tj"), std::string::npos);
  EXPECT_NE(empty.find("(Seite 1) Tj"), std::string::npos);
  EXPECT_NE(empty.find("(Gr\xF6\xDF"
                       "e) Tj"),
            std::string::npos);

  const PdfReportCapacity capacity = PdfRowsPerPage();
  ASSERT_GT(capacity.firstPage, 30u);
  LogList log;
  const std::size_t rows = capacity.firstPage + capacity.otherPages + 1;  // one onto page 3
  for (std::size_t i = 0; i < rows; ++i)
    log.AppendFile(Row(L"Datei " + std::to_wstring(i) + L".txt"));
  log.AppendFile(Row(std::wstring(200, L'x') + L".txt"));
  const std::string report = PdfReportBytes(log, options, nullptr);
  ExpectConsistentFile(report);
  EXPECT_NE(report.find("/Count 3 "), std::string::npos);
  EXPECT_EQ(Count(report, "(Ergebnis) Tj"), 3u);
  EXPECT_EQ(Count(report, "(Seite 3) Tj"), 1u);
  EXPECT_EQ(Count(report, "(Ablagix: Dateiliste"), 2u);  // first page, and the document title
  EXPECT_NE(report.find("xxxxxx...) Tj"), std::string::npos);
  EXPECT_NE(report.find("(Datei " + std::to_string(rows - 1) + ".txt) Tj"), std::string::npos);
}

TEST(PdfReport, EscEndsTheReportWithAbbruch) {
  LogList log;
  for (int i = 0; i < 100; ++i) log.AppendFile(Row(L"Datei " + std::to_wstring(i) + L".txt"));
  AbortAfter ui(3);
  const std::string report = PdfReportBytes(log, {L"Dateiliste", {2025, 2, 3, 9, 5, 7}}, nullptr, &ui);
  ExpectConsistentFile(report);
  EXPECT_NE(report.find("(Datei 3.txt) Tj"), std::string::npos);
  EXPECT_EQ(report.find("(Datei 4.txt) Tj"), std::string::npos);
  EXPECT_NE(report.find("(Abbruch) Tj"), std::string::npos);
}

TEST(PdfReport, ColumnsTakeTheWidthOfWhatTheyHold) {
  const PdfReportOptions options{L"Dateiliste", {2025, 2, 3, 9, 5, 7}};
  LogList log;
  const std::wstring name = L"Sicherung.zip";
  LogFileFields f = Row(name);
  f.size = 1050000000;  // "1.001,36 MB"
  f.pfad = L"D:\\Archiv\\Kunden\\Mustermann GmbH\\Rechnungen\\2024\\Quartal 4";
  f.ergebnis = L"Fehler! Quelle: Datei wird von einem anderen Programm verwendet";
  log.AppendFile(f);
  // Everything fits on the page side by side, so nothing is cut: the size keeps its unit.
  std::string report = PdfReportBytes(log, options, nullptr);
  EXPECT_NE(report.find("(1.001,36 MB) Tj"), std::string::npos);
  EXPECT_NE(report.find("(D:\\\\Archiv\\\\Kunden\\\\Mustermann GmbH\\\\Rechnungen\\\\2024\\\\Quartal 4) Tj"),
            std::string::npos);
  EXPECT_NE(report.find("(Fehler! Quelle: Datei wird von einem anderen Programm verwendet) Tj"), std::string::npos);
  EXPECT_EQ(report.find("...) Tj"), std::string::npos);

  // A name wider than the page is cut; the short columns still keep their whole texts.
  const std::wstring longName = std::wstring(300, L'x') + L".txt";
  f.datei = longName;
  log.AppendFile(f);
  report = PdfReportBytes(log, options, nullptr);
  EXPECT_NE(report.find("xxx...) Tj"), std::string::npos);
  EXPECT_EQ(Count(report, "(1.001,36 MB) Tj"), 2u);
  EXPECT_EQ(Count(report, "(Fehler! Quelle: Datei wird von einem anderen Programm verwendet) Tj"), 2u);
}

}  // namespace
}  // namespace ablagix
