#include "profiles/profile_save.h"

#include <gtest/gtest.h>

#include "fileops/file_ops.h"
#include "profiles/ini_file.h"
#include "profiles/profile.h"
#include "profiles/profile_editor.h"
#include "fileops/faulty_file_system.h"
#include "test_support.h"

namespace ablagix {
namespace {

class SaveTheProfilTest : public ::testing::Test {
 protected:
  SaveTheProfilTest() : file_(dir_ / L"Ablagix.ini") {
    CreateFolders(dir_ / L"Quelle");
    values_.description = L"Fotos";
    values_.source = dir_ / L"Quelle";
    values_.actions[1] = true;  // Kopieren
    values_.target = L"E:\\Ziel";
  }

  SaveOutcome Save() { return SaveTheProfil(values_, file_, ui_); }
  std::wstring Key(const wchar_t* key) { return ReadIniString(file_, values_.description, key, L"<fehlt>"); }

  test::TempDir dir_;
  std::wstring file_;
  ProfileEditorValues values_;
  test::RecordingUi ui_;
};

TEST_F(SaveTheProfilTest, RefusesMissingDescriptionSourceOrTargetWithoutWriting) {
  struct Case {
    void (*change)(ProfileEditorValues&);
    const wchar_t* message;
    EditorField focus;
  };
  const Case cases[] = {
      {[](ProfileEditorValues& v) { v.description.clear(); }, L"Bitte Beschreibung eintragen!",
       EditorField::Description},
      {[](ProfileEditorValues& v) { v.source += L"\\gibt es nicht"; }, L"Der Quellpfad existiert nicht!",
       EditorField::Source},
      {[](ProfileEditorValues& v) { v.source.clear(); }, L"Der Quellpfad existiert nicht!",
       EditorField::Source},
      {[](ProfileEditorValues& v) {
         v.actions = {true, false, false, false, false, false};
         v.target.clear();
       },
       L"Bitte Zielpfad eingeben!", EditorField::Target},
      {[](ProfileEditorValues& v) {
         v.dateOn = true;
         v.dateAmount = L"drei";
       },
       L"Bitte beim Datum eine ganze Zahl eingeben!", EditorField::DateAmount},
      // A size that is no number would be stored as "0": with "Größer als" nearly every file.
      {[](ProfileEditorValues& v) {
         v.sizeOn = true;
         v.sizeAmount = L"viel";
       },
       L"Bitte bei der Gr\u00f6\u00dfe eine Zahl eingeben (z. B. 500 oder 1,5)!", EditorField::SizeAmount},
      // "]" would end the section name and split the profile.
      {[](ProfileEditorValues& v) { v.description = L"Fotos [2024] alt"; },
       L"Die Beschreibung darf kein \u201E]\u201C enthalten.", EditorField::Description},
      // Relative sources depend on the current folder, which the file dialogs move.
      {[](ProfileEditorValues& v) { v.source = L"."; },
       L"Bitte den Quellpfad vollst\u00e4ndig angeben, mit Laufwerk oder Server (z. B. C:\\Fotos)!",
       EditorField::Source},
      {[](ProfileEditorValues& v) { v.source = L"Quelle"; },
       L"Bitte den Quellpfad vollst\u00e4ndig angeben, mit Laufwerk oder Server (z. B. C:\\Fotos)!",
       EditorField::Source},
  };
  for (const Case& c : cases) {
    ProfileEditorValues saved = values_;
    c.change(values_);
    ui_.shown.clear();
    SaveOutcome outcome = Save();
    EXPECT_FALSE(outcome.saved);
    EXPECT_EQ(outcome.focus, c.focus);
    ASSERT_EQ(ui_.shown.size(), 1u);
    EXPECT_EQ(ui_.shown[0].text, c.message);
    EXPECT_EQ(ui_.shown[0].icon, MessageIcon::Critical);
    EXPECT_FALSE(FileExists(file_));
    values_ = saved;
  }
  // A delete action needs no target.
  values_.actions = {false, false, true, false, false, false};
  values_.target.clear();
  EXPECT_TRUE(Save().saved);
}

TEST_F(SaveTheProfilTest, WritesEveryKeyInItsEncoding) {
  values_.includeSubfolders = true;
  values_.blockedFolders = {L"C:\\a", L"C:\\b"};
  values_.nameOn = true;
  values_.namePattern = L"IMG_*";
  values_.excludeNameOn = true;
  values_.excludeName = L"kopie,entwurf";
  values_.textOn = true;
  values_.text = L"Rechnung+2024";
  values_.includeExtOn = true;
  values_.includeExtText = L"Bilder";
  values_.includeExtFromList = true;
  values_.excludeExtOn = true;
  values_.excludeExt = L"tmp,bak";
  values_.dateOn = true;
  values_.dateKindPos = 1;
  values_.dateComparatorPos = 0;
  values_.dateAmount = L"30";
  values_.dateUnitPos = 2;
  values_.sizeOn = true;
  values_.sizeComparatorPos = 0;
  values_.sizeAmount = L"10";
  values_.sizeUnitPos = 2;
  values_.matchCase = true;
  values_.actions = {true, true, false, false, false, false};  // the first choice wins
  values_.collisionSkip = true;
  values_.metadataOn = true;
  values_.metadataNamePos = 3;
  values_.metadataEntry = L"Fotos --->%Model%";
  values_.metadataComparator = L"=";
  values_.metadataValue = L"Canon";
  values_.zipOne = true;
  values_.zipName = L"alle_%Curdate%.zip";
  SaveOutcome outcome = Save();
  ASSERT_TRUE(outcome.saved);
  EXPECT_TRUE(outcome.fileWritten);
  EXPECT_TRUE(ui_.shown.empty());
  EXPECT_EQ(Key(L"Unterverzeich"), L"1");
  EXPECT_EQ(Key(L"OrdnerStruktur"), L"0");
  EXPECT_EQ(Key(L"BlockFolder"), L"C:\\a;C:\\b;");
  EXPECT_EQ(Key(L"Filename"), L"IMG_*");
  EXPECT_EQ(Key(L"ExcludeFilename"), L"kopie,entwurf");
  EXPECT_EQ(Key(L"TextSuche"), L"Rechnung+2024");
  EXPECT_EQ(Key(L"Filter"), L"Bilder");
  EXPECT_EQ(Key(L"Extension"), L"tmp,bak");
  EXPECT_EQ(Key(L"Filedate"), L"GA<30D");
  EXPECT_EQ(Key(L"FileSize"), L">10MB");
  EXPECT_EQ(Key(L"Aktion"), L"Verschieben");
  EXPECT_EQ(Key(L"Case"), L"1");
  EXPECT_EQ(Key(L"Ziel"), L"E:\\Ziel");
  EXPECT_EQ(Key(L"Kollision"), L"2");
  EXPECT_EQ(Key(L"Metadaten"), L"%Model%;=Canon");
  EXPECT_EQ(Key(L"Zippen"), L"2");
  EXPECT_EQ(Key(L"ZipName"), L"alle_%Curdate%.zip");

  // Switching conditions off deletes their keys; re-reading gives empty columns.
  values_.blockedFolders.clear();
  values_.nameOn = values_.excludeNameOn = values_.textOn = values_.excludeExtOn = false;
  values_.dateOn = values_.sizeOn = values_.metadataOn = false;
  values_.includeExtOn = false;
  values_.zipOne = false;
  values_.zipSeparate = true;
  outcome = Save();
  EXPECT_EQ(outcome.filterShown, L"Alles");
  for (const wchar_t* key : {L"BlockFolder", L"Filename", L"ExcludeFilename", L"TextSuche",
                             L"Extension", L"Filedate", L"FileSize", L"Metadaten"}) {
    EXPECT_EQ(Key(key), L"<fehlt>") << test::U8(key);
  }
  EXPECT_EQ(Key(L"Filter"), L"Alles");
  EXPECT_EQ(Key(L"Zippen"), L"1");
  EXPECT_EQ(Key(L"ZipName"), L"alle_%Curdate%.zip");  // left as it was
  const Profile p = Einlesen(file_).front();
  EXPECT_EQ(p.Filedate, L"");
  EXPECT_EQ(p.Metadaten, L"");
}

TEST_F(SaveTheProfilTest, TypedExtensionsAreNormalisedButNotTrimmed) {
  values_.includeExtOn = true;
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"*jpg,png", L".jpg,.png"}, {L"jpg, png", L".jpg,. png"}, {L"*.PDF", L".PDF"},
      {L".doc,docx", L".doc,.docx"}, {L"", L"Alles"}};
  for (const auto& [typed, stored] : cases) {
    values_.includeExtText = typed;
    SaveOutcome outcome = Save();
    EXPECT_EQ(outcome.filterShown, stored);
    EXPECT_EQ(Key(L"Filter"), stored);
  }
}

