// `vorn sync DIR` of appointments and tasks against the emulated handheld:
// the sample calendar (data/calendar.ics) put first, mirrored into
// DIR/calendar/ and DIR/tasks/, then changes on either side carried over
// on the next run. The files are checked with python3-icalendar too.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/sync_mirror_check.h"

namespace {

namespace fs = std::filesystem;
using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

std::vector<std::string> IcsFiles(const std::string& dir) {
  std::vector<std::string> out;
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (entry.path().extension() == ".ics") out.push_back(entry.path());
  }
  return out;
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteText(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// The file of `dir` whose text holds `needle`; "" when none does.
std::string FileWith(const std::string& dir, const std::string& needle) {
  for (const std::string& file : IcsFiles(dir)) {
    if (ReadText(file).find(needle) != std::string::npos) return file;
  }
  return "";
}

// The object id of the first "added appointment OID ..." line.
std::string AddedOid(const std::string& out) {
  const std::string lead = "added appointment ";
  std::size_t at = out.find(lead);
  if (at == std::string::npos) return "";
  at += lead.size();
  return out.substr(at, out.find(' ', at) - at);
}

class SyncCalendarTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CONFIG_HOME", tmp_.path("config").c_str(), 1);
    image_ = tmp_.path("h.img");
    mirror_ = tmp_.path("mirror");
    ASSERT_EQ(
        RunProgram({"vorn-device", "init", image_, "--tz", "Europe/Berlin"})
            .exitCode,
        0);
    ProgramResult put =
        Vorn({"--tz", "Europe/Berlin", "put",
              std::string(VORN_SOURCE_DIR) + "/data/calendar.ics"});
    ASSERT_EQ(put.exitCode, 0) << put.err;
    standup_ = AddedOid(put.outText());
    ASSERT_FALSE(standup_.empty()) << put.outText();
  }

  ProgramResult Vorn(std::vector<std::string> args) const {
    std::vector<std::string> argv = {"vorn", "--image", image_};
    argv.insert(argv.end(), args.begin(), args.end());
    return RunProgram(argv);
  }

  void Sync(const std::vector<std::string>& extra = {}) const {
    std::vector<std::string> args = extra;
    args.insert(args.end(), {"sync", mirror_});
    ProgramResult r = Vorn(args);
    ASSERT_EQ(r.exitCode, 0) << r.err;
  }

  static void CheckIcs(const std::string& dir) {
    const std::string check = "/usr/bin/python3 " +
                              std::string(VORN_SOURCE_DIR) +
                              "/tests/check_ics.py " + dir + " >/dev/null";
    EXPECT_EQ(std::system(check.c_str()), 0) << check;
  }

  TempDir tmp_;
  std::string image_;
  std::string mirror_;
  std::string standup_;
};

