// The desktop tool against the emulated handheld: what a user of `vorn`
// puts comes back as it went in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/program.h"
#include "tests/support/version_line.h"

namespace {

using testing_support::Bytes;
using testing_support::RunProgram;
using testing_support::TempDir;

// The names and contents of the vCard files in `dir`.
// The cards of a mirror, without their REV lines (the time of the run).
std::map<std::string, std::string> MirrorFiles(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir + "/contacts")) {
    std::string name = entry.path().filename().string();
    if (!name.ends_with(".vcf")) continue;
    Bytes bytes = testing_support::ReadFileBytes(entry.path().string());
    std::string text(bytes.begin(), bytes.end());
    std::size_t rev = text.find("\r\nREV:");
    if (rev != std::string::npos) {
      text.erase(rev, text.find("\r\n", rev + 2) - rev);
    }
    files[name] = text;
  }
  return files;
}

std::size_t Lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class VornTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The contracts `sync` remembers live in the test's directory.
    setenv("XDG_CONFIG_HOME", dir_.path("config").c_str(), 1);
    image_ = dir_.path("d.img");
    auto init =
        RunProgram({"vorn-device", "init", image_, "--machine-id", "PDA-9"});
    ASSERT_EQ(init.exitCode, 0) << init.err;
  }
  testing_support::ProgramResult Vorn(std::vector<std::string> args) {
    args.insert(args.begin(), {"vorn", "--image", image_});
    return RunProgram(args);
  }
  std::string Write(const std::string& name, const std::string& text) {
    std::string path = dir_.path(name);
    testing_support::WriteFileBytes(path, Bytes(text.begin(), text.end()));
    return path;
  }
  // The OID printed by `put` ("added OID ...").
  static std::string AddedOid(const std::string& out) {
    auto at = out.find_first_of("0123456789");
    auto end = out.find_first_not_of("0123456789", at);
    return out.substr(at, end - at);
  }

  TempDir dir_;
  std::string image_;
};

TEST_F(VornTest, JsonContactReadsBackIdentically) {
  const std::string fields =
      "    \"Birthday\": \"1815-12-10\",\n"
      "    \"CompanyName\": \"Analytical Engines\",\n"
      "    \"Email1Address\": \"ada@example.org\",\n"
      "    \"FirstName\": \"Ada\",\n"
      "    \"LastName\": \"Lovelace\",\n"
      "    \"HomeAddressCity\": "
      "\"\xce\x9b\xce\xbf\xce\xbd\xce\xb4\xce\xaf\xce\xbd\xce\xbf\",\n"
      "    \"Body\": \"Notes\\nline two\"\n";
  std::string input = Write("c.json", "{\n" + fields + "}\n");
  auto put = Vorn({"put", input});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  std::string oid = AddedOid(put.outText());
  auto get = Vorn({"get", "contacts", oid, "--json"});
  ASSERT_EQ(get.exitCode, 0) << get.err;
  EXPECT_EQ(get.outText(),
            "[\n  {\n    \"oid\": " + oid + ",\n" + fields + "  }\n]\n");
}

TEST_F(VornTest, VCardContactReadsBackIdenticallyAndUpdates) {
  std::string card =
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Grace Hopper\r\nN:Hopper;Grace;;;\r\n"
      "ORG:Navy\r\nEMAIL;PREF=1:grace@example.org\r\nEND:VCARD\r\n";
  auto put = Vorn({"put", Write("g.vcf", card)});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  std::string oid = AddedOid(put.outText());
  auto get = Vorn({"get", "contacts", oid, "--vcard"});
  ASSERT_EQ(get.exitCode, 0) << get.err;
  std::string expected =
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Grace Hopper\r\nN:Hopper;Grace;;;\r\n"
      "ORG:Navy\r\nEMAIL;PREF=1:grace@example.org\r\nX-VORN-OID:" +
      oid + "\r\nEND:VCARD\r\n";
  std::string text = get.outText();
  // Line ends may be shown as written; compare without carriage returns.
  auto strip = [](std::string s) {
    s.erase(std::remove(s.begin(), s.end(), '\r'), s.end());
    return s;
  };
  EXPECT_EQ(strip(text), strip(expected));

  // The card with its OID replaces the contact.
  std::string changed = expected;
  changed.replace(changed.find("ORG:Navy"), 8, "ORG:Fleet");
  ASSERT_EQ(Vorn({"put", Write("g2.vcf", changed)}).exitCode, 0);
  auto again = Vorn({"get", "contacts", oid, "--vcard"});
  EXPECT_NE(again.outText().find("ORG:Fleet"), std::string::npos);
  auto count = Vorn({"count", "contacts"});
  EXPECT_NE(count.outText().find('1'), std::string::npos) << count.outText();
}

