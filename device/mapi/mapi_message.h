// One message of the store, opened or newly created. Properties and
// recipients are changed in the object and stored by SaveChanges (kind 1
// for a new message, 2 for a changed one reaches the change hook).
// Attachments are stored as they are written (mapi_attach.h). Computed
// properties: PR_ENTRYID, PR_PARENT_ENTRYID (the folder's entry
// identifier) and PR_MESSAGE_SIZE (the bytes of the stored values).
// ModifyRecipients supports MODRECIP_ADD only.
#ifndef VORN_DEVICE_MAPI_MAPI_MESSAGE_H_
#define VORN_DEVICE_MAPI_MAPI_MESSAGE_H_

#include "device/mapi/mail_store.h"
#include "device/mapi/mapi_object.h"

namespace device {

class Mapi;

class MapiMessage final : public MapiObject<IMessage> {
 public:
  MapiMessage(Mapi& mapi, StoredMessage message, bool isNew, bool writable)
      : mapi_(mapi),
        message_(std::move(message)),
        isNew_(isNew),
        writable_(writable) {}

  HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                   SPropValue** values) override;
  HRESULT SetProps(ULONG count, SPropValue* values, void** problems) override;
  HRESULT SaveChanges(ULONG flags) override;
  // PR_BODY (or any text or binary property): a stream on its bytes;
  // MAPI_CREATE starts the property empty, MAPI_MODIFY lets the stream
  // write it.
  HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                       IUnknown** object) override;
  HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                          SPropTagArray** tags) override;
  HRESULT GetRecipientTable(ULONG flags, IMAPITable** table) override;
  HRESULT ModifyRecipients(ULONG flags, ADRLIST* recipients) override;
  HRESULT GetAttachmentTable(ULONG flags, IMAPITable** table) override;
  HRESULT OpenAttach(ULONG number, LPCIID iid, ULONG flags,
                     IAttach** attach) override;
  HRESULT CreateAttach(LPCIID iid, ULONG flags, ULONG* number,
                       IAttach** attach) override;

  DWORD key() const { return message_.key; }

 private:
  PropList AllProps();

  Mapi& mapi_;
  StoredMessage message_;
  bool isNew_;
  bool writable_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_MESSAGE_H_
