// Calendar dates and times without a time zone: the local wall-clock values the user sees.
// Arithmetic is pure calendar arithmetic, like adding to a date on paper: one month before
// 31 March is the last day of February, and a day is always 24 hours.
#pragma once

#include <compare>
#include <cstdint>

namespace ablagix {

struct LocalDateTime {
  int year = 1601, month = 1, day = 1, hour = 0, minute = 0, second = 0;
  friend bool operator==(const LocalDateTime&, const LocalDateTime&) = default;
  friend auto operator<=>(const LocalDateTime&, const LocalDateTime&) = default;
};

enum class CalendarUnit { Minute, Hour, Day, Week, Month, Year };

int DaysInMonth(int year, int month);
// Adds `amount` units (negative goes back). Months and years keep the day of month where the
// target month has it, else take its last day.
LocalDateTime AddToDate(const LocalDateTime& t, CalendarUnit unit, std::int64_t amount);

}  // namespace ablagix
