#include "metadata/pdf_text.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <utility>
#include <vector>

#include "log/export_pdf.h"
#include "log/log_list.h"

namespace ablagix {
namespace {

std::optional<std::wstring> Extract(std::string_view bytes, std::uint64_t limit = kDocumentSizeLimit) {
  MemoryByteSource source(bytes);
  return PdfText(source, limit);
}

std::string Deflate(std::string_view data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(data.data()),
           static_cast<uLong>(data.size()));
  out.resize(size);
  return out;
}

std::string Stream(std::string_view dict, std::string_view data) {
  return "<< " + std::string(dict) + " /Length " + std::to_string(data.size()) + " >>\nstream\n" + std::string(data) +
         "\nendstream";
}

std::string Padded(std::size_t offset) {
  std::string digits = std::to_string(offset);
  return std::string(10 - digits.size(), '0') + digits;
}

// A file of the given objects (numbered from 1) with a cross-reference table.
std::string MakePdf(const std::vector<std::string>& objects, std::string_view trailerExtra = "") {
  std::string pdf = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
  std::vector<std::size_t> offsets;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    offsets.push_back(pdf.size());
    pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::size_t xref = pdf.size();
  pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f\r\n";
  for (std::size_t offset : offsets) pdf += Padded(offset) + " 00000 n\r\n";
  pdf += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R " + std::string(trailerExtra) +
         " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return pdf;
}

// One page showing `content` with the font objects F1.. given.
std::string OnePage(std::string_view content, const std::vector<std::string>& fonts = {
                                                  "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica "
                                                  "/Encoding /WinAnsiEncoding >>"}) {
  std::string fontDict;
  for (std::size_t i = 0; i < fonts.size(); ++i) {
    fontDict += "/F" + std::to_string(i + 1) + " " + std::to_string(i + 5) + " 0 R ";
  }
  std::vector<std::string> objects = {
      "<< /Type /Catalog /Pages 2 0 R >>",
      "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /Resources << /Font << " + fontDict + ">> >> /Contents 4 0 R >>",
      Stream("", content)};
  objects.insert(objects.end(), fonts.begin(), fonts.end());
  return MakePdf(objects);
}

const char kHelvetica[] = "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>";

TEST(PdfText, PagesInOrderWithLinesAndWords) {
  const std::string pdf = MakePdf({
      "<< /Type /Catalog /Pages 2 0 R >>",
      // The page tree lists itself too; the fonts are inherited by both pages.
      "<< /Type /Pages /Kids [3 0 R 2 0 R 4 0 R] /Count 2 /Resources << /Font << /F1 5 0 R >> >> >>",
      "<< /Type /Page /Parent 2 0 R /Contents 6 0 R >>",
      "<< /Type /Page /Parent 2 0 R /Contents [7 0 R 8 0 R] >>",
      kHelvetica,
      Stream("",
             "BI /W 4 /H 1 /BPC 8 /CS /G ID \x01(Tj)EIx\xff\n EI\n"
             "BT /F1 12 Tf 72 700 Td (Rechnung Nr. 42) Tj 0 -14 Td [(Gr) 20 (\\366\\337e) -400 (M\\374ller)] TJ\n"
             "14 TL T* (Klammern \\(a\\) und \\\\) Tj (zweiter\\\n Teil) ' <48616C6C6F> Tj 300 0 Td (Spalte) Tj ET"),
      // A page's content may be split between streams anywhere between tokens.
      Stream("", "BT /F1 12 Tf 72 700 Td (Seite) Tj"),
      Stream("", "( zwei) Tj ET"),
  });
  EXPECT_EQ(Extract(pdf), L"Rechnung Nr. 42\nGr\u00f6\u00dfe M\u00fcller\nKlammern (a) und \\\nzweiter TeilHallo Spalte\n"
                          L"Seite zwei");
}

TEST(PdfText, ToUnicodeMapsAndCompressedStreams) {
  const std::string cmap =
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
      "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
      "2 beginbfchar <0001> <0052> <0002> <D83DDE00> endbfchar\n"
      "2 beginbfrange <0003> <0005> <0061> <0010> <0011> [<00E4> <00DF>] endbfrange\n"
      "endcmap CMapName currentdict /CMap defineresource pop end end";
  const std::string oneByteCmap = "1 begincodespacerange <00> <FF> endcodespacerange 1 beginbfchar <41> <0058> endbfchar";
  const std::string content =
      "BT /F1 10 Tf 50 700 Td <0001000300040005001000110002> Tj /F2 10 Tf <00410042> Tj "
      "/F3 10 Tf 0 -20 Td (AB) Tj ET";
  std::string hex;
  for (unsigned char c : Deflate(content)) {
    static const char kDigits[] = "0123456789ABCDEF";
    hex += {kDigits[c >> 4], kDigits[c & 15], ' '};
  }
  // The one-byte map as ASCII85, so that filter is read too.
  auto ascii85 = [](std::string_view data) {
    std::string out = "<~";
    for (std::size_t i = 0; i < data.size(); i += 4) {
      std::uint32_t group = 0;
      const std::size_t n = std::min<std::size_t>(4, data.size() - i);
      for (std::size_t j = 0; j < 4; ++j) group = group << 8 | (j < n ? static_cast<unsigned char>(data[i + j]) : 0u);
      char digits[5];
      for (int k = 4; k >= 0; --k) {
        digits[k] = static_cast<char>('!' + group % 85);
        group /= 85;
      }
      out.append(digits, n + 1);
    }
    return out + "~>";
  };
  const std::string pdf = MakePdf({
      "<< /Type /Catalog /Pages 2 0 R >>",
      "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 5 0 R /F2 6 0 R /F3 7 0 R >> >> /Contents 4 0 R >>",
      Stream("/Filter [/ASCIIHexDecode /FlateDecode]", hex + ">"),
      "<< /Type /Font /Subtype /Type0 /Encoding /Identity-H /ToUnicode 8 0 R >>",
      // Without a map, the codes of a composite font say nothing.
      "<< /Type /Font /Subtype /Type0 /Encoding /Identity-H >>",
      "<< /Type /Font /Subtype /TrueType /Encoding /WinAnsiEncoding /ToUnicode 9 0 R >>",
      Stream("/Filter /FlateDecode", Deflate(cmap)),
      Stream("/Filter /ASCII85Decode", ascii85(oneByteCmap)),
  });
  // "A" is mapped, "B" is not and falls back to the encoding.
  EXPECT_EQ(Extract(pdf), L"Rabc\u00e4\u00df\U0001F600\nXB");
}

TEST(PdfText, SimpleEncodingsWithDifferencesAndWordGaps) {
  const std::string pdf = OnePage(
      "BT /F1 10 Tf 50 700 Td <0102030405060708090A0B0C0D0E> Tj ET\n"
      "BT /F2 10 Tf 50 680 Td (M\\212rz) Tj 200 0 Td (2024) Tj 0 -20 Td (Rech) Tj (nung) Tj ET",
      {"<< /Type /Font /Subtype /Type1 /BaseFont /Foo /Encoding << /BaseEncoding /WinAnsiEncoding /Differences "
       "[1 /adieresis /odieresis /udieresis /Adieresis /Odieresis /Udieresis /germandbls /Euro /quotedblbase "
       "/quotedblleft /endash /uni2192 /g17 /A.sc] >> >>",
       "<< /Type /Font /Subtype /TrueType /BaseFont /Bar /Encoding /MacRomanEncoding >>"});
  EXPECT_EQ(Extract(pdf), L"\u00e4\u00f6\u00fc\u00c4\u00d6\u00dc\u00df\u20ac\u201e\u201c\u2013\u2192A\n"
                          L"M\u00e4rz 2024\nRechnung");
}

// Rows of a cross-reference stream, each with the PNG "up" filter.
std::string PngUp(const std::vector<std::string>& rows) {
  std::string out;
  std::string previous(rows.front().size(), '\0');
  for (const std::string& row : rows) {
    out.push_back('\x02');
    for (std::size_t i = 0; i < row.size(); ++i) out.push_back(static_cast<char>(row[i] - previous[i]));
    previous = row;
  }
  return out;
}

std::string Row(int type, std::size_t second, int third) {
  return {static_cast<char>(type), static_cast<char>(second >> 8), static_cast<char>(second & 0xFF),
          static_cast<char>(third)};
}

// Objects 1 to 4 in an object stream (6), the content (5) on its own, and a compressed
// cross-reference stream (7).
std::string CompressedPdf(std::string_view text) {
  const std::vector<std::string> packed = {
      "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 4 0 R >> >> /Contents 5 0 R >>", kHelvetica};
  std::string header;
  std::string body;
  for (std::size_t i = 0; i < packed.size(); ++i) {
    header += std::to_string(i + 1) + " " + std::to_string(body.size()) + " ";
    body += packed[i] + "\n";
  }
  std::string pdf = "%PDF-1.5\n";
  const std::size_t content = pdf.size();
  pdf += "5 0 obj\n" + Stream("/Filter /FlateDecode", Deflate("BT /F1 9 Tf 10 10 Td (" + std::string(text) + ") Tj ET")) +
         "\nendobj\n";
  const std::size_t objectStream = pdf.size();
  pdf += "6 0 obj\n" +
         Stream("/Type /ObjStm /N 4 /First " + std::to_string(header.size()) + " /Filter /FlateDecode",
                Deflate(header + body)) +
         "\nendobj\n";
  const std::size_t xref = pdf.size();
  const std::string rows = PngUp({Row(0, 0, 255), Row(2, 6, 0), Row(2, 6, 1), Row(2, 6, 2), Row(2, 6, 3),
                                  Row(1, content, 0), Row(1, objectStream, 0), Row(1, xref, 0)});
  pdf += "7 0 obj\n" +
         Stream("/Type /XRef /Size 8 /W [1 2 1] /Root 1 0 R /Filter /FlateDecode /DecodeParms << /Predictor 12 "
                "/Columns 4 >>",
                Deflate(rows)) +
         "\nendobj\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return pdf;
}

TEST(PdfText, CrossReferenceStreamsObjectStreamsAndUpdates) {
  std::string pdf = CompressedPdf("Alter Stand");
  EXPECT_EQ(Extract(pdf), L"Alter Stand");
  const std::size_t previous = pdf.find("7 0 obj");
  // An update appends a new object 5 and a table that refers back to the stream.
  const std::size_t changed = pdf.size();
  pdf += "5 0 obj\n" + Stream("", "BT /F1 9 Tf 10 10 Td (Neuer Stand) Tj ET") + "\nendobj\n";
  const std::size_t xref = pdf.size();
  pdf += "xref\n0 1\n0000000000 65535 f\r\n5 1\n" + Padded(changed) + " 00000 n\r\ntrailer\n<< /Size 8 /Root 1 0 R /Prev " +
         std::to_string(previous) + " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  EXPECT_EQ(Extract(pdf), L"Neuer Stand");
}

TEST(PdfText, BrokenCrossReferencesAreRepairedByScanning) {
  // The stream's length is an object of its own, and wrong; junk before object 3 moves every
  // object after it away from where the table says.
  std::string pdf = MakePdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                             "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 5 0 R >> >> /Contents 4 0 R >>",
                             "<< /Length 6 0 R >>\nstream\nBT /F1 9 Tf (Reparatur) Tj ET\nendstream", kHelvetica,
                             "7"});
  pdf.insert(pdf.find("3 0 obj"), "% ein Kommentar, der alles verschiebt\n");
  EXPECT_EQ(Extract(pdf), L"Reparatur");
  // Without a table and trailer, the catalogue is found by its type.
  std::string withoutTable = pdf.substr(0, pdf.find("xref"));
  EXPECT_EQ(Extract(withoutTable), L"Reparatur");
  // The same with the objects packed into an object stream.
  std::string packed = CompressedPdf("Gepackt");
  packed.replace(packed.rfind("startxref\n") + 10, 1, "9");
  EXPECT_EQ(Extract(packed), L"Gepackt");
  EXPECT_EQ(Extract(packed.substr(0, packed.find("7 0 obj"))), L"Gepackt");
}

