#include "zip/zip_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <atomic>
#include <ostream>
#include <random>
#include <set>
#include <string>

#include "base/byte_order.h"
#include "base/text.h"
#include "fileops/output_file.h"
#include "test_support.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"

namespace ablagix {

void PrintTo(const ZipWriteResult& r, std::ostream* os) { *os << ToUtf8(ZipWriteText(r)); }

namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

std::string Text(std::size_t size) {
  std::string text;
  for (std::size_t i = 0; text.size() < size; ++i) text += "Zeile " + std::to_string(i * 7919 % 100003) + " Ablage\n";
  text.resize(size);
  return text;
}

std::string Noise(std::size_t size, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

struct ReadBack {
  ZipError error = ZipError::kNone;
  std::vector<ZipEntry> entries;
  std::vector<std::string> data;
  bool zip64 = false;
};

ReadBack ReadArchive(const std::wstring& path) {
  ReadBack back;
  FileByteSource file;
  if (!file.Open(path)) {
    back.error = ZipError::kReadFailed;
    return back;
  }
  ZipReader zip(file);
  ZipLimits limits;
  limits.maxEntries = 1 << 20;
  if ((back.error = zip.Open(limits)) != ZipError::kNone) return back;
  back.entries = zip.entries();
  back.zip64 = zip.isZip64();
  for (const ZipEntry& e : back.entries) {
    std::string data;
    if ((back.error = zip.ReadEntry(e, 1u << 30, &data)) != ZipError::kNone) return back;
    back.data.push_back(std::move(data));
  }
  return back;
}

// The Unix time of an entry's extended-timestamp field, or -1.
std::int64_t UnixTime(const ZipEntry& e) {
  std::string_view extra = e.extra;
  while (extra.size() >= 9) {
    if (LoadLe16(extra, 0) == 0x5455) return static_cast<std::int32_t>(LoadLe32(extra, 5));
    extra.remove_prefix(4 + LoadLe16(extra, 2));
  }
  return -1;
}

TEST(ZipWriter, OneFileRoundTripsWithNameTimeAndFittingMethod) {
  TempDir dir;
  // 2021-06-15 12:34:56 UTC.
  const FileTime time = (1623760496LL + 11644473600LL) * 10000000LL;
  struct Case {
    std::wstring name;
    std::string data;
    std::uint16_t method;
  } cases[] = {
      {L"Gr\u00f6\u00dfe M\u00e4rz.txt", Text(100000), 8},     // text shrinks: deflated
      {L"\U0001F600 zuf\u00e4llig.bin", Noise(50000), 0},      // noise does not: stored
      {L"foto.JPG", Text(30000), 0},                             // compressed format: stored unread
      {L"leer.txt", "", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(c.name));
    const std::wstring source = dir / c.name;
    ASSERT_TRUE(WriteBytes(source, c.data));
    ASSERT_TRUE(test::SetLastWriteTime(source, time));
    const std::wstring archive = source + L".zip";
    ASSERT_TRUE(ZipOneFile({source, ZipEntryNameForPath(source, false)}, archive, {}).ok());
    const ReadBack back = ReadArchive(archive);
    ASSERT_EQ(back.error, ZipError::kNone);
    ASSERT_EQ(back.entries.size(), 1u);
    const ZipEntry& e = back.entries[0];
    EXPECT_EQ(e.name, ToUtf8(c.name));
    EXPECT_TRUE(e.flags & 0x0800);
    EXPECT_EQ(e.method, c.method);
    EXPECT_EQ(back.data[0], c.data);
    EXPECT_FALSE(back.zip64);
    EXPECT_FALSE(e.zip64);
    EXPECT_EQ(UnixTime(e), 1623760496);
    // The DOS field holds the same moment in local time.
    const LocalDateTime local = FileTimeToLocal(time);
    EXPECT_EQ(1980 + (e.dosDate >> 9), local.year);
    EXPECT_EQ(e.dosTime >> 11, local.hour);
    EXPECT_EQ((e.dosTime >> 5) & 63, local.minute);
  }
}

TEST(ZipWriter, LargeFilesStreamWithTheMethodTheirFirstBlockSuggests) {
  TempDir dir;
  // More than the in-memory limit, so each is streamed block by block.
  const std::string text = Text(9u << 20);
  // A compressible start makes the whole file deflated, noise after it included.
  const std::string mixed = Text(1u << 20) + Noise(12u << 20, 7);
  const std::string noise = Noise(9u << 20, 3);
  struct Case {
    const wchar_t* name;
    const std::string* data;
    std::uint16_t method;
  } cases[] = {{L"text.txt", &text, 8}, {L"mixed.dat", &mixed, 8}, {L"noise.dat", &noise, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(c.name));
    const std::wstring source = dir / c.name;
    ASSERT_TRUE(WriteBytes(source, *c.data));
    ASSERT_TRUE(ZipOneFile({source, ToUtf8(c.name)}, source + L".zip", {}).ok());
    const ReadBack back = ReadArchive(source + L".zip");
    ASSERT_EQ(back.error, ZipError::kNone);
    EXPECT_EQ(back.entries[0].method, c.method);
    EXPECT_TRUE(back.data[0] == *c.data);
    EXPECT_LE(back.entries[0].compressedSize, c.data->size());
    // The file ends with the directory of its one entry.
    std::uint64_t size = 0;
    ASSERT_TRUE(GetFileSize(source + L".zip", &size));
    EXPECT_LT(size, back.entries[0].compressedSize + 200);
  }
}

TEST(ZipWriter, CommitsCreateNewOrReplaceAndLeavesNoTemporaryFile) {
  TempDir dir;
  const std::wstring source = dir / L"a.txt";
  ASSERT_TRUE(WriteBytes(source, Text(1000)));
  const std::wstring archive = dir / L"a.zip";
  ASSERT_TRUE(WriteBytes(archive, "fremd"));

  const ZipWriteResult refused = ZipOneFile({source, "a.txt"}, archive, {});
  EXPECT_EQ(refused.code, ZipWriteCode::kExists);
  EXPECT_EQ(ZipWriteText(refused), L"Archiv existiert bereits");
  EXPECT_EQ(ReadBytes(archive), "fremd");
  EXPECT_EQ(test::NamesIn(dir.path()), (std::set<std::wstring>{L"a.txt", L"a.zip"}));

  ZipOptions replace;
  replace.commit = ZipCommit::kReplace;
  const ZipWriteResult replaced = ZipOneFile({source, "a.txt"}, archive, replace);
  ASSERT_TRUE(replaced.ok());
  EXPECT_EQ(replaced.path, archive);
  EXPECT_EQ(ReadArchive(archive).data, std::vector<std::string>{Text(1000)});
  EXPECT_EQ(test::NamesIn(dir.path()), (std::set<std::wstring>{L"a.txt", L"a.zip"}));

  // Numbered: the first free name, chosen when the archive is complete.
  ZipOptions numbered;
  numbered.commit = ZipCommit::kNumbered;
  ASSERT_TRUE(WriteBytes(dir / L"a(1).zip", "auch fremd"));
  const ZipWriteResult first = ZipOneFile({source, "a.txt"}, archive, numbered);
  ASSERT_TRUE(first.ok());
  EXPECT_EQ(first.path, dir / L"a(2).zip");
  EXPECT_EQ(ZipOneFile({source, "a.txt"}, archive, numbered).path, dir / L"a(3).zip");
  EXPECT_EQ(ReadArchive(dir / L"a(3).zip").data, std::vector<std::string>{Text(1000)});
  EXPECT_EQ(ReadBytes(dir / L"a(1).zip"), "auch fremd");
  for (const wchar_t* name : {L"a(1).zip", L"a(2).zip", L"a(3).zip"}) RemoveFile(dir / name);

  // The same for a batch.
  ZipBatch batch;
  ASSERT_TRUE(batch.Begin(archive, {}).ok());
  batch.Add({source, "a.txt"});
  EXPECT_EQ(batch.Finish().code, ZipWriteCode::kExists);
  EXPECT_EQ(batch.FileResult(0).code, ZipWriteCode::kExists);
  EXPECT_EQ(test::NamesIn(dir.path()), (std::set<std::wstring>{L"a.txt", L"a.zip"}));
}

TEST(ZipWriter, CancelAndWriteFailureLeaveNothingUnderTheFinalName) {
  TempDir dir;
  const std::wstring big = dir / L"gross.txt";
  ASSERT_TRUE(WriteBytes(big, Text(20u << 20)));
  const std::set<std::wstring> before = test::NamesIn(dir.path());

  // Cancelled between the blocks of a streamed file.
  int asked = 0;
  ZipOptions cancelling;
  cancelling.cancel = [&asked] { return ++asked > 1; };
  EXPECT_EQ(ZipOneFile({big, "gross.txt"}, dir / L"eins.zip", cancelling).code, ZipWriteCode::kCancelled);
  EXPECT_EQ(test::NamesIn(dir.path()), before);

  // A batch cancelled while its workers are busy.
  for (int i = 0; i < 40; ++i) ASSERT_TRUE(WriteBytes(dir / (L"k" + NumberText(i) + L".txt"), Text(200000)));
  const std::set<std::wstring> withSmall = test::NamesIn(dir.path());
  std::atomic<bool> stop{false};
  ZipOptions batchCancel;
  batchCancel.cancel = [&stop] { return stop.load(); };
  ZipBatch batch;
  ASSERT_TRUE(batch.Begin(dir / L"alle.zip", batchCancel).ok());
  for (int i = 0; i < 40; ++i) batch.Add({dir / (L"k" + NumberText(i) + L".txt"), "k" + std::to_string(i)});
  batch.Add({big, "gross.txt"});
  stop = true;
  EXPECT_EQ(batch.Finish().code, ZipWriteCode::kCancelled);
  EXPECT_FALSE(batch.FileResult(40).ok());
  EXPECT_EQ(test::NamesIn(dir.path()), withSmall);

  // A full disk halfway: the reason names it, and the partial archive is gone.
  testing_hooks::SetZipWriteFailure([](std::uint64_t at) { return at > (1u << 20) ? DiskFullError() : 0u; });
  const ZipWriteResult full = ZipOneFile({big, "gross.txt"}, dir / L"voll.zip", {});
  testing_hooks::SetZipWriteFailure(nullptr);
  EXPECT_EQ(full.code, ZipWriteCode::kWriteFailed);
  EXPECT_EQ(ZipWriteText(full), L"Nicht gen\u00fcgend Speicherplatz");
  EXPECT_EQ(test::NamesIn(dir.path()), withSmall);
}

TEST(ZipBatch, WritesInAddingOrderNumbersDuplicatesAndLeavesOutUnreadableFiles) {
  for (unsigned threads : {1u, 0u, 4u}) {
    SCOPED_TRACE(threads);
    TempDir dir;
    std::vector<std::string> contents;
    for (int i = 0; i < 60; ++i) {
      // Sizes vary so workers finish out of order.
      contents.push_back(i % 3 == 0 ? Noise(static_cast<std::size_t>(1000 + (59 - i) * 3000), static_cast<unsigned>(i))
                                    : Text(static_cast<std::size_t>(100 + (i * 7919) % 90000)));
      ASSERT_TRUE(WriteBytes(dir / (L"sub" + NumberText(i % 4) + L"\\f" + NumberText(i) + L".dat"), contents.back()));
    }
    ZipOptions options;
    options.threads = threads;
    ZipBatch batch;
    ASSERT_TRUE(batch.Begin(dir / L"lauf.zip", options).ok());
    for (int i = 0; i < 60; ++i) {
      EXPECT_EQ(batch.Add({dir / (L"sub" + NumberText(i % 4) + L"\\f" + NumberText(i) + L".dat"), "f.dat"}),
                static_cast<std::size_t>(i));
    }
    batch.Add({dir / L"fehlt.txt", "fehlt.txt"});
    batch.Add({dir / L"sub0\\f0.dat", "F.DAT"});
    ASSERT_TRUE(batch.Finish().ok());

    EXPECT_EQ(batch.fileCount(), 62u);
    EXPECT_EQ(batch.FileResult(60).code, ZipWriteCode::kReadFailed);
    EXPECT_NE(batch.FileResult(60).systemError, 0u);
    EXPECT_EQ(batch.EntryName(0), "f.dat");
    EXPECT_EQ(batch.EntryName(1), "f(1).dat");
    EXPECT_EQ(batch.EntryName(61), "F(60).DAT");
    const ReadBack back = ReadArchive(dir / L"lauf.zip");
    ASSERT_EQ(back.error, ZipError::kNone);
    ASSERT_EQ(back.entries.size(), 61u);
    for (int i = 0; i < 60; ++i) {
      EXPECT_TRUE(batch.FileResult(static_cast<std::size_t>(i)).ok());
      EXPECT_EQ(back.entries[static_cast<std::size_t>(i)].name, batch.EntryName(static_cast<std::size_t>(i)));
      EXPECT_TRUE(back.data[static_cast<std::size_t>(i)] == contents[static_cast<std::size_t>(i)]) << i;
    }
    EXPECT_EQ(back.entries[60].name, "F(60).DAT");
  }
}

TEST(ZipBatch, AFileWhoseNameIsTakenInTheArchiveIsNeverAddedAfterAll) {
  // "überspringen" with an archive that is there: a taken name leaves the file out. A worker
  // thread must not read it in anyway (that gave two entries of one name, now and then).
  TempDir dir;
  for (int i = 0; i < 12; ++i) ASSERT_TRUE(WriteBytes(dir / (L"f" + NumberText(i) + L".dat"), Noise(200000 + 5000 * static_cast<std::size_t>(i), static_cast<unsigned>(i))));
  {
    ZipBatch first;
    ASSERT_TRUE(first.Begin(dir / L"lauf.zip", {}).ok());
    for (int i = 0; i < 12; ++i) first.Add({dir / (L"f" + NumberText(i) + L".dat"), "f" + std::to_string(i) + ".dat"});
    ASSERT_TRUE(first.Finish().ok());
  }
  for (int round = 0; round < 40; ++round) {
    ZipOptions options;
    options.addToExisting = true;
    options.threads = 4;
    ZipBatch again;
    ASSERT_TRUE(again.Begin(dir / L"lauf.zip", options).ok());
    for (int i = 0; i < 12; ++i) {
      again.Add({dir / (L"f" + NumberText(i) + L".dat"), "f" + std::to_string(i) + ".dat"});
      // A run does more between two files (its journal, its log): time for the workers.
      std::this_thread::sleep_for(std::chrono::microseconds(200 * (round % 4)));
    }
    ASSERT_TRUE(again.Finish().ok());
    for (std::size_t i = 0; i < 12; ++i) EXPECT_EQ(again.FileResult(i).code, ZipWriteCode::kExists) << round << " " << i;
    ASSERT_EQ(ReadArchive(dir / L"lauf.zip").entries.size(), 12u) << "round " << round;
  }
}

TEST(ZipBatch, AnEmptyRunGivesAValidEmptyArchive) {
  TempDir dir;
  ZipBatch batch;
  ASSERT_TRUE(batch.Begin(dir / L"leer.zip", {}).ok());
  ASSERT_TRUE(batch.Finish().ok());
  EXPECT_EQ(ReadBytes(dir / L"leer.zip").size(), 22u);
  EXPECT_EQ(ReadArchive(dir / L"leer.zip").error, ZipError::kNone);
  EXPECT_EQ(ZipBatch().Finish().code, ZipWriteCode::kNotStarted);
}

TEST(ZipEntryNames, KeepFoldersButNeverARootOrAnEscape) {
  struct Case {
    const wchar_t* path;
    const char* withFolders;
    const char* nameOnly;
  } cases[] = {
      {L"D:\\Kamera\\2023\\IMG_1.jpg", "Kamera/2023/IMG_1.jpg", "IMG_1.jpg"},
      {L"\\\\server\\share\\Ablage\\a.txt", "Ablage/a.txt", "a.txt"},
      {L"\\\\?\\C:\\lang\\b.txt", "lang/b.txt", "b.txt"},
      {L"\\\\?\\UNC\\server\\share\\x\\c.txt", "x/c.txt", "c.txt"},
      {L"C:relativ\\d.txt", "relativ/d.txt", "d.txt"},
      {L"..\\..\\Windows\\e.txt", "Windows/e.txt", "e.txt"},
      {L"C:\\a\\..\\..\\b\\.\\f.txt", "a/b/f.txt", "f.txt"},
      {L"/home/nutzer/M\u00e4rz.txt", "home/nutzer/M\xc3\xa4rz.txt", "M\xc3\xa4rz.txt"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(c.path));
    EXPECT_EQ(ZipEntryNameForPath(c.path, true), c.withFolders);
    EXPECT_EQ(ZipEntryNameForPath(c.path, false), c.nameOnly);
  }
}

TEST(ZipEntryNames, ExtractionRefusesEveryWayOutOfTheFolder) {
  std::vector<std::wstring> parts;
  for (const char* bad : {"../x", "a/../../x", "..\\x", "/etc/passwd", "\\x", "C:/x", "C:x", "//server/share/x",
                          "\\\\?\\C:\\x", "a/ .. /x", "a/.../x", "a/b:stream", "", "./"}) {
    EXPECT_FALSE(SafeExtractParts(bad, &parts)) << bad;
    EXPECT_TRUE(parts.empty());
  }
  ASSERT_TRUE(SafeExtractParts("Ordner/./Unter//M\xc3\xa4rz.txt", &parts));
  EXPECT_EQ(parts, (std::vector<std::wstring>{L"Ordner", L"Unter", L"M\u00e4rz.txt"}));
  ASSERT_TRUE(SafeExtractParts("a..b/c.", &parts));
  EXPECT_EQ(parts, (std::vector<std::wstring>{L"a..b", L"c_"}));
}

TEST(ZipWriter, CompressedFormatsAreKnownByExtension) {
  for (const wchar_t* name : {L"a.jpg", L"B.JPEG", L"x.docx", L"film.mkv", L"c\\d.7z", L"e.gz"}) {
    EXPECT_TRUE(IsCompressedFormat(name)) << ToUtf8(name);
  }
  for (const wchar_t* name : {L"a.txt", L"jpg", L"b.bmp", L"c.pdf", L"d.jpg.txt", L"zip\\e"}) {
    EXPECT_FALSE(IsCompressedFormat(name)) << ToUtf8(name);
  }
}

}  // namespace
}  // namespace ablagix
