// Whole runs against a file system that fails the way the world does. Whatever fails, every
// file must be where it was or complete where it went, and the log row must say why.
#include <gtest/gtest.h>

#include <algorithm>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "fileops/faulty_file_system.h"
#include "fileops/path_text.h"
#include "log/log_row.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::FsOp;
using test::ReadBytes;
using test::WriteBytes;

class FaultInjectionTest : public ::testing::Test {
 protected:
  Profile Make(const wchar_t* aktion, const wchar_t* kollision) {
    return test::ProfileBuilder(L"Sicherung").Action(aktion, dir_ / L"Quelle", dir_ / L"Ziel").Subfolders().Collision(kollision);
  }
  RunSummary Run(const Profile& p) {
    log_.Clear();
    return RunProfiles({p}, RunMode::Execute, host_, log_);
  }
  // A column of the row for `name`, by default its result.
  std::wstring ResultOf(const std::wstring& name, LogColumn column = LogColumn::Ergebnis) const {
    for (size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r) && log_.Text(r, LogColumn::Datei) == name) return log_.Text(r, column);
    }
    return L"(keine Zeile)";
  }
  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
  test::FaultyFileSystem fs_;  // declared last: gone before the folder is cleaned up
};

// The names in a folder; a staged copy left behind would show up here.
using NameList = std::set<std::wstring>;

TEST_F(FaultInjectionTest, AFullDiskDuringACopyLeavesTheOldTargetAndNoPartialFile) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\postfach.pst", std::string(3 << 20, 'n')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\postfach.pst", "gestrige Sicherung"));
  fs_.Fail(FsOp::kStageCopy, L"postfach", FsError::kDiskFull, FsSide::kTarget).afterBytes = 1;
  RunSummary s = Run(Make(L"Kopieren", L"0"));
  EXPECT_EQ(s.errors, 1u);
  EXPECT_EQ(ResultOf(L"postfach.pst"), L"Fehler! Ziel: Nicht gen\u00fcgend Speicherplatz");
  EXPECT_TRUE(ReadBytes(dir_ / L"Ziel\\postfach.pst") == "gestrige Sicherung");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), NameList{L"postfach.pst"});

  // The same with a new name: nothing at all appears.
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\neu.pst", std::string(3 << 20, 'n')));
  fs_.Fail(FsOp::kStageCopy, L"neu.pst", FsError::kDiskFull, FsSide::kTarget).afterBytes = 1;
  Run(Make(L"Kopieren", L"1"));
  EXPECT_EQ(ResultOf(L"neu.pst"), L"Fehler! Ziel: Nicht gen\u00fcgend Speicherplatz");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), (NameList{L"postfach(1).pst", L"postfach.pst"}));
}

TEST_F(FaultInjectionTest, AMoveAcrossVolumesDeletesTheSourceOnlyAfterACompleteCopy) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.jpg", std::string(200000, 'a')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.jpg", "b"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\c.jpg", "c"));
  // Every rename reports another volume, so the move becomes copy and delete.
  fs_.Fail(FsOp::kRename, L"", FsError::kNotSameVolume).times = -1;
  fs_.Fail(FsOp::kStageCopy, L"a.jpg", FsError::kDiskFull, FsSide::kTarget).afterBytes = 1;
  fs_.Fail(FsOp::kRemoveFile, L"b.jpg", FsError::kLocked, FsSide::kSource);
  RunSummary s = Run(Make(L"Verschieben", L"1"));
  EXPECT_EQ(s.errors, 2u);
  EXPECT_EQ(ResultOf(L"a.jpg"), L"Fehler! Ziel: Nicht gen\u00fcgend Speicherplatz");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.jpg").size(), 200000u);
  // The source could not be deleted, so the move did not happen: the copy goes again.
  EXPECT_EQ(ResultOf(L"b.jpg"), L"Fehler! Quelle: Datei wird von einem anderen Programm verwendet");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\b.jpg"), "b");
  EXPECT_EQ(ResultOf(L"c.jpg"), L"Verschoben");
  EXPECT_FALSE(FileExists(dir_ / L"Quelle\\c.jpg"));
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), NameList{L"c.jpg"});
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\c.jpg"), "c");
}

