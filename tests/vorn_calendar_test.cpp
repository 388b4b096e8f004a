// `vorn get`, `put` and `export` of appointments and tasks, run as the
// program against a scripted handheld on loopback TCP (--device): a small
// server here that keeps appointment and task records and answers the
// commands those programs send, byte for byte in the handheld's layouts.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <thread>

#include "desktop/formats/appointment.h"
#include "desktop/formats/calendar_json.h"
#include "desktop/formats/record_uid.h"
#include "desktop/formats/task.h"
#include "desktop/wire/reply_reader.h"
#include "desktop/wire/wire_record.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using desktop::Appointment;
using desktop::Task;
using desktop::TimeRecord;
using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;
using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

constexpr char16_t kMachineId[] = u"PPC-CAL-1";

// A handheld that holds appointments (type 2) and tasks (type 3) as their
// records and serves one conversation per connection.
class ScriptedHandheld {
 public:
  ScriptedHandheld() {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address),
             sizeof address) != 0 ||
        listen(listener_, 4) != 0) {
      ADD_FAILURE() << "the scripted handheld cannot listen";
    }
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    address_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { Serve(); });
  }
  ~ScriptedHandheld() {
    stop_ = true;
    shutdown(listener_, SHUT_RDWR);
    close(listener_);
    thread_.join();
  }

  const std::string& address() const { return address_; }
  // Records by type and object id, in the handheld's reply layout.
  std::map<std::uint8_t, std::map<std::uint32_t, Bytes>> records;
  // Written records as they arrived (type, record bytes).
  std::vector<std::pair<std::uint8_t, Bytes>> written;

 private:
  static bool ReadAll(int fd, std::uint8_t* at, std::size_t n) {
    while (n > 0) {
      ssize_t got = read(fd, at, n);
      if (got <= 0) return false;
      at += got;
      n -= static_cast<std::size_t>(got);
    }
    return true;
  }

  void Serve() {
    while (!stop_) {
      int fd = accept(listener_, nullptr, nullptr);
      if (fd < 0) return;
      Converse(fd);
      close(fd);
    }
  }

  void Converse(int fd) {
    for (;;) {
      std::uint8_t size[4];
      if (!ReadAll(fd, size, 4)) return;
      Bytes packet(protocol::GetU32(size));
      if (!ReadAll(fd, packet.data(), packet.size()) || packet.size() < 2) {
        return;
      }
      Bytes reply = Answer(packet);
      Bytes frame = testing_support::ReplyFrame(reply);
      if (write(fd, frame.data(), frame.size()) !=
          static_cast<ssize_t>(frame.size())) {
        return;
      }
      if (packet[0] == 1) return;
    }
  }

  Bytes Answer(const Bytes& packet) {
    const std::uint8_t command = packet[0];
    const std::uint8_t type = packet[1];
    auto& mine = records[type];
    switch (command) {
      case 14:
        return Cat({LE32(0x3C), Counted(kMachineId)});
      case 13: {
        Bytes list =
            Cat({Bytes{1, 0}, LE32(static_cast<std::uint32_t>(mine.size())),
                 Bytes{0}});
        for (const auto& [oid, record] : mine) {
          list = Cat({list, LE32(oid)});
        }
        return list;
      }
      case 16: {
        std::uint32_t count = protocol::GetU32(packet.data() + 2);
        Bytes body;
        std::uint32_t found = 0;
        for (std::uint32_t i = 0; i < count; ++i) {
          auto it = mine.find(
              protocol::GetU32(packet.data() + 6 + std::size_t{4} * i));
          if (it == mine.end()) break;  // the list stops at a missing one
          body = Cat({body, it->second});
          ++found;
        }
        return Cat({Bytes{1, 0}, LE32(found), Bytes{0}, body});
      }
      case 7:
        return {0, 3};
      case 2:
      case 3: {
        std::uint32_t id = protocol::GetU32(packet.data() + 2);
        Bytes record(packet.begin() + 6, packet.end());
        written.emplace_back(type, record);
        std::uint32_t oid = command == 2 ? next_oid_++ : id;
        if (type == 2) {
          auto a = Appointment::Decode(record);
          if (!a.ok()) return {0, 3};
          a->oid = oid;
          mine[oid] = a->EncodeReply();
        } else {
          auto t = Task::Decode(record);
          if (!t.ok()) return {0, 3};
          t->oid = oid;
          mine[oid] = t->EncodeReply();
        }
        return Cat({Bytes{1, 0}, LE32(oid), LE32(id)});
      }
      case 1:
        return {};
      default:
        return {0, 3};
    }
  }

  int listener_ = -1;
  std::string address_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::uint32_t next_oid_ = 0x10001;
};

