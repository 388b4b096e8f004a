// The contact handler on the emulated handheld: records read back field by
// field, the file-as rule and long notes.
#include "agent/pim/ce_contact.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "device/com/com.h"
#include "device/pim/outlook_app.h"
#include "protocol/contact_fields.h"
#include "protocol/wire.h"
#include "tests/support/device_inspector.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::DeviceInspector;
using testing_support::InProcessHandheld;
using testing_support::LE16;
using testing_support::LE32;
using testing_support::PacketBuilder;
using testing_support::RecordBuilder;

// Adds one contact and returns its OID (0 when the save failed).
std::uint32_t Add(InProcessHandheld& handheld, const Bytes& record) {
  auto frames =
      handheld.Exchange({PacketBuilder(2, 1).U32(1).Raw(record).packet()});
  EXPECT_EQ(frames[0].size(), 20U);
  return frames[0][0] == 1 ? protocol::GetU32(frames[0].data() + 2) : 0;
}

std::u16string FileAs(InProcessHandheld& handheld, std::uint32_t oid) {
  DeviceInspector inspector(handheld.device());
  return inspector.ContactString(oid, "FileAs").value_or(u"<missing>");
}

Bytes TimeRecord(std::uint16_t year, std::uint16_t month, std::uint16_t dow,
                 std::uint16_t day, std::uint16_t hour = 0,
                 std::uint16_t minute = 0, std::uint16_t second = 0) {
  return Cat({LE16(year), LE16(month), LE16(dow), LE16(day), LE16(hour),
              LE16(minute), LE16(second), LE16(0)});
}

TEST(ContactTest, FirstAndLastNameAreFiledLastCommaFirst) {
  InProcessHandheld handheld;
  std::uint32_t oid = Add(handheld, RecordBuilder()
                                        .Str(26, u"Something Else")
                                        .Str(31, u"John")
                                        .Str(33, u"Smith")
                                        .Build());
  EXPECT_EQ(FileAs(handheld, oid), u"Smith, John");
}

TEST(ContactTest, LastNameAloneKeepsItsFileAs) {
  InProcessHandheld handheld;
  std::uint32_t carried = Add(
      handheld, RecordBuilder().Str(33, u"Smith").Str(26, u"Smithy").Build());
  EXPECT_EQ(FileAs(handheld, carried), u"Smithy");
  std::uint32_t none = Add(handheld, RecordBuilder().Str(33, u"Smith").Build());
  EXPECT_EQ(FileAs(handheld, none), u"");
}

TEST(ContactTest, NoNameAndNoFileAsIsFiledAsAComma) {
  InProcessHandheld handheld;
  std::uint32_t oid = Add(handheld, RecordBuilder().Str(32, u"Middle").Build());
  EXPECT_EQ(FileAs(handheld, oid), u",");
  std::uint32_t empty = Add(handheld, RecordBuilder().Build());
  EXPECT_EQ(FileAs(handheld, empty), u",");
}

TEST(ContactTest, CompanyAlonePreventsTheComma) {
  InProcessHandheld handheld;
  std::uint32_t oid =
      Add(handheld, RecordBuilder().Str(4, u"Orvanet Ltd").Build());
  EXPECT_EQ(FileAs(handheld, oid), u"");
}

TEST(ContactTest, NotesBelowTheLimitGoThroughTheObjectModel) {
  InProcessHandheld handheld;
  std::u16string notes(4095, u'n');
  std::uint32_t oid = Add(handheld, RecordBuilder().Str(50, notes).Build());
  DeviceInspector inspector(handheld.device());
  EXPECT_FALSE(inspector.RecordHas(oid, protocol::kLongNotesProperty));
  EXPECT_EQ(inspector.ContactString(oid, "Body"), notes);
}

TEST(ContactTest, LongNotesAreWrittenAsAWesternBlob) {
  InProcessHandheld handheld;
  std::u16string notes(4094, u'n');
  notes += u"\u00e9\u20ac";  // é and the euro sign: 0xE9 and 0x80
  std::uint32_t oid = Add(handheld, RecordBuilder().Str(50, notes).Build());
  DeviceInspector inspector(handheld.device());
  auto blob = inspector.RecordBlob(oid, protocol::kLongNotesProperty);
  ASSERT_TRUE(blob.has_value());
  ASSERT_EQ(blob->size(), 4096U);
  EXPECT_EQ((*blob)[0], 'n');
  EXPECT_EQ((*blob)[4094], 0xE9);
  EXPECT_EQ((*blob)[4095], 0x80);
  // The object model reads the notes back from that blob.
  EXPECT_EQ(inspector.ContactString(oid, "Body"), notes);
}

