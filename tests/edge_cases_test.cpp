// The handheld's documented edge cases, each as a whole conversation
// through `vorn-device serve --stdio`, the replies compared byte for byte.
// The handheld is prepared and inspected with vorn-device's own commands.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FramePacket;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecordBuilder;
using testing_support::RunProgram;
using testing_support::TempDir;

class EdgeCaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = dir_.path("d.img");
    ASSERT_EQ(RunProgram({"vorn-device", "init", image_}).exitCode, 0);
  }

  // Runs vorn-device with the image as its first argument after `command`.
  std::string Device(const std::string& command,
                     const std::vector<std::string>& rest) {
    std::vector<std::string> args = {"vorn-device", command, image_};
    args.insert(args.end(), rest.begin(), rest.end());
    auto result = RunProgram(args);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.outText();
  }

  // One conversation: the packets, then the end of the session. Returns the
  // replies of the packets (the end's own empty reply is checked here).
  std::vector<Bytes> Serve(const std::vector<Bytes>& packets,
                           std::string* messages = nullptr) {
    Bytes input;
    for (const Bytes& packet : packets)
      input = Cat({input, FramePacket(packet)});
    input = Cat({input, FramePacket({1, 1})});
    auto result =
        RunProgram({"vorn-device", "serve", image_, "--stdio"}, input);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    if (messages != nullptr) *messages = result.err;
    auto frames = testing_support::SplitFrames(result.out);
    EXPECT_EQ(frames.size(), packets.size() + 1);
    if (!frames.empty()) {
      EXPECT_EQ(frames.back(), Bytes());
      frames.pop_back();
    }
    return frames;
  }

  std::uint32_t AddContact(const std::string& json) {
    return static_cast<std::uint32_t>(
        std::stoul(Device("pim", {"add", "contacts", json})));
  }

  TempDir dir_;
  std::string image_;
};

Bytes Named(std::u16string_view first, std::u16string_view last) {
  return RecordBuilder().Str(31, first).Str(33, last).Build();
}

// Record handler base.

TEST_F(EdgeCaseTest, CountOfThreeContacts) {
  for (const char* name : {"A", "B", "C"}) {
    AddContact(std::string(R"({"FirstName":")") + name + "\"}");
  }
  EXPECT_EQ(Serve({{6, 1}})[0], (Bytes{0x01, 0x00, 0x03, 0x00, 0x00, 0x00}));
}

TEST_F(EdgeCaseTest, DeleteRecordsOfNoneIsEmpty) {
  EXPECT_EQ(Serve({PacketBuilder(17, 1).U32(0).packet()})[0], Bytes());
}

TEST_F(EdgeCaseTest, GetRecordsStopsWhereTheThirdRecordOverflows) {
  std::string page(22000, 'w');
  std::vector<std::uint32_t> oids;
  oids.reserve(3);
  for (int i = 0; i < 3; ++i) {
    oids.push_back(
        AddContact(R"({"FirstName":"A","WebPage":")" + page + "\"}"));
  }
  auto reply = Serve({PacketBuilder(16, 1)
                          .U32(3)
                          .U32(oids[0])
                          .U32(oids[1])
                          .U32(oids[2])
                          .packet()})[0];
  ASSERT_GE(reply.size(), 7U);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 6),
            Cat({Bytes{1, 0}, LE32(2)}));
}

TEST_F(EdgeCaseTest, GetRecordsWithAnUnknownFirstOid) {
  std::uint32_t oid = AddContact(R"({"FirstName":"A"})");
  auto reply =
      Serve({PacketBuilder(16, 1).U32(2).U32(0xBAD).U32(oid).packet()})[0];
  ASSERT_EQ(reply.size(), 14U);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 7),
            (Bytes{1, 0, 0, 0, 0, 0, 0}));
}

TEST_F(EdgeCaseTest, BatchWriteWithAMissingSecondItem) {
  Bytes record = Named(u"A", u"B");
  std::string messages;
  auto reply = Serve({PacketBuilder(15, 1)
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
                          .packet()},
                     &messages)[0];
  ASSERT_EQ(reply.size(), 12U);
  std::uint32_t oid = protocol::GetU32(reply.data() + 2);
  EXPECT_EQ(reply, Cat({Bytes{1, 0}, LE32(oid), LE32(11), Bytes{0, 3}}));
  EXPECT_EQ(messages, "messagebox: ERROR: BatchWrite Error\n");
}

TEST_F(EdgeCaseTest, WriteFileDataCreatesTheFile) {
  auto reply = Serve({PacketBuilder(18, 1)
                          .Str(u"\\My Documents\\new.bin")
                          .U32(0)
                          .U32(3)
                          .Raw({7, 8, 9})
                          .packet()})[0];
  EXPECT_EQ(reply, (Bytes{1, 0, 0, 0, 0, 0}));
  std::string host = dir_.path("new.bin");
  Device("fs", {"get", "\\My Documents\\new.bin", host});
  EXPECT_EQ(testing_support::ReadFileBytes(host), (Bytes{7, 8, 9}));
}

