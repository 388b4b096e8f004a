#include "agent/notes/ce_ink_note.h"

#include "agent/handler/message_box.h"
#include "agent/notes/ink_conversion.h"
#include "agent/notes/note_files.h"
#include "agent/notes/note_snapshot_db.h"
#include "agent/session/os_version.h"
#include "platform/fault.h"

namespace agent {
namespace {

constexpr WCHAR kNoteCaption[] = u"CCEInkNote";
constexpr WCHAR kAgentCaption[] = u"VornApiMgr";
constexpr DWORD kTitleProp = 1;
constexpr DWORD kTextProp = 2;

constexpr BYTE kKindNew = 1;
constexpr BYTE kKindChanged = 2;
constexpr BYTE kKindDeleted = 3;

}  // namespace

CCEInkNote::CCEInkNote() {
  dataType = 5;
  if (IsMapiCapableVersion()) InitRichInkDLL();
}

int CCEInkNote::DeleteItem(BYTE /*type*/, DWORD oid) {
  OwnedString path = NotePathFromOid(oid);
  if (path == nullptr) return 0;
  return DeleteFileW(path.get()) != FALSE ? 1 : 0;
}

int CCEInkNote::DeleteAllRecords() {
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  ForEachNoteFile(NoteWalk::kSkipReadOnly,
                  [this, type](const WIN32_FIND_DATAW& found) {
                    DeleteItem(type, found.dwOID);
                  });
  WriteByte(1);
  WriteByte(0);
  return 1;
}

int CCEInkNote::GetRecordCount() {
  DWORD offset = 0;
  ReadByte(request, offset);
  DWORD count = 0;
  ForEachNoteFile(NoteWalk::kSkipReadOnly,
                  [&count](const WIN32_FIND_DATAW& /*found*/) { ++count; });
  WriteByte(1);
  WriteByte(0);
  WriteLong(count);
  return 1;
}

int CCEInkNote::ReadRecord(IDispatch* /*item*/, DWORD oid) {
  header[6] = 0;
  DWORD headerAt = replyLength;
  Append(header, sizeof(header));

  HWND window = CreateConversionWindow();
  if (window == 0) return 0;
  int result = 1;
  OwnedString path = NotePathFromOid(oid);
  HANDLE file = INVALID_HANDLE_VALUE;
  if (path != nullptr) {
    file = CreateFileW(path.get(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, 0);
  }
  OwnedString text;
  if (file != INVALID_HANDLE_VALUE) {
    text = NoteTextFromFile(window, file);
  } else {
    ShowMessage(u"Create File Failed", kNoteCaption);
    result = 0;
  }
  DestroyConversionWindow(window);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);

  // Without a path the handheld reads the title through a null pointer.
  OwnedString title = NoteTitleFromPath(path.get());
  WritePropString(kTitleProp, title.get());
  WritePropString(kTextProp, text != nullptr ? text.get() : u"");

  header[0] = 1;
  header[1] = 0;
  protocol::PutU32(header + 2, oid);
  PutAt(headerAt, header, sizeof(header));
  return result;
}

int CCEInkNote::GetChangedRecords() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  OwnedString unused = ReadString(request, offset);
  Append(header, sizeof(header));
  header[0] = 0;
  SetHeaderCount(0);
  auto addEntry = [this](CEOID oid, BYTE kind) {
    WriteLong(oid);
    WriteByte(kind);
    SetHeaderCount(HeaderCount() + 1);
  };

  HANDLE database = OpenNoteDb(0);
  if (database == INVALID_HANDLE_VALUE) {
    ShowMessage(u"Db Open fail", kAgentCaption);
  }
  CEOID recorded = 0;
  FILETIME recordedTime = {};
  for (DWORD index = 0;; ++index) {
    DWORD position = 0;
    if (CeSeekDatabase(database, CEDB_SEEK_BEGINNING, index, &position) == 0) {
      break;
    }
    ReadSnapshotRecord(database, recorded, recordedTime);
    OwnedString path = NotePathFromOid(recorded);
    WIN32_FIND_DATAW found = {};
    HANDLE search = path != nullptr ? FindFirstFileW(path.get(), &found)
                                    : INVALID_HANDLE_VALUE;
    if (search != INVALID_HANDLE_VALUE) {
      if (CompareFileTime(&found.ftLastWriteTime, &recordedTime) == 1) {
        addEntry(found.dwOID, kKindChanged);
      }
      FindClose(search);
    } else {
      addEntry(recorded, kKindDeleted);
    }
  }
  if (database != INVALID_HANDLE_VALUE) CloseHandle(database);

