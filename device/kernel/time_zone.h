// The handheld's time zone, derived from the host's zone data.
//
// The handheld describes its zone with one TIME_ZONE_INFORMATION: a bias from
// UTC and, when the zone keeps daylight time, two yearly transitions in
// "day-in-month" form (wYear 0, wMonth, wDayOfWeek, wDay = occurrence 1..5
// where 5 means the last one of the month, and the local time of day). The
// host's zone data ends (TZif version 2 and later) with a POSIX TZ rule for
// the years after its table, which has exactly that shape; TimeZone turns
// that rule into the handheld's structure.
//
// Transition times outside 00:00..23:59 (a few zones switch at "25:00" or
// "-1:00" of a weekday) cannot be expressed in a SYSTEMTIME: they are moved
// to the neighbouring weekday of the same occurrence, which is exact except
// in the rare months where that weekday's occurrence number differs.
// Rules in Julian-day form (Jn, n) are refused, except the usual spelling of
// daylight time all year round, which becomes a fixed zone.
#ifndef VORN_DEVICE_KERNEL_TIME_ZONE_H_
#define VORN_DEVICE_KERNEL_TIME_ZONE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "device/image/status.h"
#include "platform/types.h"

namespace device {

class TimeZone {
 public:
  // The host's directory of zone files.
  static constexpr std::string_view kZoneInfoDir = "/usr/share/zoneinfo";

  // Reads the zone `name` (an IANA name such as "Europe/Berlin") from
  // `zoneInfoDir`. Fails with a one-line message when the name is malformed
  // (absolute, "..", unusual characters), the file is missing or not zone
  // data, or its rule cannot be expressed on the handheld.
  static Result<TimeZone> Load(std::string_view name,
                               std::string_view zoneInfoDir = kZoneInfoDir);

  // Parses a POSIX TZ rule such as "CET-1CEST,M3.5.0,M10.5.0/3".
  static Result<TimeZone> FromPosixRule(std::string_view rule);

  // The handheld's description of the zone. Bias, StandardBias and
  // DaylightBias are in minutes (UTC = local time + bias); the dates are
  // all zero when the zone keeps no daylight time.
  const TIME_ZONE_INFORMATION& information() const { return info_; }
  bool HasDaylightTime() const { return info_.DaylightDate.wMonth != 0; }

  // Whether daylight time is in effect at `unixSeconds` (UTC).
  bool IsDaylightAt(std::int64_t unixSeconds) const;
  // TIME_ZONE_ID_UNKNOWN for a zone without daylight time, else
  // TIME_ZONE_ID_DAYLIGHT or TIME_ZONE_ID_STANDARD for `unixSeconds`.
  DWORD IdAt(std::int64_t unixSeconds) const;
  // Minutes to add to UTC to get local time at `unixSeconds`.
  std::int32_t OffsetMinutesAt(std::int64_t unixSeconds) const;

 private:
  TimeZone() = default;

  TIME_ZONE_INFORMATION info_{};
};

// The calendar date and time of a moment, as a SYSTEMTIME (UTC when given a
// UTC moment). `milliseconds` counts from 1970-01-01 00:00:00.
SYSTEMTIME SystemTimeFromUnixMilliseconds(std::int64_t milliseconds);

}  // namespace device

#endif  // VORN_DEVICE_KERNEL_TIME_ZONE_H_
