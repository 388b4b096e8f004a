#include "device/mapi/mapi_msg_store.h"

#include "device/mapi/mapi.h"

namespace device {

HRESULT MapiMsgStore::GetProps(SPropTagArray* tags, ULONG /*flags*/,
                               ULONG* count, SPropValue** values) {
  static constexpr std::pair<ULONG, MailFolder> kFolders[] = {
      {PR_IPM_WASTEBASKET_ENTRYID, MailFolder::kDeleted},
      {PR_CE_IPM_DRAFTS_ENTRYID, MailFolder::kDrafts},
      {PR_IPM_SENTMAIL_ENTRYID, MailFolder::kSent},
      {PR_IPM_OUTBOX_ENTRYID, MailFolder::kOutbox},
      {PR_CE_IPM_INBOX_ENTRYID, MailFolder::kInbox},
  };
  PropList props;
  for (const auto& [tag, folder] : kFolders) {
    BYTE id[MailStore::kEntryIdSize];
    MailStore::MakeEntryId(mapi_.store().FolderKey(folder), id);
    props.push_back(MailStore::Binary(tag, id, sizeof(id)));
  }
  return mapi_.AnswerProps(props, tags, count, values);
}

HRESULT MapiMsgStore::SetProps(ULONG /*count*/, SPropValue* /*values*/,
                               void** problems) {
  if (problems != nullptr) *problems = nullptr;
  return MAPI_E_NO_SUPPORT;
}

HRESULT MapiMsgStore::SaveChanges(ULONG /*flags*/) { return MAPI_E_NO_SUPPORT; }

HRESULT MapiMsgStore::OpenProperty(ULONG /*tag*/, LPCIID /*iid*/,
                                   ULONG /*options*/, ULONG /*flags*/,
                                   IUnknown** object) {
  if (object != nullptr) *object = nullptr;
  return MAPI_E_NO_SUPPORT;
}

HRESULT MapiMsgStore::GetIDsFromNames(ULONG count, MAPINAMEID** names,
                                      ULONG flags, SPropTagArray** tags) {
  return mapi_.GetIDsFromNames(count, names, flags, tags);
}

HRESULT MapiMsgStore::OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID /*iid*/,
                                ULONG flags, ULONG* objectType,
                                IUnknown** object) {
  return mapi_.OpenEntry(idSize, id, flags, objectType, object, true);
}

HRESULT MapiSession::OpenMsgStore(ULONG /*uiParam*/, ULONG idSize,
                                  const ENTRYID* id, LPCIID /*iid*/,
                                  ULONG /*flags*/, IMsgStore** store) {
  if (store == nullptr) return MAPI_E_INVALID_PARAMETER;
  *store = nullptr;
  if (idSize != 0 || id != nullptr) return MAPI_E_NOT_FOUND;
  *store = mapi_.Make<MapiMsgStore>(mapi_);
  return S_OK;
}

}  // namespace device
