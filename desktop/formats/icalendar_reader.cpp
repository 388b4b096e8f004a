#include "desktop/formats/icalendar_reader.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>

#include "desktop/base/utf16.h"
#include "desktop/formats/ical_recurrence.h"

namespace desktop {
namespace {

struct FreeComponent {
  void operator()(icalcomponent* c) const { icalcomponent_free(c); }
};

// iCalendar text for the handheld: UTF-16 with CRLF line breaks.
std::u16string HandheldText(const char* text) {
  std::string out;
  for (const char* p = text == nullptr ? "" : text; *p != '\0'; ++p) {
    if (*p == '\n' && (out.empty() || out.back() != '\r')) out += '\r';
    out += *p;
  }
  return Utf8ToUtf16(out);
}

// What one item loses on its way to the handheld.
class Losses {
 public:
  void Add(const std::string& what) {
    for (const std::string& seen : items_) {
      if (seen == what) return;
    }
    items_.push_back(what);
  }
  void Count(const char* one, const char* many, int n) {
    if (n == 1) Add(one);
    if (n > 1) Add(std::to_string(n) + " " + many);
  }
  // One line, or "" when nothing was lost.
  std::string Line(const char* kind, const std::u16string& subject,
                   const std::string& uid) const {
    if (items_.empty()) return {};
    std::string line = std::string(kind) + " \"" + Utf16ToUtf8(subject) + "\"";
    if (!uid.empty()) line += " (" + uid + ")";
    line += ": not kept:";
    for (std::size_t i = 0; i < items_.size(); ++i) {
      line += (i == 0 ? " " : "; ") + items_[i];
    }
    return line;
  }

 private:
  std::vector<std::string> items_;
};

class Reader {
 public:
  Reader(icalcomponent* calendar, const IcalZone& zone)
      : calendar_(calendar), zone_(zone) {}

  // The time of a time property, with its TZID resolved.
  icaltimetype TimeOf(icalproperty* property) const {
    icaltimetype t = icalvalue_get_datetime(icalproperty_get_value(property));
    icalparameter* tzid =
        icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
    if (tzid != nullptr && !t.is_date) {
      icaltimezone* zone =
          IcalZone::Resolve(calendar_, icalparameter_get_tzid(tzid));
      if (zone != nullptr) t.zone = zone;
    }
    return t;
  }

  // Reminder minutes of an alarm before `start`; nullopt when it cannot
  // be told.
  std::optional<std::uint32_t> AlarmMinutes(icalcomponent* alarm,
                                            icaltimetype start) const {
    icalproperty* property =
        icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
    if (property == nullptr) return std::nullopt;
    icaltriggertype trigger = icalproperty_get_trigger(property);
    int seconds = 0;
    if (!icaltime_is_null_time(trigger.time)) {
      // Both as instants; a floating time counts as UTC.
      seconds = static_cast<int>(
          icaltime_as_timet_with_zone(trigger.time, trigger.time.zone) -
          icaltime_as_timet_with_zone(start, start.zone));
    } else {
      seconds = icaldurationtype_as_int(trigger.duration);
    }
    if (seconds > 0) return std::uint32_t{0};
    return static_cast<std::uint32_t>(-seconds / 60);
  }