TEST_F(SaveTheProfilTest, DateAndSizeAmountsFollowTheDateFieldsZero) {
  values_.dateOn = true;
  values_.dateAmount = L"0";
  values_.dateComparatorPos = 0;
  values_.dateUnitPos = 2;
  values_.sizeOn = true;
  values_.sizeAmount = L"500";
  values_.sizeComparatorPos = 1;
  values_.sizeUnitPos = 1;
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Filedate"), L"GA<0D");
  EXPECT_EQ(Key(L"FileSize"), L"<0KB");  // the date field's 0 zeroes the size as well

  values_.dateOn = false;
  values_.dateAmount.clear();  // an empty date field does not touch the size
  values_.dateKindPos = 0;
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"FileSize"), L"<500KB");
  EXPECT_EQ(Key(L"Filedate"), L"<fehlt>");

  values_.dateOn = true;
  values_.dateAmount = L"12";
  values_.dateComparatorPos = 1;
  values_.dateUnitPos = 5;
  values_.sizeAmount = L"1,5";  // a decimal amount is stored as typed, never as 0
  values_.sizeComparatorPos = 0;
  values_.sizeUnitPos = 3;
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Filedate"), L"EA>12Y");
  EXPECT_EQ(Key(L"FileSize"), L">1,5GB");
}

