#include "metadata/text_search.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "log/pdf_writer.h"
#include "metadata/document_text.h"
#include "test_support.h"
#include "zip/zip_maker.h"

namespace ablagix {
namespace {

using test::TempDir;
using test::WriteBytes;

int Search(const std::wstring& path, std::wstring_view words, bool caseSensitive = false) {
  DocumentTexts documents;
  TextSearchOptions options;
  options.caseSensitive = caseSensitive;
  options.documents = &documents;
  return SearchTextInFile(path, ParseSearchTerms(words), options);
}

TEST(TextSearchTest, PlainFilesInBlocksWithTheirEncoding) {
  TempDir dir;
  // A word across the 4096-byte boundary, and an umlaut split between two UTF-8 blocks.
  std::string text(4090, 'x');
  text += "Rechnung";
  ASSERT_TRUE(WriteBytes(dir / L"grenze.txt", text));
  EXPECT_EQ(Search(dir / L"grenze.txt", L"rechnung"), 1);
  std::string utf8 = "\xEF\xBB\xBF" + std::string(4092, 'y') + "Gr\xC3\xB6\xC3\x9F" "e";
  ASSERT_TRUE(WriteBytes(dir / L"utf8.txt", utf8));
  EXPECT_EQ(Search(dir / L"utf8.txt", L"gr\u00f6\u00dfe"), 1);
  // UTF-16 with its mark is found; the same bytes without the mark are read as ANSI.
  const std::string utf16 = ToUtf16LeBytes(L"Lieferschein M\u00fcller", true);
  ASSERT_TRUE(WriteBytes(dir / L"le.txt", utf16));
  ASSERT_TRUE(WriteBytes(dir / L"ohne.txt", utf16.substr(2)));
  EXPECT_EQ(Search(dir / L"le.txt", L"m\u00fcller"), 1);
  EXPECT_EQ(Search(dir / L"ohne.txt", L"m\u00fcller"), 0);
  std::string be;
  for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) be += std::string{utf16[i + 1], utf16[i]};
  ASSERT_TRUE(WriteBytes(dir / L"be.txt", be));
  EXPECT_EQ(Search(dir / L"be.txt", L"Lieferschein"), 1);

