#include "agent/handler/ce_record_handler.h"

#include "agent/handler/message_box.h"
#include "agent/session/allocation.h"
#include "agent/session/os_version.h"

namespace agent {
namespace {

// Releases an item that may be null.
void ReleaseItem(IDispatch* item) {
  if (item != nullptr) item->Release();
}

// Counts arrive as u32; the operations compare them as signed numbers.
int AsCount(DWORD value) { return static_cast<int>(value); }

}  // namespace

void SetStatusOid(BYTE* status, DWORD oid) {
  protocol::PutU32(status + 2, oid);
}
void SetStatusId(BYTE* status, DWORD id) { protocol::PutU32(status + 6, id); }

CCERecordHandler::~CCERecordHandler() {
  if (database != INVALID_HANDLE_VALUE) CloseHandle(database);
}

int CCERecordHandler::ItemType() const {
  switch (dataType) {
    case 1:
      return olContactItem;
    case 2:
      return olAppointmentItem;
    case 3:
      return olTaskItem;
    default:
      return 0;
  }
}

int CCERecordHandler::DefaultFolder() const {
  switch (dataType) {
    case 1:
      return olFolderContacts;
    case 2:
      return olFolderCalendar;
    case 3:
      return olFolderTasks;
    default:
      return 0;
  }
}

IPOutlookItemCollection* CCERecordHandler::OpenItems() {
  IFolder* folder = nullptr;
  if (FAILED(app->GetDefaultFolder(DefaultFolder(), &folder)) ||
      folder == nullptr) {
    return nullptr;
  }
  IPOutlookItemCollection* items = nullptr;
  HRESULT result = folder->get_Items(&items);
  folder->Release();
  return SUCCEEDED(result) ? items : nullptr;
}

void CCERecordHandler::WriteStatusPair(const BYTE (&pair)[2]) {
  Append(pair, 2);
}

void CCERecordHandler::PutHeader() { PutAt(0, header, sizeof(header)); }

void CCERecordHandler::SetHeaderCount(DWORD count) {
  protocol::PutU32(header + 2, count);
}

DWORD CCERecordHandler::HeaderCount() const {
  return protocol::GetU32(header + 2);
}

int CCERecordHandler::WriteOneRecord(bool add) {
  BYTE status[protocol::kWriteStatusSize] = {};
  replyLength = 0;
  PutAt(0, status, sizeof(status));
  replyLength += protocol::kWriteStatusSize;
  DWORD offset = 0;
  ReadByte(request, offset);
  DWORD id = ReadLong(request, offset);
  int result = 0;
  IDispatch* item = nullptr;
  HRESULT obtained = S_OK;
  if (UsesObjectModel()) {
    obtained = add ? app->CreateItem(ItemType(), &item)
                   : app->GetItemFromOid(static_cast<LONG>(id), &item);
  }
  if (FAILED(obtained)) {
    status[1] = protocol::kCodeNoItem;
  } else {
    SetStatusOid(status, add ? 0 : id);
    SetStatusId(status, id);
    DWORD consumed = offset;
    if (WriteRecord(item, request + offset, consumed, status) != 0) {
      status[0] = 1;
    }
    // The contact and appointment decoders have released the item already;
    // this second release is part of the handheld's behaviour.
    ReleaseItem(item);
    result = 1;
  }
  PutAt(0, status, sizeof(status));
  replyLength += protocol::kWriteStatusSize;
  return result;
}

int CCERecordHandler::AddRecord() { return WriteOneRecord(true); }

int CCERecordHandler::UpdateRecord() { return WriteOneRecord(false); }

int CCERecordHandler::BatchWrite() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  int count = AsCount(ReadLong(request, offset));
  request += 5;
  if (count < 1) return 1;
  BYTE status[protocol::kWriteStatusSize] = {};
  for (int i = 0; i < count; ++i) {
    offset = 0;
    BYTE op = ReadByte(request, offset);
    ReadByte(request, offset);
    DWORD id = ReadLong(request, offset);
    status[0] = 0;
    SetStatusOid(status, id);
    SetStatusId(status, id);
    IDispatch* item = nullptr;
    HRESULT obtained = S_OK;
    if (op == static_cast<BYTE>(protocol::Command::kAddRecord)) {
      SetStatusOid(status, 0);
      if (UsesObjectModel()) obtained = app->CreateItem(ItemType(), &item);
    } else if (UsesObjectModel()) {
      obtained = app->GetItemFromOid(static_cast<LONG>(id), &item);
    }
    if (FAILED(obtained)) {
      ShowMessage(u"BatchWrite Error", kErrorCaption);
      WriteStatusPair(protocol::kStatusFailed);
      return 0;
    }
    request += 6;
    DWORD consumed = 0;
    if (WriteRecord(item, request, consumed, status) != 0) status[0] = 1;
    ReleaseItem(item);
    request += consumed;
    Append(status, sizeof(status));
  }
  return 1;
}

