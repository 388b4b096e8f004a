#include "desktop/sync/sync_engine.h"

#include <gtest/gtest.h>

#include "desktop/sync/sync_engine_fixture_test.h"

namespace desktop {
namespace {

using SyncEngineTest = SyncEngineFixture;

TEST_F(SyncEngineTest, FirstRunAddsTheContractAndMirrorsEverything) {
  stream_.AddReply(kMachine);
  stream_.AddReply(kNo);  // FindContract
  stream_.AddReply(kOk);  // AddContract
  stream_.AddReply(kOk);  // UpdateContract (mark to now)
  stream_.AddReply(Cat({kOk, LE32(2)}));
  stream_.AddReply(Oids({10, 11}));
  stream_.AddReply(Cat({Header(2), Record(10, u"Ann"), Record(11, u"Bo")}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(kOk);  // UpdateContract

  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->full);
  EXPECT_TRUE(summary->contract_added);
  EXPECT_EQ(summary->added, 2u);
  EXPECT_EQ(summary->machine_id, "M-1");
  EXPECT_EQ(Commands(), (Bytes{14, 10, 8, 12, 6, 13, 16, 11, 12}));
  EXPECT_EQ(stream_.WrittenPackets()[2], Cat({{8, 1}, Counted(u"desk-1")}));
  EXPECT_EQ(FirstNameIn(FileOf(10)), "Ann");
  EXPECT_EQ(FirstNameIn(FileOf(11)), "Bo");
  EXPECT_NE(ReadPath(FilePath(FileOf(10))).find("UID:" + UidOf(10) + "\r\n"),
            std::string::npos);
  EXPECT_EQ(Names(),
            (std::set<std::string>{FileOf(10), FileOf(11), "displayname"}));
  EXPECT_EQ(ReadPath(FilePath("displayname")), "Contacts");
  auto state = State();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->partner, "desk-1");
  EXPECT_FALSE(state->full_mirror_pending);
  EXPECT_FALSE(state->collections["contacts"].full_mirror_pending);
  EXPECT_EQ(state->last_run_kind, "full");
  EXPECT_EQ(state->collections["contacts"].items.at(UidOf(11)).oid, 11u);
}

TEST_F(SyncEngineTest, IncrementalRunTouchesOnlyTheChangedFiles) {
  Seed({10, 11, 12});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);  // FindContract
  stream_.AddReply(Changes({{13, 1}, {10, 2}, {11, 3}}));
  stream_.AddReply(Cat({Header(2), Record(13, u"New"), Record(10, u"Ann")}));
  stream_.AddReply(Changes({{13, 1}, {10, 2}, {11, 3}}));
  stream_.AddReply(kOk);  // UpdateContract

  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_FALSE(summary->full);
  EXPECT_EQ(summary->added, 1u);
  EXPECT_EQ(summary->changed, 1u);
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 16, 11, 12}));
  EXPECT_EQ(stream_.WrittenPackets()[3],
            Cat({{16, 1}, LE32(2), LE32(13), LE32(10)}));
  EXPECT_EQ(FirstNameIn(FileOf(10)), "Ann");
  EXPECT_EQ(FirstNameIn(FileOf(11)), "<none>");
  EXPECT_EQ(FirstNameIn(FileOf(12)), "Old");
  EXPECT_EQ(FirstNameIn(FileOf(13)), "New");
  EXPECT_EQ(State()->last_run_kind, "incremental");
}

TEST_F(SyncEngineTest, NewestEntryPerOidWins) {
  Seed({5, 6});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  // Newest first: 5 was changed and then deleted; 6 deleted and re-added.
  stream_.AddReply(Changes({{5, 3}, {6, 1}, {5, 2}, {6, 3}, {5, 1}}));
  stream_.AddReply(Cat({Header(1), Record(6, u"Six")}));
  stream_.AddReply(Changes({{5, 3}, {6, 1}, {5, 2}, {6, 3}, {5, 1}}));
  stream_.AddReply(kOk);

  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(FirstNameIn(FileOf(5)), "<none>");
  EXPECT_EQ(FirstNameIn(FileOf(6)), "Six");
  EXPECT_EQ(stream_.WrittenPackets()[3], Cat({{16, 1}, LE32(1), LE32(6)}));
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(summary->changed, 1u);
}

