#include "base/calendar.h"

namespace ablagix {
namespace {

// Days since 1970-01-01 of a proleptic Gregorian date (Howard Hinnant's algorithm).
std::int64_t DaysFromCivil(std::int64_t y, int m, int d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yoe = y - era * 400;
  const std::int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(std::int64_t z, LocalDateTime* t) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  const std::int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const std::int64_t m = mp < 10 ? mp + 3 : mp - 9;
  t->year = static_cast<int>(yoe + era * 400 + (m <= 2));
  t->month = static_cast<int>(m);
  t->day = static_cast<int>(d);
}

LocalDateTime AddSeconds(const LocalDateTime& t, std::int64_t seconds) {
  std::int64_t total = DaysFromCivil(t.year, t.month, t.day) * 86400 + t.hour * 3600 +
                       t.minute * 60 + t.second + seconds;
  std::int64_t days = total >= 0 ? total / 86400 : -((-total + 86399) / 86400);
  std::int64_t rest = total - days * 86400;
  LocalDateTime out;
  CivilFromDays(days, &out);
  out.hour = static_cast<int>(rest / 3600);
  out.minute = static_cast<int>(rest / 60 % 60);
  out.second = static_cast<int>(rest % 60);
  return out;
}

LocalDateTime AddMonths(const LocalDateTime& t, std::int64_t months) {
  std::int64_t index = static_cast<std::int64_t>(t.year) * 12 + (t.month - 1) + months;
  LocalDateTime out = t;
  out.year = static_cast<int>(index >= 0 ? index / 12 : -((-index + 11) / 12));
  out.month = static_cast<int>(index - static_cast<std::int64_t>(out.year) * 12) + 1;
  const int last = DaysInMonth(out.year, out.month);
  if (out.day > last) out.day = last;
  return out;
}

}  // namespace

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month == 2 && ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0)) return 29;
  return kDays[(month - 1 + 12) % 12];
}

LocalDateTime AddToDate(const LocalDateTime& t, CalendarUnit unit, std::int64_t amount) {
  switch (unit) {
    case CalendarUnit::Minute: return AddSeconds(t, amount * 60);
    case CalendarUnit::Hour: return AddSeconds(t, amount * 3600);
    case CalendarUnit::Day: return AddSeconds(t, amount * 86400);
    case CalendarUnit::Week: return AddSeconds(t, amount * 7 * 86400);
    case CalendarUnit::Month: return AddMonths(t, amount);
    case CalendarUnit::Year: return AddMonths(t, amount * 12);
  }
  return t;
}

}  // namespace ablagix
