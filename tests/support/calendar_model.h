// The emulated handheld's object model opened beside a conversation, the
// way the handheld's user would reach appointments and tasks: changes are
// logged in the change logs and reminders checked against the handheld's
// clock.
#ifndef VORN_TESTS_SUPPORT_CALENDAR_MODEL_H_
#define VORN_TESTS_SUPPORT_CALENDAR_MODEL_H_

#include <cstdint>
#include <string>

#include "device/device.h"
#include "platform/pimstore.h"

namespace testing_support {

class CalendarModel {
 public:
  explicit CalendarModel(device::Device& device);
  CalendarModel(const CalendarModel&) = delete;
  CalendarModel& operator=(const CalendarModel&) = delete;
  ~CalendarModel();

  IPOutlookApp* app() { return app_; }
  // The item `oid` as an appointment or task; fails the test when missing.
  IAppointment* Appointment(std::uint32_t oid);
  ITask* Task(std::uint32_t oid);
  IAppointment* NewAppointment();
  ITask* NewTask();
  // A DATE of a calendar time.
  DATE Date(int year, int month, int day, int hour = 0, int minute = 0,
            int second = 0);
  // A string getter's value, freed.
  std::u16string Take(BSTR text);

 private:
  IPOutlookApp* app_ = nullptr;
};

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_CALENDAR_MODEL_H_
