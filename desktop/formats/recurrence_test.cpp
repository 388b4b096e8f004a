#include "desktop/formats/recurrence.h"

#include <gtest/gtest.h>

#include "desktop/formats/calendar_bytes_test.h"

namespace desktop {
namespace {

using test_bytes::Block;
using test_bytes::Bytes;
using test_bytes::Time;

struct Case {
  std::uint8_t type;
  std::uint32_t mask, day_of_month, instance, month;
};

// Every pattern type with the fields it uses.
const Case kCases[] = {
    {0, 0, 0, 0, 0},    {1, 0x2A, 0, 0, 0}, {2, 0, 31, 0, 0},
    {3, 0x04, 0, 5, 0}, {5, 0, 29, 0, 2},   {6, 0x3E, 0, 1, 11},
};

TEST(Recurrence, EveryTypeWithEveryEndKindDecodesAndEncodesTheSameBytes) {
  for (const Case& c : kCases) {
    for (std::uint8_t end_kind = 1; end_kind <= 3; ++end_kind) {
      SCOPED_TRACE(testing::Message()
                   << "type " << int{c.type} << " end " << int{end_kind});
      Bytes bytes = Block(Time(2026, 3, 1, 2), Time(2027, 6, 3, 30, 23, 59, 59),
                          c.type, 12, end_kind, 2, c.mask, c.day_of_month,
                          c.instance, c.month, 0);
      ASSERT_EQ(bytes.size(), 98u);
      Result<Recurrence> r = Recurrence::Decode(bytes);
      ASSERT_TRUE(r.ok()) << r.status().message();
      EXPECT_EQ(r->type, c.type);
      EXPECT_EQ(r->end_kind, end_kind);
      EXPECT_EQ(r->occurrences, 12u);
      EXPECT_EQ(r->interval, 2u);
      EXPECT_EQ(r->day_of_week_mask, c.mask);
      EXPECT_EQ(r->day_of_month, c.day_of_month);
      EXPECT_EQ(r->instance, c.instance);
      EXPECT_EQ(r->month_of_year, c.month);
      EXPECT_EQ(r->pattern_start, TimeRecord::FromDate(2026, 3, 2));
      EXPECT_EQ(r->pattern_end.hour, 23);
      auto again = r->Encode();
      EXPECT_EQ(Bytes(again.begin(), again.end()), bytes);
    }
  }
}

TEST(Recurrence, ReservedBytesAndUnknownTypesSurvive) {
  Bytes bytes = Block(Time(2026, 1, 4, 1), Time(2026, 1, 4, 1), 4, 0x01020304,
                      2, 999, 0x7F, 0, 0, 0, 7);
  bytes[40] = 0xAB;
  bytes[71] = 0xCD;
  Result<Recurrence> r = Recurrence::Decode(bytes);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r->type, 4);
  EXPECT_EQ(r->occurrences, 0x01020304u);
  EXPECT_EQ(r->exception_count, 7u);
  auto again = r->Encode();
  EXPECT_EQ(Bytes(again.begin(), again.end()), bytes);
}

TEST(Recurrence, ShortBlockIsAnError) {
  Bytes bytes(97, 0);
  Result<Recurrence> r = Recurrence::Decode(bytes);
  ASSERT_FALSE(r.ok());
  EXPECT_NE(r.status().message().find("97"), std::string::npos);
}

TEST(Recurrence, NamesOfTypesAndEndKinds) {
  EXPECT_EQ(Recurrence::TypeName(3), "monthnth");
  EXPECT_EQ(Recurrence::TypeName(4), "");
  EXPECT_EQ(Recurrence::TypeFromName("yearnth"), 6);
  EXPECT_FALSE(Recurrence::TypeFromName("").has_value());
  EXPECT_EQ(Recurrence::EndKindName(2), "count");
  EXPECT_EQ(Recurrence::EndKindFromName("never"), 3);
  EXPECT_FALSE(Recurrence::EndKindFromName("soon").has_value());
}

}  // namespace
}  // namespace desktop
