#include "cli/vorn_device/pim_recurrence.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>

#include "device/image/utf8.h"
#include "device/kernel/ole_date.h"

namespace cli {
namespace {

using Json = PimRecurrence::Json;

// RecurrenceType names and values.
struct TypeName {
  const char* name;
  LONG value;
};
constexpr TypeName kTypes[] = {
    {"daily", olRecursDaily},     {"weekly", olRecursWeekly},
    {"monthly", olRecursMonthly}, {"monthnth", olRecursMonthNth},
    {"yearly", olRecursYearly},   {"yearnth", olRecursYearNth},
};

std::string Hex(HRESULT result) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(result));
  return text;
}

// `value` as a date of the object model, or the problem.
std::optional<std::string> ReadDate(const std::string& key, const Json& value,
                                    DATE* date) {
  if (!value.is_string()) return "the value of " + key + " must be a date";
  auto time = device::PimJson::ParseDate(
      device::Utf8ToUtf16(value.get_ref<const std::string&>()));
  if (!time.ok()) return key + ": " + time.status().message();
  std::optional<double> ole = device::SystemTimeToOleDate(*time);
  if (!ole) return key + ": the year must be 100 to 9999";
  *date = *ole;
  return std::nullopt;
}

std::optional<std::string> ReadText(const std::string& key, const Json& value,
                                    std::u16string* text) {
  if (!value.is_string() && !value.is_null()) {
    return "the value of " + key + " must be a string or null";
  }
  *text = value.is_null()
              ? std::u16string()
              : device::Utf8ToUtf16(value.get_ref<const std::string&>());
  if (text->find(u'\0') != std::u16string::npos) {
    return "the value of " + key + " holds a NUL character";
  }
  return std::nullopt;
}

std::optional<std::string> FormatDate(DATE date) {
  if (date == device::kOleNoDate) return std::nullopt;
  std::optional<SYSTEMTIME> time = device::OleDateToSystemTime(date);
  if (!time) return std::nullopt;
  return device::PimJson::FormatDate(*time);
}

template <typename T>
class Held {
 public:
  explicit Held(T* object) : object_(object) {}
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    if (object_ != nullptr) object_->Release();
  }
  T* get() const { return object_; }

 private:
  T* object_;
};

}  // namespace

// One key of "Recurrence", in the order the keys are set.
struct PimRecurrence::Field {
  enum Kind { kType, kNumber, kDate, kFlag };
  const char* name;
  Kind kind;
  std::function<HRESULT(IRecurrencePattern*, const PatternEdit&)> put;
};

