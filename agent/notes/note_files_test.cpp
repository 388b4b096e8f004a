// Note file names, titles and conversion on the emulated handheld, and a
// note's whole life (write, read, rename, rewrite, delete) with the change
// reports after each step.
#include "agent/notes/note_files.h"

#include <gtest/gtest.h>

#include "device/device.h"
#include "tests/support/device_files.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::ChangeEntry;
using testing_support::DeviceFiles;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::ListHeader;
using testing_support::NotePath;
using testing_support::NoteProp;
using testing_support::PacketBuilder;

constexpr std::uint8_t kNotes = 5;
const Bytes kOk = {1, 0};

Bytes Changes() { return PacketBuilder(11, kNotes).Str(u"desk").packet(); }
Bytes Snapshot() { return PacketBuilder(12, kNotes).Str(u"desk").packet(); }
Bytes GetNote(std::uint32_t oid) {
  return PacketBuilder(7, kNotes).U32(oid).packet();
}
Bytes AddNote(const Bytes& record) {
  return PacketBuilder(2, kNotes).U32(0).Raw(record).packet();
}
Bytes Titled(std::u16string_view title, std::u16string_view text) {
  return Cat({LE32(2), NoteProp(1, title), NoteProp(2, text)});
}
Bytes Untitled(std::u16string_view text) {
  return Cat({LE32(1), NoteProp(2, text)});
}
Bytes Written(std::uint32_t oid, std::uint32_t id) {
  return Cat({Bytes{1, 0}, LE32(oid), LE32(id), Bytes(10, 0)});
}
Bytes NoteReply(std::uint32_t oid, std::u16string_view title,
                std::u16string_view text) {
  return Cat({Bytes{1, 0}, LE32(oid), Bytes{2}, NoteProp(1, title),
              NoteProp(2, text)});
}
std::u16string Decimal(std::uint32_t n) {
  std::string digits = std::to_string(n);
  return std::u16string(digits.begin(), digits.end());
}

// Runs one add as the only packet of a conversation and checks its reply
// against the file it should have made.
std::uint32_t AddExpecting(InProcessHandheld& handheld, const Bytes& record,
                           const std::u16string& fileName) {
  auto replies = handheld.Exchange({AddNote(record)}, kNotes);
  std::uint32_t oid = DeviceFiles(handheld.device()).OidOf(NotePath(fileName));
  EXPECT_NE(oid, 0U) << "no file";
  EXPECT_EQ(replies[0], Written(oid, 0));
  return oid;
}

TEST(NoteFilesTest, ForbiddenCharactersBecomeUnderscores) {
  InProcessHandheld handheld;
  std::uint32_t oid =
      AddExpecting(handheld, Titled(u"a.b?c", u"x"), u"a_b_c.pwi");
  EXPECT_EQ(handheld.Exchange({GetNote(oid)}, kNotes)[0],
            NoteReply(oid, u"a_b_c", u"x"));
  AddExpecting(handheld, Titled(u"\\/\"<>.:|?*\r\n\tz", u"y"),
               u"_____________z.pwi");
}

TEST(NoteFilesTest, UntitledNotesAreNumberedOneAfterAnother) {
  InProcessHandheld handheld;
  DWORD number = NoteCounter();
  std::uint32_t first = AddExpecting(handheld, Untitled(u"first"),
                                     u"Note" + Decimal(number) + u".pwi");
  std::uint32_t second = AddExpecting(handheld, Untitled(u"second"),
                                      u"Note" + Decimal(number + 1) + u".pwi");
  EXPECT_EQ(NoteCounter(), number + 2);
  auto replies = handheld.Exchange({GetNote(first), GetNote(second)}, kNotes);
  EXPECT_EQ(replies[0], NoteReply(first, u"Note" + Decimal(number), u"first"));
  EXPECT_EQ(replies[1],
            NoteReply(second, u"Note" + Decimal(number + 1), u"second"));
}

