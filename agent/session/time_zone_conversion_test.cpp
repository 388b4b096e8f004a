#include "agent/session/time_zone_conversion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "device/kernel/time_zone.h"
#include "platform/api.h"

namespace agent {
namespace {

FILETIME At(WORD year, WORD month, WORD day, WORD hour, WORD minute) {
  SYSTEMTIME time{};
  time.wYear = year;
  time.wMonth = month;
  time.wDay = day;
  time.wHour = hour;
  time.wMinute = minute;
  FILETIME out{};
  EXPECT_NE(SystemTimeToFileTime(&time, &out), FALSE);
  return out;
}

std::uint64_t Value(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

std::string Text(const FILETIME& time) {
  SYSTEMTIME st{};
  if (FileTimeToSystemTime(&time, &st) == FALSE) return "invalid";
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%04u-%02u-%02u %02u:%02u",
                unsigned{st.wYear}, unsigned{st.wMonth}, unsigned{st.wDay},
                unsigned{st.wHour}, unsigned{st.wMinute});
  return buffer;
}

std::string ToLocal(const TIME_ZONE_INFORMATION& zone, FILETIME time) {
  if (UtcToLocalFileTime(zone, time) != 1) return "failed";
  return Text(time);
}

std::string ToUtc(const TIME_ZONE_INFORMATION& zone, FILETIME time) {
  if (LocalToUtcFileTime(zone, time) != 1) return "failed";
  return Text(time);
}

SYSTEMTIME Rule(WORD month, WORD dayOfWeek, WORD occurrence, WORD hour) {
  SYSTEMTIME rule{};
  rule.wMonth = month;
  rule.wDayOfWeek = dayOfWeek;
  rule.wDay = occurrence;
  rule.wHour = hour;
  return rule;
}

// A zone one hour east of UTC that keeps daylight time from `daylight` to
// `standard`.
TIME_ZONE_INFORMATION CentralEurope(const SYSTEMTIME& daylight,
                                    const SYSTEMTIME& standard) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.StandardBias = 0;
  zone.DaylightBias = -60;
  zone.DaylightDate = daylight;
  zone.StandardDate = standard;
  return zone;
}

TIME_ZONE_INFORMATION FromRule(const char* rule) {
  device::Result<device::TimeZone> zone = device::TimeZone::FromPosixRule(rule);
  EXPECT_TRUE(zone.ok()) << rule;
  return zone.ok() ? zone->information() : TIME_ZONE_INFORMATION{};
}

TEST(TimeZoneConversionTest, ZoneWithoutDaylightTimeMovesByItsBias) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  FILETIME time = At(2024, 7, 1, 12, 0);
  EXPECT_EQ(UtcToLocalFileTime(zone, time), 1);
  EXPECT_EQ(Text(time), "2024-07-01 13:00");
  EXPECT_EQ(LocalToUtcFileTime(zone, time), 1);
  EXPECT_EQ(Text(time), "2024-07-01 12:00");
}

TEST(TimeZoneConversionTest, LastSundayOfOctoberWithFourSundaysIsTheFourth) {
  // October 2024 has Sundays on the 6th, 13th, 20th and 27th only.
  TIME_ZONE_INFORMATION zone =
      CentralEurope(Rule(3, 0, 5, 2), Rule(10, 0, 5, 3));
  EXPECT_EQ(ToLocal(zone, At(2024, 10, 20, 12, 0)), "2024-10-20 14:00");
  EXPECT_EQ(ToLocal(zone, At(2024, 10, 27, 2, 59)), "2024-10-27 04:59");
  EXPECT_EQ(ToLocal(zone, At(2024, 10, 27, 3, 0)), "2024-10-27 04:00");
  // October 2023 has five Sundays; the fifth, the 29th, is the last.
  EXPECT_EQ(ToLocal(zone, At(2023, 10, 22, 12, 0)), "2023-10-22 14:00");
  EXPECT_EQ(ToLocal(zone, At(2023, 10, 29, 2, 59)), "2023-10-29 04:59");
  EXPECT_EQ(ToLocal(zone, At(2023, 10, 29, 3, 0)), "2023-10-29 04:00");
}

TEST(TimeZoneConversionTest, FifthMondayPastTheMonthsEndFallsBackToFourth) {
  // June 2024 has 30 days and Mondays on the 3rd, 10th, 17th and 24th; the
  // walk to day 31 lists the 31st as the fifth, which the month lacks.
  TIME_ZONE_INFORMATION zone =
      CentralEurope(Rule(6, 1, 5, 2), Rule(10, 0, 5, 3));
  EXPECT_EQ(ToLocal(zone, At(2024, 6, 24, 1, 59)), "2024-06-24 02:59");
  EXPECT_EQ(ToLocal(zone, At(2024, 6, 24, 2, 0)), "2024-06-24 04:00");
  EXPECT_EQ(ToUtc(zone, At(2024, 6, 24, 1, 59)), "2024-06-24 00:59");
  EXPECT_EQ(ToUtc(zone, At(2024, 6, 24, 3, 0)), "2024-06-24 01:00");
}

