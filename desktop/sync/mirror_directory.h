// The desktop directory that mirrors a handheld's contacts: one vCard file
// per contact named by the handheld's object id ("<oid>.vcf", decimal), so
// that writing or removing one contact touches one name and never needs a
// listing of the directory.
//
// Crash safety: a card is first written to a hidden temporary name
// (".<oid>.vcf.tmp"), staged cards are made durable together, and only then
// renamed over their final names; SyncDirectory makes the renames and
// removals durable. A card file that exists is therefore always complete.
//
// The directory is locked (flock on ".vorn-sync.lock") for the lifetime of
// the object, so two syncs never write the same directory at once.
#ifndef VORN_DESKTOP_SYNC_MIRROR_DIRECTORY_H_
#define VORN_DESKTOP_SYNC_MIRROR_DIRECTORY_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/base/status.h"

namespace desktop {

class MirrorDirectory {
 public:
  // Opens `path`, creating it (not its parents) when missing, and takes the
  // lock. Fails when it is not a directory, cannot be created, or another
  // process holds the lock.
  static Result<std::unique_ptr<MirrorDirectory>> Open(const std::string& path);

  MirrorDirectory(const MirrorDirectory&) = delete;
  MirrorDirectory& operator=(const MirrorDirectory&) = delete;
  // Releases the lock. Staged cards that were not committed stay behind as
  // temporary files and are overwritten or swept by later runs.
  ~MirrorDirectory();

  // "<oid>.vcf".
  static std::string CardName(std::uint32_t oid);
  // The object id of a card file name, or nullopt for any other name.
  static std::optional<std::uint32_t> OidOfCardName(std::string_view name);

  const std::string& path() const { return path_; }

  // Writes `text` to the card's temporary file. Nothing is visible under
  // the card's name until CommitStaged.
  Status StageCard(std::uint32_t oid, std::string_view text);
  // Makes every staged card durable (one flush of the file system for the
  // whole batch) and renames each over its final name. On failure some
  // cards may be in place and the rest still staged.
  Status CommitStaged();
  std::size_t staged_count() const { return staged_.size(); }

  // Removes the card of `oid` (and a temporary file of it); a card that is
  // not there is fine. Reports whether a card was removed.
  Result<bool> RemoveCard(std::uint32_t oid);
  // The card's content, or nullopt when there is no card.
  Result<std::optional<std::string>> ReadCard(std::uint32_t oid) const;

  // Every card's object id, in no particular order. Lists the whole
  // directory: for full mirrors only.
  Result<std::vector<std::uint32_t>> ListCards() const;
  // Removes temporary files left by runs that were cut short, and forgets
  // anything staged (call it with nothing staged). Lists the whole
  // directory: for full mirrors only.
  Status RemoveStrayTemporaries();

  // Makes renames and removals done so far durable (fsync of the
  // directory).
  Status SyncDirectory();

  // Small files beside the cards (the sync state): read whole, and written
  // atomically and durably (temporary file, fsync, rename, fsync of the
  // directory). ReadFile returns nullopt for a file that does not exist.
  Result<std::optional<std::string>> ReadFile(const std::string& name) const;
  Status WriteFileDurably(const std::string& name, std::string_view text);

 private:
  MirrorDirectory(std::string path, int dir_fd, int lock_fd)
      : path_(std::move(path)), dir_fd_(dir_fd), lock_fd_(lock_fd) {}

  // Writes `text` to `name` relative to the directory, truncating it.
  Status WriteWhole(const std::string& name, std::string_view text, bool sync);
  Status Error(const std::string& what, const std::string& name) const;

  std::string path_;
  int dir_fd_;
  int lock_fd_;
  std::vector<std::uint32_t> staged_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_MIRROR_DIRECTORY_H_
