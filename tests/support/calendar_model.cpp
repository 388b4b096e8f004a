#include "tests/support/calendar_model.h"

#include <gtest/gtest.h>

#include "device/kernel/kernel.h"
#include "device/kernel/ole_date.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"

namespace testing_support {

CalendarModel::CalendarModel(device::Device& device) {
  auto* app = new device::OutlookApp(device.context(), device.objectStore());
  // As the handheld's own application: its changes are logged and its
  // reminders checked against the handheld's clock.
  device::ChangeLogWriter* log = &device.changeLog();
  app->SetChangeHook([log](int itemType, CEOID oid, int kind) {
    log->OnChange(itemType, oid, kind);
  });
  device::Kernel* kernel = &device.kernel();
  app->SetClock([kernel]() -> std::optional<DATE> {
    SYSTEMTIME now = {};
    kernel->GetLocalTime(&now);
    return device::SystemTimeToOleDate(now);
  });
  app_ = app;
}

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
