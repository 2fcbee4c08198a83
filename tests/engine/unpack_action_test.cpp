#include "engine/unpack_action.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "base/text.h"
#include "engine/engine_test_host.h"
#include "engine/journal.h"
#include "engine/undo.h"
#include "fileops/path_text.h"
#include "fileops/scoped_data_home.h"
#include "profile_builder.h"
#include "test_support.h"
#include "zip/zip_maker.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::WriteBytes;
using test::ZipMaker;

class JournalHost : public test::TestRunHost {
 public:
  std::wstring JournalFolder() override { return journalFolder; }
  std::wstring journalFolder;
};

// One row of the log as the tests read it.
struct Row {
  std::wstring groesse;
  std::wstring ergebnis;
  bool fileRow = false;
};

class UnpackTest : public ::testing::Test {
 protected:
  void SetUp() override { host_.journalFolder = dir_ / L"Einstellungen\\Journal"; }

  Profile Unpack(const wchar_t* kollision = L"1", const wchar_t* ziel = L"Ziel") const {
    return test::ProfileBuilder(L"Auspacken")
        .Action(std::wstring(kAktionEntpacken), dir_ / L"Quelle", dir_ / ziel)
        .Filter(L".zip")
        .Collision(kollision);
  }

  RunSummary Run(const Profile& profile, RunMode mode = RunMode::Execute) {
    first_ = log_.size();
    return RunProfiles({profile}, mode, host_, log_);
  }

  // The rows of the last run by their "Datei", banners left out.
  std::map<std::wstring, Row> Rows() const {
    std::map<std::wstring, Row> rows;
    for (std::size_t r = first_; r < log_.size(); ++r) {
      const std::wstring datei = log_.Text(r, LogColumn::Datei);
      if (datei.starts_with(L"Start ") || datei.starts_with(L"Ende ")) continue;
      rows[datei] = {log_.Text(r, LogColumn::Groesse), log_.Text(r, LogColumn::Ergebnis), log_.IsFileRow(r)};
    }
    return rows;
  }

  std::string Archive(const ZipMaker& zip, const wchar_t* name = L"paket.zip") {
    std::string bytes = zip.Make();
    EXPECT_TRUE(WriteBytes(dir_ / (std::wstring(L"Quelle\\") + name), bytes));
    return bytes;
  }

  UndoSummary UndoLatest() {
    const std::vector<JournalSummary> journals = ListJournals(host_.journalFolder);
    EXPECT_FALSE(journals.empty());
    first_ = log_.size();
    return journals.empty() ? UndoSummary{} : UndoRun(journals.front().path, host_, log_);
  }

  test::TempDir dir_;
  test::ScopedDataHome home_{dir_ / L"daten"};
  JournalHost host_;
  LogList log_;
  std::size_t first_ = 0;
};

ZipMaker::Entry MakeEntry(std::string name, std::string data) {
  ZipMaker::Entry e;
  e.name = std::move(name);
  e.data = std::move(data);
  return e;
}

