#include "log/log_list.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "base/text.h"
#include "log/text_pool.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::U8;

constexpr FileTime kTicksPerDay = 864000000000;
// 1 January 2023, 00:00 UTC.
constexpr FileTime kNewYear2023 = 116444736000000000 + 1672531200LL * 10000000;

LogFileFields File(std::wstring_view name, std::wstring_view result = ResultWord::kVerschoben) {
  LogFileFields f;
  f.datei = name;
  f.pfad = L"D:\\Kamera\\2023";
  f.size = 1536;
  f.lastWrite = kNewYear2023;
  f.creation = kNewYear2023;
  f.zielpfad = L"E:\\Fotos\\2023";
  f.ergebnis = result;
  f.aktion = L"Verschieben";
  f.zipp = L"0";
  f.kollision = L"1";
  return f;
}

// A list of files named "r0", "r1", ... in that order.
LogList Numbered(int count) {
  LogList list;
  for (int i = 0; i < count; ++i) list.AppendFile(File(L"r" + std::to_wstring(i)));
  return list;
}

std::string Names(const LogList& list) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i > 0) out += ' ';
    out += U8(list.Text(i, LogColumn::Datei));
  }
  return out;
}

std::string Checks(const LogList& list) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i) out += list.Checked(i) ? 'x' : '.';
  return out;
}

std::string Column(const LogList& list, LogColumn column) {
  std::string out;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (i > 0) out += '|';
    out += U8(list.Text(i, column));
  }
  return out;
}

TEST(LogRowFormat, SizesAreGermanWithDecimalComma) {
  EXPECT_EQ(U8(FormatLogSize(0)), "0 Bytes");
  EXPECT_EQ(U8(FormatLogSize(1)), "1 Byte");
  EXPECT_EQ(U8(FormatLogSize(1023)), "1023 Bytes");
  EXPECT_EQ(U8(FormatLogSize(1024)), "1,00 KB");
  EXPECT_EQ(U8(FormatLogSize(1536)), "1,50 KB");
  EXPECT_EQ(U8(FormatLogSize(1030)), "1,01 KB");  // 1,0059 rounds up
  // Just below 1 MB rounds to 1024,00 KB, which is shown in the next unit.
  EXPECT_EQ(U8(FormatLogSize(1048575)), "1,00 MB");
  EXPECT_EQ(U8(FormatLogSize(5ULL * 1073741824 + 536870912)), "5,50 GB");
  // The largest size stays exact and gets thousands dots in the whole part.
  EXPECT_EQ(U8(FormatLogSize(std::numeric_limits<std::uint64_t>::max())), "16.777.216,00 TB");
}

TEST(LogRowFormat, DatesAreDayMonthYearWithSeconds) {
  EXPECT_EQ(U8(FormatGermanDateTime({2025, 2, 3, 9, 5, 7})), "03.02.2025 09:05:07");
  EXPECT_EQ(U8(FormatGermanDateTime({1999, 12, 31, 23, 59, 59})), "31.12.1999 23:59:59");
  // No time known: an empty cell rather than 01.01.1601.
  EXPECT_EQ(U8(FormatLogTime(0)), "");
}

