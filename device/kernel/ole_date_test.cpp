// Boundary cases of the OLE automation date conversions.
#include "device/kernel/ole_date.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

SYSTEMTIME Time(WORD y, WORD mo, WORD d, WORD h = 0, WORD mi = 0, WORD s = 0,
                WORD ms = 0) {
  SYSTEMTIME t{};
  t.wYear = y;
  t.wMonth = mo;
  t.wDay = d;
  t.wHour = h;
  t.wMinute = mi;
  t.wSecond = s;
  t.wMilliseconds = ms;
  return t;
}

void ExpectTime(double date, WORD y, WORD mo, WORD d, WORD h, WORD mi, WORD s,
                WORD dow) {
  std::optional<SYSTEMTIME> t = OleDateToSystemTime(date);
  ASSERT_TRUE(t.has_value()) << date;
  EXPECT_EQ(t->wYear, y) << date;
  EXPECT_EQ(t->wMonth, mo) << date;
  EXPECT_EQ(t->wDay, d) << date;
  EXPECT_EQ(t->wHour, h) << date;
  EXPECT_EQ(t->wMinute, mi) << date;
  EXPECT_EQ(t->wSecond, s) << date;
  EXPECT_EQ(t->wDayOfWeek, dow) << date;
  EXPECT_EQ(t->wMilliseconds, 0) << date;
}

TEST(OleDateTest, KnownDays) {
  EXPECT_EQ(SystemTimeToOleDate(Time(1899, 12, 30)), 0.0);
  EXPECT_EQ(SystemTimeToOleDate(Time(1900, 1, 1)), 2.0);
  EXPECT_EQ(SystemTimeToOleDate(Time(1900, 1, 1, 12)), 2.5);
  EXPECT_EQ(SystemTimeToOleDate(Time(1900, 1, 2, 6)), 3.25);
  EXPECT_EQ(SystemTimeToOleDate(Time(4501, 1, 1)), kOleNoDate);
  ExpectTime(0.0, 1899, 12, 30, 0, 0, 0, 6);
  ExpectTime(kOleNoDate, 4501, 1, 1, 0, 0, 0, 6);
  ExpectTime(36526.5, 2000, 1, 1, 12, 0, 0, 6);
}

TEST(OleDateTest, NegativeDatesCountTimeForward) {
  EXPECT_EQ(SystemTimeToOleDate(Time(1899, 12, 29, 6)), -1.25);
  ExpectTime(-1.25, 1899, 12, 29, 6, 0, 0, 5);
  ExpectTime(-0.5, 1899, 12, 30, 12, 0, 0, 6);
  ExpectTime(-2.0, 1899, 12, 28, 0, 0, 0, 4);
}

TEST(OleDateTest, MillisecondsIgnoredAndSecondsRounded) {
  EXPECT_EQ(SystemTimeToOleDate(Time(2000, 1, 1, 0, 0, 1, 999)),
            SystemTimeToOleDate(Time(2000, 1, 1, 0, 0, 1, 0)));
  double second = 1.0 / 86400.0;
  ExpectTime(36526.0 + 1.4 * second, 2000, 1, 1, 0, 0, 1, 6);
  ExpectTime(36526.0 + 1.6 * second, 2000, 1, 1, 0, 0, 2, 6);
  // Rounds up into the next day.
  ExpectTime(36526.0 + 86399.7 * second, 2000, 1, 2, 0, 0, 0, 0);
}

TEST(OleDateTest, RangeLimits) {
  EXPECT_EQ(SystemTimeToOleDate(Time(100, 1, 1)), kOleMinDate);
  ExpectTime(kOleMinDate, 100, 1, 1, 0, 0, 0, 5);
  EXPECT_FALSE(OleDateToSystemTime(kOleMinDate - 0.000001));
  std::optional<double> last =
      SystemTimeToOleDate(Time(9999, 12, 31, 23, 59, 59));
  ASSERT_TRUE(last);
  ExpectTime(*last, 9999, 12, 31, 23, 59, 59, 5);
  EXPECT_FALSE(OleDateToSystemTime(kOleDateLimit));
  // Rounds past 9999-12-31 23:59:59.
  EXPECT_FALSE(OleDateToSystemTime(kOleDateLimit - 0.1 / 86400.0));
  EXPECT_FALSE(SystemTimeToOleDate(Time(10000, 1, 1)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(99, 12, 31)));
  EXPECT_FALSE(OleDateToSystemTime(std::nan("")));
}

TEST(OleDateTest, InvalidFieldsFail) {
  EXPECT_FALSE(SystemTimeToOleDate(Time(2001, 2, 29)));
  EXPECT_TRUE(SystemTimeToOleDate(Time(2000, 2, 29)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(1900, 2, 29)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 0, 1)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 13, 1)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 1, 0)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 4, 31)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 1, 1, 24)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 1, 1, 0, 60)));
  EXPECT_FALSE(SystemTimeToOleDate(Time(2000, 1, 1, 0, 0, 60)));
}

TEST(OleDateTest, RoundTripsToTheSecond) {
  for (WORD year : {100, 1601, 1899, 1900, 1970, 2024, 4501, 9999}) {
    SYSTEMTIME in = Time(year, 7, 15, 13, 45, 7);
    std::optional<double> date = SystemTimeToOleDate(in);
    ASSERT_TRUE(date);
    std::optional<SYSTEMTIME> out = OleDateToSystemTime(*date);
    ASSERT_TRUE(out);
    EXPECT_EQ(out->wYear, year);
    EXPECT_EQ(out->wHour, 13);
    EXPECT_EQ(out->wMinute, 45);
    EXPECT_EQ(out->wSecond, 7);
  }
}

}  // namespace
}  // namespace device