TEST(TimeZoneConversionTest, ShiftBackCarriesAcrossTheLowWord) {
  FILETIME time{};
  time.dwHighDateTime = 0x01D00000;
  time.dwLowDateTime = 100;
  EXPECT_EQ(ShiftFileTime(time, -1), 1);
  EXPECT_EQ(time.dwHighDateTime, 0x01CFFFFFU);
  EXPECT_EQ(time.dwLowDateTime, 100U + 0x100000000ULL - 600000000ULL);
  EXPECT_EQ(ShiftFileTime(time, 1), 1);
  EXPECT_EQ(time.dwHighDateTime, 0x01D00000U);
  EXPECT_EQ(time.dwLowDateTime, 100U);
}

TEST(TimeZoneConversionTest, ShiftForwardCarriesIntoTheHighWord) {
  FILETIME time{};
  time.dwHighDateTime = 7;
  time.dwLowDateTime = 0xFFFFFFF0U;
  std::uint64_t before = Value(time);
  EXPECT_EQ(ShiftFileTime(time, 90), 1);
  EXPECT_EQ(Value(time), before + 90ULL * 600000000ULL);
}

TEST(TimeZoneConversionTest, UnformableTransitionLeavesTheTimeUnchanged) {
  // Occurrence 0 names no day of the month.
  TIME_ZONE_INFORMATION zone =
      CentralEurope(Rule(3, 0, 0, 2), Rule(10, 0, 5, 3));
  FILETIME time = At(2024, 7, 1, 12, 0);
  std::uint64_t before = Value(time);
  EXPECT_EQ(UtcToLocalFileTime(zone, time), 0);
  EXPECT_EQ(Value(time), before);
  // A month the calendar lacks.
  zone = CentralEurope(Rule(3, 0, 5, 2), Rule(13, 0, 5, 3));
  EXPECT_EQ(LocalToUtcFileTime(zone, time), 0);
  EXPECT_EQ(Value(time), before);
}

TEST(TimeZoneConversionTest, AbsoluteTransitionDates) {
  SYSTEMTIME daylight = Rule(4, 0, 5, 2);
  daylight.wYear = 2024;
  SYSTEMTIME standard = Rule(9, 0, 14, 3);
  standard.wYear = 2024;
  TIME_ZONE_INFORMATION zone = CentralEurope(daylight, standard);
  EXPECT_EQ(ToLocal(zone, At(2024, 4, 5, 1, 59)), "2024-04-05 02:59");
  EXPECT_EQ(ToLocal(zone, At(2024, 4, 5, 2, 0)), "2024-04-05 04:00");
  EXPECT_EQ(ToLocal(zone, At(2024, 9, 14, 2, 59)), "2024-09-14 04:59");
  EXPECT_EQ(ToLocal(zone, At(2024, 9, 14, 3, 0)), "2024-09-14 04:00");
  // The dates hold for their own year only: 2025 is all standard time.
  EXPECT_EQ(ToLocal(zone, At(2025, 7, 1, 12, 0)), "2025-07-01 13:00");
}

// One zone's transitions in one year, as local wall-clock times: daylight
// time starts at `daylightStart` (local standard time) and ends at
// `standardStart` (local daylight time).
struct Transitions {
  const char* rule;
  WORD year;
  WORD daylightMonth, daylightDay, daylightHour;
  WORD standardMonth, standardDay, standardHour;
  LONG standardOffset;  // minutes east of UTC
  LONG daylightOffset;
};

class RealZoneTest : public testing::TestWithParam<Transitions> {};

FILETIME Shifted(FILETIME time, LONG minutes) {
  ShiftFileTime(time, minutes);
  return time;
}