TEST_F(VornTest, RemovedContactsAreGone) {
  auto put = Vorn(
      {"put", Write("a.json", R"([{"FirstName":"A"},{"FirstName":"B"}])")});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  auto ls = Vorn({"ls", "contacts"});
  std::vector<std::string> oids;
  std::string out = ls.outText();
  for (std::size_t at = 0;
       (at = out.find_first_of("0123456789", at)) != std::string::npos;) {
    auto end = out.find_first_not_of("0123456789", at);
    oids.push_back(out.substr(at, end - at));
    at = end;
  }
  ASSERT_EQ(oids.size(), 2U) << out;
  ASSERT_EQ(Vorn({"rm", "contacts", oids[0]}).exitCode, 0);
  auto after = Vorn({"ls", "contacts"});
  EXPECT_EQ(after.outText().find(oids[0]), std::string::npos);
  EXPECT_NE(after.outText().find(oids[1]), std::string::npos);
}

TEST_F(VornTest, FilesTravelInPiecesByteForByte) {
  Bytes data(1 << 20);
  for (std::size_t i = 0; i < data.size(); ++i) {
    data[i] = static_cast<std::uint8_t>((i * 2654435761U) >> 13);
  }
  std::string source = dir_.path("source.bin");
  testing_support::WriteFileBytes(source, data);
  auto push = Vorn({"push", source, "\\My Documents\\big.bin"});
  ASSERT_EQ(push.exitCode, 0) << push.err;
  std::string back = dir_.path("back.bin");
  auto pull = Vorn({"pull", "\\My Documents\\big.bin", back});
  ASSERT_EQ(pull.exitCode, 0) << pull.err;
  EXPECT_EQ(testing_support::ReadFileBytes(back), data);
}

TEST_F(VornTest, RawPacketsAndIdentity) {
  auto raw = Vorn({"raw", "0601", "0e01"});
  ASSERT_EQ(raw.exitCode, 0) << raw.err;
  EXPECT_EQ(raw.outText(),
            "010000000000\n3c0000000c0000005000440041002d0039000000\n");
  auto info = Vorn({"info"});
  EXPECT_NE(info.outText().find("PDA-9"), std::string::npos);
}

TEST_F(VornTest, BadArgumentsAreOneLineErrors) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"count", "gizmos"},
                                             {"get", "contacts"},
                                             {"raw", "zz"},
                                             {"put", dir_.path("missing.json")},
                                             {"frobnicate"}}) {
    auto result = Vorn(args);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
        << result.err;
  }
  auto help = RunProgram({"vorn", "--help"});
  EXPECT_EQ(help.exitCode, 0);
}

TEST_F(VornTest, SyncTakesItsOptionsBeforeOrAfterTheDirectory) {
  ASSERT_EQ(Vorn({"put", Write("a.json", R"([{"FirstName":"A"},
                                            {"FirstName":"B"}])")})
                .exitCode,
            0);
  // --partner before DIR, the global options after the command ...
  std::string first = dir_.path("first");
  auto before = RunProgram(
      {"vorn", "sync", "--partner", "desk-1", first, "--image", image_});
  ASSERT_EQ(before.exitCode, 0) << before.err;
  // ... and --partner after DIR, the global options before it.
  std::string second = dir_.path("second");
  auto after = RunProgram(
      {"vorn", "--image", image_, "sync", second, "--partner", "desk-2"});
  ASSERT_EQ(after.exitCode, 0) << after.err;

  EXPECT_TRUE(before.outText().starts_with(
      "full sync of " + first +
      " (the handheld has no contract \"desk-1\"): from the handheld added "
      "2, changed 0, deleted 0;"))
      << before.outText();
  EXPECT_TRUE(after.outText().starts_with(
      "full sync of " + second +
      " (the handheld has no contract \"desk-2\"): from the handheld added "
      "2, changed 0, deleted 0;"))
      << after.outText();
  EXPECT_EQ(MirrorFiles(first).size(), 2U);
  EXPECT_EQ(MirrorFiles(first), MirrorFiles(second));
  // The partner names went nowhere else.
  EXPECT_FALSE(std::filesystem::exists("desk-1"));
  EXPECT_FALSE(std::filesystem::exists(dir_.path("desk-1")));
  EXPECT_FALSE(std::filesystem::exists(dir_.path("desk-2")));

  // Each directory keeps its own partner: the next runs are incremental.
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {"vorn", "--json", "sync", "--partner", "desk-1", first, "--image",
            image_},
           {"vorn", "sync", second, "--image", image_, "--partner", "desk-2",
            "--json"}}) {
    auto again = RunProgram(args);
    ASSERT_EQ(again.exitCode, 0) << again.err;
    EXPECT_NE(again.outText().find("\"full\":false"), std::string::npos)
        << again.outText();
  }
  auto contracts = Vorn({"contracts"});
  EXPECT_NE(contracts.outText().find("desk-1"), std::string::npos);
  EXPECT_NE(contracts.outText().find("desk-2"), std::string::npos);
}

