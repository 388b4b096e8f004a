#include "desktop/formats/calendar_json.h"

#include <gtest/gtest.h>

#include "desktop/formats/calendar_items_test.h"

namespace desktop {
namespace {

using test_items::Chore;
using test_items::Meeting;

TEST(CalendarJson, AppointmentAndTaskTravelThroughJsonUnchanged) {
  Json list = Json::array(
      {CalendarJson::ToJson(Meeting()), CalendarJson::ToJson(Chore())});
  Result<CalendarItems> items =
      CalendarJson::ParseDocument(JsonText::Write(list));
  ASSERT_TRUE(items.ok()) << items.status().message();
  ASSERT_EQ(items->appointments.size(), 1u);
  ASSERT_EQ(items->tasks.size(), 1u);
  EXPECT_EQ(items->appointments[0], Meeting());
  EXPECT_EQ(items->tasks[0], Chore());
}

TEST(CalendarJson, MembersAreNamedAfterTheObjectModel) {
  Json a = CalendarJson::ToJson(Meeting());
  EXPECT_EQ(a["type"], "appointment");
  EXPECT_EQ(a["oid"], 4660);
  EXPECT_EQ(a["Start"], "2026-03-02T09:30:00");
  EXPECT_EQ(a["Sensitivity"], 2);
  EXPECT_EQ(a["BusyStatus"], 3);
  EXPECT_EQ(a["ReminderMinutesBefore"], 10);
  EXPECT_EQ(a["Recurrence"]["RecurrenceType"], "weekly");
  EXPECT_EQ(a["Recurrence"]["EndKind"], "count");
  EXPECT_EQ(a["Exceptions"][0]["Deleted"], true);
  EXPECT_FALSE(a["Exceptions"][0].contains("Start"));
  Json t = CalendarJson::ToJson(Chore());
  EXPECT_EQ(t["type"], "task");
  EXPECT_EQ(t["DueDate"], "2026-03-06");
  EXPECT_EQ(t["Importance"], 2);
  Task bare;
  EXPECT_FALSE(CalendarJson::ToJson(bare).contains("DueDate"));
}

TEST(CalendarJson, TypeComesFromTypeOrFromTheMembers) {
  auto kind = [](const char* text) {
    return *CalendarJson::KindOf(*JsonText::Parse(text));
  };
  EXPECT_EQ(kind(R"({"type": "task", "Subject": "x"})"),
            CalendarJson::Kind::kTask);
  EXPECT_EQ(kind(R"({"Subject": "x", "DueDate": "2026-01-01"})"),
            CalendarJson::Kind::kTask);
  EXPECT_EQ(kind(R"({"Subject": "x", "Start": "2026-01-01T10:00:00"})"),
            CalendarJson::Kind::kAppointment);
  EXPECT_EQ(kind(R"({"FirstName": "Ann"})"), CalendarJson::Kind::kNone);
  EXPECT_FALSE(
      CalendarJson::KindOf(*JsonText::Parse(R"({"type": "note"})")).ok());
  EXPECT_TRUE(CalendarJson::HoldsCalendarItems(
      *JsonText::Parse(R"([{"FirstName": "Ann"}, {"type": "task"}])")));
  EXPECT_FALSE(CalendarJson::HoldsCalendarItems(
      *JsonText::Parse(R"([{"FirstName": "Ann"}])")));
}

TEST(CalendarJson, SmallObjectsTakeDefaults) {
  Result<CalendarItems> items = CalendarJson::ParseDocument(
      R"({"subject": "Lunch", "start": "2026-05-01T12:00:00",
          "recurrence": {"RecurrenceType": "daily", "Occurrences": 3}})");
  ASSERT_TRUE(items.ok()) << items.status().message();
  const Appointment& a = items->appointments.at(0);
  EXPECT_EQ(a.subject, u"Lunch");
  EXPECT_EQ(a.end, a.start);
  EXPECT_EQ(a.busy_status, 2u);
  ASSERT_TRUE(a.recurrence.has_value());
  EXPECT_EQ(a.recurrence->end_kind, 2);
  EXPECT_EQ(a.recurrence->occurrences, 3u);
}

TEST(CalendarJson, BadMembersAreOneLineErrorsNamingThem) {
  struct Case {
    const char* text;
    const char* expected;
  } cases[] = {
      {R"({"type": "appointment", "Start": "2026-01-01", "Colour": "red"})",
       "item #1: unknown appointment member \"Colour\""},
      {R"({"type": "appointment", "Start": "2026-02-30"})", "Start: bad date"},
      {R"({"type": "appointment", "Subject": "x"})", "needs \"Start\""},
      {R"({"type": "task", "Importance": "high"})", "\"Importance\" must be"},
      {R"({"type": "task", "Recurrence": {"EndKind": "soon"}})", "EndKind"},
      {R"([{"type": "task"}, {"FirstName": "Ann"}])",
       "item #2: neither an appointment nor a task"},
      {R"({"type": "appointment", "Start": "2026-01-01",
           "Exceptions": [{"Deleted": true}]})",
       "need a \"Recurrence\""},
      {"[1,", "JSON: parse error at line 1"},
  };
  for (const Case& c : cases) {
    Result<CalendarItems> items = CalendarJson::ParseDocument(c.text);
    ASSERT_FALSE(items.ok()) << c.text;
    EXPECT_NE(items.status().message().find(c.expected), std::string::npos)
        << items.status().message();
    EXPECT_EQ(items.status().message().find('\n'), std::string::npos);
  }
}

}  // namespace
}  // namespace desktop
