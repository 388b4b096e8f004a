// Applies the handheld's side of a plan to the collection directory: files
// written (merged into what is there, so that properties the handheld
// cannot hold survive) or removed, and copies of conflict losers under
// DIR/.vorn-conflicts/. Files are staged and renamed into place in batches;
// the state follows each batch.
#ifndef VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_
#define VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_

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
                   SyncSummary& summary, std::string rev)
      : adapter_(adapter),
        top_(top),
        files_(files),
        state_(state),
        summary_(summary),
        rev_(std::move(rev)) {}

  Status Apply(const std::vector<Pull>& pulls);
  Status KeepCopies(const std::vector<ConflictCopy>& copies);

 private:
  Status Commit(std::vector<std::string>& written);

  const SyncAdapter& adapter_;
  MirrorDirectory& top_;
  MirrorDirectory& files_;
  CollectionState& state_;
  SyncSummary& summary_;
  std::string rev_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_DIRECTORY_APPLIER_H_
