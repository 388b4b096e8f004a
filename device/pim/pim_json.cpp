#include "device/pim/pim_json.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <string>

#include "device/image/utf8.h"

namespace device {
namespace {

// nlohmann-json's message without its "[json.exception.NAME.ID] " tag.
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
std::string SyntaxError(const PimJson::Json::parse_error& error,
                        std::string_view text) {
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

bool IsLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30,
                                  31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// The number of `width` digits at `at`, or -1.
int Digits(std::u16string_view text, std::size_t at, std::size_t width) {
  if (at + width > text.size()) return -1;
  int value = 0;
  for (std::size_t i = at; i < at + width; ++i) {
    if (text[i] < u'0' || text[i] > u'9') return -1;
    value = value * 10 + (text[i] - u'0');
  }
  return value;
}

}  // namespace

Result<PimJson::Json> PimJson::Parse(std::string_view text) {
  // nlohmann-json keeps the last of a key given twice; note the first one
  // seen again in an object instead (objects nest, so keep one set of keys
  // for each open object).
  std::vector<std::set<std::string>> seen;
  std::optional<std::string> twice;
  auto note_keys = [&](int /*depth*/, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) {
      seen.emplace_back();
    } else if (event == Json::parse_event_t::object_end && !seen.empty()) {
      seen.pop_back();
    } else if (event == Json::parse_event_t::key && !seen.empty() && !twice &&
               !seen.back().insert(parsed.get<std::string>()).second) {
      twice = parsed.get<std::string>();
    }
    return true;
  };
  Json object;
  try {
    object = Json::parse(text, note_keys);
  } catch (const Json::parse_error& error) {
    return Status::Error(SyntaxError(error, text));
  } catch (const Json::exception& error) {
    // A number too large for a double.
    return Status::Error("JSON: " + Untagged(error.what()));
  }
  if (!object.is_object()) return Status::Error("JSON: expected one object");
  if (twice) return Status::Error("JSON: key \"" + *twice + "\" given twice");
  return object;
}

Result<std::vector<PimJson::Member>> PimJson::ParseObject(
    std::string_view text) {
  Result<Json> parsed = Parse(text);
  if (!parsed.ok()) return parsed.status();
  const Json& object = *parsed;
  std::vector<Member> members;
  for (const auto& [key, value] : object.items()) {
    if (value.is_null()) {
      members.emplace_back(key, std::nullopt);
    } else if (value.is_string()) {
      members.emplace_back(key,
                           Utf8ToUtf16(value.get_ref<const std::string&>()));
    } else {
      return Status::Error("JSON: the value of \"" + key +
                           "\" must be a string or null");
    }
  }
  return members;
}

std::string PimJson::Write(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Result<SYSTEMTIME> PimJson::ParseDate(std::u16string_view text) {
  auto bad = [&text]() {
    return Status::Error("bad date '" + Utf16ToUtf8(text) +
                         "' (YYYY-MM-DD or YYYY-MM-DDTHH:MM:SS)");
  };
  if (text.size() != 10 && text.size() != 19) return bad();
  int year = Digits(text, 0, 4);
  int month = Digits(text, 5, 2);
  int day = Digits(text, 8, 2);
  if (year < 0 || month < 1 || month > 12 || day < 1 || text[4] != u'-' ||
      text[7] != u'-' || day > DaysInMonth(year, month)) {
    return bad();
  }
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (text.size() == 19) {
    hour = Digits(text, 11, 2);
    minute = Digits(text, 14, 2);
    second = Digits(text, 17, 2);
    if (text[10] != u'T' || text[13] != u':' || text[16] != u':' || hour < 0 ||
        hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
      return bad();
    }
  }
  SYSTEMTIME time = {};
  time.wYear = static_cast<WORD>(year);
  time.wMonth = static_cast<WORD>(month);
  time.wDay = static_cast<WORD>(day);
  time.wHour = static_cast<WORD>(hour);
  time.wMinute = static_cast<WORD>(minute);
  time.wSecond = static_cast<WORD>(second);
  return time;
}

std::string PimJson::FormatDate(const SYSTEMTIME& time) {
  char text[64];
  if (time.wHour == 0 && time.wMinute == 0 && time.wSecond == 0) {
    std::snprintf(text, sizeof(text), "%04u-%02u-%02u", unsigned{time.wYear},
                  unsigned{time.wMonth}, unsigned{time.wDay});
  } else {
    std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u",
                  unsigned{time.wYear}, unsigned{time.wMonth},
                  unsigned{time.wDay}, unsigned{time.wHour},
                  unsigned{time.wMinute}, unsigned{time.wSecond});
  }
  return text;
}

}  // namespace device
