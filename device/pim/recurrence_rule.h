// The rule of a recurring item and the calculator of its occurrences.
//
// Days are OLE day numbers (the integer part of a DATE: days since
// 1899-12-30). A rule recurs from its start day by its type:
//   daily       every `interval` days
//   weekly      on the days of `dayOfWeekMask` of every `interval`-th week
//               (weeks run from Sunday; the first is the start day's week)
//   monthly     on day `dayOfMonth` of every `interval`-th month, or on the
//               month's last day when it is shorter
//   month-nth   on the `instance`-th day of the month (5: the last) whose
//               weekday is in `dayOfWeekMask`, every `interval`-th month
//   yearly      on day `dayOfMonth` of month `monthOfYear` (or that month's
//               last day), every `interval`-th year
//   year-nth    the month-nth day of month `monthOfYear`, every
//               `interval`-th year
// and ends on its end day, after `occurrences` occurrences, or never (the
// calculator stops at 9999-12-31). An interval below 1 counts as 1.
#ifndef VORN_DEVICE_PIM_RECURRENCE_RULE_H_
#define VORN_DEVICE_PIM_RECURRENCE_RULE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/pimstore.h"

namespace device {

enum class RecurrenceEnd { kByDate, kAfterCount, kNever };

struct RecurrenceRule {
  LONG type = olRecursWeekly;
  LONG interval = 1;
  LONG dayOfWeekMask = 0;
  LONG dayOfMonth = 1;
  LONG instance = 1;
  LONG monthOfYear = 1;
  std::int32_t startDay = 0;
  RecurrenceEnd end = RecurrenceEnd::kNever;
  std::int32_t endDay = 0;
  LONG occurrences = 1;

  friend bool operator==(const RecurrenceRule&,
                         const RecurrenceRule&) = default;
};

// The last day the calculator reaches: 9999-12-31.
inline constexpr std::int32_t kLastRecurrenceDay = 2958465;

// Calendar helpers on OLE day numbers.
struct CivilDay {
  int year;
  int month;  // 1..12
  int day;    // 1..31
};
std::int32_t DayFromCivil(int year, int month, int day);
CivilDay CivilFromDay(std::int32_t day);
// 0 = Sunday.
int WeekdayOf(std::int32_t day);
int DaysInMonth(int year, int month);
// The `instance`-th day (5: the last) of the month whose weekday is in
// `mask`; nullopt when the month has none.
std::optional<std::int32_t> NthDayOfMonth(int year, int month, LONG mask,
                                          LONG instance);

// Visits the rule's occurrences in order, from its start day to its end,
// until `visit` returns false.
void ForEachOccurrence(const RecurrenceRule& rule,
                       const std::function<bool(std::int32_t day)>& visit);

// True when the rule has an occurrence on `day`.
bool OccursOn(const RecurrenceRule& rule, std::int32_t day);
// The occurrences from `from` to `to`, both included.
std::vector<std::int32_t> OccurrencesBetween(const RecurrenceRule& rule,
                                             std::int32_t from,
                                             std::int32_t to);
// How many occurrences the rule has up to its end (for a rule that never
// ends: up to 9999-12-31).
LONG CountOccurrences(const RecurrenceRule& rule);
// The day of the last occurrence; nullopt when there is none.
std::optional<std::int32_t> LastOccurrence(const RecurrenceRule& rule);

}  // namespace device

#endif  // VORN_DEVICE_PIM_RECURRENCE_RULE_H_
