// The mail record codec against records built by hand.
#include "desktop/formats/mail_record.h"

#include <gtest/gtest.h>

#include "desktop/wire/reply_reader.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE16;
using testing_support::LE32;

Bytes Time(std::uint16_t year, std::uint16_t month, std::uint16_t dow,
           std::uint16_t day, std::uint16_t hour, std::uint16_t minute,
           std::uint16_t second) {
  return Cat({LE16(year), LE16(month), LE16(dow), LE16(day), LE16(hour),
              LE16(minute), LE16(second), LE16(0)});
}

// A clock two hours ahead of UTC, without daylight saving.
MailClock PlusTwo() {
  return MailClock(
      [](const TimeRecord& t) {
        TimeRecord u = t;
        u.hour = static_cast<std::uint16_t>(u.hour - 2);
        return u;
      },
      [](const TimeRecord& t) {
        TimeRecord u = t;
        u.hour = static_cast<std::uint16_t>(u.hour + 2);
        return u;
      });
}

Result<MailMessage> ReadReply(const Bytes& reply, MailStore store,
                              const MailClock& clock) {
  ReplyReader reader(reply);
  auto record = WireRecord::Read(reader, MailRecord::PropertyKindOf);
  if (!record.ok()) return record.status();
  if (!reader.AtEnd()) return Status::Error("bytes left over");
  return MailRecord::FromWireRecord(*record, store, clock);
}

// Every property the messaging store sends, in its order 6, 5, 11, 1, 16,
// 17, 15, 14, 7, 2, 3, 4, 8.
Bytes FullMapiReply(std::u16string_view attachment_list) {
  Bytes props = Cat({LE32(6),  Time(2026, 11, 1, 23, 16, 5, 9),
                     LE32(5),  Counted(u"Gr\u00FC\u00DFe \u263A"),
                     LE32(11), LE32(254 | 0x100000),
                     LE32(1),  Counted(u"ann@example.org"),
                     LE32(16), Time(2026, 11, 1, 23, 10, 0, 0),
                     LE32(17), Time(2026, 11, 1, 23, 11, 0, 0),
                     LE32(15), Counted(u"room 4"),
                     LE32(14), LE32(1),
                     LE32(7),  Counted(u"line one\r\nline two"),
                     LE32(2),  Counted(u"bob@example.org;cy@example.org"),
                     LE32(3),  Counted(u"dee@example.org"),
                     LE32(4),  Counted(u"eve@example.org")});
  std::uint8_t count = 13;
  if (!attachment_list.empty()) {
    props = Cat({props, LE32(8), Counted(attachment_list)});
  } else {
    --count;
  }
  return Cat({{1, 0}, LE32(0x00C0FFEE), {count}, props});
}

TEST(MailRecordTest, ReadsEveryFieldOfTheMessagingStore) {
  auto message = ReadReply(
      FullMapiReply(u"\\VRN1.tmp\nnotes.txt\n\\VRN2.tmp\n\u00E9t\u00E9.pdf\n"
                    u"\\VRN3.tmp\nempty\n"),
      MailStore::kMapi, PlusTwo());
  ASSERT_TRUE(message.ok()) << message.status().message();
  EXPECT_EQ(message->key, 0x00C0FFEEU);
  EXPECT_EQ(message->folder, MailFolder::kInbox);
  EXPECT_TRUE(message->read);
  EXPECT_EQ(message->from, u"ann@example.org");
  EXPECT_EQ(message->to, u"bob@example.org;cy@example.org");
  EXPECT_EQ(message->cc, u"dee@example.org");
  EXPECT_EQ(message->bcc, u"eve@example.org");
  EXPECT_EQ(message->subject, u"Gr\u00FC\u00DFe \u263A");
  EXPECT_EQ(message->body, u"line one\r\nline two");
  ASSERT_TRUE(message->time.has_value());
  EXPECT_EQ(message->time->ToIso(), "2026-11-23T14:05:09");  // local 16:05
  ASSERT_EQ(message->attachments.size(), 3U);
  EXPECT_EQ(message->attachments[0].device_file, u"\\VRN1.tmp");
  EXPECT_EQ(message->attachments[0].name, u"notes.txt");
  EXPECT_EQ(message->attachments[1].device_file, u"\\VRN2.tmp");
  EXPECT_EQ(message->attachments[1].name, u"\u00E9t\u00E9.pdf");
  EXPECT_EQ(message->attachments[2].name, u"empty");
  for (const MailAttachment& a : message->attachments) {
    EXPECT_TRUE(a.data.empty());
  }
}

