// The "Recurrence" and "Exceptions" keys of `vorn-device pim`: the
// recurrence pattern of an appointment or task and the changed or deleted
// occurrences of an appointment, read from and written as JSON, e.g.
//   "Recurrence": {"RecurrenceType": "weekly", "Interval": 1,
//                  "DayOfWeekMask": 42, "PatternStartDate": "2026-12-01",
//                  "Occurrences": 10},
//   "Exceptions": [{"OriginalDate": "2026-12-04", "Deleted": true},
//                  {"OriginalDate": "2026-12-07", "Location": "Hall"}]
// The pattern is set through IRecurrencePattern before the item is saved;
// the exceptions are made after it is saved, as the handheld's user makes
// them: GetOccurrence on the original date, then Delete, or put and Save.
#ifndef VORN_CLI_VORN_DEVICE_PIM_RECURRENCE_H_
#define VORN_CLI_VORN_DEVICE_PIM_RECURRENCE_H_

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "device/pim/pim_json.h"
#include "platform/pimstore.h"

namespace cli {

class PimRecurrence {
 public:
  using Json = device::PimJson::Json;

  // The keys of "Recurrence" and of an exception, for --help.
  static std::string PatternKeys();
  static std::string ExceptionKeys();

  // Reads the value of "Recurrence": an object of pattern keys. Returns
  // the one-line problem, if any.
  std::optional<std::string> ParsePattern(const Json& value);
  // Reads the value of "Exceptions": an array of exception objects.
  std::optional<std::string> ParseExceptions(const Json& value);

  bool hasPattern() const { return !pattern_.empty(); }
  bool hasExceptions() const { return !exceptions_.empty(); }

  // Sets the pattern keys read, in a fixed order (the type first, the end
  // last). Returns the problem of the first setter that fails.
  std::optional<std::string> ApplyPattern(IRecurrencePattern* pattern) const;
  // Makes the exceptions read on the saved appointment's pattern; after
  // each, `check` tells whether the change log kept up (its problem).
  std::optional<std::string> ApplyExceptions(
      IRecurrencePattern* pattern,
      const std::function<std::optional<std::string>()>& check) const;

  // The pattern as "Recurrence" lists it.
  static Json DescribePattern(IRecurrencePattern* pattern);
  // The exceptions as "Exceptions" lists them (an empty array for none).
  // Texts are freed through `app`.
  static Json DescribeExceptions(IRecurrencePattern* pattern,
                                 IPOutlookApp* app);

 private:
  struct Field;
  static const std::vector<Field>& Fields();
  struct PatternEdit {
    const Field* field;
    LONG number = 0;
    DATE date = 0;
  };
  struct OccurrenceEdit {
    DATE originalDate = 0;
    bool deleted = false;
    std::optional<std::u16string> subject;
    std::optional<std::u16string> location;
    std::optional<std::u16string> body;
    std::optional<DATE> start;
    std::optional<DATE> end;
  };

  std::vector<PatternEdit> pattern_;
  std::vector<OccurrenceEdit> exceptions_;
};

}  // namespace cli

#endif  // VORN_CLI_VORN_DEVICE_PIM_RECURRENCE_H_
