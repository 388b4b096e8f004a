// Appointments and tasks edited with `vorn-device pim` as the handheld's
// user edits them: every property, the recurrence pattern and changed and
// deleted occurrences, read back through the agent as iCalendar and with
// `pim ls --json`, with their change-log entries.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

constexpr char kStandup[] = R"json({
  "Subject": "Standup", "Location": "Room 1", "Categories": "Work",
  "Start": "2026-12-01T09:00:00", "End": "2026-12-01T09:15:00",
  "BusyStatus": 1, "Sensitivity": 2, "ReminderSet": true,
  "ReminderMinutesBefore": 10,
  "Recurrence": {"RecurrenceType": "weekly", "Interval": 1,
                 "DayOfWeekMask": 4, "PatternStartDate": "2026-12-01",
                 "Occurrences": 6},
  "Exceptions": [
    {"OriginalDate": "2026-12-08", "Deleted": true},
    {"OriginalDate": "2026-12-15", "Subject": "Standup (moved)",
     "Location": "Hall", "Start": "2026-12-15T10:00:00",
     "End": "2026-12-15T10:15:00"}]})json";

std::string NewImage(TempDir& dir) {
  std::string image = dir.path("d.img");
  ProgramResult init =
      RunProgram({"vorn-device", "init", image, "--tz", "Europe/Berlin"});
  EXPECT_EQ(init.exitCode, 0) << init.err;
  return image;
}

// The OID add printed, without its line end.
std::string Added(const ProgramResult& add) {
  EXPECT_EQ(add.exitCode, 0) << add.err;
  std::string text = add.outText();
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

nlohmann::ordered_json List(const std::string& image, const std::string& type) {
  ProgramResult list =
      RunProgram({"vorn-device", "pim", image, "ls", type, "--json"});
  EXPECT_EQ(list.exitCode, 0) << list.err;
  return nlohmann::ordered_json::parse(list.outText());
}

TEST(PimCalendarTest, WeeklyAppointmentWithExceptionsReachesTheDesktop) {
  TempDir dir;
  std::string image = NewImage(dir);
  std::string oid = Added(RunProgram(
      {"vorn-device", "pim", image, "add", "appointments", kStandup}));
  ASSERT_FALSE(oid.empty());

  ProgramResult get =
      RunProgram({"vorn", "--image", image, "--tz", "Europe/Berlin", "get",
                  "appointments", oid, "--ics"});
  ASSERT_EQ(get.exitCode, 0) << get.err;
  std::string ics = get.outText();
  for (const char* line :
       {"SUMMARY:Standup\r", "LOCATION:Room 1\r", "CATEGORIES:Work\r",
        "CLASS:PRIVATE\r", "DTSTART;TZID=Europe/Berlin:20261201T090000\r",
        "DTEND;TZID=Europe/Berlin:20261201T091500\r",
        "RRULE:FREQ=WEEKLY;COUNT=6;BYDAY=TU;WKST=SU\r",
        "EXDATE;TZID=Europe/Berlin:20261208T090000\r", "TRIGGER:-PT10M\r",
        "RECURRENCE-ID;TZID=Europe/Berlin:20261215T090000\r",
        "DTSTART;TZID=Europe/Berlin:20261215T100000\r",
        "SUMMARY:Standup (moved)\r", "LOCATION:Hall\r"}) {
    EXPECT_NE(ics.find(std::string("\n") + line + "\n"), std::string::npos)
        << line << "\n"
        << ics;
  }

  nlohmann::ordered_json items = List(image, "appointments");
  ASSERT_EQ(items.size(), 1u);
  const nlohmann::ordered_json& item = items[0];
  EXPECT_EQ(item["Oid"].dump(), oid);
  EXPECT_EQ(item["BusyStatus"], 1);
  EXPECT_EQ(item["ReminderMinutesBefore"], 10);
  EXPECT_EQ(item["IsRecurring"], true);
  EXPECT_EQ(item["Recurrence"]["RecurrenceType"], "weekly");
  EXPECT_EQ(item["Recurrence"]["DayOfWeekMask"], 4);
  EXPECT_EQ(item["Recurrence"]["Occurrences"], 6);
  ASSERT_EQ(item["Exceptions"].size(), 2u);
  EXPECT_EQ(item["Exceptions"][0]["Deleted"], true);
  EXPECT_EQ(item["Exceptions"][1]["Location"], "Hall");

  // The add, and each exception saved on the appointment.
  ProgramResult log =
      RunProgram({"vorn-device", "changelog", image, "ls", "appointments"});
  ASSERT_EQ(log.exitCode, 0) << log.err;
  EXPECT_EQ(log.outText(), "3\t" + oid + "\tchanged\n2\t" + oid +
                               "\tchanged\n1\t" + oid + "\tadded\n");
}

TEST(PimCalendarTest, TaskWithDueDateImportanceAndReminder) {
  TempDir dir;
  std::string image = NewImage(dir);
  std::string oid =
      Added(RunProgram({"vorn-device", "pim", image, "add", "tasks",
                        R"({"Subject": "Report", "StartDate": "2027-01-04",
           "DueDate": "2027-01-08", "Importance": 2, "ReminderSet": true,
           "ReminderTime": "2027-01-07T09:00:00", "Complete": false})"}));
  nlohmann::ordered_json items = List(image, "tasks");
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].dump(),
            R"({"Oid":)" + oid +
                R"(,"Subject":"Report","StartDate":"2027-01-04",)"
                R"("DueDate":"2027-01-08","Importance":2,"Complete":false,)"
                R"("Sensitivity":0,"ReminderSet":true,)"
                R"("ReminderTime":"2027-01-07T09:00:00","IsRecurring":false})");
}

