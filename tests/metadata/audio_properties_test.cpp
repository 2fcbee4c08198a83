#include "metadata/audio_properties.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::TempDir;
using test::WriteBytes;

std::string Big32(std::uint32_t v) {
  return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}
std::string SyncSafe(std::uint32_t v) {
  return {static_cast<char>((v >> 21) & 0x7F), static_cast<char>((v >> 14) & 0x7F), static_cast<char>((v >> 7) & 0x7F),
          static_cast<char>(v & 0x7F)};
}

// Text bodies: the encoding byte, then the strings, each ended by its terminator.
std::string Latin1(const std::string& text) { return '\0' + text; }
std::string Utf16Bom(std::wstring_view text) { return '\1' + ToUtf16LeBytes(text, true) + std::string(2, '\0'); }
std::string Utf16Be(std::wstring_view text) {
  std::string le = ToUtf16LeBytes(text, false);
  for (std::size_t i = 0; i + 1 < le.size(); i += 2) std::swap(le[i], le[i + 1]);
  return '\2' + le + std::string(2, '\0');
}
std::string Utf8(std::wstring_view text) { return '\3' + ToUtf8(text); }

// A frame of a tag of version `major`; `format` is the second flag byte.
std::string Frame(int major, const std::string& id, const std::string& body, unsigned char format = 0) {
  const auto size = static_cast<std::uint32_t>(body.size());
  if (major == 2) return id + Big32(size).substr(1) + body;
  return id + (major == 4 ? SyncSafe(size) : Big32(size)) + '\0' + static_cast<char>(format) + body;
}

std::string Tag(int major, unsigned char flags, const std::string& frames, std::size_t padding = 16) {
  const std::string body = frames + std::string(padding, '\0');
  return "ID3" + std::string{static_cast<char>(major), '\0', static_cast<char>(flags)} +
         SyncSafe(static_cast<std::uint32_t>(body.size())) + body;
}

// Every FF followed by a byte that could start a sync (or by zero) gets a zero after it.
std::string Unsync(const std::string& bytes) {
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out.push_back(bytes[i]);
    const bool ff = static_cast<unsigned char>(bytes[i]) == 0xFF;
    if (ff && (i + 1 == bytes.size() || static_cast<unsigned char>(bytes[i + 1]) >= 0xE0 || bytes[i + 1] == '\0')) {
      out.push_back('\0');
    }
  }
  return out;
}

// MPEG-1 layer III, 128 kbit/s, 44100 Hz: 417 bytes a frame.
constexpr std::uint32_t kCbrHeader = 0xFFFB9000;
std::string Frames(std::uint32_t header, std::size_t length, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += Big32(header) + std::string(length - 4, '\0');
  return out;
}

// ID3v1.1 when `track` is not zero: the comment then gives up its last two bytes.
std::string Id3v1(const std::string& title, const std::string& artist, const std::string& comment, char track,
                  unsigned char genre) {
  auto field = [](const std::string& text, std::size_t size) { return (text + std::string(size, '\0')).substr(0, size); };
  return "TAG" + field(title, 30) + field(artist, 30) + field("Album 1", 30) + "1999" +
         (track ? field(comment, 28) + '\0' + track : field(comment, 30)) + static_cast<char>(genre);
}

// A comment in UTF-16 with its language and description.
std::string Comment(const std::wstring& description, const std::wstring& text) {
  return "\1deu" + ToUtf16LeBytes(description, true) + std::string(2, '\0') + ToUtf16LeBytes(text, true) +
         std::string(2, '\0');
}

std::vector<std::wstring> AllFields(const AudioProperties& p) {
  std::vector<std::wstring> fields;
  for (int i = 0; i < kAudioFieldCount; ++i) fields.push_back(AudioFieldText(p, i));
  return fields;
}

AudioProperties Read(const std::string& bytes) {
  MemoryByteSource source(bytes);
  return ReadAudioProperties(source);
}

