#include "desktop/sync/directory_scanner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "desktop/sync/contact_sync_adapter.h"
#include "desktop/sync/content_hash.h"

namespace desktop {
namespace {

constexpr char kCard[] =
    "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Ann\r\nEND:VCARD\r\n";
constexpr char kEdit[] =
    "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Bob\r\nEND:VCARD\r\n";

class DirectoryScannerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-scan-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    path_ = pattern;
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE(dir.ok()) << dir.status().message();
    dir_ = std::move(*dir);
  }
  void TearDown() override {
    dir_.reset();
    std::filesystem::remove_all(path_);
  }

  // Writes `text` over a.vcf in place, keeping the modification time
  // `mtime` (an edit in the same tick of the clock as the one before).
  void EditInPlace(const std::string& text, std::int64_t mtime) {
    {
      std::ofstream out(path_ + "/a.vcf", std::ios::binary | std::ios::trunc);
      out << text;
    }
    timespec times[2] = {{0, UTIME_OMIT},
                         {static_cast<time_t>(mtime / 1'000'000'000),
                          static_cast<long>(mtime % 1'000'000'000)}};
    ASSERT_EQ(utimensat(AT_FDCWD, (path_ + "/a.vcf").c_str(), times, 0), 0);
  }

  // The state's item for a.vcf as a run that wrote kCard left it, with the
  // stamps of `entry`.
  CollectionState Known(const DirectoryEntry& entry) {
    CollectionState state;
    state.items["u"] = {
        "u",        1,           "a.vcf", ContentHash::Of(kCard),
        entry.size, entry.mtime, "h",     entry.checked};
    return state;
  }

  std::size_t Changes(CollectionState& state) {
    std::vector<std::string> notes;
    // The last run started after every write here: only the stamps'
    // own check can make them trusted.
    DirectoryScanner scanner(adapter_, *dir_, state, notes, 0);
    auto changes = scanner.Scan();
    EXPECT_TRUE(changes.ok()) << changes.status().message();
    return changes.ok() ? changes->size() : 0;
  }

  std::string path_;
  std::unique_ptr<MirrorDirectory> dir_;
  ContactSyncAdapter adapter_;
};

TEST_F(DirectoryScannerTest, StampsTakenATickAfterTheWriteAreTrusted) {
  ASSERT_TRUE(dir_->WriteFileDurably("a.vcf", kCard).ok());
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  auto entry = dir_->Stat("a.vcf");
  ASSERT_TRUE(entry.ok() && entry->has_value());
  ASSERT_LT((*entry)->mtime, (*entry)->checked);
  CollectionState state = Known(**entry);
  EXPECT_EQ(Changes(state), 0u);
  // Stamps that cannot recur: an edit that kept them is not looked for
  // (only a clock set back could make one).
  EditInPlace(kEdit, (*entry)->mtime);
  EXPECT_EQ(Changes(state), 0u);
}

TEST_F(DirectoryScannerTest, StampsOfTheWritesTickAreCheckedByContent) {
  ASSERT_TRUE(dir_->WriteFileDurably("a.vcf", kCard).ok());
  auto entry = dir_->Stat("a.vcf");
  ASSERT_TRUE(entry.ok() && entry->has_value());
  DirectoryEntry same_tick = **entry;
  same_tick.checked = same_tick.mtime;
  CollectionState state = Known(same_tick);
  EditInPlace(kEdit, same_tick.mtime);
  EXPECT_EQ(Changes(state), 1u);
  // Whole seconds may come from a file system without fractions.
  DirectoryEntry whole = **entry;
  whole.mtime = whole.mtime / 1'000'000'000 * 1'000'000'000;
  whole.checked = whole.mtime + 5'000'000'000;
  state = Known(whole);
  EditInPlace(kEdit, whole.mtime);
  EXPECT_EQ(Changes(state), 1u);
}

}  // namespace
}  // namespace desktop
