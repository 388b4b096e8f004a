// The handheld's time zone for iCalendar. The handheld keeps every time as
// its own local time, and no command of the conversation tells its zone,
// so the desktop is told: `vorn --tz ZONE` names it (an IANA name, as
// `vorn-device init --tz` took it). Without a zone, times are written and
// read as floating local times (no TZID, no UTC): they mean the handheld's
// wall clock wherever it is.
//
// With a zone, times are written with TZID=ZONE and the calendar carries
// that zone's VTIMEZONE (from libical's copy of the system's zone data);
// "UTC" writes UTC times instead. Times read in another zone or in UTC are
// converted into the handheld's zone.
#ifndef VORN_DESKTOP_FORMATS_ICAL_ZONE_H_
#define VORN_DESKTOP_FORMATS_ICAL_ZONE_H_

#include <libical/ical.h>

#include <string>
#include <string_view>

#include "desktop/base/status.h"
#include "desktop/wire/time_record.h"

namespace desktop {

class IcalZone {
 public:
  // The floating zone.
  IcalZone() = default;
  // The zone named `name` ("Europe/Berlin", "UTC"); "" is floating. Fails
  // for a name the zone data does not know.
  static Result<IcalZone> Named(std::string_view name);

  bool floating() const { return zone_ == nullptr; }
  bool utc() const;
  // The IANA name, "" when floating.
  const std::string& name() const { return name_; }
  // Owned by libical; null when floating.
  icaltimezone* zone() const { return zone_; }

  // A handheld time as an iCalendar time in this zone; `date_only` makes a
  // DATE value of its day.
  icaltimetype ToIcal(const TimeRecord& time, bool date_only) const;
  // An iCalendar time as a handheld time: converted into this zone when
  // both it and `time` have one, else its clock reading as it stands.
  TimeRecord FromIcal(icaltimetype time) const;
  // Whether `other` is this zone, or a zone of a file's own VTIMEZONE
  // whose TZID is this zone's name.
  bool SameZone(const icaltimezone* other) const;

  // A new VTIMEZONE of this zone whose TZID is the zone's IANA name; the
  // caller owns it. Only for a zone that is neither floating nor UTC.
  icalcomponent* NewVtimezone() const;

  // Adds the TZID parameter to a time property when this zone needs one.
  void Tag(icalproperty* property) const;

  // The zone a TZID of a calendar names: its own VTIMEZONE, else the zone
  // data's zone of that name; null when neither knows it.
  static icaltimezone* Resolve(icalcomponent* calendar, const char* tzid);

 private:
  icaltimezone* zone_ = nullptr;
  std::string name_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_ICAL_ZONE_H_