std::string V23Frames() {
  // Player data first: a comment with an iTunes description must not win over the user's.
  return Frame(3, "COMM", Comment(L"iTunNORM", L" 00000A 00000B")) +
         Frame(3, "TIT2", Utf16Bom(L"Gr\u00fc\u00dfe aus K\u00f6ln")) + Frame(3, "TPE1", Utf16Bom(L"Die \u00c4rzte")) +
         Frame(3, "TALB", Latin1("Caf\xe9 \x80")) + Frame(3, "TYER", Latin1("2019")) +
         Frame(3, "APIC", std::string(3000, '\xFF')) +
         Frame(3, "COMM", Comment(L"", L"Sch\u00f6n")) + Frame(3, "COMM", Comment(L"Notiz", L"nicht diese")) +
         Frame(3, "TCON", Latin1("(13)")) + Frame(3, "TRCK", Latin1("03/12")) + Frame(3, "TCOP", Latin1("(c) 2019 Label")) +
         Frame(3, "TCOM", Latin1("Bach/Busoni")) + Frame(3, "TENC", Latin1("LAME")) +
         // A group byte in front of the text.
         Frame(3, "TPUB", std::string("\x05") + Latin1("Verlag"), 0x20) +
         Frame(3, "POPM", std::string("someone@example.org\0\x01", 21)) +
         Frame(3, "POPM", std::string("Windows Media Player 9 Series\0\xC4\0\0\0\0", 35));
}

TEST(AudioPropertiesTest, Id3v23WithUtf16FramesAndConstantBitRate) {
  const std::vector<std::wstring> expected = {
      L"Gr\u00fc\u00dfe aus K\u00f6ln", L"Die \u00c4rzte", L"Caf\u00e9 \u20ac", L"2019", L"Sch\u00f6n", L"Pop",
      L"00:01:01", L"128 kBit/s", L"4 Sterne", L"(c) 2019 Label", L"", L"3", L"Bach/Busoni", L"LAME", L"Verlag"};
  // 61 seconds of 128 kbit/s; only the first two frames need to be real ones.
  const std::string audio = Frames(kCbrHeader, 417, 2) + std::string(976000 - 834, '\0');
  // The same tag plain and with the whole tag unsynchronised (the APIC bytes and the byte
  // order marks then carry inserted zeros).
  for (bool unsync : {false, true}) {
    const std::string frames = V23Frames();
    const std::string tag = unsync ? Tag(3, 0x80, Unsync(frames)) : Tag(3, 0, frames);
    EXPECT_EQ(AllFields(Read(tag + audio)), expected) << unsync;
  }
}

TEST(AudioPropertiesTest, Id3v24WithUtf8UnsynchronisedFramesAndXingHeader) {
  // A frame of more than 127 bytes, whose safe size differs from a plain one.
  std::string frames =
      Frame(4, "APIC", std::string(300, 'x')) + Frame(4, "TIT2", Utf8(L"\u00dcber den Wolken")) + Frame(4, "TDRC", Utf8(L"2021-05-04T10:00")) +
      Frame(4, "TCON", Utf8(L"13") + std::string(1, '\0') + "Eigenes") +
      Frame(4, "TCOM", Utf8(L"Anna") + std::string(1, '\0') + "Ben" + std::string(1, '\0')) +
      Frame(4, "COMM", Utf8(L"").insert(1, "deu") + std::string(1, '\0') + "Kommentar") +
      Frame(4, "TRCK", Utf8(L"7"));
  // Unsynchronised frames with a data length indicator in front: UTF-16BE "ÿ" is 00 FF and
  // the byte-order mark FF FE, both of which need an inserted zero.
  const std::string artist = Unsync(Utf16Be(L"\u00ffa"));
  frames += "TPE1" + SyncSafe(static_cast<std::uint32_t>(artist.size() + 4)) + std::string("\0\x03", 2) +
            SyncSafe(static_cast<std::uint32_t>(Utf16Be(L"\u00ffa").size())) + artist;
  const std::string publisher = Unsync(Utf16Bom(L"Label"));
  frames += "TPUB" + SyncSafe(static_cast<std::uint32_t>(publisher.size())) + std::string("\0\x02", 2) + publisher;
  // iTunes wrote plain sizes into version 2.4 tags: 256 read as a safe size would be 128.
  frames += "TALB" + Big32(256) + std::string(2, '\0') + '\0' + std::string(255, 'a');
  const std::string extended = SyncSafe(6) + std::string("\x01\x00", 2);
  const std::string tag = Tag(4, 0xC0, extended + frames);

  // A Xing header after the side information: 8614 frames of 1152 samples at 44100 Hz are
  // 225,01 seconds; 5400000 bytes in them average 192 kbit/s.
  std::string xing = Frames(kCbrHeader, 417, 2);
  xing.replace(4 + 32, 16, "Xing" + Big32(3) + Big32(8614) + Big32(5400000));
  const AudioProperties p = Read(tag + std::string(100, '\0') + xing);
  EXPECT_EQ(AllFields(p), (std::vector<std::wstring>{L"\u00dcber den Wolken", L"\u00ffa", std::wstring(255, L'a'),
                                                     L"2021", L"Kommentar", L"Pop; Eigenes", L"00:03:45", L"192 kBit/s",
                                                     L"", L"", L"", L"7", L"Anna; Ben", L"", L"Label"}));
  EXPECT_TRUE(p.variableBitRate);

  // "Info" is the same header in a constant-rate stream: the frame's own rate counts.
  xing.replace(4 + 32, 4, "Info");
  const AudioProperties info = Read(xing);
  EXPECT_EQ(AudioFieldText(info, kAudioBitRate), L"128 kBit/s");
  EXPECT_EQ(AudioFieldText(info, kAudioDuration), L"00:03:45");
  EXPECT_FALSE(info.variableBitRate);

  // VBRI, 32 bytes after the header whatever the channels.
  std::string vbri = Frames(kCbrHeader, 417, 2);
  vbri.replace(36, 18, "VBRI" + std::string(6, '\0') + Big32(2400000) + Big32(4307));
  const AudioProperties fraunhofer = Read(vbri);
  EXPECT_EQ(AudioFieldText(fraunhofer, kAudioDuration), L"00:01:52");
  EXPECT_EQ(AudioFieldText(fraunhofer, kAudioBitRate), L"171 kBit/s");
}

