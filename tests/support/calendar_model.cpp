#include "tests/support/calendar_model.h"

#include <gtest/gtest.h>

#include "device/pim/outlook_app.h"

namespace testing_support {

CalendarModel::CalendarModel(device::Device& device)
    : app_(new device::OutlookApp(device.context(), device.objectStore())) {}

CalendarModel::~CalendarModel() { app_->Release(); }

IAppointment* CalendarModel::Appointment(std::uint32_t oid) {
  IDispatch* item = nullptr;
  EXPECT_EQ(app_->GetItemFromOid(static_cast<LONG>(oid), &item), S_OK);
  return dynamic_cast<IAppointment*>(item);
}

ITask* CalendarModel::Task(std::uint32_t oid) {
  IDispatch* item = nullptr;
  EXPECT_EQ(app_->GetItemFromOid(static_cast<LONG>(oid), &item), S_OK);
  return dynamic_cast<ITask*>(item);
}

IAppointment* CalendarModel::NewAppointment() {
  IDispatch* item = nullptr;
  EXPECT_EQ(app_->CreateItem(olAppointmentItem, &item), S_OK);
  return dynamic_cast<IAppointment*>(item);
}

ITask* CalendarModel::NewTask() {
  IDispatch* item = nullptr;
  EXPECT_EQ(app_->CreateItem(olTaskItem, &item), S_OK);
  return dynamic_cast<ITask*>(item);
}

DATE CalendarModel::Date(int year, int month, int day, int hour, int minute,
                         int second) {
  SYSTEMTIME time = {static_cast<WORD>(year),
                     static_cast<WORD>(month),
                     0,
                     static_cast<WORD>(day),
                     static_cast<WORD>(hour),
                     static_cast<WORD>(minute),
                     static_cast<WORD>(second),
                     0};
  DATE date = 0;
  EXPECT_EQ(app_->SystemTimeToVariantTime(&time, &date), S_OK);
  return date;
}

std::u16string CalendarModel::Take(BSTR text) {
  std::u16string copy = text == nullptr ? u"" : std::u16string(text);
  app_->SysFreeString(text);
  return copy;
}

}  // namespace testing_support
