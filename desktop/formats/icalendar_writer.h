// Appointments and tasks as iCalendar 2.0 (RFC 5545), built and laid out
// by libical.
//
// An appointment is a VEVENT: UID, DTSTAMP, SUMMARY, LOCATION, DESCRIPTION
// (the notes), CATEGORIES (one property per comma-separated category),
// CLASS (PRIVATE or PUBLIC), TRANSP (TRANSPARENT when free, else OPAQUE)
// with X-VORN-BUSYSTATUS (FREE, TENTATIVE, BUSY, OOF), DTSTART and DTEND
// (DATE values for all-day events: DTEND is the day after the last day),
// a VALARM (DISPLAY, TRIGGER -PT<minutes>M) when a reminder is set, the
// RRULE of its pattern (see ical_recurrence.h), an EXDATE for each deleted
// occurrence and, for each changed occurrence, a VEVENT of the same UID
// with RECURRENCE-ID and what the occurrence changed.
// A task is a VTODO: UID, DTSTAMP, SUMMARY, DESCRIPTION, CATEGORIES, CLASS,
// DTSTART and DUE (DATE values), PRIORITY (1 high, 5 normal, 9 low),
// STATUS (COMPLETED with PERCENT-COMPLETE:100, else NEEDS-ACTION), a VALARM
// whose TRIGGER is relative to DUE (RELATED=END) and its RRULE (DTSTART is
// the pattern's start when the task has no start date).
// Both carry X-VORN-OID with the handheld's object id when it is known.
// Times are the handheld's local times in the calendar's zone
// (ical_zone.h); the zone's VTIMEZONE is written once when times use it.
#ifndef VORN_DESKTOP_FORMATS_ICALENDAR_WRITER_H_
#define VORN_DESKTOP_FORMATS_ICALENDAR_WRITER_H_

#include <libical/ical.h>

#include <memory>
#include <string>

#include "desktop/formats/appointment.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/task.h"

namespace desktop {

class ICalendarWriter {
 public:
  static constexpr char kProductId[] = "-//Vorn//Vorn desktop//EN";

  explicit ICalendarWriter(IcalZone zone);

  // Adds one item with its UID (see RecordUid).
  void Add(const Appointment& appointment, const std::string& uid);
  void Add(const Task& task, const std::string& uid);

  // The VCALENDAR with everything added, lines ending in CRLF.
  std::string Text() const;

 private:
  struct Free {
    void operator()(icalcomponent* c) const { icalcomponent_free(c); }
  };

  icalcomponent* NewItem(icalcomponent_kind kind, const std::string& uid,
                         const std::u16string& subject) const;
  // Adds a time property, with the zone's TZID unless `date_only`.
  void AddTime(icalcomponent* item, icalproperty* property,
               bool date_only) const;
  void AddOverride(const Appointment& master, const AppointmentException& e,
                   const std::string& uid);

  IcalZone zone_;
  std::unique_ptr<icalcomponent, Free> calendar_;
  bool zone_written_ = false;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_ICALENDAR_WRITER_H_
