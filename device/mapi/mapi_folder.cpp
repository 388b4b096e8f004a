#include "device/mapi/mapi_folder.h"

#include <algorithm>

#include "device/mapi/mapi.h"
#include "device/mapi/mapi_message.h"
#include "device/mapi/mapi_table.h"

namespace device {
namespace {

constexpr HRESULT MAPI_W_PARTIAL_COMPLETION = 0x00040680;

}  // namespace

HRESULT MapiFolder::GetProps(SPropTagArray* tags, ULONG /*flags*/, ULONG* count,
                             SPropValue** values) {
  BYTE id[MailStore::kEntryIdSize];
  MailStore::MakeEntryId(mapi_.store().FolderKey(folder_), id);
  PropList props = {MailStore::Binary(PR_ENTRYID, id, sizeof(id))};
  return mapi_.AnswerProps(props, tags, count, values);
}

HRESULT MapiFolder::SetProps(ULONG /*count*/, SPropValue* /*values*/,
                             void** problems) {
  if (problems != nullptr) *problems = nullptr;
  return MAPI_E_NO_SUPPORT;
}

HRESULT MapiFolder::SaveChanges(ULONG /*flags*/) { return MAPI_E_NO_SUPPORT; }

HRESULT MapiFolder::OpenProperty(ULONG /*tag*/, LPCIID /*iid*/,
                                 ULONG /*options*/, ULONG /*flags*/,
                                 IUnknown** object) {
  if (object != nullptr) *object = nullptr;
  return MAPI_E_NO_SUPPORT;
}

HRESULT MapiFolder::GetIDsFromNames(ULONG count, MAPINAMEID** names,
                                    ULONG flags, SPropTagArray** tags) {
  return mapi_.GetIDsFromNames(count, names, flags, tags);
}

HRESULT MapiFolder::GetContentsTable(ULONG /*flags*/, IMAPITable** table) {
  if (table == nullptr) return MAPI_E_INVALID_PARAMETER;
  Mapi* mapi = &mapi_;
  MailFolder folder = folder_;
  *table = mapi_.Make<MapiTable>(
      mapi_,
      [mapi, folder]() {
        std::vector<DWORD> keys = mapi->store().MessageKeys(folder);
        for (const auto& [extraFolder, key] : mapi->extraRows()) {
          if (extraFolder == folder) keys.push_back(key);
        }
        if (mapi->descendingRows()) std::reverse(keys.begin(), keys.end());
        std::vector<PropList> rows;
        rows.reserve(keys.size());
        for (DWORD key : keys) {
          BYTE id[MailStore::kEntryIdSize];
          MailStore::MakeEntryId(key, id);
          rows.push_back({MailStore::Binary(PR_ENTRYID, id, sizeof(id))});
        }
        return rows;
      },
      folder_);
  return S_OK;
}

HRESULT MapiFolder::OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID /*iid*/,
                              ULONG flags, ULONG* objectType,
                              IUnknown** object) {
  return mapi_.OpenEntry(idSize, id, flags, objectType, object, false);
}

HRESULT MapiFolder::CreateMessage(LPCIID /*iid*/, ULONG /*flags*/,
                                  IMessage** message) {
  if (message == nullptr) return MAPI_E_INVALID_PARAMETER;
  StoredMessage fresh;
  fresh.key = mapi_.store().NewKey();
  fresh.folder = folder_;
  *message = mapi_.Make<MapiMessage>(mapi_, std::move(fresh), true, true);
  return S_OK;
}

HRESULT MapiFolder::DeleteMessages(ENTRYLIST* messages, ULONG /*uiParam*/,
                                   void* /*progress*/, ULONG /*flags*/) {
  if (messages == nullptr) return MAPI_E_INVALID_PARAMETER;
  ++mapi_.deleteCalls().calls;
  HRESULT result = S_OK;
  for (ULONG i = 0; i < messages->cValues; ++i) {
    const SBinary& entry = messages->lpbin[i];
    if (entry.lpb == nullptr) ++mapi_.deleteCalls().nullEntries;
    std::optional<DWORD> key = MailStore::ParseEntryId(entry.lpb, entry.cb);
    if (key && mapi_.store().DeleteMessage(*key)) {
      mapi_.ReportChange(*key, Mapi::kChangeDeleted);
    } else {
      result = MAPI_W_PARTIAL_COMPLETION;
    }
  }
  return result;
}

}  // namespace device
