#include "fileops/file_ops.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#endif

#include <cstdlib>
#include <ctime>
#include <set>

#include "base/text.h"
#include "fileops/path_text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::TempDir;

TEST(TextFiles, AreUtf16LittleEndianWithOrWithoutByteOrderMark) {
  TempDir dir;
  ASSERT_TRUE(WriteTextFile(dir / L"leer.txt", L""));
  EXPECT_EQ(ReadBytes(dir / L"leer.txt"), "");
  ASSERT_TRUE(WriteTextFile(dir / L"text.txt", L"A\u00e4\U0001F600"));
  EXPECT_EQ(ReadBytes(dir / L"text.txt"), std::string("A\0\xE4\0\x3D\xD8\x00\xDE", 8));
  ASSERT_TRUE(WriteTextFileWithBom(dir / L"bom.txt", L"A"));
  EXPECT_EQ(ReadBytes(dir / L"bom.txt"), std::string("\xFF\xFE" "A\0", 4));
  std::uint64_t size = 0;
  ASSERT_TRUE(GetFileSize(dir / L"text.txt", &size));
  EXPECT_EQ(size, 8u);
}

TEST(FolderReader, ReportsNamesWithUmlautsAndEmojiSizesAndFolders) {
  TempDir dir;
  const std::wstring name = L"\u00dcbersicht M\u00e4rz \U0001F4F7.txt";
  ASSERT_TRUE(test::WriteBytes(dir / name, "12345"));
  ASSERT_TRUE(CreateFolders(dir / L"Unterordner"));
  FolderReader reader;
  ASSERT_TRUE(reader.Open(dir.path()));
  DirEntry entry;
  int files = 0, folders = 0;
  while (reader.Next(&entry)) {
    if (entry.name == L"." || entry.name == L"..") continue;
    if (entry.IsDirectory()) {
      ++folders;
      EXPECT_EQ(entry.name, L"Unterordner");
    } else {
      ++files;
      EXPECT_EQ(entry.name, name);
      EXPECT_EQ(entry.size, 5u);
      EXPECT_GT(entry.lastWrite, 0);
      EXPECT_FALSE(entry.IsReparsePoint());
    }
  }
  EXPECT_EQ(files, 1);
  EXPECT_EQ(folders, 1);
  EXPECT_FALSE(reader.Open(dir / L"gibt es nicht"));
}

TEST(LongPaths, WorkBeyondTwoHundredSixtyCharacters) {
  TempDir dir;
  std::wstring deep = dir.path();
  for (int i = 0; i < 8; ++i) deep = JoinPath(deep, std::wstring(40, static_cast<wchar_t>(L'a' + i)));
  ASSERT_GT(deep.size(), 300u);
  ASSERT_TRUE(CreateFolders(deep));
  EXPECT_TRUE(FolderExists(deep));
  const std::wstring file = JoinPath(deep, L"tief \u00e4.txt");
  ASSERT_TRUE(WriteTextFile(file, L"x"));
  EXPECT_TRUE(FileExists(file));
  EXPECT_FALSE(FolderExists(file));
  std::uint64_t size = 0;
  ASSERT_TRUE(GetFileSize(file, &size));
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(test::NamesIn(deep), std::set<std::wstring>{L"tief \u00e4.txt"});
}

TEST(Attributes, ReadOnlyCanBeSetAndCleared) {
  TempDir dir;
  const std::wstring file = dir / L"schreibgesch\u00fctzt.txt";
  ASSERT_TRUE(test::WriteBytes(file, "x"));
  ASSERT_TRUE(SetAttributes(file, kAttrReadOnly));
  std::uint32_t attributes = 0;
  ASSERT_TRUE(GetAttributes(file, &attributes));
  EXPECT_TRUE(attributes & kAttrReadOnly);
  ASSERT_TRUE(SetAttributes(file, kAttrNormal));
  ASSERT_TRUE(GetAttributes(file, &attributes));
  EXPECT_FALSE(attributes & kAttrReadOnly);
  EXPECT_FALSE(GetAttributes(dir / L"fehlt.txt", &attributes));
}

