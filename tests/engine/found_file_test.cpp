// The action reaches exactly the file the scan found, and nothing is destroyed before what went
// elsewhere is known to be all there is. Each case is a world a hostile or careless neighbour
// can make: a name that reads as a path elsewhere, bytes that are no text, a file swapped for a
// link, a pipe under a target name, a second name of the same data, a file that grows while it
// is packed, an archive that holds what an earlier run moved.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "engine/undo.h"
#include "fileops/byte_source.h"
#include "fileops/faulty_file_system.h"
#include "fileops/path_text.h"
#include "fileops/run_lock.h"
#include "log/log_row.h"
#include "test_support.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer.h"
#include "profile_builder.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;


// A run host whose journals go into a folder of the test, so that its runs can be undone.
class JournaledHost : public test::TestRunHost {
 public:
  std::wstring JournalFolder() override { return folder; }
  std::wstring folder;
};

class FoundFileTest : public ::testing::Test {
 protected:
  void SetUp() override { ClearAbort(); }
  void TearDown() override { testing_hooks::SetZipWriteFailure(nullptr); }

  Profile Make(const std::wstring& quelle, const wchar_t* aktion, const wchar_t* kollision = L"1") {
    return test::ProfileBuilder(L"Fremde Welt").Action(aktion, quelle, dir_ / L"Ziel").Filter(L"Alles").Collision(kollision).CaseSensitive(false);
  }
  RunSummary Run(const Profile& p, RunMode mode = RunMode::Execute) {
    log_.Clear();
    host_.ui_.answers.assign(8, MessageAnswer::Yes);
    return RunProfiles({p}, mode, host_, log_);
  }
  std::vector<std::wstring> Results() const {
    std::vector<std::wstring> out;
    for (size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) out.push_back(log_.Text(r, LogColumn::Ergebnis));
    }
    return out;
  }
  std::wstring ResultOf(std::wstring_view name) const {
    for (size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r) && log_.Text(r, LogColumn::Datei) == name) return log_.Text(r, LogColumn::Ergebnis);
    }
    return L"(keine Zeile)";
  }

  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
};

#ifndef _WIN32

// Bytes on the disk, by names that are bytes too.
std::string Native(const std::wstring& path) { return test::U8(path); }

bool Put(const std::string& path, std::string_view bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  const bool ok = ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  ::close(fd);
  return ok;
}

std::string Get(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW);
  if (fd < 0) return "<fehlt>";
  std::string bytes;
  char buffer[4096];
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) bytes.append(buffer, static_cast<size_t>(n));
  ::close(fd);
  return bytes;
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

