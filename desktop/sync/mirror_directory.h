// A directory the sync writes: the mirror's top directory (state file,
// lock) and each collection below it (DIR/contacts/, one file per item).
//
// Crash safety: a file is first written to a hidden temporary name
// (".<name>.tmp"), staged files are made durable together (one flush of the
// file system, which gives each the guarantee of an fsync), and only then
// renamed over their final names; SyncDirectory makes the renames and
// removals durable. A file that exists is therefore always complete.
//
// The top directory is locked (flock on ".vorn-sync.lock") for the lifetime
// of the object, so two syncs never write the same mirror at once;
// subdirectories opened through it share that lock.
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

struct DirectoryEntry {
  std::string name;
  std::uint64_t size = 0;
  std::int64_t mtime = 0;  // nanoseconds since 1970
  // The file system's coarse clock just before the stamps were taken
  // (nanoseconds since 1970). A write after that gets a modification time
  // of at least this, so stamps older than it cannot come back with other
  // content.
  std::int64_t checked = 0;
};

class MirrorDirectory {
 public:
  // Opens `path`, creating it (not its parents) when missing, and takes the
  // lock. Fails when it is not a directory, cannot be created, or another
  // process holds the lock.
  static Result<std::unique_ptr<MirrorDirectory>> Open(const std::string& path);

  MirrorDirectory(const MirrorDirectory&) = delete;
  MirrorDirectory& operator=(const MirrorDirectory&) = delete;
  // Releases the lock. Staged files that were not committed stay behind as
  // temporary files and are swept by later runs.
  ~MirrorDirectory();

  // Opens (creating it when missing) the subdirectory `name`, under the
  // lock of this one.
  Result<std::unique_ptr<MirrorDirectory>> OpenSubdirectory(
      const std::string& name);

  const std::string& path() const { return path_; }

  // Writes `text` to the temporary file of `name`. Nothing is visible under
  // `name` until CommitStaged.
  Status StageFile(const std::string& name, std::string_view text);
  // Makes every staged file durable and renames each over its final name.
  // On failure some files may be in place and the rest still staged.
  Status CommitStaged();
  std::size_t staged_count() const { return staged_.size(); }

  // Removes `name` (and a temporary file of it); a file that is not there
  // is fine. Reports whether a file was removed.
  Result<bool> RemoveFile(const std::string& name);
  // Renames `from` to `to` (replacing it).
  Status Rename(const std::string& from, const std::string& to);

  // The regular files whose names end in `suffix` and do not start with
  // '.', with size and modification time.
  Result<std::vector<DirectoryEntry>> List(std::string_view suffix) const;
  // Size and modification time of `name`, or nullopt when it is missing.
  Result<std::optional<DirectoryEntry>> Stat(const std::string& name) const;
  // Removes temporary files left by runs that were cut short, and forgets
  // anything staged (call it with nothing staged).
  Status RemoveStrayTemporaries();

  // Makes renames and removals done so far durable (fsync of the
  // directory).
  Status SyncDirectory();

  // Whole files: ReadFile returns nullopt for a file that does not exist;
  // WriteFileDurably writes atomically and durably (temporary file, fsync,
  // rename, fsync of the directory).
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
  int lock_fd_;  // -1 for subdirectories
  std::vector<std::string> staged_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_MIRROR_DIRECTORY_H_
