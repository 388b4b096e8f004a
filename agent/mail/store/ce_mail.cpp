#include "agent/mail/store/ce_mail.h"

#include <memory>
#include <string>
#include <vector>

#include "agent/handler/message_box.h"
#include "agent/mail/store/attachment_list.h"
#include "agent/session/time_zone_conversion.h"
#include "platform/fault.h"

namespace agent {
namespace {

constexpr WCHAR kMailCaption[] = u"Mail";
constexpr BYTE kDetailNone[2] = {0, 0};

// Flag words the handler asks the store with.
constexpr DWORD kFetchStateAnyFolder = kMsgStoreFetchState | kMsgStoreAnyFolder;
constexpr DWORD kFetchAllAnyFolder = kMsgStoreFetchAll | kMsgStoreAnyFolder;

// Wire properties of a message.
constexpr DWORD kFromProp = 1;
constexpr DWORD kToProp = 2;
constexpr DWORD kCcProp = 3;
constexpr DWORD kBccProp = 4;
constexpr DWORD kSubjectProp = 5;
constexpr DWORD kDateProp = 6;
constexpr DWORD kBodyProp = 7;
constexpr DWORD kAttachmentsProp = 8;
constexpr DWORD kIgnoredTimeProp = 9;
constexpr DWORD kThirdWordProp = 10;
constexpr DWORD kFlagsProp = 11;
constexpr DWORD kMessageIdProp = 13;
constexpr DWORD kHasFurtherProp = 14;
constexpr DWORD kFurtherTextProp = 15;
constexpr DWORD kFurtherTime1Prop = 16;
constexpr DWORD kFurtherTime2Prop = 17;

// The further properties the handler passes on.
constexpr CEPROPID kFurtherText = 0x0066001F;
constexpr CEPROPID kFurtherTime1 = 0x00600040;
constexpr CEPROPID kFurtherTime2 = 0x00610040;
// The mark of a message that is not wholly downloaded.
constexpr CEPROPID kPartialMessage = 0x000B0012;

constexpr LPCWSTR kHeaderNames[] = {u"From", u"To", u"Cc", u"Bcc", u"Subject"};
constexpr DWORD kHeaderProps[] = {kFromProp, kToProp, kCcProp, kBccProp,
                                  kSubjectProp};

// The text of the exception guard of WriteRecord. Its line number is a
// module value that nothing changes.
int g_exceptionLine = 9;

// "Exception line %d" with the module's line number.
std::u16string ExceptionText() {
  std::u16string text = u"Exception line ";
  std::string number = std::to_string(g_exceptionLine);
  for (char c : number) text.push_back(static_cast<char16_t>(c));
  return text;
}

}  // namespace

CCEMail::CCEMail() {
  dataType = 4;
  logName = u"\\VornMailLog";
  databaseName = u"\\PMAILDB";
}

CCEMail::~CCEMail() {
  if (store_ != 0 && imports_.close != nullptr) imports_.close(store_);
}

bool CCEMail::OpenStore() {
  if (store_ != 0) return true;
  HANDLE opened = 0;
  if (!imports_.Load() || imports_.open(&opened, 1) == FALSE || opened == 0) {
    ShowMessage(u"Unable to Open Mail", kMailCaption);
    return false;
  }
  store_ = opened;
  return true;
}

bool CCEMail::DeleteMessage(MsgStoreMessage& message) {
  int count = imports_.getAttachment(store_, &message, nullptr);
  for (int i = 0; i < count; ++i) {
    MsgStoreAttachment attachment = {};
    attachment.index = 1;
    imports_.getAttachment(store_, &message, &attachment);
    imports_.deleteAttachment(store_, &message, &attachment, 1);
  }
  return imports_.deleteMessage(store_, &message) != FALSE;
}

int CCEMail::DeleteItem(BYTE /*type*/, DWORD oid) {
  if (!OpenStore()) return 0;
  MsgStoreMessage message = {};
  message.oid = oid;
  message.flags = kFetchStateAnyFolder;
  DeleteMessage(message);
  return 1;
}

int CCEMail::DeleteRecord() {
  if (!OpenStore()) {
    WriteStatusPair(kDetailNone);
    return 0;
  }
  DWORD offset = 0;
  ReadByte(request, offset);
  DWORD oid = ReadLong(request, offset);
  DeleteItem(static_cast<BYTE>(dataType), oid);
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCEMail::DeleteAllRecords() {
  if (!OpenStore()) {
    WriteStatusPair(kDetailNone);
    return 0;
  }
  DWORD offset = 0;
  ReadByte(request, offset);
  MsgStoreMessage message = {};
  message.flags = kMsgStoreAnyFolder;
  while (imports_.firstMessage(store_, &message) != FALSE) {
    bool deleted = DeleteMessage(message);
    imports_.free(&message);
    // A message the store will not delete would be found first again and
    // again; the walk ends there instead.
    if (!deleted) break;
    message = {};
    message.flags = kMsgStoreAnyFolder;
  }
  WriteStatusPair(protocol::kStatusOk);
  return 1;
}

int CCEMail::GetRecordCount() {
  DWORD offset = 0;
  BYTE type = ReadByte(request, offset);
  if (type != 4) {
    WriteStatusPair(protocol::kStatusFailed);
    WriteLong(0);
    return 0;
  }
  DWORD count = 0;
  CEOID databaseOid = 0;
  HANDLE mailDb = CeOpenDatabase(&databaseOid, databaseName, 0, 0, 0);
  if (mailDb != INVALID_HANDLE_VALUE) {
    CEOIDINFO info = {};
    if (CeOidGetInfo(databaseOid, &info) != FALSE) {
      count = info.infDatabase.wNumRecords;
    }
    CloseHandle(mailDb);
  }
  WriteStatusPair(protocol::kStatusOk);
  // The count is sent one short, as the desktop expects.
  WriteLong(count >= 1 ? count - 1 : 0);
  return 1;
}

void CCEMail::WriteFurtherProperties(MsgStoreMessage& message) {
  DWORD count = 0;
  CEPROPVAL* values = nullptr;
  bool found = false;
  if (imports_.furtherProps(store_, &message, &count, &values) == 1 &&
      count != 0) {
    for (DWORD i = 0; i < count; ++i) {
      const CEPROPVAL& value = values[i];
      if (value.propid == kFurtherText) {
        if (value.val.lpwstr != nullptr) {
          WritePropString(kFurtherTextProp, value.val.lpwstr);
          found = true;
        }
      } else if (value.propid == kFurtherTime1 ||
                 value.propid == kFurtherTime2) {
        TIME_ZONE_INFORMATION zone = {};
        GetTimeZoneInformation(&zone);
        FILETIME time = value.val.filetime;
        UtcToLocalFileTime(zone, time);
        SYSTEMTIME local = {};
        FileTimeToSystemTime(&time, &local);
        WritePropTime(value.propid == kFurtherTime1 ? kFurtherTime1Prop
                                                    : kFurtherTime2Prop,
                      local);
        found = true;
      }
    }
    LocalFree(values);
  }
  WritePropLong(kHasFurtherProp, found ? 1 : 0);
}

void CCEMail::WriteAttachmentList(MsgStoreMessage& message) {
  int count = imports_.getAttachment(store_, &message, nullptr);
  std::size_t capacity =
      static_cast<std::size_t>(count < 0 ? 0 : count) * kAttachmentNameChars;
  std::u16string list;
  for (int index = 1; index <= count; ++index) {
    MsgStoreAttachment attachment = {};
    attachment.index = static_cast<DWORD>(index);
    imports_.getAttachment(store_, &message, &attachment);
    if (attachment.first == nullptr) continue;
    std::u16string entry = attachment.first;
    entry += u'\n';
    if (attachment.second != nullptr) entry += attachment.second;
    entry += u'\n';
    // The list's buffer holds count × 260 characters; what would run past
    // it is left out.
    if (list.size() + entry.size() > capacity) break;
    list += entry;
  }
  WritePropString(kAttachmentsProp, list.c_str());
}

int CCEMail::ReadRecord(IDispatch* /*item*/, DWORD oid) {
  header[6] = 0;
  DWORD headerAt = replyLength;
  Append(header, sizeof(header));

  if (OpenStore()) {
    MsgStoreMessage message = {};
    message.oid = oid;
    message.flags = kFetchAllAnyFolder;
    if (imports_.getMessage(store_, &message) != FALSE) {
      WriteFurtherProperties(message);
      for (std::size_t i = 0; i < std::size(kHeaderNames); ++i) {
        LPCWSTR value = imports_.getHeader(&message, kHeaderNames[i], 0);
        if (value != nullptr) WritePropString(kHeaderProps[i], value);
      }
      LPCWSTR messageId = imports_.getHeader(&message, u"Message-ID", 0);
      if (messageId != nullptr) WritePropString(kMessageIdProp, messageId);
      WritePropString(kBodyProp, message.body != nullptr ? message.body : u"");
      SYSTEMTIME date = {};
      FileTimeToSystemTime(&message.date, &date);
      WritePropTime(kDateProp, date);
      WritePropLong(kThirdWordProp, message.thirdWord);
      WritePropLong(kFlagsProp, message.flags);
      WriteAttachmentList(message);
    }
    imports_.free(&message);
  }

  header[0] = 1;
  header[1] = 0;
  protocol::PutU32(header + 2, oid);
  PutAt(headerAt, header, sizeof(header));
  return 1;
}

int CCEMail::WriteRecord(IDispatch* /*item*/, RequestPtr data, DWORD& consumed,
                         BYTE* status) {
  DWORD offset = 0;
  CEOID oid = protocol::GetU32(status + 2);
  HANDLE heap = 0;
  try {
    return WriteRecordGuarded(data, consumed, status, offset, oid, heap);
  } catch (const platform::Fault&) {
    if (heap != 0) HeapDestroy(heap);
    std::u16string text = ExceptionText();
    ShowMessage(text.c_str(), kErrorCaption);
    SetStatusOid(status, oid);
    consumed = offset;
    return 1;
  }
}

int CCEMail::WriteRecordGuarded(RequestPtr data, DWORD& consumed, BYTE* status,
                                DWORD& offset, CEOID& oid, HANDLE& heap) {
  DWORD propertyCount = ReadLong(data, offset);
  DWORD size = ReadLong(data, offset);
  DWORD flags = ReadLong(data, offset);
  if (!OpenStore()) return 0;
  heap = HeapCreate(0, static_cast<std::size_t>(size) * 2, 0);
  auto* headerBuffer =
      heap == 0 ? nullptr : static_cast<WCHAR*>(HeapAlloc(heap, 0, 2));
  if (headerBuffer == nullptr) {
    ShowMessage(u"Unable create Heap", kMailCaption);
    if (heap != 0) HeapDestroy(heap);
    heap = 0;
    return 0;
  }
  headerBuffer[0] = 0;

  MsgStoreMessage message = {};
  message.header = headerBuffer;
  message.flags = flags;
  if (oid != 0) {
    message.oid = oid;
    imports_.getMessage(store_, &message);
    message.flags = flags;
  }

  std::vector<OwnedString> strings;
  OwnedString body;
  OwnedString attachmentList;
  for (DWORD i = 0; i < propertyCount; ++i) {
    DWORD id = ReadLong(data, offset);
    switch (id) {
      case kFromProp:
      case kToProp:
      case kCcProp:
      case kBccProp:
      case kSubjectProp:
        strings.push_back(ReadString(data, offset));
        imports_.setHeader(&message, kHeaderNames[id - 1],
                           strings.back().get());
        break;
      case kDateProp: {
        SYSTEMTIME local = {};
        ReadTime(&local, data, offset, 0);
        FILETIME time = {};
        SystemTimeToFileTime(&local, &time);
        TIME_ZONE_INFORMATION zone = {};
        GetTimeZoneInformation(&zone);
        LocalToUtcFileTime(zone, time);
        message.date = time;
        break;
      }
      case kBodyProp:
        body = ReadString(data, offset);
        message.body = body.get();
        message.bodyLength =
            static_cast<WORD>((wcslen(body.get()) + 1) * sizeof(WCHAR));
        break;
      case kAttachmentsProp:
        attachmentList = ReadString(data, offset);
        break;
      case kIgnoredTimeProp: {
        SYSTEMTIME ignored = {};
        ReadTime(&ignored, data, offset, 0);
        break;
      }
      case kThirdWordProp:
        ReadLong(data, offset);
        break;
      case kMessageIdProp:
        strings.push_back(ReadString(data, offset));
        break;
      default:
        // 11, 12 and unknown ids carry no value.
        break;
    }
  }

  WCHAR service[] = u"Mail";
  message.service = service;
  BOOL written = oid != 0 ? imports_.updateMessage(store_, &message, 1)
                          : imports_.addMessage(store_, &message);
  if (written == FALSE) {
    ShowMessage(u"Unable to Write Mail", kMailCaption);
  } else {
    oid = message.oid;
  }

  strings.clear();
  body.reset();
  HeapFree(heap, 0, headerBuffer);
  HeapDestroy(heap);
  heap = 0;

  if (attachmentList != nullptr && attachmentList[0] != 0) {
    std::vector<AttachmentStrings> attachments =
        ParseWrittenAttachmentList(attachmentList.get());
    for (std::size_t i = 0; i < attachments.size(); ++i) {
      MsgStoreMessage written = {};
      written.oid = oid;
      written.flags = kFetchAllAnyFolder;
      imports_.getMessage(store_, &written);
      MsgStoreAttachment attachment = {};
      attachment.index = static_cast<DWORD>(i + 1);
      attachment.second = attachments[i].second.data();
      attachment.first = attachments[i].first.data();
      imports_.addAttachment(store_, &written, &attachment);
      imports_.free(&written);
    }
  }

  SetStatusOid(status, oid);
  consumed = offset;
  return 1;
}

int CCEMail::IsRecordIncluded(DWORD oid) {
  if (database == INVALID_HANDLE_VALUE) {
    CEOID databaseOid = 0;
    database = CeOpenDatabase(&databaseOid, databaseName, 0, 0, 0);
  }
  if (!OpenStore()) return 0;
  MsgStoreMessage message = {};
  message.oid = oid;
  message.flags = kFetchStateAnyFolder;
  if (imports_.getMessage(store_, &message) == FALSE) {
    return imports_.lastError(store_) == kMsgStoreNoSuchMessage ? 1 : 0;
  }
  BYTE folder = static_cast<BYTE>(message.flags & kMsgStoreFolderMask);
  if (folder != kMsgStoreInbox && folder != kMsgStoreOutbox &&
      folder != kMsgStoreSent) {
    return 0;
  }
  if ((message.flags & kMsgStoreLocalOnly) != 0) return 0;
  DWORD index = 0;
  if (CeSeekDatabase(database, CEDB_SEEK_CEOID, oid, &index) == 0) return 0;
  WORD count = 1;
  CEPROPID wanted = kPartialMessage;
  BYTE* buffer = nullptr;
  DWORD bufferSize = 0;
  CEOID read = CeReadRecordProps(database, CEDB_ALLOWREALLOC, &count, &wanted,
                                 &buffer, &bufferSize);
  bool partialMissing = false;
  if (read != 0 && buffer != nullptr && count >= 1) {
    const auto* values = reinterpret_cast<const CEPROPVAL*>(buffer);
    partialMissing = (values[0].wFlags & CEDB_PROPNOTFOUND) != 0;
  }
  if (buffer != nullptr) LocalFree(buffer);
  return partialMissing ? 1 : 0;
}

}  // namespace agent
