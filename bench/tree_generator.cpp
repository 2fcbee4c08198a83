#include "tree_generator.h"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/pdf_writer.h"
#include "metadata/picture_maker.h"
#include "zip/zip_maker.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ablagix::bench {
namespace {

struct Random {
  std::uint64_t state;
  std::uint32_t Next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  std::uint32_t Below(std::uint32_t n) { return n == 0 ? 0 : Next() % n; }
  bool Percent(std::uint32_t p) { return Below(100) < p; }
};

const wchar_t* const kStems[] = {L"IMG_", L"Rechnung ", L"Bericht_", L"Urlaub M\u00e4rz ", L"scan",
                                 L"\u00dcbersicht ", L"notiz-", L"DSC"};

// Words of German office text, umlauts included; the searched word is not among them.
const wchar_t* const kWords[] = {
    L"Sehr", L"geehrte", L"Damen", L"und", L"Herren", L"wir", L"bedanken", L"uns", L"f\u00fcr", L"Ihre",
    L"Bestellung", L"vom", L"Lieferschein", L"Angebot", L"Auftrag", L"Kunde", L"M\u00fcller", L"Gr\u00f6\u00dfe",
    L"Stra\u00dfe", L"\u00dcbersicht", L"\u00c4nderung", L"\u00d6ffnungszeiten", L"Betrag", L"Euro", L"netto",
    L"brutto", L"Mehrwertsteuer", L"Zahlung", L"innerhalb", L"von", L"Tagen", L"ohne", L"Abzug", L"Konto",
    L"Bank", L"die", L"der", L"das", L"ist", L"mit", L"freundlichen", L"Gr\u00fc\u00dfen", L"Termin", L"Besprechung",
    L"Projekt", L"Stand", L"Seite", L"Nummer", L"Datum", L"Anlage", L"Kosten", L"Lieferung", L"Ware", L"Menge",
    L"St\u00fcck", L"Preis", L"Summe", L"2023", L"2024", L"15.03.2024", L"1.250,00", L"19%", L"K\u00f6ln",
    L"M\u00fcnchen", L"D\u00fcsseldorf", L"W\u00fcrzburg", L"\u00e4hnlich", L"\u00fcber", L"f\u00fcnf",
    L"zw\u00f6lf", L"wei\u00df", L"Ma\u00dfnahme", L"Bescheid", L"Antrag", L"Vertrag", L"Mahnung", L"Quittung"};
const wchar_t* const kSearched[] = {L"Rechnung", L"Rechnung", L"RECHNUNG", L"rechnung", L"Rechnungsnummer"};

std::wstring Words(Random& r, std::size_t characters) {
  std::wstring text;
  text.reserve(characters + 32);
  while (text.size() < characters) {
    text += kWords[r.Below(sizeof kWords / sizeof kWords[0])];
    const std::uint32_t gap = r.Below(16);
    text += gap == 0 ? L".\r\n" : gap == 1 ? L", " : L" ";
  }
  return text;
}

// The searched word somewhere in the text, now and then right across a 4096-byte block.
void PutWord(Random& r, std::wstring* text) {
  const std::wstring word = kSearched[r.Below(5)];
  std::size_t at = r.Below(static_cast<std::uint32_t>(text->size() + 1));
  if (r.Percent(20) && text->size() > 4100) at = 4090;
  text->insert(at, L" " + word + L" ");
}

std::string Encoded(Random& r, const std::wstring& text) {
  const std::uint32_t pick = r.Below(100);
  if (pick < 40) return ToUtf8(text);
  if (pick < 55) return "\xEF\xBB\xBF" + ToUtf8(text);
  if (pick < 80) return ToWindows1252(text);
  if (pick < 95) return ToUtf16LeBytes(text, true);
  std::string be = ToUtf16LeBytes(text, true);
  for (std::size_t i = 0; i + 1 < be.size(); i += 2) std::swap(be[i], be[i + 1]);
  return be;
}

std::string RandomBytes(Random& r, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; i += 4) {
    const std::uint32_t v = r.Next();
    for (std::size_t k = 0; k < 4 && i + k < size; ++k) bytes[i + k] = static_cast<char>(v >> (8 * k));
  }
  return bytes;
}

