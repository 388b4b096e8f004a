// The record handler's base operations on the emulated handheld, byte for
// byte through the agent's entry point.
#include "agent/handler/ce_record_handler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "device/registry/registry.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecordBuilder;

Bytes AddPacket(std::uint32_t id, const Bytes& record) {
  return PacketBuilder(2, 1).U32(id).Raw(record).packet();
}

std::uint32_t StatusOid(const Bytes& reply) {
  return protocol::GetU32(reply.data() + 2);
}

// Adds one contact per record and returns their OIDs.
std::vector<std::uint32_t> AddContacts(InProcessHandheld& handheld,
                                       const std::vector<Bytes>& records) {
  std::vector<Bytes> packets;
  for (std::size_t i = 0; i < records.size(); ++i) {
    packets.push_back(
        AddPacket(static_cast<std::uint32_t>(100 + i), records[i]));
  }
  std::vector<std::uint32_t> oids;
  auto frames = handheld.Exchange(packets);
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(frames[i].size(), 20U);
    EXPECT_EQ(frames[i][0], 1) << "contact " << i << " not saved";
    oids.push_back(StatusOid(frames[i]));
  }
  return oids;
}

Bytes Named(std::u16string_view first, std::u16string_view last) {
  return RecordBuilder().Str(31, first).Str(33, last).Build();
}

TEST(RecordHandlerTest, CountOfThreeContacts) {
  InProcessHandheld handheld;
  AddContacts(handheld, {Named(u"A", u"One"), Named(u"B", u"Two"),
                         Named(u"C", u"Three")});
  auto frames = handheld.Exchange({{6, 1}});
  EXPECT_EQ(frames[0], (Bytes{0x01, 0x00, 0x03, 0x00, 0x00, 0x00}));
}

TEST(RecordHandlerTest, CountsOfAppointmentsAndTasksStartAtZero) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({{6, 2}, {6, 3}});
  EXPECT_EQ(frames[0], (Bytes{1, 0, 0, 0, 0, 0}));
  EXPECT_EQ(frames[1], (Bytes{1, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, AddRecordCountsItsStatusTwice) {
  InProcessHandheld handheld;
  // A machine identity fills the reply buffer first: the second ten bytes
  // of the add's reply are what that reply left there.
  ASSERT_TRUE(
      handheld.device()
          .registry()
          .SetString("HKLM\\SOFTWARE\\Orvanet", "MachineID", "0123456789")
          .ok());
  auto frames =
      handheld.Exchange({{14, 1}, AddPacket(0x01020304, Named(u"J", u"S"))});
  ASSERT_EQ(frames[1].size(), 20U);
  std::uint32_t oid = StatusOid(frames[1]);
  EXPECT_NE(oid, 0U);
  Bytes expected = Cat({Bytes{1, 0}, LE32(oid), LE32(0x01020304),
                        Bytes(frames[0].begin() + 10, frames[0].begin() + 20)});
  EXPECT_EQ(frames[1], expected);
}

TEST(RecordHandlerTest, AddRecordWithTheBaseDecoderCountsTenBytes) {
  // Every data type has a decoder of its own; the base's reports code 1
  // and resets the reply length, so its status is counted once. A handler
  // of no data type reaches it without the object model.
  CCERecordHandler handler;
  std::vector<BYTE> reply(protocol::kReplyBufferSize, 0xBD);
  handler.reply = reply.data();
  Bytes packet = PacketBuilder(2, 4).U32(77).packet();
  handler.request =
      RequestPtr(packet.data() + 1, packet.data() + packet.size());
  EXPECT_EQ(handler.AddRecord(), 1);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + handler.replyLength),
            Cat({Bytes{0, 1}, LE32(0), LE32(77)}));
}

