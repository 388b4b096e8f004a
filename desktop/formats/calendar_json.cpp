#include "desktop/formats/calendar_json.h"

#include <cmath>

#include "desktop/base/utf16.h"

namespace desktop {
namespace {

constexpr char kType[] = "type";
constexpr char kOid[] = "oid";

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

std::string Utf8(const std::u16string& text) { return Utf16ToUtf8(text); }

// Typed readers of one member's value; each fails naming the member.
class Member {
 public:
  Member(const std::string& key, const Json& value)
      : key_(key), value_(value) {}

  Status Text(std::u16string& out) const {
    if (!value_.is_string()) return Wrong("a string");
    out = Utf8ToUtf16(value_.get_ref<const std::string&>());
    return Status::Ok();
  }
  Status Date(TimeRecord& out) const {
    if (!value_.is_string()) return Wrong("a date string");
    Result<TimeRecord> time =
        TimeRecord::Parse(value_.get_ref<const std::string&>());
    if (!time.ok()) return time.status().WithContext(key_);
    out = *time;
    return Status::Ok();
  }
  Status Bool(bool& out) const {
    if (value_.is_boolean()) {
      out = value_.get<bool>();
      return Status::Ok();
    }
    if (value_.is_number_unsigned() || value_.is_number_integer()) {
      out = value_.get<std::int64_t>() != 0;
      return Status::Ok();
    }
    return Wrong("true or false");
  }
  Status Number(std::uint32_t& out) const {
    double v = value_.is_number() ? value_.get<double>() : -1;
    if (v < 0 || v > 4294967295.0 || v != std::floor(v)) {
      return Wrong("a whole number from 0 to 4294967295");
    }
    out = static_cast<std::uint32_t>(v);
    return Status::Ok();
  }
  Status Unknown(const char* what) const {
    return Status::Error(std::string("unknown ") + what + " member \"" + key_ +
                         "\"");
  }
  bool null() const { return value_.is_null(); }
  const Json& value() const { return value_; }
  const std::string& key() const { return key_; }

