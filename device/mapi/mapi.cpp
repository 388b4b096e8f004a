#include "device/mapi/mapi.h"

#include <charconv>
#include <string>

#include "device/mapi/mapi_folder.h"
#include "device/mapi/mapi_message.h"
#include "device/mapi/mapi_msg_store.h"
#include "platform/fault.h"

namespace device {
namespace {

// The library whose export was handed out last. The exports are plain
// functions, so they find their handheld here, the way a module's code
// reaches its own process.
Mapi* g_owner = nullptr;

constexpr std::string_view kFolderNames[] = {"deleted", "drafts", "sent",
                                             "outbox", "inbox"};

}  // namespace

Mapi::Mapi(DeviceContext& context) : context_(context), store_(context.image) {}

Mapi::~Mapi() {
  if (g_owner == this) g_owner = nullptr;
}

bool Mapi::Present() const { return !context_.faults.IsSet(kMissingFault); }

FARPROC Mapi::Resolve(std::u16string_view name) {
  FARPROC found = nullptr;
  if (name == u"MAPILogonEx") found = platform::AsFarProc(&Mapi::LogonExport);
  if (name == u"MAPIFreeBuffer")
    found = platform::AsFarProc(&Mapi::FreeBufferExport);
  if (name == u"FreeProws") found = platform::AsFarProc(&Mapi::FreeRowsExport);
  if (found != nullptr) g_owner = this;
  return found;
}

Mapi& Mapi::Owner() {
  // Called after its handheld is gone: code of a module that no longer
  // exists, which on the handheld is a fault.
  if (g_owner == nullptr) {
    throw platform::Fault("CEMAPI.DLL called after its handheld ended");
  }
  return *g_owner;
}

HRESULT Mapi::LogonExport(ULONG /*uiParam*/, LPWSTR /*profile*/,
                          LPWSTR /*password*/, ULONG /*flags*/,
                          IMAPISession** session) {
  Mapi& mapi = Owner();
  if (session == nullptr) return MAPI_E_INVALID_PARAMETER;
  *session = mapi.Make<MapiSession>(mapi);
  return S_OK;
}

ULONG Mapi::FreeBufferExport(void* buffer) {
  Mapi& mapi = Owner();
  if (buffer == nullptr || mapi.allocator_.Free(buffer)) return S_OK;
  return static_cast<ULONG>(MAPI_E_INVALID_PARAMETER);
}

void Mapi::FreeRowsExport(SRowSet* rows) {
  Mapi& mapi = Owner();
  if (rows != nullptr && !mapi.allocator_.FreeRows(rows)) {
    throw platform::Fault("FreeProws of a buffer that is no row set");
  }
}

void Mapi::EndConversation() {
  pool_.clear();
  allocator_.Clear();
}

bool Mapi::TakeBusy(MailFolder folder) {
  std::optional<std::string> value = context_.faults.Value(kBusyFault);
  if (!value) return false;
  std::string_view text = *value;
  std::size_t space = text.find(' ');
  if (space == std::string_view::npos) return false;
  if (FolderFromName(text.substr(0, space)) != folder) return false;
  std::string_view number = text.substr(space + 1);
  unsigned long count = 0;
  auto [end, error] =
      std::from_chars(number.data(), number.data() + number.size(), count);
  if (error != std::errc() || end != number.data() + number.size() ||
      count == 0) {
    return false;
  }
  if (count == 1) {
    (void)context_.faults.Clear(kBusyFault);
  } else {
    (void)context_.faults.Set(kBusyFault, std::string(text.substr(0, space)) +
                                              " " + std::to_string(count - 1));
  }
  return true;
}

HRESULT Mapi::AnswerProps(const PropList& props, SPropTagArray* tags,
                          ULONG* count, SPropValue** values) {
  if (count == nullptr || values == nullptr) return MAPI_E_INVALID_PARAMETER;
  if (tags == nullptr) {
    *count = static_cast<ULONG>(props.size());
    *values = allocator_.Values(props);
    return S_OK;
  }
  if (tags->cValues > kMaxPropTags) return MAPI_E_INVALID_PARAMETER;
  PropList answer;
  bool missing = false;
  for (ULONG i = 0; i < tags->cValues; ++i) {
    ULONG tag = tags->aulPropTag[i];
    const MapiProp* found = MailStore::Find(props, tag);
    if (found != nullptr) {
      answer.push_back(*found);
    } else {
      missing = true;
      answer.push_back(MailStore::Long(PROP_TAG(PT_ERROR, PROP_ID(tag)),
                                       static_cast<DWORD>(MAPI_E_NOT_FOUND)));
    }
  }
  *count = static_cast<ULONG>(answer.size());
  *values = allocator_.Values(answer);
  return missing ? MAPI_W_ERRORS_RETURNED : S_OK;
}

HRESULT Mapi::GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                              SPropTagArray** tags) {
  if (tags == nullptr || names == nullptr || count == 0 ||
      count > kMaxPropTags) {
    return MAPI_E_INVALID_PARAMETER;
  }
  std::vector<ULONG> answer;
  bool missing = false;
  for (ULONG i = 0; i < count; ++i) {
    const MAPINAMEID* name = names[i];
    std::optional<ULONG> id;
    if (name != nullptr && name->lpguid != nullptr &&
        *name->lpguid == PS_PUBLIC_STRINGS && name->ulKind == MNID_STRING &&
        name->Kind.lpwstrName != nullptr) {
      std::u16string text;
      for (const WCHAR* p = name->Kind.lpwstrName; *p != 0; ++p) {
        text.push_back(*p);
      }
      id = store_.NamedId(text, (flags & MAPI_CREATE) != 0);
    }
    if (id) {
      answer.push_back(PROP_TAG(0, *id));
    } else {
      missing = true;
      answer.push_back(PROP_TAG(PT_ERROR, 0));
    }
  }
  *tags = allocator_.Tags(answer);
  return missing ? MAPI_W_ERRORS_RETURNED : S_OK;
}

HRESULT Mapi::OpenEntry(ULONG idSize, const ENTRYID* id, ULONG flags,
                        ULONG* objectType, IUnknown** object, bool folders) {
  if (object == nullptr) return MAPI_E_INVALID_PARAMETER;
  *object = nullptr;
  std::optional<DWORD> key = MailStore::ParseEntryId(id, idSize);
  if (!key) return MAPI_E_INVALID_ENTRYID;
  if (folders) {
    if (std::optional<MailFolder> folder = store_.FolderOfKey(*key)) {
      if (objectType != nullptr) *objectType = MAPI_FOLDER;
      *object = Make<MapiFolder>(*this, *folder);
      return S_OK;
    }
  }
  std::optional<StoredMessage> message = store_.LoadMessage(*key);
  if (!message) return MAPI_E_NOT_FOUND;
  if (objectType != nullptr) *objectType = MAPI_MESSAGE;
  *object = Make<MapiMessage>(*this, std::move(*message), false,
                              (flags & MAPI_MODIFY) != 0);
  return S_OK;
}

std::optional<MailFolder> Mapi::FolderFromName(std::string_view name) {
  for (int i = 0; i < kMailFolderCount; ++i) {
    if (kFolderNames[i] == name) return static_cast<MailFolder>(i + 1);
  }
  return std::nullopt;
}

std::string_view Mapi::FolderName(MailFolder folder) {
  return kFolderNames[static_cast<int>(folder) - 1];
}

}  // namespace device
