#include "agent/notes/note_snapshot_db.h"

namespace agent {
namespace {

CEOID g_noteDb = 0;

}  // namespace

HANDLE OpenNoteDb(CEPROPID sortProp) {
  CEGUID volume = {};
  // Opened by name: the identifier goes to the module's variable.
  g_noteDb = 0;
  return CeOpenDatabaseEx(&volume, &g_noteDb, kNoteDbName, sortProp, 0,
                          nullptr);
}

void DeleteNoteDb() {
  CEGUID volume = {};
  HANDLE database = OpenNoteDb(0);
  if (database != INVALID_HANDLE_VALUE) CloseHandle(database);
  CeDeleteDatabaseEx(&volume, g_noteDb);
}

CEOID CreateNoteDb() {
  CEGUID volume = {};
  CEDBASEINFO info = {};
  info.dwFlags = CEDB_VALIDNAME | CEDB_VALIDSORTSPEC;
  std::u16string_view(kNoteDbName)
      .copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  info.wNumSortOrder = 2;
  info.rgSortSpecs[0] = {kNoteOidProp, 0};
  info.rgSortSpecs[1] = {kNoteTimeProp, 0};
  g_noteDb = CeCreateDatabaseEx(&volume, &info);
  return g_noteDb;
}

bool ReadSnapshotRecord(HANDLE database, CEOID& oid, FILETIME& time) {
  WORD count = 0;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  if (CeReadRecordPropsEx(database, CEDB_ALLOWREALLOC, &count, nullptr, &buffer,
                          &size, 0) == 0) {
    if (buffer != nullptr) LocalFree(buffer);
    return false;
  }
  if (buffer != nullptr) {
    // The platform lays the values out as an array at the buffer's start.
    const auto* values = reinterpret_cast<const CEPROPVAL*>(buffer);
    for (WORD i = 0; i < count; ++i) {
      if ((values[i].wFlags & CEDB_PROPNOTFOUND) != 0) continue;
      if (values[i].propid == kNoteOidProp) oid = values[i].val.ulVal;
      if (values[i].propid == kNoteTimeProp) time = values[i].val.filetime;
    }
    LocalFree(buffer);
  }
  return true;
}

}  // namespace agent