TEST_F(UnpackTest, NamesThatLeaveTheTargetAndLinksAreRefusedAndTheRestIsUnpacked) {
  ZipMaker zip;
  zip.Add("gut/bild.jpg", std::string(5000, 'b'), true);
  for (const char* hostile : {"../x.txt", "/abs.txt", "C:\\x.txt", "a/../../y.txt", "a:strom", "b\\..\\..\\z.txt"}) {
    zip.Add(hostile, "weg");
  }
  zip.Add("CON", "ein Ger\xc3\xa4tename");
  ZipMaker::Entry link = MakeEntry("verweis", "../../Draussen");
  link.externalAttributes = 0120777u << 16;
  zip.Add(link);
  const std::string bytes = Archive(zip);
  ASSERT_TRUE(WriteBytes(dir_ / L"Draussen\\bleibt.txt", "bleibt"));

  const RunSummary run = Run(Unpack());
  EXPECT_EQ(run.errors, 7u);
  EXPECT_EQ(test::NamesIn(dir_.path()), (std::set<std::wstring>{L"Quelle", L"Ziel", L"Draussen", L"Einstellungen"}));
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), (std::set<std::wstring>{L"gut", L"CON_"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\gut\\bild.jpg"), std::string(5000, 'b'));
  EXPECT_EQ(test::NamesIn(dir_ / L"Draussen"), (std::set<std::wstring>{L"bleibt.txt"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\paket.zip"), bytes) << "the archive stays as it was";

  const std::map<std::wstring, Row> rows = Rows();
  ASSERT_TRUE(rows.contains(L"paket.zip"));
  EXPECT_EQ(rows.at(L"paket.zip").ergebnis, L"Entpackt");
  EXPECT_EQ(rows.at(L"paket.zip").groesse, L"2 Dateien");
  for (const wchar_t* hostile : {L"../x.txt", L"/abs.txt", L"C:\\x.txt", L"a/../../y.txt", L"a:strom"}) {
    ASSERT_TRUE(rows.contains(hostile)) << ToUtf8(hostile);
    EXPECT_EQ(rows.at(hostile).ergebnis, L"Fehler! Der Name f\u00fchrt aus dem Zielordner hinaus");
    EXPECT_FALSE(rows.at(hostile).fileRow) << "an entry's row is not handled again as a file";
  }
  EXPECT_EQ(rows.at(L"verweis").ergebnis, L"Fehler! Verkn\u00fcpfungen im Archiv werden nicht entpackt");
}

TEST_F(UnpackTest, AnEntryBelowAFolderThatIsALinkOnTheDiskIsNotWritten) {
  ASSERT_TRUE(CreateFolders(dir_ / L"Draussen"));
  ASSERT_TRUE(CreateFolders(dir_ / L"Ziel"));
  if (!test::MakeFolderLink(dir_ / L"Ziel\\Ausgang", dir_ / L"Draussen")) GTEST_SKIP() << "no links here";
  ZipMaker zip;
  zip.Add("Ausgang/x.txt", "x");
  zip.Add("Ausgang/tiefer/y.txt", "y");
  zip.Add("drin/z.txt", "z");
  Archive(zip);

  const RunSummary run = Run(Unpack());
  EXPECT_EQ(run.errors, 2u);
  EXPECT_TRUE(test::NamesIn(dir_ / L"Draussen").empty());
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\drin\\z.txt"), "z");
  const std::map<std::wstring, Row> rows = Rows();
  EXPECT_TRUE(rows.at(L"Ausgang/x.txt").ergebnis.starts_with(L"Fehler! Der Ordner ist eine Verkn\u00fcpfung"));
  EXPECT_EQ(rows.at(L"paket.zip").groesse, L"1 Datei");
}

TEST_F(UnpackTest, DamagedEncryptedAndUnsupportedEntriesFailAloneAndLeaveNoPartialFile) {
  ZipMaker zip;
  zip.Add("a.txt", "erste", true);
  ZipMaker::Entry badCrc = MakeEntry("b.txt", std::string(70000, 'c'));
  badCrc.crc = 1234;
  zip.Add(badCrc);
  // The directory promises more than the stream gives: cut short.
  std::string noise(200000, ' ');
  std::uint32_t seed = 7;
  for (char& c : noise) c = static_cast<char>('a' + ((seed = seed * 1103515245u + 12345u) >> 16) % 26);
  ZipMaker::Entry cut = MakeEntry("c.txt", noise);
  cut.method = 8;
  cut.declaredSize = 300000;
  zip.Add(cut);
  ZipMaker::Entry encrypted = MakeEntry("d.txt", "geheim");
  encrypted.flags |= 1;
  zip.Add(encrypted);
  ZipMaker::Entry bzip2 = MakeEntry("e.txt", "BZh9...");
  bzip2.method = 12;
  zip.Add(bzip2);
  zip.Add("f.txt", "letzte");
  ZipMaker::Entry again = MakeEntry("a.txt", "zweite gleichen Namens");
  zip.Add(again);
  Archive(zip);

  const RunSummary run = Run(Unpack(L"2"));
  EXPECT_EQ(run.errors, 4u);
  // No temporary file is left, and no half-written file carries a name.
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), (std::set<std::wstring>{L"a.txt", L"a(1).txt", L"f.txt"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a.txt"), "erste");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\a(1).txt"), "zweite gleichen Namens") << "a duplicate never skips nor replaces";
  const std::map<std::wstring, Row> rows = Rows();
  EXPECT_EQ(rows.at(L"b.txt").ergebnis, L"Fehler! Pr\u00fcfsumme falsch");
  EXPECT_EQ(rows.at(L"c.txt").ergebnis, L"Fehler! Archiv besch\u00e4digt");
  EXPECT_EQ(rows.at(L"d.txt").ergebnis, L"Fehler! Der Eintrag ist verschl\u00fcsselt");
  EXPECT_EQ(rows.at(L"e.txt").ergebnis, L"Fehler! Das Kompressionsverfahren 12 wird nicht unterst\u00fctzt");
  EXPECT_EQ(rows.at(L"paket.zip").ergebnis, L"Entpackt");
  EXPECT_EQ(rows.at(L"paket.zip").groesse, L"3 Dateien");
}

TEST_F(UnpackTest, WhatIsNoArchiveOrACutOneGetsAnErrorAndNothingIsWritten) {
  ZipMaker zip;
  zip.Add("a.txt", "a");
  const std::string whole = zip.Make();
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\halb.zip", whole.substr(0, whole.size() / 2)));
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\text.zip", "Das ist kein Archiv."));
  const RunSummary run = Run(Unpack());
  EXPECT_EQ(run.errors, 2u);
  EXPECT_FALSE(PathExists(dir_ / L"Ziel"));
  const std::map<std::wstring, Row> rows = Rows();
  EXPECT_EQ(rows.at(L"halb.zip").ergebnis, L"Fehler! Entpacken nicht m\u00f6glich: kein Zip-Archiv");
  EXPECT_EQ(rows.at(L"text.zip").ergebnis, L"Fehler! Entpacken nicht m\u00f6glich: kein Zip-Archiv");
  EXPECT_EQ(rows.at(L"text.zip").groesse, L"20 Bytes") << "a failed archive shows its own size";
}

TEST_F(UnpackTest, Zip64EntriesAndNamesInCodePage437AndUtf8) {
  ZipMaker zip;
  ZipMaker::Entry wide = MakeEntry("gro\xc3\x9f/zip64.txt", std::string(100000, 'z'));
  wide.zip64 = true;
  wide.method = 8;
  zip.Add(wide);
  ZipMaker::Entry old = MakeEntry("\x84rger.txt", "cp437");  // 0x84 is "ä" in code page 437
  old.flags = 0;
  zip.Add(old);
  zip.Add("Urlaub \xf0\x9f\x8c\xb4.txt", "Palme");
  zip.zip64End = true;
  Archive(zip);

  EXPECT_EQ(Run(Unpack()).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\gro\u00df\\zip64.txt"), std::string(100000, 'z'));
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\\u00e4rger.txt"), "cp437");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\Urlaub \U0001F334.txt"), "Palme");
  EXPECT_EQ(Rows().at(L"paket.zip").groesse, L"3 Dateien");
}

TEST_F(UnpackTest, ATakenNameIsNumberedSkippedOrReplacedAsTheProfileSays) {
  ZipMaker zip;
  zip.Add("a.txt", "neu");
  zip.Add("b.txt", "b");
  Archive(zip);
  for (const wchar_t* ziel : {L"Nummer", L"Weiter", L"Ersetzt"}) {
    ASSERT_TRUE(WriteBytes(dir_ / (std::wstring(ziel) + L"\\a.txt"), "alt"));
  }

  EXPECT_EQ(Run(Unpack(L"1", L"Nummer")).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Nummer\\a.txt"), "alt");
  EXPECT_EQ(ReadBytes(dir_ / L"Nummer\\a(1).txt"), "neu");
  EXPECT_EQ(Rows().at(L"paket.zip").groesse, L"2 Dateien");

  EXPECT_EQ(Run(Unpack(L"2", L"Weiter")).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Weiter\\a.txt"), "alt");
  EXPECT_EQ(test::NamesIn(dir_ / L"Weiter"), (std::set<std::wstring>{L"a.txt", L"b.txt"}));
  EXPECT_EQ(Rows().at(L"a.txt").ergebnis, L"\u00dcbersprungen");
  EXPECT_EQ(Rows().at(L"paket.zip").groesse, L"1 Datei");

  EXPECT_EQ(Run(Unpack(L"0", L"Ersetzt")).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ersetzt\\a.txt"), "neu");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ersetzt"), (std::set<std::wstring>{L"a.txt", L"b.txt"}));
  EXPECT_EQ(Rows().at(L"paket.zip").groesse, L"2 Dateien");

  // The replaced file went to the recycle bin, and the undo brings it back.
  const UndoSummary undone = UndoLatest();
  EXPECT_EQ(undone.errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ersetzt\\a.txt"), "alt");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ersetzt"), (std::set<std::wstring>{L"a.txt"}));
}

TEST_F(UnpackTest, ASimulationWritesNothingAndItsCheckedRowUnpacksLater) {
  ZipMaker zip;
  zip.Add("Ordner/", "");
  zip.Add("Ordner/a.txt", "a");
  zip.Add("Ordner/tief/b.txt", "b", true);
  zip.Add("c.txt", "c");
  zip.Add("../weg.txt", "weg");
  Archive(zip);

  const RunSummary simulated = Run(Unpack(), RunMode::Simulate);
  EXPECT_EQ(simulated.errors, 1u);
  EXPECT_FALSE(PathExists(dir_ / L"Ziel"));
  EXPECT_TRUE(ListJournals(host_.journalFolder).empty());
  std::map<std::wstring, Row> rows = Rows();
  EXPECT_EQ(rows.at(L"paket.zip").ergebnis, L"Entpacken, simuliert");
  EXPECT_EQ(rows.at(L"paket.zip").groesse, L"3 Dateien");
  EXPECT_TRUE(rows.at(L"../weg.txt").ergebnis.starts_with(L"Fehler!"));

  // With a file in place, the simulation counts what "überspringen" leaves out.
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\c.txt", "schon da"));
  Run(Unpack(L"2"), RunMode::Simulate);
  EXPECT_EQ(Rows().at(L"paket.zip").groesse, L"2 Dateien");
  EXPECT_EQ(Rows().at(L"c.txt").ergebnis, L"\u00dcbersprungen");
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel"), (std::set<std::wstring>{L"c.txt"}));

  // The first simulated row, checked and run again, unpacks the archive.
  log_.Apply(CheckCommand::NichtsAnhaken);
  std::size_t archiveRow = log_.size();
  for (std::size_t r = 0; r < log_.size() && archiveRow == log_.size(); ++r) {
    if (log_.Text(r, LogColumn::Datei) == L"paket.zip") archiveRow = r;
  }
  ASSERT_LT(archiveRow, log_.size());
  log_.SetChecked(archiveRow, true);
  first_ = log_.size();
  const RunSummary again = RunCheckedRows(log_, host_);
  EXPECT_EQ(again.errors, 1u) << "the refused entry is a row again";
  EXPECT_EQ(log_.Text(archiveRow, LogColumn::Ergebnis), L"Entpackt");
  EXPECT_EQ(log_.Text(archiveRow, LogColumn::Groesse), L"3 Dateien");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\Ordner\\tief\\b.txt"), "b");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\c(1).txt"), "c");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\c.txt"), "schon da");
  EXPECT_TRUE(Rows().at(L"../weg.txt").ergebnis.starts_with(L"Fehler!"));

  // The count reads the same in every export.
  std::string tsv;
  log_.AppendTsvCell(archiveRow, static_cast<int>(LogColumn::Groesse), tsv);
  EXPECT_EQ(tsv, "3 Dateien");
}

