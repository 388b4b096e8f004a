// Turns the changes found on both sides into a plan: which files to write
// or remove, which records to write or delete, and which conflicts to
// settle (the resolver picks the winner; the loser is copied aside).
//
// An item changed on one side only goes to the other side. An item changed
// on both sides whose contents agree (the same edit on both, or a write of
// an earlier run that was cut before it was confirmed) only moves the
// state. Deleted on both sides: forgotten. A file whose UID belongs to an
// item whose file vanished in the same run is that item renamed.
#ifndef VORN_DESKTOP_SYNC_SYNC_RECONCILER_H_
#define VORN_DESKTOP_SYNC_SYNC_RECONCILER_H_

#include <string>
#include <vector>

#include "desktop/sync/conflict_resolver.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/sync_state.h"

namespace desktop {

class SyncReconciler {
 public:
  SyncReconciler(const SyncAdapter& adapter, const CollectionState& state,
                 const ConflictResolver& resolver, std::string stamp)
      : adapter_(adapter),
        state_(state),
        resolver_(resolver),
        stamp_(std::move(stamp)) {}

  // `desktop` may hold deletions and changes of items and added files.
  SyncPlan Plan(const std::vector<HandheldChange>& handheld,
                std::vector<DesktopChange> desktop) const;

 private:
  void Conflict(const HandheldChange& h, const DesktopChange& d,
                SyncPlan& plan) const;
  Pull PullOf(const HandheldChange& h) const;
  Push PushOf(const DesktopChange& d, bool as_new) const;
  std::string CopyName(const std::string& uid, const char* side) const;

  const SyncAdapter& adapter_;
  const CollectionState& state_;
  const ConflictResolver& resolver_;
  std::string stamp_;  // the run's time, for names of conflict copies
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_RECONCILER_H_
