#include "device/objstore/object_store.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "device/objstore/record_buffer.h"
#include "device/objstore/sort_key.h"
#include "platform/api.h"

namespace device {

// An open database: which order it walks and where its seek pointer stands.
// The pointer is the current record's place in the order, or the end (past
// the last record). The record's index in the order is remembered while no
// record of the database changes.
class ObjectStore::Cursor : public KernelObject {
 public:
  Cursor(std::shared_ptr<Shared> shared, CEOID database, int sort,
         std::optional<SortOrder> order, bool autoIncrement)
      : shared_(std::move(shared)),
        database_(database),
        sort_(sort),
        order_(order),
        autoIncrement_(autoIncrement) {
    ++shared_->openCounts[database_];
  }
  ~Cursor() override {
    if (--shared_->openCounts[database_] <= 0) {
      shared_->openCounts.erase(database_);
    }
  }

  RecordTable* records() const { return shared_->records; }
  CEOID database() const { return database_; }
  int sort() const { return sort_; }
  const std::optional<SortOrder>& order() const { return order_; }
  bool autoIncrement() const { return autoIncrement_; }
  bool atEnd() const { return !current_.has_value(); }

  // The current place, following the record when a write moved it in the
  // order. A deleted record keeps its last place.
  const RecordPosition* Current() {
    if (!current_) return nullptr;
    std::optional<RecordPosition> now =
        records()->PositionOf(database_, sort_, current_->oid);
    if (now && now->key != current_->key) {
      current_ = std::move(now);
      index_.reset();
    }
    return &*current_;
  }

  void MoveTo(std::optional<RecordPosition> position,
              std::optional<std::uint32_t> index) {
    current_ = std::move(position);
    index_ = current_ ? index : std::nullopt;
    generation_ = records()->Generation(database_);
  }

  // The current record's index in the order (the record count at the end).
  std::uint32_t Index() {
    if (!current_) return records()->RecordCount(database_);
    if (!index_ || generation_ != records()->Generation(database_)) {
      index_ = records()->CountBefore(database_, sort_, *current_);
      generation_ = records()->Generation(database_);
    }
    return *index_;
  }

  // The index when it is known without counting.
  std::optional<std::uint32_t> KnownIndex() const {
    if (!current_ || generation_ != records()->Generation(database_)) {
      return std::nullopt;
    }
    return index_;
  }

