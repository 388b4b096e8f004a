#include "desktop/wire/batch_writer.h"

#include <gtest/gtest.h>

#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using protocol::DataType;
using Bytes = std::vector<std::uint8_t>;

using testing_support::Cat;
using testing_support::LE32;

Bytes Status(std::uint8_t ok, std::uint32_t oid, std::uint32_t id) {
  return Cat({{ok, 1}, LE32(oid), LE32(id)});
}

class BatchWriterTest : public ::testing::Test {
 protected:
  ScriptedStream stream_;
  HandheldClient client_{stream_};

  Bytes Packet(std::size_t i) const { return stream_.WrittenPackets().at(i); }
};

TEST_F(BatchWriterTest, SplitsByRecordCount) {
  std::vector<BatchEntry> entries = {
      {true, 1, {0xA1}}, {true, 2, {0xA2}}, {true, 3, {0xA3}}};
  stream_.AddReply(Cat({Status(1, 100, 1), Status(1, 101, 2)}));
  stream_.AddReply(Status(1, 102, 3));
  BatchWriter writer(client_, DataType::kContacts, 2);
  Result<std::vector<WriteStatus>> statuses = writer.WriteAll(entries);
  ASSERT_TRUE(statuses.ok()) << statuses.status().message();
  ASSERT_EQ(statuses->size(), 3u);
  EXPECT_EQ((*statuses)[2].oid, 102u);
  EXPECT_EQ(writer.packets_sent(), 2u);
  EXPECT_EQ(Packet(0), Cat({{15, 1},
                            LE32(2),
                            {2, 1},
                            LE32(1),
                            {0xA1},
                            {2, 1},
                            LE32(2),
                            {0xA2}}));
  EXPECT_EQ(Packet(1), Cat({{15, 1}, LE32(1), {2, 1}, LE32(3), {0xA3}}));
}

TEST_F(BatchWriterTest, SplitsByPacketSizeAndSendsAnOversizeRecordAlone) {
  std::vector<BatchEntry> entries = {{true, 1, Bytes(10, 1)},
                                     {true, 2, Bytes(10, 2)},
                                     {true, 3, Bytes(50, 3)},
                                     {true, 4, Bytes(1, 4)}};
  // Head 6, entries 6 + size: 16 + 16 fit in 40 bytes, 56 alone does not.
  BatchWriter writer(client_, DataType::kContacts, 100, 40);
  EXPECT_EQ(writer.FitCount(entries), 2u);
  EXPECT_EQ(writer.FitCount(std::span(entries).subspan(2)), 1u);
  EXPECT_EQ(writer.FitCount(std::span(entries).subspan(3)), 1u);
  stream_.AddReply(Cat({Status(1, 100, 1), Status(1, 101, 2)}));
  stream_.AddReply(Status(1, 102, 3));
  stream_.AddReply(Status(1, 103, 4));
  Result<std::vector<WriteStatus>> statuses = writer.WriteAll(entries);
  ASSERT_TRUE(statuses.ok()) << statuses.status().message();
  EXPECT_EQ(statuses->size(), 4u);
  EXPECT_EQ(writer.packets_sent(), 3u);
  EXPECT_EQ(Packet(1).size(), 6u + 6u + 50u);
}

TEST_F(BatchWriterTest, GoesOnAfterTheRecordTheHandheldStoppedAt) {
  std::vector<BatchEntry> entries = {
      {true, 1, {0xA1}}, {false, 99, {0xB1}}, {true, 3, {0xA3}}};
  stream_.AddReply(Cat({Status(1, 100, 1), {0, 3}}));
  stream_.AddReply(Status(1, 101, 3));
  BatchWriter writer(client_, DataType::kContacts);
  Result<std::vector<WriteStatus>> statuses = writer.WriteAll(entries);
  ASSERT_TRUE(statuses.ok()) << statuses.status().message();
  ASSERT_EQ(statuses->size(), 3u);
  EXPECT_TRUE((*statuses)[0].ok);
  EXPECT_FALSE((*statuses)[1].ok);
  EXPECT_EQ((*statuses)[1].code, protocol::kCodeNoItem);
  EXPECT_EQ((*statuses)[1].oid, 99u);
  EXPECT_EQ((*statuses)[1].echoed, 99u);
  EXPECT_TRUE((*statuses)[2].ok);
  EXPECT_EQ((*statuses)[2].oid, 101u);
  // The second packet starts after the record that failed.
  EXPECT_EQ(Packet(1), Cat({{15, 1}, LE32(1), {2, 1}, LE32(3), {0xA3}}));
}

TEST_F(BatchWriterTest, ABrokenStreamIsAnError) {
  std::vector<BatchEntry> entries = {{true, 1, {0xA1}}};
  BatchWriter writer(client_, DataType::kContacts);
  EXPECT_FALSE(writer.WriteAll(entries).ok());
}

TEST_F(BatchWriterTest, NothingToWriteSendsNothing) {
  BatchWriter writer(client_, DataType::kContacts);
  Result<std::vector<WriteStatus>> statuses = writer.WriteAll({});
  ASSERT_TRUE(statuses.ok());
  EXPECT_TRUE(statuses->empty());
  EXPECT_EQ(writer.packets_sent(), 0u);
}

}  // namespace
}  // namespace desktop
