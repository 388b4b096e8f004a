// Note files: every file "\My Documents\*.pwi" is one ink note, identified
// on the wire by the file's object identifier. Paths, titles and names of
// new notes are made here.
//
// The numbering counter of untitled notes and of names already taken lives
// as long as the agent is loaded: it starts at 1 and is never reset, so
// conversations one after another in one loaded agent go on counting.
#ifndef VORN_AGENT_NOTES_NOTE_FILES_H_
#define VORN_AGENT_NOTES_NOTE_FILES_H_

#include "agent/session/request_reader.h"
#include "platform/api.h"

namespace agent {

inline constexpr WCHAR kNotesDirectory[] = u"My Documents";
inline constexpr WCHAR kNoteExtension[] = u"pwi";
inline constexpr WCHAR kUntitledNote[] = u"Note";

// The numbering counter's current value (the next number to use).
DWORD NoteCounter();

// The full path of the note file `oid`; null when the object is unknown or
// no file.
OwnedString NotePathFromOid(CEOID oid);

// When `path` names a file (not a directory), its object identifier goes to
// `oid`; otherwise `oid` is left as it is.
void NoteOidFromPath(LPCWSTR path, CEOID& oid);

// The characters of `path` after its last backslash up to its last dot.
// Without a dot the last character is dropped. `path` must not be null (a
// fault otherwise: the handheld reads through it).
OwnedString NoteTitleFromPath(LPCWSTR path);

// The path of a new note file. With a title: the title with the characters
// a file name cannot hold replaced by "_" (in place) as
// "\My Documents\TITLE.pwi"; without: "\My Documents\NoteN.pwi" with the
// counter as N, which then moves on. While the name is taken, the counter
// is appended ("TITLE_N.pwi", "Note_N.pwi"), each probe using up a number.
OwnedString ComposeNotePath(WCHAR* title);

// How a walk over the note files treats its entries.
enum class NoteWalk {
  // Read-only files are skipped; only ERROR_NO_MORE_FILES ends the walk.
  kSkipReadOnly,
  // Directories are skipped; any failure of FindNextFileW ends the walk.
  kSkipDirectories,
};

// Calls `visit` with each entry of "\My Documents\*.pwi" that `walk` keeps.
void ForEachNoteFile(NoteWalk walk,
                     void (*visit)(const WIN32_FIND_DATAW& found,
                                   void* context),
                     void* context);

// Calls `visit(found)` for each note file that `walk` keeps.
template <typename Visit>
void ForEachNoteFile(NoteWalk walk, Visit&& visit) {
  ForEachNoteFile(
      walk,
      [](const WIN32_FIND_DATAW& found, void* context) {
        (*static_cast<Visit*>(context))(found);
      },
      &visit);
}

}  // namespace agent

#endif  // VORN_AGENT_NOTES_NOTE_FILES_H_
