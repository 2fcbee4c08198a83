#include "log/log_list.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "base/text.h"

namespace ablagix {
namespace {

// Where a column's value lives in a LogRow.
constexpr int kNameColumn = static_cast<int>(LogColumn::Datei);

constexpr int kSizeCell = 0;
constexpr int kLastWriteCell = 1;
constexpr int kCreationCell = 2;

int NumberCellOf(int column) {
  switch (static_cast<LogColumn>(column)) {
    case LogColumn::Groesse: return kSizeCell;
    case LogColumn::GeaendertAm: return kLastWriteCell;
    case LogColumn::ErstelltAm: return kCreationCell;
    default: return -1;
  }
}

// "Pfad" is the first pooled cell; the columns from "Zielpfad" on follow in order.
int PooledCellOf(int column) {
  if (column == static_cast<int>(LogColumn::Pfad)) return 0;
  if (column >= static_cast<int>(LogColumn::Zielpfad) && column < kLogColumnCount) {
    return column - static_cast<int>(LogColumn::Zielpfad) + 1;
  }
  return -1;
}

//--- Comparisons for sorting

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// The letter that a Latin-1 letter sorts as, for 0xC0..0xFF; a blank keeps the letter itself.
// German readers expect "Äpfel" beside "Apfel", not after "Zwiebel".
constexpr std::u16string_view kLatin1Base =
    u"aaaaaaaceeeeiiiidnooooo ouuuuy s"
    u"aaaaaaaceeeeiiiidnooooo ouuuuy y";

// Reads a text as the sequence of letters it is sorted by: case folded, accents dropped,
// "ß" as "ss" and "æ" as "ae".
class SortLetters {
 public:
  explicit SortLetters(std::u16string_view text) : text_(text) {}

  bool done() const { return extra_ == 0 && pos_ == text_.size(); }
  bool atDigit() const { return extra_ == 0 && pos_ < text_.size() && IsDigit(text_[pos_]); }

  char16_t Next() {
    if (extra_ != 0) {
      char16_t c = extra_;
      extra_ = 0;
      return c;
    }
    char16_t c = text_[pos_++];
    if (c >= 0xC0 && c <= 0xFF && kLatin1Base[c - 0xC0] != u' ') {
      if (c == 0xDF) extra_ = u's';
      if (c == 0xC6 || c == 0xE6) extra_ = u'e';
      return kLatin1Base[c - 0xC0];
    }
    return static_cast<char16_t>(FoldCase(static_cast<wchar_t>(c)));
  }

  std::u16string_view TakeDigits() {
    std::size_t start = pos_;
    while (pos_ < text_.size() && IsDigit(text_[pos_])) ++pos_;
    return text_.substr(start, pos_ - start);
  }