TEST_F(FaultInjectionTest, ASourceThatIsLockedUnreadableOrGoneLeavesTheOldTargetAlone) {
  for (const wchar_t* name : {L"gesperrt.db", L"geheim.db", L"weg.db"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Quelle\\" + std::wstring(name)), "neu"));
    ASSERT_TRUE(WriteBytes(dir_ / (L"Ziel\\" + std::wstring(name)), "alt"));
  }
  fs_.Fail(FsOp::kStageCopy, L"gesperrt", FsError::kLocked, FsSide::kSource);
  fs_.Fail(FsOp::kStageCopy, L"geheim", FsError::kAccessDenied, FsSide::kSource);
  // Deleted by someone between the scan and the copy: the real copy finds nothing.
  fs_.Before(FsOp::kStageCopy, L"weg.db", [&] { RemoveFile(dir_ / L"Quelle\\weg.db"); });
  RunSummary s = Run(Make(L"Kopieren", L"0"));
  EXPECT_EQ(s.errors, 3u);
  EXPECT_EQ(ResultOf(L"gesperrt.db"), L"Fehler! Quelle: Datei wird von einem anderen Programm verwendet");
  EXPECT_EQ(ResultOf(L"geheim.db"), L"Fehler! Quelle: Zugriff verweigert");
  EXPECT_EQ(ResultOf(L"weg.db"), L"Fehler! Quelle: Datei oder Ordner nicht gefunden");
  for (const wchar_t* name : {L"gesperrt.db", L"geheim.db", L"weg.db"}) {
    EXPECT_EQ(ReadBytes(dir_ / (L"Ziel\\" + std::wstring(name))), "alt") << test::U8(name);
  }
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), (NameList{L"geheim.db", L"gesperrt.db", L"weg.db"}));
}

TEST_F(FaultInjectionTest, ATargetFolderThatVanishesMidRunIsMadeAgain) {
  for (const wchar_t* name : {L"1.txt", L"2.txt", L"3.txt"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Quelle\\" + std::wstring(name)), "x"));
  }
  // Someone deletes the target folder after the first copy.
  fs_.Before(FsOp::kStageCopy, L"2.txt", [&] { test::RemoveTree(dir_ / L"Ziel"); });
  fs_.Before(FsOp::kStageCopy, L"3.txt", [&] { test::RemoveTree(dir_ / L"Ziel"); });
  Profile p = Make(L"Kopieren", L"1");
  p.Filter = L".txt";
  RunSummary s = Run(p);
  EXPECT_EQ(s.errors, 0u);
  for (const wchar_t* name : {L"1.txt", L"2.txt", L"3.txt"}) EXPECT_EQ(ResultOf(name), L"Kopiert");
  EXPECT_TRUE(FileExists(dir_ / L"Ziel\\3.txt"));

  // A folder that cannot be made again skips the file with the folder message.
  fs_.Before(FsOp::kStageCopy, L"1.txt", [&] { test::RemoveTree(dir_ / L"Ziel"); });
  fs_.Fail(FsOp::kCreateFolders, L"Ziel", FsError::kAccessDenied, FsSide::kTarget).times = -1;
  s = Run(p);
  EXPECT_EQ(ResultOf(L"1.txt"), L"\u00dcbersprungen Konnte Zielpfad nicht erstellen");
}

TEST_F(FaultInjectionTest, ATargetThatRefusesWritingOrIsReadOnly) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "neu"));
  // A folder without write permission, then a write-protected stick on another volume.
  fs_.Fail(FsOp::kStageCopy, L"a.txt", FsError::kAccessDenied, FsSide::kTarget);
  Run(Make(L"Kopieren", L"1"));
  EXPECT_EQ(ResultOf(L"a.txt"), L"Fehler! Ziel: Zugriff verweigert");
  fs_.Fail(FsOp::kRename, L"a.txt", FsError::kNotSameVolume);
  fs_.Fail(FsOp::kStageCopy, L"a.txt", FsError::kReadOnlyMedium, FsSide::kTarget);
  Run(Make(L"Verschieben", L"1"));
  EXPECT_EQ(ResultOf(L"a.txt"), L"Fehler! Ziel: Datentr\u00e4ger ist schreibgesch\u00fctzt");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.txt"), "neu");

  // A read-only file in the way: "immer überschreiben" replaces it (real calls), the other
  // policies leave it alone.
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\a.txt", "alt"));
  ASSERT_TRUE(SetAttributes(dir_ / L"Ziel\\a.txt", kAttrReadOnly));
  Run(Make(L"Kopieren", L"2"));
  EXPECT_EQ(ResultOf(L"a.txt"), L"\u00dcbersprungen");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a.txt"), "alt");
  Run(Make(L"Kopieren", L"0"));
  EXPECT_EQ(ResultOf(L"a.txt"), L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a.txt"), "neu");
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "neuer"));
  ASSERT_TRUE(SetAttributes(dir_ / L"Ziel\\a.txt", kAttrReadOnly));
  Run(Make(L"Verschieben", L"0"));
  EXPECT_EQ(ResultOf(L"a.txt"), L"Verschoben");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a.txt"), "neuer");
  SetAttributes(dir_ / L"Ziel\\a.txt", kAttrNormal);
}

