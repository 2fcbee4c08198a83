#include "engine/duplicates.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "fileops/path_text.h"
#include "profile_builder.h"
#include "test_support.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

constexpr FileTime kDay = 864000000000LL;
constexpr FileTime kJanuary2024 = 133485408000000000LL;

bool MakeHardLink(const std::wstring& existing, const std::wstring& link) {
#ifdef _WIN32
  return CreateHardLinkW(link.c_str(), existing.c_str(), nullptr) != 0;
#else
  return ::link(test::U8(existing).c_str(), test::U8(link).c_str()) == 0;
#endif
}

// Bytes that differ from file to file by `seed`, of any length.
std::string Bytes(std::size_t size, unsigned seed) {
  std::string bytes(size, '\0');
  std::uint32_t v = seed * 2654435761u + 1;
  for (char& c : bytes) {
    v = v * 1664525u + 1013904223u;
    c = static_cast<char>(v >> 24);
  }
  return bytes;
}

class DuplicatesTest : public ::testing::Test {
 protected:
  bool Put(const std::wstring& relative, const std::string& bytes, FileTime written = kJanuary2024) {
    return WriteBytes(dir_ / relative, bytes) && test::SetLastWriteTime(dir_ / relative, written);
  }
  Profile Duplicates(const std::wstring& aktion, const std::wstring& other = {}) {
    return test::ProfileBuilder(L"Doppelte")
        .Action(aktion, dir_ / L"Quelle")
        .Subfolders()
        .Set(&Profile::Duplikate, L"1")
        .Set(&Profile::DuplikatOrdner, other);
  }
  // A path below the test folder as "a\b", so that tests read the same on every system.
  std::wstring Relative(std::wstring path) const {
    const std::wstring& root = dir_.path();
    if (path.starts_with(root)) path.erase(0, root.size() + 1);
    for (wchar_t& c : path) {
      if (c == L'/') c = L'\\';
    }
    return path;
  }
  // Every file row of `log`: the file's relative path to what its Metadaten column says, with
  // the kept copy's path relative too.
  std::map<std::wstring, std::wstring> Rows(const LogList& log) const {
    std::map<std::wstring, std::wstring> rows;
    for (std::size_t r = 0; r < log.size(); ++r) {
      if (!log.IsFileRow(r)) continue;
      const std::wstring kept = KeptCopyOfNote(log.Text(r, LogColumn::Metadaten));
      rows[Relative(log.Text(r, LogColumn::Pfad) + log.Text(r, LogColumn::Datei))] = Relative(kept);
    }
    return rows;
  }
  std::map<std::wstring, std::wstring> Results(const LogList& log) const {
    std::map<std::wstring, std::wstring> words;
    for (std::size_t r = 0; r < log.size(); ++r) {
      if (log.IsFileRow(r)) {
        words[Relative(log.Text(r, LogColumn::Pfad) + log.Text(r, LogColumn::Datei))] = log.Text(r, LogColumn::Ergebnis);
      }
    }
    return words;
  }

  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
};

