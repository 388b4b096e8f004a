// A default folder of the object model: all items of one kind.
#ifndef VORN_DEVICE_PIM_PIM_FOLDER_H_
#define VORN_DEVICE_PIM_PIM_FOLDER_H_

#include "device/pim/pim_object.h"
#include "platform/pimstore.h"

namespace device {

class PimFolder final : public IFolder, public PimObject {
 public:
  // The folder of items of `itemType` (olContactItem, ...).
  PimFolder(OutlookApp& app, int itemType)
      : PimObject(app), itemType_(itemType) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  // A new collection of the folder's items, with one reference for the
  // caller.
  HRESULT get_Items(IPOutlookItemCollection** items) override;

 private:
  int itemType_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_FOLDER_H_
