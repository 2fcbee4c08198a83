// Watching real folders: the system's change reports, the settle queue and runs together, as
// the command line and the window drive them.
#include "engine/watch_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <thread>
#include <utility>

#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "engine/watch_copies_warning.h"
#include "fileops/file_ops.h"
#include "profiles/profile_editor.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using std::chrono::milliseconds;

WatchTime Now() { return WatchClockNow(); }

// The files directly in `folder`.
std::size_t FilesIn(const std::wstring& folder) {
  std::error_code error;
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(folder), error)) {
    if (entry.is_regular_file()) ++count;
  }
  return count;
}

// A run host that does something in the middle of a run, once its first file is handled.
class MidRunHost : public test::TestRunHost {
 public:
  void Progress(const RunProgress& progress) override {
    if (progress.filesDone > 0 && midRun) std::exchange(midRun, {})();
  }
  std::function<void()> midRun;
};

WatchOptions Quick() {
  WatchOptions o;
  o.timing.settle = milliseconds(300);
  o.timing.gather = milliseconds(300);
  return o;
}

class WatchServiceTest : public ::testing::Test {
 protected:
  Profile Mover(const wchar_t* name, const std::wstring& source, const std::wstring& target) {
    return test::ProfileBuilder(name).Move(source, target).Subfolders().Filter(L".txt").Watched();
  }

  struct Run {
    std::wstring profile;
    WatchTime at;
    bool wholeSource = false;
  };

  // Polls and runs what is due, as a host does, for `limit` or until `done` says so.
  void Watch(WatchService& watch, milliseconds limit, const std::function<bool()>& done = {}) {
    const WatchTime end = Now() + limit;
    while (Now() < end && !(done && done())) {
      for (const std::wstring& note : watch.TakeNotes()) AppendWatchNote(log_, note);
      const std::vector<WatchRun> due = watch.Due(Now());
      if (due.empty()) {
        std::this_thread::sleep_for(milliseconds(20));
        continue;
      }
      for (const WatchRun& run : due) runs_.push_back({run.profile.Beschreibung, Now(), run.wholeSource});
      const std::size_t first = log_.size();
      RunWatchRuns(due, host_, log_);
      watch.Ran(log_, first, Now());
    }
  }

  std::size_t RunsOf(const std::wstring& profile) const {
    return static_cast<std::size_t>(
        std::count_if(runs_.begin(), runs_.end(), [&](const Run& r) { return r.profile == profile; }));
  }

  std::vector<std::wstring> NotesInLog() const {
    std::vector<std::wstring> notes;
    for (std::size_t r = 0; r < log_.size(); ++r) {
      if (!log_.IsFileRow(r) && log_.Text(r, 0) == L"**********") notes.push_back(log_.Text(r, 1));
    }
    return notes;
  }

  test::TempDir dir_;
  MidRunHost host_;
  LogList log_;
  std::vector<Run> runs_;
};

TEST_F(WatchServiceTest, DroppedFilesAreHandledOnceAfterTwoQuietSeconds) {
  // The real timing: nothing shortened.
  WatchService watch{WatchOptions{}};
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  watch.Start({Mover(L"Post", dir_ / L"Eingang", dir_ / L"Ablage")}, Now());
  ASSERT_EQ(watch.watchedCount(), 1u);
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\a.txt", "a"));
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\b.txt", "bb"));
  // A folder made after watching began is watched too, with what arrives in it.
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang\\neu"));
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\neu\\c.txt", "ccc"));
  const WatchTime dropped = Now();

  Watch(watch, milliseconds(12000), [&] { return !runs_.empty(); });
  ASSERT_EQ(runs_.size(), 1u);
  EXPECT_GE((runs_[0].at - dropped).count(), 2000);
  for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt"}) {
    EXPECT_TRUE(FileExists(dir_ / (std::wstring(L"Ablage\\") + name))) << test::U8(name);
  }
  // Handled once: the moves themselves start nothing.
  Watch(watch, milliseconds(1500));
  EXPECT_EQ(runs_.size(), 1u);
}

