#include "desktop/formats/icalendar_writer.h"

#include "desktop/base/utf16.h"
#include "desktop/formats/ical_recurrence.h"

namespace desktop {
namespace {

// Handheld text for iCalendar: UTF-8 with plain line feeds.
std::string Plain(std::u16string_view text) {
  std::string utf8 = Utf16ToUtf8(text);
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    if (utf8[i] == '\r' && i + 1 < utf8.size() && utf8[i + 1] == '\n') continue;
    out += utf8[i];
  }
  return out;
}

void AddX(icalcomponent* item, const char* name, const std::string& value) {
  icalproperty* property = icalproperty_new_x(value.c_str());
  icalproperty_set_x_name(property, name);
  icalcomponent_add_property(item, property);
}

void AddCategories(icalcomponent* item, std::u16string_view categories) {
  std::string all = Plain(categories);
  std::size_t at = 0;
  while (at <= all.size()) {
    std::size_t comma = all.find(',', at);
    if (comma == std::string::npos) comma = all.size();
    std::string one = all.substr(at, comma - at);
    std::size_t first = one.find_first_not_of(' ');
    std::size_t last = one.find_last_not_of(' ');
    if (first != std::string::npos) {
      one = one.substr(first, last - first + 1);
      icalcomponent_add_property(item,
                                 icalproperty_new_categories(one.c_str()));
    }
    at = comma + 1;
  }
}

const char* BusyName(std::uint32_t status) {
  switch (static_cast<BusyStatus>(status)) {
    case BusyStatus::kFree:
      return "FREE";
    case BusyStatus::kTentative:
      return "TENTATIVE";
    case BusyStatus::kOutOfOffice:
      return "OOF";
    default:
      return "BUSY";
  }
}

void AddBusy(icalcomponent* item, std::uint32_t status) {
  icalcomponent_add_property(
      item, icalproperty_new_transp(status == 0 ? ICAL_TRANSP_TRANSPARENT
                                                : ICAL_TRANSP_OPAQUE));
  AddX(item, "X-VORN-BUSYSTATUS", BusyName(status));
}

// A display alarm `seconds` after its anchor (negative: before).
void AddAlarm(icalcomponent* item, int seconds, bool related_end,
              const std::u16string& subject) {
  icalcomponent* alarm = icalcomponent_new_valarm();
  icalcomponent_add_property(alarm,
                             icalproperty_new_action(ICAL_ACTION_DISPLAY));
  icaltriggertype trigger;
  trigger.time = icaltime_null_time();
  trigger.duration = icaldurationtype_from_int(seconds);
  icalproperty* property = icalproperty_new_trigger(trigger);
  if (related_end) {
    icalproperty_add_parameter(property,
                               icalparameter_new_related(ICAL_RELATED_END));
  }
  icalcomponent_add_property(alarm, property);
  std::string text = subject.empty() ? "Reminder" : Plain(subject);
  icalcomponent_add_property(alarm, icalproperty_new_description(text.c_str()));
  icalcomponent_add_component(item, alarm);
}

void AddText(icalcomponent* item, icalproperty* (*make)(const char*),
             std::u16string_view text) {
  if (text.empty()) return;
  icalcomponent_add_property(item, make(Plain(text).c_str()));
}

// The trigger of a reminder `minutes` before its item, in seconds (as many
// minutes as an int of seconds holds).
int BeforeSeconds(std::uint32_t minutes) {
  constexpr std::uint32_t kMost = 35791394;  // 60 * kMost < 2^31
  return -60 * static_cast<int>(minutes < kMost ? minutes : kMost);
}

// The day after `time`.
TimeRecord NextDay(const TimeRecord& time) {
  icaltimetype t = icaltime_null_date();
  t.year = time.year;
  t.month = time.month;
  t.day = time.day + 1;
  t = icaltime_normalize(t);
  return TimeRecord::FromDate(t.year, t.month, t.day);
}

// Seconds from `from` to `to`, both read as UTC clock times.
int SecondsBetween(const TimeRecord& from, const TimeRecord& to) {
  auto seconds = [](const TimeRecord& r) {
    icaltimetype t = icaltime_null_time();
    t.year = r.year;
    t.month = r.month;
    t.day = r.day;
    t.hour = r.hour;
    t.minute = r.minute;
    t.second = r.second;
    return icaltime_as_timet(t);
  };
  return static_cast<int>(seconds(to) - seconds(from));
}

// The start of the occurrence an exception replaces: its original date,
// at the master's time of day when the date carries none.
TimeRecord OccurrenceStart(const Appointment& master, const TimeRecord& date) {
  TimeRecord t = date;
  if (!t.HasTimeOfDay()) {
    t.hour = master.start.hour;
    t.minute = master.start.minute;
    t.second = master.start.second;
  }
  t.milliseconds = 0;
  return t;
}

}  // namespace

