// The message store mail handler on an emulated handheld without MAPI,
// byte for byte through the agent's entry point (and, for the data type
// byte that the session loop cannot send, called directly).
#include "agent/mail/store/ce_mail.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "device/device.h"
#include "device/msgstore/message_store.h"
#include "device/msgstore/store_mail.h"
#include "device/objstore/object_store.h"
#include "protocol/wire.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::FramePacket;
using testing_support::InProcessHandheld;
using testing_support::LE16;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::SplitFrames;

constexpr std::uint8_t kMail = 4;

device::InitOptions OlderHandheld(const std::string& zone = "UTC") {
  device::InitOptions options;
  options.os = "3.0.9348";
  options.timeZone = zone;
  return options;
}

std::uint64_t FileTimeOf(WORD year, WORD month, WORD day, WORD hour,
                         WORD minute, WORD second) {
  SYSTEMTIME time = {};
  time.wYear = year;
  time.wMonth = month;
  time.wDay = day;
  time.wHour = hour;
  time.wMinute = minute;
  time.wSecond = second;
  FILETIME out = {};
  EXPECT_NE(SystemTimeToFileTime(&time, &out), FALSE);
  return (std::uint64_t{out.dwHighDateTime} << 32) | out.dwLowDateTime;
}

std::u16string Decimal(std::uint32_t value) {
  std::string text = std::to_string(value);
  return std::u16string(text.begin(), text.end());
}

// A property of a reply: u32 id and a 16-byte time record.
Bytes TimeProp(std::uint32_t id, WORD year, WORD month, WORD dayOfWeek,
               WORD day, WORD hour, WORD minute, WORD second) {
  return Cat({LE32(id), LE16(year), LE16(month), LE16(dayOfWeek), LE16(day),
              LE16(hour), LE16(minute), LE16(second), LE16(0)});
}
Bytes StrProp(std::uint32_t id, std::u16string_view text) {
  return Cat({LE32(id), Counted(text)});
}
Bytes LongProp(std::uint32_t id, std::uint32_t value) {
  return Cat({LE32(id), LE32(value)});
}

Bytes CountPacket() { return PacketBuilder(6, kMail).packet(); }
Bytes GetPacket(std::uint32_t oid) {
  return PacketBuilder(7, kMail).U32(oid).packet();
}

// One conversation; the replies of the packets and the message boxes.
struct Outcome {
  std::vector<Bytes> replies;
  std::string messages;
};
Outcome Converse(InProcessHandheld& handheld,
                 const std::vector<Bytes>& packets) {
  Bytes input;
  for (const Bytes& packet : packets) input = Cat({input, FramePacket(packet)});
  input = Cat({input, FramePacket({1, kMail})});
  testing_support::ConversationOutcome outcome = handheld.Converse(input);
  Outcome out;
  out.replies = SplitFrames(outcome.output);
  EXPECT_EQ(out.replies.size(), packets.size() + 1);
  if (!out.replies.empty()) out.replies.pop_back();
  out.messages = outcome.messages;
  return out;
}

// The reply of an add or update answered with `oid`.
Bytes Written(std::uint32_t oid, std::uint32_t id) {
  return Cat({Bytes{1, 0}, LE32(oid), LE32(id), Bytes(10, 0)});
}

device::StoreMailMessage Sample() {
  device::StoreMailMessage message;
  message.folder = "inbox";
  message.from = u"ann@example.org";
  message.to = u"bob@example.org";
  message.subject = u"Hello";
  message.body = u"Body text";
  message.time = FileTimeOf(2024, 5, 6, 7, 8, 9);  // a Monday
  return message;
}

CEOID AddMessage(InProcessHandheld& handheld,
                 const device::StoreMailMessage& message) {
  auto added = handheld.device().storeMail().Add(message);
  EXPECT_TRUE(added.ok()) << added.status().message();
  return added.ok() ? *added : 0;
}

