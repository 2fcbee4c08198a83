#include "metadata/picture_properties.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "base/byte_order.h"
#include "base/text.h"
#include "metadata/exif_reader.h"
#include "metadata/xml_scanner.h"

namespace ablagix {
namespace {

// An XMP packet is a few kilobytes; this bound only stops hostile files.
constexpr std::size_t kMaxXmpBytes = 1u << 20;
constexpr std::size_t kMaxJpegSegments = 4096;
constexpr std::size_t kMaxXmpItems = 4096;

constexpr std::uint32_t kImageDescription = 270;
constexpr std::uint32_t kArtist = 315;
constexpr std::uint32_t kXmlPacket = 700;
constexpr std::uint32_t kUserComment = 37510;
constexpr std::uint32_t kXpTitle = 40091;
constexpr std::uint32_t kXpComment = 40092;
constexpr std::uint32_t kXpAuthor = 40093;
constexpr std::uint32_t kXpKeywords = 40094;
constexpr std::uint32_t kXpSubject = 40095;

constexpr std::string_view kXmpSignature{"http://ns.adobe.com/xap/1.0/\0", 29};
constexpr std::string_view kRdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr std::string_view kDublinCore = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view kXmpExif = "http://ns.adobe.com/exif/1.0/";
constexpr std::string_view kXmpTiff = "http://ns.adobe.com/tiff/1.0/";

std::wstring Trimmed(std::wstring_view text) {
  text = text.substr(0, text.find(L'\0'));
  return std::wstring(Trim(text));
}

const PropertyItem* Find(const std::vector<PropertyItem>& items, std::uint32_t id) {
  for (const PropertyItem& item : items) {
    if (item.id == id) return &item;
  }
  return nullptr;
}

// The XP fields hold UTF-16LE bytes, whatever the type says.
std::wstring XpText(const std::vector<PropertyItem>& items, std::uint32_t id) {
  const PropertyItem* item = Find(items, id);
  return item ? Trimmed(FromUtf16LeBytes(item->value)) : L"";
}

std::wstring AsciiText(const std::vector<PropertyItem>& items, std::uint32_t id) {
  const PropertyItem* item = Find(items, id);
  return item && item->type == kPropertyAscii ? Trimmed(PropertyRawText(*item)) : L"";
}

// UserComment: eight bytes naming the character set, then the text. Cameras often fill it
// with zeros or blanks, which is no comment.
std::wstring UserCommentText(const std::vector<PropertyItem>& items) {
  const PropertyItem* item = Find(items, kUserComment);
  if (!item || item->value.size() <= 8) return L"";
  const std::string_view code = std::string_view(item->value).substr(0, 8);
  const std::string_view text = std::string_view(item->value).substr(8);
  if (code == std::string_view("UNICODE\0", 8)) return Trimmed(FromUtf16LeBytes(text));
  if (code == std::string_view("ASCII\0\0\0", 8) || code == std::string(8, '\0')) {
    return Trimmed(FromWindows1252(text));
  }
  return L"";
}

// The properties of an XMP packet that the summary uses: each a list of texts (the items of
// an rdf:Alt, Seq or Bag, or the plain value).
struct Xmp {
  std::vector<std::wstring> title, creator, subject, description, userComment, artist;
};

Xmp ReadXmp(std::string_view packet) {
  Xmp xmp;
  const std::string xml = XmlAsUtf8(packet);
  XmlScanner scanner(xml);
  XmlEvent event;
  std::vector<std::wstring>* target = nullptr;  // the property being read
  std::size_t depth = 0;                         // its element's depth
  std::string value;
  bool inItem = false;
  auto finish = [&] {
    const std::wstring text = Trimmed(FromUtf8(value));
    if (target && !text.empty() && target->size() < kMaxXmpItems) target->push_back(text);
    value.clear();
  };
  while (scanner.Next(&event)) {
    if (!target) {
      if (event.kind != XmlEvent::kStart) continue;
      // Simple properties may also stand as attributes of the description.
      std::string attribute;
      if (event.ns == kRdf && event.local == "Description" && scanner.Attribute(kXmpTiff, "Artist", &attribute)) {
        const std::wstring text = Trimmed(FromUtf8(attribute));
        if (!text.empty()) xmp.artist.push_back(text);
      }
      if (event.ns == kDublinCore) {
        if (event.local == "title") target = &xmp.title;
        if (event.local == "creator") target = &xmp.creator;
        if (event.local == "subject") target = &xmp.subject;
        if (event.local == "description") target = &xmp.description;
      } else if (event.ns == kXmpExif && event.local == "UserComment") {
        target = &xmp.userComment;
      } else if (event.ns == kXmpTiff && event.local == "Artist") {
        target = &xmp.artist;
      }
      depth = scanner.depth();
      value.clear();
      inItem = false;
      continue;
    }
    if (event.kind == XmlEvent::kStart && event.ns == kRdf && event.local == "li") {
      inItem = true;
      value.clear();
    } else if (event.kind == XmlEvent::kText) {
      if (value.size() < kMaxXmpBytes) value += event.text;
    } else if (event.kind == XmlEvent::kEnd && inItem && event.ns == kRdf && event.local == "li") {
      finish();
      inItem = false;
    } else if (event.kind == XmlEvent::kEnd && scanner.depth() < depth) {
      finish();  // a plain value without list items
      target = nullptr;
    }
  }
  return xmp;
}

// The first text that is not empty.
std::wstring FirstOf(std::initializer_list<std::wstring> texts) {
  for (const std::wstring& text : texts) {
    if (!text.empty()) return text;
  }
  return L"";
}

std::wstring FirstItem(const std::vector<std::wstring>& items) { return items.empty() ? L"" : items.front(); }

}  // namespace

std::string PictureXmpPacket(ByteSource& source) {
  std::string head;
  if (!source.Read(0, 4, &head) || head.size() < 4) return {};
  if (head.compare(0, 4, "II*\0", 4) == 0 || head.compare(0, 4, "MM\0*", 4) == 0) {
    const std::vector<PropertyItem> items = ReadPropertyItems(source);
    const PropertyItem* packet = Find(items, kXmlPacket);
    return packet ? packet->value : std::string();
  }
  if (static_cast<unsigned char>(head[0]) != 0xFF || static_cast<unsigned char>(head[1]) != 0xD8) return {};
  std::uint64_t at = 2;
  for (std::size_t segments = 0; segments < kMaxJpegSegments; ++segments) {
    if (!source.Read(at, 4, &head) || head.size() < 2 || static_cast<unsigned char>(head[0]) != 0xFF) return {};
    const auto marker = static_cast<unsigned char>(head[1]);
    if (marker == 0xFF) {  // fill byte before the marker
      ++at;
      continue;
    }
    if (marker == 0xD9 || marker == 0xDA) return {};  // the pixels start: no more metadata
    if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
      at += 2;
      continue;
    }
    if (head.size() < 4) return {};
    const std::uint16_t length = LoadBe16(head, 2);
    if (length < 2) return {};
    if (marker == 0xE1 && length > 2 + kXmpSignature.size()) {
      std::string segment;
      if (source.Read(at + 4, length - 2u, &segment) && segment.starts_with(kXmpSignature)) {
        return segment.substr(kXmpSignature.size());
      }
    }
    at += 2u + length;
  }
  return {};
}

