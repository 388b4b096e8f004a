// Applies the directory's side of a plan to the handheld: new and changed
// files as records (BatchWrite, many at a time), deleted files as deleted
// records (DeleteRecords).
//
// Cut-safety: before a BatchWrite is sent, every write of it is journaled
// in the state ("pending": UID, file, file hash and the content hash of
// what is sent) and the state is flushed. A run cut after the handheld
// wrote but before the state recorded the new object ids leaves the
// journal behind; the next run finds those records among the handheld's
// changes (the contract's mark had not moved), and Recover pairs each added
// record whose content hash equals a pending add's with that add's file
// instead of taking it for a new record; updates are recognised the same
// way. Nothing is created twice and no change is taken for a conflict.
// Deletions need no journal: a record deleted on both sides is simply
// forgotten.
#ifndef VORN_DESKTOP_SYNC_HANDHELD_APPLIER_H_
#define VORN_DESKTOP_SYNC_HANDHELD_APPLIER_H_

#include <functional>
#include <string>
#include <vector>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/sync_state.h"
#include "desktop/sync/sync_summary.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

class HandheldApplier {
 public:
  HandheldApplier(HandheldClient& client, const SyncAdapter& adapter,
                  MirrorDirectory& files, CollectionState& state,
                  SyncSummary& summary, std::string machine_id, std::string rev,
                  std::function<Status()> save_state)
      : client_(client),
        adapter_(adapter),
        files_(files),
        state_(state),
        summary_(summary),
        machine_id_(std::move(machine_id)),
        rev_(std::move(rev)),
        save_state_(std::move(save_state)) {}

  Status Apply(const std::vector<Push>& pushes);

  // Takes the handheld changes that are writes of the journal out of
  // `changes` and into the state; clears the journal.
  static void Recover(CollectionState& state,
                      std::vector<HandheldChange>& changes);

 private:
  Status Write(const std::vector<const Push*>& writes);
  Status Delete(const std::vector<const Push*>& deletes);

  HandheldClient& client_;
  const SyncAdapter& adapter_;
  MirrorDirectory& files_;
  CollectionState& state_;
  SyncSummary& summary_;
  std::string machine_id_;
  std::string rev_;
  std::function<Status()> save_state_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_HANDHELD_APPLIER_H_
