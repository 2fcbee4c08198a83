#include "profiles/profile_editor.h"

#include <gtest/gtest.h>

#include "fileops/file_ops.h"
#include "profiles/filter_list.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::RecordingUi;
using test::TempDir;

Profile Row(std::wstring name) {
  return test::ProfileBuilder(std::move(name))
      .Move(L"C:\\Eingang", L"D:\\Ablage")
      .Subfolders()
      .Set(&Profile::OrdnerStruktur, L"0")
      .Filter(L"Alles")
      .Collision(L"2")
      .CaseSensitive(false);
}

TEST(ProfileEditorLoad, DecodesDateSizeAndConditions) {
  Profile p = Row(L"Alt");
  p.Filedate = L"GA<30D";
  p.FileSize = L">10MB";
  p.BlockFolder = L"C:\\a;C:\\b;";
  p.Filename = L"IMG*";
  p.Filter = L".jpg,.png";
  p.Extension = L".tmp";
  ProfileEditor editor;
  editor.LoadFromRow(p);
  const auto& v = editor.values;
  EXPECT_EQ(v.description, L"Alt");
  EXPECT_TRUE(v.includeSubfolders);
  EXPECT_EQ(v.blockedFolders, (std::vector<std::wstring>{L"C:\\a", L"C:\\b"}));
  EXPECT_TRUE(v.nameOn);
  EXPECT_FALSE(v.excludeNameOn);
  EXPECT_TRUE(v.includeExtOn);
  EXPECT_TRUE(v.excludeExtOn);

  EXPECT_TRUE(v.dateOn);
  EXPECT_TRUE(v.sizeOn);
  EXPECT_TRUE(v.actions[0]);
  EXPECT_EQ(kCollisionEntries[static_cast<size_t>(editor.CollisionPos())], L"\u00fcberspringen");
  EXPECT_FALSE(editor.isModified);

  // Every stored form of the date and size conditions, as the editor's lists show it. Unit
  // letters in either case mean what the run reads: six months, ten megabytes; loading them as
  // days and bytes would write the wider condition back on the next save.
  struct Case {
    const wchar_t* filedate;
    const wchar_t* dateKind;
    const wchar_t* dateComparator;
    const wchar_t* dateAmount;
    const wchar_t* dateUnit;
    const wchar_t* fileSize;
    const wchar_t* sizeComparator;
    const wchar_t* sizeAmount;
    const wchar_t* sizeUnit;
  };
  const Case cases[] = {
      {L"GA<30D", L"Datei ge\u00e4ndert", L"\u00e4lter als", L"30", L"Tage", L">10MB", L"Gr\u00f6\u00dfer als", L"10", L"MB"},
      {L"EA>2Y", L"Datei erstellt", L"neuer als", L"2", L"Jahre", L"<512BY", L"Kleiner als", L"512", L"Bytes"},
      {L"ga<6m", L"Datei ge\u00e4ndert", L"\u00e4lter als", L"6", L"Monate", L">10mb", L"Gr\u00f6\u00dfer als", L"10", L"MB"},
      {L"ea<1w", L"Datei erstellt", L"\u00e4lter als", L"1", L"Wochen", L"<1,5Kb", L"Kleiner als", L"1,5", L"KB"},
  };
  for (const Case& c : cases) {
    p.Filedate = c.filedate;
    p.FileSize = c.fileSize;
    editor.LoadFromRow(p);
    const auto& w = editor.values;
    const std::string at = test::U8(c.filedate) + " " + test::U8(c.fileSize);
    EXPECT_EQ(kDateKindEntries[static_cast<size_t>(w.dateKindPos)], c.dateKind) << at;
    EXPECT_EQ(kDateComparatorEntries[static_cast<size_t>(w.dateComparatorPos)], c.dateComparator) << at;
    EXPECT_EQ(w.dateAmount, c.dateAmount) << at;
    EXPECT_EQ(kDateUnitEntries[static_cast<size_t>(w.dateUnitPos)], c.dateUnit) << at;
    EXPECT_EQ(kSizeComparatorEntries[static_cast<size_t>(w.sizeComparatorPos)], c.sizeComparator) << at;
    EXPECT_EQ(w.sizeAmount, c.sizeAmount) << at;
    EXPECT_EQ(kSizeUnitEntries[static_cast<size_t>(w.sizeUnitPos)], c.sizeUnit) << at;
  }
}

