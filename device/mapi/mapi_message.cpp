#include "device/mapi/mapi_message.h"

#include "device/mapi/mapi.h"
#include "device/mapi/mapi_attach.h"
#include "device/mapi/mapi_stream.h"
#include "device/mapi/mapi_table.h"

namespace device {
namespace {

constexpr HRESULT MAPI_E_NO_ACCESS = static_cast<HRESULT>(0x80070005U);

}  // namespace

PropList MapiMessage::AllProps() {
  PropList props = message_.props;
  BYTE id[MailStore::kEntryIdSize];
  MailStore::MakeEntryId(message_.key, id);
  MailStore::Put(props, MailStore::Binary(PR_ENTRYID, id, sizeof(id)));
  MailStore::MakeEntryId(mapi_.store().FolderKey(message_.folder), id);
  MailStore::Put(props, MailStore::Binary(PR_PARENT_ENTRYID, id, sizeof(id)));
  DWORD size = 0;
  for (const MapiProp& prop : message_.props) {
    size += static_cast<DWORD>(prop.value.size());
  }
  MailStore::Put(props, MailStore::Long(PR_MESSAGE_SIZE, size));
  return props;
}

HRESULT MapiMessage::GetProps(SPropTagArray* tags, ULONG /*flags*/,
                              ULONG* count, SPropValue** values) {
  return mapi_.AnswerProps(AllProps(), tags, count, values);
}

HRESULT MapiMessage::SetProps(ULONG count, SPropValue* values,
                              void** problems) {
  if (problems != nullptr) *problems = nullptr;
  if (!writable_) return MAPI_E_NO_ACCESS;
  if (values == nullptr && count != 0) return MAPI_E_INVALID_PARAMETER;
  for (ULONG i = 0; i < count; ++i) {
    if (values[i].ulPropTag == 0) continue;
    MapiProp prop = MapiAllocator::FromValue(values[i]);
    if (prop.tag == 0 || prop.tag == PR_ENTRYID ||
        prop.tag == PR_PARENT_ENTRYID || prop.tag == PR_MESSAGE_SIZE) {
      continue;
    }
    MailStore::Put(message_.props, std::move(prop));
  }
  return S_OK;
}

HRESULT MapiMessage::SaveChanges(ULONG /*flags*/) {
  if (!writable_) return MAPI_E_NO_ACCESS;
  mapi_.store().SaveMessage(message_);
  mapi_.ReportChange(message_.key,
                     isNew_ ? Mapi::kChangeAdded : Mapi::kChangeChanged);
  isNew_ = false;
  return S_OK;
}

HRESULT MapiMessage::OpenProperty(ULONG tag, LPCIID /*iid*/, ULONG /*options*/,
                                  ULONG flags, IUnknown** object) {
  if (object == nullptr) return MAPI_E_INVALID_PARAMETER;
  *object = nullptr;
  if (PROP_TYPE(tag) != PT_UNICODE && PROP_TYPE(tag) != PT_BINARY) {
    return MAPI_E_NO_SUPPORT;
  }
  const MapiProp* found = MailStore::Find(message_.props, tag);
  if (found == nullptr && (flags & MAPI_CREATE) == 0) return MAPI_E_NOT_FOUND;
  MapiStream::Commit commit;
  if ((flags & MAPI_MODIFY) != 0) {
    if (!writable_) return MAPI_E_NO_ACCESS;
    commit = [this, tag](const std::vector<BYTE>& bytes) {
      MailStore::Put(message_.props, MapiProp{tag, bytes});
    };
  }
  // MAPI_CREATE gives the property a new, empty value.
  bool keep = found != nullptr && (flags & MAPI_CREATE) == 0;
  if (!keep && commit) commit({});
  *object = mapi_.Make<MapiStream>(keep ? found->value : std::vector<BYTE>(),
                                   std::move(commit));
  return S_OK;
}

HRESULT MapiMessage::GetIDsFromNames(ULONG count, MAPINAMEID** names,
                                     ULONG flags, SPropTagArray** tags) {
  return mapi_.GetIDsFromNames(count, names, flags, tags);
}

HRESULT MapiMessage::GetRecipientTable(ULONG /*flags*/, IMAPITable** table) {
  if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
  std::vector<PropList> rows = message_.recipients;
  *table = mapi_.Make<MapiTable>(mapi_, [rows]() { return rows; });
  return S_OK;
}

HRESULT MapiMessage::ModifyRecipients(ULONG flags, ADRLIST* recipients) {
  if (!writable_) return MAPI_E_NO_ACCESS;
  if (flags != MODRECIP_ADD) return MAPI_E_NO_SUPPORT;
  if (recipients == nullptr) return MAPI_E_INVALID_PARAMETER;
  for (ULONG i = 0; i < recipients->cEntries; ++i) {
    const ADRENTRY& entry = recipients->aEntries[i];
    PropList row;
    for (ULONG v = 0; v < entry.cValues; ++v) {
      MapiProp prop = MapiAllocator::FromValue(entry.rgPropVals[v]);
      if (prop.tag != 0) MailStore::Put(row, std::move(prop));
    }
    message_.recipients.push_back(std::move(row));
  }
  return S_OK;
}

HRESULT MapiMessage::GetAttachmentTable(ULONG /*flags*/, IMAPITable** table) {
  if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
  Mapi* mapi = &mapi_;
  DWORD key = message_.key;
  *table = mapi_.Make<MapiTable>(mapi_, [mapi, key]() {
    std::vector<PropList> rows;
    for (ULONG number : mapi->store().AttachmentNumbers(key)) {
      PropList row = {MailStore::Long(PR_ATTACH_NUM, number)};
      PropList stored = mapi->store().LoadAttachment(key, number);
      if (const MapiProp* name = MailStore::Find(stored, PR_ATTACH_FILENAME)) {
        row.push_back(*name);
      }
      rows.push_back(std::move(row));
    }
    return rows;
  });
  return S_OK;
}

HRESULT MapiMessage::OpenAttach(ULONG number, LPCIID /*iid*/, ULONG /*flags*/,
                                IAttach** attach) {
  if (attach == nullptr) return MAPI_E_INVALID_PARAMETER;
  *attach = nullptr;
  for (ULONG stored : mapi_.store().AttachmentNumbers(message_.key)) {
    if (stored == number) {
      *attach = mapi_.Make<MapiAttach>(mapi_, message_.key, number);
      return S_OK;
    }
  }
  return MAPI_E_NOT_FOUND;
}

HRESULT MapiMessage::CreateAttach(LPCIID /*iid*/, ULONG /*flags*/,
                                  ULONG* number, IAttach** attach) {
  if (attach == nullptr) return MAPI_E_INVALID_PARAMETER;
  *attach = nullptr;
  if (!writable_) return MAPI_E_NO_ACCESS;
  std::vector<ULONG> numbers = mapi_.store().AttachmentNumbers(message_.key);
  ULONG next = numbers.empty() ? 0 : numbers.back() + 1;
  mapi_.store().SaveAttachmentProp(message_.key, next,
                                   MailStore::Long(PR_ATTACH_NUM, next));
  if (number != nullptr) *number = next;
  *attach = mapi_.Make<MapiAttach>(mapi_, message_.key, next);
  return S_OK;
}

}  // namespace device