TEST(MailRecordTest, ReadsOneAttachmentAndNone) {
  auto one = ReadReply(FullMapiReply(u"\\VRN7.tmp\na.bin\n"), MailStore::kMapi,
                       MailClock());
  ASSERT_TRUE(one.ok()) << one.status().message();
  ASSERT_EQ(one->attachments.size(), 1U);
  EXPECT_EQ(one->attachments[0].device_file, u"\\VRN7.tmp");
  EXPECT_EQ(one->time->ToIso(), "2026-11-23T16:05:09");
  auto none = ReadReply(FullMapiReply(u""), MailStore::kMapi, MailClock());
  ASSERT_TRUE(none.ok()) << none.status().message();
  EXPECT_TRUE(none->attachments.empty());
}

TEST(MailRecordTest, FolderWords) {
  EXPECT_EQ(MailFolderWord(MailFolder::kDrafts, false), 0x400000U);
  EXPECT_EQ(MailFolderWord(MailFolder::kInbox, true), 0x1000FEU);
  EXPECT_EQ(MailFolderWord(MailFolder::kSent, false), 252U);
  EXPECT_EQ(MailFolderWord(MailFolder::kOutbox, true), 0x1000FDU);
  EXPECT_EQ(MailFolderOfWord(0x400000), MailFolder::kDrafts);
  EXPECT_EQ(MailFolderOfWord(0x1000FC), MailFolder::kSent);
  EXPECT_EQ(MailFolderOfWord(0), MailFolder::kOther);
  EXPECT_FALSE(MailReadOfWord(0x400000));
  EXPECT_TRUE(MailReadOfWord(0x1000FD));
}

TEST(MailRecordTest, ReadsTheOlderStoresRecordWithItsStoredTime) {
  Bytes reply = Cat({{1, 0},
                     LE32(77),
                     {10},
                     LE32(14),
                     LE32(0),
                     LE32(1),
                     Counted(u"x@y.z"),
                     LE32(5),
                     Counted(u"Hi"),
                     LE32(13),
                     Counted(u"<1@y.z>"),
                     LE32(7),
                     Counted(u"text"),
                     LE32(6),
                     Time(2025, 1, 5, 3, 8, 0, 0),
                     LE32(10),
                     LE32(42),
                     LE32(11),
                     LE32(0xFB | 0x10000),
                     LE32(8),
                     Counted(u"b.txt\n\\a.dat\n"),
                     LE32(9),
                     Time(2025, 1, 5, 3, 9, 0, 0)});
  auto message = ReadReply(reply, MailStore::kMessageStore, PlusTwo());
  ASSERT_TRUE(message.ok()) << message.status().message();
  EXPECT_EQ(message->key, 77U);
  EXPECT_EQ(message->from, u"x@y.z");
  EXPECT_EQ(message->subject, u"Hi");
  EXPECT_EQ(message->message_id, u"<1@y.z>");
  EXPECT_EQ(message->body, u"text");
  EXPECT_EQ(message->time->ToIso(), "2025-01-03T08:00:00");  // as stored
  EXPECT_EQ(message->folder, MailFolder::kDrafts);
  EXPECT_TRUE(message->read);
  ASSERT_EQ(message->attachments.size(), 1U);
  EXPECT_EQ(message->attachments[0].device_file, u"\\a.dat");
  EXPECT_EQ(message->attachments[0].name, u"b.txt");
}

