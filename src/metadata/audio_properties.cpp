#include "metadata/audio_properties.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "base/byte_order.h"
#include "base/text.h"

namespace ablagix {
namespace {

// Bounds that keep a damaged or hostile file from costing more than a real one would.
constexpr std::uint64_t kMaxUnsyncTagBytes = 4u << 20;  // whole-tag unsynchronisation, decoded in memory
constexpr std::uint64_t kMaxFrameBytes = 1u << 20;      // larger text frames are skipped, not read
constexpr int kMaxFrames = 8192;
constexpr int kMaxStrings = 64;  // values of one text frame
constexpr int kMaxTagsInRow = 16;
constexpr std::uint64_t kMaxSyncSearch = 256u << 10;  // bytes searched for the first MPEG frame

// Sizes in ID3v2 headers keep the top bit of each byte clear, so they never look like an
// MPEG sync. False when a byte breaks that rule.
bool SyncSafe32(std::string_view b, std::size_t at, std::uint32_t* out) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    if (ByteAt(b, at + i) & 0x80) return false;
    value = (value << 7) | ByteAt(b, at + i);
  }
  *out = value;
  return true;
}

bool ReadExactly(ByteSource& source, std::uint64_t offset, std::uint64_t count, std::string* out) {
  if (offset > source.size() || count > source.size() - offset) return false;
  return source.Read(offset, static_cast<std::size_t>(count), out) && out->size() == count;
}

// Undoes unsynchronisation: every FF 00 was an FF.
std::string RemoveUnsync(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    if (ByteAt(bytes, i) == 0xFF && i + 1 < bytes.size() && bytes[i + 1] == '\0') ++i;
  }
  return out;
}

// The frames of an ID3v2 tag as the frame walker sees them: straight from the file, or,
// when the whole tag was unsynchronised, the decoded copy in memory.
class TagBytes {
 public:
  TagBytes(ByteSource& source, std::uint64_t base, std::uint64_t length)
      : source_(&source), base_(base), length_(length) {}
  explicit TagBytes(std::string decoded) : memory_(std::move(decoded)), length_(memory_.size()) {}

