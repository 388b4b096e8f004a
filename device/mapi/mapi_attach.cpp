#include "device/mapi/mapi_attach.h"

#include "device/mapi/mapi.h"
#include "device/mapi/mapi_stream.h"

namespace device {

HRESULT MapiAttach::GetProps(SPropTagArray* tags, ULONG /*flags*/, ULONG* count,
                             SPropValue** values) {
  PropList props = mapi_.store().LoadAttachment(messageKey_, number_);
  return mapi_.AnswerProps(props, tags, count, values);
}

HRESULT MapiAttach::SetProps(ULONG count, SPropValue* values, void** problems) {
  if (problems != nullptr) *problems = nullptr;
  if (values == nullptr && count != 0) return MAPI_E_INVALID_PARAMETER;
  for (ULONG i = 0; i < count; ++i) {
    if (values[i].ulPropTag == 0) continue;
    MapiProp prop = MapiAllocator::FromValue(values[i]);
    if (prop.tag == 0 || prop.tag == PR_ATTACH_NUM) continue;
    mapi_.store().SaveAttachmentProp(messageKey_, number_, prop);
  }
  return S_OK;
}

HRESULT MapiAttach::SaveChanges(ULONG /*flags*/) { return S_OK; }

HRESULT MapiAttach::OpenProperty(ULONG tag, LPCIID /*iid*/, ULONG /*options*/,
                                 ULONG flags, IUnknown** object) {
  if (object == nullptr) return MAPI_E_INVALID_PARAMETER;
  *object = nullptr;
  if (tag != PR_ATTACH_DATA_BIN) return MAPI_E_NO_SUPPORT;
  PropList props = mapi_.store().LoadAttachment(messageKey_, number_);
  const MapiProp* data = MailStore::Find(props, tag);
  if (data == nullptr && (flags & MAPI_CREATE) == 0) return MAPI_E_NOT_FOUND;
  MapiStream::Commit commit;
  if ((flags & MAPI_MODIFY) != 0) {
    Mapi* mapi = &mapi_;
    DWORD key = messageKey_;
    ULONG number = number_;
    commit = [mapi, key, number, tag](const std::vector<BYTE>& bytes) {
      mapi->store().SaveAttachmentProp(key, number, MapiProp{tag, bytes});
    };
  }
  // MAPI_CREATE gives the property a new, empty value.
  bool keep = data != nullptr && (flags & MAPI_CREATE) == 0;
  if (!keep && commit) commit({});
  *object = mapi_.Make<MapiStream>(keep ? data->value : std::vector<BYTE>(),
                                   std::move(commit));
  return S_OK;
}

HRESULT MapiAttach::GetIDsFromNames(ULONG count, MAPINAMEID** names,
                                    ULONG flags, SPropTagArray** tags) {
  return mapi_.GetIDsFromNames(count, names, flags, tags);
}

}  // namespace device
