// The recurrence block through the appointment and task handlers on the
// emulated handheld: every type with every end kind written and read back
// whole, and the block's caps and corrections.
#include "agent/pim/recurrence.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/wire.h"
#include "tests/support/calendar_records.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::AppointmentReply;
using testing_support::Bytes;
using testing_support::Cat;
using testing_support::FieldList;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecurrenceBlock;
using testing_support::RecurrenceFields;
using testing_support::TaskReply;
using testing_support::TimeBytes;

Bytes Start() { return Cat({LE32(16), TimeBytes(2026, 2, 1, 2, 9, 0)}); }
Bytes End() { return Cat({LE32(18), TimeBytes(2026, 2, 1, 2, 10, 0)}); }
Bytes NoDate() { return TimeBytes(4501, 1, 6, 1); }

AppointmentReply Appointment(const Bytes& block) {
  AppointmentReply e;
  e.start = TimeBytes(2026, 2, 1, 2, 9, 0);
  e.end = TimeBytes(2026, 2, 1, 2, 10, 0);
  e.recurrence = Cat({LE32(19), block});
  return e;
}

class RecurrenceTest : public ::testing::Test {
 protected:
  // Adds one record of `dataType` and reads it back; returns the OID.
  std::uint32_t Add(std::uint8_t dataType, const Bytes& record,
                    std::string* messages = nullptr) {
    Bytes input = Cat({PacketBuilder(15, dataType)
                           .U32(1)
                           .U8(2)
                           .U8(dataType)
                           .U32(1)
                           .Raw(record)
                           .Frame(),
                       PacketBuilder(1, dataType).Frame()});
    auto outcome = handheld_.Converse(input);
    if (messages != nullptr) *messages = outcome.messages;
    auto frames = testing_support::SplitFrames(outcome.output);
    EXPECT_EQ(frames.size(), 2U);
    if (frames.empty() || frames[0].size() != 10) return 0;
    return protocol::GetU32(frames[0].data() + 2);
  }

  Bytes Get(std::uint8_t dataType, std::uint32_t oid) {
    return handheld_.Exchange({PacketBuilder(7, dataType).U32(oid).packet()},
                              dataType)[0];
  }

  InProcessHandheld handheld_;
};

// One type with its fields, from 2026-02-02, and what its series gives:
// occurrences up to the end date sent, and the last of four occurrences.
struct TypeCase {
  const char* name;
  RecurrenceFields fields;
  Bytes endDate;  // sent with end kind 1
  std::uint32_t countToEndDate;
  Bytes fourthOccurrence;
};

RecurrenceFields Fields(std::uint8_t type, std::uint32_t interval,
                        std::uint32_t mask, std::uint32_t dayOfMonth,
                        std::uint32_t instance, std::uint32_t month) {
  RecurrenceFields fields;
  fields.type = type;
  fields.interval = interval;
  fields.dayOfWeekMask = mask;
  fields.dayOfMonth = dayOfMonth;
  fields.instance = instance;
  fields.monthOfYear = month;
  return fields;
}

std::vector<TypeCase> TypeCases() {
  return {
      {"daily", Fields(0, 2, 0, 0, 0, 0), TimeBytes(2026, 2, 4, 12), 6,
       TimeBytes(2026, 2, 0, 8)},
      {"weekly", Fields(1, 1, olMonday | olWednesday, 0, 0, 0),
       TimeBytes(2026, 2, 4, 12), 4, TimeBytes(2026, 2, 3, 11)},
      {"monthly", Fields(2, 1, 0, 15, 0, 0), TimeBytes(2026, 5, 5, 1), 3,
       TimeBytes(2026, 5, 5, 15)},
      {"month-nth", Fields(3, 1, olTuesday, 0, 2, 0), TimeBytes(2026, 5, 5, 1),
       3, TimeBytes(2026, 5, 2, 12)},
      {"yearly", Fields(5, 1, 0, 29, 0, 2), TimeBytes(2028, 3, 3, 1), 3,
       TimeBytes(2029, 2, 3, 28)},
      {"year-nth", Fields(6, 1, olThursday, 0, 4, 11),
       TimeBytes(2028, 12, 0, 31), 3, TimeBytes(2029, 11, 4, 22)},
  };
}

// The block as sent: only the type's fields are read by the handheld, so
// the others are sent as garbage.
RecurrenceFields Sent(const TypeCase& c, std::uint8_t endKind) {
  RecurrenceFields fields = c.fields;
  fields.start = TimeBytes(2026, 2, 1, 2, 9, 15);
  fields.end = c.endDate;
  fields.endKind = endKind;
  fields.occurrences = 4;
  return fields;
}