TEST_F(FaultInjectionTest, AFolderThatCannotBeListedInTheMiddleOfTheTreeSkipsOnlyItself) {
  for (const wchar_t* f : {L"a\\1.txt", L"a\\mitte\\2.txt", L"a\\mitte\\tiefer\\3.txt", L"b\\4.txt"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Quelle\\" + std::wstring(f)), "x"));
  }
  fs_.Fail(FsOp::kOpenFolder, L"mitte", FsError::kAccessDenied).times = -1;
  RunSummary s = Run(Make(L"Kopieren", L"1"));
  EXPECT_EQ(s.files, 2u);
  EXPECT_EQ(s.errors, 0u);
  EXPECT_FALSE(s.aborted);
  EXPECT_EQ(ResultOf(L"1.txt"), L"Kopiert");
  EXPECT_EQ(ResultOf(L"4.txt"), L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a\\mitte\\2.txt"), "x");
}

TEST_F(FaultInjectionTest, ANameTakenByAnotherProgramWhileNumberingIsNeverOverwritten) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "unsere"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.txt", "unsere"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\c.txt", "unsere"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\a.txt", "alt"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\c.txt", "alt"));
  // a(1).txt is free at the check and taken at the commit.
  fs_.Before(FsOp::kCommit, L"a(1).txt", [&] { WriteBytes(dir_ / L"Ziel\\a(1).txt", "fremd"); });
  Profile number = Make(L"Kopieren", L"1");
  number.Filename = L"a.txt";
  Run(number);
  EXPECT_EQ(ResultOf(L"a.txt"), L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a(1).txt"), "fremd");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a(2).txt"), "unsere");
  EXPECT_EQ(ResultOf(L"a.txt", LogColumn::Ziel2), dir_ / L"Ziel\\a(2).txt");

  // "überspringen": b.txt appears between the check and the commit.
  fs_.Before(FsOp::kCommit, L"b.txt", [&] { WriteBytes(dir_ / L"Ziel\\b.txt", "fremd"); });
  Profile skip = Make(L"Kopieren", L"2");
  skip.Filename = L"b.txt";
  Run(skip);
  EXPECT_EQ(ResultOf(L"b.txt"), L"\u00dcbersprungen");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\b.txt"), "fremd");

  // A move on one volume: c(1).txt appears just before the rename.
  fs_.Before(FsOp::kRename, L"c.txt", [&] { WriteBytes(dir_ / L"Ziel\\c(1).txt", "fremd"); });
  Profile move = Make(L"Verschieben", L"1");
  move.Filename = L"c.txt";
  Run(move);
  EXPECT_EQ(ResultOf(L"c.txt"), L"Verschoben");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\c(1).txt"), "fremd");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\c(2).txt"), "unsere");
  EXPECT_FALSE(FileExists(dir_ / L"Quelle\\c.txt"));
}

TEST_F(FaultInjectionTest, AnAbortDuringACopyRemovesThePartialCopyAndStopsTheRun) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\gross.bin", std::string(20 << 20, 'g')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\klein\\klein.bin", "k"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\gross.bin", "alt"));
  // Esc (or Ctrl+C) arrives while the big file is being copied.
  fs_.Before(FsOp::kStageCopy, L"gross", [] { RequestAbort(); });
  Profile first = Make(L"Kopieren", L"0");
  first.Unterverzeich = L"0";
  Profile second = Make(L"Kopieren", L"0");
  second.Beschreibung = L"Danach";
  second.Quelle = dir_ / L"Quelle\\klein";
  RunSummary s = RunProfiles({first, second}, RunMode::Execute, host_, log_);
  EXPECT_TRUE(s.aborted);
  EXPECT_EQ(ResultOf(L"gross.bin"), L"Fehler! Abgebrochen");
  EXPECT_TRUE(ReadBytes(dir_ / L"Ziel\\gross.bin") == "alt");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), NameList{L"gross.bin"});
  EXPECT_EQ(ResultOf(L"klein.bin"), L"(keine Zeile)");  // the next profile never started
  ClearAbort();
}

}  // namespace
}  // namespace ablagix
