#include "device/pim/appointment_item.h"

#include <cmath>

#include "device/kernel/ole_date.h"
#include "device/pim/outlook_app.h"
#include "device/pim/save_fault.h"

namespace device {
namespace {

RecordValue Real(CEPROPID id, double value) {
  RecordValue out;
  out.id = id;
  out.real = value;
  return out;
}

RecordValue Number(CEPROPID id, std::int64_t value) {
  RecordValue out;
  out.id = id;
  out.number = value;
  return out;
}

RecordValue Text(CEPROPID id, std::u16string text) {
  RecordValue out;
  out.id = id;
  out.text = std::move(text);
  return out;
}

const RecordValue* FindIn(const std::vector<RecordValue>& values, CEPROPID id) {
  for (const RecordValue& value : values) {
    if (value.id == id) return &value;
  }
  return nullptr;
}

double RealOr(const std::vector<RecordValue>& values, CEPROPID id,
              double absent) {
  const RecordValue* value = FindIn(values, id);
  return value == nullptr ? absent : value->real;
}

}  // namespace

AppointmentItem::AppointmentItem(OutlookApp& app, CEOID oid)
    : PimItem(app, olAppointmentItem, oid),
      recurrence_(std::make_shared<RecurrenceState>(olAppointmentItem)) {
  recurrence_->owner = oid;
  if (const RecordValue* start = Find(kAppointmentStart)) {
    recurrence_->itemStart = start->real;
  }
  if (const RecordValue* blob = Find(kAppointmentRecurrence)) {
    if (std::optional<RecurrenceRecord> record =
            DecodeRecurrence(blob->bytes)) {
      recurrence_->recurring = true;
      recurrence_->record = std::move(*record);
    }
  }
}

AppointmentItem* AppointmentItem::OpenOccurrence(OutlookApp& app, CEOID parent,
                                                 std::int32_t day) {
  if (!app.items().Exists(olAppointmentItem, parent)) return nullptr;
  std::vector<RecordValue> values = app.items().Load(parent);
  const RecordValue* blob = FindIn(values, kAppointmentRecurrence);
  if (blob == nullptr) return nullptr;
  std::optional<RecurrenceRecord> record = DecodeRecurrence(blob->bytes);
  if (!record) return nullptr;

  double parentStart = RealOr(values, kAppointmentStart, kOleNoDate);
  double parentEnd = RealOr(values, kAppointmentEnd, kOleNoDate);
  double timeOfDay =
      parentStart == kOleNoDate ? 0 : parentStart - std::floor(parentStart);
  DATE originalDate = day + timeOfDay;

  std::vector<RecordValue> kept;
  for (RecordValue& value : values) {
    if (value.id != kAppointmentRecurrence) kept.push_back(std::move(value));
  }
  auto put = [&kept](RecordValue value) {
    std::erase_if(kept, [&](const RecordValue& v) { return v.id == value.id; });
    kept.push_back(std::move(value));
  };
  if (parentStart != kOleNoDate) {
    put(Real(kAppointmentStart, originalDate));
    if (parentEnd != kOleNoDate) {
      put(Real(kAppointmentEnd, originalDate + (parentEnd - parentStart)));
    }
  }
  const OccurrenceChange* exception = record->ExceptionOn(day);
  if (exception != nullptr && !exception->deleted) {
    originalDate = exception->originalDate;
    put(Real(kAppointmentStart, exception->start));
    put(Real(kAppointmentEnd, exception->end));
    put(Number(kAppointmentBusyStatus, exception->busyStatus));
    put(Number(kPimReminderSet, exception->reminderSet != 0 ? 1 : 0));
    put(Number(kAppointmentReminderMinutes, exception->reminderMinutesBefore));
    put(Text(kPimSubject, exception->subject));
    put(Text(kAppointmentLocation, exception->location));
    std::erase_if(kept, [](const RecordValue& v) {
      return v.id == kPimBodyBytes || v.id == kPimBodyText;
    });
    put(Text(kPimBodyText, exception->body));
  }

  auto item = std::make_unique<AppointmentItem>(app, 0);
  item->LoadValues(std::move(kept));
  item->parent_ = parent;
  item->originalDate_ = originalDate;
  item->recurrence_->owner = 0;
  return app.Adopt(std::move(item));
}

HRESULT AppointmentItem::put_Sensitivity(LONG value) {
  if (value < olNormal || value > olConfidential) return E_INVALIDARG;
  return PutLong(kPimSensitivity, value);
}

HRESULT AppointmentItem::put_BusyStatus(LONG value) {
  if (value < 0 || value > 3) return E_INVALIDARG;
  return PutLong(kAppointmentBusyStatus, value);
}

HRESULT AppointmentItem::put_Start(DATE value) {
  HRESULT result = PutDate(kAppointmentStart, value);
  recurrence_->itemStart = value;
  return result;
}

HRESULT AppointmentItem::get_IsRecurring(VARIANT_BOOL* value) {
  if (value == nullptr) return E_POINTER;
  *value = recurrence_->recurring ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT AppointmentItem::GetRecurrencePattern(IRecurrencePattern** pattern) {
  if (pattern == nullptr) return E_POINTER;
  if (isOccurrence()) {
    *pattern = nullptr;
    return E_FAIL;
  }
  recurrence_->Begin();
  *pattern = app_.Adopt(std::make_unique<RecurrencePattern>(app_, recurrence_));
  return S_OK;
}

HRESULT AppointmentItem::ClearRecurrencePattern() {
  if (isOccurrence()) return E_FAIL;
  recurrence_->Clear();
  return S_OK;
}

HRESULT AppointmentItem::get_Oid(LONG* oid) {
  if (isOccurrence()) {
    if (oid == nullptr) return E_POINTER;
    *oid = static_cast<LONG>(parent_);
    return S_OK;
  }
  return GetOid(oid);
}

bool AppointmentItem::ReminderCannotBeKept() {
  std::optional<DATE> now = app_.Now();
  VARIANT_BOOL set = VARIANT_FALSE;
  DATE start = kOleNoDate;
  LONG minutes = 0;
  get_ReminderSet(&set);
  get_Start(&start);
  get_ReminderMinutesBefore(&minutes);
  if (!now || set == VARIANT_FALSE || start == kOleNoDate || start <= *now) {
    return false;
  }
  return start - minutes / 1440.0 < *now;
}

HRESULT AppointmentItem::Save() {
  if (isOccurrence()) return SaveOccurrence(false);
  if (std::optional<HRESULT> fault =
          TakeSaveFault(app_.context().faults, "appointment-save")) {
    return *fault;
  }
  if (ReminderCannotBeKept()) return kReminderNotKept;
  if (recurrence_->dirty) {
    if (!recurrence_->recurring) {
      Remove(kAppointmentRecurrence);
    } else {
      RecurrenceRecord record = recurrence_->record;
      // Occurrences may have added exceptions to the record since it was
      // loaded; those on days the pattern no longer has are dropped.
      if (oid() != 0) {
        std::vector<RecordValue> stored = app_.items().Load(oid());
        if (const RecordValue* blob = FindIn(stored, kAppointmentRecurrence)) {
          if (std::optional<RecurrenceRecord> old =
                  DecodeRecurrence(blob->bytes)) {
            record.exceptions = std::move(old->exceptions);
          }
        }
      }
      std::erase_if(record.exceptions, [&](const OccurrenceChange& e) {
        return !OccursOn(record.rule, e.originalDay());
      });
      recurrence_->record.exceptions = record.exceptions;
      PutBytes(kAppointmentRecurrence, EncodeRecurrence(record));
    }
  }
  HRESULT saved = SaveItem();
  if (SUCCEEDED(saved)) {
    recurrence_->owner = oid();
    recurrence_->dirty = false;
  }
  return saved;
}

HRESULT AppointmentItem::Delete() {
  if (isOccurrence()) return SaveOccurrence(true);
  return DeleteItem();
}

HRESULT AppointmentItem::SaveOccurrence(bool deleted) {
  if (occurrenceDeleted_ || !app_.items().Exists(olAppointmentItem, parent_)) {
    return E_FAIL;
  }
  std::vector<RecordValue> stored = app_.items().Load(parent_);
  const RecordValue* blob = FindIn(stored, kAppointmentRecurrence);
  std::optional<RecurrenceRecord> record;
  if (blob != nullptr) record = DecodeRecurrence(blob->bytes);
  if (!record) return E_FAIL;

  OccurrenceChange exception;
  exception.originalDate = originalDate_;
  exception.deleted = deleted;
  if (!deleted) {
    BSTR text = nullptr;
    get_Start(&exception.start);
    get_End(&exception.end);
    get_BusyStatus(&exception.busyStatus);
    get_ReminderSet(&exception.reminderSet);
    get_ReminderMinutesBefore(&exception.reminderMinutesBefore);
    get_Subject(&text);
    exception.subject = text;
    app_.SysFreeString(text);
    get_Location(&text);
    exception.location = text;
    app_.SysFreeString(text);
    get_Body(&text);
    exception.body = text;
    app_.SysFreeString(text);
  }
  if (OccurrenceChange* old = record->ExceptionOn(exception.originalDay())) {
    *old = std::move(exception);
  } else {
    record->exceptions.push_back(std::move(exception));
  }
  RecordValue updated;
  updated.id = kAppointmentRecurrence;
  updated.bytes = EncodeRecurrence(*record);
  app_.items().Write(olAppointmentItem, parent_, {&updated, 1}, {});
  if (deleted) occurrenceDeleted_ = true;
  app_.NotifyChange(olAppointmentItem, parent_, OutlookApp::kItemChanged);
  return S_OK;
}

}  // namespace device
