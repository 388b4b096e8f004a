#include "desktop/formats/recurrence.h"

#include <algorithm>

#include "protocol/calendar_fields.h"

namespace desktop {
namespace {

using protocol::GetU32;
using protocol::PutU32;

constexpr std::string_view kTypeNames[] = {
    "daily", "weekly", "monthly", "monthnth", "", "yearly", "yearnth"};
constexpr std::string_view kEndNames[] = {"date", "count", "never"};

}  // namespace

Result<Recurrence> Recurrence::Decode(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < protocol::kRecurrenceBlockSize) {
    return Status::Error("recurrence block of " + std::to_string(bytes.size()) +
                         " bytes, expected 98");
  }
  const std::uint8_t* at = bytes.data();
  Recurrence r;
  r.pattern_start = TimeRecord::Decode(at + protocol::kRecurStartDate);
  r.pattern_end = TimeRecord::Decode(at + protocol::kRecurEndDate);
  std::copy_n(at + 32, r.reserved.size(), r.reserved.begin());
  r.type = at[protocol::kRecurType];
  r.occurrences = GetU32(at + protocol::kRecurOccurrences);
  r.end_kind = at[protocol::kRecurEndKind];
  std::copy_n(at + 70, r.reserved2.size(), r.reserved2.begin());
  r.interval = GetU32(at + protocol::kRecurInterval);
  r.day_of_week_mask = GetU32(at + protocol::kRecurDayOfWeekMask);
  r.day_of_month = GetU32(at + protocol::kRecurDayOfMonth);
  r.instance = GetU32(at + protocol::kRecurInstance);
  r.month_of_year = GetU32(at + protocol::kRecurMonthOfYear);
  r.exception_count = GetU32(at + protocol::kRecurExceptionCount);
  return r;
}

Recurrence::Block Recurrence::Encode() const {
  Block block{};
  std::uint8_t* at = block.data();
  auto start = pattern_start.Encode();
  std::copy(start.begin(), start.end(), at + protocol::kRecurStartDate);
  auto end = pattern_end.Encode();
  std::copy(end.begin(), end.end(), at + protocol::kRecurEndDate);
  std::copy(reserved.begin(), reserved.end(), at + 32);
  at[protocol::kRecurType] = type;
  PutU32(at + protocol::kRecurOccurrences, occurrences);
  at[protocol::kRecurEndKind] = end_kind;
  std::copy(reserved2.begin(), reserved2.end(), at + 70);
  PutU32(at + protocol::kRecurInterval, interval);
  PutU32(at + protocol::kRecurDayOfWeekMask, day_of_week_mask);
  PutU32(at + protocol::kRecurDayOfMonth, day_of_month);
  PutU32(at + protocol::kRecurInstance, instance);
  PutU32(at + protocol::kRecurMonthOfYear, month_of_year);
  PutU32(at + protocol::kRecurExceptionCount, exception_count);
  return block;
}

std::string_view Recurrence::TypeName(std::uint8_t type) {
  if (type >= std::size(kTypeNames)) return {};
  return kTypeNames[type];
}

std::optional<std::uint8_t> Recurrence::TypeFromName(std::string_view name) {
  for (std::size_t i = 0; i < std::size(kTypeNames); ++i) {
    if (!name.empty() && kTypeNames[i] == name) {
      return static_cast<std::uint8_t>(i);
    }
  }
  return std::nullopt;
}

std::string_view Recurrence::EndKindName(std::uint8_t kind) {
  if (kind < 1 || kind > std::size(kEndNames)) return {};
  return kEndNames[kind - 1];
}

std::optional<std::uint8_t> Recurrence::EndKindFromName(std::string_view name) {
  for (std::size_t i = 0; i < std::size(kEndNames); ++i) {
    if (kEndNames[i] == name) return static_cast<std::uint8_t>(i + 1);
  }
  return std::nullopt;
}

}  // namespace desktop