TEST_F(FoundFileTest, ANameWithABackslashIsItsOwnFileNeverAPathElsewhere) {
  const std::string home = Native(dir_.path());
  ASSERT_EQ(::mkdir((home + "/Downloads").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((home + "/Documents").c_str(), 0755), 0);
  ASSERT_EQ(::mkdir((home + "/.ssh").c_str(), 0700), 0);
  ASSERT_TRUE(Put(home + "/Documents/thesis.txt", "thesis final version"));
  ASSERT_TRUE(Put(home + "/.ssh/id_rsa", "PRIVATE KEY"));
  ASSERT_TRUE(Put(home + "/Downloads/..\\Documents\\thesis.txt", "decoy"));
  ASSERT_TRUE(Put(home + "/Downloads/..\\.ssh\\id_rsa", "x"));

  // A copy to a shared folder copies the decoys themselves, never what they seem to name.
  Run(Make(dir_ / L"Downloads", L"Kopieren"));
  EXPECT_EQ(Results(), (std::vector<std::wstring>(2, L"Kopiert")));
  EXPECT_EQ(Get(home + "/Ziel/..\\.ssh\\id_rsa"), "x");
  EXPECT_FALSE(Exists(home + "/Ziel/id_rsa"));
  EXPECT_FALSE(Exists(home + "/Ziel/thesis.txt"));

  // Shredding every ".txt" of Downloads destroys the decoy, and the thesis next door stays.
  Profile shred = Make(dir_ / L"Downloads", L"L\u00f6schenS");
  shred.Filter = L".txt";
  Run(shred);
  EXPECT_EQ(Results(), std::vector<std::wstring>{std::wstring(ResultWord::kGeloeschtS)});
  EXPECT_FALSE(Exists(home + "/Downloads/..\\Documents\\thesis.txt"));
  EXPECT_EQ(Get(home + "/Documents/thesis.txt"), "thesis final version");
  EXPECT_EQ(Get(home + "/.ssh/id_rsa"), "PRIVATE KEY");

  // A folder named "..\Documents" is an empty folder of Downloads, not the user's documents.
  ASSERT_EQ(::mkdir((home + "/Downloads/..\\Documents").c_str(), 0755), 0);
  ASSERT_TRUE(Put(home + "/Downloads/a\\b.txt", "junk"));
  ASSERT_EQ(::mkdir((home + "/Downloads/a").c_str(), 0755), 0);
  ASSERT_TRUE(Put(home + "/Downloads/a/b.txt", "precious"));
  Profile empty = Make(dir_ / L"Downloads", L"L\u00f6schenX");
  empty.Unterverzeich = L"1";
  empty.Filter = L".txt";
  Run(empty);
  EXPECT_EQ(Get(home + "/Documents/thesis.txt"), "thesis final version");
  EXPECT_FALSE(Exists(home + "/Downloads/a\\b.txt"));
  EXPECT_FALSE(Exists(home + "/Downloads/a/b.txt"));  // a file of the source, selected
  EXPECT_TRUE(Exists(home + "/Downloads/..\\.ssh\\id_rsa"));  // no ".txt"
}

TEST_F(FoundFileTest, ANameThatIsNoUtf8IsHandledByItsOwnBytesAndShownEscaped) {
  const std::string src = Native(dir_ / L"Quelle");
  ASSERT_EQ(::mkdir(src.c_str(), 0755), 0);
  ASSERT_TRUE(Put(src + "/\xef\xbf\xbd.txt", "precious"));
  ASSERT_TRUE(Put(src + "/\xe4.txt", "junk-latin1"));
  ASSERT_TRUE(Put(src + "/ok\xff\xfe.txt", "two bad bytes"));
  const RunSummary s = Run(Make(dir_ / L"Quelle", L"Verschieben"));
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(Results(), (std::vector<std::wstring>(3, L"Verschoben")));
  const std::string dst = Native(dir_ / L"Ziel");
  EXPECT_EQ(Get(dst + "/\xef\xbf\xbd.txt"), "precious");
  EXPECT_EQ(Get(dst + "/\xe4.txt"), "junk-latin1");
  EXPECT_EQ(Get(dst + "/ok\xff\xfe.txt"), "two bad bytes");
  // People read the byte's value where it is no text; the sizes are each file's own.
  std::set<std::string> shown;
  for (size_t r = 0; r < log_.size(); ++r) {
    if (log_.IsFileRow(r)) shown.insert(ToUtf8(log_.Text(r, LogColumn::Datei) + L" " + log_.Text(r, LogColumn::Groesse)));
  }
  EXPECT_EQ(shown, (std::set<std::string>{"\xef\xbf\xbd.txt 8 Bytes", "\\xE4.txt 11 Bytes", "ok\\xFF\\xFE.txt 13 Bytes"}));
}

TEST_F(FoundFileTest, AFileSwappedForALinkMeanwhileIsNeverReadThroughIt) {
  ASSERT_TRUE(WriteBytes(dir_ / L"home\\secret.txt", "TOP SECRET"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\z.txt", "harmless"));
  const std::string z = Native(dir_ / L"Quelle\\z.txt");
  const std::string secret = Native(dir_ / L"home\\secret.txt");
  test::FaultyFileSystem fs;
  // Between the scan and the copy, someone who may write into the source folder swaps the file.
  fs.Before(test::FsOp::kStageCopy, L"z.txt", [&] {
    ::unlink(z.c_str());
    ASSERT_EQ(::symlink(secret.c_str(), z.c_str()), 0);
  });
  Run(Make(dir_ / L"Quelle", L"Kopieren"));
  EXPECT_TRUE(ResultOf(L"z.txt").starts_with(L"Fehler!")) << ResultOf(L"z.txt");
  EXPECT_NE(ReadBytes(dir_ / L"Ziel\\z.txt"), "TOP SECRET");
  EXPECT_FALSE(FileExists(dir_ / L"Ziel\\z.txt"));
}

TEST_F(FoundFileTest, APipeUnderATargetNameIsNeverOpenedAndTheRowSaysWhy) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.jpg", "photo"));
  ASSERT_TRUE(CreateFolders(dir_ / L"Ziel"));
  ASSERT_EQ(::mkfifo(Native(dir_ / L"Ziel\\a.jpg").c_str(), 0644), 0);
  ASSERT_EQ(::symlink("/etc/hostname", Native(dir_ / L"Ziel\\b.jpg").c_str()), 0);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.jpg", "photo b"));
  // Opening the pipe would wait for a writer for ever: the alarm ends a run that hangs.
  ::alarm(20);
  Profile p = Make(dir_ / L"Quelle", L"Verschieben");
  p.Identisch = L"1";
  Run(p, RunMode::Simulate);
  Run(p);
  ::alarm(0);
  const std::wstring skipped = std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielKeineDatei);
  EXPECT_EQ(ResultOf(L"a.jpg"), skipped);
  EXPECT_EQ(ResultOf(L"b.jpg"), skipped);
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.jpg"), "photo");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\b.jpg"), "photo b");
}

