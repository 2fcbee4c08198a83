#include "metadata/document_properties.h"

#include <cstdint>
#include <string_view>

#include "base/byte_order.h"
#include "base/text.h"
#include "metadata/audio_properties.h"
#include "metadata/compound_file.h"
#include "metadata/pdf_text.h"
#include "metadata/picture_properties.h"
#include "metadata/xml_scanner.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

// Metadata parts are a few kilobytes; these bounds only stop hostile files.
constexpr std::size_t kMaxPropertyStream = 4u << 20;
constexpr std::uint64_t kMaxXmlPart = 8u << 20;
constexpr std::uint32_t kMaxPropertySets = 64;
constexpr std::uint32_t kMaxVectorItems = 4096;

// The summary-information set, F29F85E0-4FF9-1068-AB91-08002B27B3D9, as stored.
constexpr std::string_view kSummaryFormatId{"\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9", 16};

constexpr std::string_view kDublinCore = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view kCoreProperties = "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr std::string_view kExtendedProperties =
    "http://schemas.openxmlformats.org/officeDocument/2006/extended-properties";
constexpr std::string_view kStrictExtendedProperties = "http://purl.oclc.org/ooxml/officeDocument/extendedProperties";
constexpr std::string_view kOdfMeta = "urn:oasis:names:tc:opendocument:xmlns:meta:1.0";
constexpr std::string_view kXlink = "http://www.w3.org/1999/xlink";

enum VariantType : std::uint16_t {
  kVtI2 = 2,
  kVtI4 = 3,
  kVtUi2 = 18,
  kVtUi4 = 19,
  kVtInt = 22,
  kVtUint = 23,
  kVtLpstr = 30,
  kVtLpwstr = 31,
  kVtVector = 0x1000,
};

bool IsDocumentProperty(int id) { return (id >= kDocumentTitle && id <= kDocumentRevision) || (id >= 14 && id <= 16); }
bool IsCount(int id) { return id >= kDocumentPageCount && id <= kDocumentCharacterCount; }


std::wstring SignedText(std::int64_t value) {
  return value < 0 ? L"-" + NumberText(static_cast<std::uint64_t>(-value)) : NumberText(static_cast<std::uint64_t>(value));
}

// Keywords are one list however they were stored: "a;b", "a; b" and separate entries all
// read "a; b".
std::wstring KeywordList(std::wstring_view text) {
  std::vector<std::wstring> words;
  for (const std::wstring& piece : Split(text, L';')) {
    std::wstring_view word = piece;
    while (!word.empty() && (word.front() == L' ' || word.front() == L'\t')) word.remove_prefix(1);
    while (!word.empty() && (word.back() == L' ' || word.back() == L'\t')) word.remove_suffix(1);
    if (!word.empty()) words.emplace_back(word);
  }
  return Join(words, L"; ");
}

void Store(DocumentProperties* props, int id, std::wstring value) {
  if (!IsDocumentProperty(id) || !props->byId[static_cast<std::size_t>(id)].empty()) return;
  props->byId[static_cast<std::size_t>(id)] = id == kDocumentKeywords ? KeywordList(value) : std::move(value);
}

// --- OLE2 property sets

class PropertySet {
 public:
  PropertySet(std::string_view bytes, std::uint16_t codePage) : bytes_(bytes), codePage_(codePage) {}

  // The value at `at` as text; false for types that have no text here (dates, blobs).
  bool Text(std::size_t at, std::wstring* out) const {
    if (at + 4 > bytes_.size()) return false;
    const std::uint16_t type = LoadLe16(bytes_, at);
    at += 4;
    switch (type) {
      case kVtI2:
        if (at + 2 > bytes_.size()) return false;
        *out = SignedText(static_cast<std::int16_t>(LoadLe16(bytes_, at)));
        return true;
      case kVtUi2:
        if (at + 2 > bytes_.size()) return false;
        *out = NumberText(LoadLe16(bytes_, at));
        return true;
      case kVtI4:
      case kVtInt:
        if (at + 4 > bytes_.size()) return false;
        *out = SignedText(static_cast<std::int32_t>(LoadLe32(bytes_, at)));
        return true;
      case kVtUi4:
      case kVtUint:
        if (at + 4 > bytes_.size()) return false;
        *out = NumberText(LoadLe32(bytes_, at));
        return true;
      case kVtLpstr:
      case kVtLpwstr:
        return String(type, &at, out);
      case kVtVector | kVtLpstr:
      case kVtVector | kVtLpwstr: {
        if (at + 4 > bytes_.size()) return false;
        const std::uint32_t count = LoadLe32(bytes_, at);
        if (count > kMaxVectorItems) return false;
        at += 4;
        std::vector<std::wstring> items(count);
        for (std::wstring& item : items) {
          if (!String(static_cast<std::uint16_t>(type & ~kVtVector), &at, &item)) return false;
        }
        *out = Join(items, L"; ");
        return true;
      }
      default:
        return false;
    }
  }

