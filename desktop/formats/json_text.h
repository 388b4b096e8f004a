// Every JSON the desktop reads or writes (`vorn --json`, the contacts of
// `vorn put`, the mirror's state file, the contracts file) goes through
// nlohmann-json, here. Objects keep their members in the order they were
// read or set (ordered_json), so files and outputs list keys in a fixed
// order.
//
// Text is UTF-8. Handheld text reaches here already converted by
// Utf16ToUtf8, which writes an unpaired surrogate as U+FFFD; any other
// byte that is not UTF-8 (a path given on the command line, say) is
// written as U+FFFD too, so what Write returns is always valid UTF-8 and
// writing never fails.
#ifndef VORN_DESKTOP_FORMATS_JSON_TEXT_H_
#define VORN_DESKTOP_FORMATS_JSON_TEXT_H_

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "desktop/base/status.h"

namespace desktop {

using Json = nlohmann::ordered_json;

class JsonText {
 public:
  // Parses one JSON text (RFC 8259; a UTF-8 byte order mark is skipped)
  // with nothing but white space around it. Bad input fails with one line
  // naming where: "JSON: parse error at line L, column C: ...".
  static Result<Json> Parse(std::string_view text);

  // `value` as text: with `indent` > 0 one member per line, indented by
  // that many spaces a level; else on one line without spaces.
  static std::string Write(const Json& value, int indent = 2);
};

}  // namespace desktop

#endif  // VORN_DESKTOP_FORMATS_JSON_TEXT_H_
