// vorn-device pim IMAGE add TYPE JSON
// vorn-device pim IMAGE set TYPE OID JSON
// vorn-device pim IMAGE delete TYPE OID
// vorn-device pim IMAGE ls TYPE [--json]
//
// Edits the handheld's contacts, appointments and tasks the way its user
// does: through the object model, with the change-log writer attached, so
// that every edit shows in the change logs as it would on the handheld.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "cli/vorn_device/pim_recurrence.h"
#include "device/device.h"
#include "device/image/utf8.h"
#include "device/kernel/ole_date.h"
#include "device/objstore/record_value.h"
#include "device/pim/appointment_item.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"
#include "device/pim/pim_json.h"
#include "device/pim/task_item.h"

namespace cli {
namespace {

using device::PimJson;

constexpr char kDetails[] =
    "Edits the handheld's contacts, appointments and tasks as its user does,\n"
    "through the handheld's object model; each edit is recorded in the\n"
    "type's change log. TYPE is contacts, appointments or tasks; OID is an\n"
    "item's object identifier (decimal or 0x-prefixed hex).\n"
    "\n"
    "JSON is one object of property names and values, given inline or as\n"
    "@FILE, e.g. {\"FirstName\": \"Ann\", \"Birthday\": \"1970-05-17\"}.\n"
    "Texts and dates are strings, numbers whole numbers, flags true or\n"
    "false. Dates are YYYY-MM-DD or YYYY-MM-DDTHH:MM:SS (handheld local\n"
    "time). An empty string or null clears a text or a date. add prints the\n"
    "new item's OID; set changes only the properties given. A bad key or\n"
    "value changes nothing.\n"
    "\n"
    "Numbers: Sensitivity 0-3 (normal, personal, private, confidential),\n"
    "BusyStatus 0-3 (free, tentative, busy, out of office), Importance 0-2\n"
    "(low, normal, high), ReminderMinutesBefore minutes.\n"
    "\n"
    "Appointments and tasks also take IsRecurring (false drops the pattern)\n"
    "and \"Recurrence\": an object of RecurrenceType (daily, weekly,\n"
    "monthly, monthnth, yearly, yearnth), Interval, DayOfWeekMask (Sunday 1,\n"
    "Monday 2, ... Saturday 64), DayOfMonth, Instance (1-5), MonthOfYear,\n"
    "PatternStartDate, PatternEndDate, Occurrences, NoEndDate (a flag); null\n"
    "drops the pattern. Appointments take \"Exceptions\": an array of\n"
    "{\"OriginalDate\": DATE, \"Deleted\": true} or {\"OriginalDate\": DATE,\n"
    "with any of \"Subject\", \"Location\", \"Body\", \"Start\", \"End\"}, "
    "made\n"
    "on the saved appointment's occurrence on that day as the user does.\n"
    "\n"
    "ls prints one line per item: the OID and a few names, separated by\n"
    "tabs; --json prints an array of objects with the OID (\"Oid\") and\n"
    "every property that has a value, with IsRecurring, Recurrence and\n"
    "Exceptions for appointments and tasks.\n";

// One property of an item as the command line names it: text, date,
// number or flag, reached through the item's own interface.
struct Property {
  enum Kind { kText, kDate, kNumber, kFlag };
  const char* name;
  Kind kind;
  HRESULT (*getText)(IDispatch*, BSTR*) = nullptr;
  HRESULT (*putText)(IDispatch*, LPCWSTR) = nullptr;
  HRESULT (*getDate)(IDispatch*, DATE*) = nullptr;
  HRESULT (*putDate)(IDispatch*, DATE) = nullptr;
  HRESULT (*getNumber)(IDispatch*, LONG*) = nullptr;
  HRESULT (*putNumber)(IDispatch*, LONG) = nullptr;
  HRESULT (*getFlag)(IDispatch*, VARIANT_BOOL*) = nullptr;
  HRESULT (*putFlag)(IDispatch*, VARIANT_BOOL) = nullptr;
};

IContact* Contact(IDispatch* item) { return dynamic_cast<IContact*>(item); }
device::AppointmentItem* Appointment(IDispatch* item) {
  return dynamic_cast<device::AppointmentItem*>(item);
}
device::TaskItem* Task(IDispatch* item) {
  return dynamic_cast<device::TaskItem*>(item);
}

#define VORN_PROPERTY(view, prop, how, type, put_type, field)                  \
  Property{                                                                    \
      .name = #prop,                                                           \
      .kind = Property::how,                                                   \
      .get##field = [](IDispatch* item,                                        \
                       type* value) { return view(item)->get_##prop(value); }, \
      .put##field =                                                            \
          [](IDispatch* item, put_type value) {                                \
            return view(item)->put_##prop(value);                              \
          }},
#define VORN_TEXT_PROPERTY(view, name) \
  VORN_PROPERTY(view, name, kText, BSTR, LPCWSTR, Text)
#define VORN_DATE_PROPERTY(view, name) \
  VORN_PROPERTY(view, name, kDate, DATE, DATE, Date)
#define VORN_NUMBER_PROPERTY(view, name) \
  VORN_PROPERTY(view, name, kNumber, LONG, LONG, Number)
#define VORN_FLAG_PROPERTY(view, name) \
  VORN_PROPERTY(view, name, kFlag, VARIANT_BOOL, VARIANT_BOOL, Flag)
#define VORN_CONTACT_TEXT(name) VORN_TEXT_PROPERTY(Contact, name)
#define VORN_CONTACT_DATE(name) VORN_DATE_PROPERTY(Contact, name)

const Property kContactProperties[] = {VORN_CONTACT_STRING_PROPERTIES(
    VORN_CONTACT_TEXT) VORN_CONTACT_DATE_PROPERTIES(VORN_CONTACT_DATE)};
const Property kAppointmentProperties[] = {
    VORN_TEXT_PROPERTY(Appointment, Subject) VORN_TEXT_PROPERTY(
        Appointment, Location) VORN_TEXT_PROPERTY(Appointment, Categories)
        VORN_TEXT_PROPERTY(Appointment, Body)
            VORN_FLAG_PROPERTY(Appointment, AllDayEvent) VORN_NUMBER_PROPERTY(
                Appointment, Sensitivity)
                VORN_NUMBER_PROPERTY(Appointment, BusyStatus)
                    VORN_FLAG_PROPERTY(Appointment, ReminderSet)
                        VORN_NUMBER_PROPERTY(Appointment, ReminderMinutesBefore)
                            VORN_DATE_PROPERTY(Appointment, Start)
                                VORN_DATE_PROPERTY(Appointment, End)};
const Property kTaskProperties[] = {
    VORN_TEXT_PROPERTY(Task, Subject) VORN_TEXT_PROPERTY(Task, Categories)
        VORN_TEXT_PROPERTY(Task, Body) VORN_DATE_PROPERTY(Task, StartDate)
            VORN_DATE_PROPERTY(Task, DueDate) VORN_NUMBER_PROPERTY(
                Task, Importance) VORN_FLAG_PROPERTY(Task, Complete)
                VORN_NUMBER_PROPERTY(Task, Sensitivity) VORN_FLAG_PROPERTY(
                    Task, ReminderSet) VORN_DATE_PROPERTY(Task, ReminderTime)};

#undef VORN_CONTACT_DATE
#undef VORN_CONTACT_TEXT
#undef VORN_DATE_PROPERTY
#undef VORN_FLAG_PROPERTY
#undef VORN_NUMBER_PROPERTY
#undef VORN_TEXT_PROPERTY
#undef VORN_PROPERTY

const char* const kContactColumns[] = {"FileAs", "FirstName", "LastName",
                                       "CompanyName", "Email1Address"};
const char* const kSubjectColumns[] = {"Subject"};

// A kind of item: its names, its folder and what can be done with it.
struct ItemKind {
  const char* type;  // as TYPE names it
  const char* noun;
  int itemType;
  int folder;
  std::span<const Property> properties;
  std::span<const char* const> columns;  // shown by ls
  bool (*is)(IDispatch*);
  HRESULT (*save)(IDispatch*);
  HRESULT (*remove)(IDispatch*);
  HRESULT (*oid)(IDispatch*, LONG*);
  // Recurrence (null for contacts).
  HRESULT (*isRecurring)(IDispatch*, VARIANT_BOOL*);
  HRESULT (*pattern)(IDispatch*, IRecurrencePattern**);
  HRESULT (*clearPattern)(IDispatch*);
  bool exceptions;  // takes "Exceptions"
};

const ItemKind kKinds[] = {
    {"contacts", "contact", olContactItem, olFolderContacts, kContactProperties,
     kContactColumns, [](IDispatch* item) { return Contact(item) != nullptr; },
     [](IDispatch* item) { return Contact(item)->Save(); },
     [](IDispatch* item) { return Contact(item)->Delete(); },
     [](IDispatch* item, LONG* oid) { return Contact(item)->get_Oid(oid); },
     nullptr, nullptr, nullptr, false},
    {"appointments", "appointment", olAppointmentItem, olFolderCalendar,
     kAppointmentProperties, kSubjectColumns,
     [](IDispatch* item) { return Appointment(item) != nullptr; },
     [](IDispatch* item) { return Appointment(item)->Save(); },
     [](IDispatch* item) { return Appointment(item)->Delete(); },
     [](IDispatch* item, LONG* oid) { return Appointment(item)->get_Oid(oid); },
     [](IDispatch* item, VARIANT_BOOL* value) {
       return Appointment(item)->get_IsRecurring(value);
     },
     [](IDispatch* item, IRecurrencePattern** pattern) {
       return Appointment(item)->GetRecurrencePattern(pattern);
     },
     [](IDispatch* item) {
       return Appointment(item)->ClearRecurrencePattern();
     },
     true},
    {"tasks", "task", olTaskItem, olFolderTasks, kTaskProperties,
     kSubjectColumns, [](IDispatch* item) { return Task(item) != nullptr; },
     [](IDispatch* item) { return Task(item)->Save(); },
     [](IDispatch* item) { return Task(item)->Delete(); },
     [](IDispatch* item, LONG* oid) { return Task(item)->get_Oid(oid); },
     [](IDispatch* item, VARIANT_BOOL* value) {
       return Task(item)->get_IsRecurring(value);
     },
     [](IDispatch* item, IRecurrencePattern** pattern) {
       return Task(item)->GetRecurrencePattern(pattern);
     },
     [](IDispatch* item) { return Task(item)->ClearRecurrencePattern(); },
     false},
};

const ItemKind* KindOf(const std::string& type) {
  for (const ItemKind& kind : kKinds) {
    if (type == kind.type) return &kind;
  }
  return nullptr;
}

const Property* PropertyOf(const ItemKind& kind, std::string_view name) {
  for (const Property& property : kind.properties) {
    if (name == property.name) return &property;
  }
  return nullptr;
}

// One property to set: text ("" clears), a date (nullopt clears), a
// number or a flag.
struct Edit {
  const Property* property = nullptr;
  std::u16string text;
  std::optional<SYSTEMTIME> date;
  LONG number = 0;
  VARIANT_BOOL flag = VARIANT_FALSE;
};

struct Request {
  std::string image;
  std::string action;
  const ItemKind* kind = nullptr;
  DWORD oid = 0;
  std::vector<Edit> edits;
  // IsRecurring given: false drops the pattern (as does "Recurrence":
  // null), true makes the item recur.
  std::optional<bool> recurring;
  PimRecurrence recurrence;
  bool json = false;
};

std::string Hex(HRESULT result) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(result));
  return text;
}

