// The note snapshot database "\vnNoteDb" in the object store: one record per
// note file, its object identifier (property 0x00010013, CEVT_UI4) and its
// last-write time when the snapshot was taken (0x00020040, CEVT_FILETIME),
// sorted on both, ascending.
//
// The database's object identifier is module state: the open calls and the
// creation fill it in, and the replacement of a snapshot deletes the
// database it names.
#ifndef VORN_AGENT_NOTES_NOTE_SNAPSHOT_DB_H_
#define VORN_AGENT_NOTES_NOTE_SNAPSHOT_DB_H_

#include "platform/api.h"

namespace agent {

inline constexpr WCHAR kNoteDbName[] = u"\\vnNoteDb";
inline constexpr CEPROPID kNoteOidProp = 0x00010013;
inline constexpr CEPROPID kNoteTimeProp = 0x00020040;

// Opens "\vnNoteDb" by name with `sortProp` (0: the first sort order), no
// flags; INVALID_HANDLE_VALUE when it does not open.
HANDLE OpenNoteDb(CEPROPID sortProp);

// Deletes the database last opened or created (failures ignored) after
// opening it by name to learn its identifier.
void DeleteNoteDb();

// Creates "\vnNoteDb" with its two sort orders; the new identifier, 0 on
// failure.
CEOID CreateNoteDb();

// One snapshot record read at the database's current position: the values
// of the properties present are stored, the others keep what they held.
// False when nothing could be read.
bool ReadSnapshotRecord(HANDLE database, CEOID& oid, FILETIME& time);

}  // namespace agent

#endif  // VORN_AGENT_NOTES_NOTE_SNAPSHOT_DB_H_