  std::uint64_t length() const { return length_; }
  bool Read(std::uint64_t offset, std::uint64_t count, std::string* out) {
    if (offset > length_ || count > length_ - offset) return false;
    if (!source_) {
      out->assign(memory_, static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
      return true;
    }
    return ReadExactly(*source_, base_ + offset, count, out);
  }

 private:
  ByteSource* source_ = nullptr;
  std::string memory_;
  std::uint64_t base_ = 0;
  std::uint64_t length_ = 0;
};

// --- Text in frames.

enum Encoding : unsigned { kLatin1 = 0, kUtf16Bom = 1, kUtf16Be = 2, kUtf8 = 3 };

// The bytes of one string up to its terminator (one zero byte, or a zero pair at an even
// position for UTF-16); `rest` moves past the terminator.
std::string_view TakeString(unsigned encoding, std::string_view* rest) {
  std::size_t end = std::string_view::npos;
  std::size_t skip = 1;
  if (encoding == kUtf16Bom || encoding == kUtf16Be) {
    skip = 2;
    for (std::size_t i = 0; i + 1 < rest->size(); i += 2) {
      if ((*rest)[i] == '\0' && (*rest)[i + 1] == '\0') {
        end = i;
        break;
      }
    }
  } else {
    end = rest->find('\0');
  }
  if (end == std::string_view::npos) {
    const std::string_view all = *rest;
    *rest = {};
    return all;
  }
  const std::string_view piece = rest->substr(0, end);
  rest->remove_prefix(end + skip);
  return piece;
}

// `bigEndian` carries the byte order from one string of a frame to the next that has no
// byte-order mark of its own.
std::wstring DecodeString(unsigned encoding, std::string_view raw, bool* bigEndian) {
  switch (encoding) {
    case kLatin1:
      // Windows writes its own code page into these frames and calls it Latin-1; the two
      // differ only in 80..9F, where Latin-1 has control characters no tag means.
      return FromWindows1252(raw);
    case kUtf8:
      if (raw.size() >= 3 && raw.substr(0, 3) == "\xEF\xBB\xBF") raw.remove_prefix(3);
      return FromUtf8(raw);
    default: {
      std::u16string units;
      units.reserve(raw.size() / 2);
      for (std::size_t i = 0; i + 1 < raw.size(); i += 2) {
        const auto unit = static_cast<char16_t>(*bigEndian ? (ByteAt(raw, i) << 8) | ByteAt(raw, i + 1)
                                                           : (ByteAt(raw, i + 1) << 8) | ByteAt(raw, i));
        if (unit == 0xFEFF) continue;
        if (unit == 0xFFFE) {  // a mark of the other order: the units so far were read wrongly
          *bigEndian = !*bigEndian;
          for (char16_t& u : units) u = static_cast<char16_t>((u << 8) | (u >> 8));
          continue;
        }
        units.push_back(unit);
      }
      return FromUtf16(units);
    }
  }
}

// The strings of a text body: the encoding byte, then strings separated by terminators
// (ID3v2.4 keeps several values in one frame that way). Empty values are dropped.
std::vector<std::wstring> TextStrings(std::string_view body) {
  std::vector<std::wstring> strings;
  if (body.empty() || ByteAt(body, 0) > kUtf8) return strings;
  const unsigned encoding = ByteAt(body, 0);
  std::string_view rest = body.substr(1);
  bool bigEndian = encoding == kUtf16Be;
  for (int n = 0; n < kMaxStrings && !rest.empty(); ++n) {
    std::wstring text(Trim(DecodeString(encoding, TakeString(encoding, &rest), &bigEndian)));
    if (!text.empty()) strings.push_back(std::move(text));
  }
  return strings;
}

// --- Values in their display forms.

std::wstring LeadingNumber(std::wstring_view text) {
  text = Trim(text);
  std::size_t digits = 0;
  while (digits < text.size() && digits < 9 && text[digits] >= L'0' && text[digits] <= L'9') ++digits;
  std::uint64_t value = 0;
  if (digits == 0 || !ParseWholeNumber(text.substr(0, digits), &value) || value == 0) return L"";
  return NumberText(value);
}

// "(13)", "(4)Eurodisco", "13", "Pop", "(RX)": numbered references by their names, a
// refinement after them as a value of its own, each name once.
std::wstring GenreText(const std::vector<std::wstring>& strings) {
  std::vector<std::wstring> names;
  auto add = [&names](std::wstring name) {
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
  };
  auto reference = [](std::wstring_view id) -> std::wstring {
    if (id == L"RX") return L"Remix";
    if (id == L"CR") return L"Cover";
    std::uint64_t number = 0;
    if (id.size() > 3 || !ParseWholeNumber(id, &number)) return L"";
    return GenreName(static_cast<int>(number));
  };
  for (std::wstring_view text : strings) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; })) {
      add(reference(text));
      continue;
    }
    if (text == L"RX" || text == L"CR") {
      add(reference(text));
      continue;
    }
    while (text.size() >= 2 && text[0] == L'(' && text[1] != L'(') {
      const std::size_t close = text.find(L')');
      if (close == std::wstring_view::npos) break;
      add(reference(text.substr(1, close - 1)));
      text.remove_prefix(close + 1);
    }
    // "((" stands for a refinement that itself begins with "(".
    if (text.size() >= 2 && text[0] == L'(' && text[1] == L'(') text.remove_prefix(1);
    add(std::wstring(Trim(text)));
  }
  return Join(names, L"; ");
}