TEST(ProfileEditorLoad, ReplacesEveryFieldOfThePreviousProfile) {
  Profile full = Row(L"Voll");
  full.Filedate = L"GA<1D";
  full.Metadaten = L"%Iso%;>100";
  full.Zippen = L"2";
  full.ZipName = L"Archiv";
  full.TextSuche = L"Rechnung";
  ProfileEditor editor;
  editor.LoadFromRow(full);
  EXPECT_TRUE(editor.values.zipOne);
  EXPECT_TRUE(editor.values.textOn);
  editor.LoadFromRow(Row(L"Leer"));
  EXPECT_FALSE(editor.values.dateOn);
  EXPECT_FALSE(editor.values.metadataOn);
  EXPECT_FALSE(editor.values.zipOne);
  EXPECT_FALSE(editor.values.textOn);
  EXPECT_TRUE(editor.values.zipName.empty());
  EXPECT_FALSE(editor.values.includeExtOn);
  EXPECT_EQ(editor.values.includeExtText, L"Alles");
}

TEST(ProfileEditorLoad, SplitsMetadataIntoEntryComparatorAndValue) {
  ProfileEditor editor;
  Profile p = Row(L"Fotos");
  p.Metadaten = L"%Iso%;=400";
  editor.LoadFromRow(p);
  EXPECT_TRUE(editor.values.metadataOn);
  EXPECT_EQ(editor.metadataEntries()[static_cast<size_t>(editor.values.metadataNamePos)],
            L"Fotos --->%Iso%");
  EXPECT_EQ(editor.values.metadataComparator, L"=");
  EXPECT_EQ(editor.values.metadataValue, L"400");

  // A token the list does not offer gets an entry, so a save keeps the condition.
  p.Metadaten = L"%Model%;=Canon";
  editor.LoadFromRow(p);
  const std::wstring entry = editor.metadataEntries()[static_cast<size_t>(editor.values.metadataNamePos)];
  EXPECT_NE(entry.find(L"%Model%"), std::wstring::npos);
  EXPECT_EQ(editor.values.metadataComparator, L"=");
  EXPECT_EQ(editor.values.metadataValue, L"Canon");
  EXPECT_EQ(editor.ToEditorValues().metadataEntry, entry);

  p.Metadaten = L"%Model%;Canon";
  editor.LoadFromRow(p);
  EXPECT_TRUE(editor.values.metadataComparator.empty());
  EXPECT_EQ(editor.values.metadataValue, L"Canon");
  // Loading the same unknown token again does not grow the list.
  EXPECT_EQ(editor.metadataEntries().size(), kMetadataEntries.size() + 2);
}

TEST(ProfileEditorLoad, RoundTripsThroughSaveTheProfil) {
  TempDir dir;
  const std::wstring file = dir / L"p.ini";
  Profile p = Row(L"Runde");
  p.Quelle = dir.path();
  p.Filedate = L"GA<30D";
  p.FileSize = L">10MB";
  p.Metadaten = L"%Model%;=Canon";
  p.Filter = L"Bilder";
  p.Zippen = L"2";
  p.ZipName = L"Alle";
  ProfileEditor editor;
  editor.SetIncludeEntries({L"Alles", L"Bilder", L"Bearbeiten..."});
  editor.LoadFromRow(p);
  RecordingUi ui;
  SaveOutcome outcome = SaveTheProfil(editor.ToEditorValues(), file, ui);
  ASSERT_TRUE(outcome.saved);
  EXPECT_TRUE(ui.shown.empty());
  std::vector<Profile> back = Einlesen(file);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0].Filedate, L"GA<30D");
  EXPECT_EQ(back[0].FileSize, L">10MB");
  EXPECT_EQ(back[0].Metadaten, L"%Model%;=Canon");
  EXPECT_EQ(back[0].Filter, L"Bilder");  // a stored filter name is not turned into ".Bilder"
  EXPECT_EQ(back[0].Kollision, L"2");
  EXPECT_EQ(back[0].ZipName, L"Alle");
}

