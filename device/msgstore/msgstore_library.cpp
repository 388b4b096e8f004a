#include "device/msgstore/msgstore_library.h"

#include <cstring>

#include "platform/api.h"
#include "platform/fault.h"

namespace device {
namespace {

// An open message store (ordinal 3); ordinal 20 or CloseHandle ends it.
class OpenMessageStore final : public KernelObject {
 public:
  DWORD lastError = 0;
};

MsgStoreLibrary* g_library = nullptr;

std::u16string Copy(LPCWSTR text) {
  return text == nullptr ? std::u16string() : std::u16string(text);
}

template <typename F>
FARPROC AsExport(F function) {
  return ToFarProc(function);
}

}  // namespace

struct MsgStoreLibrary::RecordState {
  std::vector<std::unique_ptr<std::u16string>> texts;
  // Header fields set since the record's last add or update, and the header
  // buffer they were started from.
  std::optional<std::u16string> pendingHeaders;
  LPWSTR headerBuffer = nullptr;
};

MsgStoreLibrary::MsgStoreLibrary(DeviceContext& context, MessageStore& store)
    : context_(context), store_(store) {}

MsgStoreLibrary::~MsgStoreLibrary() {
  if (g_library == this) g_library = nullptr;
}

FARPROC MsgStoreLibrary::Export(LPCWSTR name) {
  FARPROC found = nullptr;
  switch (OrdinalOf(name)) {
    case kMsgStoreLastError:
      found = AsExport<MsgStoreLastErrorFn>(&LastError);
      break;
    case kMsgStoreOpen:
      found = AsExport<MsgStoreOpenFn>(&Open);
      break;
    case kMsgStoreAddMessage:
      found = AsExport<MsgStoreMessageFn>(&AddMessage);
      break;
    case kMsgStoreAddAttachment:
      found = AsExport<MsgStoreAttachmentFn>(&AddAttachment);
      break;
    case kMsgStoreGetMessage:
      found = AsExport<MsgStoreMessageFn>(&GetMessage);
      break;
    case kMsgStoreGetAttachment:
      found = AsExport<MsgStoreGetAttachmentFn>(&GetAttachment);
      break;
    case kMsgStoreFirstMessage:
      found = AsExport<MsgStoreMessageFn>(&FirstMessage);
      break;
    case kMsgStoreUpdateMessage:
      found = AsExport<MsgStoreUpdateFn>(&UpdateMessage);
      break;
    case kMsgStoreDeleteMessage:
      found = AsExport<MsgStoreMessageFn>(&DeleteMessage);
      break;
    case kMsgStoreDeleteAttachment:
      found = AsExport<MsgStoreDeleteAttachmentFn>(&DeleteAttachment);
      break;
    case kMsgStoreFree:
      found = AsExport<MsgStoreFreeFn>(&Free);
      break;
    case kMsgStoreClose:
      found = AsExport<MsgStoreCloseFn>(&Close);
      break;
    case kMsgStoreGetHeader:
      found = AsExport<MsgStoreGetHeaderFn>(&GetHeader);
      break;
    case kMsgStoreSetHeader:
      found = AsExport<MsgStoreSetHeaderFn>(&SetHeader);
      break;
    case kMsgStoreFurtherProps:
      found = AsExport<MsgStoreFurtherPropsFn>(&FurtherProps);
      break;
    default:
      break;
  }
  if (found != nullptr) g_library = this;
  return found;
}

MsgStoreLibrary& MsgStoreLibrary::Current() {
  if (g_library == nullptr) {
    throw platform::Fault("msgstore.dll called after its handheld ended");
  }
  return *g_library;
}

MsgStoreLibrary::RecordState& MsgStoreLibrary::StateOf(
    MsgStoreMessage* message) {
  std::unique_ptr<RecordState>& state = records_[message];
  if (!state) state = std::make_unique<RecordState>();
  return *state;
}

void MsgStoreLibrary::Release(MsgStoreMessage* message) {
  auto it = records_.find(message);
  if (it == records_.end()) return;
  // Pointers of the record that point into what is freed are cleared.
  for (const auto& text : it->second->texts) {
    if (message->service == text->data()) message->service = nullptr;
    if (message->header == text->data()) message->header = nullptr;
    if (message->body == text->data()) message->body = nullptr;
  }
  records_.erase(it);
}

void MsgStoreLibrary::EndPendingHeaders(MsgStoreMessage* message) {
  auto it = records_.find(message);
  if (it == records_.end()) return;
  it->second->pendingHeaders.reset();
  if (it->second->texts.empty()) records_.erase(it);
}

void MsgStoreLibrary::EndConversation() { records_.clear(); }

LPWSTR MsgStoreLibrary::Keep(RecordState& state, const std::u16string& text) {
  state.texts.push_back(std::make_unique<std::u16string>(text));
  return state.texts.back()->data();
}

std::u16string MsgStoreLibrary::HeadersOf(MsgStoreMessage* message) {
  auto it = records_.find(message);
  if (it != records_.end() && it->second->pendingHeaders &&
      it->second->headerBuffer == message->header) {
    return *it->second->pendingHeaders;
  }
  return Copy(message->header);
}

DWORD* MsgStoreLibrary::LastErrorOf(HANDLE store) {
  auto* open = context_.handles.Get<OpenMessageStore>(store);
  if (open == nullptr) {
    context_.lastError = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  return &open->lastError;
}

bool MsgStoreLibrary::Fill(MsgStoreMessage* message,
                           const StoredMessage& stored, DWORD request) {
  Release(message);
  message->oid = stored.oid;
  message->flags = stored.flags;
  message->thirdWord = stored.thirdWord;
  if ((request & kMsgStoreFetchAll) == 0) return true;
  RecordState& state = StateOf(message);
  message->date.dwLowDateTime = static_cast<DWORD>(stored.date);
  message->date.dwHighDateTime = static_cast<DWORD>(stored.date >> 32);
  std::size_t bodyBytes = (stored.body.size() + 1) * 2;
  message->bodyLength =
      static_cast<WORD>(bodyBytes > 0xFFFF ? 0xFFFF : bodyBytes);
  message->service = Keep(state, stored.service);
  message->header = Keep(state, stored.headers);
  message->body = Keep(state, stored.body);
  return true;
}

StoredMessage MsgStoreLibrary::FromRecord(MsgStoreMessage* message) {
  StoredMessage stored;
  stored.oid = message->oid;
  stored.flags = message->flags;
  stored.thirdWord = message->thirdWord;
  stored.date = (std::uint64_t{message->date.dwHighDateTime} << 32) |
                message->date.dwLowDateTime;
  stored.service = Copy(message->service);
  stored.headers = HeadersOf(message);
  stored.body = Copy(message->body);
  return stored;
}

DWORD MsgStoreLibrary::LastError(HANDLE store) {
  DWORD* error = Current().LastErrorOf(store);
  return error == nullptr ? ERROR_INVALID_HANDLE : *error;
}

BOOL MsgStoreLibrary::Open(HANDLE* store, DWORD /*mode*/) {
  MsgStoreLibrary& self = Current();
  if (store == nullptr) {
    self.context_.lastError = ERROR_INVALID_PARAMETER;
    return FALSE;
  }
  if (self.context_.faults.IsSet("msgstore-open-fails")) {
    self.context_.lastError = ERROR_FILE_NOT_FOUND;
    return FALSE;
  }
  self.store_.Database();
  *store = self.context_.handles.Add(std::make_unique<OpenMessageStore>());
  return TRUE;
}

BOOL MsgStoreLibrary::AddMessage(HANDLE store, MsgStoreMessage* message) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return FALSE;
  if (self.context_.faults.IsSet("msgstore-write-fails")) {
    self.EndPendingHeaders(message);
    *error = ERROR_DISK_FULL;
    return FALSE;
  }
  Result<CEOID> added = self.store_.Add(self.FromRecord(message));
  self.EndPendingHeaders(message);
  if (!added.ok()) {
    *error = ERROR_DISK_OPERATION_FAILED;
    return FALSE;
  }
  message->oid = *added;
  *error = 0;
  return TRUE;
}

BOOL MsgStoreLibrary::UpdateMessage(HANDLE store, MsgStoreMessage* message,
                                    DWORD /*mode*/) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return FALSE;
  if (self.context_.faults.IsSet("msgstore-write-fails")) {
    self.EndPendingHeaders(message);
    *error = ERROR_DISK_FULL;
    return FALSE;
  }
  std::optional<StoredMessage> existing = self.store_.Read(message->oid);
  if (!existing) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  StoredMessage updated = self.FromRecord(message);
  // What the record does not carry stays as it was.
  if (message->service == nullptr) updated.service = existing->service;
  if (message->body == nullptr) updated.body = existing->body;
  updated.attachments = std::move(existing->attachments);
  updated.further = std::move(existing->further);
  Status written = self.store_.Update(updated);
  self.EndPendingHeaders(message);
  if (!written.ok()) {
    *error = ERROR_DISK_OPERATION_FAILED;
    return FALSE;
  }
  *error = 0;
  return TRUE;
}

