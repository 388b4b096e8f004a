// Mail on a handheld without MAPI through `vorn-device serve --stdio`: whole
// conversations of the message store mail handler, replies compared byte
// for byte, with the image reopened between them.
#include "device/msgstore/store_mail.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/device.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"
#include "tests/support/program.h"

namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FramePacket;
using testing_support::LE16;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RunProgram;
using testing_support::TempDir;

constexpr std::uint8_t kMail = 4;

class StoreMailConversationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    image_ = dir_.path("old.img");
    auto init = RunProgram({"vorn-device", "init", image_, "--os", "3.0.9348",
                            "--tz", "America/New_York"});
    ASSERT_EQ(init.exitCode, 0) << init.err;
  }

  std::vector<Bytes> Serve(const std::vector<Bytes>& packets,
                           std::string* messages = nullptr) {
    Bytes input;
    for (const Bytes& packet : packets) {
      input = Cat({input, FramePacket(packet)});
    }
    input = Cat({input, FramePacket({1, kMail})});
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

  TempDir dir_;
  std::string image_;
};

Bytes StrProp(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}
Bytes LongProp(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}

TEST_F(StoreMailConversationTest, AddListReadDelete) {
  Bytes addA = PacketBuilder(2, kMail)
                   .U32(1)
                   .U32(5)
                   .U32(40)
                   .U32(0xFE)
                   .U32(1)
                   .Str(u"ann@example.org")
                   .U32(5)
                   .Str(u"Minutes")
                   .U32(6)
                   .Time(2025, 1, 5, 3, 15, 9, 30)  // local winter time
                   .U32(7)
                   .Str(u"See the file.")
                   .U32(8)
                   .Str(u"1;11;minutes.txt19;\\Temp\\minutes-1.txt")
                   .packet();
  Bytes addB = PacketBuilder(2, kMail)
                   .U32(2)
                   .U32(1)
                   .U32(8)
                   .U32(0xFE)
                   .U32(5)
                   .Str(u"Second")
                   .packet();
  std::string messages;
  auto replies = Serve({addA, addB}, &messages);
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(messages, "");
  ASSERT_EQ(replies[0].size(), 20U);
  std::uint32_t a = protocol::GetU32(replies[0].data() + 2);
  std::uint32_t b = protocol::GetU32(replies[1].data() + 2);
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(a), LE32(1), Bytes(10, 0)}));
  EXPECT_EQ(replies[1], Cat({Bytes{1, 0}, LE32(b), LE32(2), Bytes(10, 0)}));
  EXPECT_NE(a, b);

  // A second conversation sees both, in the mail log as well.
  replies = Serve({PacketBuilder(6, kMail).packet(),
                   PacketBuilder(11, kMail).Str(u"desk").packet(),
                   PacketBuilder(7, kMail).U32(a).packet(),
                   PacketBuilder(4, kMail).U32(b).packet(),
                   PacketBuilder(6, kMail).packet()});
  ASSERT_EQ(replies.size(), 5U);
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(1)}));
  // b added; a changed (its attachment), a added: newest first.
  EXPECT_EQ(replies[1], Cat({Bytes{1, 0}, LE32(3), Bytes{0}, LE32(b), Bytes{1},
                             LE32(a), Bytes{2}, LE32(a), Bytes{1}}));
  // 15:09:30 in New York in January is 20:09:30 UTC, kept as such and sent
  // back without conversion.
  EXPECT_EQ(replies[2],
            Cat({Bytes{1, 0}, LE32(a), Bytes{8}, LongProp(14, 0),
                 StrProp(1, u"ann@example.org"), StrProp(5, u"Minutes"),
                 StrProp(7, u"See the file."), LE32(6), LE16(2025), LE16(1),
                 LE16(5), LE16(3), LE16(20), LE16(9), LE16(30), LE16(0),
                 LongProp(10, 0), LongProp(11, 0xFE),
                 StrProp(8, u"minutes.txt\n\\Temp\\minutes-1.txt\n")}));
  EXPECT_EQ(replies[3], (Bytes{1, 0}));
  EXPECT_EQ(replies[4], Cat({Bytes{1, 0}, LE32(0)}));

  auto device = device::Device::Open(image_);
  ASSERT_TRUE(device.ok());
  auto listed = (*device)->storeMail().List();
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_EQ(listed[0].oid, a);
  ASSERT_EQ(listed[0].attachments.size(), 1U);
  EXPECT_EQ(listed[0].attachments[0].name, u"minutes.txt");
  EXPECT_EQ(listed[0].attachments[0].devicePath, u"\\Temp\\minutes-1.txt");
}

TEST_F(StoreMailConversationTest, StoreThatDoesNotOpen) {
  auto set = RunProgram(
      {"vorn-device", "fault", image_, "set", "msgstore-open-fails"});
  ASSERT_EQ(set.exitCode, 0) << set.err;
  std::string messages;
  auto replies = Serve({PacketBuilder(5, kMail).packet()}, &messages);
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0], (Bytes{0, 0}));
  EXPECT_EQ(messages, "messagebox: Mail: Unable to Open Mail\n");
}

}  // namespace
