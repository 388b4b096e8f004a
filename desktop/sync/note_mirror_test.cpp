// The notes directory of a mirror, written from notes held in memory.
#include "desktop/sync/note_mirror.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/program.h"

namespace desktop {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

Note Make(std::uint32_t oid, std::u16string title, std::u16string text) {
  Note note;
  note.oid = oid;
  note.title = std::move(title);
  note.text = std::move(text);
  return note;
}

TEST(NoteMirrorTest, WritesRewritesAndRemoves) {
  testing_support::TempDir dir;
  const std::string root = dir.path("m");
  auto first = NoteMirror::Update(root, {Make(1, u"Shop", u"milk\r\nbread"),
                                         Make(2, u"\u0416/x", u"\u03A9")});
  ASSERT_TRUE(first.ok()) << first.status().message();
  EXPECT_EQ(first->written, 2U);
  EXPECT_EQ(ReadAll(root + "/notes/Shop.txt"), "milk\nbread");
  EXPECT_EQ(ReadAll(root + "/notes/\xD0\x96_x.txt"), "\xCE\xA9");

  std::ofstream(root + "/notes/keep.md") << "not a note";
  auto second = NoteMirror::Update(root, {Make(1, u"Shop", u"milk\r\nbread")});
  ASSERT_TRUE(second.ok());
  EXPECT_EQ(second->written, 0U);
  EXPECT_EQ(second->unchanged, 1U);
  EXPECT_EQ(second->removed, 1U);
  EXPECT_FALSE(std::filesystem::exists(root + "/notes/\xD0\x96_x.txt"));
  EXPECT_TRUE(std::filesystem::exists(root + "/notes/keep.md"));
}

TEST(NoteMirrorTest, NoNotesMakeNoDirectory) {
  testing_support::TempDir dir;
  auto result = NoteMirror::Update(dir.path("m"), {});
  ASSERT_TRUE(result.ok());
  EXPECT_FALSE(std::filesystem::exists(dir.path("m/notes")));
  EXPECT_EQ(NoteMirror::FileName(Make(7, u"", u"")), "Note 7.txt");
}

}  // namespace
}  // namespace desktop