// Ticking "Dateiendung:" while the list shows its own first entry keeps every file: the entry
// is stored as it stands, in whatever language the list showed it.
TEST(ProfileEditorSave, TheAllFilesEntryTickedIsStoredAsItStands) {
  TempDir dir;
  const std::wstring file = dir / L"p.ini";
  CreateFolders(dir / L"Languages");
  WriteIniString(dir / L"Languages\\Test.lng", L"Common", L"Alles", L"All");
  RecordingUi ui;
  for (const wchar_t* language : {L"", L"Test"}) {
    SetProgramFolder(dir.path());
    SetCurrentLanguage(language);
    ProfileEditor editor;
    editor.SetIncludeEntries(IncludeExtensionEntries(L"Bilder"));
    editor.NewProfile();
    editor.values.description = L"Alles ab";
    editor.values.source = dir.path();
    editor.values.target = dir.path();
    editor.values.includeExtOn = true;
    editor.values.includeExtText = ListWordStored(editor.includeEntries().front(), kAllFilesEntry);  // as the window hands it over
    const SaveOutcome outcome = SaveTheProfil(editor.ToEditorValues(), file, ui);
    ASSERT_TRUE(outcome.saved);
    EXPECT_EQ(outcome.filterShown, L"Alles");
    EXPECT_EQ(Einlesen(file).at(0).Filter, L"Alles") << test::U8(language);
    // Typed in another case it means the same.
    editor.values.includeExtText = L"alles";
    ASSERT_TRUE(SaveTheProfil(editor.ToEditorValues(), file, ui).saved);
    EXPECT_EQ(Einlesen(file).at(0).Filter, L"Alles");
  }
  SetCurrentLanguage(L"");
  SetProgramFolder(L"");
}

TEST(ProfileEditorNew, StartsWithCopyAndRenameAndNothingPending) {
  ProfileEditor editor;
  editor.LoadFromRow(Row(L"Alt"));
  editor.FieldChanged();
  editor.NewProfile();
  EXPECT_TRUE(editor.values.description.empty());
  EXPECT_TRUE(editor.values.actions[1]);
  EXPECT_EQ(std::count(editor.values.actions.begin(), editor.values.actions.end(), true), 1);
  EXPECT_EQ(kCollisionEntries[static_cast<size_t>(editor.CollisionPos())], L"neue Datei umbenennen (1)");
  EXPECT_FALSE(editor.values.includeSubfolders);
  EXPECT_FALSE(editor.isModified);
}

TEST(ProfileEditorEdits, ListChangesSwitchTheirConditionOnUnlessFilling) {
  ProfileEditor editor;
  editor.isFilling = true;
  editor.ListChanged(EditorList::DateUnit);
  editor.FieldChanged();
  EXPECT_FALSE(editor.values.dateOn);
  EXPECT_FALSE(editor.isModified);
  editor.isFilling = false;

  editor.ListChanged(EditorList::DateKind);
  EXPECT_TRUE(editor.values.dateOn);
  EXPECT_TRUE(editor.isModified);
  editor.ListChanged(EditorList::SizeUnit);
  EXPECT_TRUE(editor.values.sizeOn);
  editor.ListChanged(EditorList::ExcludeExt);
  EXPECT_TRUE(editor.values.excludeExtOn);

  editor.NamePicked(L"IMG*");
  EXPECT_TRUE(editor.values.nameOn);
  editor.NamePicked(L"Alles");
  EXPECT_FALSE(editor.values.nameOn);
  editor.ExcludePicked(L"Nichts");
  EXPECT_FALSE(editor.values.excludeExtOn);

  editor.SetIncludeEntries({L"Alles", L"Bilder", L"Musik", L"Bearbeiten..."});
  EXPECT_EQ(editor.IncludePicked(2), IncludePick::StoredFilter);
  EXPECT_TRUE(editor.values.includeExtOn);
  EXPECT_EQ(editor.values.includeExtText, L"Musik");
  EXPECT_EQ(editor.IncludePicked(3), IncludePick::EditFilters);
  EXPECT_EQ(editor.values.includeExtText, L"Musik");  // opening the table changes nothing
  EXPECT_EQ(editor.IncludePicked(0), IncludePick::AllFiles);
  EXPECT_FALSE(editor.values.includeExtOn);
}