std::optional<DWORD> ParseOid(std::string_view digits) {
  std::optional<DWORD> value = cli_common::ParseUint32(digits);
  if (value == 0U) return std::nullopt;
  return value;
}

// The JSON text of an argument: inline, or the contents of @FILE.
std::optional<std::string> JsonText(const std::string& argument,
                                    std::string* problem) {
  if (!argument.starts_with("@")) return argument;
  std::ifstream file(argument.substr(1), std::ios::binary);
  if (!file) {
    *problem = "cannot read '" + argument.substr(1) + "'";
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file),
                     std::istreambuf_iterator<char>());
}

// The edit of `value` for `property`, or the problem.
std::optional<std::string> ReadValue(const Property& property,
                                     const std::string& key,
                                     const PimJson::Json& value, Edit* edit) {
  edit->property = &property;
  switch (property.kind) {
    case Property::kNumber:
      if (!value.is_number_integer() || value.get<long long>() < -0x7FFFFFFF ||
          value.get<long long>() > 0x7FFFFFFF) {
        return "the value of " + key + " must be a whole number";
      }
      edit->number = static_cast<LONG>(value.get<long long>());
      return std::nullopt;
    case Property::kFlag:
      if (!value.is_boolean()) {
        return "the value of " + key + " must be true or false";
      }
      edit->flag = value.get<bool>() ? VARIANT_TRUE : VARIANT_FALSE;
      return std::nullopt;
    case Property::kText:
    case Property::kDate:
      break;
  }
  if (!value.is_string() && !value.is_null()) {
    return "the value of " + key + " must be a string or null";
  }
  std::u16string text =
      value.is_null()
          ? std::u16string()
          : device::Utf8ToUtf16(value.get_ref<const std::string&>());
  if (text.find(u'\0') != std::u16string::npos) {
    return "the value of " + key + " holds a NUL character";
  }
  if (property.kind == Property::kDate && !text.empty()) {
    auto date = PimJson::ParseDate(text);
    if (!date.ok()) return key + ": " + date.status().message();
    if (!device::SystemTimeToOleDate(*date)) {
      return key + ": the year must be 100 to 9999";
    }
    edit->date = *date;
  }
  edit->text = std::move(text);
  return std::nullopt;
}

