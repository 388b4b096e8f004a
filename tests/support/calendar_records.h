// Pieces of appointment and task records built by hand for byte-exact
// tests: property records, time records and the 98-byte recurrence block.
#ifndef VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_
#define VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/support/packet_builder.h"

namespace testing_support {

// A 16-byte time record.
Bytes TimeBytes(std::uint16_t year, std::uint16_t month,
                std::uint16_t dayOfWeek, std::uint16_t day,
                std::uint16_t hour = 0, std::uint16_t minute = 0,
                std::uint16_t second = 0, std::uint16_t millis = 0);

// Property records as the reply writers append them.
Bytes PropLong(std::uint32_t id, std::uint32_t value);
Bytes PropTime(std::uint32_t id, const Bytes& time);
Bytes PropString(std::uint32_t id, std::u16string_view text);
Bytes PropBlob(std::uint32_t id, const Bytes& block);

// The fields of a recurrence block; reserved bytes are zero.
struct RecurrenceFields {
  Bytes start = Bytes(16, 0);
  Bytes end = Bytes(16, 0);
  std::uint8_t type = 0;
  std::uint32_t occurrences = 0;
  std::uint8_t endKind = 0;
  std::uint32_t interval = 0;
  std::uint32_t dayOfWeekMask = 0;
  std::uint32_t dayOfMonth = 0;
  std::uint32_t instance = 0;
  std::uint32_t monthOfYear = 0;
  std::uint32_t exceptionCount = 0;
};
Bytes RecurrenceBlock(const RecurrenceFields& fields);

// What GetRecord sends for an appointment: the header and the fields in
// their order; `recurrence` is field 19 with the exception records.
struct AppointmentReply {
  Bytes start;
  Bytes end;
  std::uint32_t isPrivate = 0;
  std::uint32_t busy = 2;
  std::uint32_t minutes = 15;
  std::uint32_t reminder = 0;
  std::uint32_t allDay = 0;
  std::u16string subject;
  std::u16string location;
  std::u16string categories;
  std::u16string body;
  Bytes recurrence;
  Bytes Build(std::uint32_t oid) const;
};

// The same for a task; `recurrence` is field 19. Dates default to the
// no-date value (4501-01-01).
struct TaskReply {
  Bytes start = TimeBytes(4501, 1, 6, 1);
  Bytes due = TimeBytes(4501, 1, 6, 1);
  std::uint32_t isPrivate = 0;
  std::uint32_t importance = 1;
  Bytes reminderTime = TimeBytes(4501, 1, 6, 1);
  std::uint32_t reminder = 0;
  std::uint32_t complete = 0;
  std::u16string subject;
  std::u16string categories;
  std::u16string body;
  Bytes recurrence;
  Bytes Build(std::uint32_t oid) const;
};

// A record's property stream: u32 field count, then the given fields, each
// already as u32 id and value.
Bytes FieldList(std::uint32_t count, std::initializer_list<Bytes> fields);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_
