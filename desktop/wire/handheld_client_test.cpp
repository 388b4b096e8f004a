#include "desktop/wire/handheld_client.h"

#include <gtest/gtest.h>

#include "desktop/formats/contact.h"
#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using protocol::DataType;
using Bytes = std::vector<std::uint8_t>;

using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

// A contact record as the handheld sends it: header, then properties.
Bytes ContactRecord(std::uint32_t oid, std::u16string_view first) {
  return Cat({{1, 0}, LE32(oid), {1}, LE32(31), Counted(first)});
}

class HandheldClientTest : public ::testing::Test {
 protected:
  ScriptedStream stream_;
  HandheldClient client_{stream_};

  Bytes Packet(std::size_t i) const { return stream_.WrittenPackets().at(i); }
};

TEST_F(HandheldClientTest, EndSession) {
  stream_.AddReply({});
  ASSERT_TRUE(client_.EndSession().ok());
  EXPECT_EQ(stream_.written(), (Bytes{2, 0, 0, 0, 1, 1}));
}

TEST_F(HandheldClientTest, AddRecordReadsTheDoubleCountedStatus) {
  Bytes status = Cat({{1, 0}, LE32(0x1234), LE32(7)});
  stream_.AddReply(Cat({status, Bytes(10, 0xBD)}));
  Bytes record = Cat({LE32(1), LE32(31), Counted(u"Jo")});
  Result<WriteStatus> written =
      client_.AddRecord(DataType::kContacts, 7, record);
  ASSERT_TRUE(written.ok()) << written.status().message();
  EXPECT_TRUE(written->ok);
  EXPECT_EQ(written->oid, 0x1234u);
  EXPECT_EQ(written->echoed, 7u);
  EXPECT_EQ(Packet(0), Cat({{2, 1}, LE32(7), record}));
}

