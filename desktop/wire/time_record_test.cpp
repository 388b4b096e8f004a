#include "desktop/wire/time_record.h"

#include <gtest/gtest.h>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

TEST(TimeRecordTest, DayOfWeek) {
  EXPECT_EQ(DayOfWeek(1970, 1, 1), 4);
  EXPECT_EQ(DayOfWeek(2000, 2, 29), 2);
  EXPECT_EQ(DayOfWeek(4501, 1, 1),
            TimeRecord::FromDate(4501, 1, 1).day_of_week);
  EXPECT_EQ(DayOfWeek(1601, 1, 1), 1);
}

TEST(TimeRecordTest, ParsesBothForms) {
  EXPECT_EQ(TimeRecord::Parse("1985-04-12")->ToIso(), "1985-04-12");
  EXPECT_EQ(TimeRecord::Parse("19850412")->ToIso(), "1985-04-12");
  EXPECT_EQ(TimeRecord::Parse("1985-04-12T07:08:09")->ToIso(),
            "1985-04-12T07:08:09");
  EXPECT_EQ(TimeRecord::Parse("19850412T070809Z")->ToBasic(),
            "19850412T070809");
  for (const char* bad : {"1985-4-12", "1985-02-29", "1985-13-01", "abc",
                          "1985-04-12T25:00:00", "1985-04-12x", ""}) {
    EXPECT_FALSE(TimeRecord::Parse(bad).ok()) << bad;
  }
}

TEST(TimeRecordTest, WireForm) {
  TimeRecord t = TimeRecord::FromDate(4501, 1, 1);
  EXPECT_TRUE(t.IsNoDate());
  auto bytes = t.Encode();
  EXPECT_EQ(bytes[0], 0x95);
  EXPECT_EQ(bytes[1], 0x11);
  EXPECT_EQ(TimeRecord::Decode(bytes.data()), t);
}

TEST(Utf16Test, RoundTripsAllPlanes) {
  std::string text = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";
  std::u16string wide = Utf8ToUtf16(text);
  EXPECT_EQ(wide, u"a\u00e9\u4e2d\U0001F600");
  EXPECT_EQ(Utf16ToUtf8(wide), text);
}

TEST(Utf16Test, BadInputBecomesReplacement) {
  EXPECT_EQ(Utf8ToUtf16("a\xFF"
                        "b"),
            u"a\uFFFDb");
  EXPECT_EQ(Utf8ToUtf16("\xE4\xB8"), u"\uFFFD\uFFFD");
  EXPECT_EQ(Utf8ToUtf16("\xC0\x80"), u"\uFFFD\uFFFD");
  EXPECT_EQ(Utf16ToUtf8(std::u16string(1, char16_t{0xD800})), "\xEF\xBF\xBD");
}

}  // namespace
}  // namespace desktop
