#include "desktop/formats/appointment.h"

#include <algorithm>

#include "desktop/formats/record_bytes.h"
#include "desktop/wire/reply_reader.h"
#include "protocol/calendar_fields.h"

namespace desktop {
namespace {

using protocol::GetU32;
using protocol::PutU32;

constexpr std::uint32_t kNotGiven = protocol::kExceptNotGiven;
constexpr std::uint32_t kVariantTrue = 0xFFFF;

std::optional<std::uint32_t> Given(const std::uint8_t* at) {
  std::uint32_t value = GetU32(at);
  if (value == kNotGiven) return std::nullopt;
  return value;
}

// Reads the exception records that follow a block, `count` of them.
Status ReadExceptions(ReplyReader& reader, std::uint32_t count,
                      std::vector<AppointmentException>& out) {
  for (std::uint32_t i = 0; i < count; ++i) {
    Result<std::vector<std::uint8_t>> bytes =
        reader.Bytes(protocol::kExceptionRecordSize, "exception record");
    if (!bytes.ok()) return bytes.status();
    const std::uint8_t* at = bytes->data();
    AppointmentException e;
    e.original_date = TimeRecord::Decode(at + protocol::kExceptOriginalDate);
    e.start = TimeRecord::Decode(at + protocol::kExceptStart);
    e.end = TimeRecord::Decode(at + protocol::kExceptEnd);
    e.deleted = GetU32(at + protocol::kExceptDeleted) != 0;
    if (auto set = Given(at + protocol::kExceptReminderSet)) {
      e.reminder_set = (*set & 0xFFFF) != 0;
    }
    e.reminder_minutes = Given(at + protocol::kExceptReminderMinutes);
    e.busy_status = Given(at + protocol::kExceptBusyStatus);
    std::optional<std::u16string>* texts[] = {&e.subject, &e.location, &e.body};
    const std::size_t presence[] = {protocol::kExceptSubjectPresent,
                                    protocol::kExceptLocationPresent,
                                    protocol::kExceptBodyPresent};
    for (int k = 0; k < 3; ++k) {
      if (GetU32(at + presence[k]) == 0) continue;
      Result<std::u16string> text = reader.String("exception string");
      if (!text.ok()) return text.status();
      *texts[k] = std::move(*text);
    }
    out.push_back(std::move(e));
  }
  return Status::Ok();
}

void WriteExceptions(RecordBytes& out,
                     const std::vector<AppointmentException>& exceptions) {
  for (const AppointmentException& e : exceptions) {
    std::uint8_t record[protocol::kExceptionRecordSize] = {};
    auto put_time = [&record](std::size_t at, const TimeRecord& time) {
      auto bytes = time.Encode();
      std::copy(bytes.begin(), bytes.end(), record + at);
    };
    put_time(protocol::kExceptOriginalDate, e.original_date);
    if (!e.deleted) {
      put_time(protocol::kExceptStart, e.start);
      put_time(protocol::kExceptEnd, e.end);
    }
    PutU32(record + protocol::kExceptDeleted, e.deleted ? 1 : 0);
    PutU32(record + protocol::kExceptReserved, kNotGiven);
    PutU32(record + protocol::kExceptReminderSet,
           e.reminder_set ? (*e.reminder_set ? kVariantTrue : 0) : kNotGiven);
    PutU32(record + protocol::kExceptReminderMinutes,
           e.reminder_minutes.value_or(kNotGiven));
    PutU32(record + protocol::kExceptBusyStatus,
           e.busy_status.value_or(kNotGiven));
    const std::optional<std::u16string>* texts[] = {&e.subject, &e.location,
                                                    &e.body};
    const std::size_t presence[] = {protocol::kExceptSubjectPresent,
                                    protocol::kExceptLocationPresent,
                                    protocol::kExceptBodyPresent};
    for (int k = 0; k < 3; ++k) {
      PutU32(record + presence[k], !e.deleted && texts[k]->has_value());
    }
    out.Raw(record);
    if (e.deleted) continue;
    for (const auto* text : texts) {
      if (text->has_value()) out.RawString(**text);
    }
  }
}

// Applies one field's value; shared by both forms. Flags count by their
// low 16 bits, as the handheld reads them.
Status Apply(Appointment& a, std::uint32_t id, const WireProperty& property) {
  const auto* number = std::get_if<std::uint32_t>(&property.value);
  const auto* text = std::get_if<std::u16string>(&property.value);
  const auto* time = std::get_if<TimeRecord>(&property.value);
  const auto* blob = std::get_if<std::vector<std::uint8_t>>(&property.value);
  auto wrong = [id] {
    return Status::Error("appointment field " + std::to_string(id) +
                         " has a value of the wrong kind");
  };
  switch (id) {
    case protocol::kAppointmentSubject:
    case protocol::kAppointmentLocation:
    case protocol::kAppointmentCategories:
    case protocol::kAppointmentBody: {
      if (text == nullptr) return wrong();
      std::u16string* field =
          id == protocol::kAppointmentSubject      ? &a.subject
          : id == protocol::kAppointmentLocation   ? &a.location
          : id == protocol::kAppointmentCategories ? &a.categories
                                                   : &a.body;
      *field = *text;
      return Status::Ok();
    }
    case protocol::kAppointmentAllDay:
    case protocol::kAppointmentReminderSet:
      if (number == nullptr) return wrong();
      (id == protocol::kAppointmentAllDay ? a.all_day : a.reminder_set) =
          (*number & 0xFFFF) != 0;
      return Status::Ok();
    case protocol::kAppointmentPrivate:
      if (number == nullptr) return wrong();
      a.is_private = *number == 1;
      return Status::Ok();
    case protocol::kAppointmentBusyStatus:
    case protocol::kAppointmentReminderMinutes:
      if (number == nullptr) return wrong();
      (id == protocol::kAppointmentBusyStatus ? a.busy_status
                                              : a.reminder_minutes) = *number;
      return Status::Ok();
    case protocol::kAppointmentStart:
    case protocol::kAppointmentEnd:
      if (time == nullptr) return wrong();
      (id == protocol::kAppointmentStart ? a.start : a.end) = *time;
      return Status::Ok();
    case protocol::kRecurrenceField: {
      if (blob == nullptr) return wrong();
      Result<Recurrence> recurrence = Recurrence::Decode(*blob);
      if (!recurrence.ok()) return recurrence.status();
      ReplyReader rest(std::span<const std::uint8_t>(*blob).subspan(
          protocol::kRecurrenceBlockSize));
      a.exceptions.clear();
      VORN_RETURN_IF_ERROR(
          ReadExceptions(rest, recurrence->exception_count, a.exceptions));
      a.recurrence = *recurrence;
      return Status::Ok();
    }
    default:
      return Status::Error("appointment field " + std::to_string(id) +
                           " does not exist");
  }
}

void WriteFields(const Appointment& a, RecordBytes& out) {
  out.Time(protocol::kAppointmentStart, a.start)
      .Time(protocol::kAppointmentEnd, a.end)
      .Long(protocol::kAppointmentPrivate, a.is_private ? 1 : 0)
      .Long(protocol::kAppointmentBusyStatus, a.busy_status)
      .Long(protocol::kAppointmentReminderMinutes, a.reminder_minutes)
      .Long(protocol::kAppointmentReminderSet, a.reminder_set ? 1 : 0)
      .Long(protocol::kAppointmentAllDay, a.all_day ? 1 : 0)
      .Text(protocol::kAppointmentSubject, a.subject)
      .Text(protocol::kAppointmentLocation, a.location)
      .Text(protocol::kAppointmentCategories, a.categories)
      .Text(protocol::kAppointmentBody, a.body);
  if (a.recurrence) {
    Recurrence block = *a.recurrence;
    block.exception_count = static_cast<std::uint32_t>(a.exceptions.size());
    auto bytes = block.Encode();
    out.Blob(protocol::kRecurrenceField, bytes);
    WriteExceptions(out, a.exceptions);
  }
}

}  // namespace

std::optional<PropertyKind> Appointment::PropertyKindOf(std::uint32_t id) {
  switch (id) {
    case protocol::kAppointmentSubject:
    case protocol::kAppointmentLocation:
    case protocol::kAppointmentCategories:
    case protocol::kAppointmentBody:
      return PropertyKind::kString;
    case protocol::kAppointmentAllDay:
    case protocol::kAppointmentPrivate:
    case protocol::kAppointmentBusyStatus:
    case protocol::kAppointmentReminderSet:
    case protocol::kAppointmentReminderMinutes:
      return PropertyKind::kLong;
    case protocol::kAppointmentStart:
    case protocol::kAppointmentEnd:
      return PropertyKind::kTime;
    case protocol::kRecurrenceField:
      return PropertyKind::kBlobAndExceptions;
    default:
      return std::nullopt;
  }
}

Result<Appointment> Appointment::FromWireRecord(const WireRecord& record) {
  Appointment a;
  a.oid = record.oid;
  for (const WireProperty& property : record.properties) {
    VORN_RETURN_IF_ERROR(Apply(a, property.id, property));
  }
  return a;
}

Result<Appointment> Appointment::Decode(std::span<const std::uint8_t> bytes) {
  ReplyReader reader(bytes);
  Result<std::uint32_t> count = reader.U32("field count");
  if (!count.ok()) return count.status();
  Appointment a;
  for (std::uint32_t i = 0; i < *count; ++i) {
    Result<std::uint32_t> id = reader.U32("field id");
    if (!id.ok()) return id.status();
    std::optional<PropertyKind> kind = PropertyKindOf(*id);
    if (!kind) continue;  // the handheld reads no value for these ids
    WireProperty property;
    property.id = *id;
    switch (*kind) {
      case PropertyKind::kLong: {
        Result<std::uint32_t> v = reader.U32("appointment field");
        if (!v.ok()) return v.status();
        property.value = *v;
        break;
      }
      case PropertyKind::kString: {
        Result<std::u16string> v = reader.String("appointment field");
        if (!v.ok()) return v.status();
        property.value = std::move(*v);
        break;
      }
      case PropertyKind::kTime: {
        Result<TimeRecord> v = reader.Time("appointment field");
        if (!v.ok()) return v.status();
        property.value = *v;
        break;
      }
      case PropertyKind::kBlob:
      case PropertyKind::kBlobAndExceptions: {
        Result<std::vector<std::uint8_t>> v = reader.Bytes(
            protocol::kRecurrenceBlockSize, "appointment recurrence");
        if (!v.ok()) return v.status();
        Result<Recurrence> recurrence = Recurrence::Decode(*v);
        if (!recurrence.ok()) return recurrence.status();
        a.exceptions.clear();
        VORN_RETURN_IF_ERROR(
            ReadExceptions(reader, recurrence->exception_count, a.exceptions));
        a.recurrence = *recurrence;
        continue;
      }
    }
    VORN_RETURN_IF_ERROR(Apply(a, *id, property));
  }
  return a;
}

std::vector<std::uint8_t> Appointment::Encode() const {
  RecordBytes out(false);
  WriteFields(*this, out);
  return out.Take();
}

std::vector<std::uint8_t> Appointment::EncodeReply() const {
  RecordBytes out(true, oid.value_or(0));
  WriteFields(*this, out);
  return out.Take();
}

}  // namespace desktop
