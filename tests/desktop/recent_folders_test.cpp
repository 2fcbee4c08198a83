#include "desktop/recent_folders.h"

#include <gtest/gtest.h>

#include "fileops/file_ops.h"
#include "profiles/ini_file.h"
#include "test_support.h"

namespace ablagix {
namespace {

TEST(RecentFoldersTest, KeptListReachabilityAndChoice) {
  test::TempDir dir;
  const std::wstring settings = dir / L"AblagixSetting.ini";
  ASSERT_TRUE(CreateFolders(dir / L"Fotos"));
  ASSERT_TRUE(WriteIniString(settings, kRecentFoldersSection, L"1", dir / L"Fotos"));
  ASSERT_TRUE(WriteIniString(settings, kRecentFoldersSection, L"2", dir / L"Weg"));
  RecentFolders list = RecentFolders::Load(settings);
  ASSERT_EQ(list.rows().size(), 2u);
  EXPECT_EQ(StatusText(list.rows()[0]), kPathOk);
  EXPECT_EQ(StatusText(list.rows()[1]), kPathUnreachable);

  // The use button: nothing selected, an unreachable folder, then a good one.
  test::RecordingUi ui;
  EXPECT_FALSE(list.Use(std::nullopt, ui));
  EXPECT_FALSE(list.Use(1, ui));
  ASSERT_EQ(ui.shown.size(), 2u);
  EXPECT_EQ(ui.shown[0].text, L"Bitte Ordnerpfad oben ausw\u00e4hlen!");
  EXPECT_EQ(ui.shown[0].icon, MessageIcon::Exclamation);
  EXPECT_EQ(ui.shown[1].text, L"Pfad existiert nicht!");
  EXPECT_EQ(ui.shown[1].icon, MessageIcon::Critical);
  EXPECT_EQ(list.Use(0, ui), dir / L"Fotos");

  // A folder added again moves to the top; only the first 30 are kept.
  list.Add(dir / L"Weg");
  EXPECT_EQ(list.rows()[0].path, dir / L"Weg");
  EXPECT_EQ(list.rows().size(), 2u);
  for (int i = 0; i < 40; ++i) list.Add(dir / (L"Ordner" + std::to_wstring(i)));
  ASSERT_TRUE(list.Save(settings));
  const RecentFolders again = RecentFolders::Load(settings);
  ASSERT_EQ(again.rows().size(), kRecentFoldersKept);
  EXPECT_EQ(again.rows()[0].path, dir / L"Ordner39");
  EXPECT_EQ(again.rows()[29].path, dir / L"Ordner10");
}

}  // namespace
}  // namespace ablagix
