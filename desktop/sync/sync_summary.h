// What one run of the sync engine did.
#ifndef VORN_DESKTOP_SYNC_SYNC_SUMMARY_H_
#define VORN_DESKTOP_SYNC_SYNC_SUMMARY_H_

#include <cstdint>
#include <string>
#include <vector>

namespace desktop {

struct SyncSummary {
  std::string partner;
  std::string machine_id;
  bool full = false;
  std::string full_reason;  // why everything was compared
  bool contract_added = false;
  bool migrated = false;  // the old layout was converted
  bool two_way = true;
  // Files written or removed from the handheld's changes.
  std::uint64_t added = 0;
  std::uint64_t changed = 0;
  std::uint64_t deleted = 0;
  std::uint64_t unchanged = 0;
  // Records written or deleted on the handheld from the directory.
  std::uint64_t sent_added = 0;
  std::uint64_t sent_changed = 0;
  std::uint64_t sent_deleted = 0;
  std::uint64_t records_fetched = 0;
  std::uint64_t bytes_received = 0;  // 0 without a counting stream
  double seconds = 0;
  // One line per conflict (which side was kept, where the other went) and
  // per file left alone.
  std::vector<std::string> conflicts;
  std::vector<std::string> notes;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_SUMMARY_H_
