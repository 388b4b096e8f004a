// Reads appointments (VEVENT) and tasks (VTODO) out of iCalendar text,
// parsed by libical, whatever program wrote it. Everything ical_writer.h
// writes is read back; from other programs' calendars the reader also
// takes DURATION for the end, TRANSP for the busy status, a VALARM's
// relative or absolute trigger, PRIORITY 1-4 as high and 6-9 as low, and
// times in any zone the calendar or the zone data knows (converted into
// the handheld's zone, see ical_zone.h).
//
// What the handheld cannot hold is dropped and reported on one warning
// line per item, naming the item by its summary and UID: attendees and
// organizers, alarms after the first, RDATEs, a rule the handheld cannot
// express (the item is kept without it), overrides of occurrences of a
// rule that is not there, and every property the item has no place for,
// other programs' X- properties included.
#ifndef VORN_DESKTOP_FORMATS_ICALENDAR_READER_H_
#define VORN_DESKTOP_FORMATS_ICALENDAR_READER_H_

#include <string_view>

#include "desktop/base/status.h"
#include "desktop/formats/calendar_json.h"
#include "desktop/formats/ical_zone.h"

namespace desktop {

class ICalendarReader {
 public:
  // The items of `text` (one VCALENDAR, or several one after another),
  // with their warnings. Fails on text that is not iCalendar at all or
  // that holds neither VEVENT nor VTODO, and on an item without DTSTART
  // (an event) whose time cannot be read.
  static Result<CalendarItems> Parse(std::string_view text,
                                     const IcalZone& zone);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_ICALENDAR_READER_H_
