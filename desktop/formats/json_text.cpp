#include "desktop/formats/json_text.h"

#include <algorithm>

namespace desktop {
namespace {

// nlohmann-json's message without its "[json.exception.NAME.ID] " tag,
// which names the library's exception class rather than the input.
std::string Untagged(std::string message) {
  if (message.starts_with("[json.exception.")) {
    std::size_t end = message.find("] ");
    if (end != std::string::npos) message.erase(0, end + 2);
  }
  return message;
}

// The one-line message for a syntax error in `text`. nlohmann-json names
// the last byte it read, as `byte` (counted from 1) and as a line and
// column in its message; its column is 0 when that byte ended a number or
// a word just before a line break, so line and column are counted here
// from `byte` instead. Columns count bytes from 1.
std::string SyntaxError(const Json::parse_error& error, std::string_view text) {
  std::string what = error.what();
  std::size_t column_at = what.find(", column ");
  std::size_t detail_at =
      column_at == std::string::npos ? column_at : what.find(": ", column_at);
  if (detail_at == std::string::npos) return "JSON: " + Untagged(what);
  std::size_t at =
      std::min<std::size_t>(error.byte == 0 ? 0 : error.byte - 1, text.size());
  std::size_t line = 1;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < at; ++i) {
    if (text[i] == '\n') {
      ++line;
      line_start = i + 1;
    }
  }
  return "JSON: parse error at line " + std::to_string(line) + ", column " +
         std::to_string(at - line_start + 1) + what.substr(detail_at);
}

}  // namespace

Result<Json> JsonText::Parse(std::string_view text) {
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    // "...: what was wrong; last read: '...'" (control characters in the
    // quoted input are shown as <U+000A>, so it stays one line).
    return Status::Error(SyntaxError(error, text));
  } catch (const Json::exception& error) {
    // A number too large for a double, the only other failure of parse.
    return Status::Error("JSON: " + Untagged(error.what()));
  }
}

std::string JsonText::Write(const Json& value, int indent) {
  return value.dump(indent > 0 ? indent : -1, ' ', false,
                    Json::error_handler_t::replace);
}

}  // namespace desktop