TEST_F(DuplicatesTest, OneCopyOfEachGroupStaysByAgeThenPathLengthThenNameThenPath) {
  const std::string eins = Bytes(3000, 1);
  // The oldest stays, however deep it lies.
  ASSERT_TRUE(Put(L"Quelle\\tief\\tiefer\\eins.txt", eins, kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\eins.txt", eins));
  ASSERT_TRUE(Put(L"Quelle\\b\\eins.txt", eins));
  // Of equal age, the shortest path.
  ASSERT_TRUE(Put(L"Quelle\\unter\\zwei.dat", Bytes(5000, 2)));
  ASSERT_TRUE(Put(L"Quelle\\zwei.dat", Bytes(5000, 2)));
  // Of equal length, the first name, even where its folder comes later.
  ASSERT_TRUE(Put(L"Quelle\\x\\b.dat", Bytes(5000, 3)));
  ASSERT_TRUE(Put(L"Quelle\\y\\a.dat", Bytes(5000, 3)));
  // Of equal name, the first path.
  ASSERT_TRUE(Put(L"Quelle\\y\\c.dat", Bytes(5000, 4)));
  ASSERT_TRUE(Put(L"Quelle\\x\\c.dat", Bytes(5000, 4)));
  // Same size, other bytes; empty files; a file of its own.
  ASSERT_TRUE(Put(L"Quelle\\anders.dat", Bytes(5000, 5)));
  ASSERT_TRUE(Put(L"Quelle\\leer1.txt", ""));
  ASSERT_TRUE(Put(L"Quelle\\x\\leer2.txt", ""));
  ASSERT_TRUE(Put(L"Quelle\\allein.jpg", Bytes(777, 6)));

  const std::map<std::wstring, std::wstring> expected = {
      {L"Quelle\\eins.txt", L"Quelle\\tief\\tiefer\\eins.txt"},
      {L"Quelle\\b\\eins.txt", L"Quelle\\tief\\tiefer\\eins.txt"},
      {L"Quelle\\unter\\zwei.dat", L"Quelle\\zwei.dat"},
      {L"Quelle\\x\\b.dat", L"Quelle\\y\\a.dat"},
      {L"Quelle\\y\\c.dat", L"Quelle\\x\\c.dat"},
  };
  // The same on one thread and on several.
  for (unsigned threads : {0u, 1u, 2u}) {
    host_.contentThreads = threads;
    LogList log;
    const RunSummary s = RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Simulate, host_, log);
    EXPECT_EQ(s.files, expected.size());
    EXPECT_EQ(Rows(log), expected) << threads << " threads";
  }
  EXPECT_TRUE(FileExists(dir_ / L"Quelle\\eins.txt"));  // a simulation changes nothing

  // The real run deletes exactly what the simulation showed, and every content is still there.
  const RunSummary s = RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Execute, host_, log_);
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(Rows(log_), expected);
  for (const auto& [file, kept] : expected) {
    EXPECT_FALSE(PathExists(dir_ / file)) << test::U8(file);
    EXPECT_TRUE(FileExists(dir_ / kept)) << test::U8(kept);
  }
  for (const wchar_t* stays : {L"Quelle\\anders.dat", L"Quelle\\leer1.txt", L"Quelle\\x\\leer2.txt", L"Quelle\\allein.jpg"}) {
    EXPECT_TRUE(FileExists(dir_ / stays)) << test::U8(stays);
  }
  // Run again, nothing is left to select.
  LogList again;
  EXPECT_EQ(RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Simulate, host_, again).files, 0u);
}

TEST_F(DuplicatesTest, LargeFilesAreComparedWholeNotJustByTheirEnds) {
  // Equal first and last 64 KiB, another middle: no copies. One of them has a real copy.
  for (std::size_t size : {std::size_t{200000}, std::size_t{3u << 20}}) {
    std::string a = Bytes(size, 7);
    std::string b = a;
    b[size / 2] = static_cast<char>(b[size / 2] ^ 1);
    const std::wstring n = std::to_wstring(size);
    ASSERT_TRUE(Put(L"Quelle\\a" + n + L".bin", a, kJanuary2024 - kDay));
    ASSERT_TRUE(Put(L"Quelle\\b" + n + L".bin", b));
    ASSERT_TRUE(Put(L"Quelle\\k\\a" + n + L".bin", a));
  }
  // Exactly both ends: read whole in the first pass.
  ASSERT_TRUE(Put(L"Quelle\\rand1.bin", Bytes(128 * 1024, 8)));
  ASSERT_TRUE(Put(L"Quelle\\rand2.bin", Bytes(128 * 1024, 9)));

  Profile move = Duplicates(L"Verschieben");
  move.Ziel = dir_ / L"Ziel";
  RunProfiles({move}, RunMode::Simulate, host_, log_);
  const std::map<std::wstring, std::wstring> expected = {
      {L"Quelle\\k\\a200000.bin", L"Quelle\\a200000.bin"},
      {L"Quelle\\k\\a3145728.bin", L"Quelle\\a3145728.bin"},
  };
  EXPECT_EQ(Rows(log_), expected);
}

