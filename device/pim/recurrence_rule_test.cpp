// The occurrence calculator against calendars worked out by hand.
#include "device/pim/recurrence_rule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace device {
namespace {

std::int32_t Day(int year, int month, int day) {
  return DayFromCivil(year, month, day);
}

std::vector<std::string> Dates(const std::vector<std::int32_t>& days) {
  std::vector<std::string> out;
  for (std::int32_t day : days) {
    CivilDay civil = CivilFromDay(day);
    char text[16];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d", civil.year, civil.month,
                  civil.day);
    out.emplace_back(text);
  }
  return out;
}

std::vector<std::string> First(const RecurrenceRule& rule, int count) {
  std::vector<std::int32_t> days;
  ForEachOccurrence(rule, [&](std::int32_t day) {
    days.push_back(day);
    return static_cast<int>(days.size()) < count;
  });
  return Dates(days);
}

RecurrenceRule Rule(LONG type, int year, int month, int day) {
  RecurrenceRule rule;
  rule.type = type;
  rule.startDay = Day(year, month, day);
  return rule;
}

TEST(CivilDayTest, KnownDaysAndRoundTrip) {
  EXPECT_EQ(Day(1899, 12, 30), 0);
  EXPECT_EQ(Day(1900, 1, 1), 2);
  EXPECT_EQ(Day(2000, 1, 1), 36526);
  EXPECT_EQ(WeekdayOf(Day(2000, 1, 1)), 6);    // Saturday
  EXPECT_EQ(WeekdayOf(Day(2026, 11, 23)), 1);  // Monday
  EXPECT_EQ(WeekdayOf(Day(1899, 12, 29)), 5);  // Friday, before day 0
  for (std::int32_t day = Day(1600, 1, 1); day < Day(2401, 1, 1); day += 17) {
    CivilDay civil = CivilFromDay(day);
    EXPECT_EQ(Day(civil.year, civil.month, civil.day), day);
  }
  EXPECT_EQ(DaysInMonth(2024, 2), 29);
  EXPECT_EQ(DaysInMonth(1900, 2), 28);
  EXPECT_EQ(DaysInMonth(2000, 2), 29);
}

TEST(RecurrenceRuleTest, DailyEveryThreeDaysAcrossAMonthEnd) {
  RecurrenceRule rule = Rule(olRecursDaily, 2024, 1, 30);
  rule.interval = 3;
  EXPECT_EQ(First(rule, 4),
            (std::vector<std::string>{"2024-01-30", "2024-02-02", "2024-02-05",
                                      "2024-02-08"}));
}

TEST(RecurrenceRuleTest, WeeklyEveryOtherWeekOnMondayAndWednesday) {
  // 2024-01-03 is a Wednesday: that week's Monday is before the start.
  RecurrenceRule rule = Rule(olRecursWeekly, 2024, 1, 3);
  rule.interval = 2;
  rule.dayOfWeekMask = olMonday | olWednesday;
  EXPECT_EQ(First(rule, 5),
            (std::vector<std::string>{"2024-01-03", "2024-01-15", "2024-01-17",
                                      "2024-01-29", "2024-01-31"}));
}

TEST(RecurrenceRuleTest, MonthlyOnThe31stFallsOnEachMonthsLastDay) {
  RecurrenceRule rule = Rule(olRecursMonthly, 2024, 1, 31);
  rule.dayOfMonth = 31;
  EXPECT_EQ(First(rule, 4),
            (std::vector<std::string>{"2024-01-31", "2024-02-29", "2024-03-31",
                                      "2024-04-30"}));
  rule.startDay = Day(2025, 1, 1);
  EXPECT_EQ(First(rule, 2),
            (std::vector<std::string>{"2025-01-31", "2025-02-28"}));
}

TEST(RecurrenceRuleTest, MonthlySkipsADayBeforeTheStart) {
  RecurrenceRule rule = Rule(olRecursMonthly, 2024, 3, 20);
  rule.dayOfMonth = 10;
  rule.interval = 5;
  EXPECT_EQ(First(rule, 2),
            (std::vector<std::string>{"2024-08-10", "2025-01-10"}));
}

TEST(RecurrenceRuleTest, MonthNthLastFriday) {
  RecurrenceRule rule = Rule(olRecursMonthNth, 2025, 1, 1);
  rule.instance = 5;
  rule.dayOfWeekMask = olFriday;
  EXPECT_EQ(First(rule, 3), (std::vector<std::string>{
                                "2025-01-31", "2025-02-28", "2025-03-28"}));
}

