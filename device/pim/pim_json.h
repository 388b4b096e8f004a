// Item properties as JSON, the way the command line edits and lists the
// object model's items: one flat object whose keys are property names of
// the object model and whose values are strings, e.g.
//   {"FirstName": "Ann", "Email1Address": "ann@example.org",
//    "Birthday": "1970-05-17"}
// Text is UTF-8 outside and UTF-16 on the handheld; \uXXXX escapes may name
// any UTF-16 unit, so every handheld text (an unpaired surrogate included)
// survives a round trip through Quote and ParseObject.
//
// Dates are written "YYYY-MM-DD" or "YYYY-MM-DDTHH:MM:SS" (the handheld's
// local time, no zone).
#ifndef VORN_DEVICE_PIM_PIM_JSON_H_
#define VORN_DEVICE_PIM_PIM_JSON_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/image/status.h"
#include "platform/types.h"

namespace device {

class PimJson {
 public:
  // One member of an object: its key and its value, nullopt for null.
  using Member = std::pair<std::string, std::optional<std::u16string>>;

  // The members of `text`, which must be exactly one JSON object (with any
  // white space around it) whose values are strings or null, in their
  // order. Fails with a one-line message naming the byte offset for bad
  // syntax, invalid UTF-8, a value of another kind or a key given twice.
  static Result<std::vector<Member>> ParseObject(std::string_view text);

  // `text` as a JSON string, quotes included: UTF-8, with \" \\ \n \r \t
  // and \u00XX for other control characters, \uXXXX for unpaired
  // surrogates.
  static std::string Quote(std::u16string_view text);

  // "YYYY-MM-DD" (midnight) or "YYYY-MM-DDTHH:MM:SS" as a SYSTEMTIME with
  // zero day of the week and milliseconds. Fails for another form or a
  // month, day, hour, minute or second out of range (the year may be
  // 0000-9999 here; the object model takes 100-9999).
  static Result<SYSTEMTIME> ParseDate(std::u16string_view text);

  // The date of `time`: "YYYY-MM-DD" when it is midnight, else
  // "YYYY-MM-DDTHH:MM:SS".
  static std::string FormatDate(const SYSTEMTIME& time);
};

}  // namespace device

#endif  // VORN_DEVICE_PIM_PIM_JSON_H_