constexpr std::array<std::wstring_view, 192> kGenres = {
    L"Blues", L"Classic Rock", L"Country", L"Dance", L"Disco", L"Funk", L"Grunge", L"Hip-Hop", L"Jazz",
    L"Metal", L"New Age", L"Oldies", L"Other", L"Pop", L"R&B", L"Rap", L"Reggae", L"Rock", L"Techno",
    L"Industrial", L"Alternative", L"Ska", L"Death Metal", L"Pranks", L"Soundtrack", L"Euro-Techno",
    L"Ambient", L"Trip-Hop", L"Vocal", L"Jazz+Funk", L"Fusion", L"Trance", L"Classical", L"Instrumental",
    L"Acid", L"House", L"Game", L"Sound Clip", L"Gospel", L"Noise", L"AlternRock", L"Bass", L"Soul",
    L"Punk", L"Space", L"Meditative", L"Instrumental Pop", L"Instrumental Rock", L"Ethnic", L"Gothic",
    L"Darkwave", L"Techno-Industrial", L"Electronic", L"Pop-Folk", L"Eurodance", L"Dream",
    L"Southern Rock", L"Comedy", L"Cult", L"Gangsta", L"Top 40", L"Christian Rap", L"Pop/Funk", L"Jungle",
    L"Native American", L"Cabaret", L"New Wave", L"Psychedelic", L"Rave", L"Showtunes", L"Trailer",
    L"Lo-Fi", L"Tribal", L"Acid Punk", L"Acid Jazz", L"Polka", L"Retro", L"Musical", L"Rock & Roll",
    L"Hard Rock", L"Folk", L"Folk-Rock", L"National Folk", L"Swing", L"Fast Fusion", L"Bebop", L"Latin",
    L"Revival", L"Celtic", L"Bluegrass", L"Avantgarde", L"Gothic Rock", L"Progressive Rock",
    L"Psychedelic Rock", L"Symphonic Rock", L"Slow Rock", L"Big Band", L"Chorus", L"Easy Listening",
    L"Acoustic", L"Humour", L"Speech", L"Chanson", L"Opera", L"Chamber Music", L"Sonata", L"Symphony",
    L"Booty Bass", L"Primus", L"Porn Groove", L"Satire", L"Slow Jam", L"Club", L"Tango", L"Samba",
    L"Folklore", L"Ballad", L"Power Ballad", L"Rhythmic Soul", L"Freestyle", L"Duet", L"Punk Rock",
    L"Drum Solo", L"A Cappella", L"Euro-House", L"Dance Hall", L"Goa", L"Drum & Bass", L"Club-House",
    L"Hardcore", L"Terror", L"Indie", L"BritPop", L"Afro-Punk", L"Polsk Punk", L"Beat",
    L"Christian Gangsta Rap", L"Heavy Metal", L"Black Metal", L"Crossover", L"Contemporary Christian",
    L"Christian Rock", L"Merengue", L"Salsa", L"Thrash Metal", L"Anime", L"JPop", L"Synthpop",
    L"Abstract", L"Art Rock", L"Baroque", L"Bhangra", L"Big Beat", L"Breakbeat", L"Chillout",
    L"Downtempo", L"Dub", L"EBM", L"Eclectic", L"Electro", L"Electroclash", L"Emo", L"Experimental",
    L"Garage", L"Global", L"IDM", L"Illbient", L"Industro-Goth", L"Jam Band", L"Krautrock", L"Leftfield",
    L"Lounge", L"Math Rock", L"New Romantic", L"Nu-Breakz", L"Post-Punk", L"Post-Rock", L"Psytrance",
    L"Shoegaze", L"Space Rock", L"Trop Rock", L"World Music", L"Neoclassical", L"Audiobook",
    L"Audio Theatre", L"Neue Deutsche Welle", L"Podcast", L"Indie Rock", L"G-Funk", L"Dubstep",
    L"Garage Rock", L"Psybient"};

void SetOnce(std::wstring* field, std::wstring value) {
  if (field->empty()) *field = std::move(value);
}

// --- ID3v2.

