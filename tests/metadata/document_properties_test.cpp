#include "metadata/document_properties.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "base/text.h"
#include "metadata/compound_file.h"
#include "metadata/compound_file_maker.h"
#include "metadata/picture_maker.h"
#include "test_support.h"
#include "zip/zip_maker.h"

namespace ablagix {
namespace {

using test::CompoundNode;
using test::Le16;
using test::Le32;
using test::MakeCompoundFile;
using test::TempDir;
using test::WriteBytes;
using test::ZipMaker;

const std::wstring kSummaryName = L"\x05" L"SummaryInformation";
const std::vector<int> kIds = {2, 3, 4, 5, 6, 7, 8, 9, 14, 15, 16};

// --- Property values as the summary-information stream stores them.
std::string Padded(std::string bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
  return bytes;
}
std::string Lpstr(const std::string& bytes) { return Le16(30) + Le16(0) + Padded(Le32(bytes.size() + 1) + bytes + '\0'); }
std::string Lpwstr(const std::wstring& text) {
  return Le16(31) + Le16(0) + Padded(Le32(text.size() + 1) + ToUtf16LeBytes(text, false) + std::string(2, '\0'));
}
std::string I4(std::int32_t v) { return Le16(3) + Le16(0) + Le32(static_cast<std::uint32_t>(v)); }
std::string I2(std::uint16_t v) { return Le16(2) + Le16(0) + Le16(v) + Le16(0); }
std::string FileTime() { return Le16(64) + Le16(0) + Le32(0x12345678) + Le32(0x01D9ABCD); }
std::string WideList(const std::vector<std::wstring>& items) {
  std::string out = Le16(0x101F) + Le16(0) + Le32(items.size());
  for (const std::wstring& item : items) out += Padded(Le32(item.size() + 1) + ToUtf16LeBytes(item, false) + Le16(0));
  return out;
}

std::string SummaryStream(const std::map<std::uint32_t, std::string>& values) {
  std::string index;
  std::string data;
  const std::size_t head = 8 + values.size() * 8;
  for (const auto& [id, value] : values) {
    index += Le32(id) + Le32(head + data.size());
    data += value;
  }
  const std::string set = Le32(head + data.size()) + Le32(values.size()) + index + data;
  return Le16(0xFFFE) + Le16(0) + Le32(0x00020006) + std::string(16, '\0') + Le32(1) +
         std::string("\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9", 16) + Le32(48) + set;
}

std::string Ole2Document(const std::map<std::uint32_t, std::string>& values, unsigned shift = 9,
                         std::size_t bodySize = 5000) {
  return MakeCompoundFile({{L"WordDocument", std::string(bodySize, 'w')}, {kSummaryName, SummaryStream(values)}},
                          shift)
      .bytes;
}

std::map<int, std::wstring> AllValues(std::string_view bytes) {
  MemoryByteSource source(bytes);
  const DocumentProperties props = ReadDocumentProperties(source);
  std::map<int, std::wstring> values;
  for (int id : kIds) {
    if (!props.Get(id).empty()) values[id] = props.Get(id);
  }
  return values;
}

const std::map<int, std::wstring> kExpected = {
    {2, L"Angebot f\u00fcr M\u00fcller"}, {3, L"Stra\u00dfenbau \u03a9"},  {4, L"Erika Mustermann"},
    {5, L"Kunde; Angebot"},             {6, L"Bitte pr\u00fcfen & <freigeben>"}, {7, L"Normal.dotm"},
    {8, L"Max Muster"},                 {9, L"12"},                        {14, L"3"},
    {15, L"1234"},                      {16, L"5678"},
};

TEST(DocumentProperties, ReadsEverySummaryPropertyOfAnOle2Document) {
  const std::string doc = Ole2Document({
      {1, I2(1252)},
      {2, Lpstr("Angebot f\xFCr M\xFCller")},
      {3, Lpwstr(L"Stra\u00dfenbau \u03a9")},
      {4, Lpstr("Erika Mustermann")},
      {5, Lpstr("Kunde;Angebot")},
      {6, Lpstr("Bitte pr\xFC" "fen & <freigeben>")},
      {7, Lpstr("Normal.dotm")},
      {8, Lpstr("Max Muster")},
      {9, Lpstr("12")},
      {10, FileTime()},
      {12, FileTime()},
      {14, I4(3)},
      {15, I4(1234)},
      {16, I4(5678)},
  });
  TempDir dir;
  // Chosen by content: the name says nothing.
  ASSERT_TRUE(WriteBytes(dir / L"Angebot.txt", doc));
  for (int id : kIds) EXPECT_EQ(DocumentFieldValue(dir / L"Angebot.txt", id), kExpected.at(id)) << id;
  for (int id : {0, 1, 10, 12, 13, 17, -1, 1000}) EXPECT_EQ(DocumentFieldValue(dir / L"Angebot.txt", id), L"") << id;
}

TEST(DocumentProperties, ReadsOle2LayoutsCodePagesAndOtherTypes) {
  // Large sectors, a summary stream too big for the small-stream area, UTF-8 text.
  const std::string longComment(6000, 'k');
  const std::string utf8 = Ole2Document(
      {{1, I2(65001)}, {2, Lpstr("Gr\xC3\xBC\xC3\x9F" "e")}, {6, Lpstr(longComment)}, {14, I2(7)}}, 12, 10000);
  EXPECT_EQ(AllValues(utf8),
            (std::map<int, std::wstring>{{2, L"Gr\u00fc\u00dfe"}, {6, std::wstring(6000, L'k')}, {14, L"7"}}));

  // UTF-16 narrow strings, a list of keywords, a date where a text was expected.
  const std::string wide = Ole2Document(
      {{1, I2(1200)}, {2, Lpstr(ToUtf16LeBytes(L"\u00c4rger", false) + '\0')}, {5, WideList({L"eins", L"zwei"})},
       {9, FileTime()}, {15, I4(-1)}});
  EXPECT_EQ(AllValues(wide), (std::map<int, std::wstring>{{2, L"\u00c4rger"}, {5, L"eins; zwei"}, {15, L"-1"}}));

  // More than 109 allocation-table sectors: the summary's chain is found through the
  // extension sectors.
  const std::string big = MakeCompoundFile({{L"Daten", std::string(8u << 20, 'd')},
                                            {kSummaryName, SummaryStream({{2, Lpstr("weit hinten")}, {6, Lpstr(longComment)}})}})
                              .bytes;
  EXPECT_EQ(AllValues(big).at(2), L"weit hinten");

  // Streams inside storages, names compared without case.
  const std::string nested = MakeCompoundFile({{L"Objekt", "", true},
                                               {L"Inhalt", "innen", false, 0},
                                               {L"Gross", std::string(5000, 'g'), false, 0},
                                               {L"Oben", "oben"}})
                                 .bytes;
  MemoryByteSource source(nested);
  CompoundFile file(source);
  ASSERT_TRUE(file.Open());
  EXPECT_EQ(file.List(L""), (std::vector<std::wstring>{L"Objekt", L"Oben"}));
  EXPECT_EQ(file.List(L"Objekt"), (std::vector<std::wstring>{L"Inhalt", L"Gross"}));
  std::string data;
  EXPECT_TRUE(file.ReadStream(L"objekt/INHALT", 100, &data));
  EXPECT_EQ(data, "innen");
  EXPECT_TRUE(file.ReadStream(L"Objekt/Gross", 5000, &data));
  EXPECT_EQ(data, std::string(5000, 'g'));
  EXPECT_FALSE(file.ReadStream(L"Objekt/Gross", 4999, &data));  // over the caller's limit
  EXPECT_FALSE(file.ReadStream(L"Objekt", 100, &data));          // a storage
  EXPECT_FALSE(file.ReadStream(L"Fehlt", 100, &data));
}

TEST(DocumentProperties, DamagedOle2FilesGiveNothingAndNeverHang) {
  const std::map<std::uint32_t, std::string> values = {{2, Lpstr("Titel")}};
  auto compound = [&](unsigned shift) {
    return MakeCompoundFile({{L"WordDocument", std::string(5000, 'w')}, {kSummaryName, SummaryStream(values)}}, shift);
  };
  const test::CompoundLayout layout = compound(9);
  ASSERT_EQ(AllValues(layout.bytes).at(2), L"Titel");
  auto put32 = [](std::string bytes, std::size_t at, std::uint32_t v) {
    bytes.replace(at, 4, Le32(v));
    return bytes;
  };
  // A directory chain that runs in a circle.
  EXPECT_TRUE(AllValues(put32(layout.bytes, layout.FatEntry(layout.directoryStart), layout.directoryStart)).empty());
  // Siblings that point back at each other, and a child that is its own parent.
  EXPECT_EQ(AllValues(put32(layout.bytes, layout.DirectoryEntry(2) + 72, 1)).at(2), L"Titel");
  std::string cycle = put32(layout.bytes, layout.DirectoryEntry(1) + 68, 2);
  cycle = put32(cycle, layout.DirectoryEntry(2) + 76, 0);
  (void)AllValues(cycle);
  // A small-stream chain that loops, a stream size far beyond the file, a start outside it.
  const std::size_t miniFat = (layout.directoryStart + 2u) * layout.sectorSize;
  EXPECT_TRUE(AllValues(put32(layout.bytes, miniFat, 0)).empty());
  EXPECT_TRUE(AllValues(put32(layout.bytes, layout.DirectoryEntry(2) + 120, 0x7FFFFFFF)).empty());
  EXPECT_TRUE(AllValues(put32(layout.bytes, layout.DirectoryEntry(2) + 116, 0x00FFFFFF)).empty());

  for (unsigned shift : {9u, 12u}) {
    const std::string bytes = compound(shift).bytes;
    for (std::size_t n = 0; n < bytes.size(); n += shift == 9 ? 1 : 7) (void)AllValues(bytes.substr(0, n));
  }
  for (std::size_t i = 0; i < layout.bytes.size(); i += 3) {
    std::string damaged = layout.bytes;
    damaged[i] = static_cast<char>(damaged[i] ^ 0xA5);
    (void)AllValues(damaged);
  }
}

// core.xml as Office writes it, with the prefixes "dc" and "cp" renamed when asked.
std::string CoreXml(const std::string& dc = "dc", const std::string& cp = "cp") {
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<cp:coreProperties "
      "xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
      "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcterms=\"http://purl.org/dc/terms/\">"
      "<dc:title>Angebot f&#252;r M&#xFC;ller</dc:title><dc:subject>Stra\xC3\x9F" "enbau \xCE\xA9</dc:subject>"
      "<dc:creator>\n  Erika Mustermann\n</dc:creator><cp:keywords>Kunde;Angebot</cp:keywords>"
      "<!-- vom Sekretariat --><dc:description><![CDATA[Bitte pr\xC3\xBC" "fen]]> &amp; &lt;freigeben&gt;"
      "</dc:description><cp:lastModifiedBy>Max Muster</cp:lastModifiedBy><cp:revision>12</cp:revision>"
      "<dcterms:created>2024-01-02T03:04:05Z</dcterms:created></cp:coreProperties>";
  const std::pair<std::string, std::string> renames[] = {
      {"<dc:", "<" + dc + ":"}, {"</dc:", "</" + dc + ":"}, {":dc=", ":" + dc + "="},
      {"<cp:", "<" + cp + ":"}, {"</cp:", "</" + cp + ":"}, {":cp=", ":" + cp + "="}};
  for (const auto& [from, to] : renames) {
    for (std::size_t at = 0; (at = xml.find(from, at)) != std::string::npos; at += to.size()) {
      xml.replace(at, from.size(), to);
    }
  }
  return xml;
}

const std::string kAppXml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Properties "
    "xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/extended-properties\" "
    "xmlns:vt=\"http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes\">"
    "<Template>Normal.dotm</Template><TotalTime>5</TotalTime><Pages> 3 </Pages><Words>1234</Words>"
    "<Characters>5678</Characters><TitlesOfParts><vt:vector size=\"1\" baseType=\"lpstr\">"
    "<vt:lpstr>Pages</vt:lpstr></vt:vector></TitlesOfParts></Properties>";

std::string Docx(const std::string& core, const std::string& app) {
  ZipMaker maker;
  maker.Add("[Content_Types].xml", "<Types/>", true);
  maker.Add("_rels/.rels", "<Relationships/>", true);
  maker.Add("word/document.xml", "<w:document/>", true);
  maker.Add("docProps/core.xml", core, true);
  maker.Add("docProps/app.xml", app);
  return maker.Make();
}

TEST(DocumentProperties, ReadsEveryPropertyOfAnOoxmlDocument) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"Angebot.docx", Docx(CoreXml(), kAppXml)));
  for (int id : kIds) EXPECT_EQ(DocumentFieldValue(dir / L"Angebot.docx", id), kExpected.at(id)) << id;

  // Prefixes of the writer's own choosing, and a document saved as UTF-16.
  EXPECT_EQ(AllValues(Docx(CoreXml("ns0", "ns1"), kAppXml)), kExpected);
  const std::string utf16Core = "\xFF\xFE" + ToUtf16LeBytes(FromUtf8(CoreXml()), false);
  EXPECT_EQ(AllValues(Docx(utf16Core, kAppXml)), kExpected);

  // An element of the right name in the wrong namespace is not a property.
  const std::string foreign = Docx("<c xmlns:dc=\"urn:anders\"><dc:title>Nein</dc:title></c>", "<Properties/>");
  EXPECT_TRUE(AllValues(foreign).empty());
}

