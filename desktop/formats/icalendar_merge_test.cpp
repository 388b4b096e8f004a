#include "desktop/formats/icalendar_merge.h"

#include <gtest/gtest.h>

namespace desktop {
namespace {

constexpr char kFresh[] =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Vorn//Vorn desktop//EN\r\n"
    "BEGIN:VEVENT\r\nUID:a\r\nSUMMARY:New\r\nDTSTART:20260302T093000\r\n"
    "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT10M\r\nEND:VALARM\r\n"
    "END:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:a\r\nRECURRENCE-ID:20260304T093000\r\n"
    "SUMMARY:Moved\r\nDTSTART:20260304T110000\r\nEND:VEVENT\r\n"
    "END:VCALENDAR\r\n";

constexpr char kExisting[] =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Other//EN\r\n"
    "BEGIN:VEVENT\r\nUID:a\r\nSUMMARY:Old\r\nDTSTART:20260302T093000\r\n"
    "ORGANIZER:mailto:ann@example.org\r\nX-OTHER:master\r\n"
    "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\n"
    "BEGIN:VALARM\r\nACTION:AUDIO\r\nTRIGGER:-PT1M\r\nEND:VALARM\r\n"
    "END:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:a\r\nRECURRENCE-ID:20260304T093000\r\n"
    "SUMMARY:Old moved\r\nDTSTART:20260304T100000\r\n"
    "X-OTHER:occurrence\r\nEND:VEVENT\r\n"
    "END:VCALENDAR\r\n";

TEST(ICalendarMergeTest, NothingToKeepGivesTheFreshText) {
  Result<std::string> merged = ICalendarMerge::Merge(kFresh, "");
  ASSERT_TRUE(merged.ok());
  EXPECT_NE(merged->find("SUMMARY:New"), std::string::npos);
  EXPECT_EQ(merged->find("X-OTHER"), std::string::npos);
}

TEST(ICalendarMergeTest, KeepsUnownedPartsComponentByComponent) {
  Result<std::string> merged = ICalendarMerge::Merge(kFresh, kExisting);
  ASSERT_TRUE(merged.ok()) << merged.status().message();
  const std::string& text = *merged;
  EXPECT_EQ(text.find("SUMMARY:Old"), std::string::npos);
  EXPECT_EQ(text.find("TRIGGER:-PT15M"), std::string::npos);
  EXPECT_NE(text.find("TRIGGER:-PT10M"), std::string::npos);
  EXPECT_NE(text.find("TRIGGER:-PT1M"), std::string::npos);
  EXPECT_NE(text.find("ORGANIZER:mailto:ann@example.org"), std::string::npos);
  // Each component keeps its own X- property and no other's.
  std::size_t master = text.find("X-OTHER:master");
  std::size_t occurrence = text.find("X-OTHER:occurrence");
  std::size_t moved = text.find("SUMMARY:Moved");
  ASSERT_NE(master, std::string::npos);
  ASSERT_NE(occurrence, std::string::npos);
  EXPECT_LT(master, moved);
  EXPECT_GT(occurrence, moved);
  EXPECT_EQ(text.find("X-OTHER:master", master + 1), std::string::npos);
}

TEST(ICalendarMergeTest, OwnedPropertiesAreTheHandhelds) {
  EXPECT_TRUE(ICalendarMerge::Owned("SUMMARY"));
  EXPECT_TRUE(ICalendarMerge::Owned("x-vorn-busystatus"));
  EXPECT_FALSE(ICalendarMerge::Owned("ATTENDEE"));
  EXPECT_FALSE(ICalendarMerge::Owned("X-OTHER"));
}

TEST(ICalendarMergeTest, FailsOnTextThatIsNotICalendar) {
  EXPECT_FALSE(ICalendarMerge::Merge("BEGIN:VCARD\r\nEND:VCARD\r\n", "").ok());
  EXPECT_FALSE(ICalendarMerge::Merge(kFresh, "hello").ok());
}

}  // namespace
}  // namespace desktop
