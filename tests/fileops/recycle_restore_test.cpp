#include <gtest/gtest.h>

#include "base/text.h"
#include "fileops/file_stamp.h"
#include "fileops/file_ops.h"
#include "fileops/recycle.h"
#include "fileops/scoped_data_home.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

TEST(ParseTrashInfo, ReadsPathAndDateAndRefusesTheRest) {
  TrashInfoRecord r;
  ASSERT_TRUE(ParseTrashInfo("[Trash Info]\nPath=/home/anna/Urlaub%20M%C3%A4rz.jpg\nDeletionDate=2024-03-18T09:41:07\n", &r));
  EXPECT_EQ(r.path, "/home/anna/Urlaub M\xC3\xA4rz.jpg");
  EXPECT_EQ(r.deletedAt, (LocalDateTime{2024, 3, 18, 9, 41, 7}));
  // Line ends of either kind, comments, a "%" that escapes nothing, Wine's extra escapes.
  ASSERT_TRUE(ParseTrashInfo("# x\r\n[Trash Info]\r\nPath=a%2Bb%zz%4\r\nDeletionDate=2024-12-31T23:59:59\r\n", &r));
  EXPECT_EQ(r.path, "a+b%zz%4");
  EXPECT_EQ(r.deletedAt, (LocalDateTime{2024, 12, 31, 23, 59, 59}));

  EXPECT_FALSE(ParseTrashInfo("", &r));
  EXPECT_FALSE(ParseTrashInfo("[Trash Info]\nPath=/a\n", &r));
  EXPECT_FALSE(ParseTrashInfo("[Trash Info]\nDeletionDate=2024-03-18T09:41:07\n", &r));
  EXPECT_FALSE(ParseTrashInfo("[Anderes]\nPath=/a\nDeletionDate=2024-03-18T09:41:07\n", &r));
  EXPECT_FALSE(ParseTrashInfo("[Trash Info]\nPath=/a\nDeletionDate=2024-13-18T09:41:07\n", &r));
  EXPECT_FALSE(ParseTrashInfo("[Trash Info]\nPath=/a\nDeletionDate=2024-03-18 09:41\n", &r));
}

std::string Le(std::uint64_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

std::string Utf16Le(std::wstring_view text) { return ToUtf16LeBytes(text, false); }

TEST(ParseRecycleBinRecord, ReadsBothWindowsFormats) {
  const std::wstring path = L"C:\\Users\\Anna\\Bilder\\M\u00e4rz.jpg";
  RecycleBinRecord r;
  // Windows 10 and later: the path's length, then the path.
  const std::string v2 = Le(2, 8) + Le(123456, 8) + Le(133000000000000000ULL, 8) + Le(path.size() + 1, 4) +
                         Utf16Le(path) + std::string(2, '\0');
  ASSERT_TRUE(ParseRecycleBinRecord(v2, &r));
  EXPECT_EQ(r.originalPath, path);
  EXPECT_EQ(r.size, 123456u);
  EXPECT_EQ(r.deletedAt, 133000000000000000LL);
  // Vista to 8.1: 260 characters, the rest zeros.
  std::string v1 = Le(1, 8) + Le(7, 8) + Le(5, 8) + Utf16Le(path);
  v1.resize(24 + 520, '\0');
  ASSERT_TRUE(ParseRecycleBinRecord(v1, &r));
  EXPECT_EQ(r.originalPath, path);
  EXPECT_EQ(r.size, 7u);

  EXPECT_FALSE(ParseRecycleBinRecord(v2.substr(0, 40), &r)) << "a path longer than the record";
  EXPECT_FALSE(ParseRecycleBinRecord(v1.substr(0, 100), &r));
  EXPECT_FALSE(ParseRecycleBinRecord(Le(3, 8) + v2.substr(8), &r));
  EXPECT_FALSE(ParseRecycleBinRecord(Le(2, 8) + Le(1, 8) + Le(5, 8) + Le(0, 4), &r));
}

TEST(RestoreFromRecycleBin, TakesTheRightFileOutWithoutReplacingAnything) {
  test::TempDir dir;
  test::ScopedDataHome home(dir / L"daten");
  const std::wstring path = dir / L"Bilder\\Urlaub \u00e4.jpg";
  // Two files of the same name from the same place, recycled one after the other.
  ASSERT_TRUE(WriteBytes(path, "erstes"));
  FileStamp first;
  ASSERT_TRUE(ReadFileStamp(path, &first));
  const FileTime firstFrom = CurrentFileTime();
  if (!MoveToRecycleBin(path)) GTEST_SKIP() << "this system offers no recycle bin for the temporary folder";
  const FileTime firstTo = CurrentFileTime();
  ASSERT_TRUE(WriteBytes(path, "das zweite"));
  FileStamp second;
  ASSERT_TRUE(ReadFileStamp(path, &second));
  const FileTime secondFrom = CurrentFileTime();
  ASSERT_TRUE(MoveToRecycleBin(path));
  const FileTime secondTo = CurrentFileTime();

  RecycledFile wanted{path, firstFrom, firstTo, first.size, first.lastWrite};
  // Not this file's size: not this file.
  RecycledFile wrongSize = wanted;
  wrongSize.size = 99;
  EXPECT_EQ(RestoreFromRecycleBin(wrongSize, path).error, FsError::kNotFound);
  // Its name is taken: it stays in the bin.
  ASSERT_TRUE(WriteBytes(path, "neu"));
  EXPECT_EQ(RestoreFromRecycleBin(wanted, path).error, FsError::kExists);
  EXPECT_EQ(ReadBytes(path), "neu");

  const std::wstring numbered = dir / L"Bilder\\Urlaub \u00e4(1).jpg";
  ASSERT_TRUE(RestoreFromRecycleBin(wanted, numbered).ok());
  EXPECT_EQ(ReadBytes(numbered), "erstes");
  EXPECT_EQ(RestoreFromRecycleBin(wanted, numbered + L".noch").error, FsError::kNotFound) << "taken out once only";
  const std::wstring other = dir / L"Bilder\\Urlaub \u00e4(2).jpg";
  ASSERT_TRUE(RestoreFromRecycleBin({path, secondFrom, secondTo, second.size, second.lastWrite}, other).ok());
  EXPECT_EQ(ReadBytes(other), "das zweite");
  FileStamp back;
  ASSERT_TRUE(ReadFileStamp(other, &back));
  EXPECT_EQ(back, second);
}

}  // namespace
}  // namespace ablagix
