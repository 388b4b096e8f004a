#include "tests/support/calendar_records.h"

namespace testing_support {

Bytes TimeBytes(std::uint16_t year, std::uint16_t month,
                std::uint16_t dayOfWeek, std::uint16_t day, std::uint16_t hour,
                std::uint16_t minute, std::uint16_t second,
                std::uint16_t millis) {
  return Cat({LE16(year), LE16(month), LE16(dayOfWeek), LE16(day), LE16(hour),
              LE16(minute), LE16(second), LE16(millis)});
}

Bytes PropLong(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}

Bytes PropTime(std::uint32_t id, const Bytes& time) {
  return Cat({LE32(id), time});
}

Bytes PropString(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}

Bytes PropBlob(std::uint32_t id, const Bytes& block) {
  return Cat({LE32(id), block});
}

Bytes RecurrenceBlock(const RecurrenceFields& fields) {
  return Cat({fields.start, fields.end, Bytes(32, 0), Bytes{fields.type},
              LE32(fields.occurrences), Bytes{fields.endKind}, Bytes(4, 0),
              LE32(fields.interval), LE32(fields.dayOfWeekMask),
              LE32(fields.dayOfMonth), LE32(fields.instance),
              LE32(fields.monthOfYear), LE32(fields.exceptionCount)});
}

Bytes FieldList(std::uint32_t count, std::initializer_list<Bytes> fields) {
  Bytes out = LE32(count);
  for (const Bytes& field : fields) out = Cat({out, field});
  return out;
}

Bytes AppointmentReply::Build(std::uint32_t oid) const {
  auto count = static_cast<std::uint8_t>(recurrence.empty() ? 11 : 12);
  return Cat({Bytes{1, 0}, LE32(oid), Bytes{count}, PropTime(16, start),
              PropTime(18, end), PropLong(5, isPrivate), PropLong(6, busy),
              PropLong(8, minutes), PropLong(7, reminder), PropLong(4, allDay),
              PropString(1, subject), PropString(2, location),
              PropString(3, categories), PropString(9, body), recurrence});
}

Bytes TaskReply::Build(std::uint32_t oid) const {
  auto count = static_cast<std::uint8_t>(recurrence.empty() ? 10 : 11);
  return Cat({Bytes{1, 0}, LE32(oid), Bytes{count}, PropTime(3, start),
              PropTime(4, due), PropLong(7, isPrivate), PropLong(5, importance),
              PropTime(10, reminderTime), PropLong(9, reminder),
              PropLong(6, complete), PropString(1, subject),
              PropString(2, categories), PropString(11, body), recurrence});
}

}  // namespace testing_support
