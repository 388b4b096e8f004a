// Appointments and tasks with every field set, for the format tests.
#ifndef VORN_DESKTOP_FORMATS_CALENDAR_ITEMS_TEST_H_
#define VORN_DESKTOP_FORMATS_CALENDAR_ITEMS_TEST_H_

#include "desktop/formats/appointment.h"
#include "desktop/formats/task.h"

namespace desktop::test_items {

inline TimeRecord At(int y, int mo, int d, int h = 0, int mi = 0) {
  TimeRecord t = TimeRecord::FromDate(y, mo, d);
  t.hour = static_cast<std::uint16_t>(h);
  t.minute = static_cast<std::uint16_t>(mi);
  return t;
}

inline Recurrence Pattern(RecurrenceType type, EndKind end) {
  Recurrence r;
  r.type = static_cast<std::uint8_t>(type);
  r.end_kind = static_cast<std::uint8_t>(end);
  r.pattern_start = At(2026, 3, 2);
  r.pattern_end = At(2027, 3, 1);
  r.occurrences = end == EndKind::kAfterCount ? 10 : 0;
  r.interval = 1;
  switch (type) {
    case RecurrenceType::kWeekly:
      r.day_of_week_mask = 0x0A;  // Monday, Wednesday
      break;
    case RecurrenceType::kMonthly:
      r.day_of_month = 2;
      break;
    case RecurrenceType::kMonthNth:
      r.instance = 1;
      r.day_of_week_mask = 0x02;
      break;
    case RecurrenceType::kYearly:
      r.day_of_month = 2;
      r.month_of_year = 3;
      break;
    case RecurrenceType::kYearNth:
      r.instance = 1;
      r.day_of_week_mask = 0x02;
      r.month_of_year = 3;
      break;
    default:
      break;
  }
  return r;
}

// A weekly meeting on Mondays and Wednesdays with one deleted and one
// changed occurrence.
inline Appointment Meeting() {
  Appointment a;
  a.oid = 4660;
  a.subject = u"Team meeting";
  a.location = u"Room 4";
  a.categories = u"Business, Team";
  a.body = u"Agenda\r\n- budget";
  a.start = At(2026, 3, 2, 9, 30);
  a.end = At(2026, 3, 2, 10, 30);
  a.is_private = true;
  a.busy_status = static_cast<std::uint32_t>(BusyStatus::kOutOfOffice);
  a.reminder_set = true;
  a.reminder_minutes = 10;
  a.recurrence = Pattern(RecurrenceType::kWeekly, EndKind::kAfterCount);
  AppointmentException deleted;
  deleted.original_date = At(2026, 3, 4, 9, 30);
  deleted.deleted = true;
  AppointmentException changed;
  changed.original_date = At(2026, 3, 9, 9, 30);
  changed.start = At(2026, 3, 9, 14, 0);
  changed.end = At(2026, 3, 9, 15, 0);
  changed.reminder_set = true;
  changed.reminder_minutes = 5;
  changed.busy_status = static_cast<std::uint32_t>(BusyStatus::kTentative);
  changed.subject = u"Team meeting (moved)";
  changed.location = u"Room 7";
  changed.body = u"";
  a.exceptions = {deleted, changed};
  a.recurrence->exception_count = 2;
  return a;
}

inline Task Chore() {
  Task t;
  t.oid = 88;
  t.subject = u"Water plants";
  t.categories = u"Home";
  t.body = u"all of them";
  t.start_date = At(2026, 3, 2);
  t.due_date = At(2026, 3, 6);
  t.reminder_set = true;
  t.reminder_time = At(2026, 3, 5, 18, 0);
  t.importance = static_cast<std::uint32_t>(Importance::kHigh);
  t.is_private = true;
  t.recurrence = Pattern(RecurrenceType::kWeekly, EndKind::kNever);
  t.recurrence->day_of_week_mask = 0x02;
  return t;
}

}  // namespace desktop::test_items

#endif  // VORN_DESKTOP_FORMATS_CALENDAR_ITEMS_TEST_H_
