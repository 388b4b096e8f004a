// Mail on handhelds with MAPI, byte for byte: the agent in-process on the
// emulated handheld, requests built by hand, whole replies compared. This
// file: the handler's index and the commands that only use it.
#include <algorithm>

#include "device/pim/change_log_writer.h"
#include "protocol/change_log.h"
#include "tests/mapi_mail_fixture.h"

namespace mapi_mail_test {
namespace {

// The handler's index and its commands.

TEST_F(MapiMailTest, AnEmptyStoreCountsNoneAndListsOnlyTheHeader) {
  auto replies = Exchange({{6, kMail}, {13, kMail}});
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(0)}));
  EXPECT_EQ(replies[1], (Bytes{1, 0, 0, 0, 0, 0, 0}));
}

TEST_F(MapiMailTest, AnOutboxMessageIsListedAndDeletableButNotCounted) {
  std::uint32_t inbox = AddIn(MailFolder::kInbox);
  std::uint32_t outbox = AddIn(MailFolder::kOutbox);
  std::uint32_t drafts = AddIn(MailFolder::kDrafts);
  std::uint32_t sent = AddIn(MailFolder::kSent);
  AddIn(MailFolder::kDeleted);
  std::vector<std::uint32_t> live = {inbox, outbox, drafts, sent};
  std::sort(live.begin(), live.end());
  auto replies = Exchange({{6, kMail},
                           {13, kMail},
                           PacketBuilder(4, kMail).U32(outbox).packet(),
                           {13, kMail}});
  EXPECT_EQ(replies[0], Cat({Bytes{1, 0}, LE32(3)}));
  EXPECT_EQ(replies[1], ListOf(live));
  EXPECT_EQ(replies[2], (Bytes{1, 0}));
  live.erase(std::find(live.begin(), live.end(), outbox));
  EXPECT_EQ(replies[3], ListOf(live));
  auto log = handheld_.device().changeLog().List(protocol::kMailLog);
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.front().oid, outbox);
  EXPECT_EQ(log.front().kind, 3);
}

TEST_F(MapiMailTest, RowsInDescendingOrderStillListAscending) {
  std::vector<std::uint32_t> keys;
  keys.reserve(5);
  for (int i = 0; i < 5; ++i) keys.push_back(AddIn(MailFolder::kInbox));
  mapi().SetDescendingRows(true);
  EXPECT_EQ(One({13, kMail}), ListOf(keys));
}

TEST_F(MapiMailTest, DeletingAnUnknownKeyStillCallsDeleteMessages) {
  std::uint32_t key = AddIn(MailFolder::kInbox);
  EXPECT_EQ(One(PacketBuilder(4, kMail).U32(0xBAD).packet()), (Bytes{1, 0}));
  EXPECT_EQ(mapi().deleteCalls().calls, 1U);
  EXPECT_EQ(mapi().deleteCalls().nullEntries, 1U);
  EXPECT_EQ(One({13, kMail}), ListOf({key}));
}

TEST_F(MapiMailTest, DeleteAllLeavesDeletedItemsAlone) {
  AddIn(MailFolder::kInbox);
  AddIn(MailFolder::kSent);
  std::uint32_t deleted = AddIn(MailFolder::kDeleted);
  auto replies = Exchange({{5, kMail}, {13, kMail}});
  EXPECT_EQ(replies[0], (Bytes{1, 0}));
  EXPECT_EQ(replies[1], ListOf({}));
  device::MailEditor editor(mapi());
  auto left = editor.List();
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].key, deleted);
}

TEST_F(MapiMailTest, ChangesSkipDeletedItemsAndKeepDeletionsOfGoneMessages) {
  std::uint32_t inbox = AddIn(MailFolder::kInbox);
  std::uint32_t wastebasket = AddIn(MailFolder::kDeleted);
  std::uint32_t gone = AddIn(MailFolder::kInbox);
  device::MailEditor editor(mapi());
  ASSERT_TRUE(editor.Remove(gone).ok());
  // Log, newest first: gone (deleted, 4), wastebasket (1), inbox (1).
  Bytes reply = One(PacketBuilder(11, kMail).Str(u"desk").packet());
  EXPECT_EQ(reply, Cat({Bytes{1, 0}, LE32(2), Bytes{0}, LE32(gone), Bytes{3},
                        LE32(inbox), Bytes{1}}));
  (void)wastebasket;
}

TEST_F(MapiMailTest, AKeyInBothIndicesIsNotIncluded) {
  std::uint32_t key = AddIn(MailFolder::kInbox);
  mapi().AddExtraRow(MailFolder::kDeleted, key);
  Bytes reply = One(PacketBuilder(11, kMail).Str(u"desk").packet());
  EXPECT_EQ(reply, (Bytes{1, 0, 0, 0, 0, 0, 0}));
}

TEST_F(MapiMailTest, ABusyTableShowsItsBoxEveryTimeOut) {
  std::uint32_t key = AddIn(MailFolder::kSent);
  ASSERT_TRUE(handheld_.device().faults().Set("mapi-busy", "sent 2").ok());
  Bytes input = Cat({testing_support::FramePacket({13, kMail}),
                     testing_support::FramePacket({1, kMail})});
  auto outcome = handheld_.Converse(input);
  auto frames = testing_support::SplitFrames(outcome.output);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[0], ListOf({key}));
  std::string box =
      "messagebox: ERROR: Sent Items table is busy -- cannot retrieve "
      "records.\n";
  EXPECT_EQ(outcome.messages, box + box);
  EXPECT_FALSE(handheld_.device().faults().IsSet("mapi-busy"));
}

TEST_F(MapiMailTest, WithoutTheLibraryCountsFailAndListsAreIncomplete) {
  AddIn(MailFolder::kInbox);
  ASSERT_TRUE(handheld_.device().faults().Set("mapi-missing", "").ok());
  auto replies = Exchange({{6, kMail},
                           {13, kMail},
                           PacketBuilder(4, kMail).U32(1).packet(),
                           PacketBuilder(7, kMail).U32(1).packet()});
  EXPECT_EQ(replies[0], Cat({Bytes{0, 3}, LE32(0)}));
  EXPECT_EQ(replies[1], (Bytes{0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(replies[2], (Bytes{0, 3}));
  EXPECT_EQ(replies[3], (Bytes{0, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace mapi_mail_test