TEST(PdfText, WhatIsNoTextOrNoPdf) {
  EXPECT_EQ(Extract(""), std::nullopt);
  EXPECT_EQ(Extract("Rechnung, kein PDF"), std::nullopt);
  const std::string text = OnePage("BT /F1 9 Tf (Geheim) Tj ET");
  EXPECT_EQ(Extract(text), L"Geheim");
  EXPECT_EQ(Extract(text, text.size() - 1), std::nullopt);  // larger than allowed
  // Encrypted documents cannot be read without their key.
  std::string encrypted = text;
  encrypted.replace(encrypted.find("/Root 1 0 R"), 11, "/Root 1 0 R /Encrypt << /Filter /Standard >>");
  EXPECT_EQ(Extract(encrypted), std::nullopt);

  // A scanned page: a picture only. A form drawn on the page carries its own text.
  const std::string scan = MakePdf({
      "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
      "<< /Type /Page /Resources << /XObject << /Im1 5 0 R /Fm1 6 0 R >> >> /Contents 4 0 R >>",
      Stream("", "q 100 0 0 100 0 0 cm /Im1 Do Q"),
      Stream("/Type /XObject /Subtype /Image /Width 1 /Height 1 /Filter /DCTDecode", "(Tj) Tj"),
      Stream("/Type /XObject /Subtype /Form /Resources << /Font << /F1 7 0 R >> >>", "BT /F1 9 Tf (Formular) Tj ET"),
      kHelvetica});
  EXPECT_EQ(Extract(scan), L"");
  std::string withForm = scan;
  withForm.replace(withForm.find("/Im1 Do"), 7, "/Fm1 Do");
  EXPECT_EQ(Extract(withForm), L"Formular");

  // Decompressed content is held to the limit.
  std::string many = "BT /F1 1 Tf ";
  for (int i = 0; i < 100000; ++i) many += "(xxxxxxxx) Tj ";
  const std::string bomb = MakePdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                                    "<< /Type /Page /Resources << /Font << /F1 5 0 R >> >> /Contents 4 0 R >>",
                                    Stream("/Filter /FlateDecode", Deflate(many)), kHelvetica});
  const std::optional<std::wstring> capped = Extract(bomb, 200000);
  ASSERT_TRUE(capped.has_value());
  EXPECT_GT(capped->size(), 1000u);
  EXPECT_LE(capped->size(), 200000u);
}

