// The 98-byte recurrence block of recurring appointments and tasks (field
// 19 of their records), as a typed value:
//    0  16  pattern start date (time record)
//   16  16  pattern end date (time record)
//   32  32  reserved
//   64   1  recurrence type (RecurrenceType values)
//   65   4  occurrences
//   69   1  end kind (EndKind values)
//   70   4  reserved
//   74   4  interval
//   78   4  day-of-week mask (bit 0 Sunday .. bit 6 Saturday)
//   82   4  day of month
//   86   4  instance (1..4, 5 = the last) for the -nth types
//   90   4  month of year
//   94   4  exception count (appointments: the exception records that follow
//           the block; tasks: 0)
// All integers little-endian. The reserved bytes are kept as they came so
// that a block decoded and encoded again is the same bytes.
#ifndef VORN_DESKTOP_FORMATS_RECURRENCE_H_
#define VORN_DESKTOP_FORMATS_RECURRENCE_H_

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/wire/time_record.h"
#include "protocol/wire.h"

namespace desktop {

enum class RecurrenceType : std::uint8_t {
  kDaily = 0,
  kWeekly = 1,
  kMonthly = 2,
  kMonthNth = 3,
  kYearly = 5,
  kYearNth = 6,
};

enum class EndKind : std::uint8_t {
  kByDate = 1,      // ends on the pattern end date
  kAfterCount = 2,  // ends after `occurrences` occurrences
  kNever = 3,
};

struct Recurrence {
  using Block = std::array<std::uint8_t, protocol::kRecurrenceBlockSize>;

  TimeRecord pattern_start;
  TimeRecord pattern_end;
  // Kept as a byte: a block may carry a type the handheld does not know.
  std::uint8_t type = static_cast<std::uint8_t>(RecurrenceType::kWeekly);
  std::uint32_t occurrences = 0;
  std::uint8_t end_kind = static_cast<std::uint8_t>(EndKind::kNever);
  std::uint32_t interval = 1;
  std::uint32_t day_of_week_mask = 0;
  std::uint32_t day_of_month = 0;
  std::uint32_t instance = 0;
  std::uint32_t month_of_year = 0;
  std::uint32_t exception_count = 0;
  std::array<std::uint8_t, 32> reserved{};
  std::array<std::uint8_t, 4> reserved2{};

  // Reads a block; fails unless `bytes` holds at least 98 bytes.
  static Result<Recurrence> Decode(std::span<const std::uint8_t> bytes);
  Block Encode() const;

  // The name of a type ("daily", "weekly", "monthly", "monthnth", "yearly",
  // "yearnth") and back; an unknown type has no name.
  static std::string_view TypeName(std::uint8_t type);
  static std::optional<std::uint8_t> TypeFromName(std::string_view name);
  // "date", "count", "never" and back.
  static std::string_view EndKindName(std::uint8_t kind);
  static std::optional<std::uint8_t> EndKindFromName(std::string_view name);

  bool operator==(const Recurrence&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_RECURRENCE_H_
