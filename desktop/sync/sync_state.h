// The sync state of a mirror directory, kept by SyncStateStore in
// DIR/.vorn-sync.db; older programs kept it as the text file
// DIR/.vorn-sync.json, which Parse reads and Serialize writes:
//
//   {"format": 2, "partner": "...", "machine_id": "...",
//    "full_mirror_pending": false, "last_run": "2024-05-01T10:00:00Z",
//    "last_run_kind": "incremental", "last_run_epoch": 1714557600,
//    "time_zone": "Europe/Berlin",
//    "collections": {"contacts": {
//      "items": [{"uid": "urn:uuid:...", "oid": 12, "file": "x.vcf",
//                 "file_hash": "...", "file_size": 310, "file_mtime": ns,
//                 "handheld_hash": "..."}],
//      "pending": [{"uid": "...", "oid": 0, "file": "y.vcf",
//                   "file_hash": "...", "sent_hash": "..."}]}}}
//
// partner     the contract name this directory syncs under
// machine_id  the handheld the items came from (its GetMachineId text)
// full_mirror_pending
//             per collection (the database's meta rows
//             "full_mirror_pending/COLLECTION"): set before a full
//             comparison of that collection starts and cleared when it
//             finished; a run that finds it set compares that collection
//             again. Each collection has a contract of its own whose mark a
//             full run moves first, so a flag shared by all would let one
//             collection's finished run hide another's cut one. Older
//             programs kept one flag for every collection (the text file's
//             member and the database's row "full_mirror_pending"), read
//             as SyncState::full_mirror_pending
// last_run    when the last run finished (UTC text and seconds since 1970)
// time_zone   the zone the calendar and tasks files were written in (only
//             when there is one): later runs without --tz use it
// items       per collection, the pairing of UID, object id and file, with
//             hashes of the file as the last run left it and of the
//             handheld's content as it last saw it (what tells each side's
//             changes apart); size and mtime let a run skip rehashing files
//             nobody touched (file_checked, in the database, says when
//             they were taken)
// pending     handheld writes sent by a run that did not confirm them yet
//             (journaled before sending): a record the handheld reports as
//             new whose content hash equals a pending add's sent_hash is
//             that add, not a new record
// pulled      (database only) new files of handheld records that a run is
//             renaming into place, journaled before the renames: the next
//             run pairs each whose file is there with that content
//             (otherwise the file would count as new on the desktop), and
//             forgets the others (the handheld reports them again)
//
// Format 1 (the layout of one OID.vcf per contact beside the state file)
// is read as `legacy` for the migration.
#ifndef VORN_DESKTOP_SYNC_SYNC_STATE_H_
#define VORN_DESKTOP_SYNC_SYNC_STATE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/sync/mirror_directory.h"

namespace desktop {

struct ItemState {
  std::string uid;
  std::uint32_t oid = 0;
  std::string file;
  std::string file_hash;
  std::uint64_t file_size = 0;
  std::int64_t file_mtime = 0;  // nanoseconds
  std::string handheld_hash;
  // DirectoryEntry::checked of the stamps (0: unknown; database only).
  std::int64_t file_checked = 0;
  bool operator==(const ItemState&) const = default;
};

struct PendingWrite {
  std::string uid;
  std::uint32_t oid = 0;  // 0: an add
  std::string file;
  std::string file_hash;
  std::string sent_hash;
  bool operator==(const PendingWrite&) const = default;
};

struct CollectionState {
  bool full_mirror_pending = false;
  std::map<std::string, ItemState> items;  // by UID
  std::vector<PendingWrite> pending;
  std::map<std::string, ItemState> pulled;  // by UID
  bool operator==(const CollectionState&) const = default;
};

class SyncState {
 public:
  std::string partner;  // UTF-8
  std::string machine_id;
  // The one flag of an older program's state: a full run of every
  // collection is pending. Written as the "any collection" flag.
  bool full_mirror_pending = false;
  std::string last_run;
  std::string last_run_kind;
  std::int64_t last_run_epoch = 0;
  // The handheld's time zone of its appointments and tasks (an IANA name
  // from `vorn --tz`); empty for floating times.
  std::string time_zone;
  std::map<std::string, CollectionState> collections;
  // Read from a format 1 file: the directory still has the old layout.
  bool legacy = false;

  // Parses the file's text. Fails on text that is not a state file.
  static Result<SyncState> Parse(std::string_view text);
  std::string Serialize() const;

  // Reads the state of `dir` through a SyncStateStore of its own: nullopt
  // when there is none. A state that cannot be read fails.
  static Result<std::optional<SyncState>> Load(const MirrorDirectory& dir);
  // Writes it whole, atomically and durably (a run keeps one store and
  // saves only what changed).
  Status Save(const MirrorDirectory& dir) const;

  // The current time as "YYYY-MM-DDTHH:MM:SSZ".
  static std::string NowUtc();

  bool operator==(const SyncState&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_STATE_H_
