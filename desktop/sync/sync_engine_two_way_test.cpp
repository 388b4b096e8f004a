// The directory's side of SyncEngine runs: files to records, the journal
// of handheld writes, conflicts and the deletion guard.
#include <gtest/gtest.h>

#include "desktop/sync/sync_engine.h"
#include "desktop/sync/sync_engine_fixture_test.h"

namespace desktop {
namespace {

using SyncEngineTwoWayTest = SyncEngineFixture;

TEST_F(SyncEngineTwoWayTest, NewFileBecomesARecordAndGetsItsUid) {
  Seed({1});
  WriteFile("mine.vcf", CardText(u"Desk"));
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({}));
  stream_.AddReply(Written(20, 0));  // BatchWrite
  // The late look sees the record just written; it equals the file.
  stream_.AddReply(Changes({{20, 1}}));
  stream_.AddReply(Cat({Header(1), Record(20, u"Desk")}));
  stream_.AddReply(Changes({{20, 1}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 15, 11, 16, 11, 12}));
  Bytes batch = stream_.WrittenPackets()[3];
  Contact sent;
  sent.SetText(31, u"Desk");
  EXPECT_EQ(batch, Cat({{15, 1}, LE32(1), {2, 1}, LE32(0), sent.Encode(true)}));
  EXPECT_EQ(summary->sent_added, 1u);
  EXPECT_EQ(summary->added + summary->changed, 0u);
  // A file without a UID gets the record's.
  EXPECT_NE(ReadPath(FilePath("mine.vcf")).find("UID:" + UidOf(20)),
            std::string::npos);
  auto state = State();
  EXPECT_EQ(state->collections["contacts"].items.at(UidOf(20)).file,
            "mine.vcf");
  EXPECT_TRUE(state->collections["contacts"].pending.empty());
}

TEST_F(SyncEngineTwoWayTest, JournaledAddIsRecognisedAfterACut) {
  Seed({1});
  std::string text = CardText(u"Desk", "urn:uuid:mine");
  WriteFile("mine.vcf", text);
  // A run was cut after BatchWrite created record 20 from mine.vcf.
  {
    auto state = State();
    state->collections["contacts"].pending.push_back(
        {"urn:uuid:mine", 0, "mine.vcf", ContentHash::Of(text),
         ContentHash::Of(CardText(u"Desk"))});
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE(state->Save(**dir).ok());
  }
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{20, 1}}));
  stream_.AddReply(Cat({Header(1), Record(20, u"Desk")}));
  stream_.AddReply(Changes({{20, 1}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  // No second BatchWrite, no second file.
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 16, 11, 12}));
  EXPECT_EQ(Names(),
            (std::set<std::string>{FileOf(1), "mine.vcf", "displayname"}));
  auto state = State();
  const ItemState& item =
      state->collections["contacts"].items.at("urn:uuid:mine");
  EXPECT_EQ(item.oid, 20u);
  EXPECT_EQ(item.file, "mine.vcf");
  EXPECT_TRUE(state->collections["contacts"].pending.empty());
}

TEST_F(SyncEngineTwoWayTest, ConflictKeepsTheLoserAside) {
  Seed({1, 2});
  WriteFile(FileOf(1), CardText(u"Desk", UidOf(1)));
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{1, 2}}));
  stream_.AddReply(Cat({Header(1), Record(1, u"Hand")}));
  stream_.AddReply(Changes({{1, 2}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();  // the handheld wins
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 16, 11, 12}));
  EXPECT_EQ(FirstNameIn(FileOf(1)), "Hand");
  ASSERT_EQ(summary->conflicts.size(), 1u);
  std::set<std::string> copies = Names(".vorn-conflicts");
  ASSERT_EQ(copies.size(), 1u);
  EXPECT_TRUE(copies.begin()->ends_with("-desktop.vcf")) << *copies.begin();
  EXPECT_NE(summary->conflicts[0].find(*copies.begin()), std::string::npos);
  EXPECT_NE(
      ReadPath(path_ + "/.vorn-conflicts/" + *copies.begin()).find("Desk"),
      std::string::npos);
}

TEST_F(SyncEngineTwoWayTest, SameEditOnBothSidesIsNoConflict) {
  Seed({1, 2});
  WriteFile(FileOf(1), CardText(u"Same", UidOf(1)));
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{1, 2}}));
  stream_.AddReply(Cat({Header(1), Record(1, u"Same")}));
  stream_.AddReply(Changes({{1, 2}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->conflicts.empty());
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 16, 11, 12}));
}

TEST_F(SyncEngineTwoWayTest, DeletingMoreThanHalfNeedsForce) {
  Seed({1, 2, 3});
  std::filesystem::remove(FilePath(FileOf(1)));
  std::filesystem::remove(FilePath(FileOf(2)));
  auto before = State();
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({}));
  Result<SyncSummary> summary = RunEngine();
  ASSERT_FALSE(summary.ok());
  EXPECT_EQ(summary.status().message(),
            "refusing to delete 2 of 3 contacts on the handheld (more than "
            "half); run again with --force to do it");
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11}));
  EXPECT_EQ(State(), before);

  ScriptedStream again;
  again.AddReply(kMachine);
  again.AddReply(kOk);
  again.AddReply(Changes({}));
  again.AddReply(Cat({LE32(1), LE32(2)}));  // DeleteRecords
  again.AddReply(Changes({{1, 3}, {2, 3}}));
  again.AddReply(Changes({{1, 3}, {2, 3}}));
  again.AddReply(kOk);
  auto dir = MirrorDirectory::Open(path_);
  HandheldClient client(again);
  SyncOptions options;
  options.partner = kPartner;
  options.force = true;
  SyncEngine engine(client, **dir, options);
  summary = engine.Run();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(summary->sent_deleted, 2u);
  EXPECT_EQ(again.WrittenPackets()[3],
            Cat({{17, 1}, LE32(2), LE32(1), LE32(2)}));
}

