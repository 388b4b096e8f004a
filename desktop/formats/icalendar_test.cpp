#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "desktop/formats/calendar_items_test.h"
#include "desktop/formats/ical_check_test.h"
#include "desktop/formats/icalendar_reader.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/formats/record_uid.h"

namespace desktop {
namespace {

using ical_test::LibicalProblems;
using test_items::At;
using test_items::Chore;
using test_items::Meeting;
using test_items::Pattern;

IcalZone Zone(const char* name) {
  Result<IcalZone> zone = IcalZone::Named(name);
  EXPECT_TRUE(zone.ok()) << name;
  return zone.ok() ? *zone : IcalZone();
}

// What iCalendar keeps of a pattern: the end date only for rules that end
// by date, the count only for rules that end after a count.
Recurrence Kept(Recurrence r) {
  if (r.end_kind != static_cast<std::uint8_t>(EndKind::kByDate)) {
    r.pattern_end = TimeRecord();
  }
  if (r.end_kind != static_cast<std::uint8_t>(EndKind::kAfterCount)) {
    r.occurrences = 0;
  }
  return r;
}

template <typename Item>
Item Kept(Item item) {
  if (item.recurrence) item.recurrence = Kept(*item.recurrence);
  return item;
}

std::string Write(const Appointment& a, const IcalZone& zone) {
  ICalendarWriter writer(zone);
  writer.Add(a, "urn:uuid:00000000-0000-5000-8000-000000000001");
  return writer.Text();
}

std::string Write(const Task& t, const IcalZone& zone) {
  ICalendarWriter writer(zone);
  writer.Add(t, "urn:uuid:00000000-0000-5000-8000-000000000002");
  return writer.Text();
}

CalendarItems Read(const std::string& text, const IcalZone& zone) {
  Result<CalendarItems> items = ICalendarReader::Parse(text, zone);
  EXPECT_TRUE(items.ok()) << items.status().message();
  return items.ok() ? *items : CalendarItems();
}

TEST(ICalendar, AppointmentRoundTripsInEveryKindOfZone) {
  for (const char* name : {"", "Europe/Berlin", "UTC", "America/New_York"}) {
    SCOPED_TRACE(name);
    IcalZone zone = Zone(name);
    std::string text = Write(Meeting(), zone);
    EXPECT_EQ(LibicalProblems(text), std::vector<std::string>()) << text;
    CalendarItems items = Read(text, zone);
    ASSERT_EQ(items.appointments.size(), 1u) << text;
    EXPECT_EQ(items.appointments[0], Kept(Meeting())) << text;
    EXPECT_EQ(items.warnings, std::vector<std::string>());
  }
}

TEST(ICalendar, EventCarriesTheHandheldsFieldsAsStandardProperties) {
  std::string text = Write(Meeting(), Zone("Europe/Berlin"));
  for (const char* expected :
       {"BEGIN:VTIMEZONE",
        "\r\nTZID:Europe/Berlin\r\n",
        "DTSTART;TZID=Europe/Berlin:20260302T093000",
        "DTEND;TZID=Europe/Berlin:20260302T103000",
        "RRULE:FREQ=WEEKLY;COUNT=10;BYDAY=MO,WE;WKST=SU",
        "EXDATE;TZID=Europe/Berlin:20260304T093000",
        "RECURRENCE-ID;TZID=Europe/Berlin:20260309T093000",
        "SUMMARY:Team meeting (moved)",
        "CLASS:PRIVATE",
        "TRANSP:OPAQUE",
        "X-VORN-BUSYSTATUS:OOF",
        "CATEGORIES:Business",
        "CATEGORIES:Team",
        "LOCATION:Room 4",
        "DESCRIPTION:Agenda\\n- budget",
        "BEGIN:VALARM",
        "TRIGGER:-PT10M",
        "ACTION:DISPLAY",
        "X-VORN-OID:4660",
        "UID:urn:uuid:00000000-0000-5000-8000-000000000001"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n"
                                                      << text;
  }
}

TEST(ICalendar, FloatingTimesHaveNoZone) {
  std::string text = Write(Meeting(), IcalZone());
  EXPECT_EQ(text.find("TZID"), std::string::npos);
  EXPECT_NE(text.find("DTSTART:20260302T093000\r\n"), std::string::npos);
  EXPECT_NE(text.find("EXDATE:20260304T093000\r\n"), std::string::npos);
}

TEST(ICalendar, AllDayEventsAreDates) {
  Appointment a;
  a.subject = u"Holiday";
  a.all_day = true;
  a.start = At(2026, 5, 1);
  a.end = At(2026, 5, 2);
  a.busy_status = 0;
  std::string text = Write(a, Zone("Europe/Berlin"));
  EXPECT_NE(text.find("DTSTART;VALUE=DATE:20260501"), std::string::npos);
  EXPECT_NE(text.find("DTEND;VALUE=DATE:20260502"), std::string::npos);
  EXPECT_NE(text.find("TRANSP:TRANSPARENT"), std::string::npos);
  EXPECT_EQ(text.find("VTIMEZONE"), std::string::npos);
  EXPECT_EQ(LibicalProblems(text), std::vector<std::string>());
  CalendarItems items = Read(text, Zone("Europe/Berlin"));
  ASSERT_EQ(items.appointments.size(), 1u);
  EXPECT_EQ(items.appointments[0], a);
}

TEST(ICalendar, EveryPatternWithEveryEndRoundTrips) {
  const RecurrenceType types[] = {
      RecurrenceType::kDaily,   RecurrenceType::kWeekly,
      RecurrenceType::kMonthly, RecurrenceType::kMonthNth,
      RecurrenceType::kYearly,  RecurrenceType::kYearNth};
  for (const char* name : {"", "Europe/Berlin"}) {
    IcalZone zone = Zone(name);
    for (RecurrenceType type : types) {
      for (EndKind end :
           {EndKind::kByDate, EndKind::kAfterCount, EndKind::kNever}) {
        SCOPED_TRACE(testing::Message()
                     << name << " type " << static_cast<int>(type) << " end "
                     << static_cast<int>(end));
        Appointment a = Meeting();
        a.exceptions.clear();
        a.recurrence = Pattern(type, end);
        a.recurrence->interval = 2;
        std::string text = Write(a, zone);
        EXPECT_EQ(LibicalProblems(text), std::vector<std::string>());
        CalendarItems items = Read(text, zone);
        ASSERT_EQ(items.appointments.size(), 1u);
        EXPECT_EQ(items.appointments[0], Kept(a)) << text;

        Task t = Chore();
        t.recurrence = Pattern(type, end);
        std::string todo = Write(t, zone);
        EXPECT_EQ(LibicalProblems(todo), std::vector<std::string>());
        CalendarItems tasks = Read(todo, zone);
        ASSERT_EQ(tasks.tasks.size(), 1u);
        EXPECT_EQ(tasks.tasks[0], Kept(t)) << todo;
      }
    }
  }
}

TEST(ICalendar, TaskRoundTripsAsVtodo) {
  Task t = Chore();
  t.complete = true;
  std::string text = Write(t, IcalZone());
  for (const char* expected :
       {"BEGIN:VTODO", "DTSTART;VALUE=DATE:20260302", "DUE;VALUE=DATE:20260306",
        "PRIORITY:1", "STATUS:COMPLETED", "PERCENT-COMPLETE:100",
        "TRIGGER;RELATED=END:-PT6H", "CLASS:PRIVATE", "X-VORN-OID:88"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n"
                                                      << text;
  }
  EXPECT_EQ(LibicalProblems(text), std::vector<std::string>());
  CalendarItems items = Read(text, IcalZone());
  ASSERT_EQ(items.tasks.size(), 1u);
  EXPECT_EQ(items.tasks[0], Kept(t));
  Task plain;
  plain.subject = u"Someday";
  plain.importance = 0;
  CalendarItems again = Read(Write(plain, IcalZone()), IcalZone());
  ASSERT_EQ(again.tasks.size(), 1u);
  EXPECT_EQ(again.tasks[0], plain);
}

// A calendar as another program writes it: attendees, two alarms, its own
// X- properties, its own zone definition under its own name.
constexpr char kForeign[] =
    "BEGIN:VCALENDAR\r\n"
    "VERSION:2.0\r\n"
    "PRODID:-//Example Corp//Calendar 9.1//EN\r\n"
    "X-WR-CALNAME:Work\r\n"
    "BEGIN:VTIMEZONE\r\n"
    "TZID:Eastern\r\n"
    "BEGIN:STANDARD\r\n"
    "DTSTART:19701101T020000\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=11;BYDAY=1SU\r\n"
    "TZOFFSETFROM:-0400\r\n"
    "TZOFFSETTO:-0500\r\n"
    "END:STANDARD\r\n"
    "BEGIN:DAYLIGHT\r\n"
    "DTSTART:19700308T020000\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=2SU\r\n"
    "TZOFFSETFROM:-0500\r\n"
    "TZOFFSETTO:-0400\r\n"
    "END:DAYLIGHT\r\n"
    "END:VTIMEZONE\r\n"
    "BEGIN:VEVENT\r\n"
    "UID:4f1c2a9e-77@example.com\r\n"
    "DTSTAMP:20260301T120000Z\r\n"
    "DTSTART;TZID=Eastern:20260610T090000\r\n"
    "DURATION:PT1H30M\r\n"
    "SUMMARY:Quarterly review\r\n"
    "LOCATION:Board room\r\n"
    "DESCRIPTION:Bring the numbers.\\nAnd coffee.\r\n"
    "ORGANIZER;CN=Dana:mailto:dana@example.com\r\n"
    "ATTENDEE;CN=Lee;ROLE=REQ-PARTICIPANT:mailto:lee@example.com\r\n"
    "ATTENDEE;CN=Kim;ROLE=OPT-PARTICIPANT:mailto:kim@example.com\r\n"
    "CATEGORIES:Work,Review\r\n"
    "CLASS:CONFIDENTIAL\r\n"
    "URL:https://example.com/review\r\n"
    "X-EXAMPLE-COLOR:teal\r\n"
    "X-EXAMPLE-IMPORTANCE:2\r\n"
    "BEGIN:VALARM\r\n"
    "ACTION:DISPLAY\r\n"
    "DESCRIPTION:Soon\r\n"
    "TRIGGER:-PT30M\r\n"
    "END:VALARM\r\n"
    "BEGIN:VALARM\r\n"
    "ACTION:AUDIO\r\n"
    "TRIGGER:-P1D\r\n"
    "END:VALARM\r\n"
    "END:VEVENT\r\n"
    "BEGIN:VEVENT\r\n"
    "UID:plain@example.com\r\n"
    "DTSTAMP:20260301T120000Z\r\n"
    "DTSTART:20260611T080000Z\r\n"
    "DTEND:20260611T083000Z\r\n"
    "SUMMARY:Call\r\n"
    "RRULE:FREQ=HOURLY;COUNT=3\r\n"
    "END:VEVENT\r\n"
    "END:VCALENDAR\r\n";

TEST(ICalendar, ForeignCalendarIsReadWithOneWarningLinePerItem) {
  CalendarItems items = Read(kForeign, Zone("Europe/Berlin"));
  ASSERT_EQ(items.appointments.size(), 2u);
  const Appointment& review = items.appointments[0];
  EXPECT_EQ(review.subject, u"Quarterly review");
  EXPECT_EQ(review.location, u"Board room");
  EXPECT_EQ(review.body, u"Bring the numbers.\r\nAnd coffee.");
  EXPECT_EQ(review.categories, u"Work, Review");
  EXPECT_TRUE(review.is_private);
  // 09:00 in New York's summer is 15:00 in Berlin's.
  EXPECT_EQ(review.start, At(2026, 6, 10, 15, 0));
  EXPECT_EQ(review.end, At(2026, 6, 10, 16, 30));
  EXPECT_TRUE(review.reminder_set);
  EXPECT_EQ(review.reminder_minutes, 30u);
  const Appointment& call = items.appointments[1];
  EXPECT_EQ(call.start, At(2026, 6, 11, 10, 0));
  EXPECT_FALSE(call.recurrence.has_value());
  ASSERT_EQ(items.warnings.size(), 2u);
  EXPECT_EQ(items.warnings[0],
            "appointment \"Quarterly review\" (4f1c2a9e-77@example.com): not "
            "kept: the organizer; URL; X-EXAMPLE-COLOR; X-EXAMPLE-IMPORTANCE; "
            "2 attendees; a second alarm");
  EXPECT_NE(items.warnings[1].find("appointment \"Call\" (plain@example.com)"),
            std::string::npos);
  EXPECT_NE(items.warnings[1].find("repeats more often than daily"),
            std::string::npos);
}

TEST(ICalendar, OtherProgramsWaysOfSayingTheSameAreRead) {
  const std::string text =
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\n"
      "BEGIN:VEVENT\r\nUID:e1\r\nDTSTAMP:20260101T000000Z\r\n"
      "DTSTART:20260301T100000\r\nDTEND:20260301T110000\r\n"
      "SUMMARY:Absolute alarm\r\nSTATUS:TENTATIVE\r\n"
      "BEGIN:VALARM\r\nACTION:DISPLAY\r\nDESCRIPTION:x\r\n"
      "TRIGGER;VALUE=DATE-TIME:20260301T094500\r\nEND:VALARM\r\n"
      "END:VEVENT\r\n"
      "BEGIN:VEVENT\r\nUID:lost\r\nDTSTAMP:20260101T000000Z\r\n"
      "RECURRENCE-ID:20260301T100000\r\nDTSTART:20260301T120000\r\n"
      "SUMMARY:Orphan\r\nEND:VEVENT\r\n"
      "BEGIN:VTODO\r\nUID:t1\r\nDTSTAMP:20260101T000000Z\r\n"
      "SUMMARY:Done\r\nPRIORITY:9\r\nCOMPLETED:20260102T000000Z\r\n"
      "DUE:20260105T170000\r\n"
      "BEGIN:VALARM\r\nACTION:DISPLAY\r\nDESCRIPTION:x\r\n"
      "TRIGGER:-PT2H\r\nEND:VALARM\r\nEND:VTODO\r\n"
      "BEGIN:VJOURNAL\r\nUID:j1\r\nDTSTAMP:20260101T000000Z\r\n"
      "END:VJOURNAL\r\n"
      "END:VCALENDAR\r\n";
  CalendarItems items = Read(text, IcalZone());
  ASSERT_EQ(items.appointments.size(), 1u);
  const Appointment& a = items.appointments[0];
  EXPECT_TRUE(a.reminder_set);
  EXPECT_EQ(a.reminder_minutes, 15u);
  EXPECT_EQ(a.busy_status, 1u);
  ASSERT_EQ(items.tasks.size(), 1u);
  const Task& t = items.tasks[0];
  EXPECT_TRUE(t.complete);
  EXPECT_EQ(t.importance, 0u);
  EXPECT_EQ(t.due_date, At(2026, 1, 5));
  EXPECT_TRUE(t.reminder_set);
  EXPECT_EQ(t.reminder_time, At(2026, 1, 4, 22, 0));  // DUE as a date
  ASSERT_EQ(items.warnings.size(), 2u);
  EXPECT_NE(items.warnings[0].find("VJOURNAL: not kept"), std::string::npos);
  EXPECT_EQ(items.warnings[1],
            "appointment \"Orphan\" (lost): not kept: a changed occurrence "
            "of a series not in the file");
}

// A file's own VTIMEZONE named like the handheld's zone stands for that
// zone: its clock readings are kept as they are, even where its definition
// is off (here by two hours). Another zone's times are converted into the
// handheld's.
TEST(ICalendar, TimesInTheHandheldsZoneKeepTheirReading) {
  auto file = [](const char* tzid, const char* offset) {
    return std::string("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\n") +
           "BEGIN:VTIMEZONE\r\nTZID:" + tzid +
           "\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\n"
           "TZOFFSETFROM:" +
           offset + "\r\nTZOFFSETTO:" + offset +
           "\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n"
           "BEGIN:VEVENT\r\nUID:z1\r\nDTSTAMP:20260101T000000Z\r\n"
           "DTSTART;TZID=" +
           tzid + ":20260301T100000\r\nDTEND;TZID=" + tzid +
           ":20260301T110000\r\nSUMMARY:Zoned\r\nEND:VEVENT\r\n"
           "END:VCALENDAR\r\n";
  };
  IcalZone berlin = Zone("Europe/Berlin");
  CalendarItems same = Read(file("Europe/Berlin", "+0300"), berlin);
  ASSERT_EQ(same.appointments.size(), 1u);
  EXPECT_EQ(same.appointments[0].start, At(2026, 3, 1, 10, 0));
  EXPECT_EQ(same.appointments[0].end, At(2026, 3, 1, 11, 0));
  // 10:00 at UTC-05:00 is 16:00 in Berlin (UTC+01:00 on 1 March).
  CalendarItems other = Read(file("Elsewhere/Minus5", "-0500"), berlin);
  ASSERT_EQ(other.appointments.size(), 1u);
  EXPECT_EQ(other.appointments[0].start, At(2026, 3, 1, 16, 0));
}

TEST(ICalendar, NotICalendarIsAnError) {
  EXPECT_FALSE(ICalendarReader::Parse("hello", IcalZone()).ok());
  EXPECT_FALSE(
      ICalendarReader::Parse("BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n", IcalZone())
          .ok());
  EXPECT_FALSE(IcalZone::Named("Mars/Olympus").ok());
}

// Writes the calendars of the tests above into one directory, one file per
// item named after its UID, for the independent parser's check
// (tests/check_ics.py, run by CTest). The directory is $VORN_ICS_OUT, or a
// scratch directory.
TEST(ICalendarExport, FilesForTheIndependentParser) {
  const char* out = std::getenv("VORN_ICS_OUT");
  std::filesystem::path dir =
      out != nullptr ? std::filesystem::path(out)
                     : std::filesystem::path(testing::TempDir()) / "vorn-ics";
  std::filesystem::create_directories(dir);
  auto save = [&dir](const std::string& uid, const std::string& text) {
    std::string name = uid.substr(RecordUid::kPrefix.size()) + ".ics";
    std::ofstream file(dir / name, std::ios::binary | std::ios::trunc);
    file << text;
    ASSERT_TRUE(file.flush());
    EXPECT_EQ(LibicalProblems(text), std::vector<std::string>()) << name;
  };
  int n = 0;
  for (const char* zone_name : {"", "Europe/Berlin", "UTC"}) {
    IcalZone zone = Zone(zone_name);
    for (Appointment a : {Meeting()}) {
      a.oid = static_cast<std::uint32_t>(100 + n++);
      std::string uid =
          RecordUid::For(u"test", protocol::DataType::kAppointments, *a.oid);
      ICalendarWriter writer(zone);
      writer.Add(a, uid);
      save(uid, writer.Text());
    }
    Task t = Chore();
    t.oid = static_cast<std::uint32_t>(100 + n++);
    std::string uid =
        RecordUid::For(u"test", protocol::DataType::kTasks, *t.oid);
    ICalendarWriter writer(zone);
    writer.Add(t, uid);
    save(uid, writer.Text());
  }
}

}  // namespace
}  // namespace desktop
