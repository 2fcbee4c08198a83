#include "metadata/path_variables.h"

#include <gtest/gtest.h>

#include "test_support.h"

namespace ablagix {
namespace {

FileFacts Facts(const wchar_t* path, std::uint64_t size, LocalDateTime written) {
  FileFacts f;
  f.path = path;
  f.size = size;
  f.lastWrite = test::LocalToFileTime(written);
  f.creation = test::LocalToFileTime({2019, 12, 24, 18, 0, 0});
  return f;
}

TEST(PathVariables, FileDatesSizesExtensionAndNamePieces) {
  const PathVariableContext context{{2025, 2, 3, 9, 5, 7}, nullptr};
  const FileFacts jpg = Facts(L"C:\\Kamera\\a.JPG", 1536, {2021, 3, 3, 10, 0, 0});
  EXPECT_EQ(ExpandPathVariables(L"%DateGAYYYYMM%\\%Ext%", jpg, context), L"2021_03\\JPG");
  EXPECT_EQ(ExpandPathVariables(L"E:\\%DateGAYYYY%\\%DateGAYYYYMMDD%", jpg, context), L"E:\\2021\\2021_03_03");
  EXPECT_EQ(ExpandPathVariables(L"%DateEAYYYYMMDD%-%Curdate%", jpg, context), L"2019_12_24-2025_02_03");
  EXPECT_EQ(ExpandPathVariables(L"%FileSizeKB%", jpg, context), L"1Kb");
  EXPECT_EQ(ExpandPathVariables(L"%FileSizeKB% %FileSizeMB%", Facts(L"x", 1023, {2020, 1, 1, 0, 0, 0}), context),
            L"0Kb 0Mb");
  const FileFacts urlaub = Facts(L"C:\\x\\Urlaub2019.jpg", 1, {2020, 1, 1, 0, 0, 0});
  EXPECT_EQ(ExpandPathVariables(L"%DateiNameTeil[3-5]%", urlaub, context), L"lau");
  EXPECT_EQ(ExpandPathVariables(L"%DateiNameTeil[6-99]%", urlaub, context), L"b2019");
  EXPECT_EQ(ExpandPathVariables(L"%DateiNameTeil[20-22]%", urlaub, context), L"Unbekannt");
  EXPECT_EQ(ExpandPathVariables(L"%DateiNameTeil[a-b]%", urlaub, context), L"Unbekannt");
  EXPECT_EQ(ExpandPathVariables(L"%Ext%", Facts(L"C:\\README", 1, {2020, 1, 1, 0, 0, 0}), context), L"Unbekannt");
  EXPECT_EQ(ExpandPathVariables(L"%GibtEsNicht%", urlaub, context), L"Unbekannt");
  EXPECT_EQ(ExpandPathVariables(L"100% sicher", urlaub, context), L"100% sicher");  // unpaired
}

TEST(PathVariables, NameFolderAndDatesInAPatternOfTheirOwn) {
  const PathVariableContext context{{2025, 2, 3, 9, 5, 7}, nullptr};
  const FileFacts f = Facts(L"C:\\Urlaub am See\\IMG.0001.jpeg", 1, {2021, 3, 4, 17, 8, 9});
  EXPECT_EQ(ExpandPathVariables(L"%Ordner% %Name%", f, context), L"Urlaub am See IMG.0001");
  EXPECT_EQ(ExpandPathVariables(L"%Ge\u00e4ndert*yyyy-mm-dd hh.nn%", f, context), L"2021-03-04 17.08");
  EXPECT_EQ(ExpandPathVariables(L"%Erstellt*dd.mm.yy%", f, context), L"24.12.19");
  EXPECT_EQ(ExpandPathVariables(L"%Ge\u00e4ndert%", f, context), L"2021_03_04");
  // A pattern with ":" still gives a name Windows can hold.
  EXPECT_EQ(ExpandPathVariables(L"%Ge\u00e4ndert*hh:nn%", f, context), L"17_08");
  EXPECT_EQ(ExpandPathVariables(L"%Name%", Facts(L"C:\\ohne", 1, {2020, 1, 1, 0, 0, 0}), context), L"ohne");
  FileFacts unknown = f;
  unknown.creation = 0;
  EXPECT_EQ(ExpandPathVariables(L"%Erstellt*yyyy%", unknown, context), L"Unbekannt");
}

class FixedMetadata : public MetadataSource {
 public:
  std::wstring Value(const std::wstring&, std::wstring_view name, bool) override {
    if (name == L"Model") return L"..";
    if (name == L"Titel") return L"AC/DC: Back\\in <Black>";
    return L"";
  }
};

TEST(PathVariables, ValuesCanNeitherAddFolderLevelsNorClimbOut) {
  FixedMetadata metadata;
  const PathVariableContext context{{2025, 1, 1, 0, 0, 0}, &metadata};
  const FileFacts f = Facts(L"C:\\a.mp3", 1, {2020, 1, 1, 0, 0, 0});
  EXPECT_EQ(ExpandPathVariables(L"E:\\Musik\\%Titel%", f, context), L"E:\\Musik\\AC_DC_ Back_in _Black_");
  EXPECT_EQ(ExpandPathVariables(L"E:\\%Model%\\x", f, context), L"E:\\_\\x");
  EXPECT_EQ(ExpandPathVariables(L"E:\\%Album%", f, context), L"E:\\Unbekannt");
  EXPECT_TRUE(NeedsMetadata(L"E:\\%Datum*yyyy%"));
  EXPECT_TRUE(NeedsMetadata(L"%Ext%\\%H\u00f6he%"));
  EXPECT_FALSE(NeedsMetadata(L"E:\\%DateGAYYYY%\\%Ext%\\%DateiNameTeil[1-3]%\\%Unsinn%"));
}

}  // namespace
}  // namespace ablagix
