#include "device/pim/recurrence_rule.h"

#include <algorithm>

namespace device {
namespace {

// OLE day number of 1970-01-01.
constexpr std::int32_t kUnixEpochDay = 25569;

bool IsLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Visits the candidate of every `interval`-th month from the start's month
// (`yearly`: every `interval`-th year, in month `monthOfYear`).
void ForEachMonthly(const RecurrenceRule& rule, LONG interval, bool yearly,
                    const std::function<bool(std::int32_t)>& visit) {
  CivilDay start = CivilFromDay(rule.startDay);
  bool nth = rule.type == olRecursMonthNth || rule.type == olRecursYearNth;
  if (yearly && (rule.monthOfYear < 1 || rule.monthOfYear > 12)) return;
  std::int64_t step = yearly ? std::int64_t{interval} * 12 : interval;
  std::int64_t month = std::int64_t{start.year} * 12 + (start.month - 1);
  if (yearly) month = std::int64_t{start.year} * 12 + (rule.monthOfYear - 1);
  for (; month / 12 <= 9999; month += step) {
    int year = static_cast<int>(month / 12);
    int monthOfYear = static_cast<int>(month % 12) + 1;
    std::optional<std::int32_t> day;
    if (nth) {
      day = NthDayOfMonth(year, monthOfYear, rule.dayOfWeekMask, rule.instance);
    } else if (rule.dayOfMonth >= 1) {
      int dom = static_cast<int>(
          std::min<LONG>(rule.dayOfMonth, DaysInMonth(year, monthOfYear)));
      day = DayFromCivil(year, monthOfYear, dom);
    }
    if (!day || *day < rule.startDay) continue;
    if (*day > kLastRecurrenceDay || !visit(*day)) return;
  }
}

// Every candidate day of the rule from its start, ignoring its end.
void ForEachCandidate(const RecurrenceRule& rule,
                      const std::function<bool(std::int32_t)>& visit) {
  LONG interval = std::max<LONG>(rule.interval, 1);
  switch (rule.type) {
    case olRecursDaily:
      for (std::int64_t day = rule.startDay; day <= kLastRecurrenceDay;
           day += interval) {
        if (!visit(static_cast<std::int32_t>(day))) return;
      }
      return;
    case olRecursWeekly: {
      if ((rule.dayOfWeekMask & 0x7F) == 0) return;
      std::int64_t week = rule.startDay - WeekdayOf(rule.startDay);
      for (; week <= kLastRecurrenceDay; week += std::int64_t{7} * interval) {
        for (int weekday = 0; weekday < 7; ++weekday) {
          if ((rule.dayOfWeekMask & (1 << weekday)) == 0) continue;
          std::int64_t day = week + weekday;
          if (day < rule.startDay) continue;
          if (day > kLastRecurrenceDay ||
              !visit(static_cast<std::int32_t>(day))) {
            return;
          }
        }
      }
      return;
    }
    case olRecursMonthly:
    case olRecursMonthNth:
      ForEachMonthly(rule, interval, false, visit);
      return;
    case olRecursYearly:
    case olRecursYearNth:
      ForEachMonthly(rule, interval, true, visit);
      return;
    default:
      return;
  }
}

}  // namespace

std::int32_t DayFromCivil(int year, int month, int day) {
  // Days since 1970-01-01 by eras of 400 years starting in March.
  int y = month <= 2 ? year - 1 : year;
  int era = (y >= 0 ? y : y - 399) / 400;
  int yearOfEra = y - era * 400;
  int monthFromMarch = month > 2 ? month - 3 : month + 9;
  int dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
  int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468 + kUnixEpochDay;
}

CivilDay CivilFromDay(std::int32_t oleDay) {
  std::int32_t z = oleDay - kUnixEpochDay + 719468;
  int era = (z >= 0 ? z : z - 146096) / 146097;
  int dayOfEra = z - era * 146097;
  int yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  int dayOfYear =
      dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  int monthFromMarch = (5 * dayOfYear + 2) / 153;
  int day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
  int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  int year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  return {year, month, day};
}

int WeekdayOf(std::int32_t day) {
  // 1899-12-30 was a Saturday.
  int weekday = (day + 6) % 7;
  return weekday < 0 ? weekday + 7 : weekday;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30,
                                    31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

std::optional<std::int32_t> NthDayOfMonth(int year, int month, LONG mask,
                                          LONG instance) {
  if ((mask & 0x7F) == 0 || instance < 1 || instance > 5) return std::nullopt;
  std::int32_t first = DayFromCivil(year, month, 1);
  int length = DaysInMonth(year, month);
  if (instance == 5) {
    for (int i = length - 1; i >= 0; --i) {
      if ((mask & (1 << WeekdayOf(first + i))) != 0) return first + i;
    }
    return std::nullopt;
  }
  LONG seen = 0;
  for (int i = 0; i < length; ++i) {
    if ((mask & (1 << WeekdayOf(first + i))) != 0 && ++seen == instance) {
      return first + i;
    }
  }
  return std::nullopt;
}

void ForEachOccurrence(const RecurrenceRule& rule,
                       const std::function<bool(std::int32_t day)>& visit) {
  if (rule.end == RecurrenceEnd::kAfterCount && rule.occurrences < 1) return;
  LONG count = 0;
  ForEachCandidate(rule, [&](std::int32_t day) {
    if (rule.end == RecurrenceEnd::kByDate && day > rule.endDay) return false;
    if (!visit(day)) return false;
    ++count;
    return rule.end != RecurrenceEnd::kAfterCount || count < rule.occurrences;
  });
}

bool OccursOn(const RecurrenceRule& rule, std::int32_t day) {
  bool found = false;
  ForEachOccurrence(rule, [&](std::int32_t occurrence) {
    found = occurrence == day;
    return occurrence < day;
  });
  return found;
}

std::vector<std::int32_t> OccurrencesBetween(const RecurrenceRule& rule,
                                             std::int32_t from,
                                             std::int32_t to) {
  std::vector<std::int32_t> days;
  ForEachOccurrence(rule, [&](std::int32_t day) {
    if (day > to) return false;
    if (day >= from) days.push_back(day);
    return true;
  });
  return days;
}

LONG CountOccurrences(const RecurrenceRule& rule) {
  LONG count = 0;
  ForEachOccurrence(rule, [&](std::int32_t /*day*/) {
    ++count;
    return true;
  });
  return count;
}

std::optional<std::int32_t> LastOccurrence(const RecurrenceRule& rule) {
  std::optional<std::int32_t> last;
  ForEachOccurrence(rule, [&](std::int32_t day) {
    last = day;
    return true;
  });
  return last;
}

}  // namespace device
