// The ink note handler on the emulated handheld: whole conversations of
// hand-built packets, replies compared byte for byte.
#include "agent/notes/ce_ink_note.h"

#include <gtest/gtest.h>

#include "agent/notes/note_files.h"
#include "protocol/wire.h"
#include "tests/support/device_files.h"
#include "tests/support/in_process_handheld.h"
#include "tests/support/packet_builder.h"

namespace agent {
namespace {

using testing_support::Bytes;
using testing_support::Cat;
using testing_support::ChangeEntry;
using testing_support::Counted;
using testing_support::DeviceFiles;
using testing_support::InProcessHandheld;
using testing_support::LE32;
using testing_support::ListHeader;
using testing_support::NotePath;
using testing_support::NoteProp;
using testing_support::PacketBuilder;

constexpr std::uint8_t kNotes = 5;
const Bytes kOk = {1, 0};
const Bytes kCount = {6, kNotes};
const Bytes kList = {13, kNotes};
const Bytes kDeleteAll = {5, kNotes};

Bytes Changes() { return PacketBuilder(11, kNotes).Str(u"desk").packet(); }
Bytes Snapshot() { return PacketBuilder(12, kNotes).Str(u"desk").packet(); }
Bytes GetNote(std::uint32_t oid) {
  return PacketBuilder(7, kNotes).U32(oid).packet();
}
Bytes AddNote(const Bytes& record) {
  return PacketBuilder(2, kNotes).U32(0).Raw(record).packet();
}
Bytes UpdateNote(std::uint32_t oid, const Bytes& record) {
  return PacketBuilder(3, kNotes).U32(oid).Raw(record).packet();
}
Bytes Note(std::u16string_view title, std::u16string_view text) {
  return Cat({LE32(2), NoteProp(1, title), NoteProp(2, text)});
}
// The reply of AddRecord and UpdateRecord as the first packet of a
// conversation: the write status, then ten bytes the reply buffer held.
Bytes Written(std::uint32_t oid, std::uint32_t id) {
  return Cat({Bytes{1, 0}, LE32(oid), LE32(id), Bytes(10, 0)});
}
// The reply of GetRecord for a note.
Bytes NoteReply(std::uint32_t oid, std::u16string_view title,
                std::u16string_view text) {
  return Cat({Bytes{1, 0}, LE32(oid), Bytes{2}, NoteProp(1, title),
              NoteProp(2, text)});
}
Bytes Count(std::uint32_t n) { return Cat({kOk, LE32(n)}); }
std::u16string Decimal(std::uint32_t n) {
  std::string digits = std::to_string(n);
  return std::u16string(digits.begin(), digits.end());
}

TEST(InkNoteTest, NoNotesCountListAndReportNothing) {
  InProcessHandheld handheld;
  auto replies = handheld.Exchange(
      {kCount, kList, Snapshot(), Changes(), kDeleteAll}, kNotes);
  ASSERT_EQ(replies.size(), 6U);
  EXPECT_EQ(replies[0], Count(0));
  EXPECT_EQ(replies[1], ListHeader(0));
  EXPECT_EQ(replies[2], kOk);
  EXPECT_EQ(replies[3], ListHeader(0));
  EXPECT_EQ(replies[4], kOk);
  EXPECT_EQ(replies[5], Bytes());
}

TEST(InkNoteTest, ReadOnlyNoteIsListedAndAlwaysNewButNeverCountedOrDeleted) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t locked = files.Put(NotePath(u"locked.pwi"), {});
  std::uint32_t open = files.Put(NotePath(u"open.pwi"), {});
  ASSERT_TRUE(files.SetReadOnly(NotePath(u"locked.pwi")));
  auto replies = handheld.Exchange(
      {kCount, kList, Snapshot(), Changes(), Changes(), kDeleteAll, kCount},
      kNotes);
  ASSERT_EQ(replies.size(), 8U);
  EXPECT_EQ(replies[0], Count(1));
  EXPECT_EQ(replies[1], Cat({ListHeader(2), LE32(locked), LE32(open)}));
  EXPECT_EQ(replies[2], kOk);
  EXPECT_EQ(replies[3], Cat({ListHeader(1), ChangeEntry(locked, 1)}));
  EXPECT_EQ(replies[4], replies[3]);
  EXPECT_EQ(replies[5], kOk);
  EXPECT_EQ(replies[6], Count(0));
  EXPECT_EQ(files.OidOf(NotePath(u"locked.pwi")), locked);
  EXPECT_EQ(files.OidOf(NotePath(u"open.pwi")), 0U);
}

TEST(InkNoteTest, DeletedNotesAreKindThreeRewrittenKindTwoNewKindOne) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t gone = files.Put(NotePath(u"gone.pwi"), {});
  std::uint32_t kept = files.Put(NotePath(u"kept.pwi"), {});
  std::uint32_t same = files.Put(NotePath(u"same.pwi"), {});
  auto replies = handheld.Exchange({Snapshot()}, kNotes);
  EXPECT_EQ(replies[0], kOk);

