#include "agent/mail/mapi/mail_message_encoder.h"

#include <cstring>
#include <vector>

#include "agent/handler/message_box.h"
#include "agent/mail/mapi/ce_mail2.h"
#include "agent/mail/mapi/ce_mapi_loader.h"
#include "agent/session/allocation.h"
#include "agent/session/time_zone_conversion.h"
#include "protocol/mapi_mail_fields.h"

namespace agent {
namespace {

constexpr WCHAR kNamedPropertyName[] = u"PR_SPLUS_WHERE";
constexpr std::size_t kNameBufferBytes = 512;

template <typename Interface>
void ReleaseObject(Interface*& object) {
  if (object != nullptr) object->Release();
  object = nullptr;
}

const SPropValue* FindValue(const SRow& row, ULONG tag) {
  for (ULONG i = 0; i < row.cValues; ++i) {
    if (row.lpProps[i].ulPropTag == tag) return &row.lpProps[i];
  }
  return nullptr;
}

// A text of `bytes` bytes of UTF-16, terminated.
std::vector<WCHAR> TextOf(const BYTE* bytes, std::size_t size) {
  std::vector<WCHAR> text(size / 2 + 1, 0);
  std::memcpy(text.data(), bytes, size - size % 2);
  return text;
}

}  // namespace

DWORD MailMessageEncoder::FolderWord(DWORD parentKey,
                                     DWORD messageFlags) const {
  DWORD code = 0;
  if (parentKey == handler_.draftsKey) {
    code = protocol::kMailFolderDrafts;
  } else if (parentKey == handler_.sentKey) {
    code = protocol::kMailFolderSent;
  } else if (parentKey == handler_.inboxKey) {
    code = protocol::kMailFolderInbox;
  } else if (parentKey == handler_.outboxKey) {
    code = protocol::kMailFolderOutbox;
  }
  if ((messageFlags & MSGFLAG_READ) != 0) code |= protocol::kMailRead;
  return code;
}

int MailMessageEncoder::Encode(DWORD key) {
  CCEMail2& h = handler_;
  h.header[6] = 0;
  DWORD headerAt = h.replyLength;
  h.Append(h.header, protocol::kListHeaderSize);
  MailIndexEntry* entry = h.messageIndex.Find(key);
  if (entry == nullptr || h.store == nullptr) return 0;
  IUnknown* opened = nullptr;
  ULONG type = 0;
  h.store->OpenEntry(kEntryIdSize, entry->entryId, nullptr, 0, &type, &opened);
  if (opened == nullptr) return 0;
  IMessage* message = platform::MapiAs<IMessage>(opened);

  SPropTagArray parentTag = {};
  parentTag.cValues = 1;
  parentTag.aulPropTag[0] = PR_PARENT_ENTRYID;
  DWORD parentKey = 0;
  message->GetProps(&parentTag, 0, &h.propertyCount, &h.propertyValues);
  if (h.propertyValues != nullptr && h.propertyCount >= 1 &&
      h.propertyValues[0].ulPropTag == PR_PARENT_ENTRYID &&
      h.propertyValues[0].Value.bin.cb >= 8) {
    parentKey = RecordKeyOf(h.propertyValues[0].Value.bin.lpb);
  }
  h.FreePropertyValues();

  WriteProperties(message, parentKey);
  WriteRecipients(message);
  WriteAttachments(message);
  message->Release();

  h.header[0] = 1;
  h.header[1] = 0;
  protocol::PutU32(h.header + 2, key);
  h.PutAt(headerAt, h.header, protocol::kListHeaderSize);
  return 1;
}

ULONG MailMessageEncoder::NamedTag() {
  auto* name = static_cast<WCHAR*>(LocalAlloc(LMEM_ZEROINIT, kNameBufferBytes));
  if (name == nullptr) return 0;
  std::memcpy(name, kNamedPropertyName, sizeof(kNamedPropertyName));
  GUID set = PS_PUBLIC_STRINGS;
  MAPINAMEID id = {};
  id.lpguid = &set;
  id.ulKind = MNID_STRING;
  id.Kind.lpwstrName = name;
  MAPINAMEID* ids[1] = {&id};
  SPropTagArray* tags = nullptr;
  HRESULT result = handler_.store->GetIDsFromNames(1, ids, MAPI_CREATE, &tags);
  ULONG tag = 0;
  if (SUCCEEDED(result) && tags != nullptr && tags->cValues >= 1) {
    tag = (tags->aulPropTag[0] & 0xFFFF0000U) | PT_UNICODE;
  }
  if (tags != nullptr) CeMapiLoader::FreeBuffer(tags);
  LocalFree(name);
  return tag;
}

void MailMessageEncoder::WriteTime(DWORD id, FILETIME time) {
  TIME_ZONE_INFORMATION zone = {};
  GetTimeZoneInformation(&zone);
  UtcToLocalFileTime(zone, time);
  SYSTEMTIME local = {};
  FileTimeToSystemTime(&time, &local);
  handler_.WritePropTime(id, local);
}

void MailMessageEncoder::WriteProperties(IMessage* message, DWORD parentKey) {
  CCEMail2& h = handler_;
  ULONG named = NamedTag();
  SPropTagArray tags = {};
  for (ULONG tag : {PR_ENTRYID, PR_MESSAGE_SIZE, PR_MESSAGE_DELIVERY_TIME,
                    PR_SUBJECT, PR_MESSAGE_FLAGS, PR_SENDER_EMAIL_ADDRESS,
                    PR_START_DATE, PR_END_DATE}) {
    tags.aulPropTag[tags.cValues++] = tag;
  }
  if (named != 0) tags.aulPropTag[tags.cValues++] = named;
  message->GetProps(&tags, MAPI_UNICODE, &h.propertyCount, &h.propertyValues);
  bool namedPresent = false;
  for (ULONG i = 0; h.propertyValues != nullptr && i < h.propertyCount; ++i) {
    const SPropValue& value = h.propertyValues[i];
    ULONG tag = value.ulPropTag;
    if (named != 0 && tag == named) {
      namedPresent = true;
      if (value.Value.lpszW != nullptr) {
        h.WritePropString(protocol::kMailWhere, value.Value.lpszW);
      }
    } else if (tag == PR_SENDER_EMAIL_ADDRESS) {
      if (value.Value.lpszW != nullptr) {
        h.WritePropString(protocol::kMailSender, value.Value.lpszW);
      }
    } else if (tag == PR_SUBJECT) {
      if (value.Value.lpszW != nullptr) {
        h.WritePropString(protocol::kMailSubject, value.Value.lpszW);
      }
    } else if (tag == PR_MESSAGE_DELIVERY_TIME) {
      WriteTime(protocol::kMailTime, value.Value.ft);
    } else if (tag == PR_START_DATE) {
      WriteTime(protocol::kMailStart, value.Value.ft);
    } else if (tag == PR_END_DATE) {
      WriteTime(protocol::kMailEnd, value.Value.ft);
    } else if (tag == PR_MESSAGE_FLAGS) {
      h.WritePropLong(protocol::kMailFolderWord,
                      FolderWord(parentKey, value.Value.ul));
    }
  }
  h.FreePropertyValues();
  h.WritePropLong(protocol::kMailHasWhere, namedPresent ? 1 : 0);
  WriteBody(message);
}

void MailMessageEncoder::WriteBody(IMessage* message) {
  IUnknown* opened = nullptr;
  message->OpenProperty(PR_BODY, nullptr, 0, MAPI_UNICODE, &opened);
  if (opened == nullptr) return;
  auto* stream = platform::MapiAs<IStream>(opened);
  STATSTG stat = {};
  stream->Stat(&stat, STATFLAG_NONAME);
  auto size = static_cast<DWORD>(stat.cbSize.QuadPart);
  if (size != 0) {
    Buffer buffer = AllocateBuffer(size);
    ULONG read = 0;
    stream->Read(buffer.get(), size, &read);
    std::vector<WCHAR> text = TextOf(buffer.get(), read < size ? read : size);
    handler_.WritePropString(protocol::kMailBody, text.data());
  }
  stream->Release();
}

void MailMessageEncoder::WriteRecipients(IMessage* message) {
  IMAPITable* table = nullptr;
  SRowSet* rows = nullptr;
  if (FAILED(message->GetRecipientTable(MAPI_UNICODE, &table)) ||
      table == nullptr || FAILED(table->QueryRows(255, 0, &rows)) ||
      rows == nullptr) {
    ReleaseObject(table);
    return;
  }
  // To, Cc and Bcc; a list exists from its first address on.
  std::u16string lists[3];
  bool present[3] = {false, false, false};
  for (ULONG r = 0; r < rows->cRows; ++r) {
    const SPropValue* address = FindValue(rows->aRow[r], PR_EMAIL_ADDRESS);
    const SPropValue* kind = FindValue(rows->aRow[r], PR_RECIPIENT_TYPE);
    if (address == nullptr || kind == nullptr) continue;
    ULONG type = kind->Value.ul;
    if (type < MAPI_TO || type > MAPI_BCC) continue;
    std::u16string& list = lists[type - 1];
    if (present[type - 1]) list.push_back(u';');
    present[type - 1] = true;
    for (const WCHAR* p = address->Value.lpszW; p != nullptr && *p != 0; ++p) {
      list.push_back(*p);
    }
  }
  CeMapiLoader::FreeRows(rows);
  const DWORD ids[3] = {protocol::kMailTo, protocol::kMailCc,
                        protocol::kMailBcc};
  for (int i = 0; i < 3; ++i) {
    if (present[i]) handler_.WritePropString(ids[i], lists[i].c_str());
  }
  ReleaseObject(table);
}

void MailMessageEncoder::WriteAttachments(IMessage* message) {
  IMAPITable* table = nullptr;
  SRowSet* rows = nullptr;
  IAttach* attach = nullptr;
  try {
    message->GetAttachmentTable(MAPI_UNICODE, &table);
    if (table == nullptr) return;
    table->QueryRows(255, 0, &rows);
    if (rows == nullptr) {
      ReleaseObject(table);
      return;
    }
    std::u16string list;
    for (ULONG r = 0; r < rows->cRows; ++r) {
      const SPropValue* number = FindValue(rows->aRow[r], PR_ATTACH_NUM);
      if (number == nullptr) continue;
      message->OpenAttach(number->Value.ul, nullptr, 0, &attach);
      if (attach != nullptr) ExportAttachment(attach, list);
      ReleaseObject(attach);
    }
    ULONG count = rows->cRows;
    SRowSet* done = rows;
    rows = nullptr;
    CeMapiLoader::FreeRows(done);
    if (count >= 1) {
      handler_.WritePropString(protocol::kMailAttachments, list.c_str());
    }
    ReleaseObject(table);
  } catch (const platform::Fault&) {
    ShowMessage(u"Read Attachment Failed", kErrorCaption);
    ReleaseObject(attach);
    if (rows != nullptr) CeMapiLoader::FreeRows(rows);
    ReleaseObject(table);
  }
}

HRESULT MailMessageEncoder::ExportAttachment(IAttach* attach,
                                             std::u16string& list) {
  IUnknown* opened = nullptr;
  HRESULT result =
      attach->OpenProperty(PR_ATTACH_DATA_BIN, nullptr, 0, 0, &opened);
  if (opened == nullptr) return FAILED(result) ? result : E_FAIL;
  auto* stream = platform::MapiAs<IStream>(opened);
  auto keep = [&result](HRESULT step) {
    if (SUCCEEDED(result) && FAILED(step)) result = step;
  };
  STATSTG stat = {};
  keep(stream->Stat(&stat, STATFLAG_NONAME));
  LARGE_INTEGER start = {0};
  keep(stream->Seek(start, STREAM_SEEK_SET, nullptr));
  auto size = static_cast<DWORD>(stat.cbSize.QuadPart);
  Buffer buffer = AllocateBuffer(size);
  ULONG read = 0;
  keep(stream->Read(buffer.get(), size, &read));

  WCHAR temporary[MAX_PATH + 1] = {};
  if (GetTempFileNameW(u".", u"VRN", 0, temporary) == 0) {
    ShowMessage(u"GetTempFileName\n failed", u"CCEMail2");
  }
  HANDLE file = CreateFileW(temporary, GENERIC_WRITE, 2, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, 0);
  if (file != INVALID_HANDLE_VALUE) {
    DWORD written = 0;
    WriteFile(file, buffer.get(), read < size ? read : size, &written, nullptr);
    CloseHandle(file);
  }
  buffer.reset();

  SPropTagArray nameTag = {};
  nameTag.cValues = 1;
  nameTag.aulPropTag[0] = PR_ATTACH_FILENAME;
  ULONG count = 0;
  SPropValue* values = nullptr;
  keep(attach->GetProps(&nameTag, MAPI_UNICODE, &count, &values));
  std::u16string name;
  if (values != nullptr && count >= 1 &&
      values[0].ulPropTag == PR_ATTACH_FILENAME) {
    for (const WCHAR* p = values[0].Value.lpszW; p != nullptr && *p != 0; ++p) {
      name.push_back(*p);
    }
  }
  if (values != nullptr) CeMapiLoader::FreeBuffer(values);

  list.append(temporary);
  list.push_back(u'\n');
  list.append(name);
  list.push_back(u'\n');
  stream->Release();
  return result;
}

}  // namespace agent