BOOL MsgStoreLibrary::GetMessage(HANDLE store, MsgStoreMessage* message) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return FALSE;
  std::optional<StoredMessage> stored = self.store_.Read(message->oid);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  *error = 0;
  return self.Fill(message, *stored, message->flags) ? TRUE : FALSE;
}

BOOL MsgStoreLibrary::FirstMessage(HANDLE store, MsgStoreMessage* message) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return FALSE;
  DWORD request = message->flags;
  std::optional<CEOID> first =
      self.store_.First(static_cast<BYTE>(request & kMsgStoreFolderMask));
  std::optional<StoredMessage> stored;
  if (first) stored = self.store_.Read(*first);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  *error = 0;
  return self.Fill(message, *stored, request) ? TRUE : FALSE;
}

BOOL MsgStoreLibrary::DeleteMessage(HANDLE store, MsgStoreMessage* message) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return FALSE;
  if (!self.store_.Delete(message->oid).ok()) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  self.Release(message);
  *error = 0;
  return TRUE;
}

BOOL MsgStoreLibrary::AddAttachment(HANDLE store, MsgStoreMessage* message,
                                    MsgStoreAttachment* attachment) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr || attachment == nullptr) {
    return FALSE;
  }
  std::optional<StoredMessage> stored = self.store_.Read(message->oid);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  stored->attachments.push_back(
      StoredAttachment{Copy(attachment->first), Copy(attachment->second)});
  if (!self.store_.Update(*stored).ok()) {
    *error = ERROR_DISK_OPERATION_FAILED;
    return FALSE;
  }
  *error = 0;
  return TRUE;
}

