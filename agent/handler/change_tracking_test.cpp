// Contracts and change logs on the emulated handheld, byte for byte.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/objstore/object_store.h"
#include "device/pim/change_log_writer.h"
#include "device/registry/registry.h"
#include "platform/api.h"
#include "protocol/change_log.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecordBuilder;

Bytes Contract(std::uint8_t command, std::u16string_view name,
               std::uint8_t type = 1) {
  return PacketBuilder(command, type).Str(name).packet();
}

Bytes Header(std::uint8_t complete, std::uint8_t failed, std::uint32_t count) {
  return Cat({Bytes{complete, failed}, LE32(count), Bytes{0}});
}

Bytes Entry(std::uint32_t oid, std::uint8_t kind) {
  return Cat({LE32(oid), Bytes{kind}});
}

void SetSequence(InProcessHandheld& handheld, DWORD value) {
  ASSERT_TRUE(
      handheld.device()
          .registry()
          .SetDword("HKLM\\SOFTWARE\\Orvanet", "\\VornContactLog", value)
          .ok());
}

// The mark stored in the contract `name`, read through the platform calls;
// -1 when there is no such contract or it has no mark.
long long StoredMark(InProcessHandheld& handheld, std::u16string_view name) {
  device::ScopedServices services(handheld.device().services());
  CEOID none = 0;
  HANDLE db = CeOpenDatabase(&none, protocol::kContractsDatabase, 0, 0, 0);
  if (db == INVALID_HANDLE_VALUE) return -1;
  long long mark = -1;
  DWORD index = 0;
  for (CEOID oid = CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, &index); oid != 0;
       oid = CeSeekDatabase(db, CEDB_SEEK_CURRENT, 1, &index)) {
    WORD count = 0;
    LPBYTE buffer = nullptr;
    DWORD size = 0;
    CeReadRecordProps(db, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &size);
    const auto* values = reinterpret_cast<const CEPROPVAL*>(buffer);
    bool match = false;
    long long found = -1;
    for (WORD i = 0; i < count; ++i) {
      if (values[i].propid == protocol::kContractName &&
          std::u16string_view(values[i].val.lpwstr) == name) {
        match = true;
      }
      if (values[i].propid == protocol::kContractMark) {
        found = values[i].val.ulVal;
      }
    }
    LocalFree(buffer);
    if (match) mark = found;
  }
  CloseHandle(db);
  return mark;
}

TEST(ChangeTrackingTest, ContractNamesMatchCaseSensitively) {
  InProcessHandheld handheld;
  auto frames =
      handheld.Exchange({Contract(8, u"Desk"), Contract(10, u"Desk"),
                         Contract(10, u"desk"), Contract(10, u"DESK")});
  EXPECT_EQ(frames[0], (Bytes{1, 0}));
  EXPECT_EQ(frames[1], (Bytes{1, 0}));
  EXPECT_EQ(frames[2], (Bytes{0, 1}));
  EXPECT_EQ(frames[3], (Bytes{0, 1}));
}

TEST(ChangeTrackingTest, UnknownContractGetsTheWholeLogNewestFirst) {
  InProcessHandheld handheld;
  auto& log = handheld.device().changeLog();
  ASSERT_TRUE(log.AppendRaw(protocol::kContactLog, 501, 1, 1).ok());
  ASSERT_TRUE(log.AppendRaw(protocol::kContactLog, 502, 2, 1).ok());
  ASSERT_TRUE(log.AppendRaw(protocol::kContactLog, 501, 3, 3).ok());
  auto frames = handheld.Exchange({Contract(11, u"nobody")});
  EXPECT_EQ(frames[0], Cat({Header(1, 0, 3), Entry(501, 3), Entry(502, 1),
                            Entry(501, 1)}));
}

TEST(ChangeTrackingTest, OnlyEntriesNewerThanTheMarkAreSent) {
  InProcessHandheld handheld;
  SetSequence(handheld, 10);
  auto& log = handheld.device().changeLog();
  for (DWORD seq : {9, 10, 11, 12}) {
    ASSERT_TRUE(log.AppendRaw(protocol::kContactLog, 100 + seq, seq, 2).ok());
  }
  auto frames =
      handheld.Exchange({Contract(12, u"desk"), Contract(11, u"desk")});
  EXPECT_EQ(frames[0], (Bytes{1, 0}));
  EXPECT_EQ(frames[1], Cat({Header(1, 0, 2), Entry(112, 2), Entry(111, 2)}));
  EXPECT_EQ(StoredMark(handheld, u"desk"), 10);
}

TEST(ChangeTrackingTest, UpdateContractWithoutASequenceStoresZero) {
  InProcessHandheld handheld;
  (void)handheld.device().registry().Delete("HKLM\\SOFTWARE\\Orvanet",
                                            "\\VornContactLog");
  auto frames =
      handheld.Exchange({Contract(12, u"fresh"), Contract(10, u"fresh")});
  EXPECT_EQ(frames[0], (Bytes{1, 0}));
  EXPECT_EQ(frames[1], (Bytes{1, 0}));
  EXPECT_EQ(StoredMark(handheld, u"fresh"), 0);
}

