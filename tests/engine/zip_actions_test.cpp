// Copy and move profiles that write zip archives: one per file, one per run, self-extracting.
#include "engine/zip_actions.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#ifndef _WIN32
#include <sys/stat.h>
#endif

#include "base/abort_flag.h"
#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "fileops/byte_source.h"
#include "fileops/path_text.h"
#include "log/log_row.h"
#include "test_support.h"
#include "zip/sfx_archive.h"
#include "zip/zip_reader.h"
#include "profile_builder.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;


class ZipActionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ClearAbort();
    ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\Brief März.txt", "Lieber Hans"));
    ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\Unter\\foto.jpg", std::string(5000, 'j')));
    ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\leer.txt", ""));
  }
  Profile Make(const wchar_t* aktion, const wchar_t* zippen, const wchar_t* kollision = L"1") {
    return test::ProfileBuilder(L"Archiv")
        .Action(aktion, dir_ / L"Eingang", dir_ / L"Ablage")
        .Subfolders()
        .Collision(kollision)
        .Zip(zippen, L"Sammlung %Ext%");
  }
  RunSummary Run(const Profile& p, RunMode mode = RunMode::Execute) {
    log_.Clear();
    return RunProfiles({p}, mode, host_, log_);
  }
  std::multiset<std::wstring> Results() const {
    std::multiset<std::wstring> out;
    for (size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) out.insert(log_.Text(r, LogColumn::Ergebnis));
    }
    return out;
  }

  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
};

TEST_F(ZipActionsTest, OneArchivePerFileFollowsTheCollisionPolicy) {
  RunSummary s = Run(Make(L"Kopieren", L"1"));
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"Gezippt", L"Gezippt", L"Gezippt"}));
  auto brief = test::ZipEntries(dir_ / L"Ablage\\Brief März.txt.zip");
  ASSERT_EQ(brief.size(), 1u);
  EXPECT_EQ(brief["Brief März.txt"], "Lieber Hans");
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ablage\\leer.txt.zip")["leer.txt"], "");
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ablage\\foto.jpg.zip")["foto.jpg"], std::string(5000, 'j'));
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\Brief März.txt"), "Lieber Hans");  // copied, not moved

  // A second run numbers the archives; "überspringen" leaves them alone.
  Run(Make(L"Kopieren", L"1"));
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\Brief März.txt(1).zip"));
  Run(Make(L"Kopieren", L"1", L"2"));
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"\u00dcbersprungen", L"\u00dcbersprungen", L"\u00dcbersprungen"}));
  EXPECT_FALSE(FileExists(dir_ / L"Ablage\\Brief März.txt(2).zip"));

  // A simulation says what would happen and writes nothing.
  Run(Make(L"Verschieben", L"1"), RunMode::Simulate);
  EXPECT_EQ(Results().count(L"Verschoben, simuliert"), 3u);
  EXPECT_TRUE(FileExists(dir_ / L"Eingang\\leer.txt"));
}

TEST_F(ZipActionsTest, AMoveDeletesTheSourceOnlyAfterItsArchiveIsComplete) {
  ASSERT_TRUE(SetAttributes(dir_ / L"Eingang\\leer.txt", kAttrReadOnly));
  host_.zip.keepPath = true;
  RunSummary s = Run(Make(L"Verschieben", L"1"));
  EXPECT_EQ(s.errors, 0u);
  EXPECT_FALSE(FileExists(dir_ / L"Eingang\\Brief März.txt"));
  EXPECT_FALSE(FileExists(dir_ / L"Eingang\\leer.txt"));  // read-only: cleared, then deleted
  // With the whole path the entry carries the folders, never a drive or a leading separator.
  const auto entries = test::ZipEntries(dir_ / L"Ablage\\foto.jpg.zip");
  ASSERT_EQ(entries.size(), 1u);
  const std::string name = entries.begin()->first;
  EXPECT_TRUE(name.ends_with("/Eingang/Unter/foto.jpg")) << name;
  EXPECT_NE(name.front(), '/');
  EXPECT_EQ(name.find(':'), std::string::npos);

  // A cancelled archive: no archive, the source stays.
  ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\gross.bin", std::string(3 << 20, 'g')));
  host_.cancelCopies = true;
  Run(Make(L"Verschieben", L"1"));
  host_.cancelCopies = false;
  ClearAbort();
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"Fehler! Abgebrochen"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\gross.bin").size(), 3u << 20);
  EXPECT_FALSE(PathExists(dir_ / L"Ablage\\gross.bin.zip"));
}

