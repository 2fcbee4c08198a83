#include "engine/run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <set>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/scan.h"
#include "fileops/path_text.h"
#include "metadata/metadata_source.h"
#include "metadata/picture_maker.h"
#include "metadata/radius.h"
#include "profile_builder.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;

class RunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const wchar_t* f : {L"Eingang\\IMG_1.jpg", L"Eingang\\2024\\IMG_2.jpg", L"Eingang\\notiz.txt"}) {
      ASSERT_TRUE(WriteBytes(dir_ / f, "bild"));
    }
    ASSERT_TRUE(CreateFolders(dir_ / L"Leer"));
  }
  Profile Copy(const wchar_t* name, const std::wstring& source, const std::wstring& ziel) {
    return test::ProfileBuilder(name).Copy(source, ziel).Subfolders().Filter(L".jpg");
  }
  // The first column of every row, for comparing the frame of a run.
  std::vector<std::wstring> FirstColumn() const {
    std::vector<std::wstring> out;
    for (size_t r = 0; r < log_.size(); ++r) out.push_back(log_.Text(r, 0));
    return out;
  }

  test::TempDir dir_;
  test::TestRunHost host_;
  LogList log_;
};

TEST_F(RunTest, SimulationFramesEachProfileAndChangesNothing) {
  const std::vector<Profile> profiles = {Copy(L"Fotos", dir_ / L"Eingang", dir_ / L"Ziel"),
                                         Copy(L"Nichts da", dir_ / L"Leer", dir_ / L"Ziel")};
  RunSummary s = RunProfiles(profiles, RunMode::Simulate, host_, log_);
  EXPECT_EQ(s.files, 2u);
  EXPECT_FALSE(s.aborted);
  const auto first = FirstColumn();
  ASSERT_EQ(first.size(), 7u);
  EXPECT_EQ(first[0], L"Start Fotos");
  EXPECT_EQ(first[3], L"Ende Fotos");
  EXPECT_EQ(first[4], L"Start Nichts da");
  EXPECT_EQ(first[5], L"**********");
  EXPECT_EQ(log_.Text(5, 1), L"Keine Datei(en) gefunden");
  EXPECT_EQ(first[6], L"Ende Nichts da");
  EXPECT_EQ(log_.Text(1, LogColumn::Ergebnis), L"Kopieren, simuliert");
  EXPECT_FALSE(FolderExists(dir_ / L"Ziel"));
}

TEST_F(RunTest, TargetsUsePathVariablesAndRebuildTheFolderStructure) {
  Profile p = Copy(L"Struktur", dir_ / L"Eingang", dir_ / L"Ziel\\%Ext%");
  p.OrdnerStruktur = L"1";
  RunSummary s = RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_EQ(s.errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\jpg\\IMG_1.jpg"), "bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\jpg\\2024\\IMG_2.jpg"), "bild");
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\IMG_1.jpg"), "bild");  // copied, not moved
  // The row carries what a later checked-rows pass needs.
  for (size_t r = 0; r < log_.size(); ++r) {
    if (!log_.IsFileRow(r)) continue;
    const LogRowAction a = log_.ActionOf(r);
    EXPECT_EQ(a.aktion, L"Kopieren");
    EXPECT_EQ(a.kollision, L"1");
    EXPECT_TRUE(FileExists(JoinPath(a.pfad, a.datei)));
    EXPECT_TRUE(FileExists(JoinPath(a.zielpfad, a.datei)));
    EXPECT_EQ(a.ziel2, L"");  // not numbered
  }
}

TEST_F(RunTest, EscInTheSecondProfileStopsBeforeTheThird) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Viele\\" + NumberText(static_cast<std::uint64_t>(i)) + L".jpg"), "x"));
  }
  const std::vector<Profile> profiles = {Copy(L"Eins", dir_ / L"Eingang", dir_ / L"Z1"),
                                         Copy(L"Zwei", dir_ / L"Viele", dir_ / L"Z2"),
                                         Copy(L"Drei", dir_ / L"Eingang", dir_ / L"Z3")};
  // Count the polls of the first profile alone, then press Esc a few polls into the second.
  RunProfiles({profiles[0]}, RunMode::Simulate, host_, log_);
  log_.Clear();
  host_.escAfterPolls = host_.polls + 8;
  host_.polls = 0;
  RunSummary s = RunProfiles(profiles, RunMode::Simulate, host_, log_);
  EXPECT_TRUE(s.aborted);
  EXPECT_TRUE(AbortRequested());
  const auto first = FirstColumn();
  EXPECT_EQ(std::count(first.begin(), first.end(), L"Start Zwei"), 1);
  EXPECT_EQ(std::count(first.begin(), first.end(), L"Start Drei"), 0);
  EXPECT_EQ(first.back(), L"Ende Zwei");
  // The next run starts afresh.
  host_.escAfterPolls = 0;
  EXPECT_FALSE(RunProfiles({profiles[2]}, RunMode::Simulate, host_, log_).aborted);
}