 private:
  std::shared_ptr<Shared> shared_;
  CEOID database_;
  int sort_;
  std::optional<SortOrder> order_;
  bool autoIncrement_;
  std::optional<RecordPosition> current_;
  std::optional<std::uint32_t> index_;
  std::uint64_t generation_ = 0;
};

namespace {

constexpr std::size_t kMaxNameLength = CEDB_MAXDBASENAMELEN - 1;

// The length of a name of at most `limit` units, or nullopt when no
// terminating zero comes within `limit` + 1 units.
std::optional<std::size_t> BoundedLength(LPCWSTR name, std::size_t limit) {
  for (std::size_t i = 0; i <= limit; ++i) {
    if (name[i] == 0) return i;
  }
  return std::nullopt;
}

bool ValidSorts(WORD count, const SORTORDERSPEC* sorts) {
  if (count > CEDB_MAXSORTORDER) return false;
  if (count > 0 && sorts == nullptr) return false;
  constexpr DWORD kKnown = CEDB_SORT_DESCENDING | CEDB_SORT_CASEINSENSITIVE |
                           CEDB_SORT_UNKNOWNFIRST | CEDB_SORT_GENERICORDER;
  for (WORD i = 0; i < count; ++i) {
    if (!IsRecordValueType(TypeFromPropID(sorts[i].propid))) return false;
    if ((sorts[i].dwFlags & ~kKnown) != 0) return false;
  }
  return true;
}

}  // namespace

ObjectStore::ObjectStore(DeviceContext& context)
    : context_(context),
      records_(std::make_unique<RecordTable>(context.image)),
      shared_(std::make_shared<Shared>()) {
  shared_->records = records_.get();
}

ObjectStore::~ObjectStore() { shared_->records = nullptr; }

void ObjectStore::SetFileInfoSource(
    std::function<BOOL(CEOID, CEOIDINFO*)> source) {
  fileInfoSource_ = std::move(source);
}

CEOID ObjectStore::Fail(DWORD error) {
  context_.lastError = error;
  return 0;
}

ObjectStore::Cursor* ObjectStore::CursorOf(HANDLE database) {
  Cursor* cursor = context_.handles.Get<Cursor>(database);
  return cursor != nullptr && cursor->records() != nullptr ? cursor : nullptr;
}

bool ObjectStore::IsObjectStoreVolume(const CEGUID* volume) {
  return volume == nullptr || (volume->Data1 == 0 && volume->Data2 == 0 &&
                               volume->Data3 == 0 && volume->Data4 == 0);
}

CEOID ObjectStore::CeCreateDatabase(LPCWSTR name, DWORD type, WORD sortCount,
                                    SORTORDERSPEC* sorts) {
  if (name == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  std::optional<std::size_t> length = BoundedLength(name, kMaxNameLength);
  if (!length || *length == 0 || !ValidSorts(sortCount, sorts)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  std::u16string_view text(name, *length);
  if (records_->FindDatabaseByName(text)) return Fail(ERROR_DUP_NAME);
  std::vector<SortOrder> orders;
  for (WORD i = 0; i < sortCount; ++i) {
    orders.push_back({sorts[i].propid, sorts[i].dwFlags});
  }
  return records_->CreateDatabase(text, type, orders);
}

CEOID ObjectStore::CeCreateDatabaseEx(PCEGUID volume, CEDBASEINFO* info) {
  if (!IsObjectStoreVolume(volume)) return Fail(ERROR_CALL_NOT_IMPLEMENTED);
  if (info == nullptr || (info->dwFlags & CEDB_VALIDNAME) == 0) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  std::optional<std::size_t> length =
      BoundedLength(info->szDbaseName, kMaxNameLength);
  if (!length) return Fail(ERROR_INVALID_PARAMETER);
  DWORD type = (info->dwFlags & CEDB_VALIDTYPE) != 0 ? info->dwDbaseType : 0;
  WORD sortCount =
      (info->dwFlags & CEDB_VALIDSORTSPEC) != 0 ? info->wNumSortOrder : 0;
  return CeCreateDatabase(info->szDbaseName, type, sortCount,
                          info->rgSortSpecs);
}

HANDLE ObjectStore::CeOpenDatabase(PCEOID oid, LPCWSTR name, CEPROPID sortProp,
                                   DWORD flags, HWND notify) {
  if (notify != 0) {
    Fail(ERROR_CALL_NOT_IMPLEMENTED);
    return INVALID_HANDLE_VALUE;
  }
  if ((flags & ~CEDB_AUTOINCREMENT) != 0) {
    Fail(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  std::optional<DatabaseInfo> info;
  if (oid != nullptr && *oid != 0) {
    info = records_->FindDatabase(*oid);
    if (!info) {
      Fail(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
    }
  } else {
    if (name == nullptr) {
      Fail(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
    }
    info = records_->FindDatabaseByName(
        std::u16string_view(name, Utf16Length(name)));
    if (!info) {
      Fail(ERROR_FILE_NOT_FOUND);
      return INVALID_HANDLE_VALUE;
    }
  }
  int sort = RecordTable::kOidOrder;
  std::optional<SortOrder> order;
  if (sortProp == 0) {
    if (!info->sorts.empty()) {
      sort = 0;
      order = info->sorts[0];
    }
  } else {
    auto it = std::find_if(
        info->sorts.begin(), info->sorts.end(),
        [sortProp](const SortOrder& s) { return s.propid == sortProp; });
    if (it == info->sorts.end()) {
      Fail(ERROR_INVALID_PARAMETER);
      return INVALID_HANDLE_VALUE;
    }
    sort = static_cast<int>(it - info->sorts.begin());
    order = *it;
  }
  auto cursor = std::make_unique<Cursor>(shared_, info->oid, sort, order,
                                         (flags & CEDB_AUTOINCREMENT) != 0);
  cursor->MoveTo(records_->FromStart(info->oid, sort, 0), 0);
  if (oid != nullptr) *oid = info->oid;
  return context_.handles.Add(std::move(cursor));
}

HANDLE ObjectStore::CeOpenDatabaseEx(PCEGUID volume, PCEOID oid, LPCWSTR name,
                                     CEPROPID sortProp, DWORD flags,
                                     void* notify) {
  if (!IsObjectStoreVolume(volume) || notify != nullptr) {
    Fail(ERROR_CALL_NOT_IMPLEMENTED);
    return INVALID_HANDLE_VALUE;
  }
  return CeOpenDatabase(oid, name, sortProp, flags, 0);
}

CEOID ObjectStore::CeSeekDatabase(HANDLE database, DWORD seekType,
                                  DWORD_PTR value, LPDWORD index) {
  Cursor* cursor = CursorOf(database);
  if (cursor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  RecordTable& table = *records_;
  CEOID db = cursor->database();
  int sort = cursor->sort();
  std::optional<RecordPosition> found;
  std::optional<std::uint32_t> foundIndex;
  switch (seekType) {
    case CEDB_SEEK_BEGINNING: {
      auto skip = static_cast<DWORD>(value);
      found = table.FromStart(db, sort, skip);
      foundIndex = skip;
      break;
    }
    case CEDB_SEEK_END:
      found = table.FromEnd(db, sort, static_cast<DWORD>(value));
      break;
    case CEDB_SEEK_CURRENT: {
      auto count = static_cast<std::int64_t>(static_cast<LONG>(value));
      std::optional<std::uint32_t> known = cursor->KnownIndex();
      const RecordPosition* current = cursor->Current();
      if (current == nullptr) {
        if (count < 0) {
          found = table.FromEnd(db, sort, static_cast<DWORD>(-count - 1));
        }
      } else if (count == 0) {
        if (table.RecordParent(current->oid) == db) found = *current;
        foundIndex = known;
      } else if (count > 0) {
        found = table.After(db, sort, *current, static_cast<DWORD>(count - 1));
        if (known) foundIndex = *known + static_cast<std::uint32_t>(count);
      } else {
        found =
            table.Before(db, sort, *current, static_cast<DWORD>(-count - 1));
        if (known && *known >= static_cast<std::uint32_t>(-count)) {
          foundIndex = *known - static_cast<std::uint32_t>(-count);
        }
      }
      break;
    }
    case CEDB_SEEK_CEOID: {
      auto oid = static_cast<CEOID>(value);
      if (oid != 0 && table.RecordParent(oid) == db) {
        found = table.PositionOf(db, sort, oid);
      }
      break;
    }
    case CEDB_SEEK_VALUEFIRSTEQUAL:
    case CEDB_SEEK_VALUENEXTEQUAL:
    case CEDB_SEEK_VALUESMALLER:
    case CEDB_SEEK_VALUEGREATER: {
      // The value is a CEPROPVAL the caller passes by address.
      const auto* wanted = reinterpret_cast<const CEPROPVAL*>(value);
      if (!cursor->order() || wanted == nullptr ||
          wanted->propid != cursor->order()->propid) {
        return Fail(ERROR_INVALID_PARAMETER);
      }
      std::optional<RecordValue> parsed = RecordValueFromPropVal(*wanted);
      if (!parsed) return Fail(ERROR_INVALID_PARAMETER);
      std::vector<std::uint8_t> key =
          EncodeSortKey(&*parsed, cursor->order()->flags);
      const RecordPosition* current = cursor->Current();
      if (seekType == CEDB_SEEK_VALUEFIRSTEQUAL) {
        found = table.FirstWithKey(db, sort, key);
      } else if (seekType == CEDB_SEEK_VALUENEXTEQUAL) {
        if (current != nullptr) {
          std::optional<RecordPosition> next =
              table.After(db, sort, *current, 0);
          if (next && next->key == key) found = std::move(next);
        }
      } else if (seekType == CEDB_SEEK_VALUESMALLER) {
        found = table.LastValueAtMost(db, sort, key, current);
      } else {
        found = table.FirstValueAtLeast(db, sort, key, current);
      }
      break;
    }
    default:
      return Fail(ERROR_INVALID_PARAMETER);
  }
  if (!found) {
    cursor->MoveTo(std::nullopt, std::nullopt);
    return Fail(ERROR_NO_MORE_ITEMS);
  }
  CEOID oid = found->oid;
  cursor->MoveTo(std::move(found), foundIndex);
  if (index != nullptr) *index = cursor->Index();
  return oid;
}

CEOID ObjectStore::CeReadRecordProps(HANDLE database, DWORD flags,
                                     LPWORD propCount, CEPROPID* propIds,
                                     LPBYTE* buffer, LPDWORD bufferSize) {
  return ReadProps(database, flags, propCount, propIds, buffer, bufferSize);
}

CEOID ObjectStore::CeReadRecordPropsEx(HANDLE database, DWORD flags,
                                       LPWORD propCount, CEPROPID* propIds,
                                       LPBYTE* buffer, LPDWORD bufferSize,
                                       HANDLE heap) {
  if (heap != 0) return Fail(ERROR_CALL_NOT_IMPLEMENTED);
  return ReadProps(database, flags, propCount, propIds, buffer, bufferSize);
}

CEOID ObjectStore::ReadProps(HANDLE database, DWORD flags, LPWORD propCount,
                             CEPROPID* propIds, LPBYTE* buffer,
                             LPDWORD bufferSize) {
  Cursor* cursor = CursorOf(database);
  if (cursor == nullptr || propCount == nullptr || buffer == nullptr ||
      bufferSize == nullptr) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const RecordPosition* current = cursor->Current();
  if (current == nullptr) return Fail(ERROR_NO_MORE_ITEMS);
  CEOID oid = current->oid;
  if (records_->RecordParent(oid) != cursor->database()) {
    return Fail(ERROR_KEY_DELETED);
  }
  bool all = propIds == nullptr || *propCount == 0;
  std::vector<CEPROPID> wanted;
  if (!all) wanted.assign(propIds, propIds + *propCount);
  RecordBuffer layout(records_->ReadRecord(oid), all, wanted);
  std::size_t needed = layout.size();
  if ((flags & CEDB_ALLOWREALLOC) != 0) {
    if (needed > 0 && (*buffer == nullptr || *bufferSize < needed)) {
      auto* fresh = static_cast<LPBYTE>(LocalAlloc(LMEM_FIXED, needed));
      if (fresh == nullptr) return Fail(ERROR_NOT_ENOUGH_MEMORY);
      if (*buffer != nullptr) LocalFree(*buffer);
      *buffer = fresh;
      *bufferSize = static_cast<DWORD>(needed);
    }
  } else if (needed > 0 && (*buffer == nullptr || *bufferSize < needed)) {
    *bufferSize = static_cast<DWORD>(needed);
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  if (needed > 0) layout.WriteTo(*buffer);
  if (all) *propCount = static_cast<WORD>(layout.count());
  if (cursor->autoIncrement()) {
    std::optional<std::uint32_t> known = cursor->KnownIndex();
    std::optional<RecordPosition> next =
        records_->After(cursor->database(), cursor->sort(), *current, 0);
    cursor->MoveTo(
        std::move(next),
        known ? std::optional<std::uint32_t>(*known + 1) : std::nullopt);
  }
  return oid;
}

CEOID ObjectStore::CeWriteRecordProps(HANDLE database, CEOID record,
                                      WORD propCount, CEPROPVAL* values) {
  Cursor* cursor = CursorOf(database);
  if (cursor == nullptr || propCount == 0 || values == nullptr) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  if (record != 0 && records_->RecordParent(record) != cursor->database()) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  std::vector<RecordValue> set;
  std::vector<CEPROPID> remove;
  for (WORD i = 0; i < propCount; ++i) {
    const CEPROPVAL& value = values[i];
    if ((value.wFlags & CEDB_PROPDELETE) != 0) {
      if (!IsRecordValueType(TypeFromPropID(value.propid))) {
        return Fail(ERROR_INVALID_PARAMETER);
      }
      remove.push_back(value.propid);
      set.erase(std::remove_if(
                    set.begin(), set.end(),
                    [&](const RecordValue& v) { return v.id == value.propid; }),
                set.end());
      continue;
    }
    std::optional<RecordValue> parsed = RecordValueFromPropVal(value);
    if (!parsed) return Fail(ERROR_INVALID_PARAMETER);
    std::erase(remove, value.propid);
    set.push_back(std::move(*parsed));
  }
  return records_->WriteRecord(cursor->database(), record, set, remove);
}

BOOL ObjectStore::CeDeleteRecord(HANDLE database, CEOID record) {
  Cursor* cursor = CursorOf(database);
  if (cursor == nullptr || record == 0 ||
      records_->RecordParent(record) != cursor->database()) {
    return static_cast<BOOL>(Fail(ERROR_INVALID_PARAMETER));
  }
  records_->DeleteRecord(record);
  return TRUE;
}

BOOL ObjectStore::CeDeleteDatabase(CEOID database) {
  if (!records_->FindDatabase(database)) {
    return static_cast<BOOL>(Fail(ERROR_INVALID_PARAMETER));
  }
  if (shared_->openCounts.count(database) != 0) {
    return static_cast<BOOL>(Fail(ERROR_SHARING_VIOLATION));
  }
  records_->DeleteDatabase(database);
  return TRUE;
}

BOOL ObjectStore::CeDeleteDatabaseEx(PCEGUID volume, CEOID database) {
  if (!IsObjectStoreVolume(volume)) {
    return static_cast<BOOL>(Fail(ERROR_CALL_NOT_IMPLEMENTED));
  }
  return CeDeleteDatabase(database);
}

BOOL ObjectStore::CeOidGetInfo(CEOID oid, CEOIDINFO* info) {
  if (info == nullptr) return static_cast<BOOL>(Fail(ERROR_INVALID_PARAMETER));
  if (std::optional<DatabaseInfo> database = records_->FindDatabase(oid)) {
    CEDBASEINFO out;
    std::memset(&out, 0, sizeof(out));
    out.dwFlags = CEDB_VALIDNAME | CEDB_VALIDTYPE | CEDB_VALIDSORTSPEC |
                  CEDB_VALIDMODTIME;
    std::copy(database->name.begin(), database->name.end(), out.szDbaseName);
    out.dwDbaseType = database->type;
    // The handheld counts records in 16 bits.
    out.wNumRecords = static_cast<WORD>(
        std::min<std::uint32_t>(records_->RecordCount(oid), 0xFFFF));
    out.wNumSortOrder = static_cast<WORD>(database->sorts.size());
    out.dwSize = records_->DataSize(oid);
    out.ftLastModified.dwLowDateTime = static_cast<DWORD>(database->modified);
    out.ftLastModified.dwHighDateTime =
        static_cast<DWORD>(database->modified >> 32);
    for (std::size_t i = 0; i < database->sorts.size(); ++i) {
      out.rgSortSpecs[i].propid = database->sorts[i].propid;
      out.rgSortSpecs[i].dwFlags = database->sorts[i].flags;
    }
    info->wObjType = OBJTYPE_DATABASE;
    info->infDatabase = out;
    return TRUE;
  }
  if (std::optional<CEOID> parent = records_->RecordParent(oid)) {
    info->wObjType = OBJTYPE_RECORD;
    info->infRecord.oidParent = *parent;
    return TRUE;
  }
  if (oid != 0 && fileInfoSource_ && fileInfoSource_(oid, info)) return TRUE;
  return static_cast<BOOL>(Fail(ERROR_INVALID_HANDLE));
}

BOOL ObjectStore::CeOidGetInfoEx(PCEGUID volume, CEOID oid, CEOIDINFO* info) {
  if (!IsObjectStoreVolume(volume)) {
    return static_cast<BOOL>(Fail(ERROR_CALL_NOT_IMPLEMENTED));
  }
  return CeOidGetInfo(oid, info);
}

}  // namespace device
