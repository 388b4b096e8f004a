// An appointment as the desktop holds it, and its two wire forms.
//
// Fields (wire id, object model property): 1 Subject, 2 Location,
// 3 Categories (text); 4 AllDayEvent, 5 private flag (1 private, else
// normal), 6 BusyStatus, 7 ReminderSet, 8 ReminderMinutesBefore (u32);
// 9 Body (text); 16 Start, 18 End (time records, the handheld's local
// time); 19 the recurrence block, followed by one exception record per
// changed or deleted occurrence:
//    0 16 original date    16 16 start    32 16 end
//   48  4 deleted (1) or changed (0)      52  4 reserved, 0xFFFFFFFF
//   56  4 reminder set (0xFFFF true, 0 false)
//   60  4 reminder minutes    64  4 busy status
//   68  4 / 72 4 / 76 4 subject, location, body present (nonzero)
// each u32 0xFFFFFFFF when not given, then the counted strings announced.
// The handheld sends the fields in the order 16 18 5 6 8 7 4 1 2 3 9 [19];
// the desktop writes them in the same order.
#ifndef VORN_DESKTOP_FORMATS_APPOINTMENT_H_
#define VORN_DESKTOP_FORMATS_APPOINTMENT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "desktop/base/status.h"
#include "desktop/formats/recurrence.h"
#include "desktop/wire/time_record.h"
#include "desktop/wire/wire_record.h"

namespace desktop {

// The object model's busy states.
enum class BusyStatus : std::uint32_t {
  kFree = 0,
  kTentative = 1,
  kBusy = 2,
  kOutOfOffice = 3,
};

// One changed or deleted occurrence of a recurring appointment.
struct AppointmentException {
  TimeRecord original_date;
  bool deleted = false;
  // Zero for a deleted occurrence.
  TimeRecord start;
  TimeRecord end;
  std::optional<bool> reminder_set;
  std::optional<std::uint32_t> reminder_minutes;
  std::optional<std::uint32_t> busy_status;
  std::optional<std::u16string> subject;
  std::optional<std::u16string> location;
  std::optional<std::u16string> body;

  bool operator==(const AppointmentException&) const = default;
};

struct Appointment {
  // The layout of appointment records for WireRecord::Read and the client.
  static std::optional<PropertyKind> PropertyKindOf(std::uint32_t id);

  // Builds an appointment from a record read from the handheld. Fails on a
  // property whose value is not of its id's kind or on a recurrence block
  // whose exception records do not parse.
  static Result<Appointment> FromWireRecord(const WireRecord& record);

  // Reads a record in the written form, as the handheld's agent reads it:
  // ids 10-15, 17 and ids above 19 carry no value. Fails when the bytes
  // end early.
  static Result<Appointment> Decode(std::span<const std::uint8_t> bytes);

  // The written form, every field in the handheld's order; field 19 and
  // the exceptions only for a recurring appointment (an update without
  // them makes the handheld clear the pattern).
  std::vector<std::uint8_t> Encode() const;
  // The form the handheld sends in GetRecord replies (header included).
  std::vector<std::uint8_t> EncodeReply() const;

  std::optional<std::uint32_t> oid;
  std::u16string subject;
  std::u16string location;
  std::u16string categories;
  std::u16string body;
  bool all_day = false;
  bool is_private = false;
  std::uint32_t busy_status = static_cast<std::uint32_t>(BusyStatus::kBusy);
  bool reminder_set = false;
  std::uint32_t reminder_minutes = 15;
  TimeRecord start;
  TimeRecord end;
  // Set for a recurring appointment. Its exception count is that of the
  // record read; Encode writes the size of `exceptions` instead.
  std::optional<Recurrence> recurrence;
  std::vector<AppointmentException> exceptions;

  bool operator==(const Appointment&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_APPOINTMENT_H_
