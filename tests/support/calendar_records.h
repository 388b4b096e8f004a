// Pieces of appointment and task records built by hand for byte-exact
// tests: property records, time records and the 98-byte recurrence block.
#ifndef VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_
#define VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_

#include <cstdint>
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
struct RecurrenceSpec {
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
Bytes RecurrenceBlock(const RecurrenceSpec& spec);

// A record's property stream: u32 field count, then the given fields, each
// already as u32 id and value.
Bytes FieldList(std::uint32_t count, std::initializer_list<Bytes> fields);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_CALENDAR_RECORDS_H_