TimeRecord At(int y, int mo, int d, int h = 0, int mi = 0) {
  TimeRecord t = TimeRecord::FromDate(y, mo, d);
  t.hour = static_cast<std::uint16_t>(h);
  t.minute = static_cast<std::uint16_t>(mi);
  return t;
}

Appointment Weekly() {
  Appointment a;
  a.oid = 0x20001;
  a.subject = u"Yoga";
  a.location = u"Gym";
  a.start = At(2026, 3, 3, 18, 0);
  a.end = At(2026, 3, 3, 19, 0);
  a.reminder_set = true;
  a.reminder_minutes = 20;
  desktop::Recurrence r;
  r.type = 1;
  r.end_kind = 2;
  r.occurrences = 8;
  r.interval = 1;
  r.day_of_week_mask = 0x04;
  r.pattern_start = At(2026, 3, 3);
  r.exception_count = 1;
  a.recurrence = r;
  desktop::AppointmentException skipped;
  skipped.original_date = At(2026, 3, 10, 18, 0);
  skipped.deleted = true;
  a.exceptions = {skipped};
  return a;
}

Task Errand() {
  Task t;
  t.oid = 0x30001;
  t.subject = u"Renew passport";
  t.due_date = At(2026, 5, 1);
  t.importance = 2;
  return t;
}

class VornCalendarTest : public testing::Test {
 protected:
  void SetUp() override {
    handheld_.records[2][0x20001] = Weekly().EncodeReply();
    handheld_.records[3][0x30001] = Errand().EncodeReply();
  }
  ProgramResult Vorn(std::vector<std::string> args) {
    args.insert(args.begin(), {"vorn", "--device", handheld_.address()});
    return RunProgram(args);
  }
  ScriptedHandheld handheld_;
  TempDir dir_;
};

TEST_F(VornCalendarTest, GetShowsAppointmentsAsJsonAndIcs) {
  ProgramResult json = Vorn({"get", "appointments", "0x20001", "--json"});
  ASSERT_EQ(json.exitCode, 0) << json.err;
  auto items = desktop::CalendarJson::ParseDocument(json.outText());
  ASSERT_TRUE(items.ok()) << items.status().message();
  ASSERT_EQ(items->appointments.size(), 1u);
  EXPECT_EQ(items->appointments[0], Weekly());

  ProgramResult ics =
      Vorn({"get", "appointments", "131073", "--ics", "--tz", "Europe/Berlin"});
  ASSERT_EQ(ics.exitCode, 0) << ics.err;
  const std::string uid = desktop::RecordUid::For(
      kMachineId, protocol::DataType::kAppointments, 0x20001);
  for (const std::string& expected :
       {std::string("UID:") + uid, std::string("RRULE:FREQ=WEEKLY;COUNT=8"),
        std::string("EXDATE;TZID=Europe/Berlin:20260310T180000"),
        std::string("TRIGGER:-PT20M"), std::string("TZID:Europe/Berlin")}) {
    EXPECT_NE(ics.outText().find(expected), std::string::npos)
        << expected << "\n"
        << ics.outText();
  }

  ProgramResult text = Vorn({"get", "tasks", "0x30001"});
  ASSERT_EQ(text.exitCode, 0) << text.err;
  EXPECT_NE(text.outText().find("task 196609: Renew passport"),
            std::string::npos)
      << text.outText();
  EXPECT_NE(text.outText().find("DueDate:"), std::string::npos);
}

TEST_F(VornCalendarTest, OptionsThatDoNotFitAreOneLineErrors) {
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"get", "contacts", "1", "--ics"},
        {"get", "tasks", "1", "--vcard"},
        {"get", "tasks", "1", "--ics", "--json"},
        {"--tz", "Nowhere/Land", "get", "tasks", "1"}}) {
    ProgramResult r = Vorn(args);
    EXPECT_EQ(r.exitCode, 2) << args[1];
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  }
  EXPECT_TRUE(handheld_.written.empty());
}

