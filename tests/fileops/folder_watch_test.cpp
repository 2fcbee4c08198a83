#include "fileops/folder_watch.h"

#ifdef _WIN32
#include <windows.h>
#endif

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

#include "fileops/path_text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using std::chrono::milliseconds;

// What a watch reported, collected from its thread.
class Reports {
 public:
  FolderChangeSink Sink(milliseconds slowness = milliseconds(0)) {
    return [this, slowness](std::vector<FolderChange>&& changes) {
      // A slow receiver lets the system's queue fill up meanwhile.
      if (slowness.count() > 0) std::this_thread::sleep_for(slowness);
      std::lock_guard<std::mutex> lock(lock_);
      for (FolderChange& c : changes) changes_.push_back(std::move(c));
    };
  }
  std::vector<FolderChange> WaitFor(const std::function<bool(const std::vector<FolderChange>&)>& enough) {
    // Ten seconds at most: under Wine on a busy machine reports can take a while.
    for (int i = 0; i < 500; ++i) {
      {
        std::lock_guard<std::mutex> lock(lock_);
        if (enough(changes_)) break;
      }
      std::this_thread::sleep_for(milliseconds(20));
    }
    std::lock_guard<std::mutex> lock(lock_);
    return changes_;
  }

 private:
  std::mutex lock_;
  std::vector<FolderChange> changes_;
};

// Wine's recursive watch reports nothing from subfolders that were there before it began
// (Windows itself does); what only the system can do is not checked there.
bool UnderWine() {
#ifdef _WIN32
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
#else
  return false;
#endif
}

bool Has(const std::vector<FolderChange>& changes, FolderChangeKind kind, const std::wstring& path) {
  return std::any_of(changes.begin(), changes.end(),
                     [&](const FolderChange& c) { return c.kind == kind && SameFolderText(c.path, path); });
}

TEST(FolderWatch, ReportsNewFilesDeletionsAndTheFilesOfAFolderMovedIn) {
  test::TempDir dir;
  ASSERT_TRUE(CreateFolders(dir / L"Eingang"));
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\alt.txt", "a"));
  // A folder full of files prepared elsewhere and moved in at once.
  ASSERT_TRUE(test::WriteBytes(dir / L"Vorbereitet\\Urlaub\\1.jpg", "1"));
  ASSERT_TRUE(test::WriteBytes(dir / L"Vorbereitet\\Urlaub\\2.jpg", "2"));
  Reports reports;
  std::wstring reason;
  auto watch = StartFolderWatch({dir / L"Eingang", true}, reports.Sink(), &reason);
  ASSERT_TRUE(watch) << test::U8(reason);
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\neu.txt", "n"));
  ASSERT_TRUE(RemoveFile(dir / L"Eingang\\alt.txt"));
  std::filesystem::rename(std::filesystem::path(dir / L"Vorbereitet\\Urlaub"),
                          std::filesystem::path(dir / L"Eingang\\Urlaub"));
  const std::wstring moved1 = dir / L"Eingang\\Urlaub\\1.jpg";
  const std::wstring moved2 = dir / L"Eingang\\Urlaub\\2.jpg";
  const auto changes = reports.WaitFor([&](const std::vector<FolderChange>& c) {
    return Has(c, FolderChangeKind::Changed, moved2) && Has(c, FolderChangeKind::Removed, dir / L"Eingang\\alt.txt");
  });
  EXPECT_TRUE(Has(changes, FolderChangeKind::Changed, dir / L"Eingang\\neu.txt"));
  EXPECT_TRUE(Has(changes, FolderChangeKind::Removed, dir / L"Eingang\\alt.txt"));
  EXPECT_TRUE(Has(changes, FolderChangeKind::Changed, moved1));
  EXPECT_TRUE(Has(changes, FolderChangeKind::Changed, moved2));

  // Without subfolders nothing below the folder itself is reported.
  Reports flat;
  auto top = StartFolderWatch({dir / L"Eingang", false}, flat.Sink(), &reason);
  ASSERT_TRUE(top);
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\Urlaub\\3.jpg", "3"));
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\oben.txt", "o"));
  const auto topChanges = flat.WaitFor([&](const std::vector<FolderChange>& c) {
    return Has(c, FolderChangeKind::Changed, dir / L"Eingang\\oben.txt");
  });
  EXPECT_FALSE(Has(topChanges, FolderChangeKind::Changed, dir / L"Eingang\\Urlaub\\3.jpg"));
}

TEST(FolderWatch, ReportsFilesWrittenIntoSubfoldersThatWereThereBefore) {
  if (UnderWine()) GTEST_SKIP() << "Wine watches only the subfolders made after its watch began";
  test::TempDir dir;
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\2024\\Urlaub\\alt.jpg", "a"));
  Reports reports;
  std::wstring reason;
  auto watch = StartFolderWatch({dir / L"Eingang", true}, reports.Sink(), &reason);
  ASSERT_TRUE(watch) << test::U8(reason);
  ASSERT_TRUE(test::WriteBytes(dir / L"Eingang\\2024\\Urlaub\\neu.jpg", "n"));
  const auto changes = reports.WaitFor([&](const std::vector<FolderChange>& c) {
    return Has(c, FolderChangeKind::Changed, dir / L"Eingang\\2024\\Urlaub\\neu.jpg");
  });
  EXPECT_TRUE(Has(changes, FolderChangeKind::Changed, dir / L"Eingang\\2024\\Urlaub\\neu.jpg"));
  EXPECT_FALSE(Has(changes, FolderChangeKind::Changed, dir / L"Eingang\\2024\\Urlaub\\alt.jpg"));
}