  // "+" needs every word (anywhere in the file), "|" one of them; case when asked.
  ASSERT_TRUE(WriteBytes(dir / L"brief.txt", "Mahnung\n" + std::string(9000, ' ') + "Rechnung 2024"));
  EXPECT_EQ(Search(dir / L"brief.txt", L"Mahnung+2024"), 1);
  EXPECT_EQ(Search(dir / L"brief.txt", L"Mahnung+2023"), 0);
  EXPECT_EQ(Search(dir / L"brief.txt", L"Quittung|2024"), 1);
  EXPECT_EQ(Search(dir / L"brief.txt", L"RECHNUNG", true), 0);
  EXPECT_EQ(Search(dir / L"brief.txt", L""), 0);
  // Never searched: pictures and programs, whatever they hold; unreadable files give 0.
  ASSERT_TRUE(WriteBytes(dir / L"bild.JPG", "Rechnung"));
  EXPECT_EQ(Search(dir / L"bild.JPG", L"Rechnung"), 0);
  EXPECT_EQ(Search(dir / L"fehlt.txt", L"Rechnung"), 0);
  // A stop between reads ends the search without a find.
  ASSERT_TRUE(WriteBytes(dir / L"lang.txt", std::string(600000, ' ') + "Rechnung 2024"));
  TextSearchOptions stopping;
  EXPECT_EQ(SearchTextInFile(dir / L"lang.txt", ParseSearchTerms(L"2024"), stopping), 1);
  stopping.stopRequested = [] { return true; };
  EXPECT_EQ(SearchTextInFile(dir / L"lang.txt", ParseSearchTerms(L"2024"), stopping), 0);
}

TEST(TextSearchTest, ListedExtensionsWithoutAReaderArePlainText) {
  TempDir dir;
  // "h", "ts" and "ml" only sit inside the list text ("html", "ots"); nothing reads them
  // as documents, so they are searched as the text they are.
  for (const wchar_t* name : {L"zahlung.h", L"app.ts", L"modul.ml", L"liste.do"}) {
    ASSERT_TRUE(WriteBytes(dir / name, "// Rechnung 2024\n"));
    EXPECT_EQ(Search(dir / name, L"Rechnung"), 1) << test::U8(name);
  }
  // With document text switched off (no reader), a web page is searched as plain text too:
  // its words are found where the markup does not split them.
  ASSERT_TRUE(WriteBytes(dir / L"seite.html", "<p>Gr&ouml;&szlig;e <b>Rechnung</b></p>"));
  TextSearchOptions plain;
  EXPECT_EQ(SearchTextInFile(dir / L"seite.html", ParseSearchTerms(L"Rechnung"), plain), 1);
  EXPECT_EQ(SearchTextInFile(dir / L"seite.html", ParseSearchTerms(L"Gr\u00f6\u00dfe"), plain), 0);
  EXPECT_EQ(Search(dir / L"seite.html", L"Gr\u00f6\u00dfe"), 1);
}

TEST(TextSearchTest, DocumentsAreReadAsText) {
  const std::wstring page = HtmlText("<p>Gr&ouml;&szlig;e <b>M&#252;ller</b></p><script>var x='versteckt';</script>");
  EXPECT_NE(page.find(L"Gr\u00f6\u00dfe  M\u00fcller"), std::wstring::npos);
  EXPECT_EQ(page.find(L"versteckt"), std::wstring::npos);
  EXPECT_EQ(HtmlText("<meta charset=\"utf-8\">B\xC3\xA4r").substr(1), L"B\u00e4r");
  const std::string mail =
      "Subject: Rechnung Juni\r\nContent-Type: multipart/alternative; boundary=\"xyz\"\r\n\r\n"
      "--xyz\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
      "Sehr geehrte Frau M=C3=BCller,=\r\n bitte zahlen.\r\n"
      "--xyz\r\nContent-Type: application/pdf\r\nContent-Transfer-Encoding: base64\r\n\r\nSGFsbG8=\r\n"
      "--xyz\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: base64\r\n\r\nPHA+TWFobnVuZzwvcD4=\r\n--xyz--\r\n";
  const std::wstring text = MimeText(mail);
  EXPECT_NE(text.find(L"Rechnung Juni"), std::wstring::npos);
  EXPECT_NE(text.find(L"Frau M\u00fcller, bitte zahlen."), std::wstring::npos);
  EXPECT_NE(text.find(L"Mahnung"), std::wstring::npos);
  EXPECT_EQ(text.find(L"Hallo"), std::wstring::npos);  // attachments are not text
  EXPECT_EQ(RtfText("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 Stra\\'dfe {\\*\\generator X;}\\par\\uc1\\u8364?"
                    " 5\\{x\\}}"),
            L"Stra\u00dfe \n\u20ac 5{x}");
  // Old binary formats: readable runs, single-byte and UTF-16.
  const std::string binary = std::string("\x01\x02", 2) + "Angebot" + std::string("\x00\x00", 2) +
                             ToUtf16LeBytes(L"Kunde M\u00fcller", false) + std::string("\x03", 1);
  const std::wstring runs = StringRuns(binary);
  EXPECT_NE(runs.find(L"Angebot"), std::wstring::npos);
  EXPECT_NE(runs.find(L"Kunde M\u00fcller"), std::wstring::npos);

  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"alt.doc", binary));
  ASSERT_TRUE(WriteBytes(dir / L"post.eml", mail));
  EXPECT_EQ(Search(dir / L"alt.doc", L"m\u00fcller"), 1);
  EXPECT_EQ(Search(dir / L"post.eml", L"zahlen"), 1);
  // Office packages: a word split into runs is found whole; cells and paragraphs separate.
  test::ZipMaker docx;
  docx.Add("[Content_Types].xml", "<Types/>");
  docx.Add("word/document.xml",
           "<?xml version=\"1.0\"?><w:document xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/"
           "main\"><w:body><w:p><w:r><w:t>Rech</w:t></w:r><w:r><w:t>nung f&#252;r</w:t></w:r></w:p>"
           "<w:p><w:r><w:t>Herrn M\xC3\xBCller</w:t></w:r></w:p></w:body></w:document>",
           true);
  ASSERT_TRUE(WriteBytes(dir / L"brief.docx", docx.Make()));
  EXPECT_EQ(Search(dir / L"brief.docx", L"rechnung f\u00fcr+m\u00fcller"), 1);
  EXPECT_EQ(Search(dir / L"brief.docx", L"f\u00fcrHerrn"), 0);
  test::ZipMaker odt;
  odt.Add("mimetype", "application/vnd.oasis.opendocument.text");
  odt.Add("content.xml",
          "<office:document-content xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
          "xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\"><office:body><office:text>"
          "<text:p>Angebot <text:span>Nr. 12</text:span></text:p></office:text></office:body>"
          "</office:document-content>",
          true);
  ASSERT_TRUE(WriteBytes(dir / L"angebot.odt", odt.Make()));
  EXPECT_EQ(Search(dir / L"angebot.odt", L"angebot nr. 12"), 1);
  ASSERT_TRUE(WriteBytes(dir / L"kaputt.docx", "PK\x03\x04 kein Archiv"));
  EXPECT_EQ(Search(dir / L"kaputt.docx", L"Archiv"), 0);

  // A PDF is searched by the text its pages show; one with pictures only has none, and the
  // raw bytes of a PDF are never read as text.
  PdfDocument letter(kA4Landscape);
  letter.BeginPage();
  letter.Text(72, 500, PdfFont::Regular, 11, ToWinAnsi(L"Rechnung f\u00fcr Herrn M\u00fcller"));
  ASSERT_TRUE(WriteBytes(dir / L"brief.pdf", letter.Finish()));
  EXPECT_EQ(Search(dir / L"brief.pdf", L"rechnung+m\u00fcller"), 1);
  PdfDocument scan(kA4Landscape);
  scan.BeginPage();
  scan.FillRect(10, 10, 100, 100, {0.5, 0.5, 0.5});
  scan.SetInfo("Rechnung", "D:20250203090507");
  ASSERT_TRUE(WriteBytes(dir / L"scan.pdf", scan.Finish()));
  EXPECT_EQ(Search(dir / L"scan.pdf", L"Rechnung"), 0);
  // Pages are searched as they are read: words on different pages, and text across the break
  // between two pages, are found as in the whole text.
  PdfDocument pages(kA4Landscape);
  for (const wchar_t* line : {L"Herrn M\u00fcller", L"Seite 2", L"Rechnung Nr. 7"}) {
    pages.BeginPage();
    pages.Text(72, 500, PdfFont::Regular, 11, ToWinAnsi(line));
  }
  ASSERT_TRUE(WriteBytes(dir / L"seiten.pdf", pages.Finish()));
  EXPECT_EQ(Search(dir / L"seiten.pdf", L"RECHNUNG+m\u00fcller"), 1);
  EXPECT_EQ(Search(dir / L"seiten.pdf", L"2\nrechnung"), 1);
  EXPECT_EQ(Search(dir / L"seiten.pdf", L"m\u00fcller\nseite 2\nrechnung"), 1);
  EXPECT_EQ(Search(dir / L"seiten.pdf", L"M\u00fcller Seite"), 0);
  ASSERT_TRUE(WriteBytes(dir / L"roh.pdf", "%PDF-1.4 Rechnung"));
  EXPECT_EQ(Search(dir / L"roh.pdf", L"Rechnung"), 0);
}

