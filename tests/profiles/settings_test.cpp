#include "profiles/settings.h"

#include <gtest/gtest.h>

#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "profiles/filter_list.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "profiles/profile_file_choice.h"
#include "profiles/settings_store.h"
#include "test_support.h"

namespace ablagix {
namespace {

class SettingsFoldersTest : public ::testing::Test {
 protected:
  std::wstring AppData() const { return dir_ / L"AppData"; }
  std::wstring Kramdock() const { return WithTrailingBackslash(dir_ / L"AppData\\Kramdock"); }
  std::wstring Program() const { return WithTrailingBackslash(dir_ / L"Programm"); }
  SettingsFolders Find() const { return FindSettingsFolders(AppData(), Program()); }

  test::TempDir dir_;
};

TEST_F(SettingsFoldersTest, CreatesTheKramdockFolderBelowAppData) {
  SettingsFolders folders = Find();
  EXPECT_EQ(test::U8(folders.SettingsFolder), test::U8(Kramdock()));
  EXPECT_TRUE(FolderExists(folders.SettingsFolder));
  EXPECT_EQ(test::U8(folders.FilterListFolder), test::U8(Kramdock()));
  EXPECT_EQ(test::U8(folders.SettingsFilePath), test::U8(Kramdock() + L"AblagixSetting.ini"));
  // A trailing separator on APPDATA does not double up.
  EXPECT_EQ(test::U8(FindSettingsFolders(WithTrailingBackslash(AppData()), Program()).SettingsFolder),
            test::U8(Kramdock()));
}

TEST_F(SettingsFoldersTest, FilterListFolderFollowsKramdockOnlyWhileThatFolderExists) {
  const std::wstring own = dir_ / L"KramdockOptionen";
  CreateFolders(own);
  CreateFolders(Kramdock());
  const std::wstring optIni = Kramdock() + L"Opt.ini";
  WriteIniString(optIni, L"Pfad3", L"UserIniPfad", own);

  // Announced but not switched on.
  EXPECT_EQ(test::U8(Find().FilterListFolder), test::U8(Kramdock()));

  WriteIniString(optIni, L"Pfad3", L"IsUserIniChange", L"1");
  SettingsFolders folders = Find();
  EXPECT_EQ(test::U8(folders.FilterListFolder), test::U8(WithTrailingBackslash(own)));
  EXPECT_EQ(test::U8(folders.SettingsFolder), test::U8(Kramdock()));

  // The announced folder is gone, or was never named: "Opt.ini" comes from APPDATA\Kramdock.
  WriteIniString(optIni, L"Pfad3", L"UserIniPfad", own + L"\\weg");
  EXPECT_EQ(test::U8(Find().FilterListFolder), test::U8(Kramdock()));
  DeleteIniKey(optIni, L"Pfad3", L"UserIniPfad");
  folders = Find();
  EXPECT_EQ(test::U8(folders.FilterListFolder), test::U8(Kramdock()));
  WriteIniString(optIni, L"Dateifilter1", L"Filter", L"Bilder");
  EXPECT_EQ(test::U8(ReadStoredFilterList(folders)), "Bilder");
}

TEST_F(SettingsFoldersTest, FallsBackToTheProgramFolderWhenTheSettingsFolderCannotBeMade) {
  // A file where the folder should go makes creating it impossible on every platform.
  ASSERT_TRUE(test::WriteBytes(AppData(), "kein Ordner"));
  SettingsFolders folders = Find();
  EXPECT_EQ(test::U8(folders.SettingsFolder), test::U8(Program()));
  EXPECT_EQ(test::U8(folders.FilterListFolder), test::U8(Program()));
  EXPECT_EQ(test::U8(folders.SettingsFilePath), test::U8(Program() + L"AblagixSetting.ini"));
  EXPECT_EQ(test::U8(folders.AppDataFolder), test::U8(Kramdock()));
}

TEST_F(SettingsFoldersTest, ReadAndWriteSettingPickTheFolderByFileName) {
  const std::wstring own = WithTrailingBackslash(dir_ / L"Filter");
  SettingsFolders folders;
  folders.SettingsFolder = WithTrailingBackslash(dir_ / L"Einstellungen");
  folders.FilterListFolder = own;
  folders.AppDataFolder = Kramdock();
  CreateFolders(folders.SettingsFolder);
  CreateFolders(own);
  CreateFolders(Kramdock());

  const std::wstring longValue(2000, L'x');  // far beyond the old 800-character buffer
  EXPECT_TRUE(WriteSetting(folders, L"Dateifilter1", L"Filter", L"Bilder", L"Opt.ini"));
  EXPECT_TRUE(WriteSetting(folders, L"Fotos", L"Quelle", longValue, L""));
  EXPECT_TRUE(WriteSetting(folders, L"AblagixForm", L"LogPath", L"C:\\Logs", L"AblagixSetting.ini"));
  EXPECT_EQ(test::U8(ReadIniString(own + L"Opt.ini", L"Dateifilter1", L"Filter", L"")), "Bilder");
  EXPECT_EQ(ReadIniString(folders.SettingsFolder + L"Ablagix.ini", L"Fotos", L"Quelle", L""), longValue);
  EXPECT_EQ(ReadSetting(folders, L"fotos", L"QUELLE", L"", L""), longValue);
  EXPECT_EQ(test::U8(ReadSetting(folders, L"AblagixForm", L"LogPath", L"", L"AblagixSetting.ini")),
            "C:\\Logs");
  EXPECT_EQ(test::U8(ReadSetting(folders, L"AblagixForm", L"Fehlt", L"vorgabe", L"AblagixSetting.ini")),
            "vorgabe");

  // The APPDATA flag reads beside Kramdock's files, but "Opt.ini" keeps its own folder.
  WriteIniString(Kramdock() + L"AblagixSetting.ini", L"AblagixForm", L"LogPath", L"D:\\AppData");
  EXPECT_EQ(test::U8(ReadSetting(folders, L"AblagixForm", L"LogPath", L"", L"AblagixSetting.ini", true)),
            "D:\\AppData");
  EXPECT_EQ(test::U8(ReadSetting(folders, L"Dateifilter1", L"Filter", L"", L"Opt.ini", true)), "Bilder");
}

class StartupFilesTest : public ::testing::Test {
 protected:
  StartupFilesTest() {
    folders_.SettingsFolder = WithTrailingBackslash(dir_ / L"Kramdock");
    folders_.FilterListFolder = WithTrailingBackslash(dir_ / L"Filter");
    folders_.AppDataFolder = folders_.SettingsFolder;
    CreateFolders(folders_.SettingsFolder);
    CreateFolders(folders_.FilterListFolder);
  }
  std::wstring InSettings(std::wstring_view name) const {
    return folders_.SettingsFolder + std::wstring(name);
  }

