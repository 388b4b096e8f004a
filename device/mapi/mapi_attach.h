// One attachment of a stored message. Its properties are written to the
// store as they are set (SetProps, each Write of its data stream): the
// store keeps attachments without a SaveChanges of the message or the
// attachment.
#ifndef VORN_DEVICE_MAPI_MAPI_ATTACH_H_
#define VORN_DEVICE_MAPI_MAPI_ATTACH_H_

#include "device/mapi/mapi_object.h"

namespace device {

class Mapi;

class MapiAttach final : public MapiObject<IAttach> {
 public:
  MapiAttach(Mapi& mapi, DWORD messageKey, ULONG number)
      : mapi_(mapi), messageKey_(messageKey), number_(number) {}

  HRESULT GetProps(SPropTagArray* tags, ULONG flags, ULONG* count,
                   SPropValue** values) override;
  HRESULT SetProps(ULONG count, SPropValue* values, void** problems) override;
  // Nothing to do: the properties are stored already.
  HRESULT SaveChanges(ULONG flags) override;
  // PR_ATTACH_DATA_BIN only; MAPI_CREATE makes a missing one empty.
  HRESULT OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags,
                       IUnknown** object) override;
  HRESULT GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                          SPropTagArray** tags) override;

 private:
  Mapi& mapi_;
  DWORD messageKey_;
  ULONG number_;
};

}  // namespace device

#endif  // VORN_DEVICE_MAPI_MAPI_ATTACH_H_
