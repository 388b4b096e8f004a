#include "device/pim/recurrence_record.h"

#include <cmath>
#include <cstring>

#include "device/kernel/ole_date.h"

namespace device {
namespace {

constexpr std::uint16_t kFormat = 1;

class Writer {
 public:
  void U16(std::uint16_t value) { Put(&value, 2); }
  void U32(std::uint32_t value) { Put(&value, 4); }
  void F64(double value) { Put(&value, 8); }
  void Text(const std::u16string& text) {
    U32(static_cast<std::uint32_t>(text.size()));
    for (char16_t unit : text) U16(unit);
  }
  std::vector<std::uint8_t> bytes;

 private:
  // The host is little-endian like the handheld.
  void Put(const void* value, std::size_t size) {
    const auto* at = static_cast<const std::uint8_t*>(value);
    bytes.insert(bytes.end(), at, at + size);
  }
};

class Reader {
 public:
  explicit Reader(const std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}
  bool U16(std::uint16_t& value) { return Get(&value, 2); }
  bool U32(std::uint32_t& value) { return Get(&value, 4); }
  bool I32(LONG& value) { return Get(&value, 4); }
  bool F64(double& value) { return Get(&value, 8); }
  bool Text(std::u16string& text) {
    std::uint32_t length = 0;
    if (!U32(length) || length > (bytes_.size() - at_) / 2) return false;
    text.resize(length);
    for (char16_t& unit : text) {
      std::uint16_t value = 0;
      U16(value);
      unit = value;
    }
    return true;
  }
  void Seek(std::size_t at) { at_ = at; }
  bool AtEnd() const { return at_ == bytes_.size(); }

