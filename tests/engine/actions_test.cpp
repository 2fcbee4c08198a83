#include "engine/actions.h"
#include "engine/dispatch.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "engine/engine_test_host.h"
#include "fileops/path_text.h"
#include "fileops/shredder.h"
#include "log/log_row.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

class ActionsTest : public ::testing::Test {
 protected:
  ActionResult Handle(const std::wstring& file, const wchar_t* aktion, const wchar_t* kollision,
                      RunMode mode = RunMode::Execute, const std::wstring& target = L"") {
    ActionPlan plan{aktion, kollision, L"0", L""};
    return HandleFile(file, target.empty() ? dir_ / L"Ziel" : target, plan, mode, host_, state_);
  }
  test::TempDir dir_;
  test::TestRunHost host_;
  RunState state_;
};

TEST_F(ActionsTest, NumberingPicksTheFirstFreeNameWithoutABlank) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "neu"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\a.txt", "alt"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\a(1).txt", "alt1"));
  ActionResult r = Handle(dir_ / L"Quelle\\a.txt", L"Kopieren", L"1");
  EXPECT_EQ(r.resultWord, L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a(2).txt"), "neu");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a.txt"), "alt");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.txt"), "neu");

  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\README", "r"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\README", "x"));
  r = Handle(dir_ / L"Quelle\\README", L"verschieben", L"");  // empty policy numbers too
  EXPECT_EQ(r.resultWord, L"Verschoben");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\README(1)"), "r");
  EXPECT_FALSE(FileExists(dir_ / L"Quelle\\README"));
}

TEST_F(ActionsTest, OverwriteReplacesSkipLeavesBothFilesAlone) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.txt", "neu"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\b.txt", "alt"));
  EXPECT_EQ(Handle(dir_ / L"Quelle\\b.txt", L"Verschieben", L"2").resultWord, L"\u00dcbersprungen");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\b.txt"), "neu");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\b.txt"), "alt");
  EXPECT_EQ(Handle(dir_ / L"Quelle\\b.txt", L"Verschieben", L"0").resultWord, L"Verschoben");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\b.txt"), "neu");
  EXPECT_FALSE(FileExists(dir_ / L"Quelle\\b.txt"));
}

TEST_F(ActionsTest, SimulationTouchesNothingAndReportsSimulatedWords) {
  const std::wstring file = dir_ / L"Quelle\\c.txt";
  ASSERT_TRUE(WriteBytes(file, "c"));
  const std::wstring missing = dir_ / L"neu\\tief";
  EXPECT_EQ(Handle(file, L"Kopieren", L"1", RunMode::Simulate, missing).resultWord, L"Kopieren, simuliert");
  EXPECT_EQ(Handle(file, L"Verschieben", L"1", RunMode::Simulate, missing).resultWord, L"Verschoben, simuliert");
  EXPECT_EQ(Handle(file, L"L\u00f6schenP", L"", RunMode::Simulate).resultWord, L"L\u00f6schen P, simuliert");
  EXPECT_EQ(Handle(file, L"L\u00f6schenX", L"", RunMode::Simulate).resultWord, L"L\u00f6schen X, simuliert");
  EXPECT_EQ(Handle(file, L"L\u00f6schenS", L"", RunMode::Simulate).resultWord, L"L\u00f6schen S, simuliert");
  EXPECT_FALSE(FolderExists(dir_ / L"neu"));
  EXPECT_EQ(ReadBytes(file), "c");
}

TEST_F(ActionsTest, AFolderThatCannotBeMadeSkipsTheFileWithTheSuffix) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\d.txt", "d"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Datei statt Ordner", "x"));
  ActionResult r = Handle(dir_ / L"Quelle\\d.txt", L"Kopieren", L"1", RunMode::Execute,
                          dir_ / L"Datei statt Ordner\\Unterordner");
  EXPECT_EQ(r.resultWord, L"\u00dcbersprungen Konnte Zielpfad nicht erstellen");
  EXPECT_EQ(RowKindOf(r.resultWord), LogRowKind::Normal);  // not exactly "Übersprungen"
}

TEST_F(ActionsTest, DeletingForGoodTakesReadOnlyFilesWithoutAQuestion) {
  const std::wstring file = dir_ / L"nur lesen.txt";
  ASSERT_TRUE(WriteBytes(file, "x"));
  ASSERT_TRUE(SetAttributes(file, kAttrReadOnly));
  EXPECT_EQ(Handle(file, L"L\u00f6schenX", L"").resultWord, L"Gel\u00f6scht X");
  EXPECT_FALSE(PathExists(file));
  EXPECT_TRUE(host_.ui_.shown.empty());
  EXPECT_EQ(Handle(file, L"L\u00f6schenX", L"").resultWord, L"Fehler! Datei oder Ordner nicht gefunden");
  EXPECT_EQ(Handle(file, L"Archivieren", L"").resultWord, L"Fehler! Unbekannte Aktion Archivieren");
}

