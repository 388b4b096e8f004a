// The task handler on the emulated handheld: records written with
// hand-built packets and read back whole.
#include "agent/pim/ce_task.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/kernel/kernel.h"
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
using testing_support::TimeBytes;

// 2026-01-15 12:00:00.
constexpr std::int64_t kNow = 1768478400000;

Bytes Long(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}
Bytes Text(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}
Bytes Time(std::uint32_t id, const Bytes& time) {
  return Cat({LE32(id), time});
}

using Expected = testing_support::TaskReply;

Bytes Reply(std::uint32_t oid, const Expected& e) { return e.Build(oid); }

class TaskTest : public ::testing::Test {
 protected:
  TaskTest() {
    handheld_.device().kernel().SetClock([] { return kNow; });
  }

  // Writes one record with BatchWrite (op 2 adds, 3 updates `id`).
  Bytes Write(std::uint8_t op, std::uint32_t id, const Bytes& record,
              std::string* messages = nullptr) {
    Bytes input = Cat(
        {PacketBuilder(15, 3).U32(1).U8(op).U8(3).U32(id).Raw(record).Frame(),
         PacketBuilder(1, 3).Frame()});
    auto outcome = handheld_.Converse(input);
    if (messages != nullptr) *messages = outcome.messages;
    auto frames = testing_support::SplitFrames(outcome.output);
    EXPECT_EQ(frames.size(), 2U);
    return frames.empty() ? Bytes() : frames[0];
  }

  std::uint32_t Add(const Bytes& record) {
    Bytes status = Write(2, 100, record);
    EXPECT_EQ(status.size(), 10U);
    return status.size() == 10 ? protocol::GetU32(status.data() + 2) : 0;
  }

  Bytes Get(std::uint32_t oid) {
    return handheld_.Exchange({PacketBuilder(7, 3).U32(oid).packet()}, 3)[0];
  }

  // A task made on the handheld: due 2026-03-10, reminder off at
  // 2026-03-09 08:00.
  std::uint32_t MadeOnTheHandheld(bool withDueDate) {
    CalendarModel model(handheld_.device());
    ITask* task = model.NewTask();
    task->put_Subject(u"Handheld");
    if (withDueDate) task->put_DueDate(model.Date(2026, 3, 10));
    task->put_ReminderTime(model.Date(2026, 3, 9, 8));
    task->put_ReminderSet(VARIANT_FALSE);
    EXPECT_EQ(task->Save(), S_OK);
    LONG oid = 0;
    task->get_Oid(&oid);
    task->Release();
    return static_cast<std::uint32_t>(oid);
  }

  InProcessHandheld handheld_;
};

TEST_F(TaskTest, FieldsReadBackInTheirOrder) {
  std::uint32_t oid = Add(FieldList(
      10, {Text(1, u"File taxes"), Text(2, u"Home"),
           Time(3, TimeBytes(2026, 3, 0, 1, 10, 30)),
           // The due date is read as a date only.
           Time(4, TimeBytes(2026, 3, 2, 10, 14, 35, 20, 250)), Long(5, 2),
           Long(6, 0), Long(7, 0), Long(9, 1),
           Time(10, TimeBytes(2026, 3, 1, 9, 8, 0)), Text(11, u"Forms")}));
  Expected e;
  e.subject = u"File taxes";
  e.categories = u"Home";
  e.start = TimeBytes(2026, 3, 0, 1, 10, 30);
  e.due = TimeBytes(2026, 3, 2, 10);
  e.importance = 2;
  e.reminder = 1;
  e.reminderTime = TimeBytes(2026, 3, 1, 9, 8, 0);
  e.body = u"Forms";
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, AReminderAfterTheDueDateKeepsTheOldReminderTime) {
  std::uint32_t oid = MadeOnTheHandheld(true);
  Bytes status =
      Write(3, oid,
            FieldList(3, {Time(4, TimeBytes(2026, 3, 2, 10)), Long(9, 1),
                          Time(10, TimeBytes(2026, 3, 2, 10, 1, 0))}));
  EXPECT_EQ(status, Cat({Bytes{1, 0}, LE32(oid), LE32(oid)}));
  Expected e;
  e.subject = u"Handheld";
  e.due = TimeBytes(2026, 3, 2, 10);
  e.reminder = 1;
  e.reminderTime = TimeBytes(2026, 3, 1, 9, 8, 0);
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, WithoutADueDateTheReminderFieldsAreIgnored) {
  std::uint32_t oid = MadeOnTheHandheld(false);
  Write(3, oid,
        FieldList(3, {Text(1, u"Renamed"), Long(9, 1),
                      Time(10, TimeBytes(2026, 2, 1, 2, 7, 0))}));
  Expected e;
  e.subject = u"Renamed";
  e.reminderTime = TimeBytes(2026, 3, 1, 9, 8, 0);
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, AnyNonzeroSensitivityIsPrivate) {
  std::uint32_t oid = Add(FieldList(1, {Long(7, 3)}));
  CalendarModel model(handheld_.device());
  ITask* task = model.Task(oid);
  LONG sensitivity = -1;
  task->get_Sensitivity(&sensitivity);
  task->Release();
  EXPECT_EQ(sensitivity, olPrivate);
  Expected e;
  e.isPrivate = 1;
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, CompleteFiveIsTrue) {
  std::uint32_t oid = Add(FieldList(1, {Long(6, 5)}));
  CalendarModel model(handheld_.device());
  ITask* task = model.Task(oid);
  VARIANT_BOOL complete = VARIANT_FALSE;
  task->get_Complete(&complete);
  task->Release();
  EXPECT_EQ(complete, VARIANT_TRUE);
  Expected e;
  e.complete = 1;
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, FieldEightCarriesNoValue) {
  // What the sender meant as field 8's value is read as the next id: 1.
  std::uint32_t oid = Add(FieldList(2, {LE32(8), Text(1, u"Next")}));
  Expected e;
  e.subject = u"Next";
  EXPECT_EQ(Get(oid), Reply(oid, e));
}

TEST_F(TaskTest, ATimeTheHandheldCannotConvertLeavesNoDate) {
  std::uint32_t oid =
      Add(FieldList(1, {Time(3, TimeBytes(2026, 13, 0, 1, 10, 0))}));
  EXPECT_EQ(Get(oid), Reply(oid, Expected()));
}

TEST_F(TaskTest, AFailedSaveReportsNothingButTheStatus) {
  ASSERT_TRUE(handheld_.device().faults().Set("task-save", "0x80004005").ok());
  std::string messages;
  Bytes status = Write(2, 100, FieldList(1, {Text(1, u"Lost")}), &messages);
  EXPECT_EQ(status, Cat({Bytes{0, 0}, LE32(0), LE32(100)}));
  EXPECT_EQ(messages, "");
}

TEST_F(TaskTest, AReminderThatCannotBeKeptFailsTheSave) {
  // Due next month, reminder yesterday: the handheld refuses the save.
  Bytes status =
      Write(2, 100,
            FieldList(3, {Time(4, TimeBytes(2026, 2, 1, 2)), Long(9, 1),
                          Time(10, TimeBytes(2026, 1, 3, 14, 9, 0))}));
  EXPECT_EQ(status, Cat({Bytes{0, 0}, LE32(0), LE32(100)}));
}

}  // namespace
}  // namespace agent