TEST_F(UnpackTest, UndoRemovesWhatItUnpackedUnlessChangedAndTheFoldersItMade) {
  ZipMaker zip;
  zip.Add("Album/1.jpg", "eins");
  zip.Add("Album/2.jpg", "zwei");
  zip.Add("Leer/", "");
  zip.Add("3.jpg", "drei");
  const std::string bytes = Archive(zip);
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\Vorher\\alt.txt", "alt"));

  ASSERT_EQ(Run(Unpack(L"1", L"Ziel\\Neu")).errors, 0u);
  ASSERT_EQ(ReadBytes(dir_ / L"Ziel\\Neu\\Album\\2.jpg"), "zwei");
  ASSERT_TRUE(FolderExists(dir_ / L"Ziel\\Neu\\Leer"));
  // Changed since the run: it is the user's now.
  ASSERT_TRUE(WriteBytes(dir_ / L"Ziel\\Neu\\Album\\2.jpg", "zwei, bearbeitet"));

  const UndoSummary undone = UndoLatest();
  EXPECT_EQ(undone.errors, 0u);
  EXPECT_EQ(undone.files, 3u);
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel\\Neu"), (std::set<std::wstring>{L"Album"}));
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel\\Neu\\Album"), (std::set<std::wstring>{L"2.jpg"}));
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\Vorher\\alt.txt"), "alt");
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\paket.zip"), bytes);
  const std::map<std::wstring, Row> rows = Rows();
  EXPECT_EQ(rows.at(L"1.jpg").ergebnis, L"Entfernt");
  EXPECT_TRUE(rows.at(L"2.jpg").ergebnis.starts_with(L"Nicht r\u00fcckg\u00e4ngig"));

  // A run undone whole leaves no trace, not even its folders.
  ZipMaker other;
  other.Add("x/y.txt", "y");
  other.Add("z.txt", "z");
  Archive(other, L"zwei.zip");
  ASSERT_TRUE(RemoveFile(dir_ / L"Quelle\\paket.zip"));
  ASSERT_EQ(Run(Unpack(L"1", L"Ziel\\Zwei")).errors, 0u);
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_FALSE(PathExists(dir_ / L"Ziel\\Zwei"));

  // Files whose archive changed since stay: they may be the only copy of what it held.
  ASSERT_EQ(Run(Unpack(L"1", L"Ziel\\Drei")).errors, 0u);
  ASSERT_TRUE(WriteBytes(dir_ / L"Quelle\\zwei.zip", "ersetzt"));
  EXPECT_EQ(UndoLatest().errors, 0u);
  EXPECT_EQ(test::NamesIn(dir_ / L"Ziel\\Drei"), (std::set<std::wstring>{L"x", L"z.txt"}));
}

