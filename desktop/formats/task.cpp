#include "desktop/formats/task.h"

#include "desktop/formats/record_bytes.h"
#include "desktop/wire/reply_reader.h"
#include "protocol/calendar_fields.h"

namespace desktop {
namespace {

std::optional<TimeRecord> DateOrNone(const TimeRecord& time) {
  if (time.IsNoDate() || time.year == 0) return std::nullopt;
  return time;
}

Status Apply(Task& t, const WireProperty& property) {
  const std::uint32_t id = property.id;
  const auto* number = std::get_if<std::uint32_t>(&property.value);
  const auto* text = std::get_if<std::u16string>(&property.value);
  const auto* time = std::get_if<TimeRecord>(&property.value);
  const auto* blob = std::get_if<std::vector<std::uint8_t>>(&property.value);
  auto wrong = [id] {
    return Status::Error("task field " + std::to_string(id) +
                         " has a value of the wrong kind");
  };
  switch (id) {
    case protocol::kTaskSubject:
    case protocol::kTaskCategories:
    case protocol::kTaskBody:
      if (text == nullptr) return wrong();
      (id == protocol::kTaskSubject      ? t.subject
       : id == protocol::kTaskCategories ? t.categories
                                         : t.body) = *text;
      return Status::Ok();
    case protocol::kTaskStartDate:
    case protocol::kTaskDueDate:
    case protocol::kTaskReminderTime:
      if (time == nullptr) return wrong();
      (id == protocol::kTaskStartDate ? t.start_date
       : id == protocol::kTaskDueDate ? t.due_date
                                      : t.reminder_time) = DateOrNone(*time);
      return Status::Ok();
    case protocol::kTaskImportance:
      if (number == nullptr) return wrong();
      t.importance = *number;
      return Status::Ok();
    case protocol::kTaskComplete:
    case protocol::kTaskPrivate:
    case protocol::kTaskReminderSet:
      if (number == nullptr) return wrong();
      (id == protocol::kTaskComplete  ? t.complete
       : id == protocol::kTaskPrivate ? t.is_private
                                      : t.reminder_set) = *number != 0;
      return Status::Ok();
    case protocol::kRecurrenceField: {
      if (blob == nullptr) return wrong();
      Result<Recurrence> recurrence = Recurrence::Decode(*blob);
      if (!recurrence.ok()) return recurrence.status();
      t.recurrence = *recurrence;
      return Status::Ok();
    }
    default:
      return Status::Error("task field " + std::to_string(id) +
                           " does not exist");
  }
}

void WriteFields(const Task& t, RecordBytes& out) {
  out.Time(protocol::kTaskStartDate, t.start_date.value_or(Task::NoDate()))
      .Time(protocol::kTaskDueDate, t.due_date.value_or(Task::NoDate()))
      .Long(protocol::kTaskPrivate, t.is_private ? 1 : 0)
      .Long(protocol::kTaskImportance, t.importance)
      .Time(protocol::kTaskReminderTime,
            t.reminder_time.value_or(Task::NoDate()))
      .Long(protocol::kTaskReminderSet, t.reminder_set ? 1 : 0)
      .Long(protocol::kTaskComplete, t.complete ? 1 : 0)
      .Text(protocol::kTaskSubject, t.subject)
      .Text(protocol::kTaskCategories, t.categories)
      .Text(protocol::kTaskBody, t.body);
  if (t.recurrence) {
    auto bytes = t.recurrence->Encode();
    out.Blob(protocol::kRecurrenceField, bytes);
  }
}

}  // namespace

std::optional<PropertyKind> Task::PropertyKindOf(std::uint32_t id) {
  switch (id) {
    case protocol::kTaskSubject:
    case protocol::kTaskCategories:
    case protocol::kTaskBody:
      return PropertyKind::kString;
    case protocol::kTaskStartDate:
    case protocol::kTaskDueDate:
    case protocol::kTaskReminderTime:
      return PropertyKind::kTime;
    case protocol::kTaskImportance:
    case protocol::kTaskComplete:
    case protocol::kTaskPrivate:
    case protocol::kTaskReminderSet:
      return PropertyKind::kLong;
    case protocol::kRecurrenceField:
      return PropertyKind::kBlob;
    default:
      return std::nullopt;
  }
}

TimeRecord Task::NoDate() {
  return TimeRecord::FromDate(TimeRecord::kNoDateYear, 1, 1);
}

Result<Task> Task::FromWireRecord(const WireRecord& record) {
  Task t;
  t.oid = record.oid;
  for (const WireProperty& property : record.properties) {
    VORN_RETURN_IF_ERROR(Apply(t, property));
  }
  return t;
}

Result<Task> Task::Decode(std::span<const std::uint8_t> bytes) {
  ReplyReader reader(bytes);
  Result<std::uint32_t> count = reader.U32("field count");
  if (!count.ok()) return count.status();
  Task t;
  for (std::uint32_t i = 0; i < *count; ++i) {
    Result<std::uint32_t> id = reader.U32("field id");
    if (!id.ok()) return id.status();
    std::optional<PropertyKind> kind = PropertyKindOf(*id);
    if (!kind) continue;  // the handheld reads no value for these ids
    WireProperty property;
    property.id = *id;
    if (*kind == PropertyKind::kLong) {
      Result<std::uint32_t> v = reader.U32("task field");
      if (!v.ok()) return v.status();
      property.value = *v;
    } else if (*kind == PropertyKind::kString) {
      Result<std::u16string> v = reader.String("task field");
      if (!v.ok()) return v.status();
      property.value = std::move(*v);
    } else if (*kind == PropertyKind::kTime) {
      Result<TimeRecord> v = reader.Time("task field");
      if (!v.ok()) return v.status();
      property.value = *v;
    } else {
      Result<std::vector<std::uint8_t>> v =
          reader.Bytes(protocol::kRecurrenceBlockSize, "task recurrence");
      if (!v.ok()) return v.status();
      property.value = std::move(*v);
    }
    VORN_RETURN_IF_ERROR(Apply(t, property));
  }
  return t;
}

std::vector<std::uint8_t> Task::Encode() const {
  RecordBytes out(false);
  WriteFields(*this, out);
  return out.Take();
}

std::vector<std::uint8_t> Task::EncodeReply() const {
  RecordBytes out(true, oid.value_or(0));
  WriteFields(*this, out);
  return out.Take();
}

}  // namespace desktop
