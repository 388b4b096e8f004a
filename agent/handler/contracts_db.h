// The contracts database "\VornContracts": one record per synchronisation
// partner, holding the partner's name, the data type that wrote it and the
// change sequence up to which the partner has seen changes (its mark).
#ifndef VORN_AGENT_HANDLER_CONTRACTS_DB_H_
#define VORN_AGENT_HANDLER_CONTRACTS_DB_H_

#include "platform/api.h"

namespace agent {

// Opens the contracts database sorted on the contract name, creating it
// first when it does not exist. INVALID_HANDLE_VALUE when both fail.
HANDLE OpenContractsDB();

// Opens the contracts database into `database` and walks it from the
// beginning for the first record whose name equals `name` (case-sensitive).
// Returns 1 with the open handle (the caller closes it) and the record's OID
// in `oid`, 0 when no record matched; the database stays positioned on the
// record found. Returns 0 after showing "OpenContractsDB failed" when the
// database cannot be opened.
int FindContractRecord(LPCWSTR name, HANDLE& database, CEOID& oid);

// Reads the properties `ids` (all of them when `count` is 0) of the current
// record of `database` into a platform-allocated buffer that the object
// frees. `record` is 0 when the read failed.
class RecordRead {
 public:
  RecordRead(HANDLE database, WORD count, CEPROPID* ids);
  RecordRead(const RecordRead&) = delete;
  RecordRead& operator=(const RecordRead&) = delete;
  ~RecordRead();

  CEOID record() const { return record_; }
  // The property `id` when it was read and found; null otherwise.
  const CEPROPVAL* Find(CEPROPID id) const;
  // Whether `id` was asked for and reported as not found.
  bool ReportedMissing(CEPROPID id) const;

 private:
  CEOID record_ = 0;
  WORD count_ = 0;
  LPBYTE buffer_ = nullptr;
};

}  // namespace agent

#endif  // VORN_AGENT_HANDLER_CONTRACTS_DB_H_