TEST_F(SyncEngineTest, ChangesMadeDuringTheRunAreAppliedBeforeTheMarkMoves) {
  Seed({1});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{1, 2}}));
  stream_.AddReply(Cat({Header(1), Record(1, u"One")}));
  stream_.AddReply(Changes({{2, 1}, {1, 2}}));  // 2 was added meanwhile
  stream_.AddReply(Cat({Header(1), Record(2, u"Two")}));
  stream_.AddReply(Changes({{2, 1}, {1, 2}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 16, 11, 16, 11, 12}));
  EXPECT_EQ(FirstNameIn(FileOf(2)), "Two");
  EXPECT_EQ(summary->added, 1u);
  EXPECT_EQ(summary->changed, 1u);
}

TEST_F(SyncEngineTest, CutRunKeepsTheMarkAndTheNextRunRepeats) {
  Seed({1});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{1, 2}, {3, 1}}));
  // The stream ends inside the GetRecords reply.
  stream_.AddRaw(Cat({LE32(200), Header(2)}));
  Result<SyncSummary> summary = RunEngine();
  ASSERT_FALSE(summary.ok());
  Bytes commands = Commands();
  EXPECT_EQ(std::count(commands.begin(), commands.end(), 12), 0);
  EXPECT_EQ(FirstNameIn(FileOf(1)), "Old");

  ScriptedStream again;
  again.AddReply(kMachine);
  again.AddReply(kOk);
  again.AddReply(Changes({{1, 2}, {3, 1}}));
  again.AddReply(Cat({Header(2), Record(1, u"One"), Record(3, u"Three")}));
  again.AddReply(Changes({{1, 2}, {3, 1}}));
  again.AddReply(kOk);
  {
    auto dir = MirrorDirectory::Open(path_);
    HandheldClient client(again);
    SyncOptions options;
    options.partner = kPartner;
    SyncEngine engine(client, **dir, options);
    summary = engine.Run();
    ASSERT_TRUE(summary.ok()) << summary.status().message();
  }
  EXPECT_EQ(FirstNameIn(FileOf(1)), "One");
  EXPECT_EQ(FirstNameIn(FileOf(3)), "Three");
}

TEST_F(SyncEngineTest, CutFullRunLeavesAFullRunPending) {
  stream_.AddReply(kMachine);
  stream_.AddReply(kNo);
  stream_.AddReply(kOk);
  stream_.AddReply(kOk);
  stream_.AddReply(Cat({kOk, LE32(3)}));
  stream_.AddReply(Oids({1, 2, 3}));
  stream_.AddReply(
      Cat({Header(3), Record(1, u"A"), Record(2, u"B"), Record(3, u"C")}));
  SyncOptions options;
  options.stop_after_records = 2;
  Result<SyncSummary> summary = RunEngine(options);
  ASSERT_FALSE(summary.ok());
  EXPECT_NE(summary.status().message().find("stopped after 2"),
            std::string::npos);
  ASSERT_TRUE(State());
  EXPECT_TRUE(State()->collections["contacts"].full_mirror_pending);
  EXPECT_EQ(Names(), (std::set<std::string>{"displayname"}));
}

TEST_F(SyncEngineTest, ForeignStateMakesAFullRun) {
  Seed({});
  stream_.AddReply(Cat({LE32(0x3C), Counted(u"OTHER")}));
  stream_.AddReply(kOk);
  stream_.AddReply(kOk);
  stream_.AddReply(Cat({kOk, LE32(0)}));
  stream_.AddReply(Oids({}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->full);
  EXPECT_EQ(summary->full_reason, "the directory mirrored another handheld");
  EXPECT_EQ(State()->machine_id, "OTHER");
}

TEST_F(SyncEngineTest, TooManyContactsForOneListingIsRefused) {
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);  // contract exists, but no state: full run
  stream_.AddReply(kOk);
  stream_.AddReply(Cat({kOk, LE32(SyncEngine::kMaxListedOids + 1)}));
  Result<SyncSummary> summary = RunEngine();
  ASSERT_FALSE(summary.ok());
  EXPECT_NE(summary.status().message().find("55295 records"),
            std::string::npos);
}

TEST(SyncEngineNameTest, DefaultPartnerNameIsStableAndTidy) {
  std::string a = SyncEngine::DefaultPartnerName("my host", "/home/u/cards");
  EXPECT_EQ(a, SyncEngine::DefaultPartnerName("my host", "/home/u/cards"));
  EXPECT_NE(a, SyncEngine::DefaultPartnerName("my host", "/home/u/cards2"));
  EXPECT_TRUE(a.starts_with("vorn-my_host-")) << a;
  EXPECT_EQ(a.size(), std::string("vorn-my_host-").size() + 8);
}

}  // namespace
}  // namespace desktop
