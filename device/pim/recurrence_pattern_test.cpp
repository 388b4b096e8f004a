// Recurring appointments and tasks of the object model: patterns as the
// agent relies on them, occurrences, exceptions, the stored pattern and the
// save faults.
#include "device/pim/recurrence_pattern.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "device/objstore/object_store.h"
#include "device/pim/appointment_item.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"
#include "device/pim/task_item.h"
#include "device/registry/registry.h"

namespace device {
namespace {

class RecurrencePatternTest : public ::testing::Test {
 protected:
  RecurrencePatternTest()
      : image_(DeviceImage::InMemory()),
        faults_(*image_),
        context_{*image_, handles_, faults_, ERROR_SUCCESS},
        store_(context_),
        registry_(context_),
        writer_(context_, store_, registry_),
        app_(new OutlookApp(context_, store_)) {
    app_->SetChangeHook([this](int type, CEOID oid, int kind) {
      writer_.OnChange(type, oid, kind);
    });
  }
  ~RecurrencePatternTest() override { app_->Release(); }

  DATE Date(int year, int month, int day, int hour = 0, int minute = 0) {
    return DayFromCivil(year, month, day) + (hour * 60 + minute) / 1440.0;
  }

  IAppointment* NewAppointment() {
    IDispatch* item = nullptr;
    EXPECT_EQ(app_->CreateItem(olAppointmentItem, &item), S_OK);
    return dynamic_cast<IAppointment*>(item);
  }

  // A saved appointment on Mondays from 2026-02-02 09:00-10:00, `count`
  // times; returns its OID.
  LONG SavedWeekly(LONG count) {
    IAppointment* item = NewAppointment();
    item->put_Subject(u"Series");
    item->put_Start(Date(2026, 2, 2, 9));
    item->put_End(Date(2026, 2, 2, 10));
    IRecurrencePattern* pattern = nullptr;
    EXPECT_EQ(item->GetRecurrencePattern(&pattern), S_OK);
    pattern->put_Occurrences(count);
    EXPECT_EQ(item->Save(), S_OK);
    pattern->Release();
    LONG oid = 0;
    item->get_Oid(&oid);
    item->Release();
    return oid;
  }

  IRecurrencePattern* PatternOf(LONG oid) {
    IDispatch* item = nullptr;
    EXPECT_EQ(app_->GetItemFromOid(oid, &item), S_OK);
    IRecurrencePattern* pattern = nullptr;
    if (auto* appointment = dynamic_cast<IAppointment*>(item)) {
      EXPECT_EQ(appointment->GetRecurrencePattern(&pattern), S_OK);
    } else if (auto* task = dynamic_cast<ITask*>(item)) {
      EXPECT_EQ(task->GetRecurrencePattern(&pattern), S_OK);
    }
    item->Release();
    return pattern;
  }

  std::vector<std::uint8_t> StoredBlob(LONG oid, CEPROPID id) {
    for (RecordValue& value : app_->items().Load(static_cast<CEOID>(oid))) {
      if (value.id == id) return value.bytes;
    }
    return {};
  }

  std::u16string Take(BSTR text) {
    std::u16string copy = text == nullptr ? u"<null>" : std::u16string(text);
    app_->SysFreeString(text);
    return copy;
  }

