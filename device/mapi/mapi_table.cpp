#include "device/mapi/mapi_table.h"

#include "device/mapi/mapi.h"

namespace device {

HRESULT MapiTable::SetColumns(SPropTagArray* columns, ULONG /*flags*/) {
  if (columns == nullptr || columns->cValues > kMaxPropTags) {
    return MAPI_E_INVALID_PARAMETER;
  }
  columns_ = std::vector<ULONG>(columns->aulPropTag,
                                columns->aulPropTag + columns->cValues);
  return S_OK;
}

HRESULT MapiTable::GetRowCount(ULONG /*flags*/, ULONG* count) {
  if (count == nullptr) return MAPI_E_INVALID_PARAMETER;
  *count = static_cast<ULONG>(rows_().size());
  return S_OK;
}

HRESULT MapiTable::SeekRow(BOOKMARK origin, LONG rowCount, LONG* sought) {
  std::int64_t size = static_cast<std::int64_t>(rows_().size());
  std::int64_t base = 0;
  if (origin == BOOKMARK_CURRENT) {
    base = static_cast<std::int64_t>(position_);
  } else if (origin == BOOKMARK_END) {
    base = size;
  } else if (origin != BOOKMARK_BEGINNING) {
    return MAPI_E_INVALID_PARAMETER;
  }
  std::int64_t target = base + rowCount;
  if (target < 0) target = 0;
  if (target > size) target = size;
  if (sought != nullptr) *sought = static_cast<LONG>(target - base);
  position_ = static_cast<std::size_t>(target);
  return S_OK;
}

HRESULT MapiTable::WaitForCompletion(ULONG /*flags*/, ULONG /*timeout*/,
                                     ULONG* tableStatus) {
  if (busyFolder_ && mapi_.TakeBusy(*busyFolder_)) return MAPI_E_TIMEOUT;
  if (tableStatus != nullptr) *tableStatus = 0;  // TBLSTAT_COMPLETE
  return S_OK;
}

HRESULT MapiTable::QueryRows(LONG rowCount, ULONG /*flags*/, SRowSet** rows) {
  if (rows == nullptr || rowCount < 0) return MAPI_E_INVALID_PARAMETER;
  std::vector<PropList> all = rows_();
  std::vector<PropList> taken;
  while (position_ < all.size() &&
         taken.size() < static_cast<std::size_t>(rowCount)) {
    const PropList& row = all[position_++];
    if (!columns_) {
      taken.push_back(row);
      continue;
    }
    PropList narrowed;
    for (ULONG tag : *columns_) {
      const MapiProp* found = MailStore::Find(row, tag);
      narrowed.push_back(
          found != nullptr
              ? *found
              : MailStore::Long(PROP_TAG(PT_ERROR, PROP_ID(tag)),
                                static_cast<DWORD>(MAPI_E_NOT_FOUND)));
    }
    taken.push_back(std::move(narrowed));
  }
  *rows = mapi_.allocator().Rows(taken);
  return S_OK;
}

}  // namespace device