// The edits of a JSON argument, checked against the kind's properties.
std::optional<std::string> ParseEdits(const ItemKind& kind,
                                      const std::string& argument,
                                      Request* request) {
  std::string problem;
  std::optional<std::string> text = JsonText(argument, &problem);
  if (!text) return problem;
  auto parsed = PimJson::Parse(*text);
  if (!parsed.ok()) return parsed.status().message();
  for (const auto& [key, value] : parsed->items()) {
    if (kind.pattern != nullptr && key == "IsRecurring") {
      if (!value.is_boolean()) {
        return "the value of IsRecurring must be true or false";
      }
      request->recurring = value.get<bool>();
      continue;
    }
    if (kind.pattern != nullptr && key == "Recurrence") {
      if (value.is_null()) {
        request->recurring = false;
      } else if (auto bad = request->recurrence.ParsePattern(value)) {
        return bad;
      }
      continue;
    }
    if (kind.exceptions && key == "Exceptions") {
      if (auto bad = request->recurrence.ParseExceptions(value)) return bad;
      continue;
    }
    const Property* property = PropertyOf(kind, key);
    if (property == nullptr) {
      return std::string(kind.type) + " have no property '" + key +
             "' (see --help)";
    }
    Edit edit;
    if (auto bad = ReadValue(*property, key, value, &edit)) return bad;
    request->edits.push_back(std::move(edit));
  }
  if (request->recurring == false && (request->recurrence.hasPattern() ||
                                      request->recurrence.hasExceptions())) {
    return "an item that does not recur takes no Recurrence or Exceptions";
  }
  return std::nullopt;
}