TEST_F(WatchServiceTest, AFileWrittenSlowlyIsTakenOnlyWhenComplete) {
  WatchOptions options = Quick();
  options.timing.settle = milliseconds(1000);
  WatchService watch(options);
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  watch.Start({Mover(L"Kamera", dir_ / L"Eingang", dir_ / L"Ablage")}, Now());
  // A photo copied from a slow card: a piece every quarter second for five seconds, the file
  // open all the while.
  std::atomic<long long> finished{0};
  std::thread writer([&] {
    std::ofstream out(std::filesystem::path(dir_ / L"Eingang\\karte.txt"), std::ios::binary);
    const std::string piece(1024, 'x');
    for (int i = 0; i < 20; ++i) {
      out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
      out.flush();
      std::this_thread::sleep_for(milliseconds(250));
    }
    out.close();
    finished = Now().count();
  });
  Watch(watch, milliseconds(12000), [&] { return !runs_.empty(); });
  writer.join();
  ASSERT_EQ(runs_.size(), 1u);
  EXPECT_GE(runs_[0].at.count(), finished.load());
  EXPECT_EQ(test::ReadBytes(dir_ / L"Ablage\\karte.txt").size(), 20u * 1024u);
}

TEST_F(WatchServiceTest, ADownloadThatStallsWhileOpenIsTakenOnlyOnceClosedAndWhole) {
  // A browser's download: written, stalled with the file open for far longer than the settle
  // time, then the rest and the close. Zipped and deleted half-way, the rest would go into a
  // file that no longer has a name.
  WatchService watch(Quick());
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  Profile zip = Mover(L"Eingang", dir_ / L"Eingang", dir_ / L"Ablage");
  zip.Filter = L"Alles";
  zip.Zippen = L"1";
  watch.Start({zip}, Now());
  std::atomic<long long> closed{0};
  std::thread download([&] {
    std::ofstream out(std::filesystem::path(dir_ / L"Eingang\\download.bin"), std::ios::binary);
    const std::string first(100000, 'A');
    out.write(first.data(), static_cast<std::streamsize>(first.size()));
    out.flush();
    std::this_thread::sleep_for(milliseconds(3000));
    const std::string rest(100000, 'B');
    out.write(rest.data(), static_cast<std::streamsize>(rest.size()));
    out.close();
    closed = Now().count();
  });
  Watch(watch, milliseconds(15000), [&] { return !runs_.empty(); });
  download.join();
  ASSERT_EQ(runs_.size(), 1u);
  EXPECT_GE(runs_[0].at.count(), closed.load());
  std::map<std::string, std::string> entries = test::ZipEntries(dir_ / L"Ablage\\download.bin.zip");
  ASSERT_EQ(entries.count("download.bin"), 1u);
  const std::string& got = entries["download.bin"];
  EXPECT_TRUE(got == std::string(100000, 'A') + std::string(100000, 'B'))
      << got.size() << " bytes, of them " << std::count(got.begin(), got.end(), 'B') << " from after the stall";
  EXPECT_FALSE(FileExists(dir_ / L"Eingang\\download.bin"));
}

TEST_F(WatchServiceTest, TwentyArrivalsAmongTenThousandFilesMakeTwentyCopies) {
  // An import folder that holds 10,000 files already, copied with "(1)" numbering: each file
  // that arrives is copied once, not the whole folder again with every arrival.
  constexpr int kOld = 10000;
  for (int i = 0; i < kOld; ++i) {
    const std::wstring name = (i % 10 == 0 ? L"Eingang\\alt\\f" : L"Eingang\\f") + std::to_wstring(i) + L".txt";
    ASSERT_TRUE(test::WriteBytes(dir_ / name, "x"));
  }
  Profile copy = Mover(L"Sichern", dir_ / L"Eingang", dir_ / L"Kopien");
  copy.Aktion = L"Kopieren";
  WatchService watch(Quick());
  watch.Start({copy}, Now());
  ASSERT_EQ(watch.watchedCount(), 1u);
  for (std::size_t i = 1; i <= 20; ++i) {
    // Every third one into a subfolder, made with the first of them. (The system's report of
    // files in subfolders that were there before is checked with the folder watch.)
    const std::wstring name = (i % 3 == 0 ? L"Eingang\\2025\\neu" : L"Eingang\\neu") + std::to_wstring(i) + L".txt";
    ASSERT_TRUE(test::WriteBytes(dir_ / name, "neu"));
    Watch(watch, milliseconds(10000), [&] { return FilesIn(dir_ / L"Kopien") >= i; });
    ASSERT_EQ(FilesIn(dir_ / L"Kopien"), i) << "after arrival " << i;
  }
  // A folder moved in with its files: they have arrived too.
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Vorbereitet\\Urlaub\\a.txt", "a"));
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Vorbereitet\\Urlaub\\b.txt", "b"));
  std::filesystem::rename(std::filesystem::path(dir_ / L"Vorbereitet\\Urlaub"),
                          std::filesystem::path(dir_ / L"Eingang\\Urlaub"));
  Watch(watch, milliseconds(10000), [&] { return FilesIn(dir_ / L"Kopien") >= 22; });
  Watch(watch, milliseconds(1000));
  EXPECT_EQ(FilesIn(dir_ / L"Kopien"), 22u);
  EXPECT_EQ(runs_.size(), 21u);
  for (const Run& run : runs_) EXPECT_FALSE(run.wholeSource);
  EXPECT_EQ(test::ReadBytes(dir_ / L"Kopien\\neu3.txt"), "neu");
  EXPECT_EQ(test::ReadBytes(dir_ / L"Kopien\\b.txt"), "b");
}