TEST_F(ZipActionsTest, OneArchiveForTheRunHoldsEveryAcceptedFile) {
  RunSummary s = Run(Make(L"Verschieben", L"2"));
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"Gezippt", L"Gezippt", L"Gezippt"}));
  // The name's variables come from the first file.
  std::wstring archive;
  for (const wchar_t* ext : {L"txt", L"jpg"}) {
    if (FileExists(dir_ / (L"Ablage\\Sammlung " + std::wstring(ext) + L".zip"))) {
      archive = dir_ / (L"Ablage\\Sammlung " + std::wstring(ext) + L".zip");
    }
  }
  ASSERT_FALSE(archive.empty());
  const auto entries = test::ZipEntries(archive);
  EXPECT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries.at("Brief März.txt"), "Lieber Hans");
  EXPECT_FALSE(FileExists(dir_ / L"Eingang\\Brief März.txt"));  // moved: gone once the archive is in place

  // A file nobody may read stays out of the archive (and in its place); the others go in.
  ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\a.txt", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\b.txt", "b"));
  Profile p = Make(L"Verschieben", L"2");
  p.Unterverzeich = L"0";
  p.ZipName = L"Zwei";
#ifndef _WIN32
  // On Linux the lock is a read permission taken away from this process, which then runs as
  // "nobody": the folders it writes in must let it.
  ASSERT_TRUE(CreateFolders(dir_ / L"Ablage"));
  ::chmod(test::U8(dir_ / L"Ablage").c_str(), 0777);
  ::chmod(test::U8(dir_ / L"Eingang").c_str(), 0777);
#endif
  {
    test::LockedFile locked(dir_ / L"Eingang\\b.txt");
    if (locked.active()) {
      s = Run(p);
      EXPECT_EQ(s.errors, 1u);
      EXPECT_EQ(Results().count(L"Gezippt"), 1u);
      EXPECT_TRUE(FileExists(dir_ / L"Eingang\\b.txt"));
    }
  }
  if (FileExists(dir_ / L"Ablage\\Zwei.zip")) {
    EXPECT_EQ(test::ZipEntries(dir_ / L"Ablage\\Zwei.zip").count("a.txt"), 1u);
  }

  // Esc while the archive is written: no archive, every file still there.
  ASSERT_TRUE(WriteBytes(dir_ / L"Eingang\\c.txt", "c"));
  host_.cancelCopies = true;
  p.ZipName = L"Drei";
  Run(p);
  host_.cancelCopies = false;
  ClearAbort();
  EXPECT_FALSE(PathExists(dir_ / L"Ablage\\Drei.zip"));
  EXPECT_TRUE(FileExists(dir_ / L"Eingang\\c.txt"));
  for (const auto& word : Results()) EXPECT_EQ(RowKindOf(word), LogRowKind::Error) << test::U8(word);
}

TEST_F(ZipActionsTest, SelfExtractorsAndOtherZipValues) {
  host_.zip.createExe = true;
  Run(Make(L"Kopieren", L"1"));
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\leer.txt.exe"));
  EXPECT_FALSE(FileExists(dir_ / L"Ablage\\leer.txt.zip"));  // no .zip beside the .exe
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ablage\\Brief März.txt.exe")["Brief März.txt"], "Lieber Hans");
  const std::string exe = ReadBytes(dir_ / L"Ablage\\leer.txt.exe");
  EXPECT_EQ(exe.substr(0, 2), "MZ");
  MemoryByteSource source(exe);
  std::vector<SfxText> texts;
  ASSERT_TRUE(ReadSfxTexts(source, &texts));
  EXPECT_EQ(texts, StandardSfxTexts());

  // Without the stub every file says so, and nothing is written.
  testing_hooks::HideSfxStub(true);
  Run(Make(L"Kopieren", L"1", L"0"));
  testing_hooks::HideSfxStub(false);
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"Fehler! Konnte Zipkomponente nicht laden", L"Fehler! Konnte Zipkomponente nicht laden",
                                          L"Fehler! Konnte Zipkomponente nicht laden"}));

  // Any other value of Zippen means no zip: the files are copied as they are.
  host_.zip.createExe = false;
  for (const wchar_t* other : {L"3", L"ja", L"", L"0"}) {
    test::RemoveTree(dir_ / L"Ablage");
    Run(Make(L"Kopieren", other));
    EXPECT_EQ(ReadBytes(dir_ / L"Ablage\\Brief März.txt"), "Lieber Hans") << test::U8(other);
  }
}

TEST_F(ZipActionsTest, CheckedRowsGoIntoTheirArchivesAgain) {
  Profile p = Make(L"Kopieren", L"2");
  p.ZipName = L"Nochmal";
  Run(p, RunMode::Simulate);
  for (size_t r = 0; r < log_.size(); ++r) log_.SetChecked(r, log_.IsFileRow(r));
  RunSummary s = RunCheckedRows(log_, host_);
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(Results(), (std::multiset<std::wstring>{L"Gezippt", L"Gezippt", L"Gezippt"}));
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ablage\\Nochmal.zip").size(), 3u);
}

}  // namespace
}  // namespace ablagix
