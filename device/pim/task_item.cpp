#include "device/pim/task_item.h"

#include <cmath>

#include "device/kernel/ole_date.h"
#include "device/pim/appointment_item.h"
#include "device/pim/outlook_app.h"
#include "device/pim/save_fault.h"

namespace device {

TaskItem::TaskItem(OutlookApp& app, CEOID oid)
    : PimItem(app, olTaskItem, oid),
      recurrence_(std::make_shared<RecurrenceState>(olTaskItem)) {
  recurrence_->owner = oid;
  if (const RecordValue* start = Find(kTaskStartDate)) {
    recurrence_->itemStart = start->real;
  }
  if (const RecordValue* blob = Find(kTaskRecurrence)) {
    if (std::optional<RecurrenceRecord> record =
            DecodeRecurrence(blob->bytes)) {
      recurrence_->recurring = true;
      recurrence_->record = std::move(*record);
    }
  }
}

HRESULT TaskItem::put_StartDate(DATE value) {
  HRESULT result = PutDate(kTaskStartDate, value);
  recurrence_->itemStart = value;
  return result;
}

HRESULT TaskItem::put_Importance(LONG value) {
  if (value < 0 || value > 2) return E_INVALIDARG;
  return PutLong(kTaskImportance, value);
}

HRESULT TaskItem::put_Sensitivity(LONG value) {
  if (value < olNormal || value > olConfidential) return E_INVALIDARG;
  return PutLong(kPimSensitivity, value);
}

HRESULT TaskItem::get_IsRecurring(VARIANT_BOOL* value) {
  if (value == nullptr) return E_POINTER;
  *value = recurrence_->recurring ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT TaskItem::GetRecurrencePattern(IRecurrencePattern** pattern) {
  if (pattern == nullptr) return E_POINTER;
  recurrence_->Begin();
  *pattern = app_.Adopt(std::make_unique<RecurrencePattern>(app_, recurrence_));
  return S_OK;
}

HRESULT TaskItem::ClearRecurrencePattern() {
  recurrence_->Clear();
  return S_OK;
}

bool TaskItem::ReminderCannotBeKept() {
  std::optional<DATE> now = app_.Now();
  VARIANT_BOOL set = VARIANT_FALSE;
  DATE reminder = kOleNoDate;
  DATE due = kOleNoDate;
  get_ReminderSet(&set);
  get_ReminderTime(&reminder);
  get_DueDate(&due);
  if (!now || set == VARIANT_FALSE || reminder == kOleNoDate ||
      reminder >= *now) {
    return false;
  }
  return due != kOleNoDate && due >= std::floor(*now);
}

HRESULT TaskItem::Save() {
  if (std::optional<HRESULT> fault =
          TakeSaveFault(app_.context().faults, "task-save")) {
    return *fault;
  }
  if (ReminderCannotBeKept()) return kReminderNotKept;
  if (recurrence_->dirty) {
    if (recurrence_->recurring) {
      PutBytes(kTaskRecurrence, EncodeRecurrence(recurrence_->record));
    } else {
      Remove(kTaskRecurrence);
    }
  }
  HRESULT saved = SaveItem();
  if (SUCCEEDED(saved)) {
    recurrence_->owner = oid();
    recurrence_->dirty = false;
  }
  return saved;
}

}  // namespace device