  database = OpenNoteDb(kNoteOidProp);
  ForEachNoteFile(NoteWalk::kSkipDirectories,
                  [&](const WIN32_FIND_DATAW& found) {
                    DWORD position = 0;
                    CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 0, &position);
                    CEPROPVAL wanted = {};
                    wanted.propid = kNoteOidProp;
                    wanted.val.ulVal = found.dwOID;
                    if (CeSeekDatabase(database, CEDB_SEEK_VALUEFIRSTEQUAL,
                                       reinterpret_cast<DWORD_PTR>(&wanted),
                                       &position) == 0) {
                      addEntry(found.dwOID, kKindNew);
                    }
                  });
  if (database != INVALID_HANDLE_VALUE) CloseHandle(database);
  header[0] = 1;
  PutHeader();
  return 1;
}

int CCEInkNote::UpdateContract() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  OwnedString unused = ReadString(request, offset);
  DeleteNoteDb();
  if (CreateNoteDb() == 0) {
    ShowMessage(u"Failed to create InkNote DB", kAgentCaption);
  }
  HANDLE database = OpenNoteDb(0);
  ForEachNoteFile(NoteWalk::kSkipReadOnly,
                  [database](const WIN32_FIND_DATAW& found) {
                    CEPROPVAL values[2] = {};
                    values[0].propid = kNoteOidProp;
                    values[0].val.ulVal = found.dwOID;
                    values[1].propid = kNoteTimeProp;
                    values[1].val.filetime = found.ftLastWriteTime;
                    if (CeWriteRecordProps(database, 0, 2, values) == 0) {
                      ShowMessage(u"InkNote DB writeRec failed", kAgentCaption);
                    }
                  });
  if (database != INVALID_HANDLE_VALUE) CloseHandle(database);
  WriteByte(1);
  WriteByte(0);
  return 1;
}

int CCEInkNote::GetAllRecords() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  Append(header, sizeof(header));
  header[0] = 0;
  SetHeaderCount(0);
  ForEachNoteFile(NoteWalk::kSkipDirectories,
                  [this](const WIN32_FIND_DATAW& found) {
                    WriteLong(found.dwOID);
                    SetHeaderCount(HeaderCount() + 1);
                  });
  header[0] = 1;
  PutHeader();
  return 1;
}

int CCEInkNote::WriteRecord(IDispatch* /*item*/, RequestPtr data,
                            DWORD& consumed, BYTE* status) {
  DWORD offset = 0;
  int count = static_cast<int>(ReadLong(data, offset));
  OwnedString title;
  OwnedString text;
  for (int i = 0; i < count; ++i) {
    DWORD id = ReadLong(data, offset);
    if (id == kTitleProp) {
      title = ReadString(data, offset);
    } else if (id == kTextProp) {
      text = ReadString(data, offset);
    } else {
      // The value is left unread: the next round reads from where it begins.
      ShowMessage(u"WriteRecord()\nUnrec Field", kNoteCaption);
    }
  }
  if (count >= 1 && text == nullptr && title != nullptr) {
    std::size_t length = wcslen(title.get());
    text.reset(new WCHAR[length + 1]());
    std::copy(title.get(), title.get() + length, text.get());
  }

  CEOID oid = protocol::GetU32(status + 2);
  OwnedString path;
  if (oid != 0) path = NotePathFromOid(oid);
  if (path != nullptr) {
    OwnedString current = NoteTitleFromPath(path.get());
    // The handheld compares through the incoming title even when none came.
    if (title == nullptr) throw platform::Fault("note title missing");
    if (wcscmp(title.get(), current.get()) != 0) {
      DeleteItem(0, oid);
      path = ComposeNotePath(title.get());
    }
  } else {
    path = ComposeNotePath(title.get());
  }

  HWND window = CreateConversionWindow();
  NoteFileFromText(window, text.get(), path.get());
  DestroyConversionWindow(window);

  NoteOidFromPath(path.get(), oid);
  protocol::PutU32(status + 2, oid);
  consumed = offset;
  return 1;
}

}  // namespace agent
