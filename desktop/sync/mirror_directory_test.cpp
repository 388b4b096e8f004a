#include "desktop/sync/mirror_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "desktop/sync/sync_state.h"

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

TEST_F(MirrorDirectoryTest, CardNames) {
  EXPECT_EQ(MirrorDirectory::CardName(42), "42.vcf");
  EXPECT_EQ(MirrorDirectory::OidOfCardName("42.vcf"), 42u);
  EXPECT_EQ(MirrorDirectory::OidOfCardName("4294967295.vcf"), 4294967295u);
  EXPECT_FALSE(MirrorDirectory::OidOfCardName("4294967296.vcf"));
  EXPECT_FALSE(MirrorDirectory::OidOfCardName("042.vcf"));
  EXPECT_FALSE(MirrorDirectory::OidOfCardName(".42.vcf.tmp"));
  EXPECT_FALSE(MirrorDirectory::OidOfCardName("x.vcf"));
  EXPECT_FALSE(MirrorDirectory::OidOfCardName(".vcf"));
}

TEST_F(MirrorDirectoryTest, StagedCardsAppearOnlyAfterCommit) {
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE(dir.ok()) << dir.status().message();
  ASSERT_TRUE((*dir)->StageCard(7, "card seven").ok());
  EXPECT_FALSE(*(*dir)->ReadCard(7));
  EXPECT_TRUE(std::filesystem::exists(path_ + "/.7.vcf.tmp"));
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_EQ(**(*dir)->ReadCard(7), "card seven");
  EXPECT_FALSE(std::filesystem::exists(path_ + "/.7.vcf.tmp"));
  EXPECT_EQ(*(*dir)->ListCards(), std::vector<std::uint32_t>{7});
}

TEST_F(MirrorDirectoryTest, RemoveCardReportsWhetherOneWasThere) {
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE((*dir)->StageCard(1, "one").ok());
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_TRUE(*(*dir)->RemoveCard(1));
  EXPECT_FALSE(*(*dir)->RemoveCard(1));
  // A staged card that is removed before its commit never appears.
  ASSERT_TRUE((*dir)->StageCard(2, "two").ok());
  EXPECT_FALSE(*(*dir)->RemoveCard(2));
  ASSERT_TRUE((*dir)->CommitStaged().ok());
  EXPECT_FALSE(*(*dir)->ReadCard(2));
}

TEST_F(MirrorDirectoryTest, StrayTemporariesAreSweptOtherFilesKept) {
  {
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE((*dir)->StageCard(3, "cut short").ok());
  }
  std::FILE* mine = std::fopen((path_ + "/.notes.tmp").c_str(), "w");
  std::fclose(mine);
  auto dir = MirrorDirectory::Open(path_);
  ASSERT_TRUE((*dir)->RemoveStrayTemporaries().ok());
  EXPECT_FALSE(std::filesystem::exists(path_ + "/.3.vcf.tmp"));
  EXPECT_TRUE(std::filesystem::exists(path_ + "/.notes.tmp"));
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
  ASSERT_TRUE((*dir)->WriteFileDurably(SyncState::kFileName, "{").ok());
  EXPECT_FALSE(SyncState::Load(**dir).ok());
  EXPECT_FALSE(SyncState::Parse(R"({"format":2,"partner":"p"})").ok());
  EXPECT_FALSE(SyncState::Parse(R"({"format":1})").ok());
}

}  // namespace
}  // namespace desktop
