// `vorn sync` against handhelds edited the way their users edit them
// (`vorn-device pim`): after every run the mirror directory holds exactly
// the handheld's contacts, also when runs are cut short.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "desktop/formats/json_text.h"
#include "tests/support/program.h"
#include "tests/sync_mirror_check.h"

namespace {

using testing_support::ListeningServer;
using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

using sync_check::Lines;
using sync_check::ReadText;

int LoopbackSocket(sockaddr_in* address) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  *address = {};
  address->sin_family = AF_INET;
  address->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return fd;
}

// Forwards one connection to the handheld at `port` and closes both sides
// once `limit` bytes went from the handheld to the desktop: a conversation
// cut at an exact byte.
class CuttingProxy {
 public:
  CuttingProxy(int port, std::size_t limit) : port_(port), limit_(limit) {
    sockaddr_in address;
    listen_fd_ = LoopbackSocket(&address);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listen_fd_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listen_fd_, 1), 0);
    getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&address), &size);
    address_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { Forward(); });
  }
  CuttingProxy(const CuttingProxy&) = delete;
  CuttingProxy& operator=(const CuttingProxy&) = delete;
  ~CuttingProxy() {
    shutdown(listen_fd_, SHUT_RDWR);
    thread_.join();
    close(listen_fd_);
  }
  const std::string& address() const { return address_; }

 private:
  void Forward() {
    int client = accept(listen_fd_, nullptr, nullptr);
    if (client < 0) return;
    sockaddr_in address;
    int server = LoopbackSocket(&address);
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    if (connect(server, reinterpret_cast<sockaddr*>(&address),
                sizeof address) != 0) {
      close(client);
      close(server);
      return;
    }
    std::size_t passed = 0;
    char buffer[4096];
    while (passed < limit_) {
      pollfd fds[2] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
      if (poll(fds, 2, 10'000) <= 0) break;
      if (fds[0].revents != 0) {
        ssize_t n = read(client, buffer, sizeof buffer);
        if (n <= 0 || send(server, buffer, static_cast<std::size_t>(n),
                           MSG_NOSIGNAL) != n) {
          break;
        }
      }
      if (fds[1].revents != 0) {
        std::size_t room = std::min(sizeof buffer, limit_ - passed);
        ssize_t n = read(server, buffer, room);
        if (n <= 0 || send(client, buffer, static_cast<std::size_t>(n),
                           MSG_NOSIGNAL) != n) {
          break;
        }
        passed += static_cast<std::size_t>(n);
      }
    }
    close(client);
    close(server);
  }

  int port_;
  std::size_t limit_;
  int listen_fd_ = -1;
  std::string address_;
  std::thread thread_;
};

class SyncTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The contracts registry of these runs lives in the test's directory.
    setenv("XDG_CONFIG_HOME", tmp_.path("config").c_str(), 1);
    image_ = tmp_.path("h.img");
    dir_ = tmp_.path("cards");
    ProgramResult init = RunProgram({"vorn-device", "init", image_});
    ASSERT_EQ(init.exitCode, 0) << init.err;
    ProgramResult help = RunProgram({"vorn-device", "pim", "--help"});
    ASSERT_EQ(help.exitCode, 0) << "vorn-device pim is missing: " << help.err;
  }
  void TearDown() override { unsetenv("VORN_SYNC_STOP_AFTER_RECORDS"); }

  std::string Add(const std::string& json) {
    ProgramResult r =
        RunProgram({"vorn-device", "pim", image_, "add", "contacts", json});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    auto lines = Lines(r.outText());
    return lines.empty() ? "" : lines.back();
  }
  void Set(const std::string& oid, const std::string& json) {
    ProgramResult r = RunProgram(
        {"vorn-device", "pim", image_, "set", "contacts", oid, json});
    EXPECT_EQ(r.exitCode, 0) << r.err;
  }
  void Delete(const std::string& oid) {
    ProgramResult r =
        RunProgram({"vorn-device", "pim", image_, "delete", "contacts", oid});
    EXPECT_EQ(r.exitCode, 0) << r.err;
  }

  // Runs `vorn --image IMAGE sync DIR --json` (or over `device`) and
  // returns its summary; null when it failed.
  desktop::Json Sync(const std::string& device = "", int expected_exit = 0) {
    std::vector<std::string> args = {"vorn"};
    if (device.empty()) {
      args.insert(args.end(), {"--image", image_});
    } else {
      args.insert(args.end(), {"--device", device});
    }
    args.insert(args.end(), {"sync", dir_, "--json"});
    ProgramResult r = RunProgram(args);
    EXPECT_EQ(r.exitCode, expected_exit) << r.err;
    if (r.exitCode != 0) return {};
    auto json = desktop::JsonText::Parse(r.outText());
    EXPECT_TRUE(json.ok()) << r.outText();
    return json.ok() ? *json : desktop::Json();
  }

  static std::int64_t Number(const desktop::Json& summary, const char* key) {
    auto value = summary.find(key);
    return value != summary.end() && value->is_number()
               ? value->get<std::int64_t>()
               : -1;
  }

  // The directory holds one file per contact of the handheld, each with
  // its content, and nothing else.
  void ExpectMirrorMatches() {
    sync_check::ExpectMirrorMatches({"vorn", "--image", image_}, dir_);
  }

  // The file the state pairs with object id `oid`.
  std::string FileOf(const std::string& oid) {
    auto state = sync_check::LoadState(dir_);
    if (!state) return "";
    for (const auto& [uid, item] : state->collections["contacts"].items) {
      if (std::to_string(item.oid) == oid) {
        return dir_ + "/contacts/" + item.file;
      }
    }
    return "";
  }

  TempDir tmp_;
  std::string image_;
  std::string dir_;
};