TEST_F(UnpackTest, NothingIsWrittenThatTheJournalCannotHold) {
  ZipMaker zip;
  zip.Add("a.txt", "a");
  Archive(zip);
  ASSERT_TRUE(WriteBytes(dir_ / L"Einstellungen", "keine Ordner hier"));
  EXPECT_EQ(Run(Unpack()).errors, 1u);
  EXPECT_TRUE(Rows().at(L"paket.zip").ergebnis.starts_with(L"Fehler! Journal"));
  EXPECT_FALSE(PathExists(dir_ / L"Ziel"));
}

TEST_F(UnpackTest, AnArchiveUnpackedBesideItselfIsNeverReplaced) {
  ZipMaker zip;
  zip.Add("paket.zip", "ein Eintrag namens wie sein Archiv");
  const std::string bytes = Archive(zip);
  const Profile beside = test::ProfileBuilder(L"Daneben")
                             .Action(std::wstring(kAktionEntpacken), dir_ / L"Quelle", dir_ / L"Quelle")
                             .Filter(L".zip")
                             .Collision(L"0");
  EXPECT_EQ(Run(beside).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Quelle\\paket.zip"), bytes);
  EXPECT_EQ(Rows().at(L"paket.zip").ergebnis, L"\u00dcbersprungen: Das Ziel ist die Datei selbst");
}

TEST_F(UnpackTest, EachArchiveGetsItsOwnFolderThroughThePathVariables) {
  ZipMaker first;
  first.Add("bild.jpg", "erstes");
  Archive(first, L"Urlaub.zip");
  ZipMaker second;
  second.Add("bild.jpg", "zweites");
  Archive(second, L"Geburtstag.zip");
  EXPECT_EQ(Run(Unpack(L"1", L"Ziel\\%Name%")).errors, 0u);
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\Urlaub\\bild.jpg"), "erstes");
  EXPECT_EQ(ReadBytes(dir_ / L"Ziel\\Geburtstag\\bild.jpg"), "zweites");
}

}  // namespace
}  // namespace ablagix