TEST(PdfText, ReadsOurOwnLogReport) {
  LogList log;
  const std::size_t rows = PdfRowsPerPage().firstPage + 1;
  std::vector<std::wstring> names;
  for (std::size_t i = 0; i < rows; ++i) names.push_back(L"Datei " + std::to_wstring(i) + L".txt");
  for (std::size_t i = 0; i < rows; ++i) {
    LogFileFields f;
    f.datei = names[i];
    f.pfad = L"D:\\Eingang";
    f.ergebnis = L"Kopiert";
    log.AppendFile(f);
  }
  const std::optional<std::wstring> text = Extract(PdfReportBytes(log, {L"Dateiliste", {2025, 2, 3, 9, 5, 7}}, nullptr));
  ASSERT_TRUE(text.has_value());
  EXPECT_NE(text->find(L"Ablagix: Dateiliste vom 03.02.2025"), std::wstring::npos);
  EXPECT_NE(text->find(L"Gr\u00f6\u00dfe"), std::wstring::npos);
  EXPECT_NE(text->find(L"D:\\Eingang"), std::wstring::npos);
  const std::size_t first = text->find(L"Datei 0.txt");
  const std::size_t last = text->find(L"Datei " + std::to_wstring(rows - 1) + L".txt");
  const std::size_t page2 = text->find(L"Seite 2");
  ASSERT_NE(first, std::wstring::npos);
  ASSERT_NE(last, std::wstring::npos);
  ASSERT_NE(page2, std::wstring::npos);
  EXPECT_LT(text->find(L"Seite 1"), page2);
  EXPECT_LT(first, page2);
  EXPECT_LT(page2, last);
}