PictureSummary ReadPictureSummary(ByteSource& source) {
  PictureSummary summary;
  const std::vector<PropertyItem> items = ReadPropertyItems(source);
  const std::string packet = PictureXmpPacket(source);
  if (items.empty() && packet.empty()) return summary;
  const Xmp xmp = ReadXmp(packet);
  const std::wstring description = AsciiText(items, kImageDescription);
  const std::wstring userComment = UserCommentText(items);

  summary.title = FirstOf({XpText(items, kXpTitle), FirstItem(xmp.title), userComment, description,
                           FirstItem(xmp.description), FirstItem(xmp.userComment)});
  summary.subject = FirstOf({XpText(items, kXpSubject), description});
  summary.author = FirstOf({AsciiText(items, kArtist), Join(xmp.creator, L"; "), XpText(items, kXpAuthor),
                            FirstItem(xmp.artist)});
  summary.comments = FirstOf({XpText(items, kXpComment), userComment, FirstItem(xmp.userComment)});
  // Keywords are merged from both places, each once.
  std::vector<std::wstring> keywords = xmp.subject;
  for (const std::wstring& piece : Split(XpText(items, kXpKeywords), L';')) {
    const std::wstring word = Trimmed(piece);
    if (!word.empty()) keywords.push_back(word);
  }
  std::vector<std::wstring> unique;
  for (const std::wstring& word : keywords) {
    if (std::find(unique.begin(), unique.end(), word) == unique.end()) unique.push_back(word);
  }
  summary.keywords = Join(unique, L"; ");
  return summary;
}

}  // namespace ablagix