std::string MetaXml(bool initialCreator) {
  return std::string(
             "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
             "<office:document-meta xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
             "xmlns:xlink=\"http://www.w3.org/1999/xlink\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
             "xmlns:meta=\"urn:oasis:names:tc:opendocument:xmlns:meta:1.0\" office:version=\"1.3\"><office:meta>"
             "<meta:generator>Schreiber/7.5</meta:generator>"
             "<dc:title>Angebot f\xC3\xBCr M\xC3\xBCller</dc:title>"
             "<dc:subject>Stra&#223;enbau &#x3A9;</dc:subject>") +
         (initialCreator ? "<meta:initial-creator>Erika Mustermann</meta:initial-creator>" : "") +
         "<dc:creator>" + (initialCreator ? "Max Muster" : "Erika Mustermann") + "</dc:creator>"
         "<meta:keyword>Kunde</meta:keyword><meta:keyword> Angebot </meta:keyword>"
         "<dc:description>Bitte pr\xC3\xBC" "fen &amp; &lt;freigeben&gt;</dc:description>"
         "<meta:template xlink:type=\"simple\" xlink:href=\"../Vorlagen/Normal.ott\" xlink:title=\"Normal.dotm\"/>"
         "<meta:editing-cycles>12</meta:editing-cycles>"
         "<meta:document-statistic meta:table-count=\"0\" meta:page-count=\"3\" meta:word-count=\"1234\" "
         "meta:character-count=\"5678\"/></office:meta></office:document-meta>";
}

