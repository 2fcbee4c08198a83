// The log list `ExListviewLOG` without a window: its rows in list order, their check boxes
// and colours, the check-box commands of `ComboBox1`, sorting by column, and the banner rows
// that frame each profile's rows. The window shows it as a virtual list and asks for texts by
// row and column; exports read the same texts.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/char_chunks.h"
#include "log/log_row.h"
#include "log/text_pool.h"

namespace ablagix {

//--- Check-box commands

enum class CheckCommand {
  AllesAnhaken,
  NichtsAnhaken,
  AuswahlUmkehren,
  OberhalbDerSelektion,
  UnterhalbDerSelektion,
  AlleMarkiertenAnhaken,
  AngehakteEntfernen,
  OhneCheckboxEntfernen,
};

// The entries of the chooser `ComboBox1`, in the order of CheckCommand.
inline constexpr std::array<std::wstring_view, 8> kComboBox1Entries = {
    L"Alles anhaken",
    L"Nichts anhaken",
    L"Auswahl umkehren",
    L"Oberhalb der Selektion",
    L"Unterhalb der Selektion",
    L"Alle markierten anhaken",
    L"Angehakte aus der Liste entfernen",
    L"Ohne Checkbox aus der Liste entfernen",
};

// The list control's selection when a command is picked: the selected (focused) row, and
// every highlighted row. Indexes outside the list are ignored.
struct LogSelection {
  std::optional<std::size_t> selected;
  std::vector<std::size_t> highlighted;
};

//--- Colours

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};

// nullopt means the list's own colour (normal text colour, background unchanged).
struct LogRowColours {
  std::optional<Rgb> background;
  std::optional<Rgb> text;
  friend bool operator==(const LogRowColours&, const LogRowColours&) = default;
};

// Error rows: white on red. Skipped rows: blue on yellow. Others: the list's colours.
LogRowColours ColoursFor(LogRowKind kind);

//--- Sorting

// The list control's sort kinds by their old numbers: 1 compares texts, 5 numbers, 8 dates.
// Numbers compare by value (a time by its moment; in a text, digit runs by their value, so
// "IMG_2" comes before "IMG_10"); dates read texts in the form "dd.mm.yyyy hh:nn:ss" as
// moments. Cells that hold no number or date sort after those that do, by their text.
enum class LogSortKind { Text = 1, Numeric = 5, Date = 8 };

// Kind by zero-based column index: 0 and 3 numeric, 4 and 5 date, all others text. The
// mapping is shared with the profile list, which is why "Erstellt am" and "Zielpfad" are
// dates and "Größe" is text.
LogSortKind SortKindForColumn(int column);

// Values of the header sort arrow.
enum class SortOrder { Ascending = 1, Descending = 2 };

struct LogSortResult {
  int previousColumn;  // the column whose header arrow is to be removed; -1 when none
  int column;          // the sorted column, which shows the arrow for `order`
  LogSortKind kind;
  SortOrder order;
};

//--- Re-running a row

// What a row carries for repeating its action on that one file.
struct LogRowAction {
  std::wstring datei;
  std::wstring pfad;
  std::wstring zielpfad;
  std::wstring aktion;
  std::wstring zipp;
  std::wstring kollision;
  std::wstring zipName;
  std::wstring metadaten;
  std::wstring quell2;
  std::wstring ziel2;
};

//--- The list

// The tab-separated form of a log's shared texts, kept while one writer goes through its rows.
class TsvCellCache {
 private:
  friend class LogList;
  std::vector<std::string> texts_;  // by text id; valid where known_ is set
  std::vector<char> known_;
};

class LogList {
 public:
  std::size_t size() const { return rows_.size(); }
  bool empty() const { return rows_.empty(); }

  // Each appends one unchecked row at the end and returns its index.
  std::size_t AppendFile(const LogFileFields& fields);
  std::size_t AppendTexts(const LogRowTexts& texts);

  // "Log löschen": removes every row. The sort state is kept, as the list control keeps it.
  void Clear();