TEST_F(EdgeCaseTest, MachineIdWithoutTheValue) {
  Device("reg", {"delete", "HKLM\\SOFTWARE\\Orvanet", "MachineID"});
  EXPECT_EQ(Serve({{14, 1}})[0], (Bytes{0x3C, 0, 0, 0, 2, 0, 0, 0, 0, 0}));
}

// Contacts.

std::string FileAsOf(const std::string& ls, std::uint32_t oid) {
  std::string prefix = std::to_string(oid) + "\t";
  auto at = ls.find(prefix);
  if (at == std::string::npos) return "<missing>";
  auto start = at + prefix.size();
  return ls.substr(start, ls.find('\t', start) - start);
}

TEST_F(EdgeCaseTest, FileAsRules) {
  auto replies = Serve({
      PacketBuilder(2, 1)
          .U32(1)
          .Raw(RecordBuilder()
                   .Str(26, u"X")
                   .Str(31, u"John")
                   .Str(33, u"Smith")
                   .Build())
          .packet(),
      PacketBuilder(2, 1)
          .U32(2)
          .Raw(RecordBuilder().Str(33, u"Smith").Str(26, u"Smithy").Build())
          .packet(),
      PacketBuilder(2, 1)
          .U32(3)
          .Raw(RecordBuilder().Str(33, u"Smith").Build())
          .packet(),
      PacketBuilder(2, 1)
          .U32(4)
          .Raw(RecordBuilder().Str(32, u"Middle").Build())
          .packet(),
      PacketBuilder(2, 1)
          .U32(5)
          .Raw(RecordBuilder().Str(4, u"Orvanet").Build())
          .packet(),
  });
  std::vector<std::uint32_t> oids;
  for (const Bytes& reply : replies) {
    ASSERT_EQ(reply.size(), 20U);
    ASSERT_EQ(reply[0], 1);
    oids.push_back(protocol::GetU32(reply.data() + 2));
  }
  std::string ls = Device("pim", {"ls", "contacts"});
  EXPECT_EQ(FileAsOf(ls, oids[0]), "Smith, John");
  EXPECT_EQ(FileAsOf(ls, oids[1]), "Smithy");
  EXPECT_EQ(FileAsOf(ls, oids[2]), "");
  EXPECT_EQ(FileAsOf(ls, oids[3]), ",");
  EXPECT_EQ(FileAsOf(ls, oids[4]), "");
}

TEST_F(EdgeCaseTest, NotesOf4095And4096Characters) {
  auto replies = Serve({
      PacketBuilder(2, 1)
          .U32(1)
          .Raw(RecordBuilder().Str(50, std::u16string(4095, u'a')).Build())
          .packet(),
      PacketBuilder(2, 1)
          .U32(2)
          .Raw(RecordBuilder().Str(50, std::u16string(4096, u'b')).Build())
          .packet(),
  });
  std::uint32_t shortNotes = protocol::GetU32(replies[0].data() + 2);
  std::uint32_t longNotes = protocol::GetU32(replies[1].data() + 2);
  // 0x00170041 is the long-notes blob, 0x0017001F the object model's text.
  std::string dump = Device("dump", {});
  auto has = [&](std::uint32_t record, std::uint32_t propid) {
    return dump.find("\"record\": " + std::to_string(record) +
                     ", \"propid\": " + std::to_string(propid)) !=
           std::string::npos;
  };
  EXPECT_TRUE(has(shortNotes, 0x0017001F));
  EXPECT_FALSE(has(shortNotes, 0x00170041));
  EXPECT_TRUE(has(longNotes, 0x00170041));
  EXPECT_FALSE(has(longNotes, 0x0017001F));
}

TEST_F(EdgeCaseTest, UnknownFieldIdIsFollowedByAFieldId) {
  Bytes record = Cat({LE32(2), LE32(99), LE32(31), Counted(u"Ann")});
  auto reply = Serve({PacketBuilder(2, 1).U32(1).Raw(record).packet()})[0];
  std::uint32_t oid = protocol::GetU32(reply.data() + 2);
  std::string ls = Device("pim", {"ls", "contacts"});
  EXPECT_NE(ls.find(std::to_string(oid) + "\t\tAnn\t"), std::string::npos)
      << ls;
}

