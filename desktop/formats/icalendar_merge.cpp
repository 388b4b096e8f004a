#include "desktop/formats/icalendar_merge.h"

#include <libical/ical.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

namespace desktop {
namespace {

struct Free {
  void operator()(icalcomponent* c) const { icalcomponent_free(c); }
};
using Component = std::unique_ptr<icalcomponent, Free>;

Result<Component> ParseCalendar(std::string_view text, const char* what) {
  std::string copy(text);
  Component calendar(icalparser_parse_string(copy.c_str()));
  if (!calendar ||
      icalcomponent_isa(calendar.get()) != ICAL_VCALENDAR_COMPONENT) {
    return Status::Error(std::string(what) + " is not an iCalendar file");
  }
  return calendar;
}

std::vector<icalcomponent*> Children(icalcomponent* parent,
                                     icalcomponent_kind kind) {
  std::vector<icalcomponent*> out;
  for (icalcomponent* c = icalcomponent_get_first_component(parent, kind);
       c != nullptr; c = icalcomponent_get_next_component(parent, kind)) {
    out.push_back(c);
  }
  return out;
}

std::vector<icalproperty*> Properties(icalcomponent* item) {
  std::vector<icalproperty*> out;
  for (icalproperty* p =
           icalcomponent_get_first_property(item, ICAL_ANY_PROPERTY);
       p != nullptr;
       p = icalcomponent_get_next_property(item, ICAL_ANY_PROPERTY)) {
    out.push_back(p);
  }
  return out;
}

bool IsItem(icalcomponent* c) {
  icalcomponent_kind kind = icalcomponent_isa(c);
  return kind == ICAL_VEVENT_COMPONENT || kind == ICAL_VTODO_COMPONENT;
}

// The RECURRENCE-ID value as text, "" for a master.
std::string OccurrenceKey(icalcomponent* item) {
  icalproperty* id =
      icalcomponent_get_first_property(item, ICAL_RECURRENCEID_PROPERTY);
  if (id == nullptr) return "";
  const char* value = icalproperty_get_value_as_string(id);
  return value ? value : "";
}

std::string Tzid(icalcomponent* zone) {
  icalproperty* id = icalcomponent_get_first_property(zone, ICAL_TZID_PROPERTY);
  const char* text = id ? icalproperty_get_tzid(id) : nullptr;
  return text ? text : "";
}

void KeepUnowned(icalcomponent* fresh, icalcomponent* old) {
  for (icalproperty* p : Properties(old)) {
    const char* name = icalproperty_get_property_name(p);
    if (name == nullptr || ICalendarMerge::Owned(name)) continue;
    icalcomponent_add_property(fresh, icalproperty_new_clone(p));
  }
  std::vector<icalcomponent*> alarms = Children(old, ICAL_VALARM_COMPONENT);
  for (std::size_t i = 1; i < alarms.size(); ++i) {
    icalcomponent_add_component(fresh, icalcomponent_new_clone(alarms[i]));
  }
}

}  // namespace

bool ICalendarMerge::Owned(const char* name) {
  static constexpr std::array<const char*, 20> kOwned = {
      "UID",       "DTSTAMP",     "LAST-MODIFIED", "SUMMARY",
      "LOCATION",  "DESCRIPTION", "CATEGORIES",    "CLASS",
      "TRANSP",    "DTSTART",     "DTEND",         "DURATION",
      "DUE",       "PRIORITY",    "STATUS",        "PERCENT-COMPLETE",
      "COMPLETED", "RRULE",       "EXDATE",        "RECURRENCE-ID"};
  if (strncasecmp(name, "X-VORN-", 7) == 0) return true;
  for (const char* owned : kOwned) {
    if (strcasecmp(name, owned) == 0) return true;
  }
  return false;
}

Result<std::string> ICalendarMerge::Merge(std::string_view fresh,
                                          std::string_view existing) {
  Result<Component> calendar = ParseCalendar(fresh, "the new item");
  if (!calendar.ok()) return calendar.status();
  if (!existing.empty()) {
    Result<Component> old = ParseCalendar(existing, "the existing file");
    if (!old.ok()) return old.status();
    std::vector<icalcomponent*> items;
    for (icalcomponent* c : Children(calendar->get(), ICAL_ANY_COMPONENT)) {
      if (IsItem(c)) items.push_back(c);
    }
    std::vector<icalcomponent*> zones =
        Children(calendar->get(), ICAL_VTIMEZONE_COMPONENT);
    for (icalcomponent* c : Children(old->get(), ICAL_ANY_COMPONENT)) {
      if (icalcomponent_isa(c) == ICAL_VTIMEZONE_COMPONENT) {
        bool have = false;
        for (icalcomponent* z : zones) have = have || Tzid(z) == Tzid(c);
        if (!have) {
          icalcomponent_add_component(calendar->get(),
                                      icalcomponent_new_clone(c));
        }
        continue;
      }
      if (!IsItem(c)) continue;
      for (icalcomponent* item : items) {
        if (icalcomponent_isa(item) == icalcomponent_isa(c) &&
            OccurrenceKey(item) == OccurrenceKey(c)) {
          KeepUnowned(item, c);
          break;
        }
      }
    }
  }
  char* text = icalcomponent_as_ical_string_r(calendar->get());
  std::string out = text ? text : "";
  icalmemory_free_buffer(text);
  return out;
}

}  // namespace desktop
