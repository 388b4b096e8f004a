// The handheld's recurrence patterns as iCalendar RRULEs and back.
//
//   daily      FREQ=DAILY;INTERVAL=n
//   weekly     FREQ=WEEKLY;INTERVAL=n;WKST=SU;BYDAY=<mask>
//   monthly    FREQ=MONTHLY;INTERVAL=n;BYMONTHDAY=d
//   month-nth  FREQ=MONTHLY;INTERVAL=n;BYDAY=<mask>;BYSETPOS=i
//   yearly     FREQ=YEARLY;INTERVAL=n;BYMONTH=m;BYMONTHDAY=d
//   year-nth   FREQ=YEARLY;INTERVAL=n;BYMONTH=m;BYDAY=<mask>;BYSETPOS=i
// An instance of 5 (the last) is BYSETPOS=-1. The handheld puts a day of
// month past the month's end on the month's last day, so days 29-31 are
// written BYMONTHDAY=28,...,d;BYSETPOS=-1. Weeks start on Sunday, as the
// handheld counts them. An interval below 1 is 1. End: by date
// UNTIL=<end date at 23:59:59> (a DATE for all-day items, UTC when the
// times carry a zone), after a count COUNT=n, never: neither.
//
// Reading accepts these forms and the usual equivalents (BYDAY=2TU for
// the second Tuesday, a rule without BY parts taking its days from
// DTSTART, FREQ=DAILY;BYDAY=MO,...,FR as weekly); any other rule cannot be
// held by the handheld and is refused with the reason.
#ifndef VORN_DESKTOP_FORMATS_ICAL_RECURRENCE_H_
#define VORN_DESKTOP_FORMATS_ICAL_RECURRENCE_H_

#include <libical/ical.h>

#include <string>

#include "desktop/base/status.h"
#include "desktop/formats/ical_zone.h"
#include "desktop/formats/recurrence.h"

namespace desktop {

class IcalRecurrence {
 public:
  // The RRULE value (without "RRULE:") of `pattern` for an item that
  // starts at `start` (handheld time); `all_day` for DATE start values.
  static std::string RuleText(const Recurrence& pattern,
                              const TimeRecord& start, bool all_day,
                              const IcalZone& zone);

  // The pattern of `rule` for an item that starts at `start` (handheld
  // time). Fails with a reason for a rule the handheld cannot hold.
  static Result<Recurrence> FromRule(const icalrecurrencetype& rule,
                                     const TimeRecord& start,
                                     const IcalZone& zone);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_ICAL_RECURRENCE_H_
