#include <gtest/gtest.h>

#include <map>
#include <set>

#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/journal.h"
#include "engine/new_name.h"
#include "engine/run.h"
#include "engine/undo.h"
#include "fileops/path_text.h"
#include "fileops/scoped_data_home.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

TEST(NewFileName, TokensForbiddenCharactersTrimmingAndTheLongestName) {
  const PathVariableContext context{{2025, 2, 3, 9, 5, 7}, nullptr};
  FileFacts f;
  f.path = L"C:\\Urlaub 2024\\IMG_0042.JPG";
  f.size = 3 * 1048576 + 5;
  f.lastWrite = test::LocalToFileTime({2024, 5, 17, 14, 30, 5});
  f.creation = test::LocalToFileTime({2023, 12, 24, 8, 0, 0});
  struct Case {
    const wchar_t* zielname;
    std::uint64_t number;
    std::wstring expected;
  };
  const std::vector<Case> cases = {
      {L"%Ge\u00e4ndert*yyyy-mm-dd% %Ordner% %Nr*000%", 7, L"2024-05-17 Urlaub 2024 007.JPG"},
      {L"%Erstellt*yy.mm.dd% %Name%", 1, L"23.12.24 IMG_0042.JPG"},
      {L"%Nr%-%Nr*0%-%Nr*0000%", 12, L"12-12-0012.JPG"},
      {L"%DateGAYYYY%_%Ext%_%FileSizeMB%_%DateiNameTeil[5-8]%_%Curdate%", 1, L"2024_JPG_3Mb_0042_2025_02_03.JPG"},
      // The time's ":" and every other character a Windows name cannot hold.
      {L"%Ge\u00e4ndert*hh:nn% a/b\\c*d?e\"f<g>h|i\x01j", 1, L"14_30 a_b_c_d_e_f_g_h_i_j.JPG"},
      {L"  ..%Name%.. ", 1, L"IMG_0042.JPG"},
      {L"...", 1, L"Unbekannt.JPG"},
      {L"%Kamera%", 1, L"Unbekannt.JPG"},  // a token without a value
      {L"CON", 1, L"CON_.JPG"},
      {L"lpt3", 1, L"lpt3_.JPG"},
      {L"100% %Name%", 1, L"100UnbekanntName%.JPG"},  // "% %" is a token; the rest is unpaired
  };
  for (const Case& c : cases) {
    EXPECT_EQ(NewFileName(c.zielname, f, context, c.number), c.expected) << test::U8(c.zielname);
  }
  EXPECT_TRUE(UsesRunningNumber(L"a %Nr*00% b"));
  EXPECT_FALSE(UsesRunningNumber(L"%Name% Nr"));

  // Cut to fit 255 with the extension, which stays; no blank or dot left at the cut.
  const std::wstring longName = NewFileName(std::wstring(250, L'x') + L" . " + std::wstring(20, L'y'), f, context, 1);
  EXPECT_EQ(longName, std::wstring(250, L'x') + L".JPG");
  const std::wstring umlauts = NewFileName(std::wstring(300, L'\u00e4'), f, context, 1);
  EXPECT_TRUE(umlauts.ends_with(L".JPG"));
#ifdef _WIN32
  EXPECT_EQ(umlauts.size(), kLongestName);
#else
  EXPECT_EQ(FileNameToBytes(umlauts).size(), kLongestName - 1);  // two bytes each: 125 of them and ".JPG"
#endif
  FileFacts noExtension = f;
  noExtension.path = L"C:\\x\\Makefile";
  EXPECT_EQ(NewFileName(L"%Name%-alt", noExtension, context, 1), L"Makefile-alt");
}

class JournalHost : public test::TestRunHost {
 public:
  std::wstring JournalFolder() override { return journalFolder; }
  std::wstring journalFolder;
};

class RenameTest : public ::testing::Test {
 protected:
  void SetUp() override { host_.journalFolder = dir_ / L"Einstellungen\\Journal"; }