TEST_F(VornTest, EveryCommandHasHelp) {
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{},
                                             {"raw"},
                                             {"info"},
                                             {"count"},
                                             {"ls"},
                                             {"get"},
                                             {"put"},
                                             {"rm"},
                                             {"push"},
                                             {"pull"},
                                             {"export"},
                                             {"sync"},
                                             {"contracts"},
                                             {"contracts", "rm"},
                                             {"help"}}) {
    std::vector<std::string> args = {"vorn"};
    args.insert(args.end(), command.begin(), command.end());
    std::string usage = "Usage: vorn";
    for (const std::string& word : command) {
      if (word != "help") usage += " " + word;
    }
    // Without a handheld, and with --help before or after the command.
    for (bool last : {true, false}) {
      std::vector<std::string> asked = args;
      asked.insert(last ? asked.end() : asked.begin() + 1, "--help");
      if (command.size() == 1 && command[0] == "help") asked = args;
      auto help = RunProgram(asked);
      EXPECT_EQ(help.exitCode, 0) << usage;
      EXPECT_EQ(help.err, "");
      std::string text = help.outText();
      if (!last) continue;  // `vorn --help COMMAND` describes vorn
      EXPECT_NE(text.find(usage + " [OPTIONS]"), std::string::npos) << text;
    }
  }
  auto sync = RunProgram({"vorn", "sync", "-h"});
  EXPECT_NE(sync.outText().find("--partner NAME"), std::string::npos);
}

TEST_F(VornTest, VersionIsTheProjectVersion) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"vorn", "--version"},
                                             {"vorn", "count", "--version"}}) {
    auto version = RunProgram(args);
    EXPECT_EQ(version.exitCode, 0);
    testing_support::ExpectVersionLine(version.outText(), "vorn");
    EXPECT_EQ(version.err, "");
  }
}

TEST_F(VornTest, BadArgumentsAreOneLineStatusTwoAndChangeNothing) {
  ASSERT_EQ(Vorn({"put", Write("a.json", R"({"FirstName":"A"})")}).exitCode, 0);
  Bytes before = testing_support::ReadFileBytes(image_);
  std::string mirror = dir_.path("m");
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {"frobnicate"},
           {"count"},
           {"count", "gizmos"},
           {"count", "contacts", "extra"},
           {"ls", "contacts", "--nope"},
           {"get", "contacts"},
           {"get", "contacts", "zz"},
           {"get", "contacts", "-5"},
           {"get", "contacts", "4294967296"},
           {"get", "contacts", "1", "--vcard", "--json"},
           {"get", "tasks", "1", "--vcard"},
           {"rm", "contacts", "0x"},
           {"rm", "contacts", "12abc"},
           {"raw", "zz"},
           {"raw", "06"},
           {"push", dir_.path("a.json")},
           {"sync"},
           {"sync", mirror, "--partner"},
           {"sync", mirror, "--partner", ""},
           {"sync", mirror, "--partner", "a", "--partner", "b"},
           {"contracts", "rm"},
           {"contracts", "frob"},
           {"info", "--device", "127.0.0.1:1"},
       }) {
    auto result = Vorn(args);
    EXPECT_EQ(result.exitCode, 2) << args[0];
    EXPECT_EQ(Lines(result.err), 1U) << result.err;
    EXPECT_TRUE(result.err.starts_with("vorn: ")) << result.err;
    EXPECT_NE(result.err.find("--help)"), std::string::npos) << result.err;
    EXPECT_EQ(result.outText(), "");
  }
  // Without a handheld, or with two.
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{
           {"vorn"}, {"vorn", "info"}, {"vorn", "--json", "ls", "contacts"}}) {
    auto result = RunProgram(args);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(Lines(result.err), 1U) << result.err;
  }
  EXPECT_FALSE(std::filesystem::exists(mirror));
  EXPECT_EQ(testing_support::ReadFileBytes(image_), before);
  EXPECT_EQ(Vorn({"count", "contacts"}).outText(), "1\n");
}