  ASSERT_TRUE(files.Remove(NotePath(u"gone.pwi")));
  ASSERT_EQ(files.Put(NotePath(u"kept.pwi"), {1, 2, 3}), kept);
  std::uint32_t added = files.Put(NotePath(u"added.pwi"), {});
  replies = handheld.Exchange({Changes()}, kNotes);
  EXPECT_EQ(replies[0], Cat({ListHeader(3), ChangeEntry(gone, 3),
                             ChangeEntry(kept, 2), ChangeEntry(added, 1)}));
  EXPECT_NE(same, 0U);
}

TEST(InkNoteTest, MissingSnapshotShowsDbOpenFailAndReportsEveryNoteNew) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t first = files.Put(NotePath(u"first.pwi"), {});
  std::uint32_t second = files.Put(NotePath(u"second.pwi"), {});
  ASSERT_TRUE(files.MakeDirectory(NotePath(u"folder.pwi")));
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(Changes()),
                             testing_support::FramePacket({1, kNotes})}));
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], Cat({ListHeader(2), ChangeEntry(first, 1),
                            ChangeEntry(second, 1)}));
  EXPECT_EQ(outcome.messages, "messagebox: VornApiMgr: Db Open fail\n");
}

TEST(InkNoteTest, TitleWithASlashNamesTheFileAndASecondOneIsNumbered) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  auto replies = handheld.Exchange({AddNote(Note(u"a/b", u"one"))}, kNotes);
  std::uint32_t first = files.OidOf(NotePath(u"a_b.pwi"));
  ASSERT_NE(first, 0U);
  EXPECT_EQ(replies[0], Written(first, 0));

  DWORD number = NoteCounter();
  replies = handheld.Exchange({AddNote(Note(u"a/b", u"two"))}, kNotes);
  std::u16string numbered = u"a_b_" + Decimal(number) + u".pwi";
  std::uint32_t second = files.OidOf(NotePath(numbered));
  ASSERT_NE(second, 0U);
  EXPECT_EQ(replies[0], Written(second, 0));
  EXPECT_EQ(NoteCounter(), number + 1);
  replies = handheld.Exchange({GetNote(first), GetNote(second)}, kNotes);
  EXPECT_EQ(replies[0], NoteReply(first, u"a_b", u"one"));
  EXPECT_EQ(replies[1],
            NoteReply(second, numbered.substr(0, numbered.size() - 4), u"two"));
}

TEST(InkNoteTest, ChangedTitleReplacesTheFileAndSameTitleRewritesIt) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  handheld.Exchange({AddNote(Note(u"Old", u"text"))}, kNotes);
  std::uint32_t old = files.OidOf(NotePath(u"Old.pwi"));
  ASSERT_NE(old, 0U);

  auto replies =
      handheld.Exchange({UpdateNote(old, Note(u"New", u"more"))}, kNotes);
  std::uint32_t renamed = files.OidOf(NotePath(u"New.pwi"));
  ASSERT_NE(renamed, 0U);
  EXPECT_NE(renamed, old);
  EXPECT_EQ(files.OidOf(NotePath(u"Old.pwi")), 0U);
  EXPECT_EQ(replies[0], Written(renamed, old));

  replies =
      handheld.Exchange({UpdateNote(renamed, Note(u"New", u"again"))}, kNotes);
  EXPECT_EQ(replies[0], Written(renamed, renamed));
  EXPECT_EQ(handheld.Exchange({GetNote(renamed)}, kNotes)[0],
            NoteReply(renamed, u"New", u"again"));
}