// The block read back: the type's fields, the start at midnight and what
// the end kind gives.
RecurrenceFields Back(const TypeCase& c, std::uint8_t endKind) {
  RecurrenceFields fields;
  fields.type = c.fields.type;
  fields.interval = c.fields.interval;
  switch (c.fields.type) {
    case 1:
      fields.dayOfWeekMask = c.fields.dayOfWeekMask;
      break;
    case 2:
      fields.dayOfMonth = c.fields.dayOfMonth;
      break;
    case 3:
      fields.instance = c.fields.instance;
      fields.dayOfWeekMask = c.fields.dayOfWeekMask;
      break;
    case 5:
      fields.dayOfMonth = c.fields.dayOfMonth;
      fields.monthOfYear = c.fields.monthOfYear;
      break;
    case 6:
      fields.monthOfYear = c.fields.monthOfYear;
      fields.instance = c.fields.instance;
      fields.dayOfWeekMask = c.fields.dayOfWeekMask;
      break;
    default:
      break;
  }
  fields.start = TimeBytes(2026, 2, 1, 2);
  fields.endKind = endKind;
  if (endKind == 1) {
    // The end date is kept at 23:59:59; the handheld reports the count up
    // to it, and the stored pattern turns the end kind back to 1.
    fields.end = c.endDate;
    fields.end[8] = 23;
    fields.end[10] = 59;
    fields.end[12] = 59;
    fields.occurrences = c.countToEndDate;
  } else if (endKind == 2) {
    fields.end = c.fourthOccurrence;
    fields.occurrences = 4;
  } else {
    fields.end = NoDate();
  }
  return fields;
}

TEST_F(RecurrenceTest, AppointmentsOfEveryTypeAndEndRoundTrip) {
  for (const TypeCase& c : TypeCases()) {
    for (std::uint8_t endKind : {1, 2, 3}) {
      SCOPED_TRACE(std::string(c.name) + " end kind " +
                   std::to_string(endKind));
      std::uint32_t oid = Add(
          2,
          FieldList(3, {Start(), End(),
                        Cat({LE32(19), RecurrenceBlock(Sent(c, endKind))})}));
      EXPECT_EQ(Get(2, oid),
                Appointment(RecurrenceBlock(Back(c, endKind))).Build(oid));
    }
  }
}

TEST_F(RecurrenceTest, TasksOfEveryTypeAndEndRoundTrip) {
  for (const TypeCase& c : TypeCases()) {
    for (std::uint8_t endKind : {1, 2, 3}) {
      SCOPED_TRACE(std::string(c.name) + " end kind " +
                   std::to_string(endKind));
      RecurrenceFields sent = Sent(c, endKind);
      // A task's exception count is ignored.
      sent.exceptionCount = 3;
      std::uint32_t oid =
          Add(3, FieldList(2, {Cat({LE32(3), TimeBytes(2026, 2, 1, 2)}),
                               Cat({LE32(19), RecurrenceBlock(sent)})}));
      TaskReply e;
      e.start = TimeBytes(2026, 2, 1, 2);
      e.recurrence = Cat({LE32(19), RecurrenceBlock(Back(c, endKind))});
      EXPECT_EQ(Get(3, oid), e.Build(oid));
    }
  }
}

TEST_F(RecurrenceTest, TheStoredEndTypeTurnsAnEndByDateBackToOne) {
  // The handheld reports 3 occurrences for the pattern that ends on
  // 2026-05-01 (end kind 2 from get_Occurrences); the stored end-type word
  // 0x2021 makes it 1 again, and the count stays at offset 65.
  const TypeCase monthly = TypeCases()[2];
  std::uint32_t oid = Add(
      2, FieldList(3, {Start(), End(),
                       Cat({LE32(19), RecurrenceBlock(Sent(monthly, 1))})}));
  Bytes reply = Get(2, oid);
  ASSERT_EQ(reply.size(), 7U + 120 + 102);
  const std::uint8_t* block = reply.data() + 7 + 120 + 4;
  EXPECT_EQ(block[69], 1);
  EXPECT_EQ(protocol::GetU32(block + 65), 3U);
  EXPECT_EQ(reply, Appointment(RecurrenceBlock(Back(monthly, 1))).Build(oid));
}

