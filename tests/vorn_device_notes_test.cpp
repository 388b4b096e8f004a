// `vorn-device notes`: ink notes written and listed through the program.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/program.h"

namespace {

using testing_support::RunProgram;
using testing_support::TempDir;

std::string NewImage(const TempDir& dir) {
  std::string image = dir.path("d.img");
  auto result = RunProgram({"vorn-device", "init", image});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return image;
}

std::string Listing(const std::string& image) {
  auto result =
      RunProgram({"vorn-device", "fs", image, "ls", "\\My Documents"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.outText();
}

TEST(VornDeviceNotesTest, AddWritesANoteFileAndPrintsItsOid) {
  TempDir dir;
  std::string image = NewImage(dir);
  auto added = RunProgram({"vorn-device", "notes", image, "add", "Shopping",
                           "milk\nbread \xCE\xA9 \xD0\x96"});
  ASSERT_EQ(added.exitCode, 0) << added.err;
  const std::string oid = added.outText();
  ASSERT_TRUE(oid.starts_with("0x")) << oid;
  ASSERT_TRUE(oid.ends_with("\n")) << oid;
  const std::string bareOid = oid.substr(0, oid.size() - 1);

  // The file system lists the file under the same object identifier.
  const std::string files = Listing(image);
  EXPECT_NE(files.find(bareOid + " Shopping.pwi"), std::string::npos) << files;

  // The file is a note file of the container.
  const std::string copy = dir.path("copy.pwi");
  auto got = RunProgram({"vorn-device", "fs", image, "get",
                         "\\My Documents\\Shopping.pwi", copy});
  ASSERT_EQ(got.exitCode, 0) << got.err;
  std::ifstream in(copy, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)),
                    std::istreambuf_iterator<char>());
  EXPECT_TRUE(bytes.starts_with("{\\pwi")) << bytes.substr(0, 8);

  auto ls = RunProgram({"vorn-device", "notes", image, "ls"});
  ASSERT_EQ(ls.exitCode, 0) << ls.err;
  EXPECT_EQ(ls.outText(),
            bareOid + "\tShopping\t" + std::to_string(bytes.size()) + "\n");

  auto json = RunProgram({"vorn-device", "notes", image, "ls", "--json"});
  ASSERT_EQ(json.exitCode, 0) << json.err;
  EXPECT_EQ(
      json.outText(),
      "[\n{\"Oid\":" + std::to_string(std::stoul(bareOid, nullptr, 16)) +
          ",\"Title\":\"Shopping\",\"Size\":" + std::to_string(bytes.size()) +
          ",\"Text\":\"milk\\nbread \xCE\xA9 \xD0\x96\"}\n]\n");
}

TEST(VornDeviceNotesTest, AddReadsTheTextFromAFile) {
  TempDir dir;
  std::string image = NewImage(dir);
  const std::string text = dir.path("text.txt");
  std::ofstream(text) << "first\r\nsecond";
  auto added =
      RunProgram({"vorn-device", "notes", image, "add", "Two", "@" + text});
  ASSERT_EQ(added.exitCode, 0) << added.err;
  auto json = RunProgram({"vorn-device", "notes", image, "ls", "--json"});
  EXPECT_NE(json.outText().find("\"Text\":\"first\\nsecond\""),
            std::string::npos)
      << json.outText();
}

TEST(VornDeviceNotesTest, EmptyHandheldListsNothing) {
  TempDir dir;
  std::string image = NewImage(dir);
  auto ls = RunProgram({"vorn-device", "notes", image, "ls"});
  EXPECT_EQ(ls.exitCode, 0) << ls.err;
  EXPECT_EQ(ls.outText(), "");
  auto json = RunProgram({"vorn-device", "notes", image, "ls", "--json"});
  EXPECT_EQ(json.outText(), "[]\n");
}

TEST(VornDeviceNotesTest, BadArgumentsChangeNothing) {
  TempDir dir;
  std::string image = NewImage(dir);
  ASSERT_EQ(
      RunProgram({"vorn-device", "notes", image, "add", "Kept", "x"}).exitCode,
      0);
  const std::string before = Listing(image);
  const std::vector<std::vector<std::string>> bad = {
      {"vorn-device", "notes", image},
      {"vorn-device", "notes", image, "add", "a/b", "x"},
      {"vorn-device", "notes", image, "add", "a:b", "x"},
      {"vorn-device", "notes", image, "add", "", "x"},
      {"vorn-device", "notes", image, "add", "Only title"},
      {"vorn-device", "notes", image, "add", "T", "@" + dir.path("none")},
      {"vorn-device", "notes", image, "rm", "Kept"},
      {"vorn-device", "notes", image, "ls", "--xml"},
  };
  for (const auto& args : bad) {
    auto result = RunProgram(args);
    EXPECT_EQ(result.exitCode, 2) << args.back();
    EXPECT_EQ(result.out.size(), 0U) << args.back();
    EXPECT_FALSE(result.err.empty());
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }
  EXPECT_EQ(Listing(image), before);
}

TEST(VornDeviceNotesTest, ATitleTakenIsRefused) {
  TempDir dir;
  std::string image = NewImage(dir);
  ASSERT_EQ(RunProgram({"vorn-device", "notes", image, "add", "Same", "one"})
                .exitCode,
            0);
  const std::string before = Listing(image);
  auto again =
      RunProgram({"vorn-device", "notes", image, "add", "Same", "two"});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_EQ(again.err,
            "vorn-device notes: a note titled 'Same' exists already\n");
  EXPECT_EQ(Listing(image), before);
  auto json = RunProgram({"vorn-device", "notes", image, "ls", "--json"});
  EXPECT_NE(json.outText().find("\"Text\":\"one\""), std::string::npos);
}

}  // namespace