// What the walk keeps besides the plain text fields.
struct TagState {
  int commentRank = 3;  // 0 no description, 1 another description; iTunes' own data not at all
  bool ratingFromPlayer = false;
};

void HandleFrame(std::string_view id, std::string_view body, AudioProperties* p, TagState* state) {
  if (id == "COMM") {
    // Encoding, language, a description, then the text. Players store their own data as
    // comments with descriptions such as "iTunNORM"; those are not the user's comment.
    if (body.size() < 4 || ByteAt(body, 0) > kUtf8) return;
    const unsigned encoding = ByteAt(body, 0);
    std::string_view rest = body.substr(4);
    bool bigEndian = encoding == kUtf16Be;
    const std::wstring description = DecodeString(encoding, TakeString(encoding, &rest), &bigEndian);
    const int rank = description.empty() ? 0 : description.rfind(L"iTun", 0) == 0 ? 3 : 1;
    if (rank >= state->commentRank) return;
    std::wstring text(Trim(DecodeString(encoding, TakeString(encoding, &rest), &bigEndian)));
    if (text.empty()) return;
    p->comment = std::move(text);
    state->commentRank = rank;
    return;
  }
  if (id == "POPM") {
    // The e-mail of the rating's owner, then the rating. Windows keeps its stars under the
    // name of its media player; that one wins over other players' ratings.
    std::string_view rest = body;
    const std::string_view owner = TakeString(kLatin1, &rest);
    if (rest.empty()) return;
    const bool fromPlayer = owner == "Windows Media Player 9 Series";
    if (ByteAt(rest, 0) == 0 || (p->popularimeter != 0 && (state->ratingFromPlayer || !fromPlayer))) return;
    p->popularimeter = static_cast<int>(ByteAt(rest, 0));
    state->ratingFromPlayer = fromPlayer;
    return;
  }
  if (id.empty() || id[0] != 'T') return;
  const std::vector<std::wstring> strings = TextStrings(body);
  if (strings.empty()) return;
  if (id == "TCON") {
    SetOnce(&p->genre, GenreText(strings));
    return;
  }
  if (id == "TYER" || id == "TDRC" || id == "TRCK") {
    SetOnce(id == "TRCK" ? &p->trackNumber : &p->year, LeadingNumber(strings[0]));
    return;
  }
  std::wstring* field = id == "TIT2"   ? &p->title
                        : id == "TPE1" ? &p->artist
                        : id == "TALB" ? &p->album
                        : id == "TCOP" ? &p->copyright
                        : id == "TCOM" ? &p->composer
                        : id == "TENC" ? &p->encodedBy
                        : id == "TPUB" ? &p->publisher
                                       : nullptr;
  if (field) SetOnce(field, Join(strings, L"; "));
}

// ID3v2.2 names its frames with three letters.
std::string_view FourLetterId(std::string_view id) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 12> kIds = {{
      {"TT2", "TIT2"}, {"TP1", "TPE1"}, {"TAL", "TALB"}, {"TYE", "TYER"}, {"COM", "COMM"},
      {"TCO", "TCON"}, {"TCR", "TCOP"}, {"TRK", "TRCK"}, {"TCM", "TCOM"}, {"TEN", "TENC"},
      {"TPB", "TPUB"}, {"POP", "POPM"},
  }};
  if (id.size() == 4) return id;
  for (const auto& [three, four] : kIds) {
    if (three == id) return four;
  }
  return {};
}

bool WantedFrame(std::string_view id) {
  static constexpr std::array<std::string_view, 13> kWanted = {
      "TIT2", "TPE1", "TALB", "TYER", "TDRC", "COMM", "TCON", "TCOP", "TRCK", "TCOM", "TENC", "TPUB", "POPM"};
  return std::find(kWanted.begin(), kWanted.end(), id) != kWanted.end();
}

