// The handheld's contacts, calendar and tasks object model.
//
// The application object is created with CoCreateInstance(CLSID_Application,
// ..., IID_IPOutlookApp). Items come out of CreateItem and GetItemFromOid as
// IDispatch; ItemAs turns one into the interface of its kind. Strings handed
// out by getters are BSTRs that the caller returns with
// IPOutlookApp::SysFreeString. Dates are OLE automation dates (DATE).
#ifndef VORN_PLATFORM_PIMSTORE_H_
#define VORN_PLATFORM_PIMSTORE_H_

#include <cstdint>
#include <string>

#include "platform/com.h"
#include "platform/fault.h"
#include "platform/types.h"

using BSTR = WCHAR*;
using DATE = double;

// {05058F23-20BE-11D2-8F18-0000F87A4335}
inline constexpr CLSID CLSID_Application = {
    0x05058F23,
    0x20BE,
    0x11D2,
    {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};
// {05058F22-20BE-11D2-8F18-0000F87A4335}
inline constexpr IID IID_IPOutlookApp = {
    0x05058F22,
    0x20BE,
    0x11D2,
    {0x8F, 0x18, 0x00, 0x00, 0xF8, 0x7A, 0x43, 0x35}};

// Item types for CreateItem.
inline constexpr int olAppointmentItem = 1;
inline constexpr int olContactItem = 2;
inline constexpr int olTaskItem = 3;
// Default folders for GetDefaultFolder.
inline constexpr int olFolderCalendar = 9;
inline constexpr int olFolderContacts = 10;
inline constexpr int olFolderTasks = 13;

class IFolder;
class IPOutlookItemCollection;

class IPOutlookApp : public IDispatch {
 public:
  virtual HRESULT Logon(LONG hwnd) = 0;
  virtual HRESULT Logoff() = 0;
  virtual HRESULT GetDefaultFolder(int folder, IFolder** result) = 0;
  virtual HRESULT CreateItem(int itemType, IDispatch** item) = 0;
  virtual HRESULT GetItemFromOid(LONG oid, IDispatch** item) = 0;
  virtual HRESULT SystemTimeToVariantTime(SYSTEMTIME* time, DATE* date) = 0;
  virtual HRESULT VariantTimeToSystemTime(DATE date, SYSTEMTIME* time) = 0;
  virtual HRESULT SysFreeString(BSTR text) = 0;

 protected:
  ~IPOutlookApp() = default;
};

class IFolder : public IDispatch {
 public:
  virtual HRESULT get_Items(IPOutlookItemCollection** items) = 0;

 protected:
  ~IFolder() = default;
};

class IPOutlookItemCollection : public IDispatch {
 public:
  virtual HRESULT get_Count(int* count) = 0;
  // index counts from 1.
  virtual HRESULT Item(int index, IDispatch** item) = 0;
  virtual HRESULT Remove(int index) = 0;

 protected:
  ~IPOutlookItemCollection() = default;
};

// The contact's string properties, in the object model's order.
// clang-format off
#define VORN_CONTACT_STRING_PROPERTIES(X) \
  X(BusinessFaxNumber) \
  X(CompanyName) \
  X(Department) \
  X(Email1Address) \
  X(MobileTelephoneNumber) \
  X(OfficeLocation) \
  X(PagerNumber) \
  X(BusinessTelephoneNumber) \
  X(JobTitle) \
  X(HomeTelephoneNumber) \
  X(Email2Address) \
  X(Spouse) \
  X(Email3Address) \
  X(Home2TelephoneNumber) \
  X(HomeFaxNumber) \
  X(CarTelephoneNumber) \
  X(AssistantName) \
  X(AssistantTelephoneNumber) \
  X(Children) \
  X(Categories) \
  X(WebPage) \
  X(Business2TelephoneNumber) \
  X(Body) \
  X(RadioTelephoneNumber) \
  X(FileAs) \
  X(YomiCompanyName) \
  X(YomiFirstName) \
  X(YomiLastName) \
  X(Title) \
  X(FirstName) \
  X(MiddleName) \
  X(LastName) \
  X(Suffix) \
  X(HomeAddressStreet) \
  X(HomeAddressCity) \
  X(HomeAddressState) \
  X(HomeAddressPostalCode) \
  X(HomeAddressCountry) \
  X(OtherAddressStreet) \
  X(OtherAddressCity) \
  X(OtherAddressState) \
  X(OtherAddressPostalCode) \
  X(OtherAddressCountry) \
  X(BusinessAddressStreet) \
  X(BusinessAddressCity) \
  X(BusinessAddressState) \
  X(BusinessAddressPostalCode) \
  X(BusinessAddressCountry)
// clang-format on

// The contact's date properties.
#define VORN_CONTACT_DATE_PROPERTIES(X) X(Birthday) X(Anniversary)

class IContact : public IDispatch {
 public:
#define VORN_DECLARE_STRING(name)              \
  virtual HRESULT get_##name(BSTR* value) = 0; \
  virtual HRESULT put_##name(LPCWSTR value) = 0;
#define VORN_DECLARE_DATE(name)                \
  virtual HRESULT get_##name(DATE* value) = 0; \
  virtual HRESULT put_##name(DATE value) = 0;
  VORN_CONTACT_STRING_PROPERTIES(VORN_DECLARE_STRING)
  VORN_CONTACT_DATE_PROPERTIES(VORN_DECLARE_DATE)
#undef VORN_DECLARE_STRING
#undef VORN_DECLARE_DATE

  virtual HRESULT get_Oid(LONG* oid) = 0;
  virtual HRESULT Save() = 0;
  virtual HRESULT Delete() = 0;

 protected:
  ~IContact() = default;
};

// Automation booleans: VARIANT_TRUE is all bits set.
using VARIANT_BOOL = std::int16_t;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

// Sensitivity values.
inline constexpr LONG olNormal = 0;
inline constexpr LONG olPersonal = 1;
inline constexpr LONG olPrivate = 2;
inline constexpr LONG olConfidential = 3;

// Recurrence types (OlRecurrenceType).
inline constexpr LONG olRecursDaily = 0;
inline constexpr LONG olRecursWeekly = 1;
inline constexpr LONG olRecursMonthly = 2;
inline constexpr LONG olRecursMonthNth = 3;
inline constexpr LONG olRecursYearly = 5;
inline constexpr LONG olRecursYearNth = 6;

// Day-of-week mask bits (OlDaysOfWeek).
inline constexpr LONG olSunday = 1;
inline constexpr LONG olMonday = 2;
inline constexpr LONG olTuesday = 4;
inline constexpr LONG olWednesday = 8;
inline constexpr LONG olThursday = 16;
inline constexpr LONG olFriday = 32;
inline constexpr LONG olSaturday = 64;

class IAppointment;
class IExceptions;
class IException;

// The recurrence of an appointment or task. Setters take effect when the
// item is saved.
class IRecurrencePattern : public IDispatch {
 public:
#define VORN_DECLARE_LONG(name)                \
  virtual HRESULT get_##name(LONG* value) = 0; \
  virtual HRESULT put_##name(LONG value) = 0;
  VORN_DECLARE_LONG(RecurrenceType)
  VORN_DECLARE_LONG(Occurrences)
  VORN_DECLARE_LONG(Interval)
  VORN_DECLARE_LONG(DayOfWeekMask)
  VORN_DECLARE_LONG(DayOfMonth)
  VORN_DECLARE_LONG(Instance)
  VORN_DECLARE_LONG(MonthOfYear)
#undef VORN_DECLARE_LONG
  virtual HRESULT get_PatternStartDate(DATE* value) = 0;
  virtual HRESULT put_PatternStartDate(DATE value) = 0;
  virtual HRESULT get_PatternEndDate(DATE* value) = 0;
  virtual HRESULT put_PatternEndDate(DATE value) = 0;
  virtual HRESULT get_NoEndDate(VARIANT_BOOL* value) = 0;
  virtual HRESULT put_NoEndDate(VARIANT_BOOL value) = 0;
  // Changed and deleted occurrences (appointments only).
  virtual HRESULT get_Exceptions(IExceptions** exceptions) = 0;
  // The occurrence on the day of `date` (appointments only).
  virtual HRESULT GetOccurrence(DATE date, IAppointment** occurrence) = 0;

 protected:
  ~IRecurrencePattern() = default;
};

class IExceptions : public IDispatch {
 public:
  virtual HRESULT get_Count(int* count) = 0;
  // index counts from 1.
  virtual HRESULT Item(int index, IException** exception) = 0;

 protected:
  ~IExceptions() = default;
};

class IException : public IDispatch {
 public:
  virtual HRESULT get_OriginalDate(DATE* date) = 0;
  virtual HRESULT get_Deleted(VARIANT_BOOL* deleted) = 0;
  // The changed occurrence; fails for a deleted one.
  virtual HRESULT get_AppointmentItem(IAppointment** appointment) = 0;

 protected:
  ~IException() = default;
};

#define VORN_DECLARE_STRING(name)              \
  virtual HRESULT get_##name(BSTR* value) = 0; \
  virtual HRESULT put_##name(LPCWSTR value) = 0;
#define VORN_DECLARE_DATE(name)                \
  virtual HRESULT get_##name(DATE* value) = 0; \
  virtual HRESULT put_##name(DATE value) = 0;
#define VORN_DECLARE_LONG(name)                \
  virtual HRESULT get_##name(LONG* value) = 0; \
  virtual HRESULT put_##name(LONG value) = 0;
#define VORN_DECLARE_BOOL(name)                        \
  virtual HRESULT get_##name(VARIANT_BOOL* value) = 0; \
  virtual HRESULT put_##name(VARIANT_BOOL value) = 0;

class IAppointment : public IDispatch {
 public:
  VORN_DECLARE_STRING(Subject)
  VORN_DECLARE_STRING(Location)
  VORN_DECLARE_STRING(Categories)
  VORN_DECLARE_STRING(Body)
  VORN_DECLARE_BOOL(AllDayEvent)
  VORN_DECLARE_LONG(Sensitivity)
  VORN_DECLARE_LONG(BusyStatus)
  VORN_DECLARE_BOOL(ReminderSet)
  VORN_DECLARE_LONG(ReminderMinutesBefore)
  VORN_DECLARE_DATE(Start)
  VORN_DECLARE_DATE(End)
  virtual HRESULT get_IsRecurring(VARIANT_BOOL* value) = 0;
  // The item's pattern; an item that does not recur yet starts recurring.
  virtual HRESULT GetRecurrencePattern(IRecurrencePattern** pattern) = 0;
  virtual HRESULT ClearRecurrencePattern() = 0;
  virtual HRESULT get_Oid(LONG* oid) = 0;
  virtual HRESULT Save() = 0;
  virtual HRESULT Delete() = 0;

 protected:
  ~IAppointment() = default;
};

class ITask : public IDispatch {
 public:
  VORN_DECLARE_STRING(Subject)
  VORN_DECLARE_STRING(Categories)
  VORN_DECLARE_STRING(Body)
  VORN_DECLARE_DATE(StartDate)
  VORN_DECLARE_DATE(DueDate)
  VORN_DECLARE_LONG(Importance)
  VORN_DECLARE_BOOL(Complete)
  VORN_DECLARE_LONG(Sensitivity)
  VORN_DECLARE_BOOL(ReminderSet)
  VORN_DECLARE_DATE(ReminderTime)
  virtual HRESULT get_IsRecurring(VARIANT_BOOL* value) = 0;
  // The item's pattern; an item that does not recur yet starts recurring.
  virtual HRESULT GetRecurrencePattern(IRecurrencePattern** pattern) = 0;
  virtual HRESULT ClearRecurrencePattern() = 0;
  virtual HRESULT get_Oid(LONG* oid) = 0;
  virtual HRESULT Save() = 0;
  virtual HRESULT Delete() = 0;

 protected:
  ~ITask() = default;
};

#undef VORN_DECLARE_STRING
#undef VORN_DECLARE_DATE
#undef VORN_DECLARE_LONG
#undef VORN_DECLARE_BOOL

namespace platform {

// Views an item from CreateItem or GetItemFromOid as the interface of its
// kind. On the handheld the item pointer is used as that interface directly;
// an item of another kind would be a wild call, so here it is a fault.
template <typename Interface>
Interface* ItemAs(IDispatch* item) {
  auto* typed = dynamic_cast<Interface*>(item);
  if (typed == nullptr) {
    throw Fault("object model item used as an interface it does not have");
  }
  return typed;
}

}  // namespace platform

#endif  // VORN_PLATFORM_PIMSTORE_H_