std::string Odt(const std::string& meta) {
  ZipMaker maker;
  maker.Add("mimetype", "application/vnd.oasis.opendocument.text");
  maker.Add("content.xml", "<office:document-content/>", true);
  maker.Add("meta.xml", meta, true);
  return maker.Make();
}

TEST(DocumentProperties, ReadsEveryPropertyOfAnOdfDocument) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"Angebot.odt", Odt(MetaXml(true))));
  for (int id : kIds) EXPECT_EQ(DocumentFieldValue(dir / L"Angebot.odt", id), kExpected.at(id)) << id;
  // Without an initial creator, the creator is the author too.
  std::map<int, std::wstring> expected = kExpected;
  expected[8] = L"Erika Mustermann";
  EXPECT_EQ(AllValues(Odt(MetaXml(false))), expected);
}

TEST(DocumentProperties, OtherFilesGiveNothing) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"notiz.txt", "Titel: kein Dokument\r\n"));
  ASSERT_TRUE(WriteBytes(dir / L"leer.doc", ""));
  ZipMaker plain;
  plain.Add("docProps.txt", "kein Teil");
  ASSERT_TRUE(WriteBytes(dir / L"archiv.docx", plain.Make()));
  ASSERT_TRUE(WriteBytes(dir / L"ohne.doc", MakeCompoundFile({{L"WordDocument", "text"}}).bytes));
  for (const wchar_t* name : {L"notiz.txt", L"leer.doc", L"archiv.docx", L"ohne.doc", L"fehlt.doc"}) {
    for (int id : kIds) EXPECT_EQ(DocumentFieldValue(dir / name, id), L"") << name << " " << id;
  }
  // Counts that are no numbers are left out; a part over the size limit is not read.
  const std::string app = "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/"
                          "extended-properties\"><Pages>drei</Pages><Words>12x</Words></Properties>";
  EXPECT_TRUE(AllValues(Docx("<x/>", app)).empty());
  const std::string huge = "<cp:coreProperties xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><dc:title>" +
                           std::string(9u << 20, ' ') + "x</dc:title></cp:coreProperties>";
  EXPECT_TRUE(AllValues(Docx(huge, kAppXml)).count(2) == 0);
}