TEST(FolderWatch, SaysWhenAWriterClosesTheFile) {
  if (!WatchReportsCloses()) GTEST_SKIP() << "the system does not report closes";
  test::TempDir dir;
  Reports reports;
  std::wstring reason;
  auto watch = StartFolderWatch({dir.path(), false}, reports.Sink(), &reason);
  ASSERT_TRUE(watch) << test::U8(reason);
  const std::wstring path = dir / L"download.bin";
  std::ofstream out(std::filesystem::path(path), std::ios::binary);
  out << "erster Teil";
  out.flush();
  const auto writing = reports.WaitFor([&](const std::vector<FolderChange>& c) {
    return std::any_of(c.begin(), c.end(),
                       [&](const FolderChange& x) { return x.writing && SameFolderText(x.path, path); });
  });
  EXPECT_FALSE(Has(writing, FolderChangeKind::Closed, path));
  out << "zweiter Teil";
  out.close();
  const auto closed = reports.WaitFor([&](const std::vector<FolderChange>& c) {
    return Has(c, FolderChangeKind::Closed, path);
  });
  EXPECT_TRUE(Has(closed, FolderChangeKind::Closed, path));
  // A file moved in was written elsewhere: no close will follow.
  ASSERT_TRUE(test::WriteBytes(dir / L"fertig\\bild.jpg", "b"));
  Reports moved;
  auto flat = StartFolderWatch({dir.path(), false}, moved.Sink(), &reason);
  ASSERT_TRUE(flat);
  std::filesystem::rename(std::filesystem::path(dir / L"fertig\\bild.jpg"), std::filesystem::path(dir / L"bild.jpg"));
  const auto arrived = moved.WaitFor([&](const std::vector<FolderChange>& c) {
    return Has(c, FolderChangeKind::Changed, dir / L"bild.jpg");
  });
  for (const FolderChange& c : arrived) {
    if (SameFolderText(c.path, dir / L"bild.jpg")) {
      EXPECT_FALSE(c.writing);
    }
  }
}

TEST(FolderWatch, AMissingFolderCannotBeWatchedAndSaysWhy) {
  test::TempDir dir;
  Reports reports;
  std::wstring reason;
  EXPECT_FALSE(StartFolderWatch({dir / L"fehlt", false}, reports.Sink(), &reason));
  EXPECT_FALSE(reason.empty());
}

TEST(FolderWatch, ATinyBufferRunsOverAndSaysSo) {
  test::TempDir dir;
  Reports reports;
  std::wstring reason;
  FolderWatchRequest request{dir.path(), false, 64};
  auto watch = StartFolderWatch(request, reports.Sink(milliseconds(200)), &reason);
  ASSERT_TRUE(watch) << test::U8(reason);
  if (!WatchBufferIsOurs()) GTEST_SKIP() << "the system's own queue decides here";
  for (int i = 0; i < 200; ++i) ASSERT_TRUE(test::WriteBytes(dir / (L"datei" + std::to_wstring(i) + L".txt"), "x"));
  const auto changes = reports.WaitFor([](const std::vector<FolderChange>& c) {
    return std::any_of(c.begin(), c.end(), [](const FolderChange& x) { return x.kind == FolderChangeKind::Overflow; });
  });
  EXPECT_TRUE(Has(changes, FolderChangeKind::Overflow, dir.path()));
}

TEST(LookAtWatchedFile, SeesSizeAndTimeAndNoFolder) {
  test::TempDir dir;
  ASSERT_TRUE(test::WriteBytes(dir / L"a.txt", "12345"));
  ASSERT_TRUE(test::SetLastWriteTime(dir / L"a.txt", 133000000000000000));
  const WatchedFileLook look = LookAtWatchedFile(dir / L"a.txt");
  EXPECT_TRUE(look.present);
  EXPECT_EQ(look.size, 5u);
  EXPECT_EQ(look.lastWrite, 133000000000000000);
  EXPECT_FALSE(look.inUse);
  EXPECT_FALSE(LookAtWatchedFile(dir.path()).present);
  EXPECT_FALSE(LookAtWatchedFile(dir / L"b.txt").present);
}

TEST(LookAtWatchedFile, SeesAWriterThatHoldsTheFileOpenEvenWhileItPauses) {
  test::TempDir dir;
  const std::wstring path = dir / L"download.bin";
  std::ofstream out(std::filesystem::path(path), std::ios::binary);
  out << std::string(1000, 'A');
  out.flush();
  // Nothing written for a while, size and time standing still: still in use.
  const WatchedFileLook writing = LookAtWatchedFile(path);
  EXPECT_TRUE(writing.present);
  EXPECT_EQ(writing.size, 1000u);
  EXPECT_TRUE(writing.inUseKnown);
  EXPECT_TRUE(writing.inUse);
  out << std::string(1000, 'B');
  out.close();
  const WatchedFileLook closed = LookAtWatchedFile(path);
  EXPECT_TRUE(closed.inUseKnown);
  EXPECT_FALSE(closed.inUse);
  EXPECT_EQ(closed.size, 2000u);
  // Somebody reading it is no writer.
  std::ifstream reader(std::filesystem::path(path), std::ios::binary);
  ASSERT_TRUE(reader.good());
  EXPECT_FALSE(LookAtWatchedFile(path).inUse);
}

}  // namespace
}  // namespace ablagix