TEST_F(HandheldClientTest, UpdateRecordWithTenByteReply) {
  stream_.AddReply(Cat({{0, 3}, LE32(99), LE32(99)}));
  Result<WriteStatus> written =
      client_.UpdateRecord(DataType::kTasks, 99, Bytes{0, 0, 0, 0});
  ASSERT_TRUE(written.ok());
  EXPECT_FALSE(written->ok);
  EXPECT_EQ(written->code, 3);
  EXPECT_EQ(Packet(0), (Bytes{3, 3, 99, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(HandheldClientTest, ShortWriteStatusIsAnError) {
  stream_.AddReply({1, 0, 5});
  EXPECT_FALSE(client_.AddRecord(DataType::kContacts, 1, {}).ok());
}

TEST_F(HandheldClientTest, DeleteRecordStatusPairs) {
  stream_.AddReply({1, 0});
  stream_.AddReply({0, 3});
  stream_.AddReply({});
  EXPECT_TRUE(client_.DeleteRecord(DataType::kContacts, 5).ok());
  EXPECT_FALSE(client_.DeleteRecord(DataType::kContacts, 6).ok());
  EXPECT_FALSE(client_.DeleteRecord(DataType::kContacts, 7).ok());
  EXPECT_EQ(Packet(0), (Bytes{4, 1, 5, 0, 0, 0}));
}

TEST_F(HandheldClientTest, DeleteAllRecords) {
  stream_.AddReply({1, 0});
  EXPECT_TRUE(client_.DeleteAllRecords(DataType::kAppointments).ok());
  EXPECT_EQ(Packet(0), (Bytes{5, 2}));
}

TEST_F(HandheldClientTest, GetRecordCount) {
  stream_.AddReply({1, 0, 3, 0, 0, 0});
  stream_.AddReply({0, 3, 0, 0, 0, 0});
  stream_.AddReply({1, 0, 3});
  Result<std::uint32_t> count = client_.GetRecordCount(DataType::kContacts);
  ASSERT_TRUE(count.ok());
  EXPECT_EQ(*count, 3u);
  EXPECT_FALSE(client_.GetRecordCount(DataType::kContacts).ok());
  EXPECT_FALSE(client_.GetRecordCount(DataType::kContacts).ok());
  EXPECT_EQ(Packet(0), (Bytes{6, 1}));
}

TEST_F(HandheldClientTest, GetRecordDecodesOrReportsMissing) {
  stream_.AddReply(ContactRecord(42, u"Ann"));
  stream_.AddReply({0, 3});
  Result<WireRecord> record =
      client_.GetRecord(DataType::kContacts, 42, Contact::PropertyKindOf);
  ASSERT_TRUE(record.ok()) << record.status().message();
  EXPECT_EQ(record->oid, 42u);
  ASSERT_EQ(record->properties.size(), 1u);
  EXPECT_EQ(std::get<std::u16string>(record->properties[0].value), u"Ann");
  EXPECT_FALSE(
      client_.GetRecord(DataType::kContacts, 43, Contact::PropertyKindOf).ok());
  EXPECT_EQ(Packet(0), (Bytes{7, 1, 42, 0, 0, 0}));
}

TEST_F(HandheldClientTest, GarbledRecordIsAnError) {
  // Claims two properties, carries one.
  Bytes reply = ContactRecord(42, u"Ann");
  reply[6] = 2;
  stream_.AddReply(reply);
  EXPECT_FALSE(
      client_.GetRecord(DataType::kContacts, 42, Contact::PropertyKindOf).ok());
  // Unknown property id for contacts.
  stream_.AddReply(Cat({{1, 0}, LE32(1), {1}, LE32(77), Counted(u"x")}));
  EXPECT_FALSE(
      client_.GetRecord(DataType::kContacts, 1, Contact::PropertyKindOf).ok());
}

TEST_F(HandheldClientTest, ContractCommands) {
  stream_.AddReply({1, 0});  // add
  stream_.AddReply({0, 1});  // add fails
  stream_.AddReply({1, 0});  // find: yes
  stream_.AddReply({0, 1});  // find: no
  stream_.AddReply({});      // delete: database did not open
  stream_.AddReply({1, 0});  // update
  EXPECT_TRUE(client_.AddContract(DataType::kContacts, u"PC").ok());
  EXPECT_FALSE(client_.AddContract(DataType::kContacts, u"PC").ok());
  EXPECT_TRUE(*client_.FindContract(DataType::kContacts, u"PC"));
  EXPECT_FALSE(*client_.FindContract(DataType::kContacts, u"pc"));
  EXPECT_FALSE(client_.DeleteContract(DataType::kContacts, u"PC").ok());
  EXPECT_TRUE(client_.UpdateContract(DataType::kTasks, u"PC").ok());
  EXPECT_EQ(Packet(0), Cat({{8, 1}, Counted(u"PC")}));
  EXPECT_EQ(Packet(4), Cat({{9, 1}, Counted(u"PC")}));
  EXPECT_EQ(Packet(5), Cat({{12, 3}, Counted(u"PC")}));
}

TEST_F(HandheldClientTest, GetChangedRecords) {
  stream_.AddReply(Cat({{1, 0}, LE32(2), {0}, LE32(12), {2}, LE32(11), {3}}));
  Result<ChangeList> list =
      client_.GetChangedRecords(DataType::kContacts, u"PC");
  ASSERT_TRUE(list.ok()) << list.status().message();
  EXPECT_TRUE(list->header.complete);
  EXPECT_FALSE(list->header.failed);
  ASSERT_EQ(list->changes.size(), 2u);
  EXPECT_EQ(list->changes[0].oid, 12u);
  EXPECT_EQ(list->changes[0].kind, 2);
  EXPECT_EQ(list->changes[1].kind, 3);
  EXPECT_EQ(Packet(0), Cat({{11, 1}, Counted(u"PC")}));
}

TEST_F(HandheldClientTest, GetChangedRecordsFailedAndShort) {
  stream_.AddReply({0, 1, 0, 0, 0, 0, 0});
  stream_.AddReply(Cat({{1, 0}, LE32(2), {0}, LE32(12), {2}}));
  Result<ChangeList> failed =
      client_.GetChangedRecords(DataType::kContacts, u"PC");
  ASSERT_TRUE(failed.ok());
  EXPECT_TRUE(failed->header.failed);
  EXPECT_FALSE(failed->header.complete);
  EXPECT_FALSE(client_.GetChangedRecords(DataType::kContacts, u"PC").ok());
}

TEST_F(HandheldClientTest, GetAllRecords) {
  stream_.AddReply(Cat({{1, 0}, LE32(3), {0}, LE32(5), LE32(6), LE32(9)}));
  stream_.AddReply({1, 0, 9, 0, 0, 0, 0});
  Result<OidList> list = client_.GetAllRecords(DataType::kContacts);
  ASSERT_TRUE(list.ok());
  EXPECT_EQ(list->oids, (std::vector<std::uint32_t>{5, 6, 9}));
  EXPECT_FALSE(client_.GetAllRecords(DataType::kContacts).ok());
  EXPECT_EQ(Packet(0), (Bytes{13, 1}));
}

TEST_F(HandheldClientTest, GetMachineId) {
  stream_.AddReply(Cat({LE32(0x3C), Counted(u"PPC-1")}));
  stream_.AddReply({0x3C, 0, 0, 0, 2, 0, 0, 0, 0, 0});
  stream_.AddReply({0x3D, 0, 0, 0, 2, 0, 0, 0, 0, 0});
  EXPECT_EQ(*client_.GetMachineId(), u"PPC-1");
  EXPECT_EQ(*client_.GetMachineId(), u"");
  EXPECT_FALSE(client_.GetMachineId().ok());
  EXPECT_EQ(Packet(0), (Bytes{14, 1}));
}

TEST_F(HandheldClientTest, BatchWriteBuildsEntriesAndReadsStatuses) {
  std::vector<BatchEntry> entries = {{true, 1, {0xAA}}, {false, 77, {0xBB}}};
  stream_.AddReply(
      Cat({{1, 1}, LE32(500), LE32(1), {1, 1}, LE32(77), LE32(77)}));
  Result<BatchResult> result = client_.BatchWrite(DataType::kContacts, entries);
  ASSERT_TRUE(result.ok()) << result.status().message();
  ASSERT_EQ(result->statuses.size(), 2u);
  EXPECT_FALSE(result->failed);
  EXPECT_EQ(result->statuses[0].oid, 500u);
  EXPECT_EQ(Packet(0), Cat({{15, 1},
                            LE32(2),
                            {2, 1},
                            LE32(1),
                            {0xAA},
                            {3, 1},
                            LE32(77),
                            {0xBB}}));
}

TEST_F(HandheldClientTest, BatchWriteThatGaveUp) {
  std::vector<BatchEntry> entries = {
      {true, 1, {}}, {false, 2, {}}, {true, 3, {}}};
  stream_.AddReply(Cat({{1, 1}, LE32(500), LE32(1), {0, 3}}));
  Result<BatchResult> result = client_.BatchWrite(DataType::kContacts, entries);
  ASSERT_TRUE(result.ok());
  EXPECT_TRUE(result->failed);
  EXPECT_EQ(result->statuses.size(), 1u);
}

TEST_F(HandheldClientTest, GetRecordsAsksAgainForTheRest) {
  // First reply holds two of three records (the third overflowed and left
  // part of itself behind); the second reply holds the last one.
  stream_.AddReply(Cat({{1, 0},
                        LE32(2),
                        {1},
                        ContactRecord(10, u"A"),
                        ContactRecord(11, u"B"),
                        {1, 0, 12, 0}}));
  stream_.AddReply(Cat({{1, 0}, LE32(1), {1}, ContactRecord(12, u"C")}));
  std::vector<std::uint32_t> oids = {10, 11, 12};
  Result<RecordBatch> batch =
      client_.GetRecords(DataType::kContacts, oids, Contact::PropertyKindOf);
  ASSERT_TRUE(batch.ok()) << batch.status().message();
  ASSERT_EQ(batch->records.size(), 3u);
  EXPECT_EQ(batch->records[2].oid, 12u);
  EXPECT_TRUE(batch->missing.empty());
  EXPECT_EQ(Packet(0), Cat({{16, 1}, LE32(3), LE32(10), LE32(11), LE32(12)}));
  EXPECT_EQ(Packet(1), Cat({{16, 1}, LE32(1), LE32(12)}));
}

TEST_F(HandheldClientTest, GetRecordsFetchesAnUnlistableRecordAlone) {
  // The list comes back empty twice counted: the OID is asked for alone,
  // turns out missing, and the list goes on after it.
  Bytes empty_twice = {1, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0};
  stream_.AddReply(empty_twice);
  stream_.AddReply({0, 3});
  stream_.AddReply(Cat({{1, 0}, LE32(1), {1}, ContactRecord(8, u"H")}));
  std::vector<std::uint32_t> oids = {7, 8};
  Result<RecordBatch> batch =
      client_.GetRecords(DataType::kContacts, oids, Contact::PropertyKindOf);
  ASSERT_TRUE(batch.ok()) << batch.status().message();
  ASSERT_EQ(batch->records.size(), 1u);
  EXPECT_EQ(batch->records[0].oid, 8u);
  EXPECT_EQ(batch->missing, (std::vector<std::uint32_t>{7}));
  EXPECT_EQ(Packet(1), (Bytes{7, 1, 7, 0, 0, 0}));
  EXPECT_EQ(Packet(2), Cat({{16, 1}, LE32(1), LE32(8)}));
}

TEST_F(HandheldClientTest, GetRecordsRejectsTooManyRecords) {
  stream_.AddReply(Cat({{1, 0}, LE32(5), {1}, ContactRecord(10, u"A")}));
  std::vector<std::uint32_t> oids = {10};
  EXPECT_FALSE(
      client_.GetRecords(DataType::kContacts, oids, Contact::PropertyKindOf)
          .ok());
}

TEST_F(HandheldClientTest, GetRecordsWhenTheHandheldLeaves) {
  stream_.AddRaw({40, 0, 0, 0, 1, 0});
  std::vector<std::uint32_t> oids = {10};
  Result<RecordBatch> batch =
      client_.GetRecords(DataType::kContacts, oids, Contact::PropertyKindOf);
  ASSERT_FALSE(batch.ok());
  EXPECT_EQ(batch.status().message(), "handheld closed the conversation");
}

TEST_F(HandheldClientTest, DeleteRecords) {
  stream_.AddReply(Cat({LE32(4), LE32(6)}));
  stream_.AddReply({});
  stream_.AddReply({1, 2, 3});
  std::vector<std::uint32_t> oids = {4, 5, 6};
  EXPECT_EQ(*client_.DeleteRecords(DataType::kContacts, oids),
            (std::vector<std::uint32_t>{4, 6}));
  EXPECT_TRUE(client_.DeleteRecords(DataType::kContacts, oids)->empty());
  EXPECT_FALSE(client_.DeleteRecords(DataType::kContacts, oids).ok());
  EXPECT_EQ(Packet(0), Cat({{17, 1}, LE32(3), LE32(4), LE32(5), LE32(6)}));
}

TEST_F(HandheldClientTest, WriteFileData) {
  stream_.AddReply(Cat({{1, 0}, LE32(0)}));
  stream_.AddReply(Cat({{0, 0}, LE32(5)}));
  Bytes data = {'h', 'i'};
  Result<FileWriteResult> ok = client_.WriteFileData(u"\\a", data);
  ASSERT_TRUE(ok.ok());
  EXPECT_TRUE(ok->ok);
  Result<FileWriteResult> denied = client_.WriteFileData(u"\\a", data);
  ASSERT_TRUE(denied.ok());
  EXPECT_FALSE(denied->ok);
  EXPECT_EQ(denied->error, 5u);
  EXPECT_EQ(Packet(0),
            Cat({{18, 1}, Counted(u"\\a"), LE32(0), LE32(2), {'h', 'i'}}));
}

TEST_F(HandheldClientTest, ReadFileData) {
  stream_.AddReply(Cat({{1, 0}, LE32(0), LE32(3), {'a', 'b', 'c'}}));
  stream_.AddReply(Cat({{0, 0}, LE32(2), LE32(0)}));
  stream_.AddReply(Cat({{1, 0}, LE32(0), LE32(3), {'a'}}));
  Result<FileReadResult> read = client_.ReadFileData(u"\\f", 10, 500000);
  ASSERT_TRUE(read.ok()) << read.status().message();
  EXPECT_EQ(read->data, (Bytes{'a', 'b', 'c'}));
  // The piece asked for is capped at what one reply can carry.
  EXPECT_EQ(Packet(0), Cat({{19, 1},
                            Counted(u"\\f"),
                            LE32(0),
                            LE32(10),
                            LE32(protocol::kMaxFileReadPiece)}));
  Result<FileReadResult> missing = client_.ReadFileData(u"\\g", 0, 4);
  ASSERT_TRUE(missing.ok());
  EXPECT_FALSE(missing->ok);
  EXPECT_EQ(missing->error, 2u);
  EXPECT_FALSE(client_.ReadFileData(u"\\f", 0, 4).ok());  // short data
}

TEST_F(HandheldClientTest, CheckOsVersion) {
  stream_.AddReply(LE32(1));
  stream_.AddReply(LE32(0));
  stream_.AddReply({1});
  EXPECT_TRUE(*client_.CheckOsVersion());
  EXPECT_FALSE(*client_.CheckOsVersion());
  EXPECT_FALSE(client_.CheckOsVersion().ok());
  EXPECT_EQ(Packet(0), (Bytes{20, 1}));
}

}  // namespace
}  // namespace desktop