TEST_F(SyncCalendarTest, MirrorsAppointmentsAndTasksBothWays) {
  Sync({"--tz", "Europe/Berlin"});
  const std::string calendar = mirror_ + "/calendar";
  const std::string tasks = mirror_ + "/tasks";
  EXPECT_EQ(IcsFiles(calendar).size(), 3u);
  EXPECT_EQ(IcsFiles(tasks).size(), 2u);
  EXPECT_EQ(ReadText(calendar + "/displayname"), "Calendar");
  EXPECT_EQ(ReadText(tasks + "/displayname"), "Tasks");
  EXPECT_EQ(sync_check::LoadState(mirror_)->time_zone, "Europe/Berlin");
  CheckIcs(calendar);
  CheckIcs(tasks);

  // An edit of the file (and an attendee the handheld cannot hold) reaches
  // the handheld; the run takes the zone from the state.
  std::string standup = FileWith(calendar, "SUMMARY:Team standup\r\n");
  ASSERT_FALSE(standup.empty());
  EXPECT_NE(ReadText(standup).find("TZID=Europe/Berlin"), std::string::npos);
  std::string text = ReadText(standup);
  text.replace(text.find("SUMMARY:Team standup\r\n"), 22,
               "SUMMARY:Team sync\r\nATTENDEE:mailto:bob@example.org\r\n");
  WriteText(standup, text);
  Sync();
  ProgramResult got =
      Vorn({"--tz", "Europe/Berlin", "get", "appointments", standup_, "--ics"});
  ASSERT_EQ(got.exitCode, 0) << got.err;
  EXPECT_NE(got.outText().find("SUMMARY:Team sync\r\n"), std::string::npos)
      << got.outText();

  // A change on the handheld comes back into the file, which keeps the
  // attendee.
  std::string edited = got.outText();
  edited.replace(edited.find("SUMMARY:Team sync\r\n"), 19,
                 "SUMMARY:Team meeting\r\n");
  WriteText(tmp_.path("edited.ics"), edited);
  ProgramResult put =
      Vorn({"--tz", "Europe/Berlin", "put", tmp_.path("edited.ics")});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  Sync();
  text = ReadText(standup);
  EXPECT_NE(text.find("SUMMARY:Team meeting\r\n"), std::string::npos) << text;
  EXPECT_NE(text.find("ATTENDEE:mailto:bob@example.org"), std::string::npos)
      << text;

  // An appointment added on the handheld appears on the next run.
  WriteText(tmp_.path("new.ics"),
            "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\n"
            "BEGIN:VEVENT\r\nUID:dentist-1\r\nDTSTAMP:20261101T000000Z\r\n"
            "SUMMARY:Dentist\r\nDTSTART:20261210T090000\r\n"
            "DTEND:20261210T100000\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");
  put = Vorn({"--tz", "Europe/Berlin", "put", tmp_.path("new.ics")});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  std::string dentist = AddedOid(put.outText());
  Sync();
  EXPECT_EQ(IcsFiles(calendar).size(), 4u);
  EXPECT_FALSE(FileWith(calendar, "SUMMARY:Dentist\r\n").empty());

  // A deleted file deletes the record.
  ASSERT_TRUE(fs::remove(FileWith(calendar, "SUMMARY:Dentist\r\n")));
  Sync();
  ProgramResult list = Vorn({"ls", "appointments"});
  ASSERT_EQ(list.exitCode, 0) << list.err;
  EXPECT_EQ(list.outText().find(dentist + "\n"), std::string::npos)
      << list.outText();
  EXPECT_NE(list.outText().find(standup_ + "\n"), std::string::npos);
  EXPECT_EQ(IcsFiles(calendar).size(), 3u);
  EXPECT_EQ(IcsFiles(tasks).size(), 2u);
  CheckIcs(calendar);
  CheckIcs(tasks);
}

TEST_F(SyncCalendarTest, RemovingTheContractRemovesTheCalendarOnesToo) {
  Sync({"--tz", "UTC"});
  // UTC times: no zone of their own in the files.
  std::string standup = ReadText(FileWith(mirror_ + "/calendar", "standup"));
  EXPECT_EQ(standup.find("TZID"), std::string::npos) << standup;
  EXPECT_NE(standup.find("DTSTART:20"), std::string::npos) << standup;
  ProgramResult again = Vorn({"sync", mirror_, "--json"});
  ASSERT_EQ(again.exitCode, 0) << again.err;
  EXPECT_NE(again.outText().find("\"records_fetched\":0"), std::string::npos)
      << again.outText();

  std::string partner = sync_check::LoadState(mirror_)->partner;
  ProgramResult rm = Vorn({"contracts", "rm", partner});
  ASSERT_EQ(rm.exitCode, 0) << rm.err;
  // Every appointment and task is compared again.
  again = Vorn({"sync", mirror_, "--json"});
  ASSERT_EQ(again.exitCode, 0) << again.err;
  EXPECT_NE(again.outText().find("\"records_fetched\":5"), std::string::npos)
      << again.outText();
  EXPECT_EQ(IcsFiles(mirror_ + "/calendar").size(), 3u);
}

}  // namespace