TEST_F(VornCalendarTest, PutOfAnIcsFromAnotherProgramWarnsAndWrites) {
  const std::string path = dir_.path("invite.ics");
  testing_support::WriteFileBytes(path, [] {
    std::string text =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Other//EN\r\n"
        "BEGIN:VEVENT\r\nUID:abc@example.org\r\n"
        "DTSTAMP:20260101T000000Z\r\n"
        "DTSTART:20260420T100000Z\r\nDTEND:20260420T110000Z\r\n"
        "SUMMARY:Planning\r\n"
        "ATTENDEE:mailto:a@example.org\r\n"
        "X-OTHER-FLAG:1\r\n"
        "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT15M\r\n"
        "DESCRIPTION:x\r\nEND:VALARM\r\n"
        "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT5M\r\n"
        "DESCRIPTION:y\r\nEND:VALARM\r\n"
        "END:VEVENT\r\n"
        "BEGIN:VTODO\r\nUID:todo@example.org\r\n"
        "DTSTAMP:20260101T000000Z\r\nSUMMARY:Book room\r\n"
        "DUE;VALUE=DATE:20260419\r\nPRIORITY:1\r\nEND:VTODO\r\n"
        "END:VCALENDAR\r\n";
    return Bytes(text.begin(), text.end());
  }());
  ProgramResult r = Vorn({"--tz", "Europe/Berlin", "put", path});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "vorn: " + path +
                       ": appointment \"Planning\" (abc@example.org): not "
                       "kept: X-OTHER-FLAG; an attendee; a second alarm\n");
  EXPECT_NE(r.outText().find("added appointment 65537 Planning"),
            std::string::npos)
      << r.outText();
  EXPECT_NE(r.outText().find("added task 65538 Book room"), std::string::npos);
  ASSERT_EQ(handheld_.written.size(), 2u);
  auto a = Appointment::Decode(handheld_.written[0].second);
  ASSERT_TRUE(a.ok());
  EXPECT_EQ(a->start, At(2026, 4, 20, 12, 0));  // 10:00 UTC in Berlin
  EXPECT_TRUE(a->reminder_set);
  EXPECT_EQ(a->reminder_minutes, 15u);
  auto t = Task::Decode(handheld_.written[1].second);
  ASSERT_TRUE(t.ok());
  EXPECT_EQ(t->due_date, At(2026, 4, 19));
  EXPECT_EQ(t->importance, 2u);
}

TEST_F(VornCalendarTest, PutOfJsonUpdatesByOid) {
  const std::string path = dir_.path("changes.json");
  std::string text =
      R"([{"type": "task", "oid": 196609, "Subject": "Renew passport",
            "DueDate": "2026-06-01", "Complete": true},
          {"Subject": "Lunch", "Start": "2026-04-02T12:00:00",
           "End": "2026-04-02T13:00:00"}])";
  testing_support::WriteFileBytes(path, Bytes(text.begin(), text.end()));
  ProgramResult r = Vorn({"put", path, "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.outText().find("\"action\": \"updated\""), std::string::npos)
      << r.outText();
  ASSERT_EQ(handheld_.written.size(), 2u);
  EXPECT_EQ(handheld_.written[0].first, 2);  // appointments go first
  auto t = Task::FromWireRecord([&] {
    Bytes reply = handheld_.records[3][0x30001];
    desktop::ReplyReader reader(reply);
    return *desktop::WireRecord::Read(reader, Task::PropertyKindOf);
  }());
  ASSERT_TRUE(t.ok());
  EXPECT_TRUE(t->complete);
  EXPECT_EQ(t->due_date, At(2026, 6, 1));

  const std::string bad = dir_.path("bad.json");
  std::string wrong = R"({"type": "task", "Importance": "very"})";
  testing_support::WriteFileBytes(bad, Bytes(wrong.begin(), wrong.end()));
  ProgramResult failed = Vorn({"put", bad});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_EQ(failed.err, "vorn: " + bad +
                            ": item #1: \"Importance\" must be a whole "
                            "number from 0 to 4294967295\n");
  EXPECT_EQ(handheld_.written.size(), 2u);
}

TEST_F(VornCalendarTest, ExportWritesOneIcsPerItemNamedAfterItsUid) {
  const std::string out = dir_.path("export");
  ProgramResult r = Vorn({"export", out, "--tz", "Europe/Berlin"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.outText().find("exported 1 appointment and 1 task as .ics"),
            std::string::npos)
      << r.outText();
  for (auto [type, oid] :
       {std::pair{protocol::DataType::kAppointments, 0x20001u},
        std::pair{protocol::DataType::kTasks, 0x30001u}}) {
    std::string uid = desktop::RecordUid::For(kMachineId, type, oid);
    std::string file = out + "/" + uid.substr(9) + ".ics";
    ASSERT_TRUE(std::filesystem::exists(file)) << file;
    Bytes bytes = testing_support::ReadFileBytes(file);
    EXPECT_NE(std::string(bytes.begin(), bytes.end()).find("UID:" + uid),
              std::string::npos);
  }
  // The same files, read by an independent parser.
  const std::string check = "/usr/bin/python3 " + std::string(VORN_SOURCE_DIR) +
                            "/tests/check_ics.py " + out + " >/dev/null";
  EXPECT_EQ(std::system(check.c_str()), 0) << check;
}

}  // namespace
