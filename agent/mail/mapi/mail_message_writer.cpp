#include "agent/mail/mapi/mail_message_writer.h"

#include "agent/mail/mapi/ce_mail2.h"
#include "agent/mail/mapi/ce_mapi_loader.h"
#include "agent/mail/mapi/mail_attachment_list.h"
#include "agent/mail/mapi/mail_recipient_block.h"
#include "agent/session/time_zone_conversion.h"
#include "protocol/mapi_mail_fields.h"
#include "protocol/wire.h"

namespace agent {
namespace {

constexpr DWORD kDraftsBit = protocol::kMailFolderDrafts;

}  // namespace

DWORD MailMessageWriter::ReadFields(RequestPtr data) {
  CCEMail2& h = handler_;
  DWORD offset = 0;
  DWORD count = ReadLong(data, offset);
  ReadLong(data, offset);
  DWORD word = ReadLong(data, offset);
  for (DWORD i = 0; i < count; ++i) {
    DWORD id = ReadLong(data, offset);
    switch (id) {
      case protocol::kMailSender:
        h.sender = ReadString(data, offset);
        break;
      case protocol::kMailTo:
        h.toList = ReadString(data, offset);
        break;
      case protocol::kMailCc:
        h.ccList = ReadString(data, offset);
        break;
      case protocol::kMailBcc:
        h.bccList = ReadString(data, offset);
        break;
      case protocol::kMailSubject:
        h.subject = ReadString(data, offset);
        break;
      case protocol::kMailTime:
      case protocol::kMailTime2:
        ReadTime(&h.messageTime, data, offset, 1);
        break;
      case protocol::kMailBody:
        h.body = ReadString(data, offset);
        break;
      case protocol::kMailAttachments:
        h.attachmentList = ReadString(data, offset);
        break;
      case protocol::kMailField10:
        h.field10 = ReadLong(data, offset);
        break;
      case protocol::kMailField13:
        h.field13 = ReadString(data, offset);
        break;
      default:
        // No value: whatever follows is taken as the next identifier.
        break;
    }
  }
  return word;
}

IMessage* MailMessageWriter::OpenOrCreate(DWORD key, DWORD word) {
  CCEMail2& h = handler_;
  IMessage* message = nullptr;
  if (key != 0) {
    IMAPIFolder* folder = (word & kDraftsBit) != 0 ? h.draftsFolder
                          : (word & 252) != 0      ? h.sentFolder
                                                   : h.primaryFolder;
    MailIndexEntry* entry = h.messageIndex.Find(key);
    if (folder == nullptr) return nullptr;
    IUnknown* opened = nullptr;
    ULONG type = 0;
    folder->OpenEntry(kEntryIdSize, entry != nullptr ? entry->entryId : nullptr,
                      nullptr, MAPI_MODIFY, &type, &opened);
    if (opened != nullptr) message = platform::MapiAs<IMessage>(opened);
  } else {
    IMAPIFolder* folder = (word & kDraftsBit) != 0 ? h.draftsFolder
                          : (word & 255) == 252    ? h.sentFolder
                                                   : h.primaryFolder;
    if (folder != nullptr) folder->CreateMessage(nullptr, 0, &message);
  }
  return message;
}

void MailMessageWriter::SetProperties(IMessage* message, DWORD word) {
  CCEMail2& h = handler_;
  SPropValue values[4] = {};
  values[0].ulPropTag = PR_MESSAGE_FLAGS;
  values[0].Value.ul = (word & protocol::kMailRead) != 0 ? MSGFLAG_READ : 0;
  if (h.subject) {
    values[1].ulPropTag = PR_SUBJECT;
    values[1].Value.lpszW = h.subject.get();
  }
  TIME_ZONE_INFORMATION zone = {};
  GetTimeZoneInformation(&zone);
  FILETIME time = {};
  // A record without a time (or with one that is no date) sets none.
  if (SystemTimeToFileTime(&h.messageTime, &time) != FALSE) {
    LocalToUtcFileTime(zone, time);
    values[2].ulPropTag = PR_MESSAGE_DELIVERY_TIME;
    values[2].Value.ft = time;
  }
  if (h.sender) {
    values[3].ulPropTag = PR_SENDER_EMAIL_ADDRESS;
    values[3].Value.lpszW = h.sender.get();
  }
  if (h.body) {
    IUnknown* opened = nullptr;
    if (SUCCEEDED(message->OpenProperty(PR_BODY, nullptr, 0,
                                        MAPI_CREATE | MAPI_MODIFY, &opened)) &&
        opened != nullptr) {
      auto* stream = platform::MapiAs<IStream>(opened);
      auto bytes = static_cast<ULONG>((wcslen(h.body.get()) + 1) * 2);
      ULONG written = 0;
      stream->Write(h.body.get(), bytes, &written);
      stream->Release();
    }
  }
  MailRecipientBlock recipients(h.toList.get(), h.ccList.get(),
                                h.bccList.get());
  recipients.AddTo(message);
  message->SetProps(4, values, nullptr);
  message->SaveChanges(0);
}

void MailMessageWriter::AddAttachments(IMessage* message) {
  std::vector<IncomingAttachment> attachments =
      MailAttachmentList::Parse(handler_.attachmentList.get());
  for (IncomingAttachment& incoming : attachments) {
    IAttach* attach = nullptr;
    ULONG number = 0;
    message->CreateAttach(nullptr, 0, &number, &attach);
    if (attach == nullptr) continue;
    SPropValue name = {};
    name.ulPropTag = PR_ATTACH_FILENAME;
    name.Value.lpszW = incoming.displayName.data();
    attach->SetProps(1, &name, nullptr);
    IUnknown* opened = nullptr;
    attach->OpenProperty(PR_ATTACH_DATA_BIN, nullptr, 0,
                         MAPI_CREATE | MAPI_MODIFY, &opened);
    IStream* stream =
        opened != nullptr ? platform::MapiAs<IStream>(opened) : nullptr;
    HANDLE file = CreateFileW(incoming.deviceFile.c_str(), GENERIC_READ, 1,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, 0);
    if (file != INVALID_HANDLE_VALUE && stream != nullptr) {
      BYTE chunk[kCopyChunk];
      while (true) {
        DWORD read = 0;
        ReadFile(file, chunk, kCopyChunk, &read, nullptr);
        ULONG written = 0;
        stream->Write(chunk, read, &written);
        if (read < kCopyChunk) break;
      }
    }
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    DeleteFileW(incoming.deviceFile.c_str());
    if (stream != nullptr) stream->Release();
    attach->Release();
  }
}

void MailMessageWriter::FreeFields() {
  CCEMail2& h = handler_;
  h.sender.reset();
  h.subject.reset();
  h.toList.reset();
  h.ccList.reset();
  h.bccList.reset();
  h.body.reset();
  h.field13.reset();
}

int MailMessageWriter::Write(RequestPtr data, DWORD& consumed, BYTE* status) {
  CCEMail2& h = handler_;
  DWORD word = ReadFields(data);
  consumed = 0;
  IMessage* message = OpenOrCreate(protocol::GetU32(status + 2), word);
  if (message == nullptr) {
    FreeFields();
    status[1] = protocol::kCodeNoItem;
    return 0;
  }
  SetProperties(message, word);
  SPropTagArray tags = {};
  tags.cValues = 1;
  tags.aulPropTag[0] = PR_ENTRYID;
  message->GetProps(&tags, 0, &h.propertyCount, &h.propertyValues);
  if (h.propertyValues != nullptr && h.propertyCount >= 1 &&
      h.propertyValues[0].ulPropTag == PR_ENTRYID &&
      h.propertyValues[0].Value.bin.cb >= 8) {
    protocol::PutU32(status + 2,
                     RecordKeyOf(h.propertyValues[0].Value.bin.lpb));
  }
  FreeFields();
  h.FreePropertyValues();
  if (h.attachmentList && h.attachmentList[0] != 0) AddAttachments(message);
  message->Release();
  return 1;
}

}  // namespace agent
