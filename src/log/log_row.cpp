#include "log/log_row.h"

#include <array>

#include "base/text.h"

namespace ablagix {

// A million rows are the design load; keep the fixed part of a row this small.
static_assert(sizeof(LogRow) <= 72);

namespace {

constexpr std::u16string_view kErrorPrefix = u"Fehler!";
constexpr std::u16string_view kSkipped = u"\u00dcbersprungen";

void AppendTwoDigits(std::wstring& out, int value) {
  out.push_back(static_cast<wchar_t>(L'0' + (value / 10) % 10));
  out.push_back(static_cast<wchar_t>(L'0' + value % 10));
}

// Whole number with "." between groups of three digits, as German texts write it.
std::wstring GroupedNumber(std::uint64_t value) {
  std::wstring digits = NumberText(value);
  std::wstring out;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out.push_back(L'.');
    out.push_back(digits[i]);
  }
  return out;
}

}  // namespace

LogRowKind RowKindOf(std::u16string_view ergebnis) {
  if (ergebnis.starts_with(kErrorPrefix)) return LogRowKind::Error;
  if (ergebnis == kSkipped) return LogRowKind::Skipped;
  return LogRowKind::Normal;
}

LogRowKind RowKindOf(std::wstring_view ergebnis) {
  if (ergebnis.starts_with(ResultWord::kFehler)) return LogRowKind::Error;
  if (ergebnis == ResultWord::kUebersprungen) return LogRowKind::Skipped;
  return LogRowKind::Normal;
}

std::wstring FormatLogSize(std::uint64_t bytes) {
  if (bytes < 1024) return NumberText(bytes) + (bytes == 1 ? L" Byte" : L" Bytes");

  // Integer arithmetic keeps the rounding exact: TB is the largest unit, so the remainder
  // times 100 stays far below 2^64.
  constexpr std::array<const wchar_t*, 4> kUnits = {L" KB", L" MB", L" GB", L" TB"};
  std::size_t unit = 0;
  std::uint64_t divisor = 1024;
  std::uint64_t whole = 0;
  std::uint64_t hundredths = 0;
  for (;;) {
    whole = bytes / divisor;
    hundredths = ((bytes % divisor) * 100 + divisor / 2) / divisor;
    if (hundredths == 100) {
      ++whole;
      hundredths = 0;
    }
    // 1023,996 KB rounds to 1024,00 KB: show it as 1,00 MB instead.
    if (whole < 1024 || unit + 1 == kUnits.size()) break;
    ++unit;
    divisor *= 1024;
  }
  std::wstring out = GroupedNumber(whole);
  out.push_back(L',');
  AppendTwoDigits(out, static_cast<int>(hundredths));
  out += kUnits[unit];
  return out;
}

std::wstring FormatGermanDateTime(const LocalDateTime& time) {
  std::wstring out;
  out.reserve(19);
  AppendTwoDigits(out, time.day);
  out.push_back(L'.');
  AppendTwoDigits(out, time.month);
  out.push_back(L'.');
  AppendTwoDigits(out, time.year / 100);
  AppendTwoDigits(out, time.year);
  out.push_back(L' ');
  AppendTwoDigits(out, time.hour);
  out.push_back(L':');
  AppendTwoDigits(out, time.minute);
  out.push_back(L':');
  AppendTwoDigits(out, time.second);
  return out;
}

std::wstring FormatLogTime(FileTime time) {
  if (time == 0) return std::wstring();
  return FormatGermanDateTime(FileTimeToLocal(time));
}

}  // namespace ablagix