TEST(PdfText, DamagedFilesNeitherCrashNorHang) {
  const std::vector<std::string> samples = {
      CompressedPdf("Probe"),
      OnePage("BT /F1 9 Tf [(a) -300 (b)] TJ (c) ' ET",
              {"<< /Type /Font /Subtype /Type0 /Encoding /Identity-H /ToUnicode 6 0 R >>",
               Stream("", "1 begincodespacerange <0000> <FFFF> endcodespacerange 1 beginbfrange <0000> <00FF> "
                          "<0041> endbfrange")}),
  };
  for (const std::string& sample : samples) {
    for (std::size_t length = 0; length <= sample.size(); ++length) (void)Extract(sample.substr(0, length));
    for (std::size_t at = 0; at < sample.size(); ++at) {
      for (char c : {'\0', '(', '<', '[', '9', '/'}) {
        std::string mutated = sample;
        mutated[at] = c;
        (void)Extract(mutated);
      }
    }
  }
  // Nesting deeper than any real document.
  for (std::string_view open : {"[", "<<", "<< /A ", "("}) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += open;
    (void)Extract(OnePage(deep));
    (void)Extract(MakePdf({"<< /Type /Catalog /Pages " + deep + " >>"}));
  }
  // A page tree whose pages are their own parents' parents.
  EXPECT_EQ(Extract(MakePdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] >>",
                             "<< /Type /Pages /Kids [2 0 R 3 0 R] >>"})),
            L"");
}

}  // namespace
}  // namespace ablagix