TEST(NoteFilesTest, TakenUntitledNameGetsTheCounterAfterNote) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  DWORD number = NoteCounter();
  files.Put(NotePath(u"Note" + Decimal(number) + u".pwi"), {});
  AddExpecting(handheld, Untitled(u"text"),
               u"Note_" + Decimal(number + 1) + u".pwi");
  EXPECT_EQ(NoteCounter(), number + 2);
}

TEST(NoteFilesTest, EveryProbeOfATakenTitleUsesUpANumber) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  DWORD number = NoteCounter();
  files.Put(NotePath(u"Shopping.pwi"), {});
  AddExpecting(handheld, Titled(u"Shopping", u"milk"),
               u"Shopping_" + Decimal(number) + u".pwi");
  EXPECT_EQ(NoteCounter(), number + 1);
  // The next free name is two numbers on: the first probe finds the file
  // put there, the second is free; both use up a number.
  files.Put(NotePath(u"Shopping_" + Decimal(number + 1) + u".pwi"), {});
  AddExpecting(handheld, Titled(u"Shopping", u"eggs"),
               u"Shopping_" + Decimal(number + 2) + u".pwi");
  EXPECT_EQ(NoteCounter(), number + 3);
}

TEST(NoteFilesTest, EmptyNoteFileGivesAnEmptyText) {
  InProcessHandheld handheld;
  std::uint32_t oid =
      DeviceFiles(handheld.device()).Put(NotePath(u"empty.pwi"), {});
  EXPECT_EQ(handheld.Exchange({GetNote(oid)}, kNotes)[0],
            Cat({Bytes{1, 0}, LE32(oid), Bytes{2}, LE32(1), LE32(12),
                 Bytes{'e', 0, 'm', 0, 'p', 0, 't', 0, 'y', 0, 0, 0}, LE32(2),
                 LE32(2), Bytes{0, 0}}));
}

TEST(NoteFilesTest, WrittenNoteIsTheInkFileOfItsParagraphs) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  AddExpecting(handheld, Titled(u"hw", u"Hello\r\nWorld"), u"hw.pwi");
  auto bytes = files.Get(NotePath(u"hw.pwi"));
  ASSERT_TRUE(bytes.has_value());
  ASSERT_EQ(bytes->size(), 572U);
  // Header, the paragraph list's count, and the two paragraphs' text.
  EXPECT_EQ(Bytes(bytes->begin(), bytes->begin() + 14),
            (Bytes{0x7B, 0x5C, 0x70, 0x77, 0x69, 0x15, 0x00, 0x00, 0x01, 0x01,
                   0x06, 0x00, 0x00, 0x00}));
  EXPECT_EQ((*bytes)[0x17E], 2);
  EXPECT_EQ(Bytes(bytes->begin() + 0x1C4, bytes->begin() + 0x1D1),
            (Bytes{0xE5, 0x02, 0x00, 0xE6, 0x0A, 0x00, 'H', 'e', 'l', 'l', 'o',
                   0xC4, 0x00}));
  EXPECT_EQ(Bytes(bytes->begin() + 0x20A, bytes->begin() + 0x20F),
            (Bytes{'W', 'o', 'r', 'l', 'd'}));
}

TEST(NoteFilesTest, TextInSeveralScriptsComesBack) {
  InProcessHandheld handheld;
  std::u16string text =
      u"Cr\u00e8me br\u00fbl\u00e9e\r\n\u039a\u03b1\u03bb\u03b7\u03bc\u03ad"
      u"\u03c1\u03b1\r\n\u041f\u0440\u0438\u0432\u0435\u0442\r\n\u0645\u0631"
      u"\u062d\u0628\u0627\r\n\u4e2d\u6587";
  std::uint32_t oid =
      AddExpecting(handheld, Titled(u"scripts", text), u"scripts.pwi");
  // CJK has no code in the ink format: each character comes back as '?'.
  std::u16string back = text.substr(0, text.size() - 2) + u"??";
  EXPECT_EQ(handheld.Exchange({GetNote(oid)}, kNotes)[0],
            NoteReply(oid, u"scripts", back));
}

