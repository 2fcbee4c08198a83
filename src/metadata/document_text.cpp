#include "metadata/document_text.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/text.h"
#include "fileops/byte_source.h"
#include "fileops/in_place_io.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "metadata/document_bytes.h"
#include "metadata/pdf_text.h"
#include "metadata/text_matcher.h"
#include "metadata/xml_scanner.h"
#include "metadata/xml_text_stream.h"
#include "zip/zip_reader.h"

namespace ablagix {

using namespace document_bytes;

namespace {

// A character reference or named entity at `at` ("&amp;", "&#228;", "&#xE4;"); 0 when none.
wchar_t Entity(std::string_view text, std::size_t at, std::size_t* length) {
  static constexpr std::array<std::pair<std::string_view, wchar_t>, 14> kNames = {{
      {"amp", L'&'}, {"lt", L'<'}, {"gt", L'>'}, {"quot", L'"'}, {"apos", L'\''}, {"nbsp", L' '},
      {"auml", L'\u00e4'}, {"ouml", L'\u00f6'}, {"uuml", L'\u00fc'}, {"Auml", L'\u00c4'}, {"Ouml", L'\u00d6'},
      {"Uuml", L'\u00dc'}, {"szlig", L'\u00df'}, {"euro", L'\u20ac'}}};
  const std::size_t semicolon = text.find(';', at);
  if (semicolon == std::string_view::npos || semicolon - at > 10) return 0;
  const std::string_view name = text.substr(at + 1, semicolon - at - 1);
  *length = semicolon - at + 1;
  if (name.size() > 1 && name[0] == '#') {
    unsigned long value = 0;
    const bool hex = name[1] == 'x' || name[1] == 'X';
    for (std::size_t i = hex ? 2 : 1; i < name.size(); ++i) {
      const int digit = hex ? HexValue(name[i]) : (name[i] >= '0' && name[i] <= '9' ? name[i] - '0' : -1);
      if (digit < 0 || value > 0x10FFFF) return 0;
      value = value * (hex ? 16 : 10) + static_cast<unsigned long>(digit);
    }
    return value > 0 && value <= 0xFFFF ? static_cast<wchar_t>(value) : L' ';
  }
  for (const auto& [known, c] : kNames) {
    if (name == known) return c;
  }
  return 0;
}

std::string ReadWhole(const std::wstring& path) {
  std::string bytes;
  std::uint64_t size = 0;
  if (!GetFileSize(path, &size) || size > kDocumentSizeLimit || !ReadFileBytes(path, &bytes)) return {};
  return bytes;
}

// The parts of a package that hold the document's words (body, headers, notes, cells, slides).
bool IsTextPart(std::string_view name) {
  auto under = [&](std::string_view folder) {
    return name.starts_with(folder) && name.ends_with(".xml") && name.find('/', folder.size()) == std::string_view::npos;
  };
  return name == "word/document.xml" || name == "word/footnotes.xml" || name == "word/endnotes.xml" ||
         name.starts_with("word/header") || name.starts_with("word/footer") || name == "xl/sharedStrings.xml" ||
         under("xl/worksheets/") || under("ppt/slides/") || under("ppt/notesSlides/") || name == "content.xml";
}

// The character data of an XML part; paragraphs, cells and breaks become separators, while
// the runs a word processor splits a word into are joined again. The part is taken as it is
// inflated: its first bytes tell UTF-8 from UTF-16, which is converted once it is complete.
class PartText {
 public:
  void Feed(std::string_view bytes, std::string* text) {
    if (kind_ == Kind::kUndecided) {
      head_.append(bytes);
      if (head_.size() < 3) return;
      Decide();
      if (kind_ == Kind::kUtf16) return;
      xml_.Feed(head_, text);
      head_.clear();
      return;
    }
    if (kind_ == Kind::kUtf16) {
      head_.append(bytes);
    } else {
      xml_.Feed(bytes, text);
    }
  }
  void Finish(std::string* text) {
    if (kind_ == Kind::kUndecided) Decide();
    if (!head_.empty()) xml_.Feed(kind_ == Kind::kUtf16 ? XmlAsUtf8(head_) : head_, text);
    head_.clear();
    xml_.Finish(text);
  }