  std::unique_ptr<DeviceImage> image_;
  HandleTable handles_;
  FaultSet faults_;
  DeviceContext context_;
  ObjectStore store_;
  Registry registry_;
  ChangeLogWriter writer_;
  OutlookApp* app_;
};

std::uint32_t WordAt(const std::vector<std::uint8_t>& blob, std::size_t at) {
  std::uint32_t value = 0;
  if (blob.size() >= at + 4) std::memcpy(&value, blob.data() + at, 4);
  return value;
}

TEST_F(RecurrencePatternTest, ANewPatternIsWeeklyOnTheStartsWeekdayForever) {
  IAppointment* item = NewAppointment();
  item->put_Start(Date(2026, 2, 4, 9));  // a Wednesday
  VARIANT_BOOL recurring = VARIANT_TRUE;
  item->get_IsRecurring(&recurring);
  EXPECT_EQ(recurring, VARIANT_FALSE);
  IRecurrencePattern* pattern = nullptr;
  ASSERT_EQ(item->GetRecurrencePattern(&pattern), S_OK);
  item->get_IsRecurring(&recurring);
  EXPECT_EQ(recurring, VARIANT_TRUE);
  LONG value = -1;
  pattern->get_RecurrenceType(&value);
  EXPECT_EQ(value, olRecursWeekly);
  pattern->get_DayOfWeekMask(&value);
  EXPECT_EQ(value, olWednesday);
  VARIANT_BOOL noEnd = VARIANT_FALSE;
  pattern->get_NoEndDate(&noEnd);
  EXPECT_EQ(noEnd, VARIANT_TRUE);
  EXPECT_EQ(pattern->get_Occurrences(&value), E_FAIL);
  DATE start = 0;
  pattern->get_PatternStartDate(&start);
  EXPECT_EQ(start, Date(2026, 2, 4));
  pattern->Release();
  item->Release();
}

TEST_F(RecurrencePatternTest, SettersRefuseValuesOutOfRange) {
  IAppointment* item = NewAppointment();
  IRecurrencePattern* pattern = nullptr;
  ASSERT_EQ(item->GetRecurrencePattern(&pattern), S_OK);
  EXPECT_EQ(pattern->put_RecurrenceType(4), E_INVALIDARG);
  EXPECT_EQ(pattern->put_Interval(0), E_INVALIDARG);
  EXPECT_EQ(pattern->put_Interval(1500), S_OK);
  EXPECT_EQ(pattern->put_DayOfMonth(32), E_INVALIDARG);
  EXPECT_EQ(pattern->put_Instance(6), E_INVALIDARG);
  EXPECT_EQ(pattern->put_MonthOfYear(13), E_INVALIDARG);
  EXPECT_EQ(pattern->put_DayOfWeekMask(128), E_INVALIDARG);
  EXPECT_EQ(pattern->put_Occurrences(0), E_INVALIDARG);
  EXPECT_EQ(pattern->put_PatternStartDate(Date(2026, 3, 1)), S_OK);
  EXPECT_EQ(pattern->put_PatternEndDate(Date(2026, 2, 28)), E_INVALIDARG);
  EXPECT_EQ(pattern->put_PatternEndDate(-1e300), E_INVALIDARG);
  EXPECT_EQ(pattern->put_PatternEndDate(1e300), E_INVALIDARG);
  EXPECT_EQ(pattern->put_PatternStartDate(-1e300), E_INVALIDARG);
  LONG interval = 0;
  pattern->get_Interval(&interval);
  EXPECT_EQ(interval, 1500);
  pattern->Release();
  item->Release();
}

TEST_F(RecurrencePatternTest, AStartOutOfRangeStartsThePatternOnDayZero) {
  IAppointment* item = NewAppointment();
  item->put_Start(1e300);
  IRecurrencePattern* pattern = nullptr;
  ASSERT_EQ(item->GetRecurrencePattern(&pattern), S_OK);
  DATE start = -1;
  pattern->get_PatternStartDate(&start);
  EXPECT_EQ(start, 0.0);
  LONG mask = 0;
  pattern->get_DayOfWeekMask(&mask);
  EXPECT_EQ(mask, olSaturday);  // 1899-12-30
  pattern->Release();
  item->Release();
}

TEST_F(RecurrencePatternTest, EndByDateStillReportsItsOccurrences) {
  IAppointment* item = NewAppointment();
  item->put_Start(Date(2026, 2, 2, 9));
  IRecurrencePattern* pattern = nullptr;
  ASSERT_EQ(item->GetRecurrencePattern(&pattern), S_OK);
  ASSERT_EQ(pattern->put_PatternEndDate(Date(2026, 3, 2, 23, 59)), S_OK);
  LONG count = 0;
  EXPECT_EQ(pattern->get_Occurrences(&count), S_OK);
  EXPECT_EQ(count, 5);
  VARIANT_BOOL noEnd = VARIANT_TRUE;
  pattern->get_NoEndDate(&noEnd);
  EXPECT_EQ(noEnd, VARIANT_FALSE);
  pattern->Release();
  item->Release();
}

TEST_F(RecurrencePatternTest, TheStoredPatternCarriesTypeAndEndWord) {
  struct Case {
    LONG type;
    std::size_t at;
  };
  for (Case c : {Case{olRecursDaily, 22}, Case{olRecursWeekly, 26},
                 Case{olRecursMonthly, 26}, Case{olRecursMonthNth, 30},
                 Case{olRecursYearly, 22}, Case{olRecursYearNth, 22}}) {
    for (int end = 0; end < 3; ++end) {
      IDispatch* created = nullptr;
      bool task = end == 1;
      ASSERT_EQ(
          app_->CreateItem(task ? olTaskItem : olAppointmentItem, &created),
          S_OK);
      IRecurrencePattern* pattern = nullptr;
      if (task) {
        dynamic_cast<ITask*>(created)->GetRecurrencePattern(&pattern);
      } else {
        dynamic_cast<IAppointment*>(created)->GetRecurrencePattern(&pattern);
      }
      ASSERT_NE(pattern, nullptr);
      pattern->put_RecurrenceType(c.type);
      pattern->put_PatternStartDate(Date(2026, 1, 1));
      if (end == 0) pattern->put_PatternEndDate(Date(2027, 1, 1));
      if (end == 1) pattern->put_Occurrences(3);
      HRESULT saved = task ? dynamic_cast<ITask*>(created)->Save()
                           : dynamic_cast<IAppointment*>(created)->Save();
      ASSERT_EQ(saved, S_OK);
      LONG oid = 0;
      if (task) {
        dynamic_cast<ITask*>(created)->get_Oid(&oid);
      } else {
        dynamic_cast<IAppointment*>(created)->get_Oid(&oid);
      }
      std::vector<std::uint8_t> blob =
          StoredBlob(oid, task ? 0x41160041 : 0x40150041);
      EXPECT_EQ(WordAt(blob, 6), static_cast<std::uint32_t>(c.type));
      EXPECT_EQ(WordAt(blob, c.at), end == 0   ? 0x2021U
                                    : end == 1 ? 0x2022U
                                               : 0x2023U);
      pattern->Release();
      created->Release();
    }
  }
}

TEST_F(RecurrencePatternTest, OccurrencesExistOnlyOnThePatternsDays) {
  IAppointment* unsaved = NewAppointment();
  unsaved->put_Start(Date(2026, 2, 2, 9));
  IRecurrencePattern* early = nullptr;
  unsaved->GetRecurrencePattern(&early);
  IAppointment* occurrence = nullptr;
  EXPECT_EQ(early->GetOccurrence(Date(2026, 2, 2), &occurrence), E_FAIL);
  early->Release();
  unsaved->Release();

  LONG oid = SavedWeekly(3);
  IRecurrencePattern* pattern = PatternOf(oid);
  EXPECT_EQ(pattern->GetOccurrence(Date(2026, 2, 3, 9), &occurrence), E_FAIL);
  EXPECT_EQ(pattern->GetOccurrence(Date(2026, 2, 23, 9), &occurrence), E_FAIL);
  ASSERT_EQ(pattern->GetOccurrence(Date(2026, 2, 16, 15), &occurrence), S_OK);
  DATE start = 0;
  DATE end = 0;
  occurrence->get_Start(&start);
  occurrence->get_End(&end);
  EXPECT_DOUBLE_EQ(start, Date(2026, 2, 16, 9));
  EXPECT_DOUBLE_EQ(end, Date(2026, 2, 16, 10));
  BSTR subject = nullptr;
  occurrence->get_Subject(&subject);
  EXPECT_EQ(Take(subject), u"Series");
  LONG parent = 0;
  occurrence->get_Oid(&parent);
  EXPECT_EQ(parent, oid);
  occurrence->Release();
  pattern->Release();
}

TEST_F(RecurrencePatternTest, ChangedAndDeletedOccurrencesBecomeExceptions) {
  LONG oid = SavedWeekly(5);
  IRecurrencePattern* pattern = PatternOf(oid);
  IAppointment* occurrence = nullptr;
  ASSERT_EQ(pattern->GetOccurrence(Date(2026, 2, 9), &occurrence), S_OK);
  occurrence->put_Subject(u"Moved");
  occurrence->put_Start(Date(2026, 2, 10, 14));
  occurrence->put_End(Date(2026, 2, 10, 15));
  ASSERT_EQ(occurrence->Save(), S_OK);
  occurrence->Release();
  ASSERT_EQ(pattern->GetOccurrence(Date(2026, 2, 23), &occurrence), S_OK);
  ASSERT_EQ(occurrence->Delete(), S_OK);
  EXPECT_EQ(occurrence->Delete(), E_FAIL);
  occurrence->Release();

  // Days with an exception have no plain occurrence any more.
  EXPECT_EQ(pattern->GetOccurrence(Date(2026, 2, 9), &occurrence), E_FAIL);
  EXPECT_EQ(pattern->GetOccurrence(Date(2026, 2, 23), &occurrence), E_FAIL);

  IExceptions* exceptions = nullptr;
  ASSERT_EQ(pattern->get_Exceptions(&exceptions), S_OK);
  int count = 0;
  exceptions->get_Count(&count);
  ASSERT_EQ(count, 2);
  IException* changed = nullptr;
  IException* deleted = nullptr;
  ASSERT_EQ(exceptions->Item(1, &changed), S_OK);
  ASSERT_EQ(exceptions->Item(2, &deleted), S_OK);
  IException* missing = nullptr;
  EXPECT_EQ(exceptions->Item(3, &missing), E_INVALIDARG);
  EXPECT_EQ(missing, nullptr);
  DATE original = 0;
  changed->get_OriginalDate(&original);
  EXPECT_DOUBLE_EQ(original, Date(2026, 2, 9, 9));
  VARIANT_BOOL isDeleted = VARIANT_TRUE;
  changed->get_Deleted(&isDeleted);
  EXPECT_EQ(isDeleted, VARIANT_FALSE);
  IAppointment* item = nullptr;
  ASSERT_EQ(changed->get_AppointmentItem(&item), S_OK);
  BSTR subject = nullptr;
  item->get_Subject(&subject);
  EXPECT_EQ(Take(subject), u"Moved");
  DATE start = 0;
  item->get_Start(&start);
  EXPECT_DOUBLE_EQ(start, Date(2026, 2, 10, 14));
  item->Release();
  deleted->get_Deleted(&isDeleted);
  EXPECT_EQ(isDeleted, VARIANT_TRUE);
  EXPECT_EQ(deleted->get_AppointmentItem(&item), E_FAIL);
  EXPECT_EQ(item, nullptr);
  changed->Release();
  deleted->Release();
  exceptions->Release();
  pattern->Release();

  // Each exception logged a change of the series.
  auto log = writer_.List(u"\\VornAppointmentLog");
  ASSERT_EQ(log.size(), 3U);
  EXPECT_EQ(log[0].oid, static_cast<CEOID>(oid));
  EXPECT_EQ(log[0].kind, OutlookApp::kItemChanged);
  EXPECT_EQ(log[2].kind, OutlookApp::kItemAdded);
}

TEST_F(RecurrencePatternTest, ClearingThePatternDropsItAndItsExceptions) {
  LONG oid = SavedWeekly(5);
  IRecurrencePattern* pattern = PatternOf(oid);
  IAppointment* occurrence = nullptr;
  ASSERT_EQ(pattern->GetOccurrence(Date(2026, 2, 9), &occurrence), S_OK);
  occurrence->Delete();
  occurrence->Release();
  pattern->Release();
  EXPECT_FALSE(StoredBlob(oid, 0x40150041).empty());

  IDispatch* item = nullptr;
  ASSERT_EQ(app_->GetItemFromOid(oid, &item), S_OK);
  auto* appointment = dynamic_cast<IAppointment*>(item);
  ASSERT_EQ(appointment->ClearRecurrencePattern(), S_OK);
  ASSERT_EQ(appointment->Save(), S_OK);
  appointment->Release();
  EXPECT_TRUE(StoredBlob(oid, 0x40150041).empty());
  ASSERT_EQ(app_->GetItemFromOid(oid, &item), S_OK);
  VARIANT_BOOL recurring = VARIANT_TRUE;
  dynamic_cast<IAppointment*>(item)->get_IsRecurring(&recurring);
  EXPECT_EQ(recurring, VARIANT_FALSE);
  item->Release();
}

TEST_F(RecurrencePatternTest, SaveFaultsWithACountFailThatManySaves) {
  ASSERT_TRUE(faults_.Set("appointment-save", "0x80040067 2").ok());
  IAppointment* item = NewAppointment();
  EXPECT_EQ(item->Save(), static_cast<HRESULT>(0x80040067U));
  EXPECT_EQ(item->Save(), static_cast<HRESULT>(0x80040067U));
  EXPECT_EQ(item->Save(), S_OK);
  EXPECT_FALSE(faults_.IsSet("appointment-save"));
  item->Release();

  ASSERT_TRUE(faults_.Set("task-save", "-2147467259").ok());
  IDispatch* created = nullptr;
  ASSERT_EQ(app_->CreateItem(olTaskItem, &created), S_OK);
  auto* task = dynamic_cast<ITask*>(created);
  EXPECT_EQ(task->Save(), E_FAIL);
  EXPECT_EQ(task->Save(), E_FAIL);
  EXPECT_TRUE(faults_.IsSet("task-save"));
  task->Release();
}

TEST_F(RecurrencePatternTest, AReminderBeforeNowCannotBeKept) {
  app_->SetClock(
      [this]() -> std::optional<DATE> { return Date(2026, 1, 15, 12); });
  IAppointment* item = NewAppointment();
  item->put_Start(Date(2026, 1, 15, 13));
  item->put_ReminderSet(VARIANT_TRUE);
  item->put_ReminderMinutesBefore(61);
  EXPECT_EQ(item->Save(), static_cast<HRESULT>(0x80040067U));
  item->put_ReminderMinutesBefore(60);
  EXPECT_EQ(item->Save(), S_OK);
  // A past appointment keeps its reminder.
  item->put_Start(Date(2026, 1, 14, 13));
  EXPECT_EQ(item->Save(), S_OK);
  item->Release();
}

}  // namespace
}  // namespace device
