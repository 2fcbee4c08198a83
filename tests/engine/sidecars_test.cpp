// Skipping identical files and taking sidecars along.
#include "engine/sidecars.h"

#include <gtest/gtest.h>

#include <map>

#include "engine/engine_test_host.h"
#include "engine/run.h"
#include "engine/undo.h"
#include "fileops/path_text.h"
#include "log/log_row.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

// Keeps the run's journal, so that the run can be undone.
class JournalHost : public test::TestRunHost {
 public:
  std::wstring JournalFolder() override { return journalFolder; }
  std::wstring journalFolder;
};

class SidecarsTest : public ::testing::Test {
 protected:
  void SetUp() override { host_.journalFolder = dir_ / L"Einstellungen\\Journal"; }
  Profile Make(const wchar_t* aktion) {
    return test::ProfileBuilder(L"Import").Action(aktion, dir_ / L"Karte", dir_ / L"Fotos").Filter(L".jpg,.heic,.xmp");
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

  using Files = std::map<std::wstring, std::string>;
  // Name -> bytes of every file in a folder below the test folder.
  Files Folder(const wchar_t* relative) const {
    Files files;
    FolderReader reader;
    DirEntry e;
    if (!reader.Open(dir_ / relative)) return files;
    while (reader.Next(&e)) {
      if (e.IsRegularFile()) files[e.name] = ReadBytes(JoinPath(dir_ / relative, e.name));
    }
    return files;
  }

  test::TempDir dir_;
  JournalHost host_;
  LogList log_;
};

// What a row says of a sidecar that stays with a main file, and of a group kept out by a name.
std::wstring StaysWith(const wchar_t* main) { return L"\u00dcbersprungen: Begleitdatei bleibt bei " + std::wstring(main); }
std::wstring NameTaken(const wchar_t* name) { return L"\u00dcbersprungen: Am Ziel liegt schon " + std::wstring(name); }

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
  EXPECT_EQ(skipped.at(L"IMG_4.xmp"), StaysWith(L"IMG_4.jpg"));
  EXPECT_TRUE(FileExists(dir_ / L"Karte\\IMG_4.xmp"));
  EXPECT_FALSE(FileExists(dir_ / L"Fotos\\IMG_4.xmp"));
}

TEST_F(SidecarsTest, ASidecarSharedWithAFileThatStaysStaysWithIt) {
  // A RAW editor's edits beside RAW and JPEG; the profile takes only the JPEGs.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.CR2", "raw"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.jpg", "jpeg"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.xmp", "edits for raw"));
  Profile p = Make(L"Verschieben");
  p.Filter = L".jpg";
  p.Begleitdateien = L"1";
  auto words = Words(p, RunMode::Simulate);
  EXPECT_EQ(words.at(L"IMG_1.xmp"), StaysWith(L"IMG_1.CR2"));
  words = Words(p);
  EXPECT_EQ(words.at(L"IMG_1.jpg"), L"Verschoben");
  EXPECT_EQ(words.at(L"IMG_1.xmp"), StaysWith(L"IMG_1.CR2"));
  EXPECT_EQ(Folder(L"Karte"), (Files{{L"IMG_1.CR2", "raw"}, {L"IMG_1.xmp", "edits for raw"}}));
  EXPECT_EQ(Folder(L"Fotos"), (Files{{L"IMG_1.jpg", "jpeg"}}));

  // A copy leaves the source as it was: the copied photo gets its sidecar.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.CR2", "raw 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.jpg", "jpeg 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.xmp", "edits 2"));
  Profile copy = Make(L"Kopieren");
  copy.Filter = L".jpg";
  copy.Filename = L"IMG_2*";
  copy.Begleitdateien = L"1";
  words = Words(copy);
  EXPECT_EQ(words.at(L"IMG_2.xmp"), L"Kopiert");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_2.xmp"), "edits 2");
  EXPECT_EQ(ReadBytes(dir_ / L"Karte\\IMG_2.xmp"), "edits 2");

  // The profile takes the sidecar but not its photo (too small here): the edits stay.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_3.jpg", "j"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_3.xmp", "edits 3, a long text"));
  Profile larger = Make(L"Verschieben");
  larger.Filter = L".jpg,.xmp";
  larger.Filename = L"IMG_3*";
  larger.FileSize = L">10BY";
  larger.Begleitdateien = L"1";
  EXPECT_EQ(Words(larger), (std::map<std::wstring, std::wstring>{{L"IMG_3.xmp", StaysWith(L"IMG_3.jpg")}}));
  EXPECT_TRUE(FileExists(dir_ / L"Karte\\IMG_3.xmp"));

  // When the run takes RAW and JPEG, they and their sidecar go as one group under one number.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_4.CR2", "raw 4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_4.jpg", "jpeg 4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_4.xmp", "edits 4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_4.jpg", "another camera's jpeg"));
  Profile all = Make(L"Verschieben");
  all.Filter = L"Alles";
  all.Filename = L"IMG_4*";
  all.Begleitdateien = L"1";
  const auto rows = Rows(all);
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[2].first, L"IMG_4.xmp");  // after both its main files
  for (const auto& [name, word] : rows) EXPECT_EQ(word, L"Verschoben") << test::U8(name);
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_4(1).CR2"), "raw 4");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_4(1).jpg"), "jpeg 4");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_4(1).xmp"), "edits 4");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_4.jpg"), "another camera's jpeg");
}

