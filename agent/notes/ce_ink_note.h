// The record handler of ink notes (data type 5). A note is a file
// "\My Documents\*.pwi" (note_files.h), identified by the file's object
// identifier; its record on the wire is the title (property 1, the file's
// base name) and the text (property 2), both counted UTF-16 strings.
//
// Changes are not taken from a change log: "\vnNoteDb" holds a snapshot of
// the note files (identifier and last-write time), replaced whole by
// UpdateContract and compared with the files by GetChangedRecords. The
// contract commands 8 to 10 are the base's.
#ifndef VORN_AGENT_NOTES_CE_INK_NOTE_H_
#define VORN_AGENT_NOTES_CE_INK_NOTE_H_

#include "agent/handler/ce_record_handler.h"

namespace agent {

class CCEInkNote : public CCERecordHandler {
 public:
  // Data type 5; registers the rich ink window class when the handheld's
  // version passes the version test.
  CCEInkNote();

  // Deletes the note file `oid`; 1 when deleted, 0 when it has no path or
  // the deletion failed. Writes nothing.
  int DeleteItem(BYTE type, DWORD oid) override;
  // Deletes every note file but the read-only ones → 1, 0.
  int DeleteAllRecords() override;
  // → 1, 0, u32 count of the note files that are not read-only.
  int GetRecordCount() override;
  // Appends {1, 0, u32 oid, u8 propCount}, the title and the text of the
  // note `oid`. 0 when no conversion window could be made (only the seven
  // header bytes stay) or the file did not open ("Create File Failed"; the
  // text is then empty).
  int ReadRecord(IDispatch* item, DWORD oid) override;
  // → list header, 5-byte entries {u32 oid, kind}: 3 for a note deleted
  // since the snapshot, 2 for one written since, then 1 for each note file
  // the snapshot does not hold.
  int GetChangedRecords() override;
  // Replaces the snapshot by one of the current note files → 1, 0.
  int UpdateContract() override;
  // → list header, u32 oid per note file (directories skipped).
  int GetAllRecords() override;
  // Reads one note record (u32 count, then per property u32 id and value)
  // and writes the note file: a new one for identifier 0 or a changed
  // title (the old file is deleted), else the file in place. Stores the
  // file's identifier in bytes 2..5 of `status` and the bytes read in
  // `consumed`. Returns 1.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
};

}  // namespace agent

#endif  // VORN_AGENT_NOTES_CE_INK_NOTE_H_
