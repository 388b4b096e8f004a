// A contact of the object model, kept as a record of "Contacts Database".
//
// Record properties (CE property id = id << 16 | type):
//   0x40010005  Birthday     (CEVT_R8, the DATE; absent = no date)
//   0x40020005  Anniversary  (CEVT_R8)
//   0x0017001F  Body text, 0x00170041 Body bytes (see pim_item.h)
//   0x4010001F + (n << 16)  the n-th string property of IContact in its
//               declaration order (BusinessFaxNumber n = 0 ... Business-
//               AddressCountry n = 47); Body (n = 22) uses the ids above.
// Save fails with the HRESULT of the fault "contact-save" when it is set.
#ifndef VORN_DEVICE_PIM_CONTACT_ITEM_H_
#define VORN_DEVICE_PIM_CONTACT_ITEM_H_

#include "device/pim/pim_item.h"

namespace device {

enum class ContactField {
#define VORN_CONTACT_FIELD(name) name,
  VORN_CONTACT_STRING_PROPERTIES(VORN_CONTACT_FIELD)
#undef VORN_CONTACT_FIELD
};

inline constexpr CEPROPID kContactBirthday = 0x40010005;
inline constexpr CEPROPID kContactAnniversary = 0x40020005;

// The record property of a string field (Body: the text property).
constexpr CEPROPID ContactFieldProperty(ContactField field) {
  return field == ContactField::Body
             ? kPimBodyText
             : ((0x4010u + static_cast<CEPROPID>(field)) << 16) | CEVT_LPWSTR;
}

class ContactItem final : public IContact, public PimItem {
 public:
  // A contact loaded from record `oid`, or a new one when `oid` is 0.
  ContactItem(OutlookApp& app, CEOID oid) : PimItem(app, olContactItem, oid) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

#define VORN_CONTACT_STRING(name)               \
  HRESULT get_##name(BSTR* value) override {    \
    return GetField(ContactField::name, value); \
  }                                             \
  HRESULT put_##name(LPCWSTR value) override {  \
    return PutField(ContactField::name, value); \
  }
  VORN_CONTACT_STRING_PROPERTIES(VORN_CONTACT_STRING)
#undef VORN_CONTACT_STRING

  HRESULT get_Birthday(DATE* value) override {
    return GetDate(kContactBirthday, value);
  }
  HRESULT put_Birthday(DATE value) override {
    return PutDate(kContactBirthday, value);
  }
  HRESULT get_Anniversary(DATE* value) override {
    return GetDate(kContactAnniversary, value);
  }
  HRESULT put_Anniversary(DATE value) override {
    return PutDate(kContactAnniversary, value);
  }

  HRESULT get_Oid(LONG* oid) override { return GetOid(oid); }
  HRESULT Save() override;
  HRESULT Delete() override { return DeleteItem(); }

 private:
  HRESULT GetField(ContactField field, BSTR* value);
  HRESULT PutField(ContactField field, LPCWSTR value);
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_CONTACT_ITEM_H_
