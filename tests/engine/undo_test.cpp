#include "engine/undo.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <map>
#include <set>

#include "base/sha256.h"
#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/journal.h"
#include "fileops/file_stamp.h"
#include "fileops/path_text.h"
#include "fileops/scoped_data_home.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

class JournalHost : public test::TestRunHost {
 public:
  std::wstring JournalFolder() override { return journalFolder; }
  std::wstring journalFolder;
};

// Every file below `root`, folders left out: relative path -> last-write time, size, bytes.
// A run and its undo must give back exactly this.
void CollectTree(const std::wstring& root, const std::wstring& relative, const std::set<std::wstring>& skip,
                 std::map<std::wstring, std::string>* tree) {
  FolderReader reader;
  if (!reader.Open(relative.empty() ? root : JoinPath(root, relative))) return;
  DirEntry e;
  while (reader.Next(&e)) {
    if (e.name == L"." || e.name == L".." || skip.contains(e.name)) continue;
    const std::wstring path = relative.empty() ? e.name : relative + L"/" + e.name;
    if (e.IsDirectory()) {
      CollectTree(root, path, skip, tree);
    } else {
      (*tree)[path] = std::to_string(e.lastWrite) + " " + std::to_string(e.size) + " " + ReadBytes(JoinPath(root, path));
    }
  }
}

std::map<std::wstring, std::string> Tree(const std::wstring& root) {
  std::map<std::wstring, std::string> tree;
  CollectTree(root, L"", {L"Einstellungen", L"daten"}, &tree);
  return tree;
}

class UndoTest : public ::testing::Test {
 protected:
  void SetUp() override { host_.journalFolder = dir_ / L"Einstellungen\\Journal"; }

  Profile Make(const wchar_t* name, std::wstring_view aktion, const wchar_t* quelle, const wchar_t* ziel = L"",
               const wchar_t* zippen = L"0") {
    return test::ProfileBuilder(name)
        .Action(std::wstring(aktion), dir_ / quelle, *ziel ? dir_ / ziel : L"")
        .Subfolders()
        .Filter(L"Alles")
        .Zip(zippen, L"Sammlung");
  }

  std::vector<JournalSummary> Journals() const { return ListJournals(host_.journalFolder); }
  std::string Key() const { return JournalKey(host_.journalFolder); }

  UndoSummary UndoLatest() {
    const std::vector<JournalSummary> journals = Journals();
    EXPECT_FALSE(journals.empty());
    undoFirstRow_ = log_.size();
    return journals.empty() ? UndoSummary{} : UndoRun(journals.front().path, host_, log_);
  }

  // Source name -> result word of the undo's rows.
  std::map<std::wstring, std::wstring> UndoWords() const {
    std::map<std::wstring, std::wstring> words;
    for (std::size_t r = undoFirstRow_; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) words[log_.Text(r, LogColumn::Datei)] = log_.Text(r, LogColumn::Ergebnis);
    }
    return words;
  }

  test::TempDir dir_;
  test::ScopedDataHome home_{dir_ / L"daten"};
  JournalHost host_;
  LogList log_;
  std::size_t undoFirstRow_ = 0;
};

TEST_F(UndoTest, PutsMovedCopiedRecycledAndZippedFilesBackAsTheyWere) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\Urlaub\\IMG_1.jpg", "erstes Bild"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_2.jpg", "zweites Bild"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ablage\\IMG_2.jpg", "ein anderes Bild, schon da"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Belege\\r1.pdf", "Rechnung 1"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Alt\\weg \u00e4.tmp", "alt"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Packen\\a.txt", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\c.txt", "c"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\d.txt", std::string(100000, 'd')));
  const std::map<std::wstring, std::string> before = Tree(dir_.path());

  const std::vector<Profile> profiles = {
      Make(L"Fotos", kAktionVerschieben, L"Fotos", L"Ablage"),
      Make(L"Belege", kAktionKopieren, L"Belege", L"Kopien"),
      Make(L"Belege gezippt", kAktionKopieren, L"Belege", L"Zips", L"1"),
      Make(L"Aufr\u00e4umen", kAktionLoeschenP, L"Alt"),
      Make(L"Packen", kAktionVerschieben, L"Packen", L"Zips", L"1"),
      Make(L"Sammeln", kAktionVerschieben, L"Sammeln", L"Zips", L"2"),
      Make(L"Sammeln kopiert", kAktionKopieren, L"Belege", L"Zips kopiert", L"2"),
  };
  const RunSummary run = RunProfiles(profiles, RunMode::Execute, host_, log_);
  ASSERT_EQ(run.errors, 0u);
  ASSERT_EQ(run.files, 9u);
  EXPECT_TRUE(FileExists(dir_ / L"Zips kopiert\\Sammlung.zip"));
  EXPECT_EQ(ReadBytes(dir_ / L"Ablage\\IMG_2(1).jpg"), "zweites Bild");
  EXPECT_TRUE(FileExists(dir_ / L"Zips\\Sammlung.zip"));
  EXPECT_FALSE(FileExists(dir_ / L"Alt\\weg \u00e4.tmp"));
  EXPECT_NE(Tree(dir_.path()), before);

  const UndoSummary undo = UndoLatest();
  EXPECT_EQ(undo.errors, 0u) << undo.problem;
  EXPECT_EQ(undo.files, 9u);
  EXPECT_EQ(Tree(dir_.path()), before);
  EXPECT_EQ(UndoWords(), (std::map<std::wstring, std::wstring>{{L"IMG_1.jpg", L"Zur\u00fcckgeholt"},
                                                              {L"IMG_2.jpg", L"Zur\u00fcckgeholt"},
                                                              {L"r1.pdf", L"Entfernt"},
                                                              {L"weg \u00e4.tmp", L"Zur\u00fcckgeholt"},
                                                              {L"a.txt", L"Zur\u00fcckgeholt"},
                                                              {L"c.txt", L"Zur\u00fcckgeholt"},
                                                              {L"d.txt", L"Zur\u00fcckgeholt"}}));
  // Newest change first: the last profile's files lead the undo's rows.
  EXPECT_EQ(log_.Text(undoFirstRow_ + 1, LogColumn::Ziel2), dir_ / L"Zips kopiert\\Sammlung.zip");

  // Undone once, never twice.
  const std::vector<JournalSummary> journals = Journals();
  ASSERT_EQ(journals.size(), 1u);
  EXPECT_TRUE(journals[0].undone);
  EXPECT_TRUE(journals[0].finished);
  EXPECT_EQ(journals[0].changes, 9u);
  const UndoSummary again = UndoLatest();
  EXPECT_TRUE(again.alreadyUndone);
  EXPECT_EQ(again.files, 0u);
  EXPECT_EQ(Tree(dir_.path()), before);
}