// A counted attachment list of `count` attachments "fN.txt" at "\tmp\fN.txt"
// that claims `claimed`.
std::u16string WrittenList(int claimed, int count) {
  std::string text = std::to_string(claimed) + ";";
  for (int i = 1; i <= count; ++i) {
    std::string name = "f" + std::to_string(i) + ".txt";
    std::string path = "\\tmp\\" + name;
    text += std::to_string(name.size());
    text += ";";
    text += name;
    text += std::to_string(path.size());
    text += ";";
    text += path;
  }
  return std::u16string(text.begin(), text.end());
}

std::u16string EncodedList(int count) {
  std::string text;
  for (int i = 1; i <= count; ++i) {
    std::string name = "f" + std::to_string(i) + ".txt";
    text += name;
    text += "\n\\tmp\\";
    text += name;
    text += "\n";
  }
  return std::u16string(text.begin(), text.end());
}

// An add of a message from the desktop with the given attachment list.
Bytes AddWithAttachments(const std::u16string& list) {
  return PacketBuilder(2, kMail)
      .U32(7)
      .U32(3)
      .U32(100)
      .U32(0xFE)
      .U32(5)
      .Str(u"Files")
      .U32(7)
      .Str(u"See attached")
      .U32(8)
      .Str(list)
      .packet();
}

TEST(StoreMailTest, CountWithAnotherDataTypeByteRepliesFailure) {
  auto device = device::Device::InMemory(OlderHandheld());
  device::ScopedServices services(device->services());
  std::vector<BYTE> reply(protocol::kReplyBufferSize, 0xBD);
  BYTE request[] = {5};
  CCEMail handler;
  handler.reply = reply.data();
  handler.request = RequestPtr(request, request + sizeof(request));
  EXPECT_EQ(handler.GetRecordCount(), 0);
  EXPECT_EQ(Bytes(reply.begin(), reply.begin() + handler.replyLength),
            (Bytes{0, 3, 0, 0, 0, 0}));
  EXPECT_EQ(reply[handler.replyLength], 0xBD);
}

TEST(StoreMailTest, CountIsOneShort) {
  InProcessHandheld handheld(OlderHandheld());
  // No "\PMAILDB" yet.
  EXPECT_EQ(Converse(handheld, {CountPacket()}).replies[0],
            Cat({Bytes{1, 0}, LE32(0)}));
  // An empty one.
  handheld.device().messageStore().Database();
  EXPECT_EQ(Converse(handheld, {CountPacket()}).replies[0],
            Cat({Bytes{1, 0}, LE32(0)}));
  // One message.
  AddMessage(handheld, Sample());
  EXPECT_EQ(Converse(handheld, {CountPacket()}).replies[0],
            Cat({Bytes{1, 0}, LE32(0)}));
  AddMessage(handheld, Sample());
  AddMessage(handheld, Sample());
  EXPECT_EQ(Converse(handheld, {CountPacket()}).replies[0],
            Cat({Bytes{1, 0}, LE32(2)}));
}

TEST(StoreMailTest, ReadsAMessageWhole) {
  InProcessHandheld handheld(OlderHandheld());
  device::StoreMailMessage message = Sample();
  message.cc = u"cy@example.org";
  message.read = true;
  message.attachments.push_back({u"a.txt", u"", {'h', 'i'}});
  CEOID oid = AddMessage(handheld, message);
  Outcome outcome = Converse(handheld, {GetPacket(oid)});
  std::u16string list =
      u"a.txt\n\\Mail Attachments\\" + Decimal(oid) + u"-1.att\n";
  EXPECT_EQ(outcome.replies[0],
            Cat({Bytes{1, 0}, LE32(oid), Bytes{10}, LongProp(14, 0),
                 StrProp(1, u"ann@example.org"), StrProp(2, u"bob@example.org"),
                 StrProp(3, u"cy@example.org"), StrProp(5, u"Hello"),
                 StrProp(7, u"Body text"), TimeProp(6, 2024, 5, 1, 6, 7, 8, 9),
                 LongProp(10, 0), LongProp(11, 0x100FE), StrProp(8, list)}));
  EXPECT_EQ(outcome.messages, "");
}

