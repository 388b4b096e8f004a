#include "desktop/formats/ical_zone.h"

namespace desktop {
namespace {

// Zones from the zone data are named by their IANA names alone.
void UsePlainZoneNames() {
  static const bool done = [] {
    icaltimezone_set_tzid_prefix("");
    return true;
  }();
  (void)done;
}

}  // namespace

Result<IcalZone> IcalZone::Named(std::string_view name) {
  IcalZone zone;
  if (name.empty()) return zone;
  UsePlainZoneNames();
  std::string text(name);
  if (text == "UTC" || text == "Etc/UTC" || text == "Z") {
    zone.zone_ = icaltimezone_get_utc_timezone();
  } else {
    zone.zone_ = icaltimezone_get_builtin_timezone(text.c_str());
  }
  if (zone.zone_ == nullptr) {
    return Status::Error("unknown time zone \"" + text + "\"");
  }
  zone.name_ = text;
  return zone;
}

bool IcalZone::utc() const {
  return zone_ != nullptr && zone_ == icaltimezone_get_utc_timezone();
}

icaltimetype IcalZone::ToIcal(const TimeRecord& time, bool date_only) const {
  icaltimetype t = icaltime_null_time();
  t.year = time.year;
  t.month = time.month;
  t.day = time.day;
  if (date_only) {
    t.is_date = 1;
    return t;
  }
  t.hour = time.hour;
  t.minute = time.minute;
  t.second = time.second;
  if (zone_ != nullptr) t.zone = zone_;
  return t;
}

TimeRecord IcalZone::FromIcal(icaltimetype time) const {
  // A time already in this zone keeps its clock reading. The zone of a
  // file's own VTIMEZONE of the same name counts as this zone: converting
  // between the two would expand the file's definition year by year, for
  // every file read, and give the same reading.
  if (!time.is_date && zone_ != nullptr &&
      (time.zone != nullptr || icaltime_is_utc(time)) && !SameZone(time.zone)) {
    time = icaltime_convert_to_zone(time, zone_);
  }
  TimeRecord t = TimeRecord::FromDate(time.year, time.month, time.day);
  if (!time.is_date) {
    t.hour = static_cast<std::uint16_t>(time.hour);
    t.minute = static_cast<std::uint16_t>(time.minute);
    t.second = static_cast<std::uint16_t>(time.second);
  }
  return t;
}

icalcomponent* IcalZone::NewVtimezone() const {
  icalcomponent* copy =
      icalcomponent_new_clone(icaltimezone_get_component(zone_));
  icalproperty* tzid =
      icalcomponent_get_first_property(copy, ICAL_TZID_PROPERTY);
  if (tzid != nullptr) icalproperty_set_tzid(tzid, name_.c_str());
  return copy;
}

void IcalZone::Tag(icalproperty* property) const {
  if (zone_ == nullptr || utc()) return;
  icalproperty_add_parameter(property, icalparameter_new_tzid(name_.c_str()));
}

bool IcalZone::SameZone(const icaltimezone* other) const {
  if (other == nullptr || zone_ == nullptr) return false;
  if (other == zone_) return true;
  const char* tzid = icaltimezone_get_tzid(const_cast<icaltimezone*>(other));
  return tzid != nullptr && name_ == tzid;
}

icaltimezone* IcalZone::Resolve(icalcomponent* calendar, const char* tzid) {
  if (tzid == nullptr) return nullptr;
  UsePlainZoneNames();
  if (calendar != nullptr) {
    if (icaltimezone* own = icalcomponent_get_timezone(calendar, tzid)) {
      return own;
    }
  }
  if (icaltimezone* known = icaltimezone_get_builtin_timezone(tzid)) {
    return known;
  }
  return icaltimezone_get_builtin_timezone_from_tzid(tzid);
}

}  // namespace desktop
