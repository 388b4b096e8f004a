// How a recurring item keeps its pattern and its exceptions in its record:
// one blob property (0x40150041 for appointments, 0x41160041 for tasks),
// little-endian:
//
//   0     u16  format, 1
//   2     u32  interval
//   6     u32  recurrence type (olRecursDaily ... olRecursYearNth)
//   10    the type's words, zero where unused:
//           daily and others  12 bytes: 0, 0, 0
//           weekly            16 bytes: day-of-week mask, 0, 0, 0
//           monthly           16 bytes: day of month, 0, 0, 0
//           month-nth         20 bytes: instance, day-of-week mask, 0, 0, 0
//           yearly            12 bytes: day of month, month of year, 0
//           year-nth          12 bytes: month of year, instance, mask
//   E     u32  end type: 0x2021 ends by date, 0x2022 after a count,
//              0x2023 never (E = 22 for types 0 and above 3, 26 for types
//              1 and 2, 30 for type 3)
//   E+4   u32  occurrences (the count to end after, else the computed one)
//   E+8   f64  pattern start date (DATE, as set)
//   E+16  f64  pattern end date (DATE: as set when the pattern ends by
//              date, the last occurrence's day when it ends after a count,
//              the no-date value when it never ends)
//   E+24  u32  exception count, then each exception:
//           f64 original date, u32 deleted (1) or changed (0),
//           f64 start, f64 end, i32 busy status, i16 reminder set,
//           i32 reminder minutes before, then subject, location and body,
//           each as u32 character count and that many UTF-16 units.
#ifndef VORN_DEVICE_PIM_RECURRENCE_RECORD_H_
#define VORN_DEVICE_PIM_RECURRENCE_RECORD_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/pim/recurrence_rule.h"
#include "platform/objstore_types.h"

namespace device {

inline constexpr CEPROPID kAppointmentRecurrence = 0x40150041;
inline constexpr CEPROPID kTaskRecurrence = 0x41160041;

inline constexpr DWORD kStoredEndByDate = 0x2021;
inline constexpr DWORD kStoredEndAfterCount = 0x2022;
inline constexpr DWORD kStoredEndNever = 0x2023;

// A changed or deleted occurrence of a recurring appointment (an
// exception of its pattern).
struct OccurrenceChange {
  DATE originalDate = 0;
  bool deleted = false;
  DATE start = 0;
  DATE end = 0;
  LONG busyStatus = 0;
  VARIANT_BOOL reminderSet = VARIANT_FALSE;
  LONG reminderMinutesBefore = 0;
  std::u16string subject;
  std::u16string location;
  std::u16string body;

  std::int32_t originalDay() const;
  friend bool operator==(const OccurrenceChange&,
                         const OccurrenceChange&) = default;
};

struct RecurrenceRecord {
  RecurrenceRule rule;
  // The pattern's start and end dates as they were set, time included;
  // their days are the rule's start and end days.
  DATE startDate = 0;
  DATE endDate = 0;
  std::vector<OccurrenceChange> exceptions;

  // The exception of the occurrence originally on `day`; null when none.
  OccurrenceChange* ExceptionOn(std::int32_t day);
  friend bool operator==(const RecurrenceRecord&,
                         const RecurrenceRecord&) = default;
};

// Where the end-type word stands for a recurrence type: 22, 26 or 30.
std::size_t StoredEndTypeOffset(LONG type);

std::vector<std::uint8_t> EncodeRecurrence(const RecurrenceRecord& record);
// Nullopt for a blob that is not a whole recurrence record.
std::optional<RecurrenceRecord> DecodeRecurrence(
    const std::vector<std::uint8_t>& blob);

}  // namespace device

#endif  // VORN_DEVICE_PIM_RECURRENCE_RECORD_H_
