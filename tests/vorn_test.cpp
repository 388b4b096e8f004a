// The desktop tool against the emulated handheld: what a user of `vorn`
// puts comes back as it went in.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::RunProgram;
using testing_support::TempDir;

class VornTest : public ::testing::Test {
 protected:
  void SetUp() override {
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

}  // namespace
