#include "agent/pim/ce_task.h"

#include <cstring>

#include "agent/pim/long_notes.h"
#include "agent/pim/recurrence.h"
#include "protocol/calendar_fields.h"
#include "protocol/contact_fields.h"

namespace agent {
namespace {

using namespace protocol;

constexpr int kReadTimeFull = 1;

// The object model's "no date": DATE 949998.0 (high word 0x412CFDDC).
constexpr DATE kNoDate = 949998.0;

DWORD BoolFlag(VARIANT_BOOL value) {
  return static_cast<WORD>(value) == 0xFFFF ? 1 : 0;
}

}  // namespace

CCETask::CCETask() {
  dataType = 3;
  logName = u"\\VornTaskLog";
  databaseName = u"Tasks Database";
}

int CCETask::ReadRecord(IDispatch* item, DWORD oid) {
  ITask* task = platform::ItemAs<ITask>(item);
  header[6] = 0;
  DWORD headerAt = replyLength;
  Append(header, sizeof(header));

  auto writeDate = [&](DWORD id, HRESULT (ITask::*get)(DATE*)) {
    DATE date = 0;
    SYSTEMTIME time = {};
    (task->*get)(&date);
    app->VariantTimeToSystemTime(date, &time);
    WritePropTime(id, time);
  };
  writeDate(kTaskStartDate, &ITask::get_StartDate);
  writeDate(kTaskDueDate, &ITask::get_DueDate);
  LONG sensitivity = 0;
  task->get_Sensitivity(&sensitivity);
  WritePropLong(kTaskPrivate, sensitivity == olPrivate ? 1 : 0);
  LONG importance = 0;
  task->get_Importance(&importance);
  WritePropLong(kTaskImportance, static_cast<DWORD>(importance));
  writeDate(kTaskReminderTime, &ITask::get_ReminderTime);
  VARIANT_BOOL flag = VARIANT_FALSE;
  task->get_ReminderSet(&flag);
  WritePropLong(kTaskReminderSet, BoolFlag(flag));
  flag = VARIANT_FALSE;
  task->get_Complete(&flag);
  WritePropLong(kTaskComplete, BoolFlag(flag));

  struct StringField {
    DWORD id;
    HRESULT (ITask::*get)(BSTR*);
  };
  static constexpr StringField kStrings[] = {
      {kTaskSubject, &ITask::get_Subject},
      {kTaskCategories, &ITask::get_Categories},
      {kTaskBody, &ITask::get_Body},
  };
  for (const StringField& field : kStrings) {
    BSTR value = nullptr;
    (task->*field.get)(&value);
    WritePropString(field.id, value);
    app->SysFreeString(value);
  }

  VARIANT_BOOL recurring = VARIANT_FALSE;
  task->get_IsRecurring(&recurring);
  IRecurrencePattern* pattern = nullptr;
  if (recurring == VARIANT_TRUE &&
      SUCCEEDED(task->GetRecurrencePattern(&pattern)) && pattern != nullptr) {
    ReadRecurrence(*this, pattern);
    if (recurrence[kRecurEndKind] != kRecurNeverEnds) {
      ReadStoredEndKind(*this, oid, kTaskPatternProperty);
    }
    WritePropBlob(kRecurrenceField, recurrence);
    pattern->Release();
  }

  LONG itemOid = 0;
  task->get_Oid(&itemOid);
  header[0] = 1;
  header[1] = 0;
  PutU32(header + 2, static_cast<DWORD>(itemOid));
  PutAt(headerAt, header, sizeof(header));
  return 1;
}

int CCETask::WriteRecord(IDispatch* item, RequestPtr data, DWORD& consumed,
                         BYTE* status) {
  ITask* task = platform::ItemAs<ITask>(item);
  DATE due = kNoDate;
  DATE reminderTime = kNoDate;
  DWORD reminderFlag = 0;
  bool recurring = false;
  OwnedString body;
  DWORD offset = 0;
  DWORD fields = ReadLong(data, offset);
  for (DWORD i = 0; i < fields; ++i) {
    DWORD id = ReadLong(data, offset);
    switch (id) {
      case kTaskSubject:
      case kTaskCategories: {
        OwnedString text = ReadString(data, offset);
        if (id == kTaskSubject) {
          task->put_Subject(text.get());
        } else {
          task->put_Categories(text.get());
        }
        break;
      }
      case kTaskStartDate:
      case kTaskDueDate:
      case kTaskReminderTime: {
        SYSTEMTIME time = {};
        DATE date = kNoDate;
        ReadTime(&time, data, offset,
                 id == kTaskDueDate ? kReadTimeDateOnly : kReadTimeFull);
        app->SystemTimeToVariantTime(&time, &date);
        if (id == kTaskStartDate) task->put_StartDate(date);
        if (id == kTaskDueDate) {
          task->put_DueDate(date);
          due = date;
        }
        if (id == kTaskReminderTime) reminderTime = date;
        break;
      }
      case kTaskImportance:
        task->put_Importance(static_cast<LONG>(ReadLong(data, offset)));
        break;
      case kTaskComplete:
        task->put_Complete(ReadLong(data, offset) != 0 ? VARIANT_TRUE
                                                       : VARIANT_FALSE);
        break;
      case kTaskPrivate:
        task->put_Sensitivity(ReadLong(data, offset) != 0 ? olPrivate
                                                          : olNormal);
        break;
      case kTaskReminderSet:
        reminderFlag = ReadLong(data, offset);
        break;
      case kTaskBody:
        body = ReadString(data, offset);
        if (wcslen(body.get()) < kLongNotesThreshold) {
          task->put_Body(body.get());
        }
        break;
      case kRecurrenceField:
        std::memcpy(recurrence, data.Bytes(offset, kRecurrenceBlockSize),
                    kRecurrenceBlockSize);
        offset += kRecurrenceBlockSize;
        recurring = true;
        break;
      default:
        // No value is read: the next id starts where this value would.
        // (The handheld formats the id into a diagnostic text that it
        // neither shows nor sends.)
        break;
    }
  }

  if (recurring) {
    IRecurrencePattern* pattern = nullptr;
    if (SUCCEEDED(task->GetRecurrencePattern(&pattern)) && pattern != nullptr) {
      WriteRecurrence(*this, pattern);
      pattern->Release();
    }
  }

  if (due != kNoDate) {
    task->put_ReminderSet(reminderFlag != 0 ? VARIANT_TRUE : VARIANT_FALSE);
    if (reminderFlag != 0 && reminderTime != kNoDate && reminderTime <= due) {
      task->put_ReminderTime(reminderTime);
    }
  }

  HRESULT saved = task->Save();
  consumed = offset;
  if (FAILED(saved)) return 0;
  LONG oid = 0;
  task->get_Oid(&oid);
  SetStatusOid(status, static_cast<DWORD>(oid));
  WriteLongNotes(*this, body.get(), static_cast<DWORD>(oid));
  body.reset();
  task->Release();
  return 1;
}

}  // namespace agent
