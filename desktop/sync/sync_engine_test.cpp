#include "desktop/sync/sync_engine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "desktop/formats/contact.h"
#include "desktop/formats/vcard.h"
#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr char kPartner[] = "desk-1";

using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

// A contact as the handheld sends it, with only a first name.
Bytes Record(std::uint32_t oid, std::u16string_view first) {
  return Cat({{1, 0}, LE32(oid), {1}, LE32(31), Counted(first)});
}

// The card the engine must write for Record(oid, first).
std::string Card(std::uint32_t oid, std::u16string_view first) {
  Contact contact;
  contact.oid = oid;
  contact.SetText(31, std::u16string(first));
  return VCard::Write(contact);
}

Bytes Header(std::uint32_t count, bool complete = true, bool failed = false) {
  return Cat(
      {{static_cast<std::uint8_t>(complete), static_cast<std::uint8_t>(failed)},
       LE32(count),
       {0}});
}

struct Entry {
  std::uint32_t oid;
  std::uint8_t kind;
};

Bytes Changes(std::initializer_list<Entry> entries) {
  Bytes out = Header(static_cast<std::uint32_t>(entries.size()));
  for (const Entry& e : entries) {
    Bytes oid = LE32(e.oid);
    out.insert(out.end(), oid.begin(), oid.end());
    out.push_back(e.kind);
  }
  return out;
}

Bytes Oids(std::initializer_list<std::uint32_t> oids) {
  Bytes out = Header(static_cast<std::uint32_t>(oids.size()));
  for (std::uint32_t oid : oids) {
    Bytes b = LE32(oid);
    out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

const Bytes kOk = {1, 0};
const Bytes kNo = {0, 1};
const Bytes kMachine = Cat({LE32(0x3C), Counted(u"M-1")});

class SyncEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-sync-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    path_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(path_); }

  Result<SyncSummary> RunEngine(SyncOptions options = {}) {
    if (options.partner.empty()) options.partner = kPartner;
    auto dir = MirrorDirectory::Open(path_);
    EXPECT_TRUE(dir.ok()) << dir.status().message();
    HandheldClient client(stream_);
    SyncEngine engine(client, **dir, std::move(options));
    return engine.Run();
  }

  // A directory that an earlier run left complete.
  void Seed(std::initializer_list<std::uint32_t> oids) {
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE(dir.ok());
    for (std::uint32_t oid : oids) {
      ASSERT_TRUE((*dir)->StageCard(oid, Card(oid, u"Old")).ok());
    }
    ASSERT_TRUE((*dir)->CommitStaged().ok());
    SyncState state;
    state.partner = kPartner;
    state.machine_id = "M-1";
    ASSERT_TRUE(state.Save(**dir).ok());
  }

  std::string Read(const std::string& name) {
    auto dir = MirrorDirectory::Open(path_);
    if (!dir.ok()) return "<locked>";
    auto text = (*dir)->ReadFile(name);
    return text.ok() && text->has_value() ? **text : "<none>";
  }

  std::set<std::string> Names() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::optional<SyncState> State() {
    auto dir = MirrorDirectory::Open(path_);
    if (!dir.ok()) return std::nullopt;
    auto state = SyncState::Load(**dir);
    return state.ok() ? *state : std::nullopt;
  }

  // The command byte of every packet sent.
  Bytes Commands() {
    Bytes commands;
    for (const Bytes& packet : stream_.WrittenPackets()) {
      commands.push_back(packet.at(0));
    }
    return commands;
  }

  std::string path_;
  ScriptedStream stream_;
};

