// The mail handler of handhelds with MAPI (data type 4, version test says
// yes). Every message lives in the handheld's default MAPI store and is
// known to the desktop by its record key, bytes 4..7 of its 16-byte entry
// identifier.
//
// A handler lives for one packet: its constructor logs on to MAPI, opens
// the default store and five folders and builds the index from record key
// to entry identifier (Deleted Items into `deletedIndex`; Drafts, Sent
// Items, Outbox and Inbox into `messageIndex`); every command works through
// that index. ReadRecord encodes one message (mail_message_encoder.h),
// WriteRecord stores one (mail_message_writer.h).
//
// Where a MAPI call fails and leaves no object (no library, no session, no
// store, no folder, no table), the handler goes on without it: the index
// stays empty, the count and delete operations answer 0, 3 and the list
// operation a header that is not complete. With every call succeeding the
// replies are the ones described for each operation.
#ifndef VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_
#define VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_

#include "agent/handler/ce_record_handler.h"
#include "agent/mail/mapi/mail_index.h"
#include "agent/session/request_reader.h"
#include "platform/mapi.h"

namespace agent {

class CCEMail2 : public CCERecordHandler {
 public:
  CCEMail2();
  // Releases the contents table, the primary, drafts and sent folders, the
  // store and the session (there is no logoff).
  ~CCEMail2() override;

  // Deletes the message `key` through the primary folder; returns 1.
  int DeleteItem(BYTE type, DWORD key) override;
  // u8 data type, u32 record key → 1, 0 (also for an unknown key).
  int DeleteRecord() override;
  // Deletes every message of the message index → 1, 0.
  int DeleteAllRecords() override;
  // → 1, 0, u32 messages in Inbox, Drafts and Sent Items.
  int GetRecordCount() override;
  // Appends the message `key`: 1, or 0 when the key is not indexed.
  int ReadRecord(IDispatch* item, DWORD key) override;
  // → list header, u32 record key per message of the message index.
  int GetAllRecords() override;
  // Stores one incoming mail record; see mail_message_writer.h.
  int WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                  BYTE* status) override;
  // 0 when in Deleted Items, 1 when in the message index, else whether the
  // mail change log records the key as deleted (kind 3).
  int IsRecordIncluded(DWORD key) override;

  // Frees the property values of the last GetProps and resets them.
  void FreePropertyValues();

  DWORD draftsKey = 0;
  DWORD sentKey = 0;
  DWORD outboxKey = 0;
  DWORD inboxKey = 0;
  IMAPISession* session = nullptr;
  IMsgStore* store = nullptr;
  ULONG propertyCount = 0;
  SPropValue* propertyValues = nullptr;
  IMAPITable* contentsTable = nullptr;
  IMAPIFolder* primaryFolder = nullptr;
  IMAPIFolder* draftsFolder = nullptr;
  IMAPIFolder* sentFolder = nullptr;
  DWORD messageCount = 0;
  MailIndex messageIndex;
  MailIndex deletedIndex;
  // Incoming record fields (WriteRecord). The outgoing subject and body of
  // ReadRecord belong to MAPI and to ReadRecord's own buffer and are not
  // kept here.
  OwnedString sender;
  OwnedString toList;
  OwnedString ccList;
  OwnedString bccList;
  OwnedString subject;
  OwnedString body;
  OwnedString field13;
  OwnedString attachmentList;
  SYSTEMTIME messageTime = {};
  DWORD field10 = 0;

 private:
  struct FolderVisit;
  void BuildIndex();
  void VisitFolder(const FolderVisit& visit);
};

}  // namespace agent

#endif  // VORN_AGENT_MAIL_MAPI_CE_MAIL2_H_
