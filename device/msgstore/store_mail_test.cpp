#include "device/msgstore/store_mail.h"

#include <gtest/gtest.h>

#include <memory>

#include "device/device.h"
#include "device/fs/file_system.h"
#include "device/pim/change_log_writer.h"

namespace device {
namespace {

TEST(StoreMailApiTest, AddListRemove) {
  auto device = Device::InMemory();
  StoreMail& mail = device->storeMail();
  StoreMailMessage message;
  message.folder = "outbox";
  message.from = u"me@example.org";
  message.to = u"a@example.org; b@example.org";
  message.bcc = u"hidden@example.org";
  message.subject = u"Report";
  message.body = u"Line one\r\nLine two";
  message.read = true;
  message.time = 0x01DA000012345678;
  message.attachments.push_back({u"report.pdf", u"", {'%', 'P', 'D', 'F'}});
  message.attachments.push_back({u"empty.txt", u"", {}});
  Result<CEOID> added = mail.Add(message);
  ASSERT_TRUE(added.ok()) << added.status().message();

  auto listed = mail.List();
  ASSERT_EQ(listed.size(), 1U);
  const StoreMailMessage& got = listed[0];
  EXPECT_EQ(got.oid, *added);
  EXPECT_EQ(got.folder, "outbox");
  EXPECT_EQ(got.from, u"me@example.org");
  EXPECT_EQ(got.to, u"a@example.org; b@example.org");
  EXPECT_EQ(got.cc, u"");
  EXPECT_EQ(got.bcc, u"hidden@example.org");
  EXPECT_EQ(got.subject, u"Report");
  EXPECT_EQ(got.body, u"Line one\r\nLine two");
  EXPECT_TRUE(got.read);
  EXPECT_EQ(got.time, 0x01DA000012345678U);
  ASSERT_EQ(got.attachments.size(), 2U);
  EXPECT_EQ(got.attachments[0].name, u"report.pdf");
  EXPECT_EQ(got.attachments[0].bytes,
            (std::vector<std::uint8_t>{'%', 'P', 'D', 'F'}));
  EXPECT_EQ(got.attachments[1].name, u"empty.txt");
  EXPECT_TRUE(got.attachments[1].bytes.empty());
  std::u16string path = got.attachments[0].devicePath;
  EXPECT_TRUE(path.starts_with(u"\\Mail Attachments\\"));
  EXPECT_NE(device->files().GetFileAttributesW(path.c_str()), 0xFFFFFFFFU);

  // Added, then changed once the attachments were named.
  auto log = device->changeLog().List(u"\\VornMailLog");
  ASSERT_EQ(log.size(), 2U);
  EXPECT_EQ(log[0].kind, 2);
  EXPECT_EQ(log[1].kind, 1);

  ASSERT_TRUE(mail.Remove(*added).ok());
  EXPECT_TRUE(mail.List().empty());
  EXPECT_EQ(device->files().GetFileAttributesW(path.c_str()), 0xFFFFFFFFU);
  log = device->changeLog().List(u"\\VornMailLog");
  ASSERT_EQ(log.size(), 3U);
  EXPECT_EQ(log[0].kind, 3);
  EXPECT_EQ(log[0].oid, *added);
}

TEST(StoreMailApiTest, RefusesBadInput) {
  auto device = Device::InMemory();
  StoreMail& mail = device->storeMail();
  StoreMailMessage message;
  message.folder = "archive";
  EXPECT_FALSE(mail.Add(message).ok());
  message.folder = "drafts";
  message.subject = u"two\nlines";
  EXPECT_FALSE(mail.Add(message).ok());
  EXPECT_TRUE(mail.List().empty());
  EXPECT_FALSE(mail.Remove(12345).ok());
  EXPECT_TRUE(device->changeLog().List(u"\\VornMailLog").empty());
}

TEST(StoreMailApiTest, FolderNames) {
  for (const char* name : {"inbox", "drafts", "sent", "outbox", "deleted"}) {
    auto folder = StoreMail::FolderByte(name);
    ASSERT_TRUE(folder.has_value()) << name;
    EXPECT_EQ(StoreMail::FolderName(*folder), name);
  }
  EXPECT_FALSE(StoreMail::FolderByte("Inbox").has_value());
}

TEST(StoreMailApiTest, HeaderFields) {
  std::u16string headers = WithHeaderField(u"", u"To", u"x");
  headers = WithHeaderField(headers, u"Subject", u"s");
  headers = WithHeaderField(headers, u"to", u"y");
  EXPECT_EQ(headers, u"To: y\r\nSubject: s\r\n");
  EXPECT_EQ(HeaderField(headers, u"TO"), u"y");
  EXPECT_EQ(HeaderField(headers, u"Cc"), std::nullopt);
  EXPECT_EQ(HeaderField(u"Subject:tight", u"Subject"), u"tight");
}

TEST(StoreMailApiTest, AttachmentListEncoding) {
  std::vector<StoredAttachment> list = {{u"a", u"\\b"}, {u"", u""}};
  auto decoded = DecodeAttachments(EncodeAttachments(list));
  ASSERT_TRUE(decoded.has_value());
  ASSERT_EQ(decoded->size(), 2U);
  EXPECT_EQ((*decoded)[0].first, u"a");
  EXPECT_EQ((*decoded)[0].second, u"\\b");
  auto bytes = EncodeAttachments(list);
  bytes.pop_back();
  EXPECT_FALSE(DecodeAttachments(bytes).has_value());
}

}  // namespace
}  // namespace device
