// The state every object model item keeps between its record and the
// caller: the properties as the caller sees them and the changes not saved
// yet. Property ids shared by every kind of item:
//   0x0017001F  body (notes) as text
//   0x00170041  body as Western code page (1252) bytes, no terminating zero;
//               written straight to the record for long notes, and read in
//               preference to the text
//   0x0037001F  subject (appointments and tasks)
//   0x4005001F  categories, 0x00360003 sensitivity, 0x4503000B reminder set
//               (appointments and tasks)
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
inline constexpr CEPROPID kPimCategories = 0x4005001F;
inline constexpr CEPROPID kPimSensitivity = 0x00360003;
inline constexpr CEPROPID kPimReminderSet = 0x4503000B;

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
  // A CEVT_I4 property; absent reads as `absent`.
  HRESULT GetLong(CEPROPID id, LONG* value, LONG absent);
  HRESULT PutLong(CEPROPID id, LONG value);
  // A CEVT_BOOL property, stored as 1 or 0; any nonzero value sets it, and
  // it reads back as VARIANT_TRUE. Absent reads as `absent`.
  HRESULT GetBool(CEPROPID id, VARIANT_BOOL* value, VARIANT_BOOL absent);
  HRESULT PutBool(CEPROPID id, VARIANT_BOOL value);
  // A CEVT_BLOB property.
  void PutBytes(CEPROPID id, std::vector<std::uint8_t> bytes);
  // The property as held now; null when absent.
  const RecordValue* Find(CEPROPID id) const;
  // Drops a property (removed from the record at the next save).
  void Remove(CEPROPID id);
  // Takes `values` as the item's properties as loaded, with no change
  // pending.
  void LoadValues(std::vector<RecordValue> values);
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
