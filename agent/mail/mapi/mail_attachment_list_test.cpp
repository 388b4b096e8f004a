#include "agent/mail/mapi/mail_attachment_list.h"

#include <gtest/gtest.h>

namespace agent {
namespace {

TEST(MailAttachmentListTest, TwoAttachments) {
  auto list =
      MailAttachmentList::Parse(u"2:11:\\in\\one.bin7:one.txt3:\\t28:two.data");
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].deviceFile, u"\\in\\one.bin");
  EXPECT_EQ(list[0].displayName, u"one.txt");
  EXPECT_EQ(list[1].deviceFile, u"\\t2");
  EXPECT_EQ(list[1].displayName, u"two.data");
}

TEST(MailAttachmentListTest, TheSeparatorIsAnyOneCharacter) {
  auto list = MailAttachmentList::Parse(u"1\n2\nab3\nxyz");
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].deviceFile, u"ab");
  EXPECT_EQ(list[0].displayName, u"xyz");
}

TEST(MailAttachmentListTest, TextsAreCutAt259Units) {
  std::u16string name(300, u'n');
  std::u16string text = u"1 300 " + name + u"1 d";
  auto list = MailAttachmentList::Parse(text);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].deviceFile.size(), 259U);
  EXPECT_EQ(list[0].displayName, u"d");
}

TEST(MailAttachmentListTest, ACountLargerThanTheTextStopsAtItsEnd) {
  auto list = MailAttachmentList::Parse(u"100000 1 a1 b");
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].deviceFile, u"a");
  EXPECT_EQ(list[0].displayName, u"b");
  EXPECT_TRUE(MailAttachmentList::Parse(u"").empty());
  EXPECT_TRUE(MailAttachmentList::Parse(u"0 1 a1 b").empty());
}

TEST(MailAttachmentListTest, ALengthPastTheEndTakesWhatIsLeft) {
  auto list = MailAttachmentList::Parse(u"1 50 abc");
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].deviceFile, u"abc");
  EXPECT_EQ(list[0].displayName, u"");
}

}  // namespace
}  // namespace agent
