// Applies the handheld's side of a plan to the collection directory: files
// written (merged into what is there, so that properties the handheld
// cannot hold survive) or removed, and copies of conflict losers under
// DIR/.vorn-conflicts/. Files are staged and renamed into place in batches;
// the state follows each batch.
//
// Cut-safety: a new file (of a record the state does not know yet) is
// journaled in the state's `pulled` list, and the state saved, before it is
// renamed into place; it joins `items` after the rename. Recover, at the
// start of the next run, pairs each journaled file that is in place with
// its record, so that a run cut between the rename and the next save
// leaves no file that looks new on the desktop (and would go back to the
// handheld as a new record even when the handheld deleted it meanwhile).
#ifndef VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_
#define VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/sync_state.h"
#include "desktop/sync/sync_summary.h"

namespace desktop {

class DirectoryApplier {
 public:
  static constexpr char kConflictDir[] = ".vorn-conflicts";

  DirectoryApplier(const SyncAdapter& adapter, MirrorDirectory& top,
                   MirrorDirectory& files, CollectionState& state,
                   SyncSummary& summary, std::string rev,
                   std::function<Status()> save_state)
      : adapter_(adapter),
        top_(top),
        files_(files),
        state_(state),
        summary_(summary),
        rev_(std::move(rev)),
        save_state_(std::move(save_state)) {}

  Status Apply(const std::vector<Pull>& pulls);
  Status KeepCopies(const std::vector<ConflictCopy>& copies);

  // Debugging: the first batch of files fails right after its renames, as
  // if the run had been cut before the state recorded them.
  void StopAfterRenames() { stop_after_renames_ = true; }

  // Moves the journaled new files of `state` that are in place in `files`
  // (with the content written) into its items; forgets the others.
  static Status Recover(MirrorDirectory& files, CollectionState& state);

 private:
  Status Commit(std::vector<std::string>& written);

  const SyncAdapter& adapter_;
  MirrorDirectory& top_;
  MirrorDirectory& files_;
  CollectionState& state_;
  SyncSummary& summary_;
  std::string rev_;
  std::function<Status()> save_state_;
  bool stop_after_renames_ = false;
  // Known items as they will be once their staged files are in place.
  std::map<std::string, ItemState> after_rename_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_
