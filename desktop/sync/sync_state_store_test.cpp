#include "desktop/sync/sync_state_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace desktop {
namespace {

class SyncStateStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-store-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    path_ = pattern;
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE(dir.ok()) << dir.status().message();
    dir_ = std::move(*dir);
  }
  void TearDown() override {
    dir_.reset();
    std::filesystem::remove_all(path_);
  }

  // What a fresh store of the directory reads.
  std::optional<SyncState> Reload() {
    SyncStateStore store(*dir_);
    Result<std::optional<SyncState>> state = store.Load();
    EXPECT_TRUE(state.ok()) << state.status().message();
    return state.ok() ? *state : std::nullopt;
  }

  static SyncState Example() {
    SyncState state;
    state.partner = "desk";
    state.machine_id = "M-1";
    state.last_run_epoch = 1714557600;
    state.time_zone = "Europe/Berlin";
    CollectionState& contacts = state.collections["contacts"];
    for (int i = 0; i < 5; ++i) {
      std::string uid = "urn:uuid:" + std::to_string(i);
      contacts.items[uid] = {
          uid, static_cast<std::uint32_t>(10 + i), uid + ".vcf", "fh", 12, 34,
          "hh"};
    }
    contacts.pending.push_back({"", 0, "b.vcf", "bh", "sh"});
    state.collections["calendar"];
    return state;
  }

  std::string path_;
  std::unique_ptr<MirrorDirectory> dir_;
};

TEST_F(SyncStateStoreTest, NothingStoredIsNoState) {
  SyncStateStore store(*dir_);
  Result<std::optional<SyncState>> state = store.Load();
  ASSERT_TRUE(state.ok()) << state.status().message();
  EXPECT_FALSE(state->has_value());
  EXPECT_FALSE(
      std::filesystem::exists(path_ + "/" + SyncStateStore::kFileName));
}

TEST_F(SyncStateStoreTest, SavesFollowEveryKindOfChange) {
  SyncStateStore store(*dir_);
  ASSERT_TRUE(store.Load().ok());
  SyncState state = Example();
  ASSERT_TRUE(store.Save(state).ok());
  EXPECT_EQ(Reload(), state);

  // Items changed, added and removed, the journal emptied, a pulled file,
  // a collection gone and one new: each save leaves exactly the state.
  CollectionState& contacts = state.collections["contacts"];
  contacts.items["urn:uuid:1"].handheld_hash = "new";
  contacts.items["urn:uuid:9"] = {"urn:uuid:9", 99, "n.vcf", "a", 1, 2, "b"};
  contacts.items.erase("urn:uuid:3");
  contacts.pending.clear();
  contacts.pulled["urn:uuid:p"] = {"urn:uuid:p", 7, "p.vcf", "x", 0, 0, "y"};
  state.collections.erase("calendar");
  state.collections["tasks"].items["t"] = {"t", 3, "t.ics", "", 0, 0, "z"};
  state.collections["tasks"].full_mirror_pending = true;
  state.last_run_kind = "full";
  ASSERT_TRUE(store.Save(state).ok());
  EXPECT_EQ(Reload(), state);

  contacts.pulled.clear();
  contacts.items.clear();
  ASSERT_TRUE(store.Save(state).ok());
  EXPECT_EQ(Reload(), state);
}

TEST_F(SyncStateStoreTest, EachCollectionKeepsItsOwnFullRunFlag) {
  SyncState state = Example();
  state.collections["calendar"].full_mirror_pending = true;
  ASSERT_TRUE(state.Save(*dir_).ok());
  std::optional<SyncState> loaded = Reload();
  ASSERT_TRUE(loaded);
  EXPECT_EQ(*loaded, state);
  EXPECT_FALSE(loaded->full_mirror_pending);
  EXPECT_FALSE(loaded->collections.at("contacts").full_mirror_pending);

  // What an older program left: one flag, no flag per collection.
  sqlite3* db = nullptr;
  ASSERT_EQ(
      sqlite3_open((path_ + "/" + SyncStateStore::kFileName).c_str(), &db),
      SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db,
                         "DELETE FROM meta WHERE key LIKE "
                         "'full_mirror_pending/%';"
                         "UPDATE meta SET value = 1 WHERE key = "
                         "'full_mirror_pending'",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  loaded = Reload();
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(loaded->full_mirror_pending);
  EXPECT_FALSE(loaded->collections.at("contacts").full_mirror_pending);
}

TEST_F(SyncStateStoreTest, TextStateMovesIntoTheDatabase) {
  SyncState old = Example();
  old.collections.erase("calendar");
  {
    std::ofstream text(path_ + "/" + SyncStateStore::kTextFileName);
    text << old.Serialize();
  }
  SyncStateStore store(*dir_);
  Result<std::optional<SyncState>> loaded = store.Load();
  ASSERT_TRUE(loaded.ok()) << loaded.status().message();
  ASSERT_TRUE(loaded->has_value());
  EXPECT_EQ(**loaded, old);
  // Until the first save the text file is the state.
  EXPECT_TRUE(
      std::filesystem::exists(path_ + "/" + SyncStateStore::kTextFileName));
  (*loaded)->last_run_kind = "full";
  ASSERT_TRUE(store.Save(**loaded).ok());
  EXPECT_FALSE(
      std::filesystem::exists(path_ + "/" + SyncStateStore::kTextFileName));
  EXPECT_EQ(Reload(), **loaded);
}

TEST_F(SyncStateStoreTest, DatabaseWinsOverALeftoverTextFile) {
  SyncState state = Example();
  ASSERT_TRUE(state.Save(*dir_).ok());
  SyncState other = Example();
  other.partner = "older";
  {
    std::ofstream text(path_ + "/" + SyncStateStore::kTextFileName);
    text << other.Serialize();
  }
  EXPECT_EQ(Reload(), state);
}

TEST_F(SyncStateStoreTest, DamagedDatabaseFails) {
  {
    std::ofstream bad(path_ + "/" + SyncStateStore::kFileName);
    bad << "this is no database, but long enough to be read as one......";
  }
  SyncStateStore store(*dir_);
  EXPECT_FALSE(store.Load().ok());
}

}  // namespace
}  // namespace desktop
