#include "agent/pim/ce_appointment.h"

#include <cstring>
#include <vector>

#include "agent/handler/message_box.h"
#include "agent/pim/appointment_exceptions.h"
#include "agent/pim/long_notes.h"
#include "agent/pim/recurrence.h"
#include "protocol/calendar_fields.h"
#include "protocol/contact_fields.h"

namespace agent {
namespace {

using namespace protocol;

constexpr int kReadTimeFull = 1;
constexpr LONG kFirstReminderStep = 5;
constexpr LONG kLaterReminderStep = 60;
constexpr int kAttemptOfLaterStep = 3;

// Ids that carry a value.
bool HasValue(DWORD id) {
  return id >= 1 && id <= kRecurrenceField && (id < 10 || id > 15) && id != 17;
}

DWORD BoolFlag(VARIANT_BOOL value) {
  return static_cast<WORD>(value) == 0xFFFF ? 1 : 0;
}

}  // namespace

CCEAppointment::CCEAppointment() {
  dataType = 2;
  logName = u"\\VornAppointmentLog";
  databaseName = u"Appointments Database";
}

int CCEAppointment::ReadRecord(IDispatch* item, DWORD oid) {
  IAppointment* appointment = platform::ItemAs<IAppointment>(item);
  header[6] = 0;
  DWORD headerAt = replyLength;
  Append(header, sizeof(header));

  for (DWORD id : {kAppointmentStart, kAppointmentEnd}) {
    DATE date = 0;
    SYSTEMTIME time = {};
    if (id == kAppointmentStart) {
      appointment->get_Start(&date);
    } else {
      appointment->get_End(&date);
    }
    app->VariantTimeToSystemTime(date, &time);
    WritePropTime(id, time);
  }
  LONG sensitivity = 0;
  appointment->get_Sensitivity(&sensitivity);
  WritePropLong(kAppointmentPrivate, sensitivity == olPrivate ? 1 : 0);
  LONG busy = 0;
  appointment->get_BusyStatus(&busy);
  WritePropLong(kAppointmentBusyStatus, static_cast<DWORD>(busy));
  LONG minutes = 0;
  appointment->get_ReminderMinutesBefore(&minutes);
  WritePropLong(kAppointmentReminderMinutes, static_cast<DWORD>(minutes));
  VARIANT_BOOL flag = VARIANT_FALSE;
  appointment->get_ReminderSet(&flag);
  WritePropLong(kAppointmentReminderSet, BoolFlag(flag));
  flag = VARIANT_FALSE;
  appointment->get_AllDayEvent(&flag);
  WritePropLong(kAppointmentAllDay, BoolFlag(flag));

  struct StringField {
    DWORD id;
    HRESULT (IAppointment::*get)(BSTR*);
  };
  static constexpr StringField kStrings[] = {
      {kAppointmentSubject, &IAppointment::get_Subject},
      {kAppointmentLocation, &IAppointment::get_Location},
      {kAppointmentCategories, &IAppointment::get_Categories},
      {kAppointmentBody, &IAppointment::get_Body},
  };
  for (const StringField& field : kStrings) {
    BSTR value = nullptr;
    (appointment->*field.get)(&value);
    WritePropString(field.id, value);
    app->SysFreeString(value);
  }

  VARIANT_BOOL recurring = VARIANT_FALSE;
  appointment->get_IsRecurring(&recurring);
  IRecurrencePattern* pattern = nullptr;
  if (recurring == VARIANT_TRUE &&
      SUCCEEDED(appointment->GetRecurrencePattern(&pattern)) &&
      pattern != nullptr) {
    ReadRecurrence(*this, pattern);
    if (recurrence[kRecurEndKind] != kRecurNeverEnds) {
      ReadStoredEndKind(*this, oid, kAppointmentPatternProperty);
    }
    std::vector<AppointmentException> exceptions =
        ReadExceptions(*this, pattern);
    WritePropBlob(kRecurrenceField, recurrence);
    AppendExceptions(*this, exceptions);
    pattern->Release();
  }

  LONG itemOid = 0;
  appointment->get_Oid(&itemOid);
  header[0] = 1;
  header[1] = 0;
  PutU32(header + 2, static_cast<DWORD>(itemOid));
  PutAt(headerAt, header, sizeof(header));
  return 1;
}

int CCEAppointment::WriteRecord(IDispatch* item, RequestPtr data,
                                DWORD& consumed, BYTE* status) {
  IAppointment* appointment = platform::ItemAs<IAppointment>(item);
  LONG step = kFirstReminderStep;
  int attempt = 0;
  DWORD offset = 0;
  std::vector<AppointmentException> exceptions;
  OwnedString body;
  IRecurrencePattern* pattern = nullptr;
  for (;;) {
    offset = 0;
    bool recurring = false;
    auto fields = static_cast<LONG>(ReadLong(data, offset));
    for (LONG i = 0; i < fields; ++i) {
      DWORD id = ReadLong(data, offset);
      // Ids without a value: the next id starts where a value would.
      if (!HasValue(id)) continue;
      switch (id) {
        case kAppointmentSubject:
        case kAppointmentLocation:
        case kAppointmentCategories: {
          OwnedString text = ReadString(data, offset);
          if (id == kAppointmentSubject) appointment->put_Subject(text.get());
          if (id == kAppointmentLocation) {
            appointment->put_Location(text.get());
          }
          if (id == kAppointmentCategories) {
            appointment->put_Categories(text.get());
          }
          break;
        }
        case kAppointmentAllDay:
        case kAppointmentReminderSet: {
          auto value = static_cast<VARIANT_BOOL>(
              static_cast<WORD>(ReadLong(data, offset)));
          if (id == kAppointmentAllDay) {
            appointment->put_AllDayEvent(value);
          } else {
            appointment->put_ReminderSet(value);
          }
          break;
        }
        case kAppointmentPrivate:
          appointment->put_Sensitivity(ReadLong(data, offset) == 1 ? olPrivate
                                                                   : olNormal);
          break;
        case kAppointmentBusyStatus:
          appointment->put_BusyStatus(
              static_cast<LONG>(ReadLong(data, offset)));
          break;
        case kAppointmentReminderMinutes: {
          DWORD value = ReadLong(data, offset);
          appointment->put_ReminderMinutesBefore(static_cast<LONG>(
              value - static_cast<DWORD>(step) * static_cast<DWORD>(attempt)));
          break;
        }
        case kAppointmentBody: {
          body = ReadString(data, offset);
          if (wcslen(body.get()) < kLongNotesThreshold) {
            appointment->put_Body(body.get());
          }
          break;
        }
        case kAppointmentStart:
        case kAppointmentEnd: {
          SYSTEMTIME time = {};
          DATE date = 0;
          ReadTime(&time, data, offset, kReadTimeFull);
          app->SystemTimeToVariantTime(&time, &date);
          if (id == kAppointmentStart) {
            appointment->put_Start(date);
          } else {
            appointment->put_End(date);
          }
          break;
        }
        case kRecurrenceField: {
          std::memcpy(recurrence, data.Bytes(offset, kRecurrenceBlockSize),
                      kRecurrenceBlockSize);
          offset += kRecurrenceBlockSize;
          recurring = true;
          DWORD count = GetU32(recurrence + kRecurExceptionCount);
          if (count != 0) exceptions = ParseExceptions(data, offset, count);
          break;
        }
        default:
          break;
      }
    }

    if (recurring) {
      if (SUCCEEDED(appointment->GetRecurrencePattern(&pattern)) &&
          pattern != nullptr) {
        WriteRecurrence(*this, pattern);
      }
    } else {
      appointment->ClearRecurrencePattern();
    }

    HRESULT saved = appointment->Save();
    if (SUCCEEDED(saved)) {
      if (!exceptions.empty() && pattern != nullptr) {
        ApplyExceptions(*this, pattern, exceptions);
      }
      LONG oid = 0;
      appointment->get_Oid(&oid);
      SetStatusOid(status, static_cast<DWORD>(oid));
      WriteLongNotes(*this, body.get(), static_cast<DWORD>(oid));
      break;
    }
    if (static_cast<DWORD>(saved) != kSaveReminderRetry) {
      ShowMessage(u"Save FAILED", u"INFO");
      break;
    }
    exceptions.clear();
    body.reset();
    if (pattern != nullptr) pattern->Release();
    pattern = nullptr;
    appointment->Release();
    appointment = nullptr;
    IDispatch* fresh = nullptr;
    DWORD statusOid = GetU32(status + 2);
    HRESULT obtained =
        statusOid == 0
            ? app->CreateItem(olAppointmentItem, &fresh)
            : app->GetItemFromOid(static_cast<LONG>(statusOid), &fresh);
    // Without an item there is nothing left to retry on.
    if (FAILED(obtained) || fresh == nullptr) break;
    appointment = platform::ItemAs<IAppointment>(fresh);
    ++attempt;
    if (attempt == kAttemptOfLaterStep) step = kLaterReminderStep;
  }

  exceptions.clear();
  body.reset();
  if (pattern != nullptr) pattern->Release();
  if (appointment != nullptr) appointment->Release();
  consumed = offset;
  return 1;
}

}  // namespace agent
