#include "device/pim/change_log_writer.h"

#include <array>
#include <cstring>

#include "device/objstore/object_store.h"
#include "device/objstore/record_value.h"
#include "device/registry/registry.h"
#include "platform/api.h"
#include "protocol/change_log.h"

namespace device {
namespace {

constexpr const char16_t* kLogNames[] = {
    protocol::kContactLog, protocol::kAppointmentLog, protocol::kTaskLog,
    protocol::kMailLog};

// Keeps the caller's last error across the writer's own platform calls.
class LastErrorKeeper {
 public:
  explicit LastErrorKeeper(DeviceContext& context)
      : context_(context), saved_(context.lastError) {}
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
  ~LastErrorKeeper() { context_.lastError = saved_; }

 private:
  DeviceContext& context_;
  DWORD saved_;
};

std::string Describe(std::u16string_view logName) {
  return Utf16ToUtf8(logName);
}

std::string ErrorText(DWORD error) { return "error " + std::to_string(error); }

Status UnknownLog(std::u16string_view logName) {
  return Status::Error("unknown change log '" + Describe(logName) + "'");
}

}  // namespace

ChangeLogWriter::ChangeLogWriter(DeviceContext& context, ObjectStore& store,
                                 Registry& registry)
    : context_(context), store_(store), registry_(registry) {}

const char16_t* ChangeLogWriter::LogNameFor(int itemType) {
  switch (itemType) {
    case olContactItem:
      return protocol::kContactLog;
    case olAppointmentItem:
      return protocol::kAppointmentLog;
    case olTaskItem:
      return protocol::kTaskLog;
    default:
      return nullptr;
  }
}

bool ChangeLogWriter::IsLogName(std::u16string_view logName) {
  for (const char16_t* name : kLogNames) {
    if (logName == name) return true;
  }
  return false;
}

void ChangeLogWriter::OnChange(int itemType, CEOID oid, int kind) {
  const char16_t* logName = LogNameFor(itemType);
  if (logName == nullptr) return;
  lastStatus_ = Append(logName, oid, kind);
}

Status ChangeLogWriter::AppendMail(CEOID oid, int kind) {
  LastErrorKeeper keeper(context_);
  CEOID written = 0;
  Status appended = Append(protocol::kMailLog, oid, kind, &written);
  if (!appended.ok()) return appended;
  // One entry per message: its latest change. The mail handler looks a
  // key up with CEDB_SEEK_VALUEFIRSTEQUAL and reads that entry's kind.
  CEOID database = 0;
  HANDLE log = store_.CeOpenDatabase(&database, protocol::kMailLog,
                                     protocol::kLogEntryOid, 0, 0);
  if (log == INVALID_HANDLE_VALUE) return Status::Ok();  // an older log
  CEPROPVAL wanted;
  std::memset(&wanted, 0, sizeof(wanted));
  wanted.propid = protocol::kLogEntryOid;
  wanted.val.lVal = static_cast<LONG>(oid);
  std::vector<CEOID> earlier;
  DWORD index = 0;
  CEOID record =
      store_.CeSeekDatabase(log, CEDB_SEEK_VALUEFIRSTEQUAL,
                            reinterpret_cast<DWORD_PTR>(&wanted), &index);
  while (record != 0) {
    if (record != written) earlier.push_back(record);
    record =
        store_.CeSeekDatabase(log, CEDB_SEEK_VALUENEXTEQUAL,
                              reinterpret_cast<DWORD_PTR>(&wanted), &index);
  }
  for (CEOID old : earlier) store_.CeDeleteRecord(log, old);
  context_.handles.Close(log);
  return Status::Ok();
}

Status ChangeLogWriter::Append(std::u16string_view logName, CEOID oid,
                               int kind) {
  LastErrorKeeper keeper(context_);
  return Append(logName, oid, kind, nullptr);
}

Status ChangeLogWriter::Append(std::u16string_view logName, CEOID oid, int kind,
                               CEOID* entry) {
  if (!IsLogName(logName)) return UnknownLog(logName);
  Result<DWORD> current = ReadSequence(logName);
  if (!current.ok()) return current.status();
  DWORD next = *current + 1;
  Result<CEOID> written =
      WriteEntry(logName, oid, next, static_cast<DWORD>(kind));
  if (!written.ok()) return written.status();
  Status stored = StoreSequence(logName, next);
  if (!stored.ok()) {
    // Take the entry back so that log and counter stay in step.
    HANDLE log = OpenLog(logName, false);
    if (log != INVALID_HANDLE_VALUE) {
      store_.CeDeleteRecord(log, *written);
      context_.handles.Close(log);
    }
    return stored;
  }
  if (entry != nullptr) *entry = *written;
  return Status::Ok();
}

Status ChangeLogWriter::AppendRaw(std::u16string_view logName, CEOID oid,
                                  DWORD sequence, DWORD kind) {
  if (!IsLogName(logName)) return UnknownLog(logName);
  LastErrorKeeper keeper(context_);
  Result<CEOID> written = WriteEntry(logName, oid, sequence, kind);
  return written.ok() ? Status::Ok() : written.status();
}

std::vector<ChangeLogWriter::Entry> ChangeLogWriter::List(
    std::u16string_view logName) {
  std::vector<Entry> entries;
  if (!IsLogName(logName)) return entries;
  LastErrorKeeper keeper(context_);
  HANDLE log = OpenLog(logName, false);
  if (log == INVALID_HANDLE_VALUE) return entries;
  std::array<CEPROPID, 3> ids = {protocol::kLogEntryOid,
                                 protocol::kLogEntrySequence,
                                 protocol::kLogEntryKind};
  std::vector<BYTE> buffer(ids.size() * sizeof(CEPROPVAL));
  while (true) {
    WORD count = static_cast<WORD>(ids.size());
    LPBYTE data = buffer.data();
    auto size = static_cast<DWORD>(buffer.size());
    CEOID record =
        store_.CeReadRecordProps(log, 0, &count, ids.data(), &data, &size);
    if (record == 0) {
      if (context_.lastError == ERROR_INSUFFICIENT_BUFFER &&
          size > buffer.size()) {
        buffer.resize(size);
        continue;
      }
      break;
    }
    Entry entry;
    entry.kind = 2;
    for (std::size_t i = 0; i < count; ++i) {
      CEPROPVAL value;
      std::memcpy(&value, buffer.data() + i * sizeof(CEPROPVAL), sizeof(value));
      if ((value.wFlags & CEDB_PROPNOTFOUND) != 0) continue;
      if (value.propid == protocol::kLogEntryOid) {
        entry.oid = static_cast<CEOID>(value.val.lVal);
      } else if (value.propid == protocol::kLogEntrySequence) {
        entry.sequence = static_cast<DWORD>(value.val.lVal);
      } else if (value.propid == protocol::kLogEntryKind) {
        entry.kind = value.val.lVal;
      }
    }
    entries.push_back(entry);
  }
  context_.handles.Close(log);
  return entries;
}

Result<DWORD> ChangeLogWriter::CurrentSequence(std::u16string_view logName) {
  if (!IsLogName(logName)) return UnknownLog(logName);
  LastErrorKeeper keeper(context_);
  return ReadSequence(logName);
}

HANDLE ChangeLogWriter::OpenLog(std::u16string_view logName, bool create) {
  std::u16string name = std::u16string(logName);
  CEOID oid = 0;
  HANDLE log = store_.CeOpenDatabase(
      &oid, name.c_str(), protocol::kLogEntrySequence, CEDB_AUTOINCREMENT, 0);
  if (log != INVALID_HANDLE_VALUE || !create ||
      context_.lastError != ERROR_FILE_NOT_FOUND) {
    return log;
  }
  // The mail log is also sorted on the record key: the mail handler looks
  // a message up there by its key (CEDB_SEEK_VALUEFIRSTEQUAL).
  SORTORDERSPEC sorts[2] = {{protocol::kLogEntrySequence, CEDB_SORT_DESCENDING},
                            {protocol::kLogEntryOid, 0}};
  WORD sortCount = logName == protocol::kMailLog ? 2 : 1;
  if (store_.CeCreateDatabase(name.c_str(), kChangeLogDatabaseType, sortCount,
                              sorts) == 0) {
    return INVALID_HANDLE_VALUE;
  }
  oid = 0;
  return store_.CeOpenDatabase(&oid, name.c_str(), protocol::kLogEntrySequence,
                               CEDB_AUTOINCREMENT, 0);
}

Result<CEOID> ChangeLogWriter::WriteEntry(std::u16string_view logName,
                                          CEOID oid, DWORD sequence,
                                          DWORD kind) {
  HANDLE log = OpenLog(logName, true);
  if (log == INVALID_HANDLE_VALUE) {
    return Status::Error("cannot open change log '" + Describe(logName) +
                         "': " + ErrorText(context_.lastError));
  }
  CEPROPVAL values[3];
  std::memset(values, 0, sizeof(values));
  values[0].propid = protocol::kLogEntryOid;
  values[0].val.lVal = static_cast<LONG>(oid);
  values[1].propid = protocol::kLogEntrySequence;
  values[1].val.lVal = static_cast<LONG>(sequence);
  values[2].propid = protocol::kLogEntryKind;
  values[2].val.lVal = static_cast<LONG>(kind);
  CEOID record = store_.CeWriteRecordProps(log, 0, 3, values);
  DWORD error = context_.lastError;
  context_.handles.Close(log);
  if (record == 0) {
    return Status::Error("cannot write to change log '" + Describe(logName) +
                         "': " + ErrorText(error));
  }
  return record;
}

Result<DWORD> ChangeLogWriter::ReadSequence(std::u16string_view logName) {
  std::u16string name = std::u16string(logName);
  HKEY key = 0;
  LONG opened = registry_.RegOpenKeyExW(
      HKEY_LOCAL_MACHINE, protocol::kOrvanetKey, 0, KEY_READ, &key);
  if (opened == ERROR_FILE_NOT_FOUND) return DWORD{0};
  if (opened != ERROR_SUCCESS) {
    return Status::Error("cannot open HKLM\\SOFTWARE\\Orvanet: " +
                         ErrorText(static_cast<DWORD>(opened)));
  }
  DWORD type = REG_NONE;
  BYTE data[4] = {0, 0, 0, 0};
  DWORD size = sizeof(data);
  LONG queried = registry_.RegQueryValueExW(key, name.c_str(), nullptr, &type,
                                            data, &size);
  registry_.RegCloseKey(key);
  if (queried == ERROR_FILE_NOT_FOUND) return DWORD{0};
  if (queried != ERROR_SUCCESS || type != REG_DWORD || size != 4) {
    return Status::Error("the sequence value '" + Describe(logName) +
                         "' under HKLM\\SOFTWARE\\Orvanet is no REG_DWORD");
  }
  return static_cast<DWORD>(data[0] | (data[1] << 8) | (data[2] << 16) |
                            (static_cast<DWORD>(data[3]) << 24));
}

Status ChangeLogWriter::StoreSequence(std::u16string_view logName,
                                      DWORD sequence) {
  std::u16string name = std::u16string(logName);
  HKEY key = 0;
  LONG created = registry_.RegCreateKeyExW(
      HKEY_LOCAL_MACHINE, protocol::kOrvanetKey, 0, nullptr, 0, KEY_ALL_ACCESS,
      nullptr, &key, nullptr);
  if (created != ERROR_SUCCESS) {
    return Status::Error("cannot create HKLM\\SOFTWARE\\Orvanet: " +
                         ErrorText(static_cast<DWORD>(created)));
  }
  const BYTE data[4] = {
      static_cast<BYTE>(sequence), static_cast<BYTE>(sequence >> 8),
      static_cast<BYTE>(sequence >> 16), static_cast<BYTE>(sequence >> 24)};
  LONG set = registry_.RegSetValueExW(key, name.c_str(), 0, REG_DWORD, data,
                                      sizeof(data));
  registry_.RegCloseKey(key);
  if (set != ERROR_SUCCESS) {
    return Status::Error("cannot store the sequence value '" +
                         Describe(logName) +
                         "': " + ErrorText(static_cast<DWORD>(set)));
  }
  return Status::Ok();
}

}  // namespace device