 private:
  Status Wrong(const char* kind) const {
    return Status::Error("\"" + key_ + "\" must be " + kind);
  }
  const std::string& key_;
  const Json& value_;
};

Status ReadOid(const Member& m, std::optional<std::uint32_t>& oid) {
  std::uint32_t value = 0;
  VORN_RETURN_IF_ERROR(m.Number(value));
  if (value != 0) oid = value;
  return Status::Ok();
}

Json RecurrenceToJson(const Recurrence& r) {
  Json o = Json::object();
  std::string_view type = Recurrence::TypeName(r.type);
  if (type.empty()) {
    o["RecurrenceType"] = r.type;
  } else {
    o["RecurrenceType"] = type;
  }
  if (r.pattern_start.year != 0) {
    o["PatternStartDate"] = r.pattern_start.ToIso();
  }
  if (r.pattern_end.year != 0) o["PatternEndDate"] = r.pattern_end.ToIso();
  o["Occurrences"] = r.occurrences;
  std::string_view end = Recurrence::EndKindName(r.end_kind);
  if (end.empty()) {
    o["EndKind"] = r.end_kind;
  } else {
    o["EndKind"] = end;
  }
  o["Interval"] = r.interval;
  o["DayOfWeekMask"] = r.day_of_week_mask;
  o["DayOfMonth"] = r.day_of_month;
  o["Instance"] = r.instance;
  o["MonthOfYear"] = r.month_of_year;
  return o;
}

Result<Recurrence> RecurrenceFromJson(const Json& object) {
  if (!object.is_object()) {
    return Status::Error("\"Recurrence\" must be an object");
  }
  Recurrence r;
  bool end_given = false, count_given = false, until_given = false;
  for (const auto& [key, value] : object.items()) {
    Member m(key, value);
    if (m.null()) continue;
    std::string k = Lower(key);
    Status s;
    if (k == "recurrencetype") {
      std::optional<std::uint8_t> type;
      if (value.is_string()) {
        type = Recurrence::TypeFromName(Lower(value.get<std::string>()));
      } else if (value.is_number_unsigned() && value.get<unsigned>() < 256) {
        type = static_cast<std::uint8_t>(value.get<unsigned>());
      }
      if (!type) {
        return Status::Error(
            "\"RecurrenceType\" must be daily, weekly, monthly, monthnth, "
            "yearly or yearnth");
      }
      r.type = *type;
    } else if (k == "patternstartdate") {
      s = m.Date(r.pattern_start);
    } else if (k == "patternenddate") {
      s = m.Date(r.pattern_end);
      until_given = true;
    } else if (k == "occurrences") {
      s = m.Number(r.occurrences);
      count_given = true;
    } else if (k == "endkind") {
      std::optional<std::uint8_t> kind;
      if (value.is_string()) {
        kind = Recurrence::EndKindFromName(Lower(value.get<std::string>()));
      }
      if (!kind) {
        return Status::Error("\"EndKind\" must be date, count or never");
      }
      r.end_kind = *kind;
      end_given = true;
    } else if (k == "interval") {
      s = m.Number(r.interval);
    } else if (k == "dayofweekmask") {
      s = m.Number(r.day_of_week_mask);
    } else if (k == "dayofmonth") {
      s = m.Number(r.day_of_month);
    } else if (k == "instance") {
      s = m.Number(r.instance);
    } else if (k == "monthofyear") {
      s = m.Number(r.month_of_year);
    } else {
      s = m.Unknown("recurrence");
    }
    VORN_RETURN_IF_ERROR(s.WithContext("Recurrence"));
  }
  if (!end_given) {
    r.end_kind = static_cast<std::uint8_t>(count_given   ? EndKind::kAfterCount
                                           : until_given ? EndKind::kByDate
                                                         : EndKind::kNever);
  }
  return r;
}

Json ExceptionToJson(const AppointmentException& e) {
  Json o = Json::object();
  o["OriginalDate"] = e.original_date.ToIso();
  o["Deleted"] = e.deleted;
  if (e.deleted) return o;
  o["Start"] = e.start.ToIso();
  o["End"] = e.end.ToIso();
  if (e.reminder_set) o["ReminderSet"] = *e.reminder_set;
  if (e.reminder_minutes) o["ReminderMinutesBefore"] = *e.reminder_minutes;
  if (e.busy_status) o["BusyStatus"] = *e.busy_status;
  if (e.subject) o["Subject"] = Utf8(*e.subject);
  if (e.location) o["Location"] = Utf8(*e.location);
  if (e.body) o["Body"] = Utf8(*e.body);
  return o;
}

Result<AppointmentException> ExceptionFromJson(const Json& object) {
  if (!object.is_object()) return Status::Error("an exception is an object");
  AppointmentException e;
  for (const auto& [key, value] : object.items()) {
    Member m(key, value);
    if (m.null()) continue;
    std::string k = Lower(key);
    Status s;
    if (k == "originaldate") {
      s = m.Date(e.original_date);
    } else if (k == "deleted") {
      s = m.Bool(e.deleted);
    } else if (k == "start") {
      s = m.Date(e.start);
    } else if (k == "end") {
      s = m.Date(e.end);
    } else if (k == "reminderset") {
      bool set = false;
      s = m.Bool(set);
      e.reminder_set = set;
    } else if (k == "reminderminutesbefore" || k == "busystatus") {
      std::uint32_t n = 0;
      s = m.Number(n);
      (k == "busystatus" ? e.busy_status : e.reminder_minutes) = n;
    } else if (k == "subject" || k == "location" || k == "body") {
      std::u16string text;
      s = m.Text(text);
      (k == "subject"    ? e.subject
       : k == "location" ? e.location
                         : e.body) = std::move(text);
    } else {
      s = m.Unknown("exception");
    }
    VORN_RETURN_IF_ERROR(s);
  }
  if (e.deleted) e.start = e.end = TimeRecord();
  return e;
}

}  // namespace

Json CalendarJson::ToJson(const Appointment& a) {
  Json o = Json::object();
  o[kType] = "appointment";
  if (a.oid) o[kOid] = *a.oid;
  o["Subject"] = Utf8(a.subject);
  o["Location"] = Utf8(a.location);
  o["Start"] = a.start.ToIso();
  o["End"] = a.end.ToIso();
  o["AllDayEvent"] = a.all_day;
  o["BusyStatus"] = a.busy_status;
  o["Sensitivity"] = a.is_private ? 2 : 0;
  o["ReminderSet"] = a.reminder_set;
  o["ReminderMinutesBefore"] = a.reminder_minutes;
  o["Categories"] = Utf8(a.categories);
  o["Body"] = Utf8(a.body);
  if (a.recurrence) o["Recurrence"] = RecurrenceToJson(*a.recurrence);
  if (!a.exceptions.empty()) {
    Json list = Json::array();
    for (const auto& e : a.exceptions) list.push_back(ExceptionToJson(e));
    o["Exceptions"] = std::move(list);
  }
  return o;
}

Json CalendarJson::ToJson(const Task& t) {
  Json o = Json::object();
  o[kType] = "task";
  if (t.oid) o[kOid] = *t.oid;
  o["Subject"] = Utf8(t.subject);
  if (t.start_date) o["StartDate"] = t.start_date->ToIso();
  if (t.due_date) o["DueDate"] = t.due_date->ToIso();
  o["Importance"] = t.importance;
  o["Complete"] = t.complete;
  o["Sensitivity"] = t.is_private ? 2 : 0;
  o["ReminderSet"] = t.reminder_set;
  if (t.reminder_time) o["ReminderTime"] = t.reminder_time->ToIso();
  o["Categories"] = Utf8(t.categories);
  o["Body"] = Utf8(t.body);
  if (t.recurrence) o["Recurrence"] = RecurrenceToJson(*t.recurrence);
  return o;
}

Result<Appointment> CalendarJson::AppointmentFromJson(const Json& object) {
  if (!object.is_object()) {
    return Status::Error("an appointment must be an object");
  }
  Appointment a;
  bool end_given = false;
  for (const auto& [key, value] : object.items()) {
    Member m(key, value);
    if (m.null()) continue;
    std::string k = Lower(key);
    Status s;
    if (k == kType) {
      continue;
    } else if (k == kOid) {
      s = ReadOid(m, a.oid);
    } else if (k == "subject") {
      s = m.Text(a.subject);
    } else if (k == "location") {
      s = m.Text(a.location);
    } else if (k == "categories") {
      s = m.Text(a.categories);
    } else if (k == "body") {
      s = m.Text(a.body);
    } else if (k == "start") {
      s = m.Date(a.start);
    } else if (k == "end") {
      s = m.Date(a.end);
      end_given = true;
    } else if (k == "alldayevent") {
      s = m.Bool(a.all_day);
    } else if (k == "reminderset") {
      s = m.Bool(a.reminder_set);
    } else if (k == "busystatus") {
      s = m.Number(a.busy_status);
    } else if (k == "reminderminutesbefore") {
      s = m.Number(a.reminder_minutes);
    } else if (k == "sensitivity") {
      std::uint32_t level = 0;
      s = m.Number(level);
      a.is_private = level == 2;
    } else if (k == "recurrence") {
      Result<Recurrence> r = RecurrenceFromJson(value);
      if (!r.ok()) return r.status();
      a.recurrence = *r;
    } else if (k == "exceptions") {
      if (!value.is_array()) {
        return Status::Error("\"Exceptions\" must be an array");
      }
      for (const Json& item : value) {
        Result<AppointmentException> e = ExceptionFromJson(item);
        if (!e.ok()) return e.status().WithContext("Exceptions");
        a.exceptions.push_back(std::move(*e));
      }
    } else {
      s = m.Unknown("appointment");
    }
    VORN_RETURN_IF_ERROR(s);
  }
  if (a.start.year == 0) return Status::Error("an appointment needs \"Start\"");
  if (!end_given) a.end = a.start;
  if (!a.exceptions.empty() && !a.recurrence) {
    return Status::Error("\"Exceptions\" need a \"Recurrence\"");
  }
  if (a.recurrence) {
    a.recurrence->exception_count =
        static_cast<std::uint32_t>(a.exceptions.size());
  }
  return a;
}

Result<Task> CalendarJson::TaskFromJson(const Json& object) {
  if (!object.is_object()) return Status::Error("a task must be an object");
  Task t;
  for (const auto& [key, value] : object.items()) {
    Member m(key, value);
    if (m.null()) continue;
    std::string k = Lower(key);
    Status s;
    if (k == kType) {
      continue;
    } else if (k == kOid) {
      s = ReadOid(m, t.oid);
    } else if (k == "subject") {
      s = m.Text(t.subject);
    } else if (k == "categories") {
      s = m.Text(t.categories);
    } else if (k == "body") {
      s = m.Text(t.body);
    } else if (k == "startdate" || k == "duedate" || k == "remindertime") {
      TimeRecord time;
      s = m.Date(time);
      (k == "startdate" ? t.start_date
       : k == "duedate" ? t.due_date
                        : t.reminder_time) = time;
    } else if (k == "importance") {
      s = m.Number(t.importance);
    } else if (k == "complete") {
      s = m.Bool(t.complete);
    } else if (k == "reminderset") {
      s = m.Bool(t.reminder_set);
    } else if (k == "sensitivity") {
      std::uint32_t level = 0;
      s = m.Number(level);
      t.is_private = level == 2;
    } else if (k == "recurrence") {
      Result<Recurrence> r = RecurrenceFromJson(value);
      if (!r.ok()) return r.status();
      t.recurrence = *r;
    } else {
      s = m.Unknown("task");
    }
    VORN_RETURN_IF_ERROR(s);
  }
  return t;
}

Result<CalendarJson::Kind> CalendarJson::KindOf(const Json& object) {
  if (!object.is_object()) return Kind::kNone;
  bool appointment = false, task = false;
  for (const auto& [key, value] : object.items()) {
    std::string k = Lower(key);
    if (k == kType) {
      std::string type =
          value.is_string() ? Lower(value.get<std::string>()) : std::string();
      if (type == "appointment") return Kind::kAppointment;
      if (type == "task") return Kind::kTask;
      if (type == "contact") return Kind::kNone;
      return Status::Error(
          "\"type\" must be \"appointment\", \"task\" or \"contact\"");
    }
    if (k == "duedate" || k == "startdate" || k == "complete" ||
        k == "importance" || k == "remindertime") {
      task = true;
    }
    if (k == "start" || k == "end" || k == "location" || k == "alldayevent" ||
        k == "busystatus") {
      appointment = true;
    }
  }
  if (task) return Kind::kTask;
  if (appointment) return Kind::kAppointment;
  return Kind::kNone;
}

bool CalendarJson::HoldsCalendarItems(const Json& document) {
  auto is_item = [](const Json& object) {
    Result<Kind> kind = KindOf(object);
    return !kind.ok() || *kind != Kind::kNone;
  };
  if (document.is_object()) return is_item(document);
  if (!document.is_array()) return false;
  for (const Json& item : document) {
    if (is_item(item)) return true;
  }
  return false;
}

Result<CalendarItems> CalendarJson::ParseDocument(std::string_view text) {
  Result<Json> document = JsonText::Parse(text);
  if (!document.ok()) return document.status();
  Json list = document->is_array() ? *document : Json::array({*document});
  CalendarItems items;
  std::size_t index = 0;
  for (const Json& object : list) {
    ++index;
    const std::string where = "item #" + std::to_string(index);
    Result<Kind> kind = KindOf(object);
    if (!kind.ok()) return kind.status().WithContext(where);
    if (*kind == Kind::kAppointment) {
      Result<Appointment> a = AppointmentFromJson(object);
      if (!a.ok()) return a.status().WithContext(where);
      items.appointments.push_back(std::move(*a));
    } else if (*kind == Kind::kTask) {
      Result<Task> t = TaskFromJson(object);
      if (!t.ok()) return t.status().WithContext(where);
      items.tasks.push_back(std::move(*t));
    } else {
      return Status::Error(where +
                           ": neither an appointment nor a task (give "
                           "\"type\")");
    }
  }
  return items;
}

}  // namespace desktop
