// One of the store's five folders. Its contents table lists the folder's
// messages in ascending key order (descending when the library is told
// so) with the column PR_ENTRYID; DeleteMessages removes the messages it
// names wherever they are (an entry that names nothing is skipped and the
// result is MAPI_W_PARTIAL_COMPLETION); CreateMessage makes a message
// that exists once it is saved.
#ifndef VORN_DEVICE_MAPI_MAPI_FOLDER_H_
#define VORN_DEVICE_MAPI_MAPI_FOLDER_H_

#include "device/mapi/mail_store.h"
#include "device/mapi/mapi_object.h"

namespace device {

class Mapi;

class MapiFolder final : public MapiObject<IMAPIFolder> {
 public:
  MapiFolder(Mapi& mapi, MailFolder folder) : mapi_(mapi), folder_(folder) {}

  HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                   SPropValue** values) override;
  HRESULT SetProps(ULONG count, SPropValue* values, void** problems) override;
  HRESULT SaveChanges(ULONG flags) override;
  HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                       IUnknown** object) override;
  HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                          SPropTagArray** tags) override;
  HRESULT GetContentsTable(ULONG flags, IMAPITable** table) override;
  HRESULT OpenEntry(ULONG idSize, const ENTRYID* id, LPCIID iid, ULONG flags,
                    ULONG* objectType, IUnknown** object) override;
  HRESULT CreateMessage(LPCIID iid, ULONG flags, IMessage** message) override;
  HRESULT DeleteMessages(ENTRYLIST* messages, ULONG uiParam, void* progress,
                         ULONG flags) override;

  MailFolder folder() const { return folder_; }

 private:
  Mapi& mapi_;
  MailFolder folder_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_FOLDER_H_