  test::TempDir dir_;
  SettingsFolders folders_;
};

TEST_F(StartupFilesTest, BackupIsOverwrittenOnEveryStartAndKeptWhenThereIsNothingToCopy) {
  const std::wstring profiles = InSettings(L"Ablagix.ini");
  const std::wstring backup = InSettings(L"Sicherung_ Ablagix.ini");
  EXPECT_FALSE(BackupDefaultProfileFile(folders_));
  EXPECT_FALSE(FileExists(backup));

  ASSERT_TRUE(test::WriteBytes(profiles, "[Erster Start]\r\nQuelle=C:\\A\r\n"));
  EXPECT_TRUE(BackupDefaultProfileFile(folders_));
  EXPECT_EQ(test::ReadBytes(backup), "[Erster Start]\r\nQuelle=C:\\A\r\n");

  ASSERT_TRUE(test::WriteBytes(profiles, "[Zweiter Start]\r\n"));
  EXPECT_TRUE(BackupDefaultProfileFile(folders_));
  EXPECT_EQ(test::ReadBytes(backup), "[Zweiter Start]\r\n");

  RemoveFile(profiles);
  EXPECT_FALSE(BackupDefaultProfileFile(folders_));
  EXPECT_EQ(test::ReadBytes(backup), "[Zweiter Start]\r\n");
}

TEST_F(StartupFilesTest, RemembersTheProfileFileOnlyWhileItExists) {
  const std::wstring other = dir_ / L"Eigene\\Meine Profile.ini";
  ASSERT_TRUE(test::WriteBytes(other, "[Fotos]\r\n"));

  ProfileFileChoice choice = ChooseProfileFile(folders_, other);
  EXPECT_EQ(test::U8(choice.ProfileFilePath), test::U8(other));
  EXPECT_EQ(test::U8(choice.label), "= Meine Profile.ini");

  RemoveFile(other);
  choice = ChooseProfileFile(folders_, other);
  EXPECT_EQ(test::U8(choice.ProfileFilePath), test::U8(InSettings(L"Ablagix.ini")));
  EXPECT_EQ(test::U8(choice.label), "Ablagix.ini");

  choice = ChooseProfileFile(folders_, dir_.path());  // a folder is no profile file
  EXPECT_EQ(test::U8(choice.ProfileFilePath), test::U8(InSettings(L"Ablagix.ini")));

  choice = ChooseProfileFile(folders_, L"");
  EXPECT_EQ(test::U8(choice.ProfileFilePath), test::U8(InSettings(L"Ablagix.ini")));
  EXPECT_EQ(test::U8(choice.label), "Ablagix.ini");
}

TEST_F(StartupFilesTest, StoredFiltersAreReadFromOptIniAndKeepTheirPositions) {
  const std::wstring optIni = folders_.FilterListFolder + L"Opt.ini";
  EXPECT_EQ(IncludeExtensionEntries(ReadStoredFilterList(folders_)),
            (std::vector<std::wstring>{L"Alles", L"Bearbeiten..."}));
  EXPECT_TRUE(ReadFilterTable(folders_).empty());

  // Kramdock wrote this file; an empty name in the middle must not shift the later masks.
  WriteIniString(optIni, L"Dateifilter1", L"Filter", L"Bilder,,Musik");
  WriteIniString(optIni, L"Dateifilter1", L"0Mask", L".jpg,.png");
  WriteIniString(optIni, L"Dateifilter1", L"2Mask", L".mp3");
  WriteIniString(optIni, L"Dateifilter1", L"3Mask", L".alt");  // no name for it any more

  EXPECT_EQ(IncludeExtensionEntries(ReadStoredFilterList(folders_)),
            (std::vector<std::wstring>{L"Alles", L"Bilder", L"", L"Musik", L"Bearbeiten..."}));
  std::vector<FilterRow> rows = ReadFilterTable(folders_);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(test::U8(rows[2].name), "Musik");
  EXPECT_EQ(test::U8(rows[2].mask), ".mp3");
  EXPECT_EQ(test::U8(StoredFilterMask(folders_, 0)), ".jpg,.png");
  EXPECT_EQ(test::U8(StoredFilterMaskByName(folders_, L"Musik")), ".mp3");
  EXPECT_EQ(test::U8(StoredFilterMaskByName(folders_, L"Videos")), "");

  // Saving the edited table: rows reordered, one renamed with a comma that would split it.
  rows = {{L"Musik", L".mp3,.ogg"}, {L"Bilder, neu", L".jpg"}};
  ASSERT_TRUE(SaveFilterTable(folders_, rows));
  EXPECT_EQ(test::U8(ReadStoredFilterList(folders_)), "Musik,Bilder neu");
  EXPECT_EQ(test::U8(StoredFilterMaskByName(folders_, L"Bilder neu")), ".jpg");
  EXPECT_EQ(test::U8(StoredFilterMask(folders_, 0)), ".mp3,.ogg");

  // "Alles" is an interface word and follows the language file.
  CreateFolders(dir_ / L"Languages");
  WriteIniString(dir_ / L"Languages\\English.lng", L"Common", L"Alles", L"All");
  SetProgramFolder(dir_.path());
  SetCurrentLanguage(L"English");
  EXPECT_EQ(test::U8(IncludeExtensionEntries(L"Bilder").front()), "All");
  SetCurrentLanguage(L"");
  SetProgramFolder(L"");
}

class AppSettingsTest : public ::testing::Test {
 protected:
  std::wstring Key(const wchar_t* key) { return ReadIniString(file_, L"AblagixForm", key, L"<fehlt>"); }