 private:
  // A counted string at `at`, which moves past it and its padding to four bytes.
  bool String(std::uint16_t type, std::size_t* at, std::wstring* out) const {
    if (*at + 4 > bytes_.size()) return false;
    const std::uint64_t count = LoadLe32(bytes_, *at);
    // Wide strings count characters, narrow ones bytes.
    const std::uint64_t length = type == kVtLpwstr ? count * 2 : count;
    if (length > bytes_.size() - *at - 4) return false;
    const std::string_view raw = bytes_.substr(*at + 4, static_cast<std::size_t>(length));
    *at += 4 + static_cast<std::size_t>((length + 3) & ~std::uint64_t{3});
    if (type == kVtLpwstr || codePage_ == 1200) {
      std::wstring text = FromUtf16LeBytes(raw);
      *out = text.substr(0, text.find(L'\0'));
    } else {
      const std::string_view narrow = raw.substr(0, raw.find('\0'));
      *out = codePage_ == 65001 ? FromUtf8(narrow) : FromWindows1252(narrow);
    }
    return true;
  }

  std::string_view bytes_;
  std::uint16_t codePage_;
};

void ReadSummaryInformation(std::string_view stream, DocumentProperties* props) {
  if (stream.size() < 28 || LoadLe16(stream, 0) != 0xFFFE) return;
  const std::uint32_t sets = std::min(LoadLe32(stream, 24), kMaxPropertySets);
  for (std::uint32_t i = 0; i < sets; ++i) {
    const std::size_t entry = 28 + std::size_t{i} * 20;
    if (entry + 20 > stream.size()) return;
    if (stream.substr(entry, 16) != kSummaryFormatId) continue;
    const std::size_t start = LoadLe32(stream, entry + 16);
    if (start > stream.size() || stream.size() - start < 8) return;
    // Offsets count from the start of the set; a set that claims more bytes than the stream
    // has ends with the stream.
    const std::string_view set = stream.substr(start, std::min<std::size_t>(LoadLe32(stream, start), stream.size() - start));
    if (set.size() < 8) return;
    const std::size_t count = std::min<std::size_t>(LoadLe32(set, 4), (set.size() - 8) / 8);
    std::uint16_t codePage = 1252;
    for (std::size_t k = 0; k < count; ++k) {
      const std::size_t at = LoadLe32(set, 8 + k * 8 + 4);
      if (LoadLe32(set, 8 + k * 8) == 1 && at + 6 <= set.size() && LoadLe16(set, at) == kVtI2) codePage = LoadLe16(set, at + 4);
    }
    const PropertySet values(set, codePage);
    for (std::size_t k = 0; k < count; ++k) {
      const std::uint32_t id = LoadLe32(set, 8 + k * 8);
      std::wstring text;
      if (id < props->byId.size() && IsDocumentProperty(static_cast<int>(id)) &&
          values.Text(LoadLe32(set, 8 + k * 8 + 4), &text)) {
        Store(props, static_cast<int>(id), std::move(text));
      }
    }
    return;
  }
}

DocumentProperties FromCompoundFile(ByteSource& source) {
  DocumentProperties props;
  CompoundFile file(source);
  std::string stream;
  if (file.Open() && file.ReadStream(L"\x05" L"SummaryInformation", kMaxPropertyStream, &stream)) {
    ReadSummaryInformation(stream, &props);
  }
  return props;
}

// --- XML metadata of OOXML and ODF packages

std::string_view TrimXmlSpace(std::string_view text) {
  auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && space(text.front())) text.remove_prefix(1);
  while (!text.empty() && space(text.back())) text.remove_suffix(1);
  return text;
}

// A count as decimal text; "" when the text is not a whole number.
std::wstring CountText(std::string_view text) {
  text = TrimXmlSpace(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  if (text.empty() || text.size() > 18) return L"";
  std::int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return L"";
    value = value * 10 + (c - '0');
  }
  return SignedText(negative ? -value : value);
}