TEST_F(SyncEngineTwoWayTest, OneWayRunLeavesTheHandheldAlone) {
  Seed({1});
  WriteFile("mine.vcf", CardText(u"Desk"));
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(kOk);
  SyncOptions options;
  options.two_way = false;
  Result<SyncSummary> summary = RunEngine(options);
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 11, 12}));
  EXPECT_FALSE(summary->two_way);
}

}  // namespace
}  // namespace desktop

namespace desktop {
namespace {

// A run cut right after it renamed the file of a new handheld record into
// place, before its state was saved again.
class SyncEngineCutAfterRenameTest : public SyncEngineFixture {
 protected:
  void CutAfterRename() {
    Seed({1});
    stream_.AddReply(kMachine);
    stream_.AddReply(kOk);
    stream_.AddReply(Changes({{2, 1}}));
    stream_.AddReply(Cat({Header(1), Record(2, u"Two")}));
    SyncOptions options;
    options.stop_after_renames = true;
    Result<SyncSummary> cut = RunEngine(options);
    ASSERT_FALSE(cut.ok());
    ASSERT_EQ(FirstNameIn(FileOf(2)), "Two");
    ASSERT_EQ(State()->collections["contacts"].items.count(UidOf(2)), 0u);
  }

  Result<SyncSummary> RunAgain(ScriptedStream& again) {
    auto dir = MirrorDirectory::Open(path_);
    EXPECT_TRUE(dir.ok());
    HandheldClient client(again);
    SyncOptions options;
    options.partner = kPartner;
    SyncEngine engine(client, **dir, options);
    return engine.Run();
  }
};

TEST_F(SyncEngineCutAfterRenameTest, RecordDeletedMeanwhileTakesTheFile) {
  CutAfterRename();
  ScriptedStream again;
  again.AddReply(kMachine);
  again.AddReply(kOk);
  // The handheld deleted record 2 before the next run.
  again.AddReply(Changes({{2, 3}, {2, 1}}));
  again.AddReply(Changes({{2, 3}, {2, 1}}));
  again.AddReply(kOk);
  Result<SyncSummary> summary = RunAgain(again);
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  // Nothing goes back to the handheld (no BatchWrite); the file goes.
  Bytes commands;
  for (const Bytes& packet : again.WrittenPackets()) {
    commands.push_back(packet.at(0));
  }
  EXPECT_EQ(commands, (Bytes{14, 10, 11, 11, 12}));
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(summary->sent_added, 0u);
  EXPECT_TRUE(summary->conflicts.empty());
  EXPECT_EQ(Names(), (std::set<std::string>{FileOf(1), "displayname"}));
  auto state = State();
  EXPECT_EQ(state->collections["contacts"].items.count(UidOf(2)), 0u);
  EXPECT_TRUE(state->collections["contacts"].pulled.empty());
}

TEST_F(SyncEngineCutAfterRenameTest, JournalSavesNoContentAheadOfItsFile) {
  Seed({1});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  // Record 1 changed and record 2 is new: the journal of 2 is saved before
  // any file of the batch is in place, so it must not hold 1's new content.
  stream_.AddReply(Changes({{2, 1}, {1, 2}}));
  stream_.AddReply(Cat({Header(2), Record(2, u"Two"), Record(1, u"One")}));
  SyncOptions options;
  options.stop_after_renames = true;
  ASSERT_FALSE(RunEngine(options).ok());
  auto state = State();
  const CollectionState& contacts = state->collections["contacts"];
  EXPECT_EQ(contacts.items.at(UidOf(1)).handheld_hash,
            ContentHash::Of(CardText(u"Old")));
  EXPECT_EQ(contacts.pulled.count(UidOf(2)), 1u);

  // The next run finds record 1 changed again and mirrors it.
  ScriptedStream again;
  again.AddReply(kMachine);
  again.AddReply(kOk);
  again.AddReply(Changes({{2, 1}, {1, 2}}));
  again.AddReply(Cat({Header(2), Record(2, u"Two"), Record(1, u"One")}));
  again.AddReply(Changes({{2, 1}, {1, 2}}));
  again.AddReply(kOk);
  Result<SyncSummary> summary = RunAgain(again);
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->conflicts.empty());
  EXPECT_EQ(FirstNameIn(FileOf(1)), "One");
  EXPECT_EQ(FirstNameIn(FileOf(2)), "Two");
  EXPECT_EQ(State()->collections["contacts"].items.at(UidOf(1)).handheld_hash,
            ContentHash::Of(CardText(u"One")));
}

TEST_F(SyncEngineCutAfterRenameTest, FileInPlaceIsPairedWithItsRecord) {
  CutAfterRename();
  ScriptedStream again;
  again.AddReply(kMachine);
  again.AddReply(kOk);
  again.AddReply(Changes({{2, 1}}));
  again.AddReply(Cat({Header(1), Record(2, u"Two")}));
  again.AddReply(Changes({{2, 1}}));
  again.AddReply(kOk);
  Result<SyncSummary> summary = RunAgain(again);
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(summary->added + summary->changed + summary->sent_added, 0u);
  EXPECT_TRUE(summary->conflicts.empty());
  EXPECT_EQ(FirstNameIn(FileOf(2)), "Two");
  auto state = State();
  const ItemState& item = state->collections["contacts"].items.at(UidOf(2));
  EXPECT_EQ(item.oid, 2u);
  EXPECT_EQ(item.file, FileOf(2));
  EXPECT_EQ(item.file_hash, ContentHash::Of(ReadPath(FilePath(FileOf(2)))));
}

}  // namespace
}  // namespace desktop