ICalendarWriter::ICalendarWriter(IcalZone zone)
    : zone_(std::move(zone)), calendar_(icalcomponent_new_vcalendar()) {
  icalcomponent_add_property(calendar_.get(), icalproperty_new_version("2.0"));
  icalcomponent_add_property(calendar_.get(),
                             icalproperty_new_prodid(kProductId));
}

icalcomponent* ICalendarWriter::NewItem(icalcomponent_kind kind,
                                        const std::string& uid,
                                        const std::u16string& subject) const {
  icalcomponent* item = icalcomponent_new(kind);
  icalcomponent_add_property(item, icalproperty_new_uid(uid.c_str()));
  icalcomponent_add_property(
      item, icalproperty_new_dtstamp(icaltime_current_time_with_zone(
                icaltimezone_get_utc_timezone())));
  icalcomponent_add_property(item,
                             icalproperty_new_summary(Plain(subject).c_str()));
  return item;
}

void ICalendarWriter::AddTime(icalcomponent* item, icalproperty* property,
                              bool date_only) const {
  if (!date_only) zone_.Tag(property);
  icalcomponent_add_property(item, property);
}

void ICalendarWriter::Add(const Appointment& a, const std::string& uid) {
  if (!zone_written_ && !zone_.floating() && !zone_.utc() && !a.all_day) {
    icalcomponent_add_component(calendar_.get(), zone_.NewVtimezone());
    zone_written_ = true;
  }
  icalcomponent* event = NewItem(ICAL_VEVENT_COMPONENT, uid, a.subject);
  AddText(event, icalproperty_new_location, a.location);
  AddText(event, icalproperty_new_description, a.body);
  AddCategories(event, a.categories);
  icalcomponent_add_property(
      event, icalproperty_new_class(a.is_private ? ICAL_CLASS_PRIVATE
                                                 : ICAL_CLASS_PUBLIC));
  AddBusy(event, a.busy_status);
  if (a.oid) AddX(event, "X-VORN-OID", std::to_string(*a.oid));
  if (a.all_day) {
    TimeRecord last = a.end;
    if (!last.HasTimeOfDay()) {
      last = TimeRecord::FromDate(last.year, last.month, last.day);
    } else {
      last = NextDay(last);
    }
    if (!(last.year > a.start.year ||
          (last.year == a.start.year &&
           (last.month > a.start.month ||
            (last.month == a.start.month && last.day > a.start.day))))) {
      last = NextDay(a.start);
    }
    AddTime(event, icalproperty_new_dtstart(zone_.ToIcal(a.start, true)), true);
    AddTime(event, icalproperty_new_dtend(zone_.ToIcal(last, true)), true);
  } else {
    AddTime(event, icalproperty_new_dtstart(zone_.ToIcal(a.start, false)),
            false);
    AddTime(event, icalproperty_new_dtend(zone_.ToIcal(a.end, false)), false);
  }
  if (a.recurrence) {
    std::string rule =
        IcalRecurrence::RuleText(*a.recurrence, a.start, a.all_day, zone_);
    icalcomponent_add_property(
        event,
        icalproperty_new_rrule(icalrecurrencetype_from_string(rule.c_str())));
    for (const AppointmentException& e : a.exceptions) {
      if (!e.deleted) continue;
      TimeRecord when = OccurrenceStart(a, e.original_date);
      AddTime(event, icalproperty_new_exdate(zone_.ToIcal(when, a.all_day)),
              a.all_day);
    }
  }
  if (a.reminder_set) {
    AddAlarm(event, BeforeSeconds(a.reminder_minutes), false, a.subject);
  }
  icalcomponent_add_component(calendar_.get(), event);
  if (a.recurrence) {
    for (const AppointmentException& e : a.exceptions) {
      if (!e.deleted) AddOverride(a, e, uid);
    }
  }
}

