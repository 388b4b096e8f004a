// The appointment handler on the emulated handheld: records written with
// hand-built packets and read back whole.
#include "agent/pim/ce_appointment.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/kernel/kernel.h"
#include "device/pim/change_log_writer.h"
#include "protocol/wire.h"
#include "tests/support/calendar_model.h"
#include "tests/support/calendar_records.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::CalendarModel;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FieldList;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecurrenceBlock;
using testing_support::RecurrenceFields;
using testing_support::TimeBytes;

// 2026-01-15 12:00:00, the handheld's clock in these tests.
constexpr std::int64_t kNow = 1768478400000;

Bytes Start() { return Cat({LE32(16), TimeBytes(2026, 2, 1, 2, 9, 0)}); }
Bytes End() { return Cat({LE32(18), TimeBytes(2026, 2, 1, 2, 10, 0)}); }
Bytes Long(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}
Bytes Text(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}

// An appointment from 2026-02-02 09:00 to 10:00 without recurrence.
struct Expected : testing_support::AppointmentReply {
  Expected() {
    start = TimeBytes(2026, 2, 1, 2, 9, 0);
    end = TimeBytes(2026, 2, 1, 2, 10, 0);
  }
};

Bytes Reply(std::uint32_t oid, const Expected& e) { return e.Build(oid); }

class AppointmentTest : public ::testing::Test {
 protected:
  AppointmentTest() {
    handheld_.device().kernel().SetClock([] { return kNow; });
  }

  // Adds the records with one BatchWrite; returns the write statuses.
  Bytes Batch(const std::vector<Bytes>& records,
              std::string* messages = nullptr) {
    PacketBuilder packet(15, 2);
    packet.U32(static_cast<std::uint32_t>(records.size()));
    std::uint32_t id = 100;
    for (const Bytes& record : records) {
      packet.U8(2).U8(2).U32(id++).Raw(record);
    }
    Bytes input = Cat({packet.Frame(), PacketBuilder(1, 2).Frame()});
    auto outcome = handheld_.Converse(input);
    if (messages != nullptr) *messages = outcome.messages;
    auto frames = testing_support::SplitFrames(outcome.output);
    EXPECT_EQ(frames.size(), 2U);
    return frames.empty() ? Bytes() : frames[0];
  }

  std::uint32_t Add(const Bytes& record) {
    Bytes status = Batch({record});
    EXPECT_EQ(status.size(), 10U);
    return status.size() == 10 ? protocol::GetU32(status.data() + 2) : 0;
  }

  Bytes Get(std::uint32_t oid) {
    return handheld_.Exchange({PacketBuilder(7, 2).U32(oid).packet()}, 2)[0];
  }

  InProcessHandheld handheld_;
};

