#include "engine/metadata_condition.h"

#include <array>
#include <optional>

#include "base/text.h"
#include "engine/wildcard.h"
#include "fileops/path_text.h"
#include "metadata/radius.h"

namespace ablagix {
namespace {

constexpr std::array<std::wstring_view, 4> kDateFields = {L"%Datum%", L"%Datum Original%",
                                                           L"%Datum Digitalisierung%", L"%L\u00e4nge%"};
constexpr std::array<std::wstring_view, 15> kNumberFields = {
    L"%Umkreissuche%", L"%Breitengrad%",   L"%L\u00e4ngengrad%", L"%Jahr%",          L"%Track%",
    L"%Seitenzahl%",   L"%Wortanzahl%",    L"%Zeichenanzahl%",   L"%H\u00f6he%",     L"%Breite%",
    L"%Iso%",          L"%Revision Nummer%", L"%X-Aufl\u00f6sung%", L"%Y-Aufl\u00f6sung%", L"%Blende%"};

template <std::size_t N>
bool OneOf(const std::array<std::wstring_view, N>& names, std::wstring_view name) {
  for (std::wstring_view known : names) {
    if (known == name) return true;
  }
  return false;
}

// -1, 0 or 1 as `a` is below, equal to or above `b`, held against the operator.
bool Holds(wchar_t op, int order) {
  return op == L'<' ? order < 0 : op == L'>' ? order > 0 : order == 0;
}

// A two-digit year as Windows reads it by default: 00..29 are this century, 30..99 the last.
int FullYear(std::uint64_t year, std::size_t digits) {
  if (digits > 2) return static_cast<int>(year);
  return static_cast<int>(year < 30 ? 2000 + year : 1900 + year);
}

constexpr std::array<std::wstring_view, 12> kMonthNames = {
    L"januar", L"februar", L"m\u00e4rz",     L"april",   L"mai",      L"juni",
    L"juli",   L"august",  L"september", L"oktober", L"november", L"dezember"};

// 1..12 for a German month name or its first three letters ("Jul", "M\u00e4r", "Okt."); 0 else.
int MonthByName(std::wstring_view word) {
  if (!word.empty() && word.back() == L'.') word.remove_suffix(1);
  if (word.size() < 3) return 0;
  for (std::size_t i = 0; i < kMonthNames.size(); ++i) {
    if (EqualsNoCase(word, kMonthNames[i]) || (word.size() == 3 && StartsWithNoCase(kMonthNames[i], word))) {
      return static_cast<int>(i) + 1;
    }
  }
  // "Maerz" for those who type without umlauts.
  return EqualsNoCase(word, L"maerz") ? 3 : 0;
}

struct DayParts {
  int year = 0, month = 0, day = 0;
};

// The pieces of a date between ".", "/", "-" and blanks.
std::vector<std::wstring> DateParts(std::wstring_view text) {
  std::vector<std::wstring> parts;
  std::wstring piece;
  for (wchar_t c : text) {
    if (c == L'.' || c == L'/' || c == L'-' || c == L' ') {
      if (!piece.empty()) parts.push_back(piece);
      piece.clear();
    } else {
      piece.push_back(c);
    }
  }
  if (!piece.empty()) parts.push_back(piece);
  return parts;
}

// A day, month or year of at most four digits.
bool SmallNumber(const std::wstring& text, int* out) {
  std::uint64_t n = 0;
  if (text.size() > 4 || !ParseWholeNumber(text, &n)) return false;
  *out = static_cast<int>(n);
  return true;
}

bool Valid(const DayParts& d) {
  return d.year >= 100 && d.year <= 9999 && d.month >= 1 && d.month <= 12 && d.day >= 1 &&
         d.day <= DaysInMonth(d.year, d.month);
}

// The date as the German locale reads it: "14.07.2019", "14.7.19", "14/07/2019", "14-7-19"
// (day first), "2019-07-14" or "2019.07.14" (a four-digit first part is the year), and
// "14. Juli 2019" or "14 Jul 19". Two-digit years as FullYear says.
std::optional<DayParts> ReadDay(std::wstring_view text) {
  const std::vector<std::wstring> parts = DateParts(text);
  if (parts.size() != 3) return std::nullopt;
  DayParts d;
  const bool named = !SmallNumber(parts[1], &d.month);
  if (named && (d.month = MonthByName(parts[1])) == 0) return std::nullopt;
  if (parts[0].size() == 4 && !named) {
    if (parts[2].size() > 2 || !SmallNumber(parts[0], &d.year) || !SmallNumber(parts[2], &d.day)) return std::nullopt;
  } else {
    int year = 0;
    if (parts[0].size() > 2 || (parts[2].size() != 2 && parts[2].size() != 4) || !SmallNumber(parts[0], &d.day) ||
        !SmallNumber(parts[2], &year)) {
      return std::nullopt;
    }
    d.year = FullYear(static_cast<std::uint64_t>(year), parts[2].size());
  }
  if (!Valid(d)) return std::nullopt;
  return d;
}

// "07.2019": a month of a four-digit year, as its first day.
std::optional<DayParts> ReadMonthOfYear(std::wstring_view text) {
  const std::vector<std::wstring> parts = DateParts(text);
  DayParts d{0, 0, 1};
  if (parts.size() != 2 || parts[1].size() != 4 || !SmallNumber(parts[0], &d.month) ||
      !SmallNumber(parts[1], &d.year) || !Valid(d)) {
    return std::nullopt;
  }
  return d;
}

std::int64_t DayCount(const DayParts& d) {
  // Days by a count that only has to keep the order, and from which the year comes back by
  // dividing: a year is 372 of them, and 31 December is its 371st.
  return static_cast<std::int64_t>(d.year) * 372 + static_cast<std::int64_t>(d.month - 1) * 31 + (d.day - 1);
}

// Seconds of "hh:nn" or "hh:nn:ss"; nullopt for anything else.
std::optional<std::int64_t> ReadTime(std::wstring_view text) {
  const std::vector<std::wstring> parts = Split(text, L':');
  if (parts.size() < 2 || parts.size() > 3) return std::nullopt;
  std::array<int, 3> n{};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    // Hours may run long (the length of an audio book); minutes and seconds have two digits.
    if (parts[i].empty() || (i > 0 && parts[i].size() > 2) || !SmallNumber(parts[i], &n[i])) return std::nullopt;
  }
  if (n[1] > 59 || n[2] > 59) return std::nullopt;
  return static_cast<std::int64_t>(n[0]) * 3600 + n[1] * 60 + n[2];
}

// Seconds since year 0 of a date with an optional time after a blank (or the "T" of
// "2019-07-14T18:03"), or of a time "hh:nn[:ss]" alone; nullopt for anything else.
std::optional<std::int64_t> ReadMoment(std::wstring_view text) {
  text = Trim(text);
  std::wstring_view date = text;
  std::wstring_view time;
  // The time is the last piece that holds a ":"; whatever stands before it is the date.
  if (const std::size_t colon = text.find(L':'); colon != std::wstring_view::npos) {
    const std::size_t split = text.find_last_of(L" T", colon);
    date = split == std::wstring_view::npos ? std::wstring_view() : Trim(text.substr(0, split));
    time = text.substr(split == std::wstring_view::npos ? 0 : split + 1);
  }
  std::int64_t days = 0;
  if (!date.empty()) {
    const std::optional<DayParts> d = ReadDay(date);
    if (!d) return std::nullopt;
    days = DayCount(*d);
  }
  std::int64_t seconds = 0;
  if (!time.empty()) {
    const std::optional<std::int64_t> t = ReadTime(time);
    if (!t) return std::nullopt;
    seconds = *t;
  }
  return days * 86400 + seconds;
}

bool CompareDates(std::wstring_view value, std::wstring_view variable, wchar_t op, std::wstring_view operand) {
  std::wstring v(value);
  for (auto& c : v) {
    if (c == L'_') c = L':';
  }
  const bool length = variable == L"%L\u00e4nge%";
  if (!length && operand.size() == 4) {
    // A year against the value's year.
    std::uint64_t wanted = 0;
    const auto moment = ReadMoment(v);
    if (!moment || !ParseWholeNumber(operand, &wanted)) return false;
    const std::int64_t year = (*moment / 86400) / 372;
    const auto target = static_cast<std::int64_t>(wanted);
    return Holds(op, year < target ? -1 : year > target ? 1 : 0);
  }
  std::optional<std::int64_t> b;
  if (!length && operand.size() == 7 && operand.find(L'.') != std::wstring_view::npos) {
    // "07.2019": the first day of the value's month against that month's first day.
    if (const std::optional<DayParts> month = ReadMonthOfYear(operand)) {
      const std::size_t firstDot = v.find(L'.');
      if (firstDot == std::wstring::npos) return false;
      v = L"01" + v.substr(firstDot);
      if (const std::size_t blank = v.find(L' '); blank != std::wstring::npos) v.resize(blank);
      b = DayCount(*month) * 86400;
    }
  }
  if (!b) b = ReadMoment(operand);
  const auto a = ReadMoment(v);
  if (!a || !b) return false;
  return Holds(op, *a < *b ? -1 : *a > *b ? 1 : 0);
}

bool CompareNumbers(std::wstring_view value, wchar_t op, std::wstring_view operand) {
  std::wstring wanted(operand);
  for (auto& c : wanted) {
    if (c == L'.') c = L',';
  }
  const auto a = ParseDecimalComma(value);
  const auto b = ParseDecimalComma(wanted);
  if (!a || !b) return false;
  // Both sides as singles, as the program has always compared them.
  const auto x = static_cast<float>(*a);
  const auto y = static_cast<float>(*b);
  return Holds(op, x < y ? -1 : x > y ? 1 : 0);
}

// "%Model%" of "%Model%;=Canon*"; "" when the text names no variable.
std::wstring_view ConditionVariable(std::wstring_view metadaten) {
  const std::wstring_view variable = Trim(metadaten.substr(0, metadaten.find(L';')));
  if (variable.size() < 3 || variable.front() != L'%' || variable.back() != L'%') return {};
  return variable;
}

class MetadataConditionTest : public FileContentTest {
 public:
  MetadataConditionTest(std::wstring variable, std::wstring condition, bool caseSensitive, MetadataSource* metadata,
                        LocalDateTime today)
      : variable_(std::move(variable)),
        name_(variable_.substr(1, variable_.size() - 2)),
        condition_(std::move(condition)),
        caseSensitive_(caseSensitive),
        context_{today, metadata} {}