TEST_P(RealZoneTest, LocalTimesAroundTheTransitions) {
  const Transitions& t = GetParam();
  TIME_ZONE_INFORMATION zone = FromRule(t.rule);
  FILETIME daylightStart =
      At(t.year, t.daylightMonth, t.daylightDay, t.daylightHour, 0);
  FILETIME standardStart =
      At(t.year, t.standardMonth, t.standardDay, t.standardHour, 0);
  // A minute before daylight time starts, and an hour after it.
  FILETIME local = Shifted(daylightStart, -1);
  EXPECT_EQ(ToUtc(zone, local), Text(Shifted(local, -t.standardOffset)));
  local = Shifted(daylightStart, 60);
  EXPECT_EQ(ToUtc(zone, local), Text(Shifted(local, -t.daylightOffset)));
  // A minute before standard time returns, and at its start.
  local = Shifted(standardStart, -1);
  EXPECT_EQ(ToUtc(zone, local), Text(Shifted(local, -t.daylightOffset)));
  local = standardStart;
  EXPECT_EQ(ToUtc(zone, local), Text(Shifted(local, -t.standardOffset)));
  // UTC noon a day either side of each transition.
  struct Side {
    FILETIME transition;
    bool daylightBefore;
  };
  for (const Side& side :
       {Side{daylightStart, false}, Side{standardStart, true}}) {
    SYSTEMTIME day{};
    ASSERT_NE(FileTimeToSystemTime(&side.transition, &day), FALSE);
    FILETIME noon = At(day.wYear, day.wMonth, day.wDay, 12, 0);
    FILETIME before = Shifted(noon, -24 * 60);
    FILETIME after = Shifted(noon, 24 * 60);
    LONG offsetBefore =
        side.daylightBefore ? t.daylightOffset : t.standardOffset;
    LONG offsetAfter =
        side.daylightBefore ? t.standardOffset : t.daylightOffset;
    EXPECT_EQ(ToLocal(zone, before), Text(Shifted(before, offsetBefore)));
    EXPECT_EQ(ToLocal(zone, after), Text(Shifted(after, offsetAfter)));
  }
}

constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";
constexpr const char* kSydney = "AEST-10AEDT,M10.1.0,M4.1.0/3";
constexpr const char* kSantiago = "<-04>4<-03>,M9.1.6/24,M4.1.6/24";

INSTANTIATE_TEST_SUITE_P(
    Zones, RealZoneTest,
    testing::Values(Transitions{kBerlin, 2023, 3, 26, 2, 10, 29, 3, 60, 120},
                    Transitions{kBerlin, 2024, 3, 31, 2, 10, 27, 3, 60, 120},
                    Transitions{kBerlin, 2025, 3, 30, 2, 10, 26, 3, 60, 120},
                    Transitions{kBerlin, 2026, 3, 29, 2, 10, 25, 3, 60, 120},
                    Transitions{kNewYork, 2023, 3, 12, 2, 11, 5, 2, -300, -240},
                    Transitions{kNewYork, 2024, 3, 10, 2, 11, 3, 2, -300, -240},
                    Transitions{kNewYork, 2025, 3, 9, 2, 11, 2, 2, -300, -240},
                    Transitions{kNewYork, 2026, 3, 8, 2, 11, 1, 2, -300, -240},
                    Transitions{kSydney, 2023, 10, 1, 2, 4, 2, 3, 600, 660},
                    Transitions{kSydney, 2024, 10, 6, 2, 4, 7, 3, 600, 660},
                    Transitions{kSydney, 2025, 10, 5, 2, 4, 6, 3, 600, 660},
                    Transitions{kSydney, 2026, 10, 4, 2, 4, 5, 3, 600, 660}));

TEST(TimeZoneConversionTest, ZoneWithoutDaylightTimeAllYear) {
  TIME_ZONE_INFORMATION zone = FromRule("JST-9");
  for (WORD month = 1; month <= 12; ++month) {
    FILETIME utc = At(2025, month, 15, 20, 30);
    EXPECT_EQ(ToLocal(zone, utc), Text(Shifted(utc, 9 * 60)));
    EXPECT_EQ(ToUtc(zone, utc), Text(Shifted(utc, -9 * 60)));
  }
}

TEST(TimeZoneConversionTest, UtcTimesAreJudgedAgainstLocalTransitions) {
  TIME_ZONE_INFORMATION zone = FromRule(kBerlin);
  // Daylight time began at 01:00 UTC on 2024-03-31 (02:00 local), but 01:30
  // UTC is before the local transition time 02:00 and so still converts
  // with the standard bias: 02:30, where the wall clock showed 03:30.
  EXPECT_EQ(ToLocal(zone, At(2024, 3, 31, 1, 30)), "2024-03-31 02:30");
  EXPECT_EQ(ToLocal(zone, At(2024, 3, 31, 2, 0)), "2024-03-31 04:00");
  // Standard time returned at 01:00 UTC on 2024-10-27 (03:00 local); 02:30
  // UTC is before 03:00 and still gets the daylight bias: 04:30, not 03:30.
  EXPECT_EQ(ToLocal(zone, At(2024, 10, 27, 2, 30)), "2024-10-27 04:30");
  EXPECT_EQ(ToLocal(zone, At(2024, 10, 27, 3, 0)), "2024-10-27 04:00");
}

TEST(TimeZoneConversionTest, SouthernZoneMidwinterAndMidsummer) {
  TIME_ZONE_INFORMATION zone = FromRule(kSantiago);
  EXPECT_EQ(zone.DaylightDate.wMonth, 9);
  EXPECT_EQ(ToLocal(zone, At(2025, 1, 15, 12, 0)), "2025-01-15 09:00");
  EXPECT_EQ(ToLocal(zone, At(2025, 7, 15, 12, 0)), "2025-07-15 08:00");
}

}  // namespace
}  // namespace agent