void StoreXmlValue(DocumentProperties* props, int id, std::string_view text) {
  Store(props, id, IsCount(id) ? CountText(text) : FromUtf8(TrimXmlSpace(text)));
}

// Walks an XML part; `pick` names the property id of an element (0 for none) and may read
// the element's attributes; `done` receives the whole text of each picked element.
template <typename Pick, typename Done>
void ScanPart(std::string_view bytes, Pick pick, Done done) {
  const std::string xml = XmlAsUtf8(bytes);
  XmlScanner scanner(xml);
  XmlEvent event;
  int collecting = 0;
  std::size_t depth = 0;
  std::string text;
  while (scanner.Next(&event)) {
    if (collecting) {
      if (event.kind == XmlEvent::kText) {
        if (text.size() < kMaxXmlPart) text += event.text;
      } else if (event.kind == XmlEvent::kEnd && scanner.depth() < depth) {
        done(collecting, text);
        collecting = 0;
      }
    } else if (event.kind == XmlEvent::kStart) {
      collecting = pick(event, scanner);
      depth = scanner.depth();
      text.clear();
    }
  }
}

// Part names in a package compare without regard to ASCII case.
const ZipEntry* FindPart(const ZipReader& zip, std::string_view name) {
  if (const ZipEntry* exact = zip.Find(name)) return exact;
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (const ZipEntry& e : zip.entries()) {
    if (e.name.size() != name.size()) continue;
    bool same = true;
    for (std::size_t i = 0; i < name.size() && same; ++i) same = lower(e.name[i]) == lower(name[i]);
    if (same) return &e;
  }
  return nullptr;
}

bool ReadPart(ZipReader& zip, std::string_view name, std::string* out) {
  const ZipEntry* entry = FindPart(zip, name);
  return entry && zip.ReadEntry(*entry, kMaxXmlPart, out) == ZipError::kNone;
}

void ReadOoxmlCore(std::string_view xml, DocumentProperties* props) {
  ScanPart(
      xml,
      [](const XmlEvent& e, const XmlScanner&) {
        if (e.ns == kDublinCore) {
          if (e.local == "title") return int{kDocumentTitle};
          if (e.local == "subject") return int{kDocumentSubject};
          if (e.local == "creator") return int{kDocumentAuthor};
          if (e.local == "description") return int{kDocumentComments};
        } else if (e.ns == kCoreProperties) {
          if (e.local == "keywords") return int{kDocumentKeywords};
          if (e.local == "lastModifiedBy") return int{kDocumentLastSavedBy};
          if (e.local == "revision") return int{kDocumentRevision};
        }
        return 0;
      },
      [props](int id, std::string_view text) { StoreXmlValue(props, id, text); });
}

void ReadOoxmlApp(std::string_view xml, DocumentProperties* props) {
  ScanPart(
      xml,
      [](const XmlEvent& e, const XmlScanner& scanner) {
        if (scanner.depth() != 2 || (e.ns != kExtendedProperties && e.ns != kStrictExtendedProperties)) return 0;
        if (e.local == "Template") return int{kDocumentTemplate};
        if (e.local == "Pages") return int{kDocumentPageCount};
        if (e.local == "Words") return int{kDocumentWordCount};
        if (e.local == "Characters") return int{kDocumentCharacterCount};
        return 0;
      },
      [props](int id, std::string_view text) { StoreXmlValue(props, id, text); });
}

