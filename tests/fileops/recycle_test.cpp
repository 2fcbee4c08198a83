#include "fileops/recycle.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "fileops/scoped_data_home.h"
#include "test_support.h"

#ifdef _WIN32
#include <windows.h>

#include "base/environment.h"
#else
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ablagix {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

TEST(DeletePermanently, RefusesReadOnlyFilesUnlessAskedToClearTheFlag) {
  TempDir dir;
  const std::wstring path = dir / L"schreibgesch\u00fctzt.txt";
  ASSERT_TRUE(WriteBytes(path, "x"));
  ASSERT_TRUE(SetAttributes(path, kAttrReadOnly));
  EXPECT_FALSE(DeletePermanently(path, false));
  EXPECT_TRUE(FileExists(path));
  EXPECT_TRUE(DeletePermanently(path, true));
  EXPECT_FALSE(PathExists(path));
  EXPECT_FALSE(DeletePermanently(dir / L"fehlt.txt", true));
}

TEST(DeleteThroughShell, WithoutRecycleRemovesAFolderWithItsContent) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"weg\\innen\\a.txt", "a"));
  ASSERT_TRUE(WriteBytes(dir / L"weg\\b.txt", "b"));
  ShellDeleteOptions options;
  options.recycle = false;
  bool aborted = true;
  EXPECT_TRUE(DeleteThroughShell(dir / L"weg", options, &aborted));
  EXPECT_FALSE(aborted);
  EXPECT_FALSE(PathExists(dir / L"weg"));
}

#ifdef _WIN32

// Wine's shell puts recycled files into the Linux user's freedesktop.org trash. The test takes
// its file out again, so test runs do not fill the trash of whoever runs them.
bool RemoveFromWineTrash(const std::wstring& name) {
  HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (!ntdll || !GetProcAddress(ntdll, "wine_get_version")) return true;
  // Wine hands the Linux home over as "\\??\\Z:\\home\\anna"; $XDG_DATA_HOME comes through as it is.
  std::wstring data = EnvironmentValue(L"XDG_DATA_HOME");
  if (!data.empty()) {
    data = L"Z:" + data;
  } else {
    data = EnvironmentValue(L"WINEHOMEDIR");
    if (data.starts_with(L"\\??\\")) data.erase(0, 4);
    data += L"/.local/share";
  }
  std::wstring trash = data + L"/Trash/";
  for (auto& c : trash) {
    if (c == L'/') c = L'\\';
  }
  const bool file = RemoveFile(trash + L"files\\" + name);
  const bool info = RemoveFile(trash + L"info\\" + name + L".trashinfo");
  return file && info;
}

TEST(MoveToRecycleBin, TakesTheFileFromItsPlace) {
  TempDir dir;
  // Unique, so that the copy in Wine's trash is found again.
  const std::wstring name = L"Papierkorb \u00e4 " + NamePart(dir.path()) + L".txt";
  const std::wstring path = dir / name;
  ASSERT_TRUE(WriteBytes(path, "x"));
  if (!MoveToRecycleBin(path)) {
    ASSERT_TRUE(FileExists(path)) << "a failed recycle must leave the file";
    GTEST_SKIP() << "this system offers no recycle bin for the temporary folder";
  }
  EXPECT_FALSE(PathExists(path));
  EXPECT_TRUE(RemoveFromWineTrash(name));
}

#else

std::string RealPath(const std::wstring& path) {
  char buffer[PATH_MAX];
  return realpath(ToUtf8(path).c_str(), buffer) ? buffer : "";
}

using test::ScopedDataHome;

// "Path=...\nDeletionDate=YYYY-MM-DDThh:mm:ss\n" after the header; the date within a minute
// of now, in local time.
void ExpectTrashInfo(const std::string& info, const std::string& encodedPath) {
  const std::string head = "[Trash Info]\nPath=" + encodedPath + "\nDeletionDate=";
  ASSERT_EQ(info.substr(0, head.size()), head) << info;
  const std::string date = info.substr(head.size());
  ASSERT_EQ(date.size(), 20u) << date;
  EXPECT_EQ(date.back(), '\n');
  struct tm fields {};
  ASSERT_TRUE(strptime(date.c_str(), "%Y-%m-%dT%H:%M:%S", &fields)) << date;
  EXPECT_EQ(date[4], '-');
  EXPECT_EQ(date[10], 'T');
  fields.tm_isdst = -1;
  EXPECT_LT(std::abs(std::difftime(std::mktime(&fields), std::time(nullptr))), 60.0) << date;
}