// The request frames a `vorn` command sends, captured by a wrapper around
// vorn-device named in VORN_DEVICE: one payload per packet.
class CapturedRequests {
 public:
  explicit CapturedRequests(const TempDir& dir)
      : script_(dir.path("capture.sh")), log_(dir.path("requests.bin")) {
    std::string text = "#!/bin/sh\ntee '" + log_ + "' | exec '" +
                       testing_support::ProgramPath("vorn-device") +
                       "' \"$@\"\n";
    testing_support::WriteFileBytes(script_, Bytes(text.begin(), text.end()));
    std::filesystem::permissions(script_, std::filesystem::perms::owner_all);
    setenv("VORN_DEVICE", script_.c_str(), 1);
  }
  CapturedRequests(const CapturedRequests&) = delete;
  CapturedRequests& operator=(const CapturedRequests&) = delete;
  ~CapturedRequests() { unsetenv("VORN_DEVICE"); }

  std::vector<Bytes> Packets() const {
    Bytes all = testing_support::ReadFileBytes(log_);
    std::vector<Bytes> packets;
    std::size_t at = 0;
    while (at + 4 <= all.size()) {
      std::size_t length = all[at] | (all[at + 1] << 8) | (all[at + 2] << 16) |
                           (static_cast<std::size_t>(all[at + 3]) << 24);
      at += 4;
      if (at + length > all.size()) break;
      packets.emplace_back(
          all.begin() + static_cast<std::ptrdiff_t>(at),
          all.begin() + static_cast<std::ptrdiff_t>(at + length));
      at += length;
    }
    EXPECT_EQ(at, all.size()) << "a cut-off frame in the capture";
    return packets;
  }

 private:
  std::string script_;
  std::string log_;
};

TEST_F(VornTest, PutOfThousandsGoesOutInAFewBatchPackets) {
  constexpr int kCount = 5000;
  std::string json = "[";
  for (int i = 0; i < kCount; ++i) {
    std::string n = std::to_string(i);
    json += i == 0 ? "" : ",\n";
    json += R"({"FirstName":"P)";
    json += n;
    json += R"(","LastName":"Bulk","Email1Address":"p)";
    json += n;
    json += R"(@example.org"})";
  }
  json += "]";
  std::string input = Write("many.json", json);
  testing_support::ProgramResult put;
  std::vector<Bytes> packets;
  {
    CapturedRequests capture(dir_);
    put = Vorn({"put", input});
    packets = capture.Packets();
  }
  ASSERT_EQ(put.exitCode, 0) << put.err;
  // 2000 records a packet: three BatchWrite packets, then the end.
  ASSERT_EQ(packets.size(), 4U);
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_GE(packets[i].size(), 6U);
    EXPECT_EQ(packets[i][0], 15) << i;
    std::uint32_t count = packets[i][2] | (packets[i][3] << 8) |
                          (packets[i][4] << 16) |
                          (static_cast<std::uint32_t>(packets[i][5]) << 24);
    EXPECT_EQ(count, i < 2 ? 2000U : 1000U) << i;
  }
  EXPECT_EQ(packets[3], (Bytes{1, 1}));

  // One line per record, in order, each with its own OID.
  std::vector<std::string> oids;
  std::string out = put.outText();
  std::size_t at = 0;
  for (int i = 0; i < kCount; ++i) {
    std::size_t end = out.find('\n', at);
    ASSERT_NE(end, std::string::npos) << i;
    std::string line = out.substr(at, end - at);
    at = end + 1;
    std::string oid = AddedOid(line);
    EXPECT_EQ(line, "added " + oid + " P" + std::to_string(i) + " Bulk");
    oids.push_back(oid);
  }
  EXPECT_EQ(at, out.size());
  EXPECT_EQ(std::set<std::string>(oids.begin(), oids.end()).size(),
            static_cast<std::size_t>(kCount));

  // Every record arrived under the OID printed for it.
  EXPECT_EQ(Vorn({"count", "contacts"}).outText(),
            std::to_string(kCount) + "\n");
  std::string exported = dir_.path("exported");
  ASSERT_EQ(Vorn({"export", exported}).exitCode, 0);
  std::map<std::string, std::string> cards;
  for (const auto& entry : std::filesystem::directory_iterator(exported)) {
    std::string name = entry.path().filename().string();
    Bytes bytes = testing_support::ReadFileBytes(entry.path().string());
    cards[name.substr(0, name.find('-'))] =
        std::string(bytes.begin(), bytes.end());
  }
  ASSERT_EQ(cards.size(), static_cast<std::size_t>(kCount));
  for (int i = 0; i < kCount; ++i) {
    const std::string& card = cards[oids[static_cast<std::size_t>(i)]];
    EXPECT_NE(card.find("p" + std::to_string(i) + "@example.org"),
              std::string::npos)
        << i;
  }
}

