// Where the object model keeps its items: one record database per kind of
// item in the object store ("Contacts Database", "Appointments Database",
// "Tasks Database"), one record per item, so that an item's OID is its
// record's OID and the record calls of the object store meet the same
// records.
#ifndef VORN_DEVICE_PIM_PIM_ITEM_STORE_H_
#define VORN_DEVICE_PIM_PIM_ITEM_STORE_H_

#include <optional>
#include <span>
#include <vector>

#include "device/objstore/record_table.h"

namespace device {

class PimItemStore {
 public:
  // The record table outlives the store.
  explicit PimItemStore(RecordTable& records) : records_(records) {}
  PimItemStore(const PimItemStore&) = delete;
  PimItemStore& operator=(const PimItemStore&) = delete;

  // The database name of olContactItem, olAppointmentItem or olTaskItem;
  // null for any other item type.
  static const char16_t* DatabaseName(int itemType);

  // The database of an item type, created (without sort orders) when
  // missing; 0 for an unknown item type.
  CEOID Database(int itemType);
  // The item type whose database holds `record`; nullopt when it is no
  // record of the object model's databases.
  std::optional<int> ItemTypeOf(CEOID record);

  std::vector<RecordValue> Load(CEOID record) {
    return records_.ReadRecord(record);
  }
  // The properties of `record` sorted by id.
  std::vector<RecordValue> LoadById(CEOID record) {
    return records_.ReadRecordById(record);
  }
  // True when `record` is an item of `itemType`.
  bool Exists(int itemType, CEOID record);
  // Writes an item's changes (a new record when `record` is 0); returns the
  // record's OID.
  CEOID Write(int itemType, CEOID record, std::span<const RecordValue> set,
              std::span<const CEPROPID> remove);
  void Delete(CEOID record) { records_.DeleteRecord(record); }

  // Items of a type in their stable order (by OID).
  std::uint32_t Count(int itemType);
  // The item at `index` (from 0) of that order.
  std::optional<CEOID> At(int itemType, std::uint32_t index);

 private:
  RecordTable& records_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_ITEM_STORE_H_