TEST_F(RecurrenceTest, FieldsATypeDoesNotUseKeepThePreviousRecordsValues) {
  // Two records in one GetRecords: the weekly one's block still holds the
  // monthly one's day of month, which a weekly pattern does not set.
  const TypeCase monthly = TypeCases()[2];
  const TypeCase weekly = TypeCases()[1];
  std::uint32_t first = Add(
      2, FieldList(3, {Start(), End(),
                       Cat({LE32(19), RecurrenceBlock(Sent(monthly, 3))})}));
  std::uint32_t second =
      Add(2, FieldList(3, {Start(), End(),
                           Cat({LE32(19), RecurrenceBlock(Sent(weekly, 3))})}));
  Bytes reply = handheld_.Exchange(
      {PacketBuilder(16, 2).U32(2).U32(first).U32(second).packet()}, 2)[0];
  RecurrenceFields carried = Back(weekly, 3);
  carried.dayOfMonth = monthly.fields.dayOfMonth;
  Bytes records =
      Cat({Appointment(RecurrenceBlock(Back(monthly, 3))).Build(first),
           Appointment(RecurrenceBlock(carried)).Build(second)});
  // The list header: complete, not failed, two records, and the property
  // count of the last record (each record counts its own from 0).
  EXPECT_EQ(reply, Cat({Bytes{1, 0}, LE32(2), Bytes{12}, records}));
}

TEST_F(RecurrenceTest, OccurrencesAbove999AreCutTo999) {
  RecurrenceFields fields = Sent(TypeCases()[1], 2);
  fields.dayOfWeekMask = olMonday;
  fields.occurrences = 1500;
  std::uint32_t oid = Add(
      2,
      FieldList(3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(fields)})}));
  RecurrenceFields back = Back(TypeCases()[1], 2);
  back.dayOfWeekMask = olMonday;
  back.occurrences = 999;
  back.end = TimeBytes(2045, 3, 1, 20);
  EXPECT_EQ(Get(2, oid), Appointment(RecurrenceBlock(back)).Build(oid));
}

TEST_F(RecurrenceTest, AnIntervalAbove999IsCutWithAMessage) {
  RecurrenceFields fields = Sent(TypeCases()[0], 3);
  fields.interval = 1500;
  std::string messages;
  std::uint32_t oid = Add(
      2,
      FieldList(3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(fields)})}),
      &messages);
  EXPECT_EQ(messages, "messagebox: ERROR: put_Interval\n");
  RecurrenceFields back = Back(TypeCases()[0], 3);
  back.interval = 999;
  EXPECT_EQ(Get(2, oid), Appointment(RecurrenceBlock(back)).Build(oid));
}

TEST_F(RecurrenceTest, StartAndEndDatesLoseOrGainTheirTime) {
  RecurrenceFields fields = Sent(TypeCases()[0], 1);
  fields.start = TimeBytes(2026, 2, 1, 2, 9, 15, 0);
  fields.end = TimeBytes(2026, 2, 4, 12, 14, 30, 0);
  std::uint32_t oid = Add(
      2,
      FieldList(3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(fields)})}));
  Bytes reply = Get(2, oid);
  RecurrenceFields back = Back(TypeCases()[0], 1);
  EXPECT_EQ(back.start, TimeBytes(2026, 2, 1, 2, 0, 0, 0));
  EXPECT_EQ(back.end, TimeBytes(2026, 2, 4, 12, 23, 59, 59));
  EXPECT_EQ(reply, Appointment(RecurrenceBlock(back)).Build(oid));
}

TEST_F(RecurrenceTest, TypeFourSetsOnlyTheIntervalDatesAndEnd) {
  // A new pattern is weekly on the start's weekday (Monday); type 4 leaves
  // it so, and the mask sent is not applied.
  RecurrenceFields fields = Fields(4, 3, 0x7F, 9, 2, 7);
  fields.start = TimeBytes(2026, 2, 1, 2, 9, 0);
  fields.endKind = 3;
  std::uint32_t oid = Add(
      2,
      FieldList(3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(fields)})}));
  RecurrenceFields back = Fields(1, 3, olMonday, 0, 0, 0);
  back.start = TimeBytes(2026, 2, 1, 2);
  back.end = NoDate();
  back.endKind = 3;
  EXPECT_EQ(Get(2, oid), Appointment(RecurrenceBlock(back)).Build(oid));
}

TEST_F(RecurrenceTest, AnEndDateTheHandheldRefusesIsReported) {
  // The end date is before the start: the pattern keeps no end.
  RecurrenceFields fields = Sent(TypeCases()[0], 1);
  fields.end = TimeBytes(2026, 1, 4, 1);
  std::string messages;
  std::uint32_t oid = Add(
      2,
      FieldList(3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(fields)})}),
      &messages);
  EXPECT_EQ(messages, "messagebox: ERROR: put_PatternEndDate\n");
  EXPECT_EQ(Get(2, oid),
            Appointment(RecurrenceBlock(Back(TypeCases()[0], 3))).Build(oid));
}

}  // namespace
}  // namespace agent
