// Finds what changed in a collection directory since the last run, by
// comparing each file with what the state says the last run left there:
// a file whose size and modification time are unchanged is taken as
// unchanged, unless that time was not older than the file system's clock
// when the stamps were taken, nor than the start of the last run (an edit
// in the same tick of the clock as the run's write would keep both);
// otherwise its content hash decides. Files that do not parse
// as one item are left alone and reported.
#ifndef VORN_DESKTOP_SYNC_DIRECTORY_SCANNER_H_
#define VORN_DESKTOP_SYNC_DIRECTORY_SCANNER_H_

#include <optional>
#include <string>
#include <vector>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_adapter.h"
#include "desktop/sync/sync_changes.h"
#include "desktop/sync/sync_state.h"

namespace desktop {

class DirectoryScanner {
 public:
  // Stamps from `trusted_before` (nanoseconds since 1970) on are not
  // trusted.
  DirectoryScanner(const SyncAdapter& adapter, MirrorDirectory& files,
                   CollectionState& state, std::vector<std::string>& notes,
                   std::int64_t trusted_before)
      : adapter_(adapter),
        files_(files),
        state_(state),
        notes_(notes),
        trusted_before_(trusted_before) {}

  // Every change of the directory. Unchanged files whose time stamps moved
  // get their new stamps in the state.
  Result<std::vector<DesktopChange>> Scan();

  // The change of the file of one item, if any.
  Result<std::optional<DesktopChange>> ScanItem(ItemState& item);

 private:
  // Whether unchanged stamps of `item` mean an unchanged file.
  bool Trusted(const ItemState& item) const;
  // The change of `item`'s file, whose directory entry is `e`.
  Result<std::optional<DesktopChange>> Compare(ItemState& item,
                                               const DirectoryEntry& e);
  // Reads and parses `entry` (not when its hash is `known`'s); nullopt
  // (with a note) when it does not parse.
  Result<std::optional<DesktopChange>> Read(const DirectoryEntry& entry,
                                            SideChange kind,
                                            const ItemState* known);

  const SyncAdapter& adapter_;
  MirrorDirectory& files_;
  CollectionState& state_;
  std::vector<std::string>& notes_;
  std::int64_t trusted_before_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_DIRECTORY_SCANNER_H_
