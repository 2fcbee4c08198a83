#include "log/log_row.h"

#include <array>

#include "base/text.h"

namespace ablagix {

// A million rows are the design load; keep the fixed part of a row this small.
static_assert(sizeof(LogRow) <= 72);

namespace {

constexpr std::u16string_view kErrorPrefix = u"Fehler!";
constexpr std::u16string_view kSkipped = u"\u00dcbersprungen";

template <typename String>
void AppendTwoDigits(String& out, int value) {
  using Char = typename String::value_type;
  out.push_back(static_cast<Char>('0' + (value / 10) % 10));
  out.push_back(static_cast<Char>('0' + value % 10));
}

// Whole number with "." between groups of three digits, as German texts write it.
template <typename String>
void AppendGroupedNumber(String& out, std::uint64_t value) {
  using Char = typename String::value_type;
  char digits[24];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (int i = n - 1; i >= 0; --i) {
    out.push_back(static_cast<Char>(digits[i]));
    if (i > 0 && i % 3 == 0) out.push_back(static_cast<Char>('.'));
  }
}

template <typename String>
void AppendSize(String& out, std::uint64_t bytes) {
  using Char = typename String::value_type;
  auto append = [&](const char* ascii) {
    for (; *ascii; ++ascii) out.push_back(static_cast<Char>(*ascii));
  };
  if (bytes < 1024) {
    // Below 1024 the number is written without a group dot ("1023 Bytes").
    char digits[8];
    int n = 0;
    std::uint64_t rest = bytes;
    do {
      digits[n++] = static_cast<char>('0' + rest % 10);
      rest /= 10;
    } while (rest != 0);
    while (n > 0) out.push_back(static_cast<Char>(digits[--n]));
    append(bytes == 1 ? " Byte" : " Bytes");
    return;
  }
  // Integer arithmetic keeps the rounding exact: TB is the largest unit, so the remainder
  // times 100 stays far below 2^64.
  constexpr std::array<const char*, 4> kUnits = {" KB", " MB", " GB", " TB"};
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
  AppendGroupedNumber(out, whole);
  out.push_back(static_cast<Char>(','));
  AppendTwoDigits(out, static_cast<int>(hundredths));
  append(kUnits[unit]);
}

template <typename String>
void AppendDateTime(String& out, const LocalDateTime& time) {
  using Char = typename String::value_type;
  // "dd.mm.yyyy hh:nn:ss" filled in place and appended at once: two of these are written for
  // every row of a log.
  Char text[19];
  auto two = [&](int at, int value) {
    text[at] = static_cast<Char>('0' + (value / 10) % 10);
    text[at + 1] = static_cast<Char>('0' + value % 10);
  };
  two(0, time.day);
  text[2] = static_cast<Char>('.');
  two(3, time.month);
  text[5] = static_cast<Char>('.');
  two(6, time.year / 100);
  two(8, time.year);
  text[10] = static_cast<Char>(' ');
  two(11, time.hour);
  text[13] = static_cast<Char>(':');
  two(14, time.minute);
  text[16] = static_cast<Char>(':');
  two(17, time.second);
  out.append(text, 19);
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
  std::wstring out;
  AppendSize(out, bytes);
  return out;
}

std::wstring FormatGermanDateTime(const LocalDateTime& time) {
  std::wstring out;
  out.reserve(19);
  AppendDateTime(out, time);
  return out;
}

std::wstring FormatLogTime(FileTime time) {
  if (time == 0) return std::wstring();
  return FormatGermanDateTime(FileTimeToLocal(time));
}

void AppendLogSizeUtf8(std::string& out, std::uint64_t bytes) { AppendSize(out, bytes); }

void AppendLogTimeUtf8(std::string& out, FileTime time) {
  if (time != 0) AppendDateTime(out, FileTimeToLocal(time));
}

std::wstring ErrorWord(std::wstring_view reason) {
  std::wstring word(ResultWord::kFehler);
  if (!reason.empty()) {
    word += L' ';
    word += reason;
  }
  return word;
}

}  // namespace ablagix