TEST_F(SyncTest, MirrorFollowsAddsChangesAndDeletesOnTheHandheld) {
  std::string ann = Add(R"({"FirstName":"Ann","LastName":"Lee"})");
  std::string bo =
      Add(R"({"FirstName":"Bo","Email1Address":"bo@example.org"})");
  std::string cy = Add(R"({"CompanyName":"Cy Works","Body":"two\r\nlines"})");

  desktop::Json first = Sync();
  EXPECT_TRUE(first.at("full").get<bool>());
  EXPECT_TRUE(first.at("contract_added").get<bool>());
  EXPECT_EQ(Number(first, "added"), 3);
  ExpectMirrorMatches();

  std::string dee = Add(R"({"FirstName":"Dee"})");
  Set(bo, R"({"JobTitle":"Pilot"})");
  Delete(cy);
  desktop::Json second = Sync();
  EXPECT_FALSE(second.at("full").get<bool>());
  EXPECT_EQ(Number(second, "added"), 1);
  EXPECT_EQ(Number(second, "changed"), 1);
  EXPECT_EQ(Number(second, "deleted"), 1);
  EXPECT_EQ(Number(second, "records_fetched"), 2);
  ExpectMirrorMatches();
  EXPECT_NE(ReadText(FileOf(bo)).find("TITLE:Pilot"), std::string::npos);

  // Changed, then deleted before the run: the deletion wins.
  Set(dee, R"({"LastName":"Doe"})");
  Delete(dee);
  Set(ann, R"({"LastName":"Lee-Smith"})");
  desktop::Json third = Sync();
  EXPECT_EQ(Number(third, "deleted"), 1);
  EXPECT_EQ(Number(third, "changed"), 1);
  ExpectMirrorMatches();

  desktop::Json idle = Sync();
  EXPECT_EQ(Number(idle, "records_fetched"), 0);
  EXPECT_EQ(Number(idle, "deleted"), 0);
  ExpectMirrorMatches();
}

TEST_F(SyncTest, KilledRunsAreRepeatedWithoutLosingAChange) {
  std::vector<std::string> oids;
  oids.reserve(6);
  for (int i = 0; i < 6; ++i) {
    oids.push_back(Add(R"({"FirstName":"P)" + std::to_string(i) + R"("})"));
  }
  // The first run dies after two records: nothing of it is confirmed.
  setenv("VORN_SYNC_STOP_AFTER_RECORDS", "2", 1);
  Sync("", 3);
  unsetenv("VORN_SYNC_STOP_AFTER_RECORDS");
  desktop::Json first = Sync();
  EXPECT_TRUE(first.at("full").get<bool>());
  EXPECT_EQ(first.at("full_reason").get<std::string>(),
            "the last full mirror did not finish");
  ExpectMirrorMatches();

  Set(oids[0], R"({"LastName":"Zero"})");
  Set(oids[1], R"({"LastName":"One"})");
  Delete(oids[2]);
  setenv("VORN_SYNC_STOP_AFTER_RECORDS", "1", 1);
  Sync("", 3);
  unsetenv("VORN_SYNC_STOP_AFTER_RECORDS");
  // More edits after the killed run: the next run catches up with both.
  Add(R"({"FirstName":"Late"})");
  Delete(oids[3]);
  desktop::Json next = Sync();
  EXPECT_FALSE(next.at("full").get<bool>());
  // The killed run died while fetching, before it changed any file; its
  // mark did not move, so this run applies both deletions, both changes
  // and the late add.
  EXPECT_EQ(Number(next, "deleted"), 2);
  EXPECT_EQ(Number(next, "changed"), 2);
  EXPECT_EQ(Number(next, "added"), 1);
  EXPECT_EQ(FileOf(oids[2]), "");
  EXPECT_EQ(FileOf(oids[3]), "");
  ExpectMirrorMatches();
}