  // The text shown in a cell. `column` is zero-based; outside 0..13 gives "".
  std::wstring Text(std::size_t row, int column) const;
  std::wstring Text(std::size_t row, LogColumn column) const {
    return Text(row, static_cast<int>(column));
  }
  // The same text appended to `out` as one cell of tab-separated UTF-8, without a string of
  // its own: for writers of long logs. A cell never breaks its line or column, and a script
  // gets every name back exactly: a backslash is written "\\", tab, line feed and carriage
  // return "\t", "\n", "\r", and a byte of a Linux name that is not UTF-8 "\xE4".
  // `cache` (optional, for one writer of many rows) keeps the written form of the texts that
  // repeat from row to row (folders, actions, results), so each is converted once.
  void AppendTsvCell(std::size_t row, int column, std::string& out, TsvCellCache* cache = nullptr) const;

  bool Checked(std::size_t row) const { return rows_[row].checked(); }
  void SetChecked(std::size_t row, bool checked) { rows_[row].setFlag(LogRow::kChecked, checked); }
  bool IsFileRow(std::size_t row) const { return rows_[row].isFileRow(); }
  // Number values of file rows, for callers that need more than the shown text.
  std::uint64_t FileSize(std::size_t row) const;
  FileTime LastWrite(std::size_t row) const;
  FileTime Creation(std::size_t row) const;

  LogRowKind Kind(std::size_t row) const;
  LogRowColours Colours(std::size_t row) const { return ColoursFor(Kind(row)); }

  // Replaces the "Ergebnis" text (the checked-rows pass writes its new result there).
  void SetResult(std::size_t row, std::wstring_view ergebnis);
  // Puts a text in place of the size of a file row (an archive unpacked again: its file count).
  void SetSizeText(std::size_t row, std::wstring_view text);

  // Performs one entry of ComboBox1. Picking the same entry again performs it again.
  void Apply(CheckCommand command, const LogSelection& selection = {});

  // A click on a column header: flips the order (whichever column was sorted before), sorts
  // stably by the column's sort kind and remembers the column.
  LogSortResult SortByColumn(int column);
  int sortedColumn() const { return sortedColumn_; }

  // The checked rows in list order: the rows that "Ausführen nur bei angehakten Dateien" works on.
  std::vector<std::size_t> CheckedRows() const;
  LogRowAction ActionOf(std::size_t row) const;

  // Bytes held by the rows, the name buffer and the pool (capacity, without allocator overhead).
  std::size_t MemoryBytes() const;

 private:
  std::u16string_view NameOf(const LogRow& row) const;
  std::u16string_view PooledText(const LogRow& row, LogColumn column) const;
  void StoreName(std::wstring_view name, LogRow* row);
  void RemoveRows(bool checked);
  void CompactNamesIfWasteful();
  void SortRows(int column, LogSortKind kind, bool descending);

  std::deque<LogRow> rows_;
  CharChunks names_;
  TextPool pool_;
  // The text each pooled cell of the last file row held, and its id: a run writes the same
  // folder, action and target row after row, which then costs a comparison, not a look-up.
  std::array<std::wstring, LogRow::kPooledCells> lastTexts_;
  std::array<TextPool::Id, LogRow::kPooledCells> lastIds_{};
  int sortedColumn_ = -1;
  bool descending_ = true;  // so that the first click sorts ascending
};

//--- Banner rows

// "Start " and the profile's name, then ten stars in the next six columns, eight in the one
// after, and six in the last column.
void AppendStartBanner(LogList& list, std::wstring_view profileName);
// "Ende " and the profile's name, then ten stars in the next six columns and seven in the
// two after those.
void AppendEndBanner(LogList& list, std::wstring_view profileName);
// A scan that found no file: ten stars, then "Keine Datei(en) gefunden".
void AppendNothingFoundRow(LogList& list);
// A message of the run in the row's second column (a refused profile, a journal problem),
// behind ten stars.
void AppendMessageRow(LogList& list, std::wstring_view text);

}  // namespace ablagix