std::string Escaped(const std::string& utf8) {
  std::string out;
  for (char c : utf8) {
    if (c == '&') out += "&amp;";
    else if (c == '<') out += "&lt;";
    else if (c == '>') out += "&gt;";
    else out += c;
  }
  return out;
}

// A word-processor body: paragraphs of runs, with words now and then split into two runs.
std::string WordXml(Random& r, const std::wstring& text) {
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<w:document "
      "xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\" "
      "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"><w:body>";
  const std::string utf8 = ToUtf8(text);
  std::size_t at = 0;
  while (at < utf8.size()) {
    std::size_t end = utf8.find("\r\n", at);
    if (end == std::string::npos) end = utf8.size();
    xml += "<w:p w:rsidR=\"00A1" + std::to_string(r.Below(9000)) +
           "\"><w:pPr><w:spacing w:after=\"120\"/><w:rPr><w:lang w:val=\"de-DE\"/></w:rPr></w:pPr>";
    const std::string paragraph = utf8.substr(at, end - at);
    std::size_t p = 0;
    while (p < paragraph.size()) {
      std::size_t piece = std::min<std::size_t>(paragraph.size() - p, 20 + r.Below(120));
      while (p + piece < paragraph.size() && (static_cast<unsigned char>(paragraph[p + piece]) & 0xC0) == 0x80) ++piece;
      xml += "<w:r><w:rPr><w:rFonts w:ascii=\"Calibri\"/><w:sz w:val=\"22\"/></w:rPr><w:t xml:space=\"preserve\">" +
             Escaped(paragraph.substr(p, piece)) + "</w:t></w:r>";
      p += piece;
    }
    xml += "</w:p>";
    at = end + 2;
  }
  return xml + "<w:sectPr><w:pgSz w:w=\"11906\" w:h=\"16838\"/></w:sectPr></w:body></w:document>";
}

std::string Docx(Random& r, const std::wstring& text) {
  test::ZipMaker zip;
  zip.Add("[Content_Types].xml",
          "<?xml version=\"1.0\"?><Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
          "<Default Extension=\"xml\" ContentType=\"application/xml\"/></Types>",
          true);
  zip.Add("_rels/.rels", "<?xml version=\"1.0\"?><Relationships/>", true);
  zip.Add("word/document.xml", WordXml(r, text), true);
  zip.Add("word/styles.xml", "<?xml version=\"1.0\"?><w:styles>" + std::string(8000 + r.Below(20000), ' ') + "</w:styles>",
          true);
  zip.Add("docProps/core.xml", "<?xml version=\"1.0\"?><cp:coreProperties><dc:creator>B\xC3\xBCro</dc:creator>"
                               "</cp:coreProperties>", true);
  return zip.Make();
}

std::string Odt(Random& r, const std::wstring& text) {
  test::ZipMaker zip;
  zip.Add("mimetype", "application/vnd.oasis.opendocument.text");
  std::string xml =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><office:document-content "
      "xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
      "xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\"><office:body><office:text>";
  const std::string utf8 = ToUtf8(text);
  for (std::size_t at = 0; at < utf8.size();) {
    std::size_t end = utf8.find("\r\n", at);
    if (end == std::string::npos) end = utf8.size();
    xml += "<text:p text:style-name=\"P" + std::to_string(r.Below(9)) + "\">" + Escaped(utf8.substr(at, end - at)) +
           "</text:p>";
    at = end + 2;
  }
  zip.Add("content.xml", xml + "</office:text></office:body></office:document-content>", true);
  zip.Add("styles.xml", "<?xml version=\"1.0\"?><office:document-styles/>", true);
  return zip.Make();
}

std::string Pdf(Random& r, const std::wstring& text) {
  PdfDocument pdf(kA4Landscape);
  std::size_t at = 0;
  while (at < text.size()) {
    pdf.BeginPage();
    for (int line = 0; line < 40 && at < text.size(); ++line) {
      const std::size_t length = std::min<std::size_t>(text.size() - at, 90);
      pdf.Text(36, 560 - 13.0 * line, r.Below(8) == 0 ? PdfFont::Bold : PdfFont::Regular, 10,
               ToWinAnsi(text.substr(at, length)));
      at += length;
    }
  }
  return pdf.Finish();
}