TEST_F(RunTest, ProfilesThisBuildCannotEvaluateAreRefusedNotRunBlind) {
  Profile exif = Copy(L"Exif", dir_ / L"Eingang", dir_ / L"Ziel\\%Model%");  // a host without readers
  RunSummary s = RunProfiles({exif}, RunMode::Execute, host_, log_);
  EXPECT_EQ(s.refused.size(), 1u);
  EXPECT_EQ(s.files, 0u);
  EXPECT_FALSE(FolderExists(dir_ / L"Ziel"));
  EXPECT_EQ(log_.size(), 3u);  // start, reason, end
}

TEST_F(RunTest, AProfileThatCannotBeReadIsRefusedWithItsKeyAndTouchesNothing) {
  struct Case {
    const wchar_t* key;
    std::function<void(Profile&)> spoil;
  };
  const std::vector<Case> cases = {
      {L"Quelle=.", [](Profile& p) { p.Quelle = L"."; }},
      {L"Quelle=temp", [](Profile& p) { p.Quelle = L"temp"; }},
      {L"Quelle=\\\\", [](Profile& p) { p.Quelle = L"\\\\"; }},
      {L"Aktion=Archivieren", [](Profile& p) { p.Aktion = L"Archivieren"; }},
      {L"Aktion=", [](Profile& p) { p.Aktion = L""; }},
      {L"FileSize=ca. 5 MB", [](Profile& p) { p.FileSize = L"ca. 5 MB"; }},
      {L"Filedate=GA<vorgesternD", [](Profile& p) { p.Filedate = L"GA<vorgesternD"; }},
  };
  for (const Case& c : cases) {
    Profile p = Copy(L"Kaputt", dir_ / L"Eingang", dir_ / L"Ziel");
    p.Aktion = L"L\u00f6schenX";  // what would be lost if the profile ran wider than written
    p.Filter = L"Alles";
    c.spoil(p);
    log_.Clear();
    RunSummary s = RunProfiles({p}, RunMode::Execute, host_, log_);
    ASSERT_EQ(s.refused.size(), 1u) << test::U8(c.key);
    EXPECT_NE(log_.Text(1, 1).find(c.key), std::wstring::npos) << test::U8(log_.Text(1, 1));
    EXPECT_EQ(s.files, 0u);
  }
  EXPECT_EQ(ReadBytes(dir_ / L"Eingang\\notiz.txt"), "bild");
}

TEST_F(RunTest, ARunNeverReadsItsOwnTargetAgain) {
  // Copies into a folder inside the source tree, twice: the second run must not copy the copies.
  Profile inside = Copy(L"Innen", dir_ / L"Eingang", dir_ / L"Eingang\\Kopien");
  EXPECT_EQ(RunProfiles({inside}, RunMode::Execute, host_, log_).files, 2u);
  EXPECT_EQ(RunProfiles({inside}, RunMode::Execute, host_, log_).files, 2u);
  EXPECT_TRUE(FileExists(dir_ / L"Eingang\\Kopien\\IMG_1(1).jpg"));
  EXPECT_FALSE(FolderExists(dir_ / L"Eingang\\Kopien\\Kopien"));

  // With a variable the fixed text before it decides: "Sortiert_jpg" is ours, "Sortierung" not.
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\IMG_A.jpg", "bild"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Fotos\\Sortierung\\IMG_B.jpg", "bild"));
  Profile variable = Copy(L"Variabel", dir_ / L"Fotos", dir_ / L"Fotos\\Sortiert_%Ext%");
  EXPECT_EQ(RunProfiles({variable}, RunMode::Execute, host_, log_).files, 2u);
  ASSERT_TRUE(FileExists(dir_ / L"Fotos\\Sortiert_jpg\\IMG_B.jpg"));
  log_.Clear();
  RunSummary again = RunProfiles({variable}, RunMode::Simulate, host_, log_);
  std::set<std::wstring> folders;
  for (size_t r = 0; r < log_.size(); ++r) {
    if (log_.IsFileRow(r)) folders.insert(NamePart(WithoutTrailingSeparator(log_.Text(r, LogColumn::Pfad))));
  }
  EXPECT_EQ(folders, (std::set<std::wstring>{L"Fotos", L"Sortierung"}));
  EXPECT_EQ(again.files, 2u);
  EXPECT_TRUE(TargetInsideSource(variable.Ziel, variable.Quelle));
  EXPECT_FALSE(TargetInsideSource(dir_ / L"Eingang", dir_ / L"Eingang"));
  EXPECT_FALSE(TargetInsideSource(dir_ / L"Eingang2\\x", dir_ / L"Eingang"));
}