  icalcomponent* calendar_;
  const IcalZone& zone_;
};

std::string Categories(icalcomponent* item) {
  std::string all;
  for (icalproperty* p =
           icalcomponent_get_first_property(item, ICAL_CATEGORIES_PROPERTY);
       p != nullptr;
       p = icalcomponent_get_next_property(item, ICAL_CATEGORIES_PROPERTY)) {
    const char* one = icalproperty_get_categories(p);
    if (one == nullptr || *one == '\0') continue;
    if (!all.empty()) all += ", ";
    all += one;
  }
  return all;
}

std::optional<std::uint32_t> BusyFromX(const char* value) {
  std::string v = value == nullptr ? "" : value;
  if (v == "FREE") return 0;
  if (v == "TENTATIVE") return 1;
  if (v == "BUSY") return 2;
  if (v == "OOF") return 3;
  return std::nullopt;
}

// Walks an item's properties: the ones `take` accepts are used, the
// bookkeeping ones are passed over, every other one is a loss.
template <typename Take>
void WalkProperties(icalcomponent* item, Losses& losses, Take take) {
  int attendees = 0;
  for (icalproperty* p =
           icalcomponent_get_first_property(item, ICAL_ANY_PROPERTY);
       p != nullptr;
       p = icalcomponent_get_next_property(item, ICAL_ANY_PROPERTY)) {
    icalproperty_kind kind = icalproperty_isa(p);
    if (take(p, kind)) continue;
    switch (kind) {
      case ICAL_UID_PROPERTY:
      case ICAL_DTSTAMP_PROPERTY:
      case ICAL_CREATED_PROPERTY:
      case ICAL_LASTMODIFIED_PROPERTY:
      case ICAL_SEQUENCE_PROPERTY:
        break;
      case ICAL_ATTENDEE_PROPERTY:
        ++attendees;
        break;
      case ICAL_ORGANIZER_PROPERTY:
        losses.Add("the organizer");
        break;
      case ICAL_X_PROPERTY: {
        const char* name = icalproperty_get_x_name(p);
        losses.Add(name == nullptr ? "X-" : name);
        break;
      }
      default: {
        const char* name = icalproperty_get_property_name(p);
        losses.Add(name == nullptr ? "?" : name);
        break;
      }
    }
  }
  losses.Count("an attendee", "attendees", attendees);
}

// Alarms: the first is kept by `keep`, the others are losses.
template <typename Keep>
void WalkAlarms(icalcomponent* item, Losses& losses, Keep keep) {
  int alarms = 0;
  for (icalcomponent* c =
           icalcomponent_get_first_component(item, ICAL_ANY_COMPONENT);
       c != nullptr;
       c = icalcomponent_get_next_component(item, ICAL_ANY_COMPONENT)) {
    if (icalcomponent_isa(c) != ICAL_VALARM_COMPONENT) {
      const char* name = icalcomponent_kind_to_string(icalcomponent_isa(c));
      losses.Add(name == nullptr ? "a component" : name);
      continue;
    }
    if (alarms++ == 0) keep(c);
  }
  losses.Count("a second alarm", "more alarms", alarms - 1);
}

std::string UidOf(icalcomponent* item) {
  const char* uid = icalcomponent_get_uid(item);
  return uid == nullptr ? std::string() : std::string(uid);
}

bool SameTime(const TimeRecord& a, const TimeRecord& b) {
  return a.year == b.year && a.month == b.month && a.day == b.day &&
         a.hour == b.hour && a.minute == b.minute && a.second == b.second;
}

class CalendarReader {
 public:
  CalendarReader(icalcomponent* calendar, const IcalZone& zone,
                 CalendarItems& out)
      : reader_(calendar, zone), zone_(zone), out_(out) {}

  Status ReadEvent(icalcomponent* event);
  Status ReadOverride(icalcomponent* event);
  Status ReadTodo(icalcomponent* todo);