TEST(StoreMailTest, FurtherPropertiesAreConvertedToLocalTime) {
  InProcessHandheld handheld(OlderHandheld("Europe/Berlin"));
  device::StoreMailMessage message = Sample();
  device::RecordValue text;
  text.id = 0x0066001F;
  text.text = u"pop.example.org";
  device::RecordValue time;
  time.id = 0x00600040;
  time.number =
      static_cast<std::int64_t>(FileTimeOf(2024, 7, 1, 10, 0, 0));  // UTC
  device::RecordValue other;
  other.id = 0x00990013;
  other.number = 5;
  message.further = {text, time, other};
  CEOID oid = AddMessage(handheld, message);
  Outcome outcome = Converse(handheld, {GetPacket(oid)});
  EXPECT_EQ(
      outcome.replies[0],
      Cat({Bytes{1, 0}, LE32(oid), Bytes{11}, StrProp(15, u"pop.example.org"),
           TimeProp(16, 2024, 7, 1, 1, 12, 0, 0), LongProp(14, 1),
           StrProp(1, u"ann@example.org"), StrProp(2, u"bob@example.org"),
           StrProp(5, u"Hello"), StrProp(7, u"Body text"),
           TimeProp(6, 2024, 5, 1, 6, 7, 8, 9), LongProp(10, 0),
           LongProp(11, 0xFE), StrProp(8, u"")}));
}

TEST(StoreMailTest, UnknownMessageGivesAnEmptyRecord) {
  InProcessHandheld handheld(OlderHandheld());
  AddMessage(handheld, Sample());
  EXPECT_EQ(Converse(handheld, {GetPacket(0x7777)}).replies[0],
            Cat({Bytes{1, 0}, LE32(0x7777), Bytes{0}}));
}

TEST(StoreMailTest, AddWithIdentifierZeroReturnsTheNewIdentifier) {
  InProcessHandheld handheld(OlderHandheld("Europe/Berlin"));
  Bytes packet = PacketBuilder(2, kMail)
                     .U32(42)  // the desktop's id, echoed
                     .U32(6)
                     .U32(64)
                     .U32(0xFC)
                     .U32(1)
                     .Str(u"me@example.org")
                     .U32(2)
                     .Str(u"you@example.org")
                     .U32(5)
                     .Str(u"Sent one")
                     .U32(6)
                     .Time(2024, 5, 1, 6, 9, 8, 9)  // local summer time
                     .U32(7)
                     .Str(u"Text")
                     .U32(11)
                     .packet();
  Outcome outcome = Converse(handheld, {packet});
  auto listed = handheld.device().storeMail().List();
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_NE(listed[0].oid, 0U);
  EXPECT_EQ(outcome.replies[0], Written(listed[0].oid, 42));
  EXPECT_EQ(listed[0].folder, "sent");
  EXPECT_EQ(listed[0].from, u"me@example.org");
  EXPECT_EQ(listed[0].to, u"you@example.org");
  EXPECT_EQ(listed[0].subject, u"Sent one");
  EXPECT_EQ(listed[0].body, u"Text");
  EXPECT_EQ(listed[0].time, FileTimeOf(2024, 5, 6, 7, 8, 9));
  EXPECT_EQ(outcome.messages, "");
  // The message store's service name is set on every write.
  auto stored = handheld.device().messageStore().Read(listed[0].oid);
  ASSERT_TRUE(stored.has_value());
  EXPECT_EQ(stored->service, u"Mail");
}

TEST(StoreMailTest, UpdateKeepsTheIdentifier) {
  InProcessHandheld handheld(OlderHandheld());
  CEOID oid = AddMessage(handheld, Sample());
  Bytes packet = PacketBuilder(3, kMail)
                     .U32(oid)
                     .U32(2)
                     .U32(0)
                     .U32(0x080000FE)
                     .U32(5)
                     .Str(u"Changed")
                     .U32(7)
                     .Str(u"New body")
                     .packet();
  Outcome outcome = Converse(handheld, {packet});
  EXPECT_EQ(outcome.replies[0], Written(oid, oid));
  auto listed = handheld.device().storeMail().List();
  ASSERT_EQ(listed.size(), 1U);
  EXPECT_EQ(listed[0].oid, oid);
  EXPECT_EQ(listed[0].subject, u"Changed");
  EXPECT_EQ(listed[0].from, u"ann@example.org");
  EXPECT_EQ(listed[0].body, u"New body");
}