TEST_F(UndoTest, KeepsWhatIsNotTheRunsAnyMoreAndNeverOverwrites) {
  for (const wchar_t* name : {L"r1.pdf", L"r2.pdf", L"r3.pdf"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (std::wstring(L"Belege\\") + name), ToUtf8(name)));
  }
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_1.jpg", "altes Bild"));
  ASSERT_TRUE(WriteBytes(dir_ / L"M\u00fcll\\weg.tmp", "weg"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Neu\\liste.txt", "neue Liste"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Stand\\liste.txt", "alte Liste"));
  Profile replace = Make(L"Ersetzen", kAktionKopieren, L"Neu", L"Stand");
  replace.Kollision = L"0";
  const std::vector<Profile> profiles = {Make(L"Belege", kAktionKopieren, L"Belege", L"Kopien"),
                                         Make(L"Fotos", kAktionVerschieben, L"Fotos", L"Ablage"),
                                         Make(L"M\u00fcll", kAktionLoeschenX, L"M\u00fcll"), replace};
  ASSERT_EQ(RunProfiles(profiles, RunMode::Execute, host_, log_).errors, 0u);

  // Meanwhile: one copy edited, one original deleted, a new file where the moved one was.
  ASSERT_TRUE(WriteBytes(dir_ / L"Kopien\\r1.pdf", "r1.pdf, bearbeitet"));
  ASSERT_TRUE(RemoveFile(dir_ / L"Belege\\r2.pdf"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_1.jpg", "neues Bild"));

  const UndoSummary undo = UndoLatest();
  EXPECT_EQ(undo.errors, 0u);
  const std::map<std::wstring, std::wstring> words = UndoWords();
  EXPECT_EQ(words.at(L"r1.pdf"), L"Nicht r\u00fcckg\u00e4ngig: Die Kopie wurde seit dem Lauf ge\u00e4ndert und bleibt");
  EXPECT_EQ(words.at(L"r2.pdf"), L"Nicht r\u00fcckg\u00e4ngig: Das Original fehlt oder wurde ge\u00e4ndert; die Kopie bleibt");
  EXPECT_EQ(words.at(L"r3.pdf"), L"Entfernt");
  EXPECT_EQ(words.at(L"IMG_1.jpg"), L"Zur\u00fcckgeholt");
  EXPECT_EQ(words.at(L"weg.tmp"), L"Nicht r\u00fcckg\u00e4ngig: Die Datei wurde endg\u00fcltig gel\u00f6scht");
  EXPECT_EQ(words.at(L"liste.txt"), L"Entfernt (die ersetzte Datei am Ziel l\u00e4sst sich nicht zur\u00fcckholen)");
  EXPECT_EQ(ReadBytes(dir_ / L"Kopien\\r1.pdf"), "r1.pdf, bearbeitet");
  EXPECT_EQ(ReadBytes(dir_ / L"Kopien\\r2.pdf"), "r2.pdf");
  EXPECT_FALSE(FileExists(dir_ / L"Kopien\\r3.pdf"));
  EXPECT_EQ(ReadBytes(dir_ / L"Belege\\r3.pdf"), "r3.pdf");
  // The occupied place keeps its new file; the old one comes back beside it, and its row
  // says where.
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1.jpg"), "neues Bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1(1).jpg"), "altes Bild");
  EXPECT_FALSE(FileExists(dir_ / L"Ablage\\IMG_1.jpg"));
  for (std::size_t r = undoFirstRow_; r < log_.size(); ++r) {
    if (log_.Text(r, LogColumn::Datei) == L"IMG_1.jpg") {
      EXPECT_EQ(log_.Text(r, LogColumn::Quell2), dir_ / L"Fotos\\IMG_1(1).jpg");
    }
  }
  // Every file has its final answer: the run counts as undone.
  EXPECT_TRUE(Journals().front().undone);
}

TEST_F(UndoTest, AnUndoThatWasStoppedGoesOnWhereItStopped) {
  for (int i = 1; i <= 4; ++i) ASSERT_TRUE(WriteBytes(dir_ / (L"Fotos\\IMG_" + std::to_wstring(i) + L".jpg"), "bild"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\a.txt", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\b.txt", "b"));
  const std::map<std::wstring, std::string> before = Tree(dir_.path());
  const std::vector<Profile> profiles = {Make(L"Sammeln", kAktionVerschieben, L"Sammeln", L"Zips", L"2"),
                                         Make(L"Fotos", kAktionVerschieben, L"Fotos", L"Ablage")};
  ASSERT_EQ(RunProfiles(profiles, RunMode::Execute, host_, log_).errors, 0u);

  // Esc after the fourth photo and after the first archived file: the archive must stay, its
  // other file is still only in there.
  host_.polls = 0;
  host_.escAfterPolls = 6;
  const UndoSummary stopped = UndoLatest();
  EXPECT_TRUE(stopped.aborted);
  EXPECT_EQ(stopped.files, 5u);
  EXPECT_TRUE(FileExists(dir_ / L"Zips\\Sammlung.zip"));
  EXPECT_FALSE(Journals().front().undone);

  host_.escAfterPolls = 0;
  host_.polls = 0;
  const UndoSummary rest = UndoLatest();
  EXPECT_FALSE(rest.aborted);
  EXPECT_EQ(rest.errors, 0u);
  EXPECT_EQ(rest.files, 2u);  // the archive's two files; the photos were done before
  EXPECT_EQ(Tree(dir_.path()), before);
  EXPECT_TRUE(Journals().front().undone);
}

TEST_F(UndoTest, UndoesWhatAJournalCutShortRecords) {
  for (int i = 1; i <= 4; ++i) ASSERT_TRUE(WriteBytes(dir_ / (L"Fotos\\IMG_" + std::to_wstring(i) + L".jpg"), "bild"));
  ASSERT_EQ(RunProfiles({Make(L"Fotos", kAktionVerschieben, L"Fotos", L"Ablage")}, RunMode::Execute, host_, log_).errors,
            0u);
  // As if the process died while writing the third file's "Erledigt": the move itself was
  // made, and the fourth file's is not written down at all.
  const std::wstring journal = Journals().front().path;
  std::string bytes = ReadBytes(journal);
  const std::size_t cut = bytes.find("Erledigt\t3\t");
  ASSERT_NE(cut, std::string::npos);
  bytes.resize(cut + 12);
  ASSERT_TRUE(WriteFileAtomic(journal, bytes));
  JournalContents contents;
  std::wstring error;
  ASSERT_TRUE(ReadJournal(journal, Key(), &contents, &error)) << error;
  ASSERT_EQ(contents.entries.size(), 3u);
  EXPECT_EQ(contents.entries[2].outcome, JournalEntry::Outcome::kOpen);
  EXPECT_EQ(contents.damagedLines, 1u);
  EXPECT_FALSE(contents.finished);

  const UndoSummary undo = UndoLatest();
  EXPECT_EQ(undo.errors, 0u);
  EXPECT_EQ(undo.files, 3u);
  for (const JournalEntry& e : contents.entries) {
    EXPECT_EQ(ReadBytes(e.from), "bild") << ToUtf8(e.from);
    EXPECT_FALSE(PathExists(e.to));
  }
  // The fourth file stays where the run put it: nothing says it was moved.
  std::size_t inAblage = 0;
  FolderReader reader;
  ASSERT_TRUE(reader.Open(dir_ / L"Ablage"));
  for (DirEntry e; reader.Next(&e);) inAblage += e.IsDirectory() ? 0 : 1;
  EXPECT_EQ(inAblage, 1u);
  // The undo's own lines did not merge with the cut one.
  ASSERT_TRUE(ReadJournal(journal, Key(), &contents, &error));
  EXPECT_TRUE(contents.undone);
  EXPECT_EQ(contents.damagedLines, 1u);

  // Changes noted as planned only, and the state a crash can leave each in.
  ASSERT_TRUE(WriteBytes(dir_ / L"Quer\\beide.bin", "kopiert, Quelle noch da"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quer\\nie.bin", "nie bewegt"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quer\\kopie.bin", "kopiert"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quer\\umbenannt.bin", "umbenannt"));
  ASSERT_TRUE(CreateFolders(dir_ / L"Ziel"));
  const std::map<std::wstring, std::string> expected = Tree(dir_.path());
  {
    RunJournal planned(host_.journalFolder, kJournalKindRun);
    planned.BeginProfile(L"Quer", {dir_ / L"Quer", dir_ / L"Ziel"});
    planned.Before(JournalAction::kMove, dir_ / L"Quer\\beide.bin", dir_ / L"Ziel\\beide.bin", false, L"");
    planned.Before(JournalAction::kMove, dir_ / L"Quer\\nie.bin", dir_ / L"Ziel\\nie.bin", false, L"");
    planned.Before(JournalAction::kCopy, dir_ / L"Quer\\kopie.bin", dir_ / L"Ziel\\kopie.bin", false, L"");
    planned.Before(JournalAction::kMove, dir_ / L"Quer\\umbenannt.bin", dir_ / L"Ziel\\umbenannt.bin", false, L"");
  }
  // A copy across drives that was complete when the process died, before the source went; a
  // copy that was complete; a rename that was made.
  for (const wchar_t* name : {L"beide.bin", L"kopie.bin"}) {
    ASSERT_TRUE(CopyFileReplacing(dir_ / (std::wstring(L"Quer\\") + name), dir_ / (std::wstring(L"Ziel\\") + name)));
    FileStamp stamp;
    ASSERT_TRUE(ReadFileStamp(dir_ / (std::wstring(L"Quer\\") + name), &stamp));
    ASSERT_TRUE(SetFileLastWrite(dir_ / (std::wstring(L"Ziel\\") + name), stamp.lastWrite));
  }
  ASSERT_EQ(ActiveFileSystem().Rename(dir_ / L"Quer\\umbenannt.bin", dir_ / L"Ziel\\umbenannt.bin", false).error,
            FsError::kNone);
  const UndoSummary crashed = UndoLatest();
  EXPECT_EQ(crashed.errors, 0u);
  EXPECT_EQ(UndoWords(), (std::map<std::wstring, std::wstring>{{L"beide.bin", L"Entfernt"},
                                                              {L"nie.bin", L"Unver\u00e4ndert"},
                                                              {L"kopie.bin", L"Entfernt"},
                                                              {L"umbenannt.bin", L"Zur\u00fcckgeholt"}}));
  EXPECT_EQ(Tree(dir_.path()), expected);
}

TEST_F(UndoTest, OnlyExecutedChangesAreJournaledAndTheSettingsStayAsTheyWere) {
  const std::wstring settings = dir_ / L"Einstellungen";
  ASSERT_TRUE(WriteBytes(dir_ / L"Einstellungen\\AblagixSetting.ini", "[AblagixForm]\r\nLogPath=x\r\n"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Einstellungen\\Ablagix.ini", "[Fotos]\r\nAktion=Kopieren\r\n"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Belege\\r1.pdf", "r1"));
  const Profile copy = Make(L"Belege", kAktionKopieren, L"Belege", L"Kopien");

  RunProfiles({copy}, RunMode::Simulate, host_, log_);
  EXPECT_FALSE(PathExists(host_.journalFolder));
  RunProfiles({Make(L"Leer", kAktionKopieren, L"Leer", L"Kopien")}, RunMode::Execute, host_, log_);
  EXPECT_TRUE(Journals().empty()) << "a run that changes nothing leaves no journal";
  RunProfiles({copy}, RunMode::Execute, host_, log_);
  ASSERT_EQ(Journals().size(), 1u);
  EXPECT_EQ(Journals().front().kind, kJournalKindRun);
  EXPECT_EQ(Journals().front().profiles, std::vector<std::wstring>{L"Belege"});

  // The checked rows of the log, run again, are a run of their own.
  ASSERT_TRUE(RemoveFile(dir_ / L"Kopien\\r1.pdf"));
  for (std::size_t r = 0; r < log_.size(); ++r) log_.SetChecked(r, log_.Text(r, LogColumn::Ergebnis) == L"Kopiert");
  ASSERT_EQ(RunCheckedRows(log_, host_).errors, 0u);
  ASSERT_EQ(Journals().size(), 2u);
  EXPECT_EQ(Journals().front().kind, kJournalKindCheckedRows);
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_FALSE(FileExists(dir_ / L"Kopien\\r1.pdf"));

  // Journals are files of their own: nothing else in the settings folder changed.
  EXPECT_EQ(ReadBytes(dir_ / L"Einstellungen\\AblagixSetting.ini"), "[AblagixForm]\r\nLogPath=x\r\n");
  EXPECT_EQ(ReadBytes(dir_ / L"Einstellungen\\Ablagix.ini"), "[Fotos]\r\nAktion=Kopieren\r\n");
  std::map<std::wstring, std::string> tree;
  CollectTree(settings, L"", {L"Journal"}, &tree);
  EXPECT_EQ(tree.size(), 2u);
}

bool Rename(const std::wstring& from, const std::wstring& to) { return ActiveFileSystem().Rename(from, to, false).ok(); }

TEST_F(UndoTest, AJournalIsHeldByItsRunAndSealedByThisInstallation) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Belege\\r1.pdf", "r1"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Opfer\\Vertrag.doc", "der einzige Vertrag"));
  ASSERT_EQ(RunProfiles({Make(L"Belege", kAktionKopieren, L"Belege", L"Kopien")}, RunMode::Execute, host_, log_).errors,
            0u);
  const std::wstring first = Journals().front().path;
#ifndef _WIN32
  struct stat st {};
  ASSERT_EQ(::stat(test::U8(first).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u) << "journals name the user's files: theirs alone";
#endif

  // A run that is still going holds its journal: the undo touches nothing and says so.
  ASSERT_TRUE(WriteBytes(dir_ / L"Laufend\\a.txt", "a"));
  {
    RunJournal running(host_.journalFolder, kJournalKindRun);
    running.BeginProfile(L"Laufend", {dir_ / L"Laufend", dir_ / L"Kopien"});
    const JournalMark mark = running.Before(JournalAction::kCopy, dir_ / L"Laufend\\a.txt", dir_ / L"Kopien\\a.txt", false, L"");
    ASSERT_TRUE(CopyFileReplacing(dir_ / L"Laufend\\a.txt", dir_ / L"Kopien\\a.txt"));
    running.After(mark, true, dir_ / L"Kopien\\a.txt", L"");
    const UndoSummary busy = UndoRun(running.path(), host_, log_);
    EXPECT_TRUE(busy.busy);
    EXPECT_NE(busy.problem.find(L"l\u00e4uft noch"), std::wstring::npos) << ToUtf8(busy.problem);
    EXPECT_TRUE(FileExists(dir_ / L"Kopien\\a.txt"));
  }
  // Once it ended, the undo takes it, and the newest run is the one begun last.
  ASSERT_EQ(Journals().size(), 2u);
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_FALSE(FileExists(dir_ / L"Kopien\\a.txt"));
  EXPECT_EQ(UndoWords().count(L"r1.pdf"), 0u);

  // A journal's name says nothing: a file called after the year 9999 is not the newest run,
  // and one that another installation sealed (or nobody) is refused whole.
  ASSERT_TRUE(Rename(first, JoinPath(host_.journalFolder, L"Lauf-99991231-000000-000.txt")));
  ASSERT_EQ(Journals().size(), 2u);
  EXPECT_EQ(Journals().front().profiles, std::vector<std::wstring>{L"Laufend"});
  EXPECT_EQ(Journals().back().name, L"Lauf-99991231-000000-000");
  std::wstring foreign;
  {
    RunJournal other(dir_ / L"Fremd\\Journal", kJournalKindRun);
    other.BeginProfile(L"Fremd", {dir_ / L"Opfer"});
    other.After(other.Before(JournalAction::kCopy, dir_ / L"Opfer\\Vertrag.doc", dir_ / L"Opfer\\Vertrag.doc", false, L""),
                true, dir_ / L"Opfer\\Vertrag.doc", L"");
    foreign = other.path();
  }
  const std::wstring planted = JoinPath(host_.journalFolder, L"Lauf-99991231-235959-999.txt");
  ASSERT_TRUE(CopyFileReplacing(foreign, planted));
  EXPECT_NE(Journals().front().path, planted);
  EXPECT_FALSE(Journals().back().readable);
  const UndoSummary refused = UndoRun(planted, host_, log_);
  EXPECT_NE(refused.problem.find(L"Siegel"), std::wstring::npos) << ToUtf8(refused.problem);
  EXPECT_EQ(ReadBytes(dir_ / L"Opfer\\Vertrag.doc"), "der einzige Vertrag");

  // A sealed line that names a place outside its run's folders is refused too.
  {
    RunJournal crafted(host_.journalFolder, kJournalKindRun);
    crafted.BeginProfile(L"Belege", {dir_ / L"Belege", dir_ / L"Kopien"});
    for (const std::wstring& victim : {dir_ / L"Opfer\\Vertrag.doc", dir_ / L"Belege\\..\\Opfer\\Vertrag.doc"}) {
      crafted.After(crafted.Before(JournalAction::kMove, victim, dir_ / L"Kopien\\x.doc", false, L""), true, victim, L"");
    }
    foreign = crafted.path();
  }
  const UndoSummary outside = UndoRun(foreign, host_, log_);
  EXPECT_EQ(outside.errors, 2u);
  EXPECT_EQ(ReadBytes(dir_ / L"Opfer\\Vertrag.doc"), "der einzige Vertrag");
}

TEST_F(UndoTest, NoChangeIsMadeThatItsJournalCannotHold) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.txt", "b"));
  // The settings folder cannot take the journal: a file stands where its folder should be.
  ASSERT_TRUE(WriteBytes(dir_ / L"Einstellungen", "keine Ordner hier"));
  for (const std::wstring_view aktion : {kAktionVerschieben, kAktionLoeschenX}) {
    for (const std::wstring_view zippen : {L"0", L"1", L"2"}) {
      if (aktion == kAktionLoeschenX && zippen != L"0") continue;
      log_.Clear();
      const RunSummary run = RunProfiles({Make(L"M", aktion, L"Quelle", L"Ziel", std::wstring(zippen).c_str())},
                                         RunMode::Execute, host_, log_);
      EXPECT_EQ(run.errors, 2u) << ToUtf8(aktion) << " " << ToUtf8(zippen);
      for (std::size_t r = 0; r < log_.size(); ++r) {
        if (!log_.IsFileRow(r)) continue;
        EXPECT_TRUE(log_.Text(r, LogColumn::Ergebnis).starts_with(L"Fehler! Journal"))
            << ToUtf8(log_.Text(r, LogColumn::Ergebnis));
      }
      EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.txt"), "a");
      EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\b.txt"), "b");
      EXPECT_FALSE(PathExists(dir_ / L"Ziel")) << "not even its folder is made";
    }
  }
}

