#include "desktop/sync/sync_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace desktop {
namespace {

// The state file of the first layout.
constexpr char kLegacy[] =
    "{\n"
    "  \"format\": 1,\n"
    "  \"partner\": \"vorn-host-1a2b\",\n"
    "  \"machine_id\": \"PDA-42\",\n"
    "  \"full_mirror_pending\": false,\n"
    "  \"last_run\": \"2024-05-01T10:00:00Z\",\n"
    "  \"last_run_kind\": \"incremental\"\n"
    "}\n";

constexpr char kWritten[] =
    R"({"format":2,"partner":"vorn-host-1a2b","machine_id":"PDA-42",)"
    R"("full_mirror_pending":false,"last_run":"2024-05-01T10:00:00Z",)"
    R"("last_run_kind":"incremental","last_run_epoch":1714557600,)"
    R"("collections":{"contacts":{"items":[{"uid":"urn:uuid:a","oid":7,)"
    R"("file":"a.vcf","file_hash":"fh","file_size":12,"file_mtime":34,)"
    R"("handheld_hash":"hh"}],"pending":[{"uid":"","oid":0,)"
    R"("file":"b.vcf","file_hash":"bh","sent_hash":"sh"}]}}})"
    "\n";

SyncState Example() {
  SyncState state;
  state.partner = "vorn-host-1a2b";
  state.machine_id = "PDA-42";
  state.last_run = "2024-05-01T10:00:00Z";
  state.last_run_kind = "incremental";
  state.last_run_epoch = 1714557600;
  CollectionState& contacts = state.collections["contacts"];
  contacts.items["urn:uuid:a"] = {"urn:uuid:a", 7, "a.vcf", "fh", 12, 34, "hh"};
  contacts.pending.push_back({"", 0, "b.vcf", "bh", "sh"});
  return state;
}

TEST(SyncStateTest, WritesTheKnownLayout) {
  EXPECT_EQ(Example().Serialize(), kWritten);
}

TEST(SyncStateTest, ReadsAnExistingFile) {
  Result<SyncState> state = SyncState::Parse(kWritten);
  ASSERT_TRUE(state.ok()) << state.status().message();
  EXPECT_EQ(*state, Example());
}

TEST(SyncStateTest, ReadsTheFirstLayoutAsLegacy) {
  Result<SyncState> state = SyncState::Parse(kLegacy);
  ASSERT_TRUE(state.ok()) << state.status().message();
  EXPECT_TRUE(state->legacy);
  EXPECT_EQ(state->partner, "vorn-host-1a2b");
  EXPECT_FALSE(state->full_mirror_pending);
  EXPECT_TRUE(state->collections.empty());
  EXPECT_FALSE(SyncState::Parse(kWritten)->legacy);
}

TEST(SyncStateTest, RoundTripsThroughADirectory) {
  char pattern[] = "/tmp/vorn-state-test-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  std::string root = pattern;
  {
    auto dir = MirrorDirectory::Open(root + "/cards");
    ASSERT_TRUE(dir.ok()) << dir.status().message();
    Result<std::optional<SyncState>> none = SyncState::Load(**dir);
    ASSERT_TRUE(none.ok()) << none.status().message();
    EXPECT_FALSE(none->has_value());

    SyncState state = Example();
    state.partner = "Caf\xC3\xA9 \"quoted\" \\ tab\t";
    state.machine_id = "\xE6\x9D\xB1\xE4\xBA\xAC";
    state.collections["contacts"].full_mirror_pending = true;
    ASSERT_TRUE(state.Save(**dir).ok());
    Result<std::optional<SyncState>> loaded = SyncState::Load(**dir);
    ASSERT_TRUE(loaded.ok()) << loaded.status().message();
    ASSERT_TRUE(loaded->has_value());
    EXPECT_EQ(**loaded, state);
  }
  std::filesystem::remove_all(root);
}

TEST(SyncStateTest, OlderOrOddFilesAreReadCarefully) {
  // Key order and spacing do not matter; a missing flag means a full
  // mirror is due.
  Result<SyncState> state =
      SyncState::Parse(R"({"partner":"p","format":1,"machine_id":"m"})");
  ASSERT_TRUE(state.ok()) << state.status().message();
  EXPECT_EQ(state->partner, "p");
  EXPECT_TRUE(state->full_mirror_pending);
  EXPECT_FALSE(SyncState::Parse(R"({"format": 3, "partner": "p"})").ok());
  EXPECT_FALSE(
      SyncState::Parse(R"({"format":2,"partner":"p","collections":{"contacts":)"
                       R"({"items":[{"oid":1}]}}})")
          .ok());
  EXPECT_FALSE(SyncState::Parse(R"({"format": 1})").ok());
  EXPECT_FALSE(SyncState::Parse("[]").ok());
}

TEST(SyncStateTest, BadJsonNamesLineAndColumn) {
  Result<SyncState> state = SyncState::Parse(
      "{\n  \"format\": 1,\n  \"partner\": \"p\"\n  \"x\": 1\n}");
  ASSERT_FALSE(state.ok());
  EXPECT_NE(state.status().message().find("at line 4, column "),
            std::string::npos)
      << state.status().message();
}

}  // namespace
}  // namespace desktop