// Holds one reference of an object model object and gives it back.
template <typename T>
class Reference {
 public:
  explicit Reference(T* object) : object_(object) {}
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() {
    if (object_ != nullptr) object_->Release();
  }
  T* get() const { return object_; }

 private:
  T* object_;
};

std::string PlainColumn(std::u16string text) {
  for (char16_t& unit : text) {
    if (unit < 0x20 || unit == 0x7F) unit = u' ';
  }
  return device::Utf16ToUtf8(text);
}

// The work of one command on an opened handheld.
class PimSession {
 public:
  PimSession(device::Device& handheld, const Request& request)
      : request_(request),
        kind_(*request.kind),
        writer_(handheld.changeLog()),
        app_(new device::OutlookApp(handheld.context(),
                                    handheld.objectStore())) {
    app_->SetChangeHook([this](int itemType, CEOID oid, int kind) {
      writer_.OnChange(itemType, oid, kind);
    });
  }
  PimSession(const PimSession&) = delete;
  PimSession& operator=(const PimSession&) = delete;
  ~PimSession() {
    app_->Logoff();
    app_->Release();
  }

  // Runs the request; what to print on success goes to *output.
  device::Status Run(std::string* output) {
    HRESULT result = app_->Logon(0);
    if (FAILED(result)) return Error("Logon failed with " + Hex(result));
    if (request_.action == "ls") return List(output);
    IDispatch* item = nullptr;
    if (request_.action == "add") {
      result = app_->CreateItem(kind_.itemType, &item);
      if (FAILED(result)) return Error("CreateItem failed with " + Hex(result));
    } else {
      result = app_->GetItemFromOid(static_cast<LONG>(request_.oid), &item);
      if (FAILED(result) || item == nullptr) {
        return Error("no item has OID " + std::to_string(request_.oid));
      }
    }
    Reference<IDispatch> held(item);
    if (!kind_.is(item)) {
      return Error("OID " + std::to_string(request_.oid) + " is no " +
                   kind_.noun);
    }
    if (request_.action == "delete") {
      result = kind_.remove(item);
      if (FAILED(result)) return Error("Delete failed with " + Hex(result));
      return writer_.lastStatus();
    }
    device::Status applied = Apply(item);
    if (applied.ok()) applied = ApplyPattern(item);
    if (!applied.ok()) return applied;
    result = kind_.save(item);
    if (FAILED(result)) return Error("Save failed with " + Hex(result));
    if (!writer_.lastStatus().ok()) return writer_.lastStatus();
    applied = ApplyExceptions(item);
    if (!applied.ok()) return applied;
    if (request_.action == "add") {
      LONG oid = 0;
      kind_.oid(item, &oid);
      *output = std::to_string(static_cast<DWORD>(oid)) + "\n";
    }
    return device::Status::Ok();
  }

