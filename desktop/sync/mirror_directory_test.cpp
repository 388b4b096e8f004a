#include "desktop/sync/mirror_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "desktop/sync/sync_state.h"
#include "desktop/sync/sync_state_store.h"

namespace desktop {
namespace {

class MirrorDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-mirror-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    path_ = root_ + "/cards";
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  std::string root_;
  std::string path_;
};

TEST_F(MirrorDirectoryTest, StagedFilesAppearOnlyAfterCommit) {
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE(dir.ok()) << dir.status().message();
  ASSERT_TRUE((*dir)->StageFile("7.vcf", "card seven").ok());
  EXPECT_FALSE(*(*dir)->ReadFile("7.vcf"));
  EXPECT_EQ((*dir)->staged_count(), 1u);
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_EQ(**(*dir)->ReadFile("7.vcf"), "card seven");
  auto listed = (*dir)->List(".vcf");
  ASSERT_TRUE(listed.ok());
  ASSERT_EQ(listed->size(), 1u);
  EXPECT_EQ((*listed)[0].name, "7.vcf");
  EXPECT_EQ((*listed)[0].size, 10u);
  EXPECT_GT((*listed)[0].mtime, 0);
}

TEST_F(MirrorDirectoryTest, RemoveFileReportsWhetherOneWasThere) {
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE((*dir)->StageFile("1.vcf", "one").ok());
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_TRUE(*(*dir)->RemoveFile("1.vcf"));
  EXPECT_FALSE(*(*dir)->RemoveFile("1.vcf"));
  // A staged file that is removed is not renamed into place later.
  ASSERT_TRUE((*dir)->StageFile("2.vcf", "two").ok());
  EXPECT_FALSE(*(*dir)->RemoveFile("2.vcf"));
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_FALSE(*(*dir)->ReadFile("2.vcf"));
}

TEST_F(MirrorDirectoryTest, SubdirectoriesShareTheLock) {
  auto dir = MirrorDirectory::Open(path_);
  auto sub = (*dir)->OpenSubdirectory("contacts");
  ASSERT_TRUE(sub.ok()) << sub.status().message();
  EXPECT_EQ((*sub)->path(), path_ + "/contacts");
  ASSERT_TRUE((*sub)->WriteFileDurably("a.vcf", "x").ok());
  EXPECT_TRUE(std::filesystem::exists(path_ + "/contacts/a.vcf"));
  EXPECT_FALSE(std::filesystem::exists(path_ + "/contacts/.vorn-sync.lock"));
  EXPECT_TRUE((*(*dir)->List(".vcf")).empty());
  auto stat = (*sub)->Stat("a.vcf");
  ASSERT_TRUE(stat.ok() && stat->has_value());
  EXPECT_EQ((*stat)->size, 1u);
  EXPECT_FALSE(*(*sub)->Stat("b.vcf"));
}

TEST_F(MirrorDirectoryTest, StrayTemporariesAreSweptOtherFilesKept) {
  {
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE((*dir)->StageFile("3.vcf", "cut short").ok());
  }
  std::FILE* mine = std::fopen((path_ + "/notes.txt").c_str(), "w");
  std::fclose(mine);
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE((*dir)->RemoveStrayTemporaries().ok());
  EXPECT_FALSE(std::filesystem::exists(path_ + "/.3.vcf.tmp"));
  EXPECT_TRUE(std::filesystem::exists(path_ + "/notes.txt"));
}

TEST_F(MirrorDirectoryTest, SecondOpenIsRefusedWhileLocked) {
  auto first = MirrorDirectory::Open(path_);
  ASSERT_TRUE(first.ok());
  auto second = MirrorDirectory::Open(path_);
  ASSERT_FALSE(second.ok());
  EXPECT_NE(second.status().message().find("another sync"), std::string::npos);
  first->reset();
  EXPECT_TRUE(MirrorDirectory::Open(path_).ok());
}

TEST_F(MirrorDirectoryTest, NotADirectory) {
  std::FILE* file = std::fopen((root_ + "/plain").c_str(), "w");
  std::fclose(file);
  EXPECT_FALSE(MirrorDirectory::Open(root_ + "/plain").ok());
  EXPECT_FALSE(MirrorDirectory::Open(root_ + "/no/such/parent").ok());
}

TEST_F(MirrorDirectoryTest, StateRoundTripsThroughTheFile) {
  auto dir = MirrorDirectory::Open(path_);
  EXPECT_FALSE(*SyncState::Load(**dir));
  SyncState state;
  state.partner = "p";
  state.machine_id = "m";
  state.full_mirror_pending = true;
  state.last_run = "2024-01-02T03:04:05Z";
  state.last_run_kind = "full";
  ASSERT_TRUE(state.Save(**dir).ok());
  auto loaded = SyncState::Load(**dir);
  ASSERT_TRUE(loaded.ok() && loaded->has_value());
  EXPECT_EQ(**loaded, state);
  // An older text state beside the database does not count; alone, a
  // broken one fails.
  ASSERT_TRUE(
      (*dir)->WriteFileDurably(SyncStateStore::kTextFileName, "{").ok());
  EXPECT_TRUE(SyncState::Load(**dir).ok());
  std::filesystem::remove(path_ + "/" + SyncStateStore::kFileName);
  EXPECT_FALSE(SyncState::Load(**dir).ok());
  EXPECT_FALSE(SyncState::Parse(R"({"format":3,"partner":"p"})").ok());
  EXPECT_FALSE(SyncState::Parse(R"({"format":1})").ok());
}

}  // namespace
}  // namespace desktop