TEST_F(SyncEngineTest, FirstRunAddsTheContractAndMirrorsEverything) {
  {
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE((*dir)->StageCard(99, "stale").ok());
    ASSERT_TRUE((*dir)->CommitStaged().ok());
  }
  stream_.AddReply(kMachine);
  stream_.AddReply(kNo);  // FindContract
  stream_.AddReply(kOk);  // AddContract
  stream_.AddReply(kOk);  // UpdateContract (mark to now)
  stream_.AddReply(Cat({kOk, LE32(2)}));
  stream_.AddReply(Oids({10, 11}));
  stream_.AddReply(Cat({Header(2), Record(10, u"Ann"), Record(11, u"Bo")}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(kOk);  // UpdateContract

  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->full);
  EXPECT_TRUE(summary->contract_added);
  EXPECT_EQ(summary->added, 2u);
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(summary->machine_id, "M-1");
  EXPECT_EQ(Commands(), (Bytes{14, 10, 8, 12, 6, 13, 16, 11, 11, 12}));
  EXPECT_EQ(stream_.WrittenPackets()[2], Cat({{8, 1}, Counted(u"desk-1")}));
  EXPECT_EQ(Read("10.vcf"), Card(10, u"Ann"));
  EXPECT_EQ(Read("11.vcf"), Card(11, u"Bo"));
  EXPECT_EQ(Names(),
            (std::set<std::string>{"10.vcf", "11.vcf", ".vorn-sync.json",
                                   ".vorn-sync.lock"}));
  auto state = State();
  ASSERT_TRUE(state);
  EXPECT_EQ(state->partner, "desk-1");
  EXPECT_EQ(state->machine_id, "M-1");
  EXPECT_FALSE(state->full_mirror_pending);
  EXPECT_EQ(state->last_run_kind, "full");
}

TEST_F(SyncEngineTest, IncrementalRunTouchesOnlyTheChangedCards) {
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
  EXPECT_EQ(Read("10.vcf"), Card(10, u"Ann"));
  EXPECT_EQ(Read("11.vcf"), "<none>");
  EXPECT_EQ(Read("12.vcf"), Card(12, u"Old"));
  EXPECT_EQ(Read("13.vcf"), Card(13, u"New"));
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
  EXPECT_EQ(Read("5.vcf"), "<none>");
  EXPECT_EQ(Read("6.vcf"), Card(6, u"Six"));
  EXPECT_EQ(stream_.WrittenPackets()[3], Cat({{16, 1}, LE32(1), LE32(6)}));
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(summary->added, 1u);
}

TEST_F(SyncEngineTest, RecordTheHandheldNoLongerHasIsRemoved) {
  Seed({7});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{7, 2}}));
  stream_.AddReply(Cat({Header(0)}));  // GetRecords: 7 cannot be fetched
  stream_.AddReply({0, 3});            // GetRecord 7 alone: missing
  stream_.AddReply(Changes({{7, 2}}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_EQ(Read("7.vcf"), "<none>");
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(summary->changed, 0u);
}

TEST_F(SyncEngineTest, FailedChangeListFallsBackToAFullMirror) {
  Seed({1, 2});
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Header(0, false, true));  // failed = 1
  stream_.AddReply(kOk);                     // UpdateContract (mark to now)
  stream_.AddReply(Cat({kOk, LE32(1)}));
  stream_.AddReply(Oids({2}));
  stream_.AddReply(Cat({Header(1), Record(2, u"Old")}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(Changes({}));
  stream_.AddReply(kOk);
  Result<SyncSummary> summary = RunEngine();
  ASSERT_TRUE(summary.ok()) << summary.status().message();
  EXPECT_TRUE(summary->full);
  EXPECT_FALSE(summary->contract_added);
  EXPECT_EQ(summary->unchanged, 1u);
  EXPECT_EQ(summary->deleted, 1u);
  EXPECT_EQ(Commands(), (Bytes{14, 10, 11, 12, 6, 13, 16, 11, 11, 12}));
  EXPECT_EQ(Read("1.vcf"), "<none>");
  EXPECT_EQ(Read("2.vcf"), Card(2, u"Old"));
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
  EXPECT_EQ(Read("2.vcf"), Card(2, u"Two"));
  EXPECT_EQ(summary->added, 1u);
  EXPECT_EQ(summary->changed, 1u);
}

TEST_F(SyncEngineTest, CutRunKeepsTheMarkAndTheStateAndTheNextRunRepeats) {
  Seed({1});
  std::string before = Read(".vorn-sync.json");
  stream_.AddReply(kMachine);
  stream_.AddReply(kOk);
  stream_.AddReply(Changes({{1, 2}, {3, 1}}));
  // The stream ends inside the GetRecords reply.
  stream_.AddRaw(Cat({LE32(200), Header(2)}));
  Result<SyncSummary> summary = RunEngine();
  ASSERT_FALSE(summary.ok());
  Bytes commands = Commands();
  EXPECT_EQ(std::count(commands.begin(), commands.end(), 12), 0);
  EXPECT_EQ(Read(".vorn-sync.json"), before);
  EXPECT_EQ(Read("1.vcf"), Card(1, u"Old"));

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
  EXPECT_EQ(Read("1.vcf"), Card(1, u"One"));
  EXPECT_EQ(Read("3.vcf"), Card(3, u"Three"));
}

TEST_F(SyncEngineTest, CutFullMirrorLeavesAFullMirrorPending) {
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
  EXPECT_TRUE(State()->full_mirror_pending);
  // Nothing was renamed into place: the batch was cut before its commit.
  EXPECT_EQ(Read("1.vcf"), "<none>");
}

TEST_F(SyncEngineTest, ForeignStateMakesAFullMirror) {
  Seed({});
  stream_.AddReply(Cat({LE32(0x3C), Counted(u"OTHER")}));
  stream_.AddReply(kOk);
  stream_.AddReply(kOk);
  stream_.AddReply(Cat({kOk, LE32(0)}));
  stream_.AddReply(Oids({}));
  stream_.AddReply(Changes({}));
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
  stream_.AddReply(kOk);  // contract exists, but no state: full mirror
  stream_.AddReply(kOk);
  stream_.AddReply(Cat({kOk, LE32(SyncEngine::kMaxListedOids + 1)}));
  Result<SyncSummary> summary = RunEngine();
  ASSERT_FALSE(summary.ok());
  EXPECT_NE(summary.status().message().find("55295 contacts"),
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