TEST(PimCalendarTest, SetChangesOnlyTheKeysGiven) {
  TempDir dir;
  std::string image = NewImage(dir);
  std::string oid = Added(RunProgram(
      {"vorn-device", "pim", image, "add", "appointments", kStandup}));
  nlohmann::ordered_json before = List(image, "appointments")[0];
  ProgramResult set =
      RunProgram({"vorn-device", "pim", image, "set", "appointments", oid,
                  R"({"Location": "Room 2", "AllDayEvent": false,
                      "Recurrence": {"Occurrences": 8}})"});
  ASSERT_EQ(set.exitCode, 0) << set.err;
  EXPECT_EQ(set.outText(), "");
  nlohmann::ordered_json after = List(image, "appointments")[0];
  nlohmann::ordered_json expected = before;
  expected["Location"] = "Room 2";
  expected["Recurrence"]["Occurrences"] = 8;
  // Eight Tuesdays from the 1st end two weeks later.
  expected["Recurrence"]["PatternEndDate"] = "2027-01-19";
  EXPECT_EQ(before["Recurrence"]["PatternEndDate"], "2027-01-05");
  EXPECT_EQ(after, expected);

  // Dropping the pattern.
  set = RunProgram({"vorn-device", "pim", image, "set", "appointments", oid,
                    R"({"Recurrence": null})"});
  ASSERT_EQ(set.exitCode, 0) << set.err;
  after = List(image, "appointments")[0];
  EXPECT_EQ(after["IsRecurring"], false);
  EXPECT_FALSE(after.contains("Recurrence"));
  EXPECT_EQ(after["Subject"], "Standup");
}

TEST(PimCalendarTest, BadKeysAndValuesLeaveTheImageUnchanged) {
  TempDir dir;
  std::string image = NewImage(dir);
  std::string oid = Added(RunProgram(
      {"vorn-device", "pim", image, "add", "appointments", kStandup}));
  testing_support::Bytes before = testing_support::ReadFileBytes(image);
  for (const std::string& json : std::vector<std::string>{
           R"({"Subject": "x", "NoSuchKey": 1})",
           R"({"BusyStatus": "busy"})",
           R"({"ReminderSet": 1})",
           R"({"Start": 20261201})",
           R"({"Recurrence": {"RecurrenceType": "hourly"}})",
           R"({"Recurrence": {"Interval": "2"}})",
           R"({"Recurrence": {"Bogus": 1}})",
           R"({"Exceptions": [{"Deleted": true}]})",
           R"({"Exceptions": [{"OriginalDate": "2026-12-22", "Colour": 1}]})",
           R"({"Exceptions": {"OriginalDate": "2026-12-22"}})",
           R"({"Importance": 2})",
           R"({"Subject": "x")",
       }) {
    ProgramResult set = RunProgram(
        {"vorn-device", "pim", image, "set", "appointments", oid, json});
    EXPECT_EQ(set.exitCode, 2) << json;
    EXPECT_EQ(std::count(set.err.begin(), set.err.end(), '\n'), 1) << set.err;
    EXPECT_EQ(testing_support::ReadFileBytes(image), before) << json;
  }
  // A well-formed exception on a day without an occurrence fails on the
  // handheld; its changes are rolled back too.
  ProgramResult set = RunProgram(
      {"vorn-device", "pim", image, "set", "appointments", oid,
       R"({"Subject": "y", "Exceptions": [{"OriginalDate": "2026-12-23",
                                           "Deleted": true}]})"});
  EXPECT_NE(set.exitCode, 0);
  EXPECT_NE(set.err.find("2026-12-23"), std::string::npos) << set.err;
  EXPECT_EQ(List(image, "appointments")[0]["Subject"], "Standup");
}

}  // namespace
