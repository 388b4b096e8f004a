// Mail on handhelds with MAPI, byte for byte: reading messages (the record
// layout, recipients, the named property, attachments exported to
// temporary device files, and long lists read in many replies).
#include <string>
#include <vector>

#include "device/mapi/mail_store.h"
#include "tests/mapi_mail_fixture.h"

namespace mapi_mail_test {
namespace {

// The text of a counted string that ends `reply` at `at`, or "" when the
// bytes are no such string.
std::u16string StringAt(const Bytes& reply, std::size_t at) {
  if (reply.size() < at + 4) return u"";
  std::uint32_t n = protocol::GetU32(reply.data() + at);
  if (reply.size() != at + 4 + n || n < 2) return u"";
  std::u16string text;
  for (std::size_t i = at + 4; i + 1 < at + 4 + n - 2; i += 2) {
    text.push_back(static_cast<char16_t>(reply[i] | (reply[i + 1] << 8)));
  }
  return text;
}

std::vector<std::u16string> Lines(const std::u16string& text) {
  std::vector<std::u16string> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\n') {
      lines.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  EXPECT_EQ(start, text.size()) << "the list ends with a line feed";
  return lines;
}

class MapiMailReadTest : public MapiMailTest {};

TEST_F(MapiMailReadTest, AReadInboxMessageWithRecipientsAndBody) {
  NewMail mail;
  mail.read = true;
  mail.from = u"a@x";
  mail.to = {u"A", u"B"};
  mail.subject = u"Hi";
  mail.body = u"Text";
  mail.time = Utc(2026, 1, 2, 3, 4, 5);
  std::uint32_t key = Add(mail);
  Bytes reply = One(PacketBuilder(7, kMail).U32(key).packet());
  EXPECT_EQ(
      reply,
      Cat({RecordHeader(key, 7), LE32(6), TimeRecord(2026, 1, 5, 2, 3, 4, 5),
           PropString(5, u"Hi"), PropLong(11, 0x1000FE), PropString(1, u"a@x"),
           PropLong(14, 0), PropString(7, u"Text"), PropString(2, u"A;B")}));
}

TEST_F(MapiMailReadTest, AnUnreadDraftCarriesTheDraftsCodeOnly) {
  std::uint32_t key = AddIn(MailFolder::kDrafts);
  EXPECT_EQ(
      One(PacketBuilder(7, kMail).U32(key).packet()),
      Cat({RecordHeader(key, 2), PropLong(11, 0x400000), PropLong(14, 0)}));
}

TEST_F(MapiMailReadTest, TimesAreLocalTimeOfTheHandheld) {
  device::InitOptions options;
  options.timeZone = "Europe/Berlin";
  InProcessHandheld berlin(options);
  NewMail mail;
  mail.folder = MailFolder::kSent;
  mail.time = Utc(2026, 7, 1, 10, 0, 0);
  device::MailEditor editor(berlin.device().mapi());
  std::uint32_t key = editor.Add(mail).value();
  auto replies = berlin.Exchange({PacketBuilder(7, kMail).U32(key).packet()});
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0], Cat({RecordHeader(key, 3), LE32(6),
                             TimeRecord(2026, 7, 3, 1, 12, 0, 0),
                             PropLong(11, 252), PropLong(14, 0)}));
}

TEST_F(MapiMailReadTest, TheNamedPropertyIsCreatedOnFirstLookup) {
  std::uint32_t key = AddIn(MailFolder::kInbox);
  EXPECT_FALSE(mapi().store().NamedId(u"PR_SPLUS_WHERE", false));
  EXPECT_EQ(One(PacketBuilder(7, kMail).U32(key).packet()),
            Cat({RecordHeader(key, 2), PropLong(11, 254), PropLong(14, 0)}));
  EXPECT_EQ(mapi().store().NamedId(u"PR_SPLUS_WHERE", false),
            device::MailStore::kFirstNamedId);
}