TEST(ContactTest, UnknownFieldIdHasNoValue) {
  InProcessHandheld handheld;
  // Field 99 is followed by what its sender meant as a value: the u32 31.
  // It is read as the next field id, so "Ann" becomes the first name.
  Bytes record = Cat({LE32(2), LE32(99), LE32(31), Counted(u"Ann")});
  std::uint32_t oid = Add(handheld, record);
  DeviceInspector inspector(handheld.device());
  EXPECT_EQ(inspector.ContactString(oid, "FirstName"), u"Ann");
}

TEST(ContactTest, RecordIsSentWholeAndWithoutFileAs) {
  InProcessHandheld handheld;
  std::uint32_t oid = Add(handheld, RecordBuilder()
                                        .Str(31, u"Ann")
                                        .Str(33, u"Lee")
                                        .Str(26, u"ignored")
                                        .Time(2, 1970, 5, 17, 13, 14, 15)
                                        .Str(6, u"ann@example.org")
                                        .Build());
  auto frames = handheld.Exchange({PacketBuilder(7, 1).U32(oid).packet()});
  std::map<std::uint32_t, Bytes> strings = {{6, Counted(u"ann@example.org")},
                                            {31, Counted(u"Ann")},
                                            {33, Counted(u"Lee")}};
  Bytes expected = Cat({Bytes{1, 0}, LE32(oid), Bytes{49}});
  // No anniversary: the object model's "no date", 4501-01-01 (Saturday).
  expected = Cat({expected, LE32(1), TimeRecord(4501, 1, 6, 1)});
  expected = Cat({expected, LE32(2), TimeRecord(1970, 5, 0, 17, 13, 14, 15)});
  for (std::uint32_t id = 3; id <= 50; ++id) {
    if (id == 26) continue;
    auto it = strings.find(id);
    expected = Cat(
        {expected, LE32(id), it != strings.end() ? it->second : Counted(u"")});
  }
  EXPECT_EQ(frames[0], expected);
}

TEST(ContactTest, EveryFieldReadsBackAfterAddUpdateAndBatch) {
  InProcessHandheld handheld;
  RecordBuilder full;
  full.Time(1, 2001, 9, 9, 0, 0, 0).Time(2, 1980, 2, 29, 0, 0, 0);
  for (std::uint32_t id = 3; id <= 50; ++id) {
    if (id == 26) continue;
    full.Str(id, u"v" +
                     std::u16string(1, static_cast<char16_t>(u'A' + id % 26)) +
                     u"\u0416\u4e2d");
  }
  std::uint32_t oid = Add(handheld, full.Build());
  auto frames =
      handheld.Exchange({PacketBuilder(7, 1).U32(oid).packet(),
                         PacketBuilder(3, 1)
                             .U32(oid)
                             .Raw(RecordBuilder().Str(31, u"Zed").Build())
                             .packet(),
                         PacketBuilder(15, 1)
                             .U32(1)
                             .U8(3)
                             .U8(1)
                             .U32(oid)
                             .Raw(RecordBuilder().Str(32, u"Quincy").Build())
                             .packet(),
                         PacketBuilder(7, 1).U32(oid).packet()});
  const Bytes& first = frames[0];
  ASSERT_GT(first.size(), 7U);
  EXPECT_EQ(first[6], 49);
  // Walk the properties and compare each field with what was sent.
  std::size_t at = 7 + 2 * 20;
  for (std::uint32_t id = 3; id <= 50; ++id) {
    if (id == 26) continue;
    ASSERT_EQ(protocol::GetU32(first.data() + at), id);
    Bytes want = Counted(
        u"v" + std::u16string(1, static_cast<char16_t>(u'A' + id % 26)) +
        u"\u0416\u4e2d");
    EXPECT_EQ(Bytes(first.begin() + static_cast<long>(at + 4),
                    first.begin() + static_cast<long>(at + 4 + want.size())),
              want)
        << "field " << id;
    at += 4 + want.size();
  }
  EXPECT_EQ(at, first.size());
  // Update and batch update change only what they carry.
  EXPECT_EQ(frames[1][0], 1);
  EXPECT_EQ(frames[2][0], 1);
  DeviceInspector inspector(handheld.device());
  EXPECT_EQ(inspector.ContactString(oid, "FirstName"), u"Zed");
  EXPECT_EQ(inspector.ContactString(oid, "MiddleName"), u"Quincy");
  EXPECT_EQ(inspector.ContactString(oid, "LastName"),
            u"vH\u0416\u4e2d");  // 33 % 26 = 7
}