 private:
  static device::Status Error(const std::string& message) {
    return device::Status::Error(message);
  }

  device::Status Apply(IDispatch* item) {
    for (const Edit& edit : request_.edits) {
      const Property& property = *edit.property;
      HRESULT result = S_OK;
      switch (property.kind) {
        case Property::kDate: {
          DATE date = device::kOleNoDate;
          SYSTEMTIME time = edit.date.value_or(SYSTEMTIME{});
          if (edit.date) result = app_->SystemTimeToVariantTime(&time, &date);
          if (SUCCEEDED(result)) result = property.putDate(item, date);
          break;
        }
        case Property::kText:
          result = property.putText(item, edit.text.c_str());
          break;
        case Property::kNumber:
          result = property.putNumber(item, edit.number);
          break;
        case Property::kFlag:
          result = property.putFlag(item, edit.flag);
          break;
      }
      if (FAILED(result)) {
        return Error(std::string("setting ") + property.name + " failed with " +
                     Hex(result));
      }
    }
    return device::Status::Ok();
  }

  // IsRecurring and Recurrence, set before the item is saved.
  device::Status ApplyPattern(IDispatch* item) {
    if (request_.recurring == false) {
      HRESULT result = kind_.clearPattern(item);
      if (FAILED(result)) {
        return Error("ClearRecurrencePattern failed with " + Hex(result));
      }
      return device::Status::Ok();
    }
    if (request_.recurring != true && !request_.recurrence.hasPattern()) {
      return device::Status::Ok();
    }
    IRecurrencePattern* pattern = nullptr;
    HRESULT result = kind_.pattern(item, &pattern);
    if (FAILED(result) || pattern == nullptr) {
      return Error("GetRecurrencePattern failed with " + Hex(result));
    }
    Reference<IRecurrencePattern> held(pattern);
    if (auto problem = request_.recurrence.ApplyPattern(pattern)) {
      return Error(*problem);
    }
    return device::Status::Ok();
  }

  // Exceptions, made on the saved appointment's occurrences.
  device::Status ApplyExceptions(IDispatch* item) {
    if (!request_.recurrence.hasExceptions()) return device::Status::Ok();
    VARIANT_BOOL recurring = VARIANT_FALSE;
    kind_.isRecurring(item, &recurring);
    if (recurring == VARIANT_FALSE) {
      return Error("the appointment does not recur, so it has no Exceptions");
    }
    IRecurrencePattern* pattern = nullptr;
    HRESULT result = kind_.pattern(item, &pattern);
    if (FAILED(result) || pattern == nullptr) {
      return Error("GetRecurrencePattern failed with " + Hex(result));
    }
    Reference<IRecurrencePattern> held(pattern);
    auto problem = request_.recurrence.ApplyExceptions(
        pattern, [this]() -> std::optional<std::string> {
          if (writer_.lastStatus().ok()) return std::nullopt;
          return writer_.lastStatus().message();
        });
    return problem ? Error(*problem) : device::Status::Ok();
  }

