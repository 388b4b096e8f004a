// Byte layouts of appointment and task records written out by hand for the
// codec tests: every offset is spelled here, independent of the codecs.
#ifndef VORN_DESKTOP_FORMATS_CALENDAR_BYTES_TEST_H_
#define VORN_DESKTOP_FORMATS_CALENDAR_BYTES_TEST_H_

#include <cstdint>

#include "tests/support/packet_builder.h"

namespace desktop::test_bytes {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::LE16;
using testing_support::LE32;

// A 16-byte time record.
inline Bytes Time(std::uint16_t year, std::uint16_t month, std::uint16_t dow,
                  std::uint16_t day, std::uint16_t hour = 0,
                  std::uint16_t minute = 0, std::uint16_t second = 0) {
  return Cat({LE16(year), LE16(month), LE16(dow), LE16(day), LE16(hour),
              LE16(minute), LE16(second), LE16(0)});
}

// The 98-byte recurrence block, field by field at its offsets.
inline Bytes Block(const Bytes& start, const Bytes& end, std::uint8_t type,
                   std::uint32_t occurrences, std::uint8_t end_kind,
                   std::uint32_t interval, std::uint32_t mask,
                   std::uint32_t day_of_month, std::uint32_t instance,
                   std::uint32_t month, std::uint32_t exceptions) {
  Bytes block =
      Cat({start, end, Bytes(32, 0), Bytes{type}, LE32(occurrences),
           Bytes{end_kind}, Bytes(4, 0), LE32(interval), LE32(mask),
           LE32(day_of_month), LE32(instance), LE32(month), LE32(exceptions)});
  return block;
}

}  // namespace desktop::test_bytes

#endif  // VORN_DESKTOP_FORMATS_CALENDAR_BYTES_TEST_H_
