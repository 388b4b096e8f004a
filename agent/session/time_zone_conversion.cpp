#include "agent/session/time_zone_conversion.h"

#include <array>
#include <cstdint>

#include "platform/api.h"

namespace agent {

namespace {

// The instant of a transition date in day-in-month form (wYear 0; wDay is the
// occurrence 1..5 of wDayOfWeek in wMonth, 5 meaning the last) in `year`.
// The weekday of the month's first day comes from the platform's own date
// conversion; the days of the wanted weekday are listed by walking days 1 to
// 31, so a fifth occurrence may lie past the end of a shorter month and is
// then replaced by the fourth.
bool DayInMonthInstant(const SYSTEMTIME& rule, WORD year, FILETIME& instant) {
  constexpr int kMaxOccurrences = 5;
  int occurrence = rule.wDay;
  if (occurrence < 1 || occurrence > kMaxOccurrences) return false;

  SYSTEMTIME first = rule;
  first.wYear = year;
  first.wDay = 1;
  FILETIME firstTime{};
  if (SystemTimeToFileTime(&first, &firstTime) == FALSE ||
      FileTimeToSystemTime(&firstTime, &first) == FALSE) {
    return false;
  }

  std::array<WORD, kMaxOccurrences> days{};
  std::size_t found = 0;
  int weekday = first.wDayOfWeek;
  for (WORD day = 1; day <= 31 && found < days.size(); ++day) {
    if (weekday == rule.wDayOfWeek) days[found++] = day;
    weekday = weekday == 6 ? 0 : weekday + 1;
  }

  int position = occurrence - 1;
  if (days[position] == 0) --position;
  if (position < 0) return false;
  SYSTEMTIME date = rule;
  date.wYear = year;
  date.wDay = days[position];
  if (SystemTimeToFileTime(&date, &instant) != FALSE) return true;
  --position;
  if (position < 0) return false;
  date.wDay = days[position];
  return SystemTimeToFileTime(&date, &instant) != FALSE;
}

// Sums and negations of biases wrap as the handheld's 32-bit arithmetic does.
LONG AddMinutes(LONG a, LONG b) {
  return static_cast<LONG>(static_cast<DWORD>(a) + static_cast<DWORD>(b));
}

LONG Negate(LONG minutes) {
  return static_cast<LONG>(0U - static_cast<DWORD>(minutes));
}

// The one conversion: to UTC when `toUtc`, else to local time.
int ConvertFileTime(const TIME_ZONE_INFORMATION& zone, FILETIME& time,
                    bool toUtc) {
  // A time the platform cannot express has no year; a zone with daylight
  // time then has no transitions to form.
  SYSTEMTIME given{};
  FileTimeToSystemTime(&time, &given);
  LONG bias = zone.Bias;
  if (zone.DaylightDate.wMonth == 0) {
    ShiftFileTime(time, toUtc ? bias : Negate(bias));
    return 1;
  }

  FILETIME daylightStart{};
  FILETIME standardStart{};
  if (zone.DaylightDate.wYear != 0) {
    if (SystemTimeToFileTime(&zone.DaylightDate, &daylightStart) == FALSE ||
        SystemTimeToFileTime(&zone.StandardDate, &standardStart) == FALSE) {
      return 0;
    }
  } else if (!DayInMonthInstant(zone.DaylightDate, given.wYear,
                                daylightStart) ||
             !DayInMonthInstant(zone.StandardDate, given.wYear,
                                standardStart)) {
    return 0;
  }

  bool daylight = false;
  if (CompareFileTime(&standardStart, &daylightStart) <= 0) {
    daylight = CompareFileTime(&time, &standardStart) < 0 ||
               CompareFileTime(&time, &daylightStart) >= 0;
  } else {
    daylight = CompareFileTime(&time, &daylightStart) >= 0 &&
               CompareFileTime(&time, &standardStart) < 0;
  }
  bias = AddMinutes(bias, daylight ? zone.DaylightBias : zone.StandardBias);
  ShiftFileTime(time, toUtc ? bias : Negate(bias));
  return 1;
}

}  // namespace

int ShiftFileTime(FILETIME& time, LONG minutes) {
  std::uint64_t value =
      (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
  value += static_cast<std::uint64_t>(std::int64_t{minutes} *
                                      kFileTimeUnitsPerMinute);
  time.dwLowDateTime = static_cast<DWORD>(value);
  time.dwHighDateTime = static_cast<DWORD>(value >> 32);
  return 1;
}

int UtcToLocalFileTime(const TIME_ZONE_INFORMATION& zone, FILETIME& time) {
  return ConvertFileTime(zone, time, false);
}

int LocalToUtcFileTime(const TIME_ZONE_INFORMATION& zone, FILETIME& time) {
  return ConvertFileTime(zone, time, true);
}

}  // namespace agent
