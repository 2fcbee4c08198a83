#include "metadata/metadata_source.h"

#include <gtest/gtest.h>

#include <map>

#include "engine/metadata_condition.h"
#include "metadata/exif_reader.h"
#include "metadata/radius.h"
#include "profiles/settings.h"
#include "test_support.h"

namespace ablagix {
namespace {

// A source whose Exif fields come from a table instead of a picture.
FileMetadataSource WithExif(std::map<int, std::wstring> fields, MetadataSettings settings = {}) {
  FileMetadataSource source(std::move(settings));
  source.exif = [fields](const std::wstring&, int field) {
    auto it = fields.find(field);
    return it == fields.end() ? std::wstring() : it->second;
  };
  return source;
}

TEST(RadiusTest, DistancesOnTheProgramsSphere) {
  EXPECT_EQ(GetDistanceKm(51.5, 7.25, 51.5, 7.25), 0.0);
  EXPECT_NEAR(GetDistanceKm(0, 0, 0, 180), 20002.52, 0.01);
  // Hemispheres count: S33,8 and N33,8 lie 67,6 degrees apart.
  EXPECT_EQ(DistanceText(L"S33,8", L"E151,2", L"N33,8", L"E151,2"), L"7512,058");
  EXPECT_EQ(DistanceText(L"N51,5", L"E7,25", L"N51,5", L"E7,25"), L"0,000");
  // A quarter of the globe: the cosine of the program's 90 degrees is not quite 0.
  EXPECT_NEAR(GetDistanceKm(0, 0, 0, 90), 10001.26, 0.01);
  // Missing or short texts give no distance.
  EXPECT_EQ(DistanceText(L"", L"E7", L"N51,5", L"E7,25"), L"");
  EXPECT_EQ(DistanceText(L"N51,5", L"E7,25", L"N5", L"E7,25"), L"");
  EXPECT_EQ(SignedDegreesText(L"W0,1275"), L"-0,1275");
  EXPECT_EQ(ThreeDecimals(12.3455), L"12,346");
}

TEST(RadiusTest, ReferencePointIsCheckedAndStored) {
  test::TempDir dir;
  test::RecordingUi ui;
  const std::wstring settings = dir / L"AblagixSetting.ini";
  EXPECT_FALSE(ReferencePointFromPicture(dir / L"fehlt.jpg", ui));
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].text, kNoCoordinatesInPicture);
  EXPECT_FALSE(StoreReferencePoint({L"N51,5", L"", L""}, settings, ui));
  EXPECT_EQ(ui.shown.back().text, kNoCoordinatesTyped);
  EXPECT_TRUE(ReadAppSetting(settings, L"Lat").empty());
  ASSERT_TRUE(StoreReferencePoint({L"N51,5", L"E7,25", L"C:\\Bilder\\Dom.jpg"}, settings, ui));
  const AppSettings stored = ReadAppSettings(settings);
  EXPECT_EQ(stored.Lat, L"N51,5");
  EXPECT_EQ(stored.Lon, L"E7,25");
  EXPECT_EQ(stored.RefPicture, L"C:\\Bilder\\Dom.jpg");
}