// The five summary names of a file, as "%Titel%" .. "%Kommentare%" resolve them.
std::vector<std::wstring> Summary(const std::wstring& path) {
  std::vector<std::wstring> values;
  for (int id : {kDocumentTitle, kDocumentSubject, kDocumentAuthor, kDocumentKeywords, kDocumentComments}) {
    values.push_back(DocumentFieldValue(path, id));
  }
  return values;
}

std::string Utf16Z(const std::wstring& text) { return ToUtf16LeBytes(text, false) + std::string(2, '\0'); }

TEST(DocumentProperties, PicturesMusicAndPdfAsWindowsShowsThem) {
  TempDir dir;
  // A JPEG as Windows' own "Details" page writes it: the XP fields in the first directory.
  test::TiffMaker t(true);
  auto xp = [&](std::uint16_t tag, const std::wstring& text) {
    const std::string bytes = Utf16Z(text);
    return test::TiffMaker::Entry{tag, 1, static_cast<std::uint32_t>(bytes.size()), bytes};
  };
  const std::string windows = t.Make({xp(40091, L"Urlaub am See"), xp(40095, L"Sommer"), xp(40093, L"Erika M\u00fcller"),
                                      xp(40094, L"See;Berge"), xp(40092, L"Sch\u00f6nes Wetter")},
                                     {}, {});
  ASSERT_TRUE(WriteBytes(dir / L"windows.jpg", test::Jpeg(windows)));
  EXPECT_EQ(Summary(dir / L"windows.jpg"), (std::vector<std::wstring>{L"Urlaub am See", L"Sommer", L"Erika M\u00fcller",
                                                                       L"See; Berge", L"Sch\u00f6nes Wetter"}));

  // A JPEG from a camera and a photo program: Exif texts and an XMP packet.
  const std::string camera = t.Make({t.Ascii(270, "Hafen"), t.Ascii(315, "Max Mustermann")},
                                    {t.Undefined(37510, std::string("ASCII\0\0\0", 8) + "Blitz aus")}, {});
  const std::string xmp =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
      "<rdf:Description xmlns:dc=\"http://purl.org/dc/elements/1.1/\">"
      "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Abend am Hafen</rdf:li></rdf:Alt></dc:title>"
      "<dc:creator><rdf:Seq><rdf:li>Anna</rdf:li><rdf:li>Ben</rdf:li></rdf:Seq></dc:creator>"
      "<dc:subject><rdf:Bag><rdf:li>Hafen</rdf:li><rdf:li>Abend</rdf:li></rdf:Bag></dc:subject>"
      "</rdf:Description></rdf:RDF></x:xmpmeta>";
  std::string jpeg = test::Jpeg(camera);
  const std::string app1 = std::string("http://ns.adobe.com/xap/1.0/\0", 29) + xmp;
  const auto length = static_cast<std::uint16_t>(app1.size() + 2);
  jpeg.insert(jpeg.size() - 8, std::string("\xFF\xE1", 2) + std::string{static_cast<char>(length >> 8), static_cast<char>(length)} + app1);
  ASSERT_TRUE(WriteBytes(dir / L"kamera.jpeg", jpeg));
  EXPECT_EQ(Summary(dir / L"kamera.jpeg"),
            (std::vector<std::wstring>{L"Abend am Hafen", L"Hafen", L"Max Mustermann", L"Hafen; Abend", L"Blitz aus"}));
  // Without the Exif artist, the XMP creators stand for the author.
  ASSERT_TRUE(WriteBytes(dir / L"nur-xmp.jpg", std::string("\xFF\xD8", 2) + jpeg.substr(jpeg.size() - 12 - app1.size())));
  EXPECT_EQ(DocumentFieldValue(dir / L"nur-xmp.jpg", kDocumentAuthor), L"Anna; Ben");

  // An MP3: title, artist as author, comment (here from its ID3v1 tag).
  std::string v1 = "TAG";
  auto field = [&](const std::string& text, std::size_t size) { v1 += text + std::string(size - text.size(), '\0'); };
  field("Gr\xFC\xDF" "e", 30);
  field("Die Band", 30);
  field("Album", 30);
  field("2019", 4);
  field("Live", 30);
  v1 += '\x0D';
  ASSERT_TRUE(WriteBytes(dir / L"lied.MP3", std::string(4096, '\0') + v1));
  EXPECT_EQ(Summary(dir / L"lied.MP3"), (std::vector<std::wstring>{L"Gr\u00fc\u00dfe", L"", L"Die Band", L"", L"Live"}));
  ASSERT_TRUE(WriteBytes(dir / L"lied.wav", std::string(4096, '\0') + v1));
  EXPECT_EQ(Summary(dir / L"lied.wav"), std::vector<std::wstring>(5));

  // A PDF: its document information, in PDFDocEncoding or UTF-16.
  const std::string pdf =
      "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
      "2 0 obj\n<< /Type /Pages /Kids [] /Count 0 >>\nendobj\n"
      "3 0 obj\n<< /Title (Angebot M\\374ller \\(neu\\)) /Author <FEFF00C4007200740065> /Subject (Preise\\2042024)"
      " /Keywords (Angebot; 2024) >>\nendobj\ntrailer\n<< /Root 1 0 R /Info 3 0 R >>\n%%EOF\n";
  ASSERT_TRUE(WriteBytes(dir / L"angebot.pdf", pdf));
  EXPECT_EQ(Summary(dir / L"angebot.pdf"), (std::vector<std::wstring>{L"Angebot M\u00fcller (neu)", L"Preise\u20142024",
                                                                       L"\u00c4rte", L"Angebot; 2024", L""}));
}

TEST(DocumentProperties, SurvivesEveryTruncationOfPackages) {
  for (const std::string& sample : {Docx(CoreXml(), kAppXml), Odt(MetaXml(true))}) {
    for (std::size_t n = 0; n < sample.size(); ++n) (void)AllValues(sample.substr(0, n));
  }
}

}  // namespace
}  // namespace ablagix
