// What one side changed since the last run, and what a run does about it.
#ifndef VORN_DESKTOP_SYNC_SYNC_CHANGES_H_
#define VORN_DESKTOP_SYNC_SYNC_CHANGES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_adapter.h"

namespace desktop {

enum class SideChange { kAdded, kChanged, kDeleted };

struct HandheldChange {
  SideChange kind = SideChange::kChanged;
  std::uint32_t oid = 0;
  std::string uid;        // from the state, or derived for added records
  std::string canonical;  // empty for deletions
  std::string hash;       // of `canonical`
};

struct DesktopChange {
  SideChange kind = SideChange::kChanged;
  std::string file;
  std::string uid;   // the state's, or the file's own for added files
  DesktopItem item;  // empty for deletions
  std::string text;  // the file as read
  std::string hash;  // of `text`
  DirectoryEntry entry;
};

// A file to write from the handheld's content, or to remove.
struct Pull {
  std::string uid;
  std::uint32_t oid = 0;
  std::string file;  // empty: a new file named after the UID
  std::string canonical;
  std::string hash;
  bool remove = false;
};

// A record to write from a file (oid 0: a new record), or to delete.
struct Push {
  std::string uid;  // empty: the file has none (or a taken one)
  std::uint32_t oid = 0;
  std::string file;
  DesktopItem item;
  std::string text;
  std::string file_hash;
  DirectoryEntry entry;
  bool remove = false;
};

// A copy of the losing side of a conflict, for DIR/.vorn-conflicts/.
struct ConflictCopy {
  std::string name;
  std::string text;
  std::string line;  // for the summary
};

struct SyncPlan {
  std::vector<Pull> pulls;
  std::vector<Push> pushes;
  std::vector<ConflictCopy> copies;
  // Items whose both sides agree already: only the state moves.
  std::vector<std::pair<HandheldChange, DesktopChange>> agreed;
  std::vector<std::string> forgotten;  // UIDs deleted on both sides

  std::size_t handheld_deletions() const;
  std::size_t directory_removals() const;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_CHANGES_H_