TEST(MetadataSourceTest, PictureValuesByName) {
  FileMetadataSource source = WithExif({{kExifDateTime, L"2019:07:14 18:03:22"},
                                        {kExifModel, L"Canon EOS 5D"},
                                        {kExifGpsLatitude, L"S33,8688197"},
                                        {kExifGpsLongitude, L"E151,2092955"}},
                                       {3, L"S33,8", L"E151,2"});
  const std::wstring jpg = L"C:\\Fotos\\IMG_1.JPG";
  EXPECT_EQ(source.Value(jpg, L"Datum", true), L"2019_07_14");
  EXPECT_EQ(source.Value(jpg, L"Datum", false), L"14.07.2019");
  EXPECT_EQ(source.Value(jpg, L"Datum*yyyy", true), L"2019");
  EXPECT_EQ(source.Value(jpg, L"Datum*dddd, d. mmmm yy", true), L"Sonntag, 14. Juli 19");
  EXPECT_EQ(source.Value(jpg, L"Model", true), L"Canon EOS 5D");
  EXPECT_EQ(source.Value(jpg, L"Breitengrad", true), L"-33,868");
  EXPECT_EQ(source.Value(jpg, L"L\u00e4ngengrad", true), L"151,209");
  EXPECT_EQ(source.Value(jpg, L"L\u00e4ngengrad+Breitengrad", true), L"E151S33");
  EXPECT_EQ(source.Value(jpg, L"Umkreissuche", true), L"7,696");
  // Not a picture by name: no Exif value, but a distance is still asked of the file.
  EXPECT_EQ(source.Value(L"C:\\a.txt", L"Model", true), L"");
  EXPECT_EQ(source.Value(L"C:\\a.txt", L"Umkreissuche", true), L"7,696");
  EXPECT_TRUE(IsPictureFile(L"x.jpeg"));
  EXPECT_TRUE(IsPictureFile(L"x.Tif"));
  EXPECT_FALSE(IsPictureFile(L"x.bmp"));

  // Through the path variables: an empty value is "Unbekannt", ":" becomes "_".
  PathVariableContext context{{2025, 1, 1, 0, 0, 0}, &source};
  EXPECT_EQ(ExpandPathVariables(L"D:\\Fotos\\%Datum%\\%Model%", {jpg, 1, 0, 0}, context),
            L"D:\\Fotos\\2019_07_14\\Canon EOS 5D");
  EXPECT_EQ(ExpandPathVariables(L"D:\\%Datum%", {L"C:\\a.txt", 1, 0, 0}, context), L"D:\\Unbekannt");

  // Whole-degree parts: with a comma in the longitude only, the latitude text as it is.
  FileMetadataSource partial = WithExif({{kExifGpsLatitude, L"N51"}, {kExifGpsLongitude, L"E7,5"}});
  EXPECT_EQ(partial.Value(jpg, L"L\u00e4ngengrad+Breitengrad", true), L"N51");
}

TEST(MetadataSourceTest, OtherSourcesByNameAndField) {
  FileMetadataSource source(MetadataSettings{});
  std::vector<std::pair<char, int>> asked;
  source.audio = [&](const std::wstring&, int f) { asked.push_back({'a', f}); return L"a"; };
  source.document = [&](const std::wstring&, int f) { asked.push_back({'d', f}); return L"d"; };
  source.version = [&](const std::wstring&, int f) { asked.push_back({'v', f}); return L"v"; };
  for (const wchar_t* name : {L"Titel ID", L"Track", L"Titel", L"Revision Nummer", L"Seitenzahl", L"Zeichenanzahl",
                              L"Firmenname", L"Produktversion", L"Kommentar"}) {
    source.Value(L"C:\\x.bin", name, true);
  }
  const std::vector<std::pair<char, int>> expected = {{'a', 0},  {'a', 10}, {'d', 2}, {'d', 9},
                                                      {'d', 14}, {'d', 16}, {'v', 0}, {'v', 8}};
  EXPECT_EQ(asked, expected);  // "Kommentar" is the Exif comment, never the version's
}

TEST(MetadataConditionTest, TextsDatesAndNumbers) {
  // Text fields: a pattern, case as the profile says.
  EXPECT_TRUE(CompareMetadataCondition(L"Canon EOS 5D", L"%Model%", L"=canon*", false));
  EXPECT_FALSE(CompareMetadataCondition(L"Canon EOS 5D", L"%Model%", L"=canon*", true));
  EXPECT_TRUE(CompareMetadataCondition(L"Canon", L"%Model%", L"Canon", true));
  EXPECT_TRUE(CompareMetadataCondition(L"IMG 2019", L"%Titel%", L"=IMG ####", true));
  // Dates: a year against the year, mm.yyyy against the month, otherwise the day.
  EXPECT_TRUE(CompareMetadataCondition(L"14.07.2019", L"%Datum%", L">2018", false));
  EXPECT_FALSE(CompareMetadataCondition(L"14.07.2019", L"%Datum%", L"<2019", false));
  EXPECT_TRUE(CompareMetadataCondition(L"14.07.2019", L"%Datum Original%", L"=07.2019", false));
  EXPECT_FALSE(CompareMetadataCondition(L"14.07.2019", L"%Datum%", L"=08.2019", false));
  EXPECT_TRUE(CompareMetadataCondition(L"14.07.2019", L"%Datum%", L"<15.07.2019", false));
  EXPECT_TRUE(CompareMetadataCondition(L"00_03_45", L"%L\u00e4nge%", L"<00:04:00", false));
  EXPECT_FALSE(CompareMetadataCondition(L"Unbekannt", L"%Datum%", L">2018", false));
  // Numbers with a decimal comma; "." in the condition is a comma too.
  EXPECT_TRUE(CompareMetadataCondition(L"7,696", L"%Umkreissuche%", L"<25", false));
  EXPECT_FALSE(CompareMetadataCondition(L"", L"%Umkreissuche%", L"<25", false));
  EXPECT_TRUE(CompareMetadataCondition(L"2,8", L"%Blende%", L"<2.9", false));
  EXPECT_TRUE(CompareMetadataCondition(L"-33,868", L"%Breitengrad%", L"<0", false));
  EXPECT_TRUE(CompareMetadataCondition(L"400", L"%Iso%", L"=400", false));
  EXPECT_FALSE(CompareMetadataCondition(L"Unbekannt", L"%Iso%", L">100", false));
}

