// The items of one folder, in a stable order (by OID). The collection reads
// the folder's database at each call, so it sees items saved or deleted
// after it was made.
#ifndef VORN_DEVICE_PIM_PIM_ITEM_COLLECTION_H_
#define VORN_DEVICE_PIM_PIM_ITEM_COLLECTION_H_

#include "device/pim/pim_object.h"
#include "platform/pimstore.h"

namespace device {

class PimItemCollection final : public IPOutlookItemCollection,
                                public PimObject {
 public:
  PimItemCollection(OutlookApp& app, int itemType)
      : PimObject(app), itemType_(itemType) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_Count(int* count) override;
  // The item at `index` (from 1), with one reference for the caller;
  // E_INVALIDARG outside 1..count.
  HRESULT Item(int index, IDispatch** item) override;
  // Deletes the item at `index` (from 1); E_INVALIDARG outside 1..count.
  HRESULT Remove(int index) override;

 private:
  int itemType_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_ITEM_COLLECTION_H_