TEST(InkNoteTest, UnknownPropertyIsReportedAndItsValueReadAsTheNextId) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  // Property 7 with a u32 value 1 the handler does not know: the 1 is read
  // as the next id, so "Shown" becomes the title (and the text), and the
  // text property the sender meant is never read.
  Bytes record = Cat({LE32(2), LE32(7), LE32(1), Counted(u"Shown"),
                      NoteProp(2, u"meant as text")});
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(AddNote(record)),
                             testing_support::FramePacket({1, kNotes})}));
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  std::uint32_t oid = files.OidOf(NotePath(u"Shown.pwi"));
  ASSERT_NE(oid, 0U);
  EXPECT_EQ(frames[0], Written(oid, 0));
  EXPECT_EQ(outcome.messages,
            "messagebox: CCEInkNote: WriteRecord()\\nUnrec Field\n");
  EXPECT_EQ(handheld.Exchange({GetNote(oid)}, kNotes)[0],
            NoteReply(oid, u"Shown", u"Shown"));
}

TEST(InkNoteTest, GetRecordsCountsNotesAndKeepsTheLastPropertyCount) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  handheld.Exchange(
      {AddNote(Note(u"One", u"1")), AddNote(Note(u"Two", u"2\r\n2"))}, kNotes);
  std::uint32_t one = files.OidOf(NotePath(u"One.pwi"));
  std::uint32_t two = files.OidOf(NotePath(u"Two.pwi"));
  auto replies = handheld.Exchange(
      {PacketBuilder(16, kNotes).U32(2).U32(one).U32(two).packet()}, kNotes);
  EXPECT_EQ(replies[0], Cat({ListHeader(2, 2), NoteReply(one, u"One", u"1"),
                             NoteReply(two, u"Two", u"2\r\n2")}));
}

TEST(InkNoteTest, DeleteRecordsNamesTheNotesDeleted) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t note = files.Put(NotePath(u"x.pwi"), {});
  auto replies = handheld.Exchange(
      {PacketBuilder(17, kNotes).U32(2).U32(note).U32(note).packet()}, kNotes);
  EXPECT_EQ(replies[0], LE32(note));
  EXPECT_EQ(files.OidOf(NotePath(u"x.pwi")), 0U);
}

TEST(InkNoteTest, UnreadableFileShowsRfcbFailedAndGivesNoText) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t oid = files.Put(NotePath(u"bad.pwi"), {1, 2, 3});
  class FailingReads : public platform::FileSystemWrapper {
   public:
    using FileSystemWrapper::FileSystemWrapper;
    BOOL ReadFile(HANDLE, void*, DWORD, DWORD* done, void*) override {
      *done = 0;
      SetLastError(ERROR_DISK_OPERATION_FAILED);
      return FALSE;
    }
  };
  platform::Services services = handheld.device().services();
  FailingReads failing(services.files);
  services.files = &failing;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(GetNote(oid)),
                             testing_support::FramePacket({1, kNotes})}),
                        services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], NoteReply(oid, u"bad", u""));
  EXPECT_EQ(outcome.messages, "messagebox: CCEInkNote: RFCB failed\n");
}

TEST(InkNoteTest, FileThatCannotBeOpenedShowsCreateFileFailed) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t oid = files.Put(NotePath(u"busy.pwi"), {});
  // Another application holds the file open without sharing.
  class Busy : public platform::FileSystemWrapper {
   public:
    using FileSystemWrapper::FileSystemWrapper;
    HANDLE CreateFileW(LPCWSTR, DWORD, DWORD, void*, DWORD, DWORD,
                       HANDLE) override {
      SetLastError(ERROR_SHARING_VIOLATION);
      return INVALID_HANDLE_VALUE;
    }
  };
  platform::Services services = handheld.device().services();
  Busy busy(services.files);
  services.files = &busy;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(GetNote(oid)),
                             testing_support::FramePacket({1, kNotes})}),
                        services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], NoteReply(oid, u"busy", u""));
  EXPECT_EQ(outcome.messages, "messagebox: CCEInkNote: Create File Failed\n");
}

TEST(InkNoteTest, UnknownIdentifierEndsTheConversationAsAFault) {
  InProcessHandheld handheld;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(kCount),
                             testing_support::FramePacket(GetNote(0x7777)),
                             testing_support::FramePacket({1, kNotes})}));
  // The count is answered; the read finds no path and ends the session
  // without a reply, after its message.
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0], Count(0));
  EXPECT_EQ(outcome.result, S_OK);
  EXPECT_EQ(outcome.messages, "messagebox: CCEInkNote: Create File Failed\n");
}