TEST(MailRecordTest, RejectsBrokenAttachmentLists) {
  EXPECT_FALSE(
      MailRecord::ParseReadAttachmentList(u"\\a\nb", MailStore::kMapi).ok());
  EXPECT_FALSE(
      MailRecord::ParseReadAttachmentList(u"\\a\n", MailStore::kMapi).ok());
  EXPECT_FALSE(
      MailRecord::ParseWrittenAttachmentList(u"2 3 abc1 x", MailStore::kMapi)
          .ok());
  EXPECT_FALSE(
      MailRecord::ParseWrittenAttachmentList(u"1 9 abc", MailStore::kMapi)
          .ok());
  EXPECT_FALSE(
      MailRecord::ParseWrittenAttachmentList(u"x", MailStore::kMessageStore)
          .ok());
}

TEST(MailRecordTest, RejectsAValueOfTheWrongKind) {
  WireRecord record;
  record.oid = 5;
  record.properties.push_back({MailRecord::kSubject, std::uint32_t{3}});
  EXPECT_FALSE(
      MailRecord::FromWireRecord(record, MailStore::kMapi, MailClock()).ok());
}

TEST(MailRecordTest, WritesEveryField) {
  MailMessage message;
  message.folder = MailFolder::kOutbox;
  message.read = true;
  message.from = u"me@example.org";
  message.to = u"a@example.org;b@example.org";
  message.cc = u"c@example.org";
  message.bcc = u"d@example.org";
  message.subject = u"\u00DCber";
  message.body = u"Hello\r\nthere";
  message.message_id = u"<m1@example.org>";
  TimeRecord utc = TimeRecord::FromDate(2026, 3, 4);
  utc.hour = 9;
  utc.minute = 30;
  message.time = utc;
  message.attachments = {{u"one.txt", {}, u"\\vorn-mail-1.tmp"},
                         {u"zwei.bin", {}, u"\\vorn-mail-2.tmp"},
                         {u"", {}, u"\\vorn-mail-3.tmp"}};
  const std::u16string list =
      u"3 16 \\vorn-mail-1.tmp7 one.txt16 \\vorn-mail-2.tmp8 zwei.bin"
      u"16 \\vorn-mail-3.tmp0 ";
  Bytes props =
      Cat({LE32(1), Counted(message.from), LE32(2), Counted(message.to),
           LE32(3), Counted(message.cc), LE32(4), Counted(message.bcc), LE32(5),
           Counted(message.subject), LE32(6), Time(2026, 3, 3, 4, 11, 30, 0),
           LE32(7), Counted(message.body), LE32(8), Counted(list), LE32(13),
           Counted(message.message_id)});
  Bytes want = Cat({LE32(9), LE32(static_cast<std::uint32_t>(props.size())),
                    LE32(0x1000FD), props});
  Bytes got = MailRecord::Encode(message, MailStore::kMapi, PlusTwo());
  EXPECT_EQ(testing_support::Hex(got), testing_support::Hex(want));
  auto back = MailRecord::Decode(got, MailStore::kMapi, PlusTwo());
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(*back, message);
}

TEST(MailRecordTest, WritesADraftWithoutAttachments) {
  MailMessage message;
  message.folder = MailFolder::kDrafts;
  message.to = u"a@b.c";
  Bytes props = Cat({LE32(2), Counted(u"a@b.c"), LE32(7), Counted(u"")});
  Bytes want = Cat({LE32(2), LE32(static_cast<std::uint32_t>(props.size())),
                    LE32(0x400000), props});
  EXPECT_EQ(MailRecord::Encode(message, MailStore::kMapi, MailClock()), want);
}