TEST(LogList, FileRowShowsEveryColumnAndKeepsNumbers) {
  LogList list;
  LogFileFields f = File(L"Bericht \u00c4nderung \U0001F600.pdf");
  f.size = 2048;
  f.metadaten = L"Canon EOS";
  f.quell2 = L"D:\\Kamera\\";
  f.ziel2 = L"E:\\Fotos\\%DateGAYYYY%";
  f.zipName = L"Archiv";
  EXPECT_EQ(list.AppendFile(f), 0u);

  EXPECT_EQ(U8(list.Text(0, LogColumn::Datei)), "Bericht \xC3\x84" "nderung \xF0\x9F\x98\x80.pdf");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Pfad)), "D:\\Kamera\\2023");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Groesse)), "2,00 KB");
  EXPECT_EQ(list.Text(0, LogColumn::GeaendertAm), FormatLogTime(kNewYear2023));
  EXPECT_EQ(list.Text(0, LogColumn::GeaendertAm).size(), 19u);
  EXPECT_EQ(U8(list.Text(0, LogColumn::Zielpfad)), "E:\\Fotos\\2023");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Ergebnis)), "Verschoben");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Aktion)), "Verschieben");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Zipp)), "0");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Kollision)), "1");
  EXPECT_EQ(U8(list.Text(0, LogColumn::ZipName)), "Archiv");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Metadaten)), "Canon EOS");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Quell2)), "D:\\Kamera\\");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Ziel2)), "E:\\Fotos\\%DateGAYYYY%");
  EXPECT_EQ(list.Text(0, 14), L"");
  EXPECT_EQ(list.FileSize(0), 2048u);
  EXPECT_EQ(list.LastWrite(0), kNewYear2023);
  EXPECT_TRUE(list.IsFileRow(0));
  EXPECT_FALSE(list.Checked(0));
}

TEST(LogList, BannerRowsHaveTheirStarColumns) {
  LogList list;
  AppendStartBanner(list, L"Fotos sortieren");
  AppendNothingFoundRow(list);
  AppendEndBanner(list, L"Fotos sortieren");
  const std::string s10 = "**********";

  std::vector<std::string> start;
  for (int c = 0; c < kLogColumnCount; ++c) start.push_back(U8(list.Text(0, c)));
  EXPECT_EQ(start, (std::vector<std::string>{"Start Fotos sortieren", s10, s10, s10, s10, s10, s10,
                                             "********", "", "", "", "", "", "******"}));
  EXPECT_EQ(U8(list.Text(1, 0)), s10);
  EXPECT_EQ(U8(list.Text(1, 1)), "Keine Datei(en) gefunden");
  EXPECT_EQ(U8(list.Text(1, 2)), "");
  std::vector<std::string> end;
  for (int c = 0; c < kLogColumnCount; ++c) end.push_back(U8(list.Text(2, c)));
  EXPECT_EQ(end, (std::vector<std::string>{"Ende Fotos sortieren", s10, s10, s10, s10, s10, s10,
                                           "*******", "*******", "", "", "", "", ""}));
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_FALSE(list.IsFileRow(i));
    EXPECT_EQ(list.Kind(i), LogRowKind::Normal);
  }
}

TEST(LogList, ColoursFollowTheExactResultComparisons) {
  LogList list;
  list.AppendFile(File(L"a", L"Fehler!"));
  list.AppendFile(File(L"b", L"Fehler! Zugriff verweigert"));
  list.AppendFile(File(L"c", L"Fehler"));
  list.AppendFile(File(L"d", L"fehler!"));
  list.AppendFile(File(L"e", L"\u00dcbersprungen"));
  list.AppendFile(File(L"f", L"\u00dcbersprungen "));
  list.AppendFile(File(L"g", L"\u00dcbersprungen Konnte Zielpfad nicht erstellen"));
  list.AppendFile(File(L"h", L"Kopiert"));
  std::string kinds;
  for (std::size_t i = 0; i < list.size(); ++i) {
    kinds += "nes"[static_cast<int>(list.Kind(i))];
  }
  EXPECT_EQ(kinds, "eennsnnn");

  const LogRowColours error{Rgb{255, 0, 0}, Rgb{255, 255, 255}};
  const LogRowColours skipped{Rgb{255, 255, 0}, Rgb{0, 0, 255}};
  EXPECT_EQ(list.Colours(0), error);
  EXPECT_EQ(list.Colours(4), skipped);
  EXPECT_EQ(list.Colours(7), LogRowColours{});  // the list's own colours

  // A new result (the checked-rows pass) recolours the row.
  list.SetResult(7, ResultWord::kFehler);
  EXPECT_EQ(list.Colours(7), error);
  list.SetResult(0, ResultWord::kKopiert);
  EXPECT_EQ(list.Colours(0), LogRowColours{});
  EXPECT_EQ(U8(list.Text(0, LogColumn::Ergebnis)), "Kopiert");
}