TEST(StoreMailTest, AttachmentListsOfNoneOneAndAHundred) {
  InProcessHandheld handheld(OlderHandheld());
  struct Case {
    int claimed;
    int sent;
    int kept;
  };
  for (const Case& c : {Case{0, 0, 0}, Case{1, 1, 1}, Case{100, 100, 64}}) {
    Outcome outcome = Converse(
        handheld, {AddWithAttachments(WrittenList(c.claimed, c.sent))});
    ASSERT_EQ(outcome.replies[0].size(), 20U);
    std::uint32_t oid = protocol::GetU32(outcome.replies[0].data() + 2);
    EXPECT_EQ(outcome.replies[0], Written(oid, 7));
    auto stored = handheld.device().messageStore().Read(oid);
    ASSERT_TRUE(stored.has_value());
    ASSERT_EQ(stored->attachments.size(), static_cast<std::size_t>(c.kept))
        << c.claimed;
    if (c.kept > 0) {
      EXPECT_EQ(stored->attachments.back().first,
                u"f" + Decimal(static_cast<std::uint32_t>(c.kept)) + u".txt")
          << c.claimed;
    }
    Outcome read = Converse(handheld, {GetPacket(oid)});
    EXPECT_EQ(read.replies[0],
              Cat({Bytes{1, 0}, LE32(oid), Bytes{7}, LongProp(14, 0),
                   StrProp(5, u"Files"), StrProp(7, u"See attached"),
                   TimeProp(6, 1601, 1, 1, 1, 0, 0, 0), LongProp(10, 0),
                   LongProp(11, 0xFE), StrProp(8, EncodedList(c.kept))}))
        << c.claimed;
  }
}

TEST(StoreMailTest, ACutRecordIsCaughtByTheGuard) {
  InProcessHandheld handheld(OlderHandheld());
  // Three properties claimed, the packet ends inside the second string.
  Bytes packet = PacketBuilder(2, kMail)
                     .U32(9)
                     .U32(3)
                     .U32(0)
                     .U32(0xFE)
                     .U32(5)
                     .Str(u"Cut")
                     .U32(7)
                     .U32(200)
                     .packet();
  Outcome outcome = Converse(handheld, {packet});
  EXPECT_EQ(outcome.replies[0], Written(0, 9));
  EXPECT_EQ(outcome.messages, "messagebox: ERROR: Exception line 9\n");
  EXPECT_TRUE(handheld.device().storeMail().List().empty());
}

TEST(StoreMailTest, DeletesOneAndAll) {
  InProcessHandheld handheld(OlderHandheld());
  device::StoreMailMessage withFile = Sample();
  withFile.attachments.push_back({u"x.bin", u"", {1, 2, 3}});
  CEOID first = AddMessage(handheld, withFile);
  CEOID second = AddMessage(handheld, Sample());
  CEOID third = AddMessage(handheld, Sample());
  Outcome outcome =
      Converse(handheld, {PacketBuilder(4, kMail).U32(first).packet()});
  EXPECT_EQ(outcome.replies[0], (Bytes{1, 0}));
  EXPECT_FALSE(handheld.device().messageStore().Read(first).has_value());
  EXPECT_TRUE(handheld.device().messageStore().Read(second).has_value());
  // Command 17 answers the identifiers it deleted.
  outcome = Converse(handheld,
                     {PacketBuilder(17, kMail).U32(1).U32(second).packet()});
  EXPECT_EQ(outcome.replies[0], LE32(second));
  EXPECT_FALSE(handheld.device().messageStore().Read(second).has_value());
  outcome = Converse(handheld, {PacketBuilder(5, kMail).packet()});
  EXPECT_EQ(outcome.replies[0], (Bytes{1, 0}));
  EXPECT_FALSE(handheld.device().messageStore().Read(third).has_value());
  EXPECT_TRUE(handheld.device().storeMail().List().empty());
}