TEST_F(WatchServiceTest, AFileChangedAgainWhileItsRunGoesOnIsHandledInTheNextRun) {
  WatchService watch(Quick());
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  Profile copy = Mover(L"Sichern", dir_ / L"Eingang", dir_ / L"Kopien");
  copy.Aktion = L"Kopieren";
  watch.Start({copy}, Now());
  // Saved again by its editor just after the run copied it.
  host_.midRun = [&] { EXPECT_TRUE(test::WriteBytes(dir_ / L"Eingang\\brief.txt", "zweite Fassung")); };
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\brief.txt", "erste"));
  Watch(watch, milliseconds(10000), [&] { return runs_.size() > 1; });
  Watch(watch, milliseconds(1000));
  ASSERT_EQ(runs_.size(), 2u);
  EXPECT_EQ(test::ReadBytes(dir_ / L"Kopien\\brief.txt"), "erste");
  EXPECT_EQ(test::ReadBytes(dir_ / L"Kopien\\brief(1).txt"), "zweite Fassung");
}

TEST_F(WatchServiceTest, AFileOneProfileHandledByHandStillCountsForAnotherOnTheSameFolder) {
  WatchService watch(Quick());
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  Profile backup = Mover(L"Sichern", dir_ / L"Eingang", dir_ / L"Sicherung");
  backup.Aktion = L"Kopieren";
  Profile mirror = Mover(L"Spiegeln", dir_ / L"Eingang", dir_ / L"Spiegel");
  mirror.Aktion = L"Kopieren";
  watch.Start({backup, mirror}, Now());
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\x.txt", "x"));
  // "Sichern" run by hand before the watch would run it: done for it, not for "Spiegeln".
  const std::size_t first = log_.size();
  RunProfiles({backup}, RunMode::Execute, host_, log_);
  watch.Ran(log_, first, Now());
  Watch(watch, milliseconds(5000), [&] { return RunsOf(L"Spiegeln") > 0; });
  Watch(watch, milliseconds(1000));
  EXPECT_EQ(RunsOf(L"Sichern"), 0u);
  EXPECT_EQ(RunsOf(L"Spiegeln"), 1u);
  EXPECT_TRUE(FileExists(dir_ / L"Spiegel\\x.txt"));
  EXPECT_TRUE(FileExists(dir_ / L"Sicherung\\x.txt"));
  EXPECT_FALSE(FileExists(dir_ / L"Sicherung\\x(1).txt"));
}

TEST_F(WatchServiceTest, FiveThousandFilesArrivingTogetherGiveOneOrAFewRuns) {
  WatchService watch(Quick());
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  Profile notify = Mover(L"Melden", dir_ / L"Eingang", L"");
  notify.Aktion = L"Benachrichtigen";
  notify.Ziel.clear();
  watch.Start({notify}, Now());
  constexpr int kFiles = 5000;
  std::thread copier([&] {
    for (int i = 0; i < kFiles; ++i) test::WriteBytes(dir_ / (L"Eingang\\f" + std::to_wstring(i) + L".txt"), "x");
  });
  std::set<std::wstring> seen;
  const auto allSeen = [&] {
    for (std::size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) seen.insert(log_.Text(r, 0));
    }
    return seen.size() == kFiles;
  };
  Watch(watch, milliseconds(60000), allSeen);
  copier.join();
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kFiles));
  EXPECT_GE(runs_.size(), 1u);
  EXPECT_LE(runs_.size(), 3u);
}

