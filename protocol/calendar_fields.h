// Field ids of appointment and task records on the wire, and the layouts of
// the 98-byte recurrence block and the 80-byte appointment exception record.
// Strings travel as counted UTF-16 strings, dates as 16-byte time records,
// the other values as u32.
#ifndef VORN_PROTOCOL_CALENDAR_FIELDS_H_
#define VORN_PROTOCOL_CALENDAR_FIELDS_H_

#include <cstddef>
#include <cstdint>

namespace protocol {

// Appointments (data type 2). Ids 10-15 and 17 carry no value.
inline constexpr std::uint32_t kAppointmentSubject = 1;
inline constexpr std::uint32_t kAppointmentLocation = 2;
inline constexpr std::uint32_t kAppointmentCategories = 3;
inline constexpr std::uint32_t kAppointmentAllDay = 4;
inline constexpr std::uint32_t kAppointmentPrivate = 5;
inline constexpr std::uint32_t kAppointmentBusyStatus = 6;
inline constexpr std::uint32_t kAppointmentReminderSet = 7;
inline constexpr std::uint32_t kAppointmentReminderMinutes = 8;
inline constexpr std::uint32_t kAppointmentBody = 9;
inline constexpr std::uint32_t kAppointmentStart = 16;
inline constexpr std::uint32_t kAppointmentEnd = 18;
inline constexpr std::uint32_t kRecurrenceField = 19;

// Tasks (data type 3). Ids 8 and 12-18 carry no value; 19 is the
// recurrence block as for appointments.
inline constexpr std::uint32_t kTaskSubject = 1;
inline constexpr std::uint32_t kTaskCategories = 2;
inline constexpr std::uint32_t kTaskStartDate = 3;
inline constexpr std::uint32_t kTaskDueDate = 4;
inline constexpr std::uint32_t kTaskImportance = 5;
inline constexpr std::uint32_t kTaskComplete = 6;
inline constexpr std::uint32_t kTaskPrivate = 7;
inline constexpr std::uint32_t kTaskReminderSet = 9;
inline constexpr std::uint32_t kTaskReminderTime = 10;
inline constexpr std::uint32_t kTaskBody = 11;

// Recurrence block (98 bytes).
inline constexpr std::size_t kRecurStartDate = 0;     // time record
inline constexpr std::size_t kRecurEndDate = 16;      // time record
inline constexpr std::size_t kRecurType = 64;         // u8
inline constexpr std::size_t kRecurOccurrences = 65;  // u32
inline constexpr std::size_t kRecurEndKind = 69;      // u8
inline constexpr std::size_t kRecurInterval = 74;     // u32
inline constexpr std::size_t kRecurDayOfWeekMask = 78;
inline constexpr std::size_t kRecurDayOfMonth = 82;
inline constexpr std::size_t kRecurInstance = 86;
inline constexpr std::size_t kRecurMonthOfYear = 90;
inline constexpr std::size_t kRecurExceptionCount = 94;

// End kinds (offset 69).
inline constexpr std::uint8_t kRecurEndsByDate = 1;
inline constexpr std::uint8_t kRecurEndsAfterCount = 2;
inline constexpr std::uint8_t kRecurNeverEnds = 3;

// The cap of the interval and of the occurrences written to the handheld.
inline constexpr std::uint32_t kRecurrenceCap = 999;

// Appointment exception record (80 bytes), followed by the strings its
// presence words announce (subject, location, body; counted, no id).
inline constexpr std::size_t kExceptionRecordSize = 80;
inline constexpr std::size_t kExceptOriginalDate = 0;  // time record
inline constexpr std::size_t kExceptStart = 16;        // time record
inline constexpr std::size_t kExceptEnd = 32;          // time record
inline constexpr std::size_t kExceptDeleted = 48;      // u32
inline constexpr std::size_t kExceptReserved = 52;     // u32 0xFFFFFFFF
inline constexpr std::size_t kExceptReminderSet = 56;  // u32, ~0 = not given
inline constexpr std::size_t kExceptReminderMinutes = 60;
inline constexpr std::size_t kExceptBusyStatus = 64;
inline constexpr std::size_t kExceptSubjectPresent = 68;
inline constexpr std::size_t kExceptLocationPresent = 72;
inline constexpr std::size_t kExceptBodyPresent = 76;
inline constexpr std::uint32_t kExceptNotGiven = 0xFFFFFFFF;

// Properties of the stored pattern in the record databases, and where its
// end-type word stands.
inline constexpr std::uint32_t kAppointmentPatternProperty = 0x40150041;
inline constexpr std::uint32_t kTaskPatternProperty = 0x41160041;
inline constexpr std::size_t kStoredPatternTypeOffset = 6;
inline constexpr std::uint32_t kStoredEndByDate = 0x2021;
inline constexpr std::uint32_t kStoredEndAfterCount = 0x2022;

// The save result that makes the appointment handler retry with a shorter
// reminder.
inline constexpr std::uint32_t kSaveReminderRetry = 0x80040067;

}  // namespace protocol

#endif  // VORN_PROTOCOL_CALENDAR_FIELDS_H_
