// Ink notes end to end: written on the handheld with `vorn-device notes`,
// read, written and exported on the desktop with `vorn`.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/program.h"

namespace {

using testing_support::RunProgram;
using testing_support::TempDir;

// Greek and Cyrillic, in UTF-8.
const std::string kGreek = "\xCE\x93\xCE\xB5\xCE\xB9\xCE\xAC";  // Γειά
const std::string kCyrillic =
    "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82";  // Привет

std::string NewImage(const TempDir& dir) {
  std::string image = dir.path("d.img");
  auto result = RunProgram({"vorn-device", "init", image});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return image;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

// The OID printed by `vorn-device notes add`, in decimal.
std::string AddOnHandheld(const std::string& image, const std::string& title,
                          const std::string& text) {
  auto added = RunProgram({"vorn-device", "notes", image, "add", title, text});
  EXPECT_EQ(added.exitCode, 0) << added.err;
  return std::to_string(std::stoul(added.outText(), nullptr, 16));
}

TEST(VornNotesTest, GetReadsANoteWrittenOnTheHandheld) {
  TempDir dir;
  std::string image = NewImage(dir);
  const std::string oid = AddOnHandheld(image, "Shopping", "milk\nbread");
  auto got = RunProgram({"vorn", "--image", image, "get", "notes", oid});
  ASSERT_EQ(got.exitCode, 0) << got.err;
  EXPECT_EQ(got.outText(), "milk\nbread\n");
  EXPECT_EQ(got.err, "");

  auto json =
      RunProgram({"vorn", "--image", image, "get", "notes", oid, "--json"});
  ASSERT_EQ(json.exitCode, 0) << json.err;
  EXPECT_EQ(json.outText(), "[\n  {\n    \"oid\": " + oid +
                                ",\n    \"title\": \"Shopping\",\n    "
                                "\"text\": \"milk\\nbread\"\n  }\n]\n");
}

TEST(VornNotesTest, GetSaysWhenTheHandheldLeavesTheTextOut) {
  TempDir dir;
  std::string image = NewImage(dir);
  // 80 000 characters: more than the handheld puts in one reply.
  std::string text;
  for (int line = 0; line < 80; ++line) {
    for (int i = 0; i < 100; ++i) text += "abcdefghij";
    text += "\n";
  }
  const std::string file = dir.path("big.txt");
  std::ofstream(file, std::ios::binary) << text;
  const std::string oid = AddOnHandheld(image, "Big", "@" + file);
  auto got = RunProgram({"vorn", "--image", image, "get", "notes", oid});
  EXPECT_EQ(got.exitCode, 0) << got.err;
  EXPECT_EQ(got.outText(), "");
  EXPECT_EQ(got.err,
            "vorn: note " + oid + ": the handheld left out the text\n");
}

TEST(VornNotesTest, PutTextFileThenReadItBack) {
  TempDir dir;
  std::string image = NewImage(dir);
  const std::string text = kGreek + " " + kCyrillic + "\nline two\n";
  const std::string file = dir.path(kGreek + ".txt");
  std::ofstream(file, std::ios::binary) << text;
  auto put = RunProgram({"vorn", "--image", image, "put", file});
  ASSERT_EQ(put.exitCode, 0) << put.err;
  const std::string out = put.outText();
  ASSERT_TRUE(out.starts_with("added ")) << out;
  EXPECT_TRUE(out.ends_with(" " + kGreek + "\n")) << out;
  const std::string oid = out.substr(6, out.find(' ', 6) - 6);

  auto got = RunProgram({"vorn", "--image", image, "get", "notes", oid});
  ASSERT_EQ(got.exitCode, 0) << got.err;
  EXPECT_EQ(got.outText(), text);

  // The handheld holds it as a note file titled after the file name.
  auto ls = RunProgram({"vorn-device", "notes", image, "ls"});
  EXPECT_NE(ls.outText().find("\t" + kGreek + "\t"), std::string::npos)
      << ls.outText();
}

TEST(VornNotesTest, ExportWritesEveryNoteAsText) {
  TempDir dir;
  std::string image = NewImage(dir);
  AddOnHandheld(image, "Shopping", "milk\nbread");
  AddOnHandheld(image, kCyrillic, kGreek);
  const std::string out = dir.path("out");
  auto exported = RunProgram({"vorn", "--image", image, "export", out});
  ASSERT_EQ(exported.exitCode, 0) << exported.err;
  EXPECT_NE(exported.outText().find("exported 2 notes as .txt"),
            std::string::npos)
      << exported.outText();
  EXPECT_EQ(ReadFile(out + "/Shopping.txt"), "milk\nbread");
  EXPECT_EQ(ReadFile(out + "/" + kCyrillic + ".txt"), kGreek);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(out)) {
    (void)entry;
    ++files;
  }
  EXPECT_EQ(files, 2U);
}

}  // namespace

