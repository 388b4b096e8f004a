#include "desktop/sync/calendar_sync_adapter.h"

#include <libical/ical.h>

#include <memory>
#include <utility>

#include "desktop/formats/appointment.h"
#include "desktop/formats/icalendar_merge.h"
#include "desktop/formats/icalendar_reader.h"
#include "desktop/formats/icalendar_writer.h"
#include "desktop/formats/task.h"

namespace desktop {
namespace {

// The UID of canonical texts; the file's own replaces it.
constexpr char kCanonicalUid[] = "vorn-canonical";

struct Free {
  void operator()(icalcomponent* c) const { icalcomponent_free(c); }
};
using Component = std::unique_ptr<icalcomponent, Free>;

Component Parse(std::string_view text) {
  std::string copy(text);
  return Component(icalparser_parse_string(copy.c_str()));
}

bool IsItem(icalcomponent* c) {
  icalcomponent_kind kind = icalcomponent_isa(c);
  return kind == ICAL_VEVENT_COMPONENT || kind == ICAL_VTODO_COMPONENT;
}

// Calls `f` on every VEVENT and VTODO of `calendar`.
template <typename F>
void ForEachItem(icalcomponent* calendar, F f) {
  if (IsItem(calendar)) {
    f(calendar);
    return;
  }
  for (icalcomponent* c =
           icalcomponent_get_first_component(calendar, ICAL_ANY_COMPONENT);
       c != nullptr;
       c = icalcomponent_get_next_component(calendar, ICAL_ANY_COMPONENT)) {
    if (IsItem(c)) f(c);
  }
}

// The writer's text without its DTSTAMP lines (the time of writing).
std::string WithoutStamp(const std::string& text) {
  std::string out;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    end = end == std::string::npos ? text.size() : end + 1;
    std::string_view line(text.data() + start, end - start);
    if (!line.starts_with("DTSTAMP")) out += line;
    start = end;
  }
  return out;
}

}  // namespace

CalendarSyncAdapter::CalendarSyncAdapter(protocol::DataType type, IcalZone zone)
    : type_(type), zone_(std::move(zone)) {}

std::string CalendarSyncAdapter::collection() const {
  return tasks() ? "tasks" : "calendar";
}

std::string CalendarSyncAdapter::display_name() const {
  return tasks() ? "Tasks" : "Calendar";
}

PropertyKindFn CalendarSyncAdapter::layout() const {
  return tasks() ? PropertyKindFn(Task::PropertyKindOf)
                 : PropertyKindFn(Appointment::PropertyKindOf);
}

Result<HandheldItem> CalendarSyncAdapter::FromWire(
    const WireRecord& record) const {
  ICalendarWriter writer(zone_);
  if (tasks()) {
    Result<Task> task = Task::FromWireRecord(record);
    if (!task.ok()) {
      return task.status().WithContext("task " + std::to_string(record.oid));
    }
    task->oid.reset();
    writer.Add(*task, kCanonicalUid);
  } else {
    Result<Appointment> appointment = Appointment::FromWireRecord(record);
    if (!appointment.ok()) {
      return appointment.status().WithContext("appointment " +
                                              std::to_string(record.oid));
    }
    appointment->oid.reset();
    writer.Add(*appointment, kCanonicalUid);
  }
  return HandheldItem{record.oid, WithoutStamp(writer.Text())};
}

Result<DesktopItem> CalendarSyncAdapter::FromFile(std::string_view text) const {
  Result<CalendarItems> items = ICalendarReader::Parse(text, zone_);
  if (!items.ok()) return items.status();
  std::size_t mine = tasks() ? items->tasks.size() : items->appointments.size();
  std::size_t others =
      tasks() ? items->appointments.size() : items->tasks.size();
  if (mine != 1 || others != 0) {
    return Status::Error(
        "holds " + std::to_string(items->appointments.size()) +
        " appointments and " + std::to_string(items->tasks.size()) +
        " tasks, not one " + (tasks() ? "task" : "appointment"));
  }
  DesktopItem item;
  if (Component calendar = Parse(text)) {
    ForEachItem(calendar.get(), [&](icalcomponent* c) {
      const char* uid = icalcomponent_get_uid(c);
      if (item.uid.empty() && uid != nullptr) item.uid = uid;
    });
  }
  ICalendarWriter writer(zone_);
  if (tasks()) {
    Task& task = items->tasks.front();
    task.oid.reset();
    writer.Add(task, kCanonicalUid);
    item.record = task.Encode();
  } else {
    Appointment& appointment = items->appointments.front();
    appointment.oid.reset();
    writer.Add(appointment, kCanonicalUid);
    item.record = appointment.Encode();
  }
  item.canonical = WithoutStamp(writer.Text());
  return item;
}

Result<std::string> CalendarSyncAdapter::ToFile(std::string_view canonical,
                                                std::string_view existing,
                                                const std::string& uid,
                                                const std::string& rev) const {
  Component calendar = Parse(canonical);
  if (!calendar) return Status::Error("not an iCalendar text");
  icaltimetype stamp =
      icaltime_current_time_with_zone(icaltimezone_get_utc_timezone());
  if (!rev.empty()) {
    icaltimetype parsed = icaltime_from_string(rev.c_str());
    if (!icaltime_is_null_time(parsed)) stamp = parsed;
  }
  ForEachItem(calendar.get(), [&](icalcomponent* c) {
    icalcomponent_set_uid(c, uid.c_str());
    icalcomponent_add_property(c, icalproperty_new_dtstamp(stamp));
    icalcomponent_add_property(c, icalproperty_new_lastmodified(stamp));
  });
  char* text = icalcomponent_as_ical_string_r(calendar.get());
  std::string fresh = text ? text : "";
  icalmemory_free_buffer(text);
  return ICalendarMerge::Merge(fresh, existing);
}

}  // namespace desktop