TEST_F(ActionsTest, ASourceNobodyMayReadLeavesTheOldTargetExactlyAsItWas) {
  // Yesterday's backup of a mailbox that the mail program holds open today.
  for (const wchar_t* name : {L"postfach.pst", L"neu.pst"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Quelle\\" + std::wstring(name)), "heute"));
  }
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\postfach.pst", "gestern"));
  std::wstring overwrite, numbered, moved;
  {
    test::LockedFile locked(dir_ / L"Quelle\\postfach.pst");
    if (!locked.active()) GTEST_SKIP() << "no way to lock a file here";
    overwrite = Handle(dir_ / L"Quelle\\postfach.pst", L"Kopieren", L"0").resultWord;
  }
  {
    test::LockedFile locked(dir_ / L"Quelle\\neu.pst");
    numbered = Handle(dir_ / L"Quelle\\neu.pst", L"Kopieren", L"1").resultWord;
  }
  EXPECT_EQ(RowKindOf(overwrite), LogRowKind::Error);
  EXPECT_NE(overwrite.find(L"Quelle: "), std::wstring::npos) << test::U8(overwrite);
  EXPECT_EQ(RowKindOf(numbered), LogRowKind::Error);
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\postfach.pst"), "gestern");
  EXPECT_FALSE(PathExists(dir_ / L"Ziel\\neu.pst"));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\postfach.pst"), "heute");
}

TEST_F(ActionsTest, AFileThatCannotBeShreddedIsNamedWithTheReason) {
  const std::wstring path = dir_ / L"Quelle\\konto.pdf";
  ASSERT_TRUE(WriteBytes(path, "geheim"));
  std::wstring word;
  {
    test::LockedFile locked(path);
    if (!locked.active()) GTEST_SKIP() << "no way to lock a file here";
    host_.ui_.answers = {MessageAnswer::No};  // where a locked file reads as write-protected
    word = Handle(path, L"L\u00f6schenS", L"1").resultWord;
  }
  SetShredAllReadOnly(false);
  EXPECT_EQ(RowKindOf(word), LogRowKind::Error);
  EXPECT_GT(word.size(), std::wstring(L"Fehler! ").size()) << test::U8(word);
  // Besides the row, a message says which file and why.
  const test::RecordingUi::Shown* told = nullptr;
  for (const auto& shown : host_.ui_.shown) {
    if (shown.text.starts_with(kShredCannotOpen)) told = &shown;
  }
  ASSERT_NE(told, nullptr);
  EXPECT_EQ(told->icon, MessageIcon::Critical);
  EXPECT_EQ(told->text, std::wstring(kShredCannotOpen) + L"\r\n" + path + L"\r\n" + word.substr(8));
  EXPECT_EQ(ReadBytes(path), "geheim");
  // A file that could be shredded says nothing.
  const std::size_t before = host_.ui_.shown.size();
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\alt.txt", "alt"));
  EXPECT_EQ(Handle(dir_ / L"Quelle\\alt.txt", L"L\u00f6schenS", L"1").resultWord, L"Gel\u00f6scht S");
  EXPECT_EQ(host_.ui_.shown.size(), before);
}

TEST_F(ActionsTest, NotifySpeaksOnceAndOnlyWhileTheTimerRuns) {
  const std::wstring file = dir_ / L"e.txt";
  ASSERT_TRUE(WriteBytes(file, "e"));
  EXPECT_EQ(Handle(file, L"Benachrichtigen", L"").resultWord, L"simuliert");
  EXPECT_TRUE(host_.notifications.empty());
  host_.timerRunning = true;
  EXPECT_EQ(Handle(file, L"Benachrichtigen", L"", RunMode::Simulate).resultWord, L"simuliert");
  EXPECT_EQ(Handle(file, L"benachrichtigen", L"").resultWord, L"benachrichtigt");
  EXPECT_EQ(Handle(file, L"Benachrichtigen", L"").resultWord, L"benachrichtigt");
  EXPECT_EQ(host_.notifications, std::vector<std::wstring>{L"Ablagix: Bedingung wurde erf\u00fcllt!"});
  EXPECT_EQ(ReadBytes(file), "e");
}

TEST_F(ActionsTest, ACancelledCopyLeavesNoPartialTargetAndKeepsTheOldOne) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\gross.bin", std::string(3 << 20, 'g')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\gross.bin", "alt"));
  host_.cancelCopies = true;
  EXPECT_EQ(Handle(dir_ / L"Quelle\\gross.bin", L"Kopieren", L"0").resultWord, L"Fehler! Abgebrochen");
  EXPECT_TRUE(ReadBytes(dir_ / L"Ziel\\gross.bin") == "alt");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\gross.bin").size(), 3u << 20);
  FolderReader reader;  // no temporary file left behind
  ASSERT_TRUE(reader.Open(dir_ / L"Ziel"));
  DirEntry e;
  int files = 0;
  while (reader.Next(&e)) files += e.IsDirectory() ? 0 : 1;
  EXPECT_EQ(files, 1);
}