int MsgStoreLibrary::GetAttachment(HANDLE store, MsgStoreMessage* message,
                                   MsgStoreAttachment* attachment) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr) return 0;
  std::optional<StoredMessage> stored = self.store_.Read(message->oid);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return 0;
  }
  *error = 0;
  if (attachment == nullptr)
    return static_cast<int>(stored->attachments.size());
  if (attachment->index < 1 || attachment->index > stored->attachments.size()) {
    return 0;
  }
  const StoredAttachment& found = stored->attachments[attachment->index - 1];
  RecordState& state = self.StateOf(message);
  attachment->first = self.Keep(state, found.first);
  attachment->second = self.Keep(state, found.second);
  return 1;
}

BOOL MsgStoreLibrary::DeleteAttachment(HANDLE store, MsgStoreMessage* message,
                                       MsgStoreAttachment* attachment,
                                       DWORD /*mode*/) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr || attachment == nullptr) {
    return FALSE;
  }
  std::optional<StoredMessage> stored = self.store_.Read(message->oid);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return FALSE;
  }
  if (attachment->index < 1 || attachment->index > stored->attachments.size()) {
    *error = ERROR_INVALID_PARAMETER;
    return FALSE;
  }
  stored->attachments.erase(stored->attachments.begin() +
                            (attachment->index - 1));
  if (!self.store_.Update(*stored).ok()) {
    *error = ERROR_DISK_OPERATION_FAILED;
    return FALSE;
  }
  *error = 0;
  return TRUE;
}