TEST_F(RunTest, ContentTestsOnWorkerThreadsGiveTheLogOfOneThread) {
  // Mixed content over several folders: texts in three encodings with and without the word,
  // web pages, pictures (never searched), empty files.
  for (int i = 0; i < 300; ++i) {
    const std::wstring folder = L"Gemischt\\" + NumberText(static_cast<std::uint64_t>(i % 7)) + L"\\";
    const std::wstring name = folder + L"datei" + NumberText(static_cast<std::uint64_t>(i));
    const std::wstring text = std::wstring(static_cast<std::size_t>(i * 37 % 5000), L'x') +
                              (i % 3 == 0 ? L" Rechnung " : L" Mahnung ") + L"\u00e4\u00f6\u00fc";
    switch (i % 5) {
      case 0: ASSERT_TRUE(WriteBytes(dir_ / (name + L".txt"), ToUtf8(text))); break;
      case 1: ASSERT_TRUE(WriteBytes(dir_ / (name + L".txt"), ToUtf16LeBytes(text, true))); break;
      case 2: ASSERT_TRUE(WriteBytes(dir_ / (name + L".html"), "<p>" + ToUtf8(text) + "</p>")); break;
      case 3: ASSERT_TRUE(WriteBytes(dir_ / (name + L".jpg"), ToUtf8(text))); break;
      default: ASSERT_TRUE(WriteBytes(dir_ / (name + L".log"), i % 2 ? "" : ToWindows1252(text))); break;
    }
  }
  Profile p = Copy(L"Rechnungen", dir_ / L"Gemischt", dir_ / L"Ablage\\%Ext%");
  p.Filter = L"Alles";
  p.TextSuche = L"rechnung";
  auto logOf = [&](unsigned threads) {
    host_.contentThreads = threads;
    LogList log;
    RunProfiles({p}, RunMode::Simulate, host_, log);
    std::wstring all;
    for (std::size_t r = 0; r < log.size(); ++r) {
      for (int c = 0; c < kLogColumnCount; ++c) all += log.Text(r, c) + L"\t";
      all += L"\n";
    }
    return all;
  };
  const std::wstring single = logOf(0);
  EXPECT_EQ(std::count(single.begin(), single.end(), L'\n'), 2 + 60 + 10);  // banners, texts and pages, logs
  for (unsigned threads : {1u, 2u, 4u}) EXPECT_TRUE(logOf(threads) == single) << threads << " threads";
}

TEST_F(RunTest, EscDuringATextSearchOnWorkerThreadsStopsAtOnce) {
  // Big files without the word: every worker is in the middle of one when Esc comes.
  const std::string filler(4 << 20, 'y');
  for (int i = 0; i < 12; ++i) {
    ASSERT_TRUE(WriteBytes(dir_ / (L"Gross\\teil" + NumberText(static_cast<std::uint64_t>(i)) + L".txt"), filler));
  }
  Profile p = Copy(L"Gross", dir_ / L"Gross", dir_ / L"Ablage");
  p.Filter = L"Alles";
  p.TextSuche = L"Rechnung";
  host_.contentThreads = 2;
  host_.escAfterPolls = 14;  // the scan polls once per entry, then the wait every 10 ms
  RunSummary s = RunProfiles({p}, RunMode::Simulate, host_, log_);
  const auto stopped = std::chrono::steady_clock::now();
  ASSERT_NE(host_.escAt, std::chrono::steady_clock::time_point{});
  EXPECT_TRUE(s.aborted);
  EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(stopped - host_.escAt).count(), 100);
  ClearAbort();
}