 private:
  std::u16string_view text_;
  std::size_t pos_ = 0;
  char16_t extra_ = 0;
};

// Two runs of digits by their value, however long they are.
int CompareDigitRuns(std::u16string_view a, std::u16string_view b) {
  a.remove_prefix(std::min(a.find_first_not_of(u'0'), a.size()));
  b.remove_prefix(std::min(b.find_first_not_of(u'0'), b.size()));
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  int c = a.compare(b);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

// Alphabetical order the way a German reader expects it; with `natural`, digit runs compare
// by value ("Bild 9" before "Bild 10"). Texts that read alike are ordered by their code units,
// so the result never depends on the rows' earlier order.
int CompareTexts(std::u16string_view a, std::u16string_view b, bool natural) {
  // Equal code units read as equal letters, so a shared beginning (file names of one camera,
  // paths of one folder) is passed over at once; with `natural` only up to the digit run it
  // ends in, which is compared by value.
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t same = 0;
  while (same < shorter && a[same] == b[same]) ++same;
  if (natural) {
    while (same > 0 && IsDigit(a[same - 1])) --same;
  }
  SortLetters ra(a.substr(same));
  SortLetters rb(b.substr(same));
  for (;;) {
    if (ra.done() || rb.done()) {
      if (ra.done() && rb.done()) break;
      return ra.done() ? -1 : 1;
    }
    if (natural && ra.atDigit() && rb.atDigit()) {
      int c = CompareDigitRuns(ra.TakeDigits(), rb.TakeDigits());
      if (c != 0) return c;
      continue;
    }
    char16_t ca = ra.Next();
    char16_t cb = rb.Next();
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  int c = a.compare(b);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

std::uint64_t DateKey(const LocalDateTime& t) {
  auto key = static_cast<std::uint64_t>(t.year);
  for (int part : {t.month, t.day, t.hour, t.minute, t.second}) {
    key = key * 100 + static_cast<std::uint64_t>(part);
  }
  return key;
}

bool ReadNumber(std::u16string_view text, std::size_t* pos, std::size_t minDigits,
                std::size_t maxDigits, int* value) {
  std::size_t start = *pos;
  int result = 0;
  while (*pos < text.size() && *pos - start < maxDigits && IsDigit(text[*pos])) {
    result = result * 10 + (text[*pos] - u'0');
    ++*pos;
  }
  *value = result;
  return *pos - start >= minDigits;
}

bool ReadChar(std::u16string_view text, std::size_t* pos, char16_t expected) {
  if (*pos >= text.size() || text[*pos] != expected) return false;
  ++*pos;
  return true;
}

// "dd.mm.yyyy", optionally followed by " hh:nn" and ":ss", nothing else.
bool ParseGermanDateTime(std::u16string_view text, LocalDateTime* out) {
  LocalDateTime t;
  t.hour = t.minute = t.second = 0;
  std::size_t pos = 0;
  if (!ReadNumber(text, &pos, 1, 2, &t.day) || !ReadChar(text, &pos, u'.') ||
      !ReadNumber(text, &pos, 1, 2, &t.month) || !ReadChar(text, &pos, u'.') ||
      !ReadNumber(text, &pos, 4, 4, &t.year)) {
    return false;
  }
  if (pos < text.size()) {
    if (!ReadChar(text, &pos, u' ') || !ReadNumber(text, &pos, 1, 2, &t.hour) ||
        !ReadChar(text, &pos, u':') || !ReadNumber(text, &pos, 2, 2, &t.minute)) {
      return false;
    }
    if (pos < text.size() &&
        (!ReadChar(text, &pos, u':') || !ReadNumber(text, &pos, 2, 2, &t.second))) {
      return false;
    }
  }
  if (pos != text.size()) return false;
  if (t.month < 1 || t.month > 12 || t.day < 1 || t.day > 31 || t.hour > 23 || t.minute > 59 ||
      t.second > 59) {
    return false;
  }
  *out = t;
  return true;
}

// One cell reduced to what its sort kind compares. Empty cells come first, then numbers and
// dates by value, then the remaining texts. A text is either kept as `text`, or replaced by
// its rank among the column's distinct texts, held in `value`.
struct SortKey {
  enum Group : std::uint8_t { kEmpty, kValue, kText } group = kEmpty;
  std::uint64_t value = 0;
  std::u16string_view text;
};

int CompareKeys(const SortKey& a, const SortKey& b, bool natural, bool ranked) {
  if (a.group != b.group) return a.group < b.group ? -1 : 1;
  if (a.group == SortKey::kEmpty) return 0;
  if (a.group == SortKey::kText && !ranked) return CompareTexts(a.text, b.text, natural);
  return a.value < b.value ? -1 : (a.value > b.value ? 1 : 0);
}

// Replaces the pool id in every text key's `value` by the text's rank. Folder paths and
// result words repeat on thousands of rows; ordering each distinct text once spares the sort
// from comparing long common prefixes again and again.
void RankTexts(const TextPool& pool, bool natural, std::vector<SortKey>& keys) {
  constexpr std::uint32_t kUnseen = ~std::uint32_t{0};
  std::vector<std::uint32_t> rank(pool.size(), kUnseen);
  std::vector<TextPool::Id> used;
  for (const SortKey& key : keys) {
    if (key.group == SortKey::kText && rank[key.value] == kUnseen) {
      rank[key.value] = 0;
      used.push_back(static_cast<TextPool::Id>(key.value));
    }
  }
  std::sort(used.begin(), used.end(), [&](TextPool::Id a, TextPool::Id b) {
    return CompareTexts(pool.View(a), pool.View(b), natural) < 0;
  });
  for (std::size_t r = 0; r < used.size(); ++r) rank[used[r]] = static_cast<std::uint32_t>(r);
  for (SortKey& key : keys) {
    if (key.group == SortKey::kText) key.value = rank[key.value];
  }
}

SortKey TextKey(std::u16string_view text, LogSortKind kind) {
  SortKey key;
  if (text.empty()) return key;
  LocalDateTime date;
  if (kind == LogSortKind::Date && ParseGermanDateTime(text, &date)) {
    key.group = SortKey::kValue;
    key.value = DateKey(date);
    return key;
  }
  key.group = SortKey::kText;
  key.text = text;
  return key;
}

// Moves rows so that position i holds the row that was at order[i].
template <typename Rows>
void Permute(Rows& rows, std::vector<std::size_t>& order) {
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (order[i] == i) continue;
    auto held = rows[i];
    std::size_t j = i;
    for (;;) {
      std::size_t from = order[j];
      order[j] = j;
      if (from == i) {
        rows[j] = held;
        break;
      }
      rows[j] = rows[from];
      j = from;
    }
  }
}

constexpr std::wstring_view kStars10 = L"**********";
constexpr std::wstring_view kStars8 = L"********";
constexpr std::wstring_view kStars7 = L"*******";
constexpr std::wstring_view kStars6 = L"******";

}  // namespace

LogRowColours ColoursFor(LogRowKind kind) {
  switch (kind) {
    case LogRowKind::Error: return {Rgb{255, 0, 0}, Rgb{255, 255, 255}};
    case LogRowKind::Skipped: return {Rgb{255, 255, 0}, Rgb{0, 0, 255}};
    case LogRowKind::Normal: break;
  }
  return {};
}

LogSortKind SortKindForColumn(int column) {
  switch (column) {
    case 0:
    case 3: return LogSortKind::Numeric;
    case 4:
    case 5: return LogSortKind::Date;
    default: return LogSortKind::Text;
  }
}

//--- Storing

void LogList::StoreName(std::wstring_view name, LogRow* row) {
  thread_local std::u16string units;
  ToUtf16Exact(name, &units);
  // No file system gives names this long; a longer text is cut rather than refused.
  std::size_t length = std::min<std::size_t>(units.size(), LogRow::kMaxNameLength);
  row->namePosition_ = names_.Append(std::u16string_view(units).substr(0, length));
  row->nameLengthAndFlags_ = static_cast<std::uint32_t>(length) << LogRow::kFlagBits;
}

std::size_t LogList::AppendFile(const LogFileFields& fields) {
  LogRow row;
  StoreName(fields.datei, &row);
  row.numberCells_[kSizeCell] = fields.size;
  row.numberCells_[kLastWriteCell] = static_cast<std::uint64_t>(fields.lastWrite);
  row.numberCells_[kCreationCell] = static_cast<std::uint64_t>(fields.creation);
  for (int cell = 0; cell < LogRow::kNumberCells; ++cell) {
    row.setFlag(1u << (LogRow::kNumberBit + cell), true);
  }
  if (!fields.sizeText.empty()) {
    row.numberCells_[kSizeCell] = pool_.Intern(fields.sizeText);
    row.setFlag(1u << (LogRow::kNumberBit + kSizeCell), false);
  }
  row.setFlag(LogRow::kFileRow, true);
  const std::wstring_view pooled[LogRow::kPooledCells] = {
      fields.pfad,      fields.zielpfad, fields.ergebnis,  fields.aktion, fields.zipp,
      fields.kollision, fields.zipName,  fields.metadaten, fields.quell2, fields.ziel2};
  for (int cell = 0; cell < LogRow::kPooledCells; ++cell) {
    if (pooled[cell] != lastTexts_[cell]) {
      lastIds_[cell] = pool_.Intern(pooled[cell]);
      lastTexts_[cell].assign(pooled[cell]);
    }
    row.pooled_[cell] = lastIds_[cell];
  }
  rows_.push_back(row);
  return rows_.size() - 1;
}

std::size_t LogList::AppendTexts(const LogRowTexts& texts) {
  LogRow row;
  StoreName(texts[kNameColumn], &row);
  for (int column = 1; column < kLogColumnCount; ++column) {
    TextPool::Id id = pool_.Intern(texts[column]);
    if (int cell = NumberCellOf(column); cell >= 0) {
      row.numberCells_[cell] = id;
    } else {
      row.pooled_[PooledCellOf(column)] = id;
    }
  }
  rows_.push_back(row);
  return rows_.size() - 1;
}

void LogList::Clear() {
  rows_.clear();
  rows_.shrink_to_fit();
  names_.Clear();
  pool_.Clear();
  for (std::wstring& text : lastTexts_) text.clear();
  lastIds_.fill(TextPool::kEmpty);
}

//--- Reading

std::u16string_view LogList::NameOf(const LogRow& row) const {
  return names_.View(row.namePosition_, row.nameLength());
}

std::u16string_view LogList::PooledText(const LogRow& row, LogColumn column) const {
  return pool_.View(row.pooled_[PooledCellOf(static_cast<int>(column))]);
}

std::wstring LogList::Text(std::size_t row, int column) const {
  const LogRow& r = rows_[row];
  if (column == kNameColumn) return FromUtf16Exact(NameOf(r));
  if (int cell = NumberCellOf(column); cell >= 0) {
    std::uint64_t value = r.numberCells_[cell];
    if (!r.holdsNumber(cell)) return FromUtf16Exact(pool_.View(static_cast<TextPool::Id>(value)));
    if (cell == kSizeCell) return FormatLogSize(value);
    return FormatLogTime(static_cast<FileTime>(value));
  }
  if (int cell = PooledCellOf(column); cell >= 0) return FromUtf16Exact(pool_.View(r.pooled_[cell]));
  return std::wstring();
}

namespace {

// The ASCII characters a tab-separated cell holds as they are.
constexpr std::array<bool, 128> kPlainAscii = [] {
  std::array<bool, 128> plain{};
  for (int c = 0; c < 128; ++c) plain[c] = c != '\\' && c != '\t' && c != '\n' && c != '\r';
  return plain;
}();

void AppendTsvUtf8(std::u16string_view units, std::string& out) {
  std::size_t i = 0;
  while (i < units.size()) {
    // Plain ASCII, the bulk of every path, is copied as a run.
    std::size_t run = i;
    while (run < units.size() && units[run] < 0x80 && kPlainAscii[units[run]]) ++run;
    if (run > i) {
      const std::size_t at = out.size();
      out.resize(at + (run - i));
      char* to = out.data() + at;
      for (std::size_t k = i; k < run; ++k) *to++ = static_cast<char>(units[k]);
      i = run;
      if (i == units.size()) break;
    }
    std::uint32_t c = units[i];
    ++i;
    switch (c) {
      case '\\': out += "\\\\"; continue;
      case '\t': out += "\\t"; continue;
      case '\n': out += "\\n"; continue;
      case '\r': out += "\\r"; continue;
      default: break;
    }
    if (IsNameByte(static_cast<wchar_t>(c))) {
      // The name's own byte, so that a script can act on the file it names.
      const unsigned char byte = NameByteOf(static_cast<wchar_t>(c));
      if (byte == '\\') {
        out += "\\\\";
      } else {
        constexpr char kHex[] = "0123456789abcdef";
        out += "\\x";
        out.push_back(kHex[byte >> 4]);
        out.push_back(kHex[byte & 0xF]);
      }
      continue;
    }
    if (c >= 0xD800 && c < 0xDC00 && i < units.size() && units[i] >= 0xDC00 && units[i] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (units[i++] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;  // a lone half of a pair
    }
    if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    }
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

}  // namespace

void LogList::AppendTsvCell(std::size_t row, int column, std::string& out, TsvCellCache* cache) const {
  const LogRow& r = rows_[row];
  if (column == kNameColumn) return AppendTsvUtf8(NameOf(r), out);
  auto pooled = [&](TextPool::Id id) {
    if (!cache) return AppendTsvUtf8(pool_.View(id), out);
    if (cache->known_.size() <= id) {
      cache->known_.resize(pool_.size(), 0);
      cache->texts_.resize(pool_.size());
    }
    if (!cache->known_[id]) {
      AppendTsvUtf8(pool_.View(id), cache->texts_[id]);
      cache->known_[id] = 1;
    }
    out += cache->texts_[id];
  };
  if (int cell = NumberCellOf(column); cell >= 0) {
    const std::uint64_t value = r.numberCells_[cell];
    if (!r.holdsNumber(cell)) return pooled(static_cast<TextPool::Id>(value));
    if (cell == kSizeCell) return AppendLogSizeUtf8(out, value);
    return AppendLogTimeUtf8(out, static_cast<FileTime>(value));
  }
  if (int cell = PooledCellOf(column); cell >= 0) pooled(r.pooled_[cell]);
}

std::uint64_t LogList::FileSize(std::size_t row) const {
  const LogRow& r = rows_[row];
  return r.holdsNumber(kSizeCell) ? r.numberCells_[kSizeCell] : 0;
}

FileTime LogList::LastWrite(std::size_t row) const {
  const LogRow& r = rows_[row];
  return r.holdsNumber(kLastWriteCell) ? static_cast<FileTime>(r.numberCells_[kLastWriteCell]) : 0;
}

FileTime LogList::Creation(std::size_t row) const {
  const LogRow& r = rows_[row];
  return r.holdsNumber(kCreationCell) ? static_cast<FileTime>(r.numberCells_[kCreationCell]) : 0;
}

LogRowKind LogList::Kind(std::size_t row) const {
  return RowKindOf(PooledText(rows_[row], LogColumn::Ergebnis));
}

void LogList::SetResult(std::size_t row, std::wstring_view ergebnis) {
  rows_[row].pooled_[PooledCellOf(static_cast<int>(LogColumn::Ergebnis))] = pool_.Intern(ergebnis);
}

void LogList::SetSizeText(std::size_t row, std::wstring_view text) {
  LogRow& r = rows_[row];
  r.numberCells_[kSizeCell] = pool_.Intern(text);
  r.setFlag(1u << (LogRow::kNumberBit + kSizeCell), false);
}

std::vector<std::size_t> LogList::CheckedRows() const {
  std::vector<std::size_t> rows;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].checked()) rows.push_back(i);
  }
  return rows;
}

LogRowAction LogList::ActionOf(std::size_t row) const {
  const LogRow& r = rows_[row];
  auto text = [&](LogColumn column) { return FromUtf16Exact(PooledText(r, column)); };
  LogRowAction action;
  action.datei = FromUtf16Exact(NameOf(r));
  action.pfad = text(LogColumn::Pfad);
  action.zielpfad = text(LogColumn::Zielpfad);
  action.aktion = text(LogColumn::Aktion);
  action.zipp = text(LogColumn::Zipp);
  action.kollision = text(LogColumn::Kollision);
  action.zipName = text(LogColumn::ZipName);
  action.metadaten = text(LogColumn::Metadaten);
  action.quell2 = text(LogColumn::Quell2);
  action.ziel2 = text(LogColumn::Ziel2);
  return action;
}

std::size_t LogList::MemoryBytes() const {
  return rows_.size() * sizeof(LogRow) + names_.MemoryBytes() + pool_.MemoryBytes();
}

//--- Check-box commands

void LogList::Apply(CheckCommand command, const LogSelection& selection) {
  const std::size_t count = rows_.size();
  // Without a usable selection the two "Selektion" commands start from the first row.
  std::size_t selected = 0;
  if (selection.selected && *selection.selected < count) selected = *selection.selected;

  switch (command) {
    case CheckCommand::AllesAnhaken:
      for (LogRow& row : rows_) row.setFlag(LogRow::kChecked, true);
      break;
    case CheckCommand::NichtsAnhaken:
      for (LogRow& row : rows_) row.setFlag(LogRow::kChecked, false);
      break;
    case CheckCommand::AuswahlUmkehren:
      for (LogRow& row : rows_) row.setFlag(LogRow::kChecked, !row.checked());
      break;
    case CheckCommand::OberhalbDerSelektion:
      for (std::size_t i = 0; i < count && i <= selected; ++i) SetChecked(i, true);
      break;
    case CheckCommand::UnterhalbDerSelektion:
      for (std::size_t i = selected; i < count; ++i) SetChecked(i, true);
      break;
    case CheckCommand::AlleMarkiertenAnhaken:
      for (std::size_t i : selection.highlighted) {
        if (i < count) SetChecked(i, true);
      }
      break;
    case CheckCommand::AngehakteEntfernen:
      RemoveRows(true);
      break;
    case CheckCommand::OhneCheckboxEntfernen:
      RemoveRows(false);
      break;
  }
}

void LogList::RemoveRows(bool checked) {
  std::erase_if(rows_, [checked](const LogRow& row) { return row.checked() == checked; });
  if (rows_.empty()) {
    Clear();
  } else {
    CompactNamesIfWasteful();
  }
}

// Removed rows leave their names behind; once those outweigh the live ones the names are
// stored anew. (Pool texts of removed rows stay until the list is emptied: they are shared
// and few.)
void LogList::CompactNamesIfWasteful() {
  constexpr std::size_t kSlackBytes = 256 * 1024;
  std::size_t liveBytes = 0;
  for (const LogRow& row : rows_) liveBytes += row.nameLength() * sizeof(char16_t);
  if (names_.MemoryBytes() <= 2 * liveBytes + kSlackBytes) return;
  CharChunks compact;
  for (LogRow& row : rows_) row.namePosition_ = compact.Append(NameOf(row));
  names_ = std::move(compact);
}

//--- Sorting

LogSortResult LogList::SortByColumn(int column) {
  if (column < 0 || column >= kLogColumnCount) {
    // Not a column of this list: nothing changes.
    return {sortedColumn_, sortedColumn_, SortKindForColumn(std::max(sortedColumn_, 0)),
            descending_ ? SortOrder::Descending : SortOrder::Ascending};
  }
  LogSortResult result;
  result.previousColumn = sortedColumn_;
  result.column = column;
  result.kind = SortKindForColumn(column);
  descending_ = !descending_;
  result.order = descending_ ? SortOrder::Descending : SortOrder::Ascending;
  sortedColumn_ = column;
  SortRows(column, result.kind, descending_);
  return result;
}

void LogList::SortRows(int column, LogSortKind kind, bool descending) {
  const std::size_t count = rows_.size();
  const int numberCell = NumberCellOf(column);
  const bool natural = kind == LogSortKind::Numeric;
  // File names are nearly all different, so they are compared as they are; every other
  // column's texts are ranked first. Texts of the number columns (shown numbers, banner
  // stars) are gathered in a pool of their own for that.
  const bool ranked = column != kNameColumn;
  TextPool shown;
  const TextPool& rankPool = numberCell >= 0 ? shown : pool_;

  std::vector<SortKey> keys(count);
  for (std::size_t i = 0; i < count; ++i) {
    const LogRow& row = rows_[i];
    if (!ranked) {
      keys[i] = TextKey(NameOf(row), kind);
      continue;
    }
    TextPool::Id id = TextPool::kEmpty;
    if (numberCell < 0) {
      id = row.pooled_[PooledCellOf(column)];
    } else if (!row.holdsNumber(numberCell)) {
      id = shown.Intern(pool_.View(static_cast<TextPool::Id>(row.numberCells_[numberCell])));
    } else if (kind == LogSortKind::Text) {
      id = shown.Intern(Text(i, column));
    } else {
      std::uint64_t value = row.numberCells_[numberCell];
      if (numberCell == kSizeCell) {
        keys[i].group = SortKey::kValue;
        keys[i].value = value;
      } else if (value != 0) {  // a time of 0 is unknown and shows as an empty cell
        keys[i].group = SortKey::kValue;
        // Dates compare as local times, so that dates given as text fit in between.
        keys[i].value = kind == LogSortKind::Date
                            ? DateKey(FileTimeToLocal(static_cast<FileTime>(value)))
                            : value;
      }
      continue;
    }
    SortKey key = TextKey(rankPool.View(id), kind);
    if (key.group == SortKey::kText) key = {SortKey::kText, id, {}};
    keys[i] = key;
  }
  if (ranked) RankTexts(rankPool, natural, keys);

  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    int c = CompareKeys(keys[a], keys[b], natural, ranked);
    return descending ? c > 0 : c < 0;
  });
  Permute(rows_, order);
}

//--- Banner rows

void AppendStartBanner(LogList& list, std::wstring_view profileName) {
  std::wstring first = L"Start " + std::wstring(profileName);
  LogRowTexts texts{};
  texts[0] = first;
  for (int column = 1; column <= 6; ++column) texts[column] = kStars10;
  texts[7] = kStars8;
  texts[kLogColumnCount - 1] = kStars6;
  list.AppendTexts(texts);
}

void AppendEndBanner(LogList& list, std::wstring_view profileName) {
  std::wstring first = L"Ende " + std::wstring(profileName);
  LogRowTexts texts{};
  texts[0] = first;
  for (int column = 1; column <= 6; ++column) texts[column] = kStars10;
  texts[7] = kStars7;
  texts[8] = kStars7;
  list.AppendTexts(texts);
}

void AppendNothingFoundRow(LogList& list) {
  LogRowTexts texts{};
  texts[0] = kStars10;
  texts[1] = L"Keine Datei(en) gefunden";
  list.AppendTexts(texts);
}

void AppendMessageRow(LogList& list, std::wstring_view text) {
  LogRowTexts texts{};
  texts[0] = kStars10;
  texts[1] = text;
  list.AppendTexts(texts);
}

}  // namespace ablagix