TEST(ProfileEditorAskIfSave, YesSavesNoDiscardsAndBothClearThePendingFlag) {
  ProfileEditor editor;
  RecordingUi ui;
  int saves = 0;
  auto save = [&] { ++saves; return false; };
  EXPECT_TRUE(editor.askIfSaveProfil(ui, save));  // nothing pending: no question
  EXPECT_TRUE(ui.shown.empty());

  editor.FieldChanged();
  ui.answers = {MessageAnswer::No};
  EXPECT_TRUE(editor.askIfSaveProfil(ui, save));
  EXPECT_EQ(saves, 0);
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].text, kAskSaveMessage);
  EXPECT_EQ(ui.shown[0].icon, MessageIcon::Question);
  EXPECT_FALSE(editor.isModified);

  editor.FieldChanged();
  ui.answers = {MessageAnswer::Yes};
  EXPECT_FALSE(editor.askIfSaveProfil(ui, save));  // a failed save stops the caller
  EXPECT_EQ(saves, 1);
  EXPECT_FALSE(editor.isModified);
}

TEST(DeleteCheckedProfiles, NeedsCheckMarksAndConsent) {
  TempDir dir;
  const std::wstring file = dir / L"p.ini";
  ASSERT_TRUE(WriteIniString(file, L"A", L"Quelle", L"x"));
  ASSERT_TRUE(WriteIniString(file, L"B", L"Quelle", L"y"));
  ASSERT_TRUE(WriteIniString(file, L"C", L"Quelle", L"z"));
  RecordingUi ui;
  EXPECT_FALSE(DeleteCheckedProfiles(file, {}, ui));
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].text, kNothingCheckedMessage);
  EXPECT_EQ(ui.shown[0].icon, MessageIcon::Exclamation);

  ui.answers = {MessageAnswer::No};
  EXPECT_FALSE(DeleteCheckedProfiles(file, {L"A"}, ui));
  EXPECT_EQ(Einlesen(file).size(), 3u);

  ui.answers = {MessageAnswer::Yes};
  EXPECT_TRUE(DeleteCheckedProfiles(file, {L"A", L"C"}, ui));
  EXPECT_EQ(ui.shown.back().text, L"Sollen alle angehakten Profile gel\u00f6scht werden?");
  std::vector<Profile> left = Einlesen(file);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].Beschreibung, L"B");
}

TEST(ProfileEditorTokens, TargetTokensNamePartAndRefusedCharacters) {
  EXPECT_EQ(AppendTargetToken(L"E:\\Fotos", L"%Ext%"), L"E:\\Fotos\\%Ext%");
  EXPECT_EQ(AppendTargetToken(L"E:\\Fotos\\", L"%Ext%"), L"E:\\Fotos\\%Ext%");
  EXPECT_EQ(AppendTargetToken(L"", L"%Ext%"), L"%Ext%");
  EXPECT_EQ(NamePartToken(L"[3-8]"), L"%DateiNameTeil[3-8]%");

  for (wchar_t c : std::wstring(L"?\\/:<>*\"")) EXPECT_TRUE(IsRefusedZipNameChar(c)) << int(c);
  for (wchar_t c : std::wstring(L";%aZ_-. \u00e4")) EXPECT_FALSE(IsRefusedZipNameChar(c)) << int(c);
  EXPECT_EQ(RefusedCharsMessage(), L"Unerlaubte Zeichen:  ? \\ / : ; < > * \"");

  EXPECT_TRUE(MetadataEntryNeedsReference(L"Fotos Km--->%Umkreissuche%"));
  EXPECT_FALSE(MetadataEntryNeedsReference(L"Fotos --->%Iso%"));
  EXPECT_EQ(MetadataListEntries().front(), L"Bitte ausw\u00e4hlen");
}

TEST(NameHistory, KeepsNewestFirstWithoutDuplicatesAndWithinTheLimit) {
  std::vector<std::wstring> history = ParseNameHistory(L"");
  EXPECT_EQ(history, (std::vector<std::wstring>{L"Alles"}));
  RememberNamePattern(history, L"a*");
  RememberNamePattern(history, L"b*");
  RememberNamePattern(history, L"a*");
  RememberNamePattern(history, L"Alles");
  EXPECT_EQ(history, (std::vector<std::wstring>{L"Alles", L"a*", L"b*"}));
  EXPECT_EQ(ParseNameHistory(NameHistoryText(history)), history);
  for (int i = 0; i < 30; ++i) RememberNamePattern(history, L"p" + std::to_wstring(i));
  EXPECT_EQ(history.size(), kNameHistoryLimit + 1);
  EXPECT_EQ(history[1], L"p29");
}

}  // namespace
}  // namespace ablagix