 private:
  Reader reader_;
  const IcalZone& zone_;
  CalendarItems& out_;
  std::map<std::string, std::size_t> masters_;  // UID -> appointment index
};

Status CalendarReader::ReadEvent(icalcomponent* event) {
  Appointment a;
  Losses losses;
  const std::string uid = UidOf(event);
  icalproperty* dtstart = nullptr;
  icalproperty* dtend = nullptr;
  icalproperty* duration = nullptr;
  icalproperty* rrule = nullptr;
  std::vector<icalproperty*> exdates;
  bool busy_given = false;
  WalkProperties(event, losses, [&](icalproperty* p, icalproperty_kind kind) {
    switch (kind) {
      case ICAL_SUMMARY_PROPERTY:
        a.subject = HandheldText(icalproperty_get_summary(p));
        return true;
      case ICAL_LOCATION_PROPERTY:
        a.location = HandheldText(icalproperty_get_location(p));
        return true;
      case ICAL_DESCRIPTION_PROPERTY:
        a.body = HandheldText(icalproperty_get_description(p));
        return true;
      case ICAL_CATEGORIES_PROPERTY:
        return true;
      case ICAL_CLASS_PROPERTY:
        a.is_private = icalproperty_get_class(p) != ICAL_CLASS_PUBLIC;
        return true;
      case ICAL_TRANSP_PROPERTY:
        if (!busy_given) {
          a.busy_status =
              icalproperty_get_transp(p) == ICAL_TRANSP_TRANSPARENT ? 0 : 2;
        }
        return true;
      case ICAL_STATUS_PROPERTY:
        if (icalproperty_get_status(p) == ICAL_STATUS_TENTATIVE &&
            !busy_given) {
          a.busy_status = 1;
        }
        return icalproperty_get_status(p) != ICAL_STATUS_CANCELLED;
      case ICAL_DTSTART_PROPERTY:
        dtstart = p;
        return true;
      case ICAL_DTEND_PROPERTY:
        dtend = p;
        return true;
      case ICAL_DURATION_PROPERTY:
        duration = p;
        return true;
      case ICAL_RRULE_PROPERTY:
        if (rrule != nullptr) return false;
        rrule = p;
        return true;
      case ICAL_EXDATE_PROPERTY:
        exdates.push_back(p);
        return true;
      case ICAL_X_PROPERTY: {
        std::string name = icalproperty_get_x_name(p);
        const char* value = icalproperty_get_x(p);
        if (name == "X-VORN-OID") {
          unsigned long oid = std::strtoul(value ? value : "", nullptr, 10);
          if (oid != 0) a.oid = static_cast<std::uint32_t>(oid);
          return true;
        }
        if (name == "X-VORN-BUSYSTATUS") {
          if (auto busy = BusyFromX(value)) {
            a.busy_status = *busy;
            busy_given = true;
            return true;
          }
        }
        return false;
      }
      default:
        return false;
    }
  });
  a.categories = Utf8ToUtf16(Categories(event));
  if (dtstart == nullptr) {
    return Status::Error("event \"" + Utf16ToUtf8(a.subject) +
                         "\" has no DTSTART");
  }
  icaltimetype start = reader_.TimeOf(dtstart);
  a.all_day = start.is_date != 0;
  a.start = zone_.FromIcal(start);
  icaltimetype end = start;
  if (dtend != nullptr) {
    end = reader_.TimeOf(dtend);
  } else if (duration != nullptr) {
    end = icaltime_add(start, icalproperty_get_duration(duration));
  } else if (a.all_day) {
    end.day += 1;
    end = icaltime_normalize(end);
  }
  a.end = zone_.FromIcal(end);
  if (rrule != nullptr) {
    Result<Recurrence> pattern =
        IcalRecurrence::FromRule(icalproperty_get_rrule(rrule), a.start, zone_);
    if (pattern.ok()) {
      a.recurrence = *pattern;
      for (icalproperty* p : exdates) {
        AppointmentException e;
        e.original_date = zone_.FromIcal(reader_.TimeOf(p));
        e.deleted = true;
        a.exceptions.push_back(e);
      }
    } else {
      losses.Add(pattern.status().message() + " (kept as one appointment)");
    }
  } else if (!exdates.empty()) {
    losses.Add("EXDATE without a rule");
  }
  WalkAlarms(event, losses, [&](icalcomponent* alarm) {
    if (auto minutes = reader_.AlarmMinutes(alarm, start)) {
      a.reminder_set = true;
      a.reminder_minutes = *minutes;
    } else {
      losses.Add("an alarm without a trigger");
    }
  });
  if (a.recurrence) {
    a.recurrence->exception_count =
        static_cast<std::uint32_t>(a.exceptions.size());
  }
  std::string line = losses.Line("appointment", a.subject, uid);
  if (!line.empty()) out_.warnings.push_back(line);
  if (!uid.empty()) masters_[uid] = out_.appointments.size();
  out_.appointments.push_back(std::move(a));
  return Status::Ok();
}

Status CalendarReader::ReadOverride(icalcomponent* event) {
  const std::string uid = UidOf(event);
  auto master = masters_.find(uid);
  Losses losses;
  AppointmentException e;
  e.subject = u"";
  e.location = u"";
  e.body = u"";
  icalproperty* dtstart = nullptr;
  icalproperty* dtend = nullptr;
  icalproperty* duration = nullptr;
  WalkProperties(event, losses, [&](icalproperty* p, icalproperty_kind kind) {
    switch (kind) {
      case ICAL_SUMMARY_PROPERTY:
        e.subject = HandheldText(icalproperty_get_summary(p));
        return true;
      case ICAL_LOCATION_PROPERTY:
        e.location = HandheldText(icalproperty_get_location(p));
        return true;
      case ICAL_DESCRIPTION_PROPERTY:
        e.body = HandheldText(icalproperty_get_description(p));
        return true;
      case ICAL_RECURRENCEID_PROPERTY:
        e.original_date = zone_.FromIcal(reader_.TimeOf(p));
        return true;
      case ICAL_DTSTART_PROPERTY:
        dtstart = p;
        return true;
      case ICAL_DTEND_PROPERTY:
        dtend = p;
        return true;
      case ICAL_DURATION_PROPERTY:
        duration = p;
        return true;
      case ICAL_CATEGORIES_PROPERTY:
      case ICAL_CLASS_PROPERTY:
        return true;  // the handheld keeps these for the whole series
      case ICAL_TRANSP_PROPERTY:
        if (!e.busy_status) {
          e.busy_status =
              icalproperty_get_transp(p) == ICAL_TRANSP_TRANSPARENT ? 0 : 2;
        }
        return true;
      case ICAL_X_PROPERTY: {
        std::string name = icalproperty_get_x_name(p);
        if (name == "X-VORN-OID") return true;
        if (name == "X-VORN-BUSYSTATUS") {
          if (auto busy = BusyFromX(icalproperty_get_x(p))) {
            e.busy_status = busy;
            return true;
          }
        }
        return false;
      }
      default:
        return false;
    }
  });
  Appointment* a =
      master == masters_.end() ? nullptr : &out_.appointments[master->second];
  if (a == nullptr || !a->recurrence || dtstart == nullptr) {
    losses.Add(a == nullptr ? "a changed occurrence of a series not in the file"
               : !a->recurrence
                   ? "a changed occurrence of a series without a rule"
                   : "a changed occurrence without DTSTART");
    out_.warnings.push_back(
        losses.Line("appointment", e.subject.value_or(u""), uid));
    return Status::Ok();
  }
  icaltimetype start = reader_.TimeOf(dtstart);
  e.start = zone_.FromIcal(start);
  icaltimetype end = start;
  if (dtend != nullptr) {
    end = reader_.TimeOf(dtend);
  } else if (duration != nullptr) {
    end = icaltime_add(start, icalproperty_get_duration(duration));
  }
  e.end = zone_.FromIcal(end);
  e.reminder_set = false;
  e.reminder_minutes = a->reminder_minutes;
  if (!e.busy_status) e.busy_status = a->busy_status;
  WalkAlarms(event, losses, [&](icalcomponent* alarm) {
    if (auto minutes = reader_.AlarmMinutes(alarm, start)) {
      e.reminder_set = true;
      e.reminder_minutes = *minutes;
    }
  });
  // A later override of the same occurrence replaces an earlier one.
  auto same = std::find_if(a->exceptions.begin(), a->exceptions.end(),
                           [&](const AppointmentException& x) {
                             return SameTime(x.original_date, e.original_date);
                           });
  if (same != a->exceptions.end()) {
    *same = e;
  } else {
    a->exceptions.push_back(e);
  }
  a->recurrence->exception_count =
      static_cast<std::uint32_t>(a->exceptions.size());
  std::string line = losses.Line("appointment", *e.subject, uid);
  if (!line.empty()) out_.warnings.push_back(line);
  return Status::Ok();
}

Status CalendarReader::ReadTodo(icalcomponent* todo) {
  Task t;
  Losses losses;
  const std::string uid = UidOf(todo);
  icalproperty* rrule = nullptr;
  WalkProperties(todo, losses, [&](icalproperty* p, icalproperty_kind kind) {
    switch (kind) {
      case ICAL_SUMMARY_PROPERTY:
        t.subject = HandheldText(icalproperty_get_summary(p));
        return true;
      case ICAL_DESCRIPTION_PROPERTY:
        t.body = HandheldText(icalproperty_get_description(p));
        return true;
      case ICAL_CATEGORIES_PROPERTY:
        return true;
      case ICAL_CLASS_PROPERTY:
        t.is_private = icalproperty_get_class(p) != ICAL_CLASS_PUBLIC;
        return true;
      case ICAL_DTSTART_PROPERTY: {
        TimeRecord s = zone_.FromIcal(reader_.TimeOf(p));
        t.start_date = TimeRecord::FromDate(s.year, s.month, s.day);
        return true;
      }
      case ICAL_DUE_PROPERTY: {
        TimeRecord d = zone_.FromIcal(reader_.TimeOf(p));
        t.due_date = TimeRecord::FromDate(d.year, d.month, d.day);
        return true;
      }
      case ICAL_PRIORITY_PROPERTY: {
        int priority = icalproperty_get_priority(p);
        t.importance = priority >= 1 && priority <= 4   ? 2
                       : priority >= 6 && priority <= 9 ? 0
                                                        : 1;
        return true;
      }
      case ICAL_STATUS_PROPERTY:
        if (icalproperty_get_status(p) == ICAL_STATUS_COMPLETED) {
          t.complete = true;
        }
        return true;
      case ICAL_COMPLETED_PROPERTY:
        t.complete = true;
        return true;
      case ICAL_PERCENTCOMPLETE_PROPERTY:
        if (icalproperty_get_percentcomplete(p) >= 100) t.complete = true;
        return true;
      case ICAL_RRULE_PROPERTY:
        if (rrule != nullptr) return false;
        rrule = p;
        return true;
      case ICAL_X_PROPERTY: {
        std::string name = icalproperty_get_x_name(p);
        if (name != "X-VORN-OID") return false;
        const char* value = icalproperty_get_x(p);
        unsigned long oid = std::strtoul(value ? value : "", nullptr, 10);
        if (oid != 0) t.oid = static_cast<std::uint32_t>(oid);
        return true;
      }
      default:
        return false;
    }
  });
  t.categories = Utf8ToUtf16(Categories(todo));
  if (rrule != nullptr) {
    std::optional<TimeRecord> anchor = t.start_date ? t.start_date : t.due_date;
    Result<Recurrence> pattern =
        anchor ? IcalRecurrence::FromRule(icalproperty_get_rrule(rrule),
                                          *anchor, zone_)
               : Result<Recurrence>(
                     Status::Error("a repeat rule without DTSTART or DUE"));
    if (pattern.ok()) {
      t.recurrence = *pattern;
    } else {
      losses.Add(pattern.status().message() + " (kept as one task)");
    }
  }
  WalkAlarms(todo, losses, [&](icalcomponent* alarm) {
    icalproperty* p =
        icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
    if (p == nullptr) return losses.Add("an alarm without a trigger");
    icaltriggertype trigger = icalproperty_get_trigger(p);
    if (!icaltime_is_null_time(trigger.time)) {
      t.reminder_time = zone_.FromIcal(trigger.time);
    } else {
      icalparameter* related =
          icalproperty_get_first_parameter(p, ICAL_RELATED_PARAMETER);
      bool to_end = related != nullptr &&
                    icalparameter_get_related(related) == ICAL_RELATED_END;
      std::optional<TimeRecord> anchor =
          to_end ? t.due_date : (t.start_date ? t.start_date : t.due_date);
      if (!anchor) return losses.Add("an alarm without a date to follow");
      icaltimetype at = zone_.ToIcal(*anchor, false);
      at.zone = nullptr;
      at = icaltime_add(at, trigger.duration);
      t.reminder_time = IcalZone().FromIcal(at);
    }
    t.reminder_set = true;
  });
  std::string line = losses.Line("task", t.subject, uid);
  if (!line.empty()) out_.warnings.push_back(line);
  out_.tasks.push_back(std::move(t));
  return Status::Ok();
}

Status ReadCalendar(icalcomponent* calendar, const IcalZone& zone,
                    CalendarItems& out) {
  CalendarReader reader(calendar, zone, out);
  std::vector<icalcomponent*> overrides;
  for (icalcomponent* c =
           icalcomponent_get_first_component(calendar, ICAL_ANY_COMPONENT);
       c != nullptr;
       c = icalcomponent_get_next_component(calendar, ICAL_ANY_COMPONENT)) {
    switch (icalcomponent_isa(c)) {
      case ICAL_VEVENT_COMPONENT:
        if (icalcomponent_get_first_property(c, ICAL_RECURRENCEID_PROPERTY)) {
          overrides.push_back(c);
        } else {
          VORN_RETURN_IF_ERROR(reader.ReadEvent(c));
        }
        break;
      case ICAL_VTODO_COMPONENT:
        VORN_RETURN_IF_ERROR(reader.ReadTodo(c));
        break;
      case ICAL_VTIMEZONE_COMPONENT:
        break;
      default: {
        const char* name = icalcomponent_kind_to_string(icalcomponent_isa(c));
        out.warnings.push_back(std::string(name ? name : "a component") +
                               ": not kept (the handheld holds only events "
                               "and tasks)");
        break;
      }
    }
  }
  for (icalcomponent* c : overrides) {
    VORN_RETURN_IF_ERROR(reader.ReadOverride(c));
  }
  return Status::Ok();
}

}  // namespace

Result<CalendarItems> ICalendarReader::Parse(std::string_view text,
                                             const IcalZone& zone) {
  if (text.find("BEGIN:") == std::string_view::npos) {
    return Status::Error("not iCalendar (no BEGIN:VCALENDAR)");
  }
  std::string copy(text);
  std::unique_ptr<icalcomponent, FreeComponent> root(
      icalparser_parse_string(copy.c_str()));
  if (root == nullptr) return Status::Error("not iCalendar");
  CalendarItems items;
  const icalcomponent_kind kind = icalcomponent_isa(root.get());
  if (kind == ICAL_XROOT_COMPONENT) {
    for (icalcomponent* c = icalcomponent_get_first_component(
             root.get(), ICAL_VCALENDAR_COMPONENT);
         c != nullptr; c = icalcomponent_get_next_component(
                           root.get(), ICAL_VCALENDAR_COMPONENT)) {
      VORN_RETURN_IF_ERROR(ReadCalendar(c, zone, items));
    }
  } else if (kind == ICAL_VCALENDAR_COMPONENT) {
    VORN_RETURN_IF_ERROR(ReadCalendar(root.get(), zone, items));
  } else {
    return Status::Error("not iCalendar (no VCALENDAR)");
  }
  if (items.empty()) return Status::Error("no events or tasks in it");
  return items;
}

}  // namespace desktop
