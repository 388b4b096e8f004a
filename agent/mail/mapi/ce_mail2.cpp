#include "agent/mail/mapi/ce_mail2.h"

#include "agent/handler/contracts_db.h"
#include "agent/handler/message_box.h"
#include "agent/mail/mapi/ce_mapi_loader.h"
#include "agent/mail/mapi/mail_message_encoder.h"
#include "agent/mail/mapi/mail_message_writer.h"
#include "protocol/change_log.h"

namespace agent {

struct CCEMail2::FolderVisit {
  ULONG tag;
  IMAPIFolder** folder;
  DWORD* key;
  ULONG tableFlags;
  MailIndex* index;
  LPCWSTR busyText;
};

namespace {

constexpr ULONG kTableWaitMilliseconds = 2000;

template <typename Interface>
void ReleaseObject(Interface* object) {
  if (object != nullptr) object->Release();
}

SPropTagArray OneTag(ULONG tag) {
  SPropTagArray tags = {};
  tags.cValues = 1;
  tags.aulPropTag[0] = tag;
  return tags;
}

}  // namespace

CCEMail2::CCEMail2() {
  dataType = 4;
  logName = protocol::kMailLog;
  databaseName = u"\\PMAILDB";
  CeMapiLoader::Logon(0, nullptr, nullptr, 0, &session);
  BuildIndex();
}

CCEMail2::~CCEMail2() {
  FreePropertyValues();
  ReleaseObject(contentsTable);
  ReleaseObject(primaryFolder);
  ReleaseObject(draftsFolder);
  ReleaseObject(sentFolder);
  ReleaseObject(store);
  ReleaseObject(session);
}

void CCEMail2::FreePropertyValues() {
  if (propertyValues != nullptr) CeMapiLoader::FreeBuffer(propertyValues);
  propertyValues = nullptr;
  propertyCount = 0;
}

void CCEMail2::BuildIndex() {
  if (session == nullptr) return;
  session->OpenMsgStore(0, 0, nullptr, nullptr, 0, &store);
  messageIndex.Clear();
  deletedIndex.Clear();
  draftsKey = sentKey = outboxKey = inboxKey = 0;
  if (store == nullptr) return;
  const FolderVisit visits[] = {
      {PR_IPM_WASTEBASKET_ENTRYID, &primaryFolder, nullptr, 0, &deletedIndex,
       u"Deleted Items table is busy -- cannot retrieve records."},
      {PR_CE_IPM_DRAFTS_ENTRYID, &draftsFolder, &draftsKey, 0, &messageIndex,
       u"Drafts table is busy -- cannot retrieve records."},
      {PR_IPM_SENTMAIL_ENTRYID, &sentFolder, &sentKey, 0, &messageIndex,
       u"Sent Items table is busy -- cannot retrieve records."},
      {PR_IPM_OUTBOX_ENTRYID, &primaryFolder, &outboxKey, 0, &messageIndex,
       u"Outbox table is busy -- cannot retrieve records."},
      {PR_CE_IPM_INBOX_ENTRYID, &primaryFolder, &inboxKey, 1, &messageIndex,
       u"Inbox table is busy -- cannot retrieve records."},
  };
  for (const FolderVisit& visit : visits) VisitFolder(visit);
}

void CCEMail2::VisitFolder(const FolderVisit& visit) {
  SPropTagArray tags = OneTag(visit.tag);
  store->GetProps(&tags, MAPI_UNICODE, &propertyCount, &propertyValues);
  IMAPIFolder* folder = nullptr;
  if (propertyValues != nullptr && propertyCount >= 1 &&
      propertyValues[0].ulPropTag == visit.tag) {
    const SBinary& id = propertyValues[0].Value.bin;
    IUnknown* opened = nullptr;
    ULONG type = 0;
    store->OpenEntry(id.cb, id.lpb, nullptr, MAPI_MODIFY, &type, &opened);
    if (opened != nullptr) folder = platform::MapiAs<IMAPIFolder>(opened);
    if (visit.key != nullptr && id.cb >= 8) *visit.key = RecordKeyOf(id.lpb);
  }
  FreePropertyValues();
  // The earlier folder and table in these fields are not released.
  *visit.folder = folder;
  contentsTable = nullptr;
  if (folder == nullptr) return;
  folder->GetContentsTable(visit.tableFlags, &contentsTable);
  if (contentsTable == nullptr) return;
  SPropTagArray columns = OneTag(PR_ENTRYID);
  contentsTable->SetColumns(&columns, 0);
  ULONG total = 0;
  contentsTable->GetRowCount(0, &total);
  contentsTable->SeekRow(BOOKMARK_BEGINNING, 0, nullptr);
  ULONG fetched = 0;
  while (fetched < total) {
    if (contentsTable->WaitForCompletion(0, kTableWaitMilliseconds, nullptr) ==
        MAPI_E_TIMEOUT) {
      MessageBoxW(0, visit.busyText, kErrorCaption, 0);
      continue;
    }
    SRowSet* rows = nullptr;
    contentsTable->QueryRows(static_cast<LONG>(total - fetched), 0, &rows);
    if (rows == nullptr) return;
    ULONG count = rows->cRows;
    for (ULONG i = 0; i < count; ++i) {
      const SRow& row = rows->aRow[i];
      if (row.cValues >= 1 && row.lpProps[0].ulPropTag == PR_ENTRYID &&
          row.lpProps[0].Value.bin.cb == kEntryIdSize) {
        visit.index->Insert(row.lpProps[0].Value.bin.lpb);
      }
    }
    fetched += count;
    CeMapiLoader::FreeRows(rows);
    // A table that shrank while it was read has no more rows to give.
    if (count == 0) return;
  }
}

int CCEMail2::DeleteItem(BYTE /*type*/, DWORD key) {
  MailIndexEntry* found = messageIndex.Find(key);
  SBinary id = {kEntryIdSize, found != nullptr ? found->entryId : nullptr};
  ENTRYLIST list = {1, &id};
  if (primaryFolder != nullptr) {
    primaryFolder->DeleteMessages(&list, 0, nullptr, 0);
  }
  messageIndex.Remove(key);
  return 1;
}

int CCEMail2::DeleteRecord() {
  replyLength = 0;
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  DWORD key = ReadLong(request, offset);
  if (primaryFolder == nullptr) {
    WriteStatusPair(protocol::kStatusFailed);
    return 0;
  }
  DeleteItem(type, key);
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCEMail2::DeleteAllRecords() {
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  if (primaryFolder == nullptr) {
    WriteStatusPair(protocol::kStatusFailed);
    return 0;
  }
  while (!messageIndex.empty()) {
    DeleteItem(type, messageIndex.head()->entry->key);
  }
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCEMail2::GetRecordCount() {
  DWORD offset = 0;
  ReadByte(request, offset);
  if (store == nullptr) {
    WriteStatusPair(protocol::kStatusFailed);
    WriteLong(0);
    return 0;
  }
  DWORD total = 0;
  for (IMAPIFolder* folder : {primaryFolder, draftsFolder, sentFolder}) {
    if (folder == nullptr) continue;
    IMAPITable* table = nullptr;
    folder->GetContentsTable(1, &table);
    if (table == nullptr) continue;
    SPropTagArray columns = OneTag(PR_ENTRYID);
    table->SetColumns(&columns, 0);
    ULONG rows = 0;
    table->GetRowCount(0, &rows);
    total += rows;
    // These tables are not released.
  }
  messageCount = total;
  WriteStatusPair(protocol::kStatusOk);
  WriteLong(total);
  return 1;
}

int CCEMail2::GetAllRecords() {
  replyLength = 0;
  DWORD offset = 0;
  ReadByte(request, offset);
  PutHeader();
  replyLength = protocol::kListHeaderSize;
  header[0] = 0;
  if (store == nullptr) {
    PutHeader();
    return 0;
  }
  for (const auto* node = messageIndex.head(); node != nullptr;
       node = node->next) {
    WriteLong(node->entry->key);
    SetHeaderCount(HeaderCount() + 1);
  }
  header[0] = 1;
  PutHeader();
  return 1;
}

int CCEMail2::ReadRecord(IDispatch* /*item*/, DWORD key) {
  return MailMessageEncoder(*this).Encode(key);
}

int CCEMail2::WriteRecord(IDispatch* /*item*/, RequestPtr data, DWORD& consumed,
                          BYTE* status) {
  return MailMessageWriter(*this).Write(data, consumed, status);
}

int CCEMail2::IsRecordIncluded(DWORD key) {
  if (deletedIndex.Find(key) != nullptr) return 0;
  if (messageIndex.Find(key) != nullptr) return 1;
  CEOID none = 0;
  HANDLE log = CeOpenDatabase(&none, logName, protocol::kLogEntryOid, 0, 0);
  if (log == INVALID_HANDLE_VALUE) return 0;
  DWORD index = 0;
  CeSeekDatabase(log, CEDB_SEEK_BEGINNING, 0, &index);
  CEPROPVAL wanted = {};
  wanted.propid = protocol::kLogEntryOid;
  wanted.val.lVal = static_cast<LONG>(key);
  CEOID found = CeSeekDatabase(log, CEDB_SEEK_VALUEFIRSTEQUAL,
                               reinterpret_cast<DWORD_PTR>(&wanted), &index);
  int included = 0;
  if (found != 0) {
    RecordRead read(log, 0, nullptr);
    const CEPROPVAL* kind = read.Find(protocol::kLogEntryKind);
    if (kind != nullptr && (static_cast<DWORD>(kind->val.lVal) & 0xFF) == 3) {
      included = 1;
    }
  }
  // The handheld leaves the handle open when the entry says deleted; here
  // it is closed on every path (the conversation would close it anyway).
  CloseHandle(log);
  return included;
}

}  // namespace agent