 private:
  enum class Kind { kUndecided, kUtf8, kUtf16 };
  // The same choice as XmlAsUtf8 makes on the whole part.
  void Decide() {
    const std::string_view h = head_;
    if (h.starts_with("\xEF\xBB\xBF")) {
      kind_ = Kind::kUtf8;
      head_.erase(0, 3);
    } else if (h.starts_with("\xFF\xFE") || h.starts_with(std::string_view("\xFE\xFF", 2)) ||
               h.starts_with(std::string_view("<\0", 2)) || h.starts_with(std::string_view("\0<", 2))) {
      kind_ = Kind::kUtf16;
    } else {
      kind_ = Kind::kUtf8;
    }
  }

  Kind kind_ = Kind::kUndecided;
  std::string head_;  // the first bytes until they decide; all of a UTF-16 part
  XmlTextStream xml_{"p", "h", "br", "tab", "tc", "si", "c", "line-break", "s", "cr", "table-cell"};
};

// Every text part of a package in order, each handed to `onText` with the UTF-8 text its
// latest bytes completed; `onPartEnd` follows each part with whether it was read without
// error. Either returns false to stop reading.
template <typename OnText, typename OnPartEnd>
void ReadPackageText(ByteSource& source, OnText onText, OnPartEnd onPartEnd) {
  ZipReader zip(source);
  if (zip.Open() != ZipError::kNone) return;
  std::uint64_t budget = kDocumentSizeLimit;
  std::string text;
  for (const ZipEntry& entry : zip.entries()) {
    if (!IsTextPart(entry.name) || entry.uncompressedSize > budget) continue;
    PartText part;
    std::uint64_t produced = 0;
    bool stopped = false;
    text.clear();
    const ZipError e = zip.ReadEntry(entry, budget, [&](std::string_view piece) {
      produced += piece.size();
      part.Feed(piece, &text);
      stopped = !onText(&text);
      return !stopped;
    });
    if (stopped) return;
    if (e == ZipError::kNone) {
      budget -= produced;
      part.Finish(&text);
      if (!onText(&text)) return;
    }
    if (!onPartEnd(e == ZipError::kNone)) return;
  }
}

}  // namespace

bool PackageMeets(ByteSource& source, const TextQuery& query) {
  TextScan scan(query, TextEncoding::kUtf8);
  std::string window;  // the bytes kept from the last search, then the new text
  std::string beforePart;
  auto search = [&] {
    window.erase(0, window.size() - scan.Search(window));
    return !scan.met();
  };
  ReadPackageText(
      source,
      [&](std::string* text) {
        window += *text;
        text->clear();
        return search();
      },
      [&](bool complete) {
        if (complete) {
          window += '\n';
          if (!search()) return false;
        } else {
          // A damaged part gives no text: the search goes on from where it was before it.
          window = beforePart;
        }
        beforePart = window;
        return true;
      });
  return scan.met();
}

std::wstring HtmlText(std::string_view bytes) {
  // A page says its encoding near its start; without a word of it, it is the old default.
  const bool utf8 = bytes.starts_with("\xEF\xBB\xBF") ||
                    FindNoCaseBytes(bytes.substr(0, 2048), "utf-8", 0) != std::string_view::npos;
  return HtmlTextAs(bytes, utf8);
}

std::wstring HtmlTextAs(std::string_view bytes, bool utf8) {
  std::string plain;
  std::wstring out;
  auto flush = [&] {
    out += utf8 ? FromUtf8(plain) : FromWindows1252(plain);
    plain.clear();
  };
  for (std::size_t i = 0; i < bytes.size();) {
    const char c = bytes[i];
    if (c == '<') {
      // Scripts and styles hold no readable text.
      for (std::string_view skipped : {"script", "style"}) {
        if (StartsNoCase(bytes, i + 1, skipped)) {
          const std::size_t end = FindNoCaseBytes(bytes, std::string("</") + std::string(skipped), i);
          i = end == std::string_view::npos ? bytes.size() : end;
          break;
        }
      }
      const std::size_t close = bytes.find('>', i);
      i = close == std::string_view::npos ? bytes.size() : close + 1;
      plain.push_back(' ');
      continue;
    }
    if (c == '&') {
      std::size_t length = 0;
      if (const wchar_t entity = Entity(bytes, i, &length); entity != 0) {
        flush();
        out.push_back(entity);
        i += length;
        continue;
      }
    }
    plain.push_back(c);
    ++i;
  }
  flush();
  return out;
}

namespace {

constexpr bool Readable(unsigned c) { return (c >= 0x20 && c < 0x7F) || c >= 0xA0 || c == '\t'; }

// The runs as they stand in the file: single bytes with "\n" after each run, and UTF-16LE
// with "\n" as UTF-16LE after each run.
std::string SingleByteRunBytes(std::string_view bytes) {
  static constexpr auto kReadable = [] {
    std::array<bool, 256> table{};
    for (unsigned c = 0; c < 256; ++c) table[c] = Readable(c);
    return table;
  }();
  std::string out;
  out.reserve(bytes.size());
  const auto* b = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::size_t size = bytes.size();
  for (std::size_t i = 0; i < size;) {
    while (i < size && !kReadable[b[i]]) ++i;
    const std::size_t start = i;
    while (i < size && kReadable[b[i]]) ++i;
    if (i - start >= 4) {
      out.append(bytes.substr(start, i - start));
      out.push_back('\n');
    }
  }
  return out;
}

std::string Utf16RunBytes(std::string_view bytes) {
  std::string out;
  for (std::size_t first = 0; first < 2; ++first) {
    std::size_t start = first;
    for (std::size_t i = first;; i += 2) {
      const bool more = i + 1 < bytes.size();
      if (more) {
        const unsigned unit = static_cast<unsigned char>(bytes[i]) | (static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (Readable(unit) && unit < 0xD800) continue;
      }
      if (i - start >= 8) {
        out.append(bytes.substr(start, i - start));
        out.append("\n\0", 2);
      }
      if (!more) break;
      start = i + 2;
    }
  }
  return out;
}

// Office Open XML and OpenDocument files are zip packages of XML parts.
bool IsPackage(std::wstring_view extension) {
  static constexpr std::array<std::wstring_view, 16> kPackaged = {
      L"docx", L"dotx", L"xlsx", L"pptx", L"odt", L"ods", L"odp", L"odg",
      L"ott",  L"ots",  L"otp",  L"sxw",  L"stw", L"sxc", L"sxi", L"sxd"};
  return std::find(kPackaged.begin(), kPackaged.end(), extension) != kPackaged.end();
}

bool IsBinaryDocument(std::wstring_view extension) {
  static constexpr std::array<std::wstring_view, 10> kBinary = {L"doc", L"xls", L"ppt", L"wri", L"wk3", L"wk4",
                                                                L"wj2", L"wj3", L"123", L"ptx"};
  return std::find(kBinary.begin(), kBinary.end(), extension) != kBinary.end();
}

}  // namespace

std::wstring StringRuns(std::string_view bytes) {
  return FromWindows1252(SingleByteRunBytes(bytes)) + FromUtf16LeBytes(Utf16RunBytes(bytes));
}

std::wstring PackagedText(ByteSource& source) {
  std::wstring out;
  std::string partText;
  ReadPackageText(
      source,
      [&](std::string* text) {
        partText += *text;
        text->clear();
        return true;
      },
      [&](bool complete) {
        if (complete) {
          out += FromUtf8(partText);
          out += L'\n';
        }
        partText.clear();
        return true;
      });
  return out;
}

bool DocumentTexts::Reads(const std::wstring& path) const {
  const std::wstring extension = ToLowerText(ExtensionOf(NamePart(path)));
  return extension == L"html" || extension == L"htm" || extension == L"eml" || extension == L"mht" ||
         extension == L"rtf" || extension == L"pdf" || IsPackage(extension) || IsBinaryDocument(extension);
}

std::optional<std::wstring> DocumentTexts::Text(const std::wstring& path) {
  const std::wstring extension = ToLowerText(ExtensionOf(NamePart(path)));
  if (extension == L"html" || extension == L"htm") return HtmlText(ReadWhole(path));
  if (extension == L"eml" || extension == L"mht") return MimeText(ReadWhole(path));
  if (extension == L"rtf") return RtfText(ReadWhole(path));
  if (extension == L"pdf") {
    FileByteSource source;
    if (!source.Open(path)) return std::nullopt;
    return PdfText(source);
  }
  if (IsPackage(extension)) {
    FileByteSource source;
    if (!source.Open(path)) return std::nullopt;
    return PackagedText(source);
  }
  // The old binary formats keep their text as plain runs of characters.
  if (IsBinaryDocument(extension)) return StringRuns(ReadWhole(path));
  return std::nullopt;
}

bool DocumentTexts::Meets(const std::wstring& path, const TextQuery& query) {
  const std::wstring extension = ToLowerText(ExtensionOf(NamePart(path)));
  if (query.bytewise() && IsPackage(extension)) {
    // A package of usual size is read in one piece, into a buffer each thread keeps, so the
    // zip reader's small reads (end record, directory, local headers) cost no calls to the
    // system.
    constexpr std::uint64_t kWholeRead = 1u << 20;
    ReadOnlyFile file;
    if (!file.Open(path)) return false;
    if (file.size() <= kWholeRead) {
      thread_local std::string buffer;
      const auto size = static_cast<std::size_t>(file.size());
      if (buffer.size() < size) buffer.resize(size);
      std::size_t got = 0;
      if (!file.ReadInto(0, buffer.data(), size, &got)) return false;
      MemoryByteSource memory(std::string_view(buffer.data(), got));
      return PackageMeets(memory, query);
    }
    file.Close();
    FileByteSource source;
    return source.Open(path) && PackageMeets(source, query);
  }
  if (query.bytewise() && extension == L"pdf") {
    // Page by page, each page's text searched with the end of the text before it.
    FileByteSource source;
    if (!source.Open(path)) return false;
    std::size_t overlap = 0;
    for (const std::wstring& term : query.terms().terms) overlap = std::max(overlap, term.size());
    overlap = overlap > 0 ? overlap - 1 : 0;
    std::vector<bool> found(query.terms().terms.size(), false);
    // The page text is UTF-16 in memory; the words are looked for in its bytes.
    constexpr TextEncoding kUtf16 =
        std::endian::native == std::endian::little ? TextEncoding::kUtf16Le : TextEncoding::kUtf16Be;
    std::u16string tail;
    bool met = false;
    return ReadPdfText(source, [&](std::u16string_view added) {
      tail += added;
      const std::string_view bytes(reinterpret_cast<const char*>(tail.data()), tail.size() * sizeof(char16_t));
      met = !tail.empty() && query.MetIn(bytes, kUtf16, &found);
      tail.erase(0, tail.size() - std::min(tail.size(), overlap));
      return !met;
    }) && met;
  }
  if (IsBinaryDocument(extension)) {
    // The runs are searched in their bytes, the single-byte ones first, which settle it when
    // they meet the query; a word across the two kinds is looked for where they join.
    const std::string bytes = ReadWhole(path);
    std::vector<bool> found(query.terms().terms.size(), false);
    if (!query.bytewise()) {
      const std::wstring all = StringRuns(bytes);
      return !all.empty() && query.MetBy(all, &found);
    }
    const std::string single = SingleByteRunBytes(bytes);
    if (!single.empty() && query.MetIn(single, TextEncoding::kWindows1252, &found)) return true;
    const std::string wide = Utf16RunBytes(bytes);
    if (wide.empty()) return false;
    std::size_t overlap = 0;
    for (const std::wstring& term : query.terms().terms) overlap = std::max(overlap, term.size());
    const std::size_t before = std::min(single.size(), overlap);
    const std::wstring junction = FromWindows1252(std::string_view(single).substr(single.size() - before)) +
                                  FromUtf16LeBytes(std::string_view(wide).substr(0, 2 * overlap));
    query.MetIn(wide, TextEncoding::kUtf16Le, &found);
    return query.MetBy(junction, &found);
  }
  return DocumentTextSource::Meets(path, query);
}

}  // namespace ablagix