  Profile Rename(const wchar_t* zielname, const wchar_t* kollision = L"1") {
    return test::ProfileBuilder(L"Umbenennen")
        .Action(std::wstring(kAktionUmbenennen), dir_ / L"Fotos")
        .Subfolders()
        .Filter(L".jpg")
        .Collision(kollision)
        .Set(&Profile::Zielname, zielname);
  }
  void Write(const wchar_t* relative, std::string_view bytes, const LocalDateTime& written) {
    ASSERT_TRUE(WriteBytes(dir_ / relative, bytes));
    ASSERT_TRUE(test::SetLastWriteTime(dir_ / relative, test::LocalToFileTime(written)));
  }
  // Name -> content of the files in `folder`.
  std::map<std::wstring, std::string> Files(const wchar_t* folder) const {
    std::map<std::wstring, std::string> files;
    for (const std::wstring& name : test::NamesIn(dir_ / folder)) {
      if (FileExists(dir_ / folder + L"\\" + name)) files[name] = ReadBytes(dir_ / folder + L"\\" + name);
    }
    return files;
  }
  // Source name -> result word of the rows from `first` on.
  std::map<std::wstring, std::wstring> Words(std::size_t first = 0) const {
    std::map<std::wstring, std::wstring> words;
    for (std::size_t r = first; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) words[log_.Text(r, LogColumn::Datei)] = log_.Text(r, LogColumn::Ergebnis);
    }
    return words;
  }
  UndoSummary UndoLatest() {
    const std::vector<JournalSummary> journals = ListJournals(host_.journalFolder);
    EXPECT_FALSE(journals.empty());
    return journals.empty() ? UndoSummary{} : UndoRun(journals.front().path, host_, log_);
  }

  test::TempDir dir_;
  test::ScopedDataHome home_{dir_ / L"daten"};
  JournalHost host_;
  LogList log_;
};