// A camera picture: the Exif block (with a thumbnail in most), then the compressed pixels.
std::string Jpeg(Random& r, std::size_t size) {
  static const char* const kMakes[][2] = {{"Canon", "Canon EOS 5D Mark IV"}, {"NIKON CORPORATION", "NIKON D750"},
                                          {"SONY", "ILCE-7M3"}, {"Apple", "iPhone 13"}, {"samsung", "SM-G991B"}};
  const auto& camera = kMakes[r.Below(5)];
  test::TiffMaker t(r.Below(3) != 0);
  char date[32];
  std::snprintf(date, sizeof date, "%04u:%02u:%02u %02u:%02u:%02u", 2014 + r.Below(11), 1 + r.Below(12),
                1 + r.Below(28), r.Below(24), r.Below(60), r.Below(60));
  std::vector<test::TiffMaker::Entry> gps;
  if (r.Percent(40)) {
    gps = {t.Ascii(1, "N"), t.Rationals(2, {{48 + static_cast<std::int32_t>(r.Below(6)), 1}, {static_cast<std::int32_t>(r.Below(60)), 1}, {static_cast<std::int32_t>(r.Below(6000)), 100}}),
           t.Ascii(3, "E"), t.Rationals(4, {{6 + static_cast<std::int32_t>(r.Below(9)), 1}, {static_cast<std::int32_t>(r.Below(60)), 1}, {static_cast<std::int32_t>(r.Below(6000)), 100}})};
  }
  const std::string tiff = t.Make(
      {t.Ascii(271, camera[0]), t.Ascii(272, camera[1]), t.Short(274, 1), t.Rationals(282, {{72, 1}}),
       t.Rationals(283, {{72, 1}}), t.Ascii(305, "Firmware 1.0.2"), t.Ascii(306, date)},
      {t.Rationals(33434, {{1, 60 + static_cast<std::int32_t>(r.Below(500))}}), t.Rationals(33437, {{28, 10}}),
       t.Short(34855, 100 + static_cast<std::uint16_t>(r.Below(3200))), t.Ascii(36867, date), t.Ascii(36868, date),
       t.Short(37385, 16), t.Rationals(37386, {{50, 1}}), t.Short(40962, 6000), t.Short(40963, 4000),
       t.Short(41987, 0), t.Undefined(37500, RandomBytes(r, r.Percent(70) ? 6000 + r.Below(20000) : 200))},
      gps);
  const std::string payload = std::string("Exif\0\0", 6) + tiff;
  auto segment = [](unsigned marker, const std::string& data) {
    const std::size_t length = data.size() + 2;
    return std::string{'\xFF', static_cast<char>(marker), static_cast<char>(length >> 8), static_cast<char>(length)} +
           data;
  };
  std::string jpeg = std::string("\xFF\xD8", 2) + segment(0xE0, std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14)) +
                     segment(0xE1, payload) + segment(0xDB, std::string(65, '\x10')) +
                     segment(0xC0, std::string("\x08\x0F\xA0\x17\x70\x03\x01\x22\x00\x02\x11\x01\x03\x11\x01", 15)) +
                     segment(0xDA, std::string("\x03\x01\x00\x02\x11\x03\x11\x00\x3F\x00", 10));
  if (jpeg.size() + 2 < size) jpeg += RandomBytes(r, size - jpeg.size() - 2);
  return jpeg + "\xFF\xD9";
}

std::string Html(Random& r, const std::wstring& text) {
  return "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Seite</title><style>p{margin:0}</style></head>"
         "<body><p>" +
         Escaped(ToUtf8(text)) + "</p><script>var n=" + std::to_string(r.Below(100)) + ";</script></body></html>";
}

std::string Mail(const std::wstring& text) {
  return "From: buero@example.com\r\nTo: kunde@example.com\r\nSubject: Ihre Bestellung\r\nMIME-Version: 1.0\r\n"
         "Content-Type: text/plain; charset=windows-1252\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
         ToWindows1252(text);
}