  test::TempDir dir_;
  std::wstring file_ = dir_ / L"AblagixSetting.ini";
};

TEST_F(AppSettingsTest, MissingFileGivesEveryDefault) {
  const AppSettings s = ReadAppSettings(file_);
  EXPECT_EQ(s.IniPfad, L"");
  EXPECT_FALSE(s.TimerSystray);
  EXPECT_FALSE(s.clearLogEveryFifthTimedRun);
  EXPECT_TRUE(s.padTextReports);
  EXPECT_FALSE(s.saveLogAutomatically);
  EXPECT_TRUE(s.reportHeaderLine);
  EXPECT_TRUE(s.colouredReports);
  EXPECT_EQ(s.reportFormat, ReportFormat::Text);
  EXPECT_EQ(s.TimerIntervall, 0);
  // Red 250, green 242, blue 192 and red 213, green 253, blue 193.
  EXPECT_EQ(s.BackColor1, 250u + 242u * 256u + 192u * 65536u);
  EXPECT_EQ(s.BackColor2, 213u + 253u * 256u + 193u * 65536u);
  EXPECT_EQ(s.ForeColor1, 0u);
  EXPECT_EQ(s.ForeColor2, 0u);
  for (const ListFont& font : s.fonts) {
    EXPECT_EQ(font.name, L"Tahoma");
    EXPECT_EQ(font.size, 9);
    EXPECT_FALSE(font.bold);
    EXPECT_FALSE(font.italic);
  }
  EXPECT_FALSE(s.Position.has_value());
  EXPECT_EQ(s.WindowState, WindowShowState::Normal);
  EXPECT_FALSE(s.startWithWindows || s.zipAsSelfExtractor || s.zipWholePaths || s.DokumenttextAus);
  EXPECT_EQ(s.Kommastelle, 7);
  EXPECT_EQ(s.Lat + s.Lon + s.RefPicture + s.LogPath + s.AXSprache, L"");
  EXPECT_EQ(s.Delimeter, L";");
  EXPECT_TRUE(s.HeaderPosition.empty());
  EXPECT_EQ(test::U8(ReadAppSetting(file_, L"backcolor1")), "12645114");
  EXPECT_EQ(test::U8(ReadAppSetting(file_, L"FontBold1")), "False");
}

TEST_F(AppSettingsTest, ReadsStoredValuesAndKeepsDefaultsForUnreadableOnes) {
  ASSERT_TRUE(test::WriteBytes(file_,
                               "[AblagixForm]\r\n"
                               "TimerSystray=1\r\nCheckBox16=0\r\nCheck1=vielleicht\r\nAXRun=True\r\n"
                               "Option5=3\r\nTimerIntervall=4\r\nBackColor1=255\r\nBackColor2=-2147483643\r\n"
                               "FontName1=Arial\r\nFontSize0=8,25\r\nFontSize1=0\r\nFontBold1=True\r\n"
                               "Position=1500;750;12000;9000\r\nWindowState=2\r\nKommastelle=zwei\r\n"
                               "Delimeter=\r\nLogPath=C:\\Logs\r\nAXSprache=English\r\nDokumenttextAus=1\r\n"
                               "HeaderPosition=1,0,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18\r\n"));
  AppSettings s = ReadAppSettings(file_);
  EXPECT_TRUE(s.TimerSystray);
  EXPECT_FALSE(s.padTextReports);
  EXPECT_TRUE(s.colouredReports);  // not a flag: the default stays
  EXPECT_TRUE(s.startWithWindows);
  EXPECT_EQ(s.reportFormat, ReportFormat::Pdf);
  EXPECT_EQ(s.TimerIntervall, 4);
  EXPECT_EQ(s.BackColor1, 255u);
  EXPECT_EQ(s.BackColor2, 12713429u);  // a system colour number cannot be shown as a shade
  EXPECT_EQ(s.fonts[0].name, L"Tahoma");
  EXPECT_EQ(s.fonts[1].name, L"Arial");
  EXPECT_EQ(s.fonts[0].size, 8);
  EXPECT_EQ(s.fonts[1].size, 9);
  EXPECT_TRUE(s.fonts[1].bold);
  EXPECT_EQ(s.Position, (WindowRect{1500, 750, 12000, 9000}));
  EXPECT_EQ(s.WindowState, WindowShowState::Maximised);
  EXPECT_EQ(s.Kommastelle, 7);
  EXPECT_EQ(s.Delimeter, L"");  // written empty: no separator, not the default
  EXPECT_EQ(s.LogPath, L"C:\\Logs");
  EXPECT_EQ(s.AXSprache, L"English");
  EXPECT_TRUE(s.DokumenttextAus);
  ASSERT_EQ(s.HeaderPosition.size(), 19u);
  EXPECT_EQ(s.HeaderPosition[0], 1);

  // The log list's order is any order of its columns; the reports check the count.
  WriteIniString(file_, L"AblagixForm", L"LogHeaderPosition", L"2,0,1");
  EXPECT_EQ(ReadAppSettings(file_).LogHeaderPosition, (std::vector<int>{2, 0, 1}));
  WriteIniString(file_, L"AblagixForm", L"LogHeaderPosition", L"2,0,3");
  EXPECT_TRUE(ReadAppSettings(file_).LogHeaderPosition.empty());
  EXPECT_EQ(ColumnOrderText({2, 0, 1}), L"2,0,1");

  // A column order that misses, repeats or invents a column is not applied.
  for (const wchar_t* order : {L"1,0,2", L"0,0,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18",
                               L"0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,19"}) {
    WriteIniString(file_, L"AblagixForm", L"HeaderPosition", order);
    EXPECT_TRUE(ReadAppSettings(file_).HeaderPosition.empty()) << test::U8(order);
  }
}

TEST_F(AppSettingsTest, ShutDownWritesItsKeysInOrderAndSkipsThePlacementWhenMinimised) {
  AppSettings s;
  s.WindowState = WindowShowState::Maximised;
  s.Position = WindowRect{0, 15, 1500, 3000};
  s.TimerIntervall = 2;
  s.saveLogAutomatically = true;
  s.Delimeter = L",";
  s.reportFormat = ReportFormatFromButtons(false, false, true, false);
  s.LogPath = L"D:\\Berichte";
  s.HeaderPosition = ReadAppSettings(file_).HeaderPosition;  // empty: nothing stored yet
  ASSERT_TRUE(WriteShutdownSettings(file_, s, false));

  std::vector<std::wstring> keys;
  for (const auto& [key, value] : IniFile::Load(file_).SectionEntries(L"AblagixForm")) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::wstring>{L"WindowState", L"Position", L"TimerIntervall",
                                             L"TimerSystray", L"CheckBox15", L"CheckBox16",
                                             L"CheckBox17", L"Check17", L"Check1", L"Delimeter",
                                             L"Option5", L"LogPath", L"HeaderPosition",
                                             L"DokumenttextAus"}));
  EXPECT_EQ(test::U8(Key(L"WindowState")), "2");
  EXPECT_EQ(test::U8(Key(L"Position")), "0;15;1500;3000");
  EXPECT_EQ(test::U8(Key(L"CheckBox17")), "1");
  EXPECT_EQ(test::U8(Key(L"Check17")), "1");
  EXPECT_EQ(test::U8(Key(L"Option5")), "2");
  EXPECT_EQ(test::U8(Key(L"HeaderPosition")), "");
  const AppSettings back = ReadAppSettings(file_);
  EXPECT_EQ(back.Position, s.Position);
  EXPECT_EQ(back.Delimeter, L",");
  EXPECT_EQ(back.reportFormat, ReportFormat::Html);

