#include "device/pim/appointment_exceptions.h"

#include "device/pim/appointment_item.h"
#include "device/pim/outlook_app.h"

namespace device {

HRESULT AppointmentExceptions::get_Count(int* count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<int>(exceptions_.size());
  return S_OK;
}

HRESULT AppointmentExceptions::Item(int index, IException** exception) {
  if (exception == nullptr) return E_POINTER;
  if (index < 1 || static_cast<std::size_t>(index) > exceptions_.size()) {
    *exception = nullptr;
    return E_INVALIDARG;
  }
  *exception = app_.Adopt(std::make_unique<AppointmentException>(
      app_, owner_, exceptions_[static_cast<std::size_t>(index) - 1]));
  return S_OK;
}

HRESULT AppointmentException::get_OriginalDate(DATE* date) {
  if (date == nullptr) return E_POINTER;
  *date = exception_.originalDate;
  return S_OK;
}

HRESULT AppointmentException::get_Deleted(VARIANT_BOOL* deleted) {
  if (deleted == nullptr) return E_POINTER;
  *deleted = exception_.deleted ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

HRESULT AppointmentException::get_AppointmentItem(IAppointment** appointment) {
  if (appointment == nullptr) return E_POINTER;
  *appointment = nullptr;
  if (exception_.deleted) return E_FAIL;
  AppointmentItem* item =
      AppointmentItem::OpenOccurrence(app_, owner_, exception_.originalDay());
  if (item == nullptr) return E_FAIL;
  *appointment = item;
  return S_OK;
}

}  // namespace device
