#include "bench/support/calendar_book.h"

#include <string>

#include "platform/pimstore.h"

namespace bench {
namespace {

// 2027-01-04, a Monday (OLE automation date).
constexpr DATE kFirstDay = 46391.0;
constexpr DATE kHour = 1.0 / 24;

std::u16string Number(std::uint32_t n) {
  std::u16string text;
  for (char c : std::to_string(n)) text += static_cast<char16_t>(c);
  return text;
}

// Makes the saved appointment `item` recur weekly for a year, then moves
// its third occurrence by an hour and deletes its fifth.
void MakeRecurring(IAppointment* item, DATE start) {
  IRecurrencePattern* pattern = nullptr;
  if (item->GetRecurrencePattern(&pattern) < 0) Die("no recurrence pattern");
  pattern->put_RecurrenceType(olRecursWeekly);
  pattern->put_Interval(1);
  pattern->put_Occurrences(52);
  pattern->Release();
  if (item->Save() < 0) Die("saving a recurring appointment failed");
  if (item->GetRecurrencePattern(&pattern) < 0) Die("no recurrence pattern");
  IAppointment* moved = nullptr;
  if (pattern->GetOccurrence(start + 14, &moved) < 0) Die("no 3rd occurrence");
  moved->put_Start(start + 14 + kHour);
  moved->put_End(start + 14 + 2 * kHour);
  moved->put_Subject(u"Moved by an hour");
  if (moved->Save() < 0) Die("saving an exception failed");
  moved->Release();
  IAppointment* gone = nullptr;
  if (pattern->GetOccurrence(start + 28, &gone) < 0) Die("no 5th occurrence");
  if (gone->Delete() < 0) Die("deleting an occurrence failed");
  gone->Release();
  pattern->Release();
}

}  // namespace

void CalendarBook::AddAppointments(std::uint32_t count) {
  handheld_.Edit([&](device::OutlookApp& app) {
    for (std::uint32_t i = 0; i < count; ++i) {
      oids_.push_back(Add(app, next_++));
      if (i % 1000 == 999) app.SweepReleasedItems();
    }
  });
}

void CalendarBook::EditAppointments(std::uint32_t edits, std::mt19937& random) {
  handheld_.EditItems(
      oids_, edits, random,
      [this](device::OutlookApp& app) { return Add(app, next_++); },
      [](IDispatch* item, bool remove) {
        auto* appointment = platform::ItemAs<IAppointment>(item);
        if (remove) {
          if (appointment->Delete() < 0) Die("delete failed");
          return;
        }
        appointment->put_Location(u"Changed in the benchmark");
        if (appointment->Save() < 0) Die("save failed");
      });
}

CEOID CalendarBook::Add(device::OutlookApp& app, std::uint32_t n) {
  IDispatch* item = nullptr;
  if (app.CreateItem(olAppointmentItem, &item) < 0) Die("CreateItem failed");
  auto* appointment = platform::ItemAs<IAppointment>(item);
  // One of a thousand days from the first and one of eight working hours.
  DATE start = kFirstDay + (n % 1000) + (8 + n % 8) * kHour;
  appointment->put_Subject((u"Meeting " + Number(n)).c_str());
  appointment->put_Location(u"Room 4");
  appointment->put_Categories(u"Work");
  appointment->put_Body(u"Agenda:\r\n1. Status\r\n2. Next steps");
  appointment->put_Start(start);
  appointment->put_End(start + kHour);
  appointment->put_BusyStatus(2);
  appointment->put_ReminderSet(VARIANT_TRUE);
  appointment->put_ReminderMinutesBefore(10);
  if (appointment->Save() < 0) Die("Save failed");
  if (n % 5 == 0) {
    MakeRecurring(appointment, start);
    ++recurring_;
  }
  LONG oid = 0;
  appointment->get_Oid(&oid);
  item->Release();
  return static_cast<CEOID>(oid);
}

}  // namespace bench
