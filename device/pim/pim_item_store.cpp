#include "device/pim/pim_item_store.h"

#include <string_view>

#include "platform/pimstore.h"

namespace device {

const char16_t* PimItemStore::DatabaseName(int itemType) {
  switch (itemType) {
    case olContactItem:
      return u"Contacts Database";
    case olAppointmentItem:
      return u"Appointments Database";
    case olTaskItem:
      return u"Tasks Database";
    default:
      return nullptr;
  }
}

CEOID PimItemStore::Database(int itemType) {
  const char16_t* name = DatabaseName(itemType);
  if (name == nullptr) return 0;
  if (std::optional<CEOID> oid = records_.FindDatabaseOid(name)) return *oid;
  return records_.CreateDatabase(name, 0, {});
}

std::optional<int> PimItemStore::ItemTypeOf(CEOID record) {
  std::optional<std::u16string> name = records_.ParentName(record);
  if (!name) return std::nullopt;
  for (int type : {olContactItem, olAppointmentItem, olTaskItem}) {
    if (*name == DatabaseName(type)) return type;
  }
  return std::nullopt;
}

bool PimItemStore::Exists(int itemType, CEOID record) {
  return record != 0 && ItemTypeOf(record) == itemType;
}

CEOID PimItemStore::Write(int itemType, CEOID record,
                          std::span<const RecordValue> set,
                          std::span<const CEPROPID> remove) {
  return records_.WriteRecord(Database(itemType), record, set, remove);
}

std::uint32_t PimItemStore::Count(int itemType) {
  return records_.RecordCount(Database(itemType));
}

std::optional<CEOID> PimItemStore::At(int itemType, std::uint32_t index) {
  std::optional<RecordPosition> position =
      records_.FromStart(Database(itemType), RecordTable::kOidOrder, index);
  if (!position) return std::nullopt;
  return position->oid;
}

}  // namespace device
