#include "desktop/formats/appointment.h"

#include <gtest/gtest.h>

#include "desktop/formats/calendar_bytes_test.h"
#include "desktop/wire/reply_reader.h"

namespace desktop {
namespace {

using test_bytes::Block;
using test_bytes::Bytes;
using test_bytes::Time;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

constexpr std::uint32_t kNot = 0xFFFFFFFF;

Bytes Deleted(const Bytes& original) {
  return Cat({original, Bytes(32, 0), LE32(1), LE32(kNot), LE32(kNot),
              LE32(kNot), LE32(kNot), LE32(0), LE32(0), LE32(0)});
}

Bytes Changed(const Bytes& original, const Bytes& start, const Bytes& end) {
  return Cat({original, start, end, LE32(0), LE32(kNot), LE32(0xFFFF), LE32(30),
              LE32(3), LE32(1), LE32(1), LE32(1), Counted(u"Moved"),
              Counted(u"Room 2"), Counted(u"")});
}

// The fields of a weekly appointment in the handheld's order, as property
// records (id, value).
Bytes Fields(const Bytes& recurrence) {
  return Cat({LE32(16),  Time(2026, 3, 1, 2, 9, 30),
              LE32(18),  Time(2026, 3, 1, 2, 10, 45),
              LE32(5),   LE32(1),
              LE32(6),   LE32(3),
              LE32(8),   LE32(15),
              LE32(7),   LE32(1),
              LE32(4),   LE32(0),
              LE32(1),   Counted(u"Standup"),
              LE32(2),   Counted(u"Hall"),
              LE32(3),   Counted(u"Work, Team"),
              LE32(9),   Counted(u"line one\r\nline two"),
              recurrence});
}

Bytes WeeklyWithTwoExceptions() {
  return Cat({LE32(19),
              Block(Time(2026, 3, 1, 2), Time(2026, 6, 1, 29), 1, 0, 1, 1, 0x06,
                    0, 0, 0, 2),
              Deleted(Time(2026, 3, 1, 9, 9, 30)),
              Changed(Time(2026, 3, 1, 16, 9, 30), Time(2026, 3, 2, 17, 11, 0),
                      Time(2026, 3, 2, 17, 12, 0))});
}

Appointment Expected() {
  Appointment a;
  a.oid = 0x1234;
  a.start = TimeRecord::FromDate(2026, 3, 2);
  a.start.hour = 9;
  a.start.minute = 30;
  a.end = a.start;
  a.end.hour = 10;
  a.end.minute = 45;
  a.is_private = true;
  a.busy_status = 3;
  a.reminder_minutes = 15;
  a.reminder_set = true;
  a.all_day = false;
  a.subject = u"Standup";
  a.location = u"Hall";
  a.categories = u"Work, Team";
  a.body = u"line one\r\nline two";
  Recurrence r;
  r.pattern_start = TimeRecord::FromDate(2026, 3, 2);
  r.pattern_end = TimeRecord::FromDate(2026, 6, 29);
  r.type = 1;
  r.end_kind = 1;
  r.interval = 1;
  r.day_of_week_mask = 0x06;
  r.exception_count = 2;
  a.recurrence = r;
  AppointmentException deleted;
  deleted.original_date = TimeRecord::FromDate(2026, 3, 9);
  deleted.original_date.hour = 9;
  deleted.original_date.minute = 30;
  deleted.deleted = true;
  AppointmentException changed;
  changed.original_date = TimeRecord::FromDate(2026, 3, 16);
  changed.original_date.hour = 9;
  changed.original_date.minute = 30;
  changed.start = TimeRecord::FromDate(2026, 3, 17);
  changed.start.hour = 11;
  changed.end = changed.start;
  changed.end.hour = 12;
  changed.reminder_set = true;
  changed.reminder_minutes = 30;
  changed.busy_status = 3;
  changed.subject = u"Moved";
  changed.location = u"Room 2";
  changed.body = u"";
  a.exceptions = {deleted, changed};
  return a;
}

Result<Appointment> ReadReply(const Bytes& reply) {
  ReplyReader reader(reply);
  Result<WireRecord> record =
      WireRecord::Read(reader, Appointment::PropertyKindOf);
  if (!record.ok()) return record.status();
  if (!reader.AtEnd()) return Status::Error("bytes left after the record");
  return Appointment::FromWireRecord(*record);
}

TEST(Appointment, ReplyWithExceptionsDecodesToTheModelAndEncodesTheSameBytes) {
  Bytes reply = Cat({Bytes{1, 0}, LE32(0x1234), Bytes{12},
                     Fields(WeeklyWithTwoExceptions())});
  Result<Appointment> a = ReadReply(reply);
  ASSERT_TRUE(a.ok()) << a.status().message();
  EXPECT_EQ(*a, Expected());
  EXPECT_EQ(a->EncodeReply(), reply);
}

TEST(Appointment, WrittenFormDecodesAndEncodesTheSameBytes) {
  Bytes record = Cat({LE32(12), Fields(WeeklyWithTwoExceptions())});
  Result<Appointment> a = Appointment::Decode(record);
  ASSERT_TRUE(a.ok()) << a.status().message();
  Appointment expected = Expected();
  expected.oid.reset();
  EXPECT_EQ(*a, expected);
  EXPECT_EQ(a->Encode(), record);
}

TEST(Appointment, WithoutRecurrenceNoField19IsWritten) {
  Bytes record = Cat({LE32(11), Fields({})});
  Result<Appointment> a = Appointment::Decode(record);
  ASSERT_TRUE(a.ok()) << a.status().message();
  EXPECT_FALSE(a->recurrence.has_value());
  EXPECT_EQ(a->Encode(), record);
}

TEST(Appointment, EveryPatternTypeAndEndKindTravels) {
  const std::uint8_t types[] = {0, 1, 2, 3, 5, 6};
  for (std::uint8_t type : types) {
    for (std::uint8_t end = 1; end <= 3; ++end) {
      Bytes block =
          Cat({LE32(19), Block(Time(2026, 1, 4, 1), Time(2027, 1, 5, 1), type,
                               10, end, 3, 0x41, 15, 2, 4, 0)});
      Bytes record = Cat({LE32(12), Fields(block)});
      Result<Appointment> a = Appointment::Decode(record);
      ASSERT_TRUE(a.ok()) << a.status().message();
      ASSERT_TRUE(a->recurrence.has_value());
      EXPECT_EQ(a->recurrence->type, type);
      EXPECT_EQ(a->recurrence->end_kind, end);
      EXPECT_EQ(a->Encode(), record);
    }
  }
}

TEST(Appointment, SensitivityOneIsPrivateOtherValuesNormal) {
  for (std::uint32_t value : {0u, 1u, 2u, 3u}) {
    Bytes record = Cat({LE32(1), LE32(5), LE32(value)});
    Result<Appointment> a = Appointment::Decode(record);
    ASSERT_TRUE(a.ok());
    EXPECT_EQ(a->is_private, value == 1) << value;
  }
}

TEST(Appointment, FlagsCountByTheirLow16Bits) {
  Bytes record = Cat({LE32(2), LE32(4), LE32(0x10000), LE32(7), LE32(0xFFFF)});
  Result<Appointment> a = Appointment::Decode(record);
  ASSERT_TRUE(a.ok());
  EXPECT_FALSE(a->all_day);
  EXPECT_TRUE(a->reminder_set);
}

TEST(Appointment, IdsWithoutValueAreSkippedAsTheHandheldSkipsThem) {
  // 10-15 and 17 carry no value: the next id follows at once.
  Bytes record =
      Cat({LE32(4), LE32(10), LE32(17), LE32(1), Counted(u"After"), LE32(99)});
  Result<Appointment> a = Appointment::Decode(record);
  ASSERT_TRUE(a.ok()) << a.status().message();
  EXPECT_EQ(a->subject, u"After");
}

TEST(Appointment, ShortRecordsAndWrongKindsAreErrors) {
  Bytes record = Cat({LE32(1), LE32(1), LE32(40)});
  EXPECT_FALSE(Appointment::Decode(record).ok());
  // A block that announces an exception the record does not carry.
  Bytes block = Cat({LE32(1), LE32(19),
                     Block(Time(2026, 1, 4, 1), Time(2026, 1, 4, 1), 0, 0, 3, 1,
                           0, 0, 0, 0, 1)});
  EXPECT_FALSE(Appointment::Decode(block).ok());
  WireRecord wrong;
  wrong.properties.push_back({16, std::uint32_t{5}});
  EXPECT_FALSE(Appointment::FromWireRecord(wrong).ok());
  WireRecord unknown;
  unknown.properties.push_back({12, std::uint32_t{5}});
  EXPECT_FALSE(Appointment::FromWireRecord(unknown).ok());
}

TEST(Appointment, ReplyCutInsideAnExceptionStringIsAnError) {
  Bytes reply =
      Cat({Bytes{1, 0}, LE32(7), Bytes{12}, Fields(WeeklyWithTwoExceptions())});
  reply.resize(reply.size() - 3);
  EXPECT_FALSE(ReadReply(reply).ok());
}

}  // namespace
}  // namespace desktop
