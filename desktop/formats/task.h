// A task as the desktop holds it, and its two wire forms.
//
// Fields (wire id, object model property): 1 Subject, 2 Categories (text);
// 3 StartDate, 4 DueDate (time records; the handheld keeps the due date
// without a time of day); 5 Importance (0 low, 1 normal, 2 high), 6 Complete,
// 7 private flag (nonzero private), 9 ReminderSet (u32); 10 ReminderTime
// (time record); 11 Body (text); 19 the recurrence block (no exception
// records follow it for tasks). A date the task does not have travels as
// the handheld's "no date" value, 4501-01-01.
// The handheld sends the fields in the order 3 4 7 5 10 9 6 1 2 11 [19];
// the desktop writes them in the same order.
#ifndef VORN_DESKTOP_FORMATS_TASK_H_
#define VORN_DESKTOP_FORMATS_TASK_H_

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

enum class Importance : std::uint32_t { kLow = 0, kNormal = 1, kHigh = 2 };

struct Task {
  static std::optional<PropertyKind> PropertyKindOf(std::uint32_t id);

  // The time record sent for a date a task does not have.
  static TimeRecord NoDate();

  // Builds a task from a record read from the handheld; "no date" values
  // become absent dates. Fails on a value of the wrong kind.
  static Result<Task> FromWireRecord(const WireRecord& record);
  // Reads a record in the written form as the handheld's agent reads it
  // (ids 8, 12-18 and above 19 carry no value). Fails when it ends early.
  static Result<Task> Decode(std::span<const std::uint8_t> bytes);

  // The written form, every field in the handheld's order, absent dates as
  // "no date"; field 19 only for a recurring task.
  std::vector<std::uint8_t> Encode() const;
  // The form the handheld sends in GetRecord replies (header included).
  std::vector<std::uint8_t> EncodeReply() const;

  std::optional<std::uint32_t> oid;
  std::u16string subject;
  std::u16string categories;
  std::u16string body;
  std::optional<TimeRecord> start_date;
  std::optional<TimeRecord> due_date;
  std::optional<TimeRecord> reminder_time;
  std::uint32_t importance = static_cast<std::uint32_t>(Importance::kNormal);
  bool complete = false;
  bool is_private = false;
  bool reminder_set = false;
  std::optional<Recurrence> recurrence;

  bool operator==(const Task&) const = default;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_TASK_H_