  std::u16string Text(IDispatch* item, const Property& property) {
    BSTR value = nullptr;
    std::u16string text;
    if (SUCCEEDED(property.getText(item, &value)) && value != nullptr) {
      text = value;
    }
    app_->SysFreeString(value);
    return text;
  }

  std::optional<std::string> Date(IDispatch* item, const Property& property) {
    DATE date = device::kOleNoDate;
    SYSTEMTIME time;
    if (FAILED(property.getDate(item, &date)) || date == device::kOleNoDate ||
        FAILED(app_->VariantTimeToSystemTime(date, &time))) {
      return std::nullopt;
    }
    return PimJson::FormatDate(time);
  }

  std::string Describe(IDispatch* item, LONG oid) {
    std::string line = std::to_string(static_cast<DWORD>(oid));
    if (!request_.json) {
      for (const char* column : kind_.columns) {
        line += "\t" + PlainColumn(Text(item, *PropertyOf(kind_, column)));
      }
      return line + "\n";
    }
    PimJson::Json object = PimJson::Json::object();
    object["Oid"] = static_cast<DWORD>(oid);
    for (const Property& property : kind_.properties) {
      switch (property.kind) {
        case Property::kDate:
          if (std::optional<std::string> date = Date(item, property)) {
            object[property.name] = *date;
          }
          break;
        case Property::kText:
          if (std::u16string text = Text(item, property); !text.empty()) {
            object[property.name] = device::Utf16ToValidUtf8(text);
          }
          break;
        case Property::kNumber: {
          LONG number = 0;
          if (SUCCEEDED(property.getNumber(item, &number))) {
            object[property.name] = number;
          }
          break;
        }
        case Property::kFlag: {
          VARIANT_BOOL flag = VARIANT_FALSE;
          if (SUCCEEDED(property.getFlag(item, &flag))) {
            object[property.name] = flag != VARIANT_FALSE;
          }
          break;
        }
      }
    }
    if (kind_.pattern != nullptr) DescribeRecurrence(item, object);
    return PimJson::Write(object);
  }

  // IsRecurring, and the pattern and exceptions of an item that recurs.
  void DescribeRecurrence(IDispatch* item, PimJson::Json& object) {
    VARIANT_BOOL recurring = VARIANT_FALSE;
    kind_.isRecurring(item, &recurring);
    object["IsRecurring"] = recurring != VARIANT_FALSE;
    if (recurring == VARIANT_FALSE) return;
    IRecurrencePattern* pattern = nullptr;
    if (FAILED(kind_.pattern(item, &pattern)) || pattern == nullptr) return;
    Reference<IRecurrencePattern> held(pattern);
    object["Recurrence"] = PimRecurrence::DescribePattern(pattern);
    if (!kind_.exceptions) return;
    PimJson::Json exceptions = PimRecurrence::DescribeExceptions(pattern, app_);
    if (!exceptions.empty()) object["Exceptions"] = std::move(exceptions);
  }

  device::Status List(std::string* output) {
    IFolder* folder = nullptr;
    HRESULT result = app_->GetDefaultFolder(kind_.folder, &folder);
    if (FAILED(result)) return Error("GetDefaultFolder failed: " + Hex(result));
    Reference<IFolder> heldFolder(folder);
    IPOutlookItemCollection* items = nullptr;
    result = folder->get_Items(&items);
    if (FAILED(result)) return Error("get_Items failed: " + Hex(result));
    Reference<IPOutlookItemCollection> heldItems(items);
    int count = 0;
    items->get_Count(&count);
    std::vector<std::string> lines;
    for (int i = 1; i <= count; ++i) {
      IDispatch* item = nullptr;
      if (FAILED(items->Item(i, &item)) || item == nullptr) continue;
      Reference<IDispatch> held(item);
      LONG oid = 0;
      kind_.oid(item, &oid);
      lines.push_back(Describe(item, oid));
    }
    if (!request_.json) {
      for (const std::string& line : lines) *output += line;
      return device::Status::Ok();
    }
    // One array, one item per line (each written by PimJson::Write).
    *output = "[";
    for (std::size_t i = 0; i < lines.size(); ++i) {
      *output += (i == 0 ? "\n" : ",\n") + lines[i];
    }
    *output += lines.empty() ? "]\n" : "\n]\n";
    return device::Status::Ok();
  }

  const Request& request_;
  const ItemKind& kind_;
  device::ChangeLogWriter& writer_;
  device::OutlookApp* app_;
};