TEST(MoveToRecycleBin, KeepsBothFilesOfTheSameNameWithTheirOrigins) {
  TempDir dir;
  ScopedDataHome home(dir / L"daten");
  const std::wstring name = L"Urlaub M\u00e4rz 1.jpg";
  ASSERT_TRUE(WriteBytes(dir / (L"a/" + name), "erstes"));
  ASSERT_TRUE(WriteBytes(dir / (L"b/" + name), "zweites"));
  const std::string folderA = RealPath(dir / L"a");
  const std::string folderB = RealPath(dir / L"b");

  EXPECT_TRUE(MoveToRecycleBin(dir / (L"a/" + name)));
  EXPECT_TRUE(MoveToRecycleBin(dir / (L"b/" + name)));
  EXPECT_FALSE(PathExists(dir / (L"a/" + name)));
  EXPECT_FALSE(PathExists(dir / (L"b/" + name)));

  const std::wstring trash = dir / L"daten/Trash";
  EXPECT_EQ(ReadBytes(trash + L"/files/" + name), "erstes");
  EXPECT_EQ(ReadBytes(trash + L"/files/Urlaub M\u00e4rz 1.2.jpg"), "zweites");
  ExpectTrashInfo(ReadBytes(trash + L"/info/" + name + L".trashinfo"),
                  folderA + "/Urlaub%20M%C3%A4rz%201.jpg");
  ExpectTrashInfo(ReadBytes(trash + L"/info/Urlaub M\u00e4rz 1.2.jpg.trashinfo"),
                  folderB + "/Urlaub%20M%C3%A4rz%201.jpg");
}

TEST(MoveToRecycleBin, LeavesTheFileWhenNoTrashCanBeMade) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"kein Ordner", "x"));
  // The data home lies below a file, so no trash folder can be created on this mount.
  ScopedDataHome home(dir / L"kein Ordner/daten");
  const std::wstring path = dir / L"bleibt.txt";
  ASSERT_TRUE(WriteBytes(path, "inhalt"));
  EXPECT_FALSE(MoveToRecycleBin(path));
  EXPECT_EQ(ReadBytes(path), "inhalt");
}

TEST(MoveToRecycleBin, UsesTheTrashOfTheFilesOwnMountWithARelativePath) {
  // Needs a second mount that this user may write to; /dev/shm usually is one.
  TempDir dir;
  ScopedDataHome home(dir / L"daten");
  struct stat shm, tmp;
  const std::string ownTrash = "/dev/shm/.Trash-" + std::to_string(getuid());
  if (stat("/dev/shm", &shm) != 0 || stat(ToUtf8(dir.path()).c_str(), &tmp) != 0 ||
      shm.st_dev == tmp.st_dev || access("/dev/shm", W_OK) != 0 ||
      access(ownTrash.c_str(), F_OK) == 0 || access("/dev/shm/.Trash", F_OK) == 0) {
    GTEST_SKIP() << "no separate writable mount without a trash of its own";
  }
  const std::wstring folder = FromUtf8("/dev/shm/ablagix-recycle-" + std::to_string(getpid()));
  const std::wstring path = folder + L"/alt \u00fcber.txt";
  ASSERT_TRUE(WriteBytes(path, "x"));
  const bool trashed = MoveToRecycleBin(path);
  const std::string files = ReadBytes(FromUtf8(ownTrash) + L"/files/alt \u00fcber.txt");
  const std::string info = ReadBytes(FromUtf8(ownTrash) + L"/info/alt \u00fcber.txt.trashinfo");
  test::RemoveTree(FromUtf8(ownTrash));
  test::RemoveTree(folder);
  EXPECT_TRUE(trashed);
  EXPECT_EQ(files, "x");
  ExpectTrashInfo(info, "ablagix-recycle-" + std::to_string(getpid()) + "/alt%20%C3%BCber.txt");
  EXPECT_FALSE(PathExists(dir / L"daten/Trash"));
}

#endif

}  // namespace
}  // namespace ablagix