TEST_F(RenameTest, RenamesInPlaceNumbersCollisionsSkipsTheSameNameAndTheUndoGivesTheNamesBack) {
  Write(L"Fotos\\IMG_1.jpg", "eins", {2024, 5, 17, 10, 0, 0});
  Write(L"Fotos\\IMG_2.jpg", "zwei", {2024, 5, 17, 11, 0, 0});
  Write(L"Fotos\\IMG_3.jpg", "drei", {2024, 6, 1, 9, 0, 0});
  Write(L"Fotos\\2024-06-02.jpg", "schon richtig", {2024, 6, 2, 9, 0, 0});
  Write(L"Fotos\\notiz.txt", "kein Bild", {2024, 5, 17, 10, 0, 0});
  Write(L"Fotos\\Sub\\IMG_9.jpg", "unten", {2024, 5, 17, 12, 0, 0});
  const std::map<std::wstring, std::string> before = Files(L"Fotos");
  const Profile p = Rename(L"%Ge\u00e4ndert*yyyy-mm-dd%");

  // The simulation names what would happen and changes nothing.
  EXPECT_EQ(RunProfiles({p}, RunMode::Simulate, host_, log_).errors, 0u);
  EXPECT_EQ(Files(L"Fotos"), before);
  EXPECT_EQ(Words()[L"IMG_3.jpg"], L"Umbenennen, simuliert");
  EXPECT_EQ(Words()[L"2024-06-02.jpg"], L"\u00dcbersprungen");

  log_.Clear();
  const RunSummary run = RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(run.errors, 0u);
  EXPECT_EQ(run.files, 5u);
  EXPECT_EQ(test::NamesIn(dir_ / L"Fotos"),
            (std::set<std::wstring>{L"2024-05-17.jpg", L"2024-05-17(1).jpg", L"2024-06-01.jpg", L"2024-06-02.jpg",
                                    L"notiz.txt", L"Sub"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\2024-06-01.jpg"), "drei");
  // IMG_1 and IMG_2 share the date: one gets the name, the other the next number; which is
  // which follows the order the run met them in.
  const std::string first = ReadBytes(dir_ / L"Fotos\\2024-05-17.jpg");
  const std::string second = ReadBytes(dir_ / L"Fotos\\2024-05-17(1).jpg");
  EXPECT_TRUE((first == "eins" && second == "zwei") || (first == "zwei" && second == "eins"));
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\Sub\\2024-05-17.jpg"), "unten");  // each in its own folder
  const std::map<std::wstring, std::wstring> words = Words();
  EXPECT_EQ(words.at(L"IMG_3.jpg"), L"Umbenannt");
  EXPECT_EQ(words.at(L"2024-06-02.jpg"), L"\u00dcbersprungen");  // not "(1)" of itself
  for (std::size_t r = 0; r < log_.size(); ++r) {
    if (log_.IsFileRow(r) && log_.Text(r, LogColumn::Datei) == L"IMG_3.jpg") {
      EXPECT_EQ(log_.Text(r, LogColumn::Ziel2), dir_ / L"Fotos\\2024-06-01.jpg");
      EXPECT_EQ(log_.Text(r, LogColumn::Zielpfad), dir_ / L"Fotos\\2024-06-01.jpg");
    }
  }

  // The undo gives every file its old name back.
  const UndoSummary undo = UndoLatest();
  EXPECT_EQ(undo.errors, 0u) << undo.problem;
  EXPECT_EQ(Files(L"Fotos"), before);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\Sub\\IMG_9.jpg"), "unten");
}

TEST_F(RenameTest, TheCollisionPolicyDecidesAboutATakenNameAndRunningNumbersCountEveryFile) {
  Write(L"Fotos\\a.jpg", "a", {2024, 1, 1, 0, 0, 0});
  Write(L"Fotos\\Ziel.jpg", "schon da", {2023, 1, 1, 0, 0, 0});
  Profile p = Rename(L"Ziel", L"2");
  p.Filename = L"a.jpg";
  RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(Words().at(L"a.jpg"), L"\u00dcbersprungen");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\a.jpg"), "a");

  // "immer überschreiben" replaces the other file, for good: the undo gives the renamed file
  // its name back and says that the replaced one is lost.
  p.Kollision = L"0";
  log_.Clear();
  RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(Words().at(L"a.jpg"), L"Umbenannt");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\Ziel.jpg"), "a");
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\a.jpg"));
  const std::size_t undoRows = log_.size();
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\a.jpg"), "a");
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\Ziel.jpg"));
  EXPECT_NE(Words(undoRows).at(L"a.jpg").find(L"ersetzte Datei"), std::wstring::npos);

  // "%Nr*00%" counts the files of the run from 1; the re-run of the simulated rows gives the
  // names the simulation showed.
  Write(L"Fotos\\b.jpg", "b", {2024, 1, 2, 0, 0, 0});
  Profile numbered = Rename(L"Bild %Nr*00%");
  numbered.Filename = L"?.jpg";
  log_.Clear();
  RunProfiles({numbered}, RunMode::Simulate, host_, log_);
  std::map<std::wstring, std::wstring> planned;
  for (std::size_t r = 0; r < log_.size(); ++r) {
    if (!log_.IsFileRow(r)) continue;
    planned[log_.Text(r, LogColumn::Datei)] = NamePart(log_.Text(r, LogColumn::Ziel2));
    log_.SetChecked(r, true);
  }
  ASSERT_EQ(planned.size(), 2u);
  EXPECT_NE(planned[L"a.jpg"], planned[L"b.jpg"]);
  for (const auto& [from, to] : planned) EXPECT_TRUE(to == L"Bild 01.jpg" || to == L"Bild 02.jpg") << test::U8(to);
  EXPECT_EQ(RunCheckedRows(log_, host_).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\" + planned[L"a.jpg"]), "a");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\" + planned[L"b.jpg"]), "b");
}

TEST_F(RenameTest, AMoveWithANewNameArrivesUnderItWithItsSidecar) {
  Write(L"Fotos\\IMG_7.jpg", "bild", {2024, 8, 9, 10, 0, 0});
  Write(L"Fotos\\IMG_7.xmp", "bearbeitung", {2024, 8, 9, 10, 0, 0});
  Write(L"Archiv\\Sommer 2024-08-09.jpg", "anderes", {2020, 1, 1, 0, 0, 0});
  Profile p = test::ProfileBuilder(L"Ablegen")
                  .Move(dir_ / L"Fotos", dir_ / L"Archiv")
                  .Filter(L".jpg")
                  .Sidecars()
                  .Set(&Profile::Zielname, L"Sommer %Ge\u00e4ndert*yyyy-mm-dd%");
  const RunSummary run = RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(run.errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Archiv\\Sommer 2024-08-09(1).jpg"), "bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Archiv\\Sommer 2024-08-09(1).xmp"), "bearbeitung");
  EXPECT_EQ(ReadBytes(dir_ / L"Archiv\\Sommer 2024-08-09.jpg"), "anderes");
  EXPECT_EQ(Words().at(L"IMG_7.jpg"), L"Verschoben");
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_7.jpg"), "bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_7.xmp"), "bearbeitung");

  // A rename profile without a new name does not run.
  log_.Clear();
  const RunSummary refused = RunProfiles({Rename(L"  ")}, RunMode::Execute, host_, log_);
  ASSERT_EQ(refused.refused.size(), 1u);
  EXPECT_NE(refused.refused.front().find(L"Bitte neuen Namen eingeben!"), std::wstring::npos);
  // Nor one whose metadata tokens this host cannot read: every file would be "Unbekannt".
  const RunSummary blind = RunProfiles({Rename(L"%Model% %Nr%")}, RunMode::Execute, host_, log_);
  ASSERT_EQ(blind.refused.size(), 1u);
  EXPECT_NE(blind.refused.front().find(L"Metadaten-Variablen"), std::wstring::npos);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_7.jpg"), "bild");
}

}  // namespace
}  // namespace ablagix
