// The occurrence calculator against an independent one: libical's RRULE
// expansion, over ten years of many generated patterns.
#include <gtest/gtest.h>
#include <libical/ical.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "device/pim/recurrence_rule.h"

namespace device {
namespace {

constexpr const char* kDays[7] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

std::string ByDay(LONG mask) {
  std::string out;
  for (int day = 0; day < 7; ++day) {
    if ((mask & (1 << day)) == 0) continue;
    if (!out.empty()) out += ",";
    out += kDays[day];
  }
  return out;
}

// The handheld takes a day of the month past the month's end as the last
// day: the last of the days 28..D that the month has.
std::string ByMonthDay(LONG dayOfMonth) {
  if (dayOfMonth <= 28) return ";BYMONTHDAY=" + std::to_string(dayOfMonth);
  std::string days;
  for (LONG day = 28; day <= dayOfMonth; ++day) {
    days += (day == 28 ? "" : ",") + std::to_string(day);
  }
  return ";BYMONTHDAY=" + days + ";BYSETPOS=-1";
}

std::string SetPos(LONG instance) {
  return ";BYSETPOS=" + std::to_string(instance == 5 ? -1 : instance);
}

// The same series as an RRULE.
std::string Rrule(const RecurrenceRule& rule) {
  std::string interval = ";INTERVAL=" + std::to_string(rule.interval);
  std::string month = ";BYMONTH=" + std::to_string(rule.monthOfYear);
  switch (rule.type) {
    case olRecursDaily:
      return "FREQ=DAILY" + interval;
    case olRecursWeekly:
      return "FREQ=WEEKLY" + interval +
             ";WKST=SU;BYDAY=" + ByDay(rule.dayOfWeekMask);
    case olRecursMonthly:
      return "FREQ=MONTHLY" + interval + ByMonthDay(rule.dayOfMonth);
    case olRecursMonthNth:
      return "FREQ=MONTHLY" + interval + ";BYDAY=" + ByDay(rule.dayOfWeekMask) +
             SetPos(rule.instance);
    case olRecursYearly:
      return "FREQ=YEARLY" + interval + month + ByMonthDay(rule.dayOfMonth);
    case olRecursYearNth:
      return "FREQ=YEARLY" + interval + month +
             ";BYDAY=" + ByDay(rule.dayOfWeekMask) + SetPos(rule.instance);
    default:
      return "";
  }
}

std::vector<std::int32_t> Expand(const std::string& rrule, std::int32_t first,
                                 std::int32_t last) {
  icalrecurrencetype recurrence = icalrecurrencetype_from_string(rrule.c_str());
  CivilDay civil = CivilFromDay(first);
  char date[16];
  std::snprintf(date, sizeof(date), "%04d%02d%02d", civil.year, civil.month,
                civil.day);
  icaltimetype start = icaltime_from_string(date);
  icalrecur_iterator* iterator = icalrecur_iterator_new(recurrence, start);
  std::vector<std::int32_t> days;
  if (iterator == nullptr) return days;
  // Ten years hold at most 3653 occurrences; the bound also stops an
  // expansion that stalls.
  for (icaltimetype next = icalrecur_iterator_next(iterator);
       icaltime_is_null_time(next) == 0 && days.size() < 4000;
       next = icalrecur_iterator_next(iterator)) {
    std::int32_t day = DayFromCivil(next.year, next.month, next.day);
    if (day > last) break;
    days.push_back(day);
  }
  icalrecur_iterator_free(iterator);
  return days;
}

RecurrenceRule Generate(std::mt19937& random) {
  auto pick = [&](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  static constexpr LONG kTypes[] = {olRecursDaily,   olRecursWeekly,
                                    olRecursMonthly, olRecursMonthNth,
                                    olRecursYearly,  olRecursYearNth};
  RecurrenceRule rule;
  rule.type = kTypes[pick(0, 5)];
  rule.interval = pick(1, rule.type == olRecursDaily ? 40 : 4);
  rule.dayOfWeekMask = pick(1, 127);
  rule.dayOfMonth = pick(1, 31);
  rule.instance = pick(1, 5);
  rule.monthOfYear = pick(1, 12);
  rule.startDay = DayFromCivil(pick(1990, 2030), pick(1, 12), pick(1, 28));
  return rule;
}

TEST(RecurrenceIcalTest, TenYearsOfOccurrencesAgreeWithRruleExpansion) {
  std::mt19937 random(20261123);
  int compared = 0;
  for (int i = 0; i < 600; ++i) {
    RecurrenceRule rule = Generate(random);
    std::int32_t last = rule.startDay + 3653;
    std::vector<std::int32_t> ours =
        OccurrencesBetween(rule, rule.startDay, last);
    if (ours.empty()) continue;
    // The series starts on its first occurrence, as an RRULE's DTSTART.
    std::string rrule = Rrule(rule);
    SCOPED_TRACE(rrule + " from day " + std::to_string(ours.front()));
    EXPECT_EQ(ours, Expand(rrule, ours.front(), last));
    ++compared;
  }
  EXPECT_GT(compared, 500);
}

}  // namespace
}  // namespace device