int CCERecordHandler::DeleteItem(BYTE type, DWORD oid) {
  IDispatch* item = nullptr;
  if (FAILED(app->GetItemFromOid(static_cast<LONG>(oid), &item))) return 0;
  HRESULT deleted = S_OK;
  switch (type) {
    case 1:
      deleted = platform::ItemAs<IContact>(item)->Delete();
      break;
    case 2:
      deleted = platform::ItemAs<IAppointment>(item)->Delete();
      break;
    case 3:
      deleted = platform::ItemAs<ITask>(item)->Delete();
      break;
    default:
      break;
  }
  item->Release();
  return SUCCEEDED(deleted) ? 1 : 0;
}

int CCERecordHandler::DeleteRecord() {
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  DWORD oid = ReadLong(request, offset);
  if (DeleteItem(type, oid) == 1) {
    WriteStatusPair(protocol::kStatusOk);
    return 1;
  }
  WriteStatusPair(protocol::kStatusFailed);
  return 0;
}

int CCERecordHandler::DeleteAllRecords() {
  DWORD offset = 0;
  ReadByte(request, offset);
  IPOutlookItemCollection* items = OpenItems();
  if (items == nullptr) {
    WriteStatusPair(protocol::kStatusFailed);
    return 0;
  }
  int count = 0;
  items->get_Count(&count);
  for (int i = count; i >= 1; --i) items->Remove(i);
  items->Release();
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCERecordHandler::GetRecordCount() {
  DWORD offset = 0;
  ReadByte(request, offset);
  IPOutlookItemCollection* items = OpenItems();
  if (items == nullptr) {
    WriteStatusPair(protocol::kStatusFailed);
    WriteLong(0);
    return 0;
  }
  int count = 0;
  items->get_Count(&count);
  items->Release();
  WriteStatusPair(protocol::kStatusOk);
  WriteLong(static_cast<DWORD>(count));
  return 1;
}

int CCERecordHandler::ReadRecord(IDispatch* /*item*/, DWORD /*oid*/) {
  return 0;
}

int CCERecordHandler::GetRecord() {
  DWORD offset = 0;
  ReadByte(request, offset);
  DWORD oid = ReadLong(request, offset);
  IDispatch* item = nullptr;
  if (UsesObjectModel() &&
      FAILED(app->GetItemFromOid(static_cast<LONG>(oid), &item))) {
    WriteStatusPair(protocol::kStatusFailed);
    return 0;
  }
  ReadRecord(item, oid);
  ReleaseItem(item);
  return 1;
}

int CCERecordHandler::GetRecords() {
  replyLength = 0;
  overflow = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  int wanted = AsCount(ReadLong(request, offset));
  header[0] = 1;
  SetHeaderCount(0);
  PutHeader();
  replyLength = protocol::kListHeaderSize;
  DWORD count = 0;
  for (int i = 0; i < wanted; ++i) {
    DWORD oid = ReadLong(request, offset);
    IDispatch* item = nullptr;
    if (UsesObjectModel() &&
        FAILED(app->GetItemFromOid(static_cast<LONG>(oid), &item))) {
      PutHeader();
      replyLength += protocol::kListHeaderSize;
      return 0;
    }
    ReadRecord(item, oid);
    ReleaseItem(item);
    if (overflow == 1) break;
    ++count;
  }
  SetHeaderCount(count);
  header[0] = 1;
  PutHeader();
  return 1;
}

int CCERecordHandler::DeleteRecords() {
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  int count = AsCount(ReadLong(request, offset));
  for (int i = 0; i < count; ++i) {
    DWORD oid = ReadLong(request, offset);
    if (DeleteItem(type, oid) == 1) WriteLong(oid);
  }
  return 1;
}

int CCERecordHandler::GetAllRecords() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  PutHeader();
  replyLength = protocol::kListHeaderSize;
  CEOID none = 0;
  HANDLE opened = CeOpenDatabase(&none, databaseName, 0, 0, 0);
  if (opened != INVALID_HANDLE_VALUE) {
    DWORD index = 0;
    CEOID oid = CeSeekDatabase(opened, CEDB_SEEK_BEGINNING, 0, &index);
    while (oid != 0) {
      if (IsRecordIncluded(oid) == 1) {
        WriteLong(oid);
        SetHeaderCount(HeaderCount() + 1);
      }
      oid = CeSeekDatabase(opened, CEDB_SEEK_CURRENT, 1, &index);
    }
    header[0] = 1;
  }
  PutHeader();
  if (opened == INVALID_HANDLE_VALUE) return 0;
  CloseHandle(opened);
  return 1;
}

