// Skipping identical files and taking sidecars along.
#include "engine/sidecars.h"

#include <gtest/gtest.h>

#include <map>

#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "fileops/path_text.h"
#include "log/log_row.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

class SidecarsTest : public ::testing::Test {
 protected:
  Profile Make(const wchar_t* aktion) {
    Profile p;
    p.Beschreibung = L"Import";
    p.Quelle = dir_ / L"Karte";
    p.Unterverzeich = L"0";
    p.Filter = L".jpg,.heic,.xmp";
    p.Aktion = aktion;
    p.Ziel = dir_ / L"Fotos";
    p.Kollision = L"1";
    p.Zippen = L"0";
    return p;
  }
  // Result word by file name, in the run's order of rows.
  std::vector<std::pair<std::wstring, std::wstring>> Rows(const Profile& p, RunMode mode = RunMode::Execute) {
    log_.Clear();
    RunProfiles({p}, mode, host_, log_);
    std::vector<std::pair<std::wstring, std::wstring>> rows;
    for (std::size_t r = 0; r < log_.size(); ++r) {
      if (log_.IsFileRow(r)) rows.emplace_back(log_.Text(r, LogColumn::Datei), log_.Text(r, LogColumn::Ergebnis));
    }
    return rows;
  }
  std::map<std::wstring, std::wstring> Words(const Profile& p, RunMode mode = RunMode::Execute) {
    std::map<std::wstring, std::wstring> words;
    for (auto& [name, word] : Rows(p, mode)) {
      EXPECT_TRUE(words.emplace(name, word).second) << test::U8(name) << " has two rows";
    }
    return words;
  }

  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
};

TEST_F(SidecarsTest, IdenticalFilesAreSkippedAndStayWhereTheyAre) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\a.jpg", "bild a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\b.jpg", "bild b"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\b.jpg", "anderes b"));     // same name, other content
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\b(1).jpg", "bild b"));     // an earlier numbered copy
  Profile p = Make(L"Kopieren");
  p.Identisch = L"1";
  auto words = Words(p);
  EXPECT_EQ(words[L"a.jpg"], L"Kopiert");
  EXPECT_EQ(words[L"b.jpg"], L"\u00dcbersprungen (identisch)");
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\b(2).jpg"));
  // The import run again: nothing new.
  words = Words(p);
  EXPECT_EQ(words[L"a.jpg"], L"\u00dcbersprungen (identisch)");
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\a(1).jpg"));
  // A changed file is not identical; without the option every run copies again.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\a.jpg", "bild A"));
  EXPECT_EQ(Words(p)[L"a.jpg"], L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\a(1).jpg"), "bild A");
  p.Identisch.clear();
  EXPECT_EQ(Words(p)[L"b.jpg"], L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\b(2).jpg"), "bild b");

  // A move of an identical file leaves the source in place, in a simulation too.
  Profile move = Make(L"Verschieben");
  move.Identisch = L"1";
  EXPECT_EQ(Words(move, RunMode::Simulate)[L"a.jpg"], L"\u00dcbersprungen (identisch)");
  EXPECT_EQ(Words(move)[L"a.jpg"], L"\u00dcbersprungen (identisch)");
  EXPECT_EQ(ReadBytes(dir_ / L"Karte\\a.jpg"), "bild A");
}

TEST_F(SidecarsTest, SidecarsTravelWithTheirMainFileAndTakeItsNumber) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.jpg", "bild 1"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.xmp", "xmp 1"));       // selected by the filter too
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.jpg.json", "json 1"));  // not selected, still goes
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.jpg", "bild 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_3.HEIC", "bild 3"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_3.AAE", "aae 3"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\allein.xmp", "xmp ohne Bild"));  // no main file: on its own
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_1.jpg", "altes Bild"));
  Profile p = Make(L"Verschieben");
  p.Begleitdateien = L"1";

  const auto simulated = Words(p, RunMode::Simulate);
  EXPECT_EQ(simulated.size(), 7u);
  for (const auto& [name, word] : simulated) EXPECT_EQ(word, L"Verschoben, simuliert") << test::U8(name);

  const auto rows = Rows(p);
  ASSERT_EQ(rows.size(), 7u);
  // Each sidecar's row follows its main file's row.
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].first == L"IMG_1.xmp" || rows[i].first == L"IMG_1.jpg.json") {
      ASSERT_GT(i, 0u);
      EXPECT_TRUE(rows[i - 1].first == L"IMG_1.jpg" || rows[i - 1].first == L"IMG_1.xmp" ||
                  rows[i - 1].first == L"IMG_1.jpg.json");
    }
    EXPECT_EQ(rows[i].second, L"Verschoben") << test::U8(rows[i].first);
  }
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1(1).jpg"), "bild 1");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1(1).xmp"), "xmp 1");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1(1).jpg.json"), "json 1");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_3.AAE"), "aae 3");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\allein.xmp"), "xmp ohne Bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_1.jpg"), "altes Bild");

  // A main file that stays (skipped) keeps its sidecars with it.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_4.jpg", "bild 4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_4.xmp", "xmp 4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_4.jpg", "da"));
  p.Kollision = L"2";
  const auto skipped = Words(p);
  EXPECT_EQ(skipped.at(L"IMG_4.jpg"), L"\u00dcbersprungen");
  EXPECT_EQ(skipped.at(L"IMG_4.xmp"), L"\u00dcbersprungen");
  EXPECT_TRUE(FileExists(dir_ / L"Karte\\IMG_4.xmp"));
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\IMG_4.xmp"));
}

TEST(SidecarNames, FollowTheMainFilesNewName) {
  Sidecar stem{L"C:\\K", {}, false};
  stem.entry.name = L"IMG_1.XMP";
  EXPECT_EQ(SidecarTargetName(stem, L"IMG_1(2).jpg"), L"IMG_1(2).XMP");
  Sidecar full{L"C:\\K", {}, true};
  full.entry.name = L"IMG_1.jpg.json";
  EXPECT_EQ(SidecarTargetName(full, L"IMG_1(2).jpg"), L"IMG_1(2).jpg.json");
  EXPECT_TRUE(IsSidecarExtension(L"AAE"));
  EXPECT_FALSE(IsSidecarExtension(L"jpg"));
}

}  // namespace
}  // namespace ablagix