namespace {

TEST(VornNotesTest, SyncMirrorsNotesIntoTheNotesDirectory) {
  TempDir dir;
  std::string image = NewImage(dir);
  AddOnHandheld(image, kGreek, kCyrillic + "\nzwei");
  AddOnHandheld(image, "Other", "stays");
  const std::string mirror = dir.path("mirror");
  auto first = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  EXPECT_EQ(ReadFile(mirror + "/notes/" + kGreek + ".txt"),
            kCyrillic + "\nzwei");
  EXPECT_NE(first.outText().find(
                "notes in " + mirror +
                "/notes/: written 2, unchanged 0, removed 0; to the handheld "
                "added 0, changed 0, deleted 0"),
            std::string::npos)
      << first.outText();

  // Gone from the handheld, gone from the mirror (one of two notes: no
  // --force needed).
  auto removed = RunProgram(
      {"vorn-device", "fs", image, "rm", "\\My Documents\\" + kGreek + ".pwi"});
  ASSERT_EQ(removed.exitCode, 0) << removed.err;
  auto second = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(second.exitCode, 0) << second.err;
  EXPECT_FALSE(std::filesystem::exists(mirror + "/notes/" + kGreek + ".txt"));
  EXPECT_EQ(ReadFile(mirror + "/notes/Other.txt"), "stays");
}

// The directory's edits reach the handheld: a changed file rewrites its
// note, a new file makes a note, a removed file deletes its note; and an
// edit on the handheld comes back.
TEST(VornNotesTest, SyncCarriesTheDirectorysEditsToTheHandheld) {
  TempDir dir;
  std::string image = NewImage(dir);
  AddOnHandheld(image, "Shopping", "milk");
  AddOnHandheld(image, "Ideas", "one");
  AddOnHandheld(image, "Old", "to go");
  const std::string mirror = dir.path("mirror");
  ASSERT_EQ(RunProgram({"vorn", "--image", image, "sync", mirror}).exitCode, 0);

  std::ofstream(mirror + "/notes/Shopping.txt", std::ios::binary)
      << "milk\n" + kGreek;
  std::ofstream(mirror + "/notes/" + kCyrillic + ".txt", std::ios::binary)
      << "new on the desktop";
  std::filesystem::remove(mirror + "/notes/Old.txt");
  auto second = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(second.exitCode, 0) << second.err;
  EXPECT_NE(second.outText().find("to the handheld added 1, changed 1, "
                                  "deleted 1"),
            std::string::npos)
      << second.outText();

  auto listed = RunProgram({"vorn-device", "notes", image, "ls"});
  ASSERT_EQ(listed.exitCode, 0) << listed.err;
  EXPECT_NE(listed.outText().find("Shopping"), std::string::npos);
  EXPECT_NE(listed.outText().find(kCyrillic), std::string::npos);
  EXPECT_EQ(listed.outText().find("Old"), std::string::npos)
      << listed.outText();
  auto exported =
      RunProgram({"vorn", "--image", image, "export", dir.path("out")});
  ASSERT_EQ(exported.exitCode, 0) << exported.err;
  EXPECT_EQ(ReadFile(dir.path("out") + "/Shopping.txt"), "milk\n" + kGreek);
  EXPECT_EQ(ReadFile(dir.path("out") + "/" + kCyrillic + ".txt"),
            "new on the desktop");

  // Settled: the next run moves nothing; then a handheld edit comes back.
  auto third = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(third.exitCode, 0) << third.err;
  EXPECT_NE(third.outText().find("written 0, unchanged 3, removed 0; to the "
                                 "handheld added 0, changed 0, deleted 0"),
            std::string::npos)
      << third.outText();
  auto fs = RunProgram(
      {"vorn-device", "fs", image, "rm", "\\My Documents\\Ideas.pwi"});
  ASSERT_EQ(fs.exitCode, 0) << fs.err;
  AddOnHandheld(image, "Ideas", "two");
  auto fourth = RunProgram({"vorn", "--image", image, "sync", mirror});
  ASSERT_EQ(fourth.exitCode, 0) << fourth.err;
  EXPECT_EQ(ReadFile(mirror + "/notes/Ideas.txt"), "two");
}

}  // namespace
