// The note codec against records built by hand.
#include "desktop/formats/note.h"

#include <gtest/gtest.h>

#include "desktop/wire/reply_reader.h"
#include "tests/support/packet_builder.h"

namespace desktop {
namespace {

using testing_support::Bytes;

void Counted(Bytes& out, std::u16string_view text) {
  const std::uint32_t bytes = static_cast<std::uint32_t>(text.size() + 1) * 2;
  for (int i = 0; i < 4; ++i) out.push_back((bytes >> (8 * i)) & 0xFF);
  for (char16_t c : text) {
    out.push_back(c & 0xFF);
    out.push_back(c >> 8);
  }
  out.push_back(0);
  out.push_back(0);
}

void U32(Bytes& out, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back((value >> (8 * i)) & 0xFF);
}

TEST(NoteTest, EncodesTitleThenText) {
  Note note;
  note.title = u"Ab";
  note.text = u"\u03A9\r\n\u0416";
  Bytes want;
  U32(want, 2);
  U32(want, 1);
  Counted(want, u"Ab");
  U32(want, 2);
  Counted(want, u"\u03A9\r\n\u0416");
  EXPECT_EQ(note.Encode(), want);
  auto back = Note::Decode(want);
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(*back, note);
}

TEST(NoteTest, ReadsTheHandheldsRecord) {
  Bytes reply = {1, 0, 0x03, 0x00, 0x01, 0x00, 2};
  U32(reply, 1);
  Counted(reply, u"Shop");
  U32(reply, 2);
  Counted(reply, u"milk\r\nbread");
  ReplyReader reader(reply);
  auto record = WireRecord::Read(reader, Note::PropertyKindOf);
  ASSERT_TRUE(record.ok()) << record.status().message();
  auto note = Note::FromWireRecord(*record);
  ASSERT_TRUE(note.ok());
  EXPECT_EQ(note->oid, 0x00010003U);
  EXPECT_EQ(note->title, u"Shop");
  EXPECT_EQ(note->TextWithNewlines(), u"milk\nbread");
  EXPECT_EQ(note->Skipped(), "");
  EXPECT_EQ(note->EncodeReply(), reply);
}

TEST(NoteTest, SaysWhatTheHandheldLeftOut) {
  Bytes headerOnly = {1, 0, 0x07, 0x00, 0x01, 0x00, 0};
  ReplyReader reader(headerOnly);
  auto record = WireRecord::Read(reader, Note::PropertyKindOf);
  ASSERT_TRUE(record.ok());
  auto note = Note::FromWireRecord(*record);
  ASSERT_TRUE(note.ok());
  EXPECT_EQ(note->Skipped(), "the title and the text");

  Bytes titleOnly = {1, 0, 0x07, 0x00, 0x01, 0x00, 1};
  U32(titleOnly, 1);
  Counted(titleOnly, u"Long");
  ReplyReader second(titleOnly);
  auto record2 = WireRecord::Read(second, Note::PropertyKindOf);
  ASSERT_TRUE(record2.ok());
  EXPECT_EQ(Note::FromWireRecord(*record2)->Skipped(), "the text");
}

TEST(NoteTest, DecodeSkipsUnknownIdsAndFailsWhenShort) {
  Bytes bytes;
  U32(bytes, 2);
  U32(bytes, 9);  // no value follows
  U32(bytes, 2);
  Counted(bytes, u"x");
  auto note = Note::Decode(bytes);
  ASSERT_TRUE(note.ok());
  EXPECT_EQ(note->text, u"x");
  EXPECT_FALSE(note->has_title);
  bytes.resize(bytes.size() - 3);
  EXPECT_FALSE(Note::Decode(bytes).ok());
}

}  // namespace
}  // namespace desktop
