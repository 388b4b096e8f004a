// The JSON both programs read and write: bad input is refused with one line
// naming its line and column and changes nothing; output is valid UTF-8,
// with U+FFFD for an unpaired surrogate of the handheld's text.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "desktop/formats/json_text.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::FramePacket;
using testing_support::PacketBuilder;
using testing_support::ProgramResult;
using testing_support::RecordBuilder;
using testing_support::RunProgram;
using testing_support::TempDir;

constexpr std::uint32_t kFirstName = 31;
constexpr std::uint32_t kLastName = 33;

class JsonIoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = dir_.path("d.img");
    ASSERT_EQ(RunProgram({"vorn-device", "init", image_}).exitCode, 0);
  }

  // vorn-device COMMAND IMAGE REST...
  ProgramResult Device(const std::string& command,
                       const std::vector<std::string>& rest) {
    std::vector<std::string> args = {"vorn-device", command, image_};
    args.insert(args.end(), rest.begin(), rest.end());
    return RunProgram(args);
  }
  ProgramResult Vorn(std::vector<std::string> args) {
    args.insert(args.begin(), {"vorn", "--image", image_});
    return RunProgram(args);
  }
  std::string Write(const std::string& name, const std::string& text) {
    std::string path = dir_.path(name);
    testing_support::WriteFileBytes(path, Bytes(text.begin(), text.end()));
    return path;
  }

  // What `pim ls contacts --json` lists, parsed.
  desktop::Json ListContacts() {
    ProgramResult ls = Device("pim", {"ls", "contacts", "--json"});
    EXPECT_EQ(ls.exitCode, 0) << ls.err;
    auto json = desktop::JsonText::Parse(ls.outText());
    EXPECT_TRUE(json.ok()) << json.status().message();
    return json.ok() ? *json : desktop::Json();
  }

  // Adds one contact over the wire, as a desktop would, with text that
  // the command line cannot give; returns its object id.
  std::uint32_t AddOverTheWire(const Bytes& record) {
    Bytes input =
        Cat({FramePacket(PacketBuilder(2, 1).U32(1).Raw(record).packet()),
             FramePacket({1, 1})});
    ProgramResult served =
        RunProgram({"vorn-device", "serve", image_, "--stdio"}, input);
    EXPECT_EQ(served.exitCode, 0) << served.err;
    auto frames = testing_support::SplitFrames(served.out);
    EXPECT_EQ(frames.size(), 2u);
    if (frames.empty() || frames[0].size() < 6) return 0;
    return protocol::GetU32(frames[0].data() + 2);
  }

  static void ExpectOneLineNaming(const ProgramResult& result,
                                  const std::string& where) {
    EXPECT_NE(result.exitCode, 0);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
        << result.err;
    EXPECT_NE(result.err.find(where), std::string::npos) << result.err;
  }

  TempDir dir_;
  std::string image_;
};

TEST_F(JsonIoTest, VornPutRefusesBadJsonNamingLineAndColumn) {
  std::string path = Write("bad.json",
                           "[\n  {\"FirstName\": \"Ann\"},\n"
                           "  {\"FirstName\": \"Bo\",}\n]\n");
  ProgramResult put = Vorn({"put", path});
  EXPECT_EQ(put.exitCode, 1);
  ExpectOneLineNaming(put, "at line 3, column 22: ");
  EXPECT_EQ(put.err.rfind("vorn: " + path + ": JSON: parse error", 0), 0u)
      << put.err;
  // Nothing of the file reached the handheld, not even its first contact.
  ProgramResult count = Vorn({"count", "contacts"});
  ASSERT_EQ(count.exitCode, 0) << count.err;
  EXPECT_EQ(count.outText(), "0\n");
}

TEST_F(JsonIoTest, PimRefusesBadJsonNamingLineAndColumn) {
  ProgramResult add =
      Device("pim", {"add", "contacts", "{\"FirstName\": \"Ann\"\n \"x\"}"});
  EXPECT_EQ(add.exitCode, 2);
  ExpectOneLineNaming(add, "at line 2, column 4: ");
  EXPECT_EQ(add.err.rfind("vorn-device: JSON: parse error", 0), 0u) << add.err;
  EXPECT_TRUE(ListContacts().empty());

  ProgramResult good =
      Device("pim", {"add", "contacts", R"({"FirstName":"Ann"})"});
  ASSERT_EQ(good.exitCode, 0) << good.err;
  std::string oid = good.outText().substr(0, good.outText().find('\n'));
  std::string path =
      Write("set.json", "{\"LastName\": \"Lee\",\n\"Bad\": tru}");
  ProgramResult set = Device("pim", {"set", "contacts", oid, "@" + path});
  ExpectOneLineNaming(set, "at line 2, column 11: ");
  desktop::Json listed = ListContacts();
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0].at("FirstName"), "Ann");
  EXPECT_FALSE(listed[0].contains("LastName"));
}

TEST_F(JsonIoTest, NonAsciiTextAndALoneSurrogateListAsUtf8) {
  std::u16string first = u"Ann\u00e9";
  first.push_back(static_cast<char16_t>(0xD800));  // unpaired
  first += u"\U0001F600";
  std::uint32_t oid = AddOverTheWire(RecordBuilder()
                                         .Str(kFirstName, first)
                                         .Str(kLastName, u"\u039b\u03bf")
                                         .Build());
  ASSERT_NE(oid, 0u);
  const std::string expected_first =
      "Ann\xC3\xA9\xEF\xBF\xBD\xF0\x9F\x98\x80";  // the surrogate as U+FFFD

  // Parsing checks the UTF-8 as well: invalid sequences would fail it.
  desktop::Json listed = ListContacts();
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0].at("Oid"), oid);
  EXPECT_EQ(listed[0].at("FirstName"), expected_first);
  EXPECT_EQ(listed[0].at("LastName"), "\xCE\x9B\xCE\xBF");

  ProgramResult get = Vorn({"get", "contacts", std::to_string(oid), "--json"});
  ASSERT_EQ(get.exitCode, 0) << get.err;
  auto got = desktop::JsonText::Parse(get.outText());
  ASSERT_TRUE(got.ok()) << got.status().message();
  EXPECT_EQ((*got)[0].at("FirstName"), expected_first);
  EXPECT_EQ((*got)[0].at("LastName"), "\xCE\x9B\xCE\xBF");

  ProgramResult dump = Device("dump", {});
  ASSERT_EQ(dump.exitCode, 0) << dump.err;
  auto dumped = desktop::JsonText::Parse(dump.outText());
  ASSERT_TRUE(dumped.ok()) << dumped.status().message();
  // The surrogate's three-byte form never reaches the output.
  EXPECT_EQ(dump.outText().find("\xED\xA0\x80"), std::string::npos);
}

}  // namespace
