#include "metadata/exif_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "metadata/picture_maker.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::Jpeg;
using test::TempDir;
using test::TiffMaker;
using test::WriteBytes;

std::string Picture(bool little) {
  TiffMaker t(little);
  return t.Make(
      {t.Ascii(271, "Canon"), t.Ascii(272, "  Canon EOS 5D  "), t.Short(274, 6), t.Rationals(282, {{72, 1}}),
       t.Rationals(283, {{300, 2}}), t.Ascii(306, "2019:07:14 18:03:22")},
      {t.Rationals(33434, {{1, 250}}), t.Rationals(33437, {{28, 10}}), t.Short(34855, 400),
       t.Ascii(36867, "2019:07:14 18:03:20"), t.Ascii(36868, "2019:07:14 18:03:21"), t.Short(37385, 17),
       t.Rationals(37386, {{50, 1}}), t.Rationals(37122, {{9, 4}}),
       t.Undefined(37510, std::string(8, '\0') + "Hallo"), t.Short(40962, 4368), t.Short(40963, 2912),
       t.Short(41987, 2)},
      {t.Ascii(1, "N"), t.Rationals(2, {{51, 1}, {30, 1}, {0, 1}}), t.Ascii(3, "E"),
       t.Rationals(4, {{7, 1}, {15, 1}, {30, 1}})});
}

std::vector<std::wstring> AllFields(const std::vector<PropertyItem>& items) {
  std::vector<std::wstring> fields;
  for (int i = 0; i < kExifFieldCount; ++i) fields.push_back(ExifFieldText(items, i));
  return fields;
}

TEST(ExifReaderTest, FieldsOfAJpegInBothByteOrders) {
  const std::vector<std::wstring> expected = {
      L"2019:07:14 18:03:22", L"2019:07:14 18:03:20", L"2019:07:14 18:03:21", L"90 Grad rechts",
      L"Canon", L"Canon EOS 5D", L"4368", L"2912",
      L"Flash did not fire, compulsory flash mode", L"400", L"1/250", L"72", L"150", L"2,8", L"50,0mm",
      L"Unbekannt", L"2,3", L"", L"N51,5", L"E7,258333"};
  for (bool little : {true, false}) {
    const std::string jpeg = Jpeg(Picture(little));
    MemoryByteSource source(jpeg);
    EXPECT_EQ(AllFields(ReadPropertyItems(source)), expected) << (little ? "II" : "MM");
  }
  // The same from a file, read piece by piece; a TIFF file is read the same way.
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"IMG_0001.JPG", Jpeg(Picture(true))));
  ASSERT_TRUE(WriteBytes(dir / L"scan.tif", Picture(false)));
  EXPECT_EQ(GetExifValue(dir / L"IMG_0001.JPG", kExifModel), L"Canon EOS 5D");
  EXPECT_EQ(GetExifValue(dir / L"scan.tif", kExifGpsLongitude), L"E7,258333");
  EXPECT_EQ(GetExifValue(dir / L"scan.tif", -1), L"");
  EXPECT_EQ(GetExifValue(dir / L"scan.tif", 20), L"");
  EXPECT_EQ(GetExifValue(dir / L"fehlt.jpg", kExifModel), L"");
}