TEST(ChangeTrackingTest, AddContractResetsTheMark) {
  InProcessHandheld handheld;
  SetSequence(handheld, 42);
  handheld.Exchange({Contract(12, u"desk")});
  EXPECT_EQ(StoredMark(handheld, u"desk"), 42);
  handheld.Exchange({Contract(8, u"desk")});
  EXPECT_EQ(StoredMark(handheld, u"desk"), 0);
}

TEST(ChangeTrackingTest, DeleteContractOfAnUnknownNameSucceeds) {
  InProcessHandheld handheld;
  auto frames =
      handheld.Exchange({Contract(9, u"ghost"), Contract(8, u"real"),
                         Contract(9, u"real"), Contract(10, u"real")});
  EXPECT_EQ(frames[0], (Bytes{1, 0}));
  EXPECT_EQ(frames[2], (Bytes{1, 0}));
  EXPECT_EQ(frames[3], (Bytes{0, 1}));
}

TEST(ChangeTrackingTest, ContractWithoutItsMarkFails) {
  InProcessHandheld handheld;
  handheld.Exchange({Contract(8, u"desk")});
  {
    device::ScopedServices services(handheld.device().services());
    CEOID none = 0;
    HANDLE db = CeOpenDatabase(&none, protocol::kContractsDatabase, 0, 0, 0);
    ASSERT_NE(db, INVALID_HANDLE_VALUE);
    DWORD index = 0;
    CEOID oid = CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, &index);
    CEPROPVAL drop = {};
    drop.propid = protocol::kContractMark;
    drop.wFlags = CEDB_PROPDELETE;
    ASSERT_EQ(CeWriteRecordProps(db, oid, 1, &drop), oid);
    CloseHandle(db);
  }
  ASSERT_TRUE(handheld.device()
                  .changeLog()
                  .AppendRaw(protocol::kContactLog, 7, 1, 1)
                  .ok());
  auto frames = handheld.Exchange({Contract(11, u"desk")});
  EXPECT_EQ(frames[0], Header(0, 1, 0));
}

TEST(ChangeTrackingTest, MissingLogGivesACompleteEmptyList) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({Contract(11, u"desk", 3)}, 3);
  EXPECT_EQ(frames[0], Header(1, 0, 0));
}

// The contracts database can neither be opened nor created.
class NoContracts : public platform::ObjectStoreWrapper {
 public:
  using ObjectStoreWrapper::ObjectStoreWrapper;
  HANDLE CeOpenDatabase(PCEOID oid, LPCWSTR name, CEPROPID sort, DWORD flags,
                        HWND notify) override {
    if (name != nullptr &&
        std::u16string_view(name) == protocol::kContractsDatabase) {
      return INVALID_HANDLE_VALUE;
    }
    return ObjectStoreWrapper::CeOpenDatabase(oid, name, sort, flags, notify);
  }
  CEOID CeCreateDatabase(LPCWSTR, DWORD, WORD, SORTORDERSPEC*) override {
    return 0;
  }
};

TEST(ChangeTrackingTest, ContractsDatabaseThatCannotOpen) {
  InProcessHandheld handheld;
  NoContracts store(&handheld.device().objectStore());
  platform::Services services = handheld.device().services();
  services.objectStore = &store;
  Bytes input;
  for (std::uint8_t command : {8, 9, 10, 11, 12, 1}) {
    Bytes frame = testing_support::FramePacket(
        command == 1 ? Bytes{1, 1} : Contract(command, u"desk"));
    input.insert(input.end(), frame.begin(), frame.end());
  }
  auto outcome = handheld.Converse(input, services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 6U);
  EXPECT_EQ(frames[0], (Bytes{0, 1}));
  EXPECT_EQ(frames[1], Bytes());
  EXPECT_EQ(frames[2], (Bytes{0, 1}));
  EXPECT_EQ(frames[3], Header(0, 1, 0));
  EXPECT_EQ(frames[4], (Bytes{0, 1}));
  const std::string box = "messagebox: ERROR: OpenContractsDB failed\n";
  // Add and update show it twice, the others once.
  std::string expected;
  for (int i = 0; i < 7; ++i) expected += box;
  EXPECT_EQ(outcome.messages, expected);
}

TEST(ChangeTrackingTest, AgentWritesAreLoggedAndReportedToTheNextRun) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange(
      {Contract(12, u"desk"), PacketBuilder(2, 1)
                                  .U32(1)
                                  .Raw(RecordBuilder().Str(31, u"N").Build())
                                  .packet()});
  std::uint32_t oid = protocol::GetU32(frames[1].data() + 2);
  frames = handheld.Exchange({Contract(11, u"desk"), Contract(12, u"desk"),
                              PacketBuilder(3, 1)
                                  .U32(oid)
                                  .Raw(RecordBuilder().Str(33, u"M").Build())
                                  .packet(),
                              Contract(11, u"desk"), Contract(12, u"desk"),
                              PacketBuilder(4, 1).U32(oid).packet(),
                              Contract(11, u"desk")});
  EXPECT_EQ(frames[0], Cat({Header(1, 0, 1), Entry(oid, 1)}));
  EXPECT_EQ(frames[3], Cat({Header(1, 0, 1), Entry(oid, 2)}));
  EXPECT_EQ(frames[6], Cat({Header(1, 0, 1), Entry(oid, 3)}));
}

}  // namespace
}  // namespace agent
