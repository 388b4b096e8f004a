// The mail handler of handhelds without MAPI (data type 4 when the version
// test says no): messages of the older message store, reached through
// "msgstore.dll" by ordinal, with "\PMAILDB" of the object store for
// counting and for the filter of the change list. A message is named on
// the wire by its object identifier.
#ifndef VORN_AGENT_MAIL_STORE_CE_MAIL_H_
#define VORN_AGENT_MAIL_STORE_CE_MAIL_H_

#include "agent/handler/ce_record_handler.h"
#include "agent/mail/store/msgstore_imports.h"

namespace agent {

class CCEMail : public CCERecordHandler {
 public:
  CCEMail();
  // Closes the message store when an operation opened it.
  ~CCEMail() override;

  // Deletes the message `oid` and its attachments → 1 (0 when the store
  // does not open). Writes nothing.
  int DeleteItem(BYTE type, DWORD oid) override;
  // u32 OID → 1, 0 (0, 0 when the store does not open).
  int DeleteRecord() override;
  // → 1, 0 after deleting every message (0, 0 when the store does not
  // open).
  int DeleteAllRecords() override;
  // → 1, 0, u32 the record count of "\PMAILDB" less one (0 when empty or
  // missing); 0, 3, u32 0 for a data type other than 4.
  int GetRecordCount() override;
  // Appends {1, 0, u32 oid, u8 propCount} and the message's properties
  // (none when it does not exist or the store does not open).
  int ReadRecord(IDispatch* item, DWORD oid) override;
  // Reads one message record (u32 property count, u32 size, u32 flag word,
  // then the properties), adds it (identifier 0) or updates it, then adds
  // the attachments of its counted list. Stores the identifier in bytes
  // 2..5 of `status` and the bytes read in `consumed`; returns 1, or 0 when
  // the store or the private heap cannot be had. A fault inside is shown as
  // "Exception line 9" and the record counts as written.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
  // 1 for a message of the inbox, outbox or sent folder that is not kept
  // local and is wholly downloaded, and for a message that no longer exists.
  int IsRecordIncluded(DWORD oid) override;

 private:
  // Opens the store when it is not open; shows "Unable to Open Mail" and
  // returns false when it cannot.
  bool OpenStore();
  // Deletes the attachments of `message` (its identifier set), then the
  // message; false when the message could not be deleted.
  bool DeleteMessage(MsgStoreMessage& message);
  // Appends properties 14 to 17 from the message's further properties.
  void WriteFurtherProperties(MsgStoreMessage& message);
  void WriteAttachmentList(MsgStoreMessage& message);
  int WriteRecordGuarded(RequestPtr data, DWORD& consumed, BYTE* status,
                         DWORD& offset, CEOID& oid, HANDLE& heap);

  MsgStoreImports imports_;
  HANDLE store_ = 0;
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_STORE_CE_MAIL_H_
