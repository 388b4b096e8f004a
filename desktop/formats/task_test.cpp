#include "desktop/formats/task.h"

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

// 4501-01-01, the handheld's "no date", fell on a Saturday.
Bytes NoDate() { return Time(4501, 1, 6, 1); }

Bytes Fields(const Bytes& start, const Bytes& due, const Bytes& reminder,
             const Bytes& recurrence) {
  return Cat({LE32(3),   start,
              LE32(4),   due,
              LE32(7),   LE32(1),
              LE32(5),   LE32(2),
              LE32(10),  reminder,
              LE32(9),   LE32(1),
              LE32(6),   LE32(0),
              LE32(1),   Counted(u"File taxes"),
              LE32(2),   Counted(u"Home"),
              LE32(11),  Counted(u"receipts"),
              recurrence});
}

TEST(Task, ReplyDecodesToTheModelAndEncodesTheSameBytes) {
  Bytes recurrence =
      Cat({LE32(19), Block(Time(2026, 4, 3, 1), Time(2026, 4, 3, 1), 5, 0, 3, 1,
                           0, 30, 0, 4, 0)});
  Bytes reply = Cat({Bytes{1, 0}, LE32(77), Bytes{11},
                     Fields(Time(2026, 4, 3, 1), Time(2026, 4, 4, 30),
                            Time(2026, 4, 3, 29, 8, 0), recurrence)});
  ReplyReader reader(reply);
  Result<WireRecord> record = WireRecord::Read(reader, Task::PropertyKindOf);
  ASSERT_TRUE(record.ok()) << record.status().message();
  EXPECT_TRUE(reader.AtEnd());
  Result<Task> t = Task::FromWireRecord(*record);
  ASSERT_TRUE(t.ok()) << t.status().message();
  EXPECT_EQ(t->oid, 77u);
  EXPECT_EQ(t->start_date, TimeRecord::FromDate(2026, 4, 1));
  EXPECT_EQ(t->due_date, TimeRecord::FromDate(2026, 4, 30));
  ASSERT_TRUE(t->reminder_time.has_value());
  EXPECT_EQ(t->reminder_time->hour, 8);
  EXPECT_TRUE(t->is_private);
  EXPECT_EQ(t->importance, 2u);
  EXPECT_TRUE(t->reminder_set);
  EXPECT_FALSE(t->complete);
  EXPECT_EQ(t->subject, u"File taxes");
  EXPECT_EQ(t->categories, u"Home");
  EXPECT_EQ(t->body, u"receipts");
  ASSERT_TRUE(t->recurrence.has_value());
  EXPECT_EQ(t->recurrence->type, 5);
  EXPECT_EQ(t->recurrence->day_of_month, 30u);
  EXPECT_EQ(t->EncodeReply(), reply);
}

TEST(Task, NoDateValuesAreAbsentDatesAndGoBackAsNoDate) {
  Bytes record = Cat({LE32(10), Fields(NoDate(), NoDate(), NoDate(), {})});
  Result<Task> t = Task::Decode(record);
  ASSERT_TRUE(t.ok()) << t.status().message();
  EXPECT_FALSE(t->start_date.has_value());
  EXPECT_FALSE(t->due_date.has_value());
  EXPECT_FALSE(t->reminder_time.has_value());
  EXPECT_EQ(Task::NoDate(), TimeRecord::Decode(NoDate().data()));
  EXPECT_EQ(t->Encode(), record);
}

TEST(Task, EveryPatternTypeAndEndKindTravels) {
  const std::uint8_t types[] = {0, 1, 2, 3, 5, 6};
  for (std::uint8_t type : types) {
    for (std::uint8_t end = 1; end <= 3; ++end) {
      Bytes recurrence =
          Cat({LE32(19), Block(Time(2026, 1, 4, 1), Time(2026, 12, 4, 31), type,
                               5, end, 1, 0x22, 3, 4, 7, 0)});
      Bytes record = Cat({LE32(11), Fields(Time(2026, 1, 4, 1), NoDate(),
                                           NoDate(), recurrence)});
      Result<Task> t = Task::Decode(record);
      ASSERT_TRUE(t.ok()) << t.status().message();
      ASSERT_TRUE(t->recurrence.has_value());
      EXPECT_EQ(t->recurrence->type, type);
      EXPECT_EQ(t->recurrence->end_kind, end);
      EXPECT_EQ(t->Encode(), record);
    }
  }
}

TEST(Task, AnyNonzeroSensitivityOrCompleteIsSet) {
  Bytes record = Cat({LE32(2), LE32(7), LE32(3), LE32(6), LE32(5)});
  Result<Task> t = Task::Decode(record);
  ASSERT_TRUE(t.ok());
  EXPECT_TRUE(t->is_private);
  EXPECT_TRUE(t->complete);
}

TEST(Task, Id8CarriesNoValue) {
  Bytes record = Cat({LE32(2), LE32(8), LE32(1), Counted(u"Next")});
  Result<Task> t = Task::Decode(record);
  ASSERT_TRUE(t.ok()) << t.status().message();
  EXPECT_EQ(t->subject, u"Next");
}

TEST(Task, ShortRecordAndWrongKindAreErrors) {
  EXPECT_FALSE(Task::Decode(Cat({LE32(1), LE32(3), Bytes(8, 0)})).ok());
  WireRecord wrong;
  wrong.properties.push_back({1, std::uint32_t{5}});
  EXPECT_FALSE(Task::FromWireRecord(wrong).ok());
}

}  // namespace
}  // namespace desktop