TEST_F(SidecarsTest, AMainFileAndItsSidecarsTakeOneCommonFreeNumber) {
  // Another photo's sidecar holds the name at the target, the photo's own name is free.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.jpg", "jpeg 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.xmp", "xmp 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_2.xmp", "unrelated old xmp"));
  // Here the first number is taken for the sidecar only.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_5.jpg", "jpeg 5"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_5.jpg.xmp", "xmp 5"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_5.jpg", "old 5"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_5(1).jpg.xmp", "old xmp 5(1)"));
  // A photo without sidecar never lands beside another photo's sidecar of its name.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_6.jpg", "jpeg 6"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_6.XMP", "old xmp 6"));
  Profile p = Make(L"Verschieben");
  p.Filter = L".jpg";
  p.Begleitdateien = L"1";

  auto words = Words(p);
  for (const auto& [name, word] : words) EXPECT_EQ(word, L"Verschoben") << test::U8(name);
  EXPECT_EQ(words.size(), 5u);
  EXPECT_EQ(Folder(L"Fotos"), (Files{{L"IMG_2.xmp", "unrelated old xmp"},
                                     {L"IMG_2(1).jpg", "jpeg 2"},
                                     {L"IMG_2(1).xmp", "xmp 2"},
                                     {L"IMG_5.jpg", "old 5"},
                                     {L"IMG_5(1).jpg.xmp", "old xmp 5(1)"},
                                     {L"IMG_5(2).jpg", "jpeg 5"},
                                     {L"IMG_5(2).jpg.xmp", "xmp 5"},
                                     {L"IMG_6.XMP", "old xmp 6"},
                                     {L"IMG_6(1).jpg", "jpeg 6"}}));
  EXPECT_TRUE(Folder(L"Karte").empty());

  // Photos of one name from two folders: the second pair sees the first one's sidecar, in a
  // simulation as in the run.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\a\\DSC_1.jpg", "a"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\a\\DSC_1.xmp", "a xmp"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\b\\DSC_1.jpg", "b"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\b\\DSC_1.xmp", "b xmp"));
  p.Unterverzeich = L"1";
  p.Filename = L"DSC_*";
  auto targets = [&](RunMode mode) {
    Rows(p, mode);
    std::map<std::wstring, std::wstring> where;
    for (std::size_t r = 0; r < log_.size(); ++r) {
      if (!log_.IsFileRow(r)) continue;
      const std::wstring renamed = log_.Text(r, LogColumn::Ziel2);
      where[log_.Text(r, LogColumn::Pfad) + log_.Text(r, LogColumn::Datei)] =
          renamed.empty() ? log_.Text(r, LogColumn::Datei) : NamePart(renamed);
    }
    return where;
  };
  const auto simulated = targets(RunMode::Simulate);
  EXPECT_EQ(simulated, targets(RunMode::Execute));
  const Files fotos = Folder(L"Fotos");
  EXPECT_EQ(fotos.at(L"DSC_1.xmp"), fotos.at(L"DSC_1.jpg") + " xmp");
  EXPECT_EQ(fotos.at(L"DSC_1(1).xmp"), fotos.at(L"DSC_1(1).jpg") + " xmp");
  p.Unterverzeich = L"0";
  p.Filename.clear();

  // Without the option a photo is just a file: its own name is free, so it keeps it.
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_7.jpg", "jpeg 7"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_7.xmp", "old xmp 7"));
  p.Begleitdateien.clear();
  EXPECT_EQ(Words(p).at(L"IMG_7.jpg"), L"Verschoben");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_7.jpg"), "jpeg 7");
}