TEST(RecurrenceRuleTest, MonthNthFirstWeekdayAndFifthOfAMask) {
  RecurrenceRule rule = Rule(olRecursMonthNth, 2025, 3, 1);
  rule.instance = 1;
  rule.dayOfWeekMask =
      olMonday | olTuesday | olWednesday | olThursday | olFriday;
  // 2025-03-01 is a Saturday; 2025-06-01 a Sunday.
  EXPECT_EQ(First(rule, 4),
            (std::vector<std::string>{"2025-03-03", "2025-04-01", "2025-05-01",
                                      "2025-06-02"}));
  EXPECT_EQ(NthDayOfMonth(2024, 2, olThursday, 5), Day(2024, 2, 29));
  EXPECT_EQ(NthDayOfMonth(2024, 2, olThursday, 4), Day(2024, 2, 22));
  EXPECT_FALSE(NthDayOfMonth(2024, 2, 0, 1).has_value());
}

TEST(RecurrenceRuleTest, YearlyOnFebruary29) {
  RecurrenceRule rule = Rule(olRecursYearly, 2024, 1, 1);
  rule.dayOfMonth = 29;
  rule.monthOfYear = 2;
  EXPECT_EQ(First(rule, 5),
            (std::vector<std::string>{"2024-02-29", "2025-02-28", "2026-02-28",
                                      "2027-02-28", "2028-02-29"}));
}

TEST(RecurrenceRuleTest, YearNthFourthThursdayOfNovemberEveryTwoYears) {
  RecurrenceRule rule = Rule(olRecursYearNth, 2024, 12, 1);
  rule.monthOfYear = 11;
  rule.instance = 4;
  rule.dayOfWeekMask = olThursday;
  rule.interval = 2;
  // The start is after 2024's; the years count from the start year.
  EXPECT_EQ(First(rule, 2),
            (std::vector<std::string>{"2026-11-26", "2028-11-23"}));
}

TEST(RecurrenceRuleTest, EndsAfterACountOrOnADate) {
  RecurrenceRule rule = Rule(olRecursDaily, 2024, 2, 27);
  rule.end = RecurrenceEnd::kAfterCount;
  rule.occurrences = 4;
  EXPECT_EQ(CountOccurrences(rule), 4);
  EXPECT_EQ(LastOccurrence(rule), Day(2024, 3, 1));
  EXPECT_TRUE(OccursOn(rule, Day(2024, 2, 29)));
  EXPECT_FALSE(OccursOn(rule, Day(2024, 3, 2)));

  rule.end = RecurrenceEnd::kByDate;
  rule.endDay = Day(2024, 3, 10);
  EXPECT_EQ(CountOccurrences(rule), 13);
  EXPECT_TRUE(OccursOn(rule, Day(2024, 3, 10)));
  EXPECT_FALSE(OccursOn(rule, Day(2024, 3, 11)));
  EXPECT_FALSE(OccursOn(rule, Day(2024, 2, 26)));
}

TEST(RecurrenceRuleTest, NeverEndingStopsAtTheLastDay) {
  RecurrenceRule rule = Rule(olRecursYearly, 9990, 1, 1);
  rule.dayOfMonth = 1;
  rule.monthOfYear = 6;
  EXPECT_EQ(CountOccurrences(rule), 10);
  EXPECT_EQ(LastOccurrence(rule), Day(9999, 6, 1));
}

TEST(RecurrenceRuleTest, RulesWithoutADayHaveNoOccurrences) {
  RecurrenceRule weekly = Rule(olRecursWeekly, 2024, 1, 1);
  weekly.dayOfWeekMask = 0;
  EXPECT_EQ(CountOccurrences(weekly), 0);
  RecurrenceRule other = Rule(4, 2024, 1, 1);
  EXPECT_EQ(CountOccurrences(other), 0);
  RecurrenceRule none = Rule(olRecursDaily, 2024, 1, 1);
  none.end = RecurrenceEnd::kAfterCount;
  none.occurrences = 0;
  EXPECT_EQ(CountOccurrences(none), 0);
}

TEST(RecurrenceRuleTest, OccurrencesBetweenTwoDays) {
  RecurrenceRule rule = Rule(olRecursWeekly, 2024, 1, 1);
  rule.dayOfWeekMask = olSunday | olSaturday;
  EXPECT_EQ(Dates(OccurrencesBetween(rule, Day(2024, 1, 10), Day(2024, 1, 21))),
            (std::vector<std::string>{"2024-01-13", "2024-01-14", "2024-01-20",
                                      "2024-01-21"}));
}

}  // namespace
}  // namespace device
