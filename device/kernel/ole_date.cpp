#include "device/kernel/ole_date.h"

#include <cmath>
#include <cstdint>

namespace device {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

bool IsLeap(std::int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(std::int64_t year, int month) {
  static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30,
                                    31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to the civil date (proleptic Gregorian).
std::int64_t DaysFromCivil(std::int64_t y, int m, int d) {
  y -= m <= 2 ? 1 : 0;
  std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  std::int64_t yoe = y - era * 400;
  std::int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

void CivilFromDays(std::int64_t z, std::int64_t* year, int* month, int* day) {
  z += 719468;
  std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  std::int64_t doe = z - era * 146097;
  std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  std::int64_t mp = (5 * doy + 2) / 153;
  *day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  *month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  *year = yoe + era * 400 + (*month <= 2 ? 1 : 0);
}

// 1899-12-30 counted from 1970-01-01.
const std::int64_t kOleEpochDays = DaysFromCivil(1899, 12, 30);

}  // namespace

std::optional<double> SystemTimeToOleDate(const SYSTEMTIME& time) {
  if (time.wYear < 100 || time.wYear > 9999 || time.wMonth < 1 ||
      time.wMonth > 12 || time.wDay < 1 ||
      time.wDay > DaysInMonth(time.wYear, time.wMonth) || time.wHour > 23 ||
      time.wMinute > 59 || time.wSecond > 59) {
    return std::nullopt;
  }
  std::int64_t days =
      DaysFromCivil(time.wYear, time.wMonth, time.wDay) - kOleEpochDays;
  double fraction = static_cast<double>(time.wHour * 3600 + time.wMinute * 60 +
                                        time.wSecond) /
                    static_cast<double>(kSecondsPerDay);
  return days >= 0 ? static_cast<double>(days) + fraction
                   : static_cast<double>(days) - fraction;
}

std::optional<SYSTEMTIME> OleDateToSystemTime(double date) {
  if (std::isnan(date) || date < kOleMinDate || date >= kOleDateLimit) {
    return std::nullopt;
  }
  double whole = std::trunc(date);
  double fraction = std::fabs(date - whole);
  auto days = static_cast<std::int64_t>(whole);
  auto seconds = static_cast<std::int64_t>(
      std::llround(fraction * static_cast<double>(kSecondsPerDay)));
  if (seconds >= kSecondsPerDay) {
    // Rounded up to the next midnight, which follows the day counted.
    seconds -= kSecondsPerDay;
    days += 1;
  }
  std::int64_t epochDays = days + kOleEpochDays;
  std::int64_t year = 0;
  int month = 0;
  int day = 0;
  CivilFromDays(epochDays, &year, &month, &day);
  if (year < 100 || year > 9999) return std::nullopt;
  SYSTEMTIME out{};
  out.wYear = static_cast<WORD>(year);
  out.wMonth = static_cast<WORD>(month);
  out.wDay = static_cast<WORD>(day);
  // 1970-01-01 was a Thursday (4).
  out.wDayOfWeek = static_cast<WORD>(((epochDays % 7) + 7 + 4) % 7);
  out.wHour = static_cast<WORD>(seconds / 3600);
  out.wMinute = static_cast<WORD>(seconds / 60 % 60);
  out.wSecond = static_cast<WORD>(seconds % 60);
  out.wMilliseconds = 0;
  return out;
}

}  // namespace device