TEST_F(SidecarsTest, UnderSkipAGroupStaysWholeAndUnderOverwriteItReplacesTogether) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\P3.jpg", "j3"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\P3.xmp", "own"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\P3.xmp", "stranger"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\P4.jpg", "j4"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\P4.jpg.xmp", "stranger 4"));
  Profile p = Make(L"Verschieben");
  p.Filter = L".jpg";
  p.Kollision = L"2";
  p.Begleitdateien = L"1";
  for (RunMode mode : {RunMode::Simulate, RunMode::Execute}) {
    const auto words = Words(p, mode);
    EXPECT_EQ(words, (std::map<std::wstring, std::wstring>{{L"P3.jpg", NameTaken(L"P3.xmp")},
                                                           {L"P3.xmp", StaysWith(L"P3.jpg")},
                                                           {L"P4.jpg", NameTaken(L"P4.jpg.xmp")}}));
  }
  EXPECT_EQ(Folder(L"Karte"), (Files{{L"P3.jpg", "j3"}, {L"P3.xmp", "own"}, {L"P4.jpg", "j4"}}));
  EXPECT_EQ(Folder(L"Fotos"), (Files{{L"P3.xmp", "stranger"}, {L"P4.jpg.xmp", "stranger 4"}}));

  // "immer überschreiben": the photo and its sidecar replace the names together.
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\P3.jpg", "old j3"));
  p.Kollision = L"0";
  p.Filename = L"P3*";
  const auto words = Words(p);
  EXPECT_EQ(words.at(L"P3.jpg"), L"Verschoben");
  EXPECT_EQ(words.at(L"P3.xmp"), L"Verschoben");
  EXPECT_EQ(Folder(L"Fotos"), (Files{{L"P3.jpg", "j3"}, {L"P3.xmp", "own"}, {L"P4.jpg.xmp", "stranger 4"}}));
}

TEST_F(SidecarsTest, AGroupAlreadyAtItsTargetIsLeftAsItIs) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.CR2", "raw"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.jpg", "jpeg"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.xmp", "edits"));
  const Files card = Folder(L"Karte");
  // An import run again with "Identisch": nothing is copied a second time under a number.
  Profile copy = Make(L"Kopieren");
  copy.Filter = L"Alles";
  copy.Identisch = L"1";
  copy.Begleitdateien = L"1";
  Words(copy);
  ASSERT_EQ(Folder(L"Fotos"), card);
  const auto words = Words(copy);
  EXPECT_EQ(words.at(L"IMG_1.jpg"), L"\u00dcbersprungen (identisch)");
  EXPECT_EQ(words.at(L"IMG_1.CR2"), L"\u00dcbersprungen (identisch)");
  EXPECT_EQ(words.at(L"IMG_1.xmp").find(L"\u00dcbersprungen: Begleitdatei bleibt bei IMG_1."), 0u);
  EXPECT_EQ(Folder(L"Fotos"), card);

  // A target that is the source folder: the files are where they belong, nothing is renamed.
  Profile here = Make(L"Verschieben");
  here.Filter = L"Alles";
  here.Ziel = here.Quelle;
  here.Begleitdateien = L"1";
  const auto stay = Words(here);
  EXPECT_EQ(stay.size(), 3u);
  for (const auto& [name, word] : stay) EXPECT_EQ(word.find(L"\u00dcbersprungen"), 0u) << test::U8(name);
  EXPECT_EQ(Folder(L"Karte"), card);
}