TEST_F(FoundFileTest, ShreddingANameOfHardLinkedDataLeavesTheOtherNamesWhole) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Sicherung\\tax.txt", "tax records 2025"));
  ASSERT_EQ(::chmod(Native(dir_ / L"Sicherung\\tax.txt").c_str(), 0444), 0);
  ASSERT_TRUE(CreateFolders(dir_ / L"Quelle"));
  ASSERT_EQ(::link(Native(dir_ / L"Sicherung\\tax.txt").c_str(), Native(dir_ / L"Quelle\\tax-copy.txt").c_str()), 0);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\alone.txt", "only name"));
  Run(Make(dir_ / L"Quelle", L"L\u00f6schenS"));
  EXPECT_EQ(ReadBytes(dir_ / L"Sicherung\\tax.txt"), "tax records 2025");
  struct stat st;
  ASSERT_EQ(::stat(Native(dir_ / L"Sicherung\\tax.txt").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0444u);  // its protection is its own, not lifted for the other name
  EXPECT_FALSE(PathExists(dir_ / L"Quelle\\tax-copy.txt"));
  EXPECT_TRUE(ResultOf(L"tax-copy.txt").starts_with(L"Nur der Name entfernt")) << ResultOf(L"tax-copy.txt");
  EXPECT_EQ(ResultOf(L"alone.txt"), ResultWord::kGeloeschtS);
}