  bool Accepts(const std::wstring& path, const DirEntry& entry) override {
    // Conditions see the values in their plain form: dates as "dd.mm.yyyy".
    const FileFacts facts{path, entry.size, entry.lastWrite, entry.creation};
    const std::wstring value = ResolvePathVariable(name_, facts, context_, false);
    return CompareMetadataCondition(value, variable_, condition_, caseSensitive_);
  }

 private:
  std::wstring variable_;
  std::wstring name_;
  std::wstring condition_;
  bool caseSensitive_;
  PathVariableContext context_;
};

}  // namespace

bool CompareMetadataCondition(std::wstring_view value, std::wstring_view variable, std::wstring_view condition,
                              bool caseSensitive) {
  condition = Trim(condition);
  wchar_t op = L'=';
  std::wstring_view operand = condition;
  if (!condition.empty() && (condition.front() == L'=' || condition.front() == L'<' || condition.front() == L'>')) {
    op = condition.front();
    operand = Trim(condition.substr(1));
  }
  // Names are compared exactly: "%Datum*yyyy%" gives a text in its own pattern ("2019"), which
  // is matched as a text, not read as a date.
  variable = Trim(variable);
  if (OneOf(kDateFields, variable)) return CompareDates(value, variable, op, operand);
  if (OneOf(kNumberFields, variable)) return CompareNumbers(value, op, operand);
  return Wildcard(operand, !caseSensitive).Matches(value);
}

std::wstring MetadataConditionValue(std::wstring_view metadaten, const FileFacts& file,
                                    const PathVariableContext& context) {
  const std::wstring_view variable = ConditionVariable(metadaten);
  if (variable.empty() || !context.metadata) return L"";
  return ResolvePathVariable(variable.substr(1, variable.size() - 2), file, context, false);
}

std::unique_ptr<FileContentTest> MakeMetadataConditionTest(std::wstring_view metadaten, bool caseSensitive,
                                                           MetadataSource* metadata, LocalDateTime today) {
  const std::size_t semicolon = metadaten.find(L';');
  const std::wstring_view variable = ConditionVariable(metadaten);
  if (variable.empty() || !metadata) return nullptr;
  const std::wstring_view condition = semicolon == std::wstring_view::npos ? L"" : metadaten.substr(semicolon + 1);
  return std::make_unique<MetadataConditionTest>(std::wstring(variable), std::wstring(condition), caseSensitive,
                                                 metadata, today);
}

}  // namespace ablagix
