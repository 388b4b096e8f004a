// The base of every record handler. A handler is built for one packet by the
// session loop, which sets its stream, request, reply and application
// fields, calls the one operation of the packet's command and deletes it.
//
// The defaults work on the object model for contacts, appointments and tasks
// and on the data type's record database for enumeration; the file,
// identity and version operations are complete here. Per-type classes
// override the encoder ReadRecord, the decoder WriteRecord and what their
// data type needs beyond that. Every operation returns 1 for success and 0
// for failure; the loop ignores the value: the desktop learns what happened
// from the reply bytes.
#ifndef VORN_AGENT_HANDLER_CE_RECORD_HANDLER_H_
#define VORN_AGENT_HANDLER_CE_RECORD_HANDLER_H_

#include "agent/session/reply_writer.h"
#include "agent/session/request_reader.h"
#include "platform/api.h"
#include "protocol/wire.h"

namespace agent {

class CCERecordHandler : public ReplyWriter {
 public:
  CCERecordHandler() = default;
  CCERecordHandler(const CCERecordHandler&) = delete;
  CCERecordHandler& operator=(const CCERecordHandler&) = delete;
  // Closes the record database handle when one is open.
  virtual ~CCERecordHandler();

  // Command 2: u32 id, record → write status.
  virtual int AddRecord();
  // Command 3: u32 OID, record → write status.
  virtual int UpdateRecord();
  // Command 15: u32 N, N × {u8 op, u8 type, u32 id, record} → N write
  // statuses (and 0, 3 after a failure to obtain an item).
  virtual int BatchWrite();
  // Deletes one object model item; 1 on success.
  virtual int DeleteItem(BYTE type, DWORD oid);
  // Command 4: u32 OID → status pair.
  virtual int DeleteRecord();
  // Command 5: → status pair.
  virtual int DeleteAllRecords();
  // Command 6: → status pair, u32 count.
  virtual int GetRecordCount();
  // Appends one encoded record of `item` (null for data types 4 and 5).
  virtual int ReadRecord(IDispatch* item, DWORD oid);
  // Command 7: u32 OID → the record, or 0, 3.
  virtual int GetRecord();
  // Command 16: u32 N, N × u32 OID → list header, records.
  virtual int GetRecords();
  // Command 17: u32 N, N × u32 OID → u32 OID of each record deleted.
  virtual int DeleteRecords();
  // Commands 8 to 12: the change-tracking contracts.
  virtual int AddContract();
  virtual int DeleteContract();
  virtual int FindContract();
  virtual int GetChangedRecords();
  virtual int UpdateContract();
  // Command 13: → list header, u32 OID per record of the data type.
  virtual int GetAllRecords();
  // Command 14: → u32 0x3C, counted machine identity.
  virtual int GetMachineId();
  // Command 20: → u32 1 when the handheld runs the message store with MAPI.
  virtual int CheckOsVersion();
  // Command 18: counted path, u32 ignored, u32 n, n bytes → ok, 0, error.
  virtual int WriteFileData();
  // Command 19: counted path, u32 ignored, u32 position, u32 n →
  // ok, 0, error, u32 count, the bytes.
  virtual int ReadFileData();
  // Fills `item` from the record at `data`, stores the number of record
  // bytes consumed and completes `status`; non-zero on success.
  virtual int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                          BYTE* status);
  // Whether the record `oid` belongs to the records being synchronised.
  virtual int IsRecordIncluded(DWORD oid);

  // Set by the session loop.
  IRAPIStream* stream = nullptr;
  RequestPtr request;
  IPOutlookApp* app = nullptr;

  // Set by each constructor.
  DWORD dataType = 0;
  LPCWSTR logName = nullptr;
  LPCWSTR databaseName = nullptr;
  BYTE recurrence[protocol::kRecurrenceBlockSize] = {};
  // Kept for the appointments handler (its exceptions in progress).
  void* typeState = nullptr;
  HANDLE database = INVALID_HANDLE_VALUE;

 protected:
  // Object model constants of this handler's data type; false for data
  // types without an object model (mail, notes).
  bool UsesObjectModel() const { return dataType >= 1 && dataType <= 3; }
  int ItemType() const;
  int DefaultFolder() const;

  // Opens the data type's default folder's item collection; null on failure.
  IPOutlookItemCollection* OpenItems();

  // Appends the two status bytes.
  void WriteStatusPair(const BYTE (&pair)[2]);
  // Writes the list header at reply offset 0 (replyLength unchanged).
  void PutHeader();
  void SetHeaderCount(DWORD count);
  DWORD HeaderCount() const;

  // Shared by AddRecord and UpdateRecord.
  int WriteOneRecord(bool add);
  // Shared by AddContract (mark 0) and UpdateContract (mark moved to the
  // current change sequence).
  int StoreContract(bool moveMark);
};

// Write status layout helpers.
void SetStatusOid(BYTE* status, DWORD oid);
void SetStatusId(BYTE* status, DWORD id);

}  // namespace agent

#endif  // VORN_AGENT_HANDLER_CE_RECORD_HANDLER_H_