TEST_F(DuplicatesTest, FilesOfTheFurtherFolderAreTheOtherCopiesAndNeverSelected) {
  const std::string foto = Bytes(4000, 10);
  ASSERT_TRUE(Put(L"Archiv\\2020\\foto.jpg", foto, kJanuary2024 + kDay));  // younger, still the other copy
  ASSERT_TRUE(Put(L"Quelle\\foto.jpg", foto));
  ASSERT_TRUE(Put(L"Quelle\\foto (1).jpg", foto));
  ASSERT_TRUE(Put(L"Quelle\\neu.jpg", Bytes(4000, 11)));
  ASSERT_TRUE(Put(L"Quelle\\neu-kopie.jpg", Bytes(4000, 11)));
  ASSERT_TRUE(Put(L"Archiv\\a.txt", Bytes(900, 12)));
  ASSERT_TRUE(Put(L"Archiv\\b.txt", Bytes(900, 12)));  // copies among themselves only

  RunProfiles({Duplicates(L"L\u00f6schenP", dir_ / L"Archiv")}, RunMode::Simulate, host_, log_);
  const std::map<std::wstring, std::wstring> expected = {
      {L"Quelle\\foto.jpg", L"Archiv\\2020\\foto.jpg"},
      {L"Quelle\\foto (1).jpg", L"Archiv\\2020\\foto.jpg"},
      {L"Quelle\\neu-kopie.jpg", L"Quelle\\neu.jpg"},
  };
  EXPECT_EQ(Rows(log_), expected);

  // The further folder inside the source: its files are scanned too, yet never selected, and
  // a file is not a copy of itself.
  ASSERT_TRUE(CreateFolders(dir_ / L"Quelle\\Alt"));
  LogList inside;
  RunProfiles({Duplicates(L"L\u00f6schenP", dir_ / L"Quelle\\Alt")}, RunMode::Simulate, host_, inside);
  EXPECT_EQ(Rows(inside), (std::map<std::wstring, std::wstring>{{L"Quelle\\neu-kopie.jpg", L"Quelle\\neu.jpg"},
                                                                {L"Quelle\\foto (1).jpg", L"Quelle\\foto.jpg"}}));
  ASSERT_TRUE(Put(L"Quelle\\Alt\\foto-alt.jpg", foto, kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\Alt\\einzeln.jpg", Bytes(4000, 13)));
  LogList overlapping;
  RunProfiles({Duplicates(L"L\u00f6schenP", dir_ / L"Quelle\\Alt")}, RunMode::Simulate, host_, overlapping);
  EXPECT_EQ(Rows(overlapping),
            (std::map<std::wstring, std::wstring>{{L"Quelle\\neu-kopie.jpg", L"Quelle\\neu.jpg"},
                                                  {L"Quelle\\foto.jpg", L"Quelle\\Alt\\foto-alt.jpg"},
                                                  {L"Quelle\\foto (1).jpg", L"Quelle\\Alt\\foto-alt.jpg"}}));
  // The source itself as the further folder: every file is the other copy of itself only.
  LogList itself;
  RunProfiles({Duplicates(L"L\u00f6schenP", dir_ / L"Quelle")}, RunMode::Simulate, host_, itself);
  EXPECT_TRUE(Rows(itself).empty());
}

TEST_F(DuplicatesTest, NamesOfOneFileAreNoCopiesOfEachOther) {
  ASSERT_TRUE(Put(L"Quelle\\a.dat", Bytes(6000, 20), kJanuary2024 - kDay));
  ASSERT_TRUE(CreateFolders(dir_ / L"Quelle\\unter"));
  if (!MakeHardLink(dir_ / L"Quelle\\a.dat", dir_ / L"Quelle\\unter\\a-link.dat")) {
    GTEST_SKIP() << "no hard links here";
  }
  RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Simulate, host_, log_);
  EXPECT_TRUE(Rows(log_).empty());

  // A real copy beside them goes; both names of the older file stay.
  ASSERT_TRUE(Put(L"Quelle\\b.dat", Bytes(6000, 20)));
  EXPECT_EQ(RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Execute, host_, log_).errors, 0u);
  EXPECT_EQ(Rows(log_), (std::map<std::wstring, std::wstring>{{L"Quelle\\b.dat", L"Quelle\\a.dat"}}));
  EXPECT_FALSE(PathExists(dir_ / L"Quelle\\b.dat"));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\unter\\a-link.dat"), Bytes(6000, 20));
}

