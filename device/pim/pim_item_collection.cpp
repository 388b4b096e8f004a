#include "device/pim/pim_item_collection.h"

#include <optional>

#include "device/pim/outlook_app.h"

namespace device {

HRESULT PimItemCollection::get_Count(int* count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<int>(app_.items().Count(itemType_));
  return S_OK;
}

HRESULT PimItemCollection::Item(int index, IDispatch** item) {
  if (item == nullptr) return E_POINTER;
  std::optional<CEOID> oid;
  if (index >= 1) {
    oid = app_.items().At(itemType_, static_cast<std::uint32_t>(index - 1));
  }
  if (!oid) return E_INVALIDARG;
  *item = app_.NewItem(itemType_, *oid);
  return S_OK;
}

HRESULT PimItemCollection::Remove(int index) {
  std::optional<CEOID> oid;
  if (index >= 1) {
    oid = app_.items().At(itemType_, static_cast<std::uint32_t>(index - 1));
  }
  if (!oid) return E_INVALIDARG;
  app_.items().Delete(*oid);
  app_.NotifyChange(itemType_, *oid, OutlookApp::kItemDeleted);
  return S_OK;
}

}  // namespace device
