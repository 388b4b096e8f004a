// A task of the object model, kept as a record of "Tasks Database".
//
// Record properties (CE property id = id << 16 | type):
//   0x0037001F  Subject              0x4005001F  Categories
//   0x0017001F / 0x00170041  Body    0x41040005  StartDate (DATE)
//   0x41050005  DueDate (DATE)       0x00260003  Importance
//   0x410F000B  Complete             0x00360003  Sensitivity
//   0x4503000B  ReminderSet          0x45020005  ReminderTime (DATE)
//   0x41160041  the recurrence pattern (recurrence_record.h; tasks have
//               no exceptions)
// Absent values read as: texts "", dates the no-date value, Importance 1
// (normal), Complete and ReminderSet false, Sensitivity 0. Importance takes
// 0..2 and Sensitivity 0..3, other values are refused with E_INVALIDARG;
// booleans store any nonzero value as VARIANT_TRUE.
//
// Save fails
//   - with the fault "task-save HRESULT [COUNT]" (save_fault.h);
//   - with 0x80040067 when the reminder cannot be kept: it is set, its
//     time is before the handheld's current time, and the task has a due
//     date that is not before today.
#ifndef VORN_DEVICE_PIM_TASK_ITEM_H_
#define VORN_DEVICE_PIM_TASK_ITEM_H_

#include <memory>

#include "device/pim/pim_item.h"
#include "device/pim/recurrence_pattern.h"

namespace device {

inline constexpr CEPROPID kTaskStartDate = 0x41040005;
inline constexpr CEPROPID kTaskDueDate = 0x41050005;
inline constexpr CEPROPID kTaskImportance = 0x00260003;
inline constexpr CEPROPID kTaskComplete = 0x410F000B;
inline constexpr CEPROPID kTaskReminderTime = 0x45020005;

class TaskItem final : public ITask, public PimItem {
 public:
  // A task loaded from record `oid`, or a new one when `oid` is 0.
  TaskItem(OutlookApp& app, CEOID oid);

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_Subject(BSTR* value) override {
    return GetText(kPimSubject, value);
  }
  HRESULT put_Subject(LPCWSTR value) override {
    return PutText(kPimSubject, value);
  }
  HRESULT get_Categories(BSTR* value) override {
    return GetText(kPimCategories, value);
  }
  HRESULT put_Categories(LPCWSTR value) override {
    return PutText(kPimCategories, value);
  }
  HRESULT get_Body(BSTR* value) override { return GetBody(value); }
  HRESULT put_Body(LPCWSTR value) override { return PutBody(value); }
  HRESULT get_StartDate(DATE* value) override {
    return GetDate(kTaskStartDate, value);
  }
  HRESULT put_StartDate(DATE value) override;
  HRESULT get_DueDate(DATE* value) override {
    return GetDate(kTaskDueDate, value);
  }
  HRESULT put_DueDate(DATE value) override {
    return PutDate(kTaskDueDate, value);
  }
  HRESULT get_Importance(LONG* value) override {
    return GetLong(kTaskImportance, value, 1);
  }
  HRESULT put_Importance(LONG value) override;
  HRESULT get_Complete(VARIANT_BOOL* value) override {
    return GetBool(kTaskComplete, value, VARIANT_FALSE);
  }
  HRESULT put_Complete(VARIANT_BOOL value) override {
    return PutBool(kTaskComplete, value);
  }
  HRESULT get_Sensitivity(LONG* value) override {
    return GetLong(kPimSensitivity, value, olNormal);
  }
  HRESULT put_Sensitivity(LONG value) override;
  HRESULT get_ReminderSet(VARIANT_BOOL* value) override {
    return GetBool(kPimReminderSet, value, VARIANT_FALSE);
  }
  HRESULT put_ReminderSet(VARIANT_BOOL value) override {
    return PutBool(kPimReminderSet, value);
  }
  HRESULT get_ReminderTime(DATE* value) override {
    return GetDate(kTaskReminderTime, value);
  }
  HRESULT put_ReminderTime(DATE value) override {
    return PutDate(kTaskReminderTime, value);
  }

  HRESULT get_IsRecurring(VARIANT_BOOL* value) override;
  HRESULT GetRecurrencePattern(IRecurrencePattern** pattern) override;
  HRESULT ClearRecurrencePattern() override;

  HRESULT get_Oid(LONG* oid) override { return GetOid(oid); }
  HRESULT Save() override;
  HRESULT Delete() override { return DeleteItem(); }

 private:
  bool ReminderCannotBeKept();

  std::shared_ptr<RecurrenceState> recurrence_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_TASK_ITEM_H_