TEST_F(AppointmentTest, FieldsReadBackInTheirOrder) {
  std::uint32_t oid = Add(
      FieldList(10, {Text(1, u"Review"), Text(2, u"Room 1"), Text(3, u"Work"),
                     Long(4, 1), Long(6, 3), Long(7, 0xFFFF), Long(8, 30),
                     Text(9, u"Bring notes"), Start(), End()}));
  Expected e;
  e.subject = u"Review";
  e.location = u"Room 1";
  e.categories = u"Work";
  e.allDay = 1;
  e.busy = 3;
  e.reminder = 1;
  e.minutes = 30;
  e.body = u"Bring notes";
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(AppointmentTest, SensitivityOneIsPrivateAnyOtherValueNormal) {
  Bytes statuses = Batch({FieldList(3, {Long(5, 1), Start(), End()}),
                          FieldList(3, {Long(5, 3), Start(), End()}),
                          FieldList(3, {Long(5, 2), Start(), End()})});
  ASSERT_EQ(statuses.size(), 30U);
  CalendarModel model(handheld_.device());
  std::vector<LONG> stored;
  for (std::size_t at = 2; at < 30; at += 10) {
    IAppointment* item = model.Appointment(protocol::GetU32(&statuses[at]));
    ASSERT_NE(item, nullptr);
    LONG sensitivity = -1;
    item->get_Sensitivity(&sensitivity);
    stored.push_back(sensitivity);
    item->Release();
  }
  EXPECT_EQ(stored, (std::vector<LONG>{olPrivate, olNormal, olNormal}));
}

TEST_F(AppointmentTest, ConfidentialReadsBackAsNotPrivate) {
  CalendarModel model(handheld_.device());
  IAppointment* item = model.NewAppointment();
  item->put_Subject(u"Secret");
  item->put_Sensitivity(olConfidential);
  item->put_Start(model.Date(2026, 2, 2, 9));
  item->put_End(model.Date(2026, 2, 2, 10));
  ASSERT_EQ(item->Save(), S_OK);
  LONG oid = 0;
  item->get_Oid(&oid);
  item->Release();
  Expected e;
  e.subject = u"Secret";
  EXPECT_EQ(Get(static_cast<std::uint32_t>(oid)),
            Reply(static_cast<std::uint32_t>(oid), e));
  Expected priv = e;
  IAppointment* again = model.Appointment(static_cast<std::uint32_t>(oid));
  again->put_Sensitivity(olPrivate);
  ASSERT_EQ(again->Save(), S_OK);
  again->Release();
  priv.isPrivate = 1;
  EXPECT_EQ(Get(static_cast<std::uint32_t>(oid)),
            Reply(static_cast<std::uint32_t>(oid), priv));
}

TEST_F(AppointmentTest, IdsTenToFifteenAndSeventeenCarryNoValue) {
  std::uint32_t oid = Add(
      FieldList(10, {LE32(10), LE32(11), LE32(12), LE32(13), LE32(14), LE32(15),
                     LE32(17), Text(1, u"After"), Start(), End()}));
  Expected e;
  e.subject = u"After";
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(AppointmentTest, ReminderRetryReadsTheRecordAgainFiveMinutesShorter) {
  ASSERT_TRUE(
      handheld_.device().faults().Set("appointment-save", "0x80040067 1").ok());
  std::string messages;
  Bytes status = Batch({FieldList(5, {Text(1, u"Retry"), Long(7, 1),
                                      Long(8, 30), Start(), End()})},
                       &messages);
  ASSERT_EQ(status.size(), 10U);
  std::uint32_t oid = protocol::GetU32(status.data() + 2);
  EXPECT_EQ(status, Cat({Bytes{1, 0}, LE32(oid), LE32(100)}));
  EXPECT_EQ(messages, "");
  Expected e;
  e.subject = u"Retry";
  e.reminder = 1;
  e.minutes = 25;
  EXPECT_EQ(Get(oid), Reply(oid, e));
  // The first, unsaved item left nothing behind.
  EXPECT_EQ(handheld_.Exchange({PacketBuilder(6, 2).packet()}, 2)[0],
            Cat({Bytes{1, 0}, LE32(1)}));
}

TEST_F(AppointmentTest, ReminderStepsGrowToAnHourFromTheThirdRetry) {
  std::uint32_t oid = Add(FieldList(3, {Text(1, u"Steps"), Start(), End()}));
  ASSERT_TRUE(
      handheld_.device().faults().Set("appointment-save", "0x80040067 4").ok());
  // An update re-fetches the item by its OID on every retry.
  auto frames = handheld_.Exchange(
      {PacketBuilder(3, 2)
           .U32(oid)
           .Raw(FieldList(3, {Long(7, 1), Long(8, 300), Start()}))
           .packet()},
      2);
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 10),
            Cat({Bytes{1, 0}, LE32(oid), LE32(oid)}));
  Expected e;
  e.subject = u"Steps";
  e.reminder = 1;
  e.minutes = 300 - 240;
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(AppointmentTest, AReminderBeforeNowIsShortenedUntilItCanBeKept) {
  // Starts at 13:00 today; 70 minutes before is 11:50, before the clock's
  // 12:00: the handheld refuses, then 65 (11:55) too, then takes 60.
  std::uint32_t oid =
      Add(FieldList(4, {Long(7, 1), Long(8, 70),
                        Cat({LE32(16), TimeBytes(2026, 1, 4, 15, 13, 0)}),
                        Cat({LE32(18), TimeBytes(2026, 1, 4, 15, 14, 0)})}));
  Expected e;
  e.start = TimeBytes(2026, 1, 4, 15, 13, 0);
  e.end = TimeBytes(2026, 1, 4, 15, 14, 0);
  e.reminder = 1;
  e.minutes = 60;
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(AppointmentTest, OtherSaveFailuresShowSaveFailed) {
  ASSERT_TRUE(
      handheld_.device().faults().Set("appointment-save", "0x80004005").ok());
  std::string messages;
  Bytes status = Batch({FieldList(2, {Text(1, u"Lost"), Start()})}, &messages);
  // The handler reports success; only the OID 0 tells the desktop.
  EXPECT_EQ(status, Cat({Bytes{1, 0}, LE32(0), LE32(100)}));
  EXPECT_EQ(messages, "messagebox: INFO: Save FAILED\n");
}

// The weekly series of Mondays from 2026-02-02 09:00, five times.
RecurrenceFields WeeklyFive(std::uint32_t exceptions) {
  RecurrenceFields fields;
  fields.start = TimeBytes(2026, 2, 1, 2, 9, 0);
  fields.type = 1;
  fields.occurrences = 5;
  fields.endKind = 2;
  fields.interval = 1;
  fields.dayOfWeekMask = olMonday;
  fields.exceptionCount = exceptions;
  return fields;
}

Bytes ExceptionRecord(const Bytes& original, const Bytes& start,
                      const Bytes& end, std::uint32_t deleted,
                      std::uint32_t reminder, std::uint32_t minutes,
                      std::uint32_t busy, std::uint32_t subject,
                      std::uint32_t location, std::uint32_t body) {
  return Cat({original, start, end, LE32(deleted), LE32(0xFFFFFFFF),
              LE32(reminder), LE32(minutes), LE32(busy), LE32(subject),
              LE32(location), LE32(body)});
}

TEST_F(AppointmentTest, ChangedAndDeletedOccurrencesReadBack) {
  Bytes deleted = ExceptionRecord(TimeBytes(2026, 2, 1, 9, 9, 0), Bytes(16, 0),
                                  Bytes(16, 0), 1, 0xFFFFFFFF, 0xFFFFFFFF,
                                  0xFFFFFFFF, 0, 0, 0);
  Bytes changed = Cat({ExceptionRecord(TimeBytes(2026, 2, 1, 16, 9, 0),
                                       TimeBytes(2026, 2, 1, 16, 14, 0),
                                       TimeBytes(2026, 2, 1, 16, 15, 0), 0,
                                       0xFFFFFFFF, 0xFFFFFFFF, 1, 7, 7, 0),
                       Counted(u"Moved"), Counted(u"Room 2")});
  std::uint32_t oid = Add(FieldList(
      4, {Text(1, u"Weekly"), Start(), End(),
          Cat({LE32(19), RecurrenceBlock(WeeklyFive(2)), deleted, changed})}));
  ASSERT_NE(oid, 0U);

  RecurrenceFields back = WeeklyFive(2);
  back.start = TimeBytes(2026, 2, 1, 2, 0, 0);
  back.end = TimeBytes(2026, 3, 1, 2, 0, 0);
  Expected e;
  e.subject = u"Weekly";
  e.recurrence = Cat(
      {LE32(19), RecurrenceBlock(back),
       ExceptionRecord(TimeBytes(2026, 2, 1, 9, 9, 0), Bytes(16, 0),
                       Bytes(16, 0), 1, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0,
                       0, 0),
       ExceptionRecord(TimeBytes(2026, 2, 1, 16, 9, 0),
                       TimeBytes(2026, 2, 1, 16, 14, 0),
                       TimeBytes(2026, 2, 1, 16, 15, 0), 0, 0, 15, 1, 1, 1, 1),
       Counted(u"Moved"), Counted(u"Room 2"), Counted(u"")});
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(AppointmentTest, ABatchContinuesAfterARecordWithExceptions) {
  Bytes changed =
      Cat({ExceptionRecord(TimeBytes(2026, 2, 1, 16, 9, 0),
                           TimeBytes(2026, 2, 1, 16, 14, 0),
                           TimeBytes(2026, 2, 1, 16, 15, 0), 0, 0xFFFFFFFF,
                           0xFFFFFFFF, 0xFFFFFFFF, 1, 0, 1),
           Counted(u"Moved"), Counted(u"Later")});
  Bytes statuses = Batch(
      {FieldList(3, {Start(), End(),
                     Cat({LE32(19), RecurrenceBlock(WeeklyFive(1)), changed})}),
       FieldList(3, {Text(1, u"Second"), Start(), End()})});
  ASSERT_EQ(statuses.size(), 20U);
  std::uint32_t second = protocol::GetU32(&statuses[12]);
  EXPECT_EQ(statuses, Cat({Bytes{1, 0}, LE32(protocol::GetU32(&statuses[2])),
                           LE32(100), Bytes{1, 0}, LE32(second), LE32(101)}));
  Expected e;
  e.subject = u"Second";
  EXPECT_EQ(Get(second), Reply(second, e));
}

TEST_F(AppointmentTest, ARecordWithoutRecurrenceClearsThePattern) {
  std::uint32_t oid = Add(FieldList(
      3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(WeeklyFive(0))})}));
  auto frames = handheld_.Exchange(
      {PacketBuilder(3, 2).U32(oid).Raw(FieldList(1, {Start()})).packet()}, 2);
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(Get(oid), Reply(oid, Expected()));
}

TEST_F(AppointmentTest, AddedSeriesAndChangedOccurrencesAreLogged) {
  std::uint32_t oid = Add(FieldList(
      3, {Start(), End(), Cat({LE32(19), RecurrenceBlock(WeeklyFive(0))})}));
  CalendarModel model(handheld_.device());
  IAppointment* series = model.Appointment(oid);
  IRecurrencePattern* pattern = nullptr;
  ASSERT_EQ(series->GetRecurrencePattern(&pattern), S_OK);
  IAppointment* occurrence = nullptr;
  ASSERT_EQ(pattern->GetOccurrence(model.Date(2026, 2, 9), &occurrence), S_OK);
  ASSERT_EQ(occurrence->Delete(), S_OK);
  occurrence->Release();
  pattern->Release();
  series->Release();
  auto log = handheld_.device().changeLog().List(u"\\VornAppointmentLog");
  ASSERT_EQ(log.size(), 2U);
  EXPECT_EQ(log[0].oid, oid);
  EXPECT_EQ(log[0].kind, 2);
  EXPECT_EQ(log[1].oid, oid);
  EXPECT_EQ(log[1].kind, 1);
}

}  // namespace
}  // namespace agent