TEST(RecordHandlerTest, UpdateOfAMissingItemReportsCodeThree) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange(
      {PacketBuilder(3, 1).U32(0xDEAD).Raw(Named(u"A", u"B")).packet()});
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 10),
            (Bytes{0, 3, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, DeleteRecordsOfNoneRepliesNothing) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({PacketBuilder(17, 1).U32(0).packet()});
  EXPECT_EQ(frames[0], Bytes());
}

TEST(RecordHandlerTest, DeleteRecordsListsWhatWasDeleted) {
  InProcessHandheld handheld;
  auto oids = AddContacts(handheld, {Named(u"A", u"B"), Named(u"C", u"D")});
  auto frames = handheld.Exchange({PacketBuilder(17, 1)
                                       .U32(3)
                                       .U32(oids[1])
                                       .U32(0xBAD)
                                       .U32(oids[0])
                                       .packet(),
                                   {6, 1}});
  EXPECT_EQ(frames[0], Cat({LE32(oids[1]), LE32(oids[0])}));
  EXPECT_EQ(frames[1], (Bytes{1, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, DeleteRecordAndDeleteAll) {
  InProcessHandheld handheld;
  auto oids = AddContacts(
      handheld, {Named(u"A", u"B"), Named(u"C", u"D"), Named(u"E", u"F")});
  auto frames = handheld.Exchange({PacketBuilder(4, 1).U32(oids[0]).packet(),
                                   PacketBuilder(4, 1).U32(oids[0]).packet(),
                                   {6, 1},
                                   {5, 1},
                                   {6, 1}});
  EXPECT_EQ(frames[0], (Bytes{1, 0}));
  EXPECT_EQ(frames[1], (Bytes{0, 3}));
  EXPECT_EQ(frames[2], (Bytes{1, 0, 2, 0, 0, 0}));
  EXPECT_EQ(frames[3], (Bytes{1, 0}));
  EXPECT_EQ(frames[4], (Bytes{1, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, GetRecordOfAMissingItemFails) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({PacketBuilder(7, 1).U32(0xBAD).packet()});
  EXPECT_EQ(frames[0], (Bytes{0, 3}));
}

TEST(RecordHandlerTest, GetRecordsStopsAtTheRecordThatOverflows) {
  InProcessHandheld handheld;
  std::u16string page(22000, u'w');
  Bytes big = RecordBuilder().Str(31, u"A").Str(33, u"B").Str(23, page).Build();
  auto oids = AddContacts(handheld, {big, big, big});
  auto frames = handheld.Exchange({PacketBuilder(16, 1)
                                       .U32(3)
                                       .U32(oids[0])
                                       .U32(oids[1])
                                       .U32(oids[2])
                                       .packet()});
  const Bytes& reply = frames[0];
  ASSERT_GE(reply.size(), 7U);
  EXPECT_EQ(reply[0], 1);
  EXPECT_EQ(reply[1], 0);
  EXPECT_EQ(protocol::GetU32(reply.data() + 2), 2U);
  // The header's last byte is the property count of the record in progress:
  // every field of the third record but the page that did not fit.
  EXPECT_EQ(reply[6], 48);
  EXPECT_LE(reply.size(), protocol::kSoftLimit + 8 + 1000);
}

TEST(RecordHandlerTest, GetRecordsWithAnUnknownFirstOidCountsTheHeaderTwice) {
  InProcessHandheld handheld;
  auto oids = AddContacts(handheld, {Named(u"A", u"B")});
  auto frames = handheld.Exchange(
      {PacketBuilder(16, 1).U32(2).U32(0xBAD).U32(oids[0]).packet()});
  ASSERT_EQ(frames[0].size(), 14U);
  EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 7),
            (Bytes{1, 0, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, BatchWriteStopsAtAMissingItem) {
  InProcessHandheld handheld;
  Bytes record = Named(u"A", u"B");
  auto outcome = handheld.Converse(Cat({PacketBuilder(15, 1)
                                            .U32(3)
                                            .U8(2)
                                            .U8(1)
                                            .U32(11)
                                            .Raw(record)
                                            .U8(3)
                                            .U8(1)
                                            .U32(0xBAD)
                                            .Raw(record)
                                            .U8(2)
                                            .U8(1)
                                            .U32(13)
                                            .Raw(record)
                                            .Frame(),
                                        testing_support::FramePacket({6, 1}),
                                        testing_support::FramePacket({1, 1})}));
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 3U);
  ASSERT_EQ(frames[0].size(), 12U);
  std::uint32_t oid = StatusOid(frames[0]);
  EXPECT_NE(oid, 0U);
  EXPECT_EQ(frames[0], Cat({Bytes{1, 0}, LE32(oid), LE32(11), Bytes{0, 3}}));
  EXPECT_EQ(outcome.messages, "messagebox: ERROR: BatchWrite Error\n");
  EXPECT_EQ(frames[1], (Bytes{1, 0, 1, 0, 0, 0}));
}

TEST(RecordHandlerTest, BatchWriteAddsAndUpdates) {
  InProcessHandheld handheld;
  auto oids = AddContacts(handheld, {Named(u"Old", u"Name")});
  auto frames = handheld.Exchange({PacketBuilder(15, 1)
                                       .U32(2)
                                       .U8(3)
                                       .U8(1)
                                       .U32(oids[0])
                                       .Raw(Named(u"New", u"Name"))
                                       .U8(2)
                                       .U8(1)
                                       .U32(21)
                                       .Raw(Named(u"Second", u"One"))
                                       .packet(),
                                   {6, 1}});
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 10),
            Cat({Bytes{1, 0}, LE32(oids[0]), LE32(oids[0])}));
  EXPECT_EQ(frames[0][10], 1);
  EXPECT_EQ(protocol::GetU32(frames[0].data() + 16), 21U);
  EXPECT_EQ(frames[1], (Bytes{1, 0, 2, 0, 0, 0}));
}

TEST(RecordHandlerTest, BatchWriteOfNoneRepliesNothing) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({PacketBuilder(15, 1).U32(0).packet()});
  EXPECT_EQ(frames[0], Bytes());
}

TEST(RecordHandlerTest, GetAllRecordsListsEveryContact) {
  InProcessHandheld handheld;
  auto oids = AddContacts(handheld, {Named(u"A", u"B"), Named(u"C", u"D")});
  auto frames = handheld.Exchange({{13, 1}});
  const Bytes& reply = frames[0];
  ASSERT_EQ(reply.size(), 7U + 8);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 7),
            (Bytes{1, 0, 2, 0, 0, 0, 0}));
  std::vector<std::uint32_t> listed = {protocol::GetU32(reply.data() + 7),
                                       protocol::GetU32(reply.data() + 11)};
  std::sort(listed.begin(), listed.end());
  std::sort(oids.begin(), oids.end());
  EXPECT_EQ(listed, oids);
}