TEST(LogList, CheckCommandsSetAndInvert) {
  LogList list = Numbered(5);
  list.Apply(CheckCommand::AllesAnhaken);
  EXPECT_EQ(Checks(list), "xxxxx");
  list.Apply(CheckCommand::NichtsAnhaken);
  EXPECT_EQ(Checks(list), ".....");
  list.SetChecked(1, true);
  list.Apply(CheckCommand::AuswahlUmkehren);
  EXPECT_EQ(Checks(list), "x.xxx");
  // Picking the same entry again performs it again.
  list.Apply(CheckCommand::AuswahlUmkehren);
  EXPECT_EQ(Checks(list), ".x...");

  list.Apply(CheckCommand::AlleMarkiertenAnhaken, {std::nullopt, {3, 4, 99}});
  EXPECT_EQ(Checks(list), ".x.xx");
  EXPECT_EQ(list.CheckedRows(), (std::vector<std::size_t>{1, 3, 4}));
}

TEST(LogList, CheckCommandsAboveAndBelowTheSelection) {
  LogList list = Numbered(5);
  list.Apply(CheckCommand::OberhalbDerSelektion, {2, {}});
  EXPECT_EQ(Checks(list), "xxx..");

  list.Apply(CheckCommand::NichtsAnhaken);
  list.Apply(CheckCommand::UnterhalbDerSelektion, {2, {}});
  EXPECT_EQ(Checks(list), "..xxx");

  // No selection (or one outside the list) starts from the first row.
  list.Apply(CheckCommand::NichtsAnhaken);
  list.Apply(CheckCommand::OberhalbDerSelektion);
  EXPECT_EQ(Checks(list), "x....");
  list.Apply(CheckCommand::NichtsAnhaken);
  list.Apply(CheckCommand::UnterhalbDerSelektion, {7, {}});
  EXPECT_EQ(Checks(list), "xxxxx");
}

TEST(LogList, CheckCommandsRemoveRows) {
  LogList list = Numbered(5);
  list.SetChecked(1, true);
  list.SetChecked(3, true);
  list.Apply(CheckCommand::AngehakteEntfernen);
  EXPECT_EQ(Names(list), "r0 r2 r4");
  EXPECT_EQ(Checks(list), "...");

  list.SetChecked(1, true);
  list.Apply(CheckCommand::OhneCheckboxEntfernen);
  EXPECT_EQ(Names(list), "r2");
  EXPECT_EQ(Checks(list), "x");

  // Every row checked: the list ends up empty, and stays usable.
  list.Apply(CheckCommand::AngehakteEntfernen);
  EXPECT_TRUE(list.empty());
  for (int command = 0; command < 8; ++command) {
    list.Apply(static_cast<CheckCommand>(command), {0, {0}});
  }
  EXPECT_TRUE(list.empty());
  list.AppendFile(File(L"neu"));
  EXPECT_EQ(Names(list), "neu");
  EXPECT_EQ(U8(list.Text(0, LogColumn::Pfad)), "D:\\Kamera\\2023");
}

TEST(LogList, RemovingManyRowsKeepsTheRestIntact) {
  // Enough long names that removing most of them stores the rest anew.
  LogList list;
  std::vector<std::wstring> names;
  for (int i = 0; i < 4000; ++i) {
    names.push_back(std::wstring(100, static_cast<wchar_t>(L'a' + i % 26)) + std::to_wstring(i));
    list.AppendFile(File(names.back()));
  }
  for (std::size_t i = 0; i < list.size(); ++i) list.SetChecked(i, i % 50 != 7);
  list.Apply(CheckCommand::AngehakteEntfernen);
  ASSERT_EQ(list.size(), 80u);
  for (std::size_t i = 0; i < list.size(); ++i) {
    EXPECT_EQ(list.Text(i, LogColumn::Datei), names[i * 50 + 7]);
  }
  list.Clear();  // "Log löschen"
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(list.CheckedRows().empty());
}