TEST_F(FoundFileTest, ArchivesAndUndoKeepAPrivateFilePrivate) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\id_key", "secret key"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\run.sh", "script"));
  ASSERT_EQ(::chmod(Native(dir_ / L"Quelle\\id_key").c_str(), 0600), 0);
  ASSERT_EQ(::chmod(Native(dir_ / L"Quelle\\run.sh").c_str(), 0755), 0);
  Profile p = Make(dir_ / L"Quelle", L"Verschieben");
  p.Zippen = L"1";
  JournaledHost host;
  host.folder = dir_ / L"Journal";
  RunProfiles({p}, RunMode::Execute, host, log_);
  auto mode = [](const std::wstring& path) {
    struct stat st;
    return ::stat(test::U8(path).c_str(), &st) == 0 ? st.st_mode & 0777 : 0u;
  };
  EXPECT_FALSE(FileExists(dir_ / L"Quelle\\id_key"));
  EXPECT_EQ(mode(dir_ / L"Ziel\\id_key.zip") & 0077, 0u);  // nobody else may read the key in it
  const std::string bytes = ReadBytes(dir_ / L"Ziel\\run.sh.zip");
  MemoryByteSource source(bytes);
  ZipReader zip(source);
  ASSERT_EQ(zip.Open(), ZipError::kNone);
  ASSERT_EQ(zip.entries().size(), 1u);
  EXPECT_EQ((zip.entries()[0].versionMadeBy >> 8), 3);  // Unix attributes: readers restore the mode
  EXPECT_EQ((zip.entries()[0].externalAttributes >> 16) & 0777, 0755u);
  // Taken out again by the undo, each file has the permissions it had.
  const std::vector<JournalSummary> journals = ListJournals(host.folder);
  ASSERT_EQ(journals.size(), 1u);
  LogList undoLog;
  UndoRun(journals[0].path, host, undoLog);
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\id_key"), "secret key");
  EXPECT_EQ(mode(dir_ / L"Quelle\\id_key"), 0600u);
  EXPECT_EQ(mode(dir_ / L"Quelle\\run.sh"), 0755u);
}

#endif  // !_WIN32

TEST_F(FoundFileTest, AZipMoveKeepsASourceThatWasWrittenToWhileItWasPacked) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\big.log", std::string(200000, 'A')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\other.log", "unchanged"));
  // The first write into the archive comes after the file was read: someone appends then.
  bool appended = false;
  testing_hooks::SetZipWriteFailure([&](std::uint64_t) -> std::uint32_t {
    if (!appended) {
      appended = true;
      EXPECT_TRUE(WriteBytes(dir_ / L"Quelle\\big.log", std::string(200000, 'A') + "APPENDED"));
    }
    return 0;
  });
  Profile p = Make(dir_ / L"Quelle", L"Verschieben");
  p.Filter = L".log";
  p.Zippen = L"1";
  Run(p);
  testing_hooks::SetZipWriteFailure(nullptr);
  // Whichever went first, the appended bytes are somewhere: a file read before them stays with
  // them, and its row says why.
  const std::string withAppend = std::string(200000, 'A') + "APPENDED";
  const std::wstring big = ResultOf(L"big.log");
  if (big.starts_with(L"Fehler!")) {
    EXPECT_NE(big.find(L"ge\u00e4ndert"), std::wstring::npos) << test::U8(big);
    EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\big.log"), withAppend);
  } else {
    EXPECT_EQ(test::ZipEntries(dir_ / L"Ziel\\big.log.zip")["big.log"], withAppend);
  }

  // One archive for the run: files saved anew after they were read stay with their new content;
  // what went into the archive is the version that was read.
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.log", std::string(300000, 'B')));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\c.log", std::string(300000, 'C')));
  std::uint64_t writes = 0;
  testing_hooks::SetZipWriteFailure([&](std::uint64_t) -> std::uint32_t {
    if (++writes == 1) {
      for (const wchar_t* name : {L"b.log", L"c.log"}) {
        EXPECT_TRUE(WriteBytes(dir_ / (std::wstring(L"Quelle\\") + name), "MY NEW EDITS"));
      }
    }
    return 0;
  });
  p.Zippen = L"2";
  p.ZipName = L"Archiv";
  p.Filename = L"?.log";
  Run(p);
  testing_hooks::SetZipWriteFailure(nullptr);
  const auto archived = test::ZipEntries(dir_ / L"Ziel\\Archiv.zip");
  int kept = 0;
  for (const wchar_t* name : {L"b.log", L"c.log"}) {
    const std::wstring path = dir_ / (std::wstring(L"Quelle\\") + name);
    if (ResultOf(name).starts_with(L"Fehler! Gezippt, aber die Quelle blieb")) {
      ++kept;
      EXPECT_EQ(ReadBytes(path), "MY NEW EDITS");
    } else {
      EXPECT_FALSE(FileExists(path));
      EXPECT_EQ(archived.at(test::U8(name)), "MY NEW EDITS");
    }
  }
  EXPECT_GE(kept, 1);  // the first in the archive was read before anyone wrote
}