void ReadOdfMeta(std::string_view xml, DocumentProperties* props) {
  std::vector<std::wstring> keywords;
  std::wstring lastModifier;
  ScanPart(
      xml,
      [props](const XmlEvent& e, const XmlScanner& scanner) {
        if (e.ns == kDublinCore) {
          if (e.local == "title") return int{kDocumentTitle};
          if (e.local == "subject") return int{kDocumentSubject};
          if (e.local == "description") return int{kDocumentComments};
          // In ODF the creator is whoever saved last; the author is the initial creator.
          if (e.local == "creator") return int{kDocumentLastSavedBy};
        } else if (e.ns == kOdfMeta) {
          if (e.local == "initial-creator") return int{kDocumentAuthor};
          if (e.local == "keyword") return int{kDocumentKeywords};
          if (e.local == "editing-cycles") return int{kDocumentRevision};
          std::string value;
          if (e.local == "template" && scanner.Attribute(kXlink, "title", &value)) {
            StoreXmlValue(props, kDocumentTemplate, value);
          } else if (e.local == "document-statistic") {
            if (scanner.Attribute(kOdfMeta, "page-count", &value)) StoreXmlValue(props, kDocumentPageCount, value);
            if (scanner.Attribute(kOdfMeta, "word-count", &value)) StoreXmlValue(props, kDocumentWordCount, value);
            if (scanner.Attribute(kOdfMeta, "character-count", &value)) {
              StoreXmlValue(props, kDocumentCharacterCount, value);
            }
          }
        }
        return 0;
      },
      [&](int id, std::string_view text) {
        if (id == kDocumentKeywords) {
          const std::wstring word = FromUtf8(TrimXmlSpace(text));
          if (!word.empty() && keywords.size() < kMaxVectorItems) keywords.push_back(word);
        } else if (id == kDocumentRevision) {
          Store(props, id, CountText(text));  // editing cycles are a count
        } else {
          StoreXmlValue(props, id, text);
        }
      });
  Store(props, kDocumentKeywords, Join(keywords, L"; "));
  if (props->byId[kDocumentAuthor].empty()) props->byId[kDocumentAuthor] = props->byId[kDocumentLastSavedBy];
}

DocumentProperties FromPackage(ByteSource& source) {
  DocumentProperties props;
  ZipReader zip(source);
  if (zip.Open() != ZipError::kNone) return props;
  std::string part;
  const bool ooxml = FindPart(zip, "docProps/core.xml") || FindPart(zip, "docProps/app.xml");
  if (ooxml) {
    if (ReadPart(zip, "docProps/core.xml", &part)) ReadOoxmlCore(part, &props);
    if (ReadPart(zip, "docProps/app.xml", &part)) ReadOoxmlApp(part, &props);
  } else if (ReadPart(zip, "meta.xml", &part)) {
    ReadOdfMeta(part, &props);
  }
  return props;
}

}  // namespace

const std::wstring& DocumentProperties::Get(int propertyId) const {
  static const std::wstring kNone;
  return IsDocumentProperty(propertyId) ? byId[static_cast<std::size_t>(propertyId)] : kNone;
}

bool DocumentProperties::empty() const {
  for (const std::wstring& value : byId) {
    if (!value.empty()) return false;
  }
  return true;
}

DocumentProperties ReadDocumentProperties(ByteSource& source) {
  if (IsCompoundFile(source)) return FromCompoundFile(source);
  std::string magic;
  if (!source.Read(0, 1024, &magic) || magic.size() < 4) return {};
  if (magic.starts_with(std::string_view("PK\x03\x04", 4))) return FromPackage(source);
  DocumentProperties props;
  const bool picture = magic.starts_with("\xFF\xD8") || magic.starts_with(std::string_view("II*\0", 4)) ||
                       magic.starts_with(std::string_view("MM\0*", 4));
  if (picture) {
    const PictureSummary summary = ReadPictureSummary(source);
    Store(&props, kDocumentTitle, summary.title);
    Store(&props, kDocumentSubject, summary.subject);
    Store(&props, kDocumentAuthor, summary.author);
    Store(&props, kDocumentKeywords, summary.keywords);
    Store(&props, kDocumentComments, summary.comments);
  } else if (magic.find("%PDF-") != std::string::npos) {
    if (const std::optional<PdfInfo> info = ReadPdfInfo(source)) {
      Store(&props, kDocumentTitle, info->title);
      Store(&props, kDocumentSubject, info->subject);
      Store(&props, kDocumentAuthor, info->author);
      Store(&props, kDocumentKeywords, info->keywords);
    }
  }
  return props;
}

DocumentProperties Mp3DocumentProperties(const AudioProperties& audio) {
  DocumentProperties props;
  Store(&props, kDocumentTitle, audio.title);
  Store(&props, kDocumentAuthor, audio.artist);
  Store(&props, kDocumentComments, audio.comment);
  return props;
}

std::wstring DocumentFieldValue(const std::wstring& path, int propertyId) {
  if (!IsDocumentProperty(propertyId)) return L"";
  FileByteSource source;
  if (!source.Open(path)) return L"";
  // An MP3 cannot be told by its bytes alone; the system chooses its reader by the name too.
  if (HasMp3Name(path)) return Mp3DocumentProperties(ReadAudioProperties(source, false)).Get(propertyId);
  return ReadDocumentProperties(source).Get(propertyId);
}

}  // namespace ablagix
