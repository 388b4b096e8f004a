// The notes' two-way sync against a handheld kept in memory.
#include "desktop/sync/note_sync.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/support/program.h"

namespace desktop {
namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)),
                     std::istreambuf_iterator<char>());
}

void WriteAll(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Notes as the handheld keeps them: a new object id whenever a note's file
// is written, '/' in a title stored as '_', a title already taken numbered.
class FakeHandheld final : public NoteWriter {
 public:
  Result<Note> Write(std::uint32_t oid, const Note& note) override {
    if (++writes == cut_at) return Status::Error("the conversation ended");
    std::u16string title = note.title;
    for (char16_t& c : title) {
      if (c == u'/') c = u'_';
    }
    if (oid != 0) {
      auto old = notes.find(oid);
      if (old == notes.end()) return Status::Error("no note");
      notes.erase(old);
    }
    for (const auto& [id, n] : notes) {
      if (n.title == title) title += u"_9";
    }
    Note stored;
    stored.oid = next++;
    stored.title = title;
    stored.text = note.text;
    notes[*stored.oid] = stored;
    return stored;
  }
  Status Delete(std::uint32_t oid) override {
    ++deletes;
    notes.erase(oid);
    return Status::Ok();
  }

  std::uint32_t Add(std::u16string title, std::u16string text) {
    Note note;
    note.oid = next++;
    note.title = std::move(title);
    note.text = std::move(text);
    notes[*note.oid] = note;
    return *note.oid;
  }
  std::vector<Note> All() const {
    std::vector<Note> all;
    for (const auto& [oid, note] : notes) all.push_back(note);
    return all;
  }
  const Note* Titled(const std::u16string& title) const {
    for (const auto& [oid, note] : notes) {
      if (note.title == title) return &note;
    }
    return nullptr;
  }

  std::map<std::uint32_t, Note> notes;
  std::uint32_t next = 100;
  int writes = 0;
  int deletes = 0;
  int cut_at = 0;  // the write that fails as if the run were killed there
};

class NoteSyncTest : public ::testing::Test {
 protected:
  Result<NoteSyncSummary> Sync(NoteSyncOptions options = {}) {
    auto top = MirrorDirectory::Open(root_);
    if (!top.ok()) return top.status();
    return NoteSync::Run(**top, handheld_.All(), handheld_, options);
  }
  std::string File(const std::string& name) const {
    return root_ + "/notes/" + name;
  }

  testing_support::TempDir temp_;
  std::string root_ = temp_.path("m");
  FakeHandheld handheld_;
};

TEST_F(NoteSyncTest, ChangesTravelBothWays) {
  std::uint32_t shop = handheld_.Add(u"Shop", u"milk\r\nbread");
  handheld_.Add(u"Ideas", u"one");
  auto first = Sync();
  ASSERT_TRUE(first.ok()) << first.status().message();
  EXPECT_EQ(first->written, 2U);
  EXPECT_EQ(ReadAll(File("Shop.txt")), "milk\nbread");

  // The directory's user edits one note, adds one and deletes one.
  WriteAll(File("Shop.txt"), "milk\nbread\neggs");
  WriteAll(File("New.txt"), "from the desktop");
  std::filesystem::remove(File("Ideas.txt"));
  auto second = Sync(NoteSyncOptions{ConflictPolicy::kHandheld, true});
  ASSERT_TRUE(second.ok()) << second.status().message();
  EXPECT_EQ(second->sent_changed, 1U);
  EXPECT_EQ(second->sent_added, 1U);
  EXPECT_EQ(second->sent_deleted, 1U);
  EXPECT_EQ(second->written, 0U);
  EXPECT_EQ(handheld_.notes.count(shop), 0U);  // rewritten: a new id
  ASSERT_NE(handheld_.Titled(u"Shop"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"Shop")->text, u"milk\r\nbread\r\neggs");
  ASSERT_NE(handheld_.Titled(u"New"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"New")->text, u"from the desktop");
  EXPECT_EQ(handheld_.Titled(u"Ideas"), nullptr);

  // Nothing changed: nothing moves.
  int writes = handheld_.writes;
  auto third = Sync();
  ASSERT_TRUE(third.ok());
  EXPECT_EQ(third->unchanged, 2U);
  EXPECT_EQ(third->written + third->removed + third->sent_added +
                third->sent_changed + third->sent_deleted,
            0U);
  EXPECT_EQ(handheld_.writes, writes);

  // The handheld's user edits and deletes.
  const Note* fresh = handheld_.Titled(u"New");
  std::uint32_t fresh_oid = *fresh->oid;
  handheld_.notes[fresh_oid].text = u"edited on the handheld";
  ASSERT_TRUE(handheld_.Delete(*handheld_.Titled(u"Shop")->oid).ok());
  auto fourth = Sync(NoteSyncOptions{ConflictPolicy::kHandheld, true});
  ASSERT_TRUE(fourth.ok()) << fourth.status().message();
  EXPECT_EQ(fourth->written, 1U);
  EXPECT_EQ(fourth->removed, 1U);
  EXPECT_EQ(ReadAll(File("New.txt")), "edited on the handheld");
  EXPECT_FALSE(std::filesystem::exists(File("Shop.txt")));
}

TEST_F(NoteSyncTest, EditsAfterARunCutBetweenItsWritesAreNoConflicts) {
  for (const char16_t* title : {u"A", u"B", u"C"}) handheld_.Add(title, u"0");
  ASSERT_TRUE(Sync().ok());
  for (const char* name : {"A.txt", "B.txt", "C.txt"})
    WriteAll(File(name), "1");
  // A and B reach the handheld, then the run ends before its state.
  handheld_.cut_at = handheld_.writes + 3;
  ASSERT_FALSE(Sync().ok());
  ASSERT_EQ(handheld_.Titled(u"B")->text, u"1");
  ASSERT_EQ(handheld_.Titled(u"C")->text, u"0");
  handheld_.cut_at = 0;
  // The directory's user goes on before the next run.
  WriteAll(File("A.txt"), "2");
  std::filesystem::remove(File("B.txt"));
  auto next = Sync();
  ASSERT_TRUE(next.ok()) << next.status().message();
  EXPECT_TRUE(next->conflicts.empty()) << next->conflicts.front();
  ASSERT_NE(handheld_.Titled(u"A"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"A")->text, u"2");
  EXPECT_EQ(handheld_.Titled(u"B"), nullptr);
  ASSERT_NE(handheld_.Titled(u"C"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"C")->text, u"1");
  EXPECT_EQ(ReadAll(File("A.txt")), "2");
  EXPECT_FALSE(std::filesystem::exists(File("B.txt")));
  EXPECT_FALSE(std::filesystem::exists(root_ + "/.vorn-conflicts"));
}

TEST_F(NoteSyncTest, WhatACutRunCarriedOverOutlivesTheNextCutRun) {
  for (const char16_t* title : {u"A", u"B"}) handheld_.Add(title, u"0");
  ASSERT_TRUE(Sync().ok());
  WriteAll(File("A.txt"), "1");
  WriteAll(File("B.txt"), "1");
  handheld_.cut_at = handheld_.writes + 2;  // A is written, B is not
  ASSERT_FALSE(Sync().ok());
  // The next run is cut at its first write too: A's second edit.
  WriteAll(File("A.txt"), "2");
  handheld_.cut_at = handheld_.writes + 1;
  ASSERT_FALSE(Sync().ok());
  ASSERT_EQ(handheld_.Titled(u"A")->text, u"1");
  handheld_.cut_at = 0;
  std::filesystem::remove(File("A.txt"));
  auto next = Sync();
  ASSERT_TRUE(next.ok()) << next.status().message();
  EXPECT_TRUE(next->conflicts.empty()) << next->conflicts.front();
  EXPECT_EQ(handheld_.Titled(u"A"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(File("A.txt")));
  ASSERT_NE(handheld_.Titled(u"B"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"B")->text, u"1");
}

TEST_F(NoteSyncTest, ConflictsFollowThePolicyAndKeepTheLoser) {
  std::uint32_t oid = handheld_.Add(u"Plan", u"v1");
  ASSERT_TRUE(Sync().ok());
  handheld_.notes[oid].text = u"handheld v2";
  WriteAll(File("Plan.txt"), "desktop v2");
  auto handheld_wins = Sync();
  ASSERT_TRUE(handheld_wins.ok()) << handheld_wins.status().message();
  EXPECT_EQ(ReadAll(File("Plan.txt")), "handheld v2");
  ASSERT_EQ(handheld_wins->conflicts.size(), 1U);
  const std::string& line = handheld_wins->conflicts[0];
  EXPECT_EQ(line.rfind("conflict notes/Plan.txt: changed on both sides; kept "
                       "the handheld's version, the other is in "
                       ".vorn-conflicts/notes-Plan-",
                       0),
            0U)
      << line;
  std::string copy = line.substr(line.find(".vorn-conflicts/"));
  EXPECT_EQ(ReadAll(root_ + "/" + copy), "desktop v2");

  handheld_.notes[oid].text = u"handheld v3";
  WriteAll(File("Plan.txt"), "desktop v3");
  auto desktop_wins = Sync(NoteSyncOptions{ConflictPolicy::kDesktop, false});
  ASSERT_TRUE(desktop_wins.ok()) << desktop_wins.status().message();
  ASSERT_NE(handheld_.Titled(u"Plan"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"Plan")->text, u"desktop v3");
  ASSERT_EQ(desktop_wins->conflicts.size(), 1U);
  copy = desktop_wins->conflicts[0].substr(
      desktop_wins->conflicts[0].find(".vorn-conflicts/"));
  EXPECT_EQ(ReadAll(root_ + "/" + copy), "handheld v3");
}

TEST_F(NoteSyncTest, BothSidesDeletingOrWritingTheSameAgree) {
  std::uint32_t a = handheld_.Add(u"A", u"same");
  handheld_.Add(u"B", u"b");
  handheld_.Add(u"C", u"c");
  ASSERT_TRUE(Sync().ok());
  handheld_.notes[a].text = u"both";
  WriteAll(File("A.txt"), "both");
  auto run = Sync();
  ASSERT_TRUE(run.ok()) << run.status().message();
  EXPECT_TRUE(run->conflicts.empty());
  EXPECT_EQ(handheld_.writes, 0);
  EXPECT_EQ(run->written, 0U);
}

TEST_F(NoteSyncTest, DeletingMoreThanHalfNeedsForce) {
  handheld_.Add(u"A", u"a");
  handheld_.Add(u"B", u"b");
  handheld_.Add(u"C", u"c");
  ASSERT_TRUE(Sync().ok());
  std::filesystem::remove(File("A.txt"));
  std::filesystem::remove(File("B.txt"));
  auto refused = Sync();
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.status().message(),
            "refusing to delete 2 of 3 notes on the handheld (more than "
            "half); run again with --force to do it");
  EXPECT_EQ(handheld_.notes.size(), 3U);
  EXPECT_EQ(handheld_.deletes, 0);

  WriteAll(File("A.txt"), "a");
  WriteAll(File("B.txt"), "b");
  handheld_.notes.clear();
  auto files = Sync();
  ASSERT_FALSE(files.ok());
  EXPECT_NE(files.status().message().find("3 notes in the directory"),
            std::string::npos)
      << files.status().message();
  EXPECT_TRUE(std::filesystem::exists(File("C.txt")));
}

TEST_F(NoteSyncTest, FileFollowsTheTitleTheHandheldGave) {
  handheld_.Add(u"Taken", u"x");
  ASSERT_TRUE(Sync().ok());
  // A file whose stem the handheld stores otherwise: '/' cannot be in a
  // file name here, so a title that the fake numbers stands in.
  handheld_.Add(u"Dup", u"handheld's");
  ASSERT_TRUE(Sync().ok());
  std::filesystem::rename(File("Dup.txt"), File("Dup2.txt"));
  WriteAll(File("Dup.txt"), "second");
  auto run = Sync();
  ASSERT_TRUE(run.ok()) << run.status().message();
  // Dup.txt is the handheld's Dup again; Dup2.txt became a note.
  ASSERT_NE(handheld_.Titled(u"Dup2"), nullptr);
  EXPECT_EQ(ReadAll(File("Dup2.txt")), "handheld's");
  auto again = Sync();
  ASSERT_TRUE(again.ok());
  EXPECT_EQ(again->sent_added + again->sent_changed + again->written, 0U);
}

TEST_F(NoteSyncTest, FirstRunMergesAnExistingDirectory) {
  std::filesystem::create_directories(root_ + "/notes");
  WriteAll(File("Desk.txt"), "line 1\nline 2\n");
  WriteAll(File("Same.txt"), "same");
  handheld_.Add(u"Same", u"same");
  handheld_.Add(u"Hand", u"h");
  auto run = Sync();
  ASSERT_TRUE(run.ok()) << run.status().message();
  EXPECT_EQ(run->sent_added, 1U);
  EXPECT_EQ(run->written, 1U);
  EXPECT_EQ(run->unchanged, 1U);
  ASSERT_NE(handheld_.Titled(u"Desk"), nullptr);
  EXPECT_EQ(handheld_.Titled(u"Desk")->text, u"line 1\r\nline 2\r\n");
  EXPECT_EQ(ReadAll(File("Hand.txt")), "h");
  EXPECT_TRUE(std::filesystem::exists(root_ + "/.vorn-notes.json"));
}

TEST_F(NoteSyncTest, NoNotesMakeNothing) {
  auto run = Sync();
  ASSERT_TRUE(run.ok());
  EXPECT_FALSE(std::filesystem::exists(root_ + "/notes"));
  EXPECT_FALSE(std::filesystem::exists(root_ + "/.vorn-notes.json"));
}

TEST_F(NoteSyncTest, TextTheHandheldCouldNotSendIsLeftAlone) {
  handheld_.Add(u"Long", u"first");
  ASSERT_TRUE(Sync().ok());
  for (auto& [oid, note] : handheld_.notes) {
    note.has_text = false;
    note.text.clear();
  }
  WriteAll(File("Long.txt"), "edited");
  auto run = Sync();
  ASSERT_TRUE(run.ok()) << run.status().message();
  EXPECT_EQ(handheld_.writes, 0);
  EXPECT_EQ(ReadAll(File("Long.txt")), "edited");
}

}  // namespace
}  // namespace desktop