TEST_F(FoundFileTest, ARunArchiveKeepsWhatEarlierRunsMovedIntoIt) {
  for (int i = 1; i <= 3; ++i) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Quelle\\mon" + std::to_wstring(i) + L".txt"), "monday " + std::to_string(i)));
  }
  Profile p = Make(dir_ / L"Quelle", L"Verschieben", L"0");
  p.Zippen = L"2";
  p.ZipName = L"Archiv";
  Run(p);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\tue.txt", "tuesday"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\mon1.txt", "monday again"));
  Run(p);
  // "immer überschreiben" replaces the entry of the same name, and says so; the others stay.
  EXPECT_EQ(ResultOf(L"mon1.txt"), L"Gezippt, ersetzt");
  EXPECT_EQ(ResultOf(L"tue.txt"), L"Gezippt");
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ziel\\Archiv.zip"),
            (std::map<std::string, std::string>{{"mon1.txt", "monday again"},
                                                {"mon2.txt", "monday 2"},
                                                {"mon3.txt", "monday 3"},
                                                {"tue.txt", "tuesday"}}));

  // Packed in place, with the archive in the source: the run never takes its own archive.
  p.Ziel = p.Quelle;
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\wed.txt", "wednesday"));
  Run(p);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\thu.txt", "thursday"));
  Run(p);
  EXPECT_TRUE(ResultOf(L"Archiv.zip").starts_with(ResultWord::kUebersprungen)) << test::U8(ResultOf(L"Archiv.zip"));
  EXPECT_EQ(test::ZipEntries(dir_ / L"Quelle\\Archiv.zip"),
            (std::map<std::string, std::string>{{"wed.txt", "wednesday"}, {"thu.txt", "thursday"}}));

  // One archive per file: a move never replaces an archive that may hold an earlier move's file.
  p.Ziel = dir_ / L"Ziel";
  p.Zippen = L"1";
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\fri.txt", "friday 1"));
  Run(p);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\fri.txt", "friday 2"));
  Run(p);
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ziel\\fri.txt.zip")["fri.txt"], "friday 1");
  EXPECT_EQ(test::ZipEntries(dir_ / L"Ziel\\fri.txt(1).zip")["fri.txt"], "friday 2");
}

TEST_F(FoundFileTest, ASecondRunOnTheSameSourceFolderWaitsForItsTurn) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "a"));
  JournaledHost host;
  host.folder = dir_ / L"Journal";
  // Another process at work on the folder, reached here by another spelling of it.
  FolderRunLock other;
  ASSERT_TRUE(other.TryLock(host.folder + L"\\Sperren", dir_.path() + L"\\Quelle\\."));
  const RunSummary busy = RunProfiles({Make(dir_ / L"Quelle", L"Verschieben")}, RunMode::Execute, host, log_);
  EXPECT_EQ(busy.errors, 1u);
  ASSERT_EQ(busy.refused.size(), 1u);
  EXPECT_NE(busy.refused[0].find(L"anderen Ablagix-Lauf"), std::wstring::npos);
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.txt"), "a");
  // A simulation changes nothing and is never held up.
  log_.Clear();
  RunProfiles({Make(dir_ / L"Quelle", L"Verschieben")}, RunMode::Simulate, host, log_);
  EXPECT_EQ(Results(), std::vector<std::wstring>{std::wstring(ResultWord::kVerschobenSimuliert)});
}

TEST_F(FoundFileTest, ATargetThatIsNoFullPathIsRefusedLikeASource) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\a.txt", "x"));
  Profile p = Make(dir_ / L"Quelle", L"Verschieben");
  p.Ziel = L"Ablage";
  const RunSummary s = Run(p);
  ASSERT_EQ(s.refused.size(), 1u);
  EXPECT_NE(s.refused[0].find(L"Ziel=Ablage"), std::wstring::npos);
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\a.txt"), "x");
  EXPECT_FALSE(PathExists(L"Ablage"));
}

