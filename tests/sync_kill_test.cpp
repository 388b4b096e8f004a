// Two-way `vorn sync` runs killed (SIGKILL) at random moments while both
// sides keep changing: after a final run both sides are equal, and every
// contact made on either side is there exactly once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "desktop/base/utf16.h"
#include "desktop/formats/vcard.h"
#include "tests/support/program.h"
#include "tests/sync_mirror_check.h"

namespace {

using testing_support::ListeningServer;
using testing_support::ProgramPath;
using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

// Starts `vorn --device ADDRESS sync DIR` and kills it after `delay`.
// Returns whether it was still running when killed.
bool RunAndKill(const std::string& address, const std::string& dir,
                std::chrono::microseconds delay) {
  std::string vorn = ProgramPath("vorn");
  pid_t pid = fork();
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    dup2(null, 2);
    execl(vorn.c_str(), vorn.c_str(), "--device", address.c_str(), "sync",
          dir.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  std::this_thread::sleep_for(delay);
  bool running = kill(pid, SIGKILL) == 0;
  int status = 0;
  waitpid(pid, &status, 0);
  return running && WIFSIGNALED(status);
}

// The first names of a mirror's cards, each with how often it occurs.
std::map<std::string, int> NamesInDirectory(const std::string& dir) {
  std::map<std::string, int> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".vcf") continue;
    auto cards =
        desktop::VCard::Parse(sync_check::ReadText(entry.path().string()));
    if (!cards.ok() || cards->size() != 1) {
      ++names["<unreadable>"];
      continue;
    }
    ++names[desktop::Utf16ToUtf8(cards->front().Text(31))];
  }
  return names;
}

TEST(SyncKillTest, RunsKilledAnywhereLoseAndDuplicateNothing) {
  TempDir tmp;
  setenv("XDG_CONFIG_HOME", tmp.path("config").c_str(), 1);
  std::string image = tmp.path("h.img");
  std::string dir = tmp.path("mirror");
  ASSERT_EQ(RunProgram({"vorn-device", "init", image}).exitCode, 0);
  std::set<std::string> expected;
  std::vector<std::string> handheld_oids;
  std::map<std::string, std::string> name_of;  // by object id
  for (int i = 0; i < 6; ++i) {
    std::string name = "H" + std::to_string(i);
    ProgramResult r =
        RunProgram({"vorn-device", "pim", image, "add", "contacts",
                    R"({"FirstName":")" + name + "\"}"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    handheld_oids.push_back(sync_check::Lines(r.outText()).back());
    name_of[handheld_oids.back()] = name;
    expected.insert(name);
  }
  ListeningServer server(image);
  ASSERT_FALSE(server.address().empty()) << server.err();
  ProgramResult first =
      RunProgram({"vorn", "--device", server.address(), "sync", dir});
  ASSERT_EQ(first.exitCode, 0) << first.err;

  std::mt19937 random(20261123);
  int killed = 0;
  int desktop_count = 0;
  auto start = std::chrono::steady_clock::now();
  for (int round = 0; round < 100 && killed < 24; ++round) {
    // Edits on both sides: a new contact each, a change each, and now and
    // then a deletion (never of more than one contact at a time).
    std::string hname = "HR" + std::to_string(round);
    ProgramResult added =
        RunProgram({"vorn-device", "pim", image, "add", "contacts",
                    R"({"FirstName":")" + hname + "\"}"});
    ASSERT_EQ(added.exitCode, 0) << added.err;
    handheld_oids.push_back(sync_check::Lines(added.outText()).back());
    name_of[handheld_oids.back()] = hname;
    expected.insert(hname);
    std::string changed = handheld_oids[random() % handheld_oids.size()];
    RunProgram({"vorn-device", "pim", image, "set", "contacts", changed,
                R"({"JobTitle":"round )" + std::to_string(round) + "\"}"});
    std::string dname = "D" + std::to_string(desktop_count++);
    desktop::Contact card;
    card.SetText(31, desktop::Utf8ToUtf16(dname));
    std::string text = desktop::VCard::Write(card);
    testing_support::WriteFileBytes(
        (std::filesystem::path(dir) / "contacts" / (dname + ".vcf")).string(),
        {text.begin(), text.end()});
    expected.insert(dname);
    if (round % 5 == 4) {
      // One deletion on each side.
      std::size_t at = random() % handheld_oids.size();
      ProgramResult gone = RunProgram({"vorn-device", "pim", image, "delete",
                                       "contacts", handheld_oids[at]});
      ASSERT_EQ(gone.exitCode, 0) << gone.err;
      expected.erase(name_of[handheld_oids[at]]);
      handheld_oids.erase(handheld_oids.begin() +
                          static_cast<std::ptrdiff_t>(at));
      std::string victim = "D" + std::to_string(desktop_count - 3);
      std::filesystem::path file =
          std::filesystem::path(dir) / "contacts" / (victim + ".vcf");
      if (std::filesystem::remove(file)) expected.erase(victim);
    }
    // A run takes some tens of milliseconds here: cuts fall anywhere in it
    // (and now and then after its end).
    auto delay = std::chrono::microseconds(random() % 60'000);
    if (RunAndKill(server.address(), dir, delay)) ++killed;
    // The server finishes the cut conversation before the next edits (a
    // conversation that is still open would hold the image).
    RunProgram({"vorn", "--device", server.address(), "info"});
    if (std::chrono::steady_clock::now() - start > std::chrono::minutes(2)) {
      break;
    }
  }
  EXPECT_GE(killed, 20);
  ProgramResult last =
      RunProgram({"vorn", "--device", server.address(), "sync", dir});
  ASSERT_EQ(last.exitCode, 0) << last.err;
  std::size_t count = sync_check::ExpectMirrorMatches(
      {"vorn", "--device", server.address()}, dir);
  std::map<std::string, int> names = NamesInDirectory(dir + "/contacts");
  EXPECT_EQ(count, expected.size());
  std::set<std::string> found;
  for (const auto& [name, n] : names) {
    EXPECT_EQ(n, 1) << name << " is there " << n << " times";
    found.insert(name);
  }
  EXPECT_EQ(found, expected);
  EXPECT_EQ(server.Stop(), 0);
}