TEST(TextSearchTest, OldBinaryDocumentsAnswerAsTheirWholeText) {
  // Runs searched in their bytes against the whole text of the runs, for words in single-byte
  // runs, in UTF-16 runs, in both and where the two kinds join.
  TempDir dir;
  const std::wstring path = dir / L"alt.doc";
  std::uint64_t state = 99;
  auto next = [&](std::uint32_t n) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33) % n;
  };
  const std::wstring searches[] = {L"M\u00fcller", L"angebot+KUNDE", L"xyz|Kunde", L"nde\nAng", L"ab",
                                   L"\u00fcller\nkunde", L"xyz\nKUNDE"};
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    for (std::uint32_t piece = next(8); piece-- > 0;) {
      switch (next(5)) {
        case 0: bytes += ToWindows1252(L"Angebot f\u00fcr M\u00fcller"); break;
        case 1: bytes += ToUtf16LeBytes(L"Kunde M\u00dcLLER", false); break;
        case 2: bytes += std::string(1 + next(6), static_cast<char>(next(32))); break;
        case 3: bytes += "ab\nxyz"; break;
        default: bytes += std::string(1 + next(9), static_cast<char>(0x41 + next(40)));
      }
    }
    ASSERT_TRUE(WriteBytes(path, bytes));
    const std::wstring text = StringRuns(bytes);
    for (const std::wstring& search : searches) {
      for (bool caseSensitive : {false, true}) {
        const SearchTerms terms = ParseSearchTerms(search);
        std::vector<bool> found(terms.terms.size(), false);
        const int expected = !text.empty() && TermsFound(text, terms, caseSensitive, &found) ? 1 : 0;
        ASSERT_EQ(Search(path, search, caseSensitive), expected) << round << " " << ToUtf8(search);
      }
    }
  }
}

TEST(TextSearchTest, DocumentReadersSurviveDamagedInput) {
  const std::string samples[] = {
      "{\\rtf1{{{{\\u-1\\'zz\\uc99999999 \\", "Content-Type: multipart/mixed; boundary=a\n\n--a\n--a\n--a--",
      "<script", "&#xFFFFFFFFFF; &#0; &", "=\r", "{\\*"};
  for (const std::string& sample : samples) {
    for (std::size_t n = 0; n <= sample.size(); ++n) {
      const std::string_view cut = std::string_view(sample).substr(0, n);
      (void)HtmlText(cut);
      (void)MimeText(cut);
      (void)RtfText(cut);
      (void)StringRuns(cut);
    }
  }
}

}  // namespace
}  // namespace ablagix
