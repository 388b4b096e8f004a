// Item properties as JSON, the way the command line edits and lists the
// object model's items: one flat object whose keys are property names of
// the object model and whose values are strings, e.g.
//   {"FirstName": "Ann", "Email1Address": "ann@example.org",
//    "Birthday": "1970-05-17"}
// The JSON itself is read and written by nlohmann-json. Text is UTF-8
// outside and UTF-16 on the handheld. UTF-8 cannot carry an unpaired
// surrogate, so handheld text holding one is listed with U+FFFD in its
// place (Utf16ToValidUtf8), and a \uXXXX escape naming one is refused.
//
// Dates are written "YYYY-MM-DD" or "YYYY-MM-DDTHH:MM:SS" (the handheld's
// local time, no zone).
#ifndef VORN_DEVICE_PIM_PIM_JSON_H_
#define VORN_DEVICE_PIM_PIM_JSON_H_

#include <nlohmann/json.hpp>
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
  // Objects keep their members in the order they were read or set.
  using Json = nlohmann::ordered_json;

  // One member of an object: its key and its value, nullopt for null.
  using Member = std::pair<std::string, std::optional<std::u16string>>;

  // `text` as exactly one JSON object (with any white space around it).
  // Fails with a one-line message: bad syntax or invalid UTF-8 names its
  // line and column ("JSON: parse error at line L, column C: ..."), a key
  // given twice in one object names the key.
  static Result<Json> Parse(std::string_view text);

  // The members of `text`, which must be exactly one JSON object (with any
  // white space around it) whose values are strings or null, in their
  // order. Fails with a one-line message: bad syntax or invalid UTF-8
  // names its line and column ("JSON: parse error at line L, column C:
  // ..."), a value of another kind or a key given twice names the key.
  static Result<std::vector<Member>> ParseObject(std::string_view text);

  // `value` on one line, without spaces. A string that is not UTF-8 has
  // each bad byte written as U+FFFD, so the text is always valid UTF-8 and
  // writing never fails.
  static std::string Write(const Json& value);

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
