#include "agent/handler/contracts_db.h"

#include "agent/handler/message_box.h"
#include "protocol/change_log.h"

namespace agent {
namespace {

HANDLE OpenByName() {
  CEOID none = 0;
  return CeOpenDatabase(&none, protocol::kContractsDatabase,
                        protocol::kContractName, 0, 0);
}

}  // namespace

HANDLE OpenContractsDB() {
  HANDLE database = OpenByName();
  if (database != INVALID_HANDLE_VALUE) return database;
  SORTORDERSPEC sorts[2] = {
      {protocol::kContractName, CEDB_SORT_DESCENDING},
      {protocol::kContractDataType, CEDB_SORT_DESCENDING},
  };
  CeCreateDatabase(protocol::kContractsDatabase,
                   protocol::kContractsDatabaseType, 2, sorts);
  return OpenByName();
}

int FindContractRecord(LPCWSTR name, HANDLE& database, CEOID& oid) {
  database = OpenContractsDB();
  if (database == INVALID_HANDLE_VALUE) {
    ShowMessage(u"OpenContractsDB failed", kErrorCaption);
    return 0;
  }
  oid = 0;
  DWORD index = 0;
  CEOID record = CeSeekDatabase(database, CEDB_SEEK_BEGINNING, 0, &index);
  while (record != 0) {
    CEPROPID id = protocol::kContractName;
    RecordRead read(database, 1, &id);
    const CEPROPVAL* found = read.Find(protocol::kContractName);
    if (found != nullptr && found->val.lpwstr != nullptr &&
        wcscmp(found->val.lpwstr, name) == 0) {
      oid = record;
      break;
    }
    record = CeSeekDatabase(database, CEDB_SEEK_CURRENT, 1, &index);
  }
  return 1;
}

RecordRead::RecordRead(HANDLE database, WORD count, CEPROPID* ids)
    : count_(count) {
  DWORD size = 0;
  record_ = CeReadRecordProps(database, CEDB_ALLOWREALLOC, &count_, ids,
                              &buffer_, &size);
  if (record_ == 0) count_ = 0;
}

RecordRead::~RecordRead() {
  if (buffer_ != nullptr) LocalFree(buffer_);
}

const CEPROPVAL* RecordRead::Find(CEPROPID id) const {
  if (buffer_ == nullptr) return nullptr;
  // The platform lays the values out as an array at the buffer's start.
  const auto* values = reinterpret_cast<const CEPROPVAL*>(buffer_);
  for (WORD i = 0; i < count_; ++i) {
    if (values[i].propid == id && (values[i].wFlags & CEDB_PROPNOTFOUND) == 0) {
      return &values[i];
    }
  }
  return nullptr;
}

bool RecordRead::ReportedMissing(CEPROPID id) const {
  if (buffer_ == nullptr) return false;
  const auto* values = reinterpret_cast<const CEPROPVAL*>(buffer_);
  for (WORD i = 0; i < count_; ++i) {
    if (values[i].propid == id) {
      return (values[i].wFlags & CEDB_PROPNOTFOUND) != 0;
    }
  }
  return false;
}

}  // namespace agent
