// The default message store. Its properties are the entry identifiers of
// its folders: PR_IPM_WASTEBASKET_ENTRYID (Deleted Items),
// PR_IPM_SENTMAIL_ENTRYID (Sent Items), PR_IPM_OUTBOX_ENTRYID (Outbox),
// 0x81040102 (Drafts) and 0x81060102 (Inbox). OpenEntry opens folders and
// messages; the store's own properties cannot be changed.
#ifndef VORN_DEVICE_MAPI_MAPI_MSG_STORE_H_
#define VORN_DEVICE_MAPI_MAPI_MSG_STORE_H_

#include "device/mapi/mapi_object.h"

namespace device {

class Mapi;

class MapiMsgStore final : public MapiObject<IMsgStore> {
 public:
  explicit MapiMsgStore(Mapi& mapi) : mapi_(mapi) {}

  HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                   SPropValue** values) override;
  HRESULT SetProps(ULONG count, SPropValue* values, void** problems) override;
  HRESULT SaveChanges(ULONG flags) override;
  HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                       IUnknown** object) override;
  HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                          SPropTagArray** tags) override;
  HRESULT OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID iid, ULONG flags,
                    ULONG* objectType, IUnknown** object) override;

 private:
  Mapi& mapi_;
};

class MapiSession final : public MapiObject<IMAPISession> {
 public:
  explicit MapiSession(Mapi& mapi) : mapi_(mapi) {}

  // The default store only (idSize 0, null id).
  HRESULT OpenMsgStore(ULONG uiParam, ULONG idSize, const ENTRYID* id,
                       LPCIID iid, ULONG flags, IMsgStore** store) override;

 private:
  Mapi& mapi_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_MSG_STORE_H_
