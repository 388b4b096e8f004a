// The notes of a mirror, both ways: DIR/notes/ holds one UTF-8 text file
// per ink note of the handheld (NoteMirror::FileName), and a run brings
// changes of either side to the other.
//
// What the last run left is kept in DIR/.vorn-notes.json: the SHA-256 of
// each file's text as both sides last agreed on it. A side whose text
// differs from it (or that lost or gained the file) changed:
//   - only the handheld: the file is written or removed;
//   - only the directory: the note is written (a new file makes a new note,
//     titled after the file's name) or deleted on the handheld;
//   - both, to different texts: a conflict, decided by the policy (for
//     "newest", the handheld's change is dated in the middle of the time
//     since the last run, as for contacts); the losing text is kept under
//     DIR/.vorn-conflicts/.
// Notes are paired with files by name, since a note's object id is that of
// its file and changes when the handheld writes it anew. A written note
// whose title the handheld changed (characters a file name on the handheld
// cannot hold, a title already taken) moves its file to the new name.
//
// A run cut anywhere loses nothing: a side that already has the other's
// text counts as agreed on the next run. A run that would delete more
// than half of the notes the last run knew on either side is refused
// unless forced. Notes whose text the handheld could not send are left
// alone.
#ifndef VORN_DESKTOP_SYNC_NOTE_SYNC_H_
#define VORN_DESKTOP_SYNC_NOTE_SYNC_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/note.h"
#include "desktop/sync/conflict_resolver.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/note_writer.h"

namespace desktop {

struct NoteSyncOptions {
  ConflictPolicy conflict = ConflictPolicy::kHandheld;
  bool force = false;
};

struct NoteSyncSummary {
  std::size_t written = 0;  // files written from the handheld's notes
  std::size_t removed = 0;  // files of notes the handheld deleted
  std::size_t unchanged = 0;
  std::size_t sent_added = 0;  // notes written or deleted on the handheld
  std::size_t sent_changed = 0;
  std::size_t sent_deleted = 0;
  std::vector<std::string> conflicts;  // one line each
};

class NoteSync {
 public:
  static constexpr char kStateFile[] = ".vorn-notes.json";
  static constexpr char kConflictDir[] = ".vorn-conflicts";

  // Syncs `top`/notes/ with `notes` (every note the handheld has), writing
  // to the handheld through `handheld`. Nothing is created when there are
  // no notes, no notes directory and no state.
  static Result<NoteSyncSummary> Run(MirrorDirectory& top,
                                     const std::vector<Note>& notes,
                                     NoteWriter& handheld,
                                     const NoteSyncOptions& options);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_NOTE_SYNC_H_