TEST_F(UndoTest, UndoTouchesOnlyTheFilesAndFoldersItsRunLeft) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Scans\\Scan.pdf", "alter Scan"));
  ASSERT_TRUE(CreateFolders(dir_ / L"Vorhanden"));
  Profile move = Make(L"Scans", kAktionVerschieben, L"Scans", L"Vorhanden\\Neu\\2024\\Tief");
  move.Kollision = L"0";
  const std::map<std::wstring, std::string> before = Tree(dir_.path());
  ASSERT_EQ(RunProfiles({move}, RunMode::Execute, host_, log_).errors, 0u);
  // A newer run puts another scan under the same name.
  ASSERT_TRUE(WriteBytes(dir_ / L"Scans\\Scan.pdf", "neuer Scan, ein anderes Dokument"));
  ASSERT_EQ(RunProfiles({move}, RunMode::Execute, host_, log_).errors, 0u);
  ASSERT_EQ(Journals().size(), 2u);

  // The older run's file is gone from there: its undo leaves the newer one alone.
  undoFirstRow_ = log_.size();
  EXPECT_EQ(UndoRun(Journals()[1].path, host_, log_).errors, 0u);
  EXPECT_EQ(UndoWords().at(L"Scan.pdf"),
            L"Nicht r\u00fcckg\u00e4ngig: Die Datei wurde seit dem Lauf ge\u00e4ndert und bleibt");
  EXPECT_FALSE(FileExists(dir_ / L"Scans\\Scan.pdf"));
  // Also a file of the same size and time under that name is another file.
  const std::wstring moved = dir_ / L"Vorhanden\\Neu\\2024\\Tief\\Scan.pdf";
  FileStamp stamp;
  ASSERT_TRUE(ReadFileStamp(moved, &stamp));
  ASSERT_TRUE(Rename(moved, dir_ / L"beiseite.pdf"));
  ASSERT_TRUE(WriteBytes(moved, "neuer Scan, ein anderes Dokumenx"));
  ASSERT_TRUE(SetFileLastWrite(moved, stamp.lastWrite));
  undoFirstRow_ = log_.size();
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_TRUE(UndoWords().at(L"Scan.pdf").starts_with(L"Nicht r\u00fcckg\u00e4ngig"));
  EXPECT_EQ(ReadBytes(moved), "neuer Scan, ein anderes Dokumenx");

  // Put back as the run left it, the undo of a fresh run brings it home and takes away the
  // folders the run made, the deepest first, but not one that holds something else.
  ASSERT_TRUE(RemoveFile(moved));
  ASSERT_TRUE(Rename(dir_ / L"beiseite.pdf", dir_ / L"Scans\\Scan.pdf"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Scans\\Zweiter.pdf", "zweiter"));
  const std::map<std::wstring, std::string> beforeThird = Tree(dir_.path());
  ASSERT_TRUE(RemoveEmptyFolder(dir_ / L"Vorhanden\\Neu\\2024\\Tief"));
  ASSERT_TRUE(RemoveEmptyFolder(dir_ / L"Vorhanden\\Neu\\2024"));
  ASSERT_TRUE(RemoveEmptyFolder(dir_ / L"Vorhanden\\Neu"));
  ASSERT_EQ(RunProfiles({move}, RunMode::Execute, host_, log_).errors, 0u);
  ASSERT_TRUE(WriteBytes(dir_ / L"Vorhanden\\Neu\\notiz.txt", "vom Benutzer"));
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_FALSE(PathExists(dir_ / L"Vorhanden\\Neu\\2024"));
  EXPECT_TRUE(FileExists(dir_ / L"Vorhanden\\Neu\\notiz.txt"));
  EXPECT_TRUE(FolderExists(dir_ / L"Vorhanden"));
  ASSERT_TRUE(RemoveFile(dir_ / L"Vorhanden\\Neu\\notiz.txt"));
  ASSERT_TRUE(RemoveEmptyFolder(dir_ / L"Vorhanden\\Neu"));
  EXPECT_EQ(Tree(dir_.path()), beforeThird);
  (void)before;

  // A target that is the source under another spelling: nothing is copied onto itself, so
  // nothing is journalled that an undo could take for a copy.
  Profile self = Make(L"Selbst", kAktionKopieren, L"Scans", L"Scans\\.");
  self.Kollision = L"0";
  self.Unterverzeich = L"0";
  const std::size_t journals = Journals().size();
  log_.Clear();
  ASSERT_EQ(RunProfiles({self}, RunMode::Execute, host_, log_).errors, 0u);
  EXPECT_EQ(Journals().size(), journals);
  EXPECT_EQ(ReadBytes(dir_ / L"Scans\\Zweiter.pdf"), "zweiter");
}

TEST_F(UndoTest, AnArchiveThatWasThereBeforeTheRunStays) {
  // The first run's files live only in the archive; the second run adds to it. Undoing the
  // second run must not take the archive, and with it the first run's files, away.
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\a.txt", "a"));
  const Profile collect = Make(L"Sammeln", kAktionVerschieben, L"Sammeln", L"Zips", L"2");
  ASSERT_EQ(RunProfiles({collect}, RunMode::Execute, host_, log_).errors, 0u);
  ASSERT_TRUE(WriteBytes(dir_ / L"Sammeln\\b.txt", "b"));
  ASSERT_EQ(RunProfiles({collect}, RunMode::Execute, host_, log_).errors, 0u);
  ASSERT_EQ(test::ZipEntries(dir_ / L"Zips\\Sammlung.zip").size(), 2u);
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Sammeln\\b.txt"), "b");
  EXPECT_EQ(test::ZipEntries(dir_ / L"Zips\\Sammlung.zip").count("a.txt"), 1u);
  undoFirstRow_ = log_.size();
  EXPECT_EQ(UndoRun(Journals()[1].path, host_, log_).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Sammeln\\a.txt"), "a");
}

TEST_F(UndoTest, JournalsAreKeptForTheDaysTheSettingSays) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Alt\\geheim.pdf", "x"));
  ASSERT_EQ(RunProfiles({Make(L"Weg", kAktionLoeschenS, L"Alt")}, RunMode::Execute, host_, log_).errors, 0u);
  ASSERT_EQ(Journals().size(), 1u);
  const std::wstring old = Journals().front().path;
  const FileTime day = 24LL * 3600 * 10000000;
  ASSERT_TRUE(SetFileLastWrite(old, CurrentFileTime() - 91 * day));
  // A journal its run still holds stays, however old.
  RunJournal running(host_.journalFolder, kJournalKindRun);
  running.BeginProfile(L"Laufend", {dir_ / L"Laufend"});
  running.FolderMade(dir_ / L"Laufend\\x");
  ASSERT_TRUE(SetFileLastWrite(running.path(), CurrentFileTime() - 200 * day));
  EXPECT_EQ(RemoveOldJournals(host_.journalFolder, 100, CurrentFileTime()), 0u);
  // The next run clears what is older than the setting (90 days unless set).
  EXPECT_EQ(host_.JournalDays(), 90);
  RunProfiles({Make(L"Leer", kAktionKopieren, L"Leer", L"Kopien")}, RunMode::Execute, host_, log_);
  EXPECT_FALSE(PathExists(old)) << "the name of a shredded file is not kept for good";
  EXPECT_TRUE(PathExists(running.path()));
}

TEST(ReadJournal, RefusesWhatIsNoJournalAndSkipsDamagedLines) {
  test::TempDir dir;
  std::wstring error;
  JournalContents contents;
  const std::string key = JournalKey(dir / L"Journal");
  ASSERT_EQ(key.size(), 32u);
  EXPECT_FALSE(ReadJournal(dir / L"fehlt.txt", key, &contents, &error));
  ASSERT_TRUE(WriteBytes(dir / L"fremd.txt", "Vorhaben\t1\tVerschieben\n"));
  EXPECT_FALSE(ReadJournal(dir / L"fremd.txt", key, &contents, &error));
  EXPECT_NE(error.find(L"Keine Journaldatei"), std::wstring::npos);

  std::wstring path;
  {
    RunJournal journal(dir / L"Journal", kJournalKindRun);
    ASSERT_TRUE(WriteBytes(dir / L"echt 100%.txt", "x"));
    journal.BeginProfile(L"Profil mit\tTab", {dir.path()});
    // Tabs, line ends and "%" in a path must not break the line apart.
    journal.After(journal.Before(JournalAction::kCopy, dir / L"a\tb%\n.txt", dir / L"Ziel\\a.txt", false, L""), true,
                  dir / L"echt 100%.txt", L"");
    journal.After(journal.Before(JournalAction::kRecycle, dir / L"zwei.txt", L"", false, L""), false, L"", L"");
    path = journal.path();
  }
  ASSERT_TRUE(ReadJournal(path, key, &contents, &error)) << error;
  ASSERT_EQ(contents.entries.size(), 2u);
  EXPECT_EQ(contents.entries[0].from, dir / L"a\tb%\n.txt");
  EXPECT_FALSE(contents.entries[0].source.has_value());
  EXPECT_EQ(contents.entries[0].profile, L"Profil mit\tTab");
  EXPECT_EQ(contents.entries[0].written->size, 1u);
  EXPECT_EQ(contents.entries[1].outcome, JournalEntry::Outcome::kFailed);
  EXPECT_TRUE(contents.finished);

  // One changed byte in a line: that line is dropped, the others stay.
  std::string bytes = ReadBytes(path);
  const std::size_t second = bytes.find("Vorhaben\t2");
  ASSERT_NE(second, std::string::npos);
  bytes[second + 9] = '7';
  ASSERT_TRUE(WriteFileAtomic(path, bytes));
  ASSERT_TRUE(ReadJournal(path, key, &contents, &error));
  EXPECT_EQ(contents.entries.size(), 1u);
  EXPECT_EQ(contents.damagedLines, 1u);

  // A journal of a newer program is not guessed at.
  const std::string newer =
      "Ablagix-Journal\t9\t" + HexOf(HmacSha256(key, "\nAblagix-Journal\t9\t"), 16);
  char check[16];
  std::snprintf(check, sizeof check, "\t%08lx\n", crc32(0, reinterpret_cast<const Bytef*>(newer.data()), static_cast<uInt>(newer.size())));
  ASSERT_TRUE(WriteFileAtomic(path, newer + check));
  EXPECT_FALSE(ReadJournal(path, key, &contents, &error));
  EXPECT_NE(error.find(L"neueren"), std::wstring::npos);
}

TEST_F(UndoTest, EmptiedSubfoldersGoDeepestFirstAndComeBackWithTheUndo) {
  // Moved away: everything in a\b, a\c and d\e\f; a\keep holds a file the filter leaves,
  // "leer" was empty before the run, and the source itself is emptied too.
  for (const wchar_t* file : {L"Eingang\\a\\b\\x.txt", L"Eingang\\a\\c\\y.txt", L"Eingang\\d\\e\\f\\z.txt",
                              L"Eingang\\s.txt"}) {
    ASSERT_TRUE(WriteBytes(dir_ / file, "text"));
  }
  ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\a\\keep\\.versteckt", "bleibt"));
  ASSERT_TRUE(ActiveFileSystem().CreateFolders(dir_ / L"Eingang\\leer").ok());
  Profile p = Make(L"Eingang", kAktionVerschieben, L"Eingang", L"Ablage");
  p.Filter = L".txt";

  // Without the option, and in a simulation, every folder stays.
  RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a\\b") && FolderExists(dir_ / L"Eingang\\d\\e\\f"));
  ASSERT_EQ(UndoLatest().errors, 0u);
  p.LeereOrdner = L"1";
  auto folderRows = [&](const wchar_t* word) {
    std::vector<std::wstring> folders;
    for (std::size_t r = 0; r < log_.size(); ++r) {
      if (log_.Text(r, LogColumn::Ergebnis) == word) folders.push_back(log_.Text(r, LogColumn::Pfad) + log_.Text(r, LogColumn::Datei));
    }
    return folders;
  };
  log_.Clear();
  RunProfiles({p}, RunMode::Simulate, host_, log_);
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a\\b") && FolderExists(dir_ / L"Eingang\\d\\e\\f"));
  const std::vector<std::wstring> simulated = folderRows(L"Ordner entfernen, simuliert");

  log_.Clear();
  const RunSummary run = RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(run.errors, 0u);
  EXPECT_EQ(run.files, 4u);  // the folders' rows are no files
  const std::vector<std::wstring> removed = folderRows(L"Ordner entfernt");
  EXPECT_EQ(simulated, removed);  // the simulation said which folders would go
  EXPECT_EQ(removed, (std::vector<std::wstring>{dir_ / L"Eingang\\d\\e\\f", dir_ / L"Eingang\\a\\b", dir_ / L"Eingang\\a\\c",
                                                dir_ / L"Eingang\\d\\e", dir_ / L"Eingang\\d"}));
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang"));               // never the source
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a\\keep"));      // holds a hidden file
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a"));            // holds a\keep
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\leer"));         // empty before the run
  EXPECT_FALSE(FolderExists(dir_ / L"Eingang\\d"));
  // Running the folders' rows again does nothing: they name no file.
  for (std::size_t r = 0; r < log_.size(); ++r) log_.SetChecked(r, log_.Text(r, LogColumn::Ergebnis) == L"Ordner entfernt");
  EXPECT_EQ(RunCheckedRows(log_, host_).errors, 0u);

  // The undo makes them again and puts the files back into them.
  ASSERT_EQ(UndoLatest().errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\d\\e\\f\\z.txt"), "text");
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\a\\b\\x.txt"), "text");
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a\\c"));

  // After a delete nothing comes back but the folder.
  Profile wipe = Make(L"Weg", kAktionLoeschenX, L"Eingang");
  wipe.Filter = L".txt";
  wipe.LeereOrdner = L"1";
  RunProfiles({wipe}, RunMode::Execute, host_, log_);
  EXPECT_FALSE(FolderExists(dir_ / L"Eingang\\a\\b"));
  UndoLatest();
  EXPECT_TRUE(FolderExists(dir_ / L"Eingang\\a\\b"));
  EXPECT_FALSE(FileExists(dir_ / L"Eingang\\a\\b\\x.txt"));
}

}  // namespace
}  // namespace ablagix
