// MailTransfer against a scripted handheld: whole packets compared.
#include "desktop/formats/mail_transfer.h"

#include <gtest/gtest.h>

#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

Bytes FileReply(bool ok, const Bytes& data) {
  return Cat({{static_cast<std::uint8_t>(ok ? 1 : 0), 0},
              LE32(ok ? 0 : 2),
              LE32(static_cast<std::uint32_t>(data.size())),
              data});
}

Bytes ReadFilePacket(std::u16string_view path, std::uint32_t at,
                     std::uint32_t count) {
  return Cat({{19, 1}, Counted(path), LE32(0), LE32(at), LE32(count)});
}

class MailTransferTest : public ::testing::Test {
 protected:
  ScriptedStream stream_;
  HandheldClient client_{stream_};
  MailTransfer transfer_{client_, MailClock()};
};

TEST_F(MailTransferTest, FetchesAMessageAndItsAttachmentBytes) {
  stream_.AddReply(LE32(1));  // CheckOsVersion: the messaging store
  Bytes record = Cat({{1, 0},
                      LE32(9),
                      {3},
                      LE32(5),
                      Counted(u"Hi"),
                      LE32(11),
                      LE32(0x400000),
                      LE32(8),
                      Counted(u"\\VRN1.tmp\na.txt\n")});
  stream_.AddReply(Cat({{1, 0}, LE32(1), {3}, record}));
  Bytes big(protocol::kMaxFileReadPiece, 0x5A);
  stream_.AddReply(FileReply(true, big));
  stream_.AddReply(FileReply(true, {1, 2, 3}));
  const std::uint32_t keys[] = {9};
  Result<FetchedMail> fetched = transfer_.Fetch(keys);
  ASSERT_TRUE(fetched.ok()) << fetched.status().message();
  ASSERT_EQ(fetched->messages.size(), 1U);
  const MailMessage& message = fetched->messages[0];
  EXPECT_EQ(message.key, 9U);
  EXPECT_EQ(message.folder, MailFolder::kDrafts);
  EXPECT_EQ(message.subject, u"Hi");
  ASSERT_EQ(message.attachments.size(), 1U);
  EXPECT_EQ(message.attachments[0].data.size(), big.size() + 3);
  EXPECT_EQ(message.attachments[0].data.back(), 3);
  auto packets = stream_.WrittenPackets();
  ASSERT_EQ(packets.size(), 4U);
  EXPECT_EQ(packets[0], (Bytes{20, 1}));
  EXPECT_EQ(packets[1], Cat({{16, 4}, LE32(1), LE32(9)}));
  EXPECT_EQ(packets[2],
            ReadFilePacket(u"\\VRN1.tmp", 0, protocol::kMaxFileReadPiece));
  EXPECT_EQ(packets[3],
            ReadFilePacket(u"\\VRN1.tmp", protocol::kMaxFileReadPiece,
                           protocol::kMaxFileReadPiece));
}

TEST_F(MailTransferTest, FailsWhenAnAttachmentFileIsGone) {
  stream_.AddReply(LE32(0));  // the older store
  stream_.AddReply(Cat({{1, 0},
                        LE32(1),
                        {1},
                        {1, 0},
                        LE32(4),
                        {1},
                        LE32(8),
                        Counted(u"y\n\\x\n")}));
  stream_.AddReply(FileReply(false, {}));
  const std::uint32_t keys[] = {4};
  Result<FetchedMail> fetched = transfer_.Fetch(keys);
  ASSERT_FALSE(fetched.ok());
  EXPECT_NE(fetched.status().message().find("could not open \\x"),
            std::string::npos)
      << fetched.status().message();
}

TEST_F(MailTransferTest, AnUnknownKeyIsMissing) {
  stream_.AddReply(LE32(1));
  // The handheld answers an unknown key with the seven bytes it reserved,
  // as they were (here the list header's state), and counts it.
  Bytes known = Cat({{1, 0}, LE32(5), {1}, LE32(5), Counted(u"K")});
  stream_.AddReply(Cat({{1, 0}, LE32(2), {1}, {1, 0}, LE32(0), {0}, known}));
  const std::uint32_t keys[] = {99, 5};
  Result<FetchedMail> fetched = transfer_.Fetch(keys);
  ASSERT_TRUE(fetched.ok()) << fetched.status().message();
  ASSERT_EQ(fetched->messages.size(), 1U);
  EXPECT_EQ(fetched->messages[0].subject, u"K");
  EXPECT_EQ(fetched->missing, (std::vector<std::uint32_t>{99}));
}

TEST_F(MailTransferTest, AddsAMessageAfterItsAttachmentFiles) {
  stream_.AddReply(LE32(1));                 // the messaging store
  stream_.AddReply(FileReply(true, {7}));    // \vorn-mail-1.tmp exists
  stream_.AddReply(FileReply(false, {}));    // \vorn-mail-2.tmp does not
  stream_.AddReply(Cat({{1, 0}, LE32(0)}));  // written
  stream_.AddReply(Cat({{1, 0}, LE32(0x77), LE32(0)}));
  MailMessage message;
  message.folder = MailFolder::kOutbox;
  message.subject = u"S";
  message.attachments.push_back({u"a.bin", {1, 2}, u""});
  Result<WriteStatus> status = transfer_.Add(message);
  ASSERT_TRUE(status.ok()) << status.status().message();
  EXPECT_EQ(status->oid, 0x77U);
  auto packets = stream_.WrittenPackets();
  ASSERT_EQ(packets.size(), 5U);
  EXPECT_EQ(packets[0], (Bytes{20, 1}));
  EXPECT_EQ(packets[1], ReadFilePacket(u"\\vorn-mail-1.tmp", 0, 1));
  EXPECT_EQ(packets[2], ReadFilePacket(u"\\vorn-mail-2.tmp", 0, 1));
  EXPECT_EQ(
      packets[3],
      Cat({{18, 1}, Counted(u"\\vorn-mail-2.tmp"), LE32(0), LE32(2), {1, 2}}));
  message.attachments[0].device_file = u"\\vorn-mail-2.tmp";
  EXPECT_EQ(packets[4],
            Cat({{2, 4},
                 LE32(0),
                 MailRecord::Encode(message, MailStore::kMapi, MailClock())}));
}

}  // namespace
}  // namespace desktop