TEST(RecordHandlerTest, MachineIdWithoutTheValueIsEmpty) {
  InProcessHandheld handheld;
  (void)handheld.device().registry().Delete("HKLM\\SOFTWARE\\Orvanet",
                                            "MachineID");
  auto frames = handheld.Exchange({{14, 1}});
  EXPECT_EQ(frames[0], (Bytes{0x3C, 0, 0, 0, 2, 0, 0, 0, 0, 0}));
}

TEST(RecordHandlerTest, MachineIdIsSent) {
  InProcessHandheld handheld;
  ASSERT_TRUE(handheld.device()
                  .registry()
                  .SetString("HKLM\\SOFTWARE\\Orvanet", "MachineID", "PDA-7")
                  .ok());
  auto frames = handheld.Exchange({{14, 3}});
  EXPECT_EQ(frames[0], Cat({LE32(0x3C), Counted(u"PDA-7")}));
}

Bytes WritePiece(std::u16string_view path, const Bytes& data) {
  return PacketBuilder(18, 1)
      .Str(path)
      .U32(0)
      .U32(static_cast<std::uint32_t>(data.size()))
      .Raw(data)
      .packet();
}

Bytes ReadPiece(std::u16string_view path, std::uint32_t position,
                std::uint32_t size) {
  return PacketBuilder(19, 1).Str(path).U32(0).U32(position).U32(size).packet();
}

