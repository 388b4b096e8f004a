// Where a mirror keeps its SyncState: the SQLite database DIR/.vorn-sync.db
// (write-ahead log, synchronous=FULL, so a committed Save survives a kill
// and a power cut, and a Save cut short leaves the one before it).
//
//   meta(key, value)          partner, machine_id, full_mirror_pending
//                             (set while any collection's is: older
//                             programs read it), full_mirror_pending/NAME
//                             per collection, last_run, last_run_kind,
//                             last_run_epoch, time_zone
//   collections(name)         every collection the state has, even empty
//   items(collection, uid, oid, file, file_hash, file_size, file_mtime,
//         handheld_hash, file_checked)
//                             the pairings (SyncState's `items`)
//   pending(collection, position, uid, oid, file, file_hash, sent_hash)
//   pulled(collection, uid, ...as items)
//
// Save writes only what differs from what the store last loaded or saved,
// in one transaction, so a run costs the database O(changes) rows.
//
// A directory synced by an older program has the text state file
// DIR/.vorn-sync.json (SyncState::Parse) instead: Load reads it, the first
// Save writes the whole state into the database and then removes the text
// file. While both exist the database counts.
#ifndef VORN_DESKTOP_SYNC_SYNC_STATE_STORE_H_
#define VORN_DESKTOP_SYNC_SYNC_STATE_STORE_H_

#include <memory>
#include <optional>
#include <string>

#include "desktop/base/status.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_state.h"

struct sqlite3;

namespace desktop {

class SyncStateStore {
 public:
  static constexpr char kFileName[] = ".vorn-sync.db";
  static constexpr char kTextFileName[] = ".vorn-sync.json";

  // The store of `dir` (whose path must stay valid). The database is only
  // opened when there is one, and created by the first Save.
  explicit SyncStateStore(const MirrorDirectory& dir);
  SyncStateStore(const SyncStateStore&) = delete;
  SyncStateStore& operator=(const SyncStateStore&) = delete;
  ~SyncStateStore();

  // The state of the directory: nullopt when it has none. A database or a
  // text file that cannot be read fails.
  Result<std::optional<SyncState>> Load();
  // Makes `state` the stored one, durably, in one transaction.
  Status Save(const SyncState& state);

 private:
  Status OpenDatabase(bool create);
  Result<std::optional<SyncState>> LoadDatabase();
  Status WriteChanges(const SyncState& state);
  Status Exec(const char* sql);
  Status Failed(const std::string& what) const;

  std::string path_;  // of the database
  std::string text_path_;
  sqlite3* db_ = nullptr;
  // What the database holds, when `known_`: Save compares with it.
  SyncState saved_;
  bool known_ = false;
  bool text_file_ = false;  // the state came from the text file
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_STATE_STORE_H_