// kDetails, then the properties of each kind.
std::string Details() {
  std::string text = kDetails;
  for (const ItemKind& kind : kKinds) {
    text += "\nproperties of " + std::string(kind.type) + ":";
    std::size_t column = 80;
    std::vector<std::string> names;
    for (const Property& property : kind.properties) {
      names.emplace_back(property.name);
    }
    if (kind.pattern != nullptr) {
      names.insert(names.end(), {"IsRecurring", "Recurrence"});
    }
    if (kind.exceptions) names.emplace_back("Exceptions");
    for (const std::string& name : names) {
      if (column + name.size() + 1 > 76) {
        text += "\n ";
        column = 1;
      }
      text += " " + name;
      column += name.size() + 1;
    }
    text += "\n";
  }
  // The keys of "Recurrence" and of an exception, wrapped likewise.
  for (const std::string& keys :
       {"keys of Recurrence: " + PimRecurrence::PatternKeys(),
        "keys of an exception: " + PimRecurrence::ExceptionKeys()}) {
    text += "\n";
    std::size_t line_start = text.size();
    std::istringstream words(keys);
    for (std::string word; words >> word;) {
      if (text.size() > line_start &&
          text.size() - line_start + word.size() > 76) {
        text += "\n ";
        line_start = text.size() - 1;
      }
      if (text.size() > line_start) text += " ";
      text += word;
    }
    text += "\n";
  }
  text.pop_back();  // the footer's own line end follows
  return text;
}

int Run(const Request& request) {
  std::string output;
  // Listing changes nothing the user could see: it is rolled back, so the
  // databases the object model makes on its first start wait for the first
  // edit.
  int status = RunInTransaction(
      "pim", request.image,
      [&](device::Device& handheld) {
        PimSession session(handheld, request);
        return session.Run(&output);
      },
      kExitFailure, request.action != "ls");
  if (status == 0) std::cout << output;
  return status;
}

// The action `name` with its TYPE.
CLI::App* AddAction(CLI::App& pim, const std::string& name,
                    const std::string& description, Request& request) {
  CLI::App* action = pim.add_subcommand(name, description);
  action
      ->add_option_function<std::string>(
          "TYPE",
          [&request](const std::string& type) {
            request.kind = KindOf(type);
            if (request.kind == nullptr) {
              cli_common::BadArgument("unknown TYPE '" + type +
                                      "' (contacts, appointments or tasks)");
            }
          },
          "contacts, appointments or tasks")
      ->required();
  action->callback([&request, name] { request.action = name; });
  return action;
}

void AddOid(CLI::App& action, Request& request) {
  action
      .add_option_function<std::string>(
          "OID",
          [&request](const std::string& text) {
            std::optional<DWORD> oid = ParseOid(text);
            if (!oid) cli_common::BadArgument("bad OID '" + text + "'");
            request.oid = *oid;
          },
          "the item's object identifier, decimal or 0x hex")
      ->required();
}

// The positional JSON, read once TYPE is known.
void AddJson(CLI::App& action, Request& request) {
  auto json = std::make_shared<std::string>();
  action
      .add_option("JSON", *json,
                  "an object of property names and values, or @FILE")
      ->required();
  action.callback([&request, json, name = action.get_name()] {
    request.action = name;
    if (std::optional<std::string> problem =
            ParseEdits(*request.kind, *json, &request)) {
      cli_common::BadArgument(*problem);
    }
  });
}

}  // namespace

void DefinePim(CLI::App& app, Work& work) {
  auto request = std::make_shared<Request>();
  CLI::App* pim = app.add_subcommand(
      "pim", "edit contacts, appointments and tasks as the user does");
  pim->footer(Details());
  pim->add_option("IMAGE", request->image, "the device image")->required();
  pim->require_subcommand(1);
  AddJson(*AddAction(*pim, "add", "add an item; prints its OID", *request),
          *request);
  CLI::App* set =
      AddAction(*pim, "set", "change an item's properties", *request);
  AddOid(*set, *request);
  AddJson(*set, *request);
  AddOid(*AddAction(*pim, "delete", "delete an item", *request), *request);
  AddAction(*pim, "ls", "list the items", *request)
      ->add_flag("--json", request->json, "print a JSON array");
  pim->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
