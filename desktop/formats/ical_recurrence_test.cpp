#include "desktop/formats/ical_recurrence.h"

#include <gtest/gtest.h>

namespace desktop {
namespace {

TimeRecord Start(int y, int mo, int d) {
  TimeRecord t = TimeRecord::FromDate(y, mo, d);
  t.hour = 9;
  return t;
}

Result<Recurrence> From(const char* rule, const TimeRecord& start) {
  return IcalRecurrence::FromRule(icalrecurrencetype_from_string(rule), start,
                                  IcalZone());
}

TEST(IcalRecurrence, ForeignFormsOfThePatternsAreUnderstood) {
  // 2026-03-10 is the second Tuesday of March.
  const TimeRecord start = Start(2026, 3, 10);
  Result<Recurrence> nth = From("FREQ=MONTHLY;BYDAY=2TU", start);
  ASSERT_TRUE(nth.ok()) << nth.status().message();
  EXPECT_EQ(nth->type, static_cast<std::uint8_t>(RecurrenceType::kMonthNth));
  EXPECT_EQ(nth->instance, 2u);
  EXPECT_EQ(nth->day_of_week_mask, 0x04u);

  Result<Recurrence> last = From("FREQ=YEARLY;BYMONTH=5;BYDAY=-1MO", start);
  ASSERT_TRUE(last.ok());
  EXPECT_EQ(last->type, static_cast<std::uint8_t>(RecurrenceType::kYearNth));
  EXPECT_EQ(last->instance, 5u);
  EXPECT_EQ(last->month_of_year, 5u);

  Result<Recurrence> weekdays =
      From("FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR;UNTIL=20260601", start);
  ASSERT_TRUE(weekdays.ok());
  EXPECT_EQ(weekdays->type, static_cast<std::uint8_t>(RecurrenceType::kWeekly));
  EXPECT_EQ(weekdays->day_of_week_mask, 0x3Eu);
  EXPECT_EQ(weekdays->end_kind, static_cast<std::uint8_t>(EndKind::kByDate));
  EXPECT_EQ(weekdays->pattern_end, TimeRecord::FromDate(2026, 6, 1));

  // Without BY parts the days come from the start.
  Result<Recurrence> monthly = From("FREQ=MONTHLY;INTERVAL=3;COUNT=4", start);
  ASSERT_TRUE(monthly.ok());
  EXPECT_EQ(monthly->type, static_cast<std::uint8_t>(RecurrenceType::kMonthly));
  EXPECT_EQ(monthly->day_of_month, 10u);
  EXPECT_EQ(monthly->interval, 3u);
  EXPECT_EQ(monthly->occurrences, 4u);
  Result<Recurrence> yearly = From("FREQ=YEARLY", start);
  ASSERT_TRUE(yearly.ok());
  EXPECT_EQ(yearly->month_of_year, 3u);
  EXPECT_EQ(yearly->day_of_month, 10u);
  EXPECT_EQ(yearly->end_kind, static_cast<std::uint8_t>(EndKind::kNever));
  Result<Recurrence> weekly = From("FREQ=WEEKLY", start);
  ASSERT_TRUE(weekly.ok());
  EXPECT_EQ(weekly->day_of_week_mask, 0x04u);
  EXPECT_EQ(weekly->pattern_start, TimeRecord::FromDate(2026, 3, 10));
}

TEST(IcalRecurrence, RulesTheHandheldCannotHoldAreRefusedWithTheReason) {
  const TimeRecord start = Start(2026, 3, 10);
  struct Case {
    const char* rule;
    const char* reason;
  } cases[] = {
      {"FREQ=HOURLY", "more often than daily"},
      {"FREQ=DAILY;BYHOUR=9,17", "picks hours"},
      {"FREQ=MONTHLY;BYMONTHDAY=1,15", "days of the month"},
      {"FREQ=MONTHLY;BYMONTHDAY=-1", "days of the month"},
      {"FREQ=MONTHLY;BYDAY=TU;BYSETPOS=-2", "occurrence -2"},
      {"FREQ=YEARLY;BYMONTH=1,7;BYMONTHDAY=1", "more than one month"},
      {"FREQ=MONTHLY;BYDAY=1MO,2TU", "mixes ordinals"},
      {"FREQ=WEEKLY;BYMONTH=3", "limits a weekly rule"},
  };
  for (const Case& c : cases) {
    Result<Recurrence> r = From(c.rule, start);
    ASSERT_FALSE(r.ok()) << c.rule;
    EXPECT_NE(r.status().message().find(c.reason), std::string::npos)
        << c.rule << ": " << r.status().message();
  }
}

TEST(IcalRecurrence, UntilIsTheEndDaysLastSecondInTheRightForm) {
  Recurrence r;
  r.type = static_cast<std::uint8_t>(RecurrenceType::kDaily);
  r.end_kind = static_cast<std::uint8_t>(EndKind::kByDate);
  r.interval = 0;  // taken as 1
  r.pattern_end = TimeRecord::FromDate(2026, 7, 31);
  const TimeRecord start = Start(2026, 7, 1);
  EXPECT_EQ(IcalRecurrence::RuleText(r, start, false, IcalZone()),
            "FREQ=DAILY;INTERVAL=1;UNTIL=20260731T235959");
  EXPECT_EQ(IcalRecurrence::RuleText(r, start, true, IcalZone()),
            "FREQ=DAILY;INTERVAL=1;UNTIL=20260731");
  Result<IcalZone> berlin = IcalZone::Named("Europe/Berlin");
  ASSERT_TRUE(berlin.ok());
  // 23:59:59 of a summer day in Berlin is 21:59:59 UTC.
  EXPECT_EQ(IcalRecurrence::RuleText(r, start, false, *berlin),
            "FREQ=DAILY;INTERVAL=1;UNTIL=20260731T215959Z");
}

}  // namespace
}  // namespace desktop