TEST(MailRecordTest, DecodeSkipsIdsThatCarryNoValue) {
  Bytes record = Cat({LE32(3), LE32(0), LE32(254), LE32(11), LE32(12), LE32(5),
                      Counted(u"S")});
  auto message = MailRecord::Decode(record, MailStore::kMapi, MailClock());
  ASSERT_TRUE(message.ok()) << message.status().message();
  EXPECT_EQ(message->subject, u"S");
  EXPECT_EQ(message->folder, MailFolder::kInbox);
  EXPECT_FALSE(MailRecord::Decode(Cat({LE32(1), LE32(0), LE32(0), LE32(5)}),
                                  MailStore::kMapi, MailClock())
                   .ok());
}

TEST(MailRecordTest, TheOlderStoresWordsAndAttachmentOrder) {
  EXPECT_EQ(MailRecord::FolderWord(MailStore::kMessageStore, MailFolder::kInbox,
                                   true),
            0x100FEU);
  EXPECT_EQ(MailRecord::FolderWord(MailStore::kMessageStore,
                                   MailFolder::kOutbox, false),
            0xFDU);
  EXPECT_EQ(MailRecord::FolderOfWord(MailStore::kMessageStore, 0xFC),
            MailFolder::kSent);
  EXPECT_EQ(MailRecord::FolderOfWord(MailStore::kMessageStore, 0xFA),
            MailFolder::kOther);
  EXPECT_FALSE(MailRecord::ReadOfWord(MailStore::kMessageStore, 0x100000));
  MailMessage message;
  message.folder = MailFolder::kOutbox;
  message.subject = u"S";
  message.attachments = {{u"a.txt", {}, u"\\f1"}, {u"b", {}, u"\\f2"}};
  const std::u16string list = u"2 5 a.txt3 \\f11 b3 \\f2";
  Bytes props = Cat(
      {LE32(5), Counted(u"S"), LE32(7), Counted(u""), LE32(8), Counted(list)});
  Bytes want = Cat({LE32(3), LE32(static_cast<std::uint32_t>(props.size())),
                    LE32(0xFD), props});
  Bytes got =
      MailRecord::Encode(message, MailStore::kMessageStore, MailClock());
  EXPECT_EQ(testing_support::Hex(got), testing_support::Hex(want));
  auto back = MailRecord::Decode(got, MailStore::kMessageStore, MailClock());
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(*back, message);
  for (std::size_t count : {0, 1, 3}) {
    std::vector<MailAttachment> files(count, {u"n", {}, u"\\d"});
    std::u16string text;
    for (std::size_t i = 0; i < count; ++i) text += u"n\n\\d\n";
    auto parsed =
        MailRecord::ParseReadAttachmentList(text, MailStore::kMessageStore);
    ASSERT_TRUE(parsed.ok());
    EXPECT_EQ(*parsed, files);
  }
}

TEST(MailRecordTest, SplitsAddressLists) {
  EXPECT_EQ(SplitMailAddresses(u" a@b ; c@d,e@f;;"),
            (std::vector<std::u16string>{u"a@b", u"c@d", u"e@f"}));
  EXPECT_TRUE(SplitMailAddresses(u"").empty());
}

TEST(MailRecordTest, ClockForAZone) {
  auto zone = IcalZone::Named("Europe/Berlin");
  ASSERT_TRUE(zone.ok());
  MailClock clock = MailClock::ForZone(*zone);
  TimeRecord summer = TimeRecord::FromDate(2026, 7, 1);
  summer.hour = 12;
  EXPECT_EQ(clock.ToUtc(summer).ToIso(), "2026-07-01T10:00:00");
  TimeRecord winter = TimeRecord::FromDate(2026, 1, 1);
  winter.hour = 0;
  winter.minute = 30;
  EXPECT_EQ(clock.ToUtc(winter).ToIso(), "2025-12-31T23:30:00");
  EXPECT_EQ(clock.ToLocal(clock.ToUtc(winter)), winter);
}

}  // namespace
}  // namespace desktop
