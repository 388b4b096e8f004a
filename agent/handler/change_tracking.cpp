// The change-tracking operations of the record handler (commands 8 to 12):
// contracts in "\VornContracts" and the walk of the data type's change log.
#include "agent/handler/ce_record_handler.h"
#include "agent/handler/contracts_db.h"
#include "agent/handler/message_box.h"
#include "protocol/change_log.h"

namespace agent {
namespace {

// The current change sequence of a log: the REG_DWORD under
// HKLM "SOFTWARE\Orvanet" named by the log itself; 0 when missing.
DWORD CurrentSequence(LPCWSTR logName) {
  HKEY key = 0;
  DWORD sequence = 0;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, protocol::kOrvanetKey, 0, KEY_READ,
                    &key) != ERROR_SUCCESS) {
    return 0;
  }
  BYTE data[4] = {};
  DWORD type = 0;
  DWORD size = sizeof(data);
  if (RegQueryValueExW(key, logName, nullptr, &type, data, &size) ==
      ERROR_SUCCESS) {
    sequence = protocol::GetU32(data);
  }
  RegCloseKey(key);
  return sequence;
}

void CloseIfOpen(HANDLE handle) {
  if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
}

// Writes name, data type and mark to the record `oid` (0 adds one).
CEOID WriteContract(HANDLE database, CEOID oid, LPWSTR name, DWORD dataType,
                    DWORD mark) {
  CEPROPVAL values[3] = {};
  values[0].propid = protocol::kContractName;
  values[0].val.lpwstr = name;
  values[1].propid = protocol::kContractDataType;
  values[1].val.lVal = static_cast<LONG>(dataType);
  values[2].propid = protocol::kContractMark;
  values[2].val.lVal = static_cast<LONG>(mark);
  return CeWriteRecordProps(database, oid, 3, values);
}

// The request of a contract operation: the data type, then the contract's
// name, looked up in the contracts database. The name is freed and the
// database closed when the operation ends.
class ContractLookup {
 public:
  explicit ContractLookup(RequestPtr request) {
    DWORD offset = 0;
    ReadByte(request, offset);
    name = ReadString(request, offset);
    found = FindContractRecord(name.get(), contracts, oid) != 0;
  }
  ContractLookup(const ContractLookup&) = delete;
  ContractLookup& operator=(const ContractLookup&) = delete;
  ~ContractLookup() { CloseIfOpen(contracts); }

  OwnedString name;
  HANDLE contracts = INVALID_HANDLE_VALUE;
  CEOID oid = 0;
  // Whether the contracts database opened.
  bool found = false;
};

}  // namespace

int CCERecordHandler::StoreContract(bool moveMark) {
  ContractLookup lookup(request);
  if (lookup.found &&
      WriteContract(lookup.contracts, lookup.oid, lookup.name.get(), dataType,
                    moveMark ? CurrentSequence(logName) : 0) != 0) {
    WriteStatusPair(protocol::kStatusOk);
    return 1;
  }
  ShowMessage(u"OpenContractsDB failed", kErrorCaption);
  WriteStatusPair(protocol::kContractFailed);
  return 0;
}

int CCERecordHandler::AddContract() { return StoreContract(false); }

int CCERecordHandler::DeleteContract() {
  ContractLookup lookup(request);
  if (!lookup.found) return 0;
  CeDeleteRecord(lookup.contracts, lookup.oid);
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCERecordHandler::FindContract() {
  ContractLookup lookup(request);
  if (lookup.found && lookup.oid != 0) {
    WriteStatusPair(protocol::kStatusOk);
    return 1;
  }
  WriteStatusPair(protocol::kContractFailed);
  return 0;
}

int CCERecordHandler::UpdateContract() { return StoreContract(true); }

int CCERecordHandler::GetChangedRecords() {
  replyLength = 0;
  PutHeader();
  header[0] = 0;
  replyLength = protocol::kListHeaderSize;

  ContractLookup lookup(request);
  HANDLE log = INVALID_HANDLE_VALUE;
  if (!lookup.found) {
    header[1] = 1;
  } else {
    DWORD mark = 0;
    bool usable = true;
    if (lookup.oid != 0) {
      CEPROPID id = protocol::kContractMark;
      RecordRead read(lookup.contracts, 1, &id);
      if (read.record() != 0 && read.ReportedMissing(protocol::kContractMark)) {
        usable = false;
      } else if (const CEPROPVAL* value = read.Find(protocol::kContractMark)) {
        mark = value->val.ulVal;
      }
    }
    if (!usable) {
      header[1] = 1;
    } else {
      CEOID none = 0;
      log = CeOpenDatabase(&none, logName, protocol::kLogEntrySequence, 0, 0);
      if (log != INVALID_HANDLE_VALUE) {
        DWORD index = 0;
        CEOID entry = CeSeekDatabase(log, CEDB_SEEK_BEGINNING, 0, &index);
        while (entry != 0) {
          RecordRead read(log, 0, nullptr);
          const CEPROPVAL* oid = read.Find(protocol::kLogEntryOid);
          const CEPROPVAL* sequence = read.Find(protocol::kLogEntrySequence);
          const CEPROPVAL* kind = read.Find(protocol::kLogEntryKind);
          DWORD changed = oid != nullptr ? oid->val.ulVal : 0;
          DWORD number = sequence != nullptr ? sequence->val.ulVal : 0;
          BYTE how = kind != nullptr
                         ? static_cast<BYTE>(kind->val.ulVal)
                         : static_cast<BYTE>(protocol::ChangeKind::kChanged);
          if (number <= mark) break;
          if (IsRecordIncluded(changed) == 1) {
            WriteLong(changed);
            WriteByte(how);
            SetHeaderCount(HeaderCount() + 1);
          }
          entry = CeSeekDatabase(log, CEDB_SEEK_CURRENT, 1, &index);
        }
      }
      header[0] = 1;
    }
  }
  PutHeader();
  CloseIfOpen(log);
  return header[0] == 1 ? 1 : 0;
}

}  // namespace agent