// The tables of an old binary document: mostly zeros, with numbers and offsets in between.
std::string Records(Random& r, std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; i += 1 + r.Below(12)) bytes[i] = static_cast<char>(r.Below(256));
  return bytes;
}

// An old binary document: records around the text, single-byte and UTF-16.
std::string OldDocument(Random& r, const std::wstring& text) {
  return Records(r, 2048 + r.Below(8192)) + ToWindows1252(text) + Records(r, 512) +
         ToUtf16LeBytes(text.substr(0, text.size() / 3), false) + Records(r, 1024 + r.Below(4096));
}

struct Kind {
  const wchar_t* extension;
  std::uint32_t weight;  // per thousand files
};
// A mix as on an office computer: pictures, text files, office documents, mails, programs.
constexpr std::array<Kind, 19> kKinds = {{
    {L"jpg", 180}, {L"JPG", 30},  {L"png", 30},  {L"txt", 160}, {L"csv", 40}, {L"log", 30}, {L"xml", 20},
    {L"docx", 90}, {L"odt", 20},  {L"pdf", 90},  {L"html", 30}, {L"eml", 20}, {L"doc", 20}, {L"mp3", 40},
    {L"zip", 30},  {L"exe", 15},  {L"dll", 15},  {L"ini", 40},  {L"dat", 100},
}};

std::wstring_view PickKind(Random& r) {
  std::uint32_t pick = r.Below(1000);
  for (const Kind& k : kKinds) {
    if (pick < k.weight) return k.extension;
    pick -= k.weight;
  }
  return L"dat";
}

// Text of a document: mostly a page or two, sometimes long; the word in about one in six.
std::wstring DocumentText(Random& r) {
  const std::size_t size = r.Percent(95) ? 300 + r.Below(6000) : 20000 + r.Below(120000);
  std::wstring text = Words(r, size);
  if (r.Percent(17)) PutWord(r, &text);
  return text;
}

std::string Content(Random& r, std::wstring_view extension) {
  if (extension == L"jpg" || extension == L"JPG") return Jpeg(r, 6000 + r.Below(40000));
  if (extension == L"txt" || extension == L"csv" || extension == L"log" || extension == L"xml" || extension == L"ini") {
    return Encoded(r, DocumentText(r));
  }
  if (extension == L"docx") return Docx(r, DocumentText(r));
  if (extension == L"odt") return Odt(r, DocumentText(r));
  if (extension == L"pdf") return Pdf(r, DocumentText(r));
  if (extension == L"html") return Html(r, DocumentText(r));
  if (extension == L"eml") return Mail(DocumentText(r));
  if (extension == L"doc") return OldDocument(r, DocumentText(r));
  if (extension == L"png") return std::string("\x89PNG\r\n\x1a\n", 8) + RandomBytes(r, 2000 + r.Below(30000));
  if (extension == L"mp3") return "ID3" + RandomBytes(r, 20000 + r.Below(100000));
  if (extension == L"zip" || extension == L"exe" || extension == L"dll") return RandomBytes(r, 10000 + r.Below(60000));
  // Data files: mostly small, a few large ones, as in real folders.
  return RandomBytes(r, r.Percent(98) ? r.Below(8192) : 65536 + r.Below(1 << 18));
}

