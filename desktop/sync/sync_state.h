// The small state file a mirror directory keeps beside its cards,
// ".vorn-sync.json":
//
//   {"format": 1, "partner": "...", "machine_id": "...",
//    "full_mirror_pending": false, "last_run": "2024-05-01T10:00:00Z",
//    "last_run_kind": "incremental"}
//
// partner     the contract name this directory syncs under
// machine_id  the handheld the cards came from (its GetMachineId text)
// full_mirror_pending
//             set before a full mirror starts and cleared when it finished;
//             a run that finds it set mirrors everything again
// last_run    when the last run finished (UTC), and whether it was "full" or
//             "incremental"
//
// It holds nothing per contact: an incremental run reads and writes only
// this file and the cards that changed.
#ifndef VORN_DESKTOP_SYNC_SYNC_STATE_H_
#define VORN_DESKTOP_SYNC_SYNC_STATE_H_

#include <optional>
#include <string>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/sync/mirror_directory.h"

namespace desktop {

class SyncState {
 public:
  static constexpr char kFileName[] = ".vorn-sync.json";

  std::string partner;  // UTF-8
  std::string machine_id;
  bool full_mirror_pending = false;
  std::string last_run;
  std::string last_run_kind;

  // Parses the file's text. Fails on text that is not a state file.
  static Result<SyncState> Parse(std::string_view text);
  std::string Serialize() const;

  // Reads the state of `dir`: nullopt when there is none. A file that
  // cannot be parsed fails.
  static Result<std::optional<SyncState>> Load(const MirrorDirectory& dir);
  // Writes it atomically and durably.
  Status Save(MirrorDirectory& dir) const;

  // The current time as "YYYY-MM-DDTHH:MM:SSZ".
  static std::string NowUtc();

  bool operator==(const SyncState&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_STATE_H_
