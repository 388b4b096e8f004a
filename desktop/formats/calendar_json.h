// Appointments and tasks as JSON objects. Members are named after the
// object model's properties and hold typed values:
//   appointment: "type": "appointment", "oid", "Subject", "Location",
//     "Categories", "Body" (strings), "Start", "End" (dates),
//     "AllDayEvent", "ReminderSet" (booleans), "Sensitivity" (0 normal,
//     2 private), "BusyStatus" (0 free, 1 tentative, 2 busy, 3 out of
//     office), "ReminderMinutesBefore" (numbers), "Recurrence" (object),
//     "Exceptions" (array of objects: "OriginalDate", "Deleted", "Start",
//     "End", and when given "ReminderSet", "ReminderMinutesBefore",
//     "BusyStatus", "Subject", "Location", "Body");
//   task: "type": "task", "oid", "Subject", "Categories", "Body",
//     "StartDate", "DueDate", "ReminderTime" (dates; absent when the task
//     has none), "Importance" (0 low, 1 normal, 2 high), "Complete",
//     "ReminderSet" (booleans), "Sensitivity", "Recurrence".
//   "Recurrence": "RecurrenceType" ("daily", "weekly", "monthly",
//     "monthnth", "yearly", "yearnth"), "PatternStartDate",
//     "PatternEndDate", "Occurrences", "EndKind" ("date", "count", "never"),
//     "Interval", "DayOfWeekMask" (bit 0 Sunday .. bit 6 Saturday),
//     "DayOfMonth", "Instance" (5: the last), "MonthOfYear".
// Dates are "YYYY-MM-DD" or "YYYY-MM-DDTHH:MM:SS" in the handheld's local
// time. Reading matches member names without regard to case; a missing
// member takes the value of a new item; an unknown member, a value of the
// wrong kind or a bad date fails, naming the member. Without "type" an
// object is a task when it has "DueDate", "StartDate", "Complete",
// "Importance" or "ReminderTime", else an appointment when it has "Start",
// "End", "Location", "AllDayEvent" or "BusyStatus"; else it is no
// calendar item (a contact, for `vorn put`).
#ifndef VORN_DESKTOP_FORMATS_CALENDAR_JSON_H_
#define VORN_DESKTOP_FORMATS_CALENDAR_JSON_H_

#include <string_view>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/appointment.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/task.h"

namespace desktop {

// The appointments and tasks of one document, each in document order.
struct CalendarItems {
  std::vector<Appointment> appointments;
  std::vector<Task> tasks;
  // Lines for the user: one per item about what could not be kept.
  std::vector<std::string> warnings;
  bool empty() const { return appointments.empty() && tasks.empty(); }
};

class CalendarJson {
 public:
  enum class Kind { kNone, kAppointment, kTask };

  static Json ToJson(const Appointment& appointment);
  static Json ToJson(const Task& task);

  static Result<Appointment> AppointmentFromJson(const Json& object);
  static Result<Task> TaskFromJson(const Json& object);

  // What an object holds, by its "type" or its members (see above). Fails
  // on a "type" other than "appointment", "task" or "contact".
  static Result<Kind> KindOf(const Json& object);

  // True when `document` (an object or an array of objects) holds at least
  // one appointment or task.
  static bool HoldsCalendarItems(const Json& document);

  // Reads an object or an array of appointment and task objects. Fails on
  // bad JSON (naming line and column), on an object that is neither, or on
  // a bad member ("item #N: ...").
  static Result<CalendarItems> ParseDocument(std::string_view text);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_CALENDAR_JSON_H_
