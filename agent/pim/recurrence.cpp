#include "agent/pim/recurrence.h"

#include "agent/handler/message_box.h"
#include "agent/pim/time_record.h"
#include "protocol/calendar_fields.h"

namespace agent {
namespace {

using protocol::GetU32;
using protocol::PutU32;

void GetLongInto(BYTE* block, std::size_t at,
                 HRESULT (IRecurrencePattern::*get)(LONG*),
                 IRecurrencePattern* pattern) {
  LONG value = 0;
  (pattern->*get)(&value);
  PutU32(block + at, static_cast<DWORD>(value));
}

void PutLongFrom(const BYTE* block, std::size_t at,
                 HRESULT (IRecurrencePattern::*put)(LONG),
                 IRecurrencePattern* pattern) {
  (pattern->*put)(static_cast<LONG>(GetU32(block + at)));
}

// The stored end-type word's place for a stored pattern type.
std::size_t EndWordOffset(DWORD type) {
  if (type == 1 || type == 2) return 26;
  if (type == 3) return 30;
  return 22;
}

}  // namespace

int ReadRecurrence(CCERecordHandler& handler, IRecurrencePattern* pattern) {
  using namespace protocol;
  BYTE* block = handler.recurrence;
  LONG type = 0;
  pattern->get_RecurrenceType(&type);
  block[kRecurType] = static_cast<BYTE>(type);

  DATE startDate = 0;
  SYSTEMTIME start = {};
  pattern->get_PatternStartDate(&startDate);
  handler.app->VariantTimeToSystemTime(startDate, &start);
  PutTimeRecord(block + kRecurStartDate, start);
  DATE endDate = 0;
  SYSTEMTIME end = {};
  pattern->get_PatternEndDate(&endDate);
  handler.app->VariantTimeToSystemTime(endDate, &end);
  PutTimeRecord(block + kRecurEndDate, end);

  GetLongInto(block, kRecurInterval, &IRecurrencePattern::get_Interval,
              pattern);
  switch (type) {
    case olRecursWeekly:
      GetLongInto(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::get_DayOfWeekMask, pattern);
      break;
    case olRecursMonthly:
      GetLongInto(block, kRecurDayOfMonth, &IRecurrencePattern::get_DayOfMonth,
                  pattern);
      break;
    case olRecursMonthNth:
      GetLongInto(block, kRecurInstance, &IRecurrencePattern::get_Instance,
                  pattern);
      GetLongInto(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::get_DayOfWeekMask, pattern);
      break;
    case olRecursYearly:
      GetLongInto(block, kRecurDayOfMonth, &IRecurrencePattern::get_DayOfMonth,
                  pattern);
      GetLongInto(block, kRecurMonthOfYear,
                  &IRecurrencePattern::get_MonthOfYear, pattern);
      break;
    case olRecursYearNth:
      GetLongInto(block, kRecurMonthOfYear,
                  &IRecurrencePattern::get_MonthOfYear, pattern);
      GetLongInto(block, kRecurInstance, &IRecurrencePattern::get_Instance,
                  pattern);
      GetLongInto(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::get_DayOfWeekMask, pattern);
      break;
    default:
      break;
  }

  VARIANT_BOOL noEnd = 0;
  pattern->get_NoEndDate(&noEnd);
  if (static_cast<WORD>(noEnd) == 0xFFFF) {
    block[kRecurEndKind] = kRecurNeverEnds;
  } else {
    LONG occurrences = 0;
    if (SUCCEEDED(pattern->get_Occurrences(&occurrences))) {
      PutU32(block + kRecurOccurrences, static_cast<DWORD>(occurrences));
      block[kRecurEndKind] = kRecurEndsAfterCount;
    } else {
      block[kRecurEndKind] = kRecurEndsByDate;
    }
  }
  PutU32(block + kRecurExceptionCount, 0);
  return 1;
}

int WriteRecurrence(CCERecordHandler& handler, IRecurrencePattern* pattern) {
  using namespace protocol;
  BYTE* block = handler.recurrence;
  BYTE type = block[kRecurType];
  switch (type) {
    case olRecursDaily:
      pattern->put_RecurrenceType(type);
      break;
    case olRecursWeekly:
      pattern->put_RecurrenceType(type);
      PutLongFrom(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::put_DayOfWeekMask, pattern);
      break;
    case olRecursMonthly:
      pattern->put_RecurrenceType(type);
      PutLongFrom(block, kRecurDayOfMonth, &IRecurrencePattern::put_DayOfMonth,
                  pattern);
      break;
    case olRecursMonthNth:
      pattern->put_RecurrenceType(type);
      PutLongFrom(block, kRecurInstance, &IRecurrencePattern::put_Instance,
                  pattern);
      PutLongFrom(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::put_DayOfWeekMask, pattern);
      break;
    case olRecursYearly:
      pattern->put_RecurrenceType(type);
      PutLongFrom(block, kRecurDayOfMonth, &IRecurrencePattern::put_DayOfMonth,
                  pattern);
      PutLongFrom(block, kRecurMonthOfYear,
                  &IRecurrencePattern::put_MonthOfYear, pattern);
      break;
    case olRecursYearNth:
      pattern->put_RecurrenceType(type);
      PutLongFrom(block, kRecurMonthOfYear,
                  &IRecurrencePattern::put_MonthOfYear, pattern);
      PutLongFrom(block, kRecurInstance, &IRecurrencePattern::put_Instance,
                  pattern);
      PutLongFrom(block, kRecurDayOfWeekMask,
                  &IRecurrencePattern::put_DayOfWeekMask, pattern);
      break;
    default:
      break;
  }
  PutLongFrom(block, kRecurInterval, &IRecurrencePattern::put_Interval,
              pattern);

  SYSTEMTIME start = GetTimeRecord(block + kRecurStartDate);
  start.wHour = 0;
  start.wMinute = 0;
  start.wSecond = 0;
  DATE date = 0;
  handler.app->SystemTimeToVariantTime(&start, &date);
  pattern->put_PatternStartDate(date);

  switch (block[kRecurEndKind]) {
    case kRecurEndsByDate: {
      SYSTEMTIME end = GetTimeRecord(block + kRecurEndDate);
      end.wHour = 23;
      end.wMinute = 59;
      end.wSecond = 59;
      DATE endDate = 0;
      handler.app->SystemTimeToVariantTime(&end, &endDate);
      if (FAILED(pattern->put_PatternEndDate(endDate))) {
        ShowMessage(u"put_PatternEndDate", kErrorCaption);
      }
      break;
    }
    case kRecurEndsAfterCount:
      if (GetU32(block + kRecurOccurrences) > kRecurrenceCap) {
        PutU32(block + kRecurOccurrences, kRecurrenceCap);
      }
      PutLongFrom(block, kRecurOccurrences,
                  &IRecurrencePattern::put_Occurrences, pattern);
      break;
    case kRecurNeverEnds:
      pattern->put_NoEndDate(VARIANT_TRUE);
      break;
    default:
      break;
  }

  LONG interval = 0;
  pattern->get_Interval(&interval);
  if (interval > static_cast<LONG>(kRecurrenceCap)) {
    pattern->put_Interval(static_cast<LONG>(kRecurrenceCap));
    ShowMessage(u"put_Interval", kErrorCaption);
  }
  return 1;
}

int ReadStoredEndKind(CCERecordHandler& handler, DWORD oid, CEPROPID propId) {
  if (handler.database == INVALID_HANDLE_VALUE) {
    CEOID none = 0;
    handler.database = CeOpenDatabase(&none, handler.databaseName, 0, 0, 0);
  }
  DWORD index = 0;
  if (CeSeekDatabase(handler.database, CEDB_SEEK_CEOID, oid, &index) == 0) {
    return 1;
  }
  WORD count = 1;
  CEPROPID id = propId;
  LPBYTE buffer = nullptr;
  DWORD size = 0;
  CEOID read = CeReadRecordProps(handler.database, CEDB_ALLOWREALLOC, &count,
                                 &id, &buffer, &size);
  if (read != 0 && buffer != nullptr) {
    const auto* value = reinterpret_cast<const CEPROPVAL*>(buffer);
    const CEBLOB& blob = value->val.blob;
    if (value->wFlags != CEDB_PROPNOTFOUND &&
        blob.dwCount >= protocol::kStoredPatternTypeOffset + 4) {
      DWORD type = GetU32(blob.lpb + protocol::kStoredPatternTypeOffset);
      std::size_t at = EndWordOffset(type);
      if (blob.dwCount >= at + 4) {
        DWORD word = GetU32(blob.lpb + at);
        BYTE kind = protocol::kRecurNeverEnds;
        if (word == protocol::kStoredEndByDate) {
          kind = protocol::kRecurEndsByDate;
        } else if (word == protocol::kStoredEndAfterCount) {
          kind = protocol::kRecurEndsAfterCount;
        }
        handler.recurrence[protocol::kRecurEndKind] = kind;
      }
    }
  }
  if (buffer != nullptr) LocalFree(buffer);
  return 1;
}

}  // namespace agent