// Counts the reads that reach the file.
class CountingSource : public ByteSource {
 public:
  explicit CountingSource(ByteSource& inner) : inner_(inner) {}
  std::uint64_t size() const override { return inner_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override {
    ++reads;
    return inner_.Read(offset, count, out);
  }
  int reads = 0;

 private:
  ByteSource& inner_;
};

TEST(ExifReaderTest, AJpegIsReadInOneOrTwoPieces) {
  // A small Exif block comes with the first read; one larger than that takes a second.
  TiffMaker t(true);
  const std::string large = Jpeg(t.Make({t.Ascii(272, "Canon EOS 5D"), t.Undefined(700, std::string(40000, 'x'))},
                                        {t.Ascii(36867, "2019:07:14 18:03:20")}, {})) +
                            std::string(200000, '\0');
  const std::string small = Jpeg(Picture(false)) + std::string(200000, '\0');
  for (const std::string* jpeg : {&small, &large}) {
    MemoryByteSource bytes(*jpeg);
    CountingSource counted(bytes);
    const auto items = ReadPropertyItems(counted);
    EXPECT_EQ(ExifFieldText(items, kExifModel), L"Canon EOS 5D");
    EXPECT_EQ(counted.reads, jpeg == &small ? 1 : 2);
  }
}

TEST(ExifReaderTest, PresenceRulesAndConversions) {
  TiffMaker t(true);
  // DateTimeDigitized is only given when DateTime exists; GPS needs its hemisphere tag.
  std::string tiff = t.Make({t.Ascii(272, "X")}, {t.Ascii(36868, "2019:07:14 18:03:21")},
                            {t.Rationals(2, {{51, 1}, {30, 1}, {0, 1}})});
  MemoryByteSource source(tiff);
  const auto items = ReadPropertyItems(source);
  EXPECT_EQ(ExifFieldText(items, kExifDateTimeDigitized), L"");
  EXPECT_EQ(ExifFieldText(items, kExifGpsLatitude), L"");
  EXPECT_EQ(ExifFieldText(items, kExifModel), L"X");

  // Zero denominators are an arithmetic fault: empty, never "mm" alone.
  tiff = t.Make({}, {t.Rationals(33437, {{28, 0}}), t.Rationals(37386, {{50, 0}}), t.Short(41987, 1),
                     t.Undefined(37510, std::string("ASCII\0\0\0Hi", 10))},
                {t.Ascii(1, "S"), t.Rationals(2, {{33, 1}, {51, 0}})});
  MemoryByteSource zero(tiff);
  const auto faults = ReadPropertyItems(zero);
  EXPECT_EQ(ExifFieldText(faults, kExifFNumber), L"");
  EXPECT_EQ(ExifFieldText(faults, kExifFocalLength), L"");
  EXPECT_EQ(ExifFieldText(faults, kExifGpsLatitude), L"");
  EXPECT_EQ(ExifFieldText(faults, kExifWhiteBalance), L"Manuell");
  EXPECT_EQ(ExifFieldText(faults, kExifUserComment), L"41 53 43 49 49 00 00 00 48 69");

  EXPECT_EQ(RationalNumberText(L"5", 1), L"5");
  EXPECT_EQ(RationalNumberText(L"1/3", -1), L"0,3333333");
  EXPECT_EQ(RationalNumberText(L"9/4", 1), L"2,3");  // halves away from zero
  EXPECT_EQ(RationalNumberText(L"-9/4", 1), L"-2,3");
  EXPECT_EQ(RationalNumberText(L"abc/4", 1), L"");
  EXPECT_EQ(GpsPositionText(L"N", L"51/1"), L"N51");
  EXPECT_EQ(GpsPositionText(L"W", L"12"), L"W12");
  EXPECT_EQ(FlashText(L"0"), L"Flash did not fire");
  EXPECT_EQ(FlashText(L"25"), L"Flash fired, auto mode");
  EXPECT_EQ(FlashText(L"95"), L"Flash fired, auto mode, return light detected, red-eye reduction mode");
  EXPECT_EQ(FlashText(L"32"), L"No flash function");
  EXPECT_EQ(OrientationText(L"8"), L"90 Grad links");
  EXPECT_EQ(OrientationText(L"9"), L"");
}

TEST(ExifReaderTest, RawTextsByType) {
  auto raw = [](std::uint16_t type, std::string value) { return PropertyRawText({1, type, std::move(value)}); };
  EXPECT_EQ(raw(kPropertyByte, "\xC8\x01"), L"200");
  EXPECT_EQ(raw(kPropertyShort, "\xFF\xFF"), L"-1");
  EXPECT_EQ(raw(kPropertyLong, std::string("\x00\x00\x00\x80", 4)), L"-2147483648");
  EXPECT_EQ(raw(kPropertySignedRational, std::string("\xFF\xFF\xFF\xFF\x02\x00\x00\x00\x03\x00\x00\x00\x04\x00\x00\x00", 16)),
            L"-1/2 3/4");
  EXPECT_EQ(raw(kPropertyUndefined, std::string("\x00\xab\x10", 3)), L"00 AB 10");
  EXPECT_EQ(raw(kPropertyAscii, std::string("  M\xfcller \0junk", 14)), L"M\u00fcller");
  EXPECT_EQ(raw(11, "\x00\x00\x80\x3f"), L"");
  EXPECT_EQ(raw(kPropertyShort, "\x01"), L"");
}

TEST(ExifReaderTest, PngChunks) {
  auto chunk = [](const std::string& type, const std::string& data) {
    const auto n = static_cast<std::uint32_t>(data.size());
    return std::string{static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
                       static_cast<char>(n)} +
           type + data + "CRC!";
  };
  const std::string signature("\x89PNG\r\n\x1a\n", 8);
  const std::string header = chunk("IHDR", std::string(13, '\1'));
  // Without Exif every field is empty.
  const std::string plain = signature + header + chunk("IDAT", "xxxx") + chunk("IEND", "");
  MemoryByteSource plainSource(plain);
  EXPECT_EQ(AllFields(ReadPropertyItems(plainSource)), std::vector<std::wstring>(kExifFieldCount));
  // tIME is the DateTime the imaging library reports; an eXIf chunk has the rest.
  TiffMaker t(false);
  const std::string png = signature + header + chunk("tIME", std::string("\x07\xE8\x01\x1F\x11\x2D\x02", 7)) +
                          chunk("eXIf", t.Make({t.Ascii(272, "Pixel 8")}, {}, {})) + chunk("IEND", "");
  MemoryByteSource source(png);
  const auto items = ReadPropertyItems(source);
  EXPECT_EQ(ExifFieldText(items, kExifDateTime), L"2024:01:31 17:45:02");
  EXPECT_EQ(ExifFieldText(items, kExifModel), L"Pixel 8");
}

TEST(ExifReaderTest, DamagedPicturesGiveEmptyTextsAndNeverCrash) {
  const std::string jpeg = Jpeg(Picture(false));
  // Cut at every length: whatever is complete may be read, nothing else.
  for (std::size_t n = 0; n < jpeg.size(); ++n) {
    MemoryByteSource source(std::string_view(jpeg).substr(0, n));
    for (const auto& item : ReadPropertyItems(source)) (void)PropertyRawText(item);
  }
  // Every byte set to each of a few values in turn.
  for (std::size_t at = 0; at < jpeg.size(); ++at) {
    for (char value : {'\0', '\x01', '\x7f', '\xff'}) {
      std::string damaged = jpeg;
      damaged[at] = value;
      MemoryByteSource source(damaged);
      const auto items = ReadPropertyItems(source);
      for (int field = 0; field < kExifFieldCount; ++field) (void)ExifFieldText(items, field);
    }
  }
  // A directory that points at itself and a count far beyond the data.
  TiffMaker t(true);
  std::string loop = "II" + t.U16(42) + t.U32(8) + t.U16(1) + t.U16(34665) + t.U16(4) + t.U32(1) + t.U32(8) + t.U32(0);
  MemoryByteSource loopSource(loop);
  EXPECT_EQ(ReadPropertyItems(loopSource).size(), 1u);
  std::string huge = "II" + t.U16(42) + t.U32(8) + t.U16(1) + t.U16(272) + t.U16(2) + t.U32(0xFFFFFFF0u) +
                     t.U32(26) + t.U32(0);
  MemoryByteSource hugeSource(huge);
  EXPECT_TRUE(ReadPropertyItems(hugeSource).empty());
  MemoryByteSource empty("");
  EXPECT_TRUE(ReadPropertyItems(empty).empty());
}

}  // namespace
}  // namespace ablagix
