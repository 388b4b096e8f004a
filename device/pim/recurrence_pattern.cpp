#include "device/pim/recurrence_pattern.h"

#include <cmath>

#include "device/kernel/ole_date.h"
#include "device/pim/appointment_exceptions.h"
#include "device/pim/appointment_item.h"
#include "device/pim/outlook_app.h"

namespace device {
namespace {

std::int32_t DayOf(DATE date) {
  return static_cast<std::int32_t>(std::floor(date));
}

bool IsRecurrenceType(LONG type) {
  return type == olRecursDaily || type == olRecursWeekly ||
         type == olRecursMonthly || type == olRecursMonthNth ||
         type == olRecursYearly || type == olRecursYearNth;
}

}  // namespace

void RecurrenceState::Begin() {
  if (recurring) return;
  recurring = true;
  dirty = true;
  RecurrenceRule rule;
  bool dated = itemStart != kOleNoDate && itemStart >= kOleMinDate &&
               itemStart < kOleDateLimit;
  rule.startDay = dated ? DayOf(itemStart) : 0;
  rule.type = olRecursWeekly;
  rule.dayOfWeekMask = 1 << WeekdayOf(rule.startDay);
  record = RecurrenceRecord();
  record.rule = rule;
  record.startDate = rule.startDay;
}

void RecurrenceState::Clear() {
  if (!recurring) return;
  recurring = false;
  dirty = true;
  record = RecurrenceRecord();
}

HRESULT RecurrencePattern::Get(LONG* out, LONG value) {
  if (out == nullptr) return E_POINTER;
  *out = value;
  return S_OK;
}

HRESULT RecurrencePattern::Put(LONG& field, LONG value, bool valid) {
  if (!valid) return E_INVALIDARG;
  field = value;
  state_->dirty = true;
  return S_OK;
}

HRESULT RecurrencePattern::get_RecurrenceType(LONG* value) {
  return Get(value, rule().type);
}
HRESULT RecurrencePattern::put_RecurrenceType(LONG value) {
  return Put(rule().type, value, IsRecurrenceType(value));
}
HRESULT RecurrencePattern::get_Interval(LONG* value) {
  return Get(value, rule().interval);
}
HRESULT RecurrencePattern::put_Interval(LONG value) {
  return Put(rule().interval, value, value >= 1);
}
HRESULT RecurrencePattern::get_DayOfWeekMask(LONG* value) {
  return Get(value, rule().dayOfWeekMask);
}
HRESULT RecurrencePattern::put_DayOfWeekMask(LONG value) {
  return Put(rule().dayOfWeekMask, value, value >= 0 && value <= 0x7F);
}
HRESULT RecurrencePattern::get_DayOfMonth(LONG* value) {
  return Get(value, rule().dayOfMonth);
}
HRESULT RecurrencePattern::put_DayOfMonth(LONG value) {
  return Put(rule().dayOfMonth, value, value >= 1 && value <= 31);
}
HRESULT RecurrencePattern::get_Instance(LONG* value) {
  return Get(value, rule().instance);
}
HRESULT RecurrencePattern::put_Instance(LONG value) {
  return Put(rule().instance, value, value >= 1 && value <= 5);
}
HRESULT RecurrencePattern::get_MonthOfYear(LONG* value) {
  return Get(value, rule().monthOfYear);
}
HRESULT RecurrencePattern::put_MonthOfYear(LONG value) {
  return Put(rule().monthOfYear, value, value >= 1 && value <= 12);
}

HRESULT RecurrencePattern::get_Occurrences(LONG* value) {
  if (value == nullptr) return E_POINTER;
  switch (rule().end) {
    case RecurrenceEnd::kAfterCount:
      *value = rule().occurrences;
      return S_OK;
    case RecurrenceEnd::kByDate:
      *value = CountOccurrences(rule());
      return S_OK;
    case RecurrenceEnd::kNever:
      break;
  }
  return E_FAIL;
}

HRESULT RecurrencePattern::put_Occurrences(LONG value) {
  if (value < 1) return E_INVALIDARG;
  rule().occurrences = value;
  rule().end = RecurrenceEnd::kAfterCount;
  state_->dirty = true;
  return S_OK;
}

HRESULT RecurrencePattern::get_PatternStartDate(DATE* value) {
  if (value == nullptr) return E_POINTER;
  *value = state_->record.startDate;
  return S_OK;
}

HRESULT RecurrencePattern::put_PatternStartDate(DATE value) {
  if (std::isnan(value) || value < kOleMinDate || value >= kOleDateLimit) {
    return E_INVALIDARG;
  }
  rule().startDay = DayOf(value);
  state_->record.startDate = value;
  state_->dirty = true;
  return S_OK;
}

HRESULT RecurrencePattern::get_PatternEndDate(DATE* value) {
  if (value == nullptr) return E_POINTER;
  switch (rule().end) {
    case RecurrenceEnd::kByDate:
      *value = state_->record.endDate;
      break;
    case RecurrenceEnd::kAfterCount:
      *value = LastOccurrence(rule()).value_or(rule().startDay);
      break;
    case RecurrenceEnd::kNever:
      *value = kOleNoDate;
      break;
  }
  return S_OK;
}

HRESULT RecurrencePattern::put_PatternEndDate(DATE value) {
  if (std::isnan(value) || value < kOleMinDate || value >= kOleDateLimit ||
      DayOf(value) < rule().startDay) {
    return E_INVALIDARG;
  }
  rule().endDay = DayOf(value);
  state_->record.endDate = value;
  rule().end = RecurrenceEnd::kByDate;
  state_->dirty = true;
  return S_OK;
}

HRESULT RecurrencePattern::get_NoEndDate(VARIANT_BOOL* value) {
  if (value == nullptr) return E_POINTER;
  *value = rule().end == RecurrenceEnd::kNever ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT RecurrencePattern::put_NoEndDate(VARIANT_BOOL value) {
  if (value != VARIANT_FALSE) {
    rule().end = RecurrenceEnd::kNever;
  } else if (rule().end == RecurrenceEnd::kNever) {
    rule().end = RecurrenceEnd::kAfterCount;
    rule().occurrences = 1;
  }
  state_->dirty = true;
  return S_OK;
}

HRESULT RecurrencePattern::get_Exceptions(IExceptions** exceptions) {
  if (exceptions == nullptr) return E_POINTER;
  std::vector<OccurrenceChange> list = state_->record.exceptions;
  if (state_->owner != 0) {
    for (const RecordValue& value : app_.items().Load(state_->owner)) {
      if (value.id != kAppointmentRecurrence) continue;
      if (std::optional<RecurrenceRecord> stored =
              DecodeRecurrence(value.bytes)) {
        list = std::move(stored->exceptions);
      }
    }
  }
  *exceptions = app_.Adopt(std::make_unique<AppointmentExceptions>(
      app_, state_->owner, std::move(list)));
  return S_OK;
}

HRESULT RecurrencePattern::GetOccurrence(DATE date, IAppointment** occurrence) {
  if (occurrence == nullptr) return E_POINTER;
  *occurrence = nullptr;
  if (state_->itemType != olAppointmentItem || state_->owner == 0 ||
      std::isnan(date) || date < kOleMinDate || date >= kOleDateLimit) {
    return E_FAIL;
  }
  std::int32_t day = DayOf(date);
  AppointmentItem* item = nullptr;
  std::vector<RecordValue> stored = app_.items().Load(state_->owner);
  for (const RecordValue& value : stored) {
    if (value.id != kAppointmentRecurrence) continue;
    std::optional<RecurrenceRecord> record = DecodeRecurrence(value.bytes);
    if (record && record->ExceptionOn(day) == nullptr &&
        OccursOn(record->rule, day)) {
      item = AppointmentItem::OpenOccurrence(app_, state_->owner, day);
    }
  }
  if (item == nullptr) return E_FAIL;
  *occurrence = item;
  return S_OK;
}

}  // namespace device