// A full run cut in the appointments, after the contacts finished theirs:
// the appointments' contract already has its mark at the cut, so only a
// full run of the appointments finds what the cut run did not carry over,
// even though the contacts' full run of the next run finishes first again.
TEST(SyncKillTest, FullRunCutAfterTheContactsIsRepeatedForTheRest) {
  TempDir tmp;
  setenv("XDG_CONFIG_HOME", tmp.path("config").c_str(), 1);
  std::string image = tmp.path("h.img");
  std::string dir = tmp.path("mirror");
  ASSERT_EQ(RunProgram({"vorn-device", "init", image}).exitCode, 0);
  for (const char* subject : {"one", "two", "three"}) {
    ProgramResult added = RunProgram(
        {"vorn-device", "pim", image, "add", "appointments",
         std::string(R"({"Subject":")") + subject +
             R"(","Start":"2026-12-01T10:00:00","End":"2026-12-01T11:00:00"})"});
    ASSERT_EQ(added.exitCode, 0) << added.err;
  }
  // No contacts: their run fetches nothing and finishes; the appointments'
  // run stops after its first record, as if the process were killed there.
  setenv("VORN_SYNC_STOP_AFTER_RECORDS", "1", 1);
  ProgramResult cut = RunProgram({"vorn", "--image", image, "sync", dir});
  unsetenv("VORN_SYNC_STOP_AFTER_RECORDS");
  ASSERT_EQ(cut.exitCode, 3) << cut.err;
  ProgramResult rest = RunProgram({"vorn", "--image", image, "sync", dir});
  ASSERT_EQ(rest.exitCode, 0) << rest.err;
  std::size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir + "/calendar")) {
    files += entry.path().extension() == ".ics" ? 1 : 0;
  }
  EXPECT_EQ(files, 3u) << rest.outText();
}

}  // namespace
