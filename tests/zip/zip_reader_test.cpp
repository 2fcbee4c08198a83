#include "zip/zip_reader.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "base/text.h"
#include "zip/zip_maker.h"

namespace ablagix {

void PrintTo(ZipError error, std::ostream* os) { *os << ToUtf8(ZipErrorText(error)); }

namespace {

using test::Le16;
using test::Le32;
using test::ZipMaker;

std::string Text(std::size_t size) {
  std::string text;
  for (std::size_t i = 0; text.size() < size; ++i) text += "Zeile " + std::to_string(i * 7919 % 100003) + "\n";
  text.resize(size);
  return text;
}

// All entries of an archive read back, or the first error.
ZipError ReadAll(std::string_view archive, std::vector<std::string>* contents = nullptr) {
  MemoryByteSource source(archive);
  ZipReader zip(source);
  if (ZipError e = zip.Open(); e != ZipError::kNone) return e;
  for (const ZipEntry& entry : zip.entries()) {
    std::string data;
    if (ZipError e = zip.ReadEntry(entry, 1u << 24, &data); e != ZipError::kNone) return e;
    if (contents) contents->push_back(data);
  }
  return ZipError::kNone;
}

// Bytes at a few places of a huge file and zeros elsewhere, so that offsets beyond 4 GiB can
// be read without 4 GiB of memory.
class SparseSource : public ByteSource {
 public:
  SparseSource(std::uint64_t at, std::string tail) : at_(at), tail_(std::move(tail)) {}
  std::uint64_t size() const override { return at_ + tail_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override {
    out->clear();
    for (std::uint64_t i = offset; i < size() && out->size() < count; ++i) {
      out->push_back(i < at_ ? '\0' : tail_[static_cast<std::size_t>(i - at_)]);
    }
    return true;
  }

 private:
  std::uint64_t at_;
  std::string tail_;
};

TEST(ZipReader, ReadsStoredAndDeflatedEntriesWithTheirNames) {
  const std::string report = Text(300000);  // several inflate rounds
  ZipMaker maker;
  maker.comment = "Archivkommentar";
  maker.Add("mimetype", "application/vnd.oasis.opendocument.text");
  maker.Add("Ordner/", "");
  maker.Add("Ordner/Bericht.txt", report, true);
  maker.Add("Leer.txt", "", true);
  ZipMaker::Entry dos;
  dos.name = "\x8Erger.txt";  // code page 437, no UTF-8 flag
  dos.flags = 0;
  dos.data = "alt";
  maker.Add(dos);
  maker.Add("\xC3\x9C" "bersicht.txt", "neu");
  const std::string archive = maker.Make();

  MemoryByteSource source(archive);
  ZipReader zip(source);
  ASSERT_EQ(zip.Open(), ZipError::kNone);
  EXPECT_EQ(zip.comment(), "Archivkommentar");
  EXPECT_FALSE(zip.isZip64());
  ASSERT_EQ(zip.entries().size(), 6u);
  EXPECT_TRUE(zip.entries()[1].isDirectory());
  EXPECT_EQ(zip.entries()[4].name, "\xC3\x84rger.txt");
  EXPECT_EQ(zip.entries()[4].rawName, "\x8Erger.txt");

  std::string data;
  EXPECT_EQ(zip.ReadEntry("Ordner/Bericht.txt", report.size(), &data), ZipError::kNone);
  EXPECT_EQ(data, report);
  EXPECT_EQ(zip.ReadEntry("mimetype", 100, &data), ZipError::kNone);
  EXPECT_EQ(data, "application/vnd.oasis.opendocument.text");
  EXPECT_EQ(zip.ReadEntry("Leer.txt", 0, &data), ZipError::kNone);
  EXPECT_EQ(zip.ReadEntry("\xC3\x84rger.txt", 10, &data), ZipError::kNone);
  EXPECT_EQ(data, "alt");
  EXPECT_EQ(zip.ReadEntry("\xC3\x9C" "bersicht.txt", 10, &data), ZipError::kNone);
  EXPECT_EQ(data, "neu");
  // Names compare as stored.
  EXPECT_EQ(zip.ReadEntry("ordner/bericht.txt", 1u << 20, &data), ZipError::kNotFound);

  // A caller that has seen enough stops the entry early.
  std::size_t seen = 0;
  EXPECT_EQ(zip.ReadEntry(*zip.Find("Ordner/Bericht.txt"), report.size(),
                          [&](std::string_view piece) {
                            seen += piece.size();
                            return false;
                          }),
            ZipError::kStopped);
  EXPECT_GT(seen, 0u);
  EXPECT_LT(seen, report.size());
}

TEST(ZipReader, ReadsZip64AndArchivesBehindOtherBytes) {
  ZipMaker maker;
  ZipMaker::Entry wide;
  wide.name = "gross.bin";
  wide.data = Text(5000);
  wide.method = 8;
  wide.zip64 = true;
  maker.Add(wide);
  maker.Add("klein.txt", "klein");
  std::vector<std::string> contents;
  ASSERT_EQ(ReadAll(maker.Make(), &contents), ZipError::kNone);
  EXPECT_EQ(contents, (std::vector<std::string>{wide.data, "klein"}));

  // An entry that lies beyond 4 GiB.
  maker.placedAt = (5ull << 30) + 3;
  SparseSource far(maker.placedAt, maker.Make());
  ZipReader zip(far);
  ASSERT_EQ(zip.Open(), ZipError::kNone);
  EXPECT_TRUE(zip.isZip64());
  EXPECT_EQ(zip.entries()[0].localHeaderOffset, maker.placedAt);
  std::string data;
  EXPECT_EQ(zip.ReadEntry("gross.bin", 1u << 20, &data), ZipError::kNone);
  EXPECT_EQ(data, wide.data);

  // A self-extractor's stub in front, with offsets that count it and with offsets that do not.
  for (bool count : {true, false}) {
    ZipMaker sfx;
    sfx.prefix = "MZ" + std::string(3000, '\x90');
    sfx.countPrefix = count;
    sfx.Add("a.txt", "eins", true);
    sfx.Add("b.txt", "zwei");
    contents.clear();
    EXPECT_EQ(ReadAll(sfx.Make(), &contents), ZipError::kNone) << count;
    EXPECT_EQ(contents, (std::vector<std::string>{"eins", "zwei"}));
  }
}

TEST(ZipReader, ReportsDamageAndWhatItCannotRead) {
  auto one = [](ZipMaker::Entry e) {
    ZipMaker maker;
    maker.Add(std::move(e));
    return ReadAll(maker.Make());
  };
  ZipMaker::Entry e;
  e.name = "daten.txt";
  e.data = Text(2000);
  e.method = 8;
  ZipMaker::Entry bad = e;
  bad.crc = 12345;
  EXPECT_EQ(one(bad), ZipError::kBadCrc);
  bad = e;
  bad.method = 12;  // bzip2
  EXPECT_EQ(one(bad), ZipError::kUnsupportedMethod);
  bad = e;
  bad.flags |= 1;
  EXPECT_EQ(one(bad), ZipError::kEncrypted);
  bad = e;
  bad.declaredSize = 1999;  // the stream gives more than the directory says
  EXPECT_EQ(one(bad), ZipError::kDamaged);
  bad.declaredSize = 2001;
  EXPECT_EQ(one(bad), ZipError::kDamaged);

  ZipMaker maker;
  maker.Add(e);
  std::string archive = maker.Make();
  EXPECT_EQ(ReadAll(archive), ZipError::kNone);
  std::string renamed = archive;
  renamed[30] = 'D';  // the local header's name differs from the directory's
  EXPECT_EQ(ReadAll(renamed), ZipError::kDamaged);
  std::string cut = archive;
  const std::size_t dataAt = 30 + e.name.size();
  cut[dataAt + 10] = static_cast<char>(cut[dataAt + 10] ^ 0x55);
  EXPECT_NE(ReadAll(cut), ZipError::kNone);

  // Two directory entries that share one local header, the trick of overlapping zip bombs.
  const std::size_t cdAt = archive.size() - 22 - (46 + e.name.size());
  const std::string central = archive.substr(cdAt, 46 + e.name.size());
  std::string twice = archive.substr(0, cdAt) + central + central + Le32(0x06054b50) + Le16(0) + Le16(0) + Le16(2) +
                      Le16(2) + Le32(2 * central.size()) + Le32(cdAt) + Le16(0);
  EXPECT_EQ(ReadAll(twice), ZipError::kDamaged);

  EXPECT_EQ(ReadAll("Nur ein Text, kein Archiv."), ZipError::kNotZip);
  EXPECT_EQ(ReadAll(""), ZipError::kNotZip);
}

TEST(ZipReader, RefusesBombsBeforeInflatingThem) {
  ZipMaker maker;
  maker.Add("nullen.bin", std::string(10u << 20, '\0'), true);
  const std::string archive = maker.Make();
  ASSERT_LT(archive.size(), 20000u);
  MemoryByteSource source(archive);
  ZipReader zip(source);
  ASSERT_EQ(zip.Open(), ZipError::kNone);
  std::size_t delivered = 0;
  const auto count = [&](std::string_view piece) {
    delivered += piece.size();
    return true;
  };
  EXPECT_EQ(zip.ReadEntry(zip.entries()[0], 1u << 20, count), ZipError::kTooLarge);
  EXPECT_EQ(delivered, 0u);

  // A directory that understates the size does not get past the caller's limit either.
  ZipMaker liar;
  ZipMaker::Entry small;
  small.name = "nullen.bin";
  small.data = std::string(10u << 20, '\0');
  small.method = 8;
  small.declaredSize = 1000;
  liar.Add(small);
  const std::string lie = liar.Make();
  MemoryByteSource lieSource(lie);
  ZipReader lieZip(lieSource);
  ASSERT_EQ(lieZip.Open(), ZipError::kNone);
  EXPECT_EQ(lieZip.ReadEntry(lieZip.entries()[0], 1u << 20, count), ZipError::kDamaged);
  EXPECT_LE(delivered, 1000u);

  // A claim no deflate stream can make is refused whatever the caller allows.
  small.data = "x";
  small.declaredSize = 0xF0000000;
  ZipMaker huge;
  huge.Add(small);
  const std::string hugeBytes = huge.Make();
  MemoryByteSource hugeSource(hugeBytes);
  ZipReader hugeZip(hugeSource);
  ASSERT_EQ(hugeZip.Open(), ZipError::kNone);
  EXPECT_EQ(hugeZip.ReadEntry(hugeZip.entries()[0], ~std::uint64_t{0}, count), ZipError::kTooLarge);

  ZipMaker many;
  for (int i = 0; i < 10; ++i) many.Add("f" + std::to_string(i), "x");
  const std::string manyBytes = many.Make();
  MemoryByteSource manySource(manyBytes);
  ZipReader manyZip(manySource);
  ZipLimits limits;
  limits.maxEntries = 5;
  EXPECT_EQ(manyZip.Open(limits), ZipError::kTooManyEntries);
  limits.maxEntries = 10;
  limits.maxNameLength = 1;
  EXPECT_EQ(manyZip.Open(limits), ZipError::kDamaged);
}

TEST(ZipReader, SurvivesEveryTruncationAndSingleByteDamage) {
  ZipMaker maker;
  maker.comment = "c";
  maker.Add("a.txt", Text(300), true);
  ZipMaker::Entry wide;
  wide.name = "b/c.txt";
  wide.data = "zwei";
  wide.zip64 = true;
  maker.Add(wide);
  const std::string archive = maker.Make();
  for (std::size_t n = 0; n < archive.size(); ++n) {
    EXPECT_NE(ReadAll(archive.substr(0, n)), ZipError::kNone) << n;
  }
  for (std::size_t i = 0; i < archive.size(); ++i) {
    for (char value : {'\0', '\xFF', '\x7F'}) {
      std::string damaged = archive;
      damaged[i] = value;
      (void)ReadAll(damaged);  // any answer but a crash, a hang or a wild read
    }
  }
}

}  // namespace
}  // namespace ablagix
