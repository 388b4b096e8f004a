#include "device/pim/pim_folder.h"

#include "device/pim/outlook_app.h"
#include "device/pim/pim_item_collection.h"

namespace device {

HRESULT PimFolder::get_Items(IPOutlookItemCollection** items) {
  if (items == nullptr) return E_POINTER;
  *items = app_.Adopt(std::make_unique<PimItemCollection>(app_, itemType_));
  return S_OK;
}

}  // namespace device
