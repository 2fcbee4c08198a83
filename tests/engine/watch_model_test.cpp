#include "engine/watch_model.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "fileops/path_text.h"

namespace ablagix {
namespace {

using std::chrono::milliseconds;

// Files as the queue sees them, changed by the test between two looks.
struct FakeFolder {
  std::map<std::wstring, WatchedFileLook> files;
  int looks = 0;
  LookAtFile look() {
    return [this](const std::wstring& path) {
      ++looks;
      const auto it = files.find(path);
      return it == files.end() ? WatchedFileLook{} : it->second;
    };
  }
  void Put(const std::wstring& path, std::uint64_t size, FileTime time = 1, bool inUse = false,
           bool inUseKnown = true) {
    files[path] = {true, size, time, inUse, inUseKnown};
  }
};

WatchTiming Timing() {
  WatchTiming t;
  t.settle = milliseconds(2000);
  t.gather = milliseconds(3000);
  t.giveUp = milliseconds(60000);
  return t;
}

// Polls every 100 ms from `from` to `to` and returns the times at which a run was due (each
// run takes what waited).
std::vector<long long> DueTimes(SettleQueue& queue, FakeFolder& folder, long long from, long long to,
                                const std::function<void(long long)>& before = {}) {
  std::vector<long long> due;
  for (long long t = from; t <= to; t += 100) {
    if (before) before(t);
    if (queue.Due(milliseconds(t), folder.look())) {
      due.push_back(t);
      queue.Take();
    }
  }
  return due;
}

TEST(SettleQueue, RunsOnceAFileHasStoodStillForTheSettleTimeAndTheBurstIsOver) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  folder.Put(L"/in/a.jpg", 100);
  queue.Changed(L"/in/a.jpg", milliseconds(0));
  // Size and time stand still from the first look at 0 on: complete at 2000, but the burst
  // counts as over only 3000 after the last change.
  EXPECT_EQ(DueTimes(queue, folder, 0, 10000), std::vector<long long>{3000});
  EXPECT_EQ(queue.waiting(), 0u);
}

TEST(SettleQueue, AFileStillGrowingOrHeldOpenHoldsTheRunBack) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  queue.Changed(L"/in/card.jpg", milliseconds(0));
  // A copy from a card: the file grows until 5000 without further events, then the copying
  // program still holds it open until 8000.
  const auto copy = [&](long long t) {
    folder.Put(L"/in/card.jpg", static_cast<std::uint64_t>(std::min<long long>(t, 5000)), 7, t < 8000);
  };
  const std::vector<long long> due = DueTimes(queue, folder, 0, 20000, copy);
  ASSERT_EQ(due.size(), 1u);
  // The last growth is seen at a look at most a settle time after it, and the open handle
  // is asked again a quarter settle later.
  EXPECT_GE(due[0], 8000);
  EXPECT_LE(due[0], 8600);

  // A log written all day, with an event for every line: it never settles. After giveUp it
  // no longer holds back the run of a file that came meanwhile, but is not taken itself.
  SettleQueue log(Timing());
  std::vector<std::vector<std::wstring>> taken;
  const auto writing = [&](long long t) {
    folder.Put(L"/in/app.log", static_cast<std::uint64_t>(t));
    log.Changed(L"/in/app.log", milliseconds(t), true);
    if (t == 20000) {
      folder.Put(L"/in/scan.pdf", 5);
      log.Changed(L"/in/scan.pdf", milliseconds(t));
    }
  };
  for (long long t = 0; t <= 70000; t += 100) {
    writing(t);
    if (!log.Due(milliseconds(t), folder.look())) continue;
    taken.emplace_back();
    for (const SettledFile& file : log.Take().files) taken.back().push_back(file.path);
    EXPECT_GE(t, 60000);
  }
  EXPECT_EQ(taken, (std::vector<std::vector<std::wstring>>{{L"/in/scan.pdf"}}));
  EXPECT_EQ(log.waiting(), 1u);
}

