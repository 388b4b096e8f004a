// The recurrence pattern of an appointment or task. The pattern and its
// item share one RecurrenceState: setters change it at once, and the item
// writes it to its record when it is saved.
//
// A new pattern (GetRecurrencePattern on an item that does not recur) is
// weekly, every week, on the weekday of the item's start (StartDate for
// tasks), from that day, never ending; it starts from day 0 (1899-12-30)
// when the item has no start.
//
// Setters refuse values out of range with E_INVALIDARG and keep the old
// value: a type other than 0, 1, 2, 3, 5, 6; an interval or occurrences
// below 1; a day-of-week mask outside 0..127; a day of the month outside
// 1..31; an instance outside 1..5; a month outside 1..12; an end date
// before the start date. put_PatternEndDate makes the pattern end by date,
// put_Occurrences after that count, put_NoEndDate(VARIANT_TRUE) never;
// put_NoEndDate(VARIANT_FALSE) on a pattern that never ends makes it end
// after one occurrence.
//
// get_Occurrences succeeds for a pattern that ends by date too, with the
// number of occurrences up to that date; it fails for one that never
// ends. get_PatternEndDate gives the last occurrence's day for a pattern
// that ends after a count, and the no-date value for one that never ends.
//
// GetOccurrence and get_Exceptions work on appointments that were saved:
// GetOccurrence gives the occurrence on the day of the date given (the
// time is ignored) when the pattern has one there and it has no exception
// yet; otherwise it fails with E_FAIL. Saving that occurrence makes it a
// changed exception, deleting it a deleted one. get_Exceptions lists the
// exceptions as the record holds them now.
#ifndef VORN_DEVICE_PIM_RECURRENCE_PATTERN_H_
#define VORN_DEVICE_PIM_RECURRENCE_PATTERN_H_

#include <memory>

#include "device/pim/pim_object.h"
#include "device/pim/recurrence_record.h"
#include "platform/pimstore.h"

namespace device {

struct RecurrenceState {
  explicit RecurrenceState(int type) : itemType(type) {}
  int itemType;
  bool recurring = false;
  // Changed since the item was loaded or saved.
  bool dirty = false;
  RecurrenceRecord record;
  // The item's record once it has been saved.
  CEOID owner = 0;
  // The item's start (appointments) or start date (tasks).
  DATE itemStart = 949998.0;

  // Makes the item recur with the default pattern when it does not yet.
  void Begin();
  // Drops the pattern and the exceptions.
  void Clear();
};

class RecurrencePattern final : public IRecurrencePattern, public PimObject {
 public:
  RecurrencePattern(OutlookApp& app, std::shared_ptr<RecurrenceState> state)
      : PimObject(app), state_(std::move(state)) {}

  HRESULT QueryInterface(REFIID iid, void** object) override {
    return QueryDispatch(this, iid, object);
  }
  ULONG AddRef() override { return AddReference(); }
  ULONG Release() override { return ReleaseReference(); }

  HRESULT get_RecurrenceType(LONG* value) override;
  HRESULT put_RecurrenceType(LONG value) override;
  HRESULT get_Occurrences(LONG* value) override;
  HRESULT put_Occurrences(LONG value) override;
  HRESULT get_Interval(LONG* value) override;
  HRESULT put_Interval(LONG value) override;
  HRESULT get_DayOfWeekMask(LONG* value) override;
  HRESULT put_DayOfWeekMask(LONG value) override;
  HRESULT get_DayOfMonth(LONG* value) override;
  HRESULT put_DayOfMonth(LONG value) override;
  HRESULT get_Instance(LONG* value) override;
  HRESULT put_Instance(LONG value) override;
  HRESULT get_MonthOfYear(LONG* value) override;
  HRESULT put_MonthOfYear(LONG value) override;
  HRESULT get_PatternStartDate(DATE* value) override;
  HRESULT put_PatternStartDate(DATE value) override;
  HRESULT get_PatternEndDate(DATE* value) override;
  HRESULT put_PatternEndDate(DATE value) override;
  HRESULT get_NoEndDate(VARIANT_BOOL* value) override;
  HRESULT put_NoEndDate(VARIANT_BOOL value) override;
  HRESULT get_Exceptions(IExceptions** exceptions) override;
  HRESULT GetOccurrence(DATE date, IAppointment** occurrence) override;

 private:
  HRESULT Get(LONG* out, LONG value);
  // Stores `value` into `field` when `valid`.
  HRESULT Put(LONG& field, LONG value, bool valid);
  RecurrenceRule& rule() { return state_->record.rule; }

  std::shared_ptr<RecurrenceState> state_;
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_RECURRENCE_PATTERN_H_
