#include "profiles/profile.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "test_support.h"

namespace ablagix {
namespace {

TEST(Einlesen, ReadsEverySectionInFileOrderWithTheListsColumnOrder) {
  test::TempDir dir;
  const std::wstring file = dir / L"Ablagix.ini";
  ASSERT_TRUE(test::WriteBytes(file,
      "[Zweites zuerst]\r\nQuelle=C:\\b\r\nAktion=L\xF6schenP\r\n"
      "[Fotos \xC4gypten]\r\n"
      "Quelle=D:\\Kamera\r\nUnterverzeich=1\r\nOrdnerStruktur=0\r\nBlockFolder=D:\\Kamera\\alt;\r\n"
      "Filename=IMG*\r\nFilter=.jpg,.png\r\nExtension=tmp\r\nFiledate=GA<30D\r\nFileSize=>10MB\r\n"
      "Aktion=Verschieben\r\nCase=0\r\nZiel=E:\\Fotos\\%DateGAYYYY%\r\nKollision=1\r\n"
      "Metadaten=%Model%;=Canon\r\nZippen=2\r\nZipName=alle.zip\r\nExcludeFilename=kopie\r\n"
      "TextSuche=rechnung+2024\r\n"));
  const std::vector<Profile> profiles = Einlesen(file);
  ASSERT_EQ(profiles.size(), 2u);
  EXPECT_EQ(profiles[0].Beschreibung, L"Zweites zuerst");
  EXPECT_EQ(profiles[0].Aktion, L"L\u00f6schenP");
  EXPECT_EQ(profiles[0].Filedate, L"");

  const Profile& p = profiles[1];
  const std::vector<std::wstring> expected = {
      L"Fotos \u00c4gypten", L"D:\\Kamera", L"1", L"D:\\Kamera\\alt;", L"IMG*", L".jpg,.png",
      L"tmp", L"GA<30D", L">10MB", L"Verschieben", L"E:\\Fotos\\%DateGAYYYY%", L"0", L"1",
      L"%Model%;=Canon", L"2", L"kopie", L"rechnung+2024", L"alle.zip", L"0"};
  for (int column = 0; column < kProfileColumnCount; ++column) {
    EXPECT_EQ(ProfileSubitem(p, column), expected[static_cast<size_t>(column)]) << column;
  }
  // Column 7 is captioned "Dateigröße" but holds the date condition, column 8 the other way round.
  EXPECT_STREQ(kProfileColumns[7].caption, L"Dateigr\u00f6\u00dfe");
  EXPECT_EQ(ProfileSubitem(p, 7), L"GA<30D");
  EXPECT_STREQ(kProfileColumns[8].caption, L"Datum");
  EXPECT_EQ(ProfileSubitem(p, 8), L">10MB");
  EXPECT_EQ(ProfileSubitem(p, 19), L"");
}

TEST(Einlesen, AMissingFileIsAnEmptyListAndJunkNeverStopsTheRest) {
  test::TempDir dir;
  EXPECT_TRUE(Einlesen(dir / L"fehlt.ini").empty());
  const std::wstring file = dir / L"kaputt.ini";
  ASSERT_TRUE(test::WriteBytes(file, std::string("\xFF\x00\x01", 3) +
                                         "garbage\n[Eins]\nQuelle=C:\\1\n"
                                         "m\xFCll ohne gleich\n[Eins]\nQuelle=C:\\doppelt\n"
                                         "[Zwei]\nQuelle=C:\\2"));
  const auto profiles = Einlesen(file);
  ASSERT_EQ(profiles.size(), 2u);
  EXPECT_EQ(profiles[0].Quelle, L"C:\\1");
  EXPECT_EQ(profiles[1].Beschreibung, L"Zwei");
}

TEST(ActionCodes, AreComparedIgnoringCase) {
  EXPECT_TRUE(ActionNeedsTarget(L"verschieben"));
  EXPECT_TRUE(ActionNeedsTarget(L"KOPIEREN"));
  EXPECT_FALSE(ActionNeedsTarget(L"L\u00d6SCHENP"));
  EXPECT_FALSE(ActionNeedsTarget(L""));
}

}  // namespace
}  // namespace ablagix
