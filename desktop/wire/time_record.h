// The handheld's 16-byte time record: eight u16 fields in the layout of its
// SYSTEMTIME (year, month, day of week, day, hour, minute, second,
// milliseconds), and its text forms on the desktop.
#ifndef VORN_DESKTOP_WIRE_TIME_RECORD_H_
#define VORN_DESKTOP_WIRE_TIME_RECORD_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "desktop/base/status.h"
#include "protocol/wire.h"

namespace desktop {

struct TimeRecord {
  std::uint16_t year = 0;
  std::uint16_t month = 0;
  std::uint16_t day_of_week = 0;  // 0 = Sunday
  std::uint16_t day = 0;
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;

  // The year the handheld uses for "no date" (4501-01-01).
  static constexpr std::uint16_t kNoDateYear = 4501;

  // A date at midnight with the day of week filled in.
  static TimeRecord FromDate(int year, int month, int day);

  // Parses "YYYY-MM-DD" or "YYYY-MM-DDTHH:MM:SS" (also the basic forms
  // "YYYYMMDD" and "YYYYMMDDTHHMMSS"); fails on anything else or on a date
  // that does not exist.
  static Result<TimeRecord> Parse(std::string_view text);

  // "YYYY-MM-DD" when the time of day is zero, else "YYYY-MM-DDTHH:MM:SS".
  std::string ToIso() const;
  // The same in the basic form without separators ("YYYYMMDD[THHMMSS]").
  std::string ToBasic() const;

  // True for the handheld's "no date" value (year 4501 or later).
  bool IsNoDate() const { return year >= kNoDateYear; }
  bool HasTimeOfDay() const {
    return hour != 0 || minute != 0 || second != 0 || milliseconds != 0;
  }

  // Wire form, little-endian.
  std::array<std::uint8_t, protocol::kTimeRecordSize> Encode() const;
  // Reads 16 bytes at `at`.
  static TimeRecord Decode(const std::uint8_t* at);

  bool operator==(const TimeRecord&) const = default;
};

// Day of week (0 = Sunday) of a proleptic Gregorian date.
int DayOfWeek(int year, int month, int day);

}  // namespace desktop

#endif  // VORN_DESKTOP_WIRE_TIME_RECORD_H_