#define VORN_NUMBER_FIELD(name)                                   \
  PimRecurrence::Field {                                          \
#name, Field::kNumber,                                        \
        [](IRecurrencePattern * pattern,                          \
           const PatternEdit&                                     \
               edit) { return pattern->put_##name(edit.number); } \
  }
#define VORN_DATE_FIELD(name)                                                  \
  PimRecurrence::Field {                                                       \
#name, Field::kDate,                                                       \
        [](IRecurrencePattern * pattern,                                       \
           const PatternEdit& edit) { return pattern->put_##name(edit.date); } \
  }

const std::vector<PimRecurrence::Field>& PimRecurrence::Fields() {
  static const std::vector<Field> kFields = {
      {"RecurrenceType", Field::kType,
       [](IRecurrencePattern* pattern, const PatternEdit& edit) {
         return pattern->put_RecurrenceType(edit.number);
       }},
      VORN_NUMBER_FIELD(Interval),
      VORN_NUMBER_FIELD(DayOfWeekMask),
      VORN_NUMBER_FIELD(DayOfMonth),
      VORN_NUMBER_FIELD(Instance),
      VORN_NUMBER_FIELD(MonthOfYear),
      VORN_DATE_FIELD(PatternStartDate),
      VORN_DATE_FIELD(PatternEndDate),
      VORN_NUMBER_FIELD(Occurrences),
      {"NoEndDate", Field::kFlag,
       [](IRecurrencePattern* pattern, const PatternEdit& edit) {
         return pattern->put_NoEndDate(edit.number != 0 ? VARIANT_TRUE
                                                        : VARIANT_FALSE);
       }},
  };
  return kFields;
}

#undef VORN_DATE_FIELD
#undef VORN_NUMBER_FIELD

std::string PimRecurrence::PatternKeys() {
  std::string text;
  for (const Field& field : Fields()) {
    text += (text.empty() ? "" : " ") + std::string(field.name);
  }
  return text;
}

std::string PimRecurrence::ExceptionKeys() {
  return "OriginalDate Deleted Subject Location Body Start End";
}

std::optional<std::string> PimRecurrence::ParsePattern(const Json& value) {
  if (!value.is_object()) return "the value of Recurrence must be an object";
  for (const auto& [key, member] : value.items()) {
    const Field* found = nullptr;
    for (const Field& field : Fields()) {
      if (key == field.name) found = &field;
    }
    if (found == nullptr) {
      return "Recurrence has no key '" + key + "' (see --help)";
    }
    PatternEdit edit{found};
    const std::string name = "Recurrence." + key;
    switch (found->kind) {
      case Field::kType: {
        const TypeName* type = nullptr;
        if (member.is_string()) {
          for (const TypeName& candidate : kTypes) {
            if (member.get_ref<const std::string&>() == candidate.name) {
              type = &candidate;
            }
          }
        }
        if (type == nullptr) {
          return "the value of " + name +
                 " must be daily, weekly, monthly, monthnth, yearly or "
                 "yearnth";
        }
        edit.number = type->value;
        break;
      }
      case Field::kNumber:
        if (!member.is_number_integer() || member.get<long long>() < 0 ||
            member.get<long long>() > 0x7FFFFFFF) {
          return "the value of " + name + " must be a whole number";
        }
        edit.number = static_cast<LONG>(member.get<long long>());
        break;
      case Field::kDate:
        if (auto problem = ReadDate(name, member, &edit.date)) return problem;
        break;
      case Field::kFlag:
        if (!member.is_boolean()) {
          return "the value of " + name + " must be true or false";
        }
        edit.number = member.get<bool>() ? 1 : 0;
        break;
    }
    pattern_.push_back(edit);
  }
  std::stable_sort(pattern_.begin(), pattern_.end(),
                   [](const PatternEdit& a, const PatternEdit& b) {
                     return a.field < b.field;
                   });
  return std::nullopt;
}

std::optional<std::string> PimRecurrence::ParseExceptions(const Json& value) {
  if (!value.is_array()) return "the value of Exceptions must be an array";
  for (const Json& entry : value) {
    if (!entry.is_object()) return "each of Exceptions must be an object";
    OccurrenceEdit edit;
    bool dated = false;
    bool changed = false;
    for (const auto& [key, member] : entry.items()) {
      const std::string name = "Exceptions." + key;
      std::optional<std::string> problem;
      if (key == "OriginalDate") {
        problem = ReadDate(name, member, &edit.originalDate);
        dated = true;
      } else if (key == "Deleted") {
        if (!member.is_boolean()) return name + " must be true or false";
        edit.deleted = member.get<bool>();
      } else if (key == "Start" || key == "End") {
        DATE date = 0;
        problem = ReadDate(name, member, &date);
        (key == "Start" ? edit.start : edit.end) = date;
        changed = true;
      } else if (key == "Subject" || key == "Location" || key == "Body") {
        std::u16string text;
        problem = ReadText(name, member, &text);
        (key == "Subject"    ? edit.subject
         : key == "Location" ? edit.location
                             : edit.body) = std::move(text);
        changed = true;
      } else {
        return "an exception has no key '" + key + "' (see --help)";
      }
      if (problem) return problem;
    }
    if (!dated) return "each of Exceptions needs an OriginalDate";
    if (edit.deleted && changed) {
      return "a deleted exception takes no other keys";
    }
    exceptions_.push_back(std::move(edit));
  }
  return std::nullopt;
}

std::optional<std::string> PimRecurrence::ApplyPattern(
    IRecurrencePattern* pattern) const {
  for (const PatternEdit& edit : pattern_) {
    HRESULT result = edit.field->put(pattern, edit);
    if (FAILED(result)) {
      return std::string("setting Recurrence.") + edit.field->name +
             " failed with " + Hex(result);
    }
  }
  return std::nullopt;
}

std::optional<std::string> PimRecurrence::ApplyExceptions(
    IRecurrencePattern* pattern,
    const std::function<std::optional<std::string>()>& check) const {
  for (const OccurrenceEdit& edit : exceptions_) {
    IAppointment* occurrence = nullptr;
    std::string day = FormatDate(edit.originalDate).value_or("?");
    if (FAILED(pattern->GetOccurrence(edit.originalDate, &occurrence)) ||
        occurrence == nullptr) {
      return "the appointment has no occurrence on " + day +
             " without an exception";
    }
    Held<IAppointment> held(occurrence);
    HRESULT result = S_OK;
    if (edit.deleted) {
      result = occurrence->Delete();
    } else {
      if (edit.subject) result = occurrence->put_Subject(edit.subject->c_str());
      if (SUCCEEDED(result) && edit.location) {
        result = occurrence->put_Location(edit.location->c_str());
      }
      if (SUCCEEDED(result) && edit.body) {
        result = occurrence->put_Body(edit.body->c_str());
      }
      if (SUCCEEDED(result) && edit.start) {
        result = occurrence->put_Start(*edit.start);
      }
      if (SUCCEEDED(result) && edit.end) {
        result = occurrence->put_End(*edit.end);
      }
      if (SUCCEEDED(result)) result = occurrence->Save();
    }
    if (FAILED(result)) {
      return "changing the occurrence on " + day + " failed with " +
             Hex(result);
    }
    if (auto problem = check()) return problem;
  }
  return std::nullopt;
}

Json PimRecurrence::DescribePattern(IRecurrencePattern* pattern) {
  Json object = Json::object();
  LONG type = 0;
  pattern->get_RecurrenceType(&type);
  for (const TypeName& name : kTypes) {
    if (name.value == type) object["RecurrenceType"] = name.name;
  }
  auto number = [&](const char* key,
                    HRESULT (IRecurrencePattern::*get)(LONG*)) {
    LONG value = 0;
    if (SUCCEEDED((pattern->*get)(&value))) object[key] = value;
  };
  number("Interval", &IRecurrencePattern::get_Interval);
  if (type == olRecursWeekly || type == olRecursMonthNth ||
      type == olRecursYearNth) {
    number("DayOfWeekMask", &IRecurrencePattern::get_DayOfWeekMask);
  }
  if (type == olRecursMonthly || type == olRecursYearly) {
    number("DayOfMonth", &IRecurrencePattern::get_DayOfMonth);
  }
  if (type == olRecursMonthNth || type == olRecursYearNth) {
    number("Instance", &IRecurrencePattern::get_Instance);
  }
  if (type == olRecursYearly || type == olRecursYearNth) {
    number("MonthOfYear", &IRecurrencePattern::get_MonthOfYear);
  }
  DATE date = device::kOleNoDate;
  if (SUCCEEDED(pattern->get_PatternStartDate(&date))) {
    if (auto text = FormatDate(date)) object["PatternStartDate"] = *text;
  }
  VARIANT_BOOL never = VARIANT_FALSE;
  pattern->get_NoEndDate(&never);
  if (never != VARIANT_FALSE) {
    object["NoEndDate"] = true;
  } else {
    date = device::kOleNoDate;
    if (SUCCEEDED(pattern->get_PatternEndDate(&date))) {
      if (auto text = FormatDate(date)) object["PatternEndDate"] = *text;
    }
    number("Occurrences", &IRecurrencePattern::get_Occurrences);
  }
  return object;
}

Json PimRecurrence::DescribeExceptions(IRecurrencePattern* pattern,
                                       IPOutlookApp* app) {
  Json list = Json::array();
  IExceptions* exceptions = nullptr;
  if (FAILED(pattern->get_Exceptions(&exceptions)) || exceptions == nullptr) {
    return list;
  }
  Held<IExceptions> heldList(exceptions);
  int count = 0;
  exceptions->get_Count(&count);
  for (int i = 1; i <= count; ++i) {
    IException* exception = nullptr;
    if (FAILED(exceptions->Item(i, &exception)) || exception == nullptr) {
      continue;
    }
    Held<IException> held(exception);
    Json entry = Json::object();
    DATE original = 0;
    exception->get_OriginalDate(&original);
    entry["OriginalDate"] = FormatDate(original).value_or("");
    VARIANT_BOOL deleted = VARIANT_FALSE;
    exception->get_Deleted(&deleted);
    IAppointment* occurrence = nullptr;
    if (deleted != VARIANT_FALSE ||
        FAILED(exception->get_AppointmentItem(&occurrence)) ||
        occurrence == nullptr) {
      entry["Deleted"] = true;
      list.push_back(std::move(entry));
      continue;
    }
    Held<IAppointment> heldOccurrence(occurrence);
    auto text = [&](const char* key, HRESULT (IAppointment::*get)(BSTR*)) {
      BSTR value = nullptr;
      if (SUCCEEDED((occurrence->*get)(&value)) && value != nullptr &&
          *value != u'\0') {
        entry[key] = device::Utf16ToValidUtf8(value);
      }
      app->SysFreeString(value);
    };
    text("Subject", &IAppointment::get_Subject);
    text("Location", &IAppointment::get_Location);
    text("Body", &IAppointment::get_Body);
    DATE date = device::kOleNoDate;
    if (SUCCEEDED(occurrence->get_Start(&date))) {
      if (auto start = FormatDate(date)) entry["Start"] = *start;
    }
    date = device::kOleNoDate;
    if (SUCCEEDED(occurrence->get_End(&date))) {
      if (auto end = FormatDate(date)) entry["End"] = *end;
    }
    list.push_back(std::move(entry));
  }
  return list;
}

}  // namespace cli
