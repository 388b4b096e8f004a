// The stored form of a pattern: round trips and the end-type word's place.
#include "device/pim/recurrence_record.h"

#include <gtest/gtest.h>

#include <cstring>

namespace device {
namespace {

std::uint32_t WordAt(const std::vector<std::uint8_t>& blob, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, blob.data() + at, 4);
  return value;
}

TEST(RecurrenceRecordTest, EndTypeWordStandsWhereTheTypeSays) {
  struct Case {
    LONG type;
    std::size_t at;
  };
  for (Case c : {Case{olRecursDaily, 22}, Case{olRecursWeekly, 26},
                 Case{olRecursMonthly, 26}, Case{olRecursMonthNth, 30},
                 Case{olRecursYearly, 22}, Case{olRecursYearNth, 22}}) {
    for (auto [end, word] :
         {std::pair{RecurrenceEnd::kByDate, kStoredEndByDate},
          std::pair{RecurrenceEnd::kAfterCount, kStoredEndAfterCount},
          std::pair{RecurrenceEnd::kNever, kStoredEndNever}}) {
      RecurrenceRecord record;
      record.rule.type = c.type;
      record.rule.dayOfWeekMask = olTuesday;
      record.rule.dayOfMonth = 3;
      record.rule.instance = 2;
      record.rule.monthOfYear = 4;
      record.rule.startDay = DayFromCivil(2024, 1, 1);
      record.startDate = record.rule.startDay;
      record.rule.end = end;
      record.rule.endDay = DayFromCivil(2025, 1, 1);
      record.endDate = record.rule.endDay + 0.75;
      record.rule.occurrences = 7;
      std::vector<std::uint8_t> blob = EncodeRecurrence(record);
      EXPECT_EQ(StoredEndTypeOffset(c.type), c.at);
      EXPECT_EQ(WordAt(blob, 6), static_cast<std::uint32_t>(c.type));
      EXPECT_EQ(WordAt(blob, c.at), word) << c.type;
      std::optional<RecurrenceRecord> back = DecodeRecurrence(blob);
      ASSERT_TRUE(back.has_value());
      EXPECT_EQ(back->rule.type, c.type);
      EXPECT_EQ(back->rule.end, end);
      EXPECT_EQ(back->rule.startDay, record.rule.startDay);
      if (end == RecurrenceEnd::kByDate) {
        EXPECT_EQ(back->rule.endDay, record.rule.endDay);
        EXPECT_EQ(back->endDate, record.endDate);
      }
      if (end == RecurrenceEnd::kAfterCount) {
        EXPECT_EQ(back->rule.occurrences, 7);
      }
    }
  }
}

TEST(RecurrenceRecordTest, TypeFieldsAndExceptionsRoundTrip) {
  RecurrenceRecord record;
  record.rule.type = olRecursYearNth;
  record.rule.interval = 2;
  record.rule.monthOfYear = 11;
  record.rule.instance = 4;
  record.rule.dayOfWeekMask = olThursday;
  record.rule.startDay = DayFromCivil(2024, 1, 1);
  record.startDate = record.rule.startDay;
  OccurrenceChange changed;
  changed.originalDate = DayFromCivil(2024, 11, 28) + 0.5;
  changed.start = changed.originalDate + 0.125;
  changed.end = changed.start + 0.25;
  changed.busyStatus = 1;
  changed.reminderSet = VARIANT_TRUE;
  changed.reminderMinutesBefore = 30;
  changed.subject = u"Moved";
  changed.location = u"Hall";
  changed.body = u"Notes";
  OccurrenceChange deleted;
  deleted.originalDate = DayFromCivil(2026, 11, 26) + 0.5;
  deleted.deleted = true;
  record.exceptions = {changed, deleted};
  std::optional<RecurrenceRecord> back =
      DecodeRecurrence(EncodeRecurrence(record));
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(back->rule.interval, 2);
  EXPECT_EQ(back->rule.monthOfYear, 11);
  EXPECT_EQ(back->rule.instance, 4);
  EXPECT_EQ(back->rule.dayOfWeekMask, olThursday);
  EXPECT_EQ(back->exceptions, record.exceptions);
  EXPECT_NE(back->ExceptionOn(DayFromCivil(2026, 11, 26)), nullptr);
  EXPECT_EQ(back->ExceptionOn(DayFromCivil(2025, 11, 27)), nullptr);
}

TEST(RecurrenceRecordTest, ShortOrLongBlobsAreRefused) {
  RecurrenceRecord record;
  std::vector<std::uint8_t> blob = EncodeRecurrence(record);
  std::vector<std::uint8_t> shorter(blob.begin(), blob.end() - 1);
  EXPECT_FALSE(DecodeRecurrence(shorter).has_value());
  std::vector<std::uint8_t> longer = blob;
  longer.push_back(0);
  EXPECT_FALSE(DecodeRecurrence(longer).has_value());
  EXPECT_FALSE(DecodeRecurrence({}).has_value());
}

}  // namespace
}  // namespace device
