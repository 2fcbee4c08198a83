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
#include <set>
#include <thread>

#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "fileops/files.h"
#include "test_support.h"

namespace ablagix {
namespace {

using std::chrono::milliseconds;

WatchTime Now() { return WatchClockNow(); }

WatchOptions Quick() {
  WatchOptions o;
  o.timing.settle = milliseconds(300);
  o.timing.gather = milliseconds(300);
  return o;
}

class WatchServiceTest : public ::testing::Test {
 protected:
  Profile Mover(const wchar_t* name, const std::wstring& source, const std::wstring& target) {
    Profile p;
    p.Beschreibung = name;
    p.Quelle = source;
    p.Unterverzeich = L"1";
    p.Filter = L".txt";
    p.Aktion = L"Verschieben";
    p.Ziel = target;
    p.Kollision = L"1";
    p.Zippen = L"0";
    p.Ueberwachen = L"1";
    return p;
  }

  struct Run {
    std::wstring profile;
    WatchTime at;
  };

  // Polls and runs what is due, as a host does, for `limit` or until `done` says so.
  void Watch(WatchService& watch, milliseconds limit, const std::function<bool()>& done = {}) {
    const WatchTime end = Now() + limit;
    while (Now() < end && !(done && done())) {
      for (const std::wstring& note : watch.TakeNotes()) AppendWatchNote(log_, note);
      const std::vector<Profile> due = watch.Due(Now());
      if (due.empty()) {
        std::this_thread::sleep_for(milliseconds(20));
        continue;
      }
      for (const Profile& p : due) runs_.push_back({p.Beschreibung, Now()});
      const std::size_t first = log_.size();
      RunProfiles(due, RunMode::Execute, host_, log_);
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
  test::TestRunHost host_;
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
  EXPECT_EQ(runs_.size(), 1u);
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

}  // namespace
}  // namespace ablagix