TEST(RecordHandlerTest, WriteFileDataCreatesAMissingFile) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange(
      {WritePiece(u"\\My Documents\\new.txt", {'a', 'b', 'c'}),
       WritePiece(u"\\My Documents\\new.txt", {'d'}),
       ReadPiece(u"\\My Documents\\new.txt", 1, 10)});
  EXPECT_EQ(frames[0], (Bytes{1, 0, 0, 0, 0, 0}));
  // The second write finds the file: OPEN_ALWAYS reports it existed.
  EXPECT_EQ(frames[1], Cat({Bytes{1, 0}, LE32(ERROR_ALREADY_EXISTS)}));
  EXPECT_EQ(frames[2],
            Cat({Bytes{1, 0}, LE32(0), LE32(3), Bytes{'b', 'c', 'd'}}));
}

TEST(RecordHandlerTest, ReadFileDataOfAMissingFile) {
  InProcessHandheld handheld;
  auto frames = handheld.Exchange({ReadPiece(u"\\nothing.bin", 0, 16)});
  EXPECT_EQ(frames[0], Cat({Bytes{0, 0}, LE32(ERROR_FILE_NOT_FOUND), LE32(0)}));
}

TEST(RecordHandlerTest, OneMegabyteFileTravelsInPieces) {
  InProcessHandheld handheld;
  Bytes file(1 << 20);
  for (std::size_t i = 0; i < file.size(); ++i) {
    file[i] = static_cast<std::uint8_t>((i * 131) ^ (i >> 9));
  }
  std::vector<Bytes> writes;
  for (std::size_t at = 0; at < file.size();
       at += protocol::kMaxFileReadPiece) {
    std::size_t end = std::min(file.size(), at + protocol::kMaxFileReadPiece);
    writes.push_back(WritePiece(u"\\Temp\\big.bin",
                                Bytes(file.begin() + static_cast<long>(at),
                                      file.begin() + static_cast<long>(end))));
  }
  auto written = handheld.Exchange(writes);
  for (std::size_t i = 0; i < writes.size(); ++i) EXPECT_EQ(written[i][0], 1);

  std::vector<Bytes> reads;
  for (std::uint32_t at = 0; at < file.size();
       at += protocol::kMaxFileReadPiece) {
    reads.push_back(
        ReadPiece(u"\\TEMP\\BIG.BIN", at, protocol::kMaxFileReadPiece));
  }
  auto pieces = handheld.Exchange(reads);
  Bytes back;
  for (std::size_t i = 0; i < reads.size(); ++i) {
    ASSERT_GE(pieces[i].size(), 10U);
    EXPECT_EQ(pieces[i][0], 1);
    std::uint32_t count = protocol::GetU32(pieces[i].data() + 6);
    ASSERT_EQ(pieces[i].size(), 10U + count);
    back.insert(back.end(), pieces[i].begin() + 10, pieces[i].end());
  }
  EXPECT_EQ(back, file);
}

TEST(RecordHandlerTest, FilePathsStayInsideTheHandheld) {
  InProcessHandheld handheld;
  auto frames =
      handheld.Exchange({WritePiece(u"\\..\\..\\etc\\vorn-escape", {'x'}),
                         WritePiece(u"C:\\vorn-escape", {'x'}),
                         ReadPiece(u"/etc/passwd", 0, 100)});
  // Whatever the handheld answers, nothing reaches the host.
  EXPECT_FALSE(std::filesystem::exists("/etc/vorn-escape"));
  EXPECT_FALSE(std::filesystem::exists("C:\\vorn-escape"));
  EXPECT_EQ(frames[1][0], 0);
  EXPECT_EQ(frames[2][0], 0);
}

}  // namespace
}  // namespace agent
