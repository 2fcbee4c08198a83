// The streaming text of XML parts and office packages against the text XmlScanner gives for
// the whole part, which is how packages were read before they were searched while inflated.
#include "metadata/xml_text_stream.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "metadata/document_text.h"
#include "metadata/text_search.h"
#include "metadata/xml_scanner.h"
#include "test_support.h"
#include "zip/zip_maker.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

constexpr std::array<std::string_view, 11> kSeparating = {"p", "h", "br", "tab", "tc", "si", "c",
                                                          "line-break", "s", "cr", "table-cell"};

// The whole part through XmlScanner: character data, and a space after separating elements.
std::string ScannerText(std::string_view xml) {
  XmlScanner scanner(xml);
  XmlEvent event;
  std::string text;
  while (scanner.Next(&event)) {
    if (event.kind == XmlEvent::kText) text += event.text;
    if (event.kind == XmlEvent::kEnd) {
      for (std::string_view name : kSeparating) {
        if (event.local == name) {
          text += ' ';
          break;
        }
      }
    }
  }
  return text;
}

// A package's text as it was read: every text part whole, in directory order.
std::wstring WholePartsText(std::string_view package) {
  MemoryByteSource source(package);
  ZipReader zip(source);
  if (zip.Open() != ZipError::kNone) return {};
  auto isTextPart = [](std::string_view name) {
    auto under = [&](std::string_view folder) {
      return name.starts_with(folder) && name.ends_with(".xml") && name.find('/', folder.size()) == std::string_view::npos;
    };
    return name == "word/document.xml" || name == "word/footnotes.xml" || name == "word/endnotes.xml" ||
           name.starts_with("word/header") || name.starts_with("word/footer") || name == "xl/sharedStrings.xml" ||
           under("xl/worksheets/") || under("ppt/slides/") || under("ppt/notesSlides/") || name == "content.xml";
  };
  std::wstring out;
  std::uint64_t budget = kDocumentSizeLimit;
  std::string part;
  for (const ZipEntry& entry : zip.entries()) {
    if (!isTextPart(entry.name) || entry.uncompressedSize > budget) continue;
    if (zip.ReadEntry(entry, budget, &part) != ZipError::kNone) continue;
    budget -= part.size();
    out += FromUtf8(ScannerText(XmlAsUtf8(part)));
    out += L'\n';
  }
  return out;
}

struct Random {
  std::uint64_t state;
  std::uint32_t Next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  std::size_t Below(std::size_t n) { return n == 0 ? 0 : Next() % n; }
};

// Pieces of word-processor XML, well formed and not, that every reader must take the same way.
const std::vector<std::string> kPieces = {
    "<w:p>", "</w:p>", "<w:r>", "</w:r>", "<w:t xml:space=\"preserve\">", "</w:t>", "<w:br/>", "<text:s/>",
    "<text:p text:style-name='P1'>", "</text:p>", "<c r=\"A1\" t=\"s\">", "</c>", "<w:tab />", "Rech", "nung",
    "M\xC3\xBCller", "\xC3", "\xBC", " ", "x", "2024", "&amp;", "&#228;", "&#xE4;", "&#x1F600;", "&unknown;", "&",
    "&#;", "<!-- Kommentar -->", "<!--", "-->", "<?xml version=\"1.0\"?>", "<?", "?>", "<![CDATA[a<b&amp;]]>",
    "<![CDATA[", "]]>", "<!DOCTYPE d [<!ENTITY e '>'>]>", "<!x>", "<a b=1>", "<a b>", "<a/ >", "< a>", "</a >",
    "</>", "<a b='>'>", "<", ">", "/", "=", "\"", "'", "<w:t>Rechnung</w:t>", "\r\n", "\t"};

std::string RandomXml(Random& r) {
  std::string xml;
  const std::size_t count = r.Below(80);
  for (std::size_t i = 0; i < count; ++i) xml += kPieces[r.Below(kPieces.size())];
  return xml;
}