TEST_F(MapiMailReadTest, AnUnknownKeyGivesTheCopiedHeaderOnly) {
  AddIn(MailFolder::kInbox);
  EXPECT_EQ(One(PacketBuilder(7, kMail).U32(0xBAD).packet()),
            (Bytes{0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(MapiMailReadTest, TwoAttachmentsAreExportedToTemporaryFiles) {
  NewMail mail;
  mail.attachments = {{u"first.txt", {'o', 'n', 'e'}},
                      {u"second.bin", Bytes(3000, 0x5A)}};
  std::uint32_t key = Add(mail);
  Bytes reply = One(PacketBuilder(7, kMail).U32(key).packet());
  Bytes prefix =
      Cat({RecordHeader(key, 3), PropLong(11, 254), PropLong(14, 0)});
  ASSERT_GT(reply.size(), prefix.size() + 4);
  std::u16string list = StringAt(reply, prefix.size() + 4);
  std::vector<std::u16string> lines = Lines(list);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[1], u"first.txt");
  EXPECT_EQ(lines[3], u"second.bin");
  for (const std::u16string& name : {lines[0], lines[2]}) {
    EXPECT_EQ(name.substr(0, 4), u"\\VRN");
    EXPECT_EQ(name.substr(name.size() - 4), u".tmp");
  }
  EXPECT_NE(lines[0], lines[2]);
  EXPECT_EQ(
      reply,
      Cat({prefix, PropString(8, lines[0] + u"\n" + lines[1] + u"\n" +
                                     lines[2] + u"\n" + lines[3] + u"\n")}));
  auto files = Exchange(
      {PacketBuilder(19, kMail).Str(lines[0]).U32(0).U32(0).U32(8000).packet(),
       PacketBuilder(19, kMail)
           .Str(lines[2])
           .U32(0)
           .U32(0)
           .U32(8000)
           .packet()});
  EXPECT_EQ(files[0],
            Cat({Bytes{1, 0}, LE32(0), LE32(3), Bytes{'o', 'n', 'e'}}));
  EXPECT_EQ(files[1],
            Cat({Bytes{1, 0}, LE32(0), LE32(3000), Bytes(3000, 0x5A)}));
}

TEST_F(MapiMailReadTest, FiveThousandMessagesAreListedAndReadInManyReplies) {
  std::vector<std::uint32_t> keys;
  for (int i = 0; i < 5000; ++i) {
    NewMail mail;
    mail.subject = u"Message number " + std::u16string(40, u'x');
    mail.body = std::u16string(20, u'b');
    keys.push_back(Add(mail));
  }
  Bytes list = One({13, kMail});
  EXPECT_EQ(list, ListOf(keys));
  std::size_t next = 0;
  int replies = 0;
  while (next < keys.size() && replies < 100) {
    PacketBuilder request(16, kMail);
    request.U32(static_cast<std::uint32_t>(keys.size() - next));
    for (std::size_t i = next; i < keys.size(); ++i) request.U32(keys[i]);
    Bytes reply = One(request.packet());
    ++replies;
    ASSERT_GE(reply.size(), 7U);
    EXPECT_EQ(reply[0], 1);
    std::uint32_t count = protocol::GetU32(reply.data() + 2);
    ASSERT_GT(count, 0U);
    // Each record: its header, 5 (subject), 11, 14 and 7 (body).
    Bytes expected(reply.begin(), reply.begin() + 7);
    for (std::uint32_t i = 0; i < count; ++i) {
      expected =
          Cat({expected, RecordHeader(keys[next + i], 4),
               PropString(5, u"Message number " + std::u16string(40, u'x')),
               PropLong(11, 254), PropLong(14, 0),
               PropString(7, std::u16string(20, u'b'))});
    }
    ASSERT_GE(reply.size(), expected.size());
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + expected.size()), expected);
    next += count;
  }
  EXPECT_EQ(next, keys.size());
  EXPECT_GT(replies, 1);
}

}  // namespace
}  // namespace mapi_mail_test
