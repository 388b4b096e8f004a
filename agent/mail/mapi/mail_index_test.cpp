#include "agent/mail/mapi/mail_index.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace agent {
namespace {

// An entry identifier whose key is `key` and whose last byte is `tag`.
std::vector<BYTE> EntryId(DWORD key, BYTE tag = 0) {
  std::vector<BYTE> id(kEntryIdSize, 0xBD);
  id[4] = static_cast<BYTE>(key);
  id[5] = static_cast<BYTE>(key >> 8);
  id[6] = static_cast<BYTE>(key >> 16);
  id[7] = static_cast<BYTE>(key >> 24);
  id[15] = tag;
  return id;
}

std::vector<DWORD> Keys(const MailIndex& index) {
  std::vector<DWORD> keys;
  for (const auto* node = index.head(); node != nullptr; node = node->next) {
    keys.push_back(node->entry->key);
  }
  return keys;
}

TEST(MailIndexTest, DescendingRowsGiveAnAscendingIndex) {
  MailIndex index;
  for (DWORD key : {50U, 40U, 30U, 20U, 10U}) index.Insert(EntryId(key).data());
  EXPECT_EQ(Keys(index), (std::vector<DWORD>{10, 20, 30, 40, 50}));
  EXPECT_EQ(index.count(), 5U);
}

TEST(MailIndexTest, MixedOrderStaysAscending) {
  MailIndex index;
  for (DWORD key : {7U, 3U, 9U, 1U, 5U, 8U, 2U, 0x80000000U, 4U, 6U}) {
    index.Insert(EntryId(key).data());
  }
  EXPECT_EQ(Keys(index),
            (std::vector<DWORD>{1, 2, 3, 4, 5, 6, 7, 8, 9, 0x80000000U}));
}

TEST(MailIndexTest, AKeySeenTwiceKeepsOneEntryWithTheLaterIdentifier) {
  MailIndex index;
  index.Insert(EntryId(5, 1).data());
  index.Insert(EntryId(9, 1).data());
  index.Insert(EntryId(5, 2).data());
  ASSERT_EQ(index.count(), 2U);
  MailIndexEntry* entry = index.Find(5);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->entryId[15], 2);
  EXPECT_EQ(entry->key, 5U);
}

TEST(MailIndexTest, FindAndRemove) {
  MailIndex index;
  for (DWORD key = 1; key <= 100; ++key) index.Insert(EntryId(key * 2).data());
  for (DWORD key = 1; key <= 100; ++key) {
    ASSERT_NE(index.Find(key * 2), nullptr) << key;
    EXPECT_EQ(index.Find(key * 2)->key, key * 2);
    EXPECT_EQ(index.Find(key * 2 + 1), nullptr);
  }
  EXPECT_EQ(index.Find(0), nullptr);
  EXPECT_TRUE(index.Remove(100));
  EXPECT_FALSE(index.Remove(100));
  EXPECT_EQ(index.count(), 99U);
  EXPECT_EQ(index.Find(100), nullptr);
  EXPECT_NE(index.Find(102), nullptr);
  index.Clear();
  EXPECT_TRUE(index.empty());
  EXPECT_EQ(index.head(), nullptr);
}

// The cursor stays on its node through inserts and removals around it:
// every lookup of a long mixed sequence agrees with an ordered map.
TEST(MailIndexTest, TheCursorFollowsInsertsAndRemovals) {
  MailIndex index;
  std::map<DWORD, BYTE> expected;
  std::mt19937 random(7);
  for (int step = 0; step < 5000; ++step) {
    DWORD key = random() % 700;
    switch (random() % 4) {
      case 0:
      case 1: {
        BYTE tag = static_cast<BYTE>(step);
        index.Insert(EntryId(key, tag).data());
        expected[key] = tag;
        break;
      }
      case 2:
        EXPECT_EQ(index.Remove(key), expected.erase(key) == 1) << step;
        break;
      default: {
        MailIndexEntry* entry = index.Find(key);
        auto it = expected.find(key);
        ASSERT_EQ(entry != nullptr, it != expected.end()) << step;
        if (entry != nullptr) {
          EXPECT_EQ(entry->key, key);
          EXPECT_EQ(entry->entryId[15], it->second) << step;
        }
      }
    }
    ASSERT_EQ(index.count(), expected.size()) << step;
  }
  std::vector<DWORD> keys;
  keys.reserve(expected.size());
  for (const auto& [key, tag] : expected) keys.push_back(key);
  EXPECT_EQ(Keys(index), keys);
}

}  // namespace
}  // namespace agent
