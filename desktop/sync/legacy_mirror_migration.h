// Converts a mirror of the first layout (DIR/<oid>.vcf beside a format 1
// DIR/.vorn-sync.json) into the collection layout without asking the
// handheld for anything: each card moves to DIR/contacts/<uid>.vcf with its
// UID and REV, and the state learns the pairing of UID, object id and file
// and the hashes that tell later changes apart (the old card was the
// handheld's content, so it stands for the handheld's side too). A cut
// migration is finished by the next run: cards already moved are known by
// their UID, the rest are still in DIR.
#ifndef VORN_DESKTOP_SYNC_LEGACY_MIRROR_MIGRATION_H_
#define VORN_DESKTOP_SYNC_LEGACY_MIRROR_MIGRATION_H_

#include <functional>
#include <string>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_state.h"

namespace desktop {

class LegacyMirrorMigration {
 public:
  // Moves the cards of `top` into `files` and turns `state` into the new
  // format (saved with `save` when done). Returns how many cards moved.
  static Result<std::size_t> Run(MirrorDirectory& top, MirrorDirectory& files,
                                 const SyncAdapter& adapter,
                                 const std::string& rev, SyncState& state,
                                 const std::function<Status()>& save);
  // Removes old-layout cards ("<oid>.vcf") of migrated records from `top`;
  // a migration cut after its state was saved leaves them.
  static Status RemoveLeftovers(MirrorDirectory& top,
                                const SyncAdapter& adapter,
                                const CollectionState& collection);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_LEGACY_MIRROR_MIGRATION_H_