TEST_F(RunTest, TextConditionLooksInsideFilesAndDocuments) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\rechnung.txt", ToUtf16LeBytes(L"Ihre Rechnung Nr. 4711", true)));
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\seite.html", "<html><body><p>RECHNUNG &amp; Lieferschein</p></body></html>"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\foto.jpg", "Rechnung"));  // pictures are never searched
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\brief.txt", "Mahnung"));
  Profile p = Copy(L"Rechnungen", dir_ / L"Post", dir_ / L"Ablage");
  p.Filter = L"Alles";
  p.TextSuche = L"rechnung";
  RunSummary s = RunProfiles({p}, RunMode::Execute, host_, log_);
  EXPECT_TRUE(s.refused.empty());
  EXPECT_EQ(s.files, 2u);
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\rechnung.txt"));
  EXPECT_TRUE(FileExists(dir_ / L"Ablage\\seite.html"));
  EXPECT_FALSE(FileExists(dir_ / L"Ablage\\foto.jpg"));
  // With the case box ticked the words must match exactly.
  p.Case = L"1";
  p.Ziel = dir_ / L"Genau";
  EXPECT_EQ(RunProfiles({p}, RunMode::Execute, host_, log_).files, 0u);
}

TEST_F(RunTest, DocumentTextCanBeSwitchedOff) {
  // "Gr\u00f6\u00dfe" stands in the web page only as "Gr&ouml;&szlig;e": found in its text, not
  // in its bytes. A source header lands on the document list but is plain text either way.
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\seite.html", "<p>Gr&ouml;&szlig;e 42</p>"));
  ASSERT_TRUE(WriteBytes(dir_ / L"Post\\masse.h", "// Gr\xF6\xDF" "e 42\n"));
  Profile p = Copy(L"Gr\u00f6\u00dfe", dir_ / L"Post", dir_ / L"Ablage");
  p.Filter = L"Alles";
  p.TextSuche = L"gr\u00f6\u00dfe";
  class PlainHost : public test::TestRunHost {
   public:
    bool ExtractDocumentText() const override { return extract; }
    bool extract = true;
  } host;
  auto found = [&] {
    LogList log;
    RunProfiles({p}, RunMode::Simulate, host, log);
    std::vector<std::wstring> names;
    for (std::size_t r = 0; r < log.size(); ++r) {
      if (log.IsFileRow(r)) names.push_back(log.Text(r, LogColumn::Datei));
    }
    std::sort(names.begin(), names.end());
    return names;
  };
  EXPECT_EQ(found(), (std::vector<std::wstring>{L"masse.h", L"seite.html"}));
  host.extract = false;
  EXPECT_EQ(found(), (std::vector<std::wstring>{L"masse.h"}));
}

TEST_F(RunTest, CheckedRowsAreHandledAgainFromTheirOwnValues) {
  Profile p = Copy(L"Fotos", dir_ / L"Eingang", dir_ / L"Ziel");
  p.Aktion = L"Verschieben";
  RunProfiles({p}, RunMode::Simulate, host_, log_);
  std::vector<size_t> fileRows;
  for (size_t r = 0; r < log_.size(); ++r) {
    if (log_.IsFileRow(r)) fileRows.push_back(r);
  }
  ASSERT_EQ(fileRows.size(), 2u);
  log_.SetChecked(fileRows[0], true);
  log_.SetChecked(0, true);  // a banner row is skipped
  RunSummary s = RunCheckedRows(log_, host_);
  EXPECT_EQ(s.files, 1u);
  EXPECT_EQ(log_.Text(fileRows[0], LogColumn::Ergebnis), L"Verschoben");
  EXPECT_EQ(log_.Text(fileRows[1], LogColumn::Ergebnis), L"Verschoben, simuliert");
  EXPECT_TRUE(FileExists(JoinPath(dir_ / L"Ziel", log_.Text(fileRows[0], 0))));
  EXPECT_FALSE(FileExists(JoinPath(log_.Text(fileRows[0], 1), log_.Text(fileRows[0], 0))));
}

}  // namespace
}  // namespace ablagix