  // Closing from the task bar: the last real placement stays, everything else is written.
  s.WindowState = WindowShowState::Normal;
  s.Position = WindowRect{-32000, -32000, 160, 28};
  s.TimerIntervall = 5;
  ASSERT_TRUE(WriteShutdownSettings(file_, s, true));
  EXPECT_EQ(test::U8(Key(L"WindowState")), "2");
  EXPECT_EQ(test::U8(Key(L"Position")), "0;15;1500;3000");
  EXPECT_EQ(test::U8(Key(L"TimerIntervall")), "5");

  // The report format buttons: the first of Text, PDF, HTML that is set, otherwise CSV.
  EXPECT_EQ(ReportFormatFromButtons(true, true, true, true), ReportFormat::Text);
  EXPECT_EQ(ReportFormatFromButtons(false, true, true, true), ReportFormat::Pdf);
  EXPECT_EQ(ReportFormatFromButtons(false, false, false, false), ReportFormat::Csv);

  // Fonts are written when changed, styles as "True"/"False", and read back alike.
  ASSERT_TRUE(WriteListFont(file_, 1, {L"Segoe UI", 11, true, false}));
  EXPECT_EQ(test::U8(Key(L"FontBold1") + Key(L"FontItalic1")), "TrueFalse");
  EXPECT_EQ(ReadAppSettings(file_).fonts[1].size, 11);
}

}  // namespace
}  // namespace ablagix