TEST(MetadataConditionTest, NamesAreComparedExactly) {
  // "%Datum*yyyy%" is not "%Datum%": its value is the year in its own pattern, and the
  // operand is matched as a text.
  FileMetadataSource source(MetadataSettings{});
  source.exif = [](const std::wstring&, int field) {
    return field == kExifDateTime ? std::wstring(L"2019:07:14 18:03:22") : std::wstring();
  };
  DirEntry entry;
  entry.name = L"bild.jpg";
  auto holds = [&](const wchar_t* metadaten) {
    const auto test = MakeMetadataConditionTest(metadaten, false, &source, {2025, 1, 1});
    return test && test->Accepts(L"/fotos/bild.jpg", entry);
  };
  EXPECT_TRUE(holds(L"%Datum*yyyy%;=2019"));
  EXPECT_TRUE(holds(L"%Datum*yyyy-mm%;=2019-07"));
  EXPECT_FALSE(holds(L"%Datum*yyyy%;=2018"));
  EXPECT_TRUE(holds(L"%Datum%;=14.07.2019"));
  EXPECT_EQ(MetadataConditionValue(L"%Datum*yyyy%;=2019", {L"/fotos/bild.jpg"}, {{2025, 1, 1}, &source}), L"2019");
}

TEST(MetadataConditionTest, DateOperandsAsTheGermanLocaleReadsThem) {
  auto holds = [](const wchar_t* value, const wchar_t* condition) {
    return CompareMetadataCondition(value, L"%Datum%", condition, false);
  };
  // Two-digit years: 00..29 are this century, 30..99 the last.
  EXPECT_TRUE(holds(L"14.07.2019", L"<01.01.20"));
  EXPECT_FALSE(holds(L"14.07.2019", L"<01.01.1930"));
  EXPECT_TRUE(holds(L"14.07.2019", L">31.12.30"));  // 1930
  EXPECT_TRUE(holds(L"15.07.2019", L">14.07.19"));
  EXPECT_TRUE(holds(L"14.07.2019", L"=14.7.19"));
  // Year first, other separators, a month by its name, a time after the day.
  EXPECT_TRUE(holds(L"15.07.2019", L">2019-07-14"));
  EXPECT_TRUE(holds(L"14.07.2019", L"=2019-07-14"));
  EXPECT_TRUE(holds(L"14.07.2019", L"=14/07/2019"));
  EXPECT_TRUE(holds(L"14.07.2019", L"=14. Juli 2019"));
  EXPECT_TRUE(holds(L"14.03.2019", L"<1 Apr 19"));
  EXPECT_TRUE(holds(L"14.07.2019", L"<14.7.2019 18:03"));
  EXPECT_TRUE(holds(L"14.07.2019 18:03:00", L"=14.7.2019 18:03"));
  EXPECT_TRUE(holds(L"14.07.2019 18:03:00", L"=2019-07-14T18:03"));
  // A year or a month and year; the last day of a year is still that year.
  EXPECT_TRUE(holds(L"31.12.2019", L"=2019"));
  EXPECT_TRUE(holds(L"31.12.2019", L"=12.2019"));
  EXPECT_TRUE(holds(L"01.01.2020", L">2019"));
  // What is no date is not met, whatever the operator.
  for (const wchar_t* operand : {L"=gestern", L"<32.01.2019", L">2019-13-01", L"=14.07.", L"<14.07.20199", L"=29.02.2019",
                                 L">14.07.2019 25:00", L"<Juni"}) {
    EXPECT_FALSE(holds(L"14.07.2019", operand)) << test::U8(operand);
  }
  // Lengths of audio files are times, hours as long as they run.
  EXPECT_TRUE(CompareMetadataCondition(L"100_05_00", L"%L\u00e4nge%", L">99:00", false));
}

}  // namespace
}  // namespace ablagix
