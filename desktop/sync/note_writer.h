// The handheld's side of the notes' two-way sync: writes and deletes notes
// and tells what the handheld made of a written note.
#ifndef VORN_DESKTOP_SYNC_NOTE_WRITER_H_
#define VORN_DESKTOP_SYNC_NOTE_WRITER_H_

#include <cstdint>

#include "desktop/base/status.h"
#include "desktop/formats/note.h"
#include "desktop/wire/handheld_client.h"

namespace desktop {

class NoteWriter {
 public:
  virtual ~NoteWriter() = default;
  // Writes `note` under `oid` (0: a new note) and returns the note as the
  // handheld now holds it (its object id and title: the handheld may name
  // the file differently, and a changed title gives a new file).
  virtual Result<Note> Write(std::uint32_t oid, const Note& note) = 0;
  virtual Status Delete(std::uint32_t oid) = 0;
};

// Notes written through a conversation with the handheld: AddRecord or
// UpdateRecord, then GetRecord of the object id the handheld gave back.
class ClientNoteWriter final : public NoteWriter {
 public:
  explicit ClientNoteWriter(HandheldClient& client) : client_(client) {}
  Result<Note> Write(std::uint32_t oid, const Note& note) override;
  Status Delete(std::uint32_t oid) override;

 private:
  HandheldClient& client_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_NOTE_WRITER_H_