TEST(LogList, SortClicksToggleOrderAcrossColumns) {
  EXPECT_EQ(SortKindForColumn(0), LogSortKind::Numeric);
  EXPECT_EQ(SortKindForColumn(3), LogSortKind::Numeric);
  EXPECT_EQ(SortKindForColumn(4), LogSortKind::Date);
  EXPECT_EQ(SortKindForColumn(5), LogSortKind::Date);
  EXPECT_EQ(SortKindForColumn(1), LogSortKind::Text);
  EXPECT_EQ(SortKindForColumn(2), LogSortKind::Text);

  LogList list;
  for (const wchar_t* name : {L"b", L"c", L"a"}) list.AppendFile(File(name));
  EXPECT_EQ(list.sortedColumn(), -1);

  LogSortResult first = list.SortByColumn(0);
  EXPECT_EQ(first.previousColumn, -1);
  EXPECT_EQ(first.order, SortOrder::Ascending);
  EXPECT_EQ(Names(list), "a b c");

  LogSortResult second = list.SortByColumn(0);
  EXPECT_EQ(second.previousColumn, 0);
  EXPECT_EQ(second.order, SortOrder::Descending);
  EXPECT_EQ(Names(list), "c b a");

  // Another column flips the order again instead of starting ascending.
  LogSortResult third = list.SortByColumn(1);
  EXPECT_EQ(third.previousColumn, 0);
  EXPECT_EQ(third.column, 1);
  EXPECT_EQ(third.kind, LogSortKind::Text);
  EXPECT_EQ(third.order, SortOrder::Ascending);
  EXPECT_EQ(list.sortedColumn(), 1);
  // All paths are equal: the order of the rows is kept.
  EXPECT_EQ(Names(list), "c b a");

  // Not a column: nothing happens.
  LogSortResult none = list.SortByColumn(14);
  EXPECT_EQ(none.column, 1);
  EXPECT_EQ(list.SortByColumn(0).order, SortOrder::Descending);
}

TEST(LogList, SortComparesTextsNumbersAndDatesSensibly) {
  LogList list;
  struct Row {
    const wchar_t* name;
    const wchar_t* folder;
    int day;
  };
  for (Row r : std::vector<Row>{{L"IMG_10.jpg", L"Zwiebel", 400},
                                {L"IMG_2.jpg", L"\u00c4pfel", 0},
                                {L"img_1.jpg", L"apfel", 364},
                                {L"IMG_02.jpg", L"Birne", 30}}) {
    LogFileFields f = File(r.name);
    f.pfad = r.folder;
    f.lastWrite = f.creation = kNewYear2023 + r.day * kTicksPerDay;
    list.AppendFile(f);
  }
  // A row whose date is a text, and a banner row.
  LogRowTexts texts{};
  texts[0] = L"IMG_3.jpg";
  texts[1] = L"Apfel";
  texts[3] = texts[4] = L"15.06.2023 12:00:00";
  list.AppendTexts(texts);
  AppendStartBanner(list, L"P");

  // "Datei", numeric: digit runs by value, letters without regard to case.
  list.SortByColumn(0);
  EXPECT_EQ(Names(list), "img_1.jpg IMG_02.jpg IMG_2.jpg IMG_3.jpg IMG_10.jpg Start P");

  // "Pfad", text (the click flips to descending): umlauts beside their plain letters, not
  // after "Z"; texts that differ only in case or accents in a fixed order.
  list.SortByColumn(1);
  EXPECT_EQ(Column(list, LogColumn::Pfad), "Zwiebel|Birne|\u00c4pfel|apfel|Apfel|**********");
  list.SortByColumn(1);
  EXPECT_EQ(Column(list, LogColumn::Pfad), "**********|Apfel|apfel|\u00c4pfel|Birne|Zwiebel");

  // "Erstellt am", date: by moment across the year end (as texts, 05.02.2024 would come
  // before 31.01.2023), the date given as text in between, the cell without a date last.
  list.SortByColumn(4);
  list.SortByColumn(4);
  ASSERT_EQ(list.sortedColumn(), 4);
  EXPECT_EQ(Names(list), "IMG_2.jpg IMG_02.jpg IMG_3.jpg img_1.jpg IMG_10.jpg Start P");

  // "Geändert am", numeric (descending now): the times by moment as well; texts, which a
  // numeric sort does not read as dates, come after them.
  list.SortByColumn(3);
  EXPECT_EQ(Names(list), "IMG_3.jpg Start P IMG_10.jpg img_1.jpg IMG_02.jpg IMG_2.jpg");
}