TEST_F(DuplicatesTest, GroupsAreFormedAmongTheFilesTheOtherConditionsAccept) {
  ASSERT_TRUE(Put(L"Quelle\\bild.jpg", Bytes(2500, 30)));
  ASSERT_TRUE(Put(L"Quelle\\bild.txt", Bytes(2500, 30)));  // same bytes, not a .jpg
  ASSERT_TRUE(Put(L"Quelle\\IMG_1.jpg", Bytes(2500, 31), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\IMG_1 Kopie.jpg", Bytes(2500, 31)));
  ASSERT_TRUE(Put(L"Quelle\\Urlaub.jpg", Bytes(2500, 31)));  // not IMG_*: neither selected nor the kept one
  Profile p = Duplicates(L"Kopieren");
  p.Ziel = dir_ / L"Ziel";
  p.Filter = L".jpg";
  p.Filename = L"IMG_*";
  RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(Rows(log_), (std::map<std::wstring, std::wstring>{{L"Quelle\\IMG_1 Kopie.jpg", L"Quelle\\IMG_1.jpg"}}));
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\IMG_1 Kopie.jpg"), Bytes(2500, 31));
}

TEST_F(DuplicatesTest, AFurtherFolderThatIsNoFullPathOrMissingRefusesTheProfile) {
  ASSERT_TRUE(Put(L"Quelle\\a.dat", "x"));
  ASSERT_TRUE(Put(L"Quelle\\b.dat", "x"));
  for (const std::wstring& other : {std::wstring(L"Archiv"), dir_ / L"fehlt"}) {
    LogList log;
    const RunSummary s = RunProfiles({Duplicates(L"L\u00f6schenX", other)}, RunMode::Execute, host_, log);
    ASSERT_EQ(s.refused.size(), 1u);
    EXPECT_NE(s.refused[0].find(L"DuplikatOrdner=" + other), std::wstring::npos) << test::U8(s.refused[0]);
    EXPECT_EQ(s.files, 0u);
  }
  // Without "Duplikate=1" the key means nothing and refuses nothing.
  Profile off = Duplicates(L"Benachrichtigen", L"Archiv");
  off.Duplikate = L"0";
  EXPECT_TRUE(RunProfiles({off}, RunMode::Simulate, host_, log_).refused.empty());
  EXPECT_TRUE(FileExists(dir_ / L"Quelle\\b.dat"));
}

// Changes the kept copies when the hashing is done, before the first delete.
class MeddlingHost : public test::TestRunHost {
 public:
  void Progress(const RunProgress& progress) override {
    if (!meddle || done || progress.filesTotal == 0 || progress.filesDone != progress.filesTotal) return;
    done = true;
    meddle();
  }
  std::function<void()> meddle;
  bool done = false;
};

TEST_F(DuplicatesTest, ADuplicateIsDeletedOnlyWhileItsKeptCopyHoldsTheSameBytes) {
  ASSERT_TRUE(Put(L"Quelle\\a\\geaendert.dat", Bytes(300000, 40), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\geaendert.dat", Bytes(300000, 40)));
  ASSERT_TRUE(Put(L"Quelle\\a\\weg.dat", Bytes(1000, 41), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\weg.dat", Bytes(1000, 41)));
  ASSERT_TRUE(Put(L"Quelle\\a\\gut.dat", Bytes(1000, 42), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\gut.dat", Bytes(1000, 42)));
  for (const wchar_t* aktion : {L"L\u00f6schenX", L"L\u00f6schenS"}) {
    MeddlingHost host;
    host.meddle = [&] {
      std::string changed = Bytes(300000, 40);
      changed[150000] = 'x';
      ASSERT_TRUE(Put(L"Quelle\\a\\geaendert.dat", changed, kJanuary2024 - kDay));
      ASSERT_TRUE(RemoveFile(dir_ / L"Quelle\\a\\weg.dat"));
    };
    LogList log;
    RunProfiles({Duplicates(aktion)}, RunMode::Execute, host, log);
    ASSERT_TRUE(host.done);
    const auto words = Results(log);
    ASSERT_EQ(words.size(), 3u) << test::U8(aktion);
    EXPECT_TRUE(words.at(L"Quelle\\geaendert.dat").starts_with(L"\u00dcbersprungen: Der Inhalt gleicht nicht mehr"))
        << test::U8(words.at(L"Quelle\\geaendert.dat"));
    EXPECT_TRUE(words.at(L"Quelle\\weg.dat").starts_with(L"\u00dcbersprungen: Die behaltene Kopie ist nicht mehr da"))
        << test::U8(words.at(L"Quelle\\weg.dat"));
    EXPECT_FALSE(words.at(L"Quelle\\gut.dat").starts_with(L"\u00dcbersprungen")) << test::U8(aktion);
    EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\geaendert.dat"), Bytes(300000, 40));
    EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\weg.dat"), Bytes(1000, 41));
    EXPECT_FALSE(PathExists(dir_ / L"Quelle\\gut.dat")) << test::U8(words.at(L"Quelle\\gut.dat"));
    // The next round starts from the same world.
    ASSERT_TRUE(Put(L"Quelle\\a\\geaendert.dat", Bytes(300000, 40), kJanuary2024 - kDay));
    ASSERT_TRUE(Put(L"Quelle\\a\\weg.dat", Bytes(1000, 41), kJanuary2024 - kDay));
    ASSERT_TRUE(Put(L"Quelle\\gut.dat", Bytes(1000, 42)));
  }
}

TEST_F(DuplicatesTest, CheckedRowsOfASimulationDeleteOnlyWhileTheKeptCopyIsThere) {
  ASSERT_TRUE(Put(L"Quelle\\a\\eins.dat", Bytes(1000, 50), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\eins.dat", Bytes(1000, 50)));
  ASSERT_TRUE(Put(L"Quelle\\a\\zwei.dat", Bytes(1000, 51), kJanuary2024 - kDay));
  ASSERT_TRUE(Put(L"Quelle\\zwei.dat", Bytes(1000, 51)));
  RunProfiles({Duplicates(L"L\u00f6schenX")}, RunMode::Simulate, host_, log_);
  ASSERT_EQ(Rows(log_).size(), 2u);
  for (std::size_t r = 0; r < log_.size(); ++r) log_.SetChecked(r, log_.IsFileRow(r));
  ASSERT_TRUE(RemoveFile(dir_ / L"Quelle\\a\\eins.dat"));
  RunCheckedRows(log_, host_);
  const auto words = Results(log_);
  EXPECT_TRUE(words.at(L"Quelle\\eins.dat").starts_with(L"\u00dcbersprungen: Die behaltene Kopie ist nicht mehr da"));
  EXPECT_TRUE(FileExists(dir_ / L"Quelle\\eins.dat"));
  EXPECT_EQ(words.at(L"Quelle\\zwei.dat"), L"Gel\u00f6scht X");
  EXPECT_FALSE(PathExists(dir_ / L"Quelle\\zwei.dat"));
}

}  // namespace
}  // namespace ablagix