TEST_F(SaveTheProfilTest, TheLaterOptionsAreWrittenOnlyWhenOn) {
  values_.actions = {true, false, false, false, false, false, false, false};  // Verschieben
  ASSERT_TRUE(Save().saved);
  for (const wchar_t* key : {L"Identisch", L"Begleitdateien", L"Ueberwachen", L"LeereOrdner"}) EXPECT_EQ(Key(key), L"<fehlt>");
  values_.skipIdentical = values_.takeSidecars = values_.watch = values_.removeEmptied = true;
  ASSERT_TRUE(Save().saved);
  for (const wchar_t* key : {L"Identisch", L"Begleitdateien", L"Ueberwachen", L"LeereOrdner"}) EXPECT_EQ(Key(key), L"1");
  const std::vector<Profile> read = Einlesen(file_);
  ASSERT_EQ(read.size(), 1u);
  ProfileEditor editor;
  editor.LoadFromRow(read[0]);
  EXPECT_TRUE(editor.values.skipIdentical && editor.values.takeSidecars && editor.values.watch &&
              editor.values.removeEmptied);
  // A copy leaves every folder as full as it was: the option is not written for it.
  values_.actions = {false, true, false, false, false, false, false, false};
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"LeereOrdner"), L"<fehlt>");
  values_.skipIdentical = values_.takeSidecars = values_.watch = values_.removeEmptied = false;
  ASSERT_TRUE(Save().saved);
  for (const wchar_t* key : {L"Identisch", L"Begleitdateien", L"Ueberwachen", L"LeereOrdner"}) EXPECT_EQ(Key(key), L"<fehlt>");
}

TEST_F(SaveTheProfilTest, ANewNameAndDuplicatesAreSavedWhereTheActionUsesThem) {
  // "Umbenennen" needs its new name, and keeps the collision policy without a target.
  values_.actions = {false, false, false, false, false, false, true, false};
  values_.target = L"";
  values_.collisionSkip = true;
  ui_.shown.clear();
  SaveOutcome refused = Save();
  EXPECT_FALSE(refused.saved);
  EXPECT_EQ(refused.focus, EditorField::NewName);
  ASSERT_EQ(ui_.shown.size(), 1u);
  EXPECT_EQ(ui_.shown[0].text, L"Bitte neuen Namen eingeben!");
  values_.newName = L" %Ge\u00e4ndert*yyyy-mm-dd% %Nr*000% ";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Aktion"), L"Umbenennen");
  EXPECT_EQ(Key(L"Zielname"), L"%Ge\u00e4ndert*yyyy-mm-dd% %Nr*000%");
  EXPECT_EQ(Key(L"Kollision"), L"2");
  EXPECT_EQ(Key(L"Ziel"), L"<fehlt>");
  // A delete gives no file a name: the template is not kept for it.
  values_.actions = {false, false, false, true, false, false, false, false};
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Zielname"), L"<fehlt>");

  // Duplicates, against a folder that must be given in full and be there.
  values_.duplicatesOn = true;
  values_.duplicateFolder = L"Archiv";
  refused = Save();
  EXPECT_FALSE(refused.saved);
  EXPECT_EQ(refused.focus, EditorField::DuplicateFolder);
  values_.duplicateFolder = dir_ / L"gibt es nicht";
  EXPECT_EQ(Save().focus, EditorField::DuplicateFolder);
  values_.duplicateFolder = L"";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Duplikate"), L"1");
  EXPECT_EQ(Key(L"DuplikatOrdner"), L"<fehlt>");
  ProfileEditor editor;
  editor.LoadFromRow(Einlesen(file_).at(0));
  EXPECT_TRUE(editor.values.duplicatesOn);
  EXPECT_TRUE(editor.values.actions[3]);
}

