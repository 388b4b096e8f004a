// The RRULEs written for the handheld's patterns, expanded by libical over
// ten years, give exactly the days the patterns mean. The expected days are
// worked out here from the patterns' own rules, day by day:
//   daily      every interval-th day from the start
//   weekly     the mask's weekdays of every interval-th week, weeks running
//              from Sunday, counted from the start's week
//   monthly    day d of every interval-th month (the month's last day when
//              it is shorter)
//   month-nth  the instance-th day (5: the last) of the month whose weekday
//              is in the mask, every interval-th month
//   yearly     month m, day d (or the month's last day), every interval-th
//              year
//   year-nth   the month-nth day of month m, every interval-th year
// and the three ends: after a count, on an end date, never.
#include <gtest/gtest.h>
#include <libical/ical.h>

#include <vector>

#include "desktop/formats/ical_recurrence.h"

namespace desktop {
namespace {

struct Date {
  int y, m, d;
  bool operator==(const Date&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Date& date) {
  return os << date.y << "-" << date.m << "-" << date.d;
}

// Days since 1970-01-01 and back (proleptic Gregorian).
long Serial(const Date& date) {
  int y = date.m <= 2 ? date.y - 1 : date.y;
  long era = (y >= 0 ? y : y - 399) / 400;
  long yoe = y - era * 400;
  long doy = (153 * (date.m + (date.m > 2 ? -3 : 9)) + 2) / 5 + date.d - 1;
  long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

Date FromSerial(long z) {
  z += 719468;
  long era = (z >= 0 ? z : z - 146096) / 146097;
  long doe = z - era * 146097;
  long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  long mp = (5 * doy + 2) / 153;
  int d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  int m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  int y = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
  return {y, m, d};
}

int Weekday(long serial) {  // 0 = Sunday; 1970-01-01 was a Thursday
  long w = (serial + 4) % 7;
  return static_cast<int>(w < 0 ? w + 7 : w);
}

int DaysIn(int y, int m) {
  if (m == 2) return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0 ? 29 : 28;
  return m == 4 || m == 6 || m == 9 || m == 11 ? 30 : 31;
}

// The instance-th day of the month with a weekday in `mask`; 0 if none.
int NthDay(int y, int m, std::uint32_t mask, std::uint32_t instance) {
  std::vector<int> days;
  for (int d = 1; d <= DaysIn(y, m); ++d) {
    if (mask & (1u << Weekday(Serial({y, m, d})))) days.push_back(d);
  }
  if (days.empty()) return 0;
  if (instance >= 5) return days.back();
  return instance <= days.size() ? days[instance - 1] : 0;
}

bool Matches(const Recurrence& r, const Date& start, long serial) {
  const Date date = FromSerial(serial);
  const long s = Serial(start);
  const int months = (date.y - start.y) * 12 + (date.m - start.m);
  const int years = date.y - start.y;
  const std::uint32_t every = r.interval < 1 ? 1 : r.interval;
  switch (static_cast<RecurrenceType>(r.type)) {
    case RecurrenceType::kDaily:
      return (serial - s) % every == 0;
    case RecurrenceType::kWeekly: {
      long week = (serial - Weekday(serial) - (s - Weekday(s))) / 7;
      return (r.day_of_week_mask & (1u << Weekday(serial))) &&
             week % every == 0;
    }
    case RecurrenceType::kMonthly:
      return months % every == 0 &&
             date.d == std::min(static_cast<int>(r.day_of_month),
                                DaysIn(date.y, date.m));
    case RecurrenceType::kMonthNth:
      return months % every == 0 &&
             date.d == NthDay(date.y, date.m, r.day_of_week_mask, r.instance);
    case RecurrenceType::kYearly:
      return years % every == 0 &&
             date.m == static_cast<int>(r.month_of_year) &&
             date.d == std::min(static_cast<int>(r.day_of_month),
                                DaysIn(date.y, date.m));
    case RecurrenceType::kYearNth:
      return years % every == 0 &&
             date.m == static_cast<int>(r.month_of_year) &&
             date.d == NthDay(date.y, date.m, r.day_of_week_mask, r.instance);
  }
  return false;
}

constexpr Date kHorizon = {2036, 1, 1};  // ten years on

std::vector<Date> Expected(const Recurrence& r, const Date& start) {
  std::vector<Date> out;
  for (long n = Serial(start); n < Serial(kHorizon); ++n) {
    if (!Matches(r, start, n)) continue;
    if (r.end_kind == static_cast<std::uint8_t>(EndKind::kAfterCount) &&
        out.size() == r.occurrences) {
      break;
    }
    if (r.end_kind == static_cast<std::uint8_t>(EndKind::kByDate) &&
        n > Serial(
                {r.pattern_end.year, r.pattern_end.month, r.pattern_end.day})) {
      break;
    }
    out.push_back(FromSerial(n));
  }
  return out;
}

std::vector<Date> Expanded(const std::string& rule_text, const Date& start) {
  icalrecurrencetype rule = icalrecurrencetype_from_string(rule_text.c_str());
  icaltimetype dtstart = icaltime_null_time();
  dtstart.year = start.y;
  dtstart.month = start.m;
  dtstart.day = start.d;
  dtstart.hour = 9;
  icalrecur_iterator* it = icalrecur_iterator_new(rule, dtstart);
  std::vector<Date> out;
  if (it == nullptr) return out;
  for (icaltimetype t = icalrecur_iterator_next(it); !icaltime_is_null_time(t);
       t = icalrecur_iterator_next(it)) {
    Date date{t.year, t.month, t.day};
    if (Serial(date) >= Serial(kHorizon)) break;
    out.push_back(date);
  }
  icalrecur_iterator_free(it);
  return out;
}

// The first day on or after `from` that the pattern anchored there has.
Date FirstOccurrence(const Recurrence& r, const Date& from) {
  for (long n = Serial(from);; ++n) {
    if (Matches(r, FromSerial(n), n)) return FromSerial(n);
  }
}

struct Case {
  const char* name;
  RecurrenceType type;
  std::uint32_t interval, mask, day_of_month, instance, month;
};

const Case kCases[] = {
    {"every day", RecurrenceType::kDaily, 1, 0, 0, 0, 0},
    {"every third day", RecurrenceType::kDaily, 3, 0, 0, 0, 0},
    {"Tuesdays", RecurrenceType::kWeekly, 1, 0x04, 0, 0, 0},
    {"Mon/Wed/Fri every other week", RecurrenceType::kWeekly, 2, 0x2A, 0, 0, 0},
    {"Sundays and Saturdays every third week", RecurrenceType::kWeekly, 3, 0x41,
     0, 0, 0},
    {"the 15th", RecurrenceType::kMonthly, 1, 0, 15, 0, 0},
    {"the 31st every other month", RecurrenceType::kMonthly, 2, 0, 31, 0, 0},
    {"the 30th", RecurrenceType::kMonthly, 1, 0, 30, 0, 0},
    {"second Tuesday", RecurrenceType::kMonthNth, 1, 0x04, 0, 2, 0},
    {"last Friday every third month", RecurrenceType::kMonthNth, 3, 0x20, 0, 5,
     0},
    {"first weekday", RecurrenceType::kMonthNth, 1, 0x3E, 0, 1, 0},
    {"last weekend day", RecurrenceType::kMonthNth, 1, 0x41, 0, 5, 0},
    {"March 14", RecurrenceType::kYearly, 1, 0, 14, 0, 3},
    {"February 29", RecurrenceType::kYearly, 1, 0, 29, 0, 2},
    {"November 30 every other year", RecurrenceType::kYearly, 2, 0, 30, 0, 11},
    {"fourth Thursday of November", RecurrenceType::kYearNth, 1, 0x10, 0, 4,
     11},
    {"last Monday of May", RecurrenceType::kYearNth, 1, 0x02, 0, 5, 5},
    {"first weekday of September every third year", RecurrenceType::kYearNth, 3,
     0x3E, 0, 1, 9},
};

TEST(IcalExpansion, RulesExpandToThePatternsDaysOverTenYears) {
  for (const Case& c : kCases) {
    for (EndKind end :
         {EndKind::kNever, EndKind::kAfterCount, EndKind::kByDate}) {
      Recurrence r;
      r.type = static_cast<std::uint8_t>(c.type);
      r.interval = c.interval;
      r.day_of_week_mask = c.mask;
      r.day_of_month = c.day_of_month;
      r.instance = c.instance;
      r.month_of_year = c.month;
      r.end_kind = static_cast<std::uint8_t>(end);
      r.occurrences = 7;
      r.pattern_end = TimeRecord::FromDate(2031, 6, 15);
      const Date start = FirstOccurrence(r, {2026, 1, 7});
      TimeRecord begins = TimeRecord::FromDate(start.y, start.m, start.d);
      begins.hour = 9;
      r.pattern_start = TimeRecord::FromDate(start.y, start.m, start.d);
      std::string rule = IcalRecurrence::RuleText(r, begins, false, IcalZone());
      SCOPED_TRACE(testing::Message() << c.name << ": " << rule);
      std::vector<Date> expected = Expected(r, start);
      ASSERT_FALSE(expected.empty());
      EXPECT_EQ(expected.front(), start);
      EXPECT_EQ(Expanded(rule, start), expected);
      if (end == EndKind::kAfterCount) {
        // Seven, unless ten years hold fewer.
        Recurrence endless = r;
        endless.end_kind = static_cast<std::uint8_t>(EndKind::kNever);
        EXPECT_EQ(expected.size(),
                  std::min<std::size_t>(7, Expected(endless, start).size()));
      }
    }
  }
}

TEST(IcalExpansion, ExpectedDaysOfKnownPatterns) {
  // A few days checked against a printed calendar, so the day walk above
  // is not only compared with itself.
  Recurrence thanksgiving;
  thanksgiving.type = static_cast<std::uint8_t>(RecurrenceType::kYearNth);
  thanksgiving.interval = 1;
  thanksgiving.day_of_week_mask = 0x10;
  thanksgiving.instance = 4;
  thanksgiving.month_of_year = 11;
  thanksgiving.end_kind = static_cast<std::uint8_t>(EndKind::kAfterCount);
  thanksgiving.occurrences = 3;
  EXPECT_EQ(
      Expected(thanksgiving, {2026, 11, 26}),
      (std::vector<Date>{{2026, 11, 26}, {2027, 11, 25}, {2028, 11, 23}}));
  Recurrence month_end;
  month_end.type = static_cast<std::uint8_t>(RecurrenceType::kMonthly);
  month_end.interval = 1;
  month_end.day_of_month = 31;
  month_end.end_kind = static_cast<std::uint8_t>(EndKind::kAfterCount);
  month_end.occurrences = 4;
  EXPECT_EQ(Expected(month_end, {2028, 1, 31}),
            (std::vector<Date>{
                {2028, 1, 31}, {2028, 2, 29}, {2028, 3, 31}, {2028, 4, 30}}));
}

}  // namespace
}  // namespace desktop