TEST(SettleQueue, WhereNobodyCanBeAskedAWriteWaitsForItsClose) {
  // Linux without a lease (another user's file, NFS): a download that stalls for 20 s with
  // the file open for writing, then writes the rest and closes.
  FakeFolder folder;
  SettleQueue queue(Timing());
  folder.Put(L"/in/film.mkv", 100, 1, false, false);
  queue.Changed(L"/in/film.mkv", milliseconds(0), true);
  const auto download = [&](long long t) {
    if (t == 20000) {
      folder.Put(L"/in/film.mkv", 200, 2, false, false);
      queue.Changed(L"/in/film.mkv", milliseconds(t), true);
      queue.Closed(L"/in/film.mkv", milliseconds(t));
    }
  };
  EXPECT_EQ(DueTimes(queue, folder, 0, 30000, download), std::vector<long long>{23000});

  // Where the system can say, it is believed: a writer that has gone has gone, even when its
  // close was not reported.
  SettleQueue leased(Timing());
  folder.Put(L"/in/brief.odt", 10);
  leased.Changed(L"/in/brief.odt", milliseconds(0), true);
  EXPECT_EQ(DueTimes(leased, folder, 0, 10000), std::vector<long long>{3000});

  // A close that never comes (a hard link made here) holds the file only until giveUp.
  SettleQueue linked(Timing());
  folder.Put(L"/in/link.txt", 10, 1, false, false);
  linked.Changed(L"/in/link.txt", milliseconds(0), true);
  const std::vector<long long> late = DueTimes(linked, folder, 0, 70000);
  ASSERT_EQ(late.size(), 1u);
  EXPECT_GE(late[0], 60000);
}

TEST(SettleQueue, ARunTakesTheCompleteFilesInTheOrderTheyCameAndLeavesTheOthers) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  folder.Put(L"/in/b.jpg", 1);
  folder.Put(L"/in/a.jpg", 2, 7);
  folder.Put(L"/in/offen.iso", 3, 1, true);
  queue.Changed(L"/in/b.jpg", milliseconds(0));
  queue.Changed(L"/in/a.jpg", milliseconds(100));
  queue.Changed(L"/in/offen.iso", milliseconds(200));
  // The open file holds the run back until giveUp, then stays behind.
  for (long long t = 0; t < 60200; t += 100) ASSERT_FALSE(queue.Due(milliseconds(t), folder.look())) << t;
  ASSERT_TRUE(queue.Due(milliseconds(60200), folder.look()));
  const SettledFiles taken = queue.Take();
  EXPECT_FALSE(taken.wholeFolder);
  ASSERT_EQ(taken.files.size(), 2u);
  EXPECT_EQ(taken.files[0].path, L"/in/b.jpg");
  EXPECT_EQ(taken.files[1].path, L"/in/a.jpg");
  EXPECT_EQ(taken.files[1].look.size, 2u);
  EXPECT_EQ(taken.files[1].look.lastWrite, 7);
  EXPECT_EQ(queue.waiting(), 1u);
  for (long long t = 60300; t < 70000; t += 100) ASSERT_FALSE(queue.Due(milliseconds(t), folder.look())) << t;
  // Closed at last: its own run, at its next look.
  folder.Put(L"/in/offen.iso", 3, 1, false);
  long long closedRun = 0;
  for (long long t = 70000; t <= 71000 && closedRun == 0; t += 100) {
    if (queue.Due(milliseconds(t), folder.look())) closedRun = t;
  }
  EXPECT_GT(closedRun, 0);
  EXPECT_LE(closedRun, 70500);  // asked again a quarter settle time after the last look
  const SettledFiles late = queue.Take();
  ASSERT_EQ(late.files.size(), 1u);
  EXPECT_EQ(late.files[0].path, L"/in/offen.iso");
  EXPECT_EQ(queue.waiting(), 0u);
}

TEST(SettleQueue, AnEventRestartsTheWaitEvenWhenSizeAndTimeStayTheSame) {
  // FAT keeps times in two-second steps: a rewrite of the same length looks the same.
  FakeFolder folder;
  SettleQueue queue(Timing());
  folder.Put(L"/in/x.txt", 10);
  const auto events = [&](long long t) {
    if (t % 1000 == 0 && t <= 6000) queue.Changed(L"/in/x.txt", milliseconds(t));
  };
  EXPECT_EQ(DueTimes(queue, folder, 0, 15000, events), std::vector<long long>{9000});
}

TEST(SettleQueue, ABurstOfThousandsGivesOneRunAndLaterArrivalsTheNext) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  // 5,000 files over five seconds, a new one every millisecond, polled as a host would.
  int next = 0;
  const auto arrive = [&](long long t) {
    for (; next < 5000 && next <= t; ++next) {
      const std::wstring path = L"/in/f" + std::to_wstring(next);
      folder.Put(path, 1);
      queue.Changed(path, milliseconds(next));
    }
    if (t == 12000) {
      folder.Put(L"/in/late", 1);
      queue.Changed(L"/in/late", milliseconds(t));
    }
  };
  const std::vector<long long> due = DueTimes(queue, folder, 0, 20000, arrive);
  EXPECT_EQ(due, (std::vector<long long>{8000, 15000}));
  // Every file is looked at twice (to see it and to see it unchanged), not at every poll.
  EXPECT_LE(folder.looks, 2 * 5001 + 4);
}