TEST(ContactTest, FailedSaveLeavesTheStatusOidAlone) {
  InProcessHandheld handheld;
  ASSERT_TRUE(
      handheld.device().faults().Set("contact-save", "0x80004005").ok());
  auto frames =
      handheld.Exchange({PacketBuilder(2, 1)
                             .U32(42)
                             .Raw(RecordBuilder().Str(31, u"X").Build())
                             .packet()});
  ASSERT_EQ(frames[0].size(), 20U);
  EXPECT_EQ(Bytes(frames[0].begin(), frames[0].begin() + 10),
            Cat({Bytes{0, 0}, LE32(0), LE32(42)}));
}

}  // namespace
}  // namespace agent

namespace agent {
namespace {

// Keeps the application object the agent creates, so a test can look at
// what happened to its items after the conversation.
class KeepApplication : public platform::ComWrapper {
 public:
  using ComWrapper::ComWrapper;
  ~KeepApplication() override {
    if (app != nullptr) app->Release();
  }
  HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context,
                           REFIID iid, void** object) override {
    HRESULT result =
        ComWrapper::CoCreateInstance(clsid, outer, context, iid, object);
    if (SUCCEEDED(result) && app == nullptr) {
      app =
          static_cast<device::OutlookApp*>(static_cast<IPOutlookApp*>(*object));
      app->AddRef();
    }
    return result;
  }
  device::OutlookApp* app = nullptr;
};

TEST(ContactTest, WrittenItemsAreReleasedTwice) {
  InProcessHandheld handheld;
  KeepApplication com(&handheld.device().com());
  platform::Services services = handheld.device().services();
  services.com = &com;
  Bytes record = RecordBuilder().Str(31, u"Twice").Build();
  auto outcome =
      handheld.Converse(Cat({PacketBuilder(2, 1).U32(1).Raw(record).Frame(),
                             PacketBuilder(15, 1)
                                 .U32(2)
                                 .U8(2)
                                 .U8(1)
                                 .U32(2)
                                 .Raw(record)
                                 .U8(2)
                                 .U8(1)
                                 .U32(3)
                                 .Raw(record)
                                 .Frame(),
                             testing_support::FramePacket({1, 1})}),
                        services);
  ASSERT_EQ(outcome.result, S_OK);
  ASSERT_NE(com.app, nullptr);
  // The decoder releases each item once and the base operation once more.
  EXPECT_EQ(com.app->overReleaseCount(), 3);
}

TEST(ContactTest, FiveThousandContactsArriveAcrossAsManyRepliesAsItTakes) {
  InProcessHandheld handheld;
  std::vector<Bytes> batches;
  for (int batch = 0; batch < 10; ++batch) {
    PacketBuilder packet(15, 1);
    packet.U32(500);
    for (int i = 0; i < 500; ++i) {
      int n = batch * 500 + i;
      packet.U8(2)
          .U8(1)
          .U32(static_cast<std::uint32_t>(n))
          .Raw(RecordBuilder()
                   .Str(31, u"First" + std::u16string(1, static_cast<char16_t>(
                                                             u'a' + n % 26)))
                   .Str(33, u"Contact number " + std::u16string(n % 40, u'x'))
                   .Build());
    }
    batches.push_back(packet.packet());
  }
  auto frames = handheld.Exchange(batches);
  std::vector<std::uint32_t> oids;
  for (int batch = 0; batch < 10; ++batch) {
    ASSERT_EQ(frames[batch].size(), 5000U);
    for (int i = 0; i < 500; ++i) {
      oids.push_back(protocol::GetU32(frames[batch].data() +
                                      static_cast<std::size_t>(i) * 10 + 2));
    }
  }
  std::size_t next = 0;
  int replies = 0;
  std::vector<std::uint32_t> seen;
  while (next < oids.size()) {
    PacketBuilder ask(16, 1);
    ask.U32(static_cast<std::uint32_t>(oids.size() - next));
    for (std::size_t i = next; i < oids.size(); ++i) ask.U32(oids[i]);
    auto reply = handheld.Exchange({ask.packet()})[0];
    ++replies;
    ASSERT_GE(reply.size(), 7U);
    EXPECT_EQ(reply[0], 1);
    std::uint32_t count = protocol::GetU32(reply.data() + 2);
    ASSERT_GT(count, 0U);
    ASSERT_LE(reply.size(), protocol::kReplyBufferSize);
    // Each record starts {1, 0, OID, count}; walk them by their fields.
    std::size_t at = 7;
    for (std::uint32_t r = 0; r < count; ++r) {
      ASSERT_EQ(reply[at], 1);
      seen.push_back(protocol::GetU32(reply.data() + at + 2));
      at += 7 + 2 * 20;
      for (std::uint32_t id = 3; id <= 50; ++id) {
        if (id == 26) continue;
        at += 8 + protocol::GetU32(reply.data() + at + 4);
      }
    }
    next += count;
  }
  EXPECT_EQ(seen, oids);
  EXPECT_GT(replies, 5);
}

}  // namespace
}  // namespace agent