TEST_F(EdgeCaseTest, ReadingNeverSendsFileAs) {
  std::uint32_t oid = AddContact(R"({"FileAs":"Filed","FirstName":"F"})");
  auto reply = Serve({PacketBuilder(7, 1).U32(oid).packet()})[0];
  ASSERT_GT(reply.size(), 47U);
  EXPECT_EQ(reply[6], 49);
  std::size_t at = 7 + 2 * 20;
  for (std::uint32_t id = 3; id <= 50; ++id) {
    if (id == 26) continue;
    ASSERT_EQ(protocol::GetU32(reply.data() + at), id);
    at += 8 + protocol::GetU32(reply.data() + at + 4);
  }
  EXPECT_EQ(at, reply.size());
}

// Change tracking.

Bytes ContractPacket(std::uint8_t command, std::u16string_view name) {
  return PacketBuilder(command, 1).Str(name).packet();
}

TEST_F(EdgeCaseTest, FindContractIsCaseSensitive) {
  auto replies =
      Serve({ContractPacket(8, u"Desk"), ContractPacket(10, u"desk")});
  EXPECT_EQ(replies[0], (Bytes{1, 0}));
  EXPECT_EQ(replies[1], (Bytes{0, 1}));
}

TEST_F(EdgeCaseTest, UnknownContractGetsEveryEntryNewestFirst) {
  Device("changelog",
         {"add", "contacts", "--oid", "70", "--seq", "1", "--kind", "1"});
  Device("changelog",
         {"add", "contacts", "--oid", "71", "--seq", "2", "--kind", "2"});
  Device("changelog",
         {"add", "contacts", "--oid", "70", "--seq", "3", "--kind", "3"});
  EXPECT_EQ(Serve({ContractPacket(11, u"nobody")})[0],
            Cat({Bytes{1, 0}, LE32(3), Bytes{0}, LE32(70), Bytes{3}, LE32(71),
                 Bytes{2}, LE32(70), Bytes{1}}));
}

TEST_F(EdgeCaseTest, AnyThirtyTwoBitKindIsStoredAndSentByItsLowByte) {
  Device("changelog", {"add", "contacts", "--oid", "70", "--seq", "1", "--kind",
                       "0x1234ABCD"});
  Device("changelog", {"add", "contacts", "--oid", "71", "--seq", "2", "--kind",
                       "4294967295"});
  Device("changelog",
         {"add", "contacts", "--oid", "72", "--seq", "3", "--kind", "0x100"});
  Device("changelog",
         {"add", "contacts", "--oid", "73", "--seq", "4", "--kind", "added"});
  EXPECT_EQ(Device("changelog", {"ls", "contacts"}),
            "4\t73\tadded\n3\t72\t256\n2\t71\t4294967295\n"
            "1\t70\t305441741\n");
  std::string json = Device("changelog", {"ls", "contacts", "--json"});
  EXPECT_NE(json.find(R"("kind":4294967295)"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("change":"305441741")"), std::string::npos) << json;
  EXPECT_EQ(Serve({ContractPacket(11, u"nobody")})[0],
            Cat({Bytes{1, 0}, LE32(4), Bytes{0}, LE32(73), Bytes{1}, LE32(72),
                 Bytes{0x00}, LE32(71), Bytes{0xFF}, LE32(70), Bytes{0xCD}}));
}

TEST_F(EdgeCaseTest, MarkTenSendsTwelveAndEleven) {
  Device("reg", {"set", "HKLM\\SOFTWARE\\Orvanet", "\\VornContactLog",
                 "--dword", "10"});
  for (int seq : {9, 10, 11, 12}) {
    Device("changelog", {"add", "contacts", "--oid", std::to_string(100 + seq),
                         "--seq", std::to_string(seq)});
  }
  auto replies =
      Serve({ContractPacket(12, u"desk"), ContractPacket(11, u"desk")});
  EXPECT_EQ(replies[0], (Bytes{1, 0}));
  EXPECT_EQ(replies[1], Cat({Bytes{1, 0}, LE32(2), Bytes{0}, LE32(112),
                             Bytes{2}, LE32(111), Bytes{2}}));
}

TEST_F(EdgeCaseTest, UpdateContractWithoutASequenceStoresZero) {
  Device("changelog", {"add", "contacts", "--oid", "80", "--seq", "1"});
  auto replies =
      Serve({ContractPacket(12, u"fresh"), ContractPacket(11, u"fresh")});
  EXPECT_EQ(replies[0], (Bytes{1, 0}));
  // Mark 0: the entry of sequence 1 is newer.
  EXPECT_EQ(replies[1],
            Cat({Bytes{1, 0}, LE32(1), Bytes{0}, LE32(80), Bytes{2}}));
}

TEST_F(EdgeCaseTest, DeleteContractOfAnUnknownName) {
  EXPECT_EQ(Serve({ContractPacket(9, u"ghost")})[0], (Bytes{1, 0}));
}

}  // namespace
