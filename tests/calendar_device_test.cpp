// Appointments and tasks end to end on the emulated handheld: the sample
// calendar (data/calendar.ics) put with `vorn --image`, read back as
// iCalendar and exported, with the recurrence, the deleted occurrence, the
// moved occurrence, the reminder and the tasks intact.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

ProgramResult Vorn(const std::string& image, std::vector<std::string> args) {
  std::vector<std::string> argv = {"vorn", "--image", image, "--tz",
                                   "Europe/Berlin"};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunProgram(argv);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

TEST(CalendarDeviceTest, SampleCalendarRoundTripsThroughTheHandheld) {
  TempDir dir;
  std::string image = dir.path("d.img");
  ASSERT_EQ(RunProgram({"vorn-device", "init", image, "--tz", "Europe/Berlin"})
                .exitCode,
            0);
  ProgramResult put =
      Vorn(image, {"put", std::string(VORN_SOURCE_DIR) + "/data/calendar.ics"});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  std::vector<std::string> added = Lines(put.outText());
  ASSERT_EQ(added.size(), 5u) << put.outText();
  EXPECT_EQ(added[0].rfind("added appointment ", 0), 0u);
  EXPECT_NE(added[0].find("Team standup"), std::string::npos);
  EXPECT_EQ(added[3].rfind("added task ", 0), 0u);

  ProgramResult count = Vorn(image, {"count", "appointments"});
  EXPECT_EQ(count.outText(), "3\n");
  count = Vorn(image, {"count", "tasks"});
  EXPECT_EQ(count.outText(), "2\n");

  // The standup: weekly on work days, Christmas deleted, the 3rd moved.
  std::string oid = added[0].substr(18, added[0].find(' ', 18) - 18);
  ProgramResult standup = Vorn(image, {"get", "appointments", oid, "--ics"});
  ASSERT_EQ(standup.exitCode, 0) << standup.err;
  std::string ics = standup.outText();
  for (const char* line :
       {"SUMMARY:Team standup\r", "LOCATION:Room 1\r",
        "DTSTART;TZID=Europe/Berlin:20261201T090000\r",
        "RRULE:FREQ=WEEKLY;BYDAY=MO,TU,WE,TH,FR;WKST=SU\r",
        "EXDATE;TZID=Europe/Berlin:20261225T090000\r", "TRIGGER:-PT10M\r",
        "RECURRENCE-ID;TZID=Europe/Berlin:20261203T090000\r",
        "DTSTART;TZID=Europe/Berlin:20261203T100000\r",
        "SUMMARY:Team standup (moved)\r", "LOCATION:Hall\r"}) {
    EXPECT_NE(ics.find(std::string("\n") + line + "\n"), std::string::npos)
        << line << "\n"
        << ics;
  }

  ProgramResult exported = Vorn(image, {"export", dir.path("out")});
  ASSERT_EQ(exported.exitCode, 0) << exported.err;
  int files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir.path("out"))) {
    if (entry.path().extension() == ".ics") ++files;
  }
  EXPECT_EQ(files, 5);
}

}  // namespace
