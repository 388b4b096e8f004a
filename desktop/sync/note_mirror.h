// The notes of a mirror: DIR/notes/ holds one UTF-8 text file per ink note
// of the handheld, named after its title (TITLE.txt, LF line ends). The
// mirror goes one way: each run rewrites the files from the handheld and
// removes the .txt files of notes the handheld no longer has.
#ifndef VORN_DESKTOP_SYNC_NOTE_MIRROR_H_
#define VORN_DESKTOP_SYNC_NOTE_MIRROR_H_

#include <cstddef>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/note.h"

namespace desktop {

struct NoteMirrorSummary {
  std::size_t written = 0;  // files whose content changed or that are new
  std::size_t unchanged = 0;
  std::size_t removed = 0;
};

class NoteMirror {
 public:
  // The file name of `note`: its title with '/', '\' and control
  // characters as '_', then ".txt"; "Note OID.txt" without a title.
  static std::string FileName(const Note& note);

  // Brings `dir`/notes/ in line with `notes`. Nothing is created when there
  // are no notes and no notes directory.
  static Result<NoteMirrorSummary> Update(const std::string& dir,
                                          const std::vector<Note>& notes);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_NOTE_MIRROR_H_