TEST_F(SyncTest, ConversationsCutAtAnyByteLeaveTheMirrorRecoverable) {
  for (int i = 0; i < 5; ++i) {
    Add(R"({"FirstName":"Q)" + std::to_string(i) + R"(","LastName":"Cut"})");
  }
  ListeningServer server(image_);
  ASSERT_FALSE(server.address().empty()) << server.err();
  int port =
      std::stoi(server.address().substr(server.address().rfind(':') + 1));
  desktop::Json first = Sync(server.address());
  ASSERT_TRUE(first.is_object());
  ExpectMirrorMatches();

  // Each round: edits on the handheld (one add, one change, one delete),
  // a run cut after `limit` reply bytes, then a complete run. A probe round
  // measures how many bytes such a run receives, so that cut points can
  // also fall into the last replies (the final UpdateContract and the end
  // of the session). The other cut points fall into the machine id, the
  // change list and the records.
  int round = 0;
  auto edit = [&](const std::string& tag) {
    Add(R"({"FirstName":"R)" + std::to_string(round++) + R"("})");
    ProgramResult ls =
        RunProgram({"vorn", "--device", server.address(), "ls", "contacts"});
    std::vector<std::string> oids = Lines(ls.outText());
    ASSERT_GE(oids.size(), 3u);
    Set(oids[0], R"({"JobTitle":"Cut )" + tag + R"("})");
    Delete(oids[1]);
  };
  edit("probe");
  desktop::Json probe = Sync(server.address());
  ASSERT_TRUE(probe.is_object());
  std::size_t total = static_cast<std::size_t>(Number(probe, "bytes_received"));
  ASSERT_GT(total, 120u);
  ExpectMirrorMatches();
  for (std::size_t limit :
       {std::size_t{5}, std::size_t{40}, std::size_t{90}, std::size_t{120},
        total / 2, total - 20, total - 4, total - 1, total + 2}) {
    SCOPED_TRACE("cut after " + std::to_string(limit) + " of about " +
                 std::to_string(total) + " bytes");
    edit("x");
    {
      CuttingProxy proxy(port, limit);
      ProgramResult cut = RunProgram(
          {"vorn", "--device", proxy.address(), "sync", dir_, "--json"});
      // Record sizes differ a little between rounds: a cut near the end
      // may fall after the last byte this run needed.
      if (limit + 30 < total) {
        EXPECT_NE(cut.exitCode, 0) << cut.outText();
      }
    }
    desktop::Json done = Sync(server.address());
    EXPECT_TRUE(done.is_object());
    ExpectMirrorMatches();
  }
  EXPECT_EQ(server.Stop(), 0);
}

TEST_F(SyncTest, ContractsAreListedConfirmedAndRemoved) {
  Add(R"({"FirstName":"Ann"})");
  std::vector<std::string> args = {"vorn", "--image",   image_,  "sync",
                                   dir_,   "--partner", "desk-a"};
  ASSERT_EQ(RunProgram(args).exitCode, 0);
  ProgramResult list =
      RunProgram({"vorn", "--image", image_, "contracts", "--json"});
  ASSERT_EQ(list.exitCode, 0) << list.err;
  auto json = desktop::JsonText::Parse(list.outText());
  ASSERT_TRUE(json.ok() && json->is_array()) << list.outText();
  ASSERT_EQ(json->size(), 1u);
  const desktop::Json& entry = (*json)[0];
  EXPECT_EQ(entry.at("partner").get<std::string>(), "desk-a");
  EXPECT_TRUE(entry.at("confirmed").get<bool>());
  EXPECT_EQ(entry.at("directory").get<std::string>(),
            std::filesystem::canonical(dir_).string());

  ProgramResult rm =
      RunProgram({"vorn", "--image", image_, "contracts", "rm", "desk-a"});
  ASSERT_EQ(rm.exitCode, 0) << rm.err;
  EXPECT_EQ(rm.outText(), "deleted contract desk-a\n");
  list = RunProgram({"vorn", "--image", image_, "contracts"});
  EXPECT_NE(list.outText().find("no contracts known"), std::string::npos)
      << list.outText();

  // The state file still names desk-a, which the handheld no longer has.
  desktop::Json again = Sync();
  EXPECT_TRUE(again.at("full").get<bool>());
  EXPECT_EQ(again.at("partner").get<std::string>(), "desk-a");
  ExpectMirrorMatches();
}

TEST_F(SyncTest, BadArgumentsAndHelp) {
  EXPECT_EQ(RunProgram({"vorn", "--image", image_, "sync"}).exitCode, 2);
  EXPECT_EQ(
      RunProgram({"vorn", "--image", image_, "sync", dir_, "--nope"}).exitCode,
      2);
  EXPECT_EQ(RunProgram({"vorn", "sync", "--help"}).exitCode, 0);
  EXPECT_EQ(RunProgram({"vorn", "contracts", "--help"}).exitCode, 0);
  EXPECT_EQ(RunProgram({"vorn", "--image", image_, "sync", dir_, "--conflict",
                        "oldest"})
                .exitCode,
            2);
  EXPECT_EQ(RunProgram({"vorn", "--image", image_, "contracts", "rm"}).exitCode,
            2);
}

}  // namespace