TEST(AudioPropertiesTest, Id3v1AloneAndAsFallback) {
  const std::string v1 = Id3v1("Alter Titel", "Interpret \x80", "Kommentar", '\x05', 17);
  AudioProperties p = Read(v1);
  EXPECT_EQ(AllFields(p), (std::vector<std::wstring>{L"Alter Titel", L"Interpret \u20ac", L"Album 1", L"1999",
                                                     L"Kommentar", L"Rock", L"", L"", L"", L"", L"", L"5", L"", L"",
                                                     L""}));
  // Version 1.0 has no track; an unknown genre number has no name.
  p = Read(Id3v1("T", "A", std::string(30, 'c'), '\0', 200));
  EXPECT_EQ(p.trackNumber, L"");
  EXPECT_EQ(p.comment, std::wstring(30, L'c'));
  EXPECT_EQ(p.genre, L"");
  EXPECT_EQ(Read(Id3v1("T", "A", "kurz", '\0', 0)).trackNumber, L"");

  // ID3v2.2 wins where it has a value; ID3v1 fills the rest. The 128 bytes at the end are
  // not audio.
  const std::string v22 = Frame(2, "TT2", Latin1("Neuer Titel")) + Frame(2, "TCO", Latin1("(4)Eurodisco")) +
                          Frame(2, "COM", std::string("\0eng\0v2", 7)) +
                          Frame(2, "POP", std::string("x\0\xFF", 3));
  p = Read(Tag(2, 0, v22) + Frames(kCbrHeader, 417, 2) + std::string(16000 - 834, '\0') + v1);
  EXPECT_EQ(p.title, L"Neuer Titel");
  EXPECT_EQ(p.artist, L"Interpret \u20ac");
  EXPECT_EQ(p.genre, L"Disco; Eurodisco");
  EXPECT_EQ(p.comment, L"v2");
  EXPECT_EQ(AudioFieldText(p, kAudioRating), L"5 Sterne");
  EXPECT_EQ(AudioFieldText(p, kAudioDuration), L"00:00:01");
}

TEST(AudioPropertiesTest, FrameHeadersOfEachVersionAndLayer) {
  struct Case {
    std::uint32_t header;
    std::size_t length;  // worked out by hand from the rate tables
    unsigned bitRate;
    unsigned sampleRate;
  };
  const Case cases[] = {
      {0xFFFB9000, 417, 128, 44100},  // MPEG-1 layer III
      {0xFFFB9200, 418, 128, 44100},  // the same with a padding byte
      {0xFFF38000, 208, 64, 22050},   // MPEG-2 layer III
      {0xFFE31800, 72, 8, 8000},      // MPEG-2.5 layer III
      {0xFFFDA400, 576, 192, 48000},  // MPEG-1 layer II
      {0xFFFF1800, 48, 32, 32000},    // MPEG-1 layer I
  };
  for (const Case& c : cases) {
    // Junk in front with a sync pattern that no second frame follows.
    const std::string bytes = Big32(c.header) + "junk" + Frames(c.header, c.length, 3);
    const AudioProperties p = Read(bytes);
    EXPECT_EQ(p.bitRate, c.bitRate) << std::hex << c.header;
    EXPECT_EQ(p.sampleRate, c.sampleRate) << std::hex << c.header;
    EXPECT_EQ(p.durationMs, std::uint64_t{c.length} * 3 * 8 / c.bitRate) << std::hex << c.header;
  }
  // Reserved versions, layers, rates and the free format are no frames.
  for (std::uint32_t bad : {0xFFEB9000u, 0xFFF99000u, 0xFFFBF000u, 0xFFFB0000u, 0xFFFB9C00u, 0xFFFB9002u}) {
    EXPECT_EQ(Read(Frames(bad, 417, 3)).sampleRate, 0u) << std::hex << bad;
  }
}

