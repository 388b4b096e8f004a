#include "agent/pim/appointment_exceptions.h"

#include <algorithm>
#include <cstring>

#include "agent/pim/time_record.h"

namespace agent {
namespace {

using protocol::GetU32;
using protocol::PutU32;

// The presence word written for a string that follows.
constexpr DWORD kPresent = 1;

OwnedString CopyOf(LPCWSTR text) {
  std::size_t length = text == nullptr ? 0 : wcslen(text);
  OwnedString copy(new WCHAR[length + 1]());
  if (length > 0) std::copy(text, text + length, copy.get());
  return copy;
}

// Copies a getter's string and frees it.
OwnedString TakeString(IPOutlookApp* app, HRESULT (IAppointment::*get)(BSTR*),
                       IAppointment* item) {
  BSTR value = nullptr;
  (item->*get)(&value);
  OwnedString copy = CopyOf(value);
  app->SysFreeString(value);
  return copy;
}

void PutDate(IPOutlookApp* app, const BYTE* at,
             HRESULT (IAppointment::*put)(DATE), IAppointment* item) {
  SYSTEMTIME time = GetTimeRecord(at);
  DATE date = 0;
  app->SystemTimeToVariantTime(&time, &date);
  (item->*put)(date);
}

// The occurrence an exception record names: GetOccurrence on its original
// date, else the first exception of the pattern on the same day.
IAppointment* FindOccurrence(IPOutlookApp* app, IRecurrencePattern* pattern,
                             const BYTE* record) {
  SYSTEMTIME original = GetTimeRecord(record + protocol::kExceptOriginalDate);
  DATE date = 0;
  app->SystemTimeToVariantTime(&original, &date);
  IAppointment* occurrence = nullptr;
  if (SUCCEEDED(pattern->GetOccurrence(date, &occurrence))) return occurrence;
  occurrence = nullptr;
  IExceptions* exceptions = nullptr;
  if (FAILED(pattern->get_Exceptions(&exceptions)) || exceptions == nullptr) {
    return nullptr;
  }
  int count = 0;
  exceptions->get_Count(&count);
  for (int i = 1; i <= count; ++i) {
    IException* exception = nullptr;
    if (FAILED(exceptions->Item(i, &exception)) || exception == nullptr) {
      continue;
    }
    DATE originalDate = 0;
    SYSTEMTIME time = {};
    exception->get_OriginalDate(&originalDate);
    app->VariantTimeToSystemTime(originalDate, &time);
    bool sameDay = time.wYear == original.wYear &&
                   time.wMonth == original.wMonth && time.wDay == original.wDay;
    if (sameDay) {
      if (FAILED(exception->get_AppointmentItem(&occurrence))) {
        occurrence = nullptr;
      }
    }
    exception->Release();
    if (sameDay) break;
  }
  exceptions->Release();
  return occurrence;
}

}  // namespace

std::vector<AppointmentException> ReadExceptions(CCERecordHandler& handler,
                                                 IRecurrencePattern* pattern) {
  using namespace protocol;
  IPOutlookApp* app = handler.app;
  std::vector<AppointmentException> result;
  IExceptions* exceptions = nullptr;
  int count = 0;
  if (SUCCEEDED(pattern->get_Exceptions(&exceptions)) &&
      exceptions != nullptr) {
    exceptions->get_Count(&count);
  }
  PutU32(handler.recurrence + kRecurExceptionCount, static_cast<DWORD>(count));
  for (int i = 1; i <= count; ++i) {
    AppointmentException& entry = result.emplace_back();
    std::memset(entry.record + kExceptReserved, 0xFF,
                kExceptSubjectPresent - kExceptReserved);
    IException* exception = nullptr;
    if (FAILED(exceptions->Item(i, &exception)) || exception == nullptr) {
      continue;
    }
    DATE original = 0;
    SYSTEMTIME time = {};
    exception->get_OriginalDate(&original);
    app->VariantTimeToSystemTime(original, &time);
    PutTimeRecord(entry.record + kExceptOriginalDate, time);
    IAppointment* item = nullptr;
    if (SUCCEEDED(exception->get_AppointmentItem(&item)) && item != nullptr) {
      PutU32(entry.record + kExceptDeleted, 0);
      DATE date = 0;
      SYSTEMTIME start = {};
      item->get_Start(&date);
      app->VariantTimeToSystemTime(date, &start);
      PutTimeRecord(entry.record + kExceptStart, start);
      date = 0;
      SYSTEMTIME end = {};
      item->get_End(&date);
      app->VariantTimeToSystemTime(date, &end);
      PutTimeRecord(entry.record + kExceptEnd, end);
      LONG busy = 0;
      item->get_BusyStatus(&busy);
      PutU32(entry.record + kExceptBusyStatus, static_cast<DWORD>(busy));
      LONG minutes = 0;
      item->get_ReminderMinutesBefore(&minutes);
      PutU32(entry.record + kExceptReminderMinutes,
             static_cast<DWORD>(minutes));
      VARIANT_BOOL reminder = VARIANT_FALSE;
      item->get_ReminderSet(&reminder);
      PutU32(entry.record + kExceptReminderSet, static_cast<WORD>(reminder));
      entry.subject = TakeString(app, &IAppointment::get_Subject, item);
      entry.location = TakeString(app, &IAppointment::get_Location, item);
      entry.body = TakeString(app, &IAppointment::get_Body, item);
      PutU32(entry.record + kExceptSubjectPresent, kPresent);
      PutU32(entry.record + kExceptLocationPresent, kPresent);
      PutU32(entry.record + kExceptBodyPresent, kPresent);
      item->Release();
    } else {
      PutU32(entry.record + kExceptDeleted, 1);
    }
    exception->Release();
  }
  if (exceptions != nullptr) exceptions->Release();
  return result;
}

void AppendExceptions(CCERecordHandler& handler,
                      const std::vector<AppointmentException>& exceptions) {
  for (const AppointmentException& entry : exceptions) {
    handler.Append(entry.record, sizeof(entry.record));
    if (entry.subject != nullptr) handler.WriteString(entry.subject.get());
    if (entry.location != nullptr) handler.WriteString(entry.location.get());
    if (entry.body != nullptr) handler.WriteString(entry.body.get());
  }
}

std::vector<AppointmentException> ParseExceptions(RequestPtr data,
                                                  DWORD& offset, DWORD count) {
  using namespace protocol;
  std::vector<AppointmentException> result;
  for (DWORD i = 0; i < count; ++i) {
    AppointmentException entry;
    std::memcpy(entry.record, data.Bytes(offset, kExceptionRecordSize),
                kExceptionRecordSize);
    offset += kExceptionRecordSize;
    if (GetU32(entry.record + kExceptSubjectPresent) != 0) {
      entry.subject = ReadString(data, offset);
    }
    if (GetU32(entry.record + kExceptLocationPresent) != 0) {
      entry.location = ReadString(data, offset);
    }
    if (GetU32(entry.record + kExceptBodyPresent) != 0) {
      entry.body = ReadString(data, offset);
    }
    result.push_back(std::move(entry));
  }
  return result;
}

void ApplyExceptions(CCERecordHandler& handler, IRecurrencePattern* pattern,
                     const std::vector<AppointmentException>& exceptions) {
  using namespace protocol;
  IPOutlookApp* app = handler.app;
  for (const AppointmentException& entry : exceptions) {
    IAppointment* occurrence = FindOccurrence(app, pattern, entry.record);
    if (occurrence == nullptr) continue;
    if (GetU32(entry.record + kExceptDeleted) != 0) {
      occurrence->Delete();
    } else {
      PutDate(app, entry.record + kExceptStart, &IAppointment::put_Start,
              occurrence);
      PutDate(app, entry.record + kExceptEnd, &IAppointment::put_End,
              occurrence);
      DWORD reminder = GetU32(entry.record + kExceptReminderSet);
      if (reminder != kExceptNotGiven) {
        occurrence->put_ReminderSet(
            static_cast<VARIANT_BOOL>(static_cast<WORD>(reminder)));
      }
      DWORD minutes = GetU32(entry.record + kExceptReminderMinutes);
      if (minutes != kExceptNotGiven) {
        occurrence->put_ReminderMinutesBefore(static_cast<LONG>(minutes));
      }
      DWORD busy = GetU32(entry.record + kExceptBusyStatus);
      if (busy != kExceptNotGiven) {
        occurrence->put_BusyStatus(static_cast<LONG>(busy));
      }
      if (entry.subject != nullptr)
        occurrence->put_Subject(entry.subject.get());
      if (entry.location != nullptr) {
        occurrence->put_Location(entry.location.get());
      }
      if (entry.body != nullptr) occurrence->put_Body(entry.body.get());
      occurrence->Save();
    }
    occurrence->Release();
  }
}

}  // namespace agent