namespace ablagix {
namespace {

// Every file below `root` with its size, last-write time and content.
std::map<std::wstring, std::string> Snapshot(const std::wstring& root) {
  std::map<std::wstring, std::string> files;
  ScanRequest request;
  request.folder = root;
  request.includeSubfolders = true;
  RunFileList list;
  ScanState state;
  ScanFolder(request, &list, &state);
  for (const auto& f : list) {
    files[f.path] = std::to_string(f.lastWrite) + "|" + ReadBytes(f.path);
  }
  return files;
}

TEST_F(RunTest, ASimulationOfEveryActionLeavesTheDiskByteForByteUnchanged) {
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\IMG_1.jpg", "alt"));
  ASSERT_TRUE(SetAttributes(dir_ / L"Eingang\\notiz.txt", kAttrReadOnly));
  const auto before = Snapshot(dir_.path());
  std::vector<Profile> profiles;
  for (const wchar_t* aktion : {L"Kopieren", L"Verschieben", L"L\u00f6schenP", L"L\u00f6schenX",
                                L"L\u00f6schenS", L"Benachrichtigen"}) {
    Profile p = Copy(aktion, dir_ / L"Eingang", dir_ / L"Ziel\\%DateGAYYYY%\\neu");
    p.Filter = L"Alles";
    p.Aktion = aktion;
    p.OrdnerStruktur = L"1";
    profiles.push_back(p);
  }
  host_.timerRunning = true;
  RunSummary s = RunProfiles(profiles, RunMode::Simulate, host_, log_);
  EXPECT_EQ(s.files, 18u);
  EXPECT_EQ(s.errors, 0u);
  EXPECT_TRUE(host_.notifications.empty());
  EXPECT_TRUE(host_.ui_.shown.empty());
  EXPECT_EQ(Snapshot(dir_.path()), before);
  EXPECT_FALSE(FolderExists(dir_ / L"Ziel\\2025"));
  SetAttributes(dir_ / L"Eingang\\notiz.txt", kAttrNormal);
}

// Pictures sorted by what their Exif data says: the metadata condition picks them, the
// target folder takes their capture date, and a radius selects by place.
TEST_F(RunTest, MetadataConditionsAndTargetsReadThePictures) {
  using test::TiffMaker;
  auto picture = [](const std::string& model, std::int32_t latitude) {
    TiffMaker t(true);
    return test::Jpeg(t.Make({t.Ascii(272, model), t.Ascii(306, "2019:07:14 18:03:22")}, {},
                             {t.Ascii(1, "N"), t.Rationals(2, {{latitude, 1}, {0, 1}, {0, 1}}), t.Ascii(3, "E"),
                              t.Rationals(4, {{7, 1}, {30, 1}, {0, 1}})}));
  };
  ASSERT_TRUE(WriteBytes(dir_ / L"Kamera\\canon.jpg", picture("Canon EOS 5D", 51)));
  ASSERT_TRUE(WriteBytes(dir_ / L"Kamera\\nikon.jpg", picture("NIKON D750", 48)));
  ASSERT_TRUE(WriteBytes(dir_ / L"Kamera\\ohne.jpg", "kein Exif"));
  class PictureHost : public test::TestRunHost {
   public:
    MetadataSource* Metadata() override { return &source; }
    FileMetadataSource source{MetadataSettings{7, L"N51,1", L"E7,5"}};
  } host;

  Profile canon = Copy(L"Canon", dir_ / L"Kamera", dir_ / L"Ziel\\%Datum%\\%Model%");
  canon.Metadaten = L"%Model%;=canon*";
  Profile near = Copy(L"Nah", dir_ / L"Kamera", dir_ / L"Nah");
  near.Metadaten = L"%Umkreissuche%;<25";
  RunSummary s = RunProfiles({canon, near}, RunMode::Execute, host, log_);
  EXPECT_TRUE(s.refused.empty());
  EXPECT_EQ(s.files, 2u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\2019_07_14\\Canon EOS 5D\\canon.jpg"), picture("Canon EOS 5D", 51));
  EXPECT_TRUE(FileExists(dir_ / L"Nah\\canon.jpg"));  // 11 km from the reference point
  EXPECT_FALSE(FileExists(dir_ / L"Nah\\nikon.jpg"));  // 345 km
  EXPECT_FALSE(FileExists(dir_ / L"Nah\\ohne.jpg"));
  // Each row's "Metadaten" holds what the condition read from that file, not the condition.
  std::vector<std::wstring> metadata;
  for (std::size_t r = 0; r < log_.size(); ++r) {
    if (log_.IsFileRow(r)) metadata.push_back(log_.Text(r, LogColumn::Datei) + L"=" + log_.Text(r, LogColumn::Metadaten));
  }
  EXPECT_EQ(metadata, (std::vector<std::wstring>{L"canon.jpg=Canon EOS 5D",
                                                 L"canon.jpg=" + DistanceText(L"N51,1", L"E7,5", L"N51", L"E7,5")}));
  EXPECT_TRUE(metadata.back().starts_with(L"canon.jpg=11,")) << test::U8(metadata.back());

  // Without readers the same profile is refused with its reason in the log.
  LogList refusedLog;
  EXPECT_EQ(RunProfiles({canon}, RunMode::Simulate, host_, refusedLog).refused.size(), 1u);
}

}  // namespace
}  // namespace ablagix