TEST(AudioPropertiesTest, FileNamesAndFieldNumbers) {
  TempDir dir;
  const std::string bytes = Tag(3, 0, V23Frames()) + Frames(kCbrHeader, 417, 40);
  ASSERT_TRUE(WriteBytes(dir / L"Lied.MP3", bytes));
  ASSERT_TRUE(WriteBytes(dir / L"Lied.wav", bytes));
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", kAudioArtist), L"Die \u00c4rzte");
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", kAudioBitRate), L"128 kBit/s");
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", kAudioTrackNumber), L"3");
  // The track name of the path variables is field 10, which stays empty on purpose.
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", kAudioTrack), L"");
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", 15), L"");
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.MP3", -1), L"");
  EXPECT_EQ(AudioFieldValue(dir / L"Lied.wav", kAudioYear), L"");
  EXPECT_EQ(AudioFieldValue(dir / L"fehlt.mp3", kAudioYear), L"");
  EXPECT_EQ(AudioFieldValue(L"mp3", kAudioYear), L"");
}

TEST(AudioPropertiesTest, DisplayForms) {
  EXPECT_EQ(DurationText(0), L"00:00:00");
  EXPECT_EQ(DurationText(3723999), L"01:02:03");
  EXPECT_EQ(DurationText(360000000), L"100:00:00");
  EXPECT_EQ(BitRateText(0), L"");
  EXPECT_EQ(RatingText(0), L"");
  // Windows writes 1, 64, 128, 196 and 255 for one to five stars.
  EXPECT_EQ(RatingText(1), L"1 Stern");
  EXPECT_EQ(RatingText(64), L"2 Sterne");
  EXPECT_EQ(RatingText(128), L"3 Sterne");
  EXPECT_EQ(RatingText(223), L"4 Sterne");
  EXPECT_EQ(RatingText(224), L"5 Sterne");
  EXPECT_EQ(GenreName(191), L"Psybient");
  EXPECT_EQ(GenreName(192), L"");
  auto genre = [](const std::string& text) { return Read(Tag(3, 0, Frame(3, "TCON", Latin1(text)))).genre; };
  EXPECT_EQ(genre("(21)Ska"), L"Ska");
  EXPECT_EQ(genre("(RX)(CR)(17)"), L"Remix; Cover; Rock");
  EXPECT_EQ(genre("((Klammer)"), L"(Klammer)");
  EXPECT_EQ(genre("(999)"), L"");
  EXPECT_EQ(genre("Rock"), L"Rock");
}

TEST(AudioPropertiesTest, DamagedFilesNeverCrash) {
  const std::string sample = Tag(4, 0x80, Frame(4, "TIT2", Utf16Bom(L"Titel"), 0x03) +
                                             Frame(4, "COMM", Utf8(L"").insert(1, "deu") + '\0' + "x")) +
                             Frames(kCbrHeader, 417, 2).replace(36, 16, "Xing" + Big32(3) + Big32(9) + Big32(900)) +
                             Id3v1("T", "A", "C", 1, 2);
  for (std::size_t n = 0; n < sample.size(); ++n) {
    (void)AllFields(Read(sample.substr(0, n)));
  }
  for (std::size_t at = 0; at < sample.size(); ++at) {
    for (char value : {'\0', '\x7f', '\x80', '\xff'}) {
      std::string damaged = sample;
      damaged[at] = value;
      (void)AllFields(Read(damaged));
    }
  }
  // A tag larger than the file, a frame larger than its tag, a size that is not safe.
  EXPECT_EQ(Read(Tag(3, 0, Frame(3, "TIT2", Latin1("abc"))).substr(0, 20)).title, L"");
  EXPECT_EQ(Read(std::string("ID3\x03\x00\x00", 6) + SyncSafe(20) + "TIT2" + Big32(100) + std::string(2, '\0') + "\0abc").title, L"");
  EXPECT_EQ(Read(std::string("ID3\x03\x00\x00\x00\x00\x00\xFF", 10) + Frame(3, "TIT2", Latin1("abc"))).title, L"");
  EXPECT_EQ(AllFields(Read("")), std::vector<std::wstring>(kAudioFieldCount));
}

}  // namespace
}  // namespace ablagix