TEST(XmlTextStreamTest, GivesTheScannersTextWhereverThePiecesEnd) {
  Random r{77};
  std::vector<std::string> samples;
  for (int i = 0; i < 4000; ++i) samples.push_back(RandomXml(r));
  // Nesting beyond the limit stops both readers at the same element.
  std::string deep;
  for (int i = 0; i < 4100; ++i) deep += "<w:p>x";
  samples.push_back(deep);
  // A construct far longer than the pieces (read again only after the bytes have doubled).
  samples.push_back("<w:t>a</w:t><!--" + std::string(300000, '-') + " -->b<w:t>" + std::string(200000, 'c') + "</w:t>");
  for (const std::string& xml : samples) {
    const std::string expected = ScannerText(xml);
    for (int split = 0; split < 3; ++split) {
      XmlTextStream stream({"p", "h", "br", "tab", "tc", "si", "c", "line-break", "s", "cr", "table-cell"});
      std::string text;
      for (std::size_t at = 0; at < xml.size();) {
        const std::size_t piece =
            split == 0 ? 1 : split == 1 ? 1 + r.Below(16) : 1 + r.Below(std::max<std::size_t>(xml.size(), 1));
        stream.Feed(std::string_view(xml).substr(at, piece), &text);
        at += piece;
      }
      stream.Finish(&text);
      ASSERT_EQ(text, expected) << xml.substr(0, 300);
    }
  }
}

// Word documents of random paragraphs; some words split into runs, across entities, in UTF-16
// parts, in headers and footnotes.
std::string RandomPackage(Random& r, bool* damaged) {
  test::ZipMaker zip;
  zip.Add("[Content_Types].xml", "<Types/>", true);
  const char* parts[] = {"word/document.xml", "word/header1.xml", "word/footnotes.xml", "word/styles.xml",
                         "content.xml"};
  const std::size_t count = 1 + r.Below(4);
  *damaged = false;
  for (std::size_t k = 0; k < count; ++k) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><w:document xmlns:w=\"urn:w\"><w:body>";
    const std::size_t paragraphs = r.Below(200);
    for (std::size_t p = 0; p < paragraphs; ++p) {
      xml += "<w:p><w:r><w:t>";
      const std::size_t words = r.Below(12);
      for (std::size_t w = 0; w < words; ++w) {
        xml += kPieces[r.Below(kPieces.size())];
        if (r.Below(4) == 0) xml += "</w:t></w:r><w:r><w:t>";
      }
      xml += "</w:t></w:r></w:p>";
    }
    xml += "</w:body></w:document>";
    if (r.Below(10) == 0) xml = ToUtf16LeBytes(FromUtf8(xml), r.Below(2) == 0);
    if (r.Below(10) == 0) xml = "\xEF\xBB\xBF" + xml;
    test::ZipMaker::Entry entry;
    entry.name = parts[r.Below(5)];
    entry.data = xml;
    entry.method = r.Below(5) == 0 ? 0 : 8;
    if (r.Below(12) == 0) {
      entry.crc = 1234;  // read to its end, but refused there
      *damaged = true;
    }
    zip.Add(entry);
  }
  return zip.Make();
}

TEST(XmlTextStreamTest, PackagesAnswerAsTheirWholePartsDid) {
  test::TempDir dir;
  const std::wstring path = dir / L"brief.docx";
  const std::wstring searches[] = {L"rechnung", L"M\u00fcller+2024", L"nung x|\u00e4\u00e4", L"Rechnung M",
                                   L"a<b&", L"2024\n", L"\U0001F600"};
  Random r{4711};
  DocumentTexts documents;
  int found = 0;
  int cases = 0;
  for (; cases < 400; ++cases) {
    bool damaged = false;
    const std::string package = RandomPackage(r, &damaged);
    MemoryByteSource source(package);
    const std::wstring whole = WholePartsText(package);
    ASSERT_EQ(PackagedText(source), whole);
    ASSERT_TRUE(test::WriteBytes(path, package));
    for (const std::wstring& search : searches) {
      for (bool caseSensitive : {false, true}) {
        const SearchTerms terms = ParseSearchTerms(search);
        std::vector<bool> flags(terms.terms.size(), false);
        const int expected = !whole.empty() && TermsFound(whole, terms, caseSensitive, &flags) ? 1 : 0;
        TextSearchOptions options;
        options.caseSensitive = caseSensitive;
        options.documents = &documents;
        const int got = SearchTextInFile(path, terms, options);
        // A part whose check sum fails after the words were found still counts now: the search
        // stops at the words and never reaches the end of the part.
        if (damaged && expected == 0) continue;
        ASSERT_EQ(got, expected) << cases << " " << ToUtf8(search);
        found += expected;
      }
    }
  }
  EXPECT_GT(found, 200);
}

}  // namespace
}  // namespace ablagix
