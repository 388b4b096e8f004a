#include "desktop/sync/contact_sync_adapter.h"

#include <gtest/gtest.h>

#include "desktop/formats/contact.h"
#include "desktop/formats/vcard.h"

namespace desktop {
namespace {

Contact Rich() {
  Contact c;
  c.SetText(31, u"Anna");
  c.SetText(33, u"Smith; O'Neil");
  c.SetText(27, u"ウィジェット, Inc.");
  std::u16string notes;
  for (int i = 0; i < 40; ++i) notes += u"Заметка 笔记 line\n";
  c.SetText(50, notes);
  return c;
}

TEST(ContactSyncAdapterTest, NewFileIsTheCardWithUidAndRev) {
  ContactSyncAdapter adapter;
  Contact contact = Rich();
  std::string canonical = VCard::Write(contact);
  // Long enough to be folded.
  std::string uid = "urn:uuid:" + std::string(80, 'a');
  Result<std::string> file =
      adapter.ToFile(canonical, "", uid, "20240501T100000Z");
  ASSERT_TRUE(file.ok()) << file.status().message();
  contact.uid = uid;
  contact.rev = "20240501T100000Z";
  EXPECT_EQ(*file, VCard::Write(contact));
  Result<DesktopItem> back = adapter.FromFile(*file);
  ASSERT_TRUE(back.ok()) << back.status().message();
  EXPECT_EQ(back->uid, uid);
  EXPECT_EQ(back->canonical, canonical);
}

TEST(ContactSyncAdapterTest, ExistingFileKeepsWhatTheHandheldCannotHold) {
  ContactSyncAdapter adapter;
  std::string canonical = VCard::Write(Rich());
  std::string old =
      "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Old\r\nPHOTO:data:image/png;base64,AA"
      "\r\nUID:u\r\nEND:VCARD\r\n";
  Result<std::string> file = adapter.ToFile(canonical, old, "u", "r");
  ASSERT_TRUE(file.ok()) << file.status().message();
  EXPECT_NE(file->find("PHOTO:data:image/png;base64,AA\r\n"),
            std::string::npos);
  EXPECT_NE(file->find("UID:u\r\nREV:r\r\nEND:VCARD\r\n"), std::string::npos);
  EXPECT_EQ(file->find("FN:Old"), std::string::npos);
}

}  // namespace
}  // namespace desktop