int CCERecordHandler::GetMachineId() {
  WriteLong(protocol::kMachineIdTag);
  // 512 bytes are asked for; one more unit keeps the text terminated.
  WCHAR machineId[257] = {};
  HKEY key = 0;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Orvanet", 0, KEY_READ,
                    &key) == ERROR_SUCCESS) {
    DWORD type = 0;
    DWORD size = 512;
    BYTE raw[512] = {};
    if (RegQueryValueExW(key, u"MachineID", nullptr, &type, raw, &size) ==
        ERROR_SUCCESS) {
      for (DWORD i = 0; i + 1 < size && i + 1 < sizeof(raw); i += 2) {
        machineId[i / 2] = protocol::GetU16(raw + i);
      }
    }
    RegCloseKey(key);
  }
  WriteString(machineId);
  return 1;
}

int CCERecordHandler::CheckOsVersion() {
  WriteLong(IsMapiCapableVersion() ? 1 : 0);
  return 1;
}

int CCERecordHandler::WriteFileData() {
  DWORD offset = 0;
  ReadByte(request, offset);
  OwnedString path = ReadString(request, offset);
  ReadLong(request, offset);
  DWORD size = ReadLong(request, offset);
  const BYTE* data = request.Bytes(offset, size);
  BYTE ok = 0;
  HANDLE file = CreateFileW(path.get(), GENERIC_READ | GENERIC_WRITE, 0,
                            nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  if (file != INVALID_HANDLE_VALUE) {
    SetFilePointer(file, 0, nullptr, FILE_END);
    DWORD written = 0;
    ok = WriteFile(file, data, size, &written, nullptr) != FALSE ? 1 : 0;
  }
  DWORD error = GetLastError();
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  WriteByte(ok);
  WriteByte(0);
  WriteLong(error);
  return 1;
}

int CCERecordHandler::ReadFileData() {
  DWORD offset = 0;
  ReadByte(request, offset);
  OwnedString path = ReadString(request, offset);
  ReadLong(request, offset);
  LONG position = static_cast<LONG>(ReadLong(request, offset));
  DWORD size = ReadLong(request, offset);
  Buffer buffer = AllocateBuffer(size);
  HANDLE file = CreateFileW(path.get(), GENERIC_READ | GENERIC_WRITE, 0,
                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0);
  DWORD count = 0;
  if (file != INVALID_HANDLE_VALUE) {
    SetFilePointer(file, position, nullptr, FILE_BEGIN);
    ReadFile(file, buffer.get(), size, &count, nullptr);
  }
  DWORD error = GetLastError();
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  WriteByte(file != INVALID_HANDLE_VALUE ? 1 : 0);
  WriteByte(0);
  WriteLong(error);
  WriteLong(count);
  Append(buffer.get(), count < size ? count : size);
  return 1;
}

int CCERecordHandler::WriteRecord(IDispatch* /*item*/, RequestPtr /*data*/,
                                  DWORD& /*consumed*/, BYTE* status) {
  replyLength = 0;
  status[0] = 0;
  status[1] = 1;
  return 0;
}

int CCERecordHandler::IsRecordIncluded(DWORD /*oid*/) { return 1; }

}  // namespace agent
