#include "desktop/formats/vcard_merge.h"

#include <gtest/gtest.h>

#include "desktop/formats/vcard.h"

namespace desktop {
namespace {

constexpr char kOther[] =
    "BEGIN:VCARD\r\n"
    "VERSION:4.0\r\n"
    "FN:Ann Lee\r\n"
    "N:Lee;Ann;;;\r\n"
    "EMAIL;PREF=1:a@x\r\n"
    "EMAIL:b@x\r\n"
    "EMAIL:c@x\r\n"
    "EMAIL:d@x\r\n"
    "TEL;TYPE=cell:123\r\n"
    "TEL;TYPE=cell:456\r\n"
    "PHOTO:data:image/png;base64,AAAA\r\n"
    "X-OTHER-APP;TYPE=x:kept\r\n"
    "UID:urn:uuid:1\r\n"
    "REV:20200101T000000Z\r\n"
    "END:VCARD\r\n";

TEST(VCardMergeTest, ForeignPropertiesAreThoseTheHandheldCannotHold) {
  Result<std::vector<std::string>> kept = VCardMerge::ForeignLines(kOther);
  ASSERT_TRUE(kept.ok()) << kept.status().message();
  EXPECT_EQ(*kept, (std::vector<std::string>{"EMAIL:d@x", "TEL;TYPE=cell:123",
                                             "PHOTO:data:image/png;base64,AAAA",
                                             "X-OTHER-APP;TYPE=x:kept"}));
}

TEST(VCardMergeTest, HandheldFieldsAreRewrittenTheRestKept) {
  Contact contact;
  contact.SetText(31, u"Ann");
  contact.SetText(33, u"Lee-Smith");
  contact.SetText(6, u"new@x");
  contact.SetText(13, u"b@x");
  contact.SetText(15, u"c@x");
  contact.SetText(7, u"456");
  contact.uid = "urn:uuid:1";
  contact.rev = "20240101T000000Z";
  Result<std::string> merged = VCardMerge::Merge(contact, kOther);
  ASSERT_TRUE(merged.ok()) << merged.status().message();
  EXPECT_EQ(*merged,
            "BEGIN:VCARD\r\n"
            "VERSION:4.0\r\n"
            "EMAIL:d@x\r\n"
            "TEL;TYPE=cell:123\r\n"
            "PHOTO:data:image/png;base64,AAAA\r\n"
            "X-OTHER-APP;TYPE=x:kept\r\n"
            "FN:Ann Lee-Smith\r\n"
            "N:Lee-Smith;Ann;;;\r\n"
            "TEL;TYPE=cell:456\r\n"
            "EMAIL;PREF=1:new@x\r\n"
            "EMAIL;PREF=2:b@x\r\n"
            "EMAIL;PREF=3:c@x\r\n"
            "UID:urn:uuid:1\r\n"
            "REV:20240101T000000Z\r\n"
            "END:VCARD\r\n");
  // The merged card reads back as the contact (the kept lines find no free
  // field), and merging again keeps exactly the same foreign lines.
  Result<std::vector<Contact>> read = VCard::Parse(*merged);
  ASSERT_TRUE(read.ok() && read->size() == 1);
  read->front().uid = contact.uid;
  read->front().rev = contact.rev;
  EXPECT_EQ(read->front(), contact);
  Result<std::string> again = VCardMerge::Merge(contact, *merged);
  ASSERT_TRUE(again.ok());
  EXPECT_EQ(*again, *merged);
}

TEST(VCardMergeTest, NewFilesAndBadOnes) {
  Contact contact;
  contact.SetText(4, u"Acme");
  EXPECT_EQ(*VCardMerge::Merge(contact, ""), VCard::Write(contact));
  EXPECT_FALSE(VCardMerge::Merge(contact, "not a card").ok());
  std::string two = std::string(kOther) + kOther;
  EXPECT_FALSE(VCardMerge::Merge(contact, two).ok());
}

}  // namespace
}  // namespace desktop