TEST_F(SaveTheProfilTest, AFailedWriteSaysSoAndKeepsTheOldFile) {
  ASSERT_TRUE(Save().saved);
  const std::string before = test::ReadBytes(file_);
  values_.target = L"E:\\Neu";
  ui_.shown.clear();
  {
    test::FaultyFileSystem fs;  // the companion holds the file without sharing
    fs.Fail(test::FsOp::kWriteFileAtomic, L"Ablagix.ini", FsError::kLocked, FsSide::kTarget);
    SaveOutcome outcome = Save();
    EXPECT_FALSE(outcome.saved);
    EXPECT_FALSE(outcome.fileWritten);
  }
  ASSERT_EQ(ui_.shown.size(), 1u);
  EXPECT_NE(ui_.shown[0].text.find(L"Das Profil konnte nicht gespeichert werden"), std::wstring::npos);
  EXPECT_NE(ui_.shown[0].text.find(L"von einem anderen Programm verwendet"), std::wstring::npos);
  EXPECT_NE(ui_.shown[0].text.find(L"Ihre Eingaben bleiben erhalten"), std::wstring::npos);
  EXPECT_EQ(test::ReadBytes(file_), before);
}

TEST_F(SaveTheProfilTest, ATargetInsideTheSourceIsSavedWithANote) {
  values_.includeSubfolders = true;
  values_.target = values_.source + L"\\Sortiert\\%Jahr%";
  ASSERT_TRUE(Save().saved);
  ASSERT_EQ(ui_.shown.size(), 1u);
  EXPECT_EQ(ui_.shown[0].text, kTargetInsideSourceNote);
  ui_.shown.clear();
  values_.includeSubfolders = false;  // without subfolders the target is never walked into
  ASSERT_TRUE(Save().saved);
  EXPECT_TRUE(ui_.shown.empty());
}

TEST_F(SaveTheProfilTest, OtherActionsKeepAStaleTargetAndCollision) {
  values_.actions = {true, false, false, false, false, false};
  values_.collisionOverwrite = true;
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Kollision"), L"0");
  values_.actions = {false, false, true, false, false, false};
  values_.target = L"";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Aktion"), L"L\u00f6schenP");
  EXPECT_EQ(Key(L"Ziel"), L"E:\\Ziel");
  EXPECT_EQ(Key(L"Kollision"), L"0");
  // No action chosen at all stores an empty code.
  values_.actions = {};
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Aktion"), L"");
}

TEST_F(SaveTheProfilTest, MetadataNeedsANameAndAValue) {
  values_.metadataOn = true;
  values_.metadataEntry = L"Bitte ausw\u00e4hlen";
  values_.metadataNamePos = 0;
  values_.metadataValue = L"Canon";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Metadaten"), L"<fehlt>");
  values_.metadataNamePos = 2;
  values_.metadataEntry = L"Fotos --->%Model%";
  values_.metadataValue = L"";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Metadaten"), L"<fehlt>");
  values_.metadataValue = L"Canon";
  values_.metadataComparator = L"";
  ASSERT_TRUE(Save().saved);
  EXPECT_EQ(Key(L"Metadaten"), L"%Model%;Canon");
}

TEST_F(SaveTheProfilTest, TwoProfilesWithOneDescriptionShareTheSection) {
  values_.nameOn = true;
  values_.namePattern = L"erstes";
  ASSERT_TRUE(Save().saved);
  values_.nameOn = false;
  values_.actions = {false, false, false, true, false, false};
  ASSERT_TRUE(Save().saved);
  const auto profiles = Einlesen(file_);
  ASSERT_EQ(profiles.size(), 1u);
  EXPECT_EQ(profiles[0].Filename, L"");
  EXPECT_EQ(profiles[0].Aktion, L"L\u00f6schenX");
}

}  // namespace
}  // namespace ablagix
