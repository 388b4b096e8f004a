// The exceptions of a recurring appointment as its pattern lists them: a
// snapshot of the record taken by get_Exceptions. A changed exception
// gives its occurrence as an appointment item; a deleted one gives none
// (E_FAIL).
#ifndef VORN_DEVICE_PIM_APPOINTMENT_EXCEPTIONS_H_
#define VORN_DEVICE_PIM_APPOINTMENT_EXCEPTIONS_H_

#include <vector>

#include "device/pim/pim_object.h"
#include "device/pim/recurrence_record.h"
#include "platform/pimstore.h"

namespace device {

class AppointmentExceptions final : public IExceptions, public PimObject {
 public:
  // The exceptions of the appointment whose record is `owner`.
  AppointmentExceptions(OutlookApp& app, CEOID owner,
                        std::vector<OccurrenceChange> exceptions)
      : PimObject(app), owner_(owner), exceptions_(std::move(exceptions)) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_Count(int* count) override;
  // E_INVALIDARG for an index outside 1..count.
  HRESULT Item(int index, IException** exception) override;

 private:
  CEOID owner_;
  std::vector<OccurrenceChange> exceptions_;
};

class AppointmentException final : public IException, public PimObject {
 public:
  AppointmentException(OutlookApp& app, CEOID owner, OccurrenceChange exception)
      : PimObject(app), owner_(owner), exception_(std::move(exception)) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_OriginalDate(DATE* date) override;
  HRESULT get_Deleted(VARIANT_BOOL* deleted) override;
  HRESULT get_AppointmentItem(IAppointment** appointment) override;

 private:
  CEOID owner_;
  OccurrenceChange exception_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_APPOINTMENT_EXCEPTIONS_H_