TEST_F(FoundFileTest, FoldersFollowTheFileSystemsCaseRule) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\a.jpg", "pic"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\Archiv\\old.jpg", "old"));
  Profile p = Make(dir_ / L"Fotos", L"Kopieren");
  p.Ziel = dir_ / L"fotos";
  Run(p);
  // Linux: another folder, so a real copy; Windows: the file itself, so nothing to do.
  EXPECT_EQ(ResultOf(L"a.jpg"), FileNamesIgnoreCase() ? ResultWord::kUebersprungen : ResultWord::kKopiert);
  // A subfolder that differs from the target only in case is scanned where case counts.
  p.Unterverzeich = L"1";
  p.Ziel = dir_ / L"Fotos\\archiv";
  Run(p, RunMode::Simulate);
  EXPECT_EQ(ResultOf(L"old.jpg") != L"(keine Zeile)", !FileNamesIgnoreCase());
}

TEST_F(FoundFileTest, SortingInPlaceByYearStillScansTheOtherSubfolders) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\Urlaub\\a.jpg", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\b.jpg", "b"));
  Profile p = Make(dir_ / L"Quelle", L"Verschieben");
  p.Unterverzeich = L"1";
  p.Filter = L".jpg";
  p.Ziel = dir_.path() + L"\\Quelle\\%DateGAYYYY%";
  Run(p, RunMode::Simulate);
  EXPECT_EQ(Results(), (std::vector<std::wstring>(2, std::wstring(ResultWord::kVerschobenSimuliert))));
}

#ifdef _WIN32

// A name with a trailing dot or blank is legal on NTFS (it comes from Linux shares, from git,
// from archives); the system's path normalisation would make it the name without them.
bool MakeLiteral(const std::wstring& path, std::string_view bytes) {
  HANDLE h = CreateFileW((L"\\\\?\\" + path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool ok = WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != 0;
  CloseHandle(h);
  return ok;
}

bool LiteralExists(const std::wstring& path) {
  return GetFileAttributesW((L"\\\\?\\" + path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

TEST_F(FoundFileTest, ANameEndingInADotOrBlankIsActedOnByItsOwnName) {
  ASSERT_TRUE(CreateFolders(dir_ / L"Quelle"));
  ASSERT_TRUE(MakeLiteral(dir_ / L"Quelle\\trail.", "dot-file junk"));
  ASSERT_TRUE(MakeLiteral(dir_ / L"Quelle\\trail", "precious no-dot"));
  ASSERT_TRUE(MakeLiteral(dir_ / L"Quelle\\blank ", "blank junk"));
  ASSERT_TRUE(MakeLiteral(dir_ / L"Quelle\\blank", "precious no-blank"));
  Profile p = Make(dir_ / L"Quelle", L"L\u00f6schenX");
  p.Filename = L"trail.";
  Run(p);
  EXPECT_EQ(ResultOf(L"trail."), ResultWord::kGeloeschtX);
  EXPECT_FALSE(LiteralExists(dir_ / L"Quelle\\trail."));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\trail"), "precious no-dot");
  p.Filename = L"blank ";
  p.Aktion = L"Verschieben";
  Run(p);
  EXPECT_EQ(ResultOf(L"blank "), ResultWord::kVerschoben);
  EXPECT_TRUE(LiteralExists(dir_ / L"Ziel\\blank "));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\blank"), "precious no-blank");
  // The recycle bin is the shell's, which knows only the normalised name: refused, not another
  // file sent away.
  ASSERT_TRUE(MakeLiteral(dir_ / L"Quelle\\trail.", "dot-file junk"));
  p.Filename = L"trail.";
  p.Aktion = L"L\u00f6schenP";
  Run(p);
  EXPECT_TRUE(ResultOf(L"trail.").starts_with(L"Fehler!")) << test::U8(ResultOf(L"trail."));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\trail"), "precious no-dot");
  EXPECT_TRUE(LiteralExists(dir_ / L"Quelle\\trail."));
}

#endif  // _WIN32

}  // namespace
}  // namespace ablagix