TEST(LogList, SortReadsADigitRunWholeWhenNamesShareItsBeginning) {
  LogList list;
  for (const wchar_t* name : {L"IMG_100.jpg", L"IMG_19.jpg", L"IMG_1.jpg", L"IMG_1a.jpg", L"IMG_019b.jpg"}) {
    list.AppendFile(File(name));
  }
  // "IMG_1" is common to all, but 19 is less than 100 and 019 equals 19.
  list.SortByColumn(0);
  EXPECT_EQ(Names(list), "IMG_1.jpg IMG_1a.jpg IMG_19.jpg IMG_019b.jpg IMG_100.jpg");
}

TEST(LogList, SortIsStableInBothDirections) {
  LogList list = Numbered(6);
  for (std::size_t i = 0; i < list.size(); ++i) list.SetResult(i, i % 2 ? L"Kopiert" : L"Fehler!");
  list.SetChecked(0, true);
  list.SortByColumn(6);  // ascending
  EXPECT_EQ(Names(list), "r0 r2 r4 r1 r3 r5");
  list.SortByColumn(6);  // descending
  EXPECT_EQ(Names(list), "r1 r3 r5 r0 r2 r4");
  // The check box travels with its row.
  EXPECT_EQ(list.CheckedRows(), (std::vector<std::size_t>{3}));
}

TEST(LogList, CheckedRowsCarryWhatTheirActionNeeds) {
  LogList list;
  AppendStartBanner(list, L"P");
  LogFileFields a = File(L"a.txt");
  a.zipp = L"1";
  a.zipName = L"Paket";
  a.quell2 = L"Q";
  a.ziel2 = L"Z";
  list.AppendFile(a);
  list.AppendFile(File(L"b.txt"));
  AppendEndBanner(list, L"P");

  list.SetChecked(1, true);
  list.SetChecked(3, true);
  EXPECT_EQ(list.CheckedRows(), (std::vector<std::size_t>{1, 3}));
  EXPECT_FALSE(list.IsFileRow(3));

  LogRowAction action = list.ActionOf(1);
  EXPECT_EQ(U8(action.datei), "a.txt");
  EXPECT_EQ(U8(action.pfad), "D:\\Kamera\\2023");
  EXPECT_EQ(U8(action.zielpfad), "E:\\Fotos\\2023");
  EXPECT_EQ(U8(action.aktion), "Verschieben");
  EXPECT_EQ(U8(action.zipp), "1");
  EXPECT_EQ(U8(action.kollision), "1");
  EXPECT_EQ(U8(action.zipName), "Paket");
  EXPECT_EQ(U8(action.quell2), "Q");
  EXPECT_EQ(U8(action.ziel2), "Z");
}

TEST(TextPool, InternsEachTextOnce) {
  TextPool pool;
  EXPECT_EQ(pool.Intern(std::wstring_view()), TextPool::kEmpty);
  std::vector<TextPool::Id> ids;
  for (int i = 0; i < 1000; ++i) ids.push_back(pool.Intern(L"Ordner " + std::to_wstring(i)));
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(pool.Intern(L"Ordner " + std::to_wstring(i)), ids[i]);
    EXPECT_EQ(FromUtf16(pool.View(ids[i])), L"Ordner " + std::to_wstring(i));
  }
  EXPECT_EQ(pool.size(), 1001u);
  pool.Clear();
  EXPECT_EQ(pool.size(), 1u);
  EXPECT_EQ(FromUtf16(pool.View(pool.Intern(L"x"))), L"x");
}

}  // namespace
}  // namespace ablagix