TEST(StoreMailTest, StoreThatDoesNotOpen) {
  InProcessHandheld handheld(OlderHandheld());
  CEOID oid = AddMessage(handheld, Sample());
  ASSERT_TRUE(handheld.device().faults().Set("msgstore-open-fails", "").ok());
  Outcome outcome =
      Converse(handheld, {PacketBuilder(4, kMail).U32(oid).packet(),
                          PacketBuilder(5, kMail).packet(), GetPacket(oid),
                          CountPacket()});
  EXPECT_EQ(outcome.replies[0], (Bytes{0, 0}));
  EXPECT_EQ(outcome.replies[1], (Bytes{0, 0}));
  EXPECT_EQ(outcome.replies[2], Cat({Bytes{1, 0}, LE32(oid), Bytes{0}}));
  EXPECT_EQ(outcome.replies[3], Cat({Bytes{1, 0}, LE32(0)}));
  EXPECT_EQ(outcome.messages,
            "messagebox: Mail: Unable to Open Mail\n"
            "messagebox: Mail: Unable to Open Mail\n"
            "messagebox: Mail: Unable to Open Mail\n");
  EXPECT_TRUE(handheld.device().messageStore().Read(oid).has_value());
}

TEST(StoreMailTest, HeapAndWriteFailures) {
  InProcessHandheld handheld(OlderHandheld());
  ASSERT_TRUE(handheld.device().faults().Set("heap-create-fails", "").ok());
  Outcome outcome = Converse(handheld, {AddWithAttachments(u"")});
  EXPECT_EQ(outcome.messages, "messagebox: Mail: Unable create Heap\n");
  EXPECT_EQ(outcome.replies[0],
            Cat({Bytes{0, 0}, LE32(0), LE32(7), Bytes(10, 0)}));
  ASSERT_TRUE(handheld.device().faults().Clear("heap-create-fails").ok());
  ASSERT_TRUE(handheld.device().faults().Set("msgstore-write-fails", "").ok());
  outcome = Converse(handheld, {AddWithAttachments(u"")});
  EXPECT_EQ(outcome.messages, "messagebox: Mail: Unable to Write Mail\n");
  EXPECT_EQ(outcome.replies[0], Written(0, 7));
  EXPECT_TRUE(handheld.device().storeMail().List().empty());
}

TEST(StoreMailTest, ChangedRecordsGoThroughTheFilter) {
  InProcessHandheld handheld(OlderHandheld());
  device::StoreMailMessage inbox = Sample();
  device::StoreMailMessage drafts = Sample();
  drafts.folder = "drafts";
  device::StoreMailMessage sent = Sample();
  sent.folder = "sent";
  CEOID a = AddMessage(handheld, inbox);
  AddMessage(handheld, drafts);
  CEOID c = AddMessage(handheld, inbox);
  device::MessageStore& store = handheld.device().messageStore();
  auto local = store.Read(c);
  ASSERT_TRUE(local.has_value());
  local->flags |= kMsgStoreLocalOnly;
  ASSERT_TRUE(store.Update(*local).ok());
  CEOID d = AddMessage(handheld, sent);
  CEOID e = AddMessage(handheld, inbox);
  // A message whose download is not complete: the store's own mark in its
  // record, which the change log does not see.
  device::RecordValue partial;
  partial.id = device::kMailPartialProp;
  partial.number = 1;
  handheld.device().objectStore().records().WriteRecord(store.Database(), e,
                                                        {&partial, 1}, {});
  ASSERT_TRUE(handheld.device().storeMail().Remove(a).ok());

  Outcome outcome =
      Converse(handheld, {PacketBuilder(11, kMail).Str(u"desktop").packet()});
  // Newest first: a deleted (no longer there: included), e added (partial),
  // d added (sent), c changed and added (kept local), b added (drafts), a
  // added (no longer there: included).
  EXPECT_EQ(outcome.replies[0],
            Cat({Bytes{1, 0}, LE32(3), Bytes{0}, LE32(a), Bytes{3}, LE32(d),
                 Bytes{1}, LE32(a), Bytes{1}}));
  EXPECT_EQ(outcome.messages, "");
}

}  // namespace
}  // namespace agent