TEST(SettleQueue, FilesThatVanishOrWereRemovedStartNoRun) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  folder.Put(L"/in/tmp.part", 5);
  queue.Changed(L"/in/tmp.part", milliseconds(0));
  queue.Changed(L"/in/gone.txt", milliseconds(0));  // deleted before the first look
  // Reported as renamed away: dropped without another look, whatever the look would say.
  folder.Put(L"/in/renamed.txt", 5);
  queue.Changed(L"/in/renamed.txt", milliseconds(0));
  queue.Removed(L"\\in//renamed.txt");  // the same file, however the system spells it
  const auto browserDownload = [&](long long t) {
    if (t == 1000) folder.files.erase(L"/in/tmp.part");
  };
  EXPECT_TRUE(DueTimes(queue, folder, 0, 10000, browserDownload).empty());
  EXPECT_EQ(queue.waiting(), 0u);
}

TEST(SettleQueue, LostChangesGiveOneRunOnceQuietWithNothingWaiting) {
  FakeFolder folder;
  SettleQueue queue(Timing());
  queue.LostChanges(milliseconds(500));
  EXPECT_EQ(DueTimes(queue, folder, 0, 10000), std::vector<long long>{3500});
  queue.LostChanges(milliseconds(20000));
  ASSERT_TRUE(queue.Due(milliseconds(23000), folder.look()));
  EXPECT_TRUE(queue.Take().wholeFolder);
  EXPECT_FALSE(queue.Due(milliseconds(30000), folder.look()));
}

TEST(OwnWrites, ARunsOwnFilesAreEchoesUntilSomebodyChangesThemOrTheyAreForgotten) {
  FakeFolder folder;
  OwnWrites own(milliseconds(60000));
  folder.Put(L"/ziel/a.jpg", 100, 5);
  own.Add(L"/ziel/a.jpg", {true, 100, 5, false}, milliseconds(0));
  own.Add(L"/quelle/a.jpg", {}, milliseconds(0));  // moved away
  EXPECT_TRUE(own.IsEcho(L"/ziel/a.jpg", milliseconds(1000), folder.look()));
  EXPECT_FALSE(own.IsEcho(L"/ziel/b.jpg", milliseconds(1000), folder.look()));
  // The moved file's old place: an event for it while it is gone is the run's own.
  EXPECT_TRUE(own.IsEcho(L"/quelle/a.jpg", milliseconds(1000), folder.look()));
  // A new file under the old name is somebody else's.
  folder.Put(L"/quelle/a.jpg", 3);
  EXPECT_FALSE(own.IsEcho(L"/quelle/a.jpg", milliseconds(1000), folder.look()));
  // The user edits the written file: that change counts.
  folder.Put(L"/ziel/a.jpg", 120, 9);
  EXPECT_FALSE(own.IsEcho(L"/ziel/a.jpg", milliseconds(2000), folder.look()));
  folder.Put(L"/ziel/a.jpg", 100, 5);
  EXPECT_FALSE(own.IsEcho(L"/ziel/a.jpg", milliseconds(60000), folder.look()));
  own.Expire(milliseconds(60000));
  EXPECT_EQ(own.size(), 0u);
}

TEST(WatchPathKey, OneKeyForEverySpellingOfAPath) {
  EXPECT_EQ(WatchPathKey(L"C:\\Fotos\\\u00c4rger.jpg"), WatchPathKey(L"C:/Fotos//\u00c4rger.jpg"));
  // Two names that differ in case are two files where the system tells them apart; each
  // must get its own run.
  EXPECT_EQ(WatchPathKey(L"C:\\Fotos\\\u00c4rger.JPG") == WatchPathKey(L"c:/fotos//\u00e4rger.jpg"),
            FileNamesIgnoreCase());
  EXPECT_EQ(WatchPathKey(L"C:\\Fotos\\"), WatchPathKey(L"C:\\Fotos"));
  EXPECT_NE(WatchPathKey(L"C:\\Fotos\\a"), WatchPathKey(L"C:\\Foto\\sa"));
  // A network path keeps its two leading separators: it is not the local folder "\server".
  EXPECT_EQ(WatchPathKey(L"\\\\server\\share\\x"), L"//server/share/x");
  EXPECT_NE(WatchPathKey(L"\\\\server\\share"), WatchPathKey(L"\\server\\share"));
}

}  // namespace
}  // namespace ablagix
