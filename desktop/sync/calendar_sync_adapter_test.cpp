#include "desktop/sync/calendar_sync_adapter.h"

#include <gtest/gtest.h>

#include "desktop/formats/calendar_items_test.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/wire/reply_reader.h"

namespace desktop {
namespace {

IcalZone Berlin() {
  Result<IcalZone> zone = IcalZone::Named("Europe/Berlin");
  EXPECT_TRUE(zone.ok());
  return zone.ok() ? *zone : IcalZone();
}

WireRecord ToWire(const std::vector<std::uint8_t>& reply,
                  const PropertyKindFn& layout) {
  ReplyReader reader(reply);
  Result<WireRecord> record = WireRecord::Read(reader, layout);
  EXPECT_TRUE(record.ok()) << record.status().message();
  return record.ok() ? *record : WireRecord();
}

constexpr char kUid[] = "urn:uuid:0b6f2c1e-1111-5222-8333-444455556666";

TEST(CalendarSyncAdapterTest, NamesItsCollections) {
  CalendarSyncAdapter appointments(protocol::DataType::kAppointments, {});
  CalendarSyncAdapter tasks(protocol::DataType::kTasks, {});
  EXPECT_EQ(appointments.collection(), "calendar");
  EXPECT_EQ(appointments.display_name(), "Calendar");
  EXPECT_EQ(tasks.collection(), "tasks");
  EXPECT_EQ(tasks.display_name(), "Tasks");
  EXPECT_EQ(tasks.extension(), ".ics");
  EXPECT_EQ(tasks.type(), protocol::DataType::kTasks);
}

TEST(CalendarSyncAdapterTest, AppointmentFileRoundTripsToTheSameCanonical) {
  CalendarSyncAdapter adapter(protocol::DataType::kAppointments, Berlin());
  Appointment meeting = test_items::Meeting();
  Result<HandheldItem> handheld =
      adapter.FromWire(ToWire(meeting.EncodeReply(), adapter.layout()));
  ASSERT_TRUE(handheld.ok()) << handheld.status().message();
  EXPECT_EQ(handheld->oid, 4660u);
  EXPECT_EQ(handheld->canonical.find("DTSTAMP"), std::string::npos);
  EXPECT_EQ(handheld->canonical.find("X-VORN-OID"), std::string::npos);

  Result<std::string> file =
      adapter.ToFile(handheld->canonical, "", kUid, "20260301T101500Z");
  ASSERT_TRUE(file.ok()) << file.status().message();
  EXPECT_NE(file->find(std::string("UID:") + kUid), std::string::npos);
  EXPECT_NE(file->find("DTSTAMP:20260301T101500Z"), std::string::npos);
  EXPECT_NE(file->find("TZID=Europe/Berlin"), std::string::npos);

  Result<DesktopItem> desktop = adapter.FromFile(*file);
  ASSERT_TRUE(desktop.ok()) << desktop.status().message();
  EXPECT_EQ(desktop->uid, kUid);
  EXPECT_EQ(desktop->canonical, handheld->canonical);
  // The record the file makes reads back as the same item.
  Result<Appointment> sent = Appointment::Decode(desktop->record);
  ASSERT_TRUE(sent.ok()) << sent.status().message();
  sent->oid = 4660;
  Result<HandheldItem> back =
      adapter.FromWire(ToWire(sent->EncodeReply(), adapter.layout()));
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(back->canonical, handheld->canonical);
}

TEST(CalendarSyncAdapterTest, TaskFileRoundTripsToTheSameCanonical) {
  CalendarSyncAdapter adapter(protocol::DataType::kTasks, Berlin());
  Task chore = test_items::Chore();
  Result<HandheldItem> handheld =
      adapter.FromWire(ToWire(chore.EncodeReply(), adapter.layout()));
  ASSERT_TRUE(handheld.ok()) << handheld.status().message();
  Result<std::string> file = adapter.ToFile(handheld->canonical, "", kUid, "");
  ASSERT_TRUE(file.ok()) << file.status().message();
  EXPECT_NE(file->find("BEGIN:VTODO"), std::string::npos);
  Result<DesktopItem> desktop = adapter.FromFile(*file);
  ASSERT_TRUE(desktop.ok()) << desktop.status().message();
  EXPECT_EQ(desktop->canonical, handheld->canonical);
  Result<Task> sent = Task::Decode(desktop->record);
  ASSERT_TRUE(sent.ok()) << sent.status().message();
  sent->oid = 88;
  Result<HandheldItem> back =
      adapter.FromWire(ToWire(sent->EncodeReply(), adapter.layout()));
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(back->canonical, handheld->canonical);
}

TEST(CalendarSyncAdapterTest, RefusesFilesOfTheOtherTypeOrOfTwoItems) {
  CalendarSyncAdapter appointments(protocol::DataType::kAppointments, {});
  CalendarSyncAdapter tasks(protocol::DataType::kTasks, {});
  ICalendarWriter one_task{IcalZone()};
  one_task.Add(test_items::Chore(), kUid);
  EXPECT_FALSE(appointments.FromFile(one_task.Text()).ok());
  EXPECT_TRUE(tasks.FromFile(one_task.Text()).ok());

  ICalendarWriter two{IcalZone()};
  two.Add(test_items::Chore(), kUid);
  two.Add(test_items::Chore(), "urn:uuid:other");
  EXPECT_FALSE(tasks.FromFile(two.Text()).ok());
  EXPECT_FALSE(tasks.FromFile("not a calendar").ok());
}

TEST(CalendarSyncAdapterTest, KeepsWhatTheHandheldCannotHold) {
  CalendarSyncAdapter adapter(protocol::DataType::kAppointments, {});
  Appointment meeting = test_items::Meeting();
  meeting.exceptions.clear();
  meeting.recurrence.reset();
  Result<HandheldItem> before =
      adapter.FromWire(ToWire(meeting.EncodeReply(), adapter.layout()));
  ASSERT_TRUE(before.ok()) << before.status().message();
  Result<std::string> file = adapter.ToFile(before->canonical, "", kUid, "");
  ASSERT_TRUE(file.ok());
  // Another program adds an attendee, a second alarm and its own property.
  std::string edited = *file;
  std::size_t end = edited.find("END:VEVENT");
  ASSERT_NE(end, std::string::npos);
  edited.insert(end,
                "ATTENDEE;CN=Bob:mailto:bob@example.org\r\n"
                "X-OTHER-PROGRAM:keep me\r\n"
                "BEGIN:VALARM\r\nACTION:AUDIO\r\nTRIGGER:-PT5M\r\n"
                "END:VALARM\r\n");
  Result<DesktopItem> read = adapter.FromFile(edited);
  ASSERT_TRUE(read.ok());
  // Unchanged as far as the handheld can tell.
  EXPECT_EQ(read->canonical, before->canonical);

  // The handheld renames the meeting.
  meeting.subject = u"Renamed meeting";
  Result<HandheldItem> after =
      adapter.FromWire(ToWire(meeting.EncodeReply(), adapter.layout()));
  ASSERT_TRUE(after.ok());
  Result<std::string> merged =
      adapter.ToFile(after->canonical, edited, kUid, "20260302T080000Z");
  ASSERT_TRUE(merged.ok()) << merged.status().message();
  EXPECT_NE(merged->find("SUMMARY:Renamed meeting"), std::string::npos);
  EXPECT_EQ(merged->find("SUMMARY:Team meeting"), std::string::npos);
  EXPECT_NE(merged->find("ATTENDEE;CN=Bob:mailto:bob@example.org"),
            std::string::npos);
  EXPECT_NE(merged->find("X-OTHER-PROGRAM:keep me"), std::string::npos);
  EXPECT_NE(merged->find("ACTION:AUDIO"), std::string::npos);
  EXPECT_NE(merged->find("ACTION:DISPLAY"), std::string::npos);
  EXPECT_EQ(merged->find("DTSTAMP:2026030"), merged->rfind("DTSTAMP:2026030"));
  Result<DesktopItem> reread = adapter.FromFile(*merged);
  ASSERT_TRUE(reread.ok());
  EXPECT_EQ(reread->canonical, after->canonical);
}

}  // namespace
}  // namespace desktop