 private:
  bool Get(void* value, std::size_t size) {
    if (bytes_.size() - at_ < size) return false;
    std::memcpy(value, bytes_.data() + at_, size);
    at_ += size;
    return true;
  }
  const std::vector<std::uint8_t>& bytes_;
  std::size_t at_ = 0;
};

// The type's words in stored order.
std::vector<LONG> TypeWords(const RecurrenceRule& rule) {
  switch (rule.type) {
    case olRecursWeekly:
      return {rule.dayOfWeekMask, 0, 0, 0};
    case olRecursMonthly:
      return {rule.dayOfMonth, 0, 0, 0};
    case olRecursMonthNth:
      return {rule.instance, rule.dayOfWeekMask, 0, 0, 0};
    case olRecursYearly:
      return {rule.dayOfMonth, rule.monthOfYear, 0};
    case olRecursYearNth:
      return {rule.monthOfYear, rule.instance, rule.dayOfWeekMask};
    default:
      return {0, 0, 0};
  }
}

void SetTypeWords(RecurrenceRule& rule, const std::vector<LONG>& words) {
  switch (rule.type) {
    case olRecursWeekly:
      rule.dayOfWeekMask = words[0];
      break;
    case olRecursMonthly:
      rule.dayOfMonth = words[0];
      break;
    case olRecursMonthNth:
      rule.instance = words[0];
      rule.dayOfWeekMask = words[1];
      break;
    case olRecursYearly:
      rule.dayOfMonth = words[0];
      rule.monthOfYear = words[1];
      break;
    case olRecursYearNth:
      rule.monthOfYear = words[0];
      rule.instance = words[1];
      rule.dayOfWeekMask = words[2];
      break;
    default:
      break;
  }
}

bool InDateRange(double date) {
  return date >= kOleMinDate && date < kOleDateLimit;
}

}  // namespace

std::int32_t OccurrenceChange::originalDay() const {
  return static_cast<std::int32_t>(std::floor(originalDate));
}

OccurrenceChange* RecurrenceRecord::ExceptionOn(std::int32_t day) {
  for (OccurrenceChange& exception : exceptions) {
    if (exception.originalDay() == day) return &exception;
  }
  return nullptr;
}

std::size_t StoredEndTypeOffset(LONG type) {
  if (type == olRecursWeekly || type == olRecursMonthly) return 26;
  if (type == olRecursMonthNth) return 30;
  return 22;
}

std::vector<std::uint8_t> EncodeRecurrence(const RecurrenceRecord& record) {
  const RecurrenceRule& rule = record.rule;
  Writer out;
  out.U16(kFormat);
  out.U32(static_cast<std::uint32_t>(rule.interval));
  out.U32(static_cast<std::uint32_t>(rule.type));
  for (LONG word : TypeWords(rule)) out.U32(static_cast<std::uint32_t>(word));
  LONG occurrences = rule.occurrences;
  DATE endDate = kOleNoDate;
  switch (rule.end) {
    case RecurrenceEnd::kByDate:
      out.U32(kStoredEndByDate);
      occurrences = CountOccurrences(rule);
      endDate = record.endDate;
      break;
    case RecurrenceEnd::kAfterCount:
      out.U32(kStoredEndAfterCount);
      endDate = LastOccurrence(rule).value_or(rule.startDay);
      break;
    case RecurrenceEnd::kNever:
      out.U32(kStoredEndNever);
      occurrences = 0;
      break;
  }
  out.U32(static_cast<std::uint32_t>(occurrences));
  out.F64(record.startDate);
  out.F64(endDate);
  out.U32(static_cast<std::uint32_t>(record.exceptions.size()));
  for (const OccurrenceChange& exception : record.exceptions) {
    out.F64(exception.originalDate);
    out.U32(exception.deleted ? 1 : 0);
    out.F64(exception.start);
    out.F64(exception.end);
    out.U32(static_cast<std::uint32_t>(exception.busyStatus));
    out.U16(static_cast<std::uint16_t>(exception.reminderSet));
    out.U32(static_cast<std::uint32_t>(exception.reminderMinutesBefore));
    out.Text(exception.subject);
    out.Text(exception.location);
    out.Text(exception.body);
  }
  return std::move(out.bytes);
}

std::optional<RecurrenceRecord> DecodeRecurrence(
    const std::vector<std::uint8_t>& blob) {
  Reader in(blob);
  RecurrenceRecord record;
  RecurrenceRule& rule = record.rule;
  std::uint16_t format = 0;
  if (!in.U16(format) || format != kFormat) return std::nullopt;
  if (!in.I32(rule.interval) || !in.I32(rule.type)) return std::nullopt;
  std::vector<LONG> words((StoredEndTypeOffset(rule.type) - 10) / 4);
  for (LONG& word : words) {
    if (!in.I32(word)) return std::nullopt;
  }
  SetTypeWords(rule, words);
  std::uint32_t endType = 0;
  std::uint32_t count = 0;
  if (!in.U32(endType) || !in.I32(rule.occurrences) ||
      !in.F64(record.startDate) || !in.F64(record.endDate) || !in.U32(count) ||
      !InDateRange(record.startDate) || !InDateRange(record.endDate)) {
    return std::nullopt;
  }
  rule.startDay = static_cast<std::int32_t>(std::floor(record.startDate));
  rule.endDay = static_cast<std::int32_t>(std::floor(record.endDate));
  rule.end = endType == kStoredEndByDate       ? RecurrenceEnd::kByDate
             : endType == kStoredEndAfterCount ? RecurrenceEnd::kAfterCount
                                               : RecurrenceEnd::kNever;
  for (std::uint32_t i = 0; i < count; ++i) {
    OccurrenceChange exception;
    std::uint32_t deleted = 0;
    std::uint16_t reminderSet = 0;
    if (!in.F64(exception.originalDate) || !in.U32(deleted) ||
        !in.F64(exception.start) || !in.F64(exception.end) ||
        !in.I32(exception.busyStatus) || !in.U16(reminderSet) ||
        !in.I32(exception.reminderMinutesBefore) ||
        !in.Text(exception.subject) || !in.Text(exception.location) ||
        !in.Text(exception.body) || !InDateRange(exception.originalDate)) {
      return std::nullopt;
    }
    exception.deleted = deleted != 0;
    exception.reminderSet = static_cast<VARIANT_BOOL>(reminderSet);
    record.exceptions.push_back(std::move(exception));
  }
  if (!in.AtEnd()) return std::nullopt;
  return record;
}

}  // namespace device
