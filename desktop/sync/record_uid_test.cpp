#include "desktop/sync/record_uid.h"

#include <gtest/gtest.h>

#include "desktop/sync/content_hash.h"

namespace desktop {
namespace {

using protocol::DataType;

TEST(RecordUidTest, NameBasedAndStable) {
  std::string uid = RecordUid::ForRecord("PDA-1", DataType::kContacts, 42);
  EXPECT_EQ(uid, RecordUid::ForRecord("PDA-1", DataType::kContacts, 42));
  ASSERT_EQ(uid.size(), 9u + 36u);
  EXPECT_TRUE(uid.starts_with("urn:uuid:"));
  EXPECT_EQ(uid[9 + 14], '5');  // version 5
  EXPECT_NE(std::string("89ab").find(uid[9 + 19]), std::string::npos);
  EXPECT_NE(uid, RecordUid::ForRecord("PDA-2", DataType::kContacts, 42));
  EXPECT_NE(uid, RecordUid::ForRecord("PDA-1", DataType::kTasks, 42));
  EXPECT_NE(uid, RecordUid::ForRecord("PDA-1", DataType::kContacts, 43));
}

TEST(RecordUidTest, FileStemsAreSafe) {
  EXPECT_EQ(
      RecordUid::FileStem("urn:uuid:6f1d4c2a-93b8-4e57-a0c1-5d2b7e9f3a61"),
      "6f1d4c2a-93b8-4e57-a0c1-5d2b7e9f3a61");
  EXPECT_EQ(RecordUid::FileStem("a/b c@x.org"), "a%2Fb%20c@x.org");
  EXPECT_EQ(RecordUid::FileStem("..x"), "%2E.x");
  EXPECT_FALSE(RecordUid::FileStem("").empty());
  std::string stem = RecordUid::FileStem(std::string(300, 'a'));
  EXPECT_EQ(stem.size(), 120u);
  EXPECT_NE(stem, RecordUid::FileStem(std::string(301, 'a')));
}

TEST(ContentHashTest, Sha256InHex) {
  EXPECT_EQ(ContentHash::Of("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace desktop