bool WriteFile(const std::wstring& path, const std::string& bytes, FileTime lastWrite) {
#ifdef _WIN32
  HANDLE h = CreateFileW(LongPathForm(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(lastWrite) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(lastWrite) >> 32);
  SetFileTime(h, nullptr, nullptr, &ft);
  CloseHandle(h);
  return true;
#else
  const std::string native = ToUtf8(path);
  int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  const std::int64_t unixTicks = lastWrite - 116444736000000000LL;
  struct timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(unixTicks / 10000000);
  times[1].tv_nsec = 0;
  futimens(fd, times);
  ::close(fd);
  return true;
#endif
}

// Planted duplicates, drawn from a stream of their own so that the rest of the tree stays what
// the same seed made before: some files get a copy (now and then two) in another folder, some
// a file of the same size with one byte changed, and a few large files come in pairs with the
// same first and last 64 KiB but another middle, half of them with a true copy as well.
struct Planter {
  Random random;
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;

  void Write(const std::wstring& path, const std::string& content, FileTime written) {
    if (WriteFile(path, content, written)) {
      ++files;
      bytes += content.size();
    }
  }
  void Plant(const std::vector<std::wstring>& folders, std::size_t current, const std::wstring& name,
             const std::string& content, FileTime written) {
    auto elsewhere = [&] { return folders[random.Below(static_cast<std::uint32_t>(current + 1))]; };
    // A copy carries its own time now and then, as a file copied without its date does.
    auto when = [&] { return random.Percent(50) ? written : written + static_cast<FileTime>(random.Below(1000000)) * 10000000; };
    const std::uint32_t pick = random.Below(1000);
    if (pick < 40) {
      Write(JoinPath(elsewhere(), L"Kopie von " + name), content, when());
      if (pick < 8) Write(JoinPath(elsewhere(), L"Kopie 2 von " + name), content, when());
    } else if (pick < 55 && !content.empty()) {
      std::string other = content;
      other[other.size() / 2] = static_cast<char>(other[other.size() / 2] ^ 0x5A);
      Write(JoinPath(elsewhere(), L"Fast " + name), other, when());
    } else if (pick < 58) {
      // Large: the same ends, another middle.
      const std::size_t size = (1u << 20) + random.Below(3u << 20);
      std::string large = RandomBytes(random, size);
      std::string middle = large;
      for (std::size_t at = size / 2; at < size / 2 + 4096; ++at) middle[at] = static_cast<char>(random.Below(256));
      Write(JoinPath(elsewhere(), L"Gross " + name + L".bin"), large, written);
      Write(JoinPath(elsewhere(), L"Gross Mitte " + name + L".bin"), middle, written);
      if (pick < 57) Write(JoinPath(elsewhere(), L"Gross Kopie " + name + L".bin"), large, when());
    }
  }
};

}  // namespace

std::uint64_t GenerateTree(const std::wstring& root, const TreeShape& plan) {
  Random random{plan.seed};
  std::uint64_t bytes = 0;
  const FileTime now = CurrentFileTime();
  const FileTime tenYears = 10LL * 365 * 86400 * 10000000LL;
  // Folders are numbered breadth first: folder n lives inside folder (n-1)/foldersPerLevel.
  std::vector<std::wstring> folders{root};
  CreateFolders(root);
  std::uint64_t made = 0;
  Planter planter{Random{plan.seed ^ 0x9E3779B97F4A7C15ULL}};
  for (size_t f = 0; made < plan.files; ++f) {
    if (f >= folders.size()) break;
    for (int k = 0; k < plan.foldersPerLevel &&
                    folders.size() * static_cast<std::uint64_t>(plan.filesPerFolder) < plan.files;
         ++k) {
      std::wstring sub = JoinPath(folders[f], L"Ordner " + NumberText(folders.size()) +
                                                  (k % 3 == 0 ? L" \u00e4" : L""));
      folders.push_back(sub);
    }
    CreateFolders(folders[f]);
    for (int i = 0; i < plan.filesPerFolder && made < plan.files; ++i, ++made) {
      const std::wstring_view extension = PickKind(random);
      std::wstring name = std::wstring(kStems[random.Below(8)]) + NumberText(made) + L"." + std::wstring(extension);
      const std::string content = Content(random, extension);
      FileTime written = now - static_cast<FileTime>(random.Next()) * (tenYears / 0xFFFFFFFFLL);
      WriteFile(JoinPath(folders[f], name), content, written);
      bytes += content.size();
      if (plan.duplicates) planter.Plant(folders, f, name, content, written);
      if (made % 10000 == 0) {
        std::fprintf(stderr, "\r%llu Dateien", static_cast<unsigned long long>(made));
      }
    }
  }
  bytes += planter.bytes;
  std::fprintf(stderr, "\r%llu Dateien (davon %llu Kopien und Beinahe-Kopien) in %zu Ordnern, %llu MB\n",
               static_cast<unsigned long long>(made + planter.files), static_cast<unsigned long long>(planter.files),
               folders.size(), static_cast<unsigned long long>(bytes >> 20));
  return bytes;
}

}  // namespace ablagix::bench