TEST_F(VornTest, PutGoesOnAfterAnUpdateOfAMissingContact) {
  auto first = Vorn({"put", Write("a.json", R"({"FirstName":"Old"})")});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  std::string oid = AddedOid(first.outText());
  std::string input = Write("b.json", R"([{"FirstName":"A"},
      {"oid":4000000000,"FirstName":"Ghost"},
      {"oid":)" + oid + R"(,"FirstName":"New"},
      {"FirstName":"B"}])");
  testing_support::ProgramResult put;
  std::vector<Bytes> packets;
  {
    CapturedRequests capture(dir_);
    put = Vorn({"put", input});
    packets = capture.Packets();
  }
  // New contacts go out in batches, updates one at a time (an update of a
  // missing contact in a batch would stop it with an error box).
  std::vector<std::uint8_t> commands;
  commands.reserve(packets.size());
  for (const Bytes& packet : packets) commands.push_back(packet.at(0));
  EXPECT_EQ(commands, (std::vector<std::uint8_t>{15, 3, 3, 15, 1}));
  EXPECT_NE(put.exitCode, 0);
  EXPECT_EQ(put.err, "vorn: the handheld did not update Ghost (code 3)\n");
  std::vector<std::string> lines;
  std::string out = put.outText();
  for (std::size_t at = 0, end; (end = out.find('\n', at)) != std::string::npos;
       at = end + 1) {
    lines.push_back(out.substr(at, end - at));
  }
  ASSERT_EQ(lines.size(), 3U) << out;
  EXPECT_TRUE(lines[0].starts_with("added ")) << lines[0];
  EXPECT_TRUE(lines[0].ends_with(" A")) << lines[0];
  EXPECT_EQ(lines[1], "updated " + oid + " New");
  EXPECT_TRUE(lines[2].starts_with("added ")) << lines[2];
  EXPECT_TRUE(lines[2].ends_with(" B")) << lines[2];
  EXPECT_EQ(Vorn({"count", "contacts"}).outText(), "3\n");
  auto changed = Vorn({"get", "contacts", oid});
  EXPECT_NE(changed.outText().find("New"), std::string::npos) << changed.err;
}

TEST_F(VornTest, ObjectIdsAreDecimalOrHex) {
  auto put = Vorn({"put", Write("a.json", R"({"FirstName":"Hexa"})")});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  std::string oid = AddedOid(put.outText());
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%X",
                static_cast<unsigned>(std::stoul(oid)));
  auto decimal = Vorn({"get", "contacts", oid});
  auto upper = Vorn({"get", "contacts", hex});
  ASSERT_EQ(decimal.exitCode, 0) << decimal.err;
  EXPECT_NE(decimal.outText().find("Hexa"), std::string::npos);
  EXPECT_EQ(upper.outText(), decimal.outText());
  // A leading zero is still decimal.
  auto padded = Vorn({"get", "contacts", "0" + oid});
  EXPECT_EQ(padded.outText(), decimal.outText()) << padded.err;
}

}  // namespace