TEST_F(WatchServiceTest, TheProgramsOwnOutputStartsNoFurtherRun) {
  WatchService watch(Quick());
  for (const wchar_t* folder : {L"Eingang", L"Ablage", L"Fotos"}) ASSERT_TRUE(CreateFolders(dir_ / folder));
  // Two profiles that move into each other's folders, and one whose target lies inside the
  // folder it watches.
  watch.Start({Mover(L"Hin", dir_ / L"Eingang", dir_ / L"Ablage"), Mover(L"Her", dir_ / L"Ablage", dir_ / L"Eingang"),
               Mover(L"Innen", dir_ / L"Fotos", dir_ / L"Fotos\\Sortiert")},
              Now());
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Eingang\\x.txt", "x"));
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Fotos\\y.txt", "y"));
  Watch(watch, milliseconds(3500));
  EXPECT_EQ(RunsOf(L"Hin"), 1u);
  EXPECT_EQ(RunsOf(L"Her"), 0u);
  EXPECT_EQ(RunsOf(L"Innen"), 1u);
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\x.txt"));
  EXPECT_TRUE(FileExists(dir_ / L"Fotos\\Sortiert\\y.txt"));

  // A file that somebody else puts where the run put its own still counts.
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Ablage\\z.txt", "z"));
  Watch(watch, milliseconds(5000), [&] { return RunsOf(L"Her") > 0; });
  EXPECT_EQ(RunsOf(L"Her"), 1u);
  EXPECT_TRUE(FileExists(dir_ / L"Eingang\\z.txt"));
  Watch(watch, milliseconds(1000));
  EXPECT_EQ(RunsOf(L"Hin"), 1u);
}

TEST_F(WatchServiceTest, LostChangesLeadToOneFullRun) {
  ASSERT_TRUE(CreateFolders(dir_ / L"Eingang"));
  // Files whose arrival nobody reported: only a full run finds them.
  for (const wchar_t* name : {L"Eingang\\1.txt", L"Eingang\\2.txt", L"Eingang\\tief\\3.txt"}) {
    ASSERT_TRUE(test::WriteBytes(dir_ / name, "x"));
  }
  WatchService watch(Quick());
  watch.Start({Mover(L"Post", dir_ / L"Eingang", dir_ / L"Ablage")}, Now());
  Watch(watch, milliseconds(800));
  EXPECT_TRUE(runs_.empty());
  // What a watcher reports when the system's queue ran over.
  watch.Receive(0, {{FolderChangeKind::Overflow, dir_ / L"Eingang"}});
  watch.Receive(0, {{FolderChangeKind::Overflow, dir_ / L"Eingang"}});
  Watch(watch, milliseconds(1500));
  ASSERT_EQ(runs_.size(), 1u);
  EXPECT_TRUE(runs_[0].wholeSource);
  for (const wchar_t* name : {L"1.txt", L"2.txt", L"3.txt"}) {
    EXPECT_TRUE(FileExists(dir_ / (std::wstring(L"Ablage\\") + name))) << test::U8(name);
  }
}

TEST_F(WatchServiceTest, AFolderThatCannotBeWatchedRunsOnTheTimerWithANote) {
  WatchOptions options = Quick();
  options.fallbackInterval = milliseconds(400);
  WatchService watch(options);
  watch.Start({Mover(L"Fehlt", dir_ / L"Gibt es nicht", dir_ / L"Ablage")}, Now());
  EXPECT_EQ(watch.watchedCount(), 0u);
  EXPECT_EQ(watch.fallbackCount(), 1u);
  Watch(watch, milliseconds(1000));
  EXPECT_GE(RunsOf(L"Fehlt"), 2u);
  EXPECT_LE(RunsOf(L"Fehlt"), 3u);
  std::vector<std::wstring> notes = NotesInLog();
  ASSERT_FALSE(notes.empty());
  EXPECT_TRUE(notes[0].starts_with(L"\u00dcberwachung nicht m\u00f6glich f\u00fcr \u201EFehlt\u201C (")) << test::U8(notes[0]);
  EXPECT_NE(notes[0].find(L"l\u00e4uft stattdessen mit dem Timer"), std::wstring::npos);
  for (const Run& run : runs_) EXPECT_TRUE(run.wholeSource);

  // The folder made at last: watched again from the next turn of the timer, with one run
  // over all of it, since nobody saw what arrived meanwhile.
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Gibt es nicht\\alt.txt", "a"));
  runs_.clear();
  Watch(watch, milliseconds(5000), [&] { return !runs_.empty(); });
  EXPECT_EQ(watch.watchedCount(), 1u);
  ASSERT_EQ(runs_.size(), 1u);
  EXPECT_TRUE(runs_[0].wholeSource);
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\alt.txt"));
  notes = NotesInLog();
  EXPECT_NE(std::find(notes.begin(), notes.end(), L"\u00dcberwachung von \u201EFehlt\u201C l\u00e4uft wieder."),
            notes.end());
  // From then on, what arrives is handled alone.
  ASSERT_TRUE(test::WriteBytes(dir_ / L"Gibt es nicht\\neu.txt", "n"));
  Watch(watch, milliseconds(5000), [&] { return runs_.size() > 1; });
  ASSERT_EQ(runs_.size(), 2u);
  EXPECT_FALSE(runs_[1].wholeSource);
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\neu.txt"));
}