TEST_F(SidecarsTest, JsonAndXmlGoOnlyWithPicturesAndVideos) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\data.pdf", "pdf"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\data.json", "{}"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\invoice.pdf", "pdf 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\invoice.xml", "<Invoice/>"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\invoice.xmp", "xmp of the pdf"));  // an .xmp belongs to any file
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_8.jpg", "jpeg 8"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_8.jpg.json", "takeout 8"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\C0001.MP4", "clip"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\C0001.XML", "<clip/>"));
  Profile pdfs = Make(L"Verschieben");
  pdfs.Filter = L".pdf";
  pdfs.Begleitdateien = L"1";
  EXPECT_EQ(Words(pdfs), (std::map<std::wstring, std::wstring>{{L"data.pdf", L"Verschoben"},
                                                               {L"invoice.pdf", L"Verschoben"},
                                                               {L"invoice.xmp", L"Verschoben"}}));
  EXPECT_EQ(Folder(L"Fotos"), (Files{{L"data.pdf", "pdf"}, {L"invoice.pdf", "pdf 2"}, {L"invoice.xmp", "xmp of the pdf"}}));

  Profile media = Make(L"Verschieben");
  media.Filter = L".jpg,.mp4";
  media.Begleitdateien = L"1";
  EXPECT_EQ(Words(media).size(), 4u);
  EXPECT_EQ(Folder(L"Karte"), (Files{{L"data.json", "{}"}, {L"invoice.xml", "<Invoice/>"}}));
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\IMG_8.jpg.json"), "takeout 8");
  EXPECT_EQ(ReadBytes(dir_ / L"Fotos\\C0001.XML"), "<clip/>");
}

TEST_F(SidecarsTest, UndoPutsEveryFileOfTheGroupsBack) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.CR2", "raw"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.jpg", "jpeg"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_1.xmp", "edits for raw"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.jpg", "jpeg 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Karte\\IMG_2.xmp", "xmp 2"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_2.xmp", "unrelated old xmp"));
  const Files source = Folder(L"Karte");
  const Files target = Folder(L"Fotos");
  Profile p = Make(L"Verschieben");
  p.Filter = L".jpg";
  p.Begleitdateien = L"1";
  Words(p);
  ASSERT_EQ(Folder(L"Fotos").size(), 4u);  // IMG_1.jpg, IMG_2(1).jpg and IMG_2(1).xmp came

  const std::vector<JournalSummary> journals = ListJournals(host_.journalFolder);
  ASSERT_EQ(journals.size(), 1u);
  const UndoSummary undo = UndoRun(journals.front().path, host_, log_);
  EXPECT_EQ(undo.errors, 0u);
  EXPECT_EQ(Folder(L"Karte"), source);
  EXPECT_EQ(Folder(L"Fotos"), target);
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
  EXPECT_TRUE(IsSidecarFor(L"xmp", L"pdf"));
  EXPECT_TRUE(IsSidecarFor(L"JSON", L"HEIC"));
  EXPECT_FALSE(IsSidecarFor(L"xml", L"pdf"));
  EXPECT_FALSE(IsSidecarFor(L"json", L""));
}

}  // namespace
}  // namespace ablagix
