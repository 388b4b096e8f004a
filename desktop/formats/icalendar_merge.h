// Rewrites the items of an iCalendar file with what the handheld holds and
// keeps what it cannot hold: attendees and organizers, alarms after the
// first, other programs' X- properties and every other property the
// handheld has no place for stay in the file when the handheld's side of
// an appointment or task changes.
//
// Component by component: each VEVENT or VTODO of the new text is matched
// with the one of the existing file that has the same RECURRENCE-ID (or
// none, the master). From the existing one, every property the handheld
// does not own (see Owned) is copied into the new one, and its VALARMs
// after the first follow the new one's alarm. VTIMEZONEs of the existing
// file that the new text lacks are kept too.
#ifndef VORN_DESKTOP_FORMATS_ICALENDAR_MERGE_H_
#define VORN_DESKTOP_FORMATS_ICALENDAR_MERGE_H_

#include <string>
#include <string_view>

#include "desktop/base/status.h"

namespace desktop {

class ICalendarMerge {
 public:
  // `fresh` (ICalendarWriter text) with the kept parts of `existing`. An
  // empty `existing` gives `fresh` as it is. Fails when either is not
  // iCalendar text.
  static Result<std::string> Merge(std::string_view fresh,
                                   std::string_view existing);

  // True for the properties the handheld owns (ICalendarWriter writes
  // them): UID, DTSTAMP, LAST-MODIFIED, SUMMARY, LOCATION, DESCRIPTION,
  // CATEGORIES, CLASS, TRANSP, DTSTART, DTEND, DURATION, DUE, PRIORITY,
  // STATUS, PERCENT-COMPLETE, COMPLETED, RRULE, EXDATE, RECURRENCE-ID and
  // every X-VORN- property.
  static bool Owned(const char* name);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_ICALENDAR_MERGE_H_