void MsgStoreLibrary::Free(MsgStoreMessage* message) {
  if (message != nullptr) Current().Release(message);
}

BOOL MsgStoreLibrary::Close(HANDLE store) {
  MsgStoreLibrary& self = Current();
  if (self.context_.handles.Get<OpenMessageStore>(store) == nullptr) {
    self.context_.lastError = ERROR_INVALID_HANDLE;
    return FALSE;
  }
  self.context_.handles.Close(store);
  return TRUE;
}

LPCWSTR MsgStoreLibrary::GetHeader(MsgStoreMessage* message, LPCWSTR field,
                                   DWORD /*flags*/) {
  MsgStoreLibrary& self = Current();
  if (message == nullptr || field == nullptr) return nullptr;
  std::optional<std::u16string> value =
      HeaderField(self.HeadersOf(message), field);
  if (!value) return nullptr;
  return self.Keep(self.StateOf(message), *value);
}

BOOL MsgStoreLibrary::SetHeader(MsgStoreMessage* message, LPCWSTR field,
                                LPCWSTR value) {
  MsgStoreLibrary& self = Current();
  if (message == nullptr || field == nullptr) return FALSE;
  std::u16string headers =
      WithHeaderField(self.HeadersOf(message), field, Copy(value));
  RecordState& state = self.StateOf(message);
  state.pendingHeaders = std::move(headers);
  state.headerBuffer = message->header;
  return TRUE;
}

int MsgStoreLibrary::FurtherProps(HANDLE store, MsgStoreMessage* message,
                                  DWORD* count, CEPROPVAL** values) {
  MsgStoreLibrary& self = Current();
  DWORD* error = self.LastErrorOf(store);
  if (error == nullptr || message == nullptr || count == nullptr ||
      values == nullptr) {
    return 0;
  }
  std::optional<StoredMessage> stored = self.store_.Read(message->oid);
  if (!stored) {
    *error = kMsgStoreNoSuchMessage;
    return 0;
  }
  *error = 0;
  *count = static_cast<DWORD>(stored->further.size());
  *values = nullptr;
  if (stored->further.empty()) return 1;
  constexpr std::size_t kAlign = alignof(CEPROPVAL);
  auto aligned = [](std::size_t n) {
    return (n + kAlign - 1) / kAlign * kAlign;
  };
  std::size_t size = stored->further.size() * sizeof(CEPROPVAL);
  for (const RecordValue& v : stored->further) {
    size += aligned(RecordValueDataSize(v));
  }
  auto* block = static_cast<std::uint8_t*>(LocalAlloc(LMEM_ZEROINIT, size));
  if (block == nullptr) return 0;
  auto* array = reinterpret_cast<CEPROPVAL*>(block);
  std::size_t at = stored->further.size() * sizeof(CEPROPVAL);
  for (std::size_t i = 0; i < stored->further.size(); ++i) {
    const RecordValue& v = stored->further[i];
    std::uint8_t* data = block + at;
    if (v.type() == CEVT_LPWSTR) {
      std::memcpy(data, v.text.c_str(), (v.text.size() + 1) * sizeof(char16_t));
    } else if (v.type() == CEVT_BLOB && !v.bytes.empty()) {
      std::memcpy(data, v.bytes.data(), v.bytes.size());
    }
    RecordValueToPropVal(v, data, &array[i]);
    at += aligned(RecordValueDataSize(v));
  }
  *values = array;
  return 1;
}

}  // namespace device
