// The state every object model item keeps between its record and the
// caller: the properties as the caller sees them and the changes not saved
// yet. Property ids shared by every kind of item:
//   0x0017001F  body (notes) as text
//   0x00170041  body as Western code page (1252) bytes, no terminating zero;
//               written straight to the record for long notes, and read in
//               preference to the text
//   0x0037001F  subject (appointments and tasks)
#ifndef VORN_DEVICE_PIM_PIM_ITEM_H_
#define VORN_DEVICE_PIM_PIM_ITEM_H_

#include <set>
#include <vector>

#include "device/objstore/record_value.h"
#include "device/pim/pim_object.h"
#include "platform/pimstore.h"

namespace device {

inline constexpr CEPROPID kPimBodyText = 0x0017001F;
inline constexpr CEPROPID kPimBodyBytes = 0x00170041;
inline constexpr CEPROPID kPimSubject = 0x0037001F;

class PimItem : public PimObject {
 public:
  // An item of `itemType`, loaded from record `oid`, or new when `oid` is 0.
  PimItem(OutlookApp& app, int itemType, CEOID oid);

  int itemType() const { return itemType_; }
  CEOID oid() const { return oid_; }

 protected:
  // The text property `id` as a new string ("" when absent).
  HRESULT GetText(CEPROPID id, BSTR* value);
  // Sets the text property `id`; null or "" removes it.
  HRESULT PutText(CEPROPID id, LPCWSTR value);
  // A date property held as CEVT_R8; absent reads as the "no date" value,
  // and writing that value removes the property.
  HRESULT GetDate(CEPROPID id, DATE* value);
  HRESULT PutDate(CEPROPID id, DATE value);
  // The notes: the 1252 bytes when present, else the text. Setting the
  // notes stores the text and drops the bytes.
  HRESULT GetBody(BSTR* value);
  HRESULT PutBody(LPCWSTR value);
  HRESULT GetOid(LONG* value);
  // Creates or updates the record and tells the change hook.
  HRESULT SaveItem();
  // Removes the record and tells the change hook; E_FAIL when the item was
  // never saved or its record is gone.
  HRESULT DeleteItem();
  // A released item keeps its identity and drops its properties: the pool
  // holds every item of a conversation until its end.
  void OnReleased() override;

 private:
  void Set(RecordValue value);
  void Remove(CEPROPID id);
  // The value of `id`, or null.
  const RecordValue* Find(CEPROPID id) const;

  int itemType_;
  CEOID oid_;
  bool deleted_ = false;
  // Sorted by id: an item has a few dozen properties at most, read far
  // more often than changed.
  std::vector<RecordValue> values_;
  std::set<CEPROPID> changed_;
  std::set<CEPROPID> removed_;
};

// Text of Western code page (1252) bytes.
std::u16string DecodeWesternBytes(const std::vector<std::uint8_t>& bytes);

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_ITEM_H_