TEST(InkNoteTest, RecordWithoutPropertiesEndsTheConversationAsAFault) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  DWORD number = NoteCounter();
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(AddNote(LE32(0))),
                             testing_support::FramePacket({1, kNotes})}));
  EXPECT_TRUE(outcome.output.empty());
  // The name was taken before the text was measured; no file was written.
  EXPECT_EQ(NoteCounter(), number + 1);
  EXPECT_EQ(files.Names(), std::vector<std::u16string>());
}

TEST(InkNoteTest, WithoutTheInkControlReadsKeepOnlyTheHeader) {
  device::InitOptions options;
  options.os = "3.0.9348";
  InProcessHandheld handheld(options);
  DeviceFiles files(handheld.device());
  std::uint32_t oid = files.Put(NotePath(u"n.pwi"), {});
  auto replies = handheld.Exchange({GetNote(oid)}, kNotes);
  EXPECT_EQ(replies[0], Bytes(7, 0));
}

TEST(InkNoteTest, SnapshotThatCannotBeCreatedReportsEveryFile) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  files.Put(NotePath(u"a.pwi"), {});
  files.Put(NotePath(u"b.pwi"), {});
  class NoCreate : public platform::ObjectStoreWrapper {
   public:
    using ObjectStoreWrapper::ObjectStoreWrapper;
    CEOID CeCreateDatabaseEx(PCEGUID, CEDBASEINFO*) override {
      SetLastError(ERROR_DISK_FULL);
      return 0;
    }
  };
  platform::Services services = handheld.device().services();
  NoCreate failing(services.objectStore);
  services.objectStore = &failing;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(Snapshot()),
                             testing_support::FramePacket({1, kNotes})}),
                        services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], kOk);
  EXPECT_EQ(outcome.messages,
            "messagebox: VornApiMgr: Failed to create InkNote DB\n"
            "messagebox: VornApiMgr: InkNote DB writeRec failed\n"
            "messagebox: VornApiMgr: InkNote DB writeRec failed\n");
}

// Fails the first FindNextFileW of every search with another error than
// ERROR_NO_MORE_FILES, without moving on.
class StumblingSearch : public platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;
  HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* found) override {
    stumbled_ = false;
    return FileSystemWrapper::FindFirstFileW(pattern, found);
  }
  BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found) override {
    if (!stumbled_) {
      stumbled_ = true;
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
    return FileSystemWrapper::FindNextFileW(search, found);
  }

 private:
  bool stumbled_ = false;
};

TEST(InkNoteTest, FailedStepRepeatsAnEntryInCountsAndEndsLists) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  std::uint32_t first = files.Put(NotePath(u"a.pwi"), {});
  files.Put(NotePath(u"b.pwi"), {});
  platform::Services services = handheld.device().services();
  StumblingSearch stumbling(services.files);
  services.files = &stumbling;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(kCount),
                             testing_support::FramePacket(kList),
                             testing_support::FramePacket({1, kNotes})}),
                        services);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 3U);
  // The count meets the first note twice; the list stops after it.
  EXPECT_EQ(frames[0], Count(3));
  EXPECT_EQ(frames[1], Cat({ListHeader(1), LE32(first)}));
}

TEST(InkNoteTest, CountThatNeverGetsPastAnEntryEndsAsAFault) {
  InProcessHandheld handheld;
  DeviceFiles files(handheld.device());
  files.Put(NotePath(u"a.pwi"), {});
  class Stuck : public platform::FileSystemWrapper {
   public:
    using FileSystemWrapper::FileSystemWrapper;
    BOOL FindNextFileW(HANDLE, WIN32_FIND_DATAW*) override {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
  };
  platform::Services services = handheld.device().services();
  Stuck stuck(services.files);
  services.files = &stuck;
  auto outcome =
      handheld.Converse(Cat({testing_support::FramePacket(kList),
                             testing_support::FramePacket(kCount),
                             testing_support::FramePacket({1, kNotes})}),
                        services);
  auto frames = testing_support::SplitFrames(outcome.output);
  // The list stops at the failure; the count would repeat for ever.
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0],
            Cat({ListHeader(1), LE32(files.OidOf(NotePath(u"a.pwi")))}));
  EXPECT_EQ(outcome.result, S_OK);
}

}  // namespace
}  // namespace agent