TEST(NoteFilesTest, NoteLifeWithTheChangeReportAfterEachStep) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  EXPECT_EQ(handheld.Exchange({Snapshot()}, kNotes)[0], kOk);

  // Written: new in the next report, read back as written.
  std::uint32_t oid = AddExpecting(
      handheld, Titled(u"Trip", u"Line one\r\nLine two"), u"Trip.pwi");
  auto replies = handheld.Exchange(
      {Changes(), GetNote(oid), Snapshot(), Changes()}, kNotes);
  EXPECT_EQ(replies[0], Cat({ListHeader(1), ChangeEntry(oid, 1)}));
  EXPECT_EQ(replies[1], NoteReply(oid, u"Trip", u"Line one\r\nLine two"));
  EXPECT_EQ(replies[2], kOk);
  EXPECT_EQ(replies[3], ListHeader(0));

  // Renamed by the handheld's user: same file, same identifier and time, so
  // no change is reported; the title follows the name.
  ASSERT_TRUE(files.Rename(NotePath(u"Trip.pwi"), NotePath(u"Journey.pwi")));
  replies = handheld.Exchange({Changes(), GetNote(oid), {13, kNotes}}, kNotes);
  EXPECT_EQ(replies[0], ListHeader(0));
  EXPECT_EQ(replies[1], NoteReply(oid, u"Journey", u"Line one\r\nLine two"));
  EXPECT_EQ(replies[2], Cat({ListHeader(1), LE32(oid)}));

  // Rewritten under its identifier and title: changed, same identifier.
  replies = handheld.Exchange({PacketBuilder(3, kNotes)
                                   .U32(oid)
                                   .Raw(Titled(u"Journey", u"Edited"))
                                   .packet(),
                               Changes(), GetNote(oid), Snapshot()},
                              kNotes);
  EXPECT_EQ(replies[0], Written(oid, oid));
  EXPECT_EQ(replies[1], Cat({ListHeader(1), ChangeEntry(oid, 2)}));
  EXPECT_EQ(replies[2], NoteReply(oid, u"Journey", u"Edited"));
  EXPECT_EQ(replies[3], kOk);

  // Deleted: reported deleted until the next snapshot.
  replies =
      handheld.Exchange({PacketBuilder(17, kNotes).U32(1).U32(oid).packet(),
                         Changes(),
                         Snapshot(),
                         Changes(),
                         {6, kNotes}},
                        kNotes);
  EXPECT_EQ(replies[0], LE32(oid));
  EXPECT_EQ(replies[1], Cat({ListHeader(1), ChangeEntry(oid, 3)}));
  EXPECT_EQ(replies[2], kOk);
  EXPECT_EQ(replies[3], ListHeader(0));
  EXPECT_EQ(replies[4], Cat({kOk, LE32(0)}));
}

TEST(NoteFilesTest, BatchWriteAddsAndUpdatesNotes) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t old = AddExpecting(handheld, Titled(u"B", u"b"), u"B.pwi");
  auto replies = handheld.Exchange({PacketBuilder(15, kNotes)
                                        .U32(2)
                                        .U8(2)
                                        .U8(kNotes)
                                        .U32(0)
                                        .Raw(Titled(u"A", u"a"))
                                        .U8(3)
                                        .U8(kNotes)
                                        .U32(old)
                                        .Raw(Titled(u"B", u"bb"))
                                        .packet()},
                                   kNotes);
  std::uint32_t added = files.OidOf(NotePath(u"A.pwi"));
  ASSERT_NE(added, 0U);
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(added), LE32(0), Bytes{1, 0},
                             LE32(old), LE32(old)}));
}

}  // namespace
}  // namespace agent