void ICalendarWriter::AddOverride(const Appointment& master,
                                  const AppointmentException& e,
                                  const std::string& uid) {
  const std::u16string& subject = e.subject ? *e.subject : master.subject;
  icalcomponent* event = NewItem(ICAL_VEVENT_COMPONENT, uid, subject);
  TimeRecord when = OccurrenceStart(master, e.original_date);
  AddTime(event,
          icalproperty_new_recurrenceid(zone_.ToIcal(when, master.all_day)),
          master.all_day);
  AddTime(event,
          icalproperty_new_dtstart(zone_.ToIcal(e.start, master.all_day)),
          master.all_day);
  AddTime(event, icalproperty_new_dtend(zone_.ToIcal(e.end, master.all_day)),
          master.all_day);
  AddText(event, icalproperty_new_location,
          e.location ? *e.location : master.location);
  AddText(event, icalproperty_new_description, e.body ? *e.body : master.body);
  AddCategories(event, master.categories);
  icalcomponent_add_property(
      event, icalproperty_new_class(master.is_private ? ICAL_CLASS_PRIVATE
                                                      : ICAL_CLASS_PUBLIC));
  AddBusy(event, e.busy_status.value_or(master.busy_status));
  if (e.reminder_set.value_or(master.reminder_set)) {
    AddAlarm(
        event,
        BeforeSeconds(e.reminder_minutes.value_or(master.reminder_minutes)),
        false, subject);
  }
  icalcomponent_add_component(calendar_.get(), event);
}

void ICalendarWriter::Add(const Task& t, const std::string& uid) {
  icalcomponent* todo = NewItem(ICAL_VTODO_COMPONENT, uid, t.subject);
  AddText(todo, icalproperty_new_description, t.body);
  AddCategories(todo, t.categories);
  icalcomponent_add_property(
      todo, icalproperty_new_class(t.is_private ? ICAL_CLASS_PRIVATE
                                                : ICAL_CLASS_PUBLIC));
  int priority =
      t.importance == static_cast<std::uint32_t>(Importance::kHigh)  ? 1
      : t.importance == static_cast<std::uint32_t>(Importance::kLow) ? 9
                                                                     : 5;
  icalcomponent_add_property(todo, icalproperty_new_priority(priority));
  icalcomponent_add_property(
      todo, icalproperty_new_status(t.complete ? ICAL_STATUS_COMPLETED
                                               : ICAL_STATUS_NEEDSACTION));
  if (t.complete) {
    icalcomponent_add_property(todo, icalproperty_new_percentcomplete(100));
  }
  if (t.oid) AddX(todo, "X-VORN-OID", std::to_string(*t.oid));
  std::optional<TimeRecord> start = t.start_date;
  if (!start && t.recurrence) start = t.recurrence->pattern_start;
  if (start) {
    icalcomponent_add_property(
        todo, icalproperty_new_dtstart(zone_.ToIcal(*start, true)));
  }
  if (t.due_date) {
    icalcomponent_add_property(
        todo, icalproperty_new_due(zone_.ToIcal(*t.due_date, true)));
  }
  if (t.recurrence && start) {
    std::string rule =
        IcalRecurrence::RuleText(*t.recurrence, *start, true, zone_);
    icalcomponent_add_property(
        todo,
        icalproperty_new_rrule(icalrecurrencetype_from_string(rule.c_str())));
  }
  if (t.reminder_set && t.due_date) {
    TimeRecord due = TimeRecord::FromDate(t.due_date->year, t.due_date->month,
                                          t.due_date->day);
    int seconds = t.reminder_time ? SecondsBetween(due, *t.reminder_time) : 0;
    AddAlarm(todo, seconds, true, t.subject);
  }
  icalcomponent_add_component(calendar_.get(), todo);
}

std::string ICalendarWriter::Text() const {
  char* text = icalcomponent_as_ical_string_r(calendar_.get());
  std::string out = text == nullptr ? std::string() : std::string(text);
  icalmemory_free_buffer(text);
  return out;
}

}  // namespace desktop
