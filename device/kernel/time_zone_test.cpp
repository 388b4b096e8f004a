#include "device/kernel/time_zone.h"

#include <gtest/gtest.h>

#include <string>

namespace device {
namespace {

std::string Name(const WCHAR (&name)[32]) {
  std::string out;
  for (WCHAR c : name) {
    if (c == 0) break;
    out.push_back(static_cast<char>(c));
  }
  return out;
}

void ExpectDate(const SYSTEMTIME& date, int month, int dayOfWeek, int week,
                int hour) {
  EXPECT_EQ(date.wYear, 0);
  EXPECT_EQ(date.wMonth, month);
  EXPECT_EQ(date.wDayOfWeek, dayOfWeek);
  EXPECT_EQ(date.wDay, week);
  EXPECT_EQ(date.wHour, hour);
  EXPECT_EQ(date.wMinute, 0);
  EXPECT_EQ(date.wSecond, 0);
  EXPECT_EQ(date.wMilliseconds, 0);
}

// 2024-01-15 12:00 UTC and 2024-07-15 12:00 UTC.
constexpr std::int64_t kJanuary = 1705320000;
constexpr std::int64_t kJuly = 1721044800;

TEST(TimeZoneTest, Utc) {
  Result<TimeZone> zone = TimeZone::Load("UTC");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  const TIME_ZONE_INFORMATION& info = zone->information();
  EXPECT_EQ(info.Bias, 0);
  EXPECT_EQ(Name(info.StandardName), "UTC");
  EXPECT_EQ(info.DaylightDate.wMonth, 0);
  EXPECT_EQ(info.StandardDate.wMonth, 0);
  EXPECT_EQ(zone->IdAt(kJuly), TIME_ZONE_ID_UNKNOWN);
}

TEST(TimeZoneTest, Berlin) {
  Result<TimeZone> zone = TimeZone::Load("Europe/Berlin");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  const TIME_ZONE_INFORMATION& info = zone->information();
  EXPECT_EQ(info.Bias, -60);
  EXPECT_EQ(info.StandardBias, 0);
  EXPECT_EQ(info.DaylightBias, -60);
  EXPECT_EQ(Name(info.StandardName), "CET");
  EXPECT_EQ(Name(info.DaylightName), "CEST");
  ExpectDate(info.DaylightDate, 3, 0, 5, 2);   // last Sunday of March, 02:00
  ExpectDate(info.StandardDate, 10, 0, 5, 3);  // last Sunday of October, 03:00
  EXPECT_EQ(zone->IdAt(kJanuary), TIME_ZONE_ID_STANDARD);
  EXPECT_EQ(zone->IdAt(kJuly), TIME_ZONE_ID_DAYLIGHT);
  EXPECT_EQ(zone->OffsetMinutesAt(kJuly), 120);
  // 2024-03-31 00:59:59 UTC is still winter, 01:00:00 UTC is summer.
  EXPECT_FALSE(zone->IsDaylightAt(1711846799));
  EXPECT_TRUE(zone->IsDaylightAt(1711846800));
  // 2024-10-27 00:59:59 UTC is summer, 01:00:00 UTC is winter.
  EXPECT_TRUE(zone->IsDaylightAt(1729990799));
  EXPECT_FALSE(zone->IsDaylightAt(1729990800));
}

TEST(TimeZoneTest, NewYork) {
  Result<TimeZone> zone = TimeZone::Load("America/New_York");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  const TIME_ZONE_INFORMATION& info = zone->information();
  EXPECT_EQ(info.Bias, 300);
  EXPECT_EQ(info.DaylightBias, -60);
  ExpectDate(info.DaylightDate, 3, 0, 2, 2);   // second Sunday of March
  ExpectDate(info.StandardDate, 11, 0, 1, 2);  // first Sunday of November
  EXPECT_EQ(zone->IdAt(kJanuary), TIME_ZONE_ID_STANDARD);
  EXPECT_EQ(zone->IdAt(kJuly), TIME_ZONE_ID_DAYLIGHT);
  // 2024-11-03 05:59:59 UTC = 01:59:59 EDT; 06:00:00 UTC = 01:00 EST.
  EXPECT_TRUE(zone->IsDaylightAt(1730613599));
  EXPECT_FALSE(zone->IsDaylightAt(1730613600));
}

TEST(TimeZoneTest, SydneySouthernHemisphere) {
  Result<TimeZone> zone = TimeZone::Load("Australia/Sydney");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  const TIME_ZONE_INFORMATION& info = zone->information();
  EXPECT_EQ(info.Bias, -600);
  EXPECT_EQ(info.DaylightBias, -60);
  ExpectDate(info.DaylightDate, 10, 0, 1, 2);  // first Sunday of October
  ExpectDate(info.StandardDate, 4, 0, 1, 3);   // first Sunday of April
  EXPECT_EQ(zone->IdAt(kJanuary), TIME_ZONE_ID_DAYLIGHT);
  EXPECT_EQ(zone->IdAt(kJuly), TIME_ZONE_ID_STANDARD);
  EXPECT_EQ(zone->OffsetMinutesAt(kJanuary), 660);
}

TEST(TimeZoneTest, KolkataHasNoDaylightTime) {
  Result<TimeZone> zone = TimeZone::Load("Asia/Kolkata");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  const TIME_ZONE_INFORMATION& info = zone->information();
  EXPECT_EQ(info.Bias, -330);
  EXPECT_EQ(info.DaylightBias, 0);
  EXPECT_FALSE(zone->HasDaylightTime());
  EXPECT_EQ(zone->IdAt(kJuly), TIME_ZONE_ID_UNKNOWN);
  EXPECT_EQ(zone->OffsetMinutesAt(kJuly), 330);
}

TEST(TimeZoneTest, TransitionTimesOutsideOneDayMoveTheWeekday) {
  // Thursday 26:00 is Friday 02:00; Sunday -1:00 is Saturday 23:00.
  Result<TimeZone> zone =
      TimeZone::FromPosixRule("<-02>2<-01>,M3.4.4/26,M10.5.0/-1");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  ExpectDate(zone->information().DaylightDate, 3, 5, 4, 2);
  ExpectDate(zone->information().StandardDate, 10, 6, 5, 23);
  EXPECT_EQ(Name(zone->information().StandardName), "-02");
}

TEST(TimeZoneTest, DaylightTimeAllYearIsAFixedZone) {
  Result<TimeZone> zone = TimeZone::FromPosixRule("EST5EDT,0/0,J365/25");
  ASSERT_TRUE(zone.ok()) << zone.status().message();
  EXPECT_EQ(zone->information().Bias, 240);
  EXPECT_FALSE(zone->HasDaylightTime());
}

TEST(TimeZoneTest, RefusesWhatTheHandheldCannotExpress) {
  EXPECT_FALSE(TimeZone::FromPosixRule("XXX3YYY,J60,J300").ok());
  EXPECT_FALSE(TimeZone::FromPosixRule("CET-1CEST,M3.5.0").ok());
  EXPECT_FALSE(TimeZone::FromPosixRule("C-1").ok());
  EXPECT_FALSE(TimeZone::FromPosixRule("CET-1CEST,M13.5.0,M10.5.0").ok());
}

TEST(TimeZoneTest, RefusesBadNames) {
  EXPECT_FALSE(TimeZone::Load("Mars/Olympus_Mons").ok());
  EXPECT_FALSE(TimeZone::Load("../etc/passwd").ok());
  EXPECT_FALSE(TimeZone::Load("/etc/passwd").ok());
  EXPECT_FALSE(TimeZone::Load("").ok());
  EXPECT_FALSE(TimeZone::Load("Europe").ok());  // a directory
}

TEST(TimeZoneTest, SystemTimeFromUnixMilliseconds) {
  SYSTEMTIME t = SystemTimeFromUnixMilliseconds(1721044800123);
  EXPECT_EQ(t.wYear, 2024);
  EXPECT_EQ(t.wMonth, 7);
  EXPECT_EQ(t.wDay, 15);
  EXPECT_EQ(t.wDayOfWeek, 1);  // Monday
  EXPECT_EQ(t.wHour, 12);
  EXPECT_EQ(t.wMinute, 0);
  EXPECT_EQ(t.wSecond, 0);
  EXPECT_EQ(t.wMilliseconds, 123);
}

}  // namespace
}  // namespace device