bool IsFrameId(std::string_view id) {
  return std::all_of(id.begin(), id.end(), [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

// True when a frame ending at `at` is followed by another frame, by padding or by the end.
bool FollowedWell(TagBytes& tag, std::uint64_t at) {
  if (at > tag.length()) return false;
  std::string next;
  if (tag.length() - at < 10 || !tag.Read(at, 4, &next)) return true;
  return next[0] == '\0' || IsFrameId(next);
}

void WalkFrames(TagBytes& tag, std::uint64_t pos, unsigned major, bool tagUnsync, AudioProperties* p) {
  const std::uint64_t headerSize = major == 2 ? 6 : 10;
  TagState state;
  std::string header;
  std::string data;
  for (int n = 0; n < kMaxFrames && pos <= tag.length() && tag.length() - pos >= headerSize; ++n) {
    if (!tag.Read(pos, headerSize, &header)) return;
    if (header[0] == '\0') return;  // padding
    const std::string_view rawId = std::string_view(header).substr(0, major == 2 ? 3 : 4);
    if (!IsFrameId(rawId)) return;
    std::uint64_t size = 0;
    if (major == 2) {
      size = LoadBe24(header, 3);
    } else if (major == 3) {
      size = LoadBe32(header, 4);
    } else {
      std::uint32_t safe = 0;
      size = LoadBe32(header, 4);
      // iTunes wrote plain sizes into version 2.4 tags; the size after which the next frame
      // follows is the one meant.
      if (SyncSafe32(header, 4, &safe) && (FollowedWell(tag, pos + headerSize + safe) ||
                                          !FollowedWell(tag, pos + headerSize + size))) {
        size = safe;
      }
    }
    const std::uint64_t dataAt = pos + headerSize;
    if (size > tag.length() - dataAt) return;
    pos = dataAt + size;
    const std::string_view id = FourLetterId(rawId);
    if (!WantedFrame(id) || size > kMaxFrameBytes || !tag.Read(dataAt, size, &data)) continue;
    std::string_view body = data;
    std::string decoded;
    if (major == 3) {
      const unsigned format = ByteAt(header, 9);
      if (format & 0xC0) continue;  // compressed or encrypted
      if (format & 0x20) body.remove_prefix(std::min<std::size_t>(1, body.size()));  // group
    } else if (major == 4) {
      const unsigned format = ByteAt(header, 9);
      if (format & 0x0C) continue;  // compressed or encrypted
      std::size_t extra = (format & 0x40 ? 1 : 0) + (format & 0x01 ? 4 : 0);  // group, data length
      body.remove_prefix(std::min(extra, body.size()));
      if ((format & 0x02) || tagUnsync) {
        decoded = RemoveUnsync(body);
        body = decoded;
      }
    }
    HandleFrame(id, body, p, &state);
  }
}

// Reads the ID3v2 tag at the start, if any, and returns where the audio begins: after it and
// after any further tags that follow it directly.
std::uint64_t ReadId3v2(ByteSource& source, AudioProperties* p) {
  std::uint64_t at = 0;
  std::string header;
  for (int n = 0; n < kMaxTagsInRow; ++n) {
    std::uint32_t size = 0;
    if (!ReadExactly(source, at, 10, &header) || header.compare(0, 3, "ID3") != 0 || !SyncSafe32(header, 6, &size)) {
      break;
    }
    const unsigned major = ByteAt(header, 3);
    const unsigned flags = ByteAt(header, 5);
    const std::uint64_t bodyAt = at + 10;
    const std::uint64_t end = bodyAt + size + (major == 4 && (flags & 0x10) ? 10 : 0);
    if (n == 0 && major >= 2 && major <= 4 && !(major == 2 && (flags & 0x40))) {
      const std::uint64_t available = std::min<std::uint64_t>(size, source.size() - std::min(source.size(), bodyAt));
      const bool unsync = flags & 0x80;
      std::string whole;
      TagBytes tag = unsync && major < 4
                         ? TagBytes(ReadExactly(source, bodyAt, std::min(available, kMaxUnsyncTagBytes), &whole)
                                        ? RemoveUnsync(whole)
                                        : std::string())
                         : TagBytes(source, bodyAt, available);
      std::uint64_t pos = 0;
      std::string extended;
      if (major >= 3 && (flags & 0x40) && tag.Read(0, 4, &extended)) {
        std::uint32_t extendedSize = 0;
        if (major == 3) {
          pos = 4 + std::uint64_t{LoadBe32(extended, 0)};
        } else if (SyncSafe32(extended, 0, &extendedSize) && extendedSize >= 6) {
          pos = extendedSize;
        } else {
          pos = tag.length() + 1;  // unreadable: no frames
        }
      }
      WalkFrames(tag, pos, major, unsync, p);
    }
    at = end;
  }
  return at;
}

// --- ID3v1 and the other tags at the end.

std::wstring V1Text(std::string_view field) {
  return std::wstring(Trim(FromWindows1252(field.substr(0, field.find('\0')))));
}

// Reads an ID3v1 tag into the fields still empty and returns where the audio ends: before
// it and before an APEv2 tag (which players such as MP3Gain put there).
std::uint64_t ReadEndTags(ByteSource& source, AudioProperties* p) {
  std::uint64_t end = source.size();
  std::string tag;
  if (ReadExactly(source, end - std::min<std::uint64_t>(end, 128), 128, &tag) && tag.compare(0, 3, "TAG") == 0) {
    end -= 128;
    const std::string_view v(tag);
    SetOnce(&p->title, V1Text(v.substr(3, 30)));
    SetOnce(&p->artist, V1Text(v.substr(33, 30)));
    SetOnce(&p->album, V1Text(v.substr(63, 30)));
    SetOnce(&p->year, LeadingNumber(V1Text(v.substr(93, 4))));
    // Version 1.1 gives the last two bytes of the comment to a zero and the track number.
    const bool v11 = v[125] == '\0' && v[126] != '\0';
    SetOnce(&p->comment, V1Text(v.substr(97, v11 ? 28 : 30)));
    if (v11) SetOnce(&p->trackNumber, NumberText(ByteAt(v, 126)));
    SetOnce(&p->genre, GenreName(static_cast<int>(ByteAt(v, 127))));
  }
  std::string footer;
  if (ReadExactly(source, end - std::min<std::uint64_t>(end, 32), 32, &footer) && footer.compare(0, 8, "APETAGEX") == 0) {
    const std::uint64_t length = std::uint64_t{LoadLe32(footer, 12)} + ((LoadLe32(footer, 20) & 0x80000000u) ? 32 : 0);
    if (length <= end) end -= length;
  }
  return end;
}

// --- MPEG audio frames.

struct FrameHeader {
  unsigned versionBits = 0;  // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
  unsigned layer = 0;        // 1..3
  unsigned bitRate = 0;      // kbit/s
  unsigned sampleRate = 0;
  unsigned samples = 0;  // per frame
  std::uint64_t length = 0;
  bool mono = false;
  bool crc = false;
};

bool ParseFrameHeader(std::uint32_t h, FrameHeader* f) {
  static constexpr unsigned kRates[3][15] = {
      {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // MPEG-1 layer I
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // MPEG-1 layer II
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // MPEG-1 layer III
  };
  static constexpr unsigned kRatesLow[2][15] = {
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},  // MPEG-2/2.5 layer I
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},       // layers II and III
  };
  static constexpr unsigned kSampleRates[3] = {44100, 48000, 32000};
  if ((h >> 21) != 0x7FF) return false;
  const unsigned version = (h >> 19) & 3;
  const unsigned layerBits = (h >> 17) & 3;
  const unsigned rateIndex = (h >> 12) & 15;
  const unsigned sampleIndex = (h >> 10) & 3;
  // Reserved values, and the free format, whose frames have no length to compute.
  if (version == 1 || layerBits == 0 || rateIndex == 0 || rateIndex == 15 || sampleIndex == 3 || (h & 3) == 2) {
    return false;
  }
  f->versionBits = version;
  f->layer = 4 - layerBits;
  const bool mpeg1 = version == 3;
  f->bitRate = mpeg1 ? kRates[f->layer - 1][rateIndex] : kRatesLow[f->layer == 1 ? 0 : 1][rateIndex];
  f->sampleRate = kSampleRates[sampleIndex] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
  f->samples = f->layer == 1 ? 384 : (f->layer == 3 && !mpeg1) ? 576 : 1152;
  const std::uint64_t padding = (h >> 9) & 1;
  f->length = f->layer == 1 ? (12000ull * f->bitRate / f->sampleRate + padding) * 4
                            : 125ull * f->samples * f->bitRate / f->sampleRate + padding;
  f->mono = ((h >> 6) & 3) == 3;
  f->crc = ((h >> 16) & 1) == 0;
  return true;
}

bool FrameAt(ByteSource& source, std::uint64_t at, FrameHeader* f) {
  std::string bytes;
  return ReadExactly(source, at, 4, &bytes) && ParseFrameHeader(LoadBe32(bytes, 0), f);
}

// Frame and byte counts of a Xing/Info or VBRI header in the first frame. `cbr` is set for
// "Info", which encoders write into constant-rate streams.
bool ReadVbrHeader(ByteSource& source, std::uint64_t at, const FrameHeader& f, std::uint32_t* frames,
                   std::uint32_t* bytes, bool* cbr) {
  if (f.layer != 3) return false;
  std::string b;
  if (!source.Read(at, 64, &b)) return false;
  const std::size_t side = f.versionBits == 3 ? (f.mono ? 17 : 32) : (f.mono ? 9 : 17);
  // Writers differ in whether the two check bytes count before the side information.
  for (std::size_t offset : {4 + side, 6 + side}) {
    if (offset == 6 + side && !f.crc) break;
    if (offset + 16 > b.size()) break;
    const std::string_view tag = std::string_view(b).substr(offset, 4);
    if (tag != "Xing" && tag != "Info") continue;
    const std::uint32_t flags = LoadBe32(b, offset + 4);
    std::size_t q = offset + 8;
    if (flags & 1) {
      *frames = LoadBe32(b, q);
      q += 4;
    }
    if ((flags & 2) && q + 4 <= b.size()) *bytes = LoadBe32(b, q);
    *cbr = tag == "Info";
    return true;
  }
  if (b.size() >= 36 + 18 && std::string_view(b).substr(36, 4) == "VBRI") {
    *bytes = LoadBe32(b, 36 + 10);
    *frames = LoadBe32(b, 36 + 14);
    return true;
  }
  return false;
}

void ReadStream(ByteSource& source, std::uint64_t start, std::uint64_t end, AudioProperties* p) {
  if (start >= end) return;
  const std::uint64_t limit = std::min(end, start + kMaxSyncSearch);
  std::string two;
  for (std::uint64_t at = start; at + 4 <= limit; ++at) {
    if (!ReadExactly(source, at, 2, &two)) return;
    if (ByteAt(two, 0) != 0xFF || (ByteAt(two, 1) & 0xE0) != 0xE0) continue;
    FrameHeader f;
    if (!FrameAt(source, at, &f)) continue;
    // One sync pattern is easily met by chance in other data; the next frame must follow
    // with the same stream properties, unless the first one fills the rest.
    FrameHeader next;
    const std::uint64_t nextAt = at + f.length;
    if (nextAt + 4 <= end && (!FrameAt(source, nextAt, &next) || next.versionBits != f.versionBits ||
                              next.layer != f.layer || next.sampleRate != f.sampleRate)) {
      continue;
    }
    const std::uint64_t audioBytes = end - at;
    std::uint32_t frames = 0;
    std::uint32_t bytes = 0;
    bool cbr = false;
    p->sampleRate = f.sampleRate;
    if (ReadVbrHeader(source, at, f, &frames, &bytes, &cbr) && frames > 0) {
      p->durationMs = std::uint64_t{frames} * f.samples * 1000 / f.sampleRate;
      const std::uint64_t streamBytes = bytes ? bytes : audioBytes;
      if (cbr || p->durationMs == 0) {
        p->bitRate = f.bitRate;
      } else {
        // Bits per millisecond are kilobits per second.
        p->bitRate = static_cast<unsigned>(std::min<std::uint64_t>(
            (streamBytes * 8 + p->durationMs / 2) / p->durationMs, 0xFFFFFFFFu));
        p->variableBitRate = true;
      }
    } else {
      p->bitRate = f.bitRate;
      p->durationMs = audioBytes * 8 / f.bitRate;
    }
    return;
  }
}

}  // namespace

bool HasMp3Name(std::wstring_view path) {
  return path.size() >= 4 && ToLowerText(path.substr(path.size() - 4)) == L".mp3";
}

AudioProperties ReadAudioProperties(ByteSource& source, bool withStream) {
  ReadAheadByteSource ahead(source);
  AudioProperties p;
  const std::uint64_t start = ReadId3v2(ahead, &p);
  const std::uint64_t end = ReadEndTags(ahead, &p);
  if (withStream) ReadStream(ahead, start, end, &p);
  return p;
}

std::wstring AudioFieldText(const AudioProperties& p, int field) {
  switch (field) {
    case kAudioTitle: return p.title;
    case kAudioArtist: return p.artist;
    case kAudioAlbum: return p.album;
    case kAudioYear: return p.year;
    case kAudioComment: return p.comment;
    case kAudioGenre: return p.genre;
    case kAudioDuration: return p.sampleRate ? DurationText(p.durationMs) : L"";
    case kAudioBitRate: return BitRateText(p.bitRate);
    case kAudioRating: return RatingText(p.popularimeter);
    case kAudioCopyright: return p.copyright;
    case kAudioTrackNumber: return p.trackNumber;
    case kAudioComposer: return p.composer;
    case kAudioEncodedBy: return p.encodedBy;
    case kAudioPublisher: return p.publisher;
    default: return L"";
  }
}

std::wstring AudioFieldValue(const std::wstring& path, int field) {
  if (field < 0 || field >= kAudioFieldCount || field == kAudioTrack || !HasMp3Name(path)) return L"";
  FileByteSource file;
  if (!file.Open(path)) return L"";
  const bool stream = field == kAudioDuration || field == kAudioBitRate;
  return AudioFieldText(ReadAudioProperties(file, stream), field);
}

std::wstring DurationText(std::uint64_t milliseconds) {
  const std::uint64_t seconds = milliseconds / 1000;
  auto two = [](std::uint64_t n) { return (n < 10 ? L"0" : L"") + NumberText(n); };
  return two(seconds / 3600) + L":" + two(seconds / 60 % 60) + L":" + two(seconds % 60);
}

std::wstring BitRateText(unsigned kbitPerSecond) {
  return kbitPerSecond ? NumberText(kbitPerSecond) + L" kBit/s" : L"";
}

std::wstring RatingText(int popularimeter) {
  // The ranges Windows reads back from the values it writes itself (1, 64, 128, 196, 255).
  if (popularimeter <= 0) return L"";
  const int stars = popularimeter < 32 ? 1 : popularimeter < 96 ? 2 : popularimeter < 160 ? 3 : popularimeter < 224 ? 4 : 5;
  return stars == 1 ? L"1 Stern" : NumberText(static_cast<unsigned>(stars)) + L" Sterne";
}

std::wstring GenreName(int number) {
  if (number < 0 || number >= static_cast<int>(kGenres.size())) return L"";
  return std::wstring(kGenres[static_cast<std::size_t>(number)]);
}

}  // namespace ablagix