TEST_F(ActionsTest, WhenEveryNumberIsTakenNothingIsOverwritten) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\f.txt", "0"));
  for (int n = 1; n <= 1000; ++n) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Ziel\\f(" + NumberText(static_cast<std::uint64_t>(n)) + L").txt"), "x"));
  }
  EXPECT_EQ(NumberedFreeName(dir_ / L"Ziel\\f.txt"), L"");
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\f.txt", "neu"));
  EXPECT_EQ(Handle(dir_ / L"Quelle\\f.txt", L"Verschieben", L"1").resultWord,
            L"Fehler! Alle Namen bis (1000) sind vergeben");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\f(1000).txt"), "x");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\f.txt"), "neu");
}

}  // namespace
}  // namespace ablagix

namespace ablagix {
namespace {

// A folder on another file system than the temporary folder, or "" when there is none.
std::wstring OtherVolumeFolder() {
#ifdef _WIN32
  const std::wstring shm = L"Z:\\dev\\shm";
#else
  const std::wstring shm = L"/dev/shm";
#endif
  return FolderExists(shm) ? shm : L"";
}

TEST_F(ActionsTest, AMoveToAnotherVolumeKeepsTheSourceUntilTheCopyIsComplete) {
  const std::wstring other = OtherVolumeFolder();
  if (other.empty()) GTEST_SKIP() << "no second file system here";
  test::TempDir guard;  // unique name below the other volume
  const std::wstring target = JoinPath(other, NamePart(guard.path()));
  const std::wstring file = dir_ / L"Quelle\\weit weg.bin";
  ASSERT_TRUE(WriteBytes(file, std::string(100000, 'w')));

  host_.cancelCopies = true;  // the copy fails: the source must stay whole
  EXPECT_EQ(Handle(file, L"Verschieben", L"1", RunMode::Execute, target).resultWord, L"Fehler! Abgebrochen");
  EXPECT_EQ(ReadBytes(file).size(), 100000u);
  EXPECT_FALSE(FileExists(JoinPath(target, L"weit weg.bin")));

  host_.cancelCopies = false;
  EXPECT_EQ(Handle(file, L"Verschieben", L"1", RunMode::Execute, target).resultWord, L"Verschoben");
  EXPECT_FALSE(FileExists(file));
  EXPECT_EQ(ReadBytes(JoinPath(target, L"weit weg.bin")).size(), 100000u);
  test::RemoveTree(target);
}

TEST_F(ActionsTest, EveryActionWorksOnPathsBeyondTwoHundredSixtyCharacters) {
  std::wstring deep = L"Quelle";
  for (int i = 0; i < 6; ++i) deep += L"\\" + std::wstring(40, static_cast<wchar_t>(L'p' + i)) + L"\u00fc";
  const std::wstring target = dir_ / (deep + L"\\Ziel \u00e4");
  ASSERT_GT(target.size(), 280u);
  for (const wchar_t* name : {L"kopie.txt", L"weg.txt", L"papierkorb.txt", L"schredder.txt"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (deep + L"\\" + name), "inhalt"));
  }
  auto at = [&](const wchar_t* name) { return dir_ / (deep + L"\\" + name); };
  EXPECT_EQ(Handle(at(L"kopie.txt"), L"Kopieren", L"1", RunMode::Execute, target).resultWord, L"Kopiert");
  EXPECT_EQ(Handle(at(L"kopie.txt"), L"Kopieren", L"1", RunMode::Execute, target).resultWord, L"Kopiert");
  EXPECT_EQ(ReadBytes(JoinPath(target, L"kopie(1).txt")), "inhalt");
  EXPECT_EQ(Handle(at(L"weg.txt"), L"Verschieben", L"1", RunMode::Execute, target).resultWord, L"Verschoben");
  EXPECT_EQ(ReadBytes(JoinPath(target, L"weg.txt")), "inhalt");
  EXPECT_EQ(Handle(at(L"schredder.txt"), L"L\u00f6schenS", L"").resultWord, L"Gel\u00f6scht S");
  EXPECT_FALSE(PathExists(at(L"schredder.txt")));
  EXPECT_EQ(Handle(JoinPath(target, L"weg.txt"), L"L\u00f6schenX", L"").resultWord, L"Gel\u00f6scht X");
  const std::wstring recycled = Handle(at(L"papierkorb.txt"), L"L\u00f6schenP", L"").resultWord;
  // The recycle bin either takes the file or reports the failure; it never loses it.
  if (RowKindOf(recycled) == LogRowKind::Error) {
    EXPECT_TRUE(FileExists(at(L"papierkorb.txt")));
  } else {
    EXPECT_EQ(recycled, L"Gel\u00f6scht P");
    EXPECT_FALSE(PathExists(at(L"papierkorb.txt")));
  }
}

}  // namespace
}  // namespace ablagix