TEST(AtomicWrite, AnInterruptedWriteLeavesTheOldFileWhole) {
  TempDir dir;
  const std::wstring file = dir / L"wichtig.ini";
  const std::string oldBytes(200000, 'o');
  const std::string newBytes(300000, 'n');
  ASSERT_TRUE(WriteFileAtomic(file, oldBytes));
  testing_hooks::SetAtomicWriteInterrupt([](std::size_t written) { return written >= 100000; });
  EXPECT_FALSE(WriteFileAtomic(file, newBytes));
  testing_hooks::SetAtomicWriteInterrupt(nullptr);
  EXPECT_EQ(ReadBytes(file), oldBytes);
  // The leftover of the "crash" does not stop the next write.
  ASSERT_TRUE(WriteFileAtomic(file, newBytes));
  EXPECT_EQ(ReadBytes(file), newBytes);
}

TEST(CreateFolders, MakesEveryMissingParentAndFailsOnAFile) {
  TempDir dir;
  EXPECT_TRUE(CreateFolders(dir / L"a\\b\\c\\"));
  EXPECT_TRUE(FolderExists(dir / L"a\\b\\c"));
  ASSERT_TRUE(test::WriteBytes(dir / L"datei", "x"));
  EXPECT_FALSE(CreateFolders(dir / L"datei\\unter"));
}


#ifndef _WIN32
// The local time is computed from a cached offset per quarter hour; it must equal what the
// zone rules say, across summer and winter time and far from today.
TEST(FileTimeToLocal, AgreesWithTheZoneRulesAcrossDaylightSavingChanges) {
  const char* old = std::getenv("TZ");
  const std::string saved = old ? old : "";
  for (const char* zone : {"Europe/Berlin", "America/New_York", "Australia/Lord_Howe", "UTC"}) {
    setenv("TZ", zone, 1);
    tzset();
    std::uint64_t x = 88172645463325252ull;
    for (int i = 0; i < 20000; ++i) {
      x ^= x << 13;
      x ^= x >> 7;
      x ^= x << 17;
      // 1950 to 2100, and every minute around the changes of 2024 in the first thousand rounds.
      const std::int64_t seconds = i < 1000 ? 1711846800 - 7200 + i * 60 - 30 : -631152000 + static_cast<std::int64_t>(x % 4733510400ull);
      const FileTime ft = (seconds + 11644473600ll) * 10000000ll;
      const time_t t = static_cast<time_t>(seconds);
      struct tm expected;
      ASSERT_TRUE(localtime_r(&t, &expected));
      const LocalDateTime got = FileTimeToLocal(ft);
      ASSERT_EQ(got, (LocalDateTime{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday, expected.tm_hour,
                                    expected.tm_min, expected.tm_sec}))
          << zone << " " << seconds;
    }
  }
  if (old) {
    setenv("TZ", saved.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}
#else
TEST(FileTimeToLocal, AgreesWithTheSystemsConversion) {
  std::uint64_t x = 88172645463325252ull;
  for (int i = 0; i < 20000; ++i) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    const FileTime ft = static_cast<FileTime>(x % 157000000000000000ull);  // 1601 to 2098
    FILETIME f{static_cast<DWORD>(static_cast<std::uint64_t>(ft) & 0xFFFFFFFFu),
               static_cast<DWORD>(static_cast<std::uint64_t>(ft) >> 32)};
    SYSTEMTIME utc, local;
    ASSERT_TRUE(FileTimeToSystemTime(&f, &utc));
    ASSERT_TRUE(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local));
    ASSERT_EQ(FileTimeToLocal(ft),
              (LocalDateTime{local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond}))
        << ft;
  }
}
#endif

}  // namespace
}  // namespace ablagix
