// A task of the object model, kept as a record of "Tasks Database".
// Only the subject (0x0037001F) and the body (see pim_item.h) are kept so
// far; the interface has no other properties yet.
#ifndef VORN_DEVICE_PIM_TASK_ITEM_H_
#define VORN_DEVICE_PIM_TASK_ITEM_H_

#include "device/pim/pim_item.h"

namespace device {

class TaskItem final : public ITask, public PimItem {
 public:
  // A task loaded from record `oid`, or a new one when `oid` is 0.
  TaskItem(OutlookApp& app, CEOID oid) : PimItem(app, olTaskItem, oid) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_Oid(LONG* oid) override { return GetOid(oid); }
  HRESULT Save() override { return SaveItem(); }
  HRESULT Delete() override { return DeleteItem(); }

  // Subject and body; strings are the application's (SysFreeString).
  HRESULT get_Subject(BSTR* value) { return GetText(kPimSubject, value); }
  HRESULT put_Subject(LPCWSTR value) { return PutText(kPimSubject, value); }
  HRESULT get_Body(BSTR* value) { return GetBody(value); }
  HRESULT put_Body(LPCWSTR value) { return PutBody(value); }
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_TASK_ITEM_H_
