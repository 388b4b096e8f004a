// Ink notes in `vorn put` and `vorn export`: a UTF-8 text file becomes a
// note titled after the file's name, and every note becomes TITLE.txt.
#ifndef VORN_CLI_VORN_NOTE_COMMANDS_H_
#define VORN_CLI_VORN_NOTE_COMMANDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "cli/vorn/command_line.h"
#include "desktop/formats/note.h"
#include "desktop/wire/handheld_client.h"

namespace vorn_cli {

// True when `vorn put` should send `path` as a note: a .txt file.
bool IsNoteFile(const std::string& path);
// vorn put FILE.txt, its text already read.
int RunPutNote(const CommandLine& line, const std::string& path,
               const std::string& text);

// Every note of a handheld.
struct NoteExport {
  std::vector<desktop::Note> notes;
  std::size_t failed = 0;  // records that could not be fetched or decoded
};
desktop::Result<NoteExport> FetchNotes(desktop::HandheldClient& client);

// The file name a note is written to: its title with the characters a host
// file name cannot hold replaced by '_', then ".txt" ("Note OID.txt"
// without a title).
std::string NoteFileName(const desktop::Note& note);

// Writes each note as DIR/TITLE.txt (UTF-8, LF line ends).
struct NoteFiles {
  std::size_t written = 0;
  std::size_t failed = 0;
  std::uint64_t bytes = 0;
};
NoteFiles WriteNoteFiles(const std::string& dir,
                         const std::vector<desktop::Note>& notes);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_NOTE_COMMANDS_H_
