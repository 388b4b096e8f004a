// An appointment of the object model, kept as a record of "Appointments
// Database".
//
// Record properties (CE property id = id << 16 | type):
//   0x0037001F  Subject              0x4208001F  Location
//   0x4005001F  Categories           0x0017001F / 0x00170041  Body
//   0x4211000B  AllDayEvent          0x00360003  Sensitivity
//   0x42050003  BusyStatus           0x4503000B  ReminderSet
//   0x45010003  ReminderMinutesBefore
//   0x42060005  Start (DATE)         0x42070005  End (DATE)
//   0x40150041  the recurrence pattern and its exceptions
//               (recurrence_record.h)
// Absent values read as: texts "", dates the no-date value, AllDayEvent
// and ReminderSet false, Sensitivity 0, BusyStatus 2 (busy),
// ReminderMinutesBefore 15. Sensitivity takes 0..3 and BusyStatus 0..3,
// other values are refused with E_INVALIDARG; booleans store any nonzero
// value as VARIANT_TRUE.
//
// Save fails
//   - with the fault "appointment-save HRESULT [COUNT]" (save_fault.h);
//   - with 0x80040067 when the reminder cannot be kept: it is set, the
//     appointment starts after the handheld's current time and the
//     reminder (Start less ReminderMinutesBefore) falls before it.
//
// An occurrence of a recurring appointment (RecurrencePattern::
// GetOccurrence, IException::get_AppointmentItem) is an appointment item
// too: it starts with its parent's values on its own day, get_Oid gives
// the parent's OID, and Save and Delete store it as a changed or deleted
// exception in the parent's record.
#ifndef VORN_DEVICE_PIM_APPOINTMENT_ITEM_H_
#define VORN_DEVICE_PIM_APPOINTMENT_ITEM_H_

#include <cstdint>
#include <memory>

#include "device/pim/pim_item.h"
#include "device/pim/recurrence_pattern.h"

namespace device {

inline constexpr CEPROPID kAppointmentLocation = 0x4208001F;
inline constexpr CEPROPID kAppointmentAllDay = 0x4211000B;
inline constexpr CEPROPID kAppointmentBusyStatus = 0x42050003;
inline constexpr CEPROPID kAppointmentReminderMinutes = 0x45010003;
inline constexpr CEPROPID kAppointmentStart = 0x42060005;
inline constexpr CEPROPID kAppointmentEnd = 0x42070005;

// The save result of a reminder the handheld cannot keep.
inline constexpr HRESULT kReminderNotKept = static_cast<HRESULT>(0x80040067U);

class AppointmentItem final : public IAppointment, public PimItem {
 public:
  // An appointment loaded from record `oid`, or a new one when `oid` is 0.
  AppointmentItem(OutlookApp& app, CEOID oid);

  // The occurrence originally on `day` of the recurring appointment
  // `parent`, pooled; null when `parent` is no recurring appointment.
  static AppointmentItem* OpenOccurrence(OutlookApp& app, CEOID parent,
                                         std::int32_t day);

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
  HRESULT get_Location(BSTR* value) override {
    return GetText(kAppointmentLocation, value);
  }
  HRESULT put_Location(LPCWSTR value) override {
    return PutText(kAppointmentLocation, value);
  }
  HRESULT get_Categories(BSTR* value) override {
    return GetText(kPimCategories, value);
  }
  HRESULT put_Categories(LPCWSTR value) override {
    return PutText(kPimCategories, value);
  }
  HRESULT get_Body(BSTR* value) override { return GetBody(value); }
  HRESULT put_Body(LPCWSTR value) override { return PutBody(value); }
  HRESULT get_AllDayEvent(VARIANT_BOOL* value) override {
    return GetBool(kAppointmentAllDay, value, VARIANT_FALSE);
  }
  HRESULT put_AllDayEvent(VARIANT_BOOL value) override {
    return PutBool(kAppointmentAllDay, value);
  }
  HRESULT get_Sensitivity(LONG* value) override {
    return GetLong(kPimSensitivity, value, olNormal);
  }
  HRESULT put_Sensitivity(LONG value) override;
  HRESULT get_BusyStatus(LONG* value) override {
    return GetLong(kAppointmentBusyStatus, value, 2);
  }
  HRESULT put_BusyStatus(LONG value) override;
  HRESULT get_ReminderSet(VARIANT_BOOL* value) override {
    return GetBool(kPimReminderSet, value, VARIANT_FALSE);
  }
  HRESULT put_ReminderSet(VARIANT_BOOL value) override {
    return PutBool(kPimReminderSet, value);
  }
  HRESULT get_ReminderMinutesBefore(LONG* value) override {
    return GetLong(kAppointmentReminderMinutes, value, 15);
  }
  HRESULT put_ReminderMinutesBefore(LONG value) override {
    return PutLong(kAppointmentReminderMinutes, value);
  }
  HRESULT get_Start(DATE* value) override {
    return GetDate(kAppointmentStart, value);
  }
  HRESULT put_Start(DATE value) override;
  HRESULT get_End(DATE* value) override {
    return GetDate(kAppointmentEnd, value);
  }
  HRESULT put_End(DATE value) override {
    return PutDate(kAppointmentEnd, value);
  }

  HRESULT get_IsRecurring(VARIANT_BOOL* value) override;
  HRESULT GetRecurrencePattern(IRecurrencePattern** pattern) override;
  HRESULT ClearRecurrencePattern() override;

  HRESULT get_Oid(LONG* oid) override;
  HRESULT Save() override;
  HRESULT Delete() override;

  bool isOccurrence() const { return parent_ != 0; }

 private:
  // Stores this occurrence as an exception of its parent.
  HRESULT SaveOccurrence(bool deleted);
  bool ReminderCannotBeKept();

  std::shared_ptr<RecurrenceState> recurrence_;
  // For an occurrence: its parent and the original date it stands for.
  CEOID parent_ = 0;
  DATE originalDate_ = 0;
  bool occurrenceDeleted_ = false;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_APPOINTMENT_ITEM_H_