TEST_F(WatchServiceTest, AWatchedFolderThatGoesAwayFallsBackToTheTimer) {
  // Windows keeps a folder that is open for watching until the watch lets go of it.
  if (WatchBufferIsOurs()) GTEST_SKIP() << "the folder stays while it is watched";
  ASSERT_TRUE(CreateFolders(dir_ / L"Weg"));
  WatchOptions options = Quick();
  options.fallbackInterval = milliseconds(400);
  WatchService watch(options);
  watch.Start({Mover(L"Weg", dir_ / L"Weg", dir_ / L"A")}, Now());
  ASSERT_EQ(watch.watchedCount(), 1u);
  test::RemoveTree(dir_ / L"Weg");
  Watch(watch, milliseconds(3000), [&] { return watch.fallbackCount() == 1; });
  EXPECT_EQ(watch.fallbackCount(), 1u);
  Watch(watch, milliseconds(100));
  const std::vector<std::wstring> notes = NotesInLog();
  EXPECT_TRUE(std::any_of(notes.begin(), notes.end(), [](const std::wstring& n) {
    return n.starts_with(L"\u00dcberwachung von \u201EWeg\u201C beendet");
  }));
}

TEST(WatchedCopiesMultiply, WarnsOfWatchedCopiesThatNumberAndCannotSkipTheSameFile) {
  struct Case {
    const wchar_t* aktion;
    const wchar_t* kollision;
    const wchar_t* identisch;
    const wchar_t* zippen;
    const wchar_t* ueberwachen;
    bool warned;
  };
  const Case cases[] = {
      {L"Kopieren", L"1", L"", L"0", L"1", true},
      {L"kopieren", L"", L"", L"", L"1", true},        // no collision key numbers too
      {L"Kopieren", L"1", L"1", L"0", L"1", false},    // identical files are skipped
      {L"Kopieren", L"1", L"1", L"1", L"1", true},     // but archives are not compared
      {L"Kopieren", L"2", L"", L"0", L"1", false},     // "überspringen"
      {L"Kopieren", L"0", L"", L"0", L"1", false},     // "immer überschreiben"
      {L"Verschieben", L"1", L"", L"0", L"1", false},  // a moved file is met only once
      {L"Kopieren", L"1", L"", L"0", L"", false},      // not watched
  };
  for (const Case& c : cases) {
    const Profile p = test::ProfileBuilder(L"Sichern")
                          .Action(c.aktion, L"C:\\Import", L"D:\\Kopien")
                          .Collision(c.kollision)
                          .Set(&Profile::Identisch, c.identisch)
                          .Zip(c.zippen)
                          .Set(&Profile::Ueberwachen, c.ueberwachen);
    EXPECT_EQ(WatchedCopiesMultiply(p), c.warned) << test::U8(c.aktion) << " " << test::U8(c.kollision);
    // The editor warns of the same profile as the watch does.
    ProfileEditor editor;
    editor.LoadFromRow(p);
    EXPECT_EQ(WatchedCopiesMultiply(editor.ToEditorValues()), c.warned) << test::U8(c.aktion);
  }
  EXPECT_TRUE(WatchedCopiesMultiplyWarning(L"Sichern")
                  .starts_with(L"Achtung: \u201ESichern\u201C wird \u00fcberwacht und kopiert mit"));
}

}  // namespace
}  // namespace ablagix
